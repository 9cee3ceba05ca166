// The bounds-checked memory and string routines (memcpy_s, memset_s, strnlen_s, strncpy_s), their
// constraint handler and the logger of the default handler.
#include "mediastores/safe_lib.h"

#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

namespace {

// Sizes with the top bit set exceed the maximum.
constexpr size_t kRsizeMax = SIZE_MAX >> 1;

int FailMem(const char* msg) {
  invoke_safe_mem_constraint_handler(msg, nullptr, EINVAL);
  return EINVAL;
}

int FailStr(const char* msg, int error) {
  invoke_safe_str_constraint_handler(msg, nullptr, error);
  return error;
}

}  // namespace

extern "C" {

constraint_handler_t safe_constraint_handler = dcdi_handler_s;
unsigned int safe_desired_log_lvl = 1;
safe_log_func_t safe_log_func = nullptr;

constraint_handler_t set_constraint_handler_s(constraint_handler_t handler) {
  constraint_handler_t previous = safe_constraint_handler;
  safe_constraint_handler = handler != nullptr ? handler : dcdi_handler_s;
  return previous;
}

static void InvokeConstraintHandler(const char* msg, int error) {
  errno = error;
  // The global may have been cleared by direct assignment; fall back to the default then.
  constraint_handler_t handler = safe_constraint_handler;
  (handler != nullptr ? handler : dcdi_handler_s)(msg, nullptr, errno);
}

void invoke_safe_mem_constraint_handler(const char* msg, void* /*ptr*/, int error) {
  InvokeConstraintHandler(msg, error);
}

void invoke_safe_str_constraint_handler(const char* msg, void* /*ptr*/, int error) {
  InvokeConstraintHandler(msg, error);
}

void dcdi_handler_s(const char* msg, void* /*ptr*/, int error) {
  safe_log(1, "DATA INCONSISTENCY/DATA CORRUPTION: (%u) %s\n", static_cast<unsigned>(error),
           msg != nullptr ? msg : "");
}

int safe_init_logger(unsigned int level, safe_log_func_t func) {
  safe_desired_log_lvl = level;
  safe_log_func = func;
  return 0;
}

void safe_log(unsigned int level, const char* format, ...) {
  if (safe_desired_log_lvl < level) return;
  va_list args;
  va_start(args, format);
  safe_log_func_t func = safe_log_func;
  if (func != nullptr) {
    func(format, args);
  } else {
    flockfile(stderr);
    vfprintf(stderr, format, args);
    fflush(stderr);
    funlockfile(stderr);
  }
  va_end(args);
}

void safe_enable_backtrace(void) {}

void safe_log_backtrace(void) {}

}  // extern "C"

extern "C" int memcpy_s(void* dest, size_t dmax, const void* src, size_t n) {
  if (dest == nullptr) return FailMem("memcpy_s: dest is NULL");
  if (dmax > kRsizeMax) return FailMem("memcpy_s: dmax exceeds max");
  if (n > kRsizeMax) return FailMem("memcpy_s: n exceeds max");
  if (n > dmax) return FailMem("memcpy_s: n exceeds dmax");
  if (src == nullptr) return FailMem("memcpy_s: src is NULL");
  // Addresses compared as integers: dest and src may belong to unrelated objects. A src inside
  // dest's whole capacity counts as overlap, not only inside the n bytes copied.
  const uintptr_t d = reinterpret_cast<uintptr_t>(dest);
  const uintptr_t s = reinterpret_cast<uintptr_t>(src);
  if ((d > s && s + n > d) || (s > d && s < d + dmax))
    return FailMem("memcpy_s: overlap undefined");
  if (d == s || n == 0) return 0;
  memcpy(dest, src, n);
  return 0;
}

extern "C" int memset_s(void* dest, size_t smax, int value, size_t n) {
  if (dest == nullptr) return FailMem("memset_s: s is null");
  if (smax > kRsizeMax) return FailMem("memset_s: smax exceeds max");
  if (n > kRsizeMax) {
    memset(dest, value, smax);
    return FailMem("memset_s: n exceeds max");
  }
  if (n > smax) {
    memset(dest, value, smax);
    return FailMem("memset_s: n exceeds smax");
  }
  memset(dest, value, n);
  return 0;
}

extern "C" size_t strnlen_s(const char* s, size_t maxsize) {
  return s == nullptr ? 0 : strnlen(s, maxsize);
}

extern "C" int strncpy_s(char* dest, size_t dmax, const char* src, size_t n) {
  if (dest == nullptr) return FailStr("strncpy_s: dest is null", EINVAL);
  if (dmax == 0) return FailStr("strncpy_s: dmax is 0", EINVAL);
  if (dmax > kRsizeMax) return FailStr("strncpy_s: dmax exceeds max", EINVAL);
  if (src == nullptr) return FailStr("strncpy_s: src is null", EINVAL);
  if (n > kRsizeMax) return FailStr("strncpy_s: n exceeds max", EINVAL);

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
    return FailStr("strncpy_s: overlap undefined", EINVAL);
  }

  if (truncated) {
    invoke_safe_str_constraint_handler("strncpy_s: copy was truncated (not enough space in dest)",
                                       nullptr, EOVERFLOW);
  }
  strncpy(dest, src, count);
  dest[count] = '\0';
  return result;
}
