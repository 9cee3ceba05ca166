// A minimal engine module on the configuration store of its call, through a KelConfigHelper:
// load a document, set and read values, watch a key on the module's own worker thread, answer a
// dynamic key through a provider, and read and switch a feature toggle. The program exits with
// status 1 if the library answers anything other than what the comments say.
#include <mediastores/mediastores.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int g_failures = 0;

void Expect(bool ok, const char* what) {
  if (!ok) {
    std::fprintf(stderr, "unexpected: %s\n", what);
    ++g_failures;
  }
}

}  // namespace

int main() {
  const uint32_t callId = 42;
  {
    // The worker is declared first so that it outlives the helper and its subscriptions.
    COxEventThread worker;
    kelStore::KelConfigHelper config(callId);  // takes a reference of call 42's store
    Expect(config.SetKelSessionType(kel::kSessionTypeVideo) == KEL_S_OK, "default group Video");

    // A deployment document, in the shape DumpKelConfigs writes.
    Expect(config.ApplyKelConfigs(R"({"Video":[{"key":"MaxFrameRate","value":"30"}]})") == KEL_S_OK,
           "apply the document");
    const ConfigData fps = config.GetKelConfig("MaxFrameRate");  // from the default group
    std::printf("MaxFrameRate from the document: %s\n", fps.ToCstr());
    Expect(fps == ConfigData("30"), "MaxFrameRate is the text \"30\"");

    // Watch the key on the worker. bAsync=false: the setter waits until the callback has run
    // there (bAsync=true would post it and return at once). The current value is delivered at
    // once on subscribing.
    std::atomic<int> seenFps{0};
    std::atomic<uint64_t> seenOn{0};
    const kelStore::SubscribeId_t id = config.SubscribeConfig(
        "MaxFrameRate",
        [&](const kelStore::KelConfigEvent& e) {
          seenFps.store(std::atoi(e.newValue.ToCstr()));
          seenOn.store(GetThreadSelfId());
        },
        kelStore::kGroupNone, &worker, false);
    Expect(id != 0, "subscribe");
    Expect(seenFps.load() == 30, "first notification carries the current value");

    // KEL_S_OK: stored and someone was told; KEL_E_UNCHANGED: stored, equal to the old value,
    // nobody told; KEL_E_NOOBSERVER: stored, nobody watches the key.
    Expect(config.SetKelConfig("MaxFrameRate", ConfigData(15)) == KEL_S_OK, "set 15");
    std::printf("callback saw %d fps on the worker thread: %s\n", seenFps.load(),
                seenOn.load() == worker.GetThreadId() ? "yes" : "no");
    Expect(seenFps.load() == 15 && seenOn.load() == worker.GetThreadId(), "told on the worker");
    Expect(config.SetKelConfig("MaxFrameRate", ConfigData(15)) == KEL_E_UNCHANGED, "set 15 again");
    Expect(config.SetKelConfig("MaxBitrateKbps", ConfigData(2500)) == KEL_E_NOOBSERVER,
           "set an unwatched key");

    // A provider answers dynamic reads of a key on the reading thread.
    std::atomic<int> encoderLoad{37};
    Expect(config.BindConfig("EncoderLoadPercent",
                             [&](const kelStore::KelConfigEvent&) {
                               return ConfigData(encoderLoad.load());
                             }) != 0,
           "bind a provider");
    const ConfigData load = config.GetDynamicConfig("EncoderLoadPercent");
    std::printf("EncoderLoadPercent from the provider: %s\n", load.ToCstr());
    Expect(load == ConfigData(37), "provider answers 37");

    // Feature toggles are on unless a value that reads as false is stored.
    const kelStore::KelFeatureToggleID denoiser = kelStore::KEL_FT_EnableVideoDenoiser;
    Expect(config.IsFeatureToggleDefaultOn(denoiser), "on while nothing is stored");
    config.SetFeatureToggle(denoiser, ConfigData("off"));
    Expect(!config.IsFeatureToggleDefaultOn(denoiser), "off after storing \"off\"");
    config.RemoveFeatureToggle(denoiser);
    Expect(config.IsFeatureToggleDefaultOn(denoiser), "on again after removing it");
    std::printf("toggle %s: on by default, off when \"off\" is stored\n",
                kelStore::KelFeatureToggleKey(denoiser));

    // The Video group as a document (bit g selects group g).
    std::printf("Video group: %s\n", config.DumpKelConfigs(1u << kelStore::kGroupVideo));
  }  // the helper withdraws its subscription and binding and gives its reference back

  kelStore::CleanUpKelConfig(callId);  // the call is over: its own reference goes, and the store
  Expect(kelStore::GetKelConfigSizeForUT() == 0, "no store left");
  std::printf("%s\n", g_failures == 0 ? "config_module: ok" : "config_module: FAILED");
  return g_failures == 0 ? 0 : 1;
}
