#include "mediaengine/mediastores/src/config/kel_config_registry.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include <sanitizer/asan_interface.h>

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

// The registry in call-id order: each call's place among the stores (see StorePlaces). Changed
// only when a call enters or leaves; the counts are kept in the call-id index, so that another
// reference of a registered call touches neither the map nor the store.
typedef std::map<uint32_t, uint32_t, std::less<uint32_t>,
                 SlabAllocator<std::pair<const uint32_t, uint32_t>>>
    KelConfigRegistry;

// The home slot of `key` in a table of mask + 1 slots. Fibonacci hashing: consecutive call ids
// and aligned addresses spread over the table.
size_t HomeSlot(uint64_t key, size_t mask) {
  return static_cast<size_t>((key * 0x9E3779B97F4A7C15ull) >> 32) & mask;
}

// Where a table's slots are, readable without the registry's lock: used only to start fetching
// the cache line of a key's home slot while the lock is being taken. It may be out of date by
// then (fetching any address is harmless); every lookup is made under the lock.
class SlotsHint {
 public:
  void Set(const void* slots, size_t slotBytes, size_t mask) {
    m_slots.store(static_cast<const char*>(slots), std::memory_order_relaxed);
    m_slotBytes.store(slotBytes, std::memory_order_relaxed);
    m_mask.store(mask, std::memory_order_relaxed);
  }
  void Prefetch(uint64_t key) const {
    const char* const slots = m_slots.load(std::memory_order_relaxed);
    if (slots == nullptr) return;
    __builtin_prefetch(slots + HomeSlot(key, m_mask.load(std::memory_order_relaxed)) *
                                   m_slotBytes.load(std::memory_order_relaxed));
  }

 private:
  std::atomic<const char*> m_slots{nullptr};
  std::atomic<size_t> m_slotBytes{0};
  std::atomic<size_t> m_mask{0};
};

// A table of small slots found by a 64-bit key: open addressing with linear probing, at most
// kMaxLoad full, so that one lookup usually reads one cache line of a dense table. A Slot tells
// whether it is Empty() (as a value-initialised one is) and gives its Key(). Its storage goes
// when it empties. A hint, when given, follows where the slots are.
template <class Slot>
class SlotTable {
 public:
  explicit SlotTable(SlotsHint* hint = nullptr) : m_hint(hint) {}

  // The slot of `key`, or null.
  Slot* Find(uint64_t key) {
    if (m_size == 0) return nullptr;
    for (size_t i = Home(key);; i = (i + 1) & m_mask) {
      if (m_slots[i].Empty()) return nullptr;
      if (m_slots[i].Key() == key) return &m_slots[i];
    }
  }
  // Makes sure that the next Add finds room (it may throw std::bad_alloc, Add does not).
  void MakeRoom() {
    if (m_size + 1 > m_slots.size() / kMaxLoadDivisor * kMaxLoadTimes) Grow();
  }
  // Adds `slot`, whose key is not in the table, after MakeRoom; returns where it went.
  Slot* Add(const Slot& slot) noexcept {
    size_t i = Home(slot.Key());
    while (!m_slots[i].Empty())
      i = (i + 1) & m_mask;
    m_slots[i] = slot;
    ++m_size;
    return &m_slots[i];
  }
  // Removes `slot`, a slot of this table; later slots may move.
  void Remove(Slot* slot) {
    size_t hole = static_cast<size_t>(slot - m_slots.data());
    // Moves back every later slot of the run that may sit in the hole, so that no probe stops
    // at a hole before its own slot.
    for (size_t i = (hole + 1) & m_mask; !m_slots[i].Empty(); i = (i + 1) & m_mask) {
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
    if (m_hint != nullptr) m_hint->Set(nullptr, sizeof(Slot), 0);
  }

 private:
  // At most 7/8 full: 100,000 calls fit in 2^17 slots, a table that stays in the caches.
  static constexpr size_t kMaxLoadTimes = 7;
  static constexpr size_t kMaxLoadDivisor = 8;

  size_t Home(uint64_t key) const { return HomeSlot(key, m_mask); }
  void Grow() {
    std::vector<Slot> old(std::max<size_t>(64, 2 * m_slots.size()));
    old.swap(m_slots);
    m_mask = m_slots.size() - 1;
    m_size = 0;
    for (const Slot& slot : old) {
      if (!slot.Empty()) Add(slot);  // at most half full now: room enough
    }
    if (m_hint != nullptr) m_hint->Set(m_slots.data(), sizeof(Slot), m_mask);
  }

  std::vector<Slot> m_slots;
  size_t m_mask = 0;
  size_t m_size = 0;
  SlotsHint* const m_hint;
};

// The registry's stores live in places of slabs of its own, numbered from 0, so that a handed-out
// IKelConfig* leads to its call by arithmetic on the address, without a table keyed by the
// address or a read of the store. Each place has its call id in a dense array. A slab is aligned
// to its own size, so the address of a store names its slab. Places are reused; the slabs go
// back to the heap when the last store does. Under AddressSanitizer a place without a store is
// poisoned, so a store used after its last release is reported as a heap one would be.
class StorePlaces {
 public:
  static constexpr uint32_t kNoPlace = ~uint32_t{0};
  // A free place (may throw std::bad_alloc, and then takes nothing).
  uint32_t Take() {
    if (m_free.empty()) AddSlab();
    const uint32_t place = m_free.back();
    m_free.pop_back();
    ++m_live;
    ASAN_UNPOISON_MEMORY_REGION(Address(place), sizeof(KelConfig));
    return place;
  }
  // Destroys the store at `place` and gives the place back.
  void Destroy(uint32_t place) {
    Store(place)->~KelConfig();
    Give(place);
  }
  // Gives back a place whose store was destroyed (or never made).
  void Give(uint32_t place) {
    ASAN_POISON_MEMORY_REGION(Address(place), sizeof(KelConfig));
    m_free.push_back(place);  // within the capacity reserved by AddSlab
    if (--m_live == 0) ReleaseSlabs();
  }
  void* Address(uint32_t place) const {
    return m_slabs[place / kPerSlab] + place % kPerSlab * sizeof(KelConfig);
  }
  KelConfig* Store(uint32_t place) const { return static_cast<KelConfig*>(Address(place)); }
  // The call id of the store at `place`, set when the store is made there.
  uint32_t& CallIdAt(uint32_t place) { return m_callIds[place]; }
  // The registry's entry of the store at `place`, set when the store is made there: the call
  // leaves the registry without a search.
  KelConfigRegistry::iterator& EntryAt(uint32_t place) { return m_entries[place]; }
  // The place whose store `store` would be, or kNoPlace when `store` is not a place of a slab.
  // Whether a store of a registered call is there is the call-id index's to tell.
  uint32_t PlaceOf(const IKelConfig* store) {
    const uintptr_t address = reinterpret_cast<uintptr_t>(store);
    const SlabSlot* const slab = m_slabIndex.Find(address / kSlabBytes);
    if (slab == nullptr) return kNoPlace;
    const uintptr_t offset = address % kSlabBytes / sizeof(KelConfig);
    if (offset >= kPerSlab) return kNoPlace;
    const uint32_t place = slab->number * kPerSlab + static_cast<uint32_t>(offset);
    // The address computed back, not read from the store.
    return static_cast<IKelConfig*>(Store(place)) == store ? place : kNoPlace;
  }

 private:
  static constexpr size_t kSlabBytes = size_t{1} << 16;
  static constexpr uint32_t kPerSlab = static_cast<uint32_t>(kSlabBytes / sizeof(KelConfig));
  static_assert(kPerSlab >= 16, "a slab holds a good number of stores");
  static_assert(kSlabBytes % alignof(KelConfig) == 0 && sizeof(KelConfig) % alignof(KelConfig) == 0,
                "stores in a slab are aligned");

  // A slab by its address divided by kSlabBytes.
  struct SlabSlot {
    uint64_t key = 0;  // never 0 for a slab of the heap
    uint32_t number = 0;
    bool Empty() const { return key == 0; }
    uint64_t Key() const { return key; }
  };

  void AddSlab() {
    const uint32_t number = static_cast<uint32_t>(m_slabs.size());
    // Room first, then the slab: nothing below the allocation can fail.
    ReserveFor(m_slabs, number + 1);
    ReserveFor(m_callIds, size_t{number + 1} * kPerSlab);
    ReserveFor(m_entries, size_t{number + 1} * kPerSlab);
    ReserveFor(m_free, size_t{number + 1} * kPerSlab);
    m_slabIndex.MakeRoom();
    auto* slab = static_cast<char*>(
        ::operator new(kPerSlab * sizeof(KelConfig), std::align_val_t(kSlabBytes)));
    ASAN_POISON_MEMORY_REGION(slab, kPerSlab * sizeof(KelConfig));
    m_slabs.push_back(slab);
    m_callIds.resize(size_t{number + 1} * kPerSlab);
    m_entries.resize(size_t{number + 1} * kPerSlab);
    for (uint32_t i = kPerSlab; i-- > 0;)
      m_free.push_back(number * kPerSlab + i);
    m_slabIndex.Add(SlabSlot{reinterpret_cast<uintptr_t>(slab) / kSlabBytes, number});
  }
  // Room for `size` elements, growing by doubling so that adding slab after slab stays linear.
  template <class T>
  static void ReserveFor(std::vector<T>& v, size_t size) {
    if (v.capacity() < size) v.reserve(std::max(size, 2 * v.capacity()));
  }
  void ReleaseSlabs() {
    for (char* slab : m_slabs) {
      ASAN_UNPOISON_MEMORY_REGION(slab, kPerSlab * sizeof(KelConfig));
      ::operator delete(slab, std::align_val_t(kSlabBytes));
    }
    m_slabs = std::vector<char*>();
    m_callIds = std::vector<uint32_t>();
    m_entries = std::vector<KelConfigRegistry::iterator>();
    m_free = std::vector<uint32_t>();
    m_slabIndex.Clear();
  }

  std::vector<char*> m_slabs;
  // The call id of each place, by place.
  std::vector<uint32_t> m_callIds;
  std::vector<KelConfigRegistry::iterator> m_entries;
  std::vector<uint32_t> m_free;
  SlotTable<SlabSlot> m_slabIndex;
  uint32_t m_live = 0;
};

// A registered call: its count and the place of its store. A store made by CreateKelConfig
// enters with count 2: one for its creator, one for the call's CleanUpKelConfig. Each further
// create adds 1; ReleaseKelConfig and CleanUpKelConfig subtract 1 and erase the call when the
// count was below 2 before.
struct CallSlot {
  uint32_t callId = 0;
  int32_t count = 0;
  uint32_t place = StorePlaces::kNoPlace;
  bool Empty() const { return place == StorePlaces::kNoPlace; }
  uint64_t Key() const { return callId; }
};

// Held for the whole of each registry function, including the construction and destruction of
// stores (a store's destructor takes none of the registry's locks). The exported functions take
// it themselves; their declarations in the public header cannot name it to say so.
COxStdMutex g_mutex;
KelConfigRegistry g_mapConfigs MS_GUARDED_BY(g_mutex);
// The stores and their call ids, by place.
StorePlaces g_stores MS_GUARDED_BY(g_mutex);
// The calls' counts and places by call id, and where its slots are (read without the lock).
SlotsHint g_callSlotsHint;
SlotTable<CallSlot> g_callIndex MS_GUARDED_BY(g_mutex){&g_callSlotsHint};

// The store handed out last and its call's slot: a reference given back soon after it was taken,
// as a helper does, needs no lookup (at many calls, the lookups' cache misses are most of a
// release). Set by every create; cleared whenever a call leaves the index, as slots move then.
struct LastTaken {
  const IKelConfig* store = nullptr;
  CallSlot* call = nullptr;
};
LastTaken g_lastTaken MS_GUARDED_BY(g_mutex);

// The registered call whose store `store` is, or null.
CallSlot* CallOfStore(const IKelConfig* store) MS_REQUIRES(g_mutex) {
  if (store == g_lastTaken.store) return g_lastTaken.call;
  // A store is registered under one call id only, so its place finds the same call as a walk
  // of the registry in call-id order would.
  const uint32_t place = g_stores.PlaceOf(store);
  if (place == StorePlaces::kNoPlace) return nullptr;
  // A free place keeps the id of its last call, which may be registered again elsewhere.
  CallSlot* const registered = g_callIndex.Find(g_stores.CallIdAt(place));
  return registered != nullptr && registered->place == place ? registered : nullptr;
}

// Takes one count off a call and erases it when the count was below 2 before; the store goes
// with the entry. Returns the new count.
int32_t DropReference(CallSlot* call) MS_REQUIRES(g_mutex) {
  const int32_t before = call->count;
  call->count = before - 1;
  if (before < 2) {
    const uint32_t place = call->place;
    g_lastTaken = LastTaken{};
    g_callIndex.Remove(call);
    // Taken out by its kept entry: neither a search nor a walk to the next entry.
    g_mapConfigs.extract(g_stores.EntryAt(place));
    g_stores.Destroy(place);
  }
  return before - 1;
}

// Destroys every store in call-id order and empties the registry.
void DropAll() MS_REQUIRES(g_mutex) {
  g_lastTaken = LastTaken{};
  g_callIndex.Clear();
  while (!g_mapConfigs.empty()) {
    const uint32_t place = g_mapConfigs.begin()->second;
    g_mapConfigs.erase(g_mapConfigs.begin());
    g_stores.Destroy(place);
  }
}

}  // namespace

extern "C" {

int32_t CreateKelConfig(uint32_t callId, IKelConfig** ppConfig) {
  if (ppConfig == nullptr) return KEL_E_INVALIDARG;
  // The call's slot is on its way to the cache while the lock is taken.
  g_callSlotsHint.Prefetch(callId);
  KEL_TRACE_INFO(TraceCid{callId});
  COxMutexGuard lock(g_mutex);
  if (*ppConfig != nullptr) return KEL_E_INVALIDARG;

  if (CallSlot* const registered = g_callIndex.Find(callId)) {
    // Deliberately also for a call that was already cleaned up.
    registered->count += 1;
    *ppConfig = g_stores.Store(registered->place);
    g_lastTaken = LastTaken{*ppConfig, registered};
    return KEL_S_OK;
  }
  // Room first: once the store is made, nothing below can fail but the map's node. (Making room
  // may move every slot.)
  g_lastTaken = LastTaken{};
  g_callIndex.MakeRoom();
  const uint32_t place = g_stores.Take();
  KelConfig* store = nullptr;
  try {
    store = new (g_stores.Address(place)) KelConfig(callId);
    // Call ids mostly grow: a call above every registered one goes in after the last entry
    // without a search (the hint is checked, and any other call is searched for).
    g_stores.EntryAt(place) = g_mapConfigs.emplace_hint(g_mapConfigs.end(), callId, place);
  } catch (...) {
    if (store != nullptr) store->~KelConfig();
    g_stores.Give(place);
    throw;
  }
  g_stores.CallIdAt(place) = callId;
  g_lastTaken = LastTaken{store, g_callIndex.Add(CallSlot{callId, 2, place})};
  *ppConfig = store;
  return KEL_S_OK;
}

int32_t ReleaseKelConfig(IKelConfig* pConfig) {
  if (pConfig == nullptr) return KEL_E_INVALIDARG;
  COxMutexGuard lock(g_mutex);
  CallSlot* const registered = CallOfStore(pConfig);
  if (registered == nullptr) return KEL_E_FAIL;
  const uint32_t callId = registered->callId;
  const int32_t counts = DropReference(registered);
  KEL_TRACE_INFO(TraceCid{callId} << ", counts=" << counts);
  return KEL_S_OK;
}

int32_t CleanUpKelConfig(uint32_t callId) {
  KEL_FUNC_TRACER("kelStore::CleanUpKelConfig", 881, ", callId=" << callId);
  COxMutexGuard lock(g_mutex);
  CallSlot* const registered = g_callIndex.Find(callId);
  if (registered == nullptr) return KEL_E_FAIL;
  KelConfig* const store = g_stores.Store(registered->place);
  // A call is cleaned up once; a second clean-up leaves the count alone.
  if (store->IsCleaned()) return KEL_E_FAIL;
  store->SetCleaned();
  const int32_t counts = DropReference(registered);
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
  DropAll();
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
  const CallSlot* const registered = g_callIndex.Find(callId);
  return registered == nullptr ? -1 : registered->count;
}

}  // namespace kelStore
