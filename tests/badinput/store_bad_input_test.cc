// Bad input to the store and its registry functions: each call gets its documented result, and
// the store and the registry stay as they were. (Lines: store/kel_config_store_test.cc.)
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

constexpr uint32_t kCall = 4242;

// clang-format off
class StoreBadInput : public storetest::StoreTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(CreateKelConfig(kCall, &store_), KEL_S_OK);
    store_->SetKelConfig(kGroupCommon, "region", ConfigData("eu"));
    store_->SetKelConfig(kGroupAudio, "gain", ConfigData(3));
    snapshot_ = store_->DumpKelConfigs(0xFFFFFFFFu);
  }
  // The registry and the store are as SetUp left them.
  void ExpectUntouched() {
    EXPECT_EQ(GetKelConfigSizeForUT(), 1u);
    EXPECT_EQ(storetest::RegistryCount(kCall), 2);
    EXPECT_EQ(store_->DumpKelConfigs(0xFFFFFFFFu), snapshot_);
  }

  // A refused call: what it returns (a code, or id 0 for subscribe and bind) and how many error
  // lines it leaves (-1: not this test's business).
  struct Row { std::string label; std::function<int64_t()> call; int64_t expected; int traced; };
  void Check(const std::vector<Row>& rows, ConfigData& out) {
    TraceCapture capture(0);
    for (const Row& row : rows) {
      SCOPED_TRACE(row.label);
      out = ConfigData("kept");
      capture.Clear();
      EXPECT_EQ(row.call(), row.expected);
      if (row.traced >= 0) {
        EXPECT_EQ(capture.TextsAtLevel(0).size(), static_cast<size_t>(row.traced));
      }
      EXPECT_EQ(out, ConfigData("kept"));
      ExpectUntouched();
    }
  }

  IKelConfig* store_ = nullptr;
  std::string snapshot_;
};
// clang-format on

// A row whose call is an expression on the store `s` and a scratch value `out`.
#define ROW(expected, traced, ...)                                                      \
  Row {                                                                                 \
#__VA_ARGS__, [&] { return static_cast<int64_t>((__VA_ARGS__)); }, expected, traced \
  }

TEST_F(StoreBadInput, StoreOperationsRefuseAndKeepTheValues) {
  IKelConfig& s = *store_;
  ConfigData out;
  const auto g13 = static_cast<KelConfigGroup>(13), none = kGroupNone, a = kGroupAudio;
  const fnConfigChangedCallBack cb = [](const KelConfigEvent&) {};
  const fnConfigInvokeCallBack provider = [](const KelConfigEvent&) { return ConfigData(1); };
  const int64_t invalid = KEL_E_INVALIDARG, bad = KEL_E_BADSTATE;
  // Bad groups and null names: refused, and traced by set, dynamic read, subscribe and bind.
  // Empty names: refused, and traced by subscribe and bind only.
  // clang-format off
  Check({ROW(invalid, 1, s.SetKelConfig(g13, "n", 1)), ROW(invalid, 1, s.SetKelConfig(none, "n", 1)),
         ROW(invalid, 1, s.SetKelConfig(a, nullptr, 1)), ROW(invalid, 0, s.SetKelConfig(a, "", 1)),
         ROW(invalid, 1, s.SetKelConfig(a, "gain", ConfigData())),
         ROW(invalid, 1, s.SetKelConfig(a, "gain", ConfigData(), false, true)),
         ROW(invalid, 0, s.GetKelConfig(g13, "n", out)), ROW(invalid, 0, s.GetKelConfig(none, "n", out)),
         ROW(invalid, 0, s.GetKelConfig(a, nullptr, out)), ROW(invalid, 0, s.GetKelConfig(a, "", out)),
         ROW(invalid, 1, s.GetDynamicConfig(g13, "n", out)),
         ROW(invalid, 1, s.GetDynamicConfig(none, "n", out)),
         ROW(invalid, 1, s.GetDynamicConfig(a, nullptr, out)),
         ROW(invalid, 0, s.GetDynamicConfig(a, "", out)),
         ROW(invalid, 0, s.RemoveKelConfig(g13, "n")), ROW(invalid, 0, s.RemoveKelConfig(none, "n")),
         ROW(invalid, 0, s.RemoveKelConfig(a, nullptr)), ROW(invalid, 0, s.RemoveKelConfig(a, "")),
         ROW(invalid, 0, s.RemoveKelConfigByGroup(g13)), ROW(invalid, 0, s.RemoveKelConfigByGroup(none)),
         ROW(0, 1, s.SubscribeConfig(g13, "n", cb)), ROW(0, 1, s.SubscribeConfig(none, "n", cb)),
         ROW(0, 1, s.SubscribeConfig(a, nullptr, cb)), ROW(0, 1, s.SubscribeConfig(a, "", cb)),
         ROW(0, 1, s.SubscribeConfig(a, "gain", nullptr)),
         ROW(0, 1, s.BindConfig(g13, "n", provider)), ROW(0, 1, s.BindConfig(none, "n", provider)),
         ROW(0, 1, s.BindConfig(a, nullptr, provider)), ROW(0, 1, s.BindConfig(a, "", provider)),
         ROW(0, 1, s.BindConfig(a, "gain", nullptr)),
         ROW(bad, 1, s.UnsubscribeConfig(0)), ROW(bad, 1, s.UnsubscribeConfig(77)),
         ROW(bad, 1, s.UnsubscribeConfig(~SubscribeId_t{0})), ROW(bad, 0, s.ApplyKelConfigs(nullptr))},
        out);
  // clang-format on
  // Refused before an id was given out: the first subscription still gets id 1.
  EXPECT_EQ(s.SubscribeConfig(kGroupAudio, "gain", cb), 1u);
}

TEST_F(StoreBadInput, RegistryFunctionsRefuseAndKeepTheRegistry) {
  KelConfig foreign(kCall);  // same call id, never registered
  IKelConfig* slot = nullptr;
  ConfigData out;
  const int32_t invalid = KEL_E_INVALIDARG, fail = KEL_E_FAIL, bad = KEL_E_BADSTATE;
  // (The temporary helper of a read traces its own refusals: not counted here.)
  // clang-format off
  Check({ROW(invalid, 0, CreateKelConfig(kCall, nullptr)),
         ROW(invalid, 0, slot = &foreign, CreateKelConfig(kCall, &slot) + (slot != &foreign)),
         ROW(invalid, 0, ReleaseKelConfig(nullptr)),
         ROW(fail, 0, ReleaseKelConfig(&foreign)),
         ROW(fail, 0, CleanUpKelConfig(999999)),  // an id never issued
         ROW(fail, 0, CleanUpKelConfig(0xFFFFFFFFu)),
         ROW(invalid, 0, GetKelConfigValue(kel::kSessionTypeAudio, "gain", out, 0xFFFFFFFFu)),
         ROW(invalid, 0, GetKelConfigValueEx(kGroupAudio, "gain", out, 0xFFFFFFFFu)),
         ROW(invalid, -1, GetKelConfigValueEx(kGroupAudio, "", out, kCall)),
         ROW(invalid, -1, GetKelConfigValueEx(13, "gain", out, kCall)),
         ROW(bad, -1, GetKelConfigValue(kel::kSessionTypeData, "gain", out, kCall)),
         ROW(bad, -1, GetKelConfigValue(0xFFFFFFFFu, "gain", out, kCall)),
         // 0xFFFFFFFF names no group: the temporary helper has no default group to fall back on.
         ROW(bad, -1, GetKelConfigValueEx(kGroupNone, "gain", out, kCall))},
        out);
  // clang-format on
  EXPECT_EQ(slot, &foreign);
}
#undef ROW

}  // namespace
}  // namespace kelStore
