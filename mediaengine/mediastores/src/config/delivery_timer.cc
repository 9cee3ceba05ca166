#include "mediaengine/mediastores/src/config/delivery_timer.h"

#include "mediastores/clock.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#include <x86intrin.h>
#define MEDIASTORES_HAVE_CYCLE_COUNTER 1
#endif

namespace kelStore {

namespace {

// A delivery shorter than this many ticks is far below the warning's 100 ms: no fine reading.
// One million cycles is under a millisecond for any counter faster than 1 GHz, and 100 ms only
// for one as slow as 10 MHz.
constexpr int64_t kCheckTicks = 1000000;

#ifdef MEDIASTORES_HAVE_CYCLE_COUNTER
// The cycle counter runs at a constant rate whatever the core's frequency and sleep states.
bool InvariantCycleCounter() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (__get_cpuid(0x80000000u, &eax, &ebx, &ecx, &edx) == 0 || eax < 0x80000007u) return false;
  __get_cpuid(0x80000007u, &eax, &ebx, &ecx, &edx);
  return (edx & (1u << 8)) != 0;
}

const bool g_useCycles = InvariantCycleCounter();
#else
constexpr bool g_useCycles = false;
#endif

int64_t Ticks() {
#ifdef MEDIASTORES_HAVE_CYCLE_COUNTER
  if (g_useCycles) return static_cast<int64_t>(__rdtsc());
#endif
  return timer_policy::now();
}

// The first reading of the process: fine microseconds and ticks, taken together. The cycle rate
// is measured from it; a delivery worth timing finely lasts at least kCheckTicks, so the rate is
// taken over no less than that, and over at least 100 ms when the cost is near the threshold.
struct Origin {
  int64_t micros;
  int64_t ticks;
};
const Origin g_origin = {timer_policy::now(), Ticks()};

}  // namespace

DeliveryTimer::Stamp DeliveryTimer::Read() {
  return Stamp{get_mock_time(), Ticks()};
}

long long DeliveryTimer::Lap() {
  const Stamp now = Read();
  const Stamp start = m_last;
  m_last = now;
  if (now.mock != -1 || start.mock != -1) {
    if (now.mock == -1 || start.mock == -1 || now.mock < start.mock) return 0;
    return (now.mock - start.mock) / 1000;
  }
  const int64_t ticks = now.ticks - start.ticks;
  if (!g_useCycles) return ticks < 0 ? 0 : ticks / 1000;  // fine microseconds already
  if (ticks < kCheckTicks) return 0;                      // also a counter that went back
  const double microsPerTick = static_cast<double>(timer_policy::now() - g_origin.micros) /
                               static_cast<double>(now.ticks - g_origin.ticks);
  return static_cast<long long>(static_cast<double>(ticks) * microsPerTick) / 1000;
}

}  // namespace kelStore
