// The word copies behind every statistics read and whole-record write, at every alignment a
// record can have and every size up to beyond the largest record: each moves exactly its bytes.
#include <gtest/gtest.h>

#include "mediaengine/mediastores/src/stats/kel_stats_access.h"
#include "tests/stats/stats_image.h"

namespace sa = kelStore::statsaccess;

TEST(StatsAccess, CopiesMoveExactlyTheirBytesAtEveryAlignmentAndSize) {
  alignas(64) unsigned char shared[2200];
  const Image pattern = PatternImage(sizeof(shared), 7);
  auto all = [&] { return Image(shared, shared + sizeof(shared)); };
  for (size_t at = 0; at < 64; at += 4) {
    for (size_t size = 4; size + at <= sizeof(shared); size += (size < 300 ? 4 : 252)) {
      std::memcpy(shared, pattern.data(), sizeof(shared));
      const Image source = PatternImage(size, 9), expected(&pattern[at], &pattern[at + size]);
      Image out(size + 2, 0xEE), words(size);
      sa::CopyOut(out.data() + 1, shared + at, size);  // into any alignment
      sa::CopyOutWords(words.data(), shared + at, size);
      Image small(size);
      sa::CopyOutSmall(small.data(), shared + at, size);
      EXPECT_EQ(small, expected) << at << " " << size;
      EXPECT_EQ(out, Patch(Image(size + 2, 0xEE), {Field{1, expected}})) << at << " " << size;
      EXPECT_EQ(words, expected) << at << " " << size;
      sa::CopyIn(shared + at, source.data(), size);
      EXPECT_EQ(all(), Patch(pattern, {Field{at, source}})) << at << " " << size;
      sa::Zero(shared + at, size);
      EXPECT_EQ(all(), Patch(pattern, {Field{at, Image(size, 0)}})) << at << " " << size;
    }
  }
}
