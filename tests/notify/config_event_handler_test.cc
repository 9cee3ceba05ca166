// ConfigEventHandler: the 100 ms cost threshold of a delivery and of a provider's answer. (The
// lines' texts: store/kel_config_store_test.cc.)
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace kelStore
