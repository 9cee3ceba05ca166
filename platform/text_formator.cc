#include "platform/text_formator.h"

#include <charconv>
#include <cstdio>
#include <cstring>

COxTextFormator::COxTextFormator(char* buffer, unsigned size)
    : m_buffer(buffer), m_capacity(size > 0 ? size - 1 : 0) {
  if (m_buffer != nullptr && size > 0) m_buffer[0] = '\0';
  if (m_buffer == nullptr) m_capacity = 0;
}

COxTextFormator& COxTextFormator::operator<<(std::string_view text) {
  if (m_buffer == nullptr) return *this;
  const size_t room = m_capacity - m_length;
  const size_t n = text.size() < room ? text.size() : room;
  std::memcpy(m_buffer + m_length, text.data(), n);
  m_length += static_cast<unsigned>(n);
  m_buffer[m_length] = '\0';
  return *this;
}

COxTextFormator& COxTextFormator::operator<<(const char* text) {
  return *this << (text != nullptr ? std::string_view(text) : std::string_view("(null)"));
}

namespace {
template <typename T>
std::string_view IntegerText(char (&buf)[24], T value) {
  auto res = std::to_chars(buf, buf + sizeof buf, value);
  return std::string_view(buf, static_cast<size_t>(res.ptr - buf));
}
}  // namespace

COxTextFormator& COxTextFormator::operator<<(int32_t value) {
  char buf[24];
  return *this << IntegerText(buf, value);
}
COxTextFormator& COxTextFormator::operator<<(uint32_t value) {
  char buf[24];
  return *this << IntegerText(buf, value);
}
COxTextFormator& COxTextFormator::operator<<(long value) {
  char buf[24];
  return *this << IntegerText(buf, value);
}
COxTextFormator& COxTextFormator::operator<<(unsigned long value) {
  char buf[24];
  return *this << IntegerText(buf, value);
}
COxTextFormator& COxTextFormator::operator<<(long long value) {
  char buf[24];
  return *this << IntegerText(buf, value);
}
COxTextFormator& COxTextFormator::operator<<(unsigned long long value) {
  char buf[24];
  return *this << IntegerText(buf, value);
}

COxTextFormator& COxTextFormator::operator<<(double value) {
  char buf[64];
  const int n = std::snprintf(buf, sizeof buf, "%g", value);
  return *this << std::string_view(buf, n > 0 ? static_cast<size_t>(n) : 0);
}

COxTextFormator& COxTextFormator::operator<<(const void* pointer) {
  if (pointer == nullptr) return *this << "(nil)";
  char buf[24] = {'0', 'x'};
  auto res = std::to_chars(buf + 2, buf + sizeof buf, reinterpret_cast<uintptr_t>(pointer), 16);
  return *this << std::string_view(buf, static_cast<size_t>(res.ptr - buf));
}
