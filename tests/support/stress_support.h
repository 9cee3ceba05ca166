// The harness of the bounded stress tests: threads let go together, the soak scale, a counter of
// live callback copies and a fault log. Soak runs: MEDIASTORES_SOAK=1 multiplies a stress test's
// operation counts by 50, MEDIASTORES_SOAK=<n> (n > 1) by n.
#ifndef MEDIASTORES_TESTS_SUPPORT_STRESS_SUPPORT_H_
#define MEDIASTORES_TESTS_SUPPORT_STRESS_SUPPORT_H_

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace stresstest {

// `base` operations scaled by MEDIASTORES_SOAK.
inline int ScaledOps(int base) {
  const char* soak = std::getenv("MEDIASTORES_SOAK");
  const long long n = soak != nullptr ? std::atoi(soak) : 0;
  return static_cast<int>(std::clamp(base * (n == 1 ? 50 : std::max(n, 1LL)), 1LL, 1LL << 30));
}

// Runs `body(t)` for t = 0 .. threads - 1, each on its own thread, all let go at once; returns
// when every one has ended.
template <class Body>
void RunTogether(int threads, Body&& body) {
  std::atomic<bool> go{false};
  std::vector<std::thread> running;
  for (int t = 0; t < threads; ++t) {
    running.emplace_back([&go, &body, t] {
      while (!go.load())
        std::this_thread::yield();
      body(t);
    });
  }
  go.store(true);
  for (std::thread& thread : running)
    thread.join();
}

// A copyable token that counts its live copies in `*live`. Captured by value in a callback, it
// shows whether every copy the library made of the callback has been destroyed.
class LifeToken {
 public:
  explicit LifeToken(std::atomic<int>* live) : live_(live) { live_->fetch_add(1); }
  LifeToken(const LifeToken& other) : live_(other.live_) { live_->fetch_add(1); }
  LifeToken& operator=(const LifeToken&) = delete;
  ~LifeToken() { live_->fetch_sub(1); }

 private:
  std::atomic<int>* live_;
};

// Counts faults seen on any thread and keeps the first one's description; read it once the
// threads have ended.
class FaultLog {
 public:
  void Add(const std::string& what) {
    if (count_.fetch_add(1) == 0) first_ = what;
  }
  int Count() const { return count_.load(); }
  std::string Describe() const { return "first fault: " + first_; }

 private:
  std::atomic<int> count_{0};
  std::string first_;
};

}  // namespace stresstest

#endif  // MEDIASTORES_TESTS_SUPPORT_STRESS_SUPPORT_H_
