#include "mediaengine/mediastores/src/config/kel_config_registry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/kel_config_helper.h"
#include "mediastores/result_codes.h"
#include "platform/mutex.h"
#include "platform/thread_annotations.h"
#include "platform/trace.h"

namespace kelStore {

namespace {

// Map nodes come from slabs of kNodesPerSlab nodes: the registry's nodes lie side by side, so a
// lookup among many calls walks a few pages instead of one page per call. A freed node is kept
// for the next one; the slabs go back to the heap when the last node does. Used only by the
// registry's map, whose every change happens under g_mutex.
class NodeSlabs {
 public:
  NodeSlabs(size_t nodeSize, size_t nodeAlign)
      : m_nodeSize((std::max(nodeSize, sizeof(FreeNode)) + nodeAlign - 1) / nodeAlign * nodeAlign),
        m_align(std::max(nodeAlign, alignof(FreeNode))) {}

  void* Take() {
    if (m_free == nullptr) AddSlab();
    FreeNode* node = m_free;
    m_free = node->next;
    ++m_live;
    return node;
  }
  void Give(void* p) {
    m_free = new (p) FreeNode{m_free};
    if (--m_live == 0) ReleaseSlabs();
  }

 private:
  static constexpr size_t kNodesPerSlab = 256;
  struct FreeNode {
    FreeNode* next;
  };

  void AddSlab() {
    auto* slab =
        static_cast<char*>(::operator new(m_nodeSize* kNodesPerSlab, std::align_val_t(m_align)));
    m_slabs.push_back(slab);
    for (size_t i = kNodesPerSlab; i-- > 0;)
      m_free = new (slab + i * m_nodeSize) FreeNode{m_free};
  }
  void ReleaseSlabs() {
    for (char* slab : m_slabs)
      ::operator delete(slab, std::align_val_t(m_align));
    m_slabs.clear();
    m_slabs.shrink_to_fit();
    m_free = nullptr;
  }

  const size_t m_nodeSize;
  const size_t m_align;
  std::vector<char*> m_slabs;
  FreeNode* m_free = nullptr;
  size_t m_live = 0;
};

// The allocator of the registry's map: single nodes from the slabs of their type.
template <class T>
struct SlabAllocator {
  using value_type = T;
  SlabAllocator() = default;
  template <class U>
  SlabAllocator(const SlabAllocator<U>&) {}  // NOLINT: converting, as allocators are

  // Never destroyed: the registry's map, destroyed at exit after any function-local object,
  // still gives its nodes back (the slabs themselves go with the last node).
  static NodeSlabs& Slabs() {
    static NodeSlabs* const slabs = new NodeSlabs(sizeof(T), alignof(T));
    return *slabs;
  }
  T* allocate(size_t n) {
    if (n == 1) return static_cast<T*>(Slabs().Take());
    return static_cast<T*>(::operator new(n * sizeof(T), std::align_val_t(alignof(T))));
  }
  void deallocate(T* p, size_t n) {
    if (n == 1) {
      Slabs().Give(p);
    } else {
      ::operator delete(p, std::align_val_t(alignof(T)));
    }
  }
  template <class U>
  bool operator==(const SlabAllocator<U>&) const {
    return true;
  }
  template <class U>
  bool operator!=(const SlabAllocator<U>&) const {
    return false;
  }
};

// The registry in call-id order: each call's store, owned here and destroyed with its entry.
// Changed only when a call enters or leaves; the counts are kept in the call-id index, so that
// another reference of a registered call touches neither the map nor the store.
typedef std::map<uint32_t, std::unique_ptr<KelConfig>, std::less<uint32_t>,
                 SlabAllocator<std::pair<const uint32_t, std::unique_ptr<KelConfig>>>>
    KelConfigRegistry;

// A table of small slots found by a 64-bit key: open addressing with linear probing, at most
// half full, so that one lookup usually reads one cache line of a dense table instead of a map
// node. A Slot is empty while its `store` is null, and gives its key with Key(). Its storage
// goes when it empties.
template <class Slot>
class SlotTable {
 public:
  // The slot of `key`, or null.
  Slot* Find(uint64_t key) {
    if (m_size == 0) return nullptr;
    for (size_t i = Home(key);; i = (i + 1) & m_mask) {
      if (m_slots[i].store == nullptr) return nullptr;
      if (m_slots[i].Key() == key) return &m_slots[i];
    }
  }
  // Makes sure that the next Add finds room (it may throw std::bad_alloc, Add does not).
  void MakeRoom() {
    if (2 * (m_size + 1) > m_slots.size()) Grow();
  }
  // Adds `slot`, whose key is not in the table, after MakeRoom.
  void Add(const Slot& slot) noexcept {
    size_t i = Home(slot.Key());
    while (m_slots[i].store != nullptr)
      i = (i + 1) & m_mask;
    m_slots[i] = slot;
    ++m_size;
  }
  // Removes `slot`, a slot of this table.
  void Remove(Slot* slot) {
    size_t hole = static_cast<size_t>(slot - m_slots.data());
    // Moves back every later slot of the run that may sit in the hole, so that no probe stops
    // at a hole before its own slot.
    for (size_t i = (hole + 1) & m_mask; m_slots[i].store != nullptr; i = (i + 1) & m_mask) {
      const size_t home = Home(m_slots[i].Key());
      if (((i - home) & m_mask) >= ((i - hole) & m_mask)) {
        m_slots[hole] = m_slots[i];
        hole = i;
      }
    }
    m_slots[hole] = Slot{};
    if (--m_size == 0) Clear();
  }
  void Clear() {
    m_slots.clear();
    m_slots.shrink_to_fit();
    m_size = 0;
    m_mask = 0;
  }

 private:
  size_t Home(uint64_t key) const {
    // Fibonacci hashing: consecutive call ids and aligned addresses spread over the table.
    return static_cast<size_t>((key * 0x9E3779B97F4A7C15ull) >> 32) & m_mask;
  }
  void Grow() {
    std::vector<Slot> old(std::max<size_t>(64, 2 * m_slots.size()));
    old.swap(m_slots);
    m_mask = m_slots.size() - 1;
    m_size = 0;
    for (const Slot& slot : old) {
      if (slot.store != nullptr) Add(slot);  // at most half full: room enough
    }
  }

  std::vector<Slot> m_slots;
  size_t m_mask = 0;
  size_t m_size = 0;
};

// A registered call: its count and the store handed out for it. A store made by
// CreateKelConfig enters with count 2: one for its creator, one for the call's
// CleanUpKelConfig. Each further create adds 1; ReleaseKelConfig and CleanUpKelConfig subtract
// 1 and erase the call when the count was below 2 before.
struct CallSlot {
  uint32_t callId = 0;
  int32_t count = 0;
  IKelConfig* store = nullptr;
  uint64_t Key() const { return callId; }
};
// A handed-out store and the call it is registered under.
struct StoreSlot {
  IKelConfig* store = nullptr;
  uint32_t callId = 0;
  uint64_t Key() const { return reinterpret_cast<uintptr_t>(store); }
};

// Held for the whole of each registry function, including the construction and destruction of
// stores (a store's destructor takes none of the registry's locks). The exported functions take
// it themselves; their declarations in the public header cannot name it to say so.
COxStdMutex g_mutex;
KelConfigRegistry g_mapConfigs MS_GUARDED_BY(g_mutex);
// The same calls by call id, with their counts (what CreateKelConfig and CleanUpKelConfig look
// up), and by store pointer, as the IKelConfig* handed out (what ReleaseKelConfig looks up: a
// store is registered under one call id only, so this finds the call a walk of the map in
// call-id order would).
SlotTable<CallSlot> g_callIndex MS_GUARDED_BY(g_mutex);
SlotTable<StoreSlot> g_storeIndex MS_GUARDED_BY(g_mutex);

// Takes one count off a call and erases it when the count was below 2 before; the store goes
// with the entry. Returns the new count.
int32_t DropReference(CallSlot* call) MS_REQUIRES(g_mutex) {
  const int32_t before = call->count;
  call->count = before - 1;
  if (before < 2) {
    const uint32_t callId = call->callId;
    g_storeIndex.Remove(g_storeIndex.Find(reinterpret_cast<uintptr_t>(call->store)));
    g_callIndex.Remove(call);
    g_mapConfigs.erase(callId);
  }
  return before - 1;
}

}  // namespace

extern "C" {

int32_t CreateKelConfig(uint32_t callId, IKelConfig** ppConfig) {
  if (ppConfig == nullptr) return KEL_E_INVALIDARG;
  KEL_TRACE_INFO(TraceCid{callId});
  COxMutexGuard lock(g_mutex);
  if (*ppConfig != nullptr) return KEL_E_INVALIDARG;

  if (CallSlot* const call = g_callIndex.Find(callId)) {
    // Deliberately also for a call that was already cleaned up.
    call->count += 1;
    *ppConfig = call->store;
    return KEL_S_OK;
  }
  auto store = std::make_unique<KelConfig>(callId);
  IKelConfig* const handedOut = store.get();
  // Room first: once the map holds the entry, nothing below can fail.
  g_callIndex.MakeRoom();
  g_storeIndex.MakeRoom();
  g_mapConfigs.emplace(callId, std::move(store));
  g_callIndex.Add(CallSlot{callId, 2, handedOut});
  g_storeIndex.Add(StoreSlot{handedOut, callId});
  *ppConfig = handedOut;
  return KEL_S_OK;
}

int32_t ReleaseKelConfig(IKelConfig* pConfig) {
  if (pConfig == nullptr) return KEL_E_INVALIDARG;
  COxMutexGuard lock(g_mutex);
  // A store is registered under one call id only, so the index finds the same call as a walk
  // of the registry in call-id order would.
  const StoreSlot* const indexed = g_storeIndex.Find(reinterpret_cast<uintptr_t>(pConfig));
  if (indexed == nullptr) return KEL_E_FAIL;
  const uint32_t callId = indexed->callId;
  const int32_t counts = DropReference(g_callIndex.Find(callId));
  KEL_TRACE_INFO(TraceCid{callId} << ", counts=" << counts);
  return KEL_S_OK;
}

int32_t CleanUpKelConfig(uint32_t callId) {
  KEL_FUNC_TRACER("kelStore::CleanUpKelConfig", 881, ", callId=" << callId);
  COxMutexGuard lock(g_mutex);
  CallSlot* const call = g_callIndex.Find(callId);
  if (call == nullptr) return KEL_E_FAIL;
  KelConfig* const store = static_cast<KelConfig*>(call->store);
  // A call is cleaned up once; a second clean-up leaves the count alone.
  if (store->IsCleaned()) return KEL_E_FAIL;
  store->SetCleaned();
  const int32_t counts = DropReference(call);
  KEL_TRACE_INFO(", callId=" << callId << ", counts=" << counts);
  return KEL_S_OK;
}

void DestroyKelConfig() {
  KEL_FUNC_TRACER("kelStore::DestroyKelConfig", 902, "");
  COxMutexGuard lock(g_mutex);
  for (const auto& entry : g_mapConfigs) {
    KEL_TRACE_INFO(", callId=" << entry.first
                               << ", counts=" << g_callIndex.Find(entry.first)->count);
  }
  // Dropped in call-id order, whatever the counts.
  g_callIndex.Clear();
  g_storeIndex.Clear();
  while (!g_mapConfigs.empty())
    g_mapConfigs.erase(g_mapConfigs.begin());
}

uint32_t GetKelConfigSizeForUT() {
  COxMutexGuard lock(g_mutex);
  return static_cast<uint32_t>(g_mapConfigs.size());
}

int32_t GetKelConfigValue(uint32_t sessionType, const char* name, ConfigData& out,
                          uint32_t callId) {
  if (callId == 0xFFFFFFFFu) return KEL_E_INVALIDARG;
  KelConfigHelper helper(callId);
  return helper.GetKelConfig(static_cast<kel::KelSessionType>(sessionType), name, out);
}

int32_t GetKelConfigValueEx(uint32_t group, const char* name, ConfigData& out, uint32_t callId) {
  if (callId == 0xFFFFFFFFu) return KEL_E_INVALIDARG;
  KelConfigHelper helper(callId);
  return helper.GetKelConfig(name, out, static_cast<KelConfigGroup>(group));
}

}  // extern "C"

int32_t GetKelConfigCountForUT(uint32_t callId) {
  COxMutexGuard lock(g_mutex);
  const CallSlot* const call = g_callIndex.Find(callId);
  return call == nullptr ? -1 : call->count;
}

}  // namespace kelStore
