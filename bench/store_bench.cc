// Configuration store: value reads and writes next to a bare locked map (the floor the store's
// design implies), run side by side, and the registry's create/release/clean-up with few and
// many calls (the median of short slices, "ns:registry", in each repetition).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "bench/side_by_side.h"
#include "mediastores/mediastores.h"

namespace {

using kelStore::IKelConfig;

constexpr int kKeys = 64;  // values per group in a busy call
constexpr auto kGroup = kelStore::kGroupVideo;

std::vector<std::string> MakeKeys() {
  std::vector<std::string> keys;
  for (int i = 0; i < kKeys; ++i)
    keys.push_back("video.encoder.param" + std::to_string(i));
  return keys;
}

const std::vector<std::string>& Keys() {
  static const std::vector<std::string> keys = MakeKeys();
  return keys;
}

// Key indexes in a fixed pseudo-random order. A cyclic order would let the branch predictor learn
// the tree walk, and then the figures depend on where the code happens to lie in memory.
constexpr size_t kOrderMask = 4095;
const std::vector<int>& Order() {
  static const std::vector<int> order = [] {
    std::vector<int> indexes;
    uint32_t seed = 1;
    for (size_t i = 0; i <= kOrderMask; ++i) {
      seed = seed * 1664525u + 1013904223u;
      indexes.push_back(static_cast<int>((seed >> 16) % kKeys));
    }
    return indexes;
  }();
  return order;
}

// The floor: a std::map under a recursive mutex, keyed by ready-made strings.
struct FloorMap {
  std::recursive_mutex mutex;
  std::map<std::string, ConfigData> map;

  FloorMap() {
    for (const std::string& key : Keys())
      map[key] = ConfigData(30);
  }
};

// Walks the keys in that order, each side of a benchmark on its own.
struct KeyCursor {
  size_t next = 0;
  int NextIndex() { return Order()[next++ & kOrderMask]; }
  const std::string& NextKey() { return Keys()[NextIndex()]; }
};

// A registered store holding the same values.
struct StoreFixture {
  IKelConfig* store = nullptr;

  StoreFixture() {
    kelStore::CreateKelConfig(1, &store);
    for (const std::string& key : Keys())
      store->SetKelConfig(kGroup, key.c_str(), ConfigData(30));
  }
  ~StoreFixture() { kelStore::DestroyKelConfig(); }
};

// Each benchmark below runs the store and the floor side by side (bench/side_by_side.h) and
// reports both as "ns:store" and "ns:floor".

void BM_Get(benchmark::State& state) {
  StoreFixture fixture;
  FloorMap floor;
  ConfigData out;
  KeyCursor storeKeys;
  KeyCursor floorKeys;
  bench::SideBySide(state,
                    bench::Side("store",
                                [&] {
                                  benchmark::DoNotOptimize(fixture.store->GetKelConfig(
                                      kGroup, storeKeys.NextKey().c_str(), out));
                                  benchmark::DoNotOptimize(out);
                                }),
                    bench::Side("floor", [&] {
                      std::lock_guard<std::recursive_mutex> lock(floor.mutex);
                      auto it = floor.map.find(floorKeys.NextKey());
                      if (it != floor.map.end()) out = it->second;
                      benchmark::DoNotOptimize(out);
                    }));
}
BENCHMARK(BM_Get);

// Writes that change the value: each key flips between two values.
void BM_SetChanged(benchmark::State& state) {
  StoreFixture fixture;
  FloorMap floor;
  const ConfigData values[2] = {ConfigData(30), ConfigData(60)};
  uint8_t storeFlips[kKeys] = {};
  uint8_t floorFlips[kKeys] = {};
  KeyCursor storeKeys;
  KeyCursor floorKeys;
  bench::SideBySide(state,
                    bench::Side("store",
                                [&] {
                                  const int key = storeKeys.NextIndex();
                                  benchmark::DoNotOptimize(fixture.store->SetKelConfig(
                                      kGroup, Keys()[key].c_str(), values[storeFlips[key] ^= 1]));
                                }),
                    bench::Side("floor", [&] {
                      const int key = floorKeys.NextIndex();
                      std::lock_guard<std::recursive_mutex> lock(floor.mutex);
                      floor.map[Keys()[key]] = values[floorFlips[key] ^= 1];
                    }));
}
BENCHMARK(BM_SetChanged);

// Writes of the value already stored.
void BM_SetSame(benchmark::State& state) {
  StoreFixture fixture;
  FloorMap floor;
  const ConfigData value(30);
  KeyCursor storeKeys;
  KeyCursor floorKeys;
  bench::SideBySide(state,
                    bench::Side("store",
                                [&] {
                                  benchmark::DoNotOptimize(fixture.store->SetKelConfig(
                                      kGroup, storeKeys.NextKey().c_str(), value));
                                }),
                    bench::Side("floor", [&] {
                      std::lock_guard<std::recursive_mutex> lock(floor.mutex);
                      floor.map[floorKeys.NextKey()] = value;
                    }));
}
BENCHMARK(BM_SetSame);

// A new key written and removed again (one map node made and freed per operation).
void BM_SetNewKeyAndRemove(benchmark::State& state) {
  StoreFixture fixture;
  FloorMap floor;
  const std::string key = "video.encoder.newKey";
  const ConfigData value(30);
  bench::SideBySide(
      state,
      bench::Side("store",
                  [&] {
                    benchmark::DoNotOptimize(
                        fixture.store->SetKelConfig(kGroup, key.c_str(), value));
                    benchmark::DoNotOptimize(fixture.store->RemoveKelConfig(kGroup, key.c_str()));
                  }),
      bench::Side("floor", [&] {
        {
          std::lock_guard<std::recursive_mutex> lock(floor.mutex);
          floor.map.emplace(key, value);
        }
        std::lock_guard<std::recursive_mutex> lock(floor.mutex);
        floor.map.erase(key);
      }));
}
BENCHMARK(BM_SetNewKeyAndRemove);

// Rounds of the registry figures, each compared with its counterpart of 1,000 calls measured in
// the same round but not side by side (the registry is one per process): long rounds, so that
// each one's median slice is that of the machine's usual state rather than of a passing spell.
constexpr double kRegistryRoundSeconds = 0.2;

// Registers calls 0 .. n-1 (each with count 2) unless that is already the registry's content.
void RegisterCalls(uint32_t n) {
  if (kelStore::GetKelConfigSizeForUT() == n) return;
  kelStore::DestroyKelConfig();
  for (uint32_t callId = 0; callId < n; ++callId) {
    IKelConfig* store = nullptr;
    kelStore::CreateKelConfig(callId, &store);
  }
}

// Spreads the accesses over the registered calls.
uint32_t NextCall(uint32_t& seed, uint32_t n) {
  seed = seed * 1664525u + 1013904223u;
  return (seed >> 8) % n;
}

// Another reference of one registered call, taken and given back: the registry's own cost.
void BM_Registry_CreateRelease_SameCall(benchmark::State& state) {
  const auto n = static_cast<uint32_t>(state.range(0));
  RegisterCalls(n);
  bench::SideBySide(state, bench::Side("registry", [n] {
                      IKelConfig* store = nullptr;
                      kelStore::CreateKelConfig(n / 2, &store);
                      kelStore::ReleaseKelConfig(store);
                    }));
}
BENCHMARK(BM_Registry_CreateRelease_SameCall)
    ->Arg(1000)
    ->Arg(100000)
    ->MinTime(kRegistryRoundSeconds);

// The same, each time for another of the registered calls: adds what the memory of many calls
// costs (their entries are no longer all in the caches).
void BM_Registry_CreateRelease_SpreadCalls(benchmark::State& state) {
  const auto n = static_cast<uint32_t>(state.range(0));
  RegisterCalls(n);
  uint32_t seed = 1;
  bench::SideBySide(state, bench::Side("registry", [&] {
                      IKelConfig* store = nullptr;
                      kelStore::CreateKelConfig(NextCall(seed, n), &store);
                      kelStore::ReleaseKelConfig(store);
                    }));
}
BENCHMARK(BM_Registry_CreateRelease_SpreadCalls)
    ->Arg(1000)
    ->Arg(100000)
    ->MinTime(kRegistryRoundSeconds);

// A whole call: its store made, released by the creator, cleaned up (destroyed), next to n
// registered calls.
void BM_Registry_CreateReleaseCleanUp(benchmark::State& state) {
  const auto n = static_cast<uint32_t>(state.range(0));
  RegisterCalls(n);
  uint32_t callId = n;
  bench::SideBySide(state, bench::Side("registry", [&] {
                      IKelConfig* store = nullptr;
                      kelStore::CreateKelConfig(callId, &store);
                      kelStore::ReleaseKelConfig(store);
                      kelStore::CleanUpKelConfig(callId);
                      callId = callId + 1 < 2 * n ? callId + 1 : n;
                    }));
}
BENCHMARK(BM_Registry_CreateReleaseCleanUp)->Arg(1000)->Arg(100000)->MinTime(kRegistryRoundSeconds);

}  // namespace

BENCHMARK_MAIN();
