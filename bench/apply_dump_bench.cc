// A whole configuration moved as JSON text: ApplyKelConfigs of a 10,000-entry document into a
// call's store and DumpKelConfigs of the same store, each per entry next to a SetKelConfig per
// entry of the same names and values (items_per_second counts entries; time per entry is its
// inverse). The document has the dump's shape: the thirteen groups, arrays of
// {"key":...,"value":...} entries, every value a text.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/json_bench_documents.h"
#include "mediastores/json/json.h"
#include "mediastores/mediastores.h"

namespace {

using kelStore::IKelConfig;
using kelStore::KelConfigGroup;

constexpr uint32_t kCallId = 777001;
constexpr kelStore::ConfigMultGroup_t kAllGroups = (1u << kelStore::kGroupLast) - 1;

struct Entry {
  KelConfigGroup group;
  std::string key;
  std::string value;
};

// The document of `entries` settings and the same settings as a list, taken from the parsed
// document so that both sides set exactly the same names and values in the same order.
struct Document {
  std::string text;
  std::vector<Entry> entries;

  explicit Document(int count) : text(json_bench::ConfigDocument(count)) {
    const json::Value document = json::Deserialize(text);
    for (const auto& member : document.AsObject()) {
      const KelConfigGroup group = kelStore::GroupName2KelConfigGroup(member.first.c_str());
      for (const json::Value& entry : member.second.AsArray()) {
        const json::Object& fields = entry.AsObject();
        entries.push_back({group, fields.find("key")->second.AsString(),
                           fields.find("value")->second.AsString()});
      }
    }
  }
};

// Documents by entry count, made once each.
const Document& Doc(int64_t count) {
  static std::map<int64_t, std::unique_ptr<Document>> documents;
  std::unique_ptr<Document>& doc = documents[count];
  if (!doc) doc = std::make_unique<Document>(static_cast<int>(count));
  return *doc;
}

// One registered store, emptied or filled between iterations outside the timing.
struct Store {
  IKelConfig* p = nullptr;
  Store() { kelStore::CreateKelConfig(kCallId, &p); }
  ~Store() {
    kelStore::ReleaseKelConfig(p);
    kelStore::CleanUpKelConfig(kCallId);
  }
  void Clear() {
    for (uint32_t g = 0; g < kelStore::kGroupLast; ++g)
      p->RemoveKelConfigByGroup(static_cast<KelConfigGroup>(g));
  }
  void Fill(const Document& doc) {
    for (const Entry& e : doc.entries)
      p->SetKelConfig(e.group, e.key.c_str(), ConfigData(e.value));
  }
};

void PerEntry(benchmark::State& state, const Document& doc) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * doc.entries.size()));
  state.counters["entries"] = static_cast<double>(doc.entries.size());
}

// Every figure here is for reference (no goal is judged on them) and each repetition sets up a
// store of 10,000 entries: a few repetitions, not the suite's many.
void Shape(benchmark::internal::Benchmark* b) {
  b->Arg(10000)->Unit(benchmark::kMillisecond)->Repetitions(5);
}

// Apply into an empty store: every entry is a new value.
void BM_ApplyConfigs(benchmark::State& state) {
  const Document& doc = Doc(state.range(0));
  Store store;
  for (auto _ : state) {
    state.PauseTiming();
    store.Clear();
    state.ResumeTiming();
    if (store.p->ApplyKelConfigs(doc.text.c_str()) != KEL_S_OK) {
      state.SkipWithError("apply failed");
      break;
    }
  }
  PerEntry(state, doc);
}
BENCHMARK(BM_ApplyConfigs)->Apply(Shape);

// The same sets one by one through the interface, into an empty store.
void BM_SetEntries(benchmark::State& state) {
  const Document& doc = Doc(state.range(0));
  Store store;
  for (auto _ : state) {
    state.PauseTiming();
    store.Clear();
    state.ResumeTiming();
    for (const Entry& e : doc.entries) {
      benchmark::DoNotOptimize(store.p->SetKelConfig(e.group, e.key.c_str(), ConfigData(e.value)));
    }
  }
  PerEntry(state, doc);
}
BENCHMARK(BM_SetEntries)->Apply(Shape);

// Apply again over the same values: every set finds its value unchanged.
void BM_ApplyConfigsUnchanged(benchmark::State& state) {
  const Document& doc = Doc(state.range(0));
  Store store;
  store.Fill(doc);
  for (auto _ : state) {
    benchmark::DoNotOptimize(store.p->ApplyKelConfigs(doc.text.c_str()));
  }
  PerEntry(state, doc);
}
BENCHMARK(BM_ApplyConfigsUnchanged)->Apply(Shape);

void BM_SetEntriesUnchanged(benchmark::State& state) {
  const Document& doc = Doc(state.range(0));
  Store store;
  store.Fill(doc);
  for (auto _ : state) {
    for (const Entry& e : doc.entries) {
      benchmark::DoNotOptimize(store.p->SetKelConfig(e.group, e.key.c_str(), ConfigData(e.value)));
    }
  }
  PerEntry(state, doc);
}
BENCHMARK(BM_SetEntriesUnchanged)->Apply(Shape);

// Dump of every group of the filled store; the text has the document's bytes.
void BM_DumpConfigs(benchmark::State& state) {
  const Document& doc = Doc(state.range(0));
  Store store;
  store.Fill(doc);
  for (auto _ : state) {
    benchmark::DoNotOptimize(store.p->DumpKelConfigs(kAllGroups));
  }
  if (std::string(store.p->DumpKelConfigs(kAllGroups)) != doc.text) {
    state.SkipWithError("the dump differs from the applied document");
  }
  PerEntry(state, doc);
}
BENCHMARK(BM_DumpConfigs)->Apply(Shape);

}  // namespace

BENCHMARK_MAIN();
