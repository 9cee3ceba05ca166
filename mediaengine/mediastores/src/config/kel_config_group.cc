#include "mediastores/kel_config_group.h"

#include <cstring>

#include "mediaengine/mediastores/src/config/kel_config_group_table.h"

namespace kelStore {

const char* KelConfigGroup2GroupName(KelConfigGroup group) {
  if (group < kGroupLast) return kKelConfigGroupRows[group].name;
  return group == kGroupLast ? kLastGroupName : kUndefinedGroupName;
}

KelConfigGroup GroupName2KelConfigGroup(const char* name) {
  if (name == nullptr) return kGroupLast;
  for (const KelConfigGroupRow& row : kKelConfigGroupRows) {
    if (std::strcmp(row.name, name) == 0) return row.group;
  }
  return kGroupLast;
}

uint32_t KelConfigGroup2GroupType(KelConfigGroup group) {
  return GroupSessionType(group);
}

}  // namespace kelStore
