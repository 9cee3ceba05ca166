#include <time.h>

#include <atomic>
#include <limits>

#include "mediastores/clock.h"

namespace {

std::atomic<long long> g_mockTime{-1};

long long ReadClockMicros(clockid_t clock) {
  timespec ts{};
  clock_gettime(clock, &ts);
  return static_cast<long long>(ts.tv_sec) * 1000000LL + ts.tv_nsec / 1000;
}

}  // namespace

extern "C" long long get_mock_time() {
  return g_mockTime.load(std::memory_order_relaxed);
}

extern "C" void set_mock_time(unsigned long long t) {
  // ~0ULL reads back as -1: no mock time.
  g_mockTime.store(static_cast<long long>(t), std::memory_order_relaxed);
}

long long timer_policy::now() {
  return ReadClockMicros(CLOCK_MONOTONIC);
}
long long timer_policy::max_time_value() {
  return std::numeric_limits<long long>::max();
}
long long tick_policy::now() {
  return ReadClockMicros(CLOCK_MONOTONIC);
}
long long tick_policy::max_time_value() {
  return std::numeric_limits<long long>::max();
}
long long low_tick_policy::now() {
  return ReadClockMicros(CLOCK_MONOTONIC_COARSE);
}
long long low_tick_policy::max_time_value() {
  return std::numeric_limits<long long>::max();
}
