// Clock policies and the process-wide mock clock. Every reading of the current time in the
// library goes through the mock clock first, so tests can drive time.
#ifndef MEDIASTORES_CLOCK_H_
#define MEDIASTORES_CLOCK_H_

#include "mediastores/export.h"

extern "C" {
// The mocked time in microseconds, or -1 when no mock time is set.
MEDIASTORES_API long long get_mock_time();
// Sets the mocked time for every timer at once; set_mock_time(~0ULL) unsets it.
MEDIASTORES_API void set_mock_time(unsigned long long t);
}

// Monotonic microsecond clocks. now() reads the real clock (not the mock); max_time_value() is
// the largest stamp before the clock wraps.
struct MEDIASTORES_API timer_policy {
  static long long now();
  static long long max_time_value();
};
// Monotonic tick clock, microseconds.
struct MEDIASTORES_API tick_policy {
  static long long now();
  static long long max_time_value();
};
// Coarse (cheaper, lower resolution) monotonic clock, microseconds.
struct MEDIASTORES_API low_tick_policy {
  static long long now();
  static long long max_time_value();
};

#endif  // MEDIASTORES_CLOCK_H_
