// Bounds-checked memory routines: memcpy_s, memset_s.
#include <errno.h>
#include <stdint.h>
#include <string.h>

#include "mediastores/safe_lib.h"

namespace {

// Sizes with the top bit set exceed the maximum.
constexpr size_t kRsizeMax = SIZE_MAX >> 1;

int Fail(const char* msg) {
  invoke_safe_mem_constraint_handler(msg, nullptr, EINVAL);
  return EINVAL;
}

}  // namespace

extern "C" int memcpy_s(void* dest, size_t dmax, const void* src, size_t n) {
  if (dest == nullptr) return Fail("memcpy_s: dest is NULL");
  if (dmax > kRsizeMax) return Fail("memcpy_s: dmax exceeds max");
  if (n > kRsizeMax) return Fail("memcpy_s: n exceeds max");
  if (n > dmax) return Fail("memcpy_s: n exceeds dmax");
  if (src == nullptr) return Fail("memcpy_s: src is NULL");
  // Addresses compared as integers: dest and src may belong to unrelated objects. A src inside
  // dest's whole capacity counts as overlap, not only inside the n bytes copied.
  const uintptr_t d = reinterpret_cast<uintptr_t>(dest);
  const uintptr_t s = reinterpret_cast<uintptr_t>(src);
  if ((d > s && s + n > d) || (s > d && s < d + dmax)) return Fail("memcpy_s: overlap undefined");
  if (d == s || n == 0) return 0;
  memcpy(dest, src, n);
  return 0;
}

extern "C" int memset_s(void* dest, size_t smax, int value, size_t n) {
  if (dest == nullptr) return Fail("memset_s: s is null");
  if (smax > kRsizeMax) return Fail("memset_s: smax exceeds max");
  if (n > kRsizeMax) {
    memset(dest, value, smax);
    return Fail("memset_s: n exceeds max");
  }
  if (n > smax) {
    memset(dest, value, smax);
    return Fail("memset_s: n exceeds smax");
  }
  memset(dest, value, n);
  return 0;
}
