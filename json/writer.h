// The compact writer behind json::Serialize.
#ifndef MEDIASTORES_JSON_WRITER_H_
#define MEDIASTORES_JSON_WRITER_H_

#include <cstddef>
#include <cstring>
#include <string>

#include "mediastores/json/value.h"

namespace json {
namespace internal {

// Appends the text of values to one output string. Containers are walked with an explicit stack,
// so a value nested to any depth is written without deep recursion.
class Writer {
 public:
  explicit Writer(std::string& out) : mOut(out) {}

  // Appends the text of `value`, whatever its type (a container with all its contents).
  void WriteValue(const Value& value);

 private:
  // Appends the text of a value that is not an object or array.
  void WriteScalar(const Value& value);
  // Appends `value` as "%f" prints it.
  void WriteDouble(double value);

  // The output is written through [mPos, mEnd), the unwritten tail of mOut, which grows by
  // doubling; Finish() cuts mOut to what was written.
  char* Room(size_t count) {
    if (static_cast<size_t>(mEnd - mPos) < count) Grow(count);
    return mPos;
  }
  void Put(char c) {
    Room(1);
    *mPos++ = c;
  }
  void Put(const char* text, size_t length) {
    Room(length);
    std::memcpy(mPos, text, length);
    mPos += length;
  }
  void Put(const std::string& text) { Put(text.data(), text.size()); }
  void Grow(size_t count);
  void Finish() { mOut.resize(static_cast<size_t>(mPos - mOut.data())); }

  std::string& mOut;
  char* mPos = nullptr;
  char* mEnd = nullptr;
  // Whether the current locale's decimal point is ".", looked up at the first number written.
  bool mRadixKnown = false;
  bool mPlainRadix = false;
};

}  // namespace internal
}  // namespace json

#endif  // MEDIASTORES_JSON_WRITER_H_
