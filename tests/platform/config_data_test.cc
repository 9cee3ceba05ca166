#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mediastores_internal.h"

namespace {

TEST(ConfigDataTest, ValidityAndText) {
  struct Case {
    ConfigData value;
    bool valid;
    const char* text;
  };
  const std::vector<Case> cases = {
      {ConfigData(), false, ""},
      {ConfigData(static_cast<const char*>(nullptr)), false, ""},
      {ConfigData(""), true, ""},
      {ConfigData(std::string("720p")), true, "720p"},
      {ConfigData(true), true, "true"},
      {ConfigData(false), true, "false"},
      {ConfigData(int32_t{-42}), true, "-42"},
      {ConfigData(uint32_t{4000000000u}), true, "4000000000"},
      {ConfigData(int64_t{-9223372036854775807LL - 1}), true, "-9223372036854775808"},
      {ConfigData(uint64_t{18446744073709551615ULL}), true, "18446744073709551615"},
      {ConfigData(0.5), true, "0.5"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.value.IsValid(), c.valid);
    EXPECT_STREQ(c.value.ToCstr(), c.text);
    EXPECT_EQ(c.value.ToString(), c.text);
  }
}

TEST(ConfigDataTest, TextWithEmbeddedNulKeepsEveryByte) {
  const std::string withNul("a\0b", 3);
  EXPECT_EQ(ConfigData(withNul).ToString().size(), 1u);  // ToString is the C text
  EXPECT_EQ(ConfigData(withNul), ConfigData(withNul));
  EXPECT_NE(ConfigData(withNul), ConfigData("a"));
}

TEST(ConfigDataTest, SetInvalidAndCopiesAreIndependent) {
  ConfigData a("long text that does not fit into a small string buffer");
  ConfigData b = a;
  a.SetInvalid();
  EXPECT_FALSE(a.IsValid());
  EXPECT_STREQ(a.ToCstr(), "");
  EXPECT_TRUE(b.IsValid());
  EXPECT_EQ(b.ToString(), "long text that does not fit into a small string buffer");
  a = b;
  EXPECT_EQ(a, b);
}

TEST(ConfigDataTest, ReadAsBool) {
  struct Case {
    ConfigData value;
    bool expected;
  };
  const std::vector<Case> cases = {
      {ConfigData(), false},        {ConfigData(true), true},      {ConfigData(false), false},
      {ConfigData(0), false},       {ConfigData(-1), true},        {ConfigData(0u), false},
      {ConfigData(7u), true},       {ConfigData(0.0), false},      {ConfigData(0.25), true},
      {ConfigData(""), false},      {ConfigData("0"), false},      {ConfigData("false"), false},
      {ConfigData("FaLsE"), false}, {ConfigData("off"), false},    {ConfigData("OFF"), false},
      {ConfigData("no"), false},    {ConfigData("No"), false},     {ConfigData("1"), true},
      {ConfigData("yes"), true},    {ConfigData("none"), true},    {ConfigData(" 0"), true},
      {ConfigData("00"), true},     {ConfigData("offline"), true}, {ConfigData("true"), true},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(std::to_string(i) + ": " + cases[i].value.ToString());
    EXPECT_EQ(static_cast<bool>(cases[i].value), cases[i].expected);
  }
}

TEST(ConfigDataTest, Equality) {
  struct Case {
    ConfigData left;
    ConfigData right;
    bool equal;
  };
  const std::vector<Case> cases = {
      {ConfigData(), ConfigData(), true},
      {ConfigData(), ConfigData(""), false},
      {ConfigData("a"), ConfigData("a"), true},
      {ConfigData("a"), ConfigData("A"), false},
      {ConfigData(5), ConfigData(5u), true},
      {ConfigData(5), ConfigData(uint64_t{5}), true},
      {ConfigData(int64_t{5}), ConfigData(5), true},
      {ConfigData(-1), ConfigData(~0u), false},
      {ConfigData(int64_t{-1}), ConfigData(~0ULL), false},
      {ConfigData(5), ConfigData("5"), false},
      {ConfigData(true), ConfigData("true"), false},
      {ConfigData(true), ConfigData(1), false},
      {ConfigData(1), ConfigData(1.0), false},
      {ConfigData(0.5), ConfigData(0.5), true},
      {ConfigData(true), ConfigData(true), true},
      {ConfigData(true), ConfigData(false), false},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(cases[i].left == cases[i].right, cases[i].equal);
    EXPECT_EQ(cases[i].right == cases[i].left, cases[i].equal);
    EXPECT_EQ(cases[i].left != cases[i].right, !cases[i].equal);
  }
}

}  // namespace
