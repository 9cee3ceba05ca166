#include "tools/mediastores-demo/reporter.h"

#include <unistd.h>

#include <cstdio>
#include <string>
#include <utility>

namespace msdemo {
namespace {

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
std::string Reasons(const uint32_t* counts) {
  std::string text;
  for (int r = 0; r < kIdrReasons; ++r) {
    if (counts[r] == 0) continue;
    if (!text.empty()) text += ", ";
    text += std::string(kIdrReasonNames[r]) + " " + std::to_string(counts[r]);
  }
  return text;
}

std::string Rate(uint64_t count, double seconds) {
  return Thousands(PerSecond(count, seconds));
}

// One layer's figures over the interval.
struct LayerFigures {
  uint32_t width = 0;
  uint32_t height = 0;
  double fps = 0;
  double kbps = 0;
  int32_t minQp = 0;
  double maxFrameKB = 0;
  uint32_t idrRequests = 0;
  const uint32_t* reasons = nullptr;  // kIdrReasons interval counts
};

// What a resetting read of one call's statistics gives, in the table's units.
struct CallFigures {
  uint32_t callId = 0;
  kelStore::st_KelAudioTxStatisticsInfo tx{};
  kelStore::st_KelAudioRxStatisticsInfo rx{};
  kelStore::st_KelVideoTxStatisticsInfo video{};
  uint32_t bandwidthKbps = 0;
  bool congested = false;
  int layerCount = 0;
  LayerFigures layers[kLayers];
  uint32_t idrRequests = 0;  // all layers, over the interval
  uint32_t reasons[kIdrReasons] = {};

  double audioTxKbps() const { return tx.txBitRate / 1000.0; }
  double audioRxKbps() const { return rx.rxBitRate / 1000.0; }
};

void ReadCall(uint32_t callId, const MediaControls& controls, kelStore::IKelAudioInfo* audio,
              kelStore::IKelVideoInfo* video, double intervalSeconds, CallFigures* f) {
  f->callId = callId;
  // Resetting reads: the levels and the jitter-buffer figures start afresh, and the video layer
  // counters come out as differences since the previous report.
  audio->GetTxMediaInfo(&f->tx, true);
  audio->GetRxAudioInfo(&f->rx, 0, true);
  video->GetTxMediaInfo(&f->video, true);
  f->layerCount = f->video.layerCount < 0         ? 0
                  : f->video.layerCount > kLayers ? kLayers
                                                  : f->video.layerCount;
  f->bandwidthKbps = controls.bandwidthKbps.load(std::memory_order_relaxed);
  f->congested = f->bandwidthKbps < controls.congestionBelowKbps.load();
  f->idrRequests = 0;
  for (int r = 0; r < kIdrReasons; ++r)
    f->reasons[r] = 0;
  for (int l = 0; l < f->layerCount; ++l) {
    const kelStore::st_KelVideoLayerStatisticsInfo& layer = f->video.layers[l];
    LayerFigures& out = f->layers[l];
    out.width = layer.field_at_48 & 0xFFFFu;
    out.height = layer.field_at_48 >> 16;
    out.fps = layer.field_at_20_interval / intervalSeconds;
    out.kbps = layer.field_at_40 / 1000.0;
    out.minQp = layer.heldMinimum;
    out.maxFrameKB = layer.heldMaximum / 1000.0;
    out.idrRequests = layer.idrRequestCountInterval;
    out.reasons = layer.idrReasonCount;
    f->idrRequests += layer.idrRequestCountInterval;
    for (int r = 0; r < kIdrReasons; ++r)
      f->reasons[r] += layer.idrReasonCount[r];
  }
}

// Sums over a set of calls.
struct Aggregate {
  uint32_t calls = 0;
  double audioTxKbps = 0;
  double audioRxKbps = 0;
  double videoKbps = 0;
  double videoFps = 0;
  uint32_t idrRequests = 0;
  uint32_t reasons[kIdrReasons] = {};
  uint32_t congested = 0;

  void Add(const CallFigures& f) {
    ++calls;
    audioTxKbps += f.audioTxKbps();
    audioRxKbps += f.audioRxKbps();
    videoKbps += f.video.field_at_1460;
    videoFps += f.video.field_at_1452;
    idrRequests += f.idrRequests;
    for (int r = 0; r < kIdrReasons; ++r)
      reasons[r] += f.reasons[r];
    if (f.congested) ++congested;
  }
};

void AppendCallText(std::string* text, const CallFigures& f) {
  const kelStore::st_KelVideoTxStatisticsInfo& video = f.video;
  Append(text,
         "  call %u | audio tx %5.1f rx %5.1f kbps %s dtx %-3s | jitter buffer %3u/%3u ms, "
         "jitter %u ms, lost %u, late %u | e2e %u ms\n",
         f.callId, f.audioTxKbps(), f.audioRxKbps(), AudioCodecName(f.tx.codec),
         f.tx.field_at_4 != 0 ? "on" : "off", f.rx.field_at_112,
         static_cast<unsigned>(f.rx.field_at_132), f.rx.field_at_120, f.rx.field_at_124,
         f.rx.field_at_128, f.rx.e2eDelay[2]);
  Append(text,
         "            | video %ux%u %4.1f fps %4.0f/%4.0f kbps %s | bandwidth %u kbps%s | IDR "
         "requests %u (total %u, sent %u)\n",
         video.encodeWidth, video.encodeHeight, video.field_at_1452, video.field_at_1460,
         video.field_at_1456, VideoCodecName(video.codec), f.bandwidthKbps,
         f.congested ? " (congested)" : "", f.idrRequests, video.idrRequestCount,
         video.idrSentCount);
  for (int l = 0; l < f.layerCount; ++l) {
    const LayerFigures& layer = f.layers[l];
    const std::string layerReasons = Reasons(layer.reasons);
    char resolution[32];
    std::snprintf(resolution, sizeof(resolution), "%ux%u", layer.width, layer.height);
    Append(text,
           "            |   L%d %-9s %4.1f fps %5.0f kbps, min QP %2d, max frame %5.1f kB | IDR "
           "requests %u%s%s\n",
           l, resolution, layer.fps, layer.kbps, layer.minQp, layer.maxFrameKB, layer.idrRequests,
           layerReasons.empty() ? "" : ": ", layerReasons.c_str());
  }
}

// {"pli":2,"fir":1}: the nonzero reason counts.
void AddReasons(JsonLine* line, const uint32_t* counts) {
  line->BeginObject("idrReasons");
  for (int r = 0; r < kIdrReasons; ++r) {
    if (counts[r] != 0) line->UInt(kIdrReasonNames[r], counts[r]);
  }
  line->End();
}

// The members of a call's object in the --json lines (and in /stats.json).
void AddCallMembers(JsonLine* line, const CallFigures& f) {
  const kelStore::st_KelVideoTxStatisticsInfo& video = f.video;
  line->UInt("callId", f.callId)
      .UInt("bandwidthKbps", f.bandwidthKbps)
      .Bool("congested", f.congested);
  line->BeginObject("audio")
      .Text("codec", AudioCodecName(f.tx.codec))
      .Bool("dtx", f.tx.field_at_4 != 0)
      .Real("sendKbps", f.audioTxKbps())
      .Real("receiveKbps", f.audioRxKbps())
      .UInt("jitterBufferDelayMs", f.rx.field_at_112)
      .UInt("jitterBufferTargetMs", f.rx.field_at_132)
      .UInt("jitterMs", f.rx.field_at_120)
      .UInt("lostPackets", f.rx.field_at_124)
      .UInt("latePackets", f.rx.field_at_128)
      .UInt("endToEndDelayMs", f.rx.e2eDelay[2])
      .End();
  line->BeginObject("video")
      .Text("codec", VideoCodecName(video.codec))
      .UInt("width", video.encodeWidth)
      .UInt("height", video.encodeHeight)
      .Real("frameRate", video.field_at_1452)
      .Real("sendKbps", video.field_at_1460)
      .Real("targetKbps", video.field_at_1456)
      .UInt("idrRequests", f.idrRequests)
      .UInt("idrRequestsTotal", video.idrRequestCount)
      .UInt("idrSentTotal", video.idrSentCount);
  AddReasons(line, f.reasons);
  line->BeginArray("layers");
  for (int l = 0; l < f.layerCount; ++l) {
    const LayerFigures& layer = f.layers[l];
    line->BeginObject(nullptr)
        .Int("layer", l)
        .UInt("width", layer.width)
        .UInt("height", layer.height)
        .Real("frameRate", layer.fps)
        .Real("kbps", layer.kbps)
        .Int("minQp", layer.minQp)
        .Real("maxFrameKB", layer.maxFrameKB)
        .UInt("idrRequests", layer.idrRequests);
    AddReasons(line, layer.reasons);
    line->End();
  }
  line->End().End();
}

// Keeps the call's figures of the interval that ended at `atSecond` for /stats.json: its object
// of the --json line, with the second and the interval's length.
void RecordHistory(StatsHistory* history, uint32_t atSecond, double intervalSeconds,
                   const CallFigures& f) {
  JsonLine entry;
  entry.UInt("second", atSecond).Real("intervalSeconds", intervalSeconds);
  AddCallMembers(&entry, f);
  std::string object = entry.Finish();
  object.pop_back();  // the line end
  history->Record(f.callId, std::move(object));
}

void AddAggregateJson(JsonLine* line, const char* key, const Aggregate& a) {
  const double calls = a.calls > 0 ? a.calls : 1;
  line->BeginObject(key)
      .UInt("calls", a.calls)
      .Real("audioSendKbpsAvg", a.audioTxKbps / calls)
      .Real("audioReceiveKbpsAvg", a.audioRxKbps / calls)
      .Real("videoSendKbpsAvg", a.videoKbps / calls)
      .Real("videoFrameRateAvg", a.videoFps / calls)
      .UInt("idrRequests", a.idrRequests);
  AddReasons(line, a.reasons);
  line->UInt("congestedCalls", a.congested).End();
}

}  // namespace

Reporter::Reporter(StatsLedger* ledger, const ReportStyle& style)
    : m_ledger(ledger), m_style(style) {}

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

std::vector<HeldStatistics> Reporter::Held() const {
  std::vector<HeldStatistics> held;
  held.reserve(m_calls.size());
  for (const CallReader& call : m_calls)
    held.push_back({call.callId, call.audio, call.video});
  return held;
}

void Reporter::EndProgress() {
  if (m_progressShown) std::fprintf(stderr, "\r\033[K");
  m_progressShown = false;
}

void Reporter::Report(uint32_t second, uint32_t seconds, double intervalSeconds,
                      const CounterSnapshot& growth) {
  const bool table = !m_style.quiet && !m_style.json;
  const bool lines = !m_style.quiet && m_style.json;
  std::string text;
  char progress[32];
  if (seconds == 0) {
    std::snprintf(progress, sizeof(progress), "[%2u s]", second);
  } else {
    std::snprintf(progress, sizeof(progress), "[%2u/%u s]", second, seconds);
  }
  Append(&text,
         "%s %zu call%s | configuration %s ops/s, %s notifications/s | statistics %s "
         "updates/s\n",
         progress, m_calls.size(), m_calls.size() == 1 ? "" : "s",
         Rate(growth.configOps, intervalSeconds).c_str(),
         Rate(growth.notifications, intervalSeconds).c_str(),
         Rate(growth.statsUpdates, intervalSeconds).c_str());
  JsonLine line;
  line.Text("type", "second")
      .UInt("second", second)
      .UInt("seconds", seconds)
      .Real("intervalSeconds", intervalSeconds)
      .UInt("calls", m_calls.size())
      .UInt("configOps", growth.configOps)
      .UInt("notifications", growth.notifications)
      .UInt("statsUpdates", growth.statsUpdates)
      .UInt("configOpsPerSecond", PerSecond(growth.configOps, intervalSeconds))
      .UInt("notificationsPerSecond", PerSecond(growth.notifications, intervalSeconds))
      .UInt("statsUpdatesPerSecond", PerSecond(growth.statsUpdates, intervalSeconds))
      .BeginArray("callDetails");
  Aggregate all;
  Aggregate rest;
  CallFigures figures;
  for (size_t i = 0; i < m_calls.size(); ++i) {
    const CallReader& call = m_calls[i];
    if (call.audio == nullptr || call.video == nullptr) continue;
    ReadCall(call.callId, *call.controls, call.audio, call.video, intervalSeconds, &figures);
    all.Add(figures);
    if (i >= m_style.detailedCalls) {
      rest.Add(figures);
      continue;
    }
    if (table) {
      AppendCallText(&text, figures);
    } else if (lines) {
      line.BeginObject(nullptr);
      AddCallMembers(&line, figures);
      line.End();
    }
    if (m_style.history != nullptr)
      RecordHistory(m_style.history, second, intervalSeconds, figures);
  }
  line.End();
  AddAggregateJson(&line, "otherCalls", rest);
  AddAggregateJson(&line, "allCalls", all);
  if (rest.calls > 0) {
    const std::string restReasons = Reasons(rest.reasons);
    Append(&text,
           "  + %u more call%s | audio tx %.1f kbps avg | video %.0f kbps %.1f fps avg | IDR "
           "requests %u%s%s | %u congested\n",
           rest.calls, rest.calls == 1 ? "" : "s", rest.audioTxKbps / rest.calls,
           rest.videoKbps / rest.calls, rest.videoFps / rest.calls, rest.idrRequests,
           restReasons.empty() ? "" : ": ", restReasons.c_str(), rest.congested);
  }
  if (table) {
    WriteOut(text);
  } else if (lines) {
    WriteOut(line.Finish());
  } else if (isatty(STDERR_FILENO)) {
    // Only the heading, redrawn in place.
    const std::string progress = text.substr(0, text.find('\n'));
    std::fprintf(stderr, "\r\033[K%s", progress.c_str());
    m_progressShown = true;
  }
}

}  // namespace msdemo
