#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "mediastores_internal.h"

namespace {

// Records its firing (value and thread) and its disposal.
class RecordingEvent : public IOxEvent {
 public:
  RecordingEvent(std::function<void()> onFire, std::atomic<int>* disposed)
      : m_onFire(std::move(onFire)), m_disposed(disposed) {}
  int OnEventFire() override {
    if (m_onFire) m_onFire();
    return 0;
  }
  void OnDestorySelf() override {
    m_disposed->fetch_add(1);
    IOxEvent::OnDestorySelf();
  }

 private:
  std::function<void()> m_onFire;
  std::atomic<int>* m_disposed;
};

TEST(EventThreadTest, ThreadIdsAreDistinctAndNonZero) {
  COxEventThread worker;
  EXPECT_NE(GetThreadSelfId(), 0u);
  EXPECT_NE(worker.GetThreadId(), 0u);
  EXPECT_NE(worker.GetThreadId(), GetThreadSelfId());
  EXPECT_EQ(GetThreadSelfId(), GetThreadSelfId());
  uint64_t seenOnWorker = 0;
  std::atomic<int> disposed{0};
  worker.GetEventQueue()->SendEvent(
      new RecordingEvent([&] { seenOnWorker = GetThreadSelfId(); }, &disposed));
  EXPECT_EQ(seenOnWorker, worker.GetThreadId());
}

TEST(EventThreadTest, PostedEventsRunInPriorityThenPostingOrderAndAreDisposed) {
  std::atomic<int> disposed{0};
  std::vector<int> order;
  std::mutex orderMutex;
  auto record = [&](int value) {
    return new RecordingEvent(
        [&, value] {
          std::lock_guard<std::mutex> lock(orderMutex);
          order.push_back(value);
        },
        &disposed);
  };
  {
    COxEventThread worker;
    IOxEventQueue* queue = worker.GetEventQueue();
    ASSERT_NE(queue, nullptr);
    // Hold the worker busy so the following posts queue up behind this one.
    std::mutex gate;
    gate.lock();
    ASSERT_EQ(queue->PostEvent(
                  new RecordingEvent([&] { std::lock_guard<std::mutex> g(gate); }, &disposed), 128),
              0);
    ASSERT_EQ(queue->PostEvent(record(1), 128), 0);
    ASSERT_EQ(queue->PostEvent(record(2), 128), 0);
    ASSERT_EQ(queue->PostEvent(record(3), 200), 0);
    ASSERT_EQ(queue->PostEvent(record(4), 10), 0);
    EXPECT_EQ(queue->PostEvent(nullptr, 128), -1);
    gate.unlock();
  }  // destruction drains the queue
  EXPECT_EQ(order, (std::vector<int>{3, 1, 2, 4}));
  EXPECT_EQ(disposed.load(), 5);
}

TEST(EventThreadTest, SendBlocksUntilFired) {
  COxEventThread worker;
  std::atomic<int> disposed{0};
  bool fired = false;  // written on the worker, read here after SendEvent returns
  EXPECT_EQ(worker.GetEventQueue()->SendEvent(new RecordingEvent([&] { fired = true; }, &disposed)),
            0);
  EXPECT_TRUE(fired);
  EXPECT_EQ(disposed.load(), 1);
  EXPECT_EQ(worker.GetEventQueue()->SendEvent(nullptr), -1);
}

TEST(EventThreadTest, SendFromTheQueuesOwnThreadFiresInPlace) {
  COxEventThread worker;
  IOxEventQueue* queue = worker.GetEventQueue();
  std::atomic<int> disposed{0};
  std::vector<int> order;  // touched only on the worker thread
  queue->SendEvent(new RecordingEvent(
      [&] {
        order.push_back(1);
        queue->SendEvent(new RecordingEvent([&] { order.push_back(2); }, &disposed));
        order.push_back(3);
      },
      &disposed));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(disposed.load(), 2);
}

TEST(EventThreadTest, DestructionRunsEventsQueuedByEvents) {
  std::atomic<int> disposed{0};
  std::atomic<int> fired{0};
  {
    COxEventThread worker;
    IOxEventQueue* queue = worker.GetEventQueue();
    queue->PostEvent(new RecordingEvent(
                         [&] {
                           fired.fetch_add(1);
                           queue->PostEvent(
                               new RecordingEvent([&] { fired.fetch_add(1); }, &disposed), 128);
                         },
                         &disposed),
                     128);
  }
  EXPECT_EQ(fired.load(), 2);
  EXPECT_EQ(disposed.load(), 2);
}

TEST(EventThreadTest, ThreadWithoutQueue) {
  COxEventThread worker(false);
  EXPECT_EQ(worker.GetEventQueue(), nullptr);
  EXPECT_NE(worker.GetThreadId(), 0u);
  EXPECT_NE(worker.GetThreadId(), GetThreadSelfId());
}

TEST(EventThreadTest, ManySendersAndPostersOnOneWorker) {
  std::atomic<int> disposed{0};
  std::atomic<int> fired{0};
  constexpr int kThreads = 4;
  constexpr int kPerThread = 500;
  {
    COxEventThread worker;
    IOxEventQueue* queue = worker.GetEventQueue();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < kPerThread; ++i) {
          auto* event = new RecordingEvent([&] { fired.fetch_add(1); }, &disposed);
          if ((i + t) % 2 == 0) {
            queue->SendEvent(event);
          } else {
            queue->PostEvent(event, 128);
          }
        }
      });
    }
    for (std::thread& thread : threads)
      thread.join();
  }
  EXPECT_EQ(fired.load(), kThreads * kPerThread);
  EXPECT_EQ(disposed.load(), kThreads * kPerThread);
}

TEST(MutexTest, RecursiveLockAndGuard) {
  COxMutexThreadRecursive mutex;
  EXPECT_EQ(mutex.Lock(), 0);
  EXPECT_EQ(mutex.Lock(), 0);  // same thread again
  EXPECT_EQ(mutex.UnLock(), 0);
  EXPECT_EQ(mutex.UnLock(), 0);
  int counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 1000; ++i) {
        COxMutexGuard guard(mutex);
        ++counter;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(counter, 4000);
}

}  // namespace
