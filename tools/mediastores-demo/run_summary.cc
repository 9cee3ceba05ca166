#include "tools/mediastores-demo/run_summary.h"

#include <csignal>
#include <string>

#include "tools/mediastores-demo/json_line.h"
#include "tools/mediastores-demo/output.h"

namespace msdemo {
namespace {

const char* SignalName(int signal) {
  return signal == SIGINT ? "SIGINT" : signal == SIGTERM ? "SIGTERM" : "a signal";
}

std::string SummaryText(const RunSummary& s) {
  std::string text;
  const uint32_t calls = s.callsSetUp;
  if (s.stopSignal != 0) {
    Append(&text, "stopped by %s %s\n", SignalName(s.stopSignal),
           s.stoppedInSetUp ? "during set-up" : "during the run");
  }
  if (s.setupOk) {
    Append(&text,
           "summary: %u call%s for %.1f s | configuration %s operations (%s/s), %s "
           "notifications (%s/s) | statistics %s updates (%s/s) | peak memory %.1f MiB\n",
           calls, calls == 1 ? "" : "s", s.runSeconds, Thousands(s.configOps).c_str(),
           Thousands(PerSecond(s.configOps, s.runSeconds)).c_str(),
           Thousands(s.notifications).c_str(),
           Thousands(PerSecond(s.notifications, s.runSeconds)).c_str(),
           Thousands(s.statsUpdates).c_str(),
           Thousands(PerSecond(s.statsUpdates, s.runSeconds)).c_str(), s.peakMemoryMiB);
    Append(&text,
           "sets: %s told subscribers, %s unchanged, %s watched by nobody; set-up %.2f s "
           "(%s calls/s), shutdown %.2f s; failures %s\n",
           Thousands(s.setsNotified).c_str(), Thousands(s.setsUnchanged).c_str(),
           Thousands(s.setsNoObserver).c_str(), s.setupSeconds,
           Thousands(PerSecond(calls, s.setupSeconds)).c_str(), s.shutdownSeconds,
           Thousands(s.failures).c_str());
  }
  Append(&text,
         "registries at exit: configuration stores %u, statistics objects %llu (%s references "
         "taken, %s given back)\n",
         s.configStores, static_cast<unsigned long long>(s.statsObjects),
         Thousands(s.referencesTaken).c_str(), Thousands(s.referencesGivenBack).c_str());
  return text;
}

std::string SummaryJson(const RunSummary& s) {
  JsonLine line;
  line.Text("type", "summary")
      .UInt("second", s.secondsReported)
      .UInt("calls", s.callsSetUp)
      .Bool("setupOk", s.setupOk)
      .Bool("interrupted", s.stopSignal != 0);
  if (s.stopSignal != 0) {
    line.Text("signal", SignalName(s.stopSignal))
        .Text("stoppedDuring", s.stoppedInSetUp ? "set-up" : "run");
  }
  line.Real("setupSeconds", s.setupSeconds)
      .UInt("setupCallsPerSecond", PerSecond(s.callsSetUp, s.setupSeconds))
      .Real("runSeconds", s.runSeconds)
      .Real("shutdownSeconds", s.shutdownSeconds)
      .UInt("configOps", s.configOps)
      .UInt("configOpsPerSecond", PerSecond(s.configOps, s.runSeconds))
      .UInt("notifications", s.notifications)
      .UInt("notificationsPerSecond", PerSecond(s.notifications, s.runSeconds))
      .UInt("statsUpdates", s.statsUpdates)
      .UInt("statsUpdatesPerSecond", PerSecond(s.statsUpdates, s.runSeconds))
      .UInt("setsNotified", s.setsNotified)
      .UInt("setsUnchanged", s.setsUnchanged)
      .UInt("setsNoObserver", s.setsNoObserver)
      .UInt("failures", s.failures)
      .Real("peakMemoryMiB", s.peakMemoryMiB)
      .BeginObject("registries")
      .UInt("configurationStores", s.configStores)
      .UInt("statisticsObjects", s.statsObjects)
      .UInt("referencesTaken", s.referencesTaken)
      .UInt("referencesGivenBack", s.referencesGivenBack)
      .End()
      .Bool("ok", s.ok());
  if (!s.configurations.empty()) {
    line.BeginArray("configurations");
    for (const auto& [callId, document] : s.configurations)
      line.BeginObject(nullptr).UInt("callId", callId).Text("document", document).End();
    line.End();
  }
  return line.Finish();
}

}  // namespace

void PrintSummary(const RunSummary& summary, bool json) {
  WriteOut(json ? SummaryJson(summary) : SummaryText(summary));
}

}  // namespace msdemo
