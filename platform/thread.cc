// Worker threads with a priority event queue.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <thread>
#include <vector>

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

// Tells the processor that this thread is spinning (the other hardware thread of its core, if
// any, gets its share back).
inline void CpuRelax() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

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
      Queue(Entry{event, nullptr}, priority);
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
    std::atomic<bool> done{false};  // set by the worker, under m_mutex, once the event has run
    m_sendersWaiting.fetch_add(1, std::memory_order_relaxed);
    {
      COxMutexGuard lock(m_mutex);
      Queue(Entry{event, &done}, kSendPriority);
      if (m_workerWaiting) {
        m_workerWaiting = false;
        m_cv.notify_one();
      }
    }
    // A worker that is awake runs the event within microseconds: look for its end a little
    // while before sleeping (the worker among the threads given way to when it shares this
    // processor), so that the worker need not wake this thread, nor the system bring back a
    // processor that went idle meanwhile.
    if (!LookBriefly([&done] { return done.load(std::memory_order_acquire); })) {
      COxUniqueGuard lock(m_mutex);
      while (!done.load(std::memory_order_acquire))
        lock.Wait(m_doneCv);
    }
    m_sendersWaiting.fetch_sub(1, std::memory_order_relaxed);
    return 0;
  }

  uint64_t ThreadId() const { return m_threadId; }

 private:
  struct Entry {
    IOxEvent* event;
    std::atomic<bool>* done;  // for a sent event: its sender waits for it
  };
  // The events queued at one priority, in queuing order. A level stays once made, so that its
  // storage is reused by the next events of that priority.
  struct Level {
    uint32_t priority;
    std::vector<Entry> entries;
  };
  // Sent events queue behind what was posted before them at the usual priority, so a module sees
  // its notifications in the order they were fired.
  static constexpr uint32_t kSendPriority = 128;

  // The level of `priority`, made in its place when it is the first event of that priority.
  Level& LevelOf(uint32_t priority) MS_REQUIRES(m_mutex) {
    auto level = m_levels.begin();
    while (level != m_levels.end() && level->priority > priority)
      ++level;
    if (level == m_levels.end() || level->priority != priority) {
      level = m_levels.insert(level, Level{priority, {}});
    }
    return *level;
  }

  void Queue(const Entry& entry, uint32_t priority) MS_REQUIRES(m_mutex) {
    LevelOf(priority).entries.push_back(entry);
    m_queued.store(++m_pending, std::memory_order_relaxed);
    // The worker's batch gives way to an event that ranks above it.
    if (m_batchRunning && priority > m_batchPriority)
      m_preempt.store(true, std::memory_order_relaxed);
  }

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
      // Every event of the highest priority at once: one lock round trip for a burst. The
      // batch's storage and the level's trade places, so a steady stream does not allocate.
      auto level = m_levels.begin();
      while (level->entries.empty())
        ++level;
      m_batch.swap(level->entries);
      m_pending -= m_batch.size();
      m_queued.store(m_pending, std::memory_order_relaxed);
      m_batchPriority = level->priority;
      m_batchRunning = true;
      m_preempt.store(false, std::memory_order_relaxed);
      lock.Unlock();  // events run without the lock: they may post and send again
      const size_t ran = RunBatch();
      lock.Lock();
      m_batchRunning = false;
      if (ran < m_batch.size()) Requeue(ran);
      m_batch.clear();
      // Storage grown by a long burst is given back rather than kept for the thread's life.
      if (m_batch.capacity() > kKeptEntries) m_batch = std::vector<Entry>();
    }
  }

  // Runs the batch in order until an event of higher priority is queued; returns how many ran.
  size_t RunBatch() MS_EXCLUDES(m_mutex) {
    for (size_t i = 0; i < m_batch.size(); ++i) {
      if (i > 0 && m_preempt.load(std::memory_order_relaxed)) return i;
      const Entry& entry = m_batch[i];
      FireAndDispose(entry.event);
      if (entry.done != nullptr) {
        // Under the lock, so that a sender about to sleep sees it or is woken; the sender's
        // flag is not touched after the lock is let go, as the sender may be gone by then.
        COxMutexGuard lock(m_mutex);
        entry.done->store(true, std::memory_order_release);
        m_doneCv.notify_all();
      }
    }
    return m_batch.size();
  }

  // Puts the batch's events from `ran` on back at the head of their level, ahead of what was
  // queued there meanwhile.
  void Requeue(size_t ran) MS_REQUIRES(m_mutex) {
    std::vector<Entry>& entries = LevelOf(m_batchPriority).entries;
    entries.insert(entries.begin(), m_batch.begin() + ran, m_batch.end());
    m_pending += m_batch.size() - ran;
    m_queued.store(m_pending, std::memory_order_relaxed);
  }

  // Asks `found` until it answers true or kAwaitMicros have passed, giving way to other threads
  // in between; returns its last answer.
  template <class Found>
  static bool LookBriefly(Found&& found) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(kAwaitMicros);
    while (!found()) {
      if (std::chrono::steady_clock::now() >= end) return false;
      std::this_thread::yield();
    }
    return true;
  }

  // Looks for a queued event for up to kAwaitMicros, without the lock. Once there is one, and no
  // sender is waiting, gives the producer up to kGatherMicros to queue more of its burst (up to
  // kGatherEvents): taken one by one, each event would pull the queue's lock and storage over to
  // the worker's cache and back, and in a burst that more than doubles what a post costs the
  // producer.
  void AwaitBriefly() const {
    if (!LookBriefly([this] { return m_queued.load(std::memory_order_relaxed) != 0; })) return;
    const auto gathered =
        std::chrono::steady_clock::now() + std::chrono::microseconds(kGatherMicros);
    while (m_queued.load(std::memory_order_relaxed) < kGatherEvents &&
           m_sendersWaiting.load(std::memory_order_relaxed) == 0 &&
           std::chrono::steady_clock::now() < gathered) {
      CpuRelax();
    }
  }

  // How long an idle worker, or a sender, looks for what it waits for before it sleeps ...
  static constexpr int kAwaitMicros = 20;
  // ... and how long, and for how many events, it lets a burst grow once it found one.
  static constexpr int kGatherMicros = 5;
  static constexpr size_t kGatherEvents = 32;
  // The most entries a batch's storage keeps from one burst to the next.
  static constexpr size_t kKeptEntries = 1024;

  const bool m_withQueue;
  COxStdMutex m_mutex;
  std::condition_variable m_cv;      // the worker waits here for events or the stop
  std::condition_variable m_doneCv;  // senders wait here for their events to have run
  // Highest priority first.
  std::vector<Level> m_levels MS_GUARDED_BY(m_mutex);
  size_t m_pending MS_GUARDED_BY(m_mutex) = 0;  // events queued over all priorities
  // The worker sleeps on m_cv and nobody has woken it yet.
  bool m_workerWaiting MS_GUARDED_BY(m_mutex) = false;
  bool m_stopping MS_GUARDED_BY(m_mutex) = false;
  // The worker runs a batch of this priority.
  bool m_batchRunning MS_GUARDED_BY(m_mutex) = false;
  uint32_t m_batchPriority MS_GUARDED_BY(m_mutex) = 0;
  std::atomic<size_t> m_queued{0};       // m_pending as last written, for the worker's look-out
  std::atomic<int> m_sendersWaiting{0};  // threads in SendEvent: the look-out does not hold them
  // Written once by the worker, under m_mutex, before the constructor returns; read-only after,
  // so it is read without the lock.
  uint64_t m_threadId = 0;
  std::thread m_thread;
  // The worker's side, on a line of its own: the batch it runs (touched by the worker only), and
  // the word by which a poster tells it to stop the batch early.
  alignas(64) std::vector<Entry> m_batch;
  std::atomic<bool> m_preempt{false};

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
