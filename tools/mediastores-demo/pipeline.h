// The statistics side of the simulated engine: a ledger of statistics object references, and the
// audio and video pipeline threads that write figures per packet and per frame. A bounded number
// of pipeline threads each serve many calls.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_PIPELINE_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_PIPELINE_H_

#include <mediastores/mediastores.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "tools/mediastores-demo/demo_counters.h"
#include "tools/mediastores-demo/modules.h"

namespace msdemo {

// Every statistics object reference the demo takes and gives back, so that the run can prove at
// the end that no object is left: the release of an object's last holder must answer 0.
class StatsLedger {
 public:
  explicit StatsLedger(DemoCounters* counters) : m_counters(counters) {}

  // createMediastoresEntity; null (reported) on failure.
  void* Acquire(kelStore::KelMediastoresEntityType type, uint32_t callId);
  // releaseMediastoresEntity, checking the count it answers against the holders known here.
  void Release(kelStore::KelMediastoresEntityType type, uint32_t callId, void* object);

  uint64_t taken() const;
  uint64_t givenBack() const;
  // Objects not known to be gone: keys still held, and keys whose last release did not answer 0.
  uint64_t objectsLeft() const;

 private:
  DemoCounters* m_counters;
  mutable std::mutex m_mutex;
  std::map<std::pair<int32_t, uint32_t>, int> m_holders;
  uint64_t m_taken = 0;
  uint64_t m_givenBack = 0;
  uint64_t m_leftBehind = 0;
};

// A thread that runs Step() every period until stopped.
class PipelineThread {
 public:
  PipelineThread(std::chrono::microseconds period, DemoCounters* counters);
  virtual ~PipelineThread();

  void Start();
  void Stop();

 protected:
  // One period's work over every call served; returns the number of statistics updates made.
  virtual uint64_t Step(int64_t nowUs) = 0;

 private:
  void Run();

  std::chrono::microseconds m_period;
  DemoCounters* m_counters;
  std::atomic<bool> m_stop{false};
  std::thread m_thread;
};

// Audio: every 20 ms one packet each way per call (bit rates, levels, jitter buffer, delay).
class AudioPipeline : public PipelineThread {
 public:
  AudioPipeline(StatsLedger* ledger, DemoCounters* counters);
  ~AudioPipeline() override;

  // Takes the writer's reference of the call's audio statistics. Before Start().
  bool AddCall(uint32_t callId, const MediaControls* controls);
  // Room for `calls` calls, taken before they are added.
  void Reserve(size_t calls) { m_calls.reserve(calls); }
  // Gives every reference back. After Stop().
  void ReleaseAll();

 protected:
  uint64_t Step(int64_t nowUs) override;

 private:
  struct CallState {
    uint32_t callId;
    const MediaControls* controls;
    kelStore::IKelAudioInfo* stats;
    uint32_t rng;
    uint32_t packets = 0;
    bool talking = true;
    bool remoteTalking = false;
    double jitterMs = 8;
    double jitterBufferMs = 60;
    uint32_t concealed = 0;  // in the current one-second window
    uint32_t late = 0;
    uint32_t lastConcealed = 0;  // in the last full window
    uint32_t lastLate = 0;
  };
  uint64_t Packet(CallState& call);

  StatsLedger* m_ledger;
  std::vector<CallState> m_calls;
};

// Video: each call encodes frames at its frame rate, several simulcast layers per frame, and
// answers key frame requests with IDR frames.
class VideoPipeline : public PipelineThread {
 public:
  VideoPipeline(StatsLedger* ledger, DemoCounters* counters);
  ~VideoPipeline() override;

  // Takes the writer's reference of the call's video statistics. Before Start().
  bool AddCall(uint32_t callId, MediaControls* controls);
  void Reserve(size_t calls) { m_calls.reserve(calls); }
  void ReleaseAll();

 protected:
  uint64_t Step(int64_t nowUs) override;

 private:
  struct CallState {
    uint32_t callId;
    MediaControls* controls;  // the pipeline takes the key frame requests out
    kelStore::IKelVideoInfo* stats;
    uint32_t rng;
    int64_t nextFrameUs = 0;
    uint32_t frames = 0;
    uint32_t idrRequests = 0;
    uint32_t idrSent = 0;
    double layerBps[kLayers] = {};
    bool layerStarted[kLayers] = {};
    kelStore::st_KelVideoStreamStatInfo streams[kLayers] = {};
  };
  uint64_t Frame(CallState& call);

  StatsLedger* m_ledger;
  std::vector<CallState> m_calls;
};

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_PIPELINE_H_
