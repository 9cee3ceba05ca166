#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "mediastores_internal.h"
#include "saferoutines/constraint_capture.h"

namespace {

constexpr size_t kHuge = SIZE_MAX / 2 + 1;  // top bit set: above the maximum size
constexpr char kTrunc[] = "strncpy_s: copy was truncated (not enough space in dest)";

using StrncpyTest = ConstraintTest;

TEST(StrnlenTest, CountsUpToMaxsize) {
  EXPECT_EQ(strnlen_s(nullptr, 10), 0u);
  EXPECT_EQ(strnlen_s("abc", 10), 3u);
  EXPECT_EQ(strnlen_s("abcdef", 4), 4u);
  EXPECT_EQ(strnlen_s("abc", 0), 0u);
  EXPECT_EQ(strnlen_s("", 5), 0u);
}

// One 16-byte buffer starts as `init` (copied with its zero byte) followed by 'x'. dest and src
// are offsets into it; -1 is a null pointer; src -2 points at the separate string `text`.
struct StrncpyCase {
  const char* name;
  const char* init;
  int dest, src;
  const char* text;
  size_t dmax, n;
  int rc;
  const char* msg;       // the one handler call expected, or null for none
  const char* expected;  // the whole buffer afterwards, or null for untouched
};

TEST_F(StrncpyTest, ChecksOverlapTruncationAndPadding) {
  const StrncpyCase cases[] = {
      {"null dest first", "", -1, -1, "", 0, kHuge, EINVAL, "strncpy_s: dest is null", nullptr},
      {"dmax 0", "", 0, -1, "", 0, kHuge, EINVAL, "strncpy_s: dmax is 0", nullptr},
      {"dmax above max", "", 0, -1, "", kHuge, kHuge, EINVAL, "strncpy_s: dmax exceeds max",
       nullptr},
      {"null src before n", "", 0, -1, "", 8, kHuge, EINVAL, "strncpy_s: src is null", nullptr},
      {"n above max", "", 0, -2, "ab", 8, kHuge, EINVAL, "strncpy_s: n exceeds max", nullptr},
      {"same pointer", "a", 0, 0, "", 8, 3, EINVAL, "strncpy_s: overlap undefined", nullptr},
      // The 6 characters to copy run into dest.
      {"dest inside src", "abcdef", 2, 0, "", 8, 10, EINVAL, "strncpy_s: overlap undefined",
       nullptr},
      // dest + count reaches src.
      {"src at dest + count", "xxxabc", 0, 3, "", 8, 3, EINVAL, "strncpy_s: overlap undefined",
       nullptr},
      // count 4 reaches dest, but the string itself ends before it: allowed.
      {"short src below dest", "a", 3, 0, "", 8, 4, 0, nullptr, "a\0xa\0\0\0\0xxxxxxxx"},
      {"truncated", "", 0, -2, "abcdef", 4, 10, EOVERFLOW, kTrunc, "abc\0xxxxxxxxxxxx"},
      {"fits exactly", "", 0, -2, "abc", 4, 4, 0, nullptr, "abc\0xxxxxxxxxxxx"},
      // n at least dmax and src fits: count is the length, no padding.
      {"n above dmax, src fits", "", 0, -2, "abc", 8, 8, 0, nullptr, "abc\0xxxxxxxxxxxx"},
      // n below dmax: padded with zeros up to n, then terminated at dest[n].
      {"padded to n", "", 0, -2, "ab", 8, 3, 0, nullptr, "ab\0\0xxxxxxxxxxxx"},
      {"n 0", "", 0, -2, "ab", 8, 0, 0, nullptr, "\0xxxxxxxxxxxxxxx"},
  };
  for (const StrncpyCase& c : cases) {
    SCOPED_TRACE(c.name);
    calls().clear();
    errno = 0;
    char buf[16];
    std::memset(buf, 'x', sizeof buf);
    if (*c.init != '\0') std::memcpy(buf, c.init, std::strlen(c.init) + 1);
    const std::string before(buf, sizeof buf);
    char* dest = c.dest < 0 ? nullptr : buf + c.dest;
    const char* src = c.src == -1 ? nullptr : c.src == -2 ? c.text : buf + c.src;

    const int rc = strncpy_s(dest, c.dmax, src, c.n);

    EXPECT_EQ(rc, c.rc);
    if (c.msg != nullptr) {
      ExpectOneCall(c.msg, c.rc);
    } else {
      EXPECT_TRUE(calls().empty());
    }
    const std::string after(buf, sizeof buf);
    EXPECT_EQ(after, c.expected != nullptr ? std::string(c.expected, sizeof buf) : before);
  }
}

}  // namespace
