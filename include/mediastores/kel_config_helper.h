// KelConfigHelper: an engine module's handle on the configuration store of its call.
#ifndef MEDIASTORES_KEL_CONFIG_HELPER_H_
#define MEDIASTORES_KEL_CONFIG_HELPER_H_

#include <cstdint>
#include <memory>

#include "mediastores/config_data.h"
#include "mediastores/export.h"
#include "mediastores/feature_toggle.h"
#include "mediastores/kel_config.h"
#include "mediastores/kel_config_group.h"
#include "mediastores/session_type.h"
#include "mediastores/thread.h"

namespace kelStore {

class KelConfigObserverHelper;

// One module's access to the configuration store of its call. The helper holds one reference of
// the call's store from the moment it has a call id until it is destroyed, a default group, and
// the module's subscriptions and bindings, which it keeps even while there is no store yet and
// withdraws when it is destroyed.
//
//   kelStore::KelConfigHelper helper(callId);
//   helper.SetKelSessionType(kel::kSessionTypeVideo);        // default group: Video
//   helper.SetKelConfig("maxFrameRate", ConfigData(30));     // in Video
//   ConfigData fps = helper.GetKelConfig("maxFrameRate");
//   helper.SubscribeConfig("maxFrameRate", [](const kelStore::KelConfigEvent& e) { ... });
//   if (helper.IsFeatureToggleDefaultOn(kelStore::KEL_FT_EnableOpusDtx)) { ... }
//
// Group rule: a group argument other than kGroupNone is used as given (the store refuses one
// above 12); kGroupNone means the default group; with neither the operation fails with
// KEL_E_BADSTATE (id 0 for subscribe and bind). Argument faults (null name or JSON text, no store)
// are reported as assertions and fail with KEL_E_INVALIDARG (id 0, or a null dump text).
//
// A helper is owned and set up by one module; it has no lock of its own. The forwarded
// operations may be called from any thread.
class MEDIASTORES_API KelConfigHelper {
 public:
  // Takes a reference of the call's store (made if needed) unless `callId` is 0xFFFFFFFF.
  explicit KelConfigHelper(uint32_t callId = 0xFFFFFFFFu);
  // Withdraws every subscription and binding and gives the store reference back.
  virtual ~KelConfigHelper();

  KelConfigHelper(const KelConfigHelper&) = delete;
  KelConfigHelper& operator=(const KelConfigHelper&) = delete;

  // Sets the call once, taking its store reference and sending the remembered subscriptions to
  // it. KEL_S_OK also for the id already held when its store is held; KEL_E_BADSTATE for
  // 0xFFFFFFFF or any other change (a helper never moves to another call).
  int32_t SetCallId(uint32_t callId);
  uint32_t GetCallId() const { return m_callId; }

  // Sets the default group from a session type: Audio 0, Video 1, VideoSlide 2, AudioSlide 3,
  // Application 4, Gamestate 5, AudioSi 14. KEL_E_BADSTATE for any other type, or when a
  // different default group is already set.
  int32_t SetKelSessionType(kel::KelSessionType type);
  // The session type of the default group; kel::kSessionTypeUnknown (15) when it has none.
  kel::KelSessionType GetKelSessionType() const;
  // Sets the default group once. KEL_E_BADSTATE for a group above 12 or when one is already set.
  int32_t SetDefaultGroup(KelConfigGroup group);
  // SetCallId(callId), then SetKelSessionType(type); KEL_S_OK only when both succeed.
  int32_t InitKelConfig(uint32_t callId, kel::KelSessionType type);

  // Calls `cb` whenever the key changes (and at once with the current value when the store has
  // one). With `pRunThread` the call is made on that thread: posted when `bAsync`, else sent and
  // waited for. Works before the store exists: the subscription is remembered (the result is
  // then 0) and made when the store arrives, with a fresh id, on the firing thread. Returns the
  // store's id; 0 also when the name already has a subscription in the group.
  SubscribeId_t SubscribeConfig(const char* szConfigName, fnConfigChangedCallBack cb,
                                KelConfigGroup group = kGroupNone, AOxThread* pRunThread = nullptr,
                                bool bAsync = false);
  // Makes `cb` the provider that answers GetDynamicConfig for the key; remembered like a
  // subscription when there is no store yet.
  SubscribeId_t BindConfig(const char* szConfigName, fnConfigInvokeCallBack cb,
                           KelConfigGroup group = kGroupNone);
  // Withdraws a subscription or binding by id. KEL_E_BADSTATE for an id that is not live.
  int32_t UnsubscribeConfig(SubscribeId_t id);
  // Withdraws the live subscription or binding of a name. A subscription still waiting for the
  // store can't be withdrawn this way (KEL_E_BADSTATE). The group has no default so that
  // UnsubscribeConfig(0) stays unambiguous: pass kGroupNone for the default group.
  int32_t UnsubscribeConfig(const char* szConfigName, KelConfigGroup group);

  // Stores `value` (with `bRemove`: removes the name) and tells subscribers as
  // IKelConfig::SetKelConfig does; KEL_E_UNCHANGED and KEL_E_NOOBSERVER mean stored.
  int32_t SetKelConfig(const char* szConfigName, ConfigData value,
                       KelConfigGroup group = kGroupNone, bool bForceNotify = false,
                       bool bRemove = false);
  // Asks the key's bound provider, offering `defaultValue`. KEL_E_NOOBSERVER, `value` untouched,
  // when no provider is bound.
  int32_t GetDynamicConfig(const char* szConfigName, ConfigData& value,
                           KelConfigGroup group = kGroupNone,
                           ConfigData defaultValue = ConfigData());
  // The provider's answer, or an invalid value when there is none.
  ConfigData GetDynamicConfig(const char* szConfigName, KelConfigGroup group = kGroupNone,
                              ConfigData defaultValue = ConfigData());
  // Copies the stored value into `value`. KEL_E_BADSTATE (and `value` invalid) when absent.
  int32_t GetKelConfig(const char* szConfigName, ConfigData& value,
                       KelConfigGroup group = kGroupNone);
  // The stored value, or an invalid value when absent or on any failure.
  ConfigData GetKelConfig(const char* szConfigName, KelConfigGroup group = kGroupNone);
  // Whether the name has a stored value.
  bool HaveKelConfig(const char* szConfigName, KelConfigGroup group = kGroupNone);
  // Removes the name without telling anyone; KEL_S_OK whether or not it had a value.
  int32_t RemoveKelConfig(const char* szConfigName, KelConfigGroup group = kGroupNone);
  // Removes every value of the group without telling anyone.
  int32_t RemoveKelConfigByGroup(KelConfigGroup group = kGroupNone);

  // The same in the group of a session type (Audio 0, Video 1, VideoSlide 2, AudioSlide 3,
  // Application 4, Gamestate 5, AudioSi 14); any other session type uses the default group.
  int32_t SetKelConfig(kel::KelSessionType type, const char* szConfigName, ConfigData value,
                       bool bForceNotify = false, bool bRemove = false);
  int32_t GetKelConfig(kel::KelSessionType type, const char* szConfigName, ConfigData& value);
  ConfigData GetKelConfig(kel::KelSessionType type, const char* szConfigName);

  // The values of the groups selected by `groups` (bit g for group g) as one JSON text, valid
  // until the next dump of the call's store; null when there is no store.
  const char* DumpKelConfigs(uint32_t groups);
  // Sets the values of a JSON text in the dump's shape (see IKelConfig::ApplyKelConfigs).
  int32_t ApplyKelConfigs(const char* szJsonConfig);

  // Feature toggles: the values of the Feature group named by KelFeatureToggleKey(id). An id
  // without a key is refused like a null name.
  int32_t SetFeatureToggle(KelFeatureToggleID id, ConfigData value);
  // The stored value, or an invalid value.
  ConfigData GetFeatureToggle(KelFeatureToggleID id);
  bool HaveFeatureToggle(KelFeatureToggleID id);
  int32_t RemoveFeatureToggle(KelFeatureToggleID id);
  // True unless a value that reads as false is stored for the toggle: every toggle is on by
  // default (also without a store, or for an id without a key).
  bool IsFeatureToggleDefaultOn(KelFeatureToggleID id);
  SubscribeId_t SubscribeFeatureToggle(KelFeatureToggleID id, fnConfigChangedCallBack cb,
                                       AOxThread* pRunThread = nullptr, bool bAsync = false);
  int32_t UnsubscribeFeatureToggle(KelFeatureToggleID id);

 private:
  // Takes the store reference for m_callId and hands the store to the observer helper.
  // KEL_E_BADSTATE when a store is already held, no call id is set or the registry refuses.
  int32_t createKelConfig();

  uint32_t m_callId;
  KelConfigGroup m_defaultGroup;
  IKelConfig* m_pIKelConfig;
  std::unique_ptr<KelConfigObserverHelper> m_pObserverHelper;
};

}  // namespace kelStore

#endif  // MEDIASTORES_KEL_CONFIG_HELPER_H_
