#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mediastores_internal.h"
#include "store_test_util.h"
#include "support/trace_capture.h"

namespace {

using kelStore::KelConfig;
using kelStore::KelConfigGroup;
using storetest::StoreDecoration;
using storetest::StoreTest;

using Lines = std::vector<std::string>;

constexpr uint32_t kCallId = 7;
constexpr auto kBadGroups = {static_cast<KelConfigGroup>(13), static_cast<KelConfigGroup>(14),
                             static_cast<KelConfigGroup>(0xFFFFFFFE), kelStore::kGroupNone};

using GroupNameTest = StoreTest;

TEST_F(GroupNameTest, NamesBothWaysAndGroupTypes) {
  struct Row {
    uint32_t group;
    const char* name;
    uint32_t groupType;
  };
  const std::vector<Row> rows = {
      {0, "Common", 15},    {1, "Feature", 15}, {2, "Metrics", 15},       {3, "Audio", 0},
      {4, "AudioSlide", 3}, {5, "Video", 1},    {6, "VideoSlide", 2},     {7, "Application", 4},
      {8, "Gamestate", 5},  {9, "AudioSi", 14}, {10, "Transmission", 15}, {11, "TAOnly", 15},
      {12, "UnitTest", 15},
  };
  for (const Row& row : rows) {
    const auto group = static_cast<KelConfigGroup>(row.group);
    EXPECT_STREQ(kelStore::KelConfigGroup2GroupName(group), row.name);
    EXPECT_EQ(kelStore::GroupName2KelConfigGroup(row.name), group);
    EXPECT_EQ(kelStore::KelConfigGroup2GroupType(group), row.groupType) << row.name;
  }
  EXPECT_STREQ(kelStore::KelConfigGroup2GroupName(kelStore::kGroupLast), "LastGroup");
  for (uint32_t group : {14u, 100u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
    EXPECT_STREQ(kelStore::KelConfigGroup2GroupName(static_cast<KelConfigGroup>(group)),
                 "Undefined_Group");
    EXPECT_EQ(kelStore::KelConfigGroup2GroupType(static_cast<KelConfigGroup>(group)), 15u);
  }
  for (const char* other : {"LastGroup", "Undefined_Group", "common", "Audio ", "", "AudioSlid"}) {
    EXPECT_EQ(kelStore::GroupName2KelConfigGroup(other), kelStore::kGroupLast) << other;
  }
  EXPECT_EQ(kelStore::GroupName2KelConfigGroup(nullptr), kelStore::kGroupLast);

  kelStore::KelConfigEvent event;
  EXPECT_EQ(event.group, kelStore::kGroupCommon);
  EXPECT_EQ(event.groupType, kelStore::kGroupTypeNone);
  EXPECT_FALSE(event.oldValue.IsValid() || event.newValue.IsValid() ||
               event.defaultValue.IsValid());
  event.SetGroup(kelStore::kGroupAudioSi);
  EXPECT_EQ(event.groupType, 14u);
}

class KelConfigTest : public StoreTest {
 protected:
  std::string Decoration() const { return StoreDecoration(kCallId, &store_); }

  KelConfig store_{kCallId};
};

TEST_F(KelConfigTest, ConstructionAndDestructionLines) {
  TraceCapture capture(2);
  std::string decoration;
  {
    KelConfig store(42);
    decoration = StoreDecoration(42, &store);
  }
  EXPECT_EQ(capture.Texts(), (Lines{"kelStore::KelConfig::KelConfig" + decoration,
                                    "kelStore::KelConfig::~KelConfig" + decoration}));
  EXPECT_EQ(capture.TextsAtLevel(2).size(), 2u);

  capture.Clear();
  set_external_trace_mask(1);
  { KelConfig quiet(43); }
  EXPECT_TRUE(capture.Texts().empty());
}

TEST_F(KelConfigTest, SetRefusals) {
  ASSERT_EQ(store_.SetKelConfig(kelStore::kGroupAudio, "kept", ConfigData(1)), KEL_E_NOOBSERVER);
  TraceCapture capture(2);
  const std::string refusal = "kelStore::KelConfig::SetKelConfigError parameters" + Decoration();
  for (KelConfigGroup group : kBadGroups) {
    EXPECT_EQ(store_.SetKelConfig(group, "kept", ConfigData(2)), KEL_E_INVALIDARG);
  }
  EXPECT_EQ(store_.SetKelConfig(kelStore::kGroupAudio, nullptr, ConfigData(2)), KEL_E_INVALIDARG);
  EXPECT_EQ(store_.SetKelConfig(kelStore::kGroupAudio, "kept", ConfigData()), KEL_E_INVALIDARG);
  EXPECT_EQ(store_.SetKelConfig(kelStore::kGroupAudio, "kept", ConfigData(), false, true),
            KEL_E_INVALIDARG);
  EXPECT_EQ(capture.TextsAtLevel(0), Lines(7, refusal));
  capture.Clear();
  EXPECT_EQ(store_.SetKelConfig(kelStore::kGroupAudio, "", ConfigData(2)), KEL_E_INVALIDARG);
  EXPECT_TRUE(capture.Texts().empty());  // an empty name is refused silently

  ConfigData out;
  EXPECT_EQ(store_.GetKelConfig(kelStore::kGroupAudio, "kept", out), KEL_S_OK);
  EXPECT_EQ(out, ConfigData(1));
}

TEST_F(KelConfigTest, SetResultsAndChangeLines) {
  TraceCapture capture(2);
  const auto audio = kelStore::kGroupAudio;
  const std::string line = "kelStore::KelConfig::fireEvents, Audio, rate, ";
  struct Step {
    ConfigData value;
    bool force;
    bool remove;
    int32_t result;
    const char* change;  // the change line, or null when none is traced
    const char* stored;  // the value stored afterwards, or null when none
  };
  const std::vector<Step> steps = {
      {ConfigData(48000), false, false, KEL_E_NOOBSERVER, " -> 48000, bForceNotify=0", "48000"},
      {ConfigData(48000), false, false, KEL_E_UNCHANGED, nullptr, "48000"},
      {ConfigData("48000"), false, false, KEL_E_NOOBSERVER, "48000 -> 48000, bForceNotify=0",
       "48000"},  // a text never equals a number
      {ConfigData("48000"), true, false, KEL_E_NOOBSERVER, "48000 -> 48000, bForceNotify=1",
       "48000"},
      {ConfigData(16000), false, false, KEL_E_NOOBSERVER, "48000 -> 16000, bForceNotify=0",
       "16000"},
      // Removal compares the removed value with the value passed in.
      {ConfigData(16000), false, true, KEL_E_UNCHANGED, nullptr, nullptr},
      {ConfigData(8000), false, true, KEL_E_NOOBSERVER, " -> 8000, bForceNotify=0", nullptr},
      {ConfigData(8000), false, false, KEL_E_NOOBSERVER, " -> 8000, bForceNotify=0", "8000"},
      {ConfigData(1), false, true, KEL_E_NOOBSERVER, "8000 -> 1, bForceNotify=0", nullptr},
  };
  for (size_t i = 0; i < steps.size(); ++i) {
    const Step& step = steps[i];
    SCOPED_TRACE(i);
    capture.Clear();
    EXPECT_EQ(store_.SetKelConfig(audio, "rate", step.value, step.force, step.remove), step.result);
    EXPECT_EQ(capture.Texts(), step.change ? Lines{line + step.change + Decoration()} : Lines{});
    ConfigData out("stale");
    if (step.stored != nullptr) {
      ASSERT_EQ(store_.GetKelConfig(audio, "rate", out), KEL_S_OK);
      EXPECT_EQ(out.ToString(), step.stored);
    } else {
      EXPECT_EQ(store_.GetKelConfig(audio, "rate", out), KEL_E_BADSTATE);
      EXPECT_FALSE(out.IsValid());
    }
  }
}

TEST_F(KelConfigTest, FiringStepRefusesBadArguments) {
  TraceCapture capture(2);
  auto& audio = store_.Observers(kelStore::kGroupAudio);
  EXPECT_EQ(
      store_.fireEvents(audio, nullptr, ConfigData(), ConfigData(1), kelStore::kGroupAudio, false),
      KEL_E_INVALIDARG);
  EXPECT_EQ(store_.fireEvents(audio, "x", ConfigData(), ConfigData(1), kelStore::kGroupLast, false),
            KEL_E_INVALIDARG);
  EXPECT_EQ(capture.Texts(),
            Lines(2, "kelStore::KelConfig::fireEventsError parameters" + Decoration()));
}

TEST_F(KelConfigTest, GetKeepsGroupsAndNamesApart) {
  const auto audio = kelStore::kGroupAudio;
  const auto video = kelStore::kGroupVideo;
  store_.SetKelConfig(audio, "codec", ConfigData("opus"));
  store_.SetKelConfig(video, "codec", ConfigData("av1"));
  TraceCapture capture(2);
  ConfigData out;
  EXPECT_EQ(store_.GetKelConfig(audio, "codec", out), KEL_S_OK);
  EXPECT_EQ(out, ConfigData("opus"));
  EXPECT_EQ(store_.GetKelConfig(video, "codec", out), KEL_S_OK);
  EXPECT_EQ(out, ConfigData("av1"));
  EXPECT_EQ(store_.GetKelConfig(audio, "Codec", out), KEL_E_BADSTATE);
  EXPECT_FALSE(out.IsValid());
  for (KelConfigGroup group : kBadGroups) {
    EXPECT_EQ(store_.GetKelConfig(group, "codec", out), KEL_E_INVALIDARG);
  }
  EXPECT_EQ(store_.GetKelConfig(audio, nullptr, out), KEL_E_INVALIDARG);
  EXPECT_EQ(store_.GetKelConfig(audio, "", out), KEL_E_INVALIDARG);
  EXPECT_TRUE(capture.Texts().empty());  // reads never trace
}

TEST_F(KelConfigTest, RemoveAndRemoveByGroup) {
  const auto audio = kelStore::kGroupAudio;
  store_.SetKelConfig(audio, "a", ConfigData(1));
  store_.SetKelConfig(audio, "b", ConfigData(2));
  store_.SetKelConfig(kelStore::kGroupUnitTest, "a", ConfigData(3));
  TraceCapture capture(2);
  EXPECT_EQ(store_.RemoveKelConfig(audio, "a"), KEL_S_OK);
  EXPECT_EQ(store_.RemoveKelConfig(audio, "a"), KEL_S_OK);  // absent: still success
  EXPECT_EQ(store_.RemoveKelConfigByGroup(audio), KEL_S_OK);
  EXPECT_EQ(store_.RemoveKelConfigByGroup(audio), KEL_S_OK);
  EXPECT_EQ(capture.Texts(),
            (Lines{"kelStore::KelConfig::RemoveKelConfig, Audio, a, ret=1" + Decoration(),
                   "kelStore::KelConfig::RemoveKelConfig, Audio, a, ret=0" + Decoration(),
                   "kelStore::KelConfig::RemoveKelConfigByGroup, Audio, size=1" + Decoration(),
                   "kelStore::KelConfig::RemoveKelConfigByGroup, Audio, size=0" + Decoration()}));
  ConfigData out;
  EXPECT_EQ(store_.GetKelConfig(audio, "b", out), KEL_E_BADSTATE);
  EXPECT_EQ(store_.GetKelConfig(kelStore::kGroupUnitTest, "a", out), KEL_S_OK);

  capture.Clear();
  for (KelConfigGroup group : kBadGroups) {
    EXPECT_EQ(store_.RemoveKelConfig(group, "a"), KEL_E_INVALIDARG);
    EXPECT_EQ(store_.RemoveKelConfigByGroup(group), KEL_E_INVALIDARG);
  }
  EXPECT_EQ(store_.RemoveKelConfig(audio, nullptr), KEL_E_INVALIDARG);
  EXPECT_EQ(store_.RemoveKelConfig(audio, ""), KEL_E_INVALIDARG);
  EXPECT_TRUE(capture.Texts().empty());
  EXPECT_EQ(store_.GetKelConfig(kelStore::kGroupUnitTest, "a", out), KEL_S_OK);
}

TEST_F(KelConfigTest, DynamicReadWithoutProviderIgnoresStoredValue) {
  const auto audio = kelStore::kGroupAudio;
  store_.SetKelConfig(audio, "level", ConfigData(5));
  TraceCapture capture(2);
  ConfigData value("caller's");
  EXPECT_EQ(store_.GetDynamicConfig(audio, "level", value, ConfigData(9)), KEL_E_NOOBSERVER);
  EXPECT_EQ(value, ConfigData("caller's"));
  EXPECT_EQ(capture.Texts(),
            Lines{"kelStore::KelConfig::invokeEvent, Audio, level" + Decoration()});

  capture.Clear();
  EXPECT_EQ(store_.GetDynamicConfig(kelStore::kGroupLast, "level", value), KEL_E_INVALIDARG);
  EXPECT_EQ(store_.GetDynamicConfig(audio, nullptr, value), KEL_E_INVALIDARG);
  EXPECT_EQ(capture.Texts(),
            Lines(2, "kelStore::KelConfig::GetDynamicConfigError parameters" + Decoration()));
  capture.Clear();
  EXPECT_EQ(store_.GetDynamicConfig(audio, "", value), KEL_E_INVALIDARG);
  EXPECT_TRUE(capture.Texts().empty());
}

TEST_F(KelConfigTest, UnsubscribeOfUnknownId) {
  TraceCapture capture(0);
  EXPECT_EQ(store_.UnsubscribeConfig(1), KEL_E_BADSTATE);
  EXPECT_EQ(store_.UnsubscribeConfig(0), KEL_E_BADSTATE);
  EXPECT_EQ(capture.Texts(), (Lines{"kelStore::KelConfig::UnsubscribeConfig, id=1, Failed [this=" +
                                        storetest::PointerText(&store_) + "]",
                                    "kelStore::KelConfig::UnsubscribeConfig, id=0, Failed [this=" +
                                        storetest::PointerText(&store_) + "]"}));
}

}  // namespace
