// KelConfigObserverHelper: the subscriptions and bindings of one KelConfigHelper, kept whether or
// not the call's store exists yet.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_OBSERVER_HELPER_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_OBSERVER_HELPER_H_

#include <cstdint>
#include <memory>
#include <string>

#include "mediaengine/mediastores/src/config/atom_map.h"
#include "mediaengine/mediastores/src/config/config_event_handler.h"
#include "mediaengine/mediastores/src/config/lazy_slots.h"
#include "mediastores/kel_config.h"
#include "mediastores/kel_config_group.h"
#include "mediastores/thread.h"
#include "platform/mutex.h"

namespace kelStore {

// Remembers one record (a ConfigEventHandler used as plain bookkeeping) per group and name, and
// forwards each subscription or binding to the store once there is one. A record made while there
// is no store keeps id 0 and is sent to the store when SetIKelConfig hands one over; each live
// record is also indexed by the id the store gave it.
//
// Records never keep the run thread or the bAsync flag of a subscription: those go to the store
// only, so a subscription re-sent to a newly arrived store runs directly on the firing thread.
// A record carrying both a change callback and a provider is re-sent as a subscription only.
//
// Any engine thread may call any operation of a helper it shares. A record's fields (its id and
// its two callbacks) are read and written only under m_recordsLock, which is never held while the
// store is called (the store may deliver to a callback that calls back into the helper). The maps
// keep their own locks; the store pointer is set up by the owning helper.
class KelConfigObserverHelper {
 public:
  KelConfigObserverHelper() = default;
  // Withdraws every live subscription and binding from the store.
  virtual ~KelConfigObserverHelper();

  KelConfigObserverHelper(const KelConfigObserverHelper&) = delete;
  KelConfigObserverHelper& operator=(const KelConfigObserverHelper&) = delete;

  // A non-null store while none is held: holds it and re-sends every remembered record. Null
  // while a store is held: withdraws everything live and lets the store go. Anything else is
  // ignored: the helper never moves from one store to another.
  void SetIKelConfig(IKelConfig* store);
  IKelConfig* GetIKelConfig() const { return m_pIKelConfig; }

  // Records the subscription of `cb` to `name` in `group` and, with a store, subscribes it there.
  // Returns the store's id; 0 without a store (the record waits for one), for bad arguments, or
  // when the name already has a live record or a change callback in this group.
  SubscribeId_t SubscribeConfig(KelConfigGroup group, const char* name, fnConfigChangedCallBack cb,
                                AOxThread* pRunThread, bool bAsync);
  // The same for a provider (refused when the name's record already has one).
  SubscribeId_t BindConfig(KelConfigGroup group, const char* name, fnConfigInvokeCallBack provider);

  // Withdraws a live subscription or binding by id. KEL_E_BADSTATE for an id that is not live.
  int32_t UnsubscribeConfig(SubscribeId_t id);
  // Withdraws the live record of `name` in `group`. KEL_E_INVALIDARG for a null name or a group
  // above 12; KEL_E_BADSTATE for an unknown name, and also for a remembered record that never went
  // live (its id 0 is not live), which stays remembered.
  int32_t UnsubscribeConfig(const char* name, KelConfigGroup group);

  // Withdraws every live subscription and binding.
  void Clean();
  // Takes every remembered record out and subscribes or binds it afresh through the operations
  // above (new records, new ids).
  void ReSubscribeConfig();

 private:
  // Steps shared by SubscribeConfig and BindConfig for `name` in `group`: `slot` is the record's
  // field for this kind of callback; `forward` registers the record's callback with the store and
  // returns the store's id. Trace lines carry the name of the public operation whose
  // __PRETTY_FUNCTION__ is `signature`.
  template <typename Callback, typename Forward>
  SubscribeId_t Remember(const char* signature, KelConfigGroup group, const char* name, Callback cb,
                         Callback ConfigEventHandler::*slot, Forward&& forward);

  // Guards the fields of every record (id, onChanged, onInvoke); taken before a map's own lock.
  COxStdMutex m_recordsLock;
  // Live records by store id.
  atomMap<SubscribeId_t, std::shared_ptr<ConfigEventHandler>> m_idMap;
  // Every record by name, one map per usable group, made when the group first gets a record.
  LazySlots<atomMap<std::string, std::shared_ptr<ConfigEventHandler>>, kGroupLast> m_nameMaps;
  IKelConfig* m_pIKelConfig = nullptr;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_OBSERVER_HELPER_H_
