// Entry to the media statistics store: one reference-counted statistics object per (media kind,
// call id), created on first request and shared by every later one.
#ifndef MEDIASTORES_MEDIASTORES_ENTITY_H_
#define MEDIASTORES_MEDIASTORES_ENTITY_H_

#include <cstdint>

#include "mediastores/export.h"

namespace kelStore {

// Media kind of a statistics object; part of its key. 0 and 3 are the audio family
// (IKelAudioInfo), 1 and 2 the video family (IKelVideoInfo). Any other value is not a kind.
enum KelMediastoresEntityType : int32_t {
  KEL_MEDIASTORES_AUDIO = 0,
  KEL_MEDIASTORES_VIDEO = 1,
  KEL_MEDIASTORES_CONTENT_VIDEO = 2,
  KEL_MEDIASTORES_CONTENT_AUDIO = 3,
};

extern "C" {

// Hands out the statistics object of (`type`, `callId`) in `*out`, making it on the first
// request, and adds one reference that the caller owns. KEL_S_OK, or KEL_E_BADSTATE (with `*out`
// null) for an unknown type; KEL_E_BADSTATE and nothing else for a null `out`.
MEDIASTORES_API int32_t createMediastoresEntity(unsigned int type, unsigned int callId, void** out);

// Drops one reference of the object stored under (`type`, `callId`) and returns the count left
// (0 when the object is gone), or -1 when nothing is stored under the key or `pMediaStatInfo` is
// null. The key decides which object is released: `pMediaStatInfo` is only checked for null.
MEDIASTORES_API int32_t releaseMediastoresEntity(unsigned int type, unsigned int callId,
                                                 void* pMediaStatInfo);

}  // extern "C"

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIASTORES_ENTITY_H_
