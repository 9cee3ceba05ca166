// The store registry and its exported functions: counting, destroy and reads by call id.
// (Refused arguments are in badinput/store_bad_input_test.cc, trace lines in
// kel_config_store_test.cc.)
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

using storetest::RegistryCount;
using RegistryTest = storetest::StoreTest;

TEST_F(RegistryTest, CountingSequences) {
  // Each step: operation (C create, R release the store the call's last create handed out, U
  // clean up, D destroy), call id ('x' for ~0U), result ('+' success, '!' KEL_E_FAIL), and the
  // call's count afterwards ('-' no entry).
  for (const char* script : {
           "C1+2 U1+1 R1+- R1!- U1!-",       // clean-up before release
           "C1+2 C1+3 R1+2 R1+1 U1+-",       // two creators
           "C1+2 U1+1 U1!1 R1+-",            // a repeated clean-up keeps the count
           "C1+2 U1+1 C1+2 U1!2 R1+1 R1+-",  // create after clean-up ignores the mark
           "C1+2 R1+1 R1+-",                 // releases alone erase at the second
           "C0+2 Cx+2 Rx+1 U0+1 R0+- Ux+-",  // calls are counted apart
           "C1+2 C1+3 C2+2 D1+- D2+- R1!-",  // destroy drops every store whatever its count
       }) {
    std::map<uint32_t, IKelConfig*> stores;
    for (const char* step = script; *step != '\0'; step += step[4] == ' ' ? 5 : 4) {
      SCOPED_TRACE(std::string(script) + " at " + step);
      const uint32_t call = step[1] == 'x' ? 0xFFFFFFFFu : static_cast<uint32_t>(step[1] - '0');
      int32_t result = KEL_S_OK;
      if (step[0] == 'C') {
        IKelConfig* store = nullptr;
        const bool registered = RegistryCount(call) >= 0;
        result = CreateKelConfig(call, &store);
        EXPECT_TRUE(!registered || store == stores[call]);  // one store per call
        stores[call] = store;
      } else if (step[0] == 'D') {
        if (RegistryCount(call) >= 0) DestroyKelConfig();
      } else {
        result = step[0] == 'R' ? ReleaseKelConfig(stores[call]) : CleanUpKelConfig(call);
      }
      EXPECT_EQ(result, step[2] == '+' ? KEL_S_OK : KEL_E_FAIL);
      EXPECT_EQ(RegistryCount(call), step[3] == '-' ? -1 : step[3] - '0');
    }
    DestroyKelConfig();
    EXPECT_EQ(GetKelConfigSizeForUT(), 0u);
  }
}

TEST_F(RegistryTest, ReadsByCallId) {
  IKelConfig* store = nullptr;
  ASSERT_EQ(CreateKelConfig(11, &store), KEL_S_OK);
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
  ConfigData out;
  EXPECT_EQ(GetKelConfigValueEx(5, "owner", out, 11), KEL_S_OK);
  EXPECT_EQ(out, ConfigData(5u));
  EXPECT_EQ(GetKelConfigValueEx(5, "absent", out, 11), KEL_E_BADSTATE);
  EXPECT_FALSE(out.IsValid());
  EXPECT_EQ(RegistryCount(11), 2);  // each read gave its reference back
}

}  // namespace
}  // namespace kelStore
