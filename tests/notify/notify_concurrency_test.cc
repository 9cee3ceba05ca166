// Change notification under concurrency: callbacks that re-enter the store, removals that meet a
// running delivery, and a bounded stress run over a shared key set.
//
// Soak runs: MEDIASTORES_SOAK=1 multiplies the stress run's operation counts by 50
// (MEDIASTORES_SOAK=<n> with n > 1 by n), e.g.
//   MEDIASTORES_SOAK=1 build/default/tests/notify_tests --gtest_filter='*Stress*'
// Under the sanitizers the counts are halved, so a sanitized soak of n runs n/2 times the
// default build's work.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "mediastores_internal.h"
#include "store/store_test_util.h"
#include "support/trace_capture.h"

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define NOTIFY_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define NOTIFY_TEST_SANITIZED 1
#endif
#endif

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;
using storetest::PointerText;

constexpr uint32_t kCallId = 57;

class FnEvent : public IOxEvent {
 public:
  explicit FnEvent(std::function<void()> fn) : fn_(std::move(fn)) {}
  int OnEventFire() override {
    fn_();
    return 0;
  }

 private:
  std::function<void()> fn_;
};

void Flush(COxEventThread& worker) {
  worker.GetEventQueue()->SendEvent(new FnEvent([] {}));
}

// A one-shot signal between threads.
class Signal {
 public:
  void Set() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      set_ = true;
    }
    cv_.notify_all();
  }
  void Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    cv_.wait(lock, [this] { return set_; });
  }
  // Waits at most `limit`, a guard against a hang when the awaited step never comes.
  bool WaitFor(std::chrono::seconds limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    return cv_.wait_for(lock, limit, [this] { return set_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable cv_;
  bool set_ = false;
};

// Sets `signal` when a trace line containing `fragment` passes, and hands every line on to the
// sink that was installed before (a TraceCapture's).
class TraceWatch {
 public:
  TraceWatch(const char* fragment, Signal* signal) {
    fragment_ = fragment;
    signal_ = signal;
    previous_ = set_util_trace_sink(&Sink);
  }
  ~TraceWatch() { set_util_trace_sink(previous_); }

 private:
  static void Sink(int level, const char* module, const char* text, int length) {
    if (previous_ != nullptr) previous_(level, module, text, length);
    if (std::string(text, length > 0 ? length : 0).find(fragment_) != std::string::npos) {
      signal_->Set();
    }
  }
  static inline util_trace_sink_t previous_ = nullptr;
  static inline const char* fragment_ = nullptr;
  static inline Signal* signal_ = nullptr;
};

bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

class NotifyConcurrencyTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(CreateKelConfig(kCallId, &store_), KEL_S_OK); }
  void TearDown() override { DestroyKelConfig(); }

  std::string Decoration() const { return storetest::StoreDecoration(kCallId, store_); }

  IKelConfig* store_ = nullptr;
};

TEST_F(NotifyConcurrencyTest, CallbackThatSetsTheKeyItWatches) {
  COxEventThread worker;
  for (const bool sent : {false, true}) {
    SCOPED_TRACE(sent ? "sent" : "direct");
    const char* key = sent ? "fpsSent" : "fpsDirect";
    std::vector<std::string> seen;  // written on one thread at a time
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
    ConfigData stored;
    EXPECT_EQ(store_->GetKelConfig(kGroupVideo, key, stored), KEL_S_OK);
    EXPECT_EQ(stored, ConfigData(2));

    // The inner set finds the handler still marked by the outer one (busy thread: the setter),
    // then delivers at depth 2, in place.
    const Lines warnings = capture.TextsAtLevel(1);
    ASSERT_EQ(warnings.size(), 2u);
    EXPECT_EQ(warnings[0], "kelStore::KelConfig::fireEvents, fireEvents Multiple notification, " +
                               std::string(key) + ", " + std::to_string(GetThreadSelfId()) + ", " +
                               std::to_string(id) + ", " + std::to_string(callbackThread) +
                               Decoration());
    EXPECT_PRED2(
        StartsWith, warnings[1],
        "kelStore::ConfigEventHandler::Notify, level=2, " + std::string(key) + ", 5 [this=");
    EXPECT_TRUE(capture.TextsAtLevel(0).empty());

    // Both deliveries have cleared their marks: removal neither waits nor complains.
    capture.Clear();
    EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);
    EXPECT_EQ(capture.CountContaining("remove itself"), 0);
  }
}

TEST_F(NotifyConcurrencyTest, CallbackThatUnsubscribesItselfWaitsOutTheBound) {
  TraceCapture capture(2);
  SubscribeId_t id = 0;
  int32_t removal = -1;
  std::chrono::steady_clock::duration took{};
  int calls = 0;
  id = store_->SubscribeConfig(kGroupAudio, "gain", [&](const KelConfigEvent&) {
    ++calls;
    const auto start = std::chrono::steady_clock::now();
    removal = store_->UnsubscribeConfig(id);
    took = std::chrono::steady_clock::now() - start;
  });
  ASSERT_NE(id, 0u);
  capture.Clear();

  EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "gain", ConfigData(3)), KEL_S_OK);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(removal, KEL_S_OK);  // given up waiting for itself, and done
  EXPECT_GE(took, std::chrono::milliseconds(2900));
  EXPECT_EQ(capture.TextsAtLevel(0),
            Lines{"kelStore::KelConfig::unsubscribeConfig, Same thread remove itself when "
                  "notification, gain, " +
                  std::to_string(GetThreadSelfId()) + ", " + std::to_string(id) + Decoration()});
  // Reported every half second or so while it waits; the delivery then reports its cost.
  Lines waits = capture.TextsAtLevel(1);
  ASSERT_FALSE(waits.empty());
  EXPECT_PRED2(StartsWith, waits.back(), "kelStore::ConfigEventHandler::Notify, gain, 3, cost=");
  waits.pop_back();
  EXPECT_GE(waits.size(), 1u);
  EXPECT_LE(waits.size(), 7u);
  for (const std::string& line : waits) {
    EXPECT_EQ(line, "kelStore::KelConfig::unsubscribeConfig, gain Waiting for long time... [this=" +
                        PointerText(store_) + "]");
  }
  EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "gain", ConfigData(4)), KEL_E_NOOBSERVER);
  EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_E_BADSTATE);
}

TEST_F(NotifyConcurrencyTest, RemovalFromAnotherThreadWaitsForTheRunningDelivery) {
  TraceCapture capture(2);
  Signal entered;
  Signal release;
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
  if (!entered.WaitFor(std::chrono::seconds(30))) {
    ADD_FAILURE() << "the change was never delivered";
    release.Set();
    setter.join();
    return;
  }

  Signal removing;
  std::chrono::steady_clock::duration took{};
  bool doneWhenReturned = false;
  int32_t removal = -1;
  std::thread remover;
  {
    TraceWatch watch("Other thread remove itself when notification", &removing);
    remover = std::thread([&] {
      const auto start = std::chrono::steady_clock::now();
      removal = store_->UnsubscribeConfig(id);
      doneWhenReturned = deliveryDone;
      took = std::chrono::steady_clock::now() - start;
    });
    // The remover has taken the handler out and now waits for the delivery.
    EXPECT_TRUE(removing.WaitFor(std::chrono::seconds(30)));
  }
  release.Set();
  remover.join();
  setter.join();

  EXPECT_EQ(removal, KEL_S_OK);
  EXPECT_TRUE(doneWhenReturned);
  EXPECT_LT(took, std::chrono::milliseconds(2500));  // not the 3 s give-up
  EXPECT_EQ(
      capture.TextsAtLevel(0),
      Lines{"kelStore::KelConfig::unsubscribeConfig, Other thread remove itself when "
            "notification, bitrate, " +
            std::to_string(deliveryThread.load()) + ", " + std::to_string(id) + Decoration()});
  EXPECT_EQ(store_->SetKelConfig(kGroupVideo, "bitrate", ConfigData(901)), KEL_E_NOOBSERVER);
}

// ---------------------------------------------------------------------------------------------
// Stress: writers, subscribers (direct, sent, posted), providers, dynamic readers and removers on
// nine keys (three names in three groups) of one store, with two worker threads.

int StressScale() {
  int scale = 1;
#ifdef NOTIFY_TEST_SANITIZED
  scale = -2;  // divide
#endif
  const char* soak = std::getenv("MEDIASTORES_SOAK");
  if (soak != nullptr && std::atoi(soak) > 0) {
    const int factor = std::atoi(soak) == 1 ? 50 : std::atoi(soak);
    scale = scale < 0 ? std::max(1, factor / -scale) : factor;
  }
  return scale;
}

int StressOps(int base) {
  const int scale = StressScale();
  return scale < 0 ? base / -scale : base * scale;
}

constexpr KelConfigGroup kStressGroups[] = {kGroupAudio, kGroupVideo, kGroupCommon};
constexpr const char* kStressKeys[] = {"bitrate", "fps", "codec"};  // "codec" has a fixed provider
constexpr size_t kSlots = 9;
constexpr int kWorkers = 2;

KelConfigGroup SlotGroup(size_t slot) {
  return kStressGroups[slot / 3];
}
const char* SlotKey(size_t slot) {
  return kStressKeys[slot % 3];
}
bool SlotHasFixedProvider(size_t slot) {
  return slot % 3 == 2;
}
ConfigData SlotAnswer(size_t slot) {
  return ConfigData("answer" + std::to_string(slot));
}

enum class Mode { kDirect, kSent, kPosted };

// One subscription's or binding's record. Records outlive the workers, which may still hold
// posted deliveries to them.
struct Watcher {
  Mode mode = Mode::kDirect;
  size_t slot = 0;
  int worker = 0;
  std::atomic<int> deliveries{0};
  std::atomic<int> faults{0};        // wrong key, group or thread
  std::atomic<int> late{0};          // delivered against the removal rule
  std::atomic<bool> removed{false};  // its UnsubscribeConfig has returned
  std::atomic<bool> fenced{false};   // posted: the fence queued after the removal has run
};

struct StressRun {
  IKelConfig* store = nullptr;
  std::vector<std::unique_ptr<COxEventThread>>* workers = nullptr;
  std::atomic<int> okSets[kSlots] = {};
  std::atomic<int> faults{0};  // unexpected results of store operations

  fnConfigChangedCallBack ChangeCallback(Watcher* w) {
    const uint64_t thread = w->mode == Mode::kDirect ? 0 : (*workers)[w->worker]->GetThreadId();
    return [w, thread](const KelConfigEvent& e) {
      if (e.name != SlotKey(w->slot) || e.group != SlotGroup(w->slot) ||
          (thread != 0 && GetThreadSelfId() != thread)) {
        w->faults.fetch_add(1);
      }
      if (w->fenced.load()) w->late.fetch_add(1);  // posted after the removal returned
      w->deliveries.fetch_add(1);
      // Direct and sent: the removal must have waited for this delivery to end.
      if (w->mode != Mode::kPosted && w->removed.load()) w->late.fetch_add(1);
    };
  }

  fnConfigInvokeCallBack ProvideCallback(Watcher* w) {
    return [w](const KelConfigEvent& e) {
      if (e.name != SlotKey(w->slot) || e.group != SlotGroup(w->slot)) w->faults.fetch_add(1);
      w->deliveries.fetch_add(1);
      if (w->removed.load()) w->late.fetch_add(1);
      return SlotAnswer(w->slot);
    };
  }

  SubscribeId_t Subscribe(Watcher* w) {
    AOxThread* thread = w->mode == Mode::kDirect ? nullptr : (*workers)[w->worker].get();
    return store->SubscribeConfig(SlotGroup(w->slot), SlotKey(w->slot), ChangeCallback(w), thread,
                                  w->mode == Mode::kPosted);
  }

  void Unsubscribe(SubscribeId_t id, Watcher* w) {
    if (store->UnsubscribeConfig(id) != KEL_S_OK) faults.fetch_add(1);
    w->removed.store(true);
    if (w->mode == Mode::kPosted) {
      (*workers)[w->worker]->GetEventQueue()->PostEvent(new FnEvent([w] { w->fenced.store(true); }),
                                                        128);
    }
  }

  void Set(size_t slot, int value, bool force) {
    const int32_t result =
        store->SetKelConfig(SlotGroup(slot), SlotKey(slot), ConfigData(value), force);
    if (result == KEL_S_OK) {
      okSets[slot].fetch_add(1);
    } else if (result != KEL_E_UNCHANGED || force) {
      faults.fetch_add(1);  // every key has subscribers throughout
    }
  }

  void ReadDynamic(size_t slot) {
    ConfigData value("untouched");
    const int32_t result = store->GetDynamicConfig(SlotGroup(slot), SlotKey(slot), value);
    const bool answered = result == KEL_S_OK && value == SlotAnswer(slot);
    const bool unanswered = result == KEL_E_NOOBSERVER && value == ConfigData("untouched");
    if (!(answered || (unanswered && !SlotHasFixedProvider(slot)))) faults.fetch_add(1);
  }
};

TEST_F(NotifyConcurrencyTest, StressSubscribeSetBindReadUnsubscribe) {
  constexpr int kThreads = 4;
  const int opsPerThread = StressOps(20000);
  TraceCapture capture(0);  // errors only: the "Other thread" removals are expected

  std::deque<Watcher> records;  // declared before the workers: outlives their queues
  std::mutex recordsMutex;
  auto newRecord = [&]() -> Watcher* {
    std::lock_guard<std::mutex> lock(recordsMutex);
    return &records.emplace_back();
  };
  std::vector<std::unique_ptr<COxEventThread>> workers;
  for (int i = 0; i < kWorkers; ++i)
    workers.push_back(std::make_unique<COxEventThread>());
  StressRun run;
  run.store = store_;
  run.workers = &workers;

  // Subscribers and providers live for the whole run; every key has a value before they come.
  struct Fixed {
    SubscribeId_t id;
    Watcher* w;
  };
  std::vector<Fixed> fixedSubscribers;
  std::vector<Fixed> fixedProviders;
  std::vector<SubscribeId_t> ids;
  for (size_t slot = 0; slot < kSlots; ++slot) {
    ASSERT_EQ(store_->SetKelConfig(SlotGroup(slot), SlotKey(slot), ConfigData(-1)),
              KEL_E_NOOBSERVER);
    for (Mode mode : {Mode::kDirect, Mode::kSent, Mode::kPosted}) {
      Watcher* w = newRecord();
      w->mode = mode;
      w->slot = slot;
      w->worker = static_cast<int>((slot + static_cast<size_t>(mode)) % kWorkers);
      fixedSubscribers.push_back({run.Subscribe(w), w});
      ids.push_back(fixedSubscribers.back().id);
    }
    if (SlotHasFixedProvider(slot)) {
      Watcher* w = newRecord();
      w->slot = slot;
      fixedProviders.push_back(
          {store_->BindConfig(SlotGroup(slot), SlotKey(slot), run.ProvideCallback(w)), w});
      ids.push_back(fixedProviders.back().id);
    }
  }

  std::vector<std::vector<SubscribeId_t>> threadIds(kThreads);
  std::vector<std::thread> threads;
  Signal start;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::minstd_rand rng(static_cast<unsigned>(t + 1));
      struct Live {
        SubscribeId_t id;
        Watcher* w;
      };
      std::vector<Live> live;
      start.Wait();
      for (int op = 0; op < opsPerThread; ++op) {
        const unsigned r = rng() % 100;
        const size_t slot = rng() % kSlots;
        if (r < 45) {
          run.Set(slot, static_cast<int>(rng() % 4), rng() % 8 == 0);
        } else if (r < 50) {
          if (store_->RemoveKelConfig(SlotGroup(slot), SlotKey(slot)) != KEL_S_OK) {
            run.faults.fetch_add(1);
          }
        } else if (r < 62) {
          run.ReadDynamic(slot);
        } else if (r < 80 && live.size() < 4) {
          Watcher* w = newRecord();
          w->mode = static_cast<Mode>(rng() % 3);
          w->slot = slot;
          w->worker = static_cast<int>(rng() % kWorkers);
          const SubscribeId_t id = run.Subscribe(w);
          if (id == 0) run.faults.fetch_add(1);
          live.push_back({id, w});
          threadIds[t].push_back(id);
        } else if (r < 88 && live.size() < 4) {
          Watcher* w = newRecord();
          w->slot = slot;
          const SubscribeId_t id =
              store_->BindConfig(SlotGroup(slot), SlotKey(slot), run.ProvideCallback(w));
          // Refused while another provider holds the key; always so for the fixed ones.
          if (id != 0) {
            live.push_back({id, w});
            threadIds[t].push_back(id);
            if (SlotHasFixedProvider(slot)) run.faults.fetch_add(1);
          }
        } else if (!live.empty()) {
          const size_t victim = rng() % live.size();
          run.Unsubscribe(live[victim].id, live[victim].w);
          live.erase(live.begin() + static_cast<std::ptrdiff_t>(victim));
        }
      }
      for (const Live& l : live)
        run.Unsubscribe(l.id, l.w);
    });
  }
  start.Set();
  for (std::thread& thread : threads)
    thread.join();
  for (auto& worker : workers)
    Flush(*worker);  // every posted delivery has run

  EXPECT_EQ(run.faults.load(), 0);
  int okTotal = 0;
  for (size_t slot = 0; slot < kSlots; ++slot)
    okTotal += run.okSets[slot].load();
  EXPECT_GT(okTotal, 0);
  // Exactly one delivery per successful set, plus the initial one.
  for (const Fixed& f : fixedSubscribers) {
    EXPECT_EQ(f.w->deliveries.load(), 1 + run.okSets[f.w->slot].load())
        << "slot " << f.w->slot << " mode " << static_cast<int>(f.w->mode);
  }
  for (const Fixed& f : fixedSubscribers)
    EXPECT_EQ(store_->UnsubscribeConfig(f.id), KEL_S_OK);
  for (const Fixed& f : fixedProviders)
    EXPECT_EQ(store_->UnsubscribeConfig(f.id), KEL_S_OK);
  for (auto& worker : workers)
    Flush(*worker);

  int faulty = 0;
  int late = 0;
  for (const Watcher& w : records) {
    faulty += w.faults.load() != 0 ? 1 : 0;
    late += w.late.load() != 0 ? 1 : 0;
  }
  EXPECT_EQ(faulty, 0) << "subscribers or providers given a wrong key, group or thread";
  EXPECT_EQ(late, 0) << "subscribers or providers reached after their removal returned";
  // Every id issued once.
  for (const auto& perThread : threadIds)
    ids.insert(ids.end(), perThread.begin(), perThread.end());
  EXPECT_EQ(std::set<SubscribeId_t>(ids.begin(), ids.end()).size(), ids.size());
  EXPECT_EQ(std::count(ids.begin(), ids.end(), SubscribeId_t{0}), 0);
  // Nobody is left.
  for (size_t slot = 0; slot < kSlots; ++slot) {
    EXPECT_EQ(store_->SetKelConfig(SlotGroup(slot), SlotKey(slot), ConfigData(100), true),
              KEL_E_NOOBSERVER);
    ConfigData value;
    EXPECT_EQ(store_->GetDynamicConfig(SlotGroup(slot), SlotKey(slot), value), KEL_E_NOOBSERVER);
  }
  // The only errors are removals that met a delivery on another thread.
  for (const std::string& line : capture.TextsAtLevel(0)) {
    EXPECT_NE(line.find(", Other thread remove itself when notification, "), std::string::npos)
        << line;
  }
}

}  // namespace
}  // namespace kelStore
