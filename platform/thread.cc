// Worker threads with a priority event queue.
#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include "mediastores/thread.h"

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
    std::unique_lock<std::mutex> lock(m_mutex);
    m_thread = std::thread([this] { Run(); });
    m_cv.wait(lock, [this] { return m_threadId != 0; });
  }

  ~Impl() override {
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_stopping = true;
    }
    m_cv.notify_all();
    if (m_thread.joinable()) m_thread.join();
  }

  int PostEvent(IOxEvent* event, uint32_t priority) override {
    if (event == nullptr) return -1;
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_queues[priority].push_back(Entry{event, nullptr});
      ++m_pending;
      // A worker that is running events picks this one up without a wake-up.
      if (!m_workerWaiting) return 0;
    }
    m_cv.notify_one();
    return 0;
  }

  int SendEvent(IOxEvent* event) override {
    if (event == nullptr) return -1;
    if (GetThreadSelfId() == m_threadId) {
      FireAndDispose(event);
      return 0;
    }
    bool done = false;
    std::unique_lock<std::mutex> lock(m_mutex);
    m_queues[kSendPriority].push_back(Entry{event, &done});
    ++m_pending;
    if (m_workerWaiting) m_cv.notify_one();
    m_doneCv.wait(lock, [&done] { return done; });
    return 0;
  }

  uint64_t ThreadId() const { return m_threadId; }

 private:
  struct Entry {
    IOxEvent* event;
    bool* done;  // set for a sent event: the sender waits for it
  };
  // Sent events queue behind what was posted before them at the usual priority, so a module sees
  // its notifications in the order they were fired.
  static constexpr uint32_t kSendPriority = 128;

  void Run() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_threadId = GetThreadSelfId();
    m_cv.notify_all();
    for (;;) {
      if (!m_stopping && m_pending == 0) {
        m_workerWaiting = true;
        m_cv.wait(lock, [this] { return m_stopping || m_pending != 0; });
        m_workerWaiting = false;
      }
      if (m_pending == 0) return;  // stopping, and everything queued has run
      // Highest priority first; emptied queues are kept so a steady stream does not allocate.
      auto queue = m_queues.begin();
      while (queue->second.empty())
        ++queue;
      Entry entry = queue->second.front();
      queue->second.pop_front();
      --m_pending;
      lock.unlock();
      FireAndDispose(entry.event);
      lock.lock();
      if (entry.done != nullptr) {
        *entry.done = true;
        m_doneCv.notify_all();
      }
    }
  }

  const bool m_withQueue;
  std::mutex m_mutex;
  std::condition_variable m_cv;
  std::condition_variable m_doneCv;
  std::map<uint32_t, std::deque<Entry>, std::greater<uint32_t>> m_queues;
  size_t m_pending = 0;          // events queued over all priorities
  bool m_workerWaiting = false;  // the worker sleeps on m_cv
  bool m_stopping = false;
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
