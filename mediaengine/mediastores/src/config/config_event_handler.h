// The record behind one subscription or binding, and the platform event that carries one
// notification to a subscriber's own thread.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_EVENT_HANDLER_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_EVENT_HANDLER_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "mediaengine/mediastores/src/config/busy_mark.h"
#include "mediaengine/mediastores/src/config/delivery_timer.h"
#include "mediastores/config_event.h"
#include "mediastores/kel_config.h"
#include "mediastores/thread.h"

namespace kelStore {

class CSwitchThreadEvent;
class ConfigEventHandler;

// The event of one walk over a key's subscribers. Direct and sent deliveries read it where it
// is; the first posted delivery takes it into its own event object, which the later deliveries
// of the walk then read.
class WalkEvent {
 public:
  // An event the walk may move into the posted copy.
  explicit WalkEvent(KelConfigEvent& event) : m_event(&event), m_movable(&event) {}
  // An event that is copied into the posted copy.
  explicit WalkEvent(const KelConfigEvent& event) : m_event(&event) {}
  WalkEvent(const WalkEvent&) = delete;
  WalkEvent& operator=(const WalkEvent&) = delete;
  ~WalkEvent();

  // The event; not after the walk's last delivery was posted.
  const KelConfigEvent& Get() const { return *m_event; }
  // A posted delivery of the event to `handler`: one allocation, the event copied once a walk.
  // When `last`, no delivery of the walk follows: the event is handed over, not read again.
  CSwitchThreadEvent* Post(std::shared_ptr<const ConfigEventHandler> handler, bool last);

 private:
  const KelConfigEvent* m_event;
  KelConfigEvent* m_movable = nullptr;
  CSwitchThreadEvent* m_carrier = nullptr;  // the posted delivery holding the copy, counted
};

// One subscription (a change callback) or one binding (a provider), shared by the store's id
// table, the key's observer list and every delivery under way. Made unregistered (id 0); the
// store fills id, group, name, run thread and bAsync when it registers the handler.
class ConfigEventHandler {
 public:
  using Ptr = std::shared_ptr<ConfigEventHandler>;

  // A subscription's handler.
  explicit ConfigEventHandler(fnConfigChangedCallBack changed) : onChanged(std::move(changed)) {}
  // A binding's handler.
  explicit ConfigEventHandler(fnConfigInvokeCallBack provider) : onInvoke(std::move(provider)) {}
  ConfigEventHandler(const ConfigEventHandler&) = delete;
  ConfigEventHandler& operator=(const ConfigEventHandler&) = delete;

  // Delivers `event` to the change callback: directly, or on the run thread (posted when bAsync,
  // else sent and waited for; directly when the caller is the run thread). Returns whether the
  // handler has a change callback, delivered or not. Reports nesting and callbacks slower than
  // 100 ms.
  bool Notify(const KelConfigEvent& event);
  // The same, as one step of a walk of thread `self` that marked this handler busy (the mark is
  // left here) and times its deliveries with `timer`; `handler` is this handler's own reference,
  // which a posted delivery keeps instead of a copy of the callback; `last` says that no delivery
  // of the walk follows. The caller checked that there is a change callback.
  void Notify(WalkEvent& event, DeliveryTimer& timer, uint64_t self, const Ptr& handler, bool last);
  // Asks the provider for a value on the calling thread; an empty value when there is none.
  ConfigValue Invoke(const KelConfigEvent& event);
  // The same, as one step of a walk that marked this handler busy (the mark is left here). The
  // caller checked that there is a provider.
  ConfigValue Invoke(const KelConfigEvent& event, DeliveryTimer& timer, uint64_t self);

  fnConfigChangedCallBack onChanged;
  SubscribeId_t id = 0;
  KelConfigGroup group = kGroupNone;
  std::string name;
  // Deliveries in progress, the thread that marked them, and the Notify/Invoke calls running on
  // this handler (nesting depth); a removal waits on it.
  BusyMark busy;
  AOxThread* m_pRunThread = nullptr;
  bool bAsync = false;
  fnConfigInvokeCallBack onInvoke;

 private:
  // Hands the event to the change callback as Notify says; `handler` is null outside a walk.
  void Hand(const char* signature, WalkEvent& event, const Ptr* handler, bool last);
  // The warnings of one call: the nesting depth it started at, and its cost.
  void ReportDepth(const char* signature, uint32_t depth, const KelConfigEvent& event) const;
  void ReportCost(const char* signature, long long cost, const std::string& key,
                  KelConfigGroup keyGroup) const;
};

// Carries one notification to another thread. It owns a copy of the event, or reads the copy
// owned by another posted delivery of the same walk (the carrier, which counts its readers), or,
// sent, reads the sender's event; it shares the handler whose change callback it calls (or owns a
// copy), so the handler may be released before the event fires. The thread's queue disposes of
// it after firing.
class CSwitchThreadEvent final : public IOxEvent {
 public:
  using HandlerRef = std::shared_ptr<const ConfigEventHandler>;

  // Made on the setting thread and freed on the subscriber's: recycled (block_recycler.h).
  static void* operator new(size_t size);
  static void operator delete(void* block) noexcept;

  // Owns copies of `event` and of the callback.
  CSwitchThreadEvent(const KelConfigEvent& event, fnConfigChangedCallBack onChanged)
      : CSwitchThreadEvent(event,
                           std::make_shared<const ConfigEventHandler>(std::move(onChanged))) {}
  // Owns `event`, or a copy of it; other deliveries may read it (see AddReader).
  CSwitchThreadEvent(KelConfigEvent&& event, HandlerRef handler)
      : IOxEvent(0), m_copy(std::move(event)), m_handler(std::move(handler)), m_carrier(this) {}
  CSwitchThreadEvent(const KelConfigEvent& event, HandlerRef handler)
      : IOxEvent(0), m_copy(event), m_handler(std::move(handler)), m_carrier(this) {}
  // Reads the event owned by `carrier`, counted as one of its readers.
  CSwitchThreadEvent(CSwitchThreadEvent& carrier, HandlerRef handler)
      : IOxEvent(0),
        m_event(carrier.AddReader()),
        m_handler(std::move(handler)),
        m_carrier(&carrier) {}
  // Reads `event` and calls `handler` where they are: a sent notification, whose sender waits.
  CSwitchThreadEvent(const KelConfigEvent* event, const ConfigEventHandler& handler)
      : IOxEvent(0), m_event(event), m_handler(HandlerRef(), &handler) {}

  int OnEventFire() override {
    if (m_handler->onChanged) m_handler->onChanged(*m_event);
    return 0;
  }
  // A carrier drops its handler and stays while its copy is read; a reader leaves its carrier.
  void OnDestorySelf() override;

  // Counts one more reader of the owned copy and returns it.
  const KelConfigEvent* AddReader() {
    m_readers.fetch_add(1, std::memory_order_relaxed);
    return &m_copy;
  }
  // Ends one reading of the owned copy; the last one deletes the carrier.
  void Release() {
    if (m_readers.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 private:
  KelConfigEvent m_copy;
  const KelConfigEvent* m_event = &m_copy;
  HandlerRef m_handler;
  CSwitchThreadEvent* m_carrier = nullptr;  // this when it owns the copy others may read
  std::atomic<uint32_t> m_readers{1};       // its own delivery and each reader of the copy
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_EVENT_HANDLER_H_
