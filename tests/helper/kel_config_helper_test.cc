// KelConfigHelper: call id and store reference, default group and session types, the group rule
// and subscriptions made before the store exists (argument assertions: badinput/).
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;

constexpr uint32_t kCall = 21;
constexpr uint32_t kNoCall = 0xFFFFFFFFu;
const auto kNoop = [](const KelConfigEvent&) {};
const auto kAnswer = [](const KelConfigEvent& e) {
  return ConfigData("=" + e.defaultValue.ToString());
};

std::string HelperLine(const KelConfigHelper& helper, const std::string& text) {
  return "kelStore::KelConfigHelper::" + text + " [this=" + storetest::PointerText(&helper) + "]";
}

using KelConfigHelperTest = storetest::StoreTest;

TEST_F(KelConfigHelperTest, TakesACallOnceAndHoldsOneStoreReference) {
  TraceCapture capture(0);
  {
    KelConfigHelper first(kCall);
    EXPECT_EQ(storetest::RegistryCount(kCall), 2);  // the helper's and the call's references
    EXPECT_NE(first.SubscribeConfig("k", kNoop, kGroupCommon), 0u);
    KelConfigHelper late;
    EXPECT_EQ(late.GetCallId(), kNoCall);
    EXPECT_EQ(late.SetCallId(kNoCall), KEL_E_BADSTATE);
    EXPECT_EQ(late.SetCallId(kCall), KEL_S_OK);
    EXPECT_EQ(storetest::RegistryCount(kCall), 3);
    EXPECT_EQ(late.SetCallId(kCall), KEL_S_OK);  // the id it holds, with its store
    EXPECT_EQ(late.SetCallId(kCall + 1), KEL_E_BADSTATE);
    EXPECT_EQ(late.GetCallId(), kCall);
    EXPECT_EQ(capture.Texts(), (Lines{HelperLine(late,
                                                 "SetCallId, m_callId=4294967295, "
                                                 "callId=4294967295"),
                                      HelperLine(late, "SetCallId, m_callId=21, callId=22")}));
    KelConfigHelper init;
    EXPECT_EQ(init.InitKelConfig(kCall, kel::kSessionTypeData), KEL_E_BADSTATE);
    EXPECT_EQ(init.GetCallId(), kCall);  // the call is taken although the type is refused
    EXPECT_EQ(init.InitKelConfig(kCall, kel::kSessionTypeVideo), KEL_S_OK);
    EXPECT_EQ(storetest::RegistryCount(kCall), 4);
  }
  // Every helper gave its reference back and withdrew its subscriptions.
  EXPECT_EQ(storetest::RegistryCount(kCall), 1);
  IKelConfig* store = nullptr;
  ASSERT_EQ(CreateKelConfig(kCall, &store), KEL_S_OK);
  EXPECT_EQ(KelConfigTestPeer::TotalObservers(*static_cast<KelConfig*>(store)), 0u);
  EXPECT_EQ(ReleaseKelConfig(store), KEL_S_OK);
  EXPECT_EQ(CleanUpKelConfig(kCall), KEL_S_OK);
  EXPECT_EQ(GetKelConfigSizeForUT(), 0u);
}

TEST_F(KelConfigHelperTest, SessionTypeTablesDiffer) {
  const KelConfigGroup none = kGroupNone;
  // Type, default group SetKelSessionType gives (none: refused), group of the session-type
  // Set/Get (none: the default group).
  // clang-format off
  const std::vector<std::tuple<uint32_t, KelConfigGroup, KelConfigGroup>> rows = {
      {0, kGroupAudio, kGroupAudio}, {1, kGroupVideo, kGroupVideo}, {13, none, none},
      {2, kGroupVideoSlide, kGroupVideoSlide}, {3, kGroupAudioSlide, kGroupAudioSlide},
      {4, kGroupApplication, kGroupApplication}, {5, kGroupGamestate, kGroupGamestate},
      {6, none, none}, {14, kGroupAudioSi, kGroupAudioSi}, {15, none, none}, {31, none, none},
      {0xFFFFFFFFu, none, none}};
  // clang-format on
  KelConfigHelper data(kCall);
  ASSERT_EQ(data.SetDefaultGroup(kGroupUnitTest), KEL_S_OK);
  TraceCapture capture(0xFFFFFFFFu);
  for (const auto& [number, defaultGroup, dataGroup] : rows) {
    const auto type = static_cast<kel::KelSessionType>(number);
    KelConfigHelper fresh(kCall);
    EXPECT_EQ(fresh.SetKelSessionType(type), defaultGroup != none ? KEL_S_OK : KEL_E_BADSTATE);
    EXPECT_EQ(fresh.GetKelSessionType(), defaultGroup != none ? type : kel::kSessionTypeUnknown);
    const KelConfigGroup target = dataGroup == none ? kGroupUnitTest : dataGroup;
    EXPECT_EQ(data.SetKelConfig(type, "k", number), KEL_E_NOOBSERVER);
    EXPECT_EQ(data.GetKelConfig("k", target), ConfigData(number)) << number;
    EXPECT_EQ(data.GetKelConfig(type, "k"), ConfigData(number));
    EXPECT_EQ(data.RemoveKelConfig("k", target), KEL_S_OK);
  }
  set_external_trace_mask(0);
  KelConfigHelper helper(kCall);
  EXPECT_EQ(helper.SetKelSessionType(kel::kSessionTypeData), KEL_E_BADSTATE);
  EXPECT_EQ(helper.SetKelSessionType(kel::kSessionTypeAudio), KEL_S_OK);
  EXPECT_EQ(helper.SetKelSessionType(kel::kSessionTypeAudio), KEL_S_OK);  // same group
  EXPECT_EQ(helper.SetKelSessionType(kel::kSessionTypeVideo), KEL_E_BADSTATE);
  EXPECT_EQ(helper.SetDefaultGroup(kGroupAudio), KEL_E_BADSTATE);  // set once only
  EXPECT_EQ(capture.Texts(),
            (Lines{HelperLine(helper, "SetKelSessionType, Undefined_Group, sessionType=6"),
                   HelperLine(helper, "SetKelSessionType, Audio, sessionType=1")}));
  KelConfigHelper byGroup(kCall);
  EXPECT_EQ(byGroup.SetDefaultGroup(kGroupLast), KEL_E_BADSTATE);
  EXPECT_EQ(byGroup.SetDefaultGroup(kGroupUnitTest), KEL_S_OK);
  EXPECT_EQ(byGroup.SetDefaultGroup(kGroupUnitTest), KEL_E_BADSTATE);
}

TEST_F(KelConfigHelperTest, GroupRuleAndItsTwoTexts) {
  KelConfigHelper h(kCall);
  ConfigData value;
  const int64_t bad = KEL_E_BADSTATE;
  // clang-format off
  const std::vector<std::tuple<const char*, std::function<int64_t()>, int64_t>> rows = {
      {"SubscribeConfig ", [&] { return h.SubscribeConfig("k", kNoop); }, 0},
      {"BindConfig ", [&] { return h.BindConfig("k", kAnswer); }, 0},
      {"UnsubscribeConfig", [&] { return h.UnsubscribeConfig("k", kGroupNone); }, bad},
      {"SetKelConfig", [&] { return h.SetKelConfig("k", 1); }, bad},
      {"SetKelConfig", [&] { return h.SetKelConfig(kel::kSessionTypeData, "k", 1); }, bad},
      {"GetKelConfig", [&] { return h.GetKelConfig("k", value); }, bad},
      {"GetKelConfig", [&] { return h.HaveKelConfig("k"); }, false},
      {"GetDynamicConfig", [&] { return h.GetDynamicConfig("k", value); }, bad},
      {"RemoveKelConfig", [&] { return h.RemoveKelConfig("k"); }, bad},
      {"RemoveKelConfigByGroup", [&] { return h.RemoveKelConfigByGroup(); }, bad}};
  // clang-format on
  TraceCapture capture(0);
  for (const auto& [text, call, result] : rows) {
    capture.Clear();
    EXPECT_EQ(call(), result) << text;
    EXPECT_EQ(capture.Texts(), Lines{HelperLine(h, std::string(text) + "Error KelConfigGroup")});
  }
  // An explicit group is used as given: the store refuses an unusable one.
  capture.Clear();
  EXPECT_EQ(h.SetKelConfig("k", 1, static_cast<KelConfigGroup>(0xFFFFFFFEu)), KEL_E_INVALIDARG);
  EXPECT_EQ(capture.CountContaining("kelStore::KelConfig::SetKelConfigError parameters"), 1);
  // kGroupNone means the default group; flags and provider defaults are passed on.
  ASSERT_EQ(h.SetDefaultGroup(kGroupVideo), KEL_S_OK);
  int told = 0;
  ASSERT_NE(h.SubscribeConfig("k", [&](const KelConfigEvent&) { ++told; }), 0u);
  ASSERT_NE(h.BindConfig("p", kAnswer), 0u);
  EXPECT_EQ(h.SetKelConfig("k", 2, kGroupAudio), KEL_E_NOOBSERVER);
  EXPECT_EQ(h.SetKelConfig("k", 1), KEL_S_OK);
  EXPECT_EQ(h.SetKelConfig("k", 1, kGroupNone, true), KEL_S_OK);
  EXPECT_EQ(told, 2);
  EXPECT_EQ(h.GetKelConfig("k", kGroupAudio), ConfigData(2));
  EXPECT_EQ(h.GetDynamicConfig("p", kGroupNone, 5), ConfigData("=5"));
  EXPECT_EQ(h.SetKelConfig("k", 0, kGroupNone, false, true), KEL_S_OK);  // removal
  EXPECT_FALSE(h.HaveKelConfig("k"));
  EXPECT_EQ(h.ApplyKelConfigs("{\"Video\":[{\"key\":\"w\",\"value\":\"6\"}]}"), KEL_S_OK);
  EXPECT_STREQ(h.DumpKelConfigs(1u << kGroupVideo),
               "{\"Video\":[{\"key\":\"w\",\"value\":\"6\"}]}");
}

TEST_F(KelConfigHelperTest, SubscriptionsMadeBeforeTheStoreGoLiveWithFreshIds) {
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
  ASSERT_EQ(late.SetCallId(kCall), KEL_S_OK);
  // Sent name by name ("d" took id 2, "k" 3); "k" runs on the firing thread instead of being
  // posted to the worker, and its provider was dropped.
  EXPECT_EQ(other.SetKelConfig("k", 5, kGroupAudio), KEL_S_OK);
  EXPECT_EQ(threads, std::vector<uint64_t>{GetThreadSelfId()});
  ConfigData value;
  EXPECT_EQ(other.GetDynamicConfig("k", value, kGroupAudio), KEL_E_NOOBSERVER);
  EXPECT_EQ(other.GetDynamicConfig("d", kGroupAudio, 1), ConfigData("=1"));
  EXPECT_EQ(late.UnsubscribeConfig(SubscribeId_t{1}), KEL_E_BADSTATE);  // not this helper's
  EXPECT_EQ(late.UnsubscribeConfig(SubscribeId_t{3}), KEL_S_OK);
  EXPECT_EQ(late.UnsubscribeConfig("d", kGroupNone), KEL_S_OK);
  EXPECT_EQ(other.SetKelConfig("k", 6, kGroupAudio), KEL_E_NOOBSERVER);
  EXPECT_EQ(other.GetDynamicConfig("d", value, kGroupAudio), KEL_E_NOOBSERVER);
}

}  // namespace
}  // namespace kelStore
