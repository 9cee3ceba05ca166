// Byte images of statistics records for the statistics tests: read and patch fields at byte
// positions, independent of the record structs.
#ifndef MEDIASTORES_TESTS_STATS_STATS_IMAGE_H_
#define MEDIASTORES_TESTS_STATS_STATS_IMAGE_H_

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

// An image of `size` bytes with a recognisable pattern that differs per `seed`.
inline Image PatternImage(size_t size, unsigned seed) {
  Image image(size);
  for (size_t i = 0; i < size; ++i)
    image[i] = static_cast<unsigned char>(seed * 31 + i * 7 + 1);
  return image;
}

// A field's bytes at a byte position, and patching an image with a list of them at `base`.
struct Field {
  size_t position;
  std::vector<unsigned char> bytes;
};
template <typename T>
Field F(size_t position, const T& value) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(&value);
  return Field{position, std::vector<unsigned char>(bytes, bytes + sizeof(T))};
}
// Fields of one width: U32(8, 64000).
inline constexpr Field (*U8)(size_t, const uint8_t&) = &F<uint8_t>;
inline constexpr Field (*I32)(size_t, const int32_t&) = &F<int32_t>;
inline constexpr Field (*U32)(size_t, const uint32_t&) = &F<uint32_t>;
inline constexpr Field (*U64)(size_t, const uint64_t&) = &F<uint64_t>;
inline Image Patch(Image image, const std::vector<Field>& fields, size_t base = 0) {
  for (const Field& f : fields)
    std::memcpy(image.data() + base + f.position, f.bytes.data(), f.bytes.size());
  return image;
}

#endif  // MEDIASTORES_TESTS_STATS_STATS_IMAGE_H_
