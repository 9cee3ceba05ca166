// json::Deserialize: how tokens, strings and containers read, and what fails; and the seed corpus
// of the JSON fuzz target (tests/json/corpus), each input checked against a plain reading of the
// same rules.
#include <climits>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "fuzz/json_fuzz_body.h"
#include "mediastores/json/json.h"

namespace {

// The value read for `text` as the member "a" of an object.
json::Value Member(const std::string& text) {
  json::Value doc = json::Deserialize("{\"a\":" + text + "}");
  EXPECT_EQ(doc.GetType(), json::ObjectVal) << text;
  return doc.GetType() == json::ObjectVal ? doc["a"] : json::Value();
}

// The type of each token and the numeric views it fills.
TEST(JsonReaderTest, ClassifiesScalarTokens) {
  const struct {
    const char* token;
    json::ValueType type;
    long long int64View;
    int intView;
    unsigned int uintView;
    double doubleView;
    bool boolView = false;
  } cases[] = {
      {"1e3", json::DoubleVal, 1000, 1000, 1000, 1000},
      {"1E3", json::IntVal, 1, 1, 1, 1},  // upper-case E is no exponent: atoi stops at it
      {"2147483647", json::IntVal, INT_MAX, INT_MAX, INT_MAX, 2147483647.0},
      {"2147483648", json::UIntVal, 2147483648LL, INT_MIN, 2147483648U, 2147483648.0},
      {"-3000000000", json::Int64Val, -3000000000LL, 1294967296, 0, -3e9},
      {"9223372036854775807", json::Int64Val, LLONG_MAX, -1, UINT_MAX, 9223372036854775807.0},
      {"-1e20", json::DoubleVal, LLONG_MIN, INT_MIN, 0, -1e20},
      // Words: atof reads 0; a lower-case e makes a double. Whitespace inside a token is skipped.
      {"nothing", json::IntVal, 0, 0, 0, 0},
      {"none", json::DoubleVal, 0, 0, 0, 0},
      {"1 2a", json::IntVal, 12, 12, 12, 12},
      {"TRUE", json::BoolVal, 0, 0, 0, 0, true},
      {"Null", json::NULLVal, 0, 0, 0, 0, false},
  };
  for (const auto& c : cases) {
    const json::Value v = Member(c.token);
    EXPECT_EQ(std::make_tuple(v.GetType(), v.ToInt64(), v.ToInt(), v.ToUInt(), v.ToDouble(),
                              v.ToFloat(), v.ToBool()),
              std::make_tuple(c.type, c.int64View, c.intView, c.uintView, c.doubleView,
                              static_cast<float>(c.doubleView), c.boolView))
        << c.token;
  }
}

TEST(JsonReaderTest, UndoesEscapesAndTrimsStrings) {
  const std::pair<const char*, std::string> cases[] = {
      {R"("say \"hi\" \\ a\/b")", "say \"hi\" \\ a/b"},
      {R"("1\b2\f3\n4\r5\t6")", "1\b2\f3\n4\r5\t6"},
      // \u keeps one byte: the last two hex digits. Without four hex digits it is an unknown
      // escape, dropped with its backslash.
      {R"("\u00e9\u4e2d")", "\xE9\x2D"},
      {R"("\u00zz x\qy")", "00zz xy"},
      {R"("  ab  ")", "ab"},  // trimmed, after unescaping
      {R"("a{b]c,d")", "a{b]c,d"},
  };
  for (const auto& [quoted, expected] : cases) {
    const json::Value v = Member(quoted);
    ASSERT_EQ(v.GetType(), json::StringVal) << quoted;
    EXPECT_EQ(v.ToString(), expected) << quoted;
  }
}

// Texts with the writer's text of what they read as; "" for a null result (malformed).
TEST(JsonReaderTest, ReadsLenientlyAndFailsWhole) {
  const std::string deepest =
      std::string(json::kMaxNestingDepth, '[') + "1" + std::string(json::kMaxNestingDepth, ']');
  const std::pair<std::string, std::string> cases[] = {
      {R"(  {"b" : [1, {"c":"d"}, [true]], "a":{}, "e":[]}  )",
       R"({"a":{},"b":[1,{"c":"d"},[true]],"e":[]})"},
      {R"({"a\"b":1, " k ":2})", R"({" k ":2,"a\"b":1})"},  // keys taken as they stand
      {"[1,null,2]", "[1,2]"},                              // null elements are dropped...
      {R"({"a":null,"b":})", R"({"a":null,"b":null})"},     // ...null members stay
      // The extra brace pops the object's entry and stays in the token, which reads as 1.
      {R"({"a":1}})", R"({"a":1})"},
      {R"({"a":1 "b":2})", R"({"a":1})"},  // a scalar runs to the next comma, quotes and all
      {R"({"a":"\\"})", R"({"a":"\"})"},   // a member string may end in an escaped backslash
      {deepest, deepest},
      {"[" + deepest + "]", ""},
      {R"({"":1})", ""},
      {R"({"a" 1})", ""},
      {R"({"a":[1,2]]})", ""},
      {R"(["a]b"])", ""},  // a string element holding "]" is cut there
      // A failure at any depth fails the whole document.
      {R"([1,{"":1},2])", ""},
      {R"({"a":[[1],[2}]]})", ""},
  };
  for (const auto& [text, readAs] : cases)
    EXPECT_EQ(json::Serialize(json::Deserialize(text)), readAs) << text.substr(0, 60);
}

TEST(JsonCorpusReplayTest, EverySeedPassesTheFuzzChecks) {
  int replayed = 0;
  for (const auto& entry : std::filesystem::directory_iterator(
           std::filesystem::path(MEDIASTORES_SOURCE_DIR) / "tests/json/corpus")) {
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(
        json_fuzz::CheckOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), "")
        << entry.path().filename();
    ++replayed;
  }
  EXPECT_GE(replayed, 20);
}

}  // namespace
