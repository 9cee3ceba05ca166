// The simulated engine modules of a call and the worker threads they share. Each module owns a
// KelConfigHelper on the call's configuration store and reacts to the keys it watches by
// changing the call's MediaControls, which the statistics pipeline reads.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_MODULES_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_MODULES_H_

#include <mediastores/mediastores.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tools/mediastores-demo/demo_counters.h"

namespace msdemo {

constexpr int kLayers = kelStore::kKelVideoLayerCount;
constexpr int kIdrReasons = kelStore::kKelVideoIdrReasonCount;
// The controller's period.
constexpr uint32_t kControlTickMs = 100;

// What the simulated engine calls each of the eleven IDR reason counters.
extern const char* const kIdrReasonNames[kIdrReasons];

// The live settings of one call's media, written by the modules' callbacks (on whatever thread
// delivers them) and read by the pipeline threads.
struct MediaControls {
  // Audio.
  std::atomic<uint32_t> audioTargetKbps{32};
  std::atomic<int32_t> audioPayloadType{101};
  std::atomic<uint32_t> jitterBufferMinMs{40};
  std::atomic<uint32_t> jitterBufferMaxMs{200};
  std::atomic<bool> dtx{true};
  // Video.
  std::atomic<uint32_t> videoTargetKbps{1200};
  std::atomic<uint32_t> videoMaxFps{30};
  std::atomic<uint32_t> videoLayers{3};
  std::atomic<uint32_t> videoWidth{1280};
  std::atomic<uint32_t> videoHeight{720};
  std::atomic<int32_t> videoCodecType{0};
  // Per layer, a bit per IDR reason: key frames asked for and not yet sent.
  std::atomic<uint32_t> pendingIdr[kLayers] = {};
  // Transport: the current bandwidth estimate, and the estimate below which the link counts as
  // congested (lossy, jittery; video drops its frame rate).
  std::atomic<uint32_t> bandwidthKbps{1500};
  std::atomic<uint32_t> congestionBelowKbps{600};
};

// A handful of event threads shared by every call: audio, video (two) and application work.
class WorkerPool {
 public:
  WorkerPool();
  ~WorkerPool();

  AOxThread* Audio() { return m_threads[0].get(); }
  AOxThread* Video(uint32_t callIndex) { return m_threads[1 + callIndex % 2].get(); }
  AOxThread* Application() { return m_threads[3].get(); }
  size_t size() const { return m_threads.size(); }

  // Returns once every event posted to any worker before the call has run.
  void Drain();
  // Posts `work` to `worker`; the future is ready once it has run.
  static std::future<void> RunOn(AOxThread* worker, std::function<void()> work);

 private:
  std::vector<std::unique_ptr<COxEventThread>> m_threads;
};

// Keeps a worker inside one event from construction until destruction: what is posted to it
// meanwhile waits in its queue and runs afterwards in one go, instead of waking the worker event
// by event. Nothing may be sent to the worker (and waited for) while it is held.
class WorkerHold {
 public:
  explicit WorkerHold(AOxThread* worker);
  ~WorkerHold();
  WorkerHold(const WorkerHold&) = delete;
  WorkerHold& operator=(const WorkerHold&) = delete;

  struct State {
    std::mutex mutex;
    std::condition_variable released;
    bool done = false;
  };

 private:
  std::shared_ptr<State> m_state;
};

// What every module has: a helper on the call's store and counted access to it.
class SimulatedModule {
 public:
  SimulatedModule(const char* name, uint32_t callId, DemoCounters* counters);
  virtual ~SimulatedModule();

  SimulatedModule(const SimulatedModule&) = delete;
  SimulatedModule& operator=(const SimulatedModule&) = delete;

  // Destroys the helper: withdraws every subscription and binding, gives the store back.
  void Detach() { m_helper.reset(); }

 protected:
  kelStore::KelConfigHelper& helper() { return *m_helper; }
  uint32_t callId() const { return m_callId; }

  void CountOps(uint64_t n) { m_counters->configOps.fetch_add(n, std::memory_order_relaxed); }
  void CountNotification() { m_counters->notifications.fetch_add(1, std::memory_order_relaxed); }
  // Reports an unexpected result on standard error and counts it; returns `ok`.
  bool Expect(bool ok, const char* what);

  // Counted helper calls.
  ConfigData Get(const char* key, kelStore::KelConfigGroup group = kelStore::kGroupNone);
  uint32_t GetNumber(const char* key, uint32_t fallback,
                     kelStore::KelConfigGroup group = kelStore::kGroupNone);
  std::string GetText(const char* key, const char* fallback,
                      kelStore::KelConfigGroup group = kelStore::kGroupNone);
  // Sets and tallies the answer (told someone, unchanged, nobody watches); false on a failure.
  bool Set(const char* key, ConfigData value, kelStore::KelConfigGroup group = kelStore::kGroupNone,
           bool force = false);
  // Tallies a set's answer; false (reported) for anything but a stored value.
  bool Tally(int32_t result, const char* what);
  bool Watch(const char* key, kelStore::fnConfigChangedCallBack cb,
             kelStore::KelConfigGroup group = kelStore::kGroupNone, AOxThread* thread = nullptr,
             bool async = false);

  DemoCounters* m_counters;

 private:
  const char* m_name;
  uint32_t m_callId;
  std::unique_ptr<kelStore::KelConfigHelper> m_helper;
};

// Application: owns the call's configuration (loads the document), allocates the bandwidth
// between audio and video, switches feature toggles and asks for key frames.
class ApplicationModule : public SimulatedModule {
 public:
  ApplicationModule(uint32_t callId, MediaControls* controls, DemoCounters* counters);
  bool Start(const std::string& document);
  // Reads the transport's estimate (a dynamic key) and sets the audio and video targets.
  void RateControl();
  // Turns Opus DTX off when it is on and on when it is off.
  void SwitchDtx();
  // Forces a "KeyFrameRequest" (layer and reason) that the video module watches.
  void RequestKeyFrame(int layer, int reason);
  std::string Dump();
  std::string Describe();

  uint32_t rateControlIntervalMs() const { return m_rateIntervalMs; }
  uint32_t keyFramesPerMinute() const { return m_keyFramesPerMinute; }

 private:
  MediaControls* m_controls;
  uint32_t m_rateIntervalMs = 500;
  uint32_t m_keyFramesPerMinute = 20;
  uint32_t m_congestionFps = 15;
  uint32_t m_maxFps = 30;
  uint32_t m_maxVideoKbps = 1200;
  uint32_t m_nominalAudioKbps = 32;
  uint32_t m_congestionBelowKbps = 600;
};

// Transport: keeps a bandwidth estimate and answers the dynamic key "AvailableBandwidthKbps".
class TransportModule : public SimulatedModule {
 public:
  TransportModule(uint32_t callId, MediaControls* controls, DemoCounters* counters);
  bool Start();
  // One controller period of the simulated network: drift, and now and then congestion.
  void NetworkTick(uint32_t* rng);

 private:
  MediaControls* m_controls;
  uint32_t m_minKbps = 300;
  uint32_t m_maxKbps = 2500;
  double m_estimateKbps = 1500;
  int m_congestionTicks = 0;
};

// Audio: watches its bit rate directly, the jitter-buffer limit and the DTX toggle on the audio
// worker (posted).
class AudioModule : public SimulatedModule {
 public:
  AudioModule(uint32_t callId, MediaControls* controls, AOxThread* worker, DemoCounters* counters);
  bool Start();
  std::string Describe();

 private:
  MediaControls* m_controls;
  AOxThread* m_worker;
  std::string m_codec;
  uint32_t m_sampleRate = 0;
};

// Video: watches the frame rate on its worker, sent and waited for, the bit rate posted to its
// worker, and key frame requests directly.
class VideoModule : public SimulatedModule {
 public:
  VideoModule(uint32_t callId, MediaControls* controls, AOxThread* worker, DemoCounters* counters);
  bool Start();
  std::string Describe();

 private:
  MediaControls* m_controls;
  AOxThread* m_worker;
  std::string m_codec;
  bool m_denoiser = false;
};

// One call: its four modules and their shared controls.
class Call {
 public:
  Call(uint32_t index, uint32_t callId, WorkerPool* workers, DemoCounters* counters);
  ~Call();

  // Creates the modules in engine order; false when one could not start.
  bool Start(const std::string& document);
  // One controller period (kControlTickMs); `tick` counts periods from the start.
  void ControlTick(uint64_t tick);
  // What the modules took from the configuration (for the first call's description).
  std::string Describe();
  std::string DumpConfiguration() { return m_application->Dump(); }
  // Ends the call: every helper released, then the call's own store reference cleaned up (a
  // call that never started has neither).
  void Finish();
  // The worker of the call's video module.
  AOxThread* videoWorker() { return m_workers->Video(m_index); }

  uint32_t callId() const { return m_callId; }
  MediaControls* controls() { return &m_controls; }

 private:
  uint32_t m_index;
  uint32_t m_callId;
  WorkerPool* m_workers;
  DemoCounters* m_counters;
  MediaControls m_controls;
  uint32_t m_rng;
  bool m_finished = false;
  std::unique_ptr<ApplicationModule> m_application;
  std::unique_ptr<TransportModule> m_transport;
  std::unique_ptr<AudioModule> m_audio;
  std::unique_ptr<VideoModule> m_video;
};

// A small fast generator for the simulation (xorshift); returns a value in [0, 1).
double NextRandom(uint32_t* state);

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_MODULES_H_
