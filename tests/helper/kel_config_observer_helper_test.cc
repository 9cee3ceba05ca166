// KelConfigObserverHelper: argument faults and their traces, one record per name, both unsubscribe
// forms, Clean, and the store hand-over.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "mediastores_internal.h"
#include "store/store_test_util.h"
#include "support/trace_capture.h"

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;

class KelConfigObserverHelperTest : public storetest::StoreTest {
 protected:
  SubscribeId_t Subscribe(KelConfigGroup group, const char* name, const std::string& tag = "") {
    return helper_.SubscribeConfig(
        group, name, [this, tag](const KelConfigEvent&) { seen_.push_back(tag); }, nullptr, false);
  }
  SubscribeId_t Bind(KelConfigGroup group, const char* name) {
    return helper_.BindConfig(group, name, [](const KelConfigEvent&) { return ConfigData(1); });
  }
  // Whether a forced set of `name` in `group` reached a subscriber of `store`.
  static bool Notifies(KelConfig& store, KelConfigGroup group, const char* name) {
    return store.SetKelConfig(group, name, ConfigData(name), true) == KEL_S_OK;
  }
  bool Provides(KelConfigGroup group, const char* name) {
    ConfigData value;
    return store_.GetDynamicConfig(group, name, value) == KEL_S_OK;
  }

  KelConfig store_{23};
  KelConfig other_{24};
  KelConfigObserverHelper helper_;
  Lines seen_;
};

TEST_F(KelConfigObserverHelperTest, RefusesBadArgumentsWithTraces) {
  helper_.SetIKelConfig(&store_);
  const std::string self = " [this=" + storetest::PointerText(&helper_) + "]";
  const int64_t invalid = KEL_E_INVALIDARG;
  const KelConfigGroup badGroup = kGroupLast;
  // clang-format off
  const std::vector<std::tuple<std::function<int64_t()>, int64_t, std::string>> rows = {
      {[&] { return Subscribe(badGroup, "k"); }, 0, "SubscribeConfigError parameters"},
      {[&] { return Subscribe(kGroupCommon, nullptr); }, 0, "SubscribeConfigError parameters"},
      {[&] { return Subscribe(kGroupCommon, ""); }, 0, "SubscribeConfigError parameters"},
      {[&] { return helper_.SubscribeConfig(kGroupCommon, "k", nullptr, nullptr, false); }, 0,
       "SubscribeConfigError parameters"},
      {[&] { return Bind(badGroup, "k"); }, 0, "BindConfigError parameters"},
      {[&] { return Bind(kGroupCommon, ""); }, 0, "BindConfigError parameters"},
      {[&] { return helper_.UnsubscribeConfig(nullptr, kGroupCommon); }, invalid,
       "UnsubscribeConfigError parameters"},
      {[&] { return helper_.UnsubscribeConfig("k", badGroup); }, invalid,
       "UnsubscribeConfigError parameters"},
      {[&] { return helper_.UnsubscribeConfig("k", kGroupCommon); }, KEL_E_BADSTATE,
       "UnsubscribeConfigFailed"},
      {[&] { return helper_.UnsubscribeConfig(SubscribeId_t{0}); }, KEL_E_BADSTATE, ""}};
  // clang-format on
  TraceCapture capture(0);
  for (const auto& [call, result, line] : rows) {
    capture.Clear();
    EXPECT_EQ(call(), result) << line;
    EXPECT_EQ(capture.Texts(),
              line.empty() ? Lines{} : Lines{"kelStore::KelConfigObserverHelper::" + line + self});
  }
  EXPECT_EQ(store_.m_TotalObservers.load(), 0u);
}

TEST_F(KelConfigObserverHelperTest, OneLiveRecordPerNameAndGroup) {
  helper_.SetIKelConfig(&store_);
  EXPECT_EQ(Subscribe(kGroupCommon, "k"), 1u);
  EXPECT_EQ(Subscribe(kGroupCommon, "k"), 0u);
  EXPECT_EQ(Bind(kGroupCommon, "k"), 0u);
  EXPECT_EQ(Bind(kGroupCommon, "p"), 2u);
  EXPECT_EQ(Subscribe(kGroupCommon, "p"), 0u);
  EXPECT_EQ(Subscribe(kGroupVideo, "k"), 3u);  // another group
  EXPECT_EQ(store_.m_TotalObservers.load(), 3u);
}

TEST_F(KelConfigObserverHelperTest, UnsubscribeByIdOrNameAndClean) {
  helper_.SetIKelConfig(&store_);
  const SubscribeId_t a = Subscribe(kGroupCommon, "a", "a");
  EXPECT_EQ(Subscribe(kGroupVideo, "b", "b"), 2u);
  EXPECT_EQ(Bind(kGroupCommon, "c"), 3u);
  EXPECT_EQ(helper_.UnsubscribeConfig(a), KEL_S_OK);
  EXPECT_EQ(helper_.UnsubscribeConfig(a), KEL_E_BADSTATE);
  EXPECT_FALSE(Notifies(store_, kGroupCommon, "a"));
  EXPECT_EQ(Subscribe(kGroupCommon, "a", "a"), 4u);  // told the current value at once
  EXPECT_EQ(helper_.UnsubscribeConfig("c", kGroupCommon), KEL_S_OK);
  EXPECT_EQ(helper_.UnsubscribeConfig(SubscribeId_t{3}), KEL_E_BADSTATE);
  EXPECT_FALSE(Provides(kGroupCommon, "c"));

  helper_.Clean();
  EXPECT_EQ(store_.m_TotalObservers.load(), 0u);
  EXPECT_FALSE(Notifies(store_, kGroupCommon, "a") || Notifies(store_, kGroupVideo, "b"));
  EXPECT_EQ(seen_, Lines{"a"});
  EXPECT_EQ(helper_.UnsubscribeConfig("b", kGroupVideo), KEL_E_BADSTATE);  // names forgotten
  EXPECT_EQ(Subscribe(kGroupVideo, "b", "b"), 5u);
}

TEST_F(KelConfigObserverHelperTest, RemembersUntilAStoreArrivesAndNeverMoves) {
  EXPECT_EQ(Subscribe(kGroupAudio, "k", "first"), 0u);
  EXPECT_EQ(Subscribe(kGroupAudio, "k", "second"), 0u);  // the first callback stays
  EXPECT_EQ(Bind(kGroupAudio, "k"), 0u);                 // joins the record, dropped later
  EXPECT_EQ(Bind(kGroupAudio, "p"), 0u);
  EXPECT_EQ(helper_.UnsubscribeConfig("k", kGroupAudio), KEL_E_BADSTATE);  // id 0 is not live
  helper_.SetIKelConfig(&store_);
  EXPECT_TRUE(Notifies(store_, kGroupAudio, "k"));
  EXPECT_FALSE(Provides(kGroupAudio, "k"));
  EXPECT_TRUE(Provides(kGroupAudio, "p"));
  helper_.SetIKelConfig(&other_);  // ignored while a store is held
  EXPECT_EQ(helper_.GetIKelConfig(), &store_);
  EXPECT_FALSE(Notifies(other_, kGroupAudio, "k"));
  helper_.SetIKelConfig(nullptr);  // withdraws and forgets what was live
  EXPECT_EQ(helper_.GetIKelConfig(), nullptr);
  EXPECT_FALSE(Notifies(store_, kGroupAudio, "k") || Provides(kGroupAudio, "p"));
  helper_.SetIKelConfig(&other_);
  EXPECT_FALSE(Notifies(other_, kGroupAudio, "k"));
  EXPECT_EQ(seen_, Lines{"first"});
}

}  // namespace
}  // namespace kelStore
