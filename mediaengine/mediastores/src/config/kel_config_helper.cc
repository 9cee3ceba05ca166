#include "mediastores/kel_config_helper.h"

#include <utility>

#include "mediaengine/mediastores/src/config/kel_config_group_table.h"
#include "mediaengine/mediastores/src/config/kel_config_observer_helper.h"
#include "mediastores/result_codes.h"
#include "platform/trace.h"

namespace kelStore {

namespace {

constexpr uint32_t kNoCallId = 0xFFFFFFFFu;

// What an operation traces when it has no group. Subscribe and bind put a blank between their
// name and the text, every other operation runs the text on from its name; both are kept.
constexpr const char* kNoGroupText = "Error KelConfigGroup";
constexpr const char* kNoGroupTextSubscribe = " Error KelConfigGroup";

// The group rule: an explicit group wins (unchecked here: the store refuses one above 12), else
// the default group. With neither, traces `text` after the name of the calling function (whose
// __PRETTY_FUNCTION__ is `caller`) and returns kGroupNone.
KelConfigGroup ResolveGroup(KelConfigGroup group, KelConfigGroup defaultGroup,
                            const KelConfigHelper* self, const char* caller, const char* text) {
  if (group != kGroupNone) return group;
  if (defaultGroup != kGroupNone) return defaultGroup;
  KEL_TRACE_AS(0, caller, text << TraceThis{self});
  return kGroupNone;
}

}  // namespace

KelConfigHelper::KelConfigHelper(uint32_t callId)
    : m_callId(callId),
      m_defaultGroup(kGroupNone),
      m_pIKelConfig(nullptr),
      m_pObserverHelper(new KelConfigObserverHelper()) {
  if (callId != kNoCallId) createKelConfig();
}

KelConfigHelper::~KelConfigHelper() {
  if (m_pIKelConfig != nullptr) {
    // Withdraw the module's subscriptions while the store is certainly alive, then let it go.
    if (m_pObserverHelper && m_pObserverHelper->GetIKelConfig() != nullptr) {
      m_pObserverHelper->SetIKelConfig(nullptr);
    }
    m_pObserverHelper.reset();
    ReleaseKelConfig(m_pIKelConfig);
    m_pIKelConfig = nullptr;
  }
  m_pObserverHelper.reset();
}

int32_t KelConfigHelper::createKelConfig() {
  if (m_pIKelConfig != nullptr || m_callId == kNoCallId || !m_pObserverHelper) {
    return KEL_E_BADSTATE;
  }
  IKelConfig* store = nullptr;
  if (CreateKelConfig(m_callId, &store) != KEL_S_OK || store == nullptr) return KEL_E_BADSTATE;
  m_pIKelConfig = store;
  // Sends every subscription and binding made so far to the store.
  m_pObserverHelper->SetIKelConfig(store);
  return KEL_S_OK;
}

int32_t KelConfigHelper::SetCallId(uint32_t callId) {
  if (callId != kNoCallId && m_callId == kNoCallId) {
    m_callId = callId;
    createKelConfig();
    return KEL_S_OK;
  }
  if (callId != kNoCallId && callId == m_callId && m_pIKelConfig != nullptr) return KEL_S_OK;
  KEL_TRACE_ERROR(", m_callId=" << m_callId << ", callId=" << callId << TraceThis{this});
  return KEL_E_BADSTATE;
}

int32_t KelConfigHelper::SetKelSessionType(kel::KelSessionType type) {
  const KelConfigGroup group = SessionTypeGroup(type);
  if (group != kGroupNone && (m_defaultGroup == kGroupNone || m_defaultGroup == group)) {
    m_defaultGroup = group;
    return KEL_S_OK;
  }
  KEL_TRACE_ERROR(", " << KelConfigGroup2GroupName(m_defaultGroup)
                       << ", sessionType=" << static_cast<uint32_t>(type) << TraceThis{this});
  return KEL_E_BADSTATE;
}

kel::KelSessionType KelConfigHelper::GetKelSessionType() const {
  return GroupSessionType(m_defaultGroup);
}

int32_t KelConfigHelper::SetDefaultGroup(KelConfigGroup group) {
  if (group >= kGroupLast || m_defaultGroup != kGroupNone) return KEL_E_BADSTATE;
  m_defaultGroup = group;
  return KEL_S_OK;
}

int32_t KelConfigHelper::InitKelConfig(uint32_t callId, kel::KelSessionType type) {
  const int32_t callResult = SetCallId(callId);
  const int32_t typeResult = SetKelSessionType(type);
  return callResult == KEL_S_OK && typeResult == KEL_S_OK ? KEL_S_OK : KEL_E_BADSTATE;
}

SubscribeId_t KelConfigHelper::SubscribeConfig(const char* szConfigName, fnConfigChangedCallBack cb,
                                               KelConfigGroup group, AOxThread* pRunThread,
                                               bool bAsync) {
  KEL_ASSERT_RETURN((m_pObserverHelper != NULL) && (szConfigName != NULL), 0);
  const KelConfigGroup resolved =
      ResolveGroup(group, m_defaultGroup, this, __PRETTY_FUNCTION__, kNoGroupTextSubscribe);
  if (resolved == kGroupNone) return 0;
  return m_pObserverHelper->SubscribeConfig(resolved, szConfigName, std::move(cb), pRunThread,
                                            bAsync);
}

SubscribeId_t KelConfigHelper::BindConfig(const char* szConfigName, fnConfigInvokeCallBack cb,
                                          KelConfigGroup group) {
  KEL_ASSERT_RETURN((m_pObserverHelper != NULL) && (szConfigName != NULL), 0);
  const KelConfigGroup resolved =
      ResolveGroup(group, m_defaultGroup, this, __PRETTY_FUNCTION__, kNoGroupTextSubscribe);
  if (resolved == kGroupNone) return 0;
  return m_pObserverHelper->BindConfig(resolved, szConfigName, std::move(cb));
}

int32_t KelConfigHelper::UnsubscribeConfig(SubscribeId_t id) {
  KEL_ASSERT_RETURN(m_pObserverHelper != NULL, KEL_E_INVALIDARG);
  return m_pObserverHelper->UnsubscribeConfig(id);
}

int32_t KelConfigHelper::UnsubscribeConfig(const char* szConfigName, KelConfigGroup group) {
  KEL_ASSERT_RETURN(m_pObserverHelper != NULL, KEL_E_INVALIDARG);
  const KelConfigGroup resolved =
      ResolveGroup(group, m_defaultGroup, this, __PRETTY_FUNCTION__, kNoGroupText);
  if (resolved == kGroupNone) return KEL_E_BADSTATE;
  return m_pObserverHelper->UnsubscribeConfig(szConfigName, resolved);
}

int32_t KelConfigHelper::SetKelConfig(const char* szConfigName, ConfigData value,
                                      KelConfigGroup group, bool bForceNotify, bool bRemove) {
  KEL_ASSERT_RETURN((szConfigName != NULL) && (m_pIKelConfig != NULL), KEL_E_INVALIDARG);
  const KelConfigGroup resolved =
      ResolveGroup(group, m_defaultGroup, this, __PRETTY_FUNCTION__, kNoGroupText);
  if (resolved == kGroupNone) return KEL_E_BADSTATE;
  return m_pIKelConfig->SetKelConfig(resolved, szConfigName, std::move(value), bForceNotify,
                                     bRemove);
}

int32_t KelConfigHelper::GetDynamicConfig(const char* szConfigName, ConfigData& value,
                                          KelConfigGroup group, ConfigData defaultValue) {
  KEL_ASSERT_RETURN((szConfigName != NULL) && (m_pIKelConfig != NULL), KEL_E_INVALIDARG);
  const KelConfigGroup resolved =
      ResolveGroup(group, m_defaultGroup, this, __PRETTY_FUNCTION__, kNoGroupText);
  if (resolved == kGroupNone) return KEL_E_BADSTATE;
  return m_pIKelConfig->GetDynamicConfig(resolved, szConfigName, value, std::move(defaultValue));
}

ConfigData KelConfigHelper::GetDynamicConfig(const char* szConfigName, KelConfigGroup group,
                                             ConfigData defaultValue) {
  ConfigData value;
  GetDynamicConfig(szConfigName, value, group, std::move(defaultValue));
  return value;
}

int32_t KelConfigHelper::GetKelConfig(const char* szConfigName, ConfigData& value,
                                      KelConfigGroup group) {
  KEL_ASSERT_RETURN((szConfigName != NULL) && (m_pIKelConfig != NULL), KEL_E_INVALIDARG);
  const KelConfigGroup resolved =
      ResolveGroup(group, m_defaultGroup, this, __PRETTY_FUNCTION__, kNoGroupText);
  if (resolved == kGroupNone) return KEL_E_BADSTATE;
  return m_pIKelConfig->GetKelConfig(resolved, szConfigName, value);
}

ConfigData KelConfigHelper::GetKelConfig(const char* szConfigName, KelConfigGroup group) {
  ConfigData value;
  GetKelConfig(szConfigName, value, group);
  return value;
}

bool KelConfigHelper::HaveKelConfig(const char* szConfigName, KelConfigGroup group) {
  ConfigData value;
  return GetKelConfig(szConfigName, value, group) == KEL_S_OK;
}

int32_t KelConfigHelper::RemoveKelConfig(const char* szConfigName, KelConfigGroup group) {
  KEL_ASSERT_RETURN((szConfigName != NULL) && (m_pIKelConfig != NULL), KEL_E_INVALIDARG);
  const KelConfigGroup resolved =
      ResolveGroup(group, m_defaultGroup, this, __PRETTY_FUNCTION__, kNoGroupText);
  if (resolved == kGroupNone) return KEL_E_BADSTATE;
  return m_pIKelConfig->RemoveKelConfig(resolved, szConfigName);
}

int32_t KelConfigHelper::RemoveKelConfigByGroup(KelConfigGroup group) {
  KEL_ASSERT_RETURN((m_pIKelConfig != NULL), KEL_E_INVALIDARG);
  const KelConfigGroup resolved =
      ResolveGroup(group, m_defaultGroup, this, __PRETTY_FUNCTION__, kNoGroupText);
  if (resolved == kGroupNone) return KEL_E_BADSTATE;
  return m_pIKelConfig->RemoveKelConfigByGroup(resolved);
}

int32_t KelConfigHelper::SetKelConfig(kel::KelSessionType type, const char* szConfigName,
                                      ConfigData value, bool bForceNotify, bool bRemove) {
  return SetKelConfig(szConfigName, std::move(value), SessionTypeGroup(type), bForceNotify,
                      bRemove);
}

int32_t KelConfigHelper::GetKelConfig(kel::KelSessionType type, const char* szConfigName,
                                      ConfigData& value) {
  return GetKelConfig(szConfigName, value, SessionTypeGroup(type));
}

ConfigData KelConfigHelper::GetKelConfig(kel::KelSessionType type, const char* szConfigName) {
  return GetKelConfig(szConfigName, SessionTypeGroup(type));
}

const char* KelConfigHelper::DumpKelConfigs(uint32_t groups) {
  KEL_ASSERT_RETURN((m_pIKelConfig != NULL), nullptr);
  return m_pIKelConfig->DumpKelConfigs(groups);
}

int32_t KelConfigHelper::ApplyKelConfigs(const char* szJsonConfig) {
  KEL_ASSERT_RETURN((szJsonConfig != NULL) && (m_pIKelConfig != NULL), KEL_E_INVALIDARG);
  return m_pIKelConfig->ApplyKelConfigs(szJsonConfig);
}

int32_t KelConfigHelper::SetFeatureToggle(KelFeatureToggleID id, ConfigData value) {
  return SetKelConfig(KelFeatureToggleKey(id), std::move(value), kGroupFeature, false, false);
}

ConfigData KelConfigHelper::GetFeatureToggle(KelFeatureToggleID id) {
  return GetKelConfig(KelFeatureToggleKey(id), kGroupFeature);
}

bool KelConfigHelper::HaveFeatureToggle(KelFeatureToggleID id) {
  ConfigData value;
  return GetKelConfig(KelFeatureToggleKey(id), value, kGroupFeature) == KEL_S_OK;
}

int32_t KelConfigHelper::RemoveFeatureToggle(KelFeatureToggleID id) {
  return RemoveKelConfig(KelFeatureToggleKey(id), kGroupFeature);
}

bool KelConfigHelper::IsFeatureToggleDefaultOn(KelFeatureToggleID id) {
  // One read answers both questions (is a value stored, and what does it read as), so a removal
  // between two reads can't turn a toggle off.
  ConfigData value;
  if (GetKelConfig(KelFeatureToggleKey(id), value, kGroupFeature) != KEL_S_OK) return true;
  return static_cast<bool>(value);
}

SubscribeId_t KelConfigHelper::SubscribeFeatureToggle(KelFeatureToggleID id,
                                                      fnConfigChangedCallBack cb,
                                                      AOxThread* pRunThread, bool bAsync) {
  return SubscribeConfig(KelFeatureToggleKey(id), std::move(cb), kGroupFeature, pRunThread, bAsync);
}

int32_t KelConfigHelper::UnsubscribeFeatureToggle(KelFeatureToggleID id) {
  return UnsubscribeConfig(KelFeatureToggleKey(id), kGroupFeature);
}

}  // namespace kelStore
