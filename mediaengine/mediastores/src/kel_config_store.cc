#include "kel_config_store.h"

#include <string_view>
#include <utility>

#include "mediastores/result_codes.h"
#include "platform/kel_trace.h"

namespace kelStore {

KelConfig::KelConfig(uint32_t callId) : callId(callId) {
  KEL_TRACE_INFO(TraceCid{callId} << TraceThis{this});
}

KelConfig::~KelConfig() {
  KEL_TRACE_INFO(TraceCid{callId} << TraceThis{this});
}

SubscribeId_t KelConfig::SubscribeConfig(KelConfigGroup /*group*/, const char* /*szConfigName*/,
                                         fnConfigChangedCallBack /*cb*/, AOxThread* /*pRunThread*/,
                                         bool /*bAsync*/) {
  // Change subscriptions are not offered by this store yet: no id is issued.
  return 0;
}

SubscribeId_t KelConfig::BindConfig(KelConfigGroup /*group*/, const char* /*szConfigName*/,
                                    fnConfigInvokeCallBack /*cb*/) {
  // Providers are not offered by this store yet: no id is issued.
  return 0;
}

int32_t KelConfig::UnsubscribeConfig(SubscribeId_t id) {
  std::shared_ptr<ConfigEventHandler> handler = m_handlers.GetErase(id);
  if (!handler) {
    KEL_TRACE_ERROR(", id=" << id << ", Failed" << TraceThis{this});
    return KEL_E_BADSTATE;
  }
  // A registered handler that no group's observer list holds.
  return KEL_E_FAIL;
}

int32_t KelConfig::SetKelConfig(KelConfigGroup group, const char* szConfigName, ConfigValue value,
                                bool bForceNotify, bool bRemove) {
  if (group >= kGroupLast || szConfigName == nullptr || !value.IsValid()) {
    KEL_TRACE_ERROR("Error parameters" << TraceCid{callId} << TraceThis{this});
    return KEL_E_INVALIDARG;
  }
  const std::string_view name(szConfigName);
  if (name.empty()) return KEL_E_INVALIDARG;

  ConfigValue oldValue =
      bRemove ? m_values[group].GetErase(name) : m_values[group].Set(name, value);
  // The map's lock is released: subscribers run without it.
  return fireEvents(szConfigName, std::move(oldValue), std::move(value), group, bForceNotify);
}

int32_t KelConfig::GetKelConfig(KelConfigGroup group, const char* szConfigName,
                                ConfigValue& value) {
  if (group >= kGroupLast || szConfigName == nullptr) return KEL_E_INVALIDARG;
  const std::string_view name(szConfigName);
  if (name.empty()) return KEL_E_INVALIDARG;
  if (m_values[group].Get(name, value)) return KEL_S_OK;
  value.SetInvalid();
  return KEL_E_BADSTATE;
}

int32_t KelConfig::GetDynamicConfig(KelConfigGroup group, const char* szConfigName,
                                    ConfigValue& value, ConfigValue defaultValue) {
  if (group >= kGroupLast || szConfigName == nullptr) {
    KEL_TRACE_ERROR("Error parameters" << TraceCid{callId} << TraceThis{this});
    return KEL_E_INVALIDARG;
  }
  if (szConfigName[0] == '\0') return KEL_E_INVALIDARG;
  return invokeEvent(szConfigName, value, defaultValue, group);
}

int32_t KelConfig::RemoveKelConfig(KelConfigGroup group, const char* szConfigName) {
  if (group >= kGroupLast || szConfigName == nullptr) return KEL_E_INVALIDARG;
  const std::string_view name(szConfigName);
  if (name.empty()) return KEL_E_INVALIDARG;
  // Deliberately silent: removing a value tells no subscriber.
  const bool removed = m_values[group].Erase(name);
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", " << name
                      << ", ret=" << (removed ? 1 : 0) << TraceCid{callId} << TraceThis{this});
  return KEL_S_OK;
}

int32_t KelConfig::RemoveKelConfigByGroup(KelConfigGroup group) {
  if (group >= kGroupLast) return KEL_E_INVALIDARG;
  // Counting and clearing are two separate map operations; values set in between go as well.
  const uint32_t size = static_cast<uint32_t>(m_values[group].Size());
  m_values[group].Clear();
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", size=" << size << TraceCid{callId}
                      << TraceThis{this});
  return KEL_S_OK;
}

const char* KelConfig::DumpKelConfigs(ConfigMultGroup_t /*groups*/) {
  // JSON dumps are not offered by this store yet.
  return nullptr;
}

int32_t KelConfig::ApplyKelConfigs(const char* /*szJsonConfig*/) {
  // JSON documents are not read by this store yet: nothing is applied.
  return KEL_E_BADSTATE;
}

int32_t KelConfig::fireEvents(const char* name, ConfigValue oldValue, ConfigValue newValue,
                              KelConfigGroup group, bool bForceNotify) {
  if (name == nullptr || group >= kGroupLast) {
    KEL_TRACE_ERROR("Error parameters" << TraceCid{callId} << TraceThis{this});
    return KEL_E_INVALIDARG;
  }
  if (!bForceNotify && oldValue == newValue) return KEL_E_UNCHANGED;
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", " << name << ", "
                      << oldValue.ToCstr() << " -> " << newValue.ToCstr() << ", bForceNotify="
                      << (bForceNotify ? 1 : 0) << TraceCid{callId} << TraceThis{this});
  // The key's subscribers are told here, once the group's observer list exists; until then
  // nobody watches any key.
  return KEL_E_NOOBSERVER;
}

int32_t KelConfig::invokeEvent(const char* name, ConfigValue& /*value*/,
                               const ConfigValue& /*defaultValue*/, KelConfigGroup group) {
  if (name == nullptr || group >= kGroupLast) {
    KEL_TRACE_ERROR("Error parameters" << TraceCid{callId} << TraceThis{this});
    return KEL_E_INVALIDARG;
  }
  KEL_TRACE_INFO(", " << KelConfigGroup2GroupName(group) << ", " << name << TraceCid{callId}
                      << TraceThis{this});
  // The key's provider is asked here, once the group's observer list exists; until then no key
  // has one.
  return KEL_E_NOOBSERVER;
}

}  // namespace kelStore
