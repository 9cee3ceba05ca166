// Feature toggles: the key table against the toggle list, and the toggle operations of
// KelConfigHelper. (Ids without a key: badinput/helper_bad_input_test.cc.)
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"

namespace kelStore {
namespace {

// Id, enumerator without "KEL_FT_", and key of every toggle.
const std::tuple<uint32_t, std::string, const char*> kList[] = {
#define KEL_FEATURE_TOGGLE(id, name, key) {id, #name, key},
#include "mediastores/feature_toggle_list.h"
};

// CamelCase words (with some lower case), or lower-case words joined by single hyphens.
const std::regex kKeyShape("(?=.*[a-z])[A-Z][A-Za-z0-9]*|[a-z][a-z0-9]*(-[a-z0-9]+)+");

TEST(FeatureToggleKeys, UniqueWellFormedAndNamedAfterTheirKeys) {
  ASSERT_EQ(std::size(kList), 335u);
  std::set<std::string> seen;
  for (const auto& [id, name, text] : kList) {
    std::string key = text;
    EXPECT_STREQ(KelFeatureToggleKey(static_cast<KelFeatureToggleID>(id)), text);
    EXPECT_TRUE(seen.insert(key).second) << "duplicate key " << key;
    EXPECT_TRUE(key.size() >= 7 && key.size() <= 51) << key;
    if (id == KEL_FT_Unknow) continue;  // the catch-all, key "KEL_FT_Unknow"
    EXPECT_TRUE(std::regex_match(key, kKeyShape)) << key;
    std::replace(key.begin(), key.end(), '-', '_');
    EXPECT_EQ(name, key);
  }
  // Rows that deployed configurations name: their ids and spellings never change.
  const std::pair<uint32_t, const char*> fixed[] = {
      {0, "ConnectionTimeEnhancement"}, {3, "media-packet-loss-recording-audio-session"},
      {5, "EnableMusicDetection"},      {6, "EnablClipVolumeCtl"},
      {7, "EnableInherentLossProbing"}, {334, "KEL_FT_Unknow"}};
  for (const auto& [id, key] : fixed)
    EXPECT_STREQ(KelFeatureToggleKey(static_cast<KelFeatureToggleID>(id)), key);
}

using FeatureToggleTest = storetest::StoreTest;

TEST_F(FeatureToggleTest, OnUnlessAFalseLikeValueIsStoredInTheFeatureGroup) {
  KelConfigHelper helper(21);
  ASSERT_EQ(helper.SetDefaultGroup(kGroupAudio), KEL_S_OK);  // toggles ignore it
  const KelFeatureToggleID id = KEL_FT_EnableOpusDtx;
  int told = 0;
  const auto record = [&](const KelConfigEvent& e) { told += e.name == "EnableOpusDtx"; };
  ASSERT_NE(helper.SubscribeFeatureToggle(id, record), 0u);
  EXPECT_TRUE(helper.IsFeatureToggleDefaultOn(id));
  for (const auto& [value, on] : {std::pair<const char*, bool>{"off", false}, {"1", true}}) {
    EXPECT_EQ(helper.SetFeatureToggle(id, value), KEL_S_OK);
    EXPECT_EQ(helper.IsFeatureToggleDefaultOn(id), on) << value;
    EXPECT_TRUE(helper.HaveFeatureToggle(id) && helper.GetFeatureToggle(id) == ConfigData(value));
    EXPECT_EQ(helper.GetKelConfig("EnableOpusDtx", kGroupFeature), ConfigData(value));
  }
  EXPECT_EQ(told, 2);
  EXPECT_EQ(helper.RemoveFeatureToggle(id), KEL_S_OK);
  EXPECT_TRUE(helper.IsFeatureToggleDefaultOn(id));
  EXPECT_FALSE(helper.HaveFeatureToggle(id) || helper.GetFeatureToggle(id).IsValid());
  EXPECT_EQ(helper.UnsubscribeFeatureToggle(id), KEL_S_OK);
  EXPECT_EQ(helper.SetFeatureToggle(id, "0"), KEL_E_NOOBSERVER);  // nobody is told any more
}

}  // namespace
}  // namespace kelStore
