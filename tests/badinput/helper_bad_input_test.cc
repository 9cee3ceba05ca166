// Bad input to KelConfigHelper: each call gets its documented result and assertion count, and the
// helper's call, default group and the values already stored stay as they were.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "mediastores_internal.h"
#include "support/trace_capture.h"

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
  std::function<int64_t(Helpers&)> call;
  int64_t expected;  // result code; id (0) for subscribe and bind; 0/1 for a null/non-null text
  int assertions;
};

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

    std::vector<Row> rows = {
        {"set null name", [](Helpers& h) { return h.audio.SetKelConfig(nullptr, 1); },
         KEL_E_INVALIDARG, 1},
        {"get null name",
         [](Helpers& h) {
           ConfigData out;
           return h.audio.GetKelConfig(nullptr, out);
         },
         KEL_E_INVALIDARG, 1},
        {"dynamic null name",
         [](Helpers& h) {
           ConfigData out;
           return h.audio.GetDynamicConfig(nullptr, out);
         },
         KEL_E_INVALIDARG, 1},
        {"remove null name", [](Helpers& h) { return h.audio.RemoveKelConfig(nullptr); },
         KEL_E_INVALIDARG, 1},
        {"subscribe null name",
         [](Helpers& h) { return h.audio.SubscribeConfig(nullptr, OnChange); }, 0, 1},
        {"bind null name", [](Helpers& h) { return h.audio.BindConfig(nullptr, Provide); }, 0, 1},
        {"unsubscribe null name",
         [](Helpers& h) { return h.audio.UnsubscribeConfig(nullptr, kGroupNone); },
         KEL_E_INVALIDARG, 0},
        {"apply null", [](Helpers& h) { return h.audio.ApplyKelConfigs(nullptr); },
         KEL_E_INVALIDARG, 1},
        {"set empty name", [](Helpers& h) { return h.audio.SetKelConfig("", 1); }, KEL_E_INVALIDARG,
         0},
        {"subscribe empty name", [](Helpers& h) { return h.audio.SubscribeConfig("", OnChange); },
         0, 0},
        {"set invalid value", [](Helpers& h) { return h.audio.SetKelConfig("gain", ConfigData()); },
         KEL_E_INVALIDARG, 0},
        {"unsubscribe id never issued", [](Helpers& h) { return h.audio.UnsubscribeConfig(4711); },
         KEL_E_BADSTATE, 0},
        {"unsubscribe id 0", [](Helpers& h) { return h.audio.UnsubscribeConfig(SubscribeId_t{0}); },
         KEL_E_BADSTATE, 0},
        {"unsubscribe name never subscribed",
         [](Helpers& h) { return h.audio.UnsubscribeConfig("gain", kGroupNone); }, KEL_E_BADSTATE,
         0},
        {"set without default group",
         [](Helpers& h) { return h.noDefault.SetKelConfig("gain", 1); }, KEL_E_BADSTATE, 0},
        {"subscribe without default group",
         [](Helpers& h) { return h.noDefault.SubscribeConfig("gain", OnChange); }, 0, 0},
        {"remove group without default group",
         [](Helpers& h) { return h.noDefault.RemoveKelConfigByGroup(); }, KEL_E_BADSTATE, 0},
        {"set without store",
         [](Helpers& h) { return h.noStore.SetKelConfig("gain", 1, kGroupAudio); },
         KEL_E_INVALIDARG, 1},
        {"get without store",
         [](Helpers& h) {
           ConfigData out;
           return h.noStore.GetKelConfig("gain", out, kGroupAudio);
         },
         KEL_E_INVALIDARG, 1},
        {"remove group without store",
         [](Helpers& h) { return h.noStore.RemoveKelConfigByGroup(kGroupAudio); }, KEL_E_INVALIDARG,
         1},
        {"dump without store", [](Helpers& h) { return h.noStore.DumpKelConfigs(1) != nullptr; }, 0,
         1},
        {"apply without store", [](Helpers& h) { return h.noStore.ApplyKelConfigs("{}"); },
         KEL_E_INVALIDARG, 1},
        {"call id 0xFFFFFFFF", [](Helpers& h) { return h.noStore.SetCallId(0xFFFFFFFFu); },
         KEL_E_BADSTATE, 0},
        {"another call id", [](Helpers& h) { return h.audio.SetCallId(kCall + 1); }, KEL_E_BADSTATE,
         0},
        {"init with call id 0xFFFFFFFF",
         [](Helpers& h) { return h.audio.InitKelConfig(0xFFFFFFFFu, kel::kSessionTypeAudio); },
         KEL_E_BADSTATE, 0},
    };
    for (uint32_t type : {6u, 13u, 15u, 0xFFFFFFFFu}) {
      rows.push_back({"session type " + std::to_string(type),
                      [type](Helpers& h) {
                        return h.noDefault.SetKelSessionType(
                            static_cast<kel::KelSessionType>(type));
                      },
                      KEL_E_BADSTATE, 0});
    }
    rows.push_back({"another session type",
                    [](Helpers& h) { return h.audio.SetKelSessionType(kel::kSessionTypeVideo); },
                    KEL_E_BADSTATE, 0});
    for (KelConfigGroup g : {kBadGroups[0], kBadGroups[1], kBadGroups[2], kGroupNone}) {
      const std::string at = " group " + std::to_string(g);
      rows.push_back({"default" + at, [g](Helpers& h) { return h.noDefault.SetDefaultGroup(g); },
                      KEL_E_BADSTATE, 0});
    }
    // An explicit group is handed to the store as it is, which refuses it.
    for (KelConfigGroup g : kBadGroups) {
      const std::string at = " group " + std::to_string(g);
      rows.push_back({"set" + at, [g](Helpers& h) { return h.audio.SetKelConfig("gain", 1, g); },
                      KEL_E_INVALIDARG, 0});
      rows.push_back({"get" + at,
                      [g](Helpers& h) {
                        ConfigData out;
                        return h.audio.GetKelConfig("gain", out, g);
                      },
                      KEL_E_INVALIDARG, 0});
      rows.push_back({"dynamic" + at,
                      [g](Helpers& h) {
                        ConfigData out;
                        return h.audio.GetDynamicConfig("gain", out, g);
                      },
                      KEL_E_INVALIDARG, 0});
      rows.push_back({"remove" + at, [g](Helpers& h) { return h.audio.RemoveKelConfig("gain", g); },
                      KEL_E_INVALIDARG, 0});
      rows.push_back({"remove group" + at,
                      [g](Helpers& h) { return h.audio.RemoveKelConfigByGroup(g); },
                      KEL_E_INVALIDARG, 0});
      rows.push_back({"subscribe" + at,
                      [g](Helpers& h) { return h.audio.SubscribeConfig("gain", OnChange, g); }, 0,
                      0});
      rows.push_back(
          {"bind" + at, [g](Helpers& h) { return h.audio.BindConfig("gain", Provide, g); }, 0, 0});
      rows.push_back({"unsubscribe" + at,
                      [g](Helpers& h) { return h.audio.UnsubscribeConfig("gain", g); },
                      KEL_E_INVALIDARG, 0});
    }
    // A toggle id without a key is a null name.
    for (KelFeatureToggleID id : kBadToggles) {
      const std::string of = " toggle " + std::to_string(id);
      rows.push_back({"set" + of, [id](Helpers& h) { return h.audio.SetFeatureToggle(id, "on"); },
                      KEL_E_INVALIDARG, 1});
      rows.push_back({"remove" + of, [id](Helpers& h) { return h.audio.RemoveFeatureToggle(id); },
                      KEL_E_INVALIDARG, 1});
      rows.push_back({"subscribe" + of,
                      [id](Helpers& h) { return h.audio.SubscribeFeatureToggle(id, OnChange); }, 0,
                      1});
      rows.push_back({"unsubscribe" + of,
                      [id](Helpers& h) { return h.audio.UnsubscribeFeatureToggle(id); },
                      KEL_E_INVALIDARG, 0});
      rows.push_back({"default on" + of,
                      [id](Helpers& h) { return h.audio.IsFeatureToggleDefaultOn(id); }, 1, 1});
    }

    for (const Row& row : rows) {
      SCOPED_TRACE(row.label);
      TraceCapture capture(0);
      EXPECT_EQ(row.call(helpers), row.expected);
      EXPECT_EQ(capture.AssertionCount(), row.assertions);
      EXPECT_EQ(audio.GetCallId(), kCall);
      EXPECT_EQ(audio.GetKelSessionType(), kel::kSessionTypeAudio);
      EXPECT_EQ(noDefault.GetKelSessionType(), kel::kSessionTypeUnknown);
      EXPECT_EQ(noStore.GetCallId(), 0xFFFFFFFFu);
      EXPECT_EQ(audio.GetKelConfig("gain"), ConfigData(3));
      EXPECT_EQ(audio.GetFeatureToggle(KEL_FT_Unknow), ConfigData("off"));
      EXPECT_EQ(audio.DumpKelConfigs(1u << kGroupVideo), std::string("{\"Video\":[]}"));
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
