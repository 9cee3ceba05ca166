// KelConfigObserverMgr: a walk works on a copy of the key's list. (Everything else is seen
// through the store: subscription_test.cc, notify_concurrency_test.cc.)
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
  // A change walk of `name` (with `answer`: a provider walk); returns the walk's count.
  uint32_t Walk(const char* name, const ConfigData& change, ConfigData* answer = nullptr) {
    KelConfigEvent event;
    event.newValue = change;
    uint32_t count = 0;
    mgr_.FireEvent(
        name, [](const ConfigEventHandler::Ptr& h) { h->busy.Enter(1); },
        [&](const ConfigEventHandler::Ptr& h) {
          if (answer == nullptr) Mgr::DeliverChange(h, event, count, 1);
          if (answer != nullptr) Mgr::DeliverInvoke(h, event, count, *answer, 1);
        });
    return count;
  }

  struct FakeStore {
    std::atomic<uint32_t> m_TotalObservers{0};
  } store_;
  Mgr mgr_;
  std::vector<std::string> log_;
};

TEST_F(ObserverMgrTest, WalkWorksOnACopyOfTheList) {
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
  mgr_.Subscribe("k", first, &store_, 0);
  mgr_.Subscribe("k", second, &store_, 0);
  EXPECT_EQ(Walk("k", ConfigData(1)), 2u);
  EXPECT_EQ(log_, (std::vector<std::string>{"first:1", "second:1"}));
}

}  // namespace
}  // namespace kelStore
