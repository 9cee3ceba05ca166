#include "tools/mediastores-demo/output.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace msdemo {
namespace {

int g_outputError = 0;

}  // namespace

void Append(std::string* out, const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  const int n = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  if (n > 0) {
    const size_t at = out->size();
    out->resize(at + static_cast<size_t>(n) + 1);
    std::vsnprintf(&(*out)[at], static_cast<size_t>(n) + 1, format, again);
    out->pop_back();  // the terminating NUL
  }
  va_end(again);
}

std::string Thousands(uint64_t value) {
  std::string digits = std::to_string(value);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3)
    digits.insert(at, ",");
  return digits;
}

uint64_t PerSecond(uint64_t count, double seconds) {
  return seconds > 0 ? static_cast<uint64_t>(count / seconds + 0.5) : 0;
}

void WriteOut(const std::string& text) {
  if ((std::fwrite(text.data(), 1, text.size(), stdout) != text.size() ||
       std::fflush(stdout) != 0) &&
      g_outputError == 0) {
    g_outputError = errno != 0 ? errno : EIO;
  }
}

int OutputError() {
  return g_outputError;
}

}  // namespace msdemo
