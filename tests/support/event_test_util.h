// Test helpers around worker threads: an event that runs a closure, a queue flush, a one-shot
// signal and a held queue.
#ifndef MEDIASTORES_TESTS_SUPPORT_EVENT_TEST_UTIL_H_
#define MEDIASTORES_TESTS_SUPPORT_EVENT_TEST_UTIL_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>

#include "mediastores/thread.h"

namespace eventtest {

// Runs a closure on the thread of the queue it is posted or sent to; counts its disposal in
// `*disposed` when given.
class FnEvent : public IOxEvent {
 public:
  explicit FnEvent(std::function<void()> fn, std::atomic<int>* disposed = nullptr)
      : fn_(std::move(fn)), disposed_(disposed) {}
  int OnEventFire() override {
    if (fn_) fn_();
    return 0;
  }
  void OnDestorySelf() override {
    if (disposed_ != nullptr) disposed_->fetch_add(1);
    IOxEvent::OnDestorySelf();
  }

 private:
  std::function<void()> fn_;
  std::atomic<int>* disposed_;
};

// Returns once everything posted to the worker before the call has run.
inline void Flush(AOxThread& worker) {
  worker.GetEventQueue()->SendEvent(new FnEvent([] {}));
}

// A one-shot signal between threads.
class Signal {
 public:
  void Set() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      set_ = true;
    }
    cv_.notify_all();
  }
  // Waits at most 30 s, a guard against a hang when the awaited step never comes.
  bool Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    return cv_.wait_for(lock, std::chrono::seconds(30), [this] { return set_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable cv_;
  bool set_ = false;
};

// Holds the worker's queue (what is posted after this waits) until `open` is set.
inline void HoldQueue(AOxThread& worker, Signal& open) {
  worker.GetEventQueue()->PostEvent(new FnEvent([&open] { open.Wait(); }), 128);
}

}  // namespace eventtest

#endif  // MEDIASTORES_TESTS_SUPPORT_EVENT_TEST_UTIL_H_
