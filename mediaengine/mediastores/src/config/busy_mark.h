// BusyMark: how a removal learns that deliveries to a handler are still running, and waits for
// them.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_BUSY_MARK_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_BUSY_MARK_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "mediastores/timer_fact.h"

namespace kelStore {

// Counts the deliveries in progress on one handler and remembers the thread that marked it
// first. A delivery enters the mark while the key's observer list is locked, so a removal that
// takes the handler out under the same lock sees it; the delivery leaves it when done, through a
// Scope; the removal then waits until no delivery is left. Lock-free: both fields are atomic,
// because several threads may deliver to one handler at once.
class BusyMark {
 public:
  // One delivery's share of a mark entered earlier (under the observer list's lock); left when
  // the scope ends, also when the callback throws.
  class Scope {
   public:
    Scope(BusyMark& mark, uint64_t self) : m_mark(mark), m_self(self) {}
    ~Scope() { m_mark.Leave(m_self); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    BusyMark& m_mark;
    const uint64_t m_self;
  };

  // A removal waits this long for running deliveries, reporting every half second ...
  static constexpr long long kWaitMillis = 3001;
  static constexpr long long kReportMillis = 500;
  // ... and stops after this many 1 ms sleeps in any case, so a clock that does not move (a
  // frozen mock clock) cannot hold it forever.
  static constexpr int kMaxSleeps = 4000;

  // Counts one more delivery, by thread `self`. Returns 0 when `self` took the mark, else the
  // thread that already holds it (another delivery is under way; this one goes ahead as well).
  uint64_t Enter(uint64_t self) {
    busyCount.fetch_add(1);
    uint64_t holder = 0;
    return busyThread.compare_exchange_strong(holder, self) ? 0 : holder;
  }

  // Counts one delivery by `self` as done; the mark is let go if `self` holds it.
  void Leave(uint64_t self) {
    uint64_t holder = self;
    busyThread.compare_exchange_strong(holder, 0);
    busyCount.fetch_sub(1);
  }

  // The thread holding the mark; 0 when none.
  uint64_t Holder() const { return busyThread.load(); }

  // Clears the mark of a handler that is being registered.
  void Reset() {
    busyThread.store(0);
    busyCount.store(0);
  }

  // Waits in 1 ms sleeps until no delivery is in progress, or until kWaitMillis have passed on the
  // platform timer (the mock clock when one is set), or kMaxSleeps sleeps. Calls `onLongWait()`
  // whenever more than kReportMillis passed since the start or its last call. Returns whether
  // the deliveries ended.
  template <class OnLongWait>
  bool WaitUntilIdle(OnLongWait&& onLongWait) const {
    const long long start = NowMillis();
    long long lastReport = start;
    for (int sleeps = 0; busyCount.load() >= 1 && sleeps < kMaxSleeps; ++sleeps) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      const long long now = NowMillis();
      if (now - lastReport > kReportMillis) {
        lastReport = now;
        onLongWait();
      }
      if (now - start >= kWaitMillis) break;
    }
    return busyCount.load() < 1;
  }

 private:
  static long long NowMillis() { return timer_fact<tick_policy>::now() / 1000; }

  // Deliveries in progress.
  std::atomic<int32_t> busyCount{0};
  // The thread that marked the handler first; 0 when none.
  std::atomic<uint64_t> busyThread{0};
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_BUSY_MARK_H_
