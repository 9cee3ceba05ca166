#include <cstring>

#include "mediastores/kel_config_group.h"

namespace kelStore {

namespace {

// Indexed by group number; the last entry names the group count.
const char* const kGroupNames[kGroupLast + 1] = {
    "Common",      "Feature",   "Metrics", "Audio",        "AudioSlide", "Video",    "VideoSlide",
    "Application", "Gamestate", "AudioSi", "Transmission", "TAOnly",     "UnitTest", "LastGroup",
};

}  // namespace

const char* KelConfigGroup2GroupName(KelConfigGroup group) {
  return group <= kGroupLast ? kGroupNames[group] : "Undefined_Group";
}

KelConfigGroup GroupName2KelConfigGroup(const char* name) {
  if (name == nullptr) return kGroupLast;
  for (uint32_t group = 0; group < kGroupLast; ++group) {
    if (std::strcmp(kGroupNames[group], name) == 0) return static_cast<KelConfigGroup>(group);
  }
  return kGroupLast;
}

}  // namespace kelStore
