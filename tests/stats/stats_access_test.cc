// The word copies behind every statistics read and whole-record write, at every alignment a
// record can have and every size up to beyond the largest record: each moves exactly its bytes.
#include <gtest/gtest.h>

#include "mediaengine/mediastores/src/stats/kel_stats_access.h"
#include "tests/stats/stats_image.h"

namespace {

namespace sa = kelStore::statsaccess;

TEST(StatsAccess, CopiesMatchMemcpyAtEveryAlignmentAndSize) {
  alignas(64) unsigned char shared[2200];
  const Image pattern = PatternImage(sizeof(shared), 7);
  for (size_t offset = 0; offset < 64; offset += 4) {
    for (size_t size = 4; size + offset <= sizeof(shared); size += (size < 300 ? 4 : 252)) {
      SCOPED_TRACE(testing::Message() << "offset " << offset << " size " << size);
      std::memcpy(shared, pattern.data(), sizeof(shared));
      const Image expected(pattern.begin() + offset, pattern.begin() + offset + size);
      Image out(size + 2, 0xEE), words(size);
      sa::CopyOut(out.data() + 1, shared + offset, size);  // into any alignment
      sa::CopyOutWords(words.data(), shared + offset, size);
      EXPECT_EQ(out, Patch(Image(size + 2, 0xEE), {Field{1, expected}}));
      EXPECT_EQ(words, expected);
      const Image source = PatternImage(size, 9);
      sa::CopyIn(shared + offset, source.data(), size);
      EXPECT_EQ(Image(shared, shared + sizeof(shared)), Patch(pattern, {Field{offset, source}}));
      sa::Zero(shared + offset, size);
      EXPECT_EQ(Image(shared, shared + sizeof(shared)),
                Patch(pattern, {Field{offset, Image(size, 0)}}));
    }
  }
}

}  // namespace
