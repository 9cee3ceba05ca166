// Change notification: what it costs to tell subscribers about a set (direct, posted to a worker,
// sent and waited for) and to ask a provider for a value, each next to a floor measured in the
// same binary:
//   - direct delivery per subscriber vs. a plain loop of std::function calls (goal: <= 3x);
//   - a sent delivery's round trip vs. a mutex-and-condition-variable ping-pong between two
//     threads (goal: <= 1.5x);
//   - posted deliveries per second to one worker vs. a plain queue of std::function on the same
//     mutex-and-condition-variable hand-off to one thread (goal: >= 0.8x);
//   - a set that posts to one worker subscriber, per item, vs. pushing a closure (a copy of the
//     event and the callback) to that plain queue, per item, the consumer draining in both
//     (goal: <= 3x);
//   - a dynamic read through a provider vs. a locked map lookup and one std::function call.
// Figures of one thread are in CPU time; those that hand work to another thread (posted, sent
// and their floors) in real time, with the CPU time of the whole process (both threads) beside.
// The threads of a hand-off are left to the scheduler: on a machine shared with other work,
// pinning them to cores made the figures slower and noisier, not steadier.
// After the usual table a summary prints each figure, its floor and the ratio (medians when run
// with --benchmark_repetitions); bench/run prints the same figures in the whole suite's summary.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "mediaengine/mediastores/src/config/delivery_timer.h"
#include "mediastores/mediastores.h"

namespace {

using kelStore::KelConfigEvent;

constexpr uint32_t kCallId = 4242;
constexpr auto kGroup = kelStore::kGroupVideo;
constexpr int kSubscribersInFloor = 10;
constexpr int kBatch = 256;  // posted deliveries per iteration

// A registered store, dropped with the registry at the end of the benchmark.
struct Store {
  kelStore::IKelConfig* p = nullptr;
  Store() { kelStore::CreateKelConfig(kCallId, &p); }
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

void BM_SetDirectSubscribers(benchmark::State& state) {
  Store store;
  Counter counter;
  for (int i = 0; i < state.range(0); ++i) {
    store.p->SubscribeConfig(kGroup, "fps", [&counter](const KelConfigEvent& e) { counter(e); });
  }
  const ConfigData values[2] = {ConfigData(30), ConfigData(60)};
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(store.p->SetKelConfig(kGroup, "fps", values[++i & 1]));
  }
  if (counter.n.load() != static_cast<uint64_t>(state.iterations() * state.range(0))) {
    state.SkipWithError("lost deliveries");
  }
}
// Longer than the suite's default (as the hand-offs below): the per-subscriber figure is a
// difference of two of these.
BENCHMARK(BM_SetDirectSubscribers)->Arg(0)->Arg(1)->Arg(10)->MinTime(0.1);

// Floor: the same callbacks called in a plain loop.
void BM_FunctionCallLoopFloor(benchmark::State& state) {
  Counter counter;
  std::vector<std::function<void(const KelConfigEvent&)>> callbacks;
  for (int i = 0; i < kSubscribersInFloor; ++i) {
    callbacks.emplace_back([&counter](const KelConfigEvent& e) { counter(e); });
  }
  const KelConfigEvent event = SampleEvent();
  for (auto _ : state) {
    for (const auto& callback : callbacks)
      callback(event);
  }
}
BENCHMARK(BM_FunctionCallLoopFloor)->MinTime(0.1);

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

void BM_DynamicReadThroughProvider(benchmark::State& state) {
  Store store;
  store.p->BindConfig(kGroup, "bitrate", [](const KelConfigEvent&) { return ConfigData(1500); });
  ConfigData value;
  for (auto _ : state) {
    benchmark::DoNotOptimize(store.p->GetDynamicConfig(kGroup, "bitrate", value));
  }
}
BENCHMARK(BM_DynamicReadThroughProvider);

// Floor: find the provider in a locked map and call it.
void BM_DynamicReadFloor(benchmark::State& state) {
  std::recursive_mutex mutex;
  std::map<std::string, std::function<ConfigData(const KelConfigEvent&)>, std::less<>> providers;
  providers["bitrate"] = [](const KelConfigEvent&) { return ConfigData(1500); };
  providers["fps"] = [](const KelConfigEvent&) { return ConfigData(30); };
  const KelConfigEvent event = SampleEvent();
  const char* name = "bitrate";
  ConfigData value;
  for (auto _ : state) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    auto provider = providers.find(std::string_view(name));
    value = provider->second(event);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_DynamicReadFloor);

// --- Posted deliveries ------------------------------------------------------------------------

// One subscriber on a worker thread, told by posted events of each set of its key.
struct PostedSubscriber {
  PostedSubscriber() {
    store.p->SubscribeConfig(
        kGroup, "fps", [this](const KelConfigEvent& e) { counter(e); }, &worker, true);
  }
  // A set that changes the value, so it posts one delivery.
  void Set() { store.p->SetKelConfig(kGroup, "fps", values[++i & 1]); }
  // Returns once everything posted before has been delivered.
  void Drain() {
    worker.GetEventQueue()->SendEvent(new FnEvent([] {}));
  }
  // Marks the run failed unless exactly `expected` deliveries arrived.
  void Check(benchmark::State& state, int64_t expected) {
    if (counter.n.load() != static_cast<uint64_t>(expected)) state.SkipWithError("lost deliveries");
  }

  Store store;
  Counter counter;
  COxEventThread worker;
  const ConfigData values[2] = {ConfigData(30), ConfigData(60)};
  size_t i = 0;
};

void BM_PostedDeliveries(benchmark::State& state) {
  PostedSubscriber subscriber;
  for (auto _ : state) {
    for (int n = 0; n < kBatch; ++n)
      subscriber.Set();
    subscriber.Drain();  // the batch has been delivered
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
  subscriber.Check(state, state.iterations() * kBatch);
}
BENCHMARK(BM_PostedDeliveries)->MeasureProcessCPUTime()->UseRealTime()->MinTime(0.1);

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

void BM_PlainQueueFloor(benchmark::State& state) {
  PlainPosting posting;
  for (auto _ : state) {
    for (int n = 0; n < kBatch; ++n)
      posting.Push();
    posting.worker.Flush();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_PlainQueueFloor)->MeasureProcessCPUTime()->UseRealTime()->MinTime(0.1);

// One set that posts to one worker subscriber per item, the worker draining meanwhile: what the
// setting thread pays for a posted delivery, in the store's path as a whole.
void BM_SetPostedPerItem(benchmark::State& state) {
  PostedSubscriber subscriber;
  for (auto _ : state)
    subscriber.Set();
  subscriber.Drain();  // everything has been delivered
  subscriber.Check(state, state.iterations());
}
BENCHMARK(BM_SetPostedPerItem)->UseRealTime()->MinTime(0.1);

// Floor: push one closure holding a copy of the event and of the callback to the plain queue
// per item, the consumer draining meanwhile.
void BM_PlainQueuePushFloor(benchmark::State& state) {
  PlainPosting posting;
  for (auto _ : state)
    posting.Push();
  posting.worker.Flush();
}
BENCHMARK(BM_PlainQueuePushFloor)->UseRealTime()->MinTime(0.1);

// --- Sent deliveries --------------------------------------------------------------------------

void BM_SentRoundTrip(benchmark::State& state) {
  Store store;
  Counter counter;
  COxEventThread worker;
  store.p->SubscribeConfig(
      kGroup, "fps", [&counter](const KelConfigEvent& e) { counter(e); }, &worker, false);
  const ConfigData values[2] = {ConfigData(30), ConfigData(60)};
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(store.p->SetKelConfig(kGroup, "fps", values[++i & 1]));
  }
  if (counter.n.load() != static_cast<uint64_t>(state.iterations())) {
    state.SkipWithError("lost deliveries");
  }
}
BENCHMARK(BM_SentRoundTrip)->MeasureProcessCPUTime()->UseRealTime()->MinTime(0.1);

// Floor: one thread hands a call to another and waits for it to be done (ping-pong).
void BM_HandOffFloor(benchmark::State& state) {
  Counter counter;
  std::function<void(const KelConfigEvent&)> callback = [&counter](const KelConfigEvent& e) {
    counter(e);
  };
  std::mutex mutex;
  std::condition_variable requestCv;
  std::condition_variable doneCv;
  const KelConfigEvent* request = nullptr;
  bool done = false;
  bool stop = false;
  std::thread other([&] {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
      requestCv.wait(lock, [&] { return request != nullptr || stop; });
      if (stop) return;
      lock.unlock();
      callback(*request);
      lock.lock();
      request = nullptr;
      done = true;
      doneCv.notify_one();
    }
  });
  const KelConfigEvent event = SampleEvent();
  for (auto _ : state) {
    std::unique_lock<std::mutex> lock(mutex);
    done = false;
    request = &event;
    requestCv.notify_one();
    doneCv.wait(lock, [&] { return done; });
  }
  {
    std::lock_guard<std::mutex> lock(mutex);
    stop = true;
  }
  requestCv.notify_one();
  other.join();
}
BENCHMARK(BM_HandOffFloor)->MeasureProcessCPUTime()->UseRealTime()->MinTime(0.1);

// --- Summary ----------------------------------------------------------------------------------

// Prints the usual table, then the figures next to their floors.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      std::string name = run.run_name.function_name;
      if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
      // Figures of one thread in CPU time (steadier on a shared machine); hand-offs between
      // threads in real time, which includes the waits they are about.
      const bool realTime = run.run_name.time_type.find("real_time") != std::string::npos;
      const double nanos = (realTime ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime()) * 1e9 /
                           benchmark::GetTimeUnitMultiplier(run.time_unit);
      if (run.run_type == Run::RT_Iteration) {
        nanos_[name].push_back(nanos);
      } else if (run.aggregate_name == "median") {
        medians_[name] = nanos;
      }
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    const double set0 = Median("BM_SetDirectSubscribers/0");
    const double set1 = Median("BM_SetDirectSubscribers/1");
    const double set10 = Median("BM_SetDirectSubscribers/10");
    const double call = Median("BM_FunctionCallLoopFloor") / kSubscribersInFloor;
    const double dynamic = Median("BM_DynamicReadThroughProvider");
    const double dynamicFloor = Median("BM_DynamicReadFloor");
    const double posted = kBatch * 1e9 / Median("BM_PostedDeliveries");
    const double queue = kBatch * 1e9 / Median("BM_PlainQueueFloor");
    const double setPosted = Median("BM_SetPostedPerItem");
    const double push = Median("BM_PlainQueuePushFloor");
    const double sent = Median("BM_SentRoundTrip");
    const double handOff = Median("BM_HandOffFloor");

    std::printf("\n%-44s %14s %14s %8s %s\n", "figure", "value", "floor", "ratio", "goal");
    Row("set, 0 subscribers (ns)", set0, 0, "");
    Row("set, 1 direct subscriber (ns)", set1, 0, "");
    Row("set, 10 direct subscribers (ns)", set10, 0, "");
    Row("per subscriber, (set10 - set1) / 9 (ns)", (set10 - set1) / 9, call, "<= 3x");
    Row("per subscriber, (set10 - set0) / 10 (ns)", (set10 - set0) / 10, call, "");
    Row("  one delivery timer lap (ns)", Median("BM_DeliveryTimerLap"), 0, "");
    Row("  one fine clock read (ns)", Median("BM_FineClockRead"), 0, "");
    Row("  one atomic read-modify-write (ns)", Median("BM_AtomicReadModifyWrite"), 0, "");
    Row("dynamic read through a provider (ns)", dynamic, dynamicFloor, "");
    Row("posted deliveries to one worker (per s)", posted, queue, ">= 0.8x");
    Row("set that posts, per item (ns)", setPosted, push, "<= 3x");
    Row("sent delivery round trip (ns)", sent, handOff, "<= 1.5x");
  }

 private:
  // The median over repetitions (as reported, or of the runs seen), in nanoseconds.
  double Median(const std::string& name) const {
    auto reported = medians_.find(name);
    if (reported != medians_.end()) return reported->second;
    auto found = nanos_.find(name);
    if (found == nanos_.end() || found->second.empty()) return 0;
    std::vector<double> values = found->second;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
  }

  // A figure whose benchmark did not run (filtered out, or failed) shows as n/a.
  static void Row(const char* what, double value, double floor, const char* goal) {
    if (!(value > 0) || std::isinf(value)) {
      std::printf("%-44s %14s %14s %8s %s\n", what, "n/a", "", "", goal);
    } else if (floor > 0 && !std::isinf(floor)) {
      std::printf("%-44s %14.1f %14.1f %8.2f %s\n", what, value, floor, value / floor, goal);
    } else {
      std::printf("%-44s %14.1f %14s %8s %s\n", what, value, "", "", goal);
    }
  }

  std::map<std::string, std::vector<double>> nanos_;
  std::map<std::string, double> medians_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
