// Platform locks: a plain and a recursive mutex with Lock()/UnLock() results, and a guard that
// unlocks only what it managed to lock.
#ifndef MEDIASTORES_PLATFORM_MUTEX_H_
#define MEDIASTORES_PLATFORM_MUTEX_H_

#include <pthread.h>

// A mutex; Lock() and UnLock() return 0 on success. Not recursive.
class COxMutexThreadBase {
 public:
  COxMutexThreadBase() : COxMutexThreadBase(false) {}
  virtual ~COxMutexThreadBase() { pthread_mutex_destroy(&m_mutex); }
  COxMutexThreadBase(const COxMutexThreadBase&) = delete;
  COxMutexThreadBase& operator=(const COxMutexThreadBase&) = delete;

  int Lock() { return pthread_mutex_lock(&m_mutex); }
  int UnLock() { return pthread_mutex_unlock(&m_mutex); }

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

// A mutex that the owning thread may lock again.
class COxMutexThreadRecursive : public COxMutexThreadBase {
 public:
  COxMutexThreadRecursive() : COxMutexThreadBase(true) {}
};

// Scoped lock: unlocks at the end only if Lock() reported success.
class COxMutexGuard {
 public:
  explicit COxMutexGuard(COxMutexThreadBase& mutex) : m_mutex(mutex), m_locked(mutex.Lock() == 0) {}
  ~COxMutexGuard() {
    if (m_locked) m_mutex.UnLock();
  }
  COxMutexGuard(const COxMutexGuard&) = delete;
  COxMutexGuard& operator=(const COxMutexGuard&) = delete;

 private:
  COxMutexThreadBase& m_mutex;
  bool m_locked;
};

#endif  // MEDIASTORES_PLATFORM_MUTEX_H_
