// The store registry and its exported functions: counting, lifecycle lines and reads by call id.
// (Refused arguments are in badinput/store_bad_input_test.cc.)
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

using storetest::RegistryCount;
using storetest::StoreDecoration;
using Lines = std::vector<std::string>;

class RegistryTest : public storetest::StoreTest {
 protected:
  IKelConfig* Create(uint32_t callId) {
    IKelConfig* store = nullptr;
    EXPECT_EQ(CreateKelConfig(callId, &store), KEL_S_OK);
    return store;
  }
};

TEST_F(RegistryTest, CountingSequences) {
  // Each step: operation (C create, R release the store the call's last create handed out, U
  // clean up), call id ('x' for ~0U), result ('+' success, '!' KEL_E_FAIL), and the call's count
  // afterwards ('-' no entry).
  for (const char* script : {
           "C1+2 U1+1 R1+- R1!- U1!-",       // clean-up before release
           "C1+2 C1+3 R1+2 R1+1 U1+-",       // two creators
           "C1+2 U1+1 U1!1 R1+-",            // a repeated clean-up keeps the count
           "C1+2 U1+1 C1+2 U1!2 R1+1 R1+-",  // create after clean-up ignores the mark
           "C1+2 R1+1 R1+-",                 // releases alone erase at the second
           "C0+2 Cx+2 Rx+1 U0+1 R0+- Ux+-",  // calls are counted apart
       }) {
    std::map<uint32_t, IKelConfig*> stores;
    for (const char* step = script; *step != '\0'; step += step[4] == ' ' ? 5 : 4) {
      SCOPED_TRACE(std::string(script) + " at " + step);
      const uint32_t call = step[1] == 'x' ? 0xFFFFFFFFu : static_cast<uint32_t>(step[1] - '0');
      int32_t result = -1;
      if (step[0] == 'C') {
        IKelConfig* store = nullptr;
        const bool registered = RegistryCount(call) >= 0;
        result = CreateKelConfig(call, &store);
        EXPECT_TRUE(!registered || store == stores[call]);  // one store per call
        stores[call] = store;
      } else {
        result = step[0] == 'R' ? ReleaseKelConfig(stores[call]) : CleanUpKelConfig(call);
      }
      EXPECT_EQ(result, step[2] == '+' ? KEL_S_OK : KEL_E_FAIL);
      EXPECT_EQ(RegistryCount(call), step[3] == '-' ? -1 : step[3] - '0');
      EXPECT_TRUE(storetest::RegistryIndexConsistent());
    }
    DestroyKelConfig();
  }
}

TEST_F(RegistryTest, LifecycleLinesAndDestroy) {
  TraceCapture capture(2);
  IKelConfig* store = Create(5);
  IKelConfig* filled = store;
  CreateKelConfig(5, &filled);  // refused under the lock, after the entry line
  Create(5);
  ReleaseKelConfig(store);
  CleanUpKelConfig(5);
  CleanUpKelConfig(5);
  ReleaseKelConfig(store);
  const std::string self = StoreDecoration(5, store);
  EXPECT_EQ(capture.Texts(), (Lines{
                                 "kelStore::CreateKelConfig [cid=5]",
                                 "kelStore::KelConfig::KelConfig" + self,
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

  // Destroy drops every store whatever its count.
  IKelConfig* first = Create(3);
  Create(3);
  IKelConfig* second = Create(9);
  ReleaseKelConfig(second);
  capture.Clear();
  DestroyKelConfig();
  EXPECT_EQ(capture.Texts(), (Lines{
                                 "Enter, kelStore::DestroyKelConfig,line=902",
                                 "kelStore::DestroyKelConfig, callId=3, counts=3",
                                 "kelStore::DestroyKelConfig, callId=9, counts=1",
                                 "kelStore::KelConfig::~KelConfig" + StoreDecoration(3, first),
                                 "kelStore::KelConfig::~KelConfig" + StoreDecoration(9, second),
                                 "Leave, kelStore::DestroyKelConfig,line=902",
                             }));
  EXPECT_EQ(GetKelConfigSizeForUT(), 0u);
  EXPECT_TRUE(storetest::RegistryIndexConsistent());
  EXPECT_EQ(ReleaseKelConfig(first), KEL_E_FAIL);

  capture.Clear();
  set_external_trace_mask(1);  // info lines off
  ReleaseKelConfig(Create(4));
  CleanUpKelConfig(4);
  DestroyKelConfig();
  EXPECT_TRUE(capture.Texts().empty());
}

TEST_F(RegistryTest, ReadsByCallId) {
  IKelConfig* store = Create(11);
  // Each group holds "owner" = its own group number.
  for (uint32_t group = 0; group < kGroupLast; ++group) {
    store->SetKelConfig(static_cast<KelConfigGroup>(group), "owner", ConfigData(group));
  }
  TraceCapture capture(0);
  // By session type: its group, or (no default group in the temporary helper) refused.
  for (const auto& [type, group] :
       std::vector<std::pair<uint32_t, int>>{{0, 3}, {2, 6}, {3, 4}, {14, 9}, {6, -1}, {15, -1}}) {
    ConfigData out;
    EXPECT_EQ(GetKelConfigValue(type, "owner", out, 11), group >= 0 ? KEL_S_OK : KEL_E_BADSTATE);
    EXPECT_EQ(out, group >= 0 ? ConfigData(static_cast<uint32_t>(group)) : ConfigData()) << type;
  }
  EXPECT_EQ(capture.CountContaining("kelStore::KelConfigHelper::GetKelConfigError KelConfigGroup "
                                    "[this=0x"),
            2);
  ConfigData out;
  EXPECT_EQ(GetKelConfigValueEx(5, "owner", out, 11), KEL_S_OK);
  EXPECT_EQ(out, ConfigData(5u));
  EXPECT_EQ(GetKelConfigValueEx(5, "absent", out, 11), KEL_E_BADSTATE);
  EXPECT_FALSE(out.IsValid());
  EXPECT_EQ(RegistryCount(11), 2);  // each read gave its reference back
}

}  // namespace
}  // namespace kelStore
