#include "tools/mediastores-demo/modules.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace msdemo {

const char* const kIdrReasonNames[kIdrReasons] = {
    "pli", "fir", "loss", "start", "layer", "scene", "res", "codec", "period", "rtcp", "other"};

namespace {

using kelStore::KelConfigEvent;

constexpr int kReasonPli = 0;
constexpr int kReasonFir = 1;
constexpr int kReasonLoss = 2;

// A configuration value read as a whole number, or `fallback` when it is absent or not one.
uint32_t ToNumber(const ConfigData& value, uint32_t fallback) {
  if (!value.IsValid()) return fallback;
  const char* text = value.ToCstr();
  char* end = nullptr;
  const unsigned long number = std::strtoul(text, &end, 10);
  if (end == text || *end != '\0') return fallback;
  return static_cast<uint32_t>(number);
}

std::string Lower(std::string text) {
  for (char& c : text)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// "on (stored "true")", "off (stored "off")" or "on (nothing stored: on by default)".
std::string ToggleState(kelStore::KelConfigHelper& helper, kelStore::KelFeatureToggleID id) {
  const bool on = helper.IsFeatureToggleDefaultOn(id);
  std::string text = std::string(kelStore::KelFeatureToggleKey(id)) + " " + (on ? "on" : "off");
  if (helper.HaveFeatureToggle(id)) {
    text += " (stored \"" + helper.GetFeatureToggle(id).ToString() + "\")";
  } else {
    text += " (nothing stored: on by default)";
  }
  return text;
}

// Fires on a worker and does nothing: sent behind everything already posted, it returns once the
// worker has run all of it.
class DrainEvent : public IOxEvent {
 public:
  int OnEventFire() override { return 0; }
};

// Runs a function on the worker that fires it.
class WorkEvent : public IOxEvent {
 public:
  explicit WorkEvent(std::packaged_task<void()> work) : m_work(std::move(work)) {}
  int OnEventFire() override {
    m_work();
    return 0;
  }

 private:
  std::packaged_task<void()> m_work;
};

// Waits on the worker until its WorkerHold goes.
class HoldEvent : public IOxEvent {
 public:
  explicit HoldEvent(std::shared_ptr<WorkerHold::State> state) : m_state(std::move(state)) {}
  int OnEventFire() override {
    std::unique_lock<std::mutex> lock(m_state->mutex);
    m_state->released.wait(lock, [this] { return m_state->done; });
    return 0;
  }

 private:
  std::shared_ptr<WorkerHold::State> m_state;
};

}  // namespace

double NextRandom(uint32_t* state) {
  uint32_t x = *state;
  x ^= x << 13;
  x ^= x >> 17;
  x ^= x << 5;
  *state = x;
  return x / 4294967296.0;
}

// ---- WorkerPool ----

WorkerPool::WorkerPool() {
  for (int i = 0; i < 4; ++i)
    m_threads.push_back(std::make_unique<COxEventThread>());
}

WorkerPool::~WorkerPool() = default;

void WorkerPool::Drain() {
  for (auto& thread : m_threads)
    thread->GetEventQueue()->SendEvent(new DrainEvent());
}

std::future<void> WorkerPool::RunOn(AOxThread* worker, std::function<void()> work) {
  std::packaged_task<void()> task(std::move(work));
  std::future<void> done = task.get_future();
  worker->GetEventQueue()->PostEvent(new WorkEvent(std::move(task)), 0);
  return done;
}

WorkerHold::WorkerHold(AOxThread* worker) : m_state(std::make_shared<State>()) {
  worker->GetEventQueue()->PostEvent(new HoldEvent(m_state), 0);
}

WorkerHold::~WorkerHold() {
  {
    std::lock_guard<std::mutex> lock(m_state->mutex);
    m_state->done = true;
  }
  m_state->released.notify_all();
}

// ---- SimulatedModule ----

SimulatedModule::SimulatedModule(const char* name, uint32_t callId, DemoCounters* counters)
    : m_counters(counters),
      m_name(name),
      m_callId(callId),
      m_helper(std::make_unique<kelStore::KelConfigHelper>(callId)) {
  CountOps(1);
}

SimulatedModule::~SimulatedModule() = default;

bool SimulatedModule::Expect(bool ok, const char* what) {
  if (!ok) {
    std::fprintf(stderr, "mediastores-demo: call %u, %s module: %s failed\n", m_callId, m_name,
                 what);
    m_counters->failures.fetch_add(1, std::memory_order_relaxed);
  }
  return ok;
}

ConfigData SimulatedModule::Get(const char* key, kelStore::KelConfigGroup group) {
  CountOps(1);
  return m_helper->GetKelConfig(key, group);
}

uint32_t SimulatedModule::GetNumber(const char* key, uint32_t fallback,
                                    kelStore::KelConfigGroup group) {
  return ToNumber(Get(key, group), fallback);
}

std::string SimulatedModule::GetText(const char* key, const char* fallback,
                                     kelStore::KelConfigGroup group) {
  const ConfigData value = Get(key, group);
  return value.IsValid() ? value.ToString() : std::string(fallback);
}

bool SimulatedModule::Set(const char* key, ConfigData value, kelStore::KelConfigGroup group,
                          bool force) {
  CountOps(1);
  const int32_t result = m_helper->SetKelConfig(key, value, group, force);
  return Tally(result, key);
}

bool SimulatedModule::Tally(int32_t result, const char* what) {
  // Told someone, unchanged, nobody watches: all three mean the value is stored.
  switch (result) {
    case KEL_S_OK:
      m_counters->setsNotified.fetch_add(1, std::memory_order_relaxed);
      return true;
    case KEL_E_UNCHANGED:
      m_counters->setsUnchanged.fetch_add(1, std::memory_order_relaxed);
      return true;
    case KEL_E_NOOBSERVER:
      m_counters->setsNoObserver.fetch_add(1, std::memory_order_relaxed);
      return true;
    default:
      return Expect(false, what);
  }
}

bool SimulatedModule::Watch(const char* key, kelStore::fnConfigChangedCallBack cb,
                            kelStore::KelConfigGroup group, AOxThread* thread, bool async) {
  CountOps(1);
  return Expect(m_helper->SubscribeConfig(key, std::move(cb), group, thread, async) != 0, key);
}

// ---- ApplicationModule ----

ApplicationModule::ApplicationModule(uint32_t callId, MediaControls* controls,
                                     DemoCounters* counters)
    : SimulatedModule("application", callId, counters), m_controls(controls) {}

bool ApplicationModule::Start(const std::string& document) {
  CountOps(2);
  if (!Expect(helper().SetKelSessionType(kel::kSessionTypeApplication) == KEL_S_OK,
              "SetKelSessionType(Application)") ||
      !Expect(helper().ApplyKelConfigs(document.c_str()) == KEL_S_OK, "ApplyKelConfigs")) {
    return false;
  }
  // Own settings from the default group (Application), the rest by explicit group.
  m_rateIntervalMs = std::max(kControlTickMs, GetNumber("RateControlIntervalMs", 500));
  m_keyFramesPerMinute = GetNumber("KeyFrameRequestsPerMinute", 20);
  m_congestionFps = GetNumber("CongestionFrameRate", 15);
  m_maxFps = GetNumber("MaxFrameRate", 30, kelStore::kGroupVideo);
  m_maxVideoKbps = GetNumber("TargetBitrateKbps", 1200, kelStore::kGroupVideo);
  m_nominalAudioKbps = GetNumber("TargetBitrateKbps", 32, kelStore::kGroupAudio);
  m_congestionBelowKbps = GetNumber("CongestionBelowKbps", 600, kelStore::kGroupTransmission);
  m_controls->congestionBelowKbps.store(m_congestionBelowKbps);
  return true;
}

void ApplicationModule::RateControl() {
  // A dynamic read: the transport module's provider answers on this thread.
  CountOps(1);
  const ConfigData estimate =
      helper().GetDynamicConfig("AvailableBandwidthKbps", kelStore::kGroupTransmission);
  if (!Expect(estimate.IsValid(), "reading AvailableBandwidthKbps")) return;
  const uint32_t kbps = ToNumber(estimate, 0);
  const bool congested = kbps < m_congestionBelowKbps;
  const uint32_t audio = congested ? std::max(16u, m_nominalAudioKbps * 3 / 4) : m_nominalAudioKbps;
  const uint32_t usable = kbps * 85 / 100;
  uint32_t video = usable > audio + 100 ? usable - audio : 100;
  video = std::min(m_maxVideoKbps, video / 50 * 50);
  // Values are kept as texts, like the document's, so an unchanged value compares equal.
  Set("TargetBitrateKbps", ConfigData(std::to_string(audio)), kelStore::kGroupAudio);
  Set("TargetBitrateKbps", ConfigData(std::to_string(video)), kelStore::kGroupVideo);
  Set("MaxFrameRate", ConfigData(std::to_string(congested ? m_congestionFps : m_maxFps)),
      kelStore::kGroupVideo);
}

void ApplicationModule::SwitchDtx() {
  CountOps(2);
  const bool on = helper().IsFeatureToggleDefaultOn(kelStore::KEL_FT_EnableOpusDtx);
  Tally(
      helper().SetFeatureToggle(kelStore::KEL_FT_EnableOpusDtx, ConfigData(on ? "false" : "true")),
      "SetFeatureToggle(EnableOpusDtx)");
}

void ApplicationModule::RequestKeyFrame(int layer, int reason) {
  // Forced: the same request twice in a row must still reach the encoder.
  const std::string request = "L" + std::to_string(layer) + ":" + kIdrReasonNames[reason];
  Set("KeyFrameRequest", ConfigData(request), kelStore::kGroupVideo, true);
}

std::string ApplicationModule::Dump() {
  CountOps(1);
  const char* text = helper().DumpKelConfigs((1u << kelStore::kGroupLast) - 1);
  return text != nullptr ? std::string(text) : std::string();
}

std::string ApplicationModule::Describe() {
  return "application (session type Application): profile \"" +
         GetText("CallProfile", "-", kelStore::kGroupCommon) + "\", rate control every " +
         std::to_string(m_rateIntervalMs) + " ms, below " + std::to_string(m_congestionBelowKbps) +
         " kbps video drops to " + std::to_string(m_congestionFps) + " fps, " +
         std::to_string(m_keyFramesPerMinute) + " key frame requests a minute";
}

// ---- TransportModule ----

TransportModule::TransportModule(uint32_t callId, MediaControls* controls, DemoCounters* counters)
    : SimulatedModule("transport", callId, counters), m_controls(controls) {}

bool TransportModule::Start() {
  CountOps(1);
  if (!Expect(helper().SetDefaultGroup(kelStore::kGroupTransmission) == KEL_S_OK,
              "SetDefaultGroup(Transmission)")) {
    return false;
  }
  m_minKbps = GetNumber("MinBandwidthKbps", 300);
  m_maxKbps = std::max(m_minKbps, GetNumber("MaxBandwidthKbps", 2500));
  m_estimateKbps = std::clamp<double>(GetNumber("StartBandwidthKbps", 1500), m_minKbps, m_maxKbps);
  m_controls->bandwidthKbps.store(static_cast<uint32_t>(m_estimateKbps));
  // The provider runs on the reading thread (the controller's), whenever someone asks.
  CountOps(1);
  const kelStore::SubscribeId_t id =
      helper().BindConfig("AvailableBandwidthKbps", [this](const KelConfigEvent&) {
        CountNotification();
        return ConfigData(m_controls->bandwidthKbps.load(std::memory_order_relaxed));
      });
  return Expect(id != 0, "BindConfig(AvailableBandwidthKbps)");
}

void TransportModule::NetworkTick(uint32_t* rng) {
  if (m_congestionTicks > 0) {
    --m_congestionTicks;
    m_estimateKbps = m_estimateKbps * 0.6 + 0.4 * (m_minKbps * 1.2);
  } else if (NextRandom(rng) < 0.01) {
    // Roughly every ten seconds a congestion episode of one to two and a half seconds.
    m_congestionTicks = 10 + static_cast<int>(NextRandom(rng) * 15);
  } else {
    // Drift around, pulled back toward the middle of the range.
    const double middle = (m_minKbps + m_maxKbps) / 2.0;
    m_estimateKbps += (NextRandom(rng) - 0.5) * 0.08 * m_estimateKbps;
    m_estimateKbps += (middle - m_estimateKbps) * 0.05;
  }
  m_estimateKbps = std::clamp<double>(m_estimateKbps, m_minKbps, m_maxKbps);
  m_controls->bandwidthKbps.store(static_cast<uint32_t>(std::lround(m_estimateKbps)),
                                  std::memory_order_relaxed);
}

// ---- AudioModule ----

AudioModule::AudioModule(uint32_t callId, MediaControls* controls, AOxThread* worker,
                         DemoCounters* counters)
    : SimulatedModule("audio", callId, counters), m_controls(controls), m_worker(worker) {}

bool AudioModule::Start() {
  CountOps(1);
  if (!Expect(helper().SetKelSessionType(kel::kSessionTypeAudio) == KEL_S_OK,
              "SetKelSessionType(Audio)")) {
    return false;
  }
  m_codec = GetText("Codec", "opus");
  m_sampleRate = GetNumber("SampleRate", 48000);
  const std::string codec = Lower(m_codec);
  int32_t payloadType = kelStore::KEL_AUDIO_PAYLOAD_DYNAMIC_101;  // the engine's Opus
  if (codec == "pcmu") payloadType = kelStore::KEL_AUDIO_PAYLOAD_PCMU;
  if (codec == "pcma") payloadType = kelStore::KEL_AUDIO_PAYLOAD_PCMA;
  if (codec == "g722") payloadType = kelStore::KEL_AUDIO_PAYLOAD_G722;
  if (codec == "g729") payloadType = kelStore::KEL_AUDIO_PAYLOAD_G729;
  m_controls->audioPayloadType.store(payloadType);
  m_controls->jitterBufferMinMs.store(GetNumber("JitterBufferMinMs", 40));
  CountOps(1);
  m_controls->dtx.store(helper().IsFeatureToggleDefaultOn(kelStore::KEL_FT_EnableOpusDtx));

  MediaControls* controls = m_controls;
  // Directly, on the setting thread: the encoder takes a new rate at once. Subscribing delivers
  // the current value straight away.
  bool ok = Watch("TargetBitrateKbps", [this, controls](const KelConfigEvent& e) {
    CountNotification();
    controls->audioTargetKbps.store(ToNumber(e.newValue, controls->audioTargetKbps.load()));
  });
  // Posted to the audio worker: the jitter buffer is reconfigured off the setting thread.
  ok = ok && Watch(
                 "JitterBufferMaxMs",
                 [this, controls](const KelConfigEvent& e) {
                   CountNotification();
                   controls->jitterBufferMaxMs.store(
                       ToNumber(e.newValue, controls->jitterBufferMaxMs.load()));
                 },
                 kelStore::kGroupNone, m_worker, true);
  // The DTX toggle, posted too. A removed or never stored toggle counts as on.
  CountOps(1);
  const kelStore::SubscribeId_t toggleId = helper().SubscribeFeatureToggle(
      kelStore::KEL_FT_EnableOpusDtx,
      [this, controls](const KelConfigEvent& e) {
        CountNotification();
        controls->dtx.store(e.newValue.IsValid() ? static_cast<bool>(e.newValue) : true);
      },
      m_worker, true);
  return Expect(ok && toggleId != 0, "SubscribeFeatureToggle(EnableOpusDtx)");
}

std::string AudioModule::Describe() {
  return "audio (session type Audio): " + m_codec + "/" + std::to_string(m_sampleRate) +
         ", target " + std::to_string(m_controls->audioTargetKbps.load()) +
         " kbps, jitter buffer " + std::to_string(m_controls->jitterBufferMinMs.load()) + "-" +
         std::to_string(m_controls->jitterBufferMaxMs.load()) + " ms; " +
         ToggleState(helper(), kelStore::KEL_FT_EnableOpusDtx);
}

// ---- VideoModule ----

VideoModule::VideoModule(uint32_t callId, MediaControls* controls, AOxThread* worker,
                         DemoCounters* counters)
    : SimulatedModule("video", callId, counters), m_controls(controls), m_worker(worker) {}

bool VideoModule::Start() {
  CountOps(1);
  if (!Expect(helper().SetDefaultGroup(kelStore::kGroupVideo) == KEL_S_OK,
              "SetDefaultGroup(Video)")) {
    return false;
  }
  m_codec = GetText("Codec", "h264");
  const std::string codec = Lower(m_codec);
  // The engine's codec types: 0 H.264, 1 H.265, 2 VP8, 3 AV1.
  m_controls->videoCodecType.store(codec == "h265"  ? 1
                                   : codec == "vp8" ? 2
                                   : codec == "av1" ? 3
                                                    : 0);
  unsigned width = 1280;
  unsigned height = 720;
  if (std::sscanf(GetText("MaxResolution", "1280x720").c_str(), "%ux%u", &width, &height) != 2 ||
      width == 0 || height == 0 || width > 0xFFFF || height > 0xFFFF) {
    width = 1280;
    height = 720;
  }
  m_controls->videoWidth.store(width);
  m_controls->videoHeight.store(height);
  uint32_t layers = std::clamp<uint32_t>(GetNumber("SimulcastLayers", 3), 1, kLayers);
  // Toggles: nothing stored means on.
  CountOps(2);
  if (!helper().IsFeatureToggleDefaultOn(kelStore::KEL_FT_video_simulcast_three_layers)) {
    layers = std::min<uint32_t>(layers, 2);
  }
  m_denoiser = helper().IsFeatureToggleDefaultOn(kelStore::KEL_FT_EnableVideoDenoiser);
  m_controls->videoLayers.store(layers);

  MediaControls* controls = m_controls;
  // Sent to the video worker and waited for: the setter continues only once the encoder has
  // taken the new frame rate.
  bool ok = Watch(
      "MaxFrameRate",
      [this, controls](const KelConfigEvent& e) {
        CountNotification();
        controls->videoMaxFps.store(
            std::clamp<uint32_t>(ToNumber(e.newValue, controls->videoMaxFps.load()), 1, 60));
      },
      kelStore::kGroupNone, m_worker, false);
  // Posted to the video worker.
  ok = ok && Watch(
                 "TargetBitrateKbps",
                 [this, controls](const KelConfigEvent& e) {
                   CountNotification();
                   controls->videoTargetKbps.store(
                       ToNumber(e.newValue, controls->videoTargetKbps.load()));
                 },
                 kelStore::kGroupNone, m_worker, true);
  // Directly: "L<layer>:<reason>" marks a key frame for the encoder's next frame.
  ok = ok && Watch("KeyFrameRequest", [this, controls](const KelConfigEvent& e) {
         CountNotification();
         const std::string request = e.newValue.ToString();
         const size_t colon = request.find(':');
         if (request.size() < 4 || request[0] != 'L' || colon == std::string::npos) return;
         const int layer = std::atoi(request.c_str() + 1);
         if (layer < 0 || layer >= kLayers) return;
         for (int reason = 0; reason < kIdrReasons; ++reason) {
           if (request.compare(colon + 1, std::string::npos, kIdrReasonNames[reason]) == 0) {
             controls->pendingIdr[layer].fetch_or(1u << reason);
           }
         }
       });
  return ok;
}

std::string VideoModule::Describe() {
  return "video (default group Video): " + m_codec + " " +
         std::to_string(m_controls->videoWidth.load()) + "x" +
         std::to_string(m_controls->videoHeight.load()) + ", " +
         std::to_string(m_controls->videoLayers.load()) + " layers, " +
         std::to_string(m_controls->videoMaxFps.load()) + " fps, target " +
         std::to_string(m_controls->videoTargetKbps.load()) + " kbps; " +
         ToggleState(helper(), kelStore::KEL_FT_EnableVideoDenoiser) + "; " +
         ToggleState(helper(), kelStore::KEL_FT_video_simulcast_three_layers);
}

// ---- Call ----

Call::Call(uint32_t index, uint32_t callId, WorkerPool* workers, DemoCounters* counters)
    : m_index(index),
      m_callId(callId),
      m_workers(workers),
      m_counters(counters),
      m_rng(callId * 2654435761u | 1u) {}

Call::~Call() {
  Finish();
}

bool Call::Start(const std::string& document) {
  // The application module loads the call's configuration first; the others read it.
  m_application = std::make_unique<ApplicationModule>(m_callId, &m_controls, m_counters);
  if (!m_application->Start(document)) return false;
  m_transport = std::make_unique<TransportModule>(m_callId, &m_controls, m_counters);
  if (!m_transport->Start()) return false;
  m_audio = std::make_unique<AudioModule>(m_callId, &m_controls, m_workers->Audio(), m_counters);
  if (!m_audio->Start()) return false;
  m_video =
      std::make_unique<VideoModule>(m_callId, &m_controls, m_workers->Video(m_index), m_counters);
  return m_video->Start();
}

void Call::ControlTick(uint64_t tick) {
  m_transport->NetworkTick(&m_rng);
  const uint64_t phase = tick + m_index;
  const uint64_t ratePeriod = m_application->rateControlIntervalMs() / kControlTickMs;
  if (phase % ratePeriod == 0) m_application->RateControl();
  if (phase % 20 == 7) m_application->SwitchDtx();
  const double ticksPerMinute = 60000.0 / kControlTickMs;
  if (NextRandom(&m_rng) < m_application->keyFramesPerMinute() / ticksPerMinute) {
    const int layer = static_cast<int>(NextRandom(&m_rng) * m_controls.videoLayers.load());
    const double pick = NextRandom(&m_rng);
    const int reason = pick < 0.6 ? kReasonPli : pick < 0.8 ? kReasonFir : kReasonLoss;
    m_application->RequestKeyFrame(layer, reason);
  }
}

std::string Call::Describe() {
  return "  " + m_application->Describe() + "\n  " + m_audio->Describe() + "\n  " +
         m_video->Describe() +
         "\n  transport (default group Transmission): answers "
         "AvailableBandwidthKbps (now " +
         std::to_string(m_controls.bandwidthKbps.load()) + " kbps) through a bound provider\n";
}

void Call::Finish() {
  if (m_finished || m_application == nullptr) return;
  m_finished = true;
  for (SimulatedModule* module :
       {static_cast<SimulatedModule*>(m_video.get()), static_cast<SimulatedModule*>(m_audio.get()),
        static_cast<SimulatedModule*>(m_transport.get()),
        static_cast<SimulatedModule*>(m_application.get())}) {
    if (module != nullptr) module->Detach();
  }
  // The call's own reference, taken when its store was made.
  if (kelStore::CleanUpKelConfig(m_callId) != KEL_S_OK) {
    std::fprintf(stderr, "mediastores-demo: call %u: CleanUpKelConfig failed\n", m_callId);
    m_counters->failures.fetch_add(1, std::memory_order_relaxed);
  }
}

}  // namespace msdemo
