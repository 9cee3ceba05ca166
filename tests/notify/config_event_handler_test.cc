// ConfigEventHandler: which callback each kind answers, a run thread without a queue, and the
// 100 ms cost threshold. (Delivery threads and nesting are tested through the store, in
// subscription_test.cc and notify_concurrency_test.cc; the lines' texts in
// store/kel_config_store_test.cc.)
#include <gtest/gtest.h>

#include "mediaengine/mediastores/src/config/config_event_handler.h"
#include "mediastores/mediastores.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

KelConfigEvent MakeEvent(const ConfigData& newValue) {
  KelConfigEvent event;
  event.name = "bitrate";
  event.newValue = newValue;
  event.SetGroup(kGroupVideo);
  return event;
}

TEST(ConfigEventHandlerTest, EachKindAnswersOnlyItsOwnCall) {
  ConfigEventHandler provider(
      fnConfigInvokeCallBack([](const KelConfigEvent&) { return ConfigData("answer"); }));
  EXPECT_FALSE(provider.Notify(MakeEvent(ConfigData(1))));
  EXPECT_EQ(provider.level.load(), 0u);  // skipped before any counting
  EXPECT_EQ(provider.Invoke(MakeEvent(ConfigData())), ConfigData("answer"));
  ConfigEventHandler subscriber(fnConfigChangedCallBack([](const KelConfigEvent&) {}));
  EXPECT_FALSE(subscriber.Invoke(MakeEvent(ConfigData())).IsValid());
}

TEST(ConfigEventHandlerTest, RunThreadWithoutQueueDropsTheDelivery) {
  TraceCapture capture(0);
  COxEventThread noQueue(false);
  int calls = 0;
  ConfigEventHandler handler(fnConfigChangedCallBack([&](const KelConfigEvent&) { ++calls; }));
  handler.m_pRunThread = &noQueue;
  EXPECT_TRUE(handler.Notify(MakeEvent(ConfigData(1))));
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(capture.TextsAtLevel(0).size(), 1u);
}

TEST(ConfigEventHandlerTest, CostWarningAbove100Milliseconds) {
  struct ResetClock {
    ~ResetClock() { set_mock_time(~0ULL); }
  } resetClock;
  // Clock readings (microseconds) when the delivery starts and while the callback runs.
  struct Row {
    long long start;
    long long during;
    bool warned;
  };
  for (const Row& row : {Row{5000000, 5100000, false}, Row{5000000, 5100999, false},
                         Row{5000000, 5101000, true}, Row{900000000, 1000, false}}) {
    SCOPED_TRACE(row.during);
    TraceCapture capture(2);
    ConfigEventHandler subscriber(
        fnConfigChangedCallBack([&](const KelConfigEvent&) { set_mock_time(row.during); }));
    ConfigEventHandler provider(fnConfigInvokeCallBack([&](const KelConfigEvent&) {
      set_mock_time(row.during);
      return ConfigData(2);
    }));
    set_mock_time(row.start);
    subscriber.Notify(MakeEvent(ConfigData(1)));
    set_mock_time(row.start);
    provider.Invoke(MakeEvent(ConfigData()));
    EXPECT_EQ(capture.TextsAtLevel(1).size(), row.warned ? 2u : 0u);
    EXPECT_EQ(capture.CountContaining("::Invoke, bitrate, 5, cost=101ms"), row.warned ? 1 : 0);
  }
}

}  // namespace
}  // namespace kelStore
