// Callbacks that re-enter the store, and removals that meet a running delivery.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/event_test_util.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;

constexpr uint32_t kCallId = 57;

class NotifyConcurrencyTest : public storetest::StoreTest {
 protected:
  void SetUp() override { ASSERT_EQ(CreateKelConfig(kCallId, &store_), KEL_S_OK); }
  // The line of a removal that meets a delivery of `id` to `key` marked by thread `marker`.
  std::string RemovalLine(const char* which, const char* key, uint64_t marker,
                          SubscribeId_t id) const {
    return "kelStore::KelConfig::unsubscribeConfig, " + std::string(which) +
           " thread remove itself when notification, " + key + ", " + std::to_string(marker) +
           ", " + std::to_string(id) + storetest::StoreDecoration(kCallId, store_);
  }

  IKelConfig* store_ = nullptr;
};

TEST_F(NotifyConcurrencyTest, CallbackThatSetsTheKeyItWatches) {
  COxEventThread worker;
  for (const bool sent : {false, true}) {
    SCOPED_TRACE(sent ? "sent" : "direct");
    const char* key = sent ? "fpsSent" : "fpsDirect";
    Lines seen;  // written on one thread at a time
    int32_t innerResult = -1;
    const SubscribeId_t id = store_->SubscribeConfig(
        kGroupVideo, key,
        [&](const KelConfigEvent& e) {
          seen.push_back(e.oldValue.ToString() + "->" + e.newValue.ToString());
          if (seen.size() == 1) innerResult = store_->SetKelConfig(kGroupVideo, key, ConfigData(2));
        },
        sent ? &worker : nullptr, false);
    EXPECT_EQ(store_->SetKelConfig(kGroupVideo, key, ConfigData(1)), KEL_S_OK);
    EXPECT_EQ(innerResult, KEL_S_OK);
    EXPECT_EQ(seen, (Lines{"->1", "1->2"}));  // the inner change is delivered in place
    // Both deliveries have let go of the mark: the removal neither waits nor complains.
    TraceCapture capture(1);
    EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);
    EXPECT_EQ(capture.Texts(), Lines{});
  }
}

// A callback removing its own subscription waits for itself until the bound: about 3 s on the
// platform clock (a mock clock moved by a ticking thread), or 4000 sleeps of 1 ms when the clock
// does not move. The wait is reported every half second; the delivery's cost is 3001 ms and more.
TEST_F(NotifyConcurrencyTest, CallbackThatUnsubscribesItselfWaitsOutTheBound) {
  for (const bool ticking : {true, false}) {
    SCOPED_TRACE(ticking ? "ticking clock" : "frozen clock");
    set_mock_time(5000000);
    std::atomic<bool> stop{false};
    std::thread ticker([&] {
      for (unsigned long long now = 5000000; ticking && !stop.load(); now += 1000) {
        set_mock_time(now);  // 1 ms of the mock clock every 50 us or so
        std::this_thread::sleep_for(std::chrono::microseconds(50));
      }
    });
    const char* key = ticking ? "gain" : "mute";
    TraceCapture capture(1);
    int32_t removal = -1;
    SubscribeId_t id = 0;
    id = store_->SubscribeConfig(
        kGroupAudio, key, [&](const KelConfigEvent&) { removal = store_->UnsubscribeConfig(id); });
    EXPECT_EQ(store_->SetKelConfig(kGroupAudio, key, ConfigData(3)), KEL_S_OK);
    stop = true;
    ticker.join();
    set_mock_time(~0ULL);
    EXPECT_EQ(removal, KEL_S_OK);  // given up waiting for itself, and done
    EXPECT_EQ(capture.TextsAtLevel(0), Lines{RemovalLine("Same", key, GetThreadSelfId(), id)});
    Lines waits = capture.TextsAtLevel(1);
    const std::string cost = "kelStore::ConfigEventHandler::Notify, gain, 3, cost=";
    if (ticking && !waits.empty() && waits.back().rfind(cost, 0) == 0) {
      const long long millis = std::stoll(waits.back().substr(cost.size()));
      EXPECT_TRUE(millis >= 3001 && millis < 4000) << millis;
      waits.pop_back();
    }
    EXPECT_EQ(waits.size() >= 1 && waits.size() <= 7, ticking) << waits.size();
    for (const std::string& line : waits) {
      EXPECT_EQ(line,
                "kelStore::KelConfig::unsubscribeConfig, gain Waiting for long time... [this=" +
                    storetest::PointerText(store_) + "]");
    }
    EXPECT_EQ(store_->SetKelConfig(kGroupAudio, key, ConfigData(4)), KEL_E_NOOBSERVER);
  }
}

TEST_F(NotifyConcurrencyTest, RemovalFromAnotherThreadWaitsForTheRunningDelivery) {
  TraceCapture capture(0);
  eventtest::Signal entered;
  std::atomic<bool> deliveryDone{false};
  std::atomic<uint64_t> deliveryThread{0};
  const SubscribeId_t id =
      store_->SubscribeConfig(kGroupVideo, "bitrate", [&](const KelConfigEvent&) {
        deliveryThread = GetThreadSelfId();
        entered.Set();
        // Ends once the removal has taken the handler out and waits for it (30 s at most).
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (capture.Texts().empty() && std::chrono::steady_clock::now() < deadline)
          std::this_thread::yield();
        deliveryDone = true;
      });
  std::thread setter(
      [&] { EXPECT_EQ(store_->SetKelConfig(kGroupVideo, "bitrate", ConfigData(900)), KEL_S_OK); });
  EXPECT_TRUE(entered.Wait());
  EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);
  EXPECT_TRUE(deliveryDone);  // waited for
  setter.join();
  EXPECT_EQ(capture.Texts(), Lines{RemovalLine("Other", "bitrate", deliveryThread.load(), id)});
  EXPECT_EQ(store_->SetKelConfig(kGroupVideo, "bitrate", ConfigData(901)), KEL_E_NOOBSERVER);
}

}  // namespace
}  // namespace kelStore
