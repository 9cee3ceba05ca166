// BlockRecycler: memory for objects that one thread makes and another frees, recycled through
// per-thread caches rather than the general-purpose allocator.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_BLOCK_RECYCLER_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_BLOCK_RECYCLER_H_

#include <cstddef>

namespace kelStore {

// Hands out blocks of kBlockBytes. A block freed on a thread goes to that thread's cache; the cache
// passes full chains of blocks on to a shared stock, and a thread whose cache is empty takes a
// whole chain from it. A pair of threads of which one makes and the other frees (a posted
// delivery: made by the setting thread, freed by the subscriber's worker) thus meet on one lock
// per chain, instead of on the allocator's lock of the making thread's arena for every block.
//
// The stock keeps a bounded number of chains; blocks beyond it go back to the system, as do a
// thread's cached blocks when the thread ends and the stock is full. Built with AddressSanitizer,
// every block comes from the system and goes back to it, so that a use after free is still caught.
class BlockRecycler {
 public:
  static constexpr size_t kBlockBytes = 384;

  // A block of kBlockBytes, aligned for any object; throws std::bad_alloc like operator new.
  static void* Allocate();
  // Takes back a block from Allocate (any thread's).
  static void Free(void* block) noexcept;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_BLOCK_RECYCLER_H_
