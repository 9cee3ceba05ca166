// Bad input to KelConfigHelper and its observer helper: each call's result and one assertion or
// error line (the helpers' texts are pinned here); state and stored values stay as they were.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::StartsWith;

constexpr uint32_t kCall = 5151;

struct Row {
  std::string label;
  std::function<int64_t()> call;
  int64_t expected;  // result code; id (0) for subscribe and bind; 0/1 for a bool or a text
  // "(...)": an assertion's condition; other text: a helper's error line up to " [this="; empty:
  // the helpers report nothing (the store's own lines are not counted).
  std::string report = "";
};
// A row calling `expr` on `audio` (default group Audio), `nogroup` (none) or `nostore`.
// clang-format off
#define ROW(expr, ...) \
  Row{#expr, [=]() mutable { return static_cast<int64_t>(expr); }, __VA_ARGS__}
// clang-format on

TEST(HelperBadInput, RefusesReportsAndKeepsItsStateAndTheValues) {
  {
    KelConfigHelper audioHelper(kCall), nogroupHelper(kCall), nostoreHelper;
    KelConfigHelper *audio = &audioHelper, *nogroup = &nogroupHelper, *nostore = &nostoreHelper;
    ASSERT_EQ(audio->SetKelSessionType(kel::kSessionTypeAudio), KEL_S_OK);
    ASSERT_EQ(audio->SetKelConfig("k", ConfigData(3)), KEL_E_NOOBSERVER);
    ASSERT_EQ(audio->SetFeatureToggle(KEL_FT_Unknow, ConfigData("off")), KEL_E_NOOBSERVER);

    const int64_t invalid = KEL_E_INVALIDARG, bad = KEL_E_BADSTATE;
    const std::string name = "(szConfigName != NULL) && (m_pIKelConfig != NULL)";
    const std::string observer = "(m_pObserverHelper != NULL) && (szConfigName != NULL)";
    const std::string store = "(m_pIKelConfig != NULL)";
    const std::string json = "(szJsonConfig != NULL) && (m_pIKelConfig != NULL)";
    const std::string H = "kelStore::KelConfigHelper::", O = "kelStore::KelConfigObserverHelper::";
    // Subscribe and bind put a blank before the text; the other operations do not.
    const std::string noGroup = "Error KelConfigGroup", parameters = "Error parameters";
    const std::string callId = H + "SetCallId, m_callId=", sessionType = H + "SetKelSessionType, ";
    const fnConfigChangedCallBack onChange = [](const KelConfigEvent&) {}, noCallback;
    const fnConfigInvokeCallBack provide = [](const KelConfigEvent&) { return ConfigData(1); };
    const auto audioType = kel::kSessionTypeAudio, videoType = kel::kSessionTypeVideo;
    const auto data = kel::kSessionTypeData;
    ConfigData out;
    // clang-format off
    std::vector<Row> rows = {
        ROW(audio->SetKelConfig(nullptr, 1), invalid, name),
        ROW(audio->GetKelConfig(nullptr, out), invalid, name),
        ROW(audio->GetDynamicConfig(nullptr, out), invalid, name),
        ROW(audio->RemoveKelConfig(nullptr), invalid, name),
        ROW(audio->HaveKelConfig(nullptr), 0, name),
        ROW(audio->SubscribeConfig(nullptr, onChange), 0, observer),
        ROW(audio->BindConfig(nullptr, provide), 0, observer),
        ROW(audio->ApplyKelConfigs(nullptr), invalid, json),
        ROW(nostore->SetKelConfig("k", 1, kGroupAudio), invalid, name),
        ROW(nostore->RemoveKelConfigByGroup(kGroupAudio), invalid, store),
        ROW(nostore->DumpKelConfigs(1) != nullptr, 0, store),
        ROW(nostore->ApplyKelConfigs("{}"), invalid, json),
        ROW(nostore->IsFeatureToggleDefaultOn(KEL_FT_EnableOpusDtx), 1, name),
        // No group given and no default group.
        ROW(nogroup->SubscribeConfig("k", onChange), 0, H + "SubscribeConfig " + noGroup),
        ROW(nogroup->BindConfig("k", provide), 0, H + "BindConfig " + noGroup),
        ROW(nogroup->UnsubscribeConfig("k", kGroupNone), bad, H + "UnsubscribeConfig" + noGroup),
        ROW(nogroup->SetKelConfig("k", 1), bad, H + "SetKelConfig" + noGroup),
        ROW(nogroup->SetKelConfig(data, "k", 1), bad, H + "SetKelConfig" + noGroup),
        ROW(nogroup->GetKelConfig("k", out), bad, H + "GetKelConfig" + noGroup),
        ROW(nogroup->HaveKelConfig("k"), 0, H + "GetKelConfig" + noGroup),
        ROW(nogroup->GetDynamicConfig("k", out), bad, H + "GetDynamicConfig" + noGroup),
        ROW(nogroup->RemoveKelConfig("k"), bad, H + "RemoveKelConfig" + noGroup),
        ROW(nogroup->RemoveKelConfigByGroup(), bad, H + "RemoveKelConfigByGroup" + noGroup),
        // Refused by the observer helper.
        ROW(audio->SubscribeConfig("", onChange), 0, O + "SubscribeConfig" + parameters),
        ROW(audio->SubscribeConfig("k", noCallback), 0, O + "SubscribeConfig" + parameters),
        ROW(audio->BindConfig("", provide), 0, O + "BindConfig" + parameters),
        ROW(audio->UnsubscribeConfig(nullptr, kGroupNone), invalid,
            O + "UnsubscribeConfig" + parameters),
        ROW(audio->UnsubscribeConfig("k", kGroupNone), bad, O + "UnsubscribeConfigFailed"),
        ROW(audio->UnsubscribeConfig(SubscribeId_t{0}), bad),
        // A helper keeps its call and its default group.
        ROW(nostore->SetCallId(~0U), bad, callId + "4294967295, callId=4294967295"),
        ROW(audio->SetCallId(kCall + 1), bad, callId + "5151, callId=5152"),
        ROW(audio->InitKelConfig(~0U, audioType), bad, callId + "5151, callId=4294967295"),
        ROW(audio->SetKelSessionType(videoType), bad, sessionType + "Audio, sessionType=1"),
        ROW(audio->SetDefaultGroup(kGroupAudio), bad),
    };
    for (uint32_t t : {6u, 13u, 15u, ~0U}) {
      rows.push_back(ROW(nogroup->SetKelSessionType(kel::KelSessionType(t)), bad,
                         sessionType + "Undefined_Group, sessionType=" + std::to_string(t)));
    }
    // An explicit group is handed on as it is, and refused there.
    for (const auto g : {KelConfigGroup(13), KelConfigGroup(14), KelConfigGroup(0xFFFFFFFEu)}) {
      rows.insert(rows.end(), {
          ROW(nogroup->SetDefaultGroup(g), bad),
          ROW(audio->SetKelConfig("k", 1, g), invalid),
          ROW(audio->RemoveKelConfigByGroup(g), invalid),
          ROW(audio->SubscribeConfig("k", onChange, g), 0, O + "SubscribeConfig" + parameters),
          ROW(audio->BindConfig("k", provide, g), 0, O + "BindConfig" + parameters),
          ROW(audio->UnsubscribeConfig("k", g), invalid, O + "UnsubscribeConfig" + parameters)});
    }
    // A toggle id without a key is a null name.
    for (const auto id : {KelFeatureToggleID(kKelFeatureToggleCount), KelFeatureToggleID(~0U)}) {
      rows.insert(rows.end(), {
          ROW(audio->SetFeatureToggle(id, "on"), invalid, name),
          ROW(audio->SubscribeFeatureToggle(id, onChange), 0, observer),
          ROW(audio->UnsubscribeFeatureToggle(id), invalid, O + "UnsubscribeConfig" + parameters),
          ROW(audio->IsFeatureToggleDefaultOn(id), 1, name)});
    }
    // clang-format on

    // Assertions are reported even with tracing off; with it on, they name file and condition.
    for (uint32_t mask : {0u, ~0U}) {
      for (const Row& row : rows) {
        SCOPED_TRACE(row.label + " mask=" + std::to_string(mask));
        TraceCapture capture(mask);
        EXPECT_EQ(row.call(), row.expected);
        const bool assertion = row.report.rfind("(", 0) == 0;
        EXPECT_EQ(capture.AssertionCount(), assertion ? 1 : 0);
        std::vector<std::string> lines;  // the helpers' own lines
        for (const std::string& line : capture.Texts())
          if (line.rfind("kelStore::KelConfig::", 0) != 0) lines.push_back(line);
        EXPECT_EQ(lines.size(), mask != 0 || row.report.empty() ? 0u : 1u);
        const std::string line = lines.empty() ? "" : lines[0];
        if (mask == 0 && assertion) {
          EXPECT_THAT(line, AllOf(StartsWith("kel_config_helper.cc:"),
                                  EndsWith(" Assert failed: " + row.report)));
        } else if (mask == 0 && !row.report.empty()) {
          EXPECT_EQ(line.substr(0, line.find(" [this=")), row.report);
        }
        EXPECT_EQ(audio->GetCallId(), kCall);
        EXPECT_EQ(audio->GetKelSessionType(), kel::kSessionTypeAudio);
        EXPECT_EQ(nogroup->GetKelSessionType(), kel::kSessionTypeUnknown);
        EXPECT_EQ(nostore->GetCallId(), ~0U);
        EXPECT_EQ(audio->GetKelConfig("k"), ConfigData(3));
        EXPECT_EQ(audio->GetFeatureToggle(KEL_FT_Unknow), ConfigData("off"));
      }
    }
    // Nothing refused was remembered for later: the helper's first subscription is live at once.
    TraceCapture capture(0);
    EXPECT_NE(audio->SubscribeConfig("k", onChange), 0u);
    EXPECT_EQ(capture.AssertionCount(), 0);
  }
  EXPECT_EQ(CleanUpKelConfig(kCall), KEL_S_OK);
  EXPECT_EQ(GetKelConfigSizeForUT(), 0u);
}

}  // namespace
}  // namespace kelStore
