#include "observe/figure_table.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace kelStore {
namespace observe {

namespace {

constexpr MetricType kGauge = MetricType::kGauge;
constexpr MetricType kCounter = MetricType::kCounter;
constexpr FigureValue kBool = FigureValue::kBool;
constexpr FigureValue kU32 = FigureValue::kUint32;
constexpr FigureValue kI32 = FigureValue::kInt32;
constexpr FigureValue kFloat = FigureValue::kFloat;

// Record and byte position of a named field, checked against the public record types.
#define AUDIO_SEND(field) FigureRecord::kAudioSend, offsetof(st_KelAudioTxStatisticsInfo, field)
#define AUDIO_RECEIVE(field) \
  FigureRecord::kAudioReceive, offsetof(st_KelAudioRxStatisticsInfo, field)
#define VIDEO_SEND(field) FigureRecord::kVideoSend, offsetof(st_KelVideoTxStatisticsInfo, field)
#define VIDEO_LAYER(field) \
  FigureRecord::kVideoLayer, offsetof(st_KelVideoLayerStatisticsInfo, field)

}  // namespace

// Only fields the records name are here; positions the engine leaves unnamed (field_at_N, the
// jitter-buffer and synchronisation words, the AV1 texts) are not exported.
const Figure kFigures[] = {
    {AUDIO_SEND(txBitRate), kU32, 1, nullptr, "audio_bitrate_bytes_per_second", kGauge, 8,
     "bitRate", "Audio bit rate in bytes per second (the engine counts bits per second)"},
    {AUDIO_RECEIVE(rxBitRate), kU32, 1, nullptr, "audio_bitrate_bytes_per_second", kGauge, 8,
     "bitRate", nullptr},
    {AUDIO_SEND(codec), kI32, 1, nullptr, "audio_codec", kGauge, 1, "codec",
     "Audio codec code mapped from the RTP payload type"},
    {AUDIO_RECEIVE(codec), kI32, 1, nullptr, "audio_codec", kGauge, 1, "codec", nullptr},
    {AUDIO_SEND(lbrrFlag), kBool, 1, nullptr, "audio_lbrr_enabled", kGauge, 1, "lbrrFlag",
     "1 when the sender uses low-bit-rate redundancy"},
    {AUDIO_SEND(encodeDropFrameInMs), kU32, 1, nullptr, "audio_encoder_dropped_frame_seconds",
     kGauge, 1000, "encodeDropFrameInMs",
     "Time of the audio frames the encoder dropped, in seconds"},
    {AUDIO_SEND(noiseLevel), kFloat, 3, "index", "audio_noise_level", kGauge, 1, "noiseLevel",
     "Noise levels as the audio pipeline reports them; -100 after a reset"},
    {AUDIO_SEND(aecLevel), kFloat, 3, "index", "audio_aec_level", kGauge, 1, "aecLevel",
     "Echo cancellation levels as the audio pipeline reports them; 0 after a reset"},
    {AUDIO_SEND(speechLevel), kFloat, 3, "index", "audio_speech_level", kGauge, 1, "speechLevel",
     "Speech levels as the audio pipeline reports them; -100 after a reset"},
    {AUDIO_SEND(unstableEventCount), kU32, 1, nullptr, "audio_unstable_events_total", kCounter, 1,
     "unstableEventCount", "Unstable events the audio pipeline counted"},
    {AUDIO_RECEIVE(decodeFlag), kBool, 1, nullptr, "audio_decode_flag", kGauge, 1, "decodeFlag",
     "Decode flag of a receive stream (the same byte carries the stream's LBRR flag)"},
    {AUDIO_RECEIVE(decodeValue), kU32, 1, nullptr, "audio_decode_value", kGauge, 1, "decodeValue",
     "Decode value of a receive stream as the audio pipeline reports it"},
    {AUDIO_RECEIVE(e2eDelay), kU32, 3, "index", "audio_end_to_end_delay", kGauge, 1, "e2eDelay",
     "End-to-end delay values of a receive stream as the audio pipeline reports them"},

    {VIDEO_SEND(layerCount), kI32, 1, nullptr, "video_layers", kGauge, 1, "layerCount",
     "Encoder layers (simulcast or spatial) in use"},
    {VIDEO_SEND(encodeWidth), kU32, 1, nullptr, "video_encode_width_pixels", kGauge, 1,
     "encodeWidth", "Encode width in pixels"},
    {VIDEO_SEND(encodeHeight), kU32, 1, nullptr, "video_encode_height_pixels", kGauge, 1,
     "encodeHeight", "Encode height in pixels"},
    {VIDEO_SEND(idrRequestCount), kU32, 1, nullptr, "video_idr_requests_total", kCounter, 1,
     "idrRequestCount", "IDR (key frame) requests of the encoder, all layers"},
    {VIDEO_SEND(idrSentCount), kU32, 1, nullptr, "video_idr_frames_sent_total", kCounter, 1,
     "idrSentCount", "IDR frames the encoder sent, all layers"},
    {VIDEO_SEND(performanceWarnCount), kI32, 1, nullptr, "video_performance_warnings_total",
     kCounter, 1, "performanceWarnCount", "Performance warnings of the video encoder"},
    {VIDEO_SEND(encodedFrameCount), kU32, 1, nullptr, "video_encoded_frames_total", kCounter, 1,
     "encodedFrameCount", "Frames the video encoder encoded"},
    {VIDEO_SEND(hwEncoderEnabled), kBool, 1, nullptr, "video_hardware_encoder_enabled", kGauge, 1,
     "hwEncoderEnabled", "1 when the hardware video encoder is in use"},
    {VIDEO_SEND(capturedFrameCount), kU32, 1, nullptr, "video_captured_frames_total", kCounter, 1,
     "capturedFrameCount", "Frames the video source captured"},
    {VIDEO_SEND(feedToEncoderFrameCount), kU32, 1, nullptr, "video_frames_fed_to_encoder_total",
     kCounter, 1, "feedToEncoderFrameCount", "Frames handed to the video encoder"},
    {VIDEO_SEND(frameSize), kU32, 1, nullptr, "video_frame_size", kGauge, 1, "frameSize",
     "Frame size as the video encoder reports it"},
    {VIDEO_SEND(resDownType), kI32, 1, nullptr, "video_resolution_down_type", kGauge, 1,
     "resDownType", "Why the engine lowered the encode resolution (the engine's reason code)"},
    {VIDEO_SEND(codec), kI32, 1, nullptr, "video_codec", kGauge, 1, "codec",
     "Video codec code of the encoder (100, 101, 104, or 0 for any other)"},
    {VIDEO_SEND(roiAreaRatio), kU32, 1, nullptr, "video_roi_area_ratio", kGauge, 1, "roiAreaRatio",
     "Region-of-interest area ratio as the video encoder reports it"},
    {VIDEO_SEND(noiseLevel), kI32, 1, nullptr, "video_noise_level", kGauge, 1, "noiseLevel",
     "Highest video noise level since the engine's last resetting read; -1 after it"},
    {VIDEO_SEND(processInfoFirst), kI32, 1, nullptr, "video_process_info_first", kGauge, 1,
     "processInfoFirst", "First video process-info value as the engine reports it"},
    {VIDEO_SEND(processInfoSecond), kI32, 1, nullptr, "video_process_info_second", kGauge, 1,
     "processInfoSecond", "Second video process-info value as the engine reports it"},
    {VIDEO_SEND(av1MetricValue), kI32, 1, nullptr, "video_av1_metric", kGauge, 1, "av1MetricValue",
     "AV1 metric value as the video encoder reports it"},

    {VIDEO_LAYER(idrRequestCount), kU32, 1, nullptr, "video_layer_idr_requests_total", kCounter, 1,
     "idrRequestCount", "IDR (key frame) requests of an encoder layer"},
    {VIDEO_LAYER(idrSentCount), kU32, 1, nullptr, "video_layer_idr_frames_sent_total", kCounter, 1,
     "idrSentCount", "IDR frames an encoder layer sent"},
    {VIDEO_LAYER(idrReasonCount), kU32, kKelVideoIdrReasonCount, "reason",
     "video_layer_idr_reason_total", kCounter, 1, "idrReasonCount",
     "IDR frames of an encoder layer by the engine's reason number"},
    {VIDEO_LAYER(configChangeCount), kU32, 1, nullptr, "video_layer_configuration_changes_total",
     kCounter, 1, "configChangeCount", "Configuration changes of an encoder layer"},
    {VIDEO_LAYER(frameBufferOccupancy), kFloat, 1, nullptr, "video_layer_frame_buffer_occupancy",
     kGauge, 1, "frameBufferOccupancy", "Frame-buffer occupancy of an encoder layer"},
    {VIDEO_LAYER(profile), kU32, 1, nullptr, "video_layer_profile", kGauge, 1, "profile",
     "Codec profile of an encoder layer"},
    {VIDEO_LAYER(codec), kI32, 1, nullptr, "video_layer_codec", kGauge, 1, "codec",
     "Video codec code of an encoder layer"},
    {VIDEO_LAYER(heldMinimum), kI32, 1, nullptr, "video_layer_held_minimum", kGauge, 1,
     "heldMinimum",
     "Smallest positive encoder stream figure at byte 300 since the engine's last resetting read"},
    {VIDEO_LAYER(heldMaximum), kI32, 1, nullptr, "video_layer_held_maximum", kGauge, 1,
     "heldMaximum",
     "Largest encoder stream figure at byte 304 since the engine's last resetting read"},
    {VIDEO_LAYER(encodeControlTargetFps), kFloat, 1, nullptr,
     "video_layer_target_frames_per_second", kGauge, 1, "encodeControlTargetFps",
     "Target frame rate the encoder control set for a layer, in frames per second"},
};
const size_t kFigureCount = sizeof(kFigures) / sizeof(kFigures[0]);

#undef AUDIO_SEND
#undef AUDIO_RECEIVE
#undef VIDEO_SEND
#undef VIDEO_LAYER

namespace {

bool AnyByteSet(const void* record, size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(record);
  for (size_t i = 0; i < size; ++i)
    if (bytes[i] != 0) return true;
  return false;
}

const unsigned char* BytesOf(const void* record) {
  return static_cast<const unsigned char*>(record);
}

}  // namespace

std::vector<RecordView> RecordsOf(const ObservedObject& object, FigureRecord record) {
  std::vector<RecordView> views;
  const bool audio = IsAudioKind(object.kind);
  switch (record) {
    case FigureRecord::kAudioSend:
      if (audio) views.push_back({BytesOf(&object.audioSend), -1});
      break;
    case FigureRecord::kAudioReceive:
      if (!audio) break;
      for (int i = 0; i < kAudioReceiveStreams; ++i) {
        if (AnyByteSet(&object.audioReceive[i], sizeof(object.audioReceive[i])))
          views.push_back({BytesOf(&object.audioReceive[i]), i});
      }
      break;
    case FigureRecord::kVideoSend:
      if (!audio) views.push_back({BytesOf(&object.videoSend), -1});
      break;
    case FigureRecord::kVideoLayer:
      if (audio) break;
      for (int i = 0; i < kKelVideoLayerCount; ++i) {
        const st_KelVideoLayerStatisticsInfo& layer = object.videoSend.layers[i];
        if (i < object.videoSend.layerCount || AnyByteSet(&layer, sizeof(layer)))
          views.push_back({BytesOf(&layer), i});
      }
      break;
  }
  return views;
}

bool IsAudioKind(KelMediastoresEntityType kind) {
  return kind == KEL_MEDIASTORES_AUDIO || kind == KEL_MEDIASTORES_CONTENT_AUDIO;
}

bool IsVideoKind(KelMediastoresEntityType kind) {
  return kind == KEL_MEDIASTORES_VIDEO || kind == KEL_MEDIASTORES_CONTENT_VIDEO;
}

const char* DirectionOf(FigureRecord record) {
  return record == FigureRecord::kAudioReceive ? "receive" : "send";
}

const char* IndexLabelOf(FigureRecord record) {
  switch (record) {
    case FigureRecord::kAudioReceive:
      return "stream";
    case FigureRecord::kVideoLayer:
      return "layer";
    default:
      return nullptr;
  }
}

const char* MediaLabel(KelMediastoresEntityType kind) {
  switch (kind) {
    case KEL_MEDIASTORES_AUDIO:
      return "audio";
    case KEL_MEDIASTORES_VIDEO:
      return "video";
    case KEL_MEDIASTORES_CONTENT_VIDEO:
      return "content-video";
    case KEL_MEDIASTORES_CONTENT_AUDIO:
      return "content-audio";
  }
  return "unknown";
}

const char* MediaJsonName(KelMediastoresEntityType kind) {
  switch (kind) {
    case KEL_MEDIASTORES_CONTENT_VIDEO:
      return "contentVideo";
    case KEL_MEDIASTORES_CONTENT_AUDIO:
      return "contentAudio";
    default:
      return MediaLabel(kind);
  }
}

namespace {

template <typename T>
T ReadAt(const unsigned char* at) {
  T value;
  std::memcpy(&value, at, sizeof(T));
  return value;
}

template <typename T>
void AppendNumber(std::string& out, T value) {
  char text[32];
  const std::to_chars_result result = std::to_chars(text, text + sizeof(text), value);
  out.append(text, result.ptr);
}

// An integer in the metric's base unit: exact when the divisor is 1, else the shortest decimal
// of the quotient (64000 bits per second: 8000; 250 ms: 0.25).
template <typename T>
void AppendScaled(std::string& out, T value, unsigned divisor) {
  if (divisor == 1)
    AppendNumber(out, value);
  else
    AppendNumber(out, static_cast<double>(value) / divisor);
}

}  // namespace

void AppendFigureValue(std::string& out, const Figure& figure, const unsigned char* record,
                       int element, ValueForm form) {
  // Elements of array figures are 4 bytes wide (32-bit integers and floats).
  const unsigned char* at = record + figure.position + static_cast<size_t>(element) * 4;
  const bool metric = form == ValueForm::kMetric;
  const unsigned divisor = metric ? figure.divisor : 1;
  switch (figure.value) {
    case FigureValue::kBool:
      out += *at != 0 ? (metric ? "1" : "true") : (metric ? "0" : "false");
      return;
    case FigureValue::kUint32:
      AppendScaled(out, ReadAt<uint32_t>(at), divisor);
      return;
    case FigureValue::kInt32:
      AppendScaled(out, ReadAt<int32_t>(at), divisor);
      return;
    case FigureValue::kFloat: {
      const float value = ReadAt<float>(at);
      if (std::isnan(value))
        out += metric ? "NaN" : "null";
      else if (std::isinf(value))
        out += metric ? (value > 0 ? "+Inf" : "-Inf") : "null";
      else
        AppendScaled(out, value, divisor);
      return;
    }
  }
}

}  // namespace observe
}  // namespace kelStore
