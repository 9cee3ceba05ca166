// KelConfigObserverHelper: argument faults and their lines, one record per name, both unsubscribe
// forms, Clean and the store hand-over. (Records made before a store exists: see
// kel_config_helper_test.cc.)
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_observer_helper.h"
#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;

class KelConfigObserverHelperTest : public ::testing::Test {
 protected:
  SubscribeId_t Subscribe(KelConfigGroup group, const char* name) {
    return helper_.SubscribeConfig(
        group, name,
        [this](const KelConfigEvent& e) { seen_.push_back(e.name + std::to_string(e.group)); },
        nullptr, false);
  }
  SubscribeId_t Bind(KelConfigGroup group, const char* name) {
    return helper_.BindConfig(group, name, [](const KelConfigEvent&) { return ConfigData(1); });
  }
  // Whether a forced set of `name` reached a subscriber, and a dynamic read a provider, of `store`.
  static bool Notifies(KelConfig& store, KelConfigGroup group, const char* name) {
    return store.SetKelConfig(group, name, ConfigData(name), true) == KEL_S_OK;
  }
  static bool Provides(KelConfig& store, KelConfigGroup group, const char* name) {
    ConfigData value;
    return store.GetDynamicConfig(group, name, value) == KEL_S_OK;
  }

  KelConfig store_{23};
  KelConfig other_{24};
  KelConfigObserverHelper helper_;
  Lines seen_;
};

TEST_F(KelConfigObserverHelperTest, RefusesBadArgumentsWithTraces) {
  helper_.SetIKelConfig(&store_);
  const int64_t invalid = KEL_E_INVALIDARG;
  // clang-format off
  const std::vector<std::tuple<std::function<int64_t()>, int64_t, std::string>> rows = {
      {[&] { return Subscribe(kGroupLast, "k"); }, 0, "SubscribeConfigError parameters"},
      {[&] { return Subscribe(kGroupCommon, nullptr); }, 0, "SubscribeConfigError parameters"},
      {[&] { return Subscribe(kGroupCommon, ""); }, 0, "SubscribeConfigError parameters"},
      {[&] { return helper_.SubscribeConfig(kGroupCommon, "k", nullptr, nullptr, false); }, 0,
       "SubscribeConfigError parameters"},
      {[&] { return Bind(kGroupLast, "k"); }, 0, "BindConfigError parameters"},
      {[&] { return Bind(kGroupCommon, ""); }, 0, "BindConfigError parameters"},
      {[&] { return helper_.UnsubscribeConfig(nullptr, kGroupCommon); }, invalid,
       "UnsubscribeConfigError parameters"},
      {[&] { return helper_.UnsubscribeConfig("k", kGroupLast); }, invalid,
       "UnsubscribeConfigError parameters"},
      {[&] { return helper_.UnsubscribeConfig("k", kGroupCommon); }, KEL_E_BADSTATE,
       "UnsubscribeConfigFailed"},
      {[&] { return helper_.UnsubscribeConfig(SubscribeId_t{0}); }, KEL_E_BADSTATE, ""}};
  // clang-format on
  TraceCapture capture(0);
  for (const auto& [call, result, line] : rows) {
    capture.Clear();
    EXPECT_EQ(call(), result) << line;
    EXPECT_EQ(capture.Texts(), line.empty()
                                   ? Lines{}
                                   : Lines{"kelStore::KelConfigObserverHelper::" + line +
                                           " [this=" + storetest::PointerText(&helper_) + "]"});
  }
  EXPECT_EQ(KelConfigTestPeer::TotalObservers(store_), 0u);
}

TEST_F(KelConfigObserverHelperTest, RecordsUnsubscribeCleanAndHandOver) {
  helper_.SetIKelConfig(&store_);
  EXPECT_EQ(Subscribe(kGroupCommon, "a"), 1u);
  EXPECT_EQ(Subscribe(kGroupCommon, "a"), 0u);  // one live record per name and group
  EXPECT_EQ(Bind(kGroupCommon, "a"), 0u);
  EXPECT_EQ(Bind(kGroupCommon, "c"), 2u);
  EXPECT_EQ(Subscribe(kGroupCommon, "c"), 0u);
  EXPECT_EQ(Subscribe(kGroupVideo, "a"), 3u);  // another group
  EXPECT_EQ(helper_.UnsubscribeConfig(SubscribeId_t{1}), KEL_S_OK);
  EXPECT_EQ(helper_.UnsubscribeConfig(SubscribeId_t{1}), KEL_E_BADSTATE);
  EXPECT_FALSE(Notifies(store_, kGroupCommon, "a"));
  EXPECT_EQ(Subscribe(kGroupCommon, "a"), 4u);  // the name is free again; told the value at once
  EXPECT_EQ(helper_.UnsubscribeConfig("c", kGroupCommon), KEL_S_OK);
  EXPECT_EQ(helper_.UnsubscribeConfig(SubscribeId_t{2}), KEL_E_BADSTATE);
  EXPECT_FALSE(Provides(store_, kGroupCommon, "c"));
  EXPECT_EQ(KelConfigTestPeer::TotalObservers(store_), 2u);

  helper_.SetIKelConfig(&other_);  // ignored while a store is held
  EXPECT_EQ(helper_.GetIKelConfig(), &store_);
  helper_.Clean();
  EXPECT_EQ(KelConfigTestPeer::TotalObservers(store_), 0u);
  EXPECT_FALSE(Notifies(store_, kGroupCommon, "a") || Notifies(store_, kGroupVideo, "a"));
  EXPECT_EQ(helper_.UnsubscribeConfig("a", kGroupVideo), KEL_E_BADSTATE);  // names forgotten
  EXPECT_EQ(Subscribe(kGroupVideo, "a"), 5u);
  helper_.SetIKelConfig(nullptr);  // withdraws and forgets what was live
  EXPECT_EQ(helper_.GetIKelConfig(), nullptr);
  EXPECT_FALSE(Notifies(store_, kGroupVideo, "a"));
  helper_.SetIKelConfig(&other_);
  EXPECT_FALSE(Notifies(other_, kGroupVideo, "a"));
  EXPECT_EQ(seen_, (Lines{"a0", "a5"}));  // the initial values for ids 4 and 5
}

}  // namespace
}  // namespace kelStore
