#include "mediaengine/mediastores/src/config/kel_config_registry.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/kel_config_helper.h"
#include "mediastores/result_codes.h"
#include "platform/mutex.h"
#include "platform/thread_annotations.h"
#include "platform/trace.h"

namespace kelStore {

namespace {

// Call id -> (store, count). A store made by CreateKelConfig enters with count 2: one for its
// creator, one for the call's CleanUpKelConfig. Each further create adds 1; ReleaseKelConfig and
// CleanUpKelConfig subtract 1 and erase the entry when the count was below 2 before.
typedef std::map<uint32_t, std::pair<std::shared_ptr<KelConfig>, int32_t>> KelConfigRegistry;

// Hash of a store pointer (a type of the library's own, which keeps the index's code inside the
// library).
struct KelConfigPtrHash {
  size_t operator()(const void* store) const { return std::hash<const void*>()(store); }
};
// Store pointer (as the IKelConfig* handed out) -> entry of g_mapConfigs, for every entry, changed
// together with it, so that a release finds its entry without walking the registry.
typedef std::unordered_map<const void*, KelConfigRegistry::iterator, KelConfigPtrHash>
    KelConfigPtrIndex;

// Held for the whole of each registry function, including the construction and destruction of
// stores (a store's destructor takes none of the registry's locks). The exported functions take
// it themselves; their declarations in the public header cannot name it to say so.
COxStdMutex g_mutex;
KelConfigRegistry g_mapConfigs MS_GUARDED_BY(g_mutex);
KelConfigPtrIndex g_mapConfigIds MS_GUARDED_BY(g_mutex);

// Takes one count off an entry and erases it when the count was below 2 before; the store goes
// with the entry unless someone else still shares it. Returns the new count.
int32_t DropReference(KelConfigRegistry::iterator entry) MS_REQUIRES(g_mutex) {
  const int32_t before = entry->second.second;
  entry->second.second = before - 1;
  if (before < 2) {
    g_mapConfigIds.erase(static_cast<const IKelConfig*>(entry->second.first.get()));
    g_mapConfigs.erase(entry);
  }
  return before - 1;
}

}  // namespace

extern "C" {

int32_t CreateKelConfig(uint32_t callId, IKelConfig** ppConfig) {
  if (ppConfig == nullptr) return KEL_E_INVALIDARG;
  KEL_TRACE_INFO(TraceCid{callId});
  COxMutexGuard lock(g_mutex);
  if (*ppConfig != nullptr) return KEL_E_INVALIDARG;

  auto entry = g_mapConfigs.lower_bound(callId);
  if (entry != g_mapConfigs.end() && entry->first == callId) {
    // Deliberately also for a call that was already cleaned up.
    entry->second.second += 1;
    *ppConfig = entry->second.first.get();
    return KEL_S_OK;
  }
  auto store = std::make_shared<KelConfig>(callId);
  entry = g_mapConfigs.emplace_hint(entry, callId, std::make_pair(store, 2));
  try {
    g_mapConfigIds.emplace(static_cast<const IKelConfig*>(store.get()), entry);
  } catch (...) {
    g_mapConfigs.erase(entry);
    throw;
  }
  *ppConfig = store.get();
  return KEL_S_OK;
}

int32_t ReleaseKelConfig(IKelConfig* pConfig) {
  if (pConfig == nullptr) return KEL_E_INVALIDARG;
  COxMutexGuard lock(g_mutex);
  // A store is registered under one call id only, so the index finds the same entry as a walk
  // of the registry in call-id order would.
  auto indexed = g_mapConfigIds.find(pConfig);
  if (indexed == g_mapConfigIds.end()) return KEL_E_FAIL;
  const uint32_t callId = indexed->second->first;
  const int32_t counts = DropReference(indexed->second);
  KEL_TRACE_INFO(TraceCid{callId} << ", counts=" << counts);
  return KEL_S_OK;
}

int32_t CleanUpKelConfig(uint32_t callId) {
  KEL_FUNC_TRACER("kelStore::CleanUpKelConfig", 881, ", callId=" << callId);
  COxMutexGuard lock(g_mutex);
  auto entry = g_mapConfigs.find(callId);
  if (entry == g_mapConfigs.end()) return KEL_E_FAIL;
  // A call is cleaned up once; a second clean-up leaves the count alone.
  if (entry->second.first->IsCleaned()) return KEL_E_FAIL;
  entry->second.first->SetCleaned();
  const int32_t counts = DropReference(entry);
  KEL_TRACE_INFO(", callId=" << callId << ", counts=" << counts);
  return KEL_S_OK;
}

void DestroyKelConfig() {
  KEL_FUNC_TRACER("kelStore::DestroyKelConfig", 902, "");
  COxMutexGuard lock(g_mutex);
  for (const auto& entry : g_mapConfigs) {
    KEL_TRACE_INFO(", callId=" << entry.first << ", counts=" << entry.second.second);
  }
  // Dropped in call-id order, whatever the counts.
  g_mapConfigIds.clear();
  while (!g_mapConfigs.empty())
    g_mapConfigs.erase(g_mapConfigs.begin());
}

uint32_t GetKelConfigSizeForUT() {
  COxMutexGuard lock(g_mutex);
  return static_cast<uint32_t>(g_mapConfigs.size());
}

int32_t GetKelConfigValue(uint32_t sessionType, const char* name, ConfigData& out,
                          uint32_t callId) {
  if (callId == 0xFFFFFFFFu) return KEL_E_INVALIDARG;
  KelConfigHelper helper(callId);
  return helper.GetKelConfig(static_cast<kel::KelSessionType>(sessionType), name, out);
}

int32_t GetKelConfigValueEx(uint32_t group, const char* name, ConfigData& out, uint32_t callId) {
  if (callId == 0xFFFFFFFFu) return KEL_E_INVALIDARG;
  KelConfigHelper helper(callId);
  return helper.GetKelConfig(name, out, static_cast<KelConfigGroup>(group));
}

}  // extern "C"

int32_t GetKelConfigCountForUT(uint32_t callId) {
  COxMutexGuard lock(g_mutex);
  const auto entry = g_mapConfigs.find(callId);
  return entry == g_mapConfigs.end() ? -1 : entry->second.second;
}

}  // namespace kelStore
