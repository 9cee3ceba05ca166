// COxTextFormator: appends text and numbers to a caller's fixed buffer, cutting what does not fit.
// Trace lines are built with it on a 1024-byte stack buffer, so building a line never allocates.
#ifndef MEDIASTORES_PLATFORM_TEXT_FORMATOR_H_
#define MEDIASTORES_PLATFORM_TEXT_FORMATOR_H_

#include <cstdint>
#include <string>
#include <string_view>

using COxString = std::string;

class COxTextFormator {
 public:
  // Writes into `buffer` (capacity `size` bytes, including the terminating NUL).
  COxTextFormator(char* buffer, unsigned size);

  COxTextFormator& operator<<(const char* text);  // null writes "(null)"
  COxTextFormator& operator<<(std::string_view text);
  COxTextFormator& operator<<(const COxString& text) { return *this << std::string_view(text); }
  COxTextFormator& operator<<(char c) { return *this << std::string_view(&c, 1); }
  COxTextFormator& operator<<(bool value) { return *this << (value ? "true" : "false"); }
  COxTextFormator& operator<<(int32_t value);
  COxTextFormator& operator<<(uint32_t value);
  COxTextFormator& operator<<(long value);
  COxTextFormator& operator<<(unsigned long value);
  COxTextFormator& operator<<(long long value);
  COxTextFormator& operator<<(unsigned long long value);
  COxTextFormator& operator<<(double value);
  // Pointers print as "0x" and lower-case hex digits, "(nil)" for null (as printf's %p).
  COxTextFormator& operator<<(const void* pointer);

  // The text written so far (always NUL-terminated).
  operator char*() { return m_buffer; }
  const char* c_str() const { return m_buffer; }
  // Number of bytes written (without the NUL).
  unsigned tell() const { return m_length; }

 private:
  char* m_buffer;
  unsigned m_capacity;  // bytes usable for text (size - 1)
  unsigned m_length = 0;
};

#endif  // MEDIASTORES_PLATFORM_TEXT_FORMATOR_H_
