// Change notification: what it costs to tell subscribers about a set (direct, posted to a worker,
// sent and waited for) and to ask a provider for a value, each run side by side with its floor
// (bench/side_by_side.h):
//   - direct delivery per subscriber vs. a plain loop of std::function calls (goal: <= 3x);
//   - a sent delivery's round trip vs. a mutex-and-condition-variable ping-pong between two
//     threads (goal: <= 1.5x);
//   - posted deliveries per second to one worker vs. a plain queue of std::function on the same
//     mutex-and-condition-variable hand-off to one thread (goal: >= 0.8x);
//   - a set that posts to one worker subscriber, per item, vs. pushing a closure (a copy of the
//     event and the callback) to that plain queue, per item, the consumer draining in both
//     (goal: <= 3x);
//   - a dynamic read through a provider vs. a locked map lookup and one std::function call.
// Every figure is in real time per operation, the median of short slices; those that hand work to
// another thread include the waits they are about. The threads of a hand-off are left to the
// scheduler: on a machine shared with other work, pinning them to cores made the figures slower
// and noisier, not steadier. bench/run prints the figures next to their floors.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bench/side_by_side.h"
#include "mediaengine/mediastores/src/config/delivery_timer.h"
#include "mediastores/mediastores.h"

namespace {

using kelStore::KelConfigEvent;

constexpr uint32_t kCallId = 4242;
constexpr auto kGroup = kelStore::kGroupVideo;
constexpr int kSubscribersInFloor = 10;
constexpr int kBatch = 256;  // posted deliveries per iteration
// Slices of the figures that hand work to another thread: long enough that the other thread's
// wake-up at the start of a slice is a small part of it.
constexpr std::chrono::microseconds kHandOffSlice(2000);
// Rounds of the hand-off figures: the machine's slow spells last a good part of a second and
// may slow the two threads of a hand-off unequally; a round this long holds enough slices that
// its median slice is the round's usual one.
constexpr double kHandOffRoundSeconds = 0.2;

// A registered store, dropped with the registry at the end of the benchmark.
struct Store {
  kelStore::IKelConfig* p = nullptr;
  explicit Store(uint32_t callId = kCallId) { kelStore::CreateKelConfig(callId, &p); }
  ~Store() { kelStore::DestroyKelConfig(); }
};

// Runs a function on a worker's queue.
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

// The subscriber's work, the same in the store and in the floors.
struct Counter {
  std::atomic<uint64_t> n{0};
  void operator()(const KelConfigEvent& e) {
    benchmark::DoNotOptimize(&e);
    n.fetch_add(1, std::memory_order_relaxed);
  }
};

KelConfigEvent SampleEvent() {
  KelConfigEvent event;
  event.name = "fps";
  event.oldValue = ConfigData(30);
  event.newValue = ConfigData(60);
  event.SetGroup(kGroup);
  return event;
}

// --- Direct delivery --------------------------------------------------------------------------

// A store whose key has `subscribers` direct subscribers; each Set changes the value, so every
// set notifies all of them.
struct DirectSubscribers {
  DirectSubscribers(uint32_t callId, int subscribers) : store(callId), subscribers(subscribers) {
    for (int i = 0; i < subscribers; ++i) {
      store.p->SubscribeConfig(kGroup, "fps", [this](const KelConfigEvent& e) { counter(e); });
    }
  }
  void Set() { benchmark::DoNotOptimize(store.p->SetKelConfig(kGroup, "fps", values[++sets & 1])); }
  bool AllDelivered() const { return counter.n.load() == sets * subscribers; }

  Store store;
  const uint64_t subscribers;
  Counter counter;
  const ConfigData values[2] = {ConfigData(30), ConfigData(60)};
  uint64_t sets = 0;
};

// Sets with 0, 1 and 10 direct subscribers, and the floor: the same callbacks called in a plain
// loop of ten std::function calls. The cost of one delivery is (set10 - set1) / 9.
void BM_DirectDelivery(benchmark::State& state) {
  DirectSubscribers none(kCallId, 0);
  DirectSubscribers one(kCallId + 1, 1);
  DirectSubscribers ten(kCallId + 2, kSubscribersInFloor);
  Counter counter;
  std::vector<std::function<void(const KelConfigEvent&)>> callbacks;
  for (int i = 0; i < kSubscribersInFloor; ++i) {
    callbacks.emplace_back([&counter](const KelConfigEvent& e) { counter(e); });
  }
  const KelConfigEvent event = SampleEvent();
  bench::SideBySide(state, bench::Side("set0", [&] { none.Set(); }),
                    bench::Side("set1", [&] { one.Set(); }),
                    bench::Side("set10", [&] { ten.Set(); }), bench::Side("calls10", [&] {
                      for (const auto& callback : callbacks)
                        callback(event);
                    }));
  if (!one.AllDelivered() || !ten.AllDelivered()) state.SkipWithError("lost deliveries");
}
BENCHMARK(BM_DirectDelivery);

// Context: the clock reading that ends one delivery of a walk and starts the next (the check for
// a slow callback), and one reading of the fine platform clock beside it.
void BM_DeliveryTimerLap(benchmark::State& state) {
  kelStore::DeliveryTimer timer;
  for (auto _ : state)
    benchmark::DoNotOptimize(timer.Lap());
}
BENCHMARK(BM_DeliveryTimerLap);

void BM_FineClockRead(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(timer_fact<timer_policy>::now());
}
BENCHMARK(BM_FineClockRead);

// Context: one atomic read-modify-write on a line this thread owns. A delivery's bookkeeping
// (busy marks, nesting depth, the snapshot's references) is made of such operations.
void BM_AtomicReadModifyWrite(benchmark::State& state) {
  std::atomic<uint64_t> word{0};
  for (auto _ : state)
    word.fetch_add(1);
  benchmark::DoNotOptimize(word.load());
}
BENCHMARK(BM_AtomicReadModifyWrite);

// --- Dynamic read -----------------------------------------------------------------------------

// A read through a provider, and the floor: find the provider in a locked map and call it.
void BM_DynamicRead(benchmark::State& state) {
  Store store;
  store.p->BindConfig(kGroup, "bitrate", [](const KelConfigEvent&) { return ConfigData(1500); });
  std::recursive_mutex mutex;
  std::map<std::string, std::function<ConfigData(const KelConfigEvent&)>, std::less<>> providers;
  providers["bitrate"] = [](const KelConfigEvent&) { return ConfigData(1500); };
  providers["fps"] = [](const KelConfigEvent&) { return ConfigData(30); };
  const KelConfigEvent event = SampleEvent();
  const char* name = "bitrate";
  ConfigData value;
  bench::SideBySide(
      state,
      bench::Side(
          "provider",
          [&] { benchmark::DoNotOptimize(store.p->GetDynamicConfig(kGroup, "bitrate", value)); }),
      bench::Side("floor", [&] {
        std::lock_guard<std::recursive_mutex> lock(mutex);
        auto provider = providers.find(std::string_view(name));
        value = provider->second(event);
        benchmark::DoNotOptimize(value);
      }));
}
BENCHMARK(BM_DynamicRead);

// --- Posted deliveries ------------------------------------------------------------------------

// One subscriber on a worker thread, told by posted events of each set of its key.
struct PostedSubscriber {
  PostedSubscriber() {
    store.p->SubscribeConfig(
        kGroup, "fps", [this](const KelConfigEvent& e) { counter(e); }, &worker, true);
  }
  // A set that changes the value, so it posts one delivery.
  void Set() { store.p->SetKelConfig(kGroup, "fps", values[++sets & 1]); }
  // Returns once everything posted before has been delivered.
  void Drain() {
    worker.GetEventQueue()->SendEvent(new FnEvent([] {}));
  }
  // Marks the run failed unless every set was delivered.
  void Check(benchmark::State& state) {
    Drain();
    if (counter.n.load() != sets) state.SkipWithError("lost deliveries");
  }

  Store store;
  Counter counter;
  COxEventThread worker;
  const ConfigData values[2] = {ConfigData(30), ConfigData(60)};
  uint64_t sets = 0;
};

// Floor: a plain queue of std::function handed to one thread under a mutex and a condition
// variable; each entry carries a copy of the event, as a posted delivery must.
class PlainQueueThread {
 public:
  PlainQueueThread() : thread_([this] { Run(); }) {}
  ~PlainQueueThread() {
    Push(nullptr);
    thread_.join();
  }
  void Push(std::function<void()> fn) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      queue_.push_back(std::move(fn));
    }
    cv_.notify_one();
  }
  // Returns once everything pushed before has run.
  void Flush() {
    std::mutex doneMutex;
    std::condition_variable doneCv;
    bool done = false;
    Push([&] {
      std::lock_guard<std::mutex> lock(doneMutex);
      done = true;
      doneCv.notify_one();
    });
    std::unique_lock<std::mutex> lock(doneMutex);
    doneCv.wait(lock, [&] { return done; });
  }

 private:
  void Run() {
    for (;;) {
      std::function<void()> fn;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        cv_.wait(lock, [this] { return !queue_.empty(); });
        fn = std::move(queue_.front());
        queue_.pop_front();
      }
      if (!fn) return;
      fn();
    }
  }

  std::mutex mutex_;
  std::condition_variable cv_;
  std::deque<std::function<void()>> queue_;
  std::thread thread_;
};

// The floor's counterpart of a posted delivery: a closure holding a copy of the event and of the
// callback, pushed to the plain queue.
struct PlainPosting {
  void Push() {
    worker.Push([event = event, callback = callback] { callback(event); });
  }

  Counter counter;
  std::function<void(const KelConfigEvent&)> callback = [this](const KelConfigEvent& e) {
    counter(e);
  };
  const KelConfigEvent event = SampleEvent();
  PlainQueueThread worker;
};

// Batches of kBatch sets that post to one worker subscriber, each batch waited for until
// delivered, next to batches of kBatch closures pushed to the plain queue and flushed.
void BM_PostedDeliveries(benchmark::State& state) {
  PostedSubscriber subscriber;
  PlainPosting posting;
  bench::SideBySideInSlicesOf(kHandOffSlice, state,
                              bench::Side("store",
                                          [&] {
                                            for (int n = 0; n < kBatch; ++n)
                                              subscriber.Set();
                                            subscriber.Drain();
                                          }),
                              bench::Side("queue", [&] {
                                for (int n = 0; n < kBatch; ++n)
                                  posting.Push();
                                posting.worker.Flush();
                              }));
  subscriber.Check(state);
}
BENCHMARK(BM_PostedDeliveries)->MinTime(kHandOffRoundSeconds);

// One set that posts to one worker subscriber per operation, the worker draining meanwhile: what
// the setting thread pays for a posted delivery, in the store's path as a whole; next to one
// closure pushed to the plain queue per operation. Each slice's backlog is delivered before the
// next slice starts.
void BM_SetPostedPerItem(benchmark::State& state) {
  PostedSubscriber subscriber;
  PlainPosting posting;
  bench::SideBySideInSlicesOf(
      kHandOffSlice, state,
      bench::Side(
          "store", [&] { subscriber.Set(); }, [&] { subscriber.Drain(); }),
      bench::Side(
          "queue", [&] { posting.Push(); }, [&] { posting.worker.Flush(); }));
  subscriber.Check(state);
}
BENCHMARK(BM_SetPostedPerItem)->MinTime(kHandOffRoundSeconds);

// --- Sent deliveries --------------------------------------------------------------------------

// Floor: one thread hands a call to another and waits for it to be done (ping-pong).
class HandOff {
 public:
  explicit HandOff(std::function<void(const KelConfigEvent&)> callback)
      : callback_(std::move(callback)), other_([this] { Run(); }) {}
  ~HandOff() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    requestCv_.notify_one();
    other_.join();
  }
  void PinTo(const cpu_set_t& cpus) {
    pthread_setaffinity_np(other_.native_handle(), sizeof(cpus), &cpus);
  }
  void Call(const KelConfigEvent& event) {
    std::unique_lock<std::mutex> lock(mutex_);
    done_ = false;
    request_ = &event;
    requestCv_.notify_one();
    doneCv_.wait(lock, [&] { return done_; });
  }

 private:
  void Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      requestCv_.wait(lock, [&] { return request_ != nullptr || stop_; });
      if (stop_) return;
      lock.unlock();
      callback_(*request_);
      lock.lock();
      request_ = nullptr;
      done_ = true;
      doneCv_.notify_one();
    }
  }

  std::function<void(const KelConfigEvent&)> callback_;
  std::mutex mutex_;
  std::condition_variable requestCv_;
  std::condition_variable doneCv_;
  const KelConfigEvent* request_ = nullptr;
  bool done_ = false;
  bool stop_ = false;
  std::thread other_;
};

// Keeps the calling thread on the processor it runs on until the end of the scope.
class StayOnThisCpu {
 public:
  StayOnThisCpu() {
    pthread_getaffinity_np(pthread_self(), sizeof(before_), &before_);
    CPU_ZERO(&here_);
    CPU_SET(sched_getcpu(), &here_);
    pthread_setaffinity_np(pthread_self(), sizeof(here_), &here_);
  }
  ~StayOnThisCpu() { pthread_setaffinity_np(pthread_self(), sizeof(before_), &before_); }
  const cpu_set_t& Here() const { return here_; }

 private:
  cpu_set_t before_;
  cpu_set_t here_;
};

// A set whose one subscriber runs on a worker and is sent the event and waited for, next to the
// ping-pong floor. The floor's two threads share one processor: left to the scheduler on two,
// each hand-off waits for a processor that went idle to be woken, which on a virtual machine
// takes from 10 us to 90 us a round trip depending on how busy the processors were just before
// (a spell of spinning between the floor's slices made it 92 us); on one processor a round trip
// is two switches between threads, steady, and the floor at its fastest. The store's worker is
// left to the scheduler and so runs on the other processor.
void BM_SentRoundTrip(benchmark::State& state) {
  Store store;
  Counter counter;
  COxEventThread worker;
  store.p->SubscribeConfig(
      kGroup, "fps", [&counter](const KelConfigEvent& e) { counter(e); }, &worker, false);
  const ConfigData values[2] = {ConfigData(30), ConfigData(60)};
  uint64_t sets = 0;
  Counter floorCounter;
  HandOff handOff([&floorCounter](const KelConfigEvent& e) { floorCounter(e); });
  const KelConfigEvent event = SampleEvent();
  const StayOnThisCpu pinned;
  handOff.PinTo(pinned.Here());
  bench::SideBySideInSlicesOf(kHandOffSlice, state,
                              bench::Side("store",
                                          [&] {
                                            benchmark::DoNotOptimize(store.p->SetKelConfig(
                                                kGroup, "fps", values[++sets & 1]));
                                          }),
                              bench::Side("handoff", [&] { handOff.Call(event); }));
  if (counter.n.load() != sets) state.SkipWithError("lost deliveries");
}
BENCHMARK(BM_SentRoundTrip)->MinTime(kHandOffRoundSeconds);

}  // namespace

BENCHMARK_MAIN();
