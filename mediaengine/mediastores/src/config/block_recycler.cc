#include "mediaengine/mediastores/src/config/block_recycler.h"

#include <new>

#include "platform/mutex.h"
#include "platform/thread_annotations.h"

#if defined(__SANITIZE_ADDRESS__)
#define MEDIASTORES_BLOCKS_FROM_SYSTEM 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MEDIASTORES_BLOCKS_FROM_SYSTEM 1
#endif
#endif

namespace kelStore {

namespace {

// Blocks that pass between a thread's cache and the stock at once.
constexpr size_t kChainBlocks = 32;
// Chains the stock keeps (about 190 KB of blocks).
constexpr size_t kStockChains = 16;

void* FromSystem() {
  return ::operator new(BlockRecycler::kBlockBytes);
}

void ToSystem(void* block) noexcept {
  ::operator delete(block);
}

// A free block holds the link to the next one in its first bytes.
struct FreeBlock {
  FreeBlock* next;
};

// Free blocks linked through their first bytes.
struct Chain {
  FreeBlock* head = nullptr;
  size_t count = 0;

  bool Empty() const { return head == nullptr; }
  void Push(void* block) {
    head = ::new (block) FreeBlock{head};
    ++count;
  }
  void* Pop() {
    FreeBlock* const block = head;
    head = block->next;
    --count;
    return block;
  }
  // Gives every block back to the system and leaves the chain empty.
  void Release() {
    while (!Empty())
      ToSystem(Pop());
  }
};

// The chains that threads pass on and take. Made once and never destroyed, so that a thread
// ending late in the process's exit can still give its cache back.
class Stock {
 public:
  static Stock& Get() {
    static Stock* const stock = new Stock();
    return *stock;
  }

  // Keeps `chain` if there is room, else gives its blocks back to the system. Leaves it empty.
  void Put(Chain& chain) MS_EXCLUDES(m_mutex) {
    if (chain.Empty()) return;
    {
      COxMutexGuard<COxStdMutex> lock(m_mutex);
      if (m_count < kStockChains) {
        m_chains[m_count++] = chain;
        chain = Chain();
        return;
      }
    }
    chain.Release();
  }

  // Takes a chain; an empty one when the stock has none.
  Chain Take() MS_EXCLUDES(m_mutex) {
    COxMutexGuard<COxStdMutex> lock(m_mutex);
    return m_count > 0 ? m_chains[--m_count] : Chain();
  }

 private:
  Stock() = default;

  COxStdMutex m_mutex;
  Chain m_chains[kStockChains] MS_GUARDED_BY(m_mutex);
  size_t m_count MS_GUARDED_BY(m_mutex) = 0;
};

// One thread's blocks: the chain it takes from and frees to, and one full chain set aside. A
// thread that only frees passes a chain to the stock for each kChainBlocks blocks; one that only
// takes fetches a chain for each kChainBlocks.
class Cache {
 public:
  ~Cache() {
    t_gone = true;
    Stock::Get().Put(m_current);
    Stock::Get().Put(m_full);
  }

  void* Allocate() {
    if (m_current.Empty()) {
      if (!m_full.Empty()) {
        m_current = m_full;
        m_full = Chain();
      } else {
        m_current = Stock::Get().Take();
        if (m_current.Empty()) return FromSystem();
      }
    }
    return m_current.Pop();
  }

  void Free(void* block) {
    m_current.Push(block);
    if (m_current.count < kChainBlocks) return;
    Stock::Get().Put(m_full);
    m_full = m_current;
    m_current = Chain();
  }

  // Set once the thread's cache is destroyed: blocks the thread handles after that go straight
  // to and from the system.
  static thread_local bool t_gone;

 private:
  Chain m_current;
  Chain m_full;
};

thread_local bool Cache::t_gone = false;

#ifndef MEDIASTORES_BLOCKS_FROM_SYSTEM
Cache& ThreadCache() {
  thread_local Cache cache;
  return cache;
}
#endif

}  // namespace

void* BlockRecycler::Allocate() {
#ifndef MEDIASTORES_BLOCKS_FROM_SYSTEM
  if (!Cache::t_gone) return ThreadCache().Allocate();
#endif
  return FromSystem();
}

void BlockRecycler::Free(void* block) noexcept {
  if (block == nullptr) return;
#ifndef MEDIASTORES_BLOCKS_FROM_SYSTEM
  if (!Cache::t_gone) {
    ThreadCache().Free(block);
    return;
  }
#endif
  ToSystem(block);
}

}  // namespace kelStore
