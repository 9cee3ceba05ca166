// The checks run on one input by the configuration apply fuzz target (fuzz/apply_fuzz.cc) and by
// the seed corpus replay test (tests/reliability/fuzz_corpus_replay_test.cc).
//
// The input, cut at its first NUL as any C string is, is applied to a fresh store. Then:
// - the result and the values stored are those of the document's rules, worked out here on the
//   parsed document: members in the object's order; the first fault (a member that is not a
//   group name, a group that is not an array, an entry without string "key" and "value") ends the
//   walk with KEL_E_BADSTATE and keeps what was set before it; a name that is empty up to its
//   first NUL is skipped; a later entry of a name replaces an earlier one;
// - nothing else is stored: once every expected name is removed, the dump shows empty groups;
// - applying the input once more gives the same result and the same dump;
// - the dump of every group (bits above 12 ignored) applies cleanly (KEL_S_OK) to a fresh store,
//   which then dumps to the same text, provided every name and value text (up to its first NUL)
//   reads back as itself: it holds no quote or backslash (the writer writes them bare, the
//   reader takes them as string ends and escapes) and no white space at either end (the reader
//   trims string values). Texts that break this rule are not required to survive the round trip.
#ifndef MEDIASTORES_FUZZ_APPLY_FUZZ_BODY_H_
#define MEDIASTORES_FUZZ_APPLY_FUZZ_BODY_H_

#include <cstdint>
#include <map>
#include <string>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/json/json.h"
#include "mediastores/kel_config_group.h"
#include "mediastores/mediastores.h"
#include "mediastores/result_codes.h"

namespace apply_fuzz {

using kelStore::KelConfig;
using kelStore::KelConfigGroup;

constexpr kelStore::ConfigMultGroup_t kAllGroups = (1u << kelStore::kGroupLast) - 1;

// What applying a document must give: its result and the values of each group by name.
struct Expected {
  int32_t result = KEL_S_OK;
  std::map<std::string, std::string> values[kelStore::kGroupLast];
};

inline Expected Expect(const std::string& text) {
  Expected expected;
  expected.result = KEL_E_BADSTATE;
  const json::Value document = json::Deserialize(text);
  if (document.GetType() != json::ObjectVal) return expected;
  for (const auto& member : document.AsObject()) {
    int group = -1;
    for (uint32_t g = 0; g < kelStore::kGroupLast; ++g) {
      if (member.first == kelStore::KelConfigGroup2GroupName(static_cast<KelConfigGroup>(g))) {
        group = static_cast<int>(g);
      }
    }
    if (group < 0 || member.second.GetType() != json::ArrayVal) return expected;
    for (const json::Value& entry : member.second.AsArray()) {
      if (entry.GetType() != json::ObjectVal) return expected;
      const json::Object& fields = entry.AsObject();
      const auto key = fields.find("key");
      const auto value = fields.find("value");
      if (key == fields.end() || value == fields.end() ||
          key->second.GetType() != json::StringVal || value->second.GetType() != json::StringVal) {
        return expected;
      }
      const std::string name = key->second.AsString().c_str();
      if (!name.empty()) expected.values[group][name] = value->second.AsString();
    }
  }
  expected.result = KEL_S_OK;
  return expected;
}

inline bool IsReaderSpace(char c) {
  return c == '\0' || c == ' ' || (c >= '\t' && c <= '\r');
}

// Whether a text written bare between quotes reads back as itself.
inline bool ReadsBack(const std::string& text) {
  const std::string cut = text.c_str();
  if (cut.find_first_of("\"\\") != std::string::npos) return false;
  return cut.empty() || (!IsReaderSpace(cut.front()) && !IsReaderSpace(cut.back()));
}

// The dump of a store without values.
inline std::string EmptyDump() {
  std::map<std::string, int> names;  // the dump lists groups in byte-wise order of their names
  for (uint32_t g = 0; g < kelStore::kGroupLast; ++g)
    names[kelStore::KelConfigGroup2GroupName(static_cast<KelConfigGroup>(g))] = 0;
  std::string text = "{";
  for (const auto& name : names)
    text += (text.size() > 1 ? ",\"" : "\"") + name.first + "\":[]";
  return text + "}";
}

// Runs every check on one input; returns "" or a description of the first failed check.
inline std::string CheckOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const char* text = input.c_str();
  const Expected expected = Expect(text);

  KelConfig store(1);
  const int32_t result = store.ApplyKelConfigs(text);
  if (result != expected.result) {
    return "apply returned " + std::to_string(result) + ", expected " +
           std::to_string(expected.result);
  }
  bool readable = true;
  for (uint32_t g = 0; g < kelStore::kGroupLast; ++g) {
    const auto group = static_cast<KelConfigGroup>(g);
    for (const auto& [name, value] : expected.values[g]) {
      ConfigData stored;
      if (store.GetKelConfig(group, name.c_str(), stored) != KEL_S_OK ||
          stored != ConfigData(value)) {
        return "group " + std::to_string(g) + " name \"" + name + "\" holds \"" +
               stored.ToString() + "\", expected \"" + value + "\"";
      }
      readable = readable && ReadsBack(name) && ReadsBack(value);
    }
  }

  const std::string dump = store.DumpKelConfigs(kAllGroups);
  if (std::string(store.DumpKelConfigs(0xFFFFFFFFu)) != dump) {
    return "bits above 12 changed the dump";
  }
  if (store.ApplyKelConfigs(text) != result || store.DumpKelConfigs(kAllGroups) != dump) {
    return "a second apply of the same text changed the store";
  }

  if (readable) {
    KelConfig copy(2);
    const int32_t copied = copy.ApplyKelConfigs(dump.c_str());
    if (copied != KEL_S_OK)
      return "the dump \"" + dump + "\" applies with " + std::to_string(copied);
    const std::string again = copy.DumpKelConfigs(kAllGroups);
    if (again != dump) return "the dump \"" + dump + "\" applies and dumps as \"" + again + "\"";
  }

  for (uint32_t g = 0; g < kelStore::kGroupLast; ++g) {
    for (const auto& entry : expected.values[g])
      store.RemoveKelConfig(static_cast<KelConfigGroup>(g), entry.first.c_str());
  }
  const std::string rest = store.DumpKelConfigs(kAllGroups);
  if (rest != EmptyDump()) return "names the document does not hold were stored: " + rest;
  return std::string();
}

}  // namespace apply_fuzz

#endif  // MEDIASTORES_FUZZ_APPLY_FUZZ_BODY_H_
