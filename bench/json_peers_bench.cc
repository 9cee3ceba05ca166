// The JSON module next to nlohmann-json, RapidJSON, simdjson (reading only, DOM API) and JsonCpp,
// reading and writing the same documents: configuration dumps of 10,000 and 100,000 entries and one
// nested document of mixed scalars. RapidJSON, the peer the goals judge against, runs side by side
// with the module (bench/side_by_side.h); the others, shown for reference, run as benchmarks of
// their own and report bytes per second of document text. A peer whose package was not found at
// configure time (bench/json_peers.cmake; bench/install-json-peers.sh installs them) is left out.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/json_bench_documents.h"
#include "bench/side_by_side.h"
#include "mediastores/json/json.h"

#if defined(MEDIASTORES_BENCH_NLOHMANN)
#include <nlohmann/json.hpp>
#endif
#if defined(MEDIASTORES_BENCH_RAPIDJSON)
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif
#if defined(MEDIASTORES_BENCH_SIMDJSON)
#include <simdjson.h>
#endif
#if defined(MEDIASTORES_BENCH_JSONCPP)
#include <json/json.h>

#include <memory>
#endif

namespace {

enum Document { kConfig10k, kConfig100k, kNested };

const std::string& Text(Document which) {
  static const std::string config10k = json_bench::ConfigDocument(10000);
  static const std::string config100k = json_bench::ConfigDocument(100000);
  static const std::string nested = json_bench::NestedMixedDocument(5000);
  switch (which) {
    case kConfig10k:
      return config10k;
    case kConfig100k:
      return config100k;
    default:
      return nested;
  }
}

Document Which(const benchmark::State& state) {
  return static_cast<Document>(state.range(0));
}

// A fifth of a second per repetition: a reading of the 100k-entry dump takes tens of
// milliseconds, so each repetition still reads it several times; the suite's many interleaved
// repetitions, compared one by one with the peer's, steady the ratios.
void Name(benchmark::internal::Benchmark* b) {
  b->ArgName("doc")
      ->Arg(kConfig10k)
      ->Arg(kConfig100k)
      ->Arg(kNested)
      ->Unit(benchmark::kMillisecond)
      ->MinTime(0.2);
}

// The peers shown beside RapidJSON for reference only (no goal is judged on them) run a few
// repetitions instead of the suite's many: nlohmann-json and JsonCpp take a tenth of a second for
// one pass over the 100k-entry dump.
constexpr int kBesideRepetitions = 5;
void Beside(benchmark::internal::Benchmark* b) {
  Name(b);
  b->Repetitions(kBesideRepetitions);
}

// ---- mediastores json next to RapidJSON, side by side ----
// Each reports "ns:mediastores" and "ns:rapidjson" (nanoseconds per document) and the document's
// size in "bytes".

void BM_Read(benchmark::State& state) {
  const std::string& text = Text(Which(state));
  auto ours = bench::Side("mediastores", [&] {
    json::Value document = json::Deserialize(text);
    benchmark::DoNotOptimize(document);
  });
#if defined(MEDIASTORES_BENCH_RAPIDJSON)
  bench::SideBySide(state, ours, bench::Side("rapidjson", [&] {
                      rapidjson::Document document;
                      document.Parse(text.c_str(), text.size());
                      benchmark::DoNotOptimize(document.HasParseError());
                    }));
#else
  bench::SideBySide(state, ours);
#endif
  state.counters["bytes"] = static_cast<double>(text.size());
}
BENCHMARK(BM_Read)->Apply(Name);

void BM_Write(benchmark::State& state) {
  const std::string& text = Text(Which(state));
  const json::Value document = json::Deserialize(text);
  auto ours = bench::Side("mediastores", [&] {
    std::string out = json::Serialize(document);
    benchmark::DoNotOptimize(out);
  });
#if defined(MEDIASTORES_BENCH_RAPIDJSON)
  rapidjson::Document peer;
  peer.Parse(text.c_str(), text.size());
  bench::SideBySide(state, ours, bench::Side("rapidjson", [&] {
                      rapidjson::StringBuffer buffer;
                      rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
                      peer.Accept(writer);
                      std::string out(buffer.GetString(), buffer.GetSize());
                      benchmark::DoNotOptimize(out);
                    }));
#else
  bench::SideBySide(state, ours);
#endif
  state.counters["bytes"] = static_cast<double>(json::Serialize(document).size());
}
BENCHMARK(BM_Write)->Apply(Name);

// ---- nlohmann-json ----
#if defined(MEDIASTORES_BENCH_NLOHMANN)
void BM_Read_Nlohmann(benchmark::State& state) {
  const std::string& text = Text(Which(state));
  for (auto _ : state) {
    nlohmann::json document = nlohmann::json::parse(text);
    benchmark::DoNotOptimize(document);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_Read_Nlohmann)->Apply(Beside);

void BM_Write_Nlohmann(benchmark::State& state) {
  const nlohmann::json document = nlohmann::json::parse(Text(Which(state)));
  size_t bytes = 0;
  for (auto _ : state) {
    std::string out = document.dump();
    bytes = out.size();
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_Write_Nlohmann)->Apply(Beside);
#endif

// ---- simdjson ----
// The fastest reader known, as a reference for reading. The parser is reused between
// iterations, as simdjson's documentation advises; the text is copied into a padded buffer once.
#if defined(MEDIASTORES_BENCH_SIMDJSON)
void BM_Read_Simdjson(benchmark::State& state) {
  const std::string& text = Text(Which(state));
  const simdjson::padded_string padded(text);
  simdjson::dom::parser parser;
  for (auto _ : state) {
    simdjson::dom::element document;
    const auto error = parser.parse(padded).get(document);
    benchmark::DoNotOptimize(error);
    benchmark::DoNotOptimize(document);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_Read_Simdjson)->Apply(Beside);
#endif

// ---- JsonCpp ----
#if defined(MEDIASTORES_BENCH_JSONCPP)
Json::Value JsonCppParse(const std::string& text) {
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value document;
  std::string errors;
  reader->parse(text.data(), text.data() + text.size(), &document, &errors);
  return document;
}

void BM_Read_JsonCpp(benchmark::State& state) {
  const std::string& text = Text(Which(state));
  for (auto _ : state) {
    Json::Value document = JsonCppParse(text);
    benchmark::DoNotOptimize(document);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_Read_JsonCpp)->Apply(Beside);

void BM_Write_JsonCpp(benchmark::State& state) {
  const Json::Value document = JsonCppParse(Text(Which(state)));
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  size_t bytes = 0;
  for (auto _ : state) {
    std::string out = Json::writeString(builder, document);
    bytes = out.size();
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_Write_JsonCpp)->Apply(Beside);
#endif

}  // namespace

BENCHMARK_MAIN();
