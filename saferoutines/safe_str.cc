// Bounds-checked string routines: strnlen_s, strncpy_s.
#include <errno.h>
#include <stdint.h>
#include <string.h>

#include "mediastores/safe_lib.h"

namespace {

// Sizes with the top bit set exceed the maximum.
constexpr size_t kRsizeMax = SIZE_MAX >> 1;

int Fail(const char* msg, int error) {
  invoke_safe_str_constraint_handler(msg, nullptr, error);
  return error;
}

}  // namespace

extern "C" size_t strnlen_s(const char* s, size_t maxsize) {
  return s == nullptr ? 0 : strnlen(s, maxsize);
}

extern "C" int strncpy_s(char* dest, size_t dmax, const char* src, size_t n) {
  if (dest == nullptr) return Fail("strncpy_s: dest is null", EINVAL);
  if (dmax == 0) return Fail("strncpy_s: dmax is 0", EINVAL);
  if (dmax > kRsizeMax) return Fail("strncpy_s: dmax exceeds max", EINVAL);
  if (src == nullptr) return Fail("strncpy_s: src is null", EINVAL);
  if (n > kRsizeMax) return Fail("strncpy_s: n exceeds max", EINVAL);

  // The count always leaves room for the terminating zero at dest[count] within dmax.
  size_t count = n;
  int result = 0;
  bool truncated = false;
  if (n >= dmax) {
    const size_t len = strnlen_s(src, dmax);
    if (len >= dmax) {
      count = dmax - 1;
      result = EOVERFLOW;
      truncated = true;
    } else {
      count = len;
    }
  }

  // Addresses compared as integers: dest and src may belong to unrelated objects.
  const uintptr_t d = reinterpret_cast<uintptr_t>(dest);
  const uintptr_t s = reinterpret_cast<uintptr_t>(src);
  if ((d > s && s + count >= d && s + strnlen_s(src, count) >= d) || d == s ||
      (s > d && d + count >= s)) {
    return Fail("strncpy_s: overlap undefined", EINVAL);
  }

  if (truncated) {
    invoke_safe_str_constraint_handler("strncpy_s: copy was truncated (not enough space in dest)",
                                       nullptr, EOVERFLOW);
  }
  strncpy(dest, src, count);
  dest[count] = '\0';
  return result;
}
