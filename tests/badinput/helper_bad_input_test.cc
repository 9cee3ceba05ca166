// Bad input to KelConfigHelper: each call gets its documented result and assertion count, and the
// helper's call, default group and the values already stored stay as they were.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

constexpr uint32_t kCall = 5151;
const KelConfigGroup kBadGroups[] = {static_cast<KelConfigGroup>(13),
                                     static_cast<KelConfigGroup>(14),
                                     static_cast<KelConfigGroup>(0xFFFFFFFEu)};
const KelFeatureToggleID kBadToggles[] = {static_cast<KelFeatureToggleID>(kKelFeatureToggleCount),
                                          static_cast<KelFeatureToggleID>(0xFFFFFFFFu)};

// The helpers a row may use: one with a store and the default group Audio, one with a store and
// no default group, one without a store.
struct Helpers {
  KelConfigHelper& audio;
  KelConfigHelper& noDefault;
  KelConfigHelper& noStore;
};

struct Row {
  std::string label;
  std::function<int64_t(Helpers&, ConfigData&)> call;
  int64_t expected;  // result code; id (0) for subscribe and bind; 0/1 for a null/non-null text
  int assertions;
  std::string expression = "";  // the failed condition an assertion row reports
};
// A row whose call is an expression on the helpers `h` (and a scratch value `out`).
// clang-format off
#define ROW(expr, ...) Row{#expr, \
    [=](Helpers& h, ConfigData& out) { return (void)out, static_cast<int64_t>(expr); }, __VA_ARGS__}
// clang-format on

void OnChange(const KelConfigEvent&) {}
ConfigData Provide(const KelConfigEvent&) {
  return ConfigData(1);
}

TEST(HelperBadInput, RefusesAndKeepsItsStateAndTheValues) {
  {
    KelConfigHelper audio(kCall);
    ASSERT_EQ(audio.SetKelSessionType(kel::kSessionTypeAudio), KEL_S_OK);
    KelConfigHelper noDefault(kCall);
    KelConfigHelper noStore;
    Helpers helpers{audio, noDefault, noStore};
    ASSERT_EQ(audio.SetKelConfig("gain", ConfigData(3)), KEL_E_NOOBSERVER);
    ASSERT_EQ(audio.SetFeatureToggle(KEL_FT_Unknow, ConfigData("off")), KEL_E_NOOBSERVER);

    const int64_t invalid = KEL_E_INVALIDARG, bad = KEL_E_BADSTATE;
    const std::string nameAndStore = "(szConfigName != NULL) && (m_pIKelConfig != NULL)";
    const std::string observer = "(m_pObserverHelper != NULL) && (szConfigName != NULL)";
    const std::string store = "(m_pIKelConfig != NULL)";
    const std::string jsonAndStore = "(szJsonConfig != NULL) && (m_pIKelConfig != NULL)";
    // clang-format off
    std::vector<Row> rows = {
        ROW(h.audio.SetKelConfig(nullptr, 1), invalid, 1, nameAndStore),
        ROW(h.audio.GetKelConfig(nullptr, out), invalid, 1, nameAndStore),
        ROW(h.audio.GetDynamicConfig(nullptr, out), invalid, 1, nameAndStore),
        ROW(h.audio.RemoveKelConfig(nullptr), invalid, 1, nameAndStore),
        ROW(h.audio.HaveKelConfig(nullptr), 0, 1, nameAndStore),
        ROW(h.noStore.BindConfig(nullptr, Provide), 0, 1, observer),
        ROW(h.noStore.GetDynamicConfig("gain", out, kGroupAudio), invalid, 1, nameAndStore),
        ROW(h.noStore.RemoveKelConfig("gain", kGroupAudio), invalid, 1, nameAndStore),
        ROW(h.audio.SubscribeConfig(nullptr, OnChange), 0, 1, observer),
        ROW(h.audio.BindConfig(nullptr, Provide), 0, 1, observer),
        ROW(h.audio.UnsubscribeConfig(nullptr, kGroupNone), invalid, 0),
        ROW(h.audio.ApplyKelConfigs(nullptr), invalid, 1, jsonAndStore),
        ROW(h.audio.SetKelConfig("", 1), invalid, 0),
        ROW(h.audio.SubscribeConfig("", OnChange), 0, 0),
        ROW(h.audio.SetKelConfig("gain", ConfigData()), invalid, 0),
        ROW(h.audio.UnsubscribeConfig(4711), bad, 0),
        ROW(h.audio.UnsubscribeConfig(SubscribeId_t{0}), bad, 0),
        ROW(h.audio.UnsubscribeConfig("gain", kGroupNone), bad, 0),
        ROW(h.noDefault.SetKelConfig("gain", 1), bad, 0),
        ROW(h.noDefault.SubscribeConfig("gain", OnChange), 0, 0),
        ROW(h.noDefault.RemoveKelConfigByGroup(), bad, 0),
        ROW(h.noStore.SetKelConfig("gain", 1, kGroupAudio), invalid, 1, nameAndStore),
        ROW(h.noStore.GetKelConfig("gain", out, kGroupAudio), invalid, 1, nameAndStore),
        ROW(h.noStore.RemoveKelConfigByGroup(kGroupAudio), invalid, 1, store),
        ROW(h.noStore.DumpKelConfigs(1) != nullptr, 0, 1, store),
        ROW(h.noStore.ApplyKelConfigs("{}"), invalid, 1, jsonAndStore),
        ROW(h.noStore.SetCallId(0xFFFFFFFFu), bad, 0),
        ROW(h.audio.SetCallId(kCall + 1), bad, 0),
        ROW(h.audio.InitKelConfig(0xFFFFFFFFu, kel::kSessionTypeAudio), bad, 0),
        ROW(h.audio.SetKelSessionType(kel::kSessionTypeVideo), bad, 0),
    };
    for (uint32_t t : {6u, 13u, 15u, 0xFFFFFFFFu}) {
      rows.push_back(ROW(h.noDefault.SetKelSessionType(static_cast<kel::KelSessionType>(t)), bad, 0));
    }
    for (KelConfigGroup g : {kBadGroups[0], kBadGroups[1], kBadGroups[2], kGroupNone}) {
      rows.push_back(ROW(h.noDefault.SetDefaultGroup(g), bad, 0));
    }
    // An explicit group is handed to the store as it is, which refuses it.
    for (KelConfigGroup g : kBadGroups) {
      rows.insert(rows.end(), {
          ROW(h.audio.SetKelConfig("gain", 1, g), invalid, 0),
          ROW(h.audio.GetKelConfig("gain", out, g), invalid, 0),
          ROW(h.audio.GetDynamicConfig("gain", out, g), invalid, 0),
          ROW(h.audio.RemoveKelConfig("gain", g), invalid, 0),
          ROW(h.audio.RemoveKelConfigByGroup(g), invalid, 0),
          ROW(h.audio.SubscribeConfig("gain", OnChange, g), 0, 0),
          ROW(h.audio.BindConfig("gain", Provide, g), 0, 0),
          ROW(h.audio.UnsubscribeConfig("gain", g), invalid, 0)});
    }
    // A toggle id without a key is a null name.
    for (KelFeatureToggleID id : kBadToggles) {
      rows.insert(rows.end(), {
          ROW(h.audio.SetFeatureToggle(id, "on"), invalid, 1, nameAndStore),
          ROW(h.audio.RemoveFeatureToggle(id), invalid, 1, nameAndStore),
          ROW(h.audio.SubscribeFeatureToggle(id, OnChange), 0, 1, observer),
          ROW(h.audio.UnsubscribeFeatureToggle(id), invalid, 0),
          ROW(h.audio.IsFeatureToggleDefaultOn(id), 1, 1, nameAndStore)});
    }
    // clang-format on

    // Argument faults are assertions even with tracing off; with it on, the one assertion line
    // names the helper's source file and the failed condition.
    for (uint32_t mask : {0u, 0xFFFFFFFFu}) {
      for (const Row& row : rows) {
        SCOPED_TRACE(row.label + " mask=" + std::to_string(mask));
        TraceCapture capture(mask);
        ConfigData out;
        EXPECT_EQ(row.call(helpers, out), row.expected);
        EXPECT_EQ(capture.AssertionCount(), row.assertions);
        EXPECT_EQ(row.expression.empty(), row.assertions == 0);
        const std::vector<std::string> lines = capture.Texts();
        if (mask != 0) {
          EXPECT_TRUE(lines.empty());
        } else if (!row.expression.empty()) {
          ASSERT_EQ(lines.size(), 1u);
          const std::string tail = " Assert failed: " + row.expression;
          EXPECT_EQ(lines[0].rfind("kel_config_helper.cc:", 0), 0u) << lines[0];
          EXPECT_EQ(lines[0].substr(std::max(lines[0].size(), tail.size()) - tail.size()), tail);
        }
        EXPECT_EQ(audio.GetCallId(), kCall);
        EXPECT_EQ(audio.GetKelSessionType(), kel::kSessionTypeAudio);
        EXPECT_EQ(noDefault.GetKelSessionType(), kel::kSessionTypeUnknown);
        EXPECT_EQ(noStore.GetCallId(), 0xFFFFFFFFu);
        EXPECT_EQ(audio.GetKelConfig("gain"), ConfigData(3));
        EXPECT_EQ(audio.GetFeatureToggle(KEL_FT_Unknow), ConfigData("off"));
        EXPECT_EQ(audio.DumpKelConfigs(1u << kGroupVideo), std::string("{\"Video\":[]}"));
      }
    }
    // Nothing refused was remembered for later: the helper's first subscription is live at once.
    TraceCapture capture(0);
    EXPECT_NE(audio.SubscribeConfig("gain", OnChange), 0u);
    EXPECT_EQ(noStore.SetCallId(kCall), KEL_S_OK);
    EXPECT_EQ(noStore.GetKelConfig("gain", kGroupAudio), ConfigData(3));
    EXPECT_EQ(capture.AssertionCount(), 0);
  }
  EXPECT_EQ(CleanUpKelConfig(kCall), KEL_S_OK);
  EXPECT_EQ(GetKelConfigSizeForUT(), 0u);
}

}  // namespace
}  // namespace kelStore
