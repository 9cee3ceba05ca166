// The record behind one subscription or binding, and the platform event that carries one
// notification to a subscriber's own thread.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_EVENT_HANDLER_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_EVENT_HANDLER_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "mediaengine/mediastores/src/config/busy_mark.h"
#include "mediastores/config_event.h"
#include "mediastores/kel_config.h"
#include "mediastores/thread.h"

namespace kelStore {

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
  // handler has a change callback, delivered or not.
  bool Notify(const KelConfigEvent& event);
  // Asks the provider for a value on the calling thread; an empty value when there is none.
  ConfigValue Invoke(const KelConfigEvent& event);

  fnConfigChangedCallBack onChanged;
  SubscribeId_t id = 0;
  KelConfigGroup group = kGroupNone;
  std::string name;
  // Notify/Invoke calls currently running on this handler.
  std::atomic<uint32_t> level{0};
  // Deliveries in progress and the thread that marked them; a removal waits on it.
  BusyMark busy;
  AOxThread* m_pRunThread = nullptr;
  bool bAsync = false;
  fnConfigInvokeCallBack onInvoke;

 private:
  // Runs `deliver` with the nesting depth raised, and reports nesting and callbacks slower than
  // 100 ms under the name of the calling operation (`signature` is its __PRETTY_FUNCTION__).
  template <typename Deliver>
  void RunCounted(const char* signature, const KelConfigEvent& event, Deliver&& deliver);
};

// Carries one notification to another thread. Owns copies of the event and the callback, so the
// handler may go before the event fires; the thread's queue disposes of it after firing.
class CSwitchThreadEvent : public IOxEvent {
 public:
  CSwitchThreadEvent(const KelConfigEvent& event, fnConfigChangedCallBack onChanged)
      : IOxEvent(0), m_event(event), m_onChanged(std::move(onChanged)) {}

  int OnEventFire() override {
    if (m_onChanged) m_onChanged(m_event);
    return 0;
  }

 private:
  KelConfigEvent m_event;
  fnConfigChangedCallBack m_onChanged;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_CONFIG_EVENT_HANDLER_H_
