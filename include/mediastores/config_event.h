// The event handed to configuration subscribers and providers.
#ifndef MEDIASTORES_CONFIG_EVENT_H_
#define MEDIASTORES_CONFIG_EVENT_H_

#include <cstdint>
#include <string>

#include "mediastores/config_data.h"
#include "mediastores/kel_config_group.h"

namespace kelStore {

// groupType of an event whose group belongs to no session type.
inline constexpr uint32_t kGroupTypeNone = 15;

// The session type (kel::KelSessionType number) whose group `group` is: Audio 0, Video 1,
// VideoSlide 2, AudioSlide 3, Application 4, Gamestate 5, AudioSi 14; kGroupTypeNone for every
// other group.
constexpr uint32_t KelConfigGroup2GroupType(KelConfigGroup group) {
  switch (group) {
    case kGroupAudio:
      return 0;
    case kGroupVideo:
      return 1;
    case kGroupVideoSlide:
      return 2;
    case kGroupAudioSlide:
      return 3;
    case kGroupApplication:
      return 4;
    case kGroupGamestate:
      return 5;
    case kGroupAudioSi:
      return 14;
    default:
      return kGroupTypeNone;
  }
}

// One change of a key (to a subscriber) or one request for a key's value (to a provider). A plain
// value; copy it freely.
//
// In a change: `oldValue` is the value before (empty on the first notification after
// subscribing), `newValue` the value after. In a provider request both are empty and
// `defaultValue` is what the reader offered as default.
struct KelConfigEvent {
  std::string name;
  ConfigData oldValue;
  ConfigData newValue;
  ConfigData defaultValue;
  KelConfigGroup group = kGroupCommon;
  uint32_t groupType = kGroupTypeNone;

  // Sets `group` and the matching `groupType`.
  void SetGroup(KelConfigGroup g) {
    group = g;
    groupType = KelConfigGroup2GroupType(g);
  }
};

}  // namespace kelStore

#endif  // MEDIASTORES_CONFIG_EVENT_H_
