#include "mediastores/kel_config_helper.h"

#include "mediastores/result_codes.h"
#include "platform/kel_trace.h"

namespace kelStore {

namespace {

// The group rule: an explicit group wins (unchecked here: the store refuses one above 12), else
// the default group; kGroupNone when neither is set.
KelConfigGroup ResolveGroup(KelConfigGroup group, KelConfigGroup defaultGroup) {
  return group != kGroupNone ? group : defaultGroup;
}

// The group that the session-type forms of Set/Get use; kGroupNone (the default group then) for a
// session type without a group of its own.
KelConfigGroup SessionTypeGroup(kel::KelSessionType type) {
  switch (type) {
    case kel::kSessionTypeAudio:
      return kGroupAudio;
    case kel::kSessionTypeVideo:
      return kGroupVideo;
    case kel::kSessionTypeVideoSlide:
      return kGroupVideoSlide;
    case kel::kSessionTypeAudioSlide:
      return kGroupAudioSlide;
    case kel::kSessionTypeApplication:
      return kGroupApplication;
    case kel::kSessionTypeGamestate:
      return kGroupGamestate;
    case kel::kSessionTypeAudioSi:
      return kGroupAudioSi;
    default:
      return kGroupNone;
  }
}

}  // namespace

KelConfigHelper::KelConfigHelper(uint32_t callId)
    : m_callId(callId),
      m_defaultGroup(kGroupNone),
      m_pIKelConfig(nullptr),
      m_pObserverHelper(nullptr) {
  if (callId != 0xFFFFFFFFu) createKelConfig();
}

KelConfigHelper::~KelConfigHelper() {
  if (m_pIKelConfig != nullptr) {
    ReleaseKelConfig(m_pIKelConfig);
    m_pIKelConfig = nullptr;
  }
}

int32_t KelConfigHelper::createKelConfig() {
  if (m_pIKelConfig != nullptr || m_callId == 0xFFFFFFFFu) return KEL_E_BADSTATE;
  IKelConfig* store = nullptr;
  if (CreateKelConfig(m_callId, &store) != KEL_S_OK) return KEL_E_BADSTATE;
  m_pIKelConfig = store;
  return KEL_S_OK;
}

int32_t KelConfigHelper::GetKelConfig(const char* szConfigName, ConfigData& value,
                                      KelConfigGroup group) {
  KEL_ASSERT_RETURN((szConfigName != NULL) && (m_pIKelConfig != NULL), KEL_E_INVALIDARG);
  const KelConfigGroup resolved = ResolveGroup(group, m_defaultGroup);
  if (resolved == kGroupNone) {
    KEL_TRACE_ERROR("Error KelConfigGroup" << TraceThis{this});
    return KEL_E_BADSTATE;
  }
  return m_pIKelConfig->GetKelConfig(resolved, szConfigName, value);
}

int32_t KelConfigHelper::GetKelConfig(kel::KelSessionType type, const char* szConfigName,
                                      ConfigData& value) {
  return GetKelConfig(szConfigName, value, SessionTypeGroup(type));
}

}  // namespace kelStore
