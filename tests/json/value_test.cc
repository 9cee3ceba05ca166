// json::Value, json::Object and json::Array: views, typed access, merge and equality.
#include <climits>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mediastores_internal.h"

namespace {

json::Value Parse(const char* text) {
  return json::Deserialize(text);
}

TEST(JsonValueTest, NumbersFillEveryNumericView) {
  const struct {
    const char* name;
    json::Value value;
    json::ValueType type;
    int intView;
    unsigned int uintView;
    long long int64View;
    double doubleView;
  } cases[] = {
      {"int -7", json::Value(-7), json::IntVal, -7, 0, -7, -7},
      {"unsigned 3e9", json::Value(3000000000U), json::UIntVal, -1294967296, 3000000000U,
       3000000000LL, 3e9},
      {"int64 2^32+5", json::Value(4294967301LL), json::Int64Val, 5, 5, 4294967301LL, 4294967301.0},
      {"int64 -1", json::Value(-1LL), json::Int64Val, -1, 0, -1, -1},
      {"double 2.75", json::Value(2.75), json::DoubleVal, 2, 2, 2, 2.75},
      {"double -1.5", json::Value(-1.5), json::DoubleVal, -1, 0, -1, -1.5},
      {"double 1e20", json::Value(1e20), json::DoubleVal, INT_MAX, UINT_MAX, LLONG_MAX, 1e20},
      {"double -1e20", json::Value(-1e20), json::DoubleVal, INT_MIN, 0, LLONG_MIN, -1e20},
      {"float 2.5", json::Value(2.5f), json::FloatVal, 2, 2, 2, 2.5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.value.GetType(), c.type);
    EXPECT_EQ(c.value.ToInt(), c.intView);
    EXPECT_EQ(c.value.ToUInt(), c.uintView);
    EXPECT_EQ(c.value.ToInt64(), c.int64View);
    EXPECT_DOUBLE_EQ(c.value.ToDouble(), c.doubleView);
    EXPECT_FLOAT_EQ(c.value.ToFloat(), static_cast<float>(c.doubleView));
    EXPECT_FALSE(c.value.ToBool());
  }
  const json::Value text("abc");
  EXPECT_EQ(text.GetType(), json::StringVal);
  EXPECT_EQ(text.ToInt64(), 0);
  EXPECT_EQ(json::Value(static_cast<const char*>(nullptr)).GetType(), json::NULLVal);
}

TEST(JsonValueTest, SizeCountsScalarsAsOne) {
  EXPECT_EQ(json::Value().size(), 1u);
  EXPECT_EQ(json::Value("s").size(), 1u);
  EXPECT_EQ(json::Value(json::Object()).size(), 0u);
  EXPECT_EQ(Parse("[1,2,3]").size(), 3u);
  EXPECT_EQ(Parse(R"({"a":1,"b":2})").size(), 2u);
}

TEST(JsonValueTest, ClearOnlyChangesTheTag) {
  json::Value number(42);
  number.Clear();
  EXPECT_EQ(number.GetType(), json::NULLVal);
  EXPECT_EQ(number.ToInt(), 42);
  json::Value array = Parse("[1,2]");
  array.Clear();
  EXPECT_EQ(array.size(), 1u);
  EXPECT_EQ(json::Serialize(array), "");
}

TEST(JsonValueTest, KeyAccessInsertsOnlyWhenWritable) {
  json::Value doc = Parse(R"({"a":1})");
  const json::Value& view = doc;
  EXPECT_EQ(view["missing"].GetType(), json::NULLVal);
  EXPECT_EQ(doc.size(), 1u);
  EXPECT_EQ(doc["missing"].GetType(), json::NULLVal);
  EXPECT_EQ(doc.size(), 2u);
  doc[std::string("b")] = "x";
  EXPECT_EQ(json::Serialize(doc), R"({"a":1,"b":"x","missing":null})");
}

TEST(JsonValueTest, HasKeysReportsTheFirstAbsentKey) {
  json::Value ac = Parse(R"({"a":1,"c":3})");
  json::Value abc = Parse(R"({"a":1,"b":2,"c":3})");
  const char* keys[] = {"a", "b", "c"};
  EXPECT_EQ(ac.HasKeys(keys, 3), 1);
  EXPECT_EQ(abc.HasKeys(keys, 3), -1);
  EXPECT_EQ(ac.HasKeys(keys, 0), -1);
  EXPECT_EQ(ac.HasKeys(keys, 1), -1);
  EXPECT_EQ(ac.HasKeys(std::vector<std::string>{"c", "a", "z"}), 2);
  EXPECT_TRUE(ac.HasKey("c"));
  EXPECT_FALSE(ac.HasKey("b"));

  json::Object members = ac.ToObject();
  members.Erase("a");
  members.Erase("never");
  EXPECT_EQ(members.HasKeys(keys, 3), 0);
  EXPECT_EQ(members.size(), 1u);
}

TEST(JsonValueTest, ArrayInsertsAndFinds) {
  json::Array array;
  array.push_back(json::Value(1));
  array.push_back(json::Value("b"));
  array.insert(1, json::Value(2.5));
  array.insert(99, json::Value(true));
  EXPECT_EQ(json::Serialize(json::Value(array)), R"([1,2.500000,"b",true])");
  // find compares element == value: the integer 1 finds the double 1.0.
  EXPECT_EQ(array.find(json::Value(1.0)) - array.begin(), 0);
  EXPECT_TRUE(array.HasValue(json::Value("b")));
  EXPECT_FALSE(array.HasValue(json::Value("c")));
  array.Clear();
  EXPECT_EQ(array.size(), 0u);
}

TEST(JsonValueTest, SelfAssignmentFromAMemberKeepsTheMember) {
  json::Value doc = Parse(R"({"inner":{"x":[1,2]}})");
  doc = doc["inner"];
  EXPECT_EQ(json::Serialize(doc), R"({"x":[1,2]})");
  doc = std::move(doc["x"]);
  EXPECT_EQ(json::Serialize(doc), "[1,2]");
}

TEST(JsonValueDeathTest, TypedAccessOnTheWrongTypeEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const json::Value text("x");
  const json::Value number(1);
  json::Value cleared("gone");
  cleared.Clear();
  const struct {
    std::function<void()> misuse;
    const char* message;
  } cases[] = {
      {[&] { (void)text[0]; }, "operator\\[\\]: Assertion `mValueType == ArrayVal' failed"},
      {[&] { (void)number["k"]; }, "operator\\[\\]: Assertion `mValueType == ObjectVal' failed"},
      {[&] { (void)json::Value()[std::string("k")]; },
       "operator\\[\\]: Assertion `mValueType == ObjectVal' failed"},
      {[&] { json::Array a = text; }, "operator Array: Assertion `mValueType == ArrayVal' failed"},
      {[&] { std::string s = number; },
       "operator basic_string: Assertion `mValueType == StringVal' failed"},
      {[&] { (void)number.ToObject(); }, "ToObject: Assertion `mValueType == ObjectVal' failed"},
      {[&] { (void)number.ToArray(); }, "ToArray: Assertion `mValueType == ArrayVal' failed"},
      {[&] { (void)cleared.ToString(); }, "ToString: Assertion `mValueType == StringVal' failed"},
      {[&] { (void)text.HasKey("k"); }, "HasKey: Assertion `mValueType == ObjectVal' failed"},
      {[&] { (void)number.AsString(); }, "AsString: Assertion `mValueType == StringVal' failed"},
  };
  for (const auto& c : cases) {
    EXPECT_DEATH(c.misuse(), c.message);
  }
}

TEST(JsonValueTest, MergesObjectsMemberByMember) {
  const struct {
    const char* target;
    const char* other;
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
  EXPECT_TRUE(number.MergeValue(json::Value(5)));
  EXPECT_EQ(number.ToInt(), 5);
  EXPECT_FALSE(number.MergeValue(json::Value()));
  EXPECT_FALSE(number.MergeValue(json::Value(5.5)));
  EXPECT_TRUE(number.MergeValue(number));
  EXPECT_EQ(number.ToInt(), 5);
}

TEST(JsonValueTest, EqualityIsDecidedByTheLeftOperand) {
  json::Value cleared("s");
  cleared.Clear();
  const struct {
    const char* name;
    json::Value left;
    json::Value right;
    bool leftEqualsRight;
    bool rightEqualsLeft;
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
      {"string, bool", json::Value("true"), json::Value(true), false, false},
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
      {"arrays", Parse("[1,2]"), Parse("[1,2]"), true, true},
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

TEST(JsonValueTest, DestroysAndMovesDeepValues) {
  json::Value deep(json::Array{});
  for (int i = 0; i < 100000; ++i) {
    json::Array wrapper;
    wrapper.push_back(std::move(deep));
    deep = json::Value(std::move(wrapper));
  }
  json::Value moved(std::move(deep));
  EXPECT_EQ(moved.GetType(), json::ArrayVal);
  moved = json::Value(7);  // the whole nest is destroyed here
  EXPECT_EQ(moved.ToInt(), 7);
}

}  // namespace
