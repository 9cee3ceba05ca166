// The process-wide registry of configuration stores, one per call id.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_REGISTRY_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_REGISTRY_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/kel_config.h"

namespace kelStore {

// Call id -> (store, count). A store made by CreateKelConfig enters with count 2: one for its
// creator, one for the call's CleanUpKelConfig. Each further create adds 1; ReleaseKelConfig and
// CleanUpKelConfig subtract 1 and erase the entry when the count was below 2 before.
typedef std::map<uint32_t, std::pair<std::shared_ptr<KelConfig>, int32_t>> KelConfigRegistry;

extern KelConfigRegistry g_mapConfigs;
// Guards g_mapConfigs and g_mapConfigIds; held for the whole of each registry function,
// including the construction and destruction of stores.
extern std::mutex g_mutex;
// Hash of a store pointer (a type of the library's own, which keeps the index's code inside the
// library).
struct KelConfigPtrHash {
  size_t operator()(const void* store) const { return std::hash<const void*>()(store); }
};
// Store pointer (as the IKelConfig* handed out) -> entry of g_mapConfigs, for every entry, changed
// together with it, so that a release finds its entry without walking the registry.
typedef std::unordered_map<const void*, KelConfigRegistry::iterator, KelConfigPtrHash>
    KelConfigPtrIndex;
extern KelConfigPtrIndex g_mapConfigIds;

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_REGISTRY_H_
