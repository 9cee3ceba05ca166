#include "mediaengine/mediastores/src/stats/kel_stats_access.h"

#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// Outside sanitizer builds (kel_stats_access.h), x86-64 builds read large records 32 bytes at a
// time when the processor has AVX2: compilers never widen atomic loads, and word by word a 2 KiB
// video record costs several times a memcpy of it.
#if defined(KEL_STATS_VECTOR_MOVES)
#define KEL_STATS_VECTOR_COPY 1
#endif

namespace kelStore {
namespace statsaccess {

namespace {

inline void CopyWord32(unsigned char* to, const unsigned char* from) {
  const uint32_t word = __atomic_load_n(reinterpret_cast<const KelWord32*>(from), __ATOMIC_RELAXED);
  std::memcpy(to, &word, sizeof(word));
}

inline void CopyWord64(unsigned char* to, const unsigned char* from) {
  const uint64_t word = __atomic_load_n(reinterpret_cast<const KelWord64*>(from), __ATOMIC_RELAXED);
  std::memcpy(to, &word, sizeof(word));
}

// Copies bytes [at, end) of a record whose bytes at `from` + at are 4-byte aligned (at and end
// multiples of 4): a four-byte word up to eight-byte alignment, eight-byte words, and a last
// four-byte word.
inline __attribute__((always_inline)) void CopyWordRange(unsigned char* to,
                                                         const unsigned char* from, size_t at,
                                                         size_t end) {
  if (at < end && (reinterpret_cast<uintptr_t>(from + at) & 7u) != 0) {
    CopyWord32(to + at, from + at);
    at += 4;
  }
  for (; at + 32 <= end; at += 32) {
    CopyWord64(to + at, from + at);
    CopyWord64(to + at + 8, from + at + 8);
    CopyWord64(to + at + 16, from + at + 16);
    CopyWord64(to + at + 24, from + at + 24);
  }
  for (; at + 8 <= end; at += 8)
    CopyWord64(to + at, from + at);
  if (at < end) CopyWord32(to + at, from + at);
}

#if defined(KEL_STATS_VECTOR_COPY)

struct Block32 {
  unsigned char bytes[32];
};
struct Block128 {
  unsigned char bytes[128];
};

// Words up to 32-byte alignment, then aligned 32-byte loads, then the last words. An aligned
// vector load reads each of its aligned eight-byte words whole, as an eight-byte load does; the
// loads are written in assembly so that they are the processor's reads of shared memory (as the
// atomic builtins are), not plain C++ reads that a concurrent writer would race with.
__attribute__((target("avx2"))) void CopyOutAvx2(unsigned char* to, const unsigned char* from,
                                                 size_t size) {
  size_t at = (32u - (reinterpret_cast<uintptr_t>(from) & 31u)) & 31u;
  if (at > size) at = size;
  CopyWordRange(to, from, 0, at);
  for (; at + 128 <= size; at += 128) {
    __m256i w0, w1, w2, w3;
    asm volatile(
        "vmovdqa (%4), %0\n\t"
        "vmovdqa 32(%4), %1\n\t"
        "vmovdqa 64(%4), %2\n\t"
        "vmovdqa 96(%4), %3"
        : "=x"(w0), "=x"(w1), "=x"(w2), "=x"(w3)
        : "r"(from + at), "m"(*reinterpret_cast<const Block128*>(from + at)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + at), w0);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + at + 32), w1);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + at + 64), w2);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + at + 96), w3);
  }
  for (; at + 32 <= size; at += 32) {
    __m256i w0;
    asm volatile("vmovdqa (%1), %0"
                 : "=x"(w0)
                 : "r"(from + at), "m"(*reinterpret_cast<const Block32*>(from + at)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + at), w0);
  }
  CopyWordRange(to, from, at, size);
}

#endif  // KEL_STATS_VECTOR_COPY

}  // namespace

#if defined(KEL_STATS_VECTOR_COPY)
bool HasAvx2() {
  static const bool hasAvx2 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
  }();
  return hasAvx2;
}
#endif

void CopyOutWords(void* dst, const void* shared, size_t size) {
  CopyWordRange(static_cast<unsigned char*>(dst), static_cast<const unsigned char*>(shared), 0,
                size);
}

void CopyOut(void* dst, const void* shared, size_t size) {
#if defined(KEL_STATS_VECTOR_COPY)
  if (size >= 64 && HasAvx2()) {
    CopyOutAvx2(static_cast<unsigned char*>(dst), static_cast<const unsigned char*>(shared), size);
    return;
  }
#endif
  CopyOutWords(dst, shared, size);
}

}  // namespace statsaccess
}  // namespace kelStore
