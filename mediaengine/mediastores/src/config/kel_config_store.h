// KelConfig: the configuration store of one call.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_STORE_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_STORE_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "mediaengine/mediastores/src/config/atom_map.h"
#include "mediaengine/mediastores/src/config/config_event_handler.h"
#include "mediaengine/mediastores/src/config/kel_config_observer_mgr.h"
#include "mediaengine/mediastores/src/config/lazy_slots.h"
#include "mediastores/config_data.h"
#include "mediastores/json/value.h"
#include "mediastores/kel_config.h"
#include "mediastores/kel_config_group.h"

namespace kelStore {

// Keeps the values of one call in thirteen groups, one locked map per group, and announces
// changes through the firing step. Made, shared and counted by the registry
// (kel_config_registry.h); clients see it as IKelConfig.
//
// Each value map has its own lock, held for one map operation only; a set writes its map, lets
// go of the lock and only then runs the firing step, so subscribers may call back into the store.
//
// A group's value map and observer list are made when the group is first written to or watched
// (most calls use a few of the thirteen groups). Until then the group reads as empty: lookups
// find nothing, removals remove nothing, walks find nobody, and none of them makes the group.
class KelConfig : public IKelConfig {
 public:
  explicit KelConfig(uint32_t callId);
  ~KelConfig() override;

  KelConfig(const KelConfig&) = delete;
  KelConfig& operator=(const KelConfig&) = delete;

  // IKelConfig
  SubscribeId_t SubscribeConfig(KelConfigGroup group, const char* szConfigName,
                                fnConfigChangedCallBack cb, AOxThread* pRunThread = nullptr,
                                bool bAsync = false) override;
  SubscribeId_t BindConfig(KelConfigGroup group, const char* szConfigName,
                           fnConfigInvokeCallBack cb) override;
  int32_t UnsubscribeConfig(SubscribeId_t id) override;
  int32_t SetKelConfig(KelConfigGroup group, const char* szConfigName, ConfigValue value,
                       bool bForceNotify = false, bool bRemove = false) override;
  int32_t GetKelConfig(KelConfigGroup group, const char* szConfigName, ConfigValue& value) override;
  int32_t GetDynamicConfig(KelConfigGroup group, const char* szConfigName, ConfigValue& value,
                           ConfigValue defaultValue = ConfigValue()) override;
  int32_t RemoveKelConfig(KelConfigGroup group, const char* szConfigName) override;
  int32_t RemoveKelConfigByGroup(KelConfigGroup group) override;
  const char* DumpKelConfigs(ConfigMultGroup_t groups) override;
  int32_t ApplyKelConfigs(const char* szJsonConfig) override;

  uint32_t GetCallId() const { return callId; }

  // The call's clean-up mark, read and set by the registry under its lock (which lives in
  // kel_config_registry.cc, out of this header's reach). Set once, never cleared; the store's
  // own operations ignore it.
  bool IsCleaned() const { return cleaned; }
  void SetCleaned() { cleaned = true; }

 private:
  using ObserverMgr = KelConfigObserverMgr<ConfigEventHandler::Ptr>;
  using ValueMap = atomMap<std::string, ConfigData>;
  // What a group holds once it is used.
  struct GroupParts {
    ObserverMgr observers;  // subscribers and providers by key
    ValueMap values;        // values by name
  };
  // The observer list raises m_TotalObservers as it takes a subscription.
  friend ObserverMgr;
  // Tests only (defined in tests/store/store_test_util.h): lists a second provider behind the
  // binding check, a state the public operations cannot make, and reads m_TotalObservers.
  friend class KelConfigTestPeer;

  // Firing step of a set: tells the subscribers of `name` in `group` (whose observer list is
  // `mgr`) that its value went from `oldValue` to `newValue`. KEL_E_UNCHANGED when the values are
  // equal and `bForceNotify` is not set (nobody is told); KEL_S_OK when somebody was told;
  // KEL_E_NOOBSERVER when nobody watches the key; KEL_E_INVALIDARG for a null name or a group
  // above 12. The values are moved into the subscribers' event.
  int32_t fireEvents(ObserverMgr& mgr, const char* name, ConfigValue& oldValue,
                     ConfigValue& newValue, KelConfigGroup group, bool bForceNotify);
  // Asks the provider bound to `name` in `group` for its value (into `value`), offering
  // `defaultValue`. KEL_E_NOOBSERVER, `value` untouched, when nobody is bound to the key.
  int32_t invokeEvent(ObserverMgr& mgr, const char* name, ConfigValue& value,
                      const ConfigValue& defaultValue, KelConfigGroup group);

  // Mark step of a walk, run under the observer list's lock: enters `handler`'s busy mark for
  // thread `self`; a handler already marked by another delivery is reported at level 1 under the
  // walking operation's name (`signature`, `walk`: "fireEvents" or "invokeEvent") and still
  // delivered to.
  void markBusy(const ConfigEventHandler::Ptr& handler, uint64_t self, const char* signature,
                const char* walk);

  // Registration steps behind SubscribeConfig, BindConfig and UnsubscribeConfig. The handler must
  // be unregistered (id 0) and carry the matching callback.
  SubscribeId_t subscribeConfig(KelConfigGroup group, const char* name,
                                const ConfigEventHandler::Ptr& handler, AOxThread* pRunThread,
                                bool bAsync);
  SubscribeId_t bindConfig(KelConfigGroup group, const char* name,
                           const ConfigEventHandler::Ptr& handler);
  // Takes the handler out of its key's list, then waits (1 ms sleeps, about 3 s at most) until
  // no delivery to it is running.
  int32_t unsubscribeConfig(KelConfigGroup group, const char* name,
                            const ConfigEventHandler::Ptr& handler);

  // The entries {"key": name, "value": text} of one group, in name order; empty for a group
  // above 12. Walks the group's values under their lock.
  json::Array getConfigsJsonArray(KelConfigGroup group);

  // The parts of a usable group, made on first use.
  GroupParts& usedGroup(KelConfigGroup group) { return m_groups.Used(group); }
  // The parts of a usable group that was used, or null; never makes them.
  GroupParts* groupIfUsed(KelConfigGroup group) const { return m_groups.IfUsed(group); }
  ObserverMgr& observers(KelConfigGroup group) { return usedGroup(group).observers; }
  ValueMap& values(KelConfigGroup group) { return usedGroup(group).values; }
  // The observer list of a usable group for a walk: a list shared by every unused group, never
  // added to and so always empty, when the group was never used.
  ObserverMgr& watchers(KelConfigGroup group);

  // Subscriptions and bindings currently registered (traced by the registration steps).
  std::atomic<uint32_t> m_TotalObservers{0};
  const uint32_t callId;
  // Text of the last DumpKelConfigs, returned to its caller.
  std::string m_dumpText;
  // Last subscription id issued; ids start at 1.
  std::atomic<SubscribeId_t> m_subscribeId{0};
  // Every live subscription and binding by id.
  atomMap<SubscribeId_t, std::shared_ptr<ConfigEventHandler>> m_handlers;
  // Each usable group's observer list and value map, made when the group is first used, then
  // kept until the store goes.
  LazySlots<GroupParts, kGroupLast> m_groups;
  bool cleaned = false;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_STORE_H_
