#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "config_event_handler.h"
#include "mediastores_internal.h"
#include "support/trace_capture.h"

namespace kelStore {
namespace {

KelConfigEvent MakeEvent(const char* name, const ConfigData& newValue) {
  KelConfigEvent event;
  event.name = name;
  event.newValue = newValue;
  event.SetGroup(kGroupVideo);
  return event;
}

std::string Hex(const void* p) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%p", p);
  return buffer;
}

class MockClockTest : public testing::Test {
 protected:
  void TearDown() override { set_mock_time(~0ULL); }
};

TEST(ConfigEventTest, NewEventAndGroupTypes) {
  KelConfigEvent event;
  EXPECT_TRUE(event.name.empty());
  EXPECT_FALSE(event.oldValue.IsValid());
  EXPECT_FALSE(event.newValue.IsValid());
  EXPECT_FALSE(event.defaultValue.IsValid());
  EXPECT_EQ(event.group, 0u);
  EXPECT_EQ(event.groupType, 15u);
  const uint32_t expected[13] = {15, 15, 15, 0, 3, 1, 2, 4, 5, 14, 15, 15, 15};
  for (uint32_t g = 0; g < 13; ++g) {
    event.SetGroup(static_cast<KelConfigGroup>(g));
    EXPECT_EQ(event.groupType, expected[g]) << "group " << g;
  }
}

TEST(ConfigEventHandlerTest, HandlerWithoutChangeCallbackIsSkipped) {
  ConfigEventHandler provider(
      fnConfigInvokeCallBack([](const KelConfigEvent&) { return ConfigData("answer"); }));
  EXPECT_FALSE(provider.Notify(MakeEvent("k", ConfigData(1))));
  EXPECT_EQ(provider.level.load(), 0u);
  EXPECT_EQ(provider.Invoke(MakeEvent("k", ConfigData())), ConfigData("answer"));

  ConfigEventHandler subscriber(fnConfigChangedCallBack([](const KelConfigEvent&) {}));
  EXPECT_FALSE(subscriber.Invoke(MakeEvent("k", ConfigData())).IsValid());
  EXPECT_EQ(subscriber.id, 0u);
  EXPECT_EQ(subscriber.group, kGroupNone);
  EXPECT_EQ(subscriber.busyThread.load(), 0u);
}

TEST(ConfigEventHandlerTest, DeliveryThreadByRunThreadAndAsyncFlag) {
  COxEventThread worker;
  struct Case {
    const char* what;
    AOxThread* runThread;
    bool async;
    uint64_t expectedThread;
  };
  const std::vector<Case> cases = {
      {"direct", nullptr, false, GetThreadSelfId()},
      {"sent", &worker, false, worker.GetThreadId()},
      {"posted", &worker, true, worker.GetThreadId()},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::atomic<uint64_t> seenThread{0};
    std::string seenValue;
    ConfigEventHandler handler(fnConfigChangedCallBack([&](const KelConfigEvent& e) {
      seenValue = e.newValue.ToString();
      seenThread = GetThreadSelfId();
    }));
    handler.m_pRunThread = c.runThread;
    handler.bAsync = c.async;
    EXPECT_TRUE(handler.Notify(MakeEvent("fps", ConfigData(30))));
    if (c.async) {
      worker.GetEventQueue()->SendEvent(new CSwitchThreadEvent(KelConfigEvent(), nullptr));
    }
    EXPECT_EQ(seenThread.load(), c.expectedThread);
    EXPECT_EQ(seenValue, "30");
    EXPECT_EQ(handler.level.load(), 0u);
  }
}

TEST(ConfigEventHandlerTest, SentDeliveryFromTheRunThreadItselfIsDirect) {
  COxEventThread worker;
  std::vector<std::string> order;  // touched on the worker only
  ConfigEventHandler handler(fnConfigChangedCallBack(
      [&](const KelConfigEvent& e) { order.push_back(e.newValue.ToString()); }));
  handler.m_pRunThread = &worker;
  struct Fire : IOxEvent {
    ConfigEventHandler* handler;
    std::vector<std::string>* order;
    int OnEventFire() override {
      order->push_back("before");
      handler->Notify(MakeEvent("k", ConfigData("inner")));
      order->push_back("after");
      return 0;
    }
  };
  auto* fire = new Fire;
  fire->handler = &handler;
  fire->order = &order;
  worker.GetEventQueue()->SendEvent(fire);
  EXPECT_EQ(order, (std::vector<std::string>{"before", "inner", "after"}));
}

TEST(ConfigEventHandlerTest, PostedEventOwnsItsCopiesAfterTheHandlerIsGone) {
  std::atomic<int> calls{0};
  std::string seenName;
  {
    COxEventThread worker;
    std::mutex gate;
    gate.lock();  // keep the worker busy until the handler is destroyed
    worker.GetEventQueue()->PostEvent(
        new CSwitchThreadEvent(KelConfigEvent(),
                               [&](const KelConfigEvent&) { std::lock_guard<std::mutex> g(gate); }),
        128);
    {
      auto handler = std::make_shared<ConfigEventHandler>(
          fnConfigChangedCallBack([&calls, &seenName](const KelConfigEvent& e) {
            seenName = e.name;
            calls.fetch_add(1);
          }));
      handler->m_pRunThread = &worker;
      handler->bAsync = true;
      EXPECT_TRUE(handler->Notify(MakeEvent("resolution", ConfigData("720p"))));
    }
    gate.unlock();
  }
  EXPECT_EQ(calls.load(), 1);
  EXPECT_EQ(seenName, "resolution");
}

TEST(ConfigEventHandlerTest, RunThreadWithoutQueueDropsTheDelivery) {
  TraceCapture capture(2);
  COxEventThread noQueue(false);
  int calls = 0;
  ConfigEventHandler handler(fnConfigChangedCallBack([&](const KelConfigEvent&) { ++calls; }));
  handler.m_pRunThread = &noQueue;
  EXPECT_TRUE(handler.Notify(MakeEvent("k", ConfigData(1))));
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(capture.TextsAtLevel(0),
            std::vector<std::string>{
                "kelStore::ConfigEventHandler::Notify, m_pRunThread=" + Hex(&noQueue) +
                ", EventQueue == NULL [this=" + Hex(&handler) + "]"});
}

TEST(ConfigEventHandlerTest, NestedNotificationWarnsAndStillDelivers) {
  TraceCapture capture(2);
  std::vector<std::string> seen;
  ConfigEventHandler* self = nullptr;
  ConfigEventHandler handler(fnConfigChangedCallBack([&](const KelConfigEvent& e) {
    seen.push_back(e.newValue.ToString());
    if (seen.size() == 1) self->Notify(MakeEvent("fps", ConfigData(15)));
  }));
  self = &handler;
  handler.Notify(MakeEvent("fps", ConfigData(30)));
  EXPECT_EQ(seen, (std::vector<std::string>{"30", "15"}));
  EXPECT_EQ(
      capture.TextsAtLevel(1),
      std::vector<std::string>{
          "kelStore::ConfigEventHandler::Notify, level=2, fps, 5 [this=" + Hex(&handler) + "]"});
  EXPECT_EQ(handler.level.load(), 0u);
}

TEST_F(MockClockTest, CostWarningAbove100Milliseconds) {
  struct Case {
    long long costMicros;
    bool warned;
  };
  for (const Case& c : {Case{100000, false}, Case{100999, false}, Case{101000, true}}) {
    SCOPED_TRACE(c.costMicros);
    TraceCapture capture(2);
    set_mock_time(5000000);
    ConfigEventHandler subscriber(fnConfigChangedCallBack(
        [&](const KelConfigEvent&) { set_mock_time(5000000 + c.costMicros); }));
    subscriber.Notify(MakeEvent("bitrate", ConfigData(1)));
    ConfigEventHandler provider(fnConfigInvokeCallBack([&](const KelConfigEvent&) {
      set_mock_time(5000000 + c.costMicros);
      return ConfigData(2);
    }));
    set_mock_time(5000000);
    provider.Invoke(MakeEvent("bitrate", ConfigData()));
    std::vector<std::string> expected;
    if (c.warned) {
      expected = {
          "kelStore::ConfigEventHandler::Notify, bitrate, 5, cost=101ms [this=" + Hex(&subscriber) +
              "]",
          "kelStore::ConfigEventHandler::Invoke, bitrate, 5, cost=101ms [this=" + Hex(&provider) +
              "]"};
    }
    EXPECT_EQ(capture.TextsAtLevel(1), expected);
  }
}

TEST_F(MockClockTest, ClockGoingBackwardsCostsNothing) {
  TraceCapture capture(2);
  set_mock_time(900000000);
  ConfigEventHandler subscriber(
      fnConfigChangedCallBack([&](const KelConfigEvent&) { set_mock_time(1000); }));
  subscriber.Notify(MakeEvent("k", ConfigData(1)));
  EXPECT_TRUE(capture.TextsAtLevel(1).empty());
}

}  // namespace
}  // namespace kelStore
