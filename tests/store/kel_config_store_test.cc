// KelConfig's own operations (group names, reads, removals), and every trace line of the store,
// its registry and change notification, pinned once in one table. (Set results and deliveries
// are in notify/subscription_test.cc; lines of removals that meet a running delivery in
// notify/notify_concurrency_test.cc.)
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;
using storetest::PointerText;

TEST(GroupNameTest, NamesBothWaysAndGroupTypes) {
  const char* names[] = {"Common",       "Feature",    "Metrics",     "Audio",     "AudioSlide",
                         "Video",        "VideoSlide", "Application", "Gamestate", "AudioSi",
                         "Transmission", "TAOnly",     "UnitTest"};
  const uint32_t groupTypes[] = {15, 15, 15, 0, 3, 1, 2, 4, 5, 14, 15, 15, 15};
  KelConfigEvent event;
  EXPECT_EQ(event.groupType, 15u);  // a new event: group 0, no session type
  for (uint32_t g = 0; g < kGroupLast; ++g) {
    const auto group = static_cast<KelConfigGroup>(g);
    EXPECT_STREQ(KelConfigGroup2GroupName(group), names[g]);
    EXPECT_EQ(GroupName2KelConfigGroup(names[g]), group);
    event.SetGroup(group);
    EXPECT_EQ(event.groupType, groupTypes[g]) << names[g];
  }
  EXPECT_STREQ(KelConfigGroup2GroupName(kGroupLast), "LastGroup");
  for (uint32_t group : {14u, 0xFFFFFFFFu}) {
    EXPECT_STREQ(KelConfigGroup2GroupName(static_cast<KelConfigGroup>(group)), "Undefined_Group");
    EXPECT_EQ(KelConfigGroup2GroupType(static_cast<KelConfigGroup>(group)), 15u);
  }
  for (const char* other : {"LastGroup", "Undefined_Group", "common", "Audio ", "",
                            static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(GroupName2KelConfigGroup(other), kGroupLast) << (other ? other : "null");
  }
}

TEST(KelConfigTest, ReadsAndRemovalsTellNobody) {
  KelConfig store(7);
  store.SetKelConfig(kGroupAudio, "a", ConfigData(1));
  store.SetKelConfig(kGroupAudio, "b", ConfigData(2));
  store.SetKelConfig(kGroupUnitTest, "a", ConfigData(3));
  int told = 0;
  store.SubscribeConfig(kGroupAudio, "b", [&](const KelConfigEvent&) { ++told; });
  ConfigData out;
  EXPECT_EQ(store.GetKelConfig(kGroupUnitTest, "a", out), KEL_S_OK);
  EXPECT_EQ(out, ConfigData(3));
  EXPECT_EQ(store.GetKelConfig(kGroupAudio, "A", out), KEL_E_BADSTATE);  // case-sensitive
  EXPECT_FALSE(out.IsValid());
  EXPECT_EQ(store.RemoveKelConfig(kGroupAudio, "a"), KEL_S_OK);
  EXPECT_EQ(store.RemoveKelConfig(kGroupAudio, "a"), KEL_S_OK);  // absent: still success
  EXPECT_EQ(store.GetKelConfig(kGroupAudio, "a", out), KEL_E_BADSTATE);
  EXPECT_EQ(store.RemoveKelConfigByGroup(kGroupAudio), KEL_S_OK);
  EXPECT_EQ(told, 1);  // its initial value only
  EXPECT_EQ(store.GetKelConfig(kGroupAudio, "b", out), KEL_E_BADSTATE);
  EXPECT_EQ(store.GetKelConfig(kGroupUnitTest, "a", out), KEL_S_OK);  // other groups stay
}

using StoreTraceTest = storetest::StoreTest;

// One call's life with every kind of line, all levels on. Lines of the event handler name the
// handler, shown as "handler".
TEST_F(StoreTraceTest, EveryLineOnce) {
  set_mock_time(1000000);
  struct ResetClock {
    ~ResetClock() { set_mock_time(~0ULL); }
  } resetClock;
  COxEventThread worker;
  COxEventThread noQueue(false);
  TraceCapture capture(2);
  IKelConfig* s = nullptr;
  ASSERT_EQ(CreateKelConfig(5, &s), KEL_S_OK);
  s->SetKelConfig(kGroupAudio, "rate", ConfigData(1));
  s->SetKelConfig(kGroupVideo, "fps", ConfigData(30));
  auto ignore = [](const KelConfigEvent&) {};
  const SubscribeId_t first = s->SubscribeConfig(kGroupAudio, "rate", ignore);
  s->SubscribeConfig(kGroupAudio, "rate", ignore, &worker, true);
  s->BindConfig(kGroupAudio, "codec", [&](const KelConfigEvent& e) {
    ConfigData inner;
    if (e.defaultValue.IsValid()) s->GetDynamicConfig(kGroupAudio, "codec", inner);
    return ConfigData("opus");
  });
  s->BindConfig(kGroupAudio, "codec", [](const KelConfigEvent&) { return ConfigData(); });
  s->SetKelConfig(kGroupAudio, "rate", ConfigData(1), true);
  ConfigData value;
  s->GetDynamicConfig(kGroupAudio, "codec", value, ConfigData("nested"));
  KelConfigTestPeer::ListSecondProvider(*static_cast<KelConfig*>(s), kGroupAudio, "codec",
                                        std::make_shared<ConfigEventHandler>(fnConfigInvokeCallBack(
                                            [](const KelConfigEvent&) { return ConfigData(); })));
  s->GetDynamicConfig(kGroupAudio, "codec", value);
  s->SubscribeConfig(kGroupVideo, "fps", [&](const KelConfigEvent& e) {
    if (e.newValue == ConfigData(31)) s->SetKelConfig(kGroupVideo, "fps", ConfigData(32));
    if (e.newValue == ConfigData(40)) set_mock_time(1101000);  // a delivery of 101 ms
  });
  s->SetKelConfig(kGroupVideo, "fps", ConfigData(31));
  s->SetKelConfig(kGroupVideo, "fps", ConfigData(40));
  s->SubscribeConfig(kGroupVideo, "fps", ignore, &noQueue, false);
  s->RemoveKelConfigByGroup(kGroupAudio);
  s->RemoveKelConfig(kGroupVideo, "fps");
  s->RemoveKelConfig(kGroupAudio, "rate");
  s->UnsubscribeConfig(first);
  s->UnsubscribeConfig(first);
  s->SetKelConfig(kGroupLast, "x", ConfigData(1));
  s->GetDynamicConfig(kGroupLast, "x", value);
  s->SubscribeConfig(kGroupLast, "x", ignore);
  s->SubscribeConfig(kGroupAudio, "", ignore);
  s->BindConfig(kGroupLast, "x", [](const KelConfigEvent&) { return ConfigData(); });
  s->BindConfig(kGroupAudio, "", [](const KelConfigEvent&) { return ConfigData(); });
  ReleaseKelConfig(s);
  CleanUpKelConfig(5);
  CleanUpKelConfig(5);
  IKelConfig* other = nullptr;
  CreateKelConfig(6, &other);
  DestroyKelConfig();

  const std::string d = storetest::StoreDecoration(5, s);
  const std::string d6 = storetest::StoreDecoration(6, other);
  const std::string k = "2 kelStore::KelConfig::";
  const std::string self = std::to_string(GetThreadSelfId());
  const Lines expected = {
      "2 kelStore::CreateKelConfig [cid=5]",
      k + "KelConfig" + d,
      k + "fireEvents, Audio, rate,  -> 1, bForceNotify=0" + d,
      k + "fireEvents, Video, fps,  -> 30, bForceNotify=0" + d,
      k + "subscribeConfig, Audio, rate, 1, m_TotalObservers=0, pRunThread=" +
          PointerText(nullptr) + ", bAsync=0" + d,
      k + "subscribeConfig, Audio, rate, 2, m_TotalObservers=1, pRunThread=" +
          PointerText(static_cast<AOxThread*>(&worker)) + ", bAsync=1" + d,
      k + "bindConfig, Audio, codec, 3, m_TotalObservers=2" + d,
      k + "bindConfig, Audio, codec, 4, m_TotalObservers=3" + d,  // refused
      k + "fireEvents, Audio, rate, 1 -> 1, bForceNotify=1" + d,
      k + "fireEvents, Audio, rate, nObservers=2" + d,
      k + "invokeEvent, Audio, codec" + d,
      k + "invokeEvent, Audio, codec" + d,  // asked again by the provider itself
      "1 kelStore::KelConfig::invokeEvent, invokeEvent Multiple notification, codec, " + self +
          ", 3, " + self + d,
      "1 kelStore::ConfigEventHandler::Invoke, level=2, codec, 3 [this=handler]",
      k + "invokeEvent, Audio, codec" + d,
      "0 kelStore::KelConfig::invokeEvent, Bind too much, , Audio, codec, nCallees=2" + d,
      k + "subscribeConfig, Video, fps, 5, m_TotalObservers=4, pRunThread=" + PointerText(nullptr) +
          ", bAsync=0" + d,
      k + "fireEvents, Video, fps, 30 -> 31, bForceNotify=0" + d,
      k + "fireEvents, Video, fps, 31 -> 32, bForceNotify=0" + d,  // set by the subscriber
      "1 kelStore::KelConfig::fireEvents, fireEvents Multiple notification, fps, " + self +
          ", 5, " + self + d,
      "1 kelStore::ConfigEventHandler::Notify, level=2, fps, 5 [this=handler]",
      k + "fireEvents, Video, fps, nObservers=1" + d,
      k + "fireEvents, Video, fps, nObservers=1" + d,
      k + "fireEvents, Video, fps, 32 -> 40, bForceNotify=0" + d,
      "1 kelStore::ConfigEventHandler::Notify, fps, 5, cost=101ms [this=handler]",
      k + "fireEvents, Video, fps, nObservers=1" + d,
      k + "subscribeConfig, Video, fps, 6, m_TotalObservers=5, pRunThread=" +
          PointerText(static_cast<AOxThread*>(&noQueue)) + ", bAsync=0" + d,
      "0 kelStore::ConfigEventHandler::Notify, m_pRunThread=" +
          PointerText(static_cast<AOxThread*>(&noQueue)) + ", EventQueue == NULL [this=handler]",
      k + "RemoveKelConfigByGroup, Audio, size=1" + d,
      k + "RemoveKelConfig, Video, fps, ret=1" + d,
      k + "RemoveKelConfig, Audio, rate, ret=0" + d,
      k + "unsubscribeConfig, Audio, rate, 1, m_TotalObservers=6" + d,
      "0 kelStore::KelConfig::UnsubscribeConfig, id=1, Failed [this=" + PointerText(s) + "]",
      "0 kelStore::KelConfig::SetKelConfigError parameters" + d,
      "0 kelStore::KelConfig::GetDynamicConfigError parameters" + d,
      "0 kelStore::KelConfig::subscribeConfigError parameters 0" + d,
      "0 kelStore::KelConfig::subscribeConfigError parameters" + d,
      "0 kelStore::KelConfig::bindConfigError parameters 0" + d,
      "0 kelStore::KelConfig::bindConfigError parameters" + d,
      "2 kelStore::ReleaseKelConfig [cid=5], counts=1",
      "2 Enter, kelStore::CleanUpKelConfig,line=881, callId=5",
      k + "~KelConfig" + d,
      "2 kelStore::CleanUpKelConfig, callId=5, counts=0",
      "2 Leave, kelStore::CleanUpKelConfig,line=881",
      "2 Enter, kelStore::CleanUpKelConfig,line=881, callId=5",  // refused: gone
      "2 Leave, kelStore::CleanUpKelConfig,line=881",
      "2 kelStore::CreateKelConfig [cid=6]",
      k + "KelConfig" + d6,
      "2 Enter, kelStore::DestroyKelConfig,line=902",
      "2 kelStore::DestroyKelConfig, callId=6, counts=2",
      k + "~KelConfig" + d6,
      "2 Leave, kelStore::DestroyKelConfig,line=902",
  };
  Lines seen;
  for (const CapturedTrace& line : capture.Lines()) {
    EXPECT_EQ(line.module, "UTIL");
    std::string text = std::to_string(line.level) + " " + line.text;
    if (text.find("ConfigEventHandler::") != std::string::npos) {
      text = text.substr(0, text.rfind(" [this=")) + " [this=handler]";
    }
    seen.push_back(text);
  }
  EXPECT_EQ(seen, expected);
}

}  // namespace
}  // namespace kelStore
