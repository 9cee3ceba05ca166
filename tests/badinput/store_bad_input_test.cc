// Bad input to the configuration store and its registry functions: each call gets its documented
// result, and what the store and the registry already hold stays as it was.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "mediastores_internal.h"
#include "store/store_test_util.h"
#include "support/trace_capture.h"

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

struct Row {
  std::string label;
  std::function<int64_t(IKelConfig&)> call;
  int64_t expected;  // result code, or id (0) for subscribe and bind
};

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

TEST_F(StoreBadInput, StoreOperationsRefuseAndKeepTheValues) {
  auto onChange = [](const KelConfigEvent&) {};
  auto provide = [](const KelConfigEvent&) { return ConfigData(1); };
  std::vector<Row> rows;
  for (KelConfigGroup g : kBadGroups) {
    const std::string at = " group " + std::to_string(g);
    rows.push_back({"set" + at, [g](IKelConfig& s) { return s.SetKelConfig(g, "gain", 1); },
                    KEL_E_INVALIDARG});
    rows.push_back({"get" + at,
                    [g](IKelConfig& s) {
                      ConfigData out;
                      return s.GetKelConfig(g, "gain", out);
                    },
                    KEL_E_INVALIDARG});
    rows.push_back({"dynamic" + at,
                    [g](IKelConfig& s) {
                      ConfigData out("kept");
                      const int32_t rc = s.GetDynamicConfig(g, "gain", out);
                      return out == ConfigData("kept") ? rc : -1;
                    },
                    KEL_E_INVALIDARG});
    rows.push_back({"remove" + at, [g](IKelConfig& s) { return s.RemoveKelConfig(g, "gain"); },
                    KEL_E_INVALIDARG});
    rows.push_back({"remove group" + at, [g](IKelConfig& s) { return s.RemoveKelConfigByGroup(g); },
                    KEL_E_INVALIDARG});
    rows.push_back({"subscribe" + at,
                    [g, onChange](IKelConfig& s) { return s.SubscribeConfig(g, "gain", onChange); },
                    0});
    rows.push_back(
        {"bind" + at, [g, provide](IKelConfig& s) { return s.BindConfig(g, "gain", provide); }, 0});
  }
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    const std::string as = name == nullptr ? " null name" : " empty name";
    rows.push_back({"set" + as,
                    [name](IKelConfig& s) { return s.SetKelConfig(kGroupAudio, name, 1); },
                    KEL_E_INVALIDARG});
    rows.push_back({"get" + as,
                    [name](IKelConfig& s) {
                      ConfigData out;
                      return s.GetKelConfig(kGroupAudio, name, out);
                    },
                    KEL_E_INVALIDARG});
    rows.push_back({"dynamic" + as,
                    [name](IKelConfig& s) {
                      ConfigData out;
                      return s.GetDynamicConfig(kGroupAudio, name, out);
                    },
                    KEL_E_INVALIDARG});
    rows.push_back({"remove" + as,
                    [name](IKelConfig& s) { return s.RemoveKelConfig(kGroupAudio, name); },
                    KEL_E_INVALIDARG});
    rows.push_back(
        {"subscribe" + as,
         [name, onChange](IKelConfig& s) { return s.SubscribeConfig(kGroupAudio, name, onChange); },
         0});
    rows.push_back(
        {"bind" + as,
         [name, provide](IKelConfig& s) { return s.BindConfig(kGroupAudio, name, provide); }, 0});
  }
  rows.push_back({"set invalid value",
                  [](IKelConfig& s) { return s.SetKelConfig(kGroupAudio, "gain", ConfigData()); },
                  KEL_E_INVALIDARG});
  rows.push_back(
      {"remove invalid value",
       [](IKelConfig& s) { return s.SetKelConfig(kGroupAudio, "gain", ConfigData(), false, true); },
       KEL_E_INVALIDARG});
  rows.push_back({"subscribe without callback",
                  [](IKelConfig& s) { return s.SubscribeConfig(kGroupAudio, "gain", nullptr); },
                  0});
  rows.push_back({"bind without provider",
                  [](IKelConfig& s) { return s.BindConfig(kGroupAudio, "gain", nullptr); }, 0});
  for (SubscribeId_t id :
       {SubscribeId_t{0}, SubscribeId_t{1}, SubscribeId_t{77}, ~SubscribeId_t{0}}) {
    rows.push_back({"unsubscribe id " + std::to_string(id),
                    [id](IKelConfig& s) { return s.UnsubscribeConfig(id); }, KEL_E_BADSTATE});
  }
  rows.push_back(
      {"apply null", [](IKelConfig& s) { return s.ApplyKelConfigs(nullptr); }, KEL_E_BADSTATE});

  TraceCapture capture(0);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    EXPECT_EQ(row.call(*store_), row.expected);
    ExpectUntouched();
  }
  // Refused before an id was given out: the first subscription still gets id 1.
  EXPECT_EQ(store_->SubscribeConfig(kGroupAudio, "gain", onChange), 1u);
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
  const std::vector<std::pair<std::string, std::function<int32_t()>>> calls = {
      {"create into null slot", [] { return CreateKelConfig(kCall, nullptr); }},
      {"create into filled slot",
       [foreign] {
         IKelConfig* slot = foreign;
         return CreateKelConfig(kCall, &slot);
       }},
      {"release null", [] { return ReleaseKelConfig(nullptr); }},
      {"release foreign store", [foreign] { return ReleaseKelConfig(foreign); }},
      {"clean up id never issued", [] { return CleanUpKelConfig(999999); }},
      {"clean up no call", [] { return CleanUpKelConfig(0xFFFFFFFFu); }},
      {"read no call",
       [] {
         ConfigData out;
         return GetKelConfigValue(kel::kSessionTypeAudio, "gain", out, 0xFFFFFFFFu);
       }},
      {"read group no call",
       [] {
         ConfigData out;
         return GetKelConfigValueEx(kGroupAudio, "gain", out, 0xFFFFFFFFu);
       }},
      {"read null name",
       [] {
         ConfigData out;
         return GetKelConfigValueEx(kGroupAudio, nullptr, out, kCall);
       }},
      {"read empty name",
       [] {
         ConfigData out;
         return GetKelConfigValueEx(kGroupAudio, "", out, kCall);
       }},
      {"read session type without group",
       [] {
         ConfigData out;
         return GetKelConfigValue(kel::kSessionTypeData, "gain", out, kCall);
       }},
      {"read session type 0xFFFFFFFF",
       [] {
         ConfigData out;
         return GetKelConfigValue(0xFFFFFFFFu, "gain", out, kCall);
       }},
  };
  const int32_t expected[] = {KEL_E_INVALIDARG, KEL_E_INVALIDARG, KEL_E_INVALIDARG,
                              KEL_E_FAIL,       KEL_E_FAIL,       KEL_E_FAIL,
                              KEL_E_INVALIDARG, KEL_E_INVALIDARG, KEL_E_INVALIDARG,
                              KEL_E_INVALIDARG, KEL_E_BADSTATE,   KEL_E_BADSTATE};
  ASSERT_EQ(calls.size(), std::size(expected));
  TraceCapture capture(-1);
  for (size_t i = 0; i < calls.size(); ++i) {
    SCOPED_TRACE(calls[i].first);
    EXPECT_EQ(calls[i].second(), expected[i]);
    ExpectUntouched();
  }
  for (KelConfigGroup g : kBadGroups) {
    SCOPED_TRACE(g);
    ConfigData out("kept");
    // 0xFFFFFFFF names no group: the temporary helper has no default group to fall back on.
    EXPECT_EQ(GetKelConfigValueEx(g, "gain", out, kCall),
              g == kGroupNone ? KEL_E_BADSTATE : KEL_E_INVALIDARG);
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
