// The reporter: once a second it reads every call's statistics with reset-on-read (so counters
// come out as differences since the previous report) and prints a compact table, or one JSON
// object per line.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_REPORTER_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_REPORTER_H_

#include <mediastores/mediastores.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tools/mediastores-demo/demo_counters.h"
#include "tools/mediastores-demo/json_line.h"
#include "tools/mediastores-demo/modules.h"
#include "tools/mediastores-demo/output.h"
#include "tools/mediastores-demo/pipeline.h"
#include "tools/mediastores-demo/stats_history.h"

namespace msdemo {

struct ReportStyle {
  bool quiet = false;        // nothing per second (a progress heading on a terminal)
  bool json = false;         // JSON lines instead of the table
  size_t detailedCalls = 3;  // calls shown one by one; the rest are summed up
  // Where the shown calls' per-second figures are also kept (for /stats.json); null: nowhere.
  StatsHistory* history = nullptr;
};

// A call's statistics objects as the reporter holds them (null where taking one failed).
struct HeldStatistics {
  uint32_t callId;
  kelStore::IKelAudioInfo* audio;
  kelStore::IKelVideoInfo* video;
};

class Reporter {
 public:
  Reporter(StatsLedger* ledger, const ReportStyle& style);
  ~Reporter();

  // Takes the reader's references of the call's audio and video statistics.
  bool AddCall(uint32_t callId, const MediaControls* controls);
  // Reads every call (resetting) and prints the report of the interval that just ended: `second`
  // of `seconds` (0: a run without an end), `intervalSeconds` long, with the counters' growth
  // over it.
  void Report(uint32_t second, uint32_t seconds, double intervalSeconds,
              const CounterSnapshot& growth);
  // Clears the progress line, if one is shown.
  void EndProgress();
  // Gives every reference back.
  void ReleaseAll();
  // The objects held, call by call; they stay valid until ReleaseAll.
  std::vector<HeldStatistics> Held() const;

 private:
  struct CallReader {
    uint32_t callId;
    const MediaControls* controls;
    kelStore::IKelAudioInfo* audio;
    kelStore::IKelVideoInfo* video;
  };

  StatsLedger* m_ledger;
  ReportStyle m_style;
  bool m_progressShown = false;
  std::vector<CallReader> m_calls;
};

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_REPORTER_H_
