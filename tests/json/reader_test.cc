// json::Deserialize: how tokens, strings and containers read, and what fails. The corpus replay
// test adds the seed inputs (tests/json/corpus), each checked against a plain reading of the same
// rules.
#include <climits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mediastores/json/json.h"
#include "mediastores/mediastores.h"

namespace {

// The value read for `text` as the member "a" of an object.
json::Value Member(const std::string& text) {
  json::Value doc = json::Deserialize("{\"a\":" + text + "}");
  EXPECT_EQ(doc.GetType(), json::ObjectVal) << text;
  return doc.GetType() == json::ObjectVal ? doc["a"] : json::Value();
}

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
      {"1", json::IntVal, 1, 1, 1, 1},
      {"-7", json::IntVal, -7, -7, 0, -7},
      {"1.0", json::DoubleVal, 1, 1, 1, 1.0},
      {"-2.5", json::DoubleVal, -2, -2, 0, -2.5},
      {"1e3", json::DoubleVal, 1000, 1000, 1000, 1000},
      // Upper-case E is no exponent: atoi stops at it.
      {"1E3", json::IntVal, 1, 1, 1, 1},
      {"-2147483648", json::IntVal, INT_MIN, INT_MIN, 0, -2147483648.0},
      {"2147483647", json::IntVal, INT_MAX, INT_MAX, INT_MAX, 2147483647.0},
      {"2147483648", json::UIntVal, 2147483648LL, INT_MIN, 2147483648U, 2147483648.0},
      {"4294967295", json::UIntVal, 4294967295LL, -1, 4294967295U, 4294967295.0},
      {"4294967296", json::Int64Val, 4294967296LL, 0, 0, 4294967296.0},
      {"-3000000000", json::Int64Val, -3000000000LL, 1294967296, 0, -3e9},
      {"9223372036854775807", json::Int64Val, LLONG_MAX, -1, UINT_MAX, 9223372036854775807.0},
      {"1e19", json::DoubleVal, LLONG_MAX, INT_MAX, UINT_MAX, 1e19},
      {"-1e20", json::DoubleVal, LLONG_MIN, INT_MIN, 0, -1e20},
      {"18446744073709551616", json::DoubleVal, LLONG_MAX, INT_MAX, UINT_MAX,
       1.8446744073709552e19},
      // Words: atof reads 0; a lower-case e makes a double. Whitespace inside a token is skipped.
      {"nothing", json::IntVal, 0, 0, 0, 0},
      {"none", json::DoubleVal, 0, 0, 0, 0},
      {"12abc", json::IntVal, 12, 12, 12, 12},
      {"1 2", json::IntVal, 12, 12, 12, 12},
      {"TRUE", json::BoolVal, 0, 0, 0, 0, true},
      {"False", json::BoolVal, 0, 0, 0, 0, false},
      {"Null", json::NULLVal, 0, 0, 0, 0, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.token);
    const json::Value v = Member(c.token);
    EXPECT_EQ(v.GetType(), c.type);
    EXPECT_EQ(v.ToInt64(), c.int64View);
    EXPECT_EQ(v.ToInt(), c.intView);
    EXPECT_EQ(v.ToUInt(), c.uintView);
    EXPECT_DOUBLE_EQ(v.ToDouble(), c.doubleView);
    EXPECT_FLOAT_EQ(v.ToFloat(), static_cast<float>(c.doubleView));
    EXPECT_EQ(v.ToBool(), c.boolView);
  }
}

TEST(JsonReaderTest, UndoesEscapesAndTrimsStrings) {
  const std::pair<const char*, std::string> cases[] = {
      {R"("say \"hi\"")", "say \"hi\""},
      {R"("a\\b")", "a\\b"},
      {R"("\\")", "\\"},
      {R"("a\/b")", "a/b"},
      {R"("1\b2\f3\n4\r5\t6")", "1\b2\f3\n4\r5\t6"},
      // \u keeps one byte: the last two hex digits.
      {R"("\u00e9")", "\xE9"},
      {R"("\u4e2d")", "\x2D"},
      {R"("\u0041BC")", "ABC"},
      // Without four hex digits \u is an unknown escape: dropped with its backslash.
      {R"("\u00zz")", "00zz"},
      {R"("x\qy")", "xy"},
      {R"("  ab  ")", "ab"},
      // Trimming comes after unescaping.
      {R"("\n ab \t")", "ab"},
      {R"("a{b]c,d")", "a{b]c,d"},
  };
  for (const auto& [quoted, expected] : cases) {
    SCOPED_TRACE(quoted);
    const json::Value v = Member(quoted);
    ASSERT_EQ(v.GetType(), json::StringVal);
    EXPECT_EQ(v.ToString(), expected);
  }
}

std::string Repeat(const std::string& text, int times) {
  std::string repeated;
  for (int i = 0; i < times; ++i)
    repeated += text;
  return repeated;
}

// Texts with the writer's text of what they read as; "" for a null result (malformed).
TEST(JsonReaderTest, ReadsLenientlyAndFailsWhole) {
  const int kMax = json::kMaxNestingDepth;
  const std::pair<std::string, std::string> cases[] = {
      {R"(  {"b" : [1, {"c":"d"}, [true]], "a":{}, "e":[]}  )",
       R"({"a":{},"b":[1,{"c":"d"},[true]],"e":[]})"},
      // Keys are taken as they stand.
      {R"({"a\"b":1, " k ":2})", R"({" k ":2,"a\"b":1})"},
      // Null elements are dropped; null members stay.
      {"[1,null,2]", "[1,2]"},
      {R"({"a":null,"b":})", R"({"a":null,"b":null})"},
      // The extra brace pops the object's entry and stays in the token, which reads as 1.
      {R"({"a":1}})", R"({"a":1})"},
      // A scalar runs to the next comma, quotes and all.
      {R"({"a":1 "b":2})", R"({"a":1})"},
      // A string at the top level of an object may end in an escaped backslash.
      {R"({"a":"\\"})", R"({"a":"\"})"},
      {Repeat("[", kMax) + "1" + Repeat("]", kMax), Repeat("[", kMax) + "1" + Repeat("]", kMax)},

      {"", ""},
      {"42", ""},
      {R"("text")", ""},
      {"}{", ""},
      {R"({"":1})", ""},
      {"{a:1}", ""},
      {R"({"a"})", ""},
      {R"({"a" 1})", ""},
      {R"({"a":1,})", ""},
      {R"({"a":[1})", ""},
      {R"({"a":[1,2]]})", ""},
      {"[1}]", ""},
      {"[{]", ""},
      // A string element that holds ",", "]", "[" or "{" is cut there.
      {R"(["a]b"])", ""},
      {R"(["a[b"])", ""},
      // A failure at any depth fails the whole document.
      {R"([1,{"":1},2])", ""},
      {R"({"a":{"":1},"b":2})", ""},
      {R"({"a":[[1],[2}]]})", ""},
      {Repeat("[", kMax + 1) + "1" + Repeat("]", kMax + 1), ""},
      {Repeat("{\"k\":", 100000) + "1" + Repeat("}", 100000), ""},
  };
  for (const auto& [text, readAs] : cases) {
    SCOPED_TRACE(text.substr(0, 60));
    EXPECT_EQ(json::Serialize(json::Deserialize(text)), readAs);
  }
}

}  // namespace
