#include <gtest/gtest.h>

#include "mediastores/mediastores.h"
#include "tests/saferoutines/constraint_capture.h"

namespace {

using SafeStrTest = ConstraintTest;

const char kOverlap[] = "strncpy_s: overlap undefined";

TEST_F(SafeStrTest, ChecksOverlapTruncationAndPadding) {
  Run({
      {CALL(strncpy_s(nullptr, 0, nullptr, kHuge)), EINVAL, "strncpy_s: dest is null"},
      {CALL(strncpy_s(b, 0, nullptr, kHuge)), EINVAL, "strncpy_s: dmax is 0"},
      {CALL(strncpy_s(b, kHuge, nullptr, kHuge)), EINVAL, "strncpy_s: dmax exceeds max"},
      {CALL(strncpy_s(b, 8, nullptr, kHuge)), EINVAL, "strncpy_s: src is null"},
      {CALL(strncpy_s(b, 8, "12", kHuge)), EINVAL, "strncpy_s: n exceeds max"},
      {CALL(strncpy_s(b, 8, b, 3)), EINVAL, kOverlap},
      // The 6 characters to copy run into dest.
      {CALL(strncpy_s(b + 2, 8, b, 10)), EINVAL, kOverlap},
      {CALL(strncpy_s(b, 8, b + 3, 3)), EINVAL, kOverlap},
      // Count 4 reaches dest, but the string "f" ends before it: allowed.
      {CALL(strncpy_s(b + 8, 8, b + 5, 4)), 0, nullptr, 8, "f\0\0\0\0"s},
      {CALL(strncpy_s(b, 4, "123456", 10)), EOVERFLOW,
       "strncpy_s: copy was truncated (not enough space in dest)", 0, "123\0"s},
      {CALL(strncpy_s(b, 4, "123", 4)), 0, nullptr, 0, "123\0"s},
      // n at least dmax and src fits: the count is its length, no padding.
      {CALL(strncpy_s(b, 8, "123", 8)), 0, nullptr, 0, "123\0"s},
      // n below dmax: padded with zeros up to n, then terminated at dest[n].
      {CALL(strncpy_s(b, 8, "12", 3)), 0, nullptr, 0, "12\0\0"s},
      {CALL(strncpy_s(b, 8, "12", 0)), 0, nullptr, 0, "\0"s},

      {CALL(strnlen_s(nullptr, 10)), 0, nullptr},
      {CALL(strnlen_s("abc", 10)), 3, nullptr},
      {CALL(strnlen_s("abcdef", 4)), 4, nullptr},
      {CALL(strnlen_s("abc", 0)), 0, nullptr},
  });
}

}  // namespace
