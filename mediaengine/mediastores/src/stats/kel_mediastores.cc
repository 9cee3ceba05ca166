#include "mediaengine/mediastores/src/stats/kel_mediastores.h"

#include "mediaengine/mediastores/src/stats/kel_audio_info.h"
#include "mediaengine/mediastores/src/stats/kel_video_info.h"
#include "mediastores/result_codes.h"
#include "platform/trace.h"

namespace kelStore {

CKelMediastores kelMediastoresInstant;

namespace {

// A new statistics object of `type` for `callId` (count 0), or null for a type that is not a
// kind. The pointer is the object's most-derived address.
void* NewEntity(KelMediastoresEntityType type, unsigned int callId) {
  switch (type) {
    case KEL_MEDIASTORES_AUDIO:
      return new KelAudioStatisticInfo(callId);
    case KEL_MEDIASTORES_VIDEO:
      return new KelVideoStatisticInfo(callId);
    case KEL_MEDIASTORES_CONTENT_VIDEO:
      return new KelContentVideoStatisticInfo(callId);
    case KEL_MEDIASTORES_CONTENT_AUDIO:
      return new KelContentAudioStatisticInfo(callId);
  }
  return nullptr;
}

// The stored object of `type` as the class it was made as.
template <typename Entity>
Entity* AsEntity(void* entity) {
  return static_cast<Entity*>(entity);
}

// Adds a reference to the stored object of `type` and returns its count afterwards; 0 for a type
// that is not a kind.
uint32_t AddEntityReference(KelMediastoresEntityType type, void* entity) {
  kel::IKelUnknown* object = nullptr;
  switch (type) {
    case KEL_MEDIASTORES_AUDIO:
      object = AsEntity<KelAudioStatisticInfo>(entity);
      break;
    case KEL_MEDIASTORES_VIDEO:
      object = AsEntity<KelVideoStatisticInfo>(entity);
      break;
    case KEL_MEDIASTORES_CONTENT_VIDEO:
      object = AsEntity<KelContentVideoStatisticInfo>(entity);
      break;
    case KEL_MEDIASTORES_CONTENT_AUDIO:
      object = AsEntity<KelContentAudioStatisticInfo>(entity);
      break;
  }
  if (object == nullptr) return 0;
  object->AddRef();
  return object->GetReference();
}

// Releases one reference of the stored object of `type`; the count left, or -1 for a type that
// is not a kind.
int32_t ReleaseEntity(KelMediastoresEntityType type, void* entity) {
  switch (type) {
    case KEL_MEDIASTORES_AUDIO:
      return static_cast<int32_t>(AsEntity<KelAudioStatisticInfo>(entity)->Release());
    case KEL_MEDIASTORES_VIDEO:
      return static_cast<int32_t>(AsEntity<KelVideoStatisticInfo>(entity)->Release());
    case KEL_MEDIASTORES_CONTENT_VIDEO:
      return static_cast<int32_t>(AsEntity<KelContentVideoStatisticInfo>(entity)->Release());
    case KEL_MEDIASTORES_CONTENT_AUDIO:
      return static_cast<int32_t>(AsEntity<KelContentAudioStatisticInfo>(entity)->Release());
  }
  return -1;
}

bool IsKind(KelMediastoresEntityType type) {
  return type >= KEL_MEDIASTORES_AUDIO && type <= KEL_MEDIASTORES_CONTENT_AUDIO;
}

}  // namespace

CKelMediastores::CKelMediastores() = default;

CKelMediastores::~CKelMediastores() = default;

void* CKelMediastores::createOrGetMediastoresEntity(KelMediastoresEntityType type,
                                                    unsigned int callId) {
  COxMutexGuard guard(m_mutex);
  const EntityKey key(type, callId);
  void* entity = nullptr;
  uint32_t refCnt = 0;
  const auto found = m_mapEntities.find(key);
  if (found != m_mapEntities.end()) {
    entity = found->second;
    refCnt = AddEntityReference(type, entity);
  } else if (IsKind(type)) {
    entity = NewEntity(type, callId);
    refCnt = AddEntityReference(type, entity);
    m_mapEntities.emplace(key, entity);
  }
  if (entity == nullptr) {
    // Traced at the same level as success, on purpose.
    KEL_TRACE_TEXT(2, "CKelMediastores::createOrGetMediastoresEntity failed, type="
                          << static_cast<int32_t>(type) << ", callId=" << callId
                          << TraceThis{this});
    return nullptr;
  }
  KEL_TRACE_TEXT(2, "CKelMediastores::createOrGetMediastoresEntity, type="
                        << static_cast<int32_t>(type) << ", callId=" << callId
                        << ", pMediaStatInfo=" << static_cast<const void*>(entity)
                        << ", refCnt=" << refCnt << TraceThis{this});
  return entity;
}

int32_t CKelMediastores::releaseMediastoresEntity(KelMediastoresEntityType type,
                                                  unsigned int callId, void* pMediaStatInfo) {
  COxMutexGuard guard(m_mutex);
  if (pMediaStatInfo == nullptr) return -1;
  const auto found = m_mapEntities.find(EntityKey(type, callId));
  if (found == m_mapEntities.end()) {
    const int32_t result = -1;
    KEL_TRACE_TEXT(2, "CKelMediastores::releaseMediastoresEntity, type="
                          << static_cast<int32_t>(type) << ", callId=" << callId
                          << ", inPMediaStatInfo=" << static_cast<const void*>(pMediaStatInfo)
                          << ", refCnt=" << static_cast<uint32_t>(result) << TraceThis{this});
    return result;
  }
  // The object stored under the key is released, whatever the caller's pointer points to.
  void* stored = found->second;
  unsigned long long reported =
      static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(stored));
  const int32_t result = ReleaseEntity(type, stored);
  if (!IsKind(type)) reported = static_cast<unsigned long long>(-1LL);
  if (result == 0) m_mapEntities.erase(found);  // the object deleted itself in Release
  // "in_PMediaStatInfo=" runs on into "out_PMediaStatInfo=" with no separator, as readers of
  // these lines expect.
  KEL_TRACE_TEXT(2, "CKelMediastores::releaseMediastoresEntity, type="
                        << static_cast<int32_t>(type) << ", callId=" << callId
                        << ", in_PMediaStatInfo=" << static_cast<const void*>(pMediaStatInfo)
                        << "out_PMediaStatInfo=" << reported
                        << ", refCnt=" << static_cast<uint32_t>(result) << TraceThis{this});
  return result;
}

bool CKelMediastores::isMediastoresEntityExisted(KelMediastoresEntityType type,
                                                 unsigned int callId) {
  COxMutexGuard guard(m_mutex);
  return m_mapEntities.count(EntityKey(type, callId)) != 0;
}

extern "C" int32_t createMediastoresEntity(unsigned int type, unsigned int callId, void** out) {
  if (out == nullptr) return KEL_E_BADSTATE;
  *out = nullptr;
  *out = kelMediastoresInstant.createOrGetMediastoresEntity(
      static_cast<KelMediastoresEntityType>(type), callId);
  // The same code serves a null output slot and an unknown type.
  return *out != nullptr ? KEL_S_OK : KEL_E_BADSTATE;
}

extern "C" int32_t releaseMediastoresEntity(unsigned int type, unsigned int callId,
                                            void* pMediaStatInfo) {
  if (pMediaStatInfo == nullptr) return -1;
  return kelMediastoresInstant.releaseMediastoresEntity(static_cast<KelMediastoresEntityType>(type),
                                                        callId, pMediaStatInfo);
}

}  // namespace kelStore
