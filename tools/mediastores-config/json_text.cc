#include "tools/mediastores-config/json_text.h"

#include <cstdio>
#include <string>

namespace msconfig {
namespace {

// The length of the well-formed UTF-8 sequence at `at` (a byte of 0x80 or more), or 0.
size_t Utf8Length(const std::string& text, size_t at) {
  const unsigned char lead = static_cast<unsigned char>(text[at]);
  size_t length = 0;
  unsigned long code = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    code = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    code = lead & 0x0Fu;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    code = lead & 0x07u;
  } else {
    return 0;
  }
  if (at + length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    const unsigned char next = static_cast<unsigned char>(text[at + i]);
    if ((next & 0xC0u) != 0x80u) return 0;
    code = code << 6 | (next & 0x3Fu);
  }
  // Overlong forms, UTF-16 surrogates and code points past U+10FFFF are not UTF-8.
  const unsigned long least[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < least[length] || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return 0;
  return length;
}

}  // namespace

std::string JsonQuoted(const std::string& text) {
  std::string out = "\"";
  for (size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
      continue;
    }
    if (c >= 0x80) {
      if (const size_t length = Utf8Length(text, i); length > 0) {
        out.append(text, i, length);
        i += length - 1;
        continue;
      }
    } else if (c >= 0x20) {
      out += static_cast<char>(c);
      continue;
    }
    char escape[8];
    std::snprintf(escape, sizeof(escape), "\\u%04x", c);
    out += escape;
  }
  return out + "\"";
}

}  // namespace msconfig
