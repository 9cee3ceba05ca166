#include <gtest/gtest.h>

#include <string>

#include "mediastores/mediastores.h"

namespace {

// Validity and text (the C text); copies are independent; read as a boolean; equality.
TEST(ConfigDataTest, ValidityTextBoolAndEquality) {
  const std::pair<ConfigData, const char*> texts[] = {
      {ConfigData(static_cast<const char*>(nullptr)), nullptr},  // invalid
      {ConfigData(int64_t{-9223372036854775807LL - 1}), "-9223372036854775808"},
      {ConfigData(uint64_t{18446744073709551615ULL}), "18446744073709551615"},
      {ConfigData(0.5), "0.5"},
      {ConfigData(std::string("a\0b", 3)), "a"},
  };
  for (const auto& [value, text] : texts) {
    EXPECT_EQ(value.IsValid(), text != nullptr);
    EXPECT_STREQ(value.ToCstr(), text != nullptr ? text : "");
    EXPECT_EQ(value.ToString(), value.ToCstr());
  }
  ConfigData a("long text that does not fit into a small string buffer"), b = a;
  a.SetInvalid();
  EXPECT_TRUE(!a.IsValid() &&
              b.ToString() == "long text that does not fit into a small string buffer");
  for (const ConfigData& value :
       {ConfigData(), ConfigData(false), ConfigData(0u), ConfigData(0.0), ConfigData(""),
        ConfigData("FaLsE"), ConfigData("off"), ConfigData("No")})
    EXPECT_FALSE(static_cast<bool>(value)) << value.ToString();
  for (const ConfigData& value : {ConfigData(true), ConfigData(-1), ConfigData(0.25),
                                  ConfigData("yes"), ConfigData(" 0"), ConfigData("offline")})
    EXPECT_TRUE(static_cast<bool>(value)) << value.ToString();
  // Equal kinds compare by value, and integers across signedness; other kinds never match.
  EXPECT_TRUE(ConfigData() == ConfigData() && ConfigData(int64_t{5}) == ConfigData(5u));
  EXPECT_TRUE(ConfigData(std::string("a\0b", 3)) == ConfigData(std::string("a\0b", 3)));
  for (const auto& [left, right] : {std::pair<ConfigData, ConfigData>{ConfigData(), ConfigData("")},
                                    {ConfigData(std::string("a\0b", 3)), ConfigData("a")},
                                    {ConfigData(-1), ConfigData(~0u)},
                                    {ConfigData(int64_t{-1}), ConfigData(~0ULL)},
                                    {ConfigData(5), ConfigData("5")},
                                    {ConfigData(true), ConfigData(1)},
                                    {ConfigData(1), ConfigData(1.0)}})
    EXPECT_TRUE(left != right && right != left && !(left == right)) << left.ToString();
}

}  // namespace
