// Elapsed-time stopwatch over a clock policy (timer_policy, tick_policy, low_tick_policy).
#ifndef MEDIASTORES_TIMER_FACT_H_
#define MEDIASTORES_TIMER_FACT_H_

#include "mediastores/clock.h"
#include "mediastores/export.h"

// Remembers a start stamp (the tag, in the policy's microseconds) and answers how much time has
// passed since, in microseconds, milliseconds or seconds. A clock that wrapped around since the
// tag is handled: the time up to the policy's max_time_value() plus the time since the wrap.
// Every reading of the current time honours the process-wide mock clock, so tests can drive it:
//
//   timer_fact<tick_policy>::MockNow(1000);
//   timer_fact<tick_policy> t;      // tag 1000
//   timer_fact<tick_policy>::MockNow(3500);
//   t.elapsed_mills();              // 2
//
// A timer is a plain value: copy it freely; do not share one between threads without a lock.
template <class Policy>
class timer_fact {
 public:
  // Starts the timer at `tag`, or at now() when `tag` is -1.
  explicit timer_fact(long long tag = -1);

  // Restarts the timer at `tag`, or at now() when `tag` is -1.
  void reset(long long tag = -1);

  // The mock time when one is set (get_mock_time() != -1), else Policy::now().
  static long long now();

  // Time since the tag in microseconds, milliseconds and seconds. Both stamps are cut to the unit
  // before they are compared, so 1999 -> 2000 us reads as 1 ms. When the clock wrapped and the tag
  // lies within one unit of the wrap point, the result is negative (now - tag in that unit).
  long long elapsed() const;
  long long elapsed_mills() const;
  long long elapsed_sec() const;

  // Sets the process-wide mock clock (for every timer of every policy); ~0ULL unsets it.
  static void MockNow(unsigned long long t);

  // True when the matching elapsed value is at least `limit`.
  bool overtime(long long limit) const;
  bool overtime_mills(long long limit) const;
  bool overtime_sec(long long limit) const;

  // The stored start stamp.
  long long latest_tag() const;

 private:
  long long elapsed_in(long long divisor) const;

  long long m_tag;
};

extern template class MEDIASTORES_API timer_fact<timer_policy>;
extern template class MEDIASTORES_API timer_fact<tick_policy>;
extern template class MEDIASTORES_API timer_fact<low_tick_policy>;

#endif  // MEDIASTORES_TIMER_FACT_H_
