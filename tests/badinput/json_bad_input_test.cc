// Bad input to the JSON reader and to the configuration apply: malformed documents (every strict
// prefix of valid ones, runaway nesting, non-documents) read as null and are refused as a whole,
// leaving the values already stored as they were.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/json/json.h"
#include "mediastores/mediastores.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

constexpr ConfigMultGroup_t kAllGroups = (1u << kGroupLast) - 1;

class JsonBadInput : public ::testing::Test {
 protected:
  void SetUp() override {
    store_.SetKelConfig(kGroupAudio, "gain", ConfigData("3"));
    store_.SetKelConfig(kGroupCommon, "region", ConfigData("eu"));
    snapshot_ = store_.DumpKelConfigs(kAllGroups);
  }

  KelConfig store_{6161};
  std::string snapshot_;
};

TEST_F(JsonBadInput, EveryStrictPrefixOfAValidDocumentIsRefused) {
  const std::vector<std::string> documents = {
      R"({"Audio":[{"key":"gain","value":"7"},{"key":"aec","value":"on"}],)"
      R"("Video":[{"key":"fps","value":"30"}]})",
      R"( { "Common" : [ { "key" : "region" , "value" : "us" } ] } )",
      R"([1,2.5,"x",{"a":[true,null]},[]])",
  };
  for (const std::string& document : documents) {
    ASSERT_NE(json::Deserialize(document).GetType(), json::NULLVal) << document;
    // Trailing blanks are not part of the document; cut where its last real character ends.
    const size_t end = document.find_last_not_of(' ') + 1;
    for (size_t length = 0; length < end; ++length) {
      const std::string prefix = document.substr(0, length);
      SCOPED_TRACE(prefix);
      EXPECT_EQ(json::Deserialize(prefix).GetType(), json::NULLVal);
      EXPECT_EQ(store_.ApplyKelConfigs(prefix.c_str()), KEL_E_BADSTATE);
      EXPECT_EQ(store_.DumpKelConfigs(kAllGroups), snapshot_);
    }
  }
}

TEST_F(JsonBadInput, NonDocumentsAndRunawayNestingAreRefused) {
  const std::string deepArrays(100000, '[');
  const std::string deepObjects = [] {
    std::string text;
    for (int i = 0; i < 20000; ++i)
      text += "{\"a\":";
    return text + "1" + std::string(20000, '}');
  }();
  const std::vector<std::string> texts = {
      "",
      std::string(1 << 20, ' '),
      "42",
      "\"Audio\"",
      "null",
      R"([{"Audio":[]}])",
      deepArrays + std::string(100000, ']'),
      deepArrays,
      deepObjects,
      R"({"Audio":)" + deepArrays + std::string(100000, ']') + "}",
  };
  for (const std::string& text : texts) {
    SCOPED_TRACE(text.substr(0, 40));
    EXPECT_EQ(store_.ApplyKelConfigs(text.c_str()), KEL_E_BADSTATE);
    EXPECT_EQ(store_.DumpKelConfigs(kAllGroups), snapshot_);
  }
  EXPECT_EQ(store_.ApplyKelConfigs(nullptr), KEL_E_BADSTATE);
  EXPECT_EQ(store_.DumpKelConfigs(kAllGroups), snapshot_);
}

TEST_F(JsonBadInput, HugeNameInADocumentIsAnOrdinaryName) {
  const std::string name(1 << 20, 'k');
  const std::string document = R"({"Metrics":[{"key":")" + name + R"(","value":"v"}]})";
  EXPECT_EQ(store_.ApplyKelConfigs(document.c_str()), KEL_S_OK);
  ConfigData out;
  EXPECT_EQ(store_.GetKelConfig(kGroupMetrics, name.c_str(), out), KEL_S_OK);
  EXPECT_EQ(out, ConfigData("v"));
  EXPECT_EQ(store_.DumpKelConfigs(1u << kGroupMetrics), document);
  EXPECT_EQ(store_.RemoveKelConfig(kGroupMetrics, name.c_str()), KEL_S_OK);
  EXPECT_EQ(store_.DumpKelConfigs(kAllGroups), snapshot_);
}

}  // namespace
}  // namespace kelStore
