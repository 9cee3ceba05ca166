// json::Value, json::Object and json::Array: views, typed access, merge and equality.
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mediastores/json/json.h"
#include "mediastores/mediastores.h"

namespace {

json::Value Parse(const char* text) {
  return json::Deserialize(text);
}

// Views of values the reader never makes; a scalar's size is 1; Clear changes the tag only.
TEST(JsonValueTest, ViewsSizeAndClear) {
  const json::Value f(2.5f), text("abc");
  EXPECT_EQ(f.GetType(), json::FloatVal);
  EXPECT_EQ(f.ToInt64(), 2);
  EXPECT_DOUBLE_EQ(f.ToDouble(), 2.5);
  EXPECT_EQ(text.ToInt64(), 0);
  EXPECT_EQ(json::Value(static_cast<const char*>(nullptr)).GetType(), json::NULLVal);
  EXPECT_EQ(json::Value().size(), 1u);
  EXPECT_EQ(text.size(), 1u);
  EXPECT_EQ(json::Value(json::Object()).size(), 0u);
  json::Value array = json::Deserialize("[1,2,3]");
  EXPECT_EQ(array.size(), 3u);
  array.Clear();
  EXPECT_EQ(array.GetType(), json::NULLVal);
  EXPECT_EQ(array.size(), 1u);
  json::Value number(42);
  number.Clear();
  EXPECT_EQ(number.ToInt(), 42);
}

TEST(JsonValueTest, ObjectAccessAndHasKeys) {
  json::Value doc = Parse(R"({"a":1,"c":3})");
  const json::Value& view = doc;
  EXPECT_EQ(view["missing"].GetType(), json::NULLVal);  // the const form does not insert
  EXPECT_EQ(doc.size(), 2u);
  EXPECT_EQ(doc["missing"].GetType(), json::NULLVal);
  doc[std::string("b")] = "x";
  EXPECT_EQ(json::Serialize(doc), R"({"a":1,"b":"x","c":3,"missing":null})");

  const char* keys[] = {"a", "b", "c", "d"};
  EXPECT_EQ(doc.HasKeys(keys, 3), -1);
  EXPECT_EQ(doc.HasKeys(keys, 4), 3);
  EXPECT_EQ(doc.HasKeys(keys + 3, 0), -1);
  json::Object members = doc.ToObject();
  members.Erase("b");
  EXPECT_EQ(members.HasKeys(keys, 3), 1);
  EXPECT_EQ(members.HasKeys(std::vector<std::string>{"c", "a", "z"}), 2);
  EXPECT_FALSE(json::Value(members).HasKey("b"));
}

TEST(JsonValueTest, ArrayInsertsAndFinds) {
  json::Array array;
  array.push_back(json::Value(1));
  array.push_back(json::Value("b"));
  array.insert(1, json::Value(2.5));
  array.insert(99, json::Value(true));  // past the end: appended
  EXPECT_EQ(json::Serialize(json::Value(array)), R"([1,2.500000,"b",true])");
  // find compares element == value: the integer 1 finds the double 1.0.
  EXPECT_EQ(array.find(json::Value(1.0)) - array.begin(), 0);
  EXPECT_TRUE(array.HasValue(json::Value("b")));
  EXPECT_FALSE(array.HasValue(json::Value("c")));
}

TEST(JsonValueTest, AssignmentFromAMemberKeepsTheMember) {
  json::Value doc = Parse(R"({"inner":{"x":[1,2]}})");
  doc = doc["inner"];
  EXPECT_EQ(json::Serialize(doc), R"({"x":[1,2]})");
  doc = std::move(doc["x"]);
  EXPECT_EQ(json::Serialize(doc), "[1,2]");
}

TEST(JsonValueDeathTest, TypedAccessOnTheWrongTypeEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const json::Value text("x"), number(1);
  json::Value cleared("gone");
  cleared.Clear();
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[&] { (void)text[0]; }, "operator\\[\\]: Assertion `mValueType == ArrayVal'"},
      {[&] { (void)number["k"]; }, "operator\\[\\]: Assertion `mValueType == ObjectVal'"},
      {[&] { (void)json::Value()[std::string("k")]; },
       "operator\\[\\]: Assertion `mValueType == ObjectVal'"},
      {[&] { json::Array a = text; }, "operator Array: Assertion `mValueType == ArrayVal'"},
      {[&] { std::string s = number; },
       "operator basic_string: Assertion `mValueType == StringVal'"},
      {[&] { (void)number.ToObject(); }, "ToObject: Assertion `mValueType == ObjectVal'"},
      {[&] { (void)number.ToArray(); }, "ToArray: Assertion `mValueType == ArrayVal'"},
      {[&] { (void)cleared.ToString(); }, "ToString: Assertion `mValueType == StringVal'"},
      {[&] { (void)text.HasKey("k"); }, "HasKey: Assertion `mValueType == ObjectVal'"},
      {[&] { (void)number.AsString(); }, "AsString: Assertion `mValueType == StringVal'"},
  };
  for (const auto& [misuse, message] : cases)
    EXPECT_DEATH(misuse(), message + " failed");
}

TEST(JsonValueTest, MergesObjectsMemberByMember) {
  const struct {
    const char *target, *other;
    bool merged;
    const char* result;
  } cases[] = {
      {R"({"a":"x"})", R"({"a":1})", false, R"({"a":"x"})"},
      {R"({"b":{"d":3}})", R"({"b":{"c":2}})", true, R"({"b":{"c":2,"d":3}})"},
      {R"({"a":null})", R"({"a":1,"n":[1]})", true, R"({"a":1,"n":[1]})"},
      {R"({"a":{"x":1}})", R"({"a":5})", false, R"({"a":{"x":1}})"},
      // The result of a nested merge replaces the running result, an earlier conflict included.
      {R"({"a":"x","b":{}})", R"({"a":1,"b":{"c":1}})", true, R"({"a":"x","b":{"c":1}})"},
      {R"({"a":1})", "[1]", false, R"({"a":1})"},
      {"[1,2]", "[3]", true, "[3]"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.target) + " <- " + c.other);
    json::Value target = Parse(c.target);
    EXPECT_EQ(target.MergeValue(Parse(c.other)), c.merged);
    EXPECT_EQ(json::Serialize(target), c.result);
  }
  json::Value number(3);
  EXPECT_FALSE(number.MergeValue(json::Value()));
  EXPECT_FALSE(number.MergeValue(json::Value(5.5)));
  EXPECT_TRUE(number.MergeValue(number));
  EXPECT_TRUE(number.MergeValue(json::Value(5)));
  EXPECT_EQ(number.ToInt(), 5);
}

TEST(JsonValueTest, EqualityIsDecidedByTheLeftOperand) {
  json::Value cleared("s");
  cleared.Clear();
  const struct {
    const char* name;
    json::Value left, right;
    bool leftEqualsRight, rightEqualsLeft;
  } cases[] = {
      {"null, null", json::Value(), json::Value(), true, true},
      {"null, number", json::Value(), json::Value(5), true, false},
      {"null, string", json::Value(), json::Value("x"), false, false},
      {"cleared string, number", cleared, json::Value(2.5), true, false},
      {"empty string, number", json::Value(""), json::Value(3), true, false},
      {"string, number", json::Value("3"), json::Value(3), false, false},
      {"false, number", json::Value(false), json::Value(3), true, false},
      {"true, number", json::Value(true), json::Value(3), false, false},
      {"empty object, number", json::Value(json::Object()), json::Value(3), true, false},
      {"empty array, double", json::Value(json::Array()), json::Value(2.5), true, false},
      {"strings", json::Value("ab"), json::Value("ab"), true, true},
      {"int, close double", json::Value(1), json::Value(1.0000000001), true, true},
      {"int, far double", json::Value(1), json::Value(1.00001), false, false},
      {"int -1, uint max", json::Value(-1), json::Value(4294967295U), true, true},
      // The low 32 bits of the right's 64-bit view against a sign-extended 32-bit left.
      {"int, int64 2^32+5", json::Value(5), json::Value(4294967301LL), true, false},
      {"uint max, int64 -1", json::Value(4294967295U), json::Value(-1LL), true, false},
      {"int64, uint", json::Value(5LL), json::Value(5U), true, true},
      // Single precision against a float: 2^24+1 becomes 2^24.
      {"int 2^24+1, float 2^24", json::Value(16777217), json::Value(16777216.0f), true, true},
      {"int 2^24+1, double 2^24", json::Value(16777217), json::Value(16777216.0), false, false},
      {"float 0.1, double 0.1", json::Value(0.1f), json::Value(0.1), false, false},
      {"objects", Parse(R"({"a":1,"b":[true]})"), Parse(R"({"a":1.0,"b":[true]})"), true, true},
      {"objects, other key", Parse(R"({"a":1})"), Parse(R"({"b":1})"), false, false},
      {"objects, null member", Parse(R"({"a":null})"), Parse(R"({"a":7})"), true, false},
      {"arrays, order", Parse("[1,2]"), Parse("[2,1]"), false, false},
      {"arrays, length", Parse("[1]"), Parse("[1,1]"), false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.left == c.right, c.leftEqualsRight);
    EXPECT_EQ(c.right == c.left, c.rightEqualsLeft);
    EXPECT_EQ(c.left != c.right, !c.leftEqualsRight);
  }
}

}  // namespace
