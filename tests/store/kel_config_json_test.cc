// DumpKelConfigs and ApplyKelConfigs: document texts, group and key order, the mask walk, refused
// documents of every kind, and the round trip.
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <tuple>
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

TEST(KelConfigJsonTest, ApplyStopsAtTheFirstFaultKeepingWhatWasSet) {
  const std::string a = Entry("a", "1");
  // Document, result, Common's entries afterwards.
  std::vector<std::tuple<std::string, int32_t, std::string>> rows = {
      {"{}", KEL_S_OK, ""},
      {"{\"Common\":[]}", KEL_S_OK, ""},
      {"{\"Common\":[" + a + "," + Entry("b", "") + "]}", KEL_S_OK, a + "," + Entry("b", "")},
      {"{\"Common\":[" + Entry("", "x") + "," + a + "]}", KEL_S_OK, a},  // empty key skipped
      {"{\"Common\":[{\"value\":\"1\",\"key\":\"a\",\"more\":[1]}]}", KEL_S_OK, a},
      {"{\"Common\":[" + a + "],\"Zzz\":[]}", KEL_E_BADSTATE, a},  // groups go in name order
      {"{\"Aaa\":[],\"Common\":[" + a + "]}", KEL_E_BADSTATE, ""},
      {"{\"Common\":[" + a + "],\"LastGroup\":[]}", KEL_E_BADSTATE, a},
      {"{\"Common\":[" + a + "],\"common\":[]}", KEL_E_BADSTATE, a},
      {"{\"Common\\u0000\":[" + a + "]}", KEL_E_BADSTATE, ""},
      {"{\"Common\":[" + a + ",{\"key\":\"b\"}," + Entry("c", "3") + "]}", KEL_E_BADSTATE, a},
      {"{\"Common\":[" + a + ",\"a\"]}", KEL_E_BADSTATE, a},
  };
  // A group value that is not an array; a key or value that is missing or not a string. (Documents
  // that don't read as an object: badinput/json_bad_input_test.cc.)
  for (std::string member :
       {"{}", "\"a\"", "null", "[[]]", "[{\"value\":\"1\"}]", "[{\"key\":1,\"value\":\"1\"}]",
        "[{\"key\":\"a\",\"value\":1}]", "[{\"key\":\"a\",\"value\":true}]",
        "[{\"key\":\"a\",\"value\":{}}]"}) {
    rows.emplace_back("{\"Common\":" + member + "}", KEL_E_BADSTATE, "");
  }
  const std::string othersEmpty = KelConfig(kCallId).DumpKelConfigs(0x1FFE);
  for (const auto& [document, result, common] : rows) {
    KelConfig store(kCallId);
    EXPECT_EQ(store.ApplyKelConfigs(document.c_str()), result) << document;
    EXPECT_EQ(std::string(store.DumpKelConfigs(1)), "{\"Common\":[" + common + "]}") << document;
    EXPECT_EQ(store.DumpKelConfigs(0x1FFE), othersEmpty);
  }
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
}

TEST(KelConfigJsonTest, DumpAppliedToAFreshStoreDumpsTheSameText) {
  KelConfig store(kCallId);
  const ConfigData values[] = {"opus", -7, 3000000000u, 0.25, false, "", "a b:c,d"};
  for (uint32_t g = 0; g < kGroupLast; ++g) {
    for (size_t i = 0; i < std::size(values); i += 1 + g % 3) {
      const std::string key = "key-" + std::to_string(i) + "." + std::to_string(g);
      store.SetKelConfig(static_cast<KelConfigGroup>(g), key.c_str(), values[i]);
    }
  }
  const std::string dump = store.DumpKelConfigs(0xFFFFFFFFu);
  KelConfig fresh(kCallId + 1);
  EXPECT_EQ(fresh.ApplyKelConfigs(dump.c_str()), KEL_S_OK);
  EXPECT_EQ(std::string(fresh.DumpKelConfigs(0x1FFFu)), dump);
  ConfigData applied;
  EXPECT_EQ(fresh.GetKelConfig(kGroupCommon, "key-1.0", applied), KEL_S_OK);
  EXPECT_EQ(applied, ConfigData("-7"));  // applied values are texts
}

}  // namespace
}  // namespace kelStore
