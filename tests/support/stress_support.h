// The harness of the bounded stress tests: threads started together, the soak scale, a counter of
// live callback copies and a fault log. (Closure events and queue flushes are in
// event_test_util.h.)
//
// Soak scale: MEDIASTORES_SOAK=1 multiplies a stress test's operation counts by 50,
// MEDIASTORES_SOAK=<n> (n > 1) by n. Sanitized builds divide the result by the divisor the test
// gives, so a sanitized soak still runs longer than a plain default run.
#ifndef MEDIASTORES_TESTS_SUPPORT_STRESS_SUPPORT_H_
#define MEDIASTORES_TESTS_SUPPORT_STRESS_SUPPORT_H_

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define MEDIASTORES_STRESS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define MEDIASTORES_STRESS_SANITIZED 1
#endif
#endif

namespace stresstest {

constexpr bool kSanitized =
#ifdef MEDIASTORES_STRESS_SANITIZED
    true;
#else
    false;
#endif

// `base` operations scaled by MEDIASTORES_SOAK, divided by `sanitizedDivisor` in a sanitized
// build; at least 1.
inline int ScaledOps(int base, int sanitizedDivisor) {
  long long ops = base;
  if (const char* soak = std::getenv("MEDIASTORES_SOAK"); soak != nullptr && std::atoi(soak) > 0) {
    ops *= std::atoi(soak) == 1 ? 50 : std::atoi(soak);
  }
  if (kSanitized && sanitizedDivisor > 1) ops /= sanitizedDivisor;
  return static_cast<int>(std::clamp(ops, 1LL, 1LL << 30));
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
// shows whether every copy the library made of the callback (handler records, posted events)
// has been destroyed.
class LifeToken {
 public:
  explicit LifeToken(std::atomic<int>* live) : live_(live) { live_->fetch_add(1); }
  LifeToken(const LifeToken& other) : live_(other.live_) { live_->fetch_add(1); }
  LifeToken& operator=(const LifeToken&) = delete;
  ~LifeToken() { live_->fetch_sub(1); }

 private:
  std::atomic<int>* live_;
};

// Counts faults seen on any thread and keeps the first few descriptions for the report.
class FaultLog {
 public:
  void Add(std::string what) {
    if (count_.fetch_add(1) < kKept) {
      std::lock_guard<std::mutex> lock(mutex_);
      first_.push_back(std::move(what));
    }
  }
  int Count() const { return count_.load(); }
  std::string Describe() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::string text;
    for (const std::string& line : first_)
      text += line + "\n";
    return text;
  }

 private:
  static constexpr int kKept = 10;
  std::atomic<int> count_{0};
  mutable std::mutex mutex_;
  std::vector<std::string> first_;
};

}  // namespace stresstest

#endif  // MEDIASTORES_TESTS_SUPPORT_STRESS_SUPPORT_H_
