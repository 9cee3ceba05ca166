// Key table of the feature toggles: shape of every key, the fixed rows, and the agreement between
// enumerator names and keys.
#include <cctype>
#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "mediastores/feature_toggle.h"

namespace kelStore {
namespace {

// CamelCase words: an upper-case letter first, then letters and digits, at least one lower-case.
bool IsCamelCaseKey(const std::string& key) {
  if (key.empty() || !std::isupper(static_cast<unsigned char>(key[0]))) return false;
  bool lower = false;
  for (char c : key) {
    if (!std::isalnum(static_cast<unsigned char>(c))) return false;
    lower = lower || std::islower(static_cast<unsigned char>(c));
  }
  return lower;
}

// Lower-case words of letters and digits joined by single hyphens, starting with a letter.
bool IsHyphenatedKey(const std::string& key) {
  if (key.empty() || !std::islower(static_cast<unsigned char>(key[0]))) return false;
  if (key.back() == '-' || key.find('-') == std::string::npos) return false;
  for (size_t i = 0; i < key.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(key[i]);
    if (c == '-' ? key[i - 1] == '-' : !(std::islower(c) || std::isdigit(c))) return false;
  }
  return true;
}

TEST(FeatureToggleKeyStyle, CheckersTellTheStylesApart) {
  struct Case {
    const char* key;
    bool camel;
    bool hyphenated;
  };
  const Case cases[] = {
      {"EnableOpusDtx", true, false},
      {"EnableSvcL1T3", true, false},
      {"video-simulcast-three-layers", false, true},
      {"pacer-max-queue-time-2s", false, true},
      {"enableOpusDtx", false, false},
      {"ENABLE", false, false},
      {"Enable-Opus", false, false},
      {"Enable_Opus", false, false},
      {"video", false, false},
      {"video--simulcast", false, false},
      {"video-simulcast-", false, false},
      {"-video-simulcast", false, false},
      {"video-Simulcast", false, false},
      {"KEL_FT_Unknow", false, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(IsCamelCaseKey(c.key), c.camel) << c.key;
    EXPECT_EQ(IsHyphenatedKey(c.key), c.hyphenated) << c.key;
  }
}

TEST(FeatureToggleKeys, EveryKeyIsUniqueAndWellFormed) {
  ASSERT_EQ(kKelFeatureToggleCount, 335u);
  std::set<std::string> seen;
  uint32_t camel = 0;
  uint32_t hyphenated = 0;
  for (uint32_t id = 0; id < kKelFeatureToggleCount; ++id) {
    const char* raw = KelFeatureToggleKey(static_cast<KelFeatureToggleID>(id));
    ASSERT_NE(raw, nullptr) << "id " << id;
    const std::string key(raw);
    EXPECT_TRUE(seen.insert(key).second) << "duplicate key " << key << " at id " << id;
    EXPECT_GE(key.size(), 7u) << key;
    EXPECT_LE(key.size(), 51u) << key;
    if (id == KEL_FT_Unknow) continue;  // the catch-all keeps its historic form
    camel += IsCamelCaseKey(key);
    hyphenated += IsHyphenatedKey(key);
    EXPECT_TRUE(IsCamelCaseKey(key) || IsHyphenatedKey(key)) << "id " << id << ": " << key;
  }
  // Both styles are in real use.
  EXPECT_GT(camel, kKelFeatureToggleCount / 2);
  EXPECT_GT(hyphenated, kKelFeatureToggleCount / 4);
}

TEST(FeatureToggleKeys, OutOfRangeIdsHaveNoKey) {
  for (uint32_t id : {335u, 336u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    EXPECT_EQ(KelFeatureToggleKey(static_cast<KelFeatureToggleID>(id)), nullptr) << id;
  }
}

// Pairs an enumerator with the key its name spells: the text after "KEL_FT_" with '_' read as '-'.
#define TOGGLE_ROW(suffix) \
  { KEL_FT_##suffix, #suffix }

TEST(FeatureToggleKeys, EnumeratorsMatchTheirKeys) {
  struct Row {
    KelFeatureToggleID id;
    const char* suffix;
  };
  const Row rows[] = {
      TOGGLE_ROW(EnableFastSessionSetup),
      TOGGLE_ROW(session_early_media_start),
      TOGGLE_ROW(EnableOpusDtx),
      TOGGLE_ROW(opus_frame_size_60ms),
      TOGGLE_ROW(aec_delay_agnostic_mode),
      TOGGLE_ROW(EnableDeepNoiseSuppression),
      TOGGLE_ROW(EnableAutomaticGainControl),
      TOGGLE_ROW(jitter_buffer_delay_peak_detector),
      TOGGLE_ROW(EnableBluetoothScoRouting),
      TOGGLE_ROW(h264_packetization_mode_one),
      TOGGLE_ROW(EnableAv1Decoder),
      TOGGLE_ROW(hw_encoder_fallback_to_software),
      TOGGLE_ROW(EnableVideoDenoiser),
      TOGGLE_ROW(video_freeze_recovery_keyframe),
      TOGGLE_ROW(video_simulcast_three_layers),
      TOGGLE_ROW(EnableSvcL1T3),
      TOGGLE_ROW(screen_share_motion_detection),
      TOGGLE_ROW(EnableTransportCcFeedback),
      TOGGLE_ROW(bwe_delay_based_trendline),
      TOGGLE_ROW(EnableIceConsentFreshness),
      TOGGLE_ROW(EnableUlpFec),
      TOGGLE_ROW(pacer_max_queue_time_2s),
      TOGGLE_ROW(EnableStatsReporting),
      TOGGLE_ROW(diagnostics_rtc_event_log),
      TOGGLE_ROW(av_sync_audio_master_clock),
      TOGGLE_ROW(e2ee_key_ratcheting),
      TOGGLE_ROW(EnableMultiThreadedDecoding),
  };
  for (const Row& row : rows) {
    std::string expected(row.suffix);
    for (char& c : expected)
      c = c == '_' ? '-' : c;
    const char* key = KelFeatureToggleKey(row.id);
    ASSERT_NE(key, nullptr) << row.suffix;
    EXPECT_EQ(key, expected) << "id " << row.id;
  }
  EXPECT_EQ(KEL_FT_EnableMultiThreadedDecoding, 333u);  // last row before the catch-all
}

#undef TOGGLE_ROW

// Rows that deployed configurations name; their ids and spellings never change.
TEST(FeatureToggleKeys, FixedRowsKeepTheirIdsAndSpellings) {
  struct Row {
    KelFeatureToggleID id;
    uint32_t value;
    const char* key;
  };
  const Row rows[] = {
      {KEL_FT_ConnectionTimeEnhancement, 0, "ConnectionTimeEnhancement"},
      {KEL_FT_media_packet_loss_recording_audio_session, 3,
       "media-packet-loss-recording-audio-session"},
      {KEL_FT_EnableMusicDetection, 5, "EnableMusicDetection"},
      {KEL_FT_EnablClipVolumeCtl, 6, "EnablClipVolumeCtl"},  // misspelt key, kept
      {KEL_FT_EnableInherentLossProbing, 7, "EnableInherentLossProbing"},
      {KEL_FT_Unknow, 334, "KEL_FT_Unknow"},  // catch-all, spelt without the final letter
  };
  for (const Row& row : rows) {
    EXPECT_EQ(static_cast<uint32_t>(row.id), row.value) << row.key;
    const char* key = KelFeatureToggleKey(static_cast<KelFeatureToggleID>(row.value));
    ASSERT_NE(key, nullptr) << row.key;
    EXPECT_STREQ(key, row.key);
  }
  EXPECT_EQ(KEL_FT_Unknow + 1u, kKelFeatureToggleCount);
}

}  // namespace
}  // namespace kelStore
