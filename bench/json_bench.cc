// The JSON module on configuration dumps of 10,000 and 100,000 entries: reading and writing time
// must grow linearly with the document (the larger at most about 12x the smaller; the BigO line
// fits the growth).
#include <benchmark/benchmark.h>

#include <string>

#include "bench/json_bench_documents.h"
#include "mediastores/json/json.h"

namespace {

void BM_JsonReadConfig(benchmark::State& state) {
  const std::string text = json_bench::ConfigDocument(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    json::Value document = json::Deserialize(text);
    benchmark::DoNotOptimize(document);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_JsonReadConfig)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(0.2)
    ->Complexity(benchmark::oN);

void BM_JsonWriteConfig(benchmark::State& state) {
  const json::Value document =
      json::Deserialize(json_bench::ConfigDocument(static_cast<int>(state.range(0))));
  size_t bytes = 0;
  for (auto _ : state) {
    std::string text = json::Serialize(document);
    bytes = text.size();
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_JsonWriteConfig)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(0.2)
    ->Complexity(benchmark::oN);

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
