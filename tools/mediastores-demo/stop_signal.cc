#include "tools/mediastores-demo/stop_signal.h"

#include <signal.h>

#include <atomic>

namespace msdemo {
namespace {

// Lock-free, so the handler may set it on whichever thread the signal lands.
std::atomic<int> g_stopSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "the stop flag must be lock-free");

extern "C" void OnStopSignal(int signal) {
  g_stopSignal.store(signal, std::memory_order_relaxed);
}

}  // namespace

void InstallStopHandlers() {
  struct sigaction action {};
  action.sa_handler = OnStopSignal;
  sigemptyset(&action.sa_mask);
  // Interrupted system calls resume; the next signal of the kind takes the default action.
  action.sa_flags = SA_RESTART | SA_RESETHAND;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

int StopSignal() {
  return g_stopSignal.load(std::memory_order_relaxed);
}

}  // namespace msdemo
