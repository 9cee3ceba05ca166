// KelConfig's own operations: group names, change and removal lines, reads, removals. (Set results
// with subscribers are in notify/subscription_test.cc.)
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;

constexpr uint32_t kCallId = 7;

TEST(GroupNameTest, NamesBothWaysGroupTypesAndANewEvent) {
  const char* names[] = {"Common",       "Feature",    "Metrics",     "Audio",     "AudioSlide",
                         "Video",        "VideoSlide", "Application", "Gamestate", "AudioSi",
                         "Transmission", "TAOnly",     "UnitTest"};
  const uint32_t groupTypes[] = {15, 15, 15, 0, 3, 1, 2, 4, 5, 14, 15, 15, 15};
  KelConfigEvent event;
  EXPECT_EQ(event.group, kGroupCommon);
  EXPECT_EQ(event.groupType, 15u);
  EXPECT_TRUE(event.name.empty());
  EXPECT_FALSE(event.oldValue.IsValid() || event.newValue.IsValid() ||
               event.defaultValue.IsValid());
  for (uint32_t g = 0; g < kGroupLast; ++g) {
    const auto group = static_cast<KelConfigGroup>(g);
    EXPECT_STREQ(KelConfigGroup2GroupName(group), names[g]);
    EXPECT_EQ(GroupName2KelConfigGroup(names[g]), group);
    event.SetGroup(group);
    EXPECT_EQ(event.groupType, groupTypes[g]) << names[g];
  }
  EXPECT_STREQ(KelConfigGroup2GroupName(kGroupLast), "LastGroup");
  for (uint32_t group : {14u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
    EXPECT_STREQ(KelConfigGroup2GroupName(static_cast<KelConfigGroup>(group)), "Undefined_Group");
    EXPECT_EQ(KelConfigGroup2GroupType(static_cast<KelConfigGroup>(group)), 15u);
  }
  for (const char* other : {"LastGroup", "Undefined_Group", "common", "Audio ", "", "AudioSlid"}) {
    EXPECT_EQ(GroupName2KelConfigGroup(other), kGroupLast) << other;
  }
  EXPECT_EQ(GroupName2KelConfigGroup(nullptr), kGroupLast);
}

class KelConfigTest : public ::testing::Test {
 protected:
  std::string Line(const std::string& text) const {
    return "kelStore::KelConfig::" + text + storetest::StoreDecoration(kCallId, &store_);
  }

  KelConfig store_{kCallId};
};

// (Refused arguments, their codes and error lines are in badinput/store_bad_input_test.cc.)
TEST_F(KelConfigTest, ChangeLineWithoutSubscribersAndFireEventsRefusals) {
  TraceCapture capture(2);
  EXPECT_EQ(store_.SetKelConfig(kGroupAudio, "kept", ConfigData(1)), KEL_E_NOOBSERVER);
  EXPECT_EQ(capture.Texts(), Lines{Line("fireEvents, Audio, kept,  -> 1, bForceNotify=0")});
  capture.Clear();
  auto& audio = store_.Observers(kGroupAudio);
  EXPECT_EQ(store_.fireEvents(audio, nullptr, ConfigData(), ConfigData(1), kGroupAudio, false),
            KEL_E_INVALIDARG);
  EXPECT_EQ(store_.fireEvents(audio, "x", ConfigData(), ConfigData(1), kGroupLast, false),
            KEL_E_INVALIDARG);
  EXPECT_EQ(capture.TextsAtLevel(0), Lines(2, Line("fireEventsError parameters")));
}

TEST_F(KelConfigTest, GetRemoveAndRemoveByGroup) {
  store_.SetKelConfig(kGroupAudio, "a", ConfigData(1));
  store_.SetKelConfig(kGroupAudio, "b", ConfigData(2));
  store_.SetKelConfig(kGroupUnitTest, "a", ConfigData(3));
  int told = 0;
  store_.SubscribeConfig(kGroupAudio, "b", [&](const KelConfigEvent&) { ++told; });
  TraceCapture capture(2);
  ConfigData out;
  EXPECT_EQ(store_.GetKelConfig(kGroupUnitTest, "a", out), KEL_S_OK);
  EXPECT_EQ(out, ConfigData(3));
  EXPECT_EQ(store_.GetKelConfig(kGroupAudio, "A", out), KEL_E_BADSTATE);  // case-sensitive
  EXPECT_FALSE(out.IsValid());
  EXPECT_TRUE(capture.Texts().empty());  // reads never trace
  EXPECT_EQ(store_.RemoveKelConfig(kGroupAudio, "a"), KEL_S_OK);
  EXPECT_EQ(store_.RemoveKelConfig(kGroupAudio, "a"), KEL_S_OK);  // absent: still success
  EXPECT_EQ(store_.RemoveKelConfigByGroup(kGroupAudio), KEL_S_OK);
  EXPECT_EQ(store_.RemoveKelConfigByGroup(kGroupAudio), KEL_S_OK);
  EXPECT_EQ(capture.Texts(), (Lines{Line("RemoveKelConfig, Audio, a, ret=1"),
                                    Line("RemoveKelConfig, Audio, a, ret=0"),
                                    Line("RemoveKelConfigByGroup, Audio, size=1"),
                                    Line("RemoveKelConfigByGroup, Audio, size=0")}));
  EXPECT_EQ(told, 1);  // its initial value only: removals tell nobody
  EXPECT_EQ(store_.GetKelConfig(kGroupAudio, "b", out), KEL_E_BADSTATE);
  EXPECT_EQ(store_.GetKelConfig(kGroupUnitTest, "a", out), KEL_S_OK);  // other groups stay
}

}  // namespace
}  // namespace kelStore
