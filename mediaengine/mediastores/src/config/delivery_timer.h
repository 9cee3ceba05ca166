// DeliveryTimer: the cost of each delivery of a walk in whole milliseconds, from a fine clock,
// for the slow-callback warning.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_DELIVERY_TIMER_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_DELIVERY_TIMER_H_

#include <cstdint>

namespace kelStore {

// Times deliveries that follow one another on one thread: the reading that ends one delivery
// starts the next, so a walk reads the time once per delivery and once at its start.
//
// A reading is the mock clock when one is set, else the processor's cycle counter where it runs
// at a constant rate (else the fine platform clock). Cycles are turned into microseconds only for
// a delivery that took at least a few hundred microseconds: then the fine platform clock is read
// and the cycle rate is taken over the whole time since the process's first reading, so the cost
// is the fine clock's elapsed time cut to whole milliseconds (100.9 ms is 100, 101.0 ms is 101).
class DeliveryTimer {
 public:
  // Starts the first delivery.
  DeliveryTimer() : m_last(Read()) {}

  // Ends the current delivery and starts the next one; returns the ended delivery's cost in whole
  // milliseconds, 0 when the clock went back or the mock clock was set or unset meanwhile.
  long long Lap();

 private:
  struct Stamp {
    long long mock;  // the mock time in microseconds, or -1 when none is set
    int64_t ticks;   // cycles, or microseconds of the fine clock
  };
  static Stamp Read();

  Stamp m_last;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_DELIVERY_TIMER_H_
