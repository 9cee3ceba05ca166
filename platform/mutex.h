// Platform locks: a plain and a recursive pthread mutex with Lock()/UnLock() results, the standard
// library's mutexes under the same two operations, a guard that unlocks only what it managed to
// lock, and a guard that a condition variable can wait on. All of them are known to clang's
// thread-safety analysis (platform/thread_annotations.h).
#ifndef MEDIASTORES_PLATFORM_MUTEX_H_
#define MEDIASTORES_PLATFORM_MUTEX_H_

#include <pthread.h>

#include <condition_variable>
#include <mutex>

#include "platform/thread_annotations.h"

// A mutex; Lock() and UnLock() return 0 on success. Not recursive.
class MS_CAPABILITY("mutex") COxMutexThreadBase {
 public:
  COxMutexThreadBase() : COxMutexThreadBase(false) {}
  virtual ~COxMutexThreadBase() { pthread_mutex_destroy(&m_mutex); }
  COxMutexThreadBase(const COxMutexThreadBase&) = delete;
  COxMutexThreadBase& operator=(const COxMutexThreadBase&) = delete;

  int Lock() MS_ACQUIRE() { return pthread_mutex_lock(&m_mutex); }
  int UnLock() MS_RELEASE() { return pthread_mutex_unlock(&m_mutex); }

 protected:
  explicit COxMutexThreadBase(bool recursive) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, recursive ? PTHREAD_MUTEX_RECURSIVE : PTHREAD_MUTEX_NORMAL);
    pthread_mutex_init(&m_mutex, &attr);
    pthread_mutexattr_destroy(&attr);
  }

 private:
  pthread_mutex_t m_mutex;
};

// A mutex that the owning thread may lock again. (The analysis does not model re-locking: code
// that relies on it says so where it happens.)
class MS_CAPABILITY("mutex") COxMutexThreadRecursive : public COxMutexThreadBase {
 public:
  COxMutexThreadRecursive() : COxMutexThreadBase(true) {}
};

// A standard library mutex (std::mutex or std::recursive_mutex) as a capability, locked through
// the same Lock()/UnLock() as the platform mutexes; both always return 0.
template <class StdMutex>
class MS_CAPABILITY("mutex") COxStdLockable {
 public:
  COxStdLockable() = default;
  COxStdLockable(const COxStdLockable&) = delete;
  COxStdLockable& operator=(const COxStdLockable&) = delete;

  int Lock() MS_ACQUIRE() {
    m_mutex.lock();
    return 0;
  }
  int UnLock() MS_RELEASE() {
    m_mutex.unlock();
    return 0;
  }
  // The standard mutex itself, for COxUniqueGuard.
  StdMutex& Native() { return m_mutex; }

 private:
  StdMutex m_mutex;
};
using COxStdMutex = COxStdLockable<std::mutex>;
using COxStdRecursiveMutex = COxStdLockable<std::recursive_mutex>;

// Scoped lock over any of the mutexes above: unlocks at the end only if Lock() reported success.
template <class Mutex>
class MS_SCOPED_CAPABILITY COxMutexGuard {
 public:
  explicit COxMutexGuard(Mutex& mutex) MS_ACQUIRE(mutex)
      : m_mutex(mutex), m_locked(mutex.Lock() == 0) {}
  // Unlocks only what it locked; the analysis cannot follow the condition, hence no analysis.
  ~COxMutexGuard() MS_RELEASE() MS_NO_THREAD_SAFETY_ANALYSIS {
    if (m_locked) m_mutex.UnLock();
  }
  COxMutexGuard(const COxMutexGuard&) = delete;
  COxMutexGuard& operator=(const COxMutexGuard&) = delete;

 private:
  Mutex& m_mutex;
  bool m_locked;
};

// Scoped lock over a COxStdMutex that can be let go and taken again within its scope, and that a
// condition variable waits on (the wait lets the lock go while it sleeps, and holds it again when
// it returns).
class MS_SCOPED_CAPABILITY COxUniqueGuard {
 public:
  explicit COxUniqueGuard(COxStdMutex& mutex) MS_ACQUIRE(mutex) : m_lock(mutex.Native()) {}
  ~COxUniqueGuard() MS_RELEASE() {}
  COxUniqueGuard(const COxUniqueGuard&) = delete;
  COxUniqueGuard& operator=(const COxUniqueGuard&) = delete;

  void Unlock() MS_RELEASE() { m_lock.unlock(); }
  void Lock() MS_ACQUIRE() { m_lock.lock(); }
  // One wait for a notification (or a spurious wake-up): callers loop on their condition.
  void Wait(std::condition_variable& cv) { cv.wait(m_lock); }

 private:
  std::unique_lock<std::mutex> m_lock;
};

#endif  // MEDIASTORES_PLATFORM_MUTEX_H_
