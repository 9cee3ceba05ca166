// Worker threads with event queues. A module that wants its configuration callbacks on its own
// thread creates a COxEventThread and passes it when it subscribes; the store posts or sends the
// notification to that thread's queue.
#ifndef MEDIASTORES_THREAD_H_
#define MEDIASTORES_THREAD_H_

#include <cstdint>
#include <memory>

#include "mediastores/export.h"

// The calling thread's identifier: non-zero, unique within the process, comparable with
// AOxThread::GetThreadId().
extern "C" MEDIASTORES_API uint64_t GetThreadSelfId();

// A unit of work run by a thread's event queue.
class MEDIASTORES_API IOxEvent {
 public:
  explicit IOxEvent(uint32_t type = 0) : m_type(type) {}

  // Virtual slots in the platform's order: OnEventFire, OnDestorySelf, then the destructor.
  // Runs the event on the queue's thread; the result is the event's own.
  virtual int OnEventFire() = 0;
  // Disposes of the event once it has fired (or been dropped). Deletes it by default.
  virtual void OnDestorySelf();
  virtual ~IOxEvent();

  uint32_t GetType() const { return m_type; }

 private:
  uint32_t m_type;
};

// The queue of a worker thread. It owns each event handed to it and disposes of it through
// OnDestorySelf after it has fired.
class MEDIASTORES_API IOxEventQueue {
 public:
  virtual ~IOxEventQueue();

  // Queues `event` and returns at once. Events of higher priority run first; events of the same
  // priority run in the order they were posted. Returns 0, or -1 for a null event (nothing
  // queued).
  virtual int PostEvent(IOxEvent* event, uint32_t priority) = 0;
  // Blocks the caller until `event` has fired on the queue's thread (it queues at priority 128,
  // behind what is already queued there). Called on the queue's own thread, the event fires in
  // place. Returns 0, or -1 for a null event.
  virtual int SendEvent(IOxEvent* event) = 0;
};

// A thread that the store can hand work to.
class MEDIASTORES_API AOxThread {
 public:
  virtual ~AOxThread();
  // The thread's event queue; may be null for a thread that has none.
  virtual IOxEventQueue* GetEventQueue() = 0;
  // The thread's identifier, as GetThreadSelfId() returns it on that thread.
  virtual uint64_t GetThreadId() const = 0;
};

// A worker thread, started by the constructor. With `withQueue` it runs an event queue; without,
// it has no queue (GetEventQueue() returns null) and only idles until destruction. The destructor
// runs every event already queued (and any they queue in turn), then joins the thread.
class MEDIASTORES_API COxEventThread : public AOxThread {
 public:
  explicit COxEventThread(bool withQueue = true);
  ~COxEventThread() override;

  COxEventThread(const COxEventThread&) = delete;
  COxEventThread& operator=(const COxEventThread&) = delete;

  IOxEventQueue* GetEventQueue() override;
  uint64_t GetThreadId() const override;

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

#endif  // MEDIASTORES_THREAD_H_
