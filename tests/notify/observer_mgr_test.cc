// KelConfigObserverMgr: the per-key lists, their refusals and counters, and the two walks.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "mediaengine/mediastores/src/config/config_event_handler.h"
#include "mediaengine/mediastores/src/config/kel_config_observer_mgr.h"
#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"

namespace kelStore {
namespace {

using Mgr = KelConfigObserverMgr<ConfigEventHandler::Ptr>;
using Lines = std::vector<std::string>;
using Handlers = std::vector<ConfigEventHandler::Ptr>;

ConfigEventHandler::Ptr Provider(const char* answer) {
  return std::make_shared<ConfigEventHandler>(
      fnConfigInvokeCallBack([answer](const KelConfigEvent&) { return ConfigData(answer); }));
}

class ObserverMgrTest : public ::testing::Test {
 protected:
  ConfigEventHandler::Ptr Subscriber(const std::string& tag) {
    return std::make_shared<ConfigEventHandler>(
        fnConfigChangedCallBack([this, tag](const KelConfigEvent& e) {
          log_.push_back(tag + ":" + e.newValue.ToString());
        }));
  }

  // Walks `name` the way the store does (mark busy under the lock, then deliver) and returns the
  // count: with `answer` null, the subscribers told of `change`; else the providers counted
  // while the first one's answer goes to `*answer`.
  uint32_t Walk(const char* name, const ConfigData& change, ConfigData* answer = nullptr) {
    KelConfigEvent event;
    event.name = name;
    event.newValue = change;
    const uint64_t self = GetThreadSelfId();
    uint32_t count = 0;
    mgr_.FireEvent(
        name,
        [&](const ConfigEventHandler::Ptr& h) {
          if (!(answer == nullptr ? static_cast<bool>(h->onChanged)
                                  : static_cast<bool>(h->onInvoke)))
            return;
          h->busyCount.fetch_add(1);
          uint64_t none = 0;
          h->busyThread.compare_exchange_strong(none, self);
        },
        [&](const ConfigEventHandler::Ptr& h) {
          if (answer == nullptr) {
            Mgr::DeliverChange(h, event, count, self);
          } else {
            Mgr::DeliverInvoke(h, event, count, *answer, self);
          }
        });
    return count;
  }

  struct FakeStore {
    std::atomic<uint32_t> m_TotalObservers{0};
  } store_;
  Mgr mgr_;
  Lines log_;
};

TEST_F(ObserverMgrTest, RefusalsAndCounters) {
  auto a = Subscriber("a");
  EXPECT_EQ(mgr_.Subscribe("fps", a, &store_, 77), KEL_S_OK);
  EXPECT_EQ(mgr_.Subscribe("fps", a, &store_, 78), KEL_E_FAIL);
  // Counted and marked busy for the subscribing thread once.
  EXPECT_EQ(store_.m_TotalObservers.load(), 1u);
  EXPECT_EQ(a->busyCount.load(), 1);
  EXPECT_EQ(a->busyThread.load(), 77u);
  EXPECT_EQ(mgr_.Subscribe("", a, &store_, 1), KEL_E_INVALIDARG);
  EXPECT_EQ(mgr_.Subscribe("fps", nullptr, &store_, 1), KEL_E_INVALIDARG);

  auto first = Provider("first");
  EXPECT_EQ(mgr_.Bind("codec", first), KEL_S_OK);
  EXPECT_EQ(mgr_.Bind("codec", first), KEL_E_FAIL);
  EXPECT_EQ(mgr_.Bind("codec", Provider("second")), KEL_E_FAIL);  // one provider per key
  EXPECT_EQ(mgr_.Bind("fps", Provider("second")), KEL_S_OK);      // beside subscribers
  EXPECT_EQ(first->busyCount.load(), 0);                          // binding counts nothing
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

TEST_F(ObserverMgrTest, ChangesReachSubscribersInOrderAndReadsTheProvider) {
  Lines expected;
  auto provider = Provider("p1");
  ConfigEventHandler::Ptr last;
  // More subscribers than a walk copies without allocating, with the provider among them; the
  // last one still carries the busy mark of its subscribing thread.
  for (int i = 0; i < 10; ++i) {
    if (i == 3) {
      ASSERT_EQ(mgr_.Bind("fps", provider), KEL_S_OK);
    }
    last = Subscriber(std::to_string(i));
    ASSERT_EQ(mgr_.Subscribe("fps", last, &store_, GetThreadSelfId()), KEL_S_OK);
    expected.push_back(std::to_string(i) + ":30");
  }
  EXPECT_EQ(Walk("fps", ConfigData(30)), 10u);
  EXPECT_EQ(log_, expected);
  ConfigData value("untouched");
  EXPECT_EQ(Walk("fps", ConfigData(), &value), 1u);
  EXPECT_EQ(value, ConfigData("p1"));
  EXPECT_EQ(log_.size(), 10u);  // subscribers are not asked
  // Each walk took back its own marks and cleared this thread's.
  EXPECT_EQ(last->busyCount.load(), 1);
  EXPECT_EQ(last->busyThread.load(), 0u);
  EXPECT_EQ(provider->busyCount.load(), 0);
  EXPECT_EQ(provider->busyThread.load(), 0u);

  EXPECT_EQ(Walk("nobody", ConfigData(30)), 0u);
  EXPECT_EQ(Walk("nobody", ConfigData(), &value), 0u);
  EXPECT_EQ(value, ConfigData("p1"));
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
  EXPECT_EQ(log_, (Lines{"first:1", "second:1"}));
}

}  // namespace
}  // namespace kelStore
