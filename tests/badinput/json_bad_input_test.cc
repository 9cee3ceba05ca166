// Bad input to the JSON reader and to the configuration apply: malformed documents (every strict
// prefix of valid ones, runaway nesting, non-documents) read as null and are refused as a whole,
// leaving the values already stored as they were.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/json/json.h"
#include "mediastores/mediastores.h"

namespace kelStore {
namespace {

TEST(JsonBadInput, MalformedDocumentsAreRefusedWhole) {
  KelConfig store(6161);
  store.SetKelConfig(kGroupAudio, "gain", ConfigData("3"));
  const std::string snapshot = store.DumpKelConfigs((1u << kGroupLast) - 1);
  auto expectRefused = [&](const std::string& text) {
    EXPECT_EQ(store.ApplyKelConfigs(text.c_str()), KEL_E_BADSTATE) << text.substr(0, 40);
    EXPECT_EQ(store.DumpKelConfigs((1u << kGroupLast) - 1), snapshot);
  };
  // Every strict prefix of a valid document.
  for (const std::string document :
       {R"({"Audio":[{"key":"gain","value":"7"},{"key":"aec","value":"on"}],)"
        R"("Video":[{"key":"fps","value":"30"}]})",
        R"( { "Common" : [ { "key" : "region" , "value" : "us" } ] })",
        R"([1,2.5,"x",{"a":[true,null]},[]])"}) {
    ASSERT_NE(json::Deserialize(document).GetType(), json::NULLVal) << document;
    for (size_t length = 0; length < document.size(); ++length) {
      EXPECT_EQ(json::Deserialize(document.substr(0, length)).GetType(), json::NULLVal);
      expectRefused(document.substr(0, length));
    }
  }
  // Non-documents and runaway nesting.
  const std::string deepArrays(100000, '['), closing(100000, ']');
  std::string deepObjects;
  for (int i = 0; i < 20000; ++i)
    deepObjects += "{\"a\":";
  for (const std::string& text :
       {std::string(1 << 20, ' '), std::string("42"), std::string("\"Audio\""), std::string("null"),
        std::string(R"([{"Audio":[]}])"), deepArrays + closing, deepArrays,
        deepObjects + "1" + std::string(20000, '}'), R"({"Audio":)" + deepArrays + closing + "}"}) {
    expectRefused(text);
  }
  EXPECT_EQ(store.ApplyKelConfigs(nullptr), KEL_E_BADSTATE);
}

}  // namespace
}  // namespace kelStore
