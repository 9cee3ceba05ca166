#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"

namespace kelStore {
namespace {

using StoreConcurrencyTest = storetest::StoreTest;

// Writers set, read and remove keys of their own and keys they share on one call's store, while
// registrars take and give back references of the same call and make and drop stores of calls of
// their own. Every thread checks what it may rely on; the final state is checked at the end.
TEST_F(StoreConcurrencyTest, WritersAndRegistrarsOnOneCall) {
  constexpr uint32_t kCall = 21;
  constexpr int kWriters = 4;
  constexpr int kRounds = 10000;
  constexpr int kRegistrarRounds = 2000;
  IKelConfig* store = nullptr;
  ASSERT_EQ(CreateKelConfig(kCall, &store), KEL_S_OK);
  std::atomic<int> failures{0};
  std::atomic<bool> go{false};
  auto check = [&](bool ok) { failures.fetch_add(ok ? 0 : 1); };
  // Writer t owns keys "own.t.0" to "own.t.3"; two writers share each group.
  auto ownKey = [](int t, int k) { return "own." + std::to_string(t) + "." + std::to_string(k); };
  auto writerGroup = [](int t) { return t % 2 == 0 ? kGroupAudio : kGroupVideo; };

  std::vector<std::thread> threads;
  for (int t = 0; t < kWriters; ++t) {
    threads.emplace_back([&, t] {
      while (!go.load())
        std::this_thread::yield();
      for (int i = 0; i < kRounds; ++i) {
        const std::string key = ownKey(t, i % 4);
        ConfigData out;
        check(store->SetKelConfig(writerGroup(t), key.c_str(), ConfigData(i)) == KEL_E_NOOBSERVER);
        check(store->GetKelConfig(writerGroup(t), key.c_str(), out) == KEL_S_OK &&
              out == ConfigData(i));
        if (i % 3 == 0) {
          check(store->RemoveKelConfig(writerGroup(t), key.c_str()) == KEL_S_OK);
          check(store->GetKelConfig(writerGroup(t), key.c_str(), out) == KEL_E_BADSTATE);
        }
        // Every write of "shared" is a value nobody wrote before, so it is always a change.
        check(store->SetKelConfig(kGroupCommon, "shared", ConfigData(t * kRounds + i)) ==
              KEL_E_NOOBSERVER);
        check(store->GetKelConfig(kGroupCommon, "shared", out) == KEL_S_OK);
        if (i % 5 == 0)
          store->SetKelConfig(kGroupCommon, "flag", ConfigData(true), false, i % 10 == 5);
        if (i % 1000 == 0) store->RemoveKelConfigByGroup(kGroupFeature);
      }
    });
  }
  for (uint32_t r = 0; r < 2; ++r) {
    threads.emplace_back([&, r] {
      while (!go.load())
        std::this_thread::yield();
      for (int i = 0; i < kRegistrarRounds; ++i) {
        IKelConfig* same = nullptr;
        check(CreateKelConfig(kCall, &same) == KEL_S_OK && same == store);
        same->SetKelConfig(kGroupMetrics, "registrar", ConfigData(i));
        check(ReleaseKelConfig(same) == KEL_S_OK);
        // A call of its own: made with count 2, gone after the second release.
        IKelConfig* own = nullptr;
        check(CreateKelConfig(1000 + r, &own) == KEL_S_OK);
        own->SetKelConfig(kGroupFeature, "probe", ConfigData(i));
        check(ReleaseKelConfig(own) == KEL_S_OK && ReleaseKelConfig(own) == KEL_S_OK);
      }
    });
  }
  go.store(true);
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(failures.load(), 0);

  // Own keys hold their last write, or are absent when that write was followed by a removal.
  for (int t = 0; t < kWriters; ++t) {
    for (int k = 0; k < 4; ++k) {
      const int last = kRounds - 4 + k;  // kRounds is a multiple of 4
      ConfigData out;
      const int32_t result = store->GetKelConfig(writerGroup(t), ownKey(t, k).c_str(), out);
      EXPECT_EQ(result, last % 3 == 0 ? KEL_E_BADSTATE : KEL_S_OK) << ownKey(t, k);
      EXPECT_EQ(out, last % 3 == 0 ? ConfigData() : ConfigData(last)) << ownKey(t, k);
    }
  }
  // "shared" holds the last write of one of the writers.
  ConfigData shared;
  store->GetKelConfig(kGroupCommon, "shared", shared);
  bool isALastWrite = false;
  for (int t = 0; t < kWriters; ++t)
    isALastWrite |= shared == ConfigData(t * kRounds + kRounds - 1);
  EXPECT_TRUE(isALastWrite) << shared.ToString();
  ConfigData registrarValue;
  store->GetKelConfig(kGroupMetrics, "registrar", registrarValue);
  EXPECT_EQ(registrarValue, ConfigData(kRegistrarRounds - 1));
  // Every reference taken was given back: only the call under test is left, with its count 2.
  EXPECT_EQ(GetKelConfigSizeForUT(), 1u);
  EXPECT_EQ(storetest::RegistryCount(kCall), 2);
  EXPECT_TRUE(storetest::RegistryIndexConsistent());
}

}  // namespace
}  // namespace kelStore
