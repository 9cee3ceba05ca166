// json::Serialize: compact output, and reading back what was written.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mediastores_internal.h"

namespace {

json::Value ArrayOf(std::initializer_list<json::Value> elements) {
  json::Array array;
  for (const json::Value& e : elements)
    array.push_back(e);
  return json::Value(std::move(array));
}

TEST(JsonWriterTest, WritesCompactText) {
  json::Object unordered;
  unordered["b"] = 1;
  unordered["a"] = ArrayOf({});
  json::Object nested;
  nested["x"] = ArrayOf({json::Value(json::Object()), ArrayOf({json::Value(json::Array())})});
  const struct {
    const char* name;
    json::Value value;
    const char* text;
  } cases[] = {
      {"key order", json::Value(unordered), R"({"a":[],"b":1})"},
      {"empty object", json::Value(json::Object()), "{}"},
      {"nested", json::Value(nested), R"({"x":[{},[[]]]})"},
      {"scalars", ArrayOf({json::Value(), json::Value("s"), json::Value(true), json::Value(false)}),
       R"([null,"s",true,false])"},
      {"integers",
       ArrayOf({json::Value(-2147483647 - 1), json::Value(4294967295U),
                json::Value(-9223372036854775807LL - 1)}),
       "[-2147483648,4294967295,-9223372036854775808]"},
      {"%f numbers",
       ArrayOf({json::Value(0.5), json::Value(0.1f), json::Value(1e8), json::Value(1e-7),
                json::Value(-2.25f)}),
       "[0.500000,0.100000,100000000.000000,0.000000,-2.250000]"},
      // Strings and keys go out as they are, escape-worthy bytes included.
      {"no escaping", ArrayOf({json::Value("say \"hi\"\\\n")}), "[\"say \"hi\"\\\n\"]"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(json::Serialize(c.value), c.text);
  }
}

// Floats and doubles print exactly as printf's "%f" prints them.
TEST(JsonWriterTest, WritesDecimalsAsPrintfDoes) {
  std::vector<double> numbers = {0.0, -0.0,  5e-7,     4.9999999e-7, 0.0000015,
                                 2.5, 1e300, -1.7e308, 1e-300,       123456.7890125,
                                 NAN, -NAN,  INFINITY, -INFINITY};
  std::mt19937_64 random(7);
  for (int i = 0; i < 200; ++i) {
    const uint64_t bits = random();
    double d;
    std::memcpy(&d, &bits, sizeof(d));
    numbers.push_back(d);
    numbers.push_back(std::ldexp(static_cast<double>(bits >> 11), -40 + i % 60));
  }
  for (double d : numbers) {
    char expected[512];
    std::snprintf(expected, sizeof(expected), "[%f,%f]", d,
                  static_cast<double>(static_cast<float>(d)));
    EXPECT_EQ(json::Serialize(ArrayOf({json::Value(d), json::Value(static_cast<float>(d))})),
              expected);
  }
}

TEST(JsonWriterTest, WritesOnlyContainersAtTopLevel) {
  for (const json::Value& scalar :
       {json::Value(), json::Value("s"), json::Value(1), json::Value(2.5), json::Value(true)}) {
    EXPECT_EQ(json::Serialize(scalar), "");
  }
}

TEST(JsonWriterTest, WritesDeepValuesWithoutRecursion) {
  constexpr int kDepth = 100000;
  json::Value deep(json::Array{});
  for (int i = 1; i < kDepth; ++i) {
    json::Array wrapper;
    wrapper.push_back(std::move(deep));
    deep = json::Value(std::move(wrapper));
  }
  EXPECT_EQ(json::Serialize(deep), std::string(kDepth, '[') + std::string(kDepth, ']'));
}

// Documents whose strings hold no quote or backslash read back as written.
TEST(JsonWriterTest, RoundTripsDocuments) {
  const char* const texts[] = {
      R"({"Audio":[{"key":"Codec","value":"opus"},{"key":"Rate","value":"48000"}],"Video":[]})",
      R"([1,-2,3000000000,-3000000000,0.250000,true,false,"a b",{"k":null},[[{}]]])",
      R"({"a":{"b":{"c":[1,{"d":"e:f}g"}]}},"z":""})",
  };
  for (const char* text : texts) {
    SCOPED_TRACE(text);
    const json::Value read = json::Deserialize(text);
    EXPECT_EQ(json::Serialize(read), text);
    const json::Value again = json::Deserialize(json::Serialize(read));
    EXPECT_TRUE(read == again);
    EXPECT_TRUE(again == read);
  }
  // Spaces and escapes are normalised away on the first pass.
  EXPECT_EQ(json::Serialize(json::Deserialize(" { \"k\" : [ 1 , \"\\u0041\" ] } ")),
            R"({"k":[1,"A"]})");
}

}  // namespace
