// The JSON module on configuration dumps of 10,000 and 100,000 entries, side by side: reading
// and writing time must grow linearly with the document (the larger at most about 12x the
// smaller).
#include <benchmark/benchmark.h>

#include <string>

#include "bench/json_bench_documents.h"
#include "bench/side_by_side.h"
#include "mediastores/json/json.h"

namespace {

// Reading and writing dumps of 10,000 and 100,000 entries side by side, reported as
// "ns:10k" and "ns:100k" per document.
void BM_JsonReadConfig(benchmark::State& state) {
  const std::string small = json_bench::ConfigDocument(10000);
  const std::string big = json_bench::ConfigDocument(100000);
  auto read = [](const std::string& text) {
    json::Value document = json::Deserialize(text);
    benchmark::DoNotOptimize(document);
  };
  bench::SideBySide(state, bench::Side("10k", [&] { read(small); }),
                    bench::Side("100k", [&] { read(big); }));
}
BENCHMARK(BM_JsonReadConfig)->MinTime(0.2);

void BM_JsonWriteConfig(benchmark::State& state) {
  const json::Value small = json::Deserialize(json_bench::ConfigDocument(10000));
  const json::Value big = json::Deserialize(json_bench::ConfigDocument(100000));
  auto write = [](const json::Value& document) {
    std::string text = json::Serialize(document);
    benchmark::DoNotOptimize(text);
  };
  bench::SideBySide(state, bench::Side("10k", [&] { write(small); }),
                    bench::Side("100k", [&] { write(big); }));
}
BENCHMARK(BM_JsonWriteConfig)->MinTime(0.2);

// Nesting: arrays nested `depth` deep around one number, read and written.
void BM_JsonReadNestedArrays(benchmark::State& state) {
  const size_t depth = static_cast<size_t>(state.range(0));
  const std::string text = std::string(depth, '[') + "1" + std::string(depth, ']');
  for (auto _ : state) {
    json::Value document = json::Deserialize(text);
    benchmark::DoNotOptimize(document);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_JsonReadNestedArrays)->Arg(16)->Arg(json::kMaxNestingDepth);

}  // namespace

BENCHMARK_MAIN();
