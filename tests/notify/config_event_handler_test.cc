// ConfigEventHandler: the 100 ms cost threshold of a delivery and of a provider's answer, on the
// mock clock and on the real one. (The lines' texts: store/kel_config_store_test.cc.)
#include <gtest/gtest.h>

#include <chrono>

#include "mediaengine/mediastores/src/config/config_event_handler.h"
#include "mediastores/mediastores.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

const KelConfigEvent kEvent;

TEST(ConfigEventHandlerTest, CostWarningAbove100Milliseconds) {
  struct ResetClock {
    ~ResetClock() { set_mock_time(~0ULL); }
  } resetClock;
  // Clock (microseconds) as the call starts and while it runs; whether Notify and Invoke warn.
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
    subscriber.Notify(kEvent);
    set_mock_time(row.start);
    provider.Invoke(kEvent);
    EXPECT_EQ(capture.CountContaining("::Notify, , 0, cost=101ms"), row.warned ? 1 : 0);
    EXPECT_EQ(capture.CountContaining("::Invoke, , 0, cost=101ms"), row.warned ? 1 : 0);
  }
}

// On the real clock the cost is the whole milliseconds of the elapsed time: a callback of 100 ms
// (and a little) is not reported and one of 101 ms is, every time, also when it follows another
// subscriber's delivery in the same set.
TEST(ConfigEventHandlerTest, CostWarningOnTheRealClockIsExact) {
  IKelConfig* store = nullptr;
  ASSERT_EQ(CreateKelConfig(91, &store), KEL_S_OK);
  std::chrono::microseconds busyFor{0};
  store->SubscribeConfig(kGroupVideo, "fps", [](const KelConfigEvent&) {});
  store->SubscribeConfig(kGroupVideo, "fps", [&](const KelConfigEvent&) {
    const auto end = std::chrono::steady_clock::now() + busyFor;
    while (std::chrono::steady_clock::now() < end) {
    }
  });
  int value = 0;
  for (int round = 0; round < 3; ++round) {
    for (const bool warned : {false, true}) {
      SCOPED_TRACE(warned ? "101 ms" : "100 ms");
      busyFor = std::chrono::microseconds(warned ? 101000 : 100000);
      TraceCapture capture(1);
      EXPECT_EQ(store->SetKelConfig(kGroupVideo, "fps", ConfigData(++value)), KEL_S_OK);
      EXPECT_EQ(capture.CountContaining("::Notify, fps, 5, cost=10"), warned ? 1 : 0);
    }
  }
  DestroyKelConfig();
}

}  // namespace
}  // namespace kelStore
