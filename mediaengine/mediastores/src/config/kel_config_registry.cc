#include "mediaengine/mediastores/src/config/kel_config_registry.h"

#include "mediastores/kel_config_helper.h"
#include "mediastores/result_codes.h"
#include "platform/trace.h"

namespace kelStore {

KelConfigRegistry g_mapConfigs;
std::mutex g_mutex;
KelConfigPtrIndex g_mapConfigIds;

namespace {

// Takes one count off an entry and erases it when the count was below 2 before; the store goes
// with the entry unless someone else still shares it. Returns the new count. g_mutex held.
int32_t DropReference(KelConfigRegistry::iterator entry) {
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
  std::lock_guard<std::mutex> lock(g_mutex);
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
  std::lock_guard<std::mutex> lock(g_mutex);
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
  std::lock_guard<std::mutex> lock(g_mutex);
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
  std::lock_guard<std::mutex> lock(g_mutex);
  for (const auto& entry : g_mapConfigs) {
    KEL_TRACE_INFO(", callId=" << entry.first << ", counts=" << entry.second.second);
  }
  // Dropped in call-id order, whatever the counts.
  g_mapConfigIds.clear();
  while (!g_mapConfigs.empty())
    g_mapConfigs.erase(g_mapConfigs.begin());
}

uint32_t GetKelConfigSizeForUT() {
  std::lock_guard<std::mutex> lock(g_mutex);
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

}  // namespace kelStore
