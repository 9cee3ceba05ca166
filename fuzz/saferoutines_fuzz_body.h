// The checks run on one input by the bounds-checked routines fuzz target
// (fuzz/saferoutines_fuzz.cc) and by the seed corpus replay test
// (tests/reliability/fuzz_corpus_replay_test.cc).
//
// An input picks one of memcpy_s, memset_s, strncpy_s and strnlen_s, its sizes (honest ones that
// fit the buffer, or ones above the maximum), where destination and source lie in one guarded
// buffer (so they may overlap), null pointers, the fill value and the buffer's bytes. The call's
// result, its constraint handler calls (message, error number, errno at the call) and the whole
// buffer afterwards, guards included, must be exactly what the routine's documented rules give;
// in particular nothing outside the destination's stated size may change.
//
// Input layout: byte 0 routine (low two bits); byte 1 flags (1 null destination, 2 null source,
// 4 destination size above the maximum, 8 count from the table of large sizes); byte 2
// destination offset; byte 3 destination size; bytes 4-5 count; bytes 6-7 source offset; byte 8
// fill value; the rest fills the arena.
#ifndef MEDIASTORES_FUZZ_SAFEROUTINES_FUZZ_BODY_H_
#define MEDIASTORES_FUZZ_SAFEROUTINES_FUZZ_BODY_H_

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "mediastores/safe_lib.h"

namespace saferoutines_fuzz {

constexpr size_t kGuard = 64;
constexpr size_t kArena = 256;
constexpr size_t kTotal = kGuard + kArena + kGuard;
constexpr size_t kMaxSize = SIZE_MAX >> 1;  // the largest size the routines accept
// Sizes a caller may pass by mistake; the first ones exceed the maximum.
constexpr size_t kLargeSizes[] = {kMaxSize + 1, SIZE_MAX, kMaxSize + 1 + 7, kMaxSize};

struct HandlerCall {
  std::string msg;
  int error;
  int errnoAtCall;
  bool operator==(const HandlerCall& o) const {
    return msg == o.msg && error == o.error && errnoAtCall == o.errnoAtCall;
  }
};

inline std::vector<HandlerCall>& Calls() {
  static std::vector<HandlerCall> calls;
  return calls;
}

inline void Record(const char* msg, void*, int error) {
  Calls().push_back({msg != nullptr ? msg : "(null)", error, errno});
}

// The buffer: a guard, the arena the destination lies in, a guard. The last byte is always 0, so
// string reads that start anywhere in the buffer end inside it.
struct Buffer {
  uint8_t bytes[kTotal];
};

class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  uint8_t Byte(size_t at) const { return at < size_ ? data_[at] : 0; }
  const uint8_t* Rest(size_t from, size_t* length) const {
    *length = size_ > from ? size_ - from : 0;
    return data_ + (size_ > from ? from : size_);
  }

 private:
  const uint8_t* data_;
  size_t size_;
};

inline size_t BoundedLength(const uint8_t* s, size_t max) {
  size_t n = 0;
  while (n < max && s[n] != 0)
    ++n;
  return n;
}

// The rules, applied to `expected` (a copy of the buffer before the call) by offsets.
struct Outcome {
  long long result = 0;
  std::vector<HandlerCall> calls;
};

inline void Fail(Outcome* o, const char* msg, int error) {
  o->result = error;
  o->calls.push_back({msg, error, error});
}

inline Outcome ExpectMemcpy(Buffer* b, bool dNull, size_t d, size_t dmax, bool sNull, size_t s,
                            size_t n) {
  Outcome o;
  if (dNull) return Fail(&o, "memcpy_s: dest is NULL", EINVAL), o;
  if (dmax > kMaxSize) return Fail(&o, "memcpy_s: dmax exceeds max", EINVAL), o;
  if (n > kMaxSize) return Fail(&o, "memcpy_s: n exceeds max", EINVAL), o;
  if (n > dmax) return Fail(&o, "memcpy_s: n exceeds dmax", EINVAL), o;
  if (sNull) return Fail(&o, "memcpy_s: src is NULL", EINVAL), o;
  if ((d > s && s + n > d) || (s > d && s < d + dmax)) {
    return Fail(&o, "memcpy_s: overlap undefined", EINVAL), o;
  }
  if (d != s && n != 0) std::memmove(b->bytes + d, b->bytes + s, n);
  return o;
}

inline Outcome ExpectMemset(Buffer* b, bool dNull, size_t d, size_t smax, int value, size_t n) {
  Outcome o;
  if (dNull) return Fail(&o, "memset_s: s is null", EINVAL), o;
  if (smax > kMaxSize) return Fail(&o, "memset_s: smax exceeds max", EINVAL), o;
  if (n > kMaxSize || n > smax) {
    std::memset(b->bytes + d, value, smax);
    return Fail(&o, n > kMaxSize ? "memset_s: n exceeds max" : "memset_s: n exceeds smax", EINVAL),
           o;
  }
  std::memset(b->bytes + d, value, n);
  return o;
}

inline Outcome ExpectStrncpy(Buffer* b, bool dNull, size_t d, size_t dmax, bool sNull, size_t s,
                             size_t n) {
  Outcome o;
  if (dNull) return Fail(&o, "strncpy_s: dest is null", EINVAL), o;
  if (dmax == 0) return Fail(&o, "strncpy_s: dmax is 0", EINVAL), o;
  if (dmax > kMaxSize) return Fail(&o, "strncpy_s: dmax exceeds max", EINVAL), o;
  if (sNull) return Fail(&o, "strncpy_s: src is null", EINVAL), o;
  if (n > kMaxSize) return Fail(&o, "strncpy_s: n exceeds max", EINVAL), o;
  const uint8_t* src = b->bytes + s;
  size_t count = n;
  bool truncated = false;
  if (n >= dmax) {
    const size_t length = BoundedLength(src, dmax);
    if (length >= dmax) {
      count = dmax - 1;
      truncated = true;
    } else {
      count = length;
    }
  }
  if ((d > s && s + count >= d && s + BoundedLength(src, count) >= d) || d == s ||
      (s > d && d + count >= s)) {
    return Fail(&o, "strncpy_s: overlap undefined", EINVAL), o;
  }
  if (truncated) {
    o.result = EOVERFLOW;
    o.calls.push_back(
        {"strncpy_s: copy was truncated (not enough space in dest)", EOVERFLOW, EOVERFLOW});
  }
  // Source and destination are apart here, so the copy can be made from the buffer as it was.
  const size_t length = BoundedLength(src, count);
  std::vector<uint8_t> copied(count + 1, 0);
  std::memcpy(copied.data(), src, length);
  std::memcpy(b->bytes + d, copied.data(), count + 1);
  return o;
}

// Runs every check on one input; returns "" or a description of the first failed check.
inline std::string CheckOneInput(const uint8_t* data, size_t size) {
  const Input in(data, size);
  const int routine = in.Byte(0) & 3;
  const uint8_t flags = in.Byte(1);
  const bool dNull = (flags & 1) != 0;
  const bool sNull = (flags & 2) != 0;
  const size_t d = kGuard + in.Byte(2) % (kArena + 1);
  const size_t room = kGuard + kArena - d;
  const size_t dmax = (flags & 4) != 0 ? kLargeSizes[in.Byte(3) % 3] : in.Byte(3) % (room + 1);
  const size_t wide = in.Byte(4) | static_cast<size_t>(in.Byte(5)) << 8;
  const size_t n = (flags & 8) != 0 ? kLargeSizes[wide % 4] : wide % (kArena + 32);
  size_t s = (in.Byte(6) | static_cast<size_t>(in.Byte(7)) << 8) % kTotal;
  // A copy reads n bytes from the source: keep them inside the buffer.
  if (routine == 0 && n <= kTotal && s + n > kTotal) s = kTotal - n;
  const int value = static_cast<int8_t>(in.Byte(8));

  Buffer before;
  for (size_t i = 0; i < kTotal; ++i)
    before.bytes[i] = static_cast<uint8_t>(0xA5 ^ i);
  size_t restLength = 0;
  const uint8_t* rest = in.Rest(9, &restLength);
  for (size_t i = 0; i < restLength && i < kArena; ++i)
    before.bytes[kGuard + i] = rest[i];
  before.bytes[kTotal - 1] = 0;

  Buffer actual = before;
  Buffer expected = before;
  uint8_t* dest = dNull ? nullptr : actual.bytes + d;
  uint8_t* src = sNull ? nullptr : actual.bytes + s;
  Outcome want;
  long long got = 0;
  std::string call;
  Calls().clear();
  const constraint_handler_t previous = set_constraint_handler_s(&Record);
  errno = 0;
  switch (routine) {
    case 0:
      call = "memcpy_s";
      got = memcpy_s(dest, dmax, src, n);
      want = ExpectMemcpy(&expected, dNull, d, dmax, sNull, s, n);
      break;
    case 1:
      call = "memset_s";
      got = memset_s(dest, dmax, value, n);
      want = ExpectMemset(&expected, dNull, d, dmax, value, n);
      break;
    case 2:
      call = "strncpy_s";
      got = strncpy_s(reinterpret_cast<char*>(dest), dmax, reinterpret_cast<const char*>(src), n);
      want = ExpectStrncpy(&expected, dNull, d, dmax, sNull, s, n);
      break;
    default: {
      call = "strnlen_s";
      // The size is the count: anything, as the string ends inside the buffer.
      got = static_cast<long long>(strnlen_s(reinterpret_cast<const char*>(src), n));
      want.result = sNull ? 0 : static_cast<long long>(BoundedLength(before.bytes + s, n));
      break;
    }
  }
  set_constraint_handler_s(previous);

  call += "(dest " + (dNull ? std::string("null") : "+" + std::to_string(d)) + ", size " +
          std::to_string(dmax) + ", src " +
          (sNull ? std::string("null") : "+" + std::to_string(s)) + ", n " + std::to_string(n) +
          ")";
  if (got != want.result) {
    return call + " returned " + std::to_string(got) + ", expected " + std::to_string(want.result);
  }
  if (!(Calls() == want.calls)) {
    std::string text = call + " made handler calls:";
    for (const HandlerCall& c : Calls())
      text += " [" + c.msg + ", " + std::to_string(c.error) + ", errno " +
              std::to_string(c.errnoAtCall) + "]";
    return text + "; expected " + std::to_string(want.calls.size()) + " call(s)" +
           (want.calls.empty() ? "" : ", first [" + want.calls[0].msg + "]");
  }
  for (size_t i = 0; i < kTotal; ++i) {
    if (actual.bytes[i] != expected.bytes[i]) {
      const bool inside = !dNull && i >= d && dmax <= kTotal && i < d + dmax;
      return call + " left byte +" + std::to_string(i) + " " + (inside ? "inside" : "OUTSIDE") +
             " the destination's size as " + std::to_string(actual.bytes[i]) + ", expected " +
             std::to_string(expected.bytes[i]);
    }
  }
  return std::string();
}

}  // namespace saferoutines_fuzz

#endif  // MEDIASTORES_FUZZ_SAFEROUTINES_FUZZ_BODY_H_
