// Bad input to the configuration store and its registry functions: each call gets its documented
// result, and what the store and the registry already hold stays as it was.
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
constexpr ConfigMultGroup_t kAllGroups = (1u << kGroupLast) - 1;
const KelConfigGroup kBadGroups[] = {static_cast<KelConfigGroup>(13),
                                     static_cast<KelConfigGroup>(14),
                                     static_cast<KelConfigGroup>(0xFFFFFFFEu), kGroupNone};

const std::string& HugeName() {
  static const std::string name(1 << 20, 'n');
  return name;
}

class StoreBadInput : public storetest::StoreTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(CreateKelConfig(kCall, &store_), KEL_S_OK);
    store_->SetKelConfig(kGroupCommon, "region", ConfigData("eu"));
    store_->SetKelConfig(kGroupAudio, "gain", ConfigData(3));
    store_->SetKelConfig(kGroupUnitTest, "probe", ConfigData(true));
    snapshot_ = store_->DumpKelConfigs(kAllGroups);
  }

  // The registry and the store are as SetUp left them.
  void ExpectUntouched() {
    EXPECT_EQ(GetKelConfigSizeForUT(), 1u);
    EXPECT_EQ(storetest::RegistryCount(kCall), 2);
    EXPECT_EQ(store_->DumpKelConfigs(kAllGroups), snapshot_);
  }
  IKelConfig* store_ = nullptr;
  std::string snapshot_;
};

// A store operation on a group and a name: its result code, or the id for subscribe and bind.
struct Op {
  const char* label;
  std::function<int64_t(IKelConfig&, KelConfigGroup, const char*)> call;
  int64_t refused;  // KEL_E_INVALIDARG, or id 0
  bool traced;      // refusals leave an error line (the texts: store/kel_config_store_test.cc)
};
const Op kOps[] = {
    {"set", [](IKelConfig& s, KelConfigGroup g, const char* n) { return s.SetKelConfig(g, n, 1); },
     KEL_E_INVALIDARG, true},
    {"get",
     [](IKelConfig& s, KelConfigGroup g, const char* n) {
       ConfigData out;
       return s.GetKelConfig(g, n, out);
     },
     KEL_E_INVALIDARG, false},
    {"dynamic",
     [](IKelConfig& s, KelConfigGroup g, const char* n) {
       ConfigData out("kept");
       const int32_t rc = s.GetDynamicConfig(g, n, out);
       return out == ConfigData("kept") ? rc : -1;
     },
     KEL_E_INVALIDARG, true},
    {"remove",
     [](IKelConfig& s, KelConfigGroup g, const char* n) { return s.RemoveKelConfig(g, n); },
     KEL_E_INVALIDARG, false},
    {"subscribe",
     [](IKelConfig& s, KelConfigGroup g, const char* n) {
       return s.SubscribeConfig(g, n, [](const KelConfigEvent&) {});
     },
     0, true},
    {"bind",
     [](IKelConfig& s, KelConfigGroup g, const char* n) {
       return s.BindConfig(g, n, [](const KelConfigEvent&) { return ConfigData(1); });
     },
     0, true},
};

TEST_F(StoreBadInput, StoreOperationsRefuseAndKeepTheValues) {
  struct Row {
    std::string label;
    std::function<int64_t()> call;
    int64_t expected;
    bool traced;  // one error line
  };
  std::vector<Row> rows;
  for (const Op& op : kOps) {
    const std::string at = std::string(op.label) + " ";
    for (KelConfigGroup g : kBadGroups) {
      rows.push_back({at + std::to_string(g), [this, &op, g] { return op.call(*store_, g, "n"); },
                      op.refused, op.traced});
    }
    rows.push_back({at + "null name",
                    [this, &op] { return op.call(*store_, kGroupAudio, nullptr); }, op.refused,
                    op.traced});
    // An empty name: silent, but subscribe and bind trace it.
    rows.push_back({at + "empty name", [this, &op] { return op.call(*store_, kGroupAudio, ""); },
                    op.refused, op.refused == 0});
  }
  for (KelConfigGroup g : kBadGroups) {
    rows.push_back({"remove group " + std::to_string(g),
                    [this, g] { return store_->RemoveKelConfigByGroup(g); }, KEL_E_INVALIDARG,
                    false});
  }
  rows.push_back({"set invalid value",
                  [this] { return store_->SetKelConfig(kGroupAudio, "gain", ConfigData()); },
                  KEL_E_INVALIDARG, true});
  rows.push_back(
      {"remove invalid value",
       [this] { return store_->SetKelConfig(kGroupAudio, "gain", ConfigData(), false, true); },
       KEL_E_INVALIDARG, true});
  rows.push_back({"subscribe without callback",
                  [this] { return store_->SubscribeConfig(kGroupAudio, "gain", nullptr); }, 0,
                  true});
  rows.push_back({"bind without provider",
                  [this] { return store_->BindConfig(kGroupAudio, "gain", nullptr); }, 0, true});
  for (SubscribeId_t id : {SubscribeId_t{0}, SubscribeId_t{77}, ~SubscribeId_t{0}}) {
    rows.push_back({"unsubscribe " + std::to_string(id),
                    [this, id] { return store_->UnsubscribeConfig(id); }, KEL_E_BADSTATE, true});
  }
  rows.push_back(
      {"apply null", [this] { return store_->ApplyKelConfigs(nullptr); }, KEL_E_BADSTATE, false});

  TraceCapture capture(0);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    capture.Clear();
    EXPECT_EQ(row.call(), row.expected);
    EXPECT_EQ(capture.TextsAtLevel(0).size(), row.traced ? 1u : 0u);
    ExpectUntouched();
  }
  // Refused before an id was given out: the first subscription still gets id 1.
  EXPECT_EQ(store_->SubscribeConfig(kGroupAudio, "gain", [](const KelConfigEvent&) {}), 1u);
  EXPECT_EQ(store_->UnsubscribeConfig(1), KEL_S_OK);
  EXPECT_EQ(capture.AssertionCount(), 0);
}

TEST_F(StoreBadInput, HugeNameIsAnOrdinaryName) {
  const char* name = HugeName().c_str();
  ConfigData out;
  EXPECT_EQ(store_->GetKelConfig(kGroupVideo, name, out), KEL_E_BADSTATE);
  EXPECT_EQ(store_->SetKelConfig(kGroupVideo, name, ConfigData("big")), KEL_E_NOOBSERVER);
  EXPECT_EQ(store_->GetKelConfig(kGroupVideo, name, out), KEL_S_OK);
  EXPECT_EQ(out, ConfigData("big"));
  EXPECT_EQ(GetKelConfigValueEx(kGroupVideo, name, out, kCall), KEL_S_OK);
  EXPECT_EQ(out, ConfigData("big"));
  const SubscribeId_t id = store_->SubscribeConfig(kGroupVideo, name, [](const KelConfigEvent&) {});
  EXPECT_NE(id, 0u);
  EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);
  EXPECT_EQ(store_->RemoveKelConfig(kGroupVideo, name), KEL_S_OK);
  ExpectUntouched();
}

TEST_F(StoreBadInput, RegistryFunctionsRefuseAndKeepTheRegistry) {
  IKelConfig* const foreign = new KelConfig(kCall);  // same call id, never registered
  IKelConfig* slot = foreign;                        // a filled slot must stay as it was
  struct Row {
    std::string label;
    int32_t expected;
    std::function<int32_t(ConfigData&)> call;
  };
  // A row whose call is an expression on a scratch value `out`.
  // clang-format off
#define REGISTRY_ROW(expected, ...) \
  Row{#__VA_ARGS__, expected, [&](ConfigData& out) { return (void)out, (__VA_ARGS__); }}
  const int32_t invalid = KEL_E_INVALIDARG, fail = KEL_E_FAIL, bad = KEL_E_BADSTATE;
  std::vector<Row> rows = {
      REGISTRY_ROW(invalid, CreateKelConfig(kCall, nullptr)),
      REGISTRY_ROW(invalid, slot = foreign, CreateKelConfig(kCall, &slot) + (slot != foreign)),
      REGISTRY_ROW(invalid, ReleaseKelConfig(nullptr)),
      REGISTRY_ROW(fail, ReleaseKelConfig(foreign)),
      REGISTRY_ROW(fail, CleanUpKelConfig(999999)),  // an id never issued
      REGISTRY_ROW(fail, CleanUpKelConfig(0xFFFFFFFFu)),
      REGISTRY_ROW(invalid, GetKelConfigValue(kel::kSessionTypeAudio, "gain", out, 0xFFFFFFFFu)),
      REGISTRY_ROW(invalid, GetKelConfigValueEx(kGroupAudio, "gain", out, 0xFFFFFFFFu)),
      REGISTRY_ROW(invalid, GetKelConfigValueEx(kGroupAudio, nullptr, out, kCall)),
      REGISTRY_ROW(invalid, GetKelConfigValueEx(kGroupAudio, "", out, kCall)),
      REGISTRY_ROW(bad, GetKelConfigValue(kel::kSessionTypeData, "gain", out, kCall)),
      REGISTRY_ROW(bad, GetKelConfigValue(0xFFFFFFFFu, "gain", out, kCall)),
      // 0xFFFFFFFF names no group: the temporary helper has no default group to fall back on.
      REGISTRY_ROW(bad, GetKelConfigValueEx(kGroupNone, "gain", out, kCall))};
  // clang-format on
  for (const KelConfigGroup& g : kBadGroups) {  // rows capture by reference: the array element
    if (g != kGroupNone)
      rows.push_back(REGISTRY_ROW(invalid, GetKelConfigValueEx(g, "gain", out, kCall)));
  }
#undef REGISTRY_ROW
  TraceCapture capture(-1);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    ConfigData out("kept");
    EXPECT_EQ(row.call(out), row.expected);
    EXPECT_EQ(out, ConfigData("kept"));
    ExpectUntouched();
  }
  // The read with a null name is an argument fault of the temporary helper: an assertion.
  EXPECT_EQ(capture.AssertionCount(), 1);
  delete foreign;
}

TEST_F(StoreBadInput, ReleasedStoresAreUnknown) {
  constexpr uint32_t kGone = 4343;
  IKelConfig* gone = nullptr;
  ASSERT_EQ(CreateKelConfig(kGone, &gone), KEL_S_OK);
  EXPECT_EQ(CleanUpKelConfig(kGone), KEL_S_OK);
  EXPECT_EQ(CleanUpKelConfig(kGone), KEL_E_FAIL);  // a second clean-up leaves the count
  EXPECT_EQ(storetest::RegistryCount(kGone), 1);
  EXPECT_EQ(ReleaseKelConfig(gone), KEL_S_OK);  // the store is destroyed here
  // From here on `gone` is only a number: the registry looks it up, never follows it.
  EXPECT_EQ(ReleaseKelConfig(gone), KEL_E_FAIL);
  EXPECT_EQ(CleanUpKelConfig(kGone), KEL_E_FAIL);
  ExpectUntouched();
  // A read of an unknown call makes the call's store, which stays for the call's clean-up.
  ConfigData out;
  EXPECT_EQ(GetKelConfigValueEx(kGroupAudio, "gain", out, kGone), KEL_E_BADSTATE);
  EXPECT_EQ(storetest::RegistryCount(kGone), 1);
  EXPECT_EQ(CleanUpKelConfig(kGone), KEL_S_OK);
  ExpectUntouched();
}

}  // namespace
}  // namespace kelStore
