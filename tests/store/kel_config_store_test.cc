// Group names, and every trace line of the store, its registry and notification in one table.
// (Lines of removals meeting a running delivery: notify/notify_concurrency_test.cc.)
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/stress_support.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;
using storetest::PointerText;

// The names both ways (every one is in the JSON module's dump corpus) and the session types.
TEST(GroupNameTest, NamesBothWaysAndGroupTypes) {
  const uint32_t groupTypes[] = {15, 15, 15, 0, 3, 1, 2, 4, 5, 14, 15, 15, 15, 15, 15};
  // The names configuration documents use, as they spell them.
  const char* const names[] = {
      "Common",      "Feature",   "Metrics", "Audio",        "AudioSlide", "Video",    "VideoSlide",
      "Application", "Gamestate", "AudioSi", "Transmission", "TAOnly",     "UnitTest", "LastGroup"};
  EXPECT_EQ(KelConfigEvent().groupType, 15u);  // a new event: group 0, no session type
  for (uint32_t g = 0; g <= 14; ++g) {
    const auto group = static_cast<KelConfigGroup>(g);
    KelConfigEvent event;
    event.SetGroup(group);
    EXPECT_EQ(event.groupType, groupTypes[g]) << g;
    EXPECT_EQ(GroupName2KelConfigGroup(KelConfigGroup2GroupName(group)), std::min(g, 13u)) << g;
    if (g <= 13) {
      EXPECT_STREQ(KelConfigGroup2GroupName(group), names[g]);
    }
  }
  EXPECT_STREQ(KelConfigGroup2GroupName(kGroupLast), "LastGroup");
  EXPECT_STREQ(KelConfigGroup2GroupName(kGroupNone), "Undefined_Group");
  for (const char* other : {"common", "Audio ", ""})
    EXPECT_EQ(GroupName2KelConfigGroup(other), kGroupLast) << other;
  EXPECT_EQ(GroupName2KelConfigGroup(nullptr), kGroupLast);
}

using StoreTraceTest = storetest::StoreTest;

// One call's life with every kind of line, all levels on.
// Threads that use the same new groups at once: each group gets one set of parts, which keeps
// every thread's value.
TEST(StoreConcurrencyTest, FirstUseOfAGroupKeepsEveryThreadsValue) {
  constexpr int kThreads = 4;
  for (int round = 0; round < 20; ++round) {
    KelConfig store(7);
    stresstest::RunTogether(kThreads, [&](int t) {
      const std::string name = "k" + std::to_string(t);
      for (uint32_t g = 0; g < kGroupLast; ++g)
        store.SetKelConfig(static_cast<KelConfigGroup>(g), name.c_str(), ConfigData(t));
    });
    for (uint32_t g = 0; g < kGroupLast; ++g) {
      for (int t = 0; t < kThreads; ++t) {
        ConfigData value;
        EXPECT_EQ(store.GetKelConfig(static_cast<KelConfigGroup>(g),
                                     ("k" + std::to_string(t)).c_str(), value),
                  KEL_S_OK)
            << "group " << g << ", thread " << t;
      }
    }
  }
}

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
  s->SetKelConfig(kGroupVideo, "fps", ConfigData(29));
  s->SetKelConfig(kGroupVideo, "fps", ConfigData(30));  // a change nobody watches is traced too
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
  EXPECT_EQ(value, ConfigData("opus"));  // the first provider answers, the second is counted
  s->SubscribeConfig(kGroupVideo, "fps", [&](const KelConfigEvent& e) {
    if (e.newValue == ConfigData(31)) s->SetKelConfig(kGroupVideo, "fps", ConfigData(32));
    if (e.newValue == ConfigData(40)) set_mock_time(1101000);  // a delivery of 101 ms
  });
  s->SetKelConfig(kGroupVideo, "fps", ConfigData(31));
  s->SetKelConfig(kGroupVideo, "fps", ConfigData(40));
  s->UnsubscribeConfig(first);
  s->UnsubscribeConfig(first);
  s->SubscribeConfig(  // a thread without a queue: the delivery is dropped
      kGroupVideo, "fps", [](const KelConfigEvent&) { ADD_FAILURE(); }, &noQueue, false);
  // Removals tell nobody, and succeed also for what is not there.
  EXPECT_EQ(s->RemoveKelConfigByGroup(kGroupAudio), KEL_S_OK);
  EXPECT_EQ(s->RemoveKelConfig(kGroupVideo, "fps"), KEL_S_OK);
  EXPECT_EQ(s->RemoveKelConfig(kGroupAudio, "rate"), KEL_S_OK);
  EXPECT_EQ(s->GetKelConfig(kGroupAudio, "rate", value), KEL_E_BADSTATE);
  EXPECT_FALSE(value.IsValid());
  s->SetKelConfig(kGroupLast, "x", ConfigData(1));
  s->GetDynamicConfig(kGroupLast, "x", value);
  s->SubscribeConfig(kGroupLast, "x", ignore);
  s->SubscribeConfig(kGroupAudio, "", ignore);
  s->BindConfig(kGroupLast, "x", [](const KelConfigEvent&) { return ConfigData(); });
  s->BindConfig(kGroupAudio, "", [](const KelConfigEvent&) { return ConfigData(); });
  ReleaseKelConfig(s);
  CleanUpKelConfig(5);
  IKelConfig* other = nullptr;
  CreateKelConfig(6, &other);
  DestroyKelConfig();

  // Lines as expected, with the call's decoration " [cid=5] [this=<store>]" written " {5}", and
  // other addresses by name.
  const std::string self = std::to_string(GetThreadSelfId());
  const Lines expected = {
      "2 kelStore::CreateKelConfig [cid=5]",
      "2 kelStore::KelConfig::KelConfig {5}",
      "2 kelStore::KelConfig::fireEvents, Audio, rate,  -> 1, bForceNotify=0 {5}",
      "2 kelStore::KelConfig::fireEvents, Video, fps,  -> 29, bForceNotify=0 {5}",
      "2 kelStore::KelConfig::fireEvents, Video, fps, 29 -> 30, bForceNotify=0 {5}",
      "2 kelStore::KelConfig::subscribeConfig, Audio, rate, 1, m_TotalObservers=0, "
      "pRunThread=(nil), bAsync=0 {5}",
      "2 kelStore::KelConfig::subscribeConfig, Audio, rate, 2, m_TotalObservers=1, "
      "pRunThread={worker}, bAsync=1 {5}",
      "2 kelStore::KelConfig::bindConfig, Audio, codec, 3, m_TotalObservers=2 {5}",
      "2 kelStore::KelConfig::bindConfig, Audio, codec, 4, m_TotalObservers=3 {5}",  // refused
      "2 kelStore::KelConfig::fireEvents, Audio, rate, 1 -> 1, bForceNotify=1 {5}",
      "2 kelStore::KelConfig::fireEvents, Audio, rate, nObservers=2 {5}",
      "2 kelStore::KelConfig::invokeEvent, Audio, codec {5}",
      "2 kelStore::KelConfig::invokeEvent, Audio, codec {5}",  // asked by the provider itself
      "1 kelStore::KelConfig::invokeEvent, invokeEvent Multiple notification, codec, " + self +
          ", 3, " + self + " {5}",
      "1 kelStore::ConfigEventHandler::Invoke, level=2, codec, 3 {handler}",
      "2 kelStore::KelConfig::invokeEvent, Audio, codec {5}",
      "0 kelStore::KelConfig::invokeEvent, Bind too much, , Audio, codec, nCallees=2 {5}",
      "2 kelStore::KelConfig::subscribeConfig, Video, fps, 5, m_TotalObservers=4, "
      "pRunThread=(nil), bAsync=0 {5}",
      "2 kelStore::KelConfig::fireEvents, Video, fps, 30 -> 31, bForceNotify=0 {5}",
      "2 kelStore::KelConfig::fireEvents, Video, fps, 31 -> 32, bForceNotify=0 {5}",  // nested
      "1 kelStore::KelConfig::fireEvents, fireEvents Multiple notification, fps, " + self +
          ", 5, " + self + " {5}",
      "1 kelStore::ConfigEventHandler::Notify, level=2, fps, 5 {handler}",
      "2 kelStore::KelConfig::fireEvents, Video, fps, nObservers=1 {5}",
      "2 kelStore::KelConfig::fireEvents, Video, fps, nObservers=1 {5}",
      "2 kelStore::KelConfig::fireEvents, Video, fps, 32 -> 40, bForceNotify=0 {5}",
      "1 kelStore::ConfigEventHandler::Notify, fps, 5, cost=101ms {handler}",
      "2 kelStore::KelConfig::fireEvents, Video, fps, nObservers=1 {5}",
      "2 kelStore::KelConfig::unsubscribeConfig, Audio, rate, 1, m_TotalObservers=5 {5}",
      "0 kelStore::KelConfig::UnsubscribeConfig, id=1, Failed [this={store}]",
      "2 kelStore::KelConfig::subscribeConfig, Video, fps, 6, m_TotalObservers=4, "
      "pRunThread={noQueue}, bAsync=0 {5}",
      "0 kelStore::ConfigEventHandler::Notify, m_pRunThread={noQueue}, EventQueue == NULL "
      "{handler}",
      "2 kelStore::KelConfig::RemoveKelConfigByGroup, Audio, size=1 {5}",
      "2 kelStore::KelConfig::RemoveKelConfig, Video, fps, ret=1 {5}",
      "2 kelStore::KelConfig::RemoveKelConfig, Audio, rate, ret=0 {5}",
      "0 kelStore::KelConfig::SetKelConfigError parameters {5}",
      "0 kelStore::KelConfig::GetDynamicConfigError parameters {5}",
      "0 kelStore::KelConfig::subscribeConfigError parameters 0 {5}",
      "0 kelStore::KelConfig::subscribeConfigError parameters {5}",
      "0 kelStore::KelConfig::bindConfigError parameters 0 {5}",
      "0 kelStore::KelConfig::bindConfigError parameters {5}",
      "2 kelStore::ReleaseKelConfig [cid=5], counts=1",
      "2 Enter, kelStore::CleanUpKelConfig,line=881, callId=5",
      "2 kelStore::KelConfig::~KelConfig {5}",
      "2 kelStore::CleanUpKelConfig, callId=5, counts=0",
      "2 Leave, kelStore::CleanUpKelConfig,line=881",
      "2 kelStore::CreateKelConfig [cid=6]",
      "2 kelStore::KelConfig::KelConfig {6}",
      "2 Enter, kelStore::DestroyKelConfig,line=902",
      "2 kelStore::DestroyKelConfig, callId=6, counts=2",
      "2 kelStore::KelConfig::~KelConfig {6}",
      "2 Leave, kelStore::DestroyKelConfig,line=902",
  };
  const std::pair<std::string, std::string> names[] = {
      {storetest::StoreDecoration(5, s), " {5}"},
      {storetest::StoreDecoration(6, other), " {6}"},
      {PointerText(s), "{store}"},
      {PointerText(static_cast<AOxThread*>(&worker)), "{worker}"},
      {PointerText(static_cast<AOxThread*>(&noQueue)), "{noQueue}"}};
  Lines seen;
  for (const CapturedTrace& line : capture.Lines()) {
    EXPECT_EQ(line.module, "UTIL");
    std::string text = std::to_string(line.level) + " " + line.text;
    for (const auto& [address, name] : names) {
      if (text.find(address) != std::string::npos)
        text.replace(text.find(address), address.size(), name);
    }
    if (text.find("ConfigEventHandler::") != std::string::npos) {
      text = text.substr(0, text.rfind(" [this=")) + " {handler}";
    }
    seen.push_back(text);
  }
  EXPECT_EQ(seen, expected);
}

}  // namespace
}  // namespace kelStore
