// KelConfigHelper: an engine module's handle on the configuration store of its call.
#ifndef MEDIASTORES_KEL_CONFIG_HELPER_H_
#define MEDIASTORES_KEL_CONFIG_HELPER_H_

#include <cstdint>

#include "mediastores/config_data.h"
#include "mediastores/export.h"
#include "mediastores/kel_config.h"
#include "mediastores/kel_config_group.h"
#include "mediastores/session_type.h"

namespace kelStore {

class KelConfigObserverHelper;

// Holds one reference of a call's store for the lifetime of the helper and forwards reads to it.
// A group argument of kGroupNone means "the helper's default group"; an operation that ends up
// with no group fails with KEL_E_BADSTATE. Argument faults (null name, no store) are reported
// as assertions and fail with KEL_E_INVALIDARG.
//
//   kelStore::KelConfigHelper helper(callId);
//   ConfigData fps;
//   helper.GetKelConfig("maxFrameRate", fps, kelStore::kGroupVideo);
//   helper.GetKelConfig(kel::kSessionTypeVideo, "maxFrameRate", fps);  // same group
//
// A helper is owned by one module and set up by it; it has no lock of its own.
class MEDIASTORES_API KelConfigHelper {
 public:
  // Takes a reference of the call's store (made if needed) unless `callId` is 0xFFFFFFFF.
  explicit KelConfigHelper(uint32_t callId = 0xFFFFFFFFu);
  // Gives the store reference back.
  virtual ~KelConfigHelper();

  KelConfigHelper(const KelConfigHelper&) = delete;
  KelConfigHelper& operator=(const KelConfigHelper&) = delete;

  // Copies the value of `szConfigName` in `group` (or the default group) into `value`.
  int32_t GetKelConfig(const char* szConfigName, ConfigData& value,
                       KelConfigGroup group = kGroupNone);
  // The same, in the group of a session type: Audio 0, Video 1, VideoSlide 2, AudioSlide 3,
  // Application 4, Gamestate 5, AudioSi 14; any other session type reads the default group.
  int32_t GetKelConfig(kel::KelSessionType type, const char* szConfigName, ConfigData& value);

 private:
  // Takes the store reference for m_callId. KEL_E_BADSTATE when a store is already held, no call
  // id is set or the registry refuses.
  int32_t createKelConfig();

  uint32_t m_callId;
  KelConfigGroup m_defaultGroup;
  IKelConfig* m_pIKelConfig;
  // Remembers the module's subscriptions and bindings (owned).
  [[maybe_unused]] KelConfigObserverHelper* m_pObserverHelper;
};

}  // namespace kelStore

#endif  // MEDIASTORES_KEL_CONFIG_HELPER_H_
