// What a run did, printed at its end as text lines or as the "summary" JSON object.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_RUN_SUMMARY_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_RUN_SUMMARY_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace msdemo {

struct RunSummary {
  bool setupOk = true;
  uint32_t callsSetUp = 0;
  int stopSignal = 0;            // the signal that ended the run early, 0 when none did
  bool stoppedInSetUp = false;   // ... before the calls ran
  uint32_t secondsReported = 0;  // reports printed (the last one may cover a part of a second)
  double setupSeconds = 0;
  double runSeconds = 0;  // up to the last report
  double shutdownSeconds = 0;
  double peakMemoryMiB = 0;
  // Over the reported run.
  uint64_t configOps = 0;
  uint64_t notifications = 0;
  uint64_t statsUpdates = 0;
  // Over the whole program.
  uint64_t setsNotified = 0;
  uint64_t setsUnchanged = 0;
  uint64_t setsNoObserver = 0;
  uint64_t failures = 0;
  // The registries after shutdown.
  uint32_t configStores = 0;
  uint64_t statsObjects = 0;
  uint64_t referencesTaken = 0;
  uint64_t referencesGivenBack = 0;
  // --dump with --json: each call's configuration document.
  std::vector<std::pair<uint32_t, std::string>> configurations;

  // The run failed in nothing and left nothing behind.
  bool ok() const { return setupOk && failures == 0 && configStores == 0 && statsObjects == 0; }
};

// The summary lines (the summary itself only after a set-up that did not fail), ending with the
// "registries at exit" line; or one "summary" JSON line.
void PrintSummary(const RunSummary& summary, bool json);

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_RUN_SUMMARY_H_
