// Bad input to the bounds-checked routines beyond what their own tests pin: null buffers with
// zero sizes, sizes exactly at and just above the maximum, and the largest size there is. Each
// call gets its result and its one handler call (or none), and the buffer around it is untouched
// except for what the routine documents.
#include <gtest/gtest.h>

#include "mediastores/mediastores.h"
#include "tests/saferoutines/constraint_capture.h"

namespace {

constexpr size_t kMax = kHuge - 1;  // the largest size accepted

using SafeRoutinesBadInput = ConstraintTest;

TEST_F(SafeRoutinesBadInput, NullBuffersAndSizesAtTheBounds) {
  Run({
      {CALL(memcpy_s(nullptr, 0, nullptr, 0)), EINVAL, "memcpy_s: dest is NULL"},
      {CALL(memcpy_s(b, 0, nullptr, 0)), EINVAL, "memcpy_s: src is NULL"},
      {CALL(memcpy_s(b, SIZE_MAX, b + 8, 1)), EINVAL, "memcpy_s: dmax exceeds max"},
      {CALL(memcpy_s(b, 8, b + 8, SIZE_MAX)), EINVAL, "memcpy_s: n exceeds max"},
      {CALL(memcpy_s(b, 8, b + 8, kMax)), EINVAL, "memcpy_s: n exceeds dmax"},
      {CALL(memcpy_s(b, kMax, b + 8, 0)), EINVAL, "memcpy_s: overlap undefined"},
      {CALL(memcpy_s(b, 0, b + 8, 0)), 0, nullptr},
      {CALL(memset_s(nullptr, 0, 0, 0)), EINVAL, "memset_s: s is null"},
      {CALL(memset_s(b, 0, 'x', 0)), 0, nullptr},
      {CALL(memset_s(b, SIZE_MAX, 'x', 0)), EINVAL, "memset_s: smax exceeds max"},
      {CALL(memset_s(b, 0, 'x', SIZE_MAX)), EINVAL, "memset_s: n exceeds max"},
      {CALL(memset_s(b, 0, 'x', kMax)), EINVAL, "memset_s: n exceeds smax"},
      {CALL(memset_s(b, 2, 'x', kHuge)), EINVAL, "memset_s: n exceeds max", 0, "xx"},
      {CALL(strncpy_s(nullptr, 8, "ab", 2)), EINVAL, "strncpy_s: dest is null"},
      {CALL(strncpy_s(b, SIZE_MAX, "ab", 2)), EINVAL, "strncpy_s: dmax exceeds max"},
      {CALL(strncpy_s(b, 8, nullptr, 0)), EINVAL, "strncpy_s: src is null"},
      {CALL(strncpy_s(b, 8, "ab", SIZE_MAX)), EINVAL, "strncpy_s: n exceeds max"},
      {CALL(strncpy_s(b, 1, "ab", kMax)), EOVERFLOW,
       "strncpy_s: copy was truncated (not enough space in dest)", 0, "\0"s},
      {CALL(strncpy_s(b, 1, "", 0)), 0, nullptr, 0, "\0"s},
      {CALL(strnlen_s(nullptr, 0)), 0, nullptr},
      {CALL(strnlen_s(nullptr, SIZE_MAX)), 0, nullptr},
      {CALL(strnlen_s("abc", SIZE_MAX)), 3, nullptr},
  });
}

}  // namespace
