// json::Value, json::Object and json::Array: views, typed access, merge and equality; and
// json::Serialize, their compact text.
#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mediastores/json/json.h"
#include "mediastores/mediastores.h"

namespace {

json::Value Parse(const char* text) {
  return json::Deserialize(text);
}

json::Value ArrayOf(std::vector<json::Value> elements) {
  json::Array array;
  for (json::Value& e : elements)
    array.push_back(std::move(e));
  return json::Value(std::move(array));
}

// A scalar's size is 1; Clear changes the tag only; the key accessor inserts, its const form not;
// HasKeys gives the index of the first absent key, -1 when all are there or none are asked for.
TEST(JsonValueTest, SizeClearAndMembers) {
  EXPECT_EQ(json::Value().size(), 1u);
  EXPECT_EQ(json::Value("abc").size(), 1u);
  json::Value number(42);
  number.Clear();
  EXPECT_EQ(number.GetType(), json::NULLVal);
  EXPECT_EQ(number.ToInt(), 42);

  json::Value doc = Parse(R"({"a":1,"c":3})");
  const char* keys[] = {"a", "b", "c"};
  EXPECT_EQ(doc.HasKeys(keys, 3), 1);
  EXPECT_EQ(doc.HasKeys(keys, 1), -1);
  EXPECT_EQ(doc.HasKeys(keys, 0), -1);
  EXPECT_EQ(doc.HasKeys(std::vector<std::string>{"c", "a", "z"}), 2);
  EXPECT_EQ(static_cast<const json::Value&>(doc)["b"].GetType(), json::NULLVal);
  EXPECT_EQ(doc.size(), 2u);
  EXPECT_EQ(doc["b"].GetType(), json::NULLVal);
  EXPECT_EQ(doc.size(), 3u);
  doc = doc["a"];  // assigning a member of itself keeps the member
  EXPECT_EQ(doc.ToInt(), 1);
}

// Members stay in byte-wise key order however they are added; lookups find exactly the keys that
// are present (prefixes and neighbours are misses) and the const accessor never inserts.
TEST(JsonValueTest, ObjectKeepsKeyOrderAndFindsExactKeys) {
  json::Object object;
  const char* inserted[] = {"b", "ab", "\x80", "a", "B", "ba", "abc"};
  for (int i = 0; i < 7; ++i)
    object[inserted[i]] = i;
  object[std::string("a")] = 9;  // present: replaced, not added
  std::vector<std::string> order;
  for (const auto& member : object)
    order.push_back(member.first);
  EXPECT_EQ(order, (std::vector<std::string>{"B", "a", "ab", "abc", "b", "ba", "\x80"}));
  const json::Object& view = object;
  for (const char* key : inserted)
    EXPECT_EQ(view.find(key)->first, key);
  EXPECT_EQ(view["a"].ToInt() * 10 + view["abc"].ToInt(), 96);
  for (const char* absent : {"", "A", "aa", "abcd", "bb", "c", "\x81"}) {
    EXPECT_TRUE(view.find(absent) == view.end() && !view.HasKey(absent)) << absent;
    EXPECT_EQ(view[absent].GetType(), json::NULLVal);
  }
  object.Erase("ab");
  EXPECT_EQ(object.size(), 6u);
  EXPECT_EQ(object.HasKeys(inserted, 7), 1);
}

// The misuse of a typed accessor ends the process, naming the accessor and the type it requires.
TEST(JsonValueDeathTest, TypedAccessOnTheWrongTypeEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH((void)json::Value()["k"],
               "operator\\[\\]: Assertion `mValueType == ObjectVal' failed");
  EXPECT_DEATH((void)json::Value(1).ToObject(),
               "ToObject: Assertion `mValueType == ObjectVal' failed");
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
      // The result of a nested merge replaces the running result, an earlier conflict included.
      {R"({"a":"x","b":{}})", R"({"a":1,"b":{"c":1}})", true, R"({"a":"x","b":{"c":1}})"},
      {"[1,2]", "[3]", true, "[3]"},
  };
  for (const auto& c : cases) {
    json::Value target = Parse(c.target);
    EXPECT_EQ(target.MergeValue(Parse(c.other)), c.merged) << c.target << " <- " << c.other;
    EXPECT_EQ(json::Serialize(target), c.result);
  }
  // Merging a value's own member reads a copy of it, also when the merge changes that member.
  json::Value self = Parse(R"({"a":{"a":{"b":1,"c":2},"z":3}})");
  EXPECT_TRUE(self.MergeValue(self["a"]));
  EXPECT_EQ(json::Serialize(self), R"({"a":{"a":{"b":1,"c":2},"b":1,"c":2,"z":3},"z":3})");
}

TEST(JsonValueTest, EqualityIsDecidedByTheLeftOperand) {
  json::Value cleared("s");
  cleared.Clear();
  const struct {
    const char* name;
    json::Value left, right;
    bool leftEqualsRight, rightEqualsLeft;
  } cases[] = {
      {"null, number", json::Value(), json::Value(5), true, false},
      {"cleared string, number", cleared, json::Value(2.5), true, false},
      {"string, number", json::Value("3"), json::Value(3), false, false},
      {"false, number", json::Value(false), json::Value(3), true, false},
      {"int, close double", json::Value(1), json::Value(1.0000000001), true, true},
      {"int, far double", json::Value(1), json::Value(1.00001), false, false},
      {"int -1, uint max", json::Value(-1), json::Value(4294967295U), true, true},
      // The low 32 bits of the right's 64-bit view against the left's 32 bits.
      {"int, int64 2^32+5", json::Value(5), json::Value(4294967301LL), true, false},
      {"uint max, int64 -1", json::Value(4294967295U), json::Value(-1LL), true, false},
      // Single precision against a float: 2^24+1 becomes 2^24.
      {"int 2^24+1, float 2^24", json::Value(16777217), json::Value(16777216.0f), true, true},
      {"objects", Parse(R"({"a":1,"b":[true]})"), Parse(R"({"a":1.0,"b":[true]})"), true, true},
      {"objects, null member", Parse(R"({"a":null})"), Parse(R"({"a":7})"), true, false},
      {"arrays, order", Parse("[1,2]"), Parse("[2,1]"), false, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.left == c.right, c.leftEqualsRight) << c.name;
    EXPECT_EQ(c.right == c.left, c.rightEqualsLeft) << c.name;
    EXPECT_EQ(c.left != c.right, !c.leftEqualsRight) << c.name;
  }
  // find compares element == value: the integer 1 finds the double 1.0.
  const json::Array array = Parse(R"(["b",1])").ToArray();
  EXPECT_EQ(array.find(json::Value(1.0)) - array.begin(), 1);
}

TEST(JsonWriterTest, WritesCompactText) {
  json::Object unordered;
  unordered["b"] = 1;
  unordered["a"] = ArrayOf({json::Value(json::Object()), ArrayOf({ArrayOf({})})});
  const std::pair<json::Value, const char*> cases[] = {
      {json::Value(unordered), R"({"a":[{},[[]]],"b":1})"},
      {ArrayOf({json::Value(), json::Value("s"), json::Value(true), json::Value(false),
                json::Value(-2147483647 - 1), json::Value(4294967295U),
                json::Value(-9223372036854775807LL - 1)}),
       R"([null,"s",true,false,-2147483648,4294967295,-9223372036854775808])"},
      {ArrayOf({json::Value(0.5), json::Value(0.1f), json::Value(1e8), json::Value(-1e-7),
                json::Value(2.5e-6), json::Value(-INFINITY)}),
       "[0.500000,0.100000,100000000.000000,-0.000000,0.000003,-inf]"},
      // Strings and keys go out as they are, escape-worthy bytes included.
      {ArrayOf({json::Value("say \"hi\"\\\n")}), "[\"say \"hi\"\\\n\"]"},
      {json::Value("s"), ""},  // only a container is written at the top level
  };
  for (const auto& [value, text] : cases)
    EXPECT_EQ(json::Serialize(value), text);
}

}  // namespace
