// Documents shared by the JSON benchmarks (json_bench.cc, json_peers_bench.cc).
#ifndef MEDIASTORES_BENCH_JSON_BENCH_DOCUMENTS_H_
#define MEDIASTORES_BENCH_JSON_BENCH_DOCUMENTS_H_

#include <cstdio>
#include <string>
#include <vector>

#include "mediastores/json/json.h"

namespace json_bench {

// The configuration groups, in the order of their numbers.
inline const char* const kGroupNames[] = {
    "Common",      "Feature",   "Metrics", "Audio",        "AudioSlide", "Video",   "VideoSlide",
    "Application", "Gamestate", "AudioSi", "Transmission", "TAOnly",     "UnitTest"};
constexpr int kGroupCount = 13;

// A configuration dump of `entries` settings spread over the thirteen groups, shaped as the
// store's dump writes it: {"Audio":[{"key":"...","value":"..."},...],...}, keys ascending within
// a group, every value a string.
inline std::string ConfigDocument(int entries) {
  static const char* const kValues[] = {"1",       "true",         "1280x720",
                                        "2500000", "opus/48000/2", "AdaptiveJitterBuffer"};
  std::vector<json::Array> groups(kGroupCount);
  for (int i = 0; i < entries; ++i) {
    const int group = i % kGroupCount;
    char key[64];
    std::snprintf(key, sizeof(key), "%s.Setting%07d", kGroupNames[group], i);
    json::Object entry;
    entry["key"] = key;
    entry["value"] = kValues[i % 6];
    groups[group].push_back(json::Value(std::move(entry)));
  }
  json::Object root;
  for (int g = 0; g < kGroupCount; ++g)
    root[kGroupNames[g]] = json::Value(std::move(groups[g]));
  return json::Serialize(json::Value(std::move(root)));
}

// A nested document of mixed scalars that every library reads the same way: integers within 32
// bits, decimals written with a point, booleans and plain strings, no nulls.
inline std::string NestedMixedDocument(int calls) {
  std::string text = "{\"calls\":[";
  char buffer[512];
  for (int i = 0; i < calls; ++i) {
    std::snprintf(buffer, sizeof(buffer),
                  "%s{\"id\":%d,\"active\":%s,\"codec\":\"%s\",\"jitterMs\":%f,"
                  "\"layers\":[{\"width\":320,\"height\":180,\"fps\":15.000000,\"bitrate\":%d},"
                  "{\"width\":640,\"height\":360,\"fps\":30.000000,\"bitrate\":%d},"
                  "{\"width\":1280,\"height\":720,\"fps\":30.000000,\"bitrate\":%d}],"
                  "\"loss\":[%f,%f,%f],\"tags\":[\"audio\",\"video\",\"call%d\"]}",
                  i == 0 ? "" : ",", i, i % 2 ? "true" : "false", i % 3 ? "opus" : "g722",
                  (i % 97) * 0.25, 150000 + i, 600000 + i, 2500000 + i, (i % 7) * 0.01,
                  (i % 5) * 0.02, (i % 3) * 0.5, i);
    text += buffer;
  }
  text += "],\"version\":2}";
  return text;
}

}  // namespace json_bench

#endif  // MEDIASTORES_BENCH_JSON_BENCH_DOCUMENTS_H_
