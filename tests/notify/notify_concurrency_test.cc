// Change notification under concurrency: callbacks that re-enter the store and removals that meet
// a running delivery. (The store-wide stress run is reliability/store_stress_test.cc.)
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "mediaengine/mediastores/src/config/config_event_handler.h"
#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/event_test_util.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr uint32_t kCallId = 57;

class NotifyConcurrencyTest : public storetest::StoreTest {
 protected:
  void SetUp() override { ASSERT_EQ(CreateKelConfig(kCallId, &store_), KEL_S_OK); }
  std::string Decoration() const { return storetest::StoreDecoration(kCallId, store_); }

  IKelConfig* store_ = nullptr;
};

TEST_F(NotifyConcurrencyTest, CallbackThatSetsTheKeyItWatches) {
  COxEventThread worker;
  for (const bool sent : {false, true}) {
    SCOPED_TRACE(sent ? "sent" : "direct");
    const char* key = sent ? "fpsSent" : "fpsDirect";
    Lines seen;  // written on one thread at a time
    int32_t innerResult = -1;
    uint64_t callbackThread = 0;
    const SubscribeId_t id = store_->SubscribeConfig(
        kGroupVideo, key,
        [&](const KelConfigEvent& e) {
          seen.push_back(e.oldValue.ToString() + "->" + e.newValue.ToString());
          callbackThread = GetThreadSelfId();
          if (seen.size() == 1) innerResult = store_->SetKelConfig(kGroupVideo, key, ConfigData(2));
        },
        sent ? &worker : nullptr, false);
    ASSERT_NE(id, 0u);
    TraceCapture capture(2);
    EXPECT_EQ(store_->SetKelConfig(kGroupVideo, key, ConfigData(1)), KEL_S_OK);
    EXPECT_EQ(innerResult, KEL_S_OK);
    EXPECT_EQ(seen, (Lines{"->1", "1->2"}));
    EXPECT_EQ(callbackThread, sent ? worker.GetThreadId() : GetThreadSelfId());
    // The inner set finds the handler still marked by the outer one (busy thread: the setter),
    // then delivers at depth 2, in place.
    const Lines warnings = capture.TextsAtLevel(1);
    ASSERT_EQ(warnings.size(), 2u);
    EXPECT_EQ(warnings[0], "kelStore::KelConfig::fireEvents, fireEvents Multiple notification, " +
                               std::string(key) + ", " + std::to_string(GetThreadSelfId()) + ", " +
                               std::to_string(id) + ", " + std::to_string(callbackThread) +
                               Decoration());
    const std::string nested = "kelStore::ConfigEventHandler::Notify, level=2, " + std::string(key);
    EXPECT_EQ(warnings[1].rfind(nested + ", 5 [this=", 0), 0u) << warnings[1];
    // Both deliveries have cleared their marks: removal neither waits nor complains.
    capture.Clear();
    EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);
    EXPECT_EQ(capture.Texts().size(), 1u);  // its own bookkeeping line only
  }
}

TEST_F(NotifyConcurrencyTest, CallbackThatUnsubscribesItselfWaitsOutTheBound) {
  TraceCapture capture(2);
  SubscribeId_t id = 0;
  int32_t removal = -1;
  steady_clock::duration took{};
  int calls = 0;
  id = store_->SubscribeConfig(kGroupAudio, "gain", [&](const KelConfigEvent&) {
    ++calls;
    const auto start = steady_clock::now();
    removal = store_->UnsubscribeConfig(id);
    took = steady_clock::now() - start;
  });
  ASSERT_NE(id, 0u);
  capture.Clear();

  EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "gain", ConfigData(3)), KEL_S_OK);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(removal, KEL_S_OK);  // given up waiting for itself, and done
  EXPECT_GE(took, milliseconds(2900));
  EXPECT_EQ(capture.TextsAtLevel(0),
            Lines{"kelStore::KelConfig::unsubscribeConfig, Same thread remove itself when "
                  "notification, gain, " +
                  std::to_string(GetThreadSelfId()) + ", " + std::to_string(id) + Decoration()});
  // Reported every half second or so while it waits; the delivery then reports its cost.
  Lines waits = capture.TextsAtLevel(1);
  ASSERT_FALSE(waits.empty());
  EXPECT_EQ(waits.back().rfind("kelStore::ConfigEventHandler::Notify, gain, 3, cost=", 0), 0u);
  waits.pop_back();
  EXPECT_GE(waits.size(), 1u);
  EXPECT_LE(waits.size(), 7u);
  for (const std::string& line : waits) {
    EXPECT_EQ(line, "kelStore::KelConfig::unsubscribeConfig, gain Waiting for long time... [this=" +
                        storetest::PointerText(store_) + "]");
  }
  EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "gain", ConfigData(4)), KEL_E_NOOBSERVER);
}

TEST_F(NotifyConcurrencyTest, RemovalFromAnotherThreadWaitsForTheRunningDelivery) {
  TraceCapture capture(2);
  eventtest::Signal entered;
  eventtest::Signal release;
  std::atomic<bool> deliveryDone{false};
  std::atomic<uint64_t> deliveryThread{0};
  const SubscribeId_t id =
      store_->SubscribeConfig(kGroupVideo, "bitrate", [&](const KelConfigEvent&) {
        deliveryThread = GetThreadSelfId();
        entered.Set();
        release.Wait();
        deliveryDone = true;
      });
  ASSERT_NE(id, 0u);
  std::thread setter(
      [&] { EXPECT_EQ(store_->SetKelConfig(kGroupVideo, "bitrate", ConfigData(900)), KEL_S_OK); });
  EXPECT_TRUE(entered.Wait());

  steady_clock::duration took{};
  bool doneWhenReturned = false;
  int32_t removal = -1;
  std::thread remover([&] {
    const auto start = steady_clock::now();
    removal = store_->UnsubscribeConfig(id);
    doneWhenReturned = deliveryDone;
    took = steady_clock::now() - start;
  });
  // Let the delivery end once the remover has taken the handler out and waits for it.
  const auto deadline = steady_clock::now() + std::chrono::seconds(30);
  while (capture.CountContaining("Other thread remove itself") == 0 &&
         steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
  release.Set();
  remover.join();
  setter.join();

  EXPECT_EQ(removal, KEL_S_OK);
  EXPECT_TRUE(doneWhenReturned);
  EXPECT_LT(took, milliseconds(2500));  // not the 3 s give-up
  EXPECT_EQ(
      capture.TextsAtLevel(0),
      Lines{"kelStore::KelConfig::unsubscribeConfig, Other thread remove itself when "
            "notification, bitrate, " +
            std::to_string(deliveryThread.load()) + ", " + std::to_string(id) + Decoration()});
  EXPECT_EQ(store_->SetKelConfig(kGroupVideo, "bitrate", ConfigData(901)), KEL_E_NOOBSERVER);
}

}  // namespace
}  // namespace kelStore
