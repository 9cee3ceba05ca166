// Feature toggles: the key table (shape of every key, the fixed rows, enumerator names against
// keys) and the toggle operations of KelConfigHelper.
#include <gtest/gtest.h>

#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mediastores/feature_toggle.h"
#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

// CamelCase words (an upper-case letter, then letters and digits, some lower-case) or lower-case
// words of letters and digits joined by single hyphens.
const std::regex kKeyShape("(?=.*[a-z])[A-Z][A-Za-z0-9]*|[a-z][a-z0-9]*(-[a-z0-9]+)+");

TEST(FeatureToggleKeys, EveryKeyIsUniqueAndWellFormed) {
  ASSERT_EQ(kKelFeatureToggleCount, 335u);
  std::set<std::string> seen;
  for (uint32_t id = 0; id < kKelFeatureToggleCount; ++id) {
    const char* key = KelFeatureToggleKey(static_cast<KelFeatureToggleID>(id));
    ASSERT_NE(key, nullptr) << "id " << id;
    EXPECT_TRUE(seen.insert(key).second) << "duplicate key " << key;
    EXPECT_GE(seen.find(key)->size(), 7u) << key;
    EXPECT_LE(seen.find(key)->size(), 51u) << key;
    EXPECT_TRUE(id == KEL_FT_Unknow || std::regex_match(key, kKeyShape))
        << "id " << id << ": " << key;
  }
  for (uint32_t id : {335u, 0xFFFFFFFFu}) {
    EXPECT_EQ(KelFeatureToggleKey(static_cast<KelFeatureToggleID>(id)), nullptr) << id;
  }
  for (const char* misshapen : {"KEL_FT_Unknow", "ENABLE", "video--simulcast", "video-Simulcast"})
    EXPECT_FALSE(std::regex_match(misshapen, kKeyShape)) << misshapen;
}

TEST(FeatureToggleKeys, FixedRowsAndEnumeratorNames) {
  // Rows that deployed configurations name: their ids and spellings never change.
  const std::vector<std::pair<KelFeatureToggleID, const char*>> rows = {
      {KEL_FT_ConnectionTimeEnhancement, "ConnectionTimeEnhancement"},
      {KEL_FT_media_packet_loss_recording_audio_session,
       "media-packet-loss-recording-audio-session"},
      {KEL_FT_EnableMusicDetection, "EnableMusicDetection"},
      {KEL_FT_EnablClipVolumeCtl, "EnablClipVolumeCtl"},  // misspelt key, kept
      {KEL_FT_EnableInherentLossProbing, "EnableInherentLossProbing"},
      {KEL_FT_Unknow, "KEL_FT_Unknow"},  // catch-all, spelt without the final letter
      // Other enumerators spell their keys, with '_' for '-'.
      {KEL_FT_EnableOpusDtx, "EnableOpusDtx"},
      {KEL_FT_video_simulcast_three_layers, "video-simulcast-three-layers"},
      {KEL_FT_pacer_max_queue_time_2s, "pacer-max-queue-time-2s"},
      {KEL_FT_EnableMultiThreadedDecoding, "EnableMultiThreadedDecoding"},
  };
  const uint32_t ids[] = {0, 3, 5, 6, 7, 334};
  for (size_t i = 0; i < std::size(ids); ++i)
    EXPECT_EQ(static_cast<uint32_t>(rows[i].first), ids[i]) << rows[i].second;
  for (const auto& [id, key] : rows)
    EXPECT_STREQ(KelFeatureToggleKey(id), key);
  EXPECT_EQ(KEL_FT_EnableMultiThreadedDecoding, 333u);  // the last row before the catch-all
}

using FeatureToggleTest = storetest::StoreTest;

TEST_F(FeatureToggleTest, OnUnlessAFalseLikeValueIsStored) {
  KelConfigHelper helper(21);
  ASSERT_EQ(helper.SetDefaultGroup(kGroupAudio), KEL_S_OK);  // toggles ignore it
  const KelFeatureToggleID id = KEL_FT_EnableOpusDtx;
  std::vector<std::string> seen;
  ASSERT_NE(
      helper.SubscribeFeatureToggle(id, [&](const KelConfigEvent& e) { seen.push_back(e.name); }),
      0u);
  EXPECT_TRUE(helper.IsFeatureToggleDefaultOn(id));
  const std::vector<std::pair<ConfigData, bool>> rows = {
      {"0", false}, {"Off", false}, {"no", false}, {false, false}, {0, false},
      {"1", true},  {"on", true},   {-1, true},    {"nope", true}};
  for (const auto& [value, on] : rows) {
    EXPECT_EQ(helper.SetFeatureToggle(id, value), KEL_S_OK);
    EXPECT_EQ(helper.IsFeatureToggleDefaultOn(id), on) << value.ToString();
    EXPECT_TRUE(helper.HaveFeatureToggle(id));
    EXPECT_EQ(helper.GetFeatureToggle(id), value);
    EXPECT_EQ(helper.GetKelConfig("EnableOpusDtx", kGroupFeature), value);
  }
  EXPECT_EQ(seen, std::vector<std::string>(rows.size(), "EnableOpusDtx"));
  EXPECT_EQ(helper.RemoveFeatureToggle(id), KEL_S_OK);
  EXPECT_TRUE(helper.IsFeatureToggleDefaultOn(id));
  EXPECT_FALSE(helper.HaveFeatureToggle(id) || helper.GetFeatureToggle(id).IsValid());
  EXPECT_EQ(helper.UnsubscribeFeatureToggle(id), KEL_S_OK);
  EXPECT_EQ(helper.SetFeatureToggle(KEL_FT_Unknow, "off"), KEL_E_NOOBSERVER);
  EXPECT_EQ(helper.GetKelConfig("KEL_FT_Unknow", kGroupFeature), ConfigData("off"));

  // Ids without a key are refused like a null name; a toggle is on also when nothing can be read.
  TraceCapture capture(0xFFFFFFFFu);
  KelConfigHelper noStore;
  const auto bad = static_cast<KelFeatureToggleID>(335);
  EXPECT_TRUE(helper.IsFeatureToggleDefaultOn(bad) && noStore.IsFeatureToggleDefaultOn(id));
  EXPECT_EQ(capture.AssertionCount(), 2);
  EXPECT_EQ(helper.SetFeatureToggle(bad, "0"), KEL_E_INVALIDARG);
  EXPECT_FALSE(helper.HaveFeatureToggle(bad) || helper.GetFeatureToggle(bad).IsValid());
  EXPECT_EQ(helper.RemoveFeatureToggle(bad), KEL_E_INVALIDARG);
  EXPECT_EQ(helper.SubscribeFeatureToggle(bad, [](const KelConfigEvent&) {}), 0u);
  EXPECT_EQ(capture.AssertionCount(), 7);
  EXPECT_EQ(helper.UnsubscribeFeatureToggle(bad), KEL_E_INVALIDARG);
  EXPECT_EQ(helper.UnsubscribeFeatureToggle(id), KEL_E_BADSTATE);  // already gone
}

}  // namespace
}  // namespace kelStore
