// Memory: heap bytes per empty configuration store, per stored value, per subscription and per
// statistics object, measured by counting every allocation of this program (global operator
// new/delete replaced below, each block counted at the size the allocator really gives it,
// malloc_usable_size). The malloc_* counters add the allocator's own chunk headers (mallinfo2).
//
// Each benchmark makes many objects once and divides the heap's growth by their number; timing
// is not the point (one iteration, one repetition, whatever the command line asks). A *_left
// counter gives what stays allocated after everything made was given back again (per object).
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "mediastores/mediastores.h"

// ---- counting allocator ----------------------------------------------------------------------

namespace {

std::atomic<int64_t> g_heapBytes{0};
std::atomic<int64_t> g_heapBlocks{0};

void* Counted(void* p) {
  if (p != nullptr) {
    g_heapBytes.fetch_add(static_cast<int64_t>(malloc_usable_size(p)), std::memory_order_relaxed);
    g_heapBlocks.fetch_add(1, std::memory_order_relaxed);
  }
  return p;
}

// Kept out of line: inlined into an operator delete, the free() would be seen as freeing what an
// operator new returned.
__attribute__((noinline)) void Release(void* p) noexcept {
  if (p == nullptr) return;
  g_heapBytes.fetch_sub(static_cast<int64_t>(malloc_usable_size(p)), std::memory_order_relaxed);
  g_heapBlocks.fetch_sub(1, std::memory_order_relaxed);
  std::free(p);
}

void* Allocate(std::size_t n) {
  return Counted(std::malloc(n == 0 ? 1 : n));
}

void* AllocateAligned(std::size_t n, std::align_val_t alignment) {
  void* p = nullptr;
  const std::size_t a = std::max(sizeof(void*), static_cast<std::size_t>(alignment));
  if (posix_memalign(&p, a, n == 0 ? 1 : n) != 0) return nullptr;
  return Counted(p);
}

}  // namespace

void* operator new(std::size_t n) {
  if (void* p = Allocate(n)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t n) {
  if (void* p = Allocate(n)) return p;
  throw std::bad_alloc();
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  return Allocate(n);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
  return Allocate(n);
}
void* operator new(std::size_t n, std::align_val_t a) {
  if (void* p = AllocateAligned(n, a)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t n, std::align_val_t a) {
  if (void* p = AllocateAligned(n, a)) return p;
  throw std::bad_alloc();
}
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return AllocateAligned(n, a);
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return AllocateAligned(n, a);
}
void operator delete(void* p) noexcept {
  Release(p);
}
void operator delete[](void* p) noexcept {
  Release(p);
}
void operator delete(void* p, std::size_t) noexcept {
  Release(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  Release(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
  Release(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  Release(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
  Release(p);
}
void operator delete[](void* p, std::align_val_t) noexcept {
  Release(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
  Release(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept {
  Release(p);
}
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept {
  Release(p);
}
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept {
  Release(p);
}

namespace {

using kelStore::IKelConfig;
using kelStore::KelConfigEvent;

// The heap at one moment: counted bytes and blocks, and the allocator's bytes in use.
struct Heap {
  int64_t bytes;
  int64_t blocks;
  int64_t mallocBytes;

  static Heap Now() {
    const struct mallinfo2 info = mallinfo2();
    return {g_heapBytes.load(), g_heapBlocks.load(), static_cast<int64_t>(info.uordblks)};
  }
};

// Sets `bytes_per_<what>`, `blocks_per_<what>` and `malloc_bytes_per_<what>` from the growth
// between `before` and `after` over `count` objects.
void Report(benchmark::State& state, const std::string& what, const Heap& before, const Heap& after,
            int64_t count) {
  const double n = static_cast<double>(count);
  state.counters["bytes_per_" + what] = static_cast<double>(after.bytes - before.bytes) / n;
  state.counters["blocks_per_" + what] = static_cast<double>(after.blocks - before.blocks) / n;
  state.counters["malloc_bytes_per_" + what] =
      static_cast<double>(after.mallocBytes - before.mallocBytes) / n;
}

// What is still allocated after the objects were given back, per object.
void ReportLeft(benchmark::State& state, const Heap& before, const Heap& after, int64_t count) {
  state.counters["bytes_left"] =
      static_cast<double>(after.bytes - before.bytes) / static_cast<double>(count);
}

std::string Key(const char* prefix, int i) {
  char text[64];
  std::snprintf(text, sizeof(text), "%s%05d", prefix, i);
  return text;
}

// Key prefixes: 12 characters in all (inside a std::string's own buffer) or 24 (on the heap).
const char* KeyPrefix(int64_t keyLength) {
  return keyLength <= 15 ? "param.k" : "video.encoder.param";
}

// ---- configuration store ----

// Creates `state.range(0)` stores of new calls from `firstCall` on, each with its registry entry,
// runs `fill` on each, and reports the heap they hold as `bytes_per_<what>`; then releases and
// cleans them up and reports what is left.
template <typename Fill>
void MeasureStores(benchmark::State& state, uint32_t firstCall, const char* what, Fill fill) {
  const int64_t count = state.range(0);
  for (auto _ : state) {
    std::vector<IKelConfig*> stores(static_cast<size_t>(count), nullptr);
    const Heap before = Heap::Now();
    for (int64_t i = 0; i < count; ++i) {
      kelStore::CreateKelConfig(firstCall + static_cast<uint32_t>(i), &stores[i]);
      fill(stores[i]);
    }
    const Heap after = Heap::Now();
    for (int64_t i = 0; i < count; ++i) {
      kelStore::ReleaseKelConfig(stores[i]);
      kelStore::CleanUpKelConfig(firstCall + static_cast<uint32_t>(i));
    }
    Report(state, what, before, after, count);
    ReportLeft(state, before, Heap::Now(), count);
  }
}

// Stores of new calls, each with the registry's entry for it.
void BM_Memory_EmptyStore(benchmark::State& state) {
  MeasureStores(state, 500000, "store", [](IKelConfig*) {});
}
BENCHMARK(BM_Memory_EmptyStore)->Arg(1000)->Iterations(1)->Repetitions(1);

// Stores of new calls, each with its registry entry and one group in use: one integer value.
void BM_Memory_OneGroupStore(benchmark::State& state) {
  MeasureStores(state, 700000, "store", [](IKelConfig* store) {
    store->SetKelConfig(kelStore::kGroupVideo, "fps", ConfigData(30));
  });
}
BENCHMARK(BM_Memory_OneGroupStore)->Arg(1000)->Iterations(1)->Repetitions(1);

// What mediastores-demo sets in each call's store: its default document's 21 values, as
// texts, in six groups (the subscriptions and helpers of the demo's modules not counted).
void BM_Memory_DemoCallStore(benchmark::State& state) {
  struct Setting {
    kelStore::KelConfigGroup group;
    const char* name;
    const char* value;
  };
  static const Setting kSettings[] = {
      {kelStore::kGroupCommon, "CallProfile", "meeting"},
      {kelStore::kGroupFeature, "EnableOpusDtx", "true"},
      {kelStore::kGroupFeature, "EnableOpusInbandFec", "1"},
      {kelStore::kGroupFeature, "EnableVideoDenoiser", "off"},
      {kelStore::kGroupAudio, "Codec", "opus"},
      {kelStore::kGroupAudio, "SampleRate", "48000"},
      {kelStore::kGroupAudio, "TargetBitrateKbps", "32"},
      {kelStore::kGroupAudio, "JitterBufferMinMs", "40"},
      {kelStore::kGroupAudio, "JitterBufferMaxMs", "200"},
      {kelStore::kGroupVideo, "Codec", "h264"},
      {kelStore::kGroupVideo, "MaxResolution", "1280x720"},
      {kelStore::kGroupVideo, "MaxFrameRate", "30"},
      {kelStore::kGroupVideo, "SimulcastLayers", "3"},
      {kelStore::kGroupVideo, "TargetBitrateKbps", "1200"},
      {kelStore::kGroupApplication, "RateControlIntervalMs", "500"},
      {kelStore::kGroupApplication, "CongestionFrameRate", "15"},
      {kelStore::kGroupApplication, "KeyFrameRequestsPerMinute", "20"},
      {kelStore::kGroupTransmission, "StartBandwidthKbps", "1500"},
      {kelStore::kGroupTransmission, "MinBandwidthKbps", "300"},
      {kelStore::kGroupTransmission, "MaxBandwidthKbps", "2500"},
      {kelStore::kGroupTransmission, "CongestionBelowKbps", "600"},
  };
  MeasureStores(state, 800000, "call", [](IKelConfig* store) {
    for (const Setting& setting : kSettings)
      store->SetKelConfig(setting.group, setting.name, ConfigData(setting.value));
  });
}
BENCHMARK(BM_Memory_DemoCallStore)->Arg(1000)->Iterations(1)->Repetitions(1);

// New values (integers, kept inside ConfigData) under new keys of one group.
void BM_Memory_StoredValue(benchmark::State& state) {
  constexpr int kCount = 10000;
  const char* prefix = KeyPrefix(state.range(0));
  std::vector<std::string> keys;
  for (int i = 0; i < kCount; ++i)
    keys.push_back(Key(prefix, i));
  IKelConfig* store = nullptr;
  kelStore::CreateKelConfig(1, &store);
  for (auto _ : state) {
    const Heap before = Heap::Now();
    for (int i = 0; i < kCount; ++i)
      store->SetKelConfig(kelStore::kGroupVideo, keys[i].c_str(), ConfigData(i));
    const Heap after = Heap::Now();
    store->RemoveKelConfigByGroup(kelStore::kGroupVideo);
    Report(state, "value", before, after, kCount);
    ReportLeft(state, before, Heap::Now(), kCount);
  }
  state.counters["key_length"] = static_cast<double>(keys[0].size());
  kelStore::ReleaseKelConfig(store);
  kelStore::CleanUpKelConfig(1);
}
BENCHMARK(BM_Memory_StoredValue)->ArgName("key")->Arg(12)->Arg(24)->Iterations(1)->Repetitions(1);

// Floor: the same keys and values in a bare std::map.
void BM_Memory_StoredValue_Floor(benchmark::State& state) {
  constexpr int kCount = 10000;
  const char* prefix = KeyPrefix(state.range(0));
  std::vector<std::string> keys;
  for (int i = 0; i < kCount; ++i)
    keys.push_back(Key(prefix, i));
  for (auto _ : state) {
    std::map<std::string, ConfigData, std::less<>> map;
    const Heap before = Heap::Now();
    for (int i = 0; i < kCount; ++i)
      map.emplace(keys[i], ConfigData(i));
    const Heap after = Heap::Now();
    Report(state, "value", before, after, kCount);
  }
  state.counters["key_length"] = static_cast<double>(keys[0].size());
}
BENCHMARK(BM_Memory_StoredValue_Floor)
    ->ArgName("key")
    ->Arg(12)
    ->Arg(24)
    ->Iterations(1)
    ->Repetitions(1);

// Direct subscriptions, each to a key of its own (arg 0) or all to one key (arg 1); each callback
// holds one pointer, as a typical [this] lambda does.
void BM_Memory_Subscription(benchmark::State& state) {
  constexpr int kCount = 1000;
  const bool oneKey = state.range(0) != 0;
  std::vector<std::string> keys;
  for (int i = 0; i < kCount; ++i)
    keys.push_back(Key(KeyPrefix(24), oneKey ? 0 : i));
  IKelConfig* store = nullptr;
  kelStore::CreateKelConfig(2, &store);
  int received = 0;
  for (auto _ : state) {
    std::vector<kelStore::SubscribeId_t> ids(kCount, 0);
    const Heap before = Heap::Now();
    for (int i = 0; i < kCount; ++i) {
      ids[i] = store->SubscribeConfig(kelStore::kGroupVideo, keys[i].c_str(),
                                      [&received](const KelConfigEvent&) { ++received; });
    }
    const Heap after = Heap::Now();
    for (kelStore::SubscribeId_t id : ids)
      store->UnsubscribeConfig(id);
    Report(state, "subscription", before, after, kCount);
    ReportLeft(state, before, Heap::Now(), kCount);
  }
  kelStore::ReleaseKelConfig(store);
  kelStore::CleanUpKelConfig(2);
}
BENCHMARK(BM_Memory_Subscription)->ArgName("oneKey")->Arg(0)->Arg(1)->Iterations(1)->Repetitions(1);

// ---- statistics ----

// Statistics objects of one kind (0 audio, 1 video, 2 content video, 3 content audio) for new
// calls, each with its registry entry.
void BM_Memory_StatisticsObject(benchmark::State& state) {
  constexpr unsigned kFirstCall = 600000;
  constexpr int kCount = 100;
  const auto type = static_cast<unsigned>(state.range(0));
  for (auto _ : state) {
    std::vector<void*> objects(kCount, nullptr);
    const Heap before = Heap::Now();
    for (int i = 0; i < kCount; ++i)
      kelStore::createMediastoresEntity(type, kFirstCall + i, &objects[i]);
    const Heap after = Heap::Now();
    for (int i = 0; i < kCount; ++i)
      kelStore::releaseMediastoresEntity(type, kFirstCall + i, objects[i]);
    Report(state, "object", before, after, kCount);
    ReportLeft(state, before, Heap::Now(), kCount);
  }
}
BENCHMARK(BM_Memory_StatisticsObject)
    ->ArgName("type")
    ->Arg(kelStore::KEL_MEDIASTORES_AUDIO)
    ->Arg(kelStore::KEL_MEDIASTORES_VIDEO)
    ->Arg(kelStore::KEL_MEDIASTORES_CONTENT_VIDEO)
    ->Arg(kelStore::KEL_MEDIASTORES_CONTENT_AUDIO)
    ->Iterations(1)
    ->Repetitions(1);

}  // namespace

BENCHMARK_MAIN();
