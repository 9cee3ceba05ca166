// mediastores-demo: simulates live calls in one process the way a media engine uses the library
// (configuration stores through module helpers, subscriptions on shared worker threads, a bound
// provider, feature toggles, statistics written by pipeline threads and read by a reporter), then
// shuts everything down and shows that both registries are empty again.
#include <mediastores/mediastores.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tools/mediastores-demo/config_document.h"
#include "tools/mediastores-demo/demo_counters.h"
#include "tools/mediastores-demo/modules.h"
#include "tools/mediastores-demo/options.h"
#include "tools/mediastores-demo/pipeline.h"
#include "tools/mediastores-demo/reporter.h"

namespace msdemo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kFirstCallId = 1001;
constexpr size_t kMaxPipelineThreads = 2;  // per media kind, whatever the number of calls

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

int RunDemo(const DemoOptions& options, const std::string& document) {
  DemoCounters counters;
  StatsLedger ledger(&counters);
  const uint32_t calls = options.calls;
  const size_t audioThreads = std::min<size_t>(kMaxPipelineThreads, calls);
  const size_t videoThreads = std::min<size_t>(kMaxPipelineThreads, calls);
  bool setupOk = true;
  double runSeconds = 0;
  double setupSeconds = 0;
  double shutdownSeconds = 0;
  CounterSnapshot runStart;
  CounterSnapshot runEnd;
  {
    auto workers = std::make_unique<WorkerPool>();
    std::vector<std::unique_ptr<Call>> callList;
    std::vector<std::unique_ptr<AudioPipeline>> audio;
    std::vector<std::unique_ptr<VideoPipeline>> video;
    Reporter reporter(&ledger, options.quiet);
    for (size_t i = 0; i < audioThreads; ++i) {
      audio.push_back(std::make_unique<AudioPipeline>(&ledger, &counters));
    }
    for (size_t i = 0; i < videoThreads; ++i) {
      video.push_back(std::make_unique<VideoPipeline>(&ledger, &counters));
    }

    // Set-up: the calls' modules and configuration, then the statistics holders.
    const Clock::time_point setupStart = Clock::now();
    for (uint32_t i = 0; i < calls && setupOk; ++i) {
      callList.push_back(std::make_unique<Call>(i, kFirstCallId + i, workers.get(), &counters));
      setupOk = callList.back()->Start(document);
    }
    for (uint32_t i = 0; i < callList.size() && setupOk; ++i) {
      Call& call = *callList[i];
      setupOk = audio[i % audioThreads]->AddCall(call.callId(), call.controls()) &&
                video[i % videoThreads]->AddCall(call.callId(), call.controls()) &&
                reporter.AddCall(call.callId(), call.controls());
    }
    workers->Drain();  // the posted first notifications have arrived
    setupSeconds = SecondsSince(setupStart);

    if (setupOk) {
      if (!options.quiet) {
        std::printf(
            "mediastores-demo: %u call%s for %u s, configuration: %s\n", calls,
            calls == 1 ? "" : "s", options.seconds,
            options.configPath.empty() ? "embedded default document" : options.configPath.c_str());
        std::printf("call %u after loading it:\n%s", callList[0]->callId(),
                    callList[0]->Describe().c_str());
        std::printf(
            "threads: %zu shared workers, %zu audio + %zu video pipeline threads, a "
            "controller, the reporter; set up in %.2f s (%s configuration operations)\n",
            workers->size(), audioThreads, videoThreads, setupSeconds,
            Thousands(counters.configOps.load()).c_str());
        std::fflush(stdout);
      }
      // The run: pipelines write, the controller changes configuration, the reporter reads.
      Controller controller(&callList);
      for (auto& pipeline : audio)
        pipeline->Start();
      for (auto& pipeline : video)
        pipeline->Start();
      controller.Start();
      const Clock::time_point runStartTime = Clock::now();
      runStart = CounterSnapshot::Take(counters);
      CounterSnapshot previous = runStart;
      Clock::time_point previousTime = runStartTime;
      for (uint32_t second = 1; second <= options.seconds; ++second) {
        std::this_thread::sleep_until(runStartTime + std::chrono::seconds(second));
        const CounterSnapshot now = CounterSnapshot::Take(counters);
        const Clock::time_point nowTime = Clock::now();
        CounterSnapshot growth;
        growth.configOps = now.configOps - previous.configOps;
        growth.notifications = now.notifications - previous.notifications;
        growth.statsUpdates = now.statsUpdates - previous.statsUpdates;
        reporter.Report(second, options.seconds,
                        std::chrono::duration<double>(nowTime - previousTime).count(), growth);
        previous = now;
        previousTime = nowTime;
      }
      // The run's figures end with the last report.
      runEnd = previous;
      runSeconds = std::chrono::duration<double>(previousTime - runStartTime).count();
      reporter.EndProgress();
      controller.Stop();
      for (auto& pipeline : audio)
        pipeline->Stop();
      for (auto& pipeline : video)
        pipeline->Stop();
    }

    // Shutdown: let the workers run what was posted, then end every call and hand every
    // statistics reference back.
    const Clock::time_point shutdownStart = Clock::now();
    for (auto& pipeline : audio)
      pipeline->Stop();
    for (auto& pipeline : video)
      pipeline->Stop();
    workers->Drain();
    if (options.dump && setupOk) {
      for (auto& call : callList) {
        std::printf("call %u configuration: %s\n", call->callId(),
                    call->DumpConfiguration().c_str());
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
    shutdownSeconds = SecondsSince(shutdownStart);
  }

  const uint64_t failures = counters.failures.load();
  if (setupOk) {
    const uint64_t ops = runEnd.configOps - runStart.configOps;
    const uint64_t notes = runEnd.notifications - runStart.notifications;
    const uint64_t updates = runEnd.statsUpdates - runStart.statsUpdates;
    std::printf(
        "summary: %u call%s for %.1f s | configuration %s operations (%s/s), %s "
        "notifications (%s/s) | statistics %s updates (%s/s) | peak memory %.1f MiB\n",
        calls, calls == 1 ? "" : "s", runSeconds, Thousands(ops).c_str(),
        Thousands(static_cast<uint64_t>(ops / runSeconds)).c_str(), Thousands(notes).c_str(),
        Thousands(static_cast<uint64_t>(notes / runSeconds)).c_str(), Thousands(updates).c_str(),
        Thousands(static_cast<uint64_t>(updates / runSeconds)).c_str(), PeakMemoryMiB());
    std::printf(
        "sets: %s told subscribers, %s unchanged, %s watched by nobody; set-up %.2f s, "
        "shutdown %.2f s; failures %s\n",
        Thousands(counters.setsNotified.load()).c_str(),
        Thousands(counters.setsUnchanged.load()).c_str(),
        Thousands(counters.setsNoObserver.load()).c_str(), setupSeconds, shutdownSeconds,
        Thousands(failures).c_str());
  }
  const uint32_t stores = kelStore::GetKelConfigSizeForUT();
  const uint64_t statsLeft = ledger.objectsLeft();
  std::printf(
      "registries at exit: configuration stores %u, statistics objects %llu (%s "
      "references taken, %s given back)\n",
      stores, static_cast<unsigned long long>(statsLeft), Thousands(ledger.taken()).c_str(),
      Thousands(ledger.givenBack()).c_str());
  return setupOk && failures == 0 && stores == 0 && statsLeft == 0 ? 0 : 1;
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
    case msdemo::ParseOutcome::kError:
      std::fprintf(stderr, "mediastores-demo: %s (see --help)\n", error.c_str());
      return 2;
    case msdemo::ParseOutcome::kRun:
      break;
  }
  std::string document;
  if (!msdemo::LoadConfigDocument(options.configPath, &document, &error)) {
    std::fprintf(stderr, "mediastores-demo: %s\n", error.c_str());
    return 2;
  }
  return msdemo::RunDemo(options, document);
}
