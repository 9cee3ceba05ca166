// Statistics records as byte images for the statistics tests: fields read and patched at byte
// positions, independent of the record structs.
#ifndef MEDIASTORES_TESTS_STATS_STATS_IMAGE_H_
#define MEDIASTORES_TESTS_STATS_STATS_IMAGE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "mediastores/mediastores.h"

using Image = std::vector<unsigned char>;

template <typename T>
T ReadAt(const Image& image, size_t position) {
  T value;
  std::memcpy(&value, image.data() + position, sizeof(T));
  return value;
}

// `size` bytes of a pattern that differs per `seed`.
inline Image PatternImage(size_t size, unsigned seed) {
  Image image(size);
  for (size_t i = 0; i < size; ++i)
    image[i] = static_cast<unsigned char>(seed * 31 + i * 7 + 1);
  return image;
}

// A field: its byte position and its bytes. F(8, 64000u) is a 32-bit field at 8.
struct Field {
  size_t position;
  Image bytes;
};
template <typename T>
Field F(size_t position, const T& value) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(&value);
  return Field{position, Image(bytes, bytes + sizeof(T))};
}
inline Image Patch(Image image, const std::vector<Field>& fields) {
  for (const Field& f : fields)
    std::memcpy(image.data() + f.position, f.bytes.data(), f.bytes.size());
  return image;
}

// Everything an audio object reports, read without resetting: the transmit record, the 20
// receive records from kAudioRx and the 20 synchronisation records from kAudioSync.
constexpr size_t kAudioRx = 260, kAudioSync = 21 * 260, kAudioAll = kAudioSync + 20 * 120;
inline Image AudioState(kelStore::IKelAudioInfo& audio) {
  Image image(kAudioAll);
  EXPECT_EQ(audio.GetTxMediaInfo(image.data(), false), KEL_S_OK);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(audio.GetRxAudioInfo(&image[kAudioRx + 260 * i], i, false), KEL_S_OK);
    EXPECT_EQ(audio.GetAVSyncInfo(&image[kAudioSync + 120 * i], i), KEL_S_OK);
  }
  return image;
}

#endif  // MEDIASTORES_TESTS_STATS_STATS_IMAGE_H_
