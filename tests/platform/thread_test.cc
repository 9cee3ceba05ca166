#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "mediastores/mediastores.h"
#include "platform/mutex.h"
#include "tests/support/event_test_util.h"

namespace {

using eventtest::FnEvent;

// Posted events run on the worker, highest priority first, then in posting order; destruction
// runs what is queued, events posted by events included, and every event is disposed of.
TEST(EventThreadTest, PostedEventsRunInPriorityOrderAndDrainAtDestruction) {
  std::atomic<int> disposed{0};
  std::vector<uint64_t> ran;  // value, then thread: touched on the worker only, read after it ends
  auto event = [&ran, &disposed](uint64_t value) {
    return new FnEvent(
        [&ran, value] {
          ran.insert(ran.end(), {value, GetThreadSelfId()});
        },
        &disposed);
  };
  uint64_t workerId = 0;
  eventtest::Signal open;  // outlives the worker
  {
    COxEventThread worker;
    workerId = worker.GetThreadId();
    IOxEventQueue* queue = worker.GetEventQueue();
    eventtest::HoldQueue(worker, open);  // the following posts queue up behind it
    for (const auto& [value, priority] : {std::pair<int, uint32_t>{1, 128}, {2, 128}, {3, 200}})
      EXPECT_EQ(queue->PostEvent(event(value), priority), 0);
    queue->PostEvent(new FnEvent([=] { queue->PostEvent(event(5), 255); }, &disposed), 10);
    EXPECT_EQ(queue->PostEvent(nullptr, 128), -1);
    open.Set();
  }
  EXPECT_EQ(ran, (std::vector<uint64_t>{3, workerId, 1, workerId, 2, workerId, 5, workerId}));
  EXPECT_EQ(disposed.load(), 5);
  EXPECT_NE(workerId, GetThreadSelfId());
}

// An event posted while the worker runs a burst of one priority: a higher one runs next, one of
// the same priority after the rest of the burst.
TEST(EventThreadTest, EventPostedByARunningEventKeepsItsPlace) {
  std::vector<char> ran;  // touched on the worker only, read after it ends
  eventtest::Signal open;
  {
    COxEventThread worker;
    IOxEventQueue* queue = worker.GetEventQueue();
    auto record = [&ran](char name) { return new FnEvent([&ran, name] { ran.push_back(name); }); };
    eventtest::HoldQueue(worker, open);
    queue->PostEvent(new FnEvent([&] {
                       ran.push_back('a');
                       queue->PostEvent(record('c'), 128);
                       queue->PostEvent(record('h'), 255);
                     }),
                     128);
    queue->PostEvent(record('b'), 128);
    open.Set();
  }
  EXPECT_EQ(std::string(ran.begin(), ran.end()), "ahbc");
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

// The thread-safety analysis does not model taking a recursive mutex a second time.
void LockTwiceAndCount(COxMutexThreadRecursive& mutex, int& counter) MS_NO_THREAD_SAFETY_ANALYSIS {
  COxMutexGuard guard(mutex), again(mutex);
  ++counter;
}

// Several threads sending and posting to one worker, each taking a recursive lock twice around a
// shared counter.
TEST(EventThreadTest, ManySendersAndPostersOnOneWorker) {
  std::atomic<int> disposed{0};
  int fired = 0, locked = 0;
  COxMutexThreadRecursive mutex;
  {
    COxEventThread worker;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < 500; ++i) {
          auto* event = new FnEvent([&] { ++fired; }, &disposed);
          if ((i + t) % 2 == 0) worker.GetEventQueue()->SendEvent(event);
          if ((i + t) % 2 == 1) worker.GetEventQueue()->PostEvent(event, 128);
          LockTwiceAndCount(mutex, locked);
        }
      });
    }
    for (std::thread& thread : threads)
      thread.join();
  }
  EXPECT_EQ(fired, 2000);  // on the worker only, read after it stopped
  EXPECT_EQ(disposed.load(), 2000);
  EXPECT_EQ(locked, 2000);
}

}  // namespace
