// The process-wide registry of configuration stores, one per call id. Clients reach it through
// the exported functions of mediastores/kel_config.h (CreateKelConfig and the others); its map
// and lock stay inside kel_config_registry.cc.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_REGISTRY_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_REGISTRY_H_

#include <cstdint>

namespace kelStore {

// The registry's count of `callId`, read under the registry's lock; -1 when the call has no
// entry. For tests and diagnostics: otherwise the count shows only in the release and clean-up
// trace lines.
int32_t GetKelConfigCountForUT(uint32_t callId);

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_REGISTRY_H_
