// The recent per-second figures of the calls the reporter shows, for /stats.json: per call a ring
// of the last kHistorySeconds entries, each the call's object of that second's --json line. The
// reporter records; the HTTP thread copies the rings out under the lock and renders afterwards.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_STATS_HISTORY_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_STATS_HISTORY_H_

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace msdemo {

constexpr size_t kHistorySeconds = 120;

class StatsHistory {
 public:
  // Keeps `entry` (a JSON object) as the newest of call `callId`, dropping the oldest once the
  // call has kHistorySeconds. Calls are listed in the order of their first entry.
  void Record(uint32_t callId, std::string entry);

  // {"historySeconds":120,"calls":[{"callId":1001,"points":[<entry>,...]},...]}, oldest first.
  std::string RenderJson() const;

 private:
  struct Ring {
    uint32_t callId = 0;
    std::vector<std::string> entries;  // kHistorySeconds slots once full
    size_t next = 0;                   // the slot the next entry goes to once full
  };

  mutable std::mutex m_mutex;
  std::vector<Ring> m_calls;
};

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_STATS_HISTORY_H_
