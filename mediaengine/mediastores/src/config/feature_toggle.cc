// Key table of the feature toggles, made from the toggle list.
#include "mediastores/feature_toggle.h"

#include <iterator>

namespace kelStore {

namespace {

// Configuration keys of the Feature group, indexed by KelFeatureToggleID.
constexpr const char* const KelFeatureToggleKeys[] = {
#define KEL_FEATURE_TOGGLE(id, name, key) key,
#include "mediastores/feature_toggle_list.h"
};

// The row position of every id, so that a row that moved or a number skipped or taken twice
// stops the build.
constexpr uint32_t kRowIds[] = {
#define KEL_FEATURE_TOGGLE(id, name, key) id,
#include "mediastores/feature_toggle_list.h"
};

constexpr bool IdsAreRowPositions() {
  for (uint32_t row = 0; row < std::size(kRowIds); ++row) {
    if (kRowIds[row] != row) return false;
  }
  return true;
}

static_assert(IdsAreRowPositions(), "a toggle's id is its row in the list");
static_assert(std::size(KelFeatureToggleKeys) == kKelFeatureToggleCount,
              "the catch-all toggle is the last row");

}  // namespace

const char* KelFeatureToggleKey(KelFeatureToggleID id) {
  return id < kKelFeatureToggleCount ? KelFeatureToggleKeys[id] : nullptr;
}

}  // namespace kelStore
