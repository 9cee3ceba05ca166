// The record behind one subscription or binding, and the platform event that carries one
// notification to a subscriber's own thread.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_EVENT_HANDLER_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_EVENT_HANDLER_H_

#include <cstdint>
#include <memory>
#include <string>

#include "mediaengine/mediastores/src/config/busy_mark.h"
#include "mediaengine/mediastores/src/config/delivery_timer.h"
#include "mediastores/config_event.h"
#include "mediastores/kel_config.h"
#include "mediastores/thread.h"

namespace kelStore {

// The event of one walk over a key's subscribers. Direct and sent deliveries read it where it
// is; posted ones share one reference-counted copy, made when the first of them is posted.
class WalkEvent {
 public:
  // An event the walk may move into the shared copy.
  explicit WalkEvent(KelConfigEvent& event) : m_event(&event), m_movable(&event) {}
  // An event that is copied into the shared copy.
  explicit WalkEvent(const KelConfigEvent& event) : m_event(&event) {}
  WalkEvent(const WalkEvent&) = delete;
  WalkEvent& operator=(const WalkEvent&) = delete;

  const KelConfigEvent& Get() const { return *m_event; }
  const std::shared_ptr<const KelConfigEvent>& Shared();

 private:
  const KelConfigEvent* m_event;
  KelConfigEvent* m_movable = nullptr;
  std::shared_ptr<const KelConfigEvent> m_shared;
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
  // left here) and times its deliveries with `timer`; `self` is this handler's own reference,
  // which a posted delivery keeps instead of a copy of the callback. The caller checked that
  // there is a change callback.
  void Notify(WalkEvent& event, DeliveryTimer& timer, uint64_t self, const Ptr& handler);
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
  void Hand(const char* signature, WalkEvent& event, const Ptr* handler);
  // The warnings of one call: the nesting depth it started at, and its cost.
  void ReportDepth(const char* signature, uint32_t depth, const KelConfigEvent& event) const;
  void ReportCost(const char* signature, long long cost, const KelConfigEvent& event) const;
};

// Carries one notification to another thread. It shares the event and the handler whose change
// callback it calls (or owns copies of both), so the handler may be released before the event
// fires; the thread's queue disposes of it after firing.
class CSwitchThreadEvent : public IOxEvent {
 public:
  CSwitchThreadEvent(std::shared_ptr<const KelConfigEvent> event,
                     std::shared_ptr<const ConfigEventHandler> handler)
      : IOxEvent(0), m_event(std::move(event)), m_handler(std::move(handler)) {}
  CSwitchThreadEvent(const KelConfigEvent& event, fnConfigChangedCallBack onChanged)
      : CSwitchThreadEvent(std::make_shared<const KelConfigEvent>(event),
                           std::make_shared<const ConfigEventHandler>(std::move(onChanged))) {}

  int OnEventFire() override {
    if (m_handler->onChanged) m_handler->onChanged(*m_event);
    return 0;
  }

 private:
  std::shared_ptr<const KelConfigEvent> m_event;
  std::shared_ptr<const ConfigEventHandler> m_handler;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_EVENT_HANDLER_H_
