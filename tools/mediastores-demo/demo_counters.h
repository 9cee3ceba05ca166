// Process-wide tallies of what the simulated call load did, read by the reporter and the summary.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_DEMO_COUNTERS_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_DEMO_COUNTERS_H_

#include <atomic>
#include <cstdint>

namespace msdemo {

struct DemoCounters {
  // Calls made on a KelConfigHelper (set, get, dynamic read, subscribe, bind, toggles, apply...).
  std::atomic<uint64_t> configOps{0};
  // Subscription callbacks and provider calls that ran.
  std::atomic<uint64_t> notifications{0};
  // Update operations on the statistics objects.
  std::atomic<uint64_t> statsUpdates{0};
  // What the sets answered: someone was told, the value was unchanged, nobody watches the key.
  std::atomic<uint64_t> setsNotified{0};
  std::atomic<uint64_t> setsUnchanged{0};
  std::atomic<uint64_t> setsNoObserver{0};
  // Results the simulation did not expect (each is also reported on standard error).
  std::atomic<uint64_t> failures{0};
};

// A point-in-time copy, for interval rates.
struct CounterSnapshot {
  uint64_t configOps = 0;
  uint64_t notifications = 0;
  uint64_t statsUpdates = 0;

  static CounterSnapshot Take(const DemoCounters& counters) {
    CounterSnapshot s;
    s.configOps = counters.configOps.load(std::memory_order_relaxed);
    s.notifications = counters.notifications.load(std::memory_order_relaxed);
    s.statsUpdates = counters.statsUpdates.load(std::memory_order_relaxed);
    return s;
  }
};

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_DEMO_COUNTERS_H_
