// KelConfigObserverMgr: the per-key lists, their refusals and counters, and the two walks.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "mediaengine/mediastores/src/config/config_event_handler.h"
#include "mediaengine/mediastores/src/config/kel_config_observer_mgr.h"
#include "mediastores/mediastores.h"

namespace kelStore {
namespace {

using Mgr = KelConfigObserverMgr<ConfigEventHandler::Ptr>;
using Handlers = std::vector<ConfigEventHandler::Ptr>;

class ObserverMgrTest : public ::testing::Test {
 protected:
  ConfigEventHandler::Ptr Subscriber(const std::string& tag) {
    return std::make_shared<ConfigEventHandler>(
        fnConfigChangedCallBack([this, tag](const KelConfigEvent& e) {
          log_.push_back(tag + ":" + e.newValue.ToString());
        }));
  }
  static ConfigEventHandler::Ptr Provider(const char* answer) {
    return std::make_shared<ConfigEventHandler>(
        fnConfigInvokeCallBack([answer](const KelConfigEvent&) { return ConfigData(answer); }));
  }

  // A change walk of `name` (or, with `answer`, a provider walk) that marks what it delivers to;
  // returns the walk's count.
  uint32_t Walk(const char* name, const ConfigData& change, ConfigData* answer = nullptr) {
    KelConfigEvent event;
    event.newValue = change;
    const uint64_t self = GetThreadSelfId();
    uint32_t count = 0;
    auto kind = [answer](const ConfigEventHandler::Ptr& h) {
      return answer == nullptr ? static_cast<bool>(h->onChanged) : static_cast<bool>(h->onInvoke);
    };
    mgr_.FireEvent(
        name,
        [&](const ConfigEventHandler::Ptr& h) {
          if (kind(h)) h->busy.Enter(self);
        },
        [&](const ConfigEventHandler::Ptr& h) {
          if (answer == nullptr) Mgr::DeliverChange(h, event, count, self);
          if (answer != nullptr) Mgr::DeliverInvoke(h, event, count, *answer, self);
        });
    return count;
  }

  struct FakeStore {
    std::atomic<uint32_t> m_TotalObservers{0};
  } store_;
  Mgr mgr_;
  std::vector<std::string> log_;
};

TEST_F(ObserverMgrTest, RefusalsAndCounters) {
  auto a = Subscriber("a");
  EXPECT_EQ(mgr_.Subscribe("fps", a, &store_, 77), KEL_S_OK);
  EXPECT_EQ(mgr_.Subscribe("fps", a, &store_, 78), KEL_E_FAIL);
  EXPECT_EQ(store_.m_TotalObservers.load(), 1u);  // counted and marked for its thread once
  EXPECT_EQ(a->busy.Holder(), 77u);
  EXPECT_EQ(mgr_.Subscribe("", a, &store_, 1), KEL_E_INVALIDARG);
  EXPECT_EQ(mgr_.Subscribe("fps", nullptr, &store_, 1), KEL_E_INVALIDARG);

  auto first = Provider("first");
  EXPECT_EQ(mgr_.Bind("codec", first), KEL_S_OK);
  EXPECT_EQ(mgr_.Bind("codec", first), KEL_E_FAIL);
  EXPECT_EQ(mgr_.Bind("codec", Provider("second")), KEL_E_FAIL);  // one provider per key
  EXPECT_EQ(mgr_.Bind("fps", Provider("second")), KEL_S_OK);      // beside subscribers
  EXPECT_EQ(first->busy.Holder(), 0u);                            // binding marks nothing
  EXPECT_EQ(store_.m_TotalObservers.load(), 1u);

  Handlers removed;
  auto onRemoved = [&](const ConfigEventHandler::Ptr& h) { removed.push_back(h); };
  EXPECT_EQ(mgr_.Unsubscribe("fps", a, onRemoved), KEL_S_OK);
  EXPECT_EQ(mgr_.Unsubscribe("fps", a, onRemoved), KEL_E_FAIL);
  EXPECT_EQ(mgr_.Unsubscribe("never", a, onRemoved), KEL_E_FAIL);
  EXPECT_EQ(removed, Handlers{a});
  EXPECT_EQ(Walk("fps", ConfigData(1)), 0u);
  EXPECT_EQ(mgr_.Subscribe("fps", a, &store_, 0), KEL_S_OK);  // the emptied list is reused
}

TEST_F(ObserverMgrTest, WalksGoInRegistrationOrder) {
  std::vector<std::string> expected;
  // More subscribers than a walk copies without allocating, with two providers among them (a
  // second one only gets in through Subscribe): the first is asked, both are counted.
  for (int i = 0; i < 10; ++i) {
    if (i == 3) mgr_.Bind("fps", Provider("p1"));
    if (i == 6) mgr_.Subscribe("fps", Provider("p2"), &store_, 0);
    ASSERT_EQ(mgr_.Subscribe("fps", Subscriber(std::to_string(i)), &store_, 0), KEL_S_OK);
    expected.push_back(std::to_string(i) + ":30");
  }
  EXPECT_EQ(Walk("fps", ConfigData(30)), 10u);
  EXPECT_EQ(log_, expected);
  ConfigData value("untouched");
  EXPECT_EQ(Walk("fps", ConfigData(), &value), 2u);
  EXPECT_EQ(value, ConfigData("p1"));
  EXPECT_EQ(log_.size(), 10u);  // subscribers are not asked
  EXPECT_EQ(Walk("nobody", ConfigData(30)), 0u);
  EXPECT_EQ(Walk("nobody", ConfigData(), &value), 0u);
  EXPECT_EQ(value, ConfigData("p1"));
}

TEST_F(ObserverMgrTest, WalkLeavesTheMarksItTook) {
  auto a = Subscriber("a");
  auto p = Provider("p");
  ASSERT_EQ(mgr_.Subscribe("k", a, &store_, GetThreadSelfId()), KEL_S_OK);
  ASSERT_EQ(mgr_.Bind("k", p), KEL_S_OK);
  ConfigData value;
  Walk("k", ConfigData(1));
  Walk("k", ConfigData(), &value);
  // This thread's mark is gone (the subscription's own count stays, as its subscriber leaves it).
  EXPECT_EQ(a->busy.Holder(), 0u);
  EXPECT_EQ(p->busy.Holder(), 0u);
}

TEST_F(ObserverMgrTest, WalkWorksOnASnapshot) {
  auto late = Subscriber("late");
  auto second = Subscriber("second");
  // The first subscriber removes the second and adds a third during the walk: the second still
  // gets the change under way, the third does not.
  auto first =
      std::make_shared<ConfigEventHandler>(fnConfigChangedCallBack([&](const KelConfigEvent& e) {
        log_.push_back("first:" + e.newValue.ToString());
        mgr_.Unsubscribe("k", second, [](const ConfigEventHandler::Ptr&) {});
        mgr_.Subscribe("k", late, &store_, 0);
      }));
  ASSERT_EQ(mgr_.Subscribe("k", first, &store_, 0), KEL_S_OK);
  ASSERT_EQ(mgr_.Subscribe("k", second, &store_, 0), KEL_S_OK);
  EXPECT_EQ(Walk("k", ConfigData(1)), 2u);
  EXPECT_EQ(log_, (std::vector<std::string>{"first:1", "second:1"}));
}

}  // namespace
}  // namespace kelStore
