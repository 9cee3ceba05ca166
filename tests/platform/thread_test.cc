#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "mediastores/mediastores.h"
#include "platform/mutex.h"
#include "tests/support/event_test_util.h"

namespace {

using eventtest::FnEvent;

TEST(EventThreadTest, PostedEventsRunInPriorityThenPostingOrderAndAreDisposed) {
  std::atomic<int> disposed{0};
  std::vector<int> order;  // touched on the worker only, read after it stopped
  uint64_t ranOn = 0;
  uint64_t workerId = 0;
  eventtest::Signal open;  // outlives the worker
  {
    COxEventThread worker;
    workerId = worker.GetThreadId();
    IOxEventQueue* queue = worker.GetEventQueue();
    eventtest::HoldQueue(worker, open);  // the following posts queue up behind it
    for (const auto& [value, priority] :
         std::vector<std::pair<int, uint32_t>>{{1, 128}, {2, 128}, {3, 200}, {4, 10}}) {
      ASSERT_EQ(queue->PostEvent(new FnEvent(
                                     [&order, &ranOn, value = value] {
                                       order.push_back(value);
                                       ranOn = GetThreadSelfId();
                                     },
                                     &disposed),
                                 priority),
                0);
    }
    EXPECT_EQ(queue->PostEvent(nullptr, 128), -1);
    open.Set();
  }  // destruction drains the queue
  EXPECT_EQ(order, (std::vector<int>{3, 1, 2, 4}));
  EXPECT_EQ(disposed.load(), 4);
  EXPECT_EQ(ranOn, workerId);
  EXPECT_NE(workerId, GetThreadSelfId());
  EXPECT_NE(GetThreadSelfId(), 0u);
}

TEST(EventThreadTest, SendBlocksUntilFiredAndFiresInPlaceOnItsOwnThread) {
  COxEventThread worker;
  IOxEventQueue* queue = worker.GetEventQueue();
  std::atomic<int> disposed{0};
  std::vector<int> order;  // touched on the worker; read here after SendEvent returned
  EXPECT_EQ(queue->SendEvent(new FnEvent(
                [&] {
                  order.push_back(1);
                  queue->SendEvent(new FnEvent([&] { order.push_back(2); }, &disposed));
                  order.push_back(3);
                },
                &disposed)),
            0);
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(disposed.load(), 2);
  EXPECT_EQ(queue->SendEvent(nullptr), -1);
}

TEST(EventThreadTest, DestructionRunsEventsQueuedByEvents) {
  std::atomic<int> disposed{0};
  std::atomic<int> fired{0};
  {
    COxEventThread worker;
    IOxEventQueue* queue = worker.GetEventQueue();
    queue->PostEvent(new FnEvent(
                         [&] {
                           fired.fetch_add(1);
                           queue->PostEvent(new FnEvent([&] { fired.fetch_add(1); }, &disposed),
                                            128);
                         },
                         &disposed),
                     128);
  }
  EXPECT_EQ(fired.load(), 2);
  EXPECT_EQ(disposed.load(), 2);
}

TEST(EventThreadTest, ManySendersAndPostersOnOneWorker) {
  std::atomic<int> disposed{0};
  std::atomic<int> fired{0};
  {
    COxEventThread worker;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < 500; ++i) {
          auto* event = new FnEvent([&] { fired.fetch_add(1); }, &disposed);
          if ((i + t) % 2 == 0) {
            worker.GetEventQueue()->SendEvent(event);
          } else {
            worker.GetEventQueue()->PostEvent(event, 128);
          }
        }
      });
    }
    for (std::thread& thread : threads)
      thread.join();
  }
  EXPECT_EQ(fired.load(), 2000);
  EXPECT_EQ(disposed.load(), 2000);
}

// The thread-safety analysis does not model locking a recursive mutex twice.
void LockTwice(COxMutexThreadRecursive& mutex) MS_NO_THREAD_SAFETY_ANALYSIS {
  EXPECT_EQ(mutex.Lock(), 0);
  EXPECT_EQ(mutex.Lock(), 0);  // same thread again
  EXPECT_EQ(mutex.UnLock(), 0);
  EXPECT_EQ(mutex.UnLock(), 0);
}

TEST(MutexTest, RecursiveLockAndGuard) {
  COxMutexThreadRecursive mutex;
  LockTwice(mutex);
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
