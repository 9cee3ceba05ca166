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

// Counts the deliveries in progress on one handler, the Notify/Invoke calls running on it (the
// nesting depth), and remembers the thread that marked it first. A delivery enters the mark while
// the key's observer list is locked, so a removal that takes the handler out under the same lock
// sees it; the delivery leaves it when done; the removal then waits until no delivery is left.
//
// The count and the depth share one atomic word, so a walk's delivery costs three read-modify-
// writes on it: the mark, the start of the call and, folded into one, the end of the call with
// the mark's release. The marking thread is a word of its own that needs no read-modify-write:
// it is set only by Enter, and Enter runs only under the lock of the one list that holds the
// handler; it is cleared only by the thread it names.
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

  // One running Notify/Invoke. Depth() is the nesting depth that its start made (1 when nothing
  // else runs on the handler). As it ends (also when the callback throws) the depth drops; for a
  // call of a walk, `marker` names the thread whose walk marked the handler, and the mark is left
  // in the same step. Outside a walk `marker` is 0 (no thread).
  class Run {
   public:
    explicit Run(BusyMark& mark, uint64_t marker = 0)
        : m_mark(mark), m_marker(marker), m_depth(mark.StartRun()) {}
    ~Run() {
      if (m_marker != 0) m_mark.ReleaseHolder(m_marker);
      m_mark.m_word.fetch_sub(kRunUnit + (m_marker != 0 ? 1 : 0), std::memory_order_release);
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    uint32_t Depth() const { return m_depth; }

   private:
    BusyMark& m_mark;
    const uint64_t m_marker;
    const uint32_t m_depth;
  };

  // A removal waits this long for running deliveries, reporting every half second ...
  static constexpr long long kWaitMillis = 3001;
  static constexpr long long kReportMillis = 500;
  // ... and stops after this many 1 ms sleeps in any case, so a clock that does not move (a
  // frozen mock clock) cannot hold it forever.
  static constexpr int kMaxSleeps = 4000;

  // Counts one more delivery, by thread `self`; only under the lock of the list holding the
  // handler. Returns 0 when `self` took the mark, else the thread that already holds it (another
  // delivery is under way; this one goes ahead as well).
  uint64_t Enter(uint64_t self) {
    m_word.fetch_add(1, std::memory_order_acq_rel);
    const uint64_t holder = busyThread.load(std::memory_order_relaxed);
    if (holder == 0) busyThread.store(self, std::memory_order_relaxed);
    return holder;
  }

  // Counts one delivery by `self` as done; the mark is let go if `self` holds it.
  void Leave(uint64_t self) {
    ReleaseHolder(self);
    m_word.fetch_sub(1, std::memory_order_release);
  }

  // The thread holding the mark; 0 when none.
  uint64_t Holder() const { return busyThread.load(std::memory_order_relaxed); }

  // Clears the mark of a handler that is being registered.
  void Reset() {
    busyThread.store(0);
    m_word.store(0);
  }

  // Waits in 1 ms sleeps until no delivery is in progress, or until kWaitMillis have passed on the
  // platform timer (the mock clock when one is set), or kMaxSleeps sleeps. Calls `onLongWait()`
  // whenever more than kReportMillis passed since the start or its last call. Returns whether
  // the deliveries ended.
  template <class OnLongWait>
  bool WaitUntilIdle(OnLongWait&& onLongWait) const {
    const long long start = NowMillis();
    long long lastReport = start;
    for (int sleeps = 0; Busy() && sleeps < kMaxSleeps; ++sleeps) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      const long long now = NowMillis();
      if (now - lastReport > kReportMillis) {
        lastReport = now;
        onLongWait();
      }
      if (now - start >= kWaitMillis) break;
    }
    return !Busy();
  }

 private:
  // One running call in the word's upper half; deliveries marked are counted in the lower half.
  static constexpr uint64_t kRunUnit = uint64_t{1} << 32;

  static long long NowMillis() { return timer_fact<tick_policy>::now() / 1000; }

  // Counts one more running call; returns the nesting depth it makes.
  uint32_t StartRun() {
    return static_cast<uint32_t>((m_word.fetch_add(kRunUnit, std::memory_order_acq_rel) >> 32) + 1);
  }

  // Deliveries still marked (signed, as a count that went below zero is not one of them).
  bool Busy() const {
    return static_cast<int32_t>(static_cast<uint32_t>(m_word.load(std::memory_order_acquire))) >= 1;
  }

  void ReleaseHolder(uint64_t self) {
    // Only `self` clears its own mark and nobody else writes a set mark: load then store is safe.
    if (busyThread.load(std::memory_order_relaxed) == self) {
      busyThread.store(0, std::memory_order_relaxed);
    }
  }

  // Deliveries marked (low half) and calls running (high half).
  std::atomic<uint64_t> m_word{0};
  // The thread that marked the handler first; 0 when none.
  std::atomic<uint64_t> busyThread{0};
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_BUSY_MARK_H_
