#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "mediastores_internal.h"
#include "store_test_util.h"
#include "support/trace_capture.h"

namespace {

using kelStore::IKelConfig;
using storetest::RegistryCount;
using storetest::StoreDecoration;
using storetest::StoreTest;

using Lines = std::vector<std::string>;

class RegistryTest : public StoreTest {
 protected:
  IKelConfig* Create(uint32_t callId) {
    IKelConfig* store = nullptr;
    EXPECT_EQ(kelStore::CreateKelConfig(callId, &store), KEL_S_OK);
    return store;
  }
};

enum class Op { kCreate, kRelease, kCleanUp };

struct Step {
  Op op;
  uint32_t callId;
  int32_t result;
  int32_t count;  // the call's count afterwards; -1 when it has no entry
};

// Runs `steps`; a release gives back the store that the last create of that call handed out.
void RunSteps(const std::vector<Step>& steps) {
  std::map<uint32_t, IKelConfig*> stores;
  for (size_t i = 0; i < steps.size(); ++i) {
    const Step& step = steps[i];
    SCOPED_TRACE("step " + std::to_string(i));
    int32_t result = 0;
    switch (step.op) {
      case Op::kCreate: {
        const bool registered = RegistryCount(step.callId) >= 0;
        IKelConfig* store = nullptr;
        result = kelStore::CreateKelConfig(step.callId, &store);
        if (registered) {
          EXPECT_EQ(store, stores[step.callId]);  // one store per call
        }
        stores[step.callId] = store;
        break;
      }
      case Op::kRelease:
        result = kelStore::ReleaseKelConfig(stores[step.callId]);
        break;
      case Op::kCleanUp:
        result = kelStore::CleanUpKelConfig(step.callId);
        break;
    }
    EXPECT_EQ(result, step.result);
    EXPECT_EQ(RegistryCount(step.callId), step.count);
    EXPECT_TRUE(storetest::RegistryIndexConsistent());
  }
}

TEST_F(RegistryTest, CountingSequences) {
  const Op C = Op::kCreate, R = Op::kRelease, U = Op::kCleanUp;
  const int32_t F = KEL_E_FAIL;
  struct Sequence {
    const char* what;
    std::vector<Step> steps;
  };
  const std::vector<Sequence> sequences = {
      {"create, release, clean-up", {{C, 1, 0, 2}, {R, 1, 0, 1}, {U, 1, 0, -1}}},
      {"clean-up before release", {{C, 1, 0, 2}, {U, 1, 0, 1}, {R, 1, 0, -1}, {R, 1, F, -1}}},
      {"two creators", {{C, 1, 0, 2}, {C, 1, 0, 3}, {R, 1, 0, 2}, {R, 1, 0, 1}, {U, 1, 0, -1}}},
      {"repeated clean-up keeps the count",
       {{C, 1, 0, 2},
        {C, 1, 0, 3},
        {U, 1, 0, 2},
        {U, 1, F, 2},
        {R, 1, 0, 1},
        {U, 1, F, 1},
        {R, 1, 0, -1},
        {U, 1, F, -1}}},
      {"create after clean-up ignores the mark",
       {{C, 1, 0, 2}, {U, 1, 0, 1}, {C, 1, 0, 2}, {R, 1, 0, 1}, {R, 1, 0, -1}}},
      {"releases alone erase at the second",
       {{C, 1, 0, 2}, {R, 1, 0, 1}, {R, 1, 0, -1}, {R, 1, F, -1}, {U, 1, F, -1}}},
      {"calls are counted apart",
       {{C, 1, 0, 2}, {C, 2, 0, 2}, {R, 2, 0, 1}, {U, 1, 0, 1}, {R, 1, 0, -1}, {U, 2, 0, -1}}},
      {"call id 0 and the highest id",
       {{C, 0, 0, 2}, {C, 0xFFFFFFFF, 0, 2}, {U, 0xFFFFFFFF, 0, 1}, {U, 0, 0, 1}}},
  };
  for (const Sequence& sequence : sequences) {
    SCOPED_TRACE(sequence.what);
    RunSteps(sequence.steps);
    kelStore::DestroyKelConfig();
  }
}

TEST_F(RegistryTest, RefusedArguments) {
  IKelConfig* store = Create(5);
  EXPECT_EQ(kelStore::CreateKelConfig(6, nullptr), KEL_E_INVALIDARG);
  IKelConfig* filled = store;
  EXPECT_EQ(kelStore::CreateKelConfig(6, &filled), KEL_E_INVALIDARG);  // slot must be empty
  EXPECT_EQ(filled, store);
  EXPECT_EQ(kelStore::GetKelConfigSizeForUT(), 1u);
  EXPECT_EQ(kelStore::CreateKelConfig(5, &filled), KEL_E_INVALIDARG);
  EXPECT_EQ(RegistryCount(5), 2);

  EXPECT_EQ(kelStore::ReleaseKelConfig(nullptr), KEL_E_INVALIDARG);
  kelStore::KelConfig foreign(5);  // same call id, but not the registered store
  EXPECT_EQ(kelStore::ReleaseKelConfig(&foreign), KEL_E_FAIL);
  EXPECT_EQ(kelStore::CleanUpKelConfig(6), KEL_E_FAIL);
  EXPECT_EQ(RegistryCount(5), 2);
}

TEST_F(RegistryTest, DestroyDropsEveryStoreWhateverItsCount) {
  IKelConfig* store = Create(3);
  Create(3);
  Create(9);
  ASSERT_EQ(kelStore::GetKelConfigSizeForUT(), 2u);
  kelStore::DestroyKelConfig();
  EXPECT_EQ(kelStore::GetKelConfigSizeForUT(), 0u);
  EXPECT_TRUE(storetest::RegistryIndexConsistent());
  EXPECT_EQ(kelStore::ReleaseKelConfig(store), KEL_E_FAIL);
  EXPECT_NE(Create(3), nullptr);  // a fresh store with count 2
  EXPECT_EQ(RegistryCount(3), 2);
}

TEST_F(RegistryTest, LifecycleLines) {
  TraceCapture capture(2);
  IKelConfig* store = Create(5);
  const std::string self = StoreDecoration(5, store);
  EXPECT_EQ(capture.Texts(),
            (Lines{"kelStore::CreateKelConfig [cid=5]", "kelStore::KelConfig::KelConfig" + self}));
  capture.Clear();
  IKelConfig* filled = store;
  kelStore::CreateKelConfig(5, &filled);  // refused under the lock, after the entry line
  Create(5);
  kelStore::ReleaseKelConfig(store);
  kelStore::CleanUpKelConfig(5);
  kelStore::CleanUpKelConfig(5);
  kelStore::ReleaseKelConfig(store);
  EXPECT_EQ(capture.Texts(), (Lines{
                                 "kelStore::CreateKelConfig [cid=5]",
                                 "kelStore::CreateKelConfig [cid=5]",
                                 "kelStore::ReleaseKelConfig [cid=5], counts=2",
                                 "Enter, kelStore::CleanUpKelConfig,line=881, callId=5",
                                 "kelStore::CleanUpKelConfig, callId=5, counts=1",
                                 "Leave, kelStore::CleanUpKelConfig,line=881",
                                 "Enter, kelStore::CleanUpKelConfig,line=881, callId=5",
                                 "Leave, kelStore::CleanUpKelConfig,line=881",
                                 "kelStore::KelConfig::~KelConfig" + self,
                                 "kelStore::ReleaseKelConfig [cid=5], counts=0",
                             }));
  for (const CapturedTrace& line : capture.Lines()) {
    EXPECT_EQ(line.level, 2);
    EXPECT_EQ(line.module, "UTIL");
  }

  IKelConfig* first = Create(3);
  Create(3);
  IKelConfig* second = Create(9);
  kelStore::ReleaseKelConfig(second);
  capture.Clear();
  kelStore::DestroyKelConfig();
  EXPECT_EQ(capture.Texts(), (Lines{
                                 "Enter, kelStore::DestroyKelConfig,line=902",
                                 "kelStore::DestroyKelConfig, callId=3, counts=3",
                                 "kelStore::DestroyKelConfig, callId=9, counts=1",
                                 "kelStore::KelConfig::~KelConfig" + StoreDecoration(3, first),
                                 "kelStore::KelConfig::~KelConfig" + StoreDecoration(9, second),
                                 "Leave, kelStore::DestroyKelConfig,line=902",
                             }));

  capture.Clear();
  set_external_trace_mask(1);  // info lines off
  store = Create(4);
  kelStore::ReleaseKelConfig(store);
  kelStore::CleanUpKelConfig(4);
  kelStore::DestroyKelConfig();
  EXPECT_TRUE(capture.Texts().empty());
}

class ReadByCallTest : public RegistryTest {
 protected:
  void SetUp() override {
    store_ = Create(kCallId);
    // Each group holds "owner" = its own group number.
    for (uint32_t group = 0; group < kelStore::kGroupLast; ++group) {
      store_->SetKelConfig(static_cast<kelStore::KelConfigGroup>(group), "owner",
                           ConfigData(group));
    }
  }

  static constexpr uint32_t kCallId = 11;
  IKelConfig* store_ = nullptr;
};

TEST_F(ReadByCallTest, SessionTypesReadTheirGroups) {
  // Session type -> group of the read; -1: no group of its own (and no default group here).
  const std::vector<int> groups = {3, 5, 6, 4, 7, 8, -1, -1, -1, -1, -1, -1, -1, -1, 9, -1, -1};
  TraceCapture capture(0);
  for (uint32_t type = 0; type < groups.size(); ++type) {
    SCOPED_TRACE(type);
    ConfigData out;
    const int32_t result = kelStore::GetKelConfigValue(type, "owner", out, kCallId);
    if (groups[type] >= 0) {
      EXPECT_EQ(result, KEL_S_OK);
      EXPECT_EQ(out, ConfigData(static_cast<uint32_t>(groups[type])));
    } else {
      EXPECT_EQ(result, KEL_E_BADSTATE);
    }
  }
  EXPECT_EQ(capture.Texts().size(), 10u);
  EXPECT_EQ(capture.CountContaining("kelStore::KelConfigHelper::GetKelConfigError KelConfigGroup "
                                    "[this=0x"),
            10);
  EXPECT_EQ(RegistryCount(kCallId), 2);  // each read gave its reference back
}

TEST_F(ReadByCallTest, GroupReadsAndRefusals) {
  TraceCapture capture(0);
  ConfigData out;
  EXPECT_EQ(kelStore::GetKelConfigValueEx(5, "owner", out, kCallId), KEL_S_OK);
  EXPECT_EQ(out, ConfigData(5u));
  EXPECT_EQ(kelStore::GetKelConfigValueEx(5, "absent", out, kCallId), KEL_E_BADSTATE);
  EXPECT_FALSE(out.IsValid());
  EXPECT_EQ(kelStore::GetKelConfigValueEx(13, "owner", out, kCallId), KEL_E_INVALIDARG);
  EXPECT_EQ(kelStore::GetKelConfigValueEx(0xFFFFFFFE, "owner", out, kCallId), KEL_E_INVALIDARG);
  EXPECT_EQ(kelStore::GetKelConfigValueEx(0xFFFFFFFF, "owner", out, kCallId), KEL_E_BADSTATE);
  EXPECT_EQ(capture.CountContaining("Error KelConfigGroup"), 1);
  EXPECT_EQ(capture.AssertionCount(), 0);

  EXPECT_EQ(kelStore::GetKelConfigValueEx(5, nullptr, out, kCallId), KEL_E_INVALIDARG);
  EXPECT_EQ(kelStore::GetKelConfigValue(0, nullptr, out, kCallId), KEL_E_INVALIDARG);
  EXPECT_EQ(capture.AssertionCount(), 2);
  EXPECT_EQ(capture.CountContaining("kel_config_helper.cc:"), 2);
  EXPECT_EQ(
      capture.CountContaining(" Assert failed: (szConfigName != NULL) && (m_pIKelConfig != NULL)"),
      2);

  capture.Clear();
  EXPECT_EQ(kelStore::GetKelConfigValue(0, "owner", out, 0xFFFFFFFF), KEL_E_INVALIDARG);
  EXPECT_EQ(kelStore::GetKelConfigValueEx(3, "owner", out, 0xFFFFFFFF), KEL_E_INVALIDARG);
  EXPECT_EQ(capture.AssertionCount(), 0);
  EXPECT_EQ(kelStore::GetKelConfigSizeForUT(), 1u);
  EXPECT_EQ(RegistryCount(kCallId), 2);
}

TEST_F(ReadByCallTest, ReadOfAnUnknownCallLeavesItsStoreToTheCleanUp) {
  ConfigData out;
  EXPECT_EQ(kelStore::GetKelConfigValueEx(3, "owner", out, 12), KEL_E_BADSTATE);
  EXPECT_EQ(RegistryCount(12), 1);  // made with 2, one given back by the temporary helper
  EXPECT_EQ(kelStore::CleanUpKelConfig(12), KEL_S_OK);
  EXPECT_EQ(RegistryCount(12), -1);
}

}  // namespace
