// Feature toggles: switches of the engine kept as values of the Feature configuration group.
//
// Each KelFeatureToggleID names one key of the Feature group. The key text is the configuration
// name the toggle is stored under, so a toggle can equally be set or read by that name (through
// the named configuration operations or a JSON configuration document). The toggles, their ids
// and keys are listed in mediastores/feature_toggle_list.h.
#ifndef MEDIASTORES_FEATURE_TOGGLE_H_
#define MEDIASTORES_FEATURE_TOGGLE_H_

#include <cstdint>

#include "mediastores/export.h"

namespace kelStore {

// Ids of the feature toggles, consecutive from 0: KEL_FT_EnableOpusDtx, KEL_FT_opus_stereo_send,
// ... KEL_FT_Unknow, the catch-all for a toggle this build does not know.
enum KelFeatureToggleID : uint32_t {
#define KEL_FEATURE_TOGGLE(id, name, key) KEL_FT_##name = id,
#include "mediastores/feature_toggle_list.h"
};

// Number of feature toggles; every valid id is below it. The catch-all is the last row.
inline constexpr uint32_t kKelFeatureToggleCount = KEL_FT_Unknow + 1;

// Returns the configuration key of toggle `id` in the Feature group, or nullptr when `id` is not
// below kKelFeatureToggleCount. The returned text is static and never freed.
//
//   const char* key = kelStore::KelFeatureToggleKey(kelStore::KEL_FT_EnableOpusDtx);
//   // key is "EnableOpusDtx"
MEDIASTORES_API const char* KelFeatureToggleKey(KelFeatureToggleID id);

}  // namespace kelStore

#endif  // MEDIASTORES_FEATURE_TOGGLE_H_
