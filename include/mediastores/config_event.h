// The event handed to configuration subscribers and providers.
#ifndef MEDIASTORES_CONFIG_EVENT_H_
#define MEDIASTORES_CONFIG_EVENT_H_

#include <cstdint>
#include <string>

#include "mediastores/config_data.h"
#include "mediastores/kel_config_group.h"
#include "mediastores/session_type.h"

namespace kelStore {

// groupType of an event whose group belongs to no session type.
inline constexpr uint32_t kGroupTypeNone = kel::kSessionTypeUnknown;

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
