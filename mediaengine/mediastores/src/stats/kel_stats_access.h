// Lock-free access to the statistics records that writer and reader threads share.
//
// A statistics object has no lock: the pipeline's threads write single fields while a reporter
// copies whole records out (and may clear some fields as it reads). Every access to a shared
// record therefore goes through these helpers, which use relaxed atomic loads and stores on the
// plain fields. On the targets the library is built for a relaxed atomic access of up to eight
// aligned bytes is an ordinary move, so updates cost what a plain store costs, while concurrent
// writers and readers stay well defined (and clean under ThreadSanitizer). Whole records move in
// aligned eight-byte words (four-byte words at the edges), read through may_alias word types
// because a record holds fields of many types, or in aligned vector blocks that read and write
// each of their eight-byte words whole. A copied record may therefore mix old and new field
// values, but no field aligned to its own size is ever seen half-written.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_STATS_ACCESS_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_STATS_ACCESS_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "mediastores/safe_lib.h"

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

// Sanitizer builds move every word through the atomic builtins, so that the sanitizers see and
// check each access; other x86-64 builds read and write sixteen-byte blocks with single aligned
// vector moves, which read or write each aligned eight-byte word of the block whole.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define KEL_STATS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define KEL_STATS_SANITIZED 1
#endif
#endif
#if defined(__x86_64__) && !defined(KEL_STATS_SANITIZED)
#define KEL_STATS_VECTOR_MOVES 1
#endif

namespace kelStore {
namespace statsaccess {

typedef uint32_t KelWord32 __attribute__((may_alias));
typedef uint64_t KelWord64 __attribute__((may_alias));
// Sixteen bytes of a record as four 32-bit lanes: resetting reads take record words in blocks
// and work out differences lane by lane.
typedef uint32_t KelLanes __attribute__((vector_size(16), may_alias));
typedef uint64_t KelPairs __attribute__((vector_size(16), may_alias));
// The lanes of `a` where `mask` is all ones, those of `b` elsewhere.
inline KelLanes Pick(KelLanes mask, KelLanes a, KelLanes b) {
  return (a & mask) | (b & ~mask);
}

struct KelBlock16 {
  unsigned char bytes[16];
};

// Sixteen bytes of a shared record at a 16-byte aligned address.
inline KelLanes Load16(const void* shared) {
  KelLanes lanes;
#if defined(KEL_STATS_VECTOR_MOVES)
  asm volatile("movdqa %1, %0" : "=x"(lanes) : "m"(*static_cast<const KelBlock16*>(shared)));
#else
  const uint64_t words[2] = {
      __atomic_load_n(static_cast<const KelWord64*>(shared), __ATOMIC_RELAXED),
      __atomic_load_n(static_cast<const KelWord64*>(shared) + 1, __ATOMIC_RELAXED)};
  std::memcpy(&lanes, words, sizeof(lanes));
#endif
  return lanes;
}

// Writes sixteen bytes of a shared record at a 16-byte aligned address.
inline void Store16(void* shared, KelLanes lanes) {
#if defined(KEL_STATS_VECTOR_MOVES)
  asm volatile("movdqa %1, %0" : "=m"(*static_cast<KelBlock16*>(shared)) : "x"(lanes));
#else
  uint64_t words[2];
  std::memcpy(words, &lanes, sizeof(words));
  __atomic_store_n(static_cast<KelWord64*>(shared), words[0], __ATOMIC_RELAXED);
  __atomic_store_n(static_cast<KelWord64*>(shared) + 1, words[1], __ATOMIC_RELAXED);
#endif
}

template <typename T>
inline void Store(T* field, T value) {
  static_assert(std::is_trivially_copyable<T>::value && sizeof(T) <= 8, "one machine word");
  __atomic_store(field, &value, __ATOMIC_RELAXED);
}

template <typename T>
inline T Load(const T* field) {
  static_assert(std::is_trivially_copyable<T>::value && sizeof(T) <= 8, "one machine word");
  T value;
  __atomic_load(field, &value, __ATOMIC_RELAXED);
  return value;
}

// A 64-bit field of a four-byte packed record, addressed by byte position: one store when the
// field is eight-byte aligned in memory, else two four-byte stores (low half first).
inline void Store64At(void* record, size_t position, uint64_t value) {
  unsigned char* at = static_cast<unsigned char*>(record) + position;
  if ((reinterpret_cast<uintptr_t>(at) & 7u) == 0) {
    __atomic_store_n(reinterpret_cast<KelWord64*>(at), value, __ATOMIC_RELAXED);
    return;
  }
  uint32_t halves[2];
  std::memcpy(halves, &value, sizeof(halves));
  __atomic_store_n(reinterpret_cast<KelWord32*>(at), halves[0], __ATOMIC_RELAXED);
  __atomic_store_n(reinterpret_cast<KelWord32*>(at + 4), halves[1], __ATOMIC_RELAXED);
}

// Copies `size` bytes (a multiple of 4) out of the shared record at `shared` (4-byte aligned)
// into the caller's private buffer `dst` (any alignment). Every aligned eight-byte word of the
// record (four-byte at the edges) is read whole. Readers copy whole records on every report, so
// where the processor has AVX2 the words are read 32 bytes at a time (kel_stats_access.cc).
void CopyOut(void* dst, const void* shared, size_t size);

#if defined(KEL_STATS_VECTOR_MOVES)
// Whether the processor has AVX2 (32-byte vector moves).
bool HasAvx2();
#endif

// The same with single relaxed atomic loads, whatever the processor.
void CopyOutWords(void* dst, const void* shared, size_t size);

#if defined(KEL_STATS_VECTOR_MOVES)
// Sixteen bytes of a shared record at a four-byte aligned address, by one vector move (which
// reads or writes each aligned word of the block whole).
inline __m128i LoadUnaligned16(const void* shared) {
  __m128i lanes;
  asm volatile("movdqu %1, %0" : "=x"(lanes) : "m"(*static_cast<const KelBlock16*>(shared)));
  return lanes;
}
inline void StoreUnaligned16(void* shared, __m128i lanes) {
  asm volatile("movdqu %1, %0" : "=m"(*static_cast<KelBlock16*>(shared)) : "x"(lanes));
}
#endif

// The same for the small records (a few hundred bytes), inline and in sixteen-byte blocks: words
// up to 16-byte alignment, the blocks, then the last words.
inline void CopyOutSmall(void* dst, const void* shared, size_t size) {
  unsigned char* to = static_cast<unsigned char*>(dst);
  const unsigned char* from = static_cast<const unsigned char*>(shared);
  size_t at = 0;
  if ((reinterpret_cast<uintptr_t>(from) & 4u) != 0 && size >= 4) {
    const uint32_t word =
        __atomic_load_n(reinterpret_cast<const KelWord32*>(from), __ATOMIC_RELAXED);
    std::memcpy(to, &word, 4);
    at = 4;
  }
  if ((reinterpret_cast<uintptr_t>(from + at) & 8u) != 0 && at + 8 <= size) {
    const uint64_t word =
        __atomic_load_n(reinterpret_cast<const KelWord64*>(from + at), __ATOMIC_RELAXED);
    std::memcpy(to + at, &word, 8);
    at += 8;
  }
  for (; at + 16 <= size; at += 16) {
    const KelLanes block = Load16(from + at);
    std::memcpy(to + at, &block, 16);
  }
  if (at + 8 <= size) {
    const uint64_t word =
        __atomic_load_n(reinterpret_cast<const KelWord64*>(from + at), __ATOMIC_RELAXED);
    std::memcpy(to + at, &word, 8);
    at += 8;
  }
  if (at < size) {
    const uint32_t word =
        __atomic_load_n(reinterpret_cast<const KelWord32*>(from + at), __ATOMIC_RELAXED);
    std::memcpy(to + at, &word, 4);
  }
}

// Copies `size` bytes (a multiple of 4) from the caller's private buffer `src` into the shared
// record at `shared` (4-byte aligned).
inline void CopyIn(void* shared, const void* src, size_t size) {
  unsigned char* to = static_cast<unsigned char*>(shared);
  const unsigned char* from = static_cast<const unsigned char*>(src);
  size_t at = 0;
  if ((reinterpret_cast<uintptr_t>(to) & 7u) != 0 && size >= 4) {
    uint32_t word;
    std::memcpy(&word, from, 4);
    __atomic_store_n(reinterpret_cast<KelWord32*>(to), word, __ATOMIC_RELAXED);
    at = 4;
  }
  for (; at + 8 <= size; at += 8) {
    uint64_t word;
    std::memcpy(&word, from + at, 8);
    __atomic_store_n(reinterpret_cast<KelWord64*>(to + at), word, __ATOMIC_RELAXED);
  }
  if (at < size) {
    uint32_t word;
    std::memcpy(&word, from + at, 4);
    __atomic_store_n(reinterpret_cast<KelWord32*>(to + at), word, __ATOMIC_RELAXED);
  }
}

// Zeroes `size` bytes (a multiple of 4) of the shared record at `shared` (4-byte aligned).
inline void Zero(void* shared, size_t size) {
  unsigned char* to = static_cast<unsigned char*>(shared);
  size_t at = 0;
  if ((reinterpret_cast<uintptr_t>(to) & 7u) != 0 && size >= 4) {
    __atomic_store_n(reinterpret_cast<KelWord32*>(to), 0u, __ATOMIC_RELAXED);
    at = 4;
  }
  for (; at + 8 <= size; at += 8) {
    __atomic_store_n(reinterpret_cast<KelWord64*>(to + at), uint64_t{0}, __ATOMIC_RELAXED);
  }
  if (at < size) __atomic_store_n(reinterpret_cast<KelWord32*>(to + at), 0u, __ATOMIC_RELAXED);
}

// The bounds-checked form used when a whole record is cleared. memset_s is called with a zero
// count: it makes its argument checks (null pointer, sizes), reporting a violation to the
// constraint handler exactly as for a real fill, and moves nothing; the bytes are then cleared in
// relaxed words as above. Returns the routine's result and clears nothing when it is not 0.
// (Reads use CopyOut directly: their destination has been checked for null by the getter and
// their source is the object's own record of fixed size, so there is nothing left to check.)
inline int CheckedZero(void* shared, size_t size) {
  const int result = memset_s(shared, size, 0, 0);
  if (result == 0) Zero(shared, size);
  return result;
}

}  // namespace statsaccess
}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_STATS_ACCESS_H_
