// The bounds-checked routines of safe_lib.h: their checks in order, what each call writes, the
// constraint handler and the logger. (Sizes at the bounds: badinput/saferoutines_bad_input_test.)
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "mediastores/mediastores.h"
#include "tests/saferoutines/constraint_capture.h"

namespace {

using SafeLibTest = ConstraintTest;

const char kMemOverlap[] = "memcpy_s: overlap undefined";
const char kStrOverlap[] = "strncpy_s: overlap undefined";
const std::string kFilled(8, '\xAB');

// Checks in their order (each failing case also has the faults of the later checks).
TEST_F(SafeLibTest, ChecksInOrderAndWritesOnlyWhatItMay) {
  Run({
      {CALL(memcpy_s(nullptr, kHuge, nullptr, kHuge)), EINVAL, "memcpy_s: dest is NULL"},
      {CALL(memcpy_s(b, kHuge, nullptr, kHuge)), EINVAL, "memcpy_s: dmax exceeds max"},
      {CALL(memcpy_s(b, 8, nullptr, kHuge)), EINVAL, "memcpy_s: n exceeds max"},
      {CALL(memcpy_s(b, 8, nullptr, 9)), EINVAL, "memcpy_s: n exceeds dmax"},
      {CALL(memcpy_s(b, 8, nullptr, 0)), EINVAL, "memcpy_s: src is NULL"},
      {CALL(memcpy_s(b + 4, 8, b, 5)), EINVAL, kMemOverlap},
      // Deliberate: src inside dest's whole capacity counts, though the 4 bytes don't overlap.
      {CALL(memcpy_s(b, 16, b + 4, 4)), EINVAL, kMemOverlap},
      {CALL(memcpy_s(b + 4, 8, b, 4)), 0, nullptr, 4, "abcd"},
      {CALL(memcpy_s(b, 16, b + 16, 8)), 0, nullptr, 0, "qrstuvwx"},
      {CALL(memcpy_s(b + 8, 8, b + 8, 8)), 0, nullptr},

      {CALL(memset_s(nullptr, kHuge, 0x1AB, kHuge)), EINVAL, "memset_s: s is null"},
      {CALL(memset_s(b, kHuge, 0x1AB, 4)), EINVAL, "memset_s: smax exceeds max"},
      // Deliberate: the n-errors wipe the whole known capacity before they are reported.
      {CALL(memset_s(b, 8, 0x1AB, kHuge)), EINVAL, "memset_s: n exceeds max", 0, kFilled},
      {CALL(memset_s(b, 8, 0x1AB, 9)), EINVAL, "memset_s: n exceeds smax", 0, kFilled},
      {CALL(memset_s(b, 8, 0x1AB, 5)), 0, nullptr, 0, kFilled.substr(3)},

      {CALL(strncpy_s(nullptr, 0, nullptr, kHuge)), EINVAL, "strncpy_s: dest is null"},
      {CALL(strncpy_s(b, 0, nullptr, kHuge)), EINVAL, "strncpy_s: dmax is 0"},
      {CALL(strncpy_s(b, kHuge, nullptr, kHuge)), EINVAL, "strncpy_s: dmax exceeds max"},
      {CALL(strncpy_s(b, 8, nullptr, kHuge)), EINVAL, "strncpy_s: src is null"},
      {CALL(strncpy_s(b, 8, "12", kHuge)), EINVAL, "strncpy_s: n exceeds max"},
      {CALL(strncpy_s(b, 8, b, 3)), EINVAL, kStrOverlap},
      {CALL(strncpy_s(b + 2, 8, b, 10)), EINVAL, kStrOverlap},  // the 6 letters run into dest
      {CALL(strncpy_s(b, 8, b + 3, 3)), EINVAL, kStrOverlap},
      // Count 4 reaches dest, but the string "f" ends before it: allowed.
      {CALL(strncpy_s(b + 8, 8, b + 5, 4)), 0, nullptr, 8, "f\0\0\0\0"s},
      {CALL(strncpy_s(b, 4, "123456", 10)), EOVERFLOW,
       "strncpy_s: copy was truncated (not enough space in dest)", 0, "123\0"s},
      // n at least dmax and src fits: the count is its length, no padding.
      {CALL(strncpy_s(b, 8, "123", 8)), 0, nullptr, 0, "123\0"s},
      // n below dmax: padded with zeros up to n, then terminated at dest[n].
      {CALL(strncpy_s(b, 8, "12", 3)), 0, nullptr, 0, "12\0\0"s},
      {CALL(strnlen_s("abcdef", 4)), 4, nullptr},
  });
}

// Installing a handler returns the previous one; null installs the default, which prints one
// line through the logger from level 1 on: to standard error, or to the output function given.
TEST_F(SafeLibTest, HandlerAndLogger) {
  const constraint_handler_t recorder = safe_constraint_handler;
  EXPECT_EQ(set_constraint_handler_s(nullptr), recorder);
  EXPECT_EQ(set_constraint_handler_s(recorder), &dcdi_handler_s);
  set_constraint_handler_s(nullptr);
  const std::string line = "DATA INCONSISTENCY/DATA CORRUPTION: (" + std::to_string(EINVAL) +
                           ") memcpy_s: dest is NULL\n";
  for (unsigned level : {1u, 0u}) {
    safe_init_logger(level, nullptr);
    testing::internal::CaptureStderr();
    EXPECT_EQ(memcpy_s(nullptr, 1, "", 1), EINVAL);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), level ? line : "");
  }
  static std::string logged;
  safe_init_logger(1, [](const char* format, va_list args) {
    char text[256];
    return std::vsnprintf(text, sizeof text, format, args), logged += text, 0;
  });
  safe_log(1, "a=%d|", 7);
  safe_log(2, "dropped");
  EXPECT_EQ(memcpy_s(nullptr, 1, "", 1), EINVAL);
  EXPECT_EQ(logged, "a=7|" + line);
}

}  // namespace
