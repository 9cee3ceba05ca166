// The store registry: counting, destroy and reads by call id. (Refused arguments:
// badinput/store_bad_input_test.cc; lines: kel_config_store_test.cc.)
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"

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
           "C1+2 D1+- R1!-",                 // the store taken last goes with the rest
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

// Many calls made, released and cleaned up in a scattered order: each keeps its own store and
// count until its entry goes, whatever went before it.
TEST_F(RegistryTest, ManyCallsKeepTheirEntries) {
  constexpr uint32_t kCalls = 3000;
  std::vector<IKelConfig*> stores(kCalls, nullptr);
  for (uint32_t call = 0; call < kCalls; ++call)
    ASSERT_EQ(CreateKelConfig(call * 7919u, &stores[call]), KEL_S_OK);
  std::vector<bool> cleaned(kCalls, false);
  std::vector<int32_t> counts(kCalls, 2);  // -1: the entry went
  uint32_t seed = 1;
  for (uint32_t step = 0; step < 2 * kCalls; ++step) {
    seed = seed * 1664525u + 1013904223u;
    const uint32_t call = (seed >> 8) % kCalls;
    const int32_t before = counts[call];
    if (before < 0) continue;
    // A release, or a clean-up (refused, the count kept, when the call was cleaned up before).
    const bool counted = (seed & 1u) != 0 || !cleaned[call];
    const int32_t result =
        (seed & 1u) != 0 ? ReleaseKelConfig(stores[call]) : CleanUpKelConfig(call * 7919u);
    if ((seed & 1u) == 0) cleaned[call] = true;
    ASSERT_EQ(result, counted ? KEL_S_OK : KEL_E_FAIL);
    counts[call] = !counted ? before : before < 2 ? -1 : before - 1;
    ASSERT_EQ(RegistryCount(call * 7919u), counts[call]);
  }
  uint32_t left = 0;
  for (uint32_t call = 0; call < kCalls; ++call) {
    const int32_t count = counts[call];
    ASSERT_EQ(RegistryCount(call * 7919u), count);
    IKelConfig* again = nullptr;
    if (count < 0) {  // gone: a create makes the call anew
      ASSERT_EQ(CreateKelConfig(call * 7919u, &again), KEL_S_OK);
      EXPECT_EQ(RegistryCount(call * 7919u), 2);
      EXPECT_EQ(ReleaseKelConfig(again), KEL_S_OK);
      EXPECT_EQ(CleanUpKelConfig(call * 7919u), KEL_S_OK);
      continue;
    }
    ++left;
    ASSERT_EQ(CreateKelConfig(call * 7919u, &again), KEL_S_OK);
    EXPECT_EQ(again, stores[call]);
    EXPECT_EQ(RegistryCount(call * 7919u), count + 1);
    EXPECT_EQ(ReleaseKelConfig(again), KEL_S_OK);
    EXPECT_EQ(RegistryCount(call * 7919u), count);
  }
  EXPECT_EQ(GetKelConfigSizeForUT(), left);
}

// A store that went is not registered any more, even when its call came back with another
// store and other calls still hold theirs; under AddressSanitizer its memory is poisoned.
TEST_F(RegistryTest, ReleaseOfAStoreThatWentFails) {
  IKelConfig* kept = nullptr;
  IKelConfig* first[2] = {nullptr, nullptr};
  ASSERT_EQ(CreateKelConfig(9, &kept), KEL_S_OK);
  for (uint32_t call : {1u, 2u})
    ASSERT_EQ(CreateKelConfig(call, &first[call - 1]), KEL_S_OK);
  for (uint32_t call : {1u, 2u}) {
    ASSERT_EQ(ReleaseKelConfig(first[call - 1]), KEL_S_OK);
    ASSERT_EQ(CleanUpKelConfig(call), KEL_S_OK);
  }
  IKelConfig* again = nullptr;
  ASSERT_EQ(CreateKelConfig(1, &again), KEL_S_OK);
  for (IKelConfig* gone : first) {
    if (gone == again) continue;
    EXPECT_EQ(ReleaseKelConfig(gone), KEL_E_FAIL);
    EXPECT_EQ(RegistryCount(1), 2);
    EXPECT_EQ(RegistryCount(9), 2);
#if defined(__SANITIZE_ADDRESS__)
    EXPECT_TRUE(__asan_address_is_poisoned(gone));  // a use of it is reported
#endif
  }
}

TEST_F(RegistryTest, ReadsByCallIdGiveTheirReferenceBack) {
  IKelConfig* store = nullptr;
  ASSERT_EQ(CreateKelConfig(11, &store), KEL_S_OK);
  store->SetKelConfig(kGroupVideo, "fps", ConfigData(30));
  store->SetKelConfig(kGroupAudioSi, "fps", ConfigData(14));
  ConfigData out;
  EXPECT_EQ(GetKelConfigValueEx(kGroupVideo, "fps", out, 11), KEL_S_OK);
  EXPECT_EQ(out, ConfigData(30));
  EXPECT_EQ(GetKelConfigValue(kel::kSessionTypeAudioSi, "fps", out, 11), KEL_S_OK);  // its group
  EXPECT_EQ(out, ConfigData(14));
  EXPECT_EQ(GetKelConfigValueEx(kGroupVideo, "absent", out, 11), KEL_E_BADSTATE);
  EXPECT_FALSE(out.IsValid());
  EXPECT_EQ(RegistryCount(11), 2);
  // A read of an unknown call makes the call's store, which stays for the call's clean-up.
  EXPECT_EQ(GetKelConfigValueEx(kGroupVideo, "fps", out, 12), KEL_E_BADSTATE);
  EXPECT_EQ(RegistryCount(12), 1);
}

}  // namespace
}  // namespace kelStore
