#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "config_event_handler.h"
#include "kel_config_observer_mgr.h"
#include "mediastores_internal.h"

namespace kelStore {
namespace {

using Mgr = KelConfigObserverMgr<ConfigEventHandler::Ptr>;

struct FakeStore {
  std::atomic<uint32_t> m_TotalObservers{0};
};

ConfigEventHandler::Ptr Subscriber(std::vector<std::string>* log, const std::string& tag) {
  return std::make_shared<ConfigEventHandler>(fnConfigChangedCallBack(
      [log, tag](const KelConfigEvent& e) { log->push_back(tag + ":" + e.newValue.ToString()); }));
}

ConfigEventHandler::Ptr Provider(const char* answer) {
  return std::make_shared<ConfigEventHandler>(
      fnConfigInvokeCallBack([answer](const KelConfigEvent&) { return ConfigData(answer); }));
}

// Fires a change of `name` the way the store does: mark busy, then deliver.
uint32_t FireChange(Mgr& mgr, const char* name, const ConfigData& value) {
  KelConfigEvent event;
  event.name = name;
  event.newValue = value;
  const uint64_t self = GetThreadSelfId();
  uint32_t nObservers = 0;
  mgr.FireEvent(
      name,
      [&](const ConfigEventHandler::Ptr& h) {
        if (!h->onChanged) return;
        h->busyCount.fetch_add(1);
        uint64_t none = 0;
        h->busyThread.compare_exchange_strong(none, self);
      },
      [&](const ConfigEventHandler::Ptr& h) { Mgr::DeliverChange(h, event, nObservers, self); });
  return nObservers;
}

uint32_t Ask(Mgr& mgr, const char* name, ConfigData& value) {
  KelConfigEvent event;
  event.name = name;
  const uint64_t self = GetThreadSelfId();
  uint32_t nCallees = 0;
  mgr.FireEvent(
      name,
      [&](const ConfigEventHandler::Ptr& h) {
        if (h->onInvoke) h->busyCount.fetch_add(1);
      },
      [&](const ConfigEventHandler::Ptr& h) {
        Mgr::DeliverInvoke(h, event, nCallees, value, self);
      });
  return nCallees;
}

TEST(ObserverMgrTest, SubscribeMarksBusyAndRefusesDuplicates) {
  Mgr mgr;
  FakeStore store;
  std::vector<std::string> log;
  auto a = Subscriber(&log, "a");
  EXPECT_EQ(mgr.Subscribe("fps", a, &store, 77), KEL_S_OK);
  EXPECT_EQ(store.m_TotalObservers.load(), 1u);
  EXPECT_EQ(a->busyCount.load(), 1);
  EXPECT_EQ(a->busyThread.load(), 77u);
  EXPECT_EQ(mgr.Subscribe("fps", a, &store, 78), KEL_E_FAIL);
  EXPECT_EQ(store.m_TotalObservers.load(), 1u);
  EXPECT_EQ(a->busyCount.load(), 1);
  EXPECT_EQ(a->busyThread.load(), 77u);
  EXPECT_EQ(mgr.Subscribe("other", a, &store, 78), KEL_S_OK);  // another key is another list

  EXPECT_EQ(mgr.Subscribe("", a, &store, 1), KEL_E_INVALIDARG);
  EXPECT_EQ(mgr.Subscribe(nullptr, a, &store, 1), KEL_E_INVALIDARG);
  EXPECT_EQ(mgr.Subscribe("fps", nullptr, &store, 1), KEL_E_INVALIDARG);
  EXPECT_EQ(mgr.Bind("", Provider("x")), KEL_E_INVALIDARG);
}

TEST(ObserverMgrTest, OneProviderPerKey) {
  Mgr mgr;
  auto first = Provider("first");
  EXPECT_EQ(mgr.Bind("codec", first), KEL_S_OK);
  EXPECT_EQ(mgr.Bind("codec", first), KEL_E_FAIL);
  EXPECT_EQ(mgr.Bind("codec", Provider("second")), KEL_E_FAIL);
  EXPECT_EQ(mgr.Bind("other", Provider("second")), KEL_S_OK);
  EXPECT_EQ(first->busyCount.load(), 0);  // binding touches no counter
}

TEST(ObserverMgrTest, ChangesReachSubscribersInOrderAndDynamicReadsTheFirstProvider) {
  Mgr mgr;
  FakeStore store;
  std::vector<std::string> log;
  auto a = Subscriber(&log, "a");
  auto b = Subscriber(&log, "b");
  ASSERT_EQ(mgr.Subscribe("fps", a, &store, 0), KEL_S_OK);
  ASSERT_EQ(mgr.Bind("fps", Provider("p1")), KEL_S_OK);
  ASSERT_EQ(mgr.Subscribe("fps", b, &store, 0), KEL_S_OK);
  a->busyCount = 0;
  b->busyCount = 0;

  EXPECT_EQ(FireChange(mgr, "fps", ConfigData(30)), 2u);
  EXPECT_EQ(log, (std::vector<std::string>{"a:30", "b:30"}));
  EXPECT_EQ(a->busyCount.load(), 0);
  EXPECT_EQ(a->busyThread.load(), 0u);

  ConfigData value("untouched");
  EXPECT_EQ(Ask(mgr, "fps", value), 1u);
  EXPECT_EQ(value, ConfigData("p1"));
  EXPECT_EQ(log.size(), 2u);  // subscribers are not asked

  ConfigData none("untouched");
  EXPECT_EQ(FireChange(mgr, "nobody", ConfigData(1)), 0u);
  EXPECT_EQ(Ask(mgr, "nobody", none), 0u);
  EXPECT_EQ(none, ConfigData("untouched"));
}

TEST(ObserverMgrTest, UnsubscribeRunsTheRemovalActionUnderTheLock) {
  Mgr mgr;
  FakeStore store;
  std::vector<std::string> log;
  auto a = Subscriber(&log, "a");
  ASSERT_EQ(mgr.Subscribe("fps", a, &store, 0), KEL_S_OK);
  int removed = 0;
  auto onRemoved = [&](const ConfigEventHandler::Ptr& h) {
    EXPECT_EQ(h, a);
    ++removed;
  };
  EXPECT_EQ(mgr.Unsubscribe("fps", a, onRemoved), KEL_S_OK);
  EXPECT_EQ(removed, 1);
  EXPECT_EQ(mgr.Unsubscribe("fps", a, onRemoved), KEL_E_FAIL);
  EXPECT_EQ(mgr.Unsubscribe("never", a, onRemoved), KEL_E_FAIL);
  EXPECT_EQ(removed, 1);
  EXPECT_EQ(FireChange(mgr, "fps", ConfigData(1)), 0u);
  EXPECT_EQ(mgr.Subscribe("fps", a, &store, 0), KEL_S_OK);  // the emptied list is reused
}

TEST(ObserverMgrTest, WalkWorksOnASnapshot) {
  Mgr mgr;
  FakeStore store;
  std::vector<std::string> log;
  auto late = Subscriber(&log, "late");
  ConfigEventHandler::Ptr second;
  // The first subscriber removes the second and adds a third during the walk: the second still
  // gets the change under way, the third does not.
  auto first =
      std::make_shared<ConfigEventHandler>(fnConfigChangedCallBack([&](const KelConfigEvent& e) {
        log.push_back("first:" + e.newValue.ToString());
        mgr.Unsubscribe("k", second, [](const ConfigEventHandler::Ptr&) {});
        mgr.Subscribe("k", late, &store, 0);
      }));
  second = Subscriber(&log, "second");
  ASSERT_EQ(mgr.Subscribe("k", first, &store, 0), KEL_S_OK);
  ASSERT_EQ(mgr.Subscribe("k", second, &store, 0), KEL_S_OK);
  EXPECT_EQ(FireChange(mgr, "k", ConfigData(1)), 2u);
  EXPECT_EQ(log, (std::vector<std::string>{"first:1", "second:1"}));
}

TEST(ObserverMgrTest, MoreSubscribersThanTheInlineSnapshot) {
  Mgr mgr;
  FakeStore store;
  std::vector<std::string> log;
  std::vector<ConfigEventHandler::Ptr> handlers;
  for (int i = 0; i < 20; ++i) {
    handlers.push_back(Subscriber(&log, std::to_string(i)));
    ASSERT_EQ(mgr.Subscribe("k", handlers.back(), &store, 0), KEL_S_OK);
  }
  EXPECT_EQ(FireChange(mgr, "k", ConfigData(7)), 20u);
  ASSERT_EQ(log.size(), 20u);
  EXPECT_EQ(log.front(), "0:7");
  EXPECT_EQ(log.back(), "19:7");
}

}  // namespace
}  // namespace kelStore
