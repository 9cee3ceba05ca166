#include <gtest/gtest.h>

#include "mediastores/mediastores.h"
#include "tests/saferoutines/constraint_capture.h"

namespace {

using SafeMemTest = ConstraintTest;

const char kOverlap[] = "memcpy_s: overlap undefined";
const std::string kFilled(8, '\xAB');

// Checks in their order (a later check's fault is present in every failing case), and what each
// call writes.
TEST_F(SafeMemTest, ChecksInOrderAndWritesOnlyWhatItMay) {
  Run({
      {CALL(memcpy_s(nullptr, kHuge, nullptr, kHuge)), EINVAL, "memcpy_s: dest is NULL"},
      {CALL(memcpy_s(b, kHuge, nullptr, kHuge)), EINVAL, "memcpy_s: dmax exceeds max"},
      {CALL(memcpy_s(b, 8, nullptr, kHuge)), EINVAL, "memcpy_s: n exceeds max"},
      {CALL(memcpy_s(b, 8, nullptr, 9)), EINVAL, "memcpy_s: n exceeds dmax"},
      {CALL(memcpy_s(b, 8, nullptr, 0)), EINVAL, "memcpy_s: src is NULL"},
      {CALL(memcpy_s(b + 4, 8, b, 5)), EINVAL, kOverlap},
      // Deliberate: src inside dest's whole capacity counts, though the 4 bytes don't overlap.
      {CALL(memcpy_s(b, 16, b + 4, 4)), EINVAL, kOverlap},
      {CALL(memcpy_s(b, 16, b + 15, 1)), EINVAL, kOverlap},
      {CALL(memcpy_s(b + 4, 8, b, 4)), 0, nullptr, 4, "abcd"},
      {CALL(memcpy_s(b, 16, b + 16, 8)), 0, nullptr, 0, "qrstuvwx"},
      {CALL(memcpy_s(b + 8, 8, b + 8, 8)), 0, nullptr},
      {CALL(memcpy_s(b + 16, 8, b, 8)), 0, nullptr, 16, "abcdef\0h"s},

      {CALL(memset_s(nullptr, kHuge, 0x1AB, kHuge)), EINVAL, "memset_s: s is null"},
      {CALL(memset_s(b, kHuge, 0x1AB, 4)), EINVAL, "memset_s: smax exceeds max"},
      // Deliberate: the n-errors wipe the whole known capacity before they are reported.
      {CALL(memset_s(b, 8, 0x1AB, kHuge)), EINVAL, "memset_s: n exceeds max", 0, kFilled},
      {CALL(memset_s(b, 8, 0x1AB, 9)), EINVAL, "memset_s: n exceeds smax", 0, kFilled},
      {CALL(memset_s(b, 8, 0x1AB, 5)), 0, nullptr, 0, kFilled.substr(3)},
  });
}

}  // namespace
