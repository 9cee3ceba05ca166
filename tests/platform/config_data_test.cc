#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mediastores/mediastores.h"

namespace {

TEST(ConfigDataTest, ValidityTextAndCopies) {
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
      {ConfigData(false), true, "false"},
      {ConfigData(uint32_t{4000000000u}), true, "4000000000"},
      {ConfigData(int64_t{-9223372036854775807LL - 1}), true, "-9223372036854775808"},
      {ConfigData(uint64_t{18446744073709551615ULL}), true, "18446744073709551615"},
      {ConfigData(0.5), true, "0.5"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.value.IsValid(), c.valid) << c.text;
    EXPECT_STREQ(c.value.ToCstr(), c.text);
    EXPECT_EQ(c.value.ToString(), c.text);
  }
  ConfigData a("long text that does not fit into a small string buffer");
  ConfigData b = a;
  a.SetInvalid();
  EXPECT_FALSE(a.IsValid());
  EXPECT_STREQ(a.ToCstr(), "");
  EXPECT_EQ(b.ToString(), "long text that does not fit into a small string buffer");
  a = b;
  EXPECT_EQ(a, b);
}

TEST(ConfigDataTest, ReadAsBool) {
  for (const ConfigData& value : {ConfigData(), ConfigData(false), ConfigData(0), ConfigData(0u),
                                  ConfigData(0.0), ConfigData(""), ConfigData("0"),
                                  ConfigData("FaLsE"), ConfigData("off"), ConfigData("No")}) {
    EXPECT_FALSE(static_cast<bool>(value)) << value.ToString();
  }
  for (const ConfigData& value :
       {ConfigData(true), ConfigData(-1), ConfigData(7u), ConfigData(0.25), ConfigData("1"),
        ConfigData("yes"), ConfigData("none"), ConfigData(" 0"), ConfigData("00"),
        ConfigData("offline")}) {
    EXPECT_TRUE(static_cast<bool>(value)) << value.ToString();
  }
}

TEST(ConfigDataTest, Equality) {
  struct Case {
    ConfigData left;
    ConfigData right;
    bool equal;
  };
  const std::string withNul("a\0b", 3);
  const std::vector<Case> cases = {
      {ConfigData(), ConfigData(), true},
      {ConfigData(), ConfigData(""), false},
      {ConfigData(withNul), ConfigData(withNul), true},
      {ConfigData(withNul), ConfigData("a"), false},  // every byte counts
      {ConfigData(int64_t{5}), ConfigData(5u), true},
      {ConfigData(-1), ConfigData(~0u), false},
      {ConfigData(int64_t{-1}), ConfigData(~0ULL), false},
      {ConfigData(5), ConfigData("5"), false},
      {ConfigData(true), ConfigData("true"), false},
      {ConfigData(true), ConfigData(1), false},
      {ConfigData(1), ConfigData(1.0), false},
      {ConfigData(0.5), ConfigData(0.5), true},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(cases[i].left == cases[i].right, cases[i].equal) << i;
    EXPECT_EQ(cases[i].right == cases[i].left, cases[i].equal) << i;
    EXPECT_EQ(cases[i].left != cases[i].right, !cases[i].equal) << i;
  }
  EXPECT_EQ(ConfigData(withNul).ToString().size(), 1u);  // the text is the C text
}

}  // namespace
