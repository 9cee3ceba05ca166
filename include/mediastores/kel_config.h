// The configuration store of a call, and the process-wide functions that hand stores out.
//
//   kelStore::IKelConfig* store = nullptr;
//   kelStore::CreateKelConfig(callId, &store);        // one reference for this module
//   store->SetKelConfig(kelStore::kGroupVideo, "maxFrameRate", ConfigData(30));
//   ConfigData fps;
//   store->GetKelConfig(kelStore::kGroupVideo, "maxFrameRate", fps);
//   kelStore::ReleaseKelConfig(store);                // this module is done
//   kelStore::CleanUpKelConfig(callId);               // the call is over
//
// Engine modules usually go through a KelConfigHelper (kel_config_helper.h) instead.
#ifndef MEDIASTORES_KEL_CONFIG_H_
#define MEDIASTORES_KEL_CONFIG_H_

#include <cstdint>
#include <functional>

#include "mediastores/config_data.h"
#include "mediastores/config_event.h"
#include "mediastores/export.h"
#include "mediastores/kel_config_group.h"
#include "mediastores/thread.h"

namespace kelStore {

// Identifies a subscription or binding within one store: 1, 2, 3 ... never reused; 0 is failure.
typedef uint64_t SubscribeId_t;

// Told about a change of a watched key.
typedef std::function<void(const KelConfigEvent&)> fnConfigChangedCallBack;
// Answers a dynamic read of a key with its current value.
typedef std::function<ConfigData(const KelConfigEvent&)> fnConfigInvokeCallBack;

// The configuration of one call: named values in thirteen groups (kel_config_group.h). Names are
// case-sensitive and non-empty. Every operation may be called from any thread.
//
// Stores are shared and counted by the registry below; never delete one.
class MEDIASTORES_API IKelConfig {
 public:
  // Calls `cb` whenever the key's value changes, and once at once with the current value if the
  // key has one. With `pRunThread` the call is made on that thread: posted when `bAsync`, else
  // sent and waited for. Returns the subscription's id, 0 on failure.
  virtual SubscribeId_t SubscribeConfig(KelConfigGroup group, const char* szConfigName,
                                        fnConfigChangedCallBack cb, AOxThread* pRunThread = nullptr,
                                        bool bAsync = false) = 0;
  // Makes `cb` the provider that answers GetDynamicConfig for the key (one per key and group).
  // Returns the binding's id, 0 on failure.
  virtual SubscribeId_t BindConfig(KelConfigGroup group, const char* szConfigName,
                                   fnConfigInvokeCallBack cb) = 0;
  // Ends a subscription or binding. KEL_E_BADSTATE for an unknown id.
  virtual int32_t UnsubscribeConfig(SubscribeId_t id) = 0;

  // Stores `value` under the name (or, with `bRemove`, removes the name) and tells the key's
  // subscribers when the value changed or `bForceNotify` is set. Results: KEL_S_OK (someone was
  // told), KEL_E_UNCHANGED (equal to the old value, nobody told), KEL_E_NOOBSERVER (nobody
  // watches the key) -- the value is stored in all three cases; KEL_E_INVALIDARG for a group
  // above 12, a null or empty name or an invalid value.
  virtual int32_t SetKelConfig(KelConfigGroup group, const char* szConfigName, ConfigValue value,
                               bool bForceNotify = false, bool bRemove = false) = 0;
  // Copies the stored value out. KEL_E_BADSTATE (and `value` made invalid) when the name has no
  // value; KEL_E_INVALIDARG for a bad group or name.
  virtual int32_t GetKelConfig(KelConfigGroup group, const char* szConfigName,
                               ConfigValue& value) = 0;
  // Asks the key's bound provider for its value, offering `defaultValue`. KEL_E_NOOBSERVER, with
  // `value` untouched, when nobody is bound to the key; the stored values are not consulted.
  virtual int32_t GetDynamicConfig(KelConfigGroup group, const char* szConfigName,
                                   ConfigValue& value,
                                   ConfigValue defaultValue = ConfigValue()) = 0;
  // Removes the name without telling anyone; KEL_S_OK whether or not it had a value.
  virtual int32_t RemoveKelConfig(KelConfigGroup group, const char* szConfigName) = 0;
  // Removes every value of the group without telling anyone.
  virtual int32_t RemoveKelConfigByGroup(KelConfigGroup group) = 0;
  // The selected groups' values as one JSON text, valid until the next dump on this store.
  virtual const char* DumpKelConfigs(ConfigMultGroup_t groups) = 0;
  // Sets the values of a JSON text in the shape DumpKelConfigs writes.
  virtual int32_t ApplyKelConfigs(const char* szJsonConfig) = 0;

  virtual ~IKelConfig() = default;
};

extern "C" {

// Hands out the store of `callId` in `*ppConfig`, which must be null, making the store on first
// request. Each call takes one reference, to be given back with ReleaseKelConfig; a new store
// also carries one reference for the call itself, given back by CleanUpKelConfig. Results:
// KEL_S_OK; KEL_E_INVALIDARG for a null or non-empty slot.
MEDIASTORES_API int32_t CreateKelConfig(uint32_t callId, IKelConfig** ppConfig);

// Gives back one reference taken by CreateKelConfig; the store goes when its last reference
// does. KEL_E_FAIL for a pointer that is not a registered store, KEL_E_INVALIDARG for null.
MEDIASTORES_API int32_t ReleaseKelConfig(IKelConfig* pConfig);

// Gives back the call's own reference once the call is over. KEL_E_FAIL for an unknown call id
// or a second clean-up of the same call.
MEDIASTORES_API int32_t CleanUpKelConfig(uint32_t callId);

// Drops every store from the registry, whatever its references (for process shutdown and tests).
MEDIASTORES_API void DestroyKelConfig();

// The number of registered stores.
MEDIASTORES_API uint32_t GetKelConfigSizeForUT();

// One-shot reads of a call's value: by session type (a kel::KelSessionType number, mapped to its
// group) or by group. They take and give back a reference of the call's store; a store they had
// to make stays registered until the call's CleanUpKelConfig. KEL_E_INVALIDARG for call id
// 0xFFFFFFFF; otherwise GetKelConfig's results, or KEL_E_BADSTATE when the session type or group
// names no group.
MEDIASTORES_API int32_t GetKelConfigValue(uint32_t sessionType, const char* name, ConfigData& out,
                                          uint32_t callId);
MEDIASTORES_API int32_t GetKelConfigValueEx(uint32_t group, const char* name, ConfigData& out,
                                            uint32_t callId);

}  // extern "C"

}  // namespace kelStore

#endif  // MEDIASTORES_KEL_CONFIG_H_
