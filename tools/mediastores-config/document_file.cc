#include "tools/mediastores-config/document_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace msconfig {
namespace {

constexpr size_t kChunkBytes = 64 * 1024;

// Reads `fd` to its end in chunks, and stops as soon as the text would pass the limit.
bool ReadAll(int fd, const std::string& path, std::string* text, std::string* error) {
  char chunk[kChunkBytes];
  for (;;) {
    const ssize_t got = read(fd, chunk, sizeof(chunk));
    if (got == 0) return true;
    if (got < 0) {
      if (errno == EINTR) continue;
      *error = "cannot read " + path + ": " + std::strerror(errno);
      return false;
    }
    if (text->size() + static_cast<size_t>(got) > kMaxDocumentBytes) {
      *error = "cannot read " + path + ": larger than " + std::to_string(kMaxDocumentBytes >> 20) +
               " MiB (" + std::to_string(kMaxDocumentBytes) +
               " bytes), the most a configuration document may hold";
      return false;
    }
    text->append(chunk, static_cast<size_t>(got));
  }
}

}  // namespace

bool ReadDocumentFile(const std::string& path, std::string* text, std::string* error) {
  text->clear();
  if (path == "-") return ReadAll(STDIN_FILENO, "standard input", text, error);
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    *error = "cannot read " + path + ": " + std::strerror(errno);
    return false;
  }
  const bool done = ReadAll(fd, path, text, error);
  close(fd);
  if (!done) text->clear();
  return done;
}

}  // namespace msconfig
