#include "tools/mediastores-demo/reporter.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <string>

namespace msdemo {
namespace {

// printf into a std::string.
void Append(std::string* out, const char* format, ...) __attribute__((format(printf, 2, 3)));
void Append(std::string* out, const char* format, ...) {
  char line[512];
  va_list args;
  va_start(args, format);
  const int n = std::vsnprintf(line, sizeof(line), format, args);
  va_end(args);
  if (n > 0) out->append(line, static_cast<size_t>(n) < sizeof(line) ? n : sizeof(line) - 1);
}

// The engine's audio codec codes (mapped from the payload type by the statistics object).
const char* AudioCodecName(int32_t code) {
  switch (code) {
    case 1:
      return "PCMU";
    case 2:
      return "PCMA";
    case 4:
      return "opus";
    case 5:
      return "G722";
    case 7:
      return "G729";
    default:
      return "-";
  }
}

// The video codec codes the statistics object stores (mapped from the engine's codec type).
const char* VideoCodecName(int32_t code) {
  switch (code) {
    case 100:
      return "H264";
    case 101:
      return "H265";
    case 104:
      return "AV1";
    default:
      return "VP8";
  }
}

// "pli 2, fir 1" for the nonzero reason counters, "" when there are none.
std::string Reasons(const uint32_t (&counts)[kIdrReasons]) {
  std::string text;
  for (int r = 0; r < kIdrReasons; ++r) {
    if (counts[r] == 0) continue;
    if (!text.empty()) text += ", ";
    text += std::string(kIdrReasonNames[r]) + " " + std::to_string(counts[r]);
  }
  return text;
}

std::string Rate(uint64_t count, double seconds) {
  return Thousands(seconds > 0 ? static_cast<uint64_t>(count / seconds + 0.5) : 0);
}

// What the reporter sums up for the calls it does not show one by one.
struct Aggregate {
  uint32_t calls = 0;
  double audioTxKbps = 0;
  double videoKbps = 0;
  double videoFps = 0;
  uint32_t idrRequests = 0;
  uint32_t reasons[kIdrReasons] = {};
  uint32_t congested = 0;
};

}  // namespace

std::string Thousands(uint64_t value) {
  std::string digits = std::to_string(value);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3)
    digits.insert(at, ",");
  return digits;
}

Reporter::Reporter(StatsLedger* ledger, bool quiet) : m_ledger(ledger), m_quiet(quiet) {}

Reporter::~Reporter() {
  ReleaseAll();
}

bool Reporter::AddCall(uint32_t callId, const MediaControls* controls) {
  void* audio = m_ledger->Acquire(kelStore::KEL_MEDIASTORES_AUDIO, callId);
  void* video = m_ledger->Acquire(kelStore::KEL_MEDIASTORES_VIDEO, callId);
  // Kept even when half failed, so that ReleaseAll gives back what was taken.
  m_calls.push_back({callId, controls, static_cast<kelStore::IKelAudioInfo*>(audio),
                     static_cast<kelStore::IKelVideoInfo*>(video)});
  return audio != nullptr && video != nullptr;
}

void Reporter::ReleaseAll() {
  for (CallReader& call : m_calls) {
    m_ledger->Release(kelStore::KEL_MEDIASTORES_AUDIO, call.callId, call.audio);
    m_ledger->Release(kelStore::KEL_MEDIASTORES_VIDEO, call.callId, call.video);
  }
  m_calls.clear();
}

void Reporter::EndProgress() {
  if (m_progressShown) std::fprintf(stderr, "\r\033[K");
  m_progressShown = false;
}

void Reporter::Report(uint32_t second, uint32_t seconds, double intervalSeconds,
                      const CounterSnapshot& growth) {
  std::string text;
  Append(&text,
         "[%2u/%u s] %zu call%s | configuration %s ops/s, %s notifications/s | statistics %s "
         "updates/s\n",
         second, seconds, m_calls.size(), m_calls.size() == 1 ? "" : "s",
         Rate(growth.configOps, intervalSeconds).c_str(),
         Rate(growth.notifications, intervalSeconds).c_str(),
         Rate(growth.statsUpdates, intervalSeconds).c_str());
  Aggregate rest;
  for (size_t i = 0; i < m_calls.size(); ++i) {
    const CallReader& call = m_calls[i];
    if (call.audio == nullptr || call.video == nullptr) continue;
    // Resetting reads: the levels and the jitter-buffer figures start afresh, and the video
    // layer counters come out as differences since the previous report.
    kelStore::st_KelAudioTxStatisticsInfo tx{};
    kelStore::st_KelAudioRxStatisticsInfo rx{};
    kelStore::st_KelVideoTxStatisticsInfo video{};
    call.audio->GetTxMediaInfo(&tx, true);
    call.audio->GetRxAudioInfo(&rx, 0, true);
    call.video->GetTxMediaInfo(&video, true);
    const int layers = video.layerCount < 0         ? 0
                       : video.layerCount > kLayers ? kLayers
                                                    : video.layerCount;
    const uint32_t bandwidth = call.controls->bandwidthKbps.load(std::memory_order_relaxed);
    const bool congested = bandwidth < call.controls->congestionBelowKbps.load();
    uint32_t idrRequests = 0;
    uint32_t reasons[kIdrReasons] = {};
    for (int l = 0; l < layers; ++l) {
      idrRequests += video.layers[l].idrRequestCountInterval;
      for (int r = 0; r < kIdrReasons; ++r)
        reasons[r] += video.layers[l].idrReasonCount[r];
    }

    if (i >= kDetailedCalls) {
      ++rest.calls;
      rest.audioTxKbps += tx.txBitRate / 1000.0;
      rest.videoKbps += video.field_at_1460;
      rest.videoFps += video.field_at_1452;
      rest.idrRequests += idrRequests;
      for (int r = 0; r < kIdrReasons; ++r)
        rest.reasons[r] += reasons[r];
      if (congested) ++rest.congested;
      continue;
    }
    if (m_quiet) continue;
    Append(&text,
           "  call %u | audio tx %5.1f rx %5.1f kbps %s dtx %-3s | jitter buffer %3u/%3u ms, "
           "jitter %u ms, lost %u, late %u | e2e %u ms\n",
           call.callId, tx.txBitRate / 1000.0, rx.rxBitRate / 1000.0, AudioCodecName(tx.codec),
           tx.field_at_4 != 0 ? "on" : "off", rx.field_at_112,
           static_cast<unsigned>(rx.field_at_132), rx.field_at_120, rx.field_at_124,
           rx.field_at_128, rx.e2eDelay[2]);
    Append(&text,
           "            | video %ux%u %4.1f fps %4.0f/%4.0f kbps %s | bandwidth %u kbps%s | IDR "
           "requests %u (total %u, sent %u)\n",
           video.encodeWidth, video.encodeHeight, video.field_at_1452, video.field_at_1460,
           video.field_at_1456, VideoCodecName(video.codec), bandwidth,
           congested ? " (congested)" : "", idrRequests, video.idrRequestCount, video.idrSentCount);
    for (int l = 0; l < layers; ++l) {
      const kelStore::st_KelVideoLayerStatisticsInfo& layer = video.layers[l];
      const std::string layerReasons = Reasons(layer.idrReasonCount);
      char resolution[32];
      std::snprintf(resolution, sizeof(resolution), "%ux%u", layer.field_at_48 & 0xFFFFu,
                    layer.field_at_48 >> 16);
      Append(&text,
             "            |   L%d %-9s %4.1f fps %5.0f kbps, min QP %2d, max frame %5.1f kB | IDR "
             "requests %u%s%s\n",
             l, resolution, layer.field_at_20_interval / intervalSeconds,
             layer.field_at_40 / 1000.0, layer.heldMinimum, layer.heldMaximum / 1000.0,
             layer.idrRequestCountInterval, layerReasons.empty() ? "" : ": ", layerReasons.c_str());
    }
  }
  if (rest.calls > 0) {
    const std::string restReasons = Reasons(rest.reasons);
    Append(&text,
           "  + %u more call%s | audio tx %.1f kbps avg | video %.0f kbps %.1f fps avg | IDR "
           "requests %u%s%s | %u congested\n",
           rest.calls, rest.calls == 1 ? "" : "s", rest.audioTxKbps / rest.calls,
           rest.videoKbps / rest.calls, rest.videoFps / rest.calls, rest.idrRequests,
           restReasons.empty() ? "" : ": ", restReasons.c_str(), rest.congested);
  }
  if (!m_quiet) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
  } else if (isatty(STDERR_FILENO)) {
    // Only the heading, redrawn in place.
    const std::string progress = text.substr(0, text.find('\n'));
    std::fprintf(stderr, "\r\033[K%s", progress.c_str());
    m_progressShown = true;
  }
}

}  // namespace msdemo
