// KelConfigHelper and its observer helper: session types, the group rule, subscriptions before the
// store, store references. (Refusals and their lines: badinput/helper_bad_input_test.cc.)
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/stress_support.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

constexpr uint32_t kCall = 21;
const auto kNoop = [](const KelConfigEvent&) {};
const auto kAnswer = [](const auto& e) { return ConfigData("=" + e.defaultValue.ToString()); };

// The number of subscriptions and bindings in the call's store.
const auto kObservers = [] {
  IKelConfig* store = nullptr;
  EXPECT_EQ(CreateKelConfig(kCall, &store), KEL_S_OK);
  const uint32_t count = KelConfigTestPeer::TotalObservers(*static_cast<KelConfig*>(store));
  EXPECT_EQ(ReleaseKelConfig(store), KEL_S_OK);
  return count;
};

using KelConfigHelperTest = storetest::StoreTest;

TEST_F(KelConfigHelperTest, SessionTypesNameTheDefaultGroupOrTheGroupUsed) {
  // A type without a group (kGroupNone) can't set the default group, and Set/Get then use it.
  const std::pair<uint32_t, KelConfigGroup> rows[] = {
      {0, kGroupAudio},       {1, kGroupVideo},     {2, kGroupVideoSlide}, {3, kGroupAudioSlide},
      {4, kGroupApplication}, {5, kGroupGamestate}, {6, kGroupNone},       {13, kGroupNone},
      {14, kGroupAudioSi},    {15, kGroupNone},     {~0U, kGroupNone}};
  KelConfigHelper data(kCall);
  ASSERT_EQ(data.SetDefaultGroup(kGroupUnitTest), KEL_S_OK);
  TraceCapture quiet(~0U);
  for (const auto& [number, group] : rows) {
    SCOPED_TRACE(number);
    const auto type = static_cast<kel::KelSessionType>(number);
    const bool has = group != kGroupNone;
    KelConfigHelper fresh;
    EXPECT_EQ(fresh.InitKelConfig(kCall, type), has ? KEL_S_OK : KEL_E_BADSTATE);
    EXPECT_EQ(fresh.SetKelSessionType(type), has ? KEL_S_OK : KEL_E_BADSTATE);  // same group
    EXPECT_EQ(fresh.GetKelSessionType(), has ? type : kel::kSessionTypeUnknown);
    EXPECT_EQ(data.SetKelConfig(type, "k", number), KEL_E_NOOBSERVER);
    EXPECT_EQ(data.GetKelConfig("k", has ? group : kGroupUnitTest), ConfigData(number));
    EXPECT_EQ(data.GetKelConfig(type, "k"), ConfigData(number));
    EXPECT_EQ(data.RemoveKelConfig("k", has ? group : kGroupUnitTest), KEL_S_OK);
  }
}

TEST_F(KelConfigHelperTest, DefaultGroupUnlessOneIsGivenAndEverythingElsePassedOn) {
  KelConfigHelper h(kCall);
  ASSERT_EQ(h.SetDefaultGroup(kGroupVideo), KEL_S_OK);
  int told = 0;
  ASSERT_NE(h.SubscribeConfig("k", [&](const KelConfigEvent&) { ++told; }), 0u);
  ASSERT_NE(h.BindConfig("p", kAnswer), 0u);
  EXPECT_EQ(h.SetKelConfig("k", 2, kGroupAudio), KEL_E_NOOBSERVER);
  EXPECT_EQ(h.SetKelConfig("k", 1), KEL_S_OK);
  EXPECT_EQ(h.SetKelConfig("k", 1, kGroupNone, true), KEL_S_OK);  // forced
  EXPECT_EQ(told, 2);
  EXPECT_EQ(h.GetDynamicConfig("p", kGroupNone, 5), ConfigData("=5"));
  EXPECT_EQ(h.SetKelConfig("k", 0, kGroupNone, false, true), KEL_S_OK);  // removal
  EXPECT_FALSE(h.HaveKelConfig("k"));
  EXPECT_EQ(h.ApplyKelConfigs(R"({"Video":[{"key":"w","value":"6"}]})"), KEL_S_OK);
  EXPECT_STREQ(h.DumpKelConfigs(1u << kGroupVideo), R"({"Video":[{"key":"w","value":"6"}]})");
  EXPECT_EQ(h.RemoveKelConfigByGroup(), KEL_S_OK);
  EXPECT_FALSE(h.HaveKelConfig("w"));
}

TEST_F(KelConfigHelperTest, SubscriptionsBeforeTheStoreGoLiveAndEverythingIsGivenBack) {
  {
    KelConfigHelper other(kCall);
    ASSERT_EQ(other.SubscribeConfig("x", kNoop, kGroupCommon), 1u);
    COxEventThread worker;
    KelConfigHelper late;
    ASSERT_EQ(late.SetDefaultGroup(kGroupAudio), KEL_S_OK);
    std::vector<uint64_t> threads;
    const auto record = [&](const KelConfigEvent&) { threads.push_back(GetThreadSelfId()); };
    // Without a store everything is only remembered (result 0).
    EXPECT_EQ(late.SubscribeConfig("k", record, kGroupNone, &worker, true), 0u);
    EXPECT_EQ(late.BindConfig("k", kAnswer), 0u);  // the same record takes the provider
    EXPECT_EQ(late.BindConfig("d", kAnswer), 0u);
    EXPECT_EQ(late.SubscribeConfig("k", kNoop), 0u);
    EXPECT_EQ(late.UnsubscribeConfig("k", kGroupNone), KEL_E_BADSTATE);  // no live id to withdraw
    TraceCapture quiet(~0U);
    EXPECT_EQ(late.InitKelConfig(kCall, kel::kSessionTypeData), KEL_E_BADSTATE);  // call taken
    EXPECT_EQ(late.SetCallId(kCall), KEL_S_OK);     // the id it holds, with its store
    EXPECT_EQ(storetest::RegistryCount(kCall), 3);  // the call's and both helpers'
    // Sent name by name ("d" took id 2, "k" 3); "k" runs on the firing thread instead of being
    // posted to the worker, and its provider was dropped.
    EXPECT_EQ(other.SetKelConfig("k", 5, kGroupAudio), KEL_S_OK);
    EXPECT_EQ(threads, std::vector<uint64_t>{GetThreadSelfId()});
    EXPECT_FALSE(other.GetDynamicConfig("k", kGroupAudio).IsValid());
    EXPECT_EQ(other.GetDynamicConfig("d", kGroupAudio, 1), ConfigData("=1"));
    // One live record per name and group.
    EXPECT_EQ(late.SubscribeConfig("d", kNoop), 0u);
    EXPECT_EQ(late.BindConfig("k", kAnswer), 0u);
    EXPECT_EQ(late.SubscribeConfig("k", kNoop, kGroupVideo), 4u);
    EXPECT_EQ(late.UnsubscribeConfig(SubscribeId_t{1}), KEL_E_BADSTATE);  // not this helper's
    EXPECT_EQ(late.UnsubscribeConfig(SubscribeId_t{3}), KEL_S_OK);
    EXPECT_EQ(late.UnsubscribeConfig(SubscribeId_t{3}), KEL_E_BADSTATE);
    EXPECT_EQ(late.SubscribeConfig("k", record), 5u);  // free again; told the value at once
    EXPECT_EQ(late.UnsubscribeConfig("d", kGroupNone), KEL_S_OK);
    EXPECT_FALSE(other.GetDynamicConfig("d", kGroupAudio).IsValid());
    EXPECT_EQ(threads.size(), 2u);
    EXPECT_EQ(kObservers(), 3u);  // "x", "k" in Video and "k" in Audio
  }
  EXPECT_EQ(storetest::RegistryCount(kCall), 1);  // both references given back
  EXPECT_EQ(kObservers(), 0u);                    // and every subscription withdrawn
}

// Any engine thread may use a helper it shares: subscriptions, bindings and withdrawals by name
// of three names from four threads keep one live record per name and leave nothing behind.
TEST_F(KelConfigHelperTest, OneHelperSharedByFourThreads) {
  {
    KelConfigHelper shared(kCall);
    const char* const names[] = {"a", "b", "c"};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < 3000; ++i) {
          const char* name = names[(i + t) % 3];
          if (i % 3 == 0) shared.SubscribeConfig(name, kNoop, kGroupAudio);
          if (i % 3 == 1) shared.BindConfig(name, kAnswer, kGroupAudio);
          if (i % 3 == 2) shared.UnsubscribeConfig(name, kGroupAudio);
        }
      });
    }
    for (std::thread& thread : threads)
      thread.join();
    EXPECT_LE(kObservers(), 3u);
    for (const char* name : names)
      shared.UnsubscribeConfig(name, kGroupAudio);
    EXPECT_EQ(kObservers(), 0u);
    EXPECT_NE(shared.SubscribeConfig("a", kNoop, kGroupAudio), 0u);  // free again
  }
  EXPECT_EQ(kObservers(), 0u);
}

// Threads that give a helper without a store its first records in the same groups at once: each
// group keeps one name map holding every thread's record, and all of them go live when the store
// comes.
TEST_F(KelConfigHelperTest, FirstRecordsOfAGroupFromManyThreadsAllGoLive) {
  constexpr int kThreads = 4;
  for (int round = 0; round < 20; ++round) {
    KelConfigHelper helper;
    stresstest::RunTogether(kThreads, [&](int t) {
      const std::string name = "k" + std::to_string(t);
      for (uint32_t g = 0; g < kGroupLast; ++g)
        helper.SubscribeConfig(name.c_str(), kNoop, static_cast<KelConfigGroup>(g));
    });
    ASSERT_EQ(helper.SetCallId(kCall), KEL_S_OK);
    ASSERT_EQ(kObservers(), uint32_t{kThreads * kGroupLast}) << "round " << round;
  }
}

}  // namespace
}  // namespace kelStore
