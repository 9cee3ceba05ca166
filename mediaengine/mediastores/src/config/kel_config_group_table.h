// The table of the configuration groups: each group's name and the session type whose settings
// it holds. Every conversion between groups, names and session types is read from it.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_GROUP_TABLE_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_GROUP_TABLE_H_

#include <cstdint>

#include "mediastores/kel_config_group.h"
#include "mediastores/session_type.h"

namespace kelStore {

struct KelConfigGroupRow {
  KelConfigGroup group;
  const char* name;  // as configuration documents spell it
  // The session type whose group this is; kSessionTypeUnknown for a group of no session type.
  kel::KelSessionType sessionType;
};

// One row per usable group, in group order.
inline constexpr KelConfigGroupRow kKelConfigGroupRows[kGroupLast] = {
    {kGroupCommon, "Common", kel::kSessionTypeUnknown},
    {kGroupFeature, "Feature", kel::kSessionTypeUnknown},
    {kGroupMetrics, "Metrics", kel::kSessionTypeUnknown},
    {kGroupAudio, "Audio", kel::kSessionTypeAudio},
    {kGroupAudioSlide, "AudioSlide", kel::kSessionTypeAudioSlide},
    {kGroupVideo, "Video", kel::kSessionTypeVideo},
    {kGroupVideoSlide, "VideoSlide", kel::kSessionTypeVideoSlide},
    {kGroupApplication, "Application", kel::kSessionTypeApplication},
    {kGroupGamestate, "Gamestate", kel::kSessionTypeGamestate},
    {kGroupAudioSi, "AudioSi", kel::kSessionTypeAudioSi},
    {kGroupTransmission, "Transmission", kel::kSessionTypeUnknown},
    {kGroupTAOnly, "TAOnly", kel::kSessionTypeUnknown},
    {kGroupUnitTest, "UnitTest", kel::kSessionTypeUnknown},
};

// The name of kGroupLast, the group count, and of every number above it.
inline constexpr const char* kLastGroupName = "LastGroup";
inline constexpr const char* kUndefinedGroupName = "Undefined_Group";

constexpr bool GroupRowsInGroupOrder() {
  for (uint32_t g = 0; g < kGroupLast; ++g) {
    if (kKelConfigGroupRows[g].group != g) return false;
  }
  return true;
}
static_assert(GroupRowsInGroupOrder(), "row g of the group table is group g");

// The session type whose group `group` is; kSessionTypeUnknown for any other group or number.
constexpr kel::KelSessionType GroupSessionType(KelConfigGroup group) {
  return group < kGroupLast ? kKelConfigGroupRows[group].sessionType : kel::kSessionTypeUnknown;
}

// The group of session type `type`; kGroupNone for a session type without a group.
constexpr KelConfigGroup SessionTypeGroup(kel::KelSessionType type) {
  for (const KelConfigGroupRow& row : kKelConfigGroupRows) {
    if (row.sessionType != kel::kSessionTypeUnknown && row.sessionType == type) return row.group;
  }
  return kGroupNone;
}

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_KEL_CONFIG_GROUP_TABLE_H_
