// Test helpers around worker threads: a closure event, a queue flush, a signal, a held queue.
#ifndef MEDIASTORES_TESTS_SUPPORT_EVENT_TEST_UTIL_H_
#define MEDIASTORES_TESTS_SUPPORT_EVENT_TEST_UTIL_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
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

// A one-shot signal between threads. Wait() says whether it came, giving up after 30 s.
class Signal {
 public:
  void Set() { set_.set_value(); }
  bool Wait() { return done_.wait_for(std::chrono::seconds(30)) == std::future_status::ready; }

 private:
  std::promise<void> set_;
  std::shared_future<void> done_ = set_.get_future().share();
};

// Holds the worker's queue (what is posted after this waits) until `open` is set.
inline void HoldQueue(AOxThread& worker, Signal& open) {
  worker.GetEventQueue()->PostEvent(new FnEvent([&open] { open.Wait(); }), 128);
}

}  // namespace eventtest

#endif  // MEDIASTORES_TESTS_SUPPORT_EVENT_TEST_UTIL_H_
