#include "mediaengine/mediastores/src/stats/kel_video_info.h"

#include <cstring>

#include "mediaengine/mediastores/src/stats/kel_stats_access.h"
#include "mediastores/result_codes.h"
#include "mediastores/safe_lib.h"

namespace kelStore {

namespace sa = statsaccess;

namespace {

using Layer = st_KelVideoLayerStatisticsInfo;
using Stream = st_KelVideoStreamStatInfo;

constexpr size_t kTxSize = sizeof(st_KelVideoTxStatisticsInfo);
constexpr size_t kLayerSize = sizeof(Layer);
constexpr int32_t kResetNoiseLevel = -1;

// Whether `n` indexes one of the six layers.
inline bool ValidLayer(int n) {
  return n >= 0 && n < kKelVideoLayerCount;
}

// How many layers a count covers: none below 1, at most six.
inline int LayersCovered(int count) {
  return count < 1 ? 0 : (count > kKelVideoLayerCount ? kKelVideoLayerCount : count);
}

// A 32-bit value into the reader's copy, which may have any alignment.
inline void WriteCopy32(unsigned char* at, uint32_t value) {
  std::memcpy(at, &value, sizeof(value));
}

// Held minimum (184) and maximum (188) and the field at 192 of a layer, from its stream record.
void UpdateHeldRange(Layer& layer, const Stream& stream) {
  const int32_t largest = stream.field_at_304;
  if (largest > sa::Load(&layer.heldMaximum)) sa::Store(&layer.heldMaximum, largest);
  const int32_t smallest = stream.field_at_300;
  if (smallest > 0) {
    const int32_t held = sa::Load(&layer.heldMinimum);
    const bool keep = held >= 1 && static_cast<uint32_t>(held) < static_cast<uint32_t>(smallest);
    if (!keep) sa::Store(&layer.heldMinimum, smallest);
  }
  sa::Store(&layer.field_at_192, stream.field_at_308);
}

// Copies up to capacity - 1 characters of `text` (null: empty) into the text field `field`,
// terminated; the bytes after the terminator keep their values, as a string copy leaves them.
void StoreAv1Text(char* field, size_t capacity, const char* text) {
  char staged[64];
  sa::CopyOut(staged, field, capacity);
  const char* source = text != nullptr ? text : "";
  const size_t length = strnlen_s(source, capacity - 1);
  if (strncpy_s(staged, capacity, source, length) == 0) sa::CopyIn(field, staged, capacity);
}

}  // namespace

int32_t mapToKELCodec(kel::KelVideoCodecType codecType) {
  switch (static_cast<uint32_t>(codecType)) {
    case 0:
      return 100;
    case 1:
      return 101;
    case 3:
      return 104;
    default:  // 2 and everything unknown
      return 0;
  }
}

KelVideoStatisticInfo::KelVideoStatisticInfo(unsigned int callId)
    : m_callId(0xFFFFFFFFu), m_txInfo(), m_rxInfo(), m_layerBaselines() {
  reset(callId);
}

KelVideoStatisticInfo::~KelVideoStatisticInfo() = default;

int32_t KelVideoStatisticInfo::UpdateTxMediaInfo(void* src) {
  if (src == nullptr) return KEL_E_BADSTATE;
  // The bounds-checked copy refuses a source that overlaps the record (one that starts inside
  // it included) through the constraint handler and leaves the record as it was; the write is
  // still answered with KEL_S_OK, as only a null source is the caller's fault here.
  memcpy_s(&m_txInfo, kTxSize, src, kTxSize);
  return KEL_S_OK;
}

int32_t KelVideoStatisticInfo::UpdateRxMediaInfo(void*) {
  return KEL_E_BADSTATE;
}

int32_t KelVideoStatisticInfo::GetRxMediaInfo(void*, bool) {
  return KEL_E_BADSTATE;
}

void KelVideoStatisticInfo::readLayer(int index, LayerReading& reading) const {
  const Layer& layer = m_txInfo.layers[index];
  reading.field20 = sa::Load(&layer.field_at_20);
  reading.idrRequestCount = sa::Load(&layer.idrRequestCount);
  reading.configChangeCount = sa::Load(&layer.configChangeCount);
  for (int k = 0; k < kKelVideoIdrReasonCount; ++k) {
    reading.idrReasonCount[k] = sa::Load(&layer.idrReasonCount[k]);
  }
}

void KelVideoStatisticInfo::reportLayerInterval(unsigned char* dstLayer, int index,
                                                const LayerReading& reading) {
  Layer& layer = m_txInfo.layers[index];
  st_KelVideoLayerBaseline& base = m_layerBaselines[index];

  // The reader's copy gets the counters as read and their differences since the baseline.
  WriteCopy32(dstLayer + offsetof(Layer, field_at_20), reading.field20);
  WriteCopy32(dstLayer + offsetof(Layer, idrRequestCount), reading.idrRequestCount);
  WriteCopy32(dstLayer + offsetof(Layer, field_at_20_interval),
              reading.field20 - sa::Load(&base.field_at_20));
  WriteCopy32(dstLayer + offsetof(Layer, idrRequestCountInterval),
              reading.idrRequestCount - sa::Load(&base.idrRequestCount));
  WriteCopy32(dstLayer + offsetof(Layer, configChangeCount),
              reading.configChangeCount - sa::Load(&base.configChangeCount));
  unsigned char* reasons = dstLayer + offsetof(Layer, idrReasonCount);
  for (int k = 0; k < kKelVideoIdrReasonCount; ++k) {
    WriteCopy32(reasons + 4 * k, reading.idrReasonCount[k] - sa::Load(&base.idrReasonCount[k]));
  }

  // The baseline moves on to the same reading.
  sa::Store(&base.field_at_20, reading.field20);
  sa::Store(&base.idrRequestCount, reading.idrRequestCount);
  sa::Store(&base.configChangeCount, reading.configChangeCount);
  for (int k = 0; k < kKelVideoIdrReasonCount; ++k) {
    sa::Store(&base.idrReasonCount[k], reading.idrReasonCount[k]);
  }

  // The held figures start afresh.
  sa::Store(&layer.field_at_32, 0u);
  sa::Store(&layer.field_at_36, uint8_t{0});
  static_assert(offsetof(Layer, heldMaximum) == offsetof(Layer, heldMinimum) + 4,
                "minimum and maximum are cleared as one 64-bit value");
  sa::Zero(&layer.heldMinimum, 8);
  sa::Store(&layer.field_at_192, 0u);
}

int32_t KelVideoStatisticInfo::GetTxMediaInfo(void* dst, bool reset) {
  if (dst == nullptr) return KEL_E_BADSTATE;
  if (!reset) {
    sa::CopyOut(dst, &m_txInfo, kTxSize);
    return KEL_S_OK;
  }

  // Layer 0 is reported whenever layers are in use, even for a negative count. The layer count
  // and the counters of the reported layers are read once, before the copy, and that reading is
  // both reported and kept as the next baseline, so that successive intervals add up exactly even
  // while a writer runs (and the copy's own bytes are not read back: fresh wide stores do not
  // forward to narrow loads).
  const int32_t layerCount = sa::Load(&m_txInfo.layerCount);
  const int layers = layerCount == 0 ? 0 : (layerCount < 1 ? 1 : LayersCovered(layerCount));
  LayerReading readings[kKelVideoLayerCount];
  for (int i = 0; i < layers; ++i)
    readLayer(i, readings[i]);
  sa::CopyOut(dst, &m_txInfo, kTxSize);
  unsigned char* copy = static_cast<unsigned char*>(dst);
  // The copy shows the layer count its intervals were made for.
  WriteCopy32(copy + offsetof(st_KelVideoTxStatisticsInfo, layerCount),
              static_cast<uint32_t>(layerCount));
  for (int i = 0; i < layers; ++i) {
    reportLayerInterval(copy + i * kLayerSize, i, readings[i]);
  }
  sa::Store(&m_txInfo.noiseLevel, kResetNoiseLevel);
  return KEL_S_OK;
}

int32_t KelVideoStatisticInfo::reset(unsigned int callId) {
  int result = sa::CheckedZero(&m_txInfo, kTxSize);
  result = sa::CheckedZero(&m_rxInfo, kTxSize);
  result = sa::CheckedZero(m_layerBaselines, sizeof(m_layerBaselines));
  sa::Store(&m_callId, callId);
  sa::Store(&m_txInfo.noiseLevel, kResetNoiseLevel);
  return result;
}

unsigned int KelVideoStatisticInfo::GetCallId() {
  return sa::Load(&m_callId);
}

void KelVideoStatisticInfo::UpdateVideoEncBitrateFps(unsigned int value0, unsigned int value1,
                                                     float value2) {
  sa::Store(&m_txInfo.field_at_1456, static_cast<float>(value0));
  sa::Store(&m_txInfo.field_at_1460, static_cast<float>(value1));
  sa::Store(&m_txInfo.field_at_1452, value2);
}

void KelVideoStatisticInfo::UpdateVideoEncFSAndDownType(unsigned int frameSize, unsigned int value,
                                                        kel::KelVideoResDownType downType) {
  sa::Store(&m_txInfo.frameSize, frameSize);
  sa::Store(&m_txInfo.field_at_1588, value);
  sa::Store(&m_txInfo.resDownType, downType);
}

void KelVideoStatisticInfo::UpdatePerformanceWarnCnt(int count) {
  sa::Store(&m_txInfo.performanceWarnCount, static_cast<int32_t>(count));
}

void KelVideoStatisticInfo::UpdateNoiseLevel(int level) {
  if (level > sa::Load(&m_txInfo.noiseLevel)) sa::Store(&m_txInfo.noiseLevel, level);
}

void KelVideoStatisticInfo::UpdateEncROIAreaRation(unsigned int ratio) {
  sa::Store(&m_txInfo.roiAreaRatio, ratio);
}

void KelVideoStatisticInfo::UpdateVideoEncResolution(unsigned int packed) {
  sa::Store(&m_txInfo.encodeWidth, packed & 0xFFFFu);
  sa::Store(&m_txInfo.encodeHeight, packed >> 16);
}

void KelVideoStatisticInfo::UpdateVideoEnableHWEnc(bool enabled) {
  sa::Store(&m_txInfo.hwEncoderEnabled, enabled);
}

void KelVideoStatisticInfo::UpdateEncodeControlTargetFps(const float* fps, int count) {
  if (fps == nullptr || count < 1 || count > kKelVideoLayerCount) return;
  for (int i = 0; i < count; ++i)
    sa::Store(&m_txInfo.layers[i].encodeControlTargetFps, fps[i]);
}

void KelVideoStatisticInfo::UpdateVideoProcessInfo(int first, int second) {
  sa::Store(&m_txInfo.processInfoFirst, static_cast<int32_t>(first));
  sa::Store(&m_txInfo.processInfoSecond, static_cast<int32_t>(second));
}

void KelVideoStatisticInfo::resetTxVideoStatisticInfo() {
  // Unlike reset(), the noise level stays 0 here.
  sa::CheckedZero(&m_txInfo, kTxSize);
  sa::CheckedZero(m_layerBaselines, sizeof(m_layerBaselines));
}

void KelVideoStatisticInfo::UpdateAV1Metrics(int value, const char* firstText,
                                             const char* secondText) {
  sa::Store(&m_txInfo.av1MetricValue, static_cast<int32_t>(value));
  StoreAv1Text(m_txInfo.av1FirstText, sizeof(m_txInfo.av1FirstText), firstText);
  StoreAv1Text(m_txInfo.av1SecondText, sizeof(m_txInfo.av1SecondText), secondText);
}

void KelVideoStatisticInfo::UpdateVideoEncIdrReqNum(unsigned int total, const Stream* streams,
                                                    int n, bool all) {
  sa::Store(&m_txInfo.idrRequestCount, total);
  if (streams == nullptr) return;
  if (all) {
    const int layers = LayersCovered(n);
    for (int i = 0; i < layers; ++i) {
      sa::Store(&m_txInfo.layers[i].idrRequestCount, streams[i].idrRequestCount);
    }
  } else if (ValidLayer(n)) {
    sa::Store(&m_txInfo.layers[n].idrRequestCount, streams[n].idrRequestCount);
  }
}

void KelVideoStatisticInfo::UpdateVideoEncIdrSentAndReasonCnt(unsigned int total,
                                                              const Stream* streams, int n) {
  sa::Store(&m_txInfo.idrSentCount, total);
  if (streams == nullptr || !ValidLayer(n)) return;
  Layer& layer = m_txInfo.layers[n];
  const Stream& stream = streams[n];
  sa::Store(&layer.idrSentCount, stream.idrSentCount);
  for (int k = 0; k < kKelVideoIdrReasonCount; ++k) {
    sa::Store(&layer.idrReasonCount[k], stream.idrReasonCount[k]);
  }
}

void KelVideoStatisticInfo::UpdateFBufferOcuppiedVideo(const float* values, unsigned int layer) {
  if (values == nullptr || layer >= static_cast<unsigned int>(kKelVideoLayerCount)) return;
  sa::Store(&m_txInfo.layers[layer].frameBufferOccupancy, values[layer]);
}

void KelVideoStatisticInfo::UpdateProfile(const unsigned int* profiles, int count) {
  if (profiles == nullptr) return;
  const int layers = LayersCovered(count);
  for (int i = 0; i < layers; ++i)
    sa::Store(&m_txInfo.layers[i].profile, profiles[i]);
}

void KelVideoStatisticInfo::UpdateEncodeParam(int layers, kel::KelVideoCodecType codecType) {
  sa::Store(&m_txInfo.layerCount, static_cast<int32_t>(layers));
  sa::Store(&m_txInfo.codec, mapToKELCodec(codecType));
}

void KelVideoStatisticInfo::UpdateOneVideoLayerInfo(const Stream* streams, int n, bool restart,
                                                    unsigned int frames) {
  if (streams == nullptr || !ValidLayer(n)) return;
  Layer& layer = m_txInfo.layers[n];
  const Stream& stream = streams[n];
  sa::Store(&layer.field_at_0, stream.field_at_0);
  sa::Store(&layer.field_at_8, stream.field_at_8);
  sa::Store(&layer.field_at_16, stream.field_at_64);
  sa::Store(&layer.field_at_20, stream.field_at_84);
  sa::Store(&layer.idrRequestCount, stream.idrRequestCount);
  sa::Store(&layer.idrSentCount, stream.idrSentCount);
  sa::Store(&layer.field_at_32, stream.field_at_96);
  sa::Store(&layer.field_at_36, stream.field_at_100);
  sa::Store(&layer.configChangeCount, stream.configChangeCount);
  sa::Store(&layer.field_at_128, stream.field_at_148);
  for (int k = 0; k < 4; ++k)
    sa::Store(&layer.field_at_108[k], stream.field_at_200[k]);
  sa::Store(&layer.field_at_216, static_cast<uint64_t>(stream.field_at_292));
  for (int k = 0; k < 4; ++k)
    sa::Store(&layer.field_at_196[k], stream.field_at_312[k]);
  sa::Store(&layer.field_at_212, stream.field_at_328);
  sa::Store(&layer.codec, mapToKELCodec(stream.codecType));
  sa::Store(&layer.field_at_180, stream.field_at_392);
  UpdateHeldRange(layer, stream);
  for (int k = 0; k < 4; ++k) {
    sa::Store(&layer.field_at_72[k], static_cast<uint64_t>(stream.field_at_216[k]));
  }
  sa::Store(&m_txInfo.encodedFrameCount, frames);
  if (restart) {
    sa::Zero(&m_layerBaselines[n], sizeof(m_layerBaselines[n]));
    for (int k = 0; k < kKelVideoIdrReasonCount; ++k)
      sa::Store(&layer.idrReasonCount[k], 0u);
  }
}

void KelVideoStatisticInfo::UpdateStreamsInfo(const Stream* streams, int count) {
  sa::Store(&m_txInfo.layerCount, static_cast<int32_t>(count));
  if (count < 1 || streams == nullptr) return;
  const int layers = LayersCovered(count);
  for (int i = 0; i < layers; ++i) {
    Layer& layer = m_txInfo.layers[i];
    const Stream& stream = streams[i];
    sa::Store(&layer.field_at_40, static_cast<float>(stream.field_at_56));
    sa::Store(&layer.field_at_44, static_cast<float>(stream.field_at_48));
    sa::Store(&layer.field_at_48, stream.field_at_80);
    sa::Store(&layer.field_at_56, static_cast<uint64_t>(stream.field_at_104));
    sa::Store(&layer.field_at_124, stream.field_at_124);
    sa::Store(&layer.field_at_128, stream.field_at_148);
    for (int k = 0; k < 4; ++k)
      sa::Store(&layer.field_at_108[k], stream.field_at_200[k]);
    sa::Store(&layer.field_at_8, static_cast<uint64_t>(stream.field_at_8));
    UpdateHeldRange(layer, stream);
  }
}

void KelVideoStatisticInfo::UpdateVideoConfigureChange(const Stream* streams, int count) {
  if (streams == nullptr) return;
  const int layers = LayersCovered(count);
  for (int i = 0; i < layers; ++i) {
    sa::Store(&m_txInfo.layers[i].configChangeCount, streams[i].configChangeCount);
  }
}

void KelVideoStatisticInfo::UpdateVideoEncFrameCnt(unsigned int count) {
  sa::Store(&m_txInfo.encodedFrameCount, count);
}

void KelVideoStatisticInfo::UpdateVideoCapturedFrameCnt(unsigned int count) {
  sa::Store(&m_txInfo.capturedFrameCount, count);
}

void KelVideoStatisticInfo::UpdateVideoFeedToEncoderFramesCnt(unsigned int count) {
  sa::Store(&m_txInfo.feedToEncoderFrameCount, count);
}

void KelVideoStatisticInfo::UpdateVideoEncOtherInfo(float first, float second, unsigned int value3,
                                                    kel::KelVideoCodecType codecType,
                                                    unsigned long value5, int value6,
                                                    unsigned int value7) {
  sa::Store(&m_txInfo.field_at_1528, first);
  sa::Store(&m_txInfo.field_at_1520, second);
  sa::Store(&m_txInfo.field_at_1476, value3);
  sa::Store(&m_txInfo.codec, mapToKELCodec(codecType));
  sa::Store(&m_txInfo.field_at_1600, static_cast<uint64_t>(value5));
  sa::Store(&m_txInfo.field_at_1580, static_cast<int32_t>(value6));
  sa::Store(&m_txInfo.field_at_1736, value7);
}

uint32_t KelVideoStatisticInfo::AddRef() {
  return InternalAddRef();
}

uint32_t KelVideoStatisticInfo::Release() {
  return InternalRelease();
}

uint32_t KelVideoStatisticInfo::GetReference() {
  return InternalGetReference();
}

int32_t KelVideoStatisticInfo::QueryInterface(const kel::_tagUUID& id, void** out) {
  return kel::queryKelUnknown(this, id, out);
}

KelContentVideoStatisticInfo::KelContentVideoStatisticInfo(unsigned int callId)
    : KelVideoStatisticInfo(callId) {}

KelContentVideoStatisticInfo::~KelContentVideoStatisticInfo() = default;

}  // namespace kelStore
