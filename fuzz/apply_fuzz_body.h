// The checks run on one input by the configuration apply fuzz target (fuzz/apply_fuzz.cc) and by
// the seed corpus replay test (tests/reliability/fuzz_corpus_replay_test.cc).
//
// The input, cut at its first NUL as any C string is, is walked (ConfigDocument) and applied to a
// fresh store. Then:
// - the apply answers KEL_S_OK exactly when the walk found no fault, KEL_E_BADSTATE otherwise;
// - every walked name holds the value of its last entry (a name empty up to its first NUL is not
//   set), and nothing else is stored: nothing the walk refused, nothing after its fault;
// - applying the input once more changes nothing;
// - the dump of every group (bits above 12 ignored) applies cleanly to a fresh store, which then
//   dumps the same text, whenever each stored name and value reads back on its own
//   (ConfigDocument::ReadsBack).
#ifndef MEDIASTORES_FUZZ_APPLY_FUZZ_BODY_H_
#define MEDIASTORES_FUZZ_APPLY_FUZZ_BODY_H_

#include <cstdint>
#include <map>
#include <string>

#include "mediaengine/mediastores/src/config/config_document.h"
#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"

namespace apply_fuzz {

using kelStore::ConfigDocument;
using kelStore::KelConfig;
using kelStore::KelConfigGroup;

constexpr kelStore::ConfigMultGroup_t kAllGroups = (1u << kelStore::kGroupLast) - 1;

// Runs every check on one input; returns "" or a description of the first failed check.
inline std::string CheckOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const char* text = input.c_str();
  const ConfigDocument walk(text);
  KelConfig store(1);
  const int32_t result = store.ApplyKelConfigs(text);
  const bool walked = walk.Fault() == kelStore::ConfigDocumentFault::kNone;
  if (result != (walked ? KEL_S_OK : KEL_E_BADSTATE)) {
    return "apply answered " + std::to_string(result) + (walked ? " to a " : " to an un") +
           "faulty walk";
  }

  std::map<std::pair<KelConfigGroup, std::string>, std::string> expected;
  for (const kelStore::ConfigDocumentEntry& entry : walk.Entries()) {
    const std::string name = entry.key.c_str();
    if (!name.empty()) expected[{entry.group, name}] = entry.value;
  }
  bool readable = true;
  for (const auto& [at, value] : expected) {
    ConfigData stored;
    if (store.GetKelConfig(at.first, at.second.c_str(), stored) != KEL_S_OK ||
        stored != ConfigData(value)) {
      return "group " + std::to_string(at.first) + " name \"" + at.second + "\" holds \"" +
             stored.ToString() + "\", expected \"" + value + "\"";
    }
    readable = readable && ConfigDocument::ReadsBack(at.second) &&
               ConfigDocument::ReadsBack(stored.ToCstr());
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
    if (copied != KEL_S_OK) {
      return "the dump \"" + dump + "\" applies with " + std::to_string(copied);
    }
    const std::string again = copy.DumpKelConfigs(kAllGroups);
    if (again != dump) return "the dump \"" + dump + "\" applies and dumps as \"" + again + "\"";
  }

  for (const auto& entry : expected)
    store.RemoveKelConfig(entry.first.first, entry.first.second.c_str());
  const std::string rest = store.DumpKelConfigs(kAllGroups);
  if (rest != KelConfig(3).DumpKelConfigs(kAllGroups)) {
    return "names the walk did not give were stored: " + rest;
  }
  return std::string();
}

}  // namespace apply_fuzz

#endif  // MEDIASTORES_FUZZ_APPLY_FUZZ_BODY_H_
