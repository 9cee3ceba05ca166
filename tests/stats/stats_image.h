// Byte images of statistics records for the statistics tests: read and patch fields at byte
// positions, independent of the record structs.
#ifndef MEDIASTORES_TESTS_STATS_STATS_IMAGE_H_
#define MEDIASTORES_TESTS_STATS_STATS_IMAGE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

using Image = std::vector<unsigned char>;

template <typename T>
T ReadAt(const Image& image, size_t position) {
  T value;
  std::memcpy(&value, image.data() + position, sizeof(T));
  return value;
}

template <typename T>
void WriteAt(Image& image, size_t position, T value) {
  std::memcpy(image.data() + position, &value, sizeof(T));
}

// An image of `size` bytes with a recognisable pattern that differs per `seed`.
inline Image PatternImage(size_t size, unsigned seed) {
  Image image(size);
  for (size_t i = 0; i < size; ++i)
    image[i] = static_cast<unsigned char>(seed * 31 + i * 7 + 1);
  return image;
}

// A field's expected bytes at a byte position, and patching an image with a list of them.
struct Field {
  size_t position;
  std::vector<unsigned char> bytes;
};
template <typename T>
Field F(size_t position, T value) {
  Field f{position, std::vector<unsigned char>(sizeof(T))};
  std::memcpy(f.bytes.data(), &value, sizeof(T));
  return f;
}
// A NUL-terminated text at a byte position.
inline Field FText(size_t position, const char* text) {
  return Field{position, std::vector<unsigned char>(text, text + std::strlen(text) + 1)};
}
inline void Patch(Image& image, const std::vector<Field>& fields) {
  for (const Field& f : fields)
    std::copy(f.bytes.begin(), f.bytes.end(), image.begin() + f.position);
}

#endif  // MEDIASTORES_TESTS_STATS_STATS_IMAGE_H_
