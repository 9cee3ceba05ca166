// DumpKelConfigs and ApplyKelConfigs: document texts, group and key order, the mask walk, and what
// an apply tells and traces. (Where a walk stops: config_document_test.cc. That an apply sets what
// the walk gives and nothing else, and that a dump applies back to the same text: the apply fuzz
// target's checks, replayed over its corpus by reliability/fuzz_corpus_replay_test.cc.)
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

constexpr uint32_t kCallId = 11;

std::string Entry(const std::string& key, const std::string& value) {
  return "{\"key\":\"" + key + "\",\"value\":\"" + value + "\"}";
}

TEST(KelConfigJsonTest, DumpWritesSelectedGroupsInByteOrder) {
  KelConfig store(kCallId);
  for (const char* key : {"z", "\xC3\xA9", "a", "_x", "B"}) {  // byte order: B _x a z \xC3\xA9
    store.SetKelConfig(kGroupCommon, key, ConfigData(key[0] == 'z' ? "26" : "t"));
  }
  store.SetKelConfig(kGroupAudio, "rate", ConfigData(48000));
  store.SetKelConfig(kGroupUnitTest, "flag", ConfigData(true));
  const std::string common = "\"Common\":[" + Entry("B", "t") + "," + Entry("_x", "t") + "," +
                             Entry("a", "t") + "," + Entry("z", "26") + "," +
                             Entry("\xC3\xA9", "t") + "]";
  const std::string unitTest = "\"UnitTest\":[" + Entry("flag", "true") + "]";
  const std::vector<std::pair<ConfigMultGroup_t, std::string>> rows = {
      {0, "{}"},
      {0xFFFFE000u, "{}"},  // bits 13 and up name no group
      {1u << 5, "{\"Video\":[]}"},
      {1u, "{" + common + "}"},
      {(1u << 12) | (1u << 31), "{" + unitTest + "}"},
      {0xFFFFFFFFu, "{\"Application\":[],\"Audio\":[" + Entry("rate", "48000") +
                        "],\"AudioSi\":[],\"AudioSlide\":[]," + common +
                        ",\"Feature\":[],\"Gamestate\":[],\"Metrics\":[],\"TAOnly\":[],"
                        "\"Transmission\":[]," +
                        unitTest + ",\"Video\":[],\"VideoSlide\":[]}"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(store.DumpKelConfigs(row.first), row.second) << row.first;

  TraceCapture capture(2);
  store.DumpKelConfigs(0xFFFFFFFFu);
  EXPECT_EQ(capture.Texts(),
            std::vector<std::string>{"kelStore::KelConfig::DumpKelConfigs, groups=4294967295" +
                                     storetest::StoreDecoration(kCallId, &store)});
}

TEST(KelConfigJsonTest, ApplyTellsObserversAndTracesTheText) {
  KelConfig store(kCallId);
  std::vector<std::string> seen;
  store.SubscribeConfig(kGroupAudio, "codec", [&](const KelConfigEvent& event) {
    seen.push_back(std::string(event.oldValue.ToCstr()) + "->" + event.newValue.ToCstr());
  });
  const std::string document = "{\"Audio\":[" + Entry("codec", "opus") + "]}";
  TraceCapture capture(2);
  EXPECT_EQ(store.ApplyKelConfigs(document.c_str()), KEL_S_OK);
  EXPECT_EQ(store.ApplyKelConfigs(document.c_str()), KEL_S_OK);  // unchanged: nobody told
  EXPECT_EQ(seen, std::vector<std::string>{"->opus"});
  EXPECT_EQ(capture.CountContaining("kelStore::KelConfig::ApplyKelConfigs [cid=11], szJsonConfig=" +
                                    document + " [this=" + storetest::PointerText(&store) + "]"),
            2);
  // Each text is set as it reads, whichever text was applied before it.
  const std::string other = "{\"Audio\":[" + Entry("codec", "g722") + "]}";
  EXPECT_EQ(store.ApplyKelConfigs(other.c_str()), KEL_S_OK);
  EXPECT_EQ(store.ApplyKelConfigs(document.c_str()), KEL_S_OK);
  EXPECT_EQ(seen, (std::vector<std::string>{"->opus", "opus->g722", "g722->opus"}));
}

}  // namespace
}  // namespace kelStore
