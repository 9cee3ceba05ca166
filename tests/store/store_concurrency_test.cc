#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "mediastores_internal.h"
#include "store_test_util.h"

namespace {

using kelStore::IKelConfig;
using kelStore::KelConfigGroup;

using StoreConcurrencyTest = storetest::StoreTest;

// Writers set, read and remove keys of their own and keys they share on one call's store, while
// registrars take and give back references of the same call and make and drop stores of calls of
// their own. Every thread checks what it may rely on; the final state is checked at the end.
TEST_F(StoreConcurrencyTest, WritersAndRegistrarsOnOneCall) {
  constexpr uint32_t kCall = 21;
  constexpr int kWriters = 4;
  constexpr int kRegistrars = 2;
  constexpr int kRounds = 10000;
  constexpr int kRegistrarRounds = 2000;
  constexpr int kOwnKeys = 4;

  IKelConfig* store = nullptr;
  ASSERT_EQ(kelStore::CreateKelConfig(kCall, &store), KEL_S_OK);
  std::atomic<int> failures{0};
  std::atomic<bool> go{false};
  auto check = [&](bool ok) {
    if (!ok) failures.fetch_add(1);
  };
  auto ownKey = [](int writer, int key) {
    return "own." + std::to_string(writer) + "." + std::to_string(key);
  };
  // Two writers share each group; their own keys never collide.
  auto writerGroup = [](int writer) {
    return writer % 2 == 0 ? kelStore::kGroupAudio : kelStore::kGroupVideo;
  };

  auto writer = [&](int t) {
    while (!go.load())
      std::this_thread::yield();
    const KelConfigGroup group = writerGroup(t);
    std::vector<std::string> keys;
    for (int k = 0; k < kOwnKeys; ++k)
      keys.push_back(ownKey(t, k));
    for (int i = 0; i < kRounds; ++i) {
      const char* key = keys[i % kOwnKeys].c_str();
      ConfigData out;
      check(store->SetKelConfig(group, key, ConfigData(i)) == KEL_E_NOOBSERVER);
      check(store->GetKelConfig(group, key, out) == KEL_S_OK && out == ConfigData(i));
      if (i % 3 == 0) {
        check(store->RemoveKelConfig(group, key) == KEL_S_OK);
        check(store->GetKelConfig(group, key, out) == KEL_E_BADSTATE);
      }
      // Every write of "shared" is a value nobody wrote before, so it is always a change.
      check(store->SetKelConfig(kelStore::kGroupCommon, "shared", ConfigData(t * kRounds + i)) ==
            KEL_E_NOOBSERVER);
      check(store->GetKelConfig(kelStore::kGroupCommon, "shared", out) == KEL_S_OK);
      if (i % 5 == 0) {
        store->SetKelConfig(kelStore::kGroupCommon, "flag", ConfigData(true), false, i % 10 == 5);
      }
      if (i % 1000 == 0) store->RemoveKelConfigByGroup(kelStore::kGroupFeature);
    }
  };

  auto registrar = [&](int r) {
    while (!go.load())
      std::this_thread::yield();
    for (int i = 0; i < kRegistrarRounds; ++i) {
      IKelConfig* same = nullptr;
      check(kelStore::CreateKelConfig(kCall, &same) == KEL_S_OK && same == store);
      if (same != nullptr) {
        same->SetKelConfig(kelStore::kGroupMetrics, "registrar", ConfigData(i));
        check(kelStore::ReleaseKelConfig(same) == KEL_S_OK);
      }
      // A call of its own: made with count 2, gone after the second release.
      IKelConfig* own = nullptr;
      const uint32_t ownCall = 1000 + static_cast<uint32_t>(r);
      check(kelStore::CreateKelConfig(ownCall, &own) == KEL_S_OK);
      if (own != nullptr) {
        own->SetKelConfig(kelStore::kGroupFeature, "probe", ConfigData(i));
        check(kelStore::ReleaseKelConfig(own) == KEL_S_OK);
        check(kelStore::ReleaseKelConfig(own) == KEL_S_OK);
      }
    }
  };

  std::vector<std::thread> threads;
  for (int t = 0; t < kWriters; ++t)
    threads.emplace_back(writer, t);
  for (int r = 0; r < kRegistrars; ++r)
    threads.emplace_back(registrar, r);
  go.store(true);
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(failures.load(), 0);

  // Own keys hold their last write, or are absent when that write was followed by a removal.
  for (int t = 0; t < kWriters; ++t) {
    for (int k = 0; k < kOwnKeys; ++k) {
      int last = kRounds - 1;
      while (last % kOwnKeys != k)
        --last;
      ConfigData out;
      const int32_t result = store->GetKelConfig(writerGroup(t), ownKey(t, k).c_str(), out);
      if (last % 3 == 0) {
        EXPECT_EQ(result, KEL_E_BADSTATE) << ownKey(t, k);
      } else {
        EXPECT_EQ(result, KEL_S_OK) << ownKey(t, k);
        EXPECT_EQ(out, ConfigData(last)) << ownKey(t, k);
      }
    }
  }
  // "shared" holds the last write of one of the writers.
  ConfigData shared;
  ASSERT_EQ(store->GetKelConfig(kelStore::kGroupCommon, "shared", shared), KEL_S_OK);
  bool isALastWrite = false;
  for (int t = 0; t < kWriters; ++t)
    isALastWrite |= shared == ConfigData(t * kRounds + kRounds - 1);
  EXPECT_TRUE(isALastWrite) << shared.ToString();
  ConfigData registrarValue;
  ASSERT_EQ(store->GetKelConfig(kelStore::kGroupMetrics, "registrar", registrarValue), KEL_S_OK);
  EXPECT_EQ(registrarValue, ConfigData(kRegistrarRounds - 1));

  // Every reference taken was given back: only the call under test is left, with its count 2.
  EXPECT_EQ(kelStore::GetKelConfigSizeForUT(), 1u);
  EXPECT_EQ(storetest::RegistryCount(kCall), 2);
  EXPECT_TRUE(storetest::RegistryIndexConsistent());
  EXPECT_EQ(kelStore::ReleaseKelConfig(store), KEL_S_OK);
  EXPECT_EQ(kelStore::CleanUpKelConfig(kCall), KEL_S_OK);
  EXPECT_EQ(kelStore::GetKelConfigSizeForUT(), 0u);
}

}  // namespace
