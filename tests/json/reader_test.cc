// json::Deserialize: how tokens, strings and containers read, and what fails.
#include <climits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mediastores_internal.h"

namespace {

// The value read for `text` as the member "a" of an object.
json::Value Member(const std::string& text) {
  json::Value doc = json::Deserialize("{\"a\":" + text + "}");
  EXPECT_EQ(doc.GetType(), json::ObjectVal) << text;
  return doc.GetType() == json::ObjectVal ? doc["a"] : json::Value();
}

struct ScalarCase {
  const char* token;
  json::ValueType type;
  long long int64View;
  int intView;
  unsigned int uintView;
  double doubleView;
};

TEST(JsonReaderTest, ClassifiesScalarTokens) {
  const ScalarCase cases[] = {
      {"1", json::IntVal, 1, 1, 1, 1},
      {"-7", json::IntVal, -7, -7, 0, -7},
      {"1.0", json::DoubleVal, 1, 1, 1, 1.0},
      {"0.5", json::DoubleVal, 0, 0, 0, 0.5},
      {"-2.5", json::DoubleVal, -2, -2, 0, -2.5},
      {"1e3", json::DoubleVal, 1000, 1000, 1000, 1000},
      // Upper-case E is no exponent: atoi stops at it.
      {"1E3", json::IntVal, 1, 1, 1, 1},
      {"-2147483648", json::IntVal, INT_MIN, INT_MIN, 0, -2147483648.0},
      {"2147483647", json::IntVal, INT_MAX, INT_MAX, INT_MAX, 2147483647.0},
      {"2147483648", json::UIntVal, 2147483648LL, INT_MIN, 2147483648U, 2147483648.0},
      {"3000000000", json::UIntVal, 3000000000LL, -1294967296, 3000000000U, 3e9},
      {"4294967295", json::UIntVal, 4294967295LL, -1, 4294967295U, 4294967295.0},
      {"4294967296", json::Int64Val, 4294967296LL, 0, 0, 4294967296.0},
      {"-3000000000", json::Int64Val, -3000000000LL, 1294967296, 0, -3e9},
      {"9223372036854775807", json::Int64Val, LLONG_MAX, -1, UINT_MAX, 9223372036854775807.0},
      {"1e19", json::DoubleVal, LLONG_MAX, INT_MAX, UINT_MAX, 1e19},
      {"18446744073709551616", json::DoubleVal, LLONG_MAX, INT_MAX, UINT_MAX,
       18446744073709551616.0},
      // Words: atof reads 0; a lower-case e makes a double.
      {"nothing", json::IntVal, 0, 0, 0, 0},
      {"none", json::DoubleVal, 0, 0, 0, 0},
      {"12abc", json::IntVal, 12, 12, 12, 12},
      // Whitespace inside a token is skipped.
      {"1 2", json::IntVal, 12, 12, 12, 12},
  };
  for (const ScalarCase& c : cases) {
    SCOPED_TRACE(c.token);
    const json::Value v = Member(c.token);
    EXPECT_EQ(v.GetType(), c.type);
    EXPECT_EQ(v.ToInt64(), c.int64View);
    EXPECT_EQ(v.ToInt(), c.intView);
    EXPECT_EQ(v.ToUInt(), c.uintView);
    EXPECT_DOUBLE_EQ(v.ToDouble(), c.doubleView);
    EXPECT_FLOAT_EQ(v.ToFloat(), static_cast<float>(c.doubleView));
  }
}

TEST(JsonReaderTest, ReadsWordsWithoutRegardToCase) {
  const struct {
    const char* token;
    json::ValueType type;
    bool boolView;
  } cases[] = {{"true", json::BoolVal, true},   {"TRUE", json::BoolVal, true},
               {"False", json::BoolVal, false}, {"null", json::NULLVal, false},
               {"Null", json::NULLVal, false},  {"NULL", json::NULLVal, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.token);
    const json::Value v = Member(c.token);
    EXPECT_EQ(v.GetType(), c.type);
    EXPECT_EQ(v.ToBool(), c.boolView);
  }
}

TEST(JsonReaderTest, UndoesEscapesAndTrimsStrings) {
  const struct {
    const char* quoted;
    std::string expected;
  } cases[] = {
      {R"("plain")", "plain"},
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
      {R"("")", ""},
      {R"("a{b]c,d")", "a{b]c,d"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.quoted);
    const json::Value v = Member(c.quoted);
    ASSERT_EQ(v.GetType(), json::StringVal);
    EXPECT_EQ(v.ToString(), c.expected);
  }
}

TEST(JsonReaderTest, TakesKeysAsTheyStand) {
  json::Value doc = json::Deserialize(R"({"a\"b":1, " sp ":2, "x\ny":3})");
  ASSERT_EQ(doc.GetType(), json::ObjectVal);
  EXPECT_EQ(doc.HasKeys(std::vector<std::string>{"a\\\"b", " sp ", "x\\ny"}), -1);
}

TEST(JsonReaderTest, ReadsObjectsAndArrays) {
  json::Value doc = json::Deserialize(R"(  {"b" : [1, {"c":"d"}, [true]], "a":{}, "e":[]}  )");
  ASSERT_EQ(doc.GetType(), json::ObjectVal);
  ASSERT_EQ(doc.size(), 3u);
  // Members come in key order.
  std::string keys;
  for (const auto& member : doc.ToObject())
    keys += member.first;
  EXPECT_EQ(keys, "abe");
  EXPECT_EQ(doc["a"].GetType(), json::ObjectVal);
  EXPECT_EQ(doc["a"].size(), 0u);
  EXPECT_EQ(doc["e"].GetType(), json::ArrayVal);
  EXPECT_EQ(doc["e"].size(), 0u);
  const json::Value& b = doc["b"];
  ASSERT_EQ(b.GetType(), json::ArrayVal);
  ASSERT_EQ(b.size(), 3u);
  EXPECT_EQ(b[0].ToInt(), 1);
  EXPECT_EQ(b[1]["c"].ToString(), "d");
  EXPECT_TRUE(b[2][0].ToBool());

  EXPECT_EQ(json::Deserialize(" [ ] ").GetType(), json::ArrayVal);
  EXPECT_EQ(json::Deserialize("\t{}\n").GetType(), json::ObjectVal);
}

// Texts that read, with the writer's text of what they read as.
TEST(JsonReaderTest, KeepsTheLenientReadings) {
  const struct {
    const char* text;
    const char* readAs;
  } cases[] = {
      // Null elements are dropped; null members stay.
      {"[1,null,2]", "[1,2]"},
      {R"({"a":null})", R"({"a":null})"},
      {"[1,]", "[1]"},
      {"[,1]", "[1]"},
      {R"({"a":1,"a":2})", R"({"a":2})"},
      // The extra brace pops the object's entry and stays in the token, which reads as 1.
      {R"({"a":1}})", R"({"a":1})"},
      // An empty token is 0; nothing at all is null.
      {R"({"a":,"b":1})", R"({"a":0,"b":1})"},
      {R"({"a":})", R"({"a":null})"},
      // Members need no comma, and what precedes a key's quote is skipped.
      {R"({"a":"x" "b":"y"})", R"({"a":"x","b":"y"})"},
      {R"({"a":1, junk "b":2})", R"({"a":1,"b":2})"},
      // A scalar runs to the next comma, quotes and all.
      {R"({"a":1 "b":2})", R"({"a":1})"},
      // In an array, a container is read from its opening character on.
      {R"([x{"a":1}])", R"([{"a":1}])"},
      {"[1]2]", "[1,2]"},
      // A string at the top level of an object may end in an escaped backslash.
      {R"({"a":"\\"})", R"({"a":"\"})"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(json::Serialize(json::Deserialize(c.text)), c.readAs);
  }
}

TEST(JsonReaderTest, ReadsMalformedTextsAsNull) {
  const char* const cases[] = {
      "",
      "   ",
      "42",
      R"("text")",
      "true",
      "{",
      "[",
      "}{",
      R"({"":1})",
      "{a:1}",
      R"({"a"})",
      R"({"a" 1})",
      R"({"a":1,})",
      R"({"a":"x})",
      R"({"a":[1})",
      R"({"a":[1,2]]})",
      "[1}]",
      "[{]",
      // A string element that holds ",", "]", "[" or "{" is cut there.
      R"(["a,b"])",
      R"(["a]b"])",
      R"(["a[b"])",
      R"(["a{b"])",
      // Inside a nested container, a quote after a backslash does not close the string.
      R"([{"a":"\\"}])",
      // A failure at any depth fails the whole document.
      R"([1,{"":1},2])",
      R"({"a":{"":1},"b":2})",
      R"({"a":[[1],[2}]]})",
  };
  for (const char* text : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(json::Deserialize(text).GetType(), json::NULLVal);
  }
}

TEST(JsonReaderTest, BoundsNestingDepth) {
  auto nested = [](int depth) {
    return std::string(static_cast<size_t>(depth), '[') + "1" +
           std::string(static_cast<size_t>(depth), ']');
  };
  json::Value deepest = json::Deserialize(nested(json::kMaxNestingDepth));
  ASSERT_EQ(deepest.GetType(), json::ArrayVal);
  const json::Value* v = &deepest;
  for (int level = 1; level < json::kMaxNestingDepth; ++level)
    v = &(*v)[0];
  EXPECT_EQ((*v)[0].ToInt(), 1);

  EXPECT_EQ(json::Deserialize(nested(json::kMaxNestingDepth + 1)).GetType(), json::NULLVal);
  EXPECT_EQ(json::Deserialize(nested(100000)).GetType(), json::NULLVal);
  std::string objects;
  for (int i = 0; i < 100000; ++i)
    objects += "{\"k\":";
  objects += "1" + std::string(100000, '}');
  EXPECT_EQ(json::Deserialize(objects).GetType(), json::NULLVal);
}

}  // namespace
