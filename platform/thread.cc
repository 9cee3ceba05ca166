// Worker threads with a priority event queue.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <thread>

#include "mediastores/thread.h"
#include "platform/mutex.h"
#include "platform/thread_annotations.h"

namespace {
std::atomic<uint64_t> g_nextThreadId{1};
}  // namespace

extern "C" uint64_t GetThreadSelfId() {
  thread_local const uint64_t id = g_nextThreadId.fetch_add(1, std::memory_order_relaxed);
  return id;
}

IOxEvent::~IOxEvent() = default;
void IOxEvent::OnDestorySelf() {
  delete this;
}
IOxEventQueue::~IOxEventQueue() = default;
AOxThread::~AOxThread() = default;

namespace {

// Fires an event and hands it back for disposal.
void FireAndDispose(IOxEvent* event) {
  event->OnEventFire();
  event->OnDestorySelf();
}

}  // namespace

class COxEventThread::Impl : public IOxEventQueue {
 public:
  explicit Impl(bool withQueue) : m_withQueue(withQueue) {
    COxUniqueGuard lock(m_mutex);
    m_thread = std::thread([this] { Run(); });
    while (m_threadId == 0)
      lock.Wait(m_cv);
  }

  ~Impl() override {
    {
      COxMutexGuard lock(m_mutex);
      m_stopping = true;
    }
    m_cv.notify_all();
    if (m_thread.joinable()) m_thread.join();
  }

  int PostEvent(IOxEvent* event, uint32_t priority) MS_EXCLUDES(m_mutex) override {
    if (event == nullptr) return -1;
    {
      COxMutexGuard lock(m_mutex);
      m_queues[priority].push_back(Entry{event, nullptr});
      m_queued.store(++m_pending, std::memory_order_relaxed);
      // A worker that is running events, or that was woken already and is not yet running,
      // picks this one up without another wake-up.
      if (!m_workerWaiting) return 0;
      m_workerWaiting = false;
    }
    m_cv.notify_one();
    return 0;
  }

  int SendEvent(IOxEvent* event) MS_EXCLUDES(m_mutex) override {
    if (event == nullptr) return -1;
    if (GetThreadSelfId() == m_threadId) {
      FireAndDispose(event);
      return 0;
    }
    bool done = false;  // guarded by m_mutex: the worker sets it through the queue entry
    COxUniqueGuard lock(m_mutex);
    m_queues[kSendPriority].push_back(Entry{event, &done});
    m_queued.store(++m_pending, std::memory_order_relaxed);
    if (m_workerWaiting) {
      m_workerWaiting = false;
      m_cv.notify_one();
    }
    while (!done)
      lock.Wait(m_doneCv);
    return 0;
  }

  uint64_t ThreadId() const { return m_threadId; }

 private:
  struct Entry {
    IOxEvent* event;
    bool* done;  // set for a sent event, under m_mutex: the sender waits for it
  };
  // Sent events queue behind what was posted before them at the usual priority, so a module sees
  // its notifications in the order they were fired.
  static constexpr uint32_t kSendPriority = 128;

  void Run() MS_EXCLUDES(m_mutex) {
    COxUniqueGuard lock(m_mutex);
    m_threadId = GetThreadSelfId();
    m_cv.notify_all();
    for (;;) {
      if (!m_stopping && m_pending == 0) {
        // A producer in the middle of a burst posts again within microseconds: look for its
        // next event a little while (giving way to other threads) before sleeping, so that it
        // need not wake the worker for every event.
        lock.Unlock();
        AwaitBriefly();
        lock.Lock();
      }
      if (!m_stopping && m_pending == 0) {
        m_workerWaiting = true;
        while (!m_stopping && m_pending == 0)
          lock.Wait(m_cv);
        m_workerWaiting = false;
      }
      if (m_pending == 0) return;  // stopping, and everything queued has run
      // Highest priority first; emptied queues are kept so a steady stream does not allocate.
      auto queue = m_queues.begin();
      while (queue->second.empty())
        ++queue;
      Entry entry = queue->second.front();
      queue->second.pop_front();
      m_queued.store(--m_pending, std::memory_order_relaxed);
      lock.Unlock();  // events run without the lock: they may post and send again
      FireAndDispose(entry.event);
      lock.Lock();
      if (entry.done != nullptr) {
        *entry.done = true;
        m_doneCv.notify_all();
      }
    }
  }

  // Looks for a queued event for up to kAwaitMicros, without the lock.
  void AwaitBriefly() const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(kAwaitMicros);
    while (m_queued.load(std::memory_order_relaxed) == 0 &&
           std::chrono::steady_clock::now() < end) {
      std::this_thread::yield();
    }
  }

  // How long an idle worker looks for more work before it sleeps.
  static constexpr int kAwaitMicros = 20;

  const bool m_withQueue;
  COxStdMutex m_mutex;
  std::condition_variable m_cv;      // the worker waits here for events or the stop
  std::condition_variable m_doneCv;  // senders wait here for their events to have run
  std::map<uint32_t, std::deque<Entry>, std::greater<uint32_t>> m_queues MS_GUARDED_BY(m_mutex);
  size_t m_pending MS_GUARDED_BY(m_mutex) = 0;  // events queued over all priorities
  // The worker sleeps on m_cv and nobody has woken it yet.
  bool m_workerWaiting MS_GUARDED_BY(m_mutex) = false;
  bool m_stopping MS_GUARDED_BY(m_mutex) = false;
  std::atomic<size_t> m_queued{0};  // m_pending as last written, for the worker's look-out
  // Written once by the worker, under m_mutex, before the constructor returns; read-only after,
  // so it is read without the lock.
  uint64_t m_threadId = 0;
  std::thread m_thread;

  friend class COxEventThread;
};

COxEventThread::COxEventThread(bool withQueue) : m_impl(new Impl(withQueue)) {}
COxEventThread::~COxEventThread() = default;

IOxEventQueue* COxEventThread::GetEventQueue() {
  return m_impl->m_withQueue ? m_impl.get() : nullptr;
}

uint64_t COxEventThread::GetThreadId() const {
  return m_impl->ThreadId();
}
