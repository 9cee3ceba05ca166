// The word copies behind every statistics read and whole-record write, at every alignment a
// record can have and every size up to beyond the largest record.
#include <gtest/gtest.h>

#include "mediastores_internal.h"
#include "stats/stats_image.h"

namespace {

namespace sa = kelStore::statsaccess;

TEST(StatsAccess, CopiesMatchMemcpyAtEveryAlignmentAndSize) {
  alignas(64) unsigned char shared[2200];
  const Image pattern = PatternImage(sizeof(shared), 7);
  for (size_t offset = 0; offset < 64; offset += 4) {
    for (size_t size = 4; size + offset <= sizeof(shared); size += (size < 300 ? 4 : 252)) {
      SCOPED_TRACE(testing::Message() << "offset " << offset << " size " << size);
      std::memcpy(shared, pattern.data(), sizeof(shared));
      const Image expected(shared + offset, shared + offset + size);
      Image out(size + 2, 0xEE);  // the copy never writes past `size`
      sa::CopyOut(out.data() + 1, shared + offset, size);
      EXPECT_EQ(Image(out.begin() + 1, out.end() - 1), expected);
      EXPECT_EQ(out.front(), 0xEE);
      EXPECT_EQ(out.back(), 0xEE);
      Image words(size);
      sa::CopyOutWords(words.data(), shared + offset, size);
      EXPECT_EQ(words, expected);

      const Image source = PatternImage(size, 9);
      sa::CopyIn(shared + offset, source.data(), size);
      EXPECT_EQ(Image(shared + offset, shared + offset + size), source);
      sa::Zero(shared + offset, size);
      EXPECT_EQ(Image(shared + offset, shared + offset + size), Image(size, 0));
      EXPECT_EQ(Image(shared, shared + offset), Image(pattern.begin(), pattern.begin() + offset));
      if (offset + size < sizeof(shared)) {  // nor past it
        EXPECT_EQ(shared[offset + size], pattern[offset + size]);
      }
    }
  }
}

}  // namespace
