// The walk of a configuration document: what it yields, in which order, and where and why it
// stops. (What ApplyKelConfigs does with the walk: kel_config_json_test.cc.)
#include <gtest/gtest.h>

#include <string>

#include "mediaengine/mediastores/src/config/config_document.h"

namespace kelStore {
namespace {

using Fault = ConfigDocumentFault;

// The groups the walk went into and the entries it gave ("Audio 0:a=1-x": index, key, value and
// the ignored members), then where it stopped ("| Audio#1 b": group, entry index, the entry's key).
std::string Walked(const ConfigDocument& walk) {
  std::string text;
  for (const KelConfigGroup group : walk.Groups())
    text += std::string(text.empty() ? "" : " ") + KelConfigGroup2GroupName(group);
  for (const ConfigDocumentEntry& entry : walk.Entries()) {
    text += " " + std::to_string(entry.index) + ":" + entry.key + "=" + entry.value;
    for (const std::string& member : entry.ignored)
      text += "-" + member;
  }
  if (walk.Fault() == Fault::kNone) return text;
  return text + "| " + walk.FaultGroup() + "#" + std::to_string(walk.FaultIndex()) +
         (walk.FaultKey().empty() ? "" : " " + walk.FaultKey());
}

TEST(ConfigDocumentTest, WalksInTheStoresOrderAndStopsAtTheFirstFault) {
  const struct {
    std::string document;
    Fault fault;
    json::ValueType found;  // what the walk found at the fault
    std::string walked;
  } rows[] = {
      {"{}", Fault::kNone, json::NULLVal, ""},
      {R"({"Common":[],"Audio":[{"key":"a","value":"1","x":2},{"value":" ","key":""},)"
       R"({"key":"a","value":"2"}]})",
       Fault::kNone, json::NULLVal, "Audio Common 0:a=1-x 1:= 2:a=2"},
      {"[]", Fault::kNotAnObject, json::ArrayVal, "| #0"},
      {R"({"Common":[])", Fault::kNotAnObject, json::NULLVal, "| #0"},
      {R"({"Zzz":[],"Common":[{"key":"a","value":"1"}]})", Fault::kUnknownGroup, json::ArrayVal,
       "Common 0:a=1| Zzz#0"},
      {R"({"LastGroup":[{}]})", Fault::kUnknownGroup, json::ArrayVal, "| LastGroup#0"},
      {R"({"common":[]})", Fault::kUnknownGroup, json::ArrayVal, "| common#0"},
      {std::string("{\"Common\0\":\"x\"}", 15), Fault::kUnknownGroup, json::StringVal,
       std::string("| Common\0#0", 11)},
      {R"({"Video":{}})", Fault::kGroupNotArray, json::ObjectVal, "| Video#0"},
      {R"({"Video":[{"key":"a","value":"1"},"x"]})", Fault::kEntryNotObject, json::StringVal,
       "Video 0:a=1| Video#1"},
      {R"({"Video":[{"value":"1"}]})", Fault::kNoKey, json::ObjectVal, "Video| Video#0"},
      {R"({"Video":[{"key":1,"value":"1"}]})", Fault::kKeyNotText, json::IntVal, "Video| Video#0"},
      {R"({"Video":[{"key":"k"}]})", Fault::kNoValue, json::ObjectVal, "Video| Video#0 k"},
      {R"({"Video":[{"key":"k","value":true}]})", Fault::kValueNotText, json::BoolVal,
       "Video| Video#0 k"},
      {R"({"Video":[{"key":"v","value":"1"}],"Audio":[{"key":"a","value":"2"},{"key":"b"},)"
       R"({"key":"c","value":"3"}]})",
       Fault::kNoValue, json::ObjectVal, "Audio 0:a=2| Audio#1 b"},
  };
  for (const auto& row : rows) {
    const ConfigDocument walk(row.document);
    EXPECT_EQ(walk.Fault(), row.fault) << row.document;
    EXPECT_EQ(walk.FaultValue().GetType(), row.found) << row.document;
    EXPECT_EQ(Walked(walk), row.walked);
  }
}

}  // namespace
}  // namespace kelStore
