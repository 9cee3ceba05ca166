// The registry of media statistics objects: one reference-counted object per (kind, call id).
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_MEDIASTORES_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_MEDIASTORES_H_

#include <cstdint>
#include <map>
#include <utility>

#include "mediastores/mediastores_entity.h"
#include "platform/mutex.h"
#include "platform/thread_annotations.h"

namespace kelStore {

// Creates, finds again, counts and releases the statistics objects of the process. The map holds
// no reference of its own: an object lives exactly as long as its holders, and its key is
// forgotten by the release that brings its count to 0. Objects still held when the registry is
// destroyed are abandoned, neither released nor deleted.
class CKelMediastores {
 public:
  CKelMediastores();
  ~CKelMediastores();
  CKelMediastores(const CKelMediastores&) = delete;
  CKelMediastores& operator=(const CKelMediastores&) = delete;

  // The object of (`type`, `callId`), made on the first request, with one more reference that
  // the caller owns; null for a type that is not a kind. The pointer is the object's own address
  // (its IKelAudioInfo for types 0 and 3, its IKelVideoInfo for types 1 and 2).
  void* createOrGetMediastoresEntity(KelMediastoresEntityType type, unsigned int callId)
      MS_EXCLUDES(m_mutex);

  // Releases one reference of the object stored under (`type`, `callId`), whatever
  // `pMediaStatInfo` points to (it is only tested for null), and returns the count left; -1 for
  // a null pointer or a key that is not stored.
  int32_t releaseMediastoresEntity(KelMediastoresEntityType type, unsigned int callId,
                                   void* pMediaStatInfo) MS_EXCLUDES(m_mutex);

  // Whether an object is stored under (`type`, `callId`). Takes the lock too, so that a look-up
  // never walks the map while another thread changes it.
  bool isMediastoresEntityExisted(KelMediastoresEntityType type, unsigned int callId)
      MS_EXCLUDES(m_mutex);

 private:
  using EntityKey = std::pair<KelMediastoresEntityType, unsigned int>;

  std::map<EntityKey, void*> m_mapEntities MS_GUARDED_BY(m_mutex);
  // Held for the whole of create and release, object creation, AddRef/Release and trace included.
  // Recursive as the platform's registry lock is; nothing here takes it twice.
  COxMutexThreadRecursive m_mutex;
};

// The process's statistics registry, used by createMediastoresEntity and
// releaseMediastoresEntity.
extern CKelMediastores kelMediastoresInstant;

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_MEDIASTORES_H_
