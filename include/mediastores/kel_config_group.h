// Configuration groups of the configuration store and their names.
#ifndef MEDIASTORES_KEL_CONFIG_GROUP_H_
#define MEDIASTORES_KEL_CONFIG_GROUP_H_

#include <cstdint>

#include "mediastores/export.h"

namespace kelStore {

// The thirteen groups a call's configuration is kept in. Every store operation accepts only a
// usable group (below kGroupLast); kGroupNone tells a KelConfigHelper that no group is given, so
// that it uses its default group.
enum KelConfigGroup : uint32_t {
  kGroupCommon = 0,
  kGroupFeature = 1,
  kGroupMetrics = 2,
  kGroupAudio = 3,
  kGroupAudioSlide = 4,
  kGroupVideo = 5,
  kGroupVideoSlide = 6,
  kGroupApplication = 7,
  kGroupGamestate = 8,
  kGroupAudioSi = 9,
  kGroupTransmission = 10,
  kGroupTAOnly = 11,
  kGroupUnitTest = 12,
  // "LastGroup": the number of groups, not a usable group.
  kGroupLast = 13,
  kGroupNone = 0xFFFFFFFFu,
};

// A selection of groups: bit g stands for group g (bits 13 and up name no group).
typedef uint32_t ConfigMultGroup_t;

// The group's name: "Common", "Feature", "Metrics", "Audio", "AudioSlide", "Video", "VideoSlide",
// "Application", "Gamestate", "AudioSi", "Transmission", "TAOnly", "UnitTest", "LastGroup" for 13,
// and "Undefined_Group" for any other value. The text is static.
MEDIASTORES_API const char* KelConfigGroup2GroupName(KelConfigGroup group);

// The group whose name is exactly `name` (case-sensitive); kGroupLast ("LastGroup") for any text
// that names no usable group, null included.
MEDIASTORES_API KelConfigGroup GroupName2KelConfigGroup(const char* name);

// The session type (kel::KelSessionType number) whose settings `group` holds, as an event's
// groupType reports it; 15 (kel::kSessionTypeUnknown) for a group of no session type and for any
// number that is no usable group.
MEDIASTORES_API uint32_t KelConfigGroup2GroupType(KelConfigGroup group);

}  // namespace kelStore

#endif  // MEDIASTORES_KEL_CONFIG_GROUP_H_
