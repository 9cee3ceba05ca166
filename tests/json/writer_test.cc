// json::Serialize: compact output.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mediastores/json/json.h"
#include "mediastores/mediastores.h"

namespace {

json::Value ArrayOf(std::vector<json::Value> elements) {
  json::Array array;
  for (json::Value& e : elements)
    array.push_back(std::move(e));
  return json::Value(std::move(array));
}

TEST(JsonWriterTest, WritesCompactText) {
  json::Object unordered;
  unordered["b"] = 1;
  unordered["a"] = ArrayOf({json::Value(json::Object()), ArrayOf({ArrayOf({})})});
  const std::pair<json::Value, const char*> cases[] = {
      {json::Value(unordered), R"({"a":[{},[[]]],"b":1})"},
      {ArrayOf({json::Value(), json::Value("s"), json::Value(true), json::Value(false)}),
       R"([null,"s",true,false])"},
      {ArrayOf({json::Value(-2147483647 - 1), json::Value(4294967295U),
                json::Value(-9223372036854775807LL - 1)}),
       "[-2147483648,4294967295,-9223372036854775808]"},
      {ArrayOf({json::Value(0.5), json::Value(0.1f), json::Value(1e8), json::Value(1e-7)}),
       "[0.500000,0.100000,100000000.000000,0.000000]"},
      // Strings and keys go out as they are, escape-worthy bytes included.
      {ArrayOf({json::Value("say \"hi\"\\\n")}), "[\"say \"hi\"\\\n\"]"},
      // Only a container is written at the top level.
      {json::Value(), ""},
      {json::Value("s"), ""},
      {json::Value(2.5), ""},
  };
  for (const auto& [value, text] : cases)
    EXPECT_EQ(json::Serialize(value), text);
}

// Floats and doubles print exactly as printf's "%f" prints them.
TEST(JsonWriterTest, WritesDecimalsAsPrintfDoes) {
  std::vector<double> numbers = {-0.0,   5e-7, 4.9999999e-7, 0.0000015, 1e300,    -1.7e308,
                                 1e-300, NAN,  -NAN,         INFINITY,  -INFINITY};
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

// Writing, and destroying, a value nested far deeper than the reader accepts.
TEST(JsonWriterTest, WritesDeepValuesWithoutRecursion) {
  constexpr int kDepth = 100000;
  json::Value deep = ArrayOf({});
  for (int i = 1; i < kDepth; ++i) {
    json::Array wrapper;
    wrapper.push_back(std::move(deep));
    deep = json::Value(std::move(wrapper));
  }
  EXPECT_EQ(json::Serialize(deep), std::string(kDepth, '[') + std::string(kDepth, ']'));
}

}  // namespace
