#include "tools/mediastores-demo/pipeline.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace msdemo {
namespace {

constexpr int kAudioPacketMs = 20;
constexpr int kPacketsPerSecond = 1000 / kAudioPacketMs;
constexpr int kReasonLoss = 2;
constexpr int kReasonStart = 3;
// Video calls are visited this often; each sends a frame when its frame time has come.
constexpr std::chrono::microseconds kVideoVisitPeriod{5000};

int64_t NowUs() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// A congested link is lossy and jittery.
bool Congested(const MediaControls& controls) {
  return controls.bandwidthKbps.load(std::memory_order_relaxed) <
         controls.congestionBelowKbps.load(std::memory_order_relaxed);
}

}  // namespace

// ---- StatsLedger ----

void* StatsLedger::Acquire(kelStore::KelMediastoresEntityType type, uint32_t callId) {
  void* object = nullptr;
  if (kelStore::createMediastoresEntity(type, callId, &object) != KEL_S_OK || object == nullptr) {
    std::fprintf(stderr, "mediastores-demo: createMediastoresEntity(%d, %u) failed\n", type,
                 callId);
    m_counters->failures.fetch_add(1, std::memory_order_relaxed);
    return nullptr;
  }
  std::lock_guard<std::mutex> lock(m_mutex);
  ++m_holders[{type, callId}];
  ++m_taken;
  return object;
}

void StatsLedger::Release(kelStore::KelMediastoresEntityType type, uint32_t callId, void* object) {
  if (object == nullptr) return;
  const int32_t left = kelStore::releaseMediastoresEntity(type, callId, object);
  std::lock_guard<std::mutex> lock(m_mutex);
  ++m_givenBack;
  const auto holder = m_holders.find({type, callId});
  if (holder == m_holders.end()) return;
  const int expected = --holder->second;
  if (left != expected) {
    std::fprintf(stderr,
                 "mediastores-demo: releaseMediastoresEntity(%d, %u) answered %d, expected %d\n",
                 type, callId, left, expected);
    m_counters->failures.fetch_add(1, std::memory_order_relaxed);
  }
  if (expected == 0) {
    if (left != 0) ++m_leftBehind;
    m_holders.erase(holder);
  }
}

uint64_t StatsLedger::taken() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_taken;
}

uint64_t StatsLedger::givenBack() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_givenBack;
}

uint64_t StatsLedger::objectsLeft() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_holders.size() + m_leftBehind;
}

// ---- PipelineThread ----

PipelineThread::PipelineThread(std::chrono::microseconds period, DemoCounters* counters)
    : m_period(period), m_counters(counters) {}

PipelineThread::~PipelineThread() {
  Stop();
}

void PipelineThread::Start() {
  m_thread = std::thread([this] { Run(); });
}

void PipelineThread::Stop() {
  m_stop.store(true);
  if (m_thread.joinable()) m_thread.join();
}

void PipelineThread::Run() {
  auto next = std::chrono::steady_clock::now();
  while (!m_stop.load(std::memory_order_relaxed)) {
    const uint64_t updates = Step(NowUs());
    m_counters->statsUpdates.fetch_add(updates, std::memory_order_relaxed);
    next += m_period;
    const auto now = std::chrono::steady_clock::now();
    // A late thread drops the periods it missed rather than running them back to back.
    if (next < now) next = now;
    std::this_thread::sleep_until(next);
  }
}

// ---- AudioPipeline ----

AudioPipeline::AudioPipeline(StatsLedger* ledger, DemoCounters* counters)
    : PipelineThread(std::chrono::milliseconds(kAudioPacketMs), counters), m_ledger(ledger) {}

AudioPipeline::~AudioPipeline() {
  Stop();
  ReleaseAll();
}

bool AudioPipeline::AddCall(uint32_t callId, const MediaControls* controls) {
  void* object = m_ledger->Acquire(kelStore::KEL_MEDIASTORES_AUDIO, callId);
  if (object == nullptr) return false;
  CallState call{};
  call.callId = callId;
  call.controls = controls;
  call.stats = static_cast<kelStore::IKelAudioInfo*>(object);
  call.rng = callId * 747796405u | 1u;
  call.packets = callId % kPacketsPerSecond;  // spread the once-a-second work over the calls
  m_calls.push_back(call);
  return true;
}

void AudioPipeline::ReleaseAll() {
  for (CallState& call : m_calls) {
    m_ledger->Release(kelStore::KEL_MEDIASTORES_AUDIO, call.callId, call.stats);
  }
  m_calls.clear();
}

uint64_t AudioPipeline::Step(int64_t) {
  uint64_t updates = 0;
  for (CallState& call : m_calls)
    updates += Packet(call);
  return updates;
}

uint64_t AudioPipeline::Packet(CallState& call) {
  kelStore::IKelAudioInfo& stats = *call.stats;
  const MediaControls& controls = *call.controls;
  uint32_t* rng = &call.rng;
  const bool congested = Congested(controls);
  const bool dtx = controls.dtx.load(std::memory_order_relaxed);
  const double targetKbps = controls.audioTargetKbps.load(std::memory_order_relaxed);
  uint64_t updates = 0;
  ++call.packets;

  // Conversation: talk spurts of about a second on each side.
  if (NextRandom(rng) < 0.02) call.talking = !call.talking;
  if (NextRandom(rng) < 0.02) call.remoteTalking = !call.remoteTalking;

  // Send side. With DTX the encoder sends only comfort noise between talk spurts.
  const double txKbps = (!call.talking && dtx) ? 1.6 : targetKbps * (0.95 + 0.1 * NextRandom(rng));
  stats.updateTxBitRate(static_cast<unsigned>(txKbps * 1000));
  const float speech = call.talking ? static_cast<float>(-22 - 6 * NextRandom(rng)) : -75.0f;
  stats.updateSpeechLevel(speech, speech - 3, speech - 6);
  const float noise = static_cast<float>(-62 - 4 * NextRandom(rng));
  stats.updateNoiseLevel(noise, noise - 2, noise - 4);
  const float erle = call.remoteTalking ? static_cast<float>(18 + 10 * NextRandom(rng)) : 0.0f;
  stats.updateAECLevel(erle, erle / 2, 0.0f);
  updates += 4;

  // Receive side: the far end's stream through a jitter buffer.
  const double rxKbps =
      (!call.remoteTalking && dtx) ? 1.6 : targetKbps * (0.9 + 0.15 * NextRandom(rng));
  stats.updateRxBitRate(0, static_cast<unsigned>(rxKbps * 1000));
  const double jitterSample = (congested ? 30 : 4) + (congested ? 40 : 16) * NextRandom(rng);
  call.jitterMs = 0.9 * call.jitterMs + 0.1 * jitterSample;
  const double minMs = controls.jitterBufferMinMs.load(std::memory_order_relaxed);
  const double maxMs = std::max(minMs, double(controls.jitterBufferMaxMs.load()));
  const double targetMs = std::clamp(minMs + 2.5 * call.jitterMs, minMs, maxMs);
  call.jitterBufferMs += (targetMs - call.jitterBufferMs) * 0.1;
  if (NextRandom(rng) < (congested ? 0.03 : 0.004)) ++call.concealed;
  if (NextRandom(rng) < (congested ? 0.02 : 0.003)) ++call.late;
  if (call.packets % kPacketsPerSecond == 0) {
    call.lastConcealed = call.concealed;
    call.lastLate = call.late;
    call.concealed = 0;
    call.late = 0;
  }
  kelStore::st_KelAudioJitterBufferStatistics jb{};
  jb.field_at_36 = static_cast<uint32_t>(call.jitterBufferMs);  // current delay
  jb.field_at_40 = static_cast<uint64_t>(targetMs);             // target delay
  jb.field_at_12 = static_cast<uint32_t>(call.jitterMs);        // jitter
  jb.field_at_8 = call.lastConcealed;                           // concealed packets, last second
  jb.field_at_16 = call.lastLate;                               // late packets, last second
  jb.field_at_48 = static_cast<uint32_t>(minMs);
  const int fill = static_cast<int>(100 * call.jitterBufferMs / maxMs);
  stats.updateJitterBufferStatistics(0, jb, fill, congested ? 1 : 0);
  const unsigned networkMs = static_cast<unsigned>(45 + call.jitterMs + (congested ? 60 : 0));
  const unsigned bufferMs = static_cast<unsigned>(call.jitterBufferMs);
  stats.updateE2EDelayInfo(0, networkMs, bufferMs, networkMs + bufferMs + kAudioPacketMs);
  stats.updateDecodeInfo(0, true, call.packets);
  updates += 4;

  // Every 200 ms: the send codec's figures (the DTX state rides in its field at 4).
  if (call.packets % 10 == 0) {
    kelStore::st_KelAudioCodecStatisticsInfo codec{};
    codec.lbrrFlag = congested;
    codec.field_at_4 = dtx ? 1 : 0;
    codec.payloadType = static_cast<kelStore::KEL_AUDIO_PAYLOAD_TYPE>(
        controls.audioPayloadType.load(std::memory_order_relaxed));
    codec.encodeDropFrameInMs = 0;
    codec.field_at_16 = call.packets;
    stats.updateSendCodecInfo(codec);
    stats.updatePayloadType(0, codec.payloadType);
    updates += 2;
  }
  // Once a second: A/V synchronisation figures of the receive stream.
  if (call.packets % kPacketsPerSecond == 0) {
    kel::_tagSyncStatistics sync{};
    sync.values[0] = static_cast<uint32_t>(20 * NextRandom(rng));  // audio-video offset, ms
    stats.updateAVSyncStatistics(0, sync);
    stats.updateUnstableEventCount(congested ? 1 : 0);
    updates += 2;
  }
  return updates;
}

// ---- VideoPipeline ----

VideoPipeline::VideoPipeline(StatsLedger* ledger, DemoCounters* counters)
    : PipelineThread(kVideoVisitPeriod, counters), m_ledger(ledger) {}

VideoPipeline::~VideoPipeline() {
  Stop();
  ReleaseAll();
}

bool VideoPipeline::AddCall(uint32_t callId, MediaControls* controls) {
  void* object = m_ledger->Acquire(kelStore::KEL_MEDIASTORES_VIDEO, callId);
  if (object == nullptr) return false;
  m_calls.emplace_back();
  CallState& call = m_calls.back();
  call.callId = callId;
  call.controls = controls;
  call.stats = static_cast<kelStore::IKelVideoInfo*>(object);
  call.rng = callId * 2891336453u | 1u;
  // Calls start their frames at different moments within the first frame time.
  call.nextFrameUs = NowUs() + static_cast<int64_t>(NextRandom(&call.rng) * 33000);
  return true;
}

void VideoPipeline::ReleaseAll() {
  for (CallState& call : m_calls) {
    m_ledger->Release(kelStore::KEL_MEDIASTORES_VIDEO, call.callId, call.stats);
  }
  m_calls.clear();
}

uint64_t VideoPipeline::Step(int64_t nowUs) {
  uint64_t updates = 0;
  for (CallState& call : m_calls) {
    if (nowUs < call.nextFrameUs) continue;
    updates += Frame(call);
    const uint32_t fps = std::clamp<uint32_t>(call.controls->videoMaxFps.load(), 1, 60);
    const int64_t frameUs = 1000000 / fps;
    call.nextFrameUs += frameUs;
    if (call.nextFrameUs < nowUs - frameUs) call.nextFrameUs = nowUs + frameUs;
  }
  return updates;
}

uint64_t VideoPipeline::Frame(CallState& call) {
  kelStore::IKelVideoInfo& stats = *call.stats;
  MediaControls& controls = *call.controls;
  uint32_t* rng = &call.rng;
  const bool congested = Congested(controls);
  const uint32_t fps = std::clamp<uint32_t>(controls.videoMaxFps.load(), 1, 60);
  const int layers = std::clamp<int>(static_cast<int>(controls.videoLayers.load()), 1, kLayers);
  const double targetKbps = controls.videoTargetKbps.load(std::memory_order_relaxed);
  const uint32_t width = controls.videoWidth.load(std::memory_order_relaxed);
  const uint32_t height = controls.videoHeight.load(std::memory_order_relaxed);
  const auto codecType = static_cast<kel::KelVideoCodecType>(controls.videoCodecType.load());
  uint64_t updates = 0;
  ++call.frames;

  // Layer i carries twice the bits of layer i-1; the top layer has the full resolution and each
  // layer below half of it.
  double weightSum = 0;
  for (int l = 0; l < layers; ++l)
    weightSum += double(1u << l);
  float occupancy[kLayers] = {};
  double actualBps = 0;
  for (int l = 0; l < layers; ++l) {
    kelStore::st_KelVideoStreamStatInfo& s = call.streams[l];
    const int shift = layers - 1 - l;
    const uint32_t layerWidth = std::max(16u, width >> shift);
    const uint32_t layerHeight = std::max(16u, height >> shift);

    // Key frames asked for since the last frame, each reason counted once.
    uint32_t reasons = controls.pendingIdr[l].exchange(0, std::memory_order_relaxed);
    if (!call.layerStarted[l]) reasons |= 1u << kReasonStart;
    if (congested && NextRandom(rng) < 0.002) reasons |= 1u << kReasonLoss;
    call.layerStarted[l] = true;

    const double nominalBytes = targetKbps * 1000 / 8 / fps * (1u << l) / weightSum;
    const double bytes = nominalBytes * (0.8 + 0.4 * NextRandom(rng)) * (reasons != 0 ? 4 : 1);
    call.layerBps[l] = 0.9 * call.layerBps[l] + 0.1 * bytes * 8 * fps;
    actualBps += call.layerBps[l];

    s.field_at_84 += 1;                                       // frames encoded on the layer
    s.field_at_56 = static_cast<uint64_t>(call.layerBps[l]);  // bit rate, bit/s
    s.field_at_48 = fps;                                      // frame rate
    s.field_at_80 = layerHeight << 16 | layerWidth;           // resolution
    s.field_at_300 = 24 + static_cast<int32_t>(10 * NextRandom(rng)) + (congested ? 8 : 0);  // QP
    s.field_at_304 = static_cast<int32_t>(bytes);  // frame size
    s.field_at_308 = static_cast<uint32_t>(bytes);
    s.codecType = codecType;
    if (reasons != 0) {
      for (int r = 0; r < kIdrReasons; ++r) {
        if ((reasons >> r) & 1u) {
          ++s.idrReasonCount[r];
          ++s.idrRequestCount;
          ++call.idrRequests;
        }
      }
      stats.UpdateVideoEncIdrReqNum(call.idrRequests, call.streams, l, false);
      // The encoder answers at once: this frame is the IDR frame.
      ++s.idrSentCount;
      ++call.idrSent;
      stats.UpdateVideoEncIdrSentAndReasonCnt(call.idrSent, call.streams, l);
      updates += 2;
    }
    stats.UpdateOneVideoLayerInfo(call.streams, l, false, call.frames);
    occupancy[l] = static_cast<float>(0.2 + 0.5 * NextRandom(rng));
    stats.UpdateFBufferOcuppiedVideo(occupancy, static_cast<unsigned>(l));
    updates += 2;
  }
  stats.UpdateStreamsInfo(call.streams, layers);
  stats.UpdateVideoEncFrameCnt(call.frames);
  stats.UpdateVideoCapturedFrameCnt(call.frames);
  stats.UpdateVideoFeedToEncoderFramesCnt(call.frames);
  stats.UpdateVideoEncBitrateFps(static_cast<unsigned>(targetKbps),
                                 static_cast<unsigned>(actualBps / 1000), static_cast<float>(fps));
  updates += 5;

  // About once a second: the encoder-wide settings.
  if (call.frames % fps == 1 || fps == 1) {
    stats.UpdateVideoEncResolution(height << 16 | (width & 0xFFFFu));
    stats.UpdateEncodeParam(layers, codecType);
    unsigned profiles[kLayers];
    float targetFps[kLayers];
    for (int l = 0; l < layers; ++l) {
      profiles[l] = 100;  // high profile
      targetFps[l] = static_cast<float>(fps);
    }
    stats.UpdateProfile(profiles, layers);
    stats.UpdateEncodeControlTargetFps(targetFps, layers);
    stats.UpdateNoiseLevel(static_cast<int>(10 * NextRandom(rng)));
    stats.UpdatePerformanceWarnCnt(congested ? 1 : 0);
    updates += 6;
  }
  return updates;
}

}  // namespace msdemo
