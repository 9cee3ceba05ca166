// mediastores-demo: simulates live calls in one process the way a media engine uses the library
// (configuration stores through module helpers, subscriptions on shared worker threads, a bound
// provider, feature toggles, statistics written by pipeline threads and read by a reporter), then
// shuts everything down and shows that both registries are empty again.
#include <malloc.h>
#include <mediastores/mediastores.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tools/mediastores-demo/config_document.h"
#include "tools/mediastores-demo/demo_counters.h"
#include "tools/mediastores-demo/http_service.h"
#include "tools/mediastores-demo/modules.h"
#include "tools/mediastores-demo/options.h"
#include "tools/mediastores-demo/output.h"
#include "tools/mediastores-demo/pipeline.h"
#include "tools/mediastores-demo/reporter.h"
#include "tools/mediastores-demo/run_summary.h"
#include "tools/mediastores-demo/stats_history.h"
#include "tools/mediastores-demo/stop_signal.h"

namespace msdemo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kFirstCallId = 1001;
constexpr size_t kMaxPipelineThreads = 2;  // per media kind, whatever the number of calls
constexpr uint32_t kSetupBatch = 256;      // calls started between two wake-ups of a worker

// The set-up makes some 30 KiB of small objects per call on three threads. Each thread keeps a
// heap of its own (the default): with one heap for all, its lock made the threads wait for each
// other and the set-up of 100,000 calls took twice as long. The main thread's heap, grown by the
// program break, grows in large steps: one system call per step instead of one per page or so.
void TuneHeapForManyCalls() {
  constexpr int kHeapGrowthStep = 64 << 20;
  mallopt(M_TOP_PAD, kHeapGrowthStep);
}

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double PeakMemoryMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024.0;  // kilobytes on Linux
}

// Runs every call's controller period (network, rate control, toggles, key frame requests)
// every kControlTickMs on its own thread.
class Controller {
 public:
  explicit Controller(std::vector<std::unique_ptr<Call>>* calls) : m_calls(*calls) {}
  ~Controller() { Stop(); }

  void Start() {
    m_thread = std::thread([this] {
      auto next = Clock::now();
      for (uint64_t tick = 0; !m_stop.load(); ++tick) {
        for (auto& call : m_calls)
          call->ControlTick(tick);
        next += std::chrono::milliseconds(kControlTickMs);
        if (next < Clock::now()) next = Clock::now();
        std::this_thread::sleep_until(next);
      }
    });
  }
  void Stop() {
    m_stop.store(true);
    if (m_thread.joinable()) m_thread.join();
  }

 private:
  std::vector<std::unique_ptr<Call>>& m_calls;
  std::atomic<bool> m_stop{false};
  std::thread m_thread;
};

// "setting up calls: 42,000 / 100,000" on standard error, redrawn in place at most ten times a
// second, when standard error is a terminal.
class SetupProgress {
 public:
  explicit SetupProgress(uint32_t total) : m_total(total), m_shown(isatty(STDERR_FILENO) != 0) {}
  ~SetupProgress() { Clear(); }

  void Update(uint32_t done) {
    if (!m_shown) return;
    const Clock::time_point now = Clock::now();
    if (m_drawn && now - m_last < std::chrono::milliseconds(100)) return;
    m_last = now;
    m_drawn = true;
    std::fprintf(stderr, "\r\033[Ksetting up calls: %s / %s", Thousands(done).c_str(),
                 Thousands(m_total).c_str());
  }
  void Clear() {
    if (m_drawn) std::fprintf(stderr, "\r\033[K");
    m_drawn = false;
  }

 private:
  uint32_t m_total;
  bool m_shown;
  bool m_drawn = false;
  Clock::time_point m_last;
};

// Sleeps until `due` or until a stop signal arrives; false when the run is to stop.
bool SleepUntil(Clock::time_point due) {
  for (;;) {
    if (StopSignal() != 0) return false;
    const Clock::time_point now = Clock::now();
    if (now >= due) return true;
    std::this_thread::sleep_until(std::min(due, now + std::chrono::milliseconds(50)));
  }
}

int RunDemo(const DemoOptions& options, const std::string& document) {
  DemoCounters counters;
  StatsLedger ledger(&counters);
  RunSummary summary;
  const uint32_t calls = options.calls;
  const size_t audioThreads = std::min<size_t>(kMaxPipelineThreads, calls);
  const size_t videoThreads = std::min<size_t>(kMaxPipelineThreads, calls);
  const bool text = !options.quiet && !options.json;
  CounterSnapshot runStart;
  CounterSnapshot runEnd;
  // --http: the address is taken before the calls are set up, and served while they run.
  HttpService http;
  StatsHistory history;
  const bool serving = options.httpPort != 0;
  if (serving) {
    std::string error;
    if (!http.Bind(options.httpHost, options.httpPort, &error)) {
      std::fprintf(stderr, "mediastores-demo: --http: %s\n", error.c_str());
      return 1;
    }
  }
  if (text) {
    WriteOut(std::string("mediastores-demo: ") + std::to_string(calls) + " call" +
             (calls == 1 ? "" : "s") +
             (options.seconds == 0 ? std::string(" until stopped")
                                   : " for " + std::to_string(options.seconds) + " s") +
             ", configuration: " +
             (options.configPath.empty() ? "embedded default document" : options.configPath) +
             "\n");
  }
  {
    auto workers = std::make_unique<WorkerPool>();
    std::vector<std::unique_ptr<Call>> callList;
    std::vector<std::unique_ptr<AudioPipeline>> audio;
    std::vector<std::unique_ptr<VideoPipeline>> video;
    ReportStyle style;
    style.quiet = options.quiet;
    style.json = options.json;
    style.detailedCalls = options.detail;
    style.history = serving ? &history : nullptr;
    Reporter reporter(&ledger, style);
    for (size_t i = 0; i < audioThreads; ++i) {
      audio.push_back(std::make_unique<AudioPipeline>(&ledger, &counters));
      audio.back()->Reserve(calls / audioThreads + 1);
    }
    for (size_t i = 0; i < videoThreads; ++i) {
      video.push_back(std::make_unique<VideoPipeline>(&ledger, &counters));
      video.back()->Reserve(calls / videoThreads + 1);
    }

    // Set-up, in batches of calls. A batch's calls start on their video modules' workers, both
    // at once, where the first notification of each call's sent subscription runs at once
    // instead of in a round trip; meanwhile the audio worker is held, so the first notifications
    // posted to the workers queue up and run after the batch: one wake-up per batch instead of a
    // few per call. Meanwhile this thread takes the statistics holders of the batch before, call
    // by call in call order. Set-up ends at the first call that failed to start or was not
    // started (a stop signal); the calls after it are ended again.
    const Clock::time_point setupStart = Clock::now();
    SetupProgress progress(calls);
    callList.reserve(calls);
    enum Outcome : int8_t { kNotStarted, kStarted, kFailed };
    std::vector<Outcome> outcome(calls, kNotStarted);
    uint32_t setUp = 0;  // calls, in call order, started and with their statistics holders
    uint32_t kept = 0;   // calls that stay: set up, and the one that failed
    bool ended = false;  // a call failed or was not started
    for (uint32_t first = 0; !ended; first += kSetupBatch) {
      const bool more = first < calls && StopSignal() == 0;
      const uint32_t end = more ? std::min(calls, first + kSetupBatch) : first;
      progress.Update(first);
      for (uint32_t i = first; i < end; ++i)
        callList.push_back(std::make_unique<Call>(i, kFirstCallId + i, workers.get(), &counters));
      {
        std::vector<std::future<void>> starting;
        const WorkerHold holdAudio(workers->Audio());
        for (AOxThread* worker : {workers->Video(0), workers->Video(1)}) {
          if (first == end) break;
          starting.push_back(WorkerPool::RunOn(worker, [&, worker, first, end] {
            for (uint32_t i = first; i < end && StopSignal() == 0; ++i) {
              if (callList[i]->videoWorker() != worker) continue;
              outcome[i] = callList[i]->Start(document) ? kStarted : kFailed;
              if (outcome[i] == kFailed) return;
            }
          }));
        }
        for (; setUp < std::min(first, calls) && !ended; ++setUp) {
          Call& call = *callList[setUp];
          summary.setupOk = outcome[setUp] == kStarted &&
                            audio[setUp % audioThreads]->AddCall(call.callId(), call.controls()) &&
                            video[setUp % videoThreads]->AddCall(call.callId(), call.controls()) &&
                            reporter.AddCall(call.callId(), call.controls());
          ended = !summary.setupOk || outcome[setUp] == kNotStarted;
          kept = outcome[setUp] == kNotStarted ? setUp : setUp + 1;
        }
        for (std::future<void>& batch : starting)
          batch.wait();
      }
      if (!more) ended = true;
    }
    callList.resize(kept);  // the calls after a failure or a stop go again
    progress.Clear();
    workers->Drain();  // the posted first notifications have arrived
    summary.setupSeconds = SecondsSince(setupStart);
    summary.callsSetUp = static_cast<uint32_t>(callList.size());
    summary.stoppedInSetUp = StopSignal() != 0;

    if (summary.setupOk && !summary.stoppedInSetUp) {
      if (text) {
        std::string about;
        Append(&about, "call %u after loading it:\n%s", callList[0]->callId(),
               callList[0]->Describe().c_str());
        Append(&about,
               "threads: %zu shared workers, %zu audio + %zu video pipeline threads, a "
               "controller, the reporter; set up in %.2f s (%s configuration operations)\n",
               workers->size(), audioThreads, videoThreads, summary.setupSeconds,
               Thousands(counters.configOps.load()).c_str());
        WriteOut(about);
      }
      // The run: pipelines write, the controller changes configuration, the reporter reads.
      Controller controller(&callList);
      for (auto& pipeline : audio)
        pipeline->Start();
      for (auto& pipeline : video)
        pipeline->Start();
      controller.Start();
      if (serving) {
        http.Start(reporter.Held(), &history);
        if (!options.quiet) {
          const bool v6 = options.httpHost.find(':') != std::string::npos;
          std::fprintf(stderr,
                       "mediastores-demo: dashboard at http://%s%s%s:%u/ (also /metrics, "
                       "/stats.json)\n",
                       v6 ? "[" : "", options.httpHost.c_str(), v6 ? "]" : "",
                       static_cast<unsigned>(options.httpPort));
        }
      }
      const Clock::time_point runStartTime = Clock::now();
      runStart = CounterSnapshot::Take(counters);
      CounterSnapshot previous = runStart;
      Clock::time_point previousTime = runStartTime;
      // --seconds 0 runs until a stop signal.
      for (uint32_t second = 1; options.seconds == 0 || second <= options.seconds; ++second) {
        const bool whole = SleepUntil(runStartTime + std::chrono::seconds(second));
        const CounterSnapshot now = CounterSnapshot::Take(counters);
        const Clock::time_point nowTime = Clock::now();
        const double interval = std::chrono::duration<double>(nowTime - previousTime).count();
        // A run stopped early reports the part of a second it ran, unless it is a mere instant.
        if (!whole && interval < 0.1) break;
        CounterSnapshot growth;
        growth.configOps = now.configOps - previous.configOps;
        growth.notifications = now.notifications - previous.notifications;
        growth.statsUpdates = now.statsUpdates - previous.statsUpdates;
        reporter.Report(second, options.seconds, interval, growth);
        summary.secondsReported = second;
        previous = now;
        previousTime = nowTime;
        if (!whole) break;
      }
      // The run's figures end with the last report.
      runEnd = previous;
      summary.runSeconds = std::chrono::duration<double>(previousTime - runStartTime).count();
      reporter.EndProgress();
      controller.Stop();
    }
    // Nothing is served once the calls shut down: the exposition reads the reporter's objects.
    http.Stop();
    // A signal during shutdown no longer shortens anything.
    summary.stopSignal = StopSignal();

    // Shutdown: let the workers run what was posted, then end every call and hand every
    // statistics reference back.
    const Clock::time_point shutdownStart = Clock::now();
    for (auto& pipeline : audio)
      pipeline->Stop();
    for (auto& pipeline : video)
      pipeline->Stop();
    workers->Drain();
    if (options.dump && summary.setupOk) {
      for (auto& call : callList) {
        if (options.json) {
          summary.configurations.emplace_back(call->callId(), call->DumpConfiguration());
        } else {
          WriteOut("call " + std::to_string(call->callId()) +
                   " configuration: " + call->DumpConfiguration() + "\n");
        }
      }
    }
    for (auto& call : callList)
      call->Finish();
    workers->Drain();
    for (auto& pipeline : audio)
      pipeline->ReleaseAll();
    for (auto& pipeline : video)
      pipeline->ReleaseAll();
    reporter.ReleaseAll();
    callList.clear();
    workers.reset();
    summary.shutdownSeconds = SecondsSince(shutdownStart);
  }

  summary.peakMemoryMiB = PeakMemoryMiB();
  summary.configOps = runEnd.configOps - runStart.configOps;
  summary.notifications = runEnd.notifications - runStart.notifications;
  summary.statsUpdates = runEnd.statsUpdates - runStart.statsUpdates;
  summary.setsNotified = counters.setsNotified.load();
  summary.setsUnchanged = counters.setsUnchanged.load();
  summary.setsNoObserver = counters.setsNoObserver.load();
  summary.failures = counters.failures.load();
  summary.configStores = kelStore::GetKelConfigSizeForUT();
  summary.statsObjects = ledger.objectsLeft();
  summary.referencesTaken = ledger.taken();
  summary.referencesGivenBack = ledger.givenBack();
  PrintSummary(summary, options.json);
  if (std::fflush(stdout) != 0 || OutputError() != 0) {
    const int reason = OutputError() != 0 ? OutputError() : errno;
    std::fprintf(stderr, "mediastores-demo: cannot write standard output: %s\n",
                 std::strerror(reason));
    return 1;
  }
  return summary.ok() ? 0 : 1;
}

}  // namespace
}  // namespace msdemo

int main(int argc, char** argv) {
  msdemo::DemoOptions options;
  std::string error;
  switch (msdemo::ParseDemoOptions(argc, argv, &options, &error)) {
    case msdemo::ParseOutcome::kHelp:
      msdemo::PrintDemoHelp();
      return 0;
    case msdemo::ParseOutcome::kVersion:
      msdemo::PrintDemoVersion();
      return 0;
    case msdemo::ParseOutcome::kError:
      std::fprintf(stderr, "mediastores-demo: %s (see --help)\n", error.c_str());
      return 2;
    case msdemo::ParseOutcome::kRun:
      break;
  }
  if (options.httpPort != 0 && !msdemo::HttpService::Available()) {
    std::fprintf(stderr,
                 "mediastores-demo: --http: this build has no HTTP server (cpp-httplib was not "
                 "found when it was built)\n");
    return 2;
  }
  std::string document;
  if (!msdemo::LoadConfigDocument(options.configPath, &document, &error)) {
    std::fprintf(stderr, "mediastores-demo: %s\n", error.c_str());
    return 2;
  }
  msdemo::InstallStopHandlers();
  msdemo::TuneHeapForManyCalls();
  return msdemo::RunDemo(options, document);
}
