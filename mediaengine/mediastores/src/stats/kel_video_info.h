// Video statistics objects: the encoder-side video figures of one call.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_VIDEO_INFO_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_VIDEO_INFO_H_

#include <cstddef>
#include <cstdint>

#include "mediastores/kel_unknown.h"
#include "mediastores/media_info.h"
#include "mediastores/video_records.h"
#include "platform/kel_unknown_impl.h"

namespace kelStore {

// The codec code stored for an engine codec type: 0 -> 100, 1 -> 101, 2 -> 0, 3 -> 104, any
// other value -> 0.
int32_t mapToKELCodec(kel::KelVideoCodecType codecType);

// What a layer reported at the previous resetting read, so that the next one reports
// differences (64 bytes a layer, private to the object).
struct st_KelVideoLayerBaseline {
  uint8_t reserved_0[8];                             // 0
  uint32_t field_at_20;                              // 8: the layer's field at 20
  uint32_t idrRequestCount;                          // 12: the layer's field at 24
  uint32_t configChangeCount;                        // 16: the layer's field at 104
  uint32_t idrReasonCount[kKelVideoIdrReasonCount];  // 20: the layer's counters at 132
};
static_assert(sizeof(st_KelVideoLayerBaseline) == 64, "layer baseline is 64 bytes");
static_assert(offsetof(st_KelVideoLayerBaseline, field_at_20) == 8, "layer baseline layout");
static_assert(offsetof(st_KelVideoLayerBaseline, idrRequestCount) == 12, "layer baseline layout");
static_assert(offsetof(st_KelVideoLayerBaseline, configChangeCount) == 16, "layer baseline layout");
static_assert(offsetof(st_KelVideoLayerBaseline, idrReasonCount) == 20, "layer baseline layout");

// The transmit record of a call's video encoder (six layers and the encoder-wide figures), a
// receive record that is kept but never filled, and the per-layer baselines of the interval
// figures. Written by the encoder and copied out by readers without a lock; reference counted
// like the audio object.
class KelVideoStatisticInfo : public IKelVideoInfo,
                              public kel::IKelUnknown,
                              public kel::CKelUnknownImpl {
 public:
  explicit KelVideoStatisticInfo(unsigned int callId);
  ~KelVideoStatisticInfo() override;
  KelVideoStatisticInfo(const KelVideoStatisticInfo&) = delete;
  KelVideoStatisticInfo& operator=(const KelVideoStatisticInfo&) = delete;

  // IKelMediaInfo
  int32_t UpdateTxMediaInfo(void* src) override;
  int32_t UpdateRxMediaInfo(void* src) override;
  int32_t GetTxMediaInfo(void* dst, bool reset) override;
  int32_t GetRxMediaInfo(void* dst, bool reset) override;
  int32_t reset(unsigned int callId) override;
  unsigned int GetCallId() override;

  // IKelVideoInfo
  void UpdateVideoEncBitrateFps(unsigned int value0, unsigned int value1, float value2) override;
  void UpdateVideoEncFSAndDownType(unsigned int frameSize, unsigned int value,
                                   kel::KelVideoResDownType downType) override;
  void UpdatePerformanceWarnCnt(int count) override;
  void UpdateNoiseLevel(int level) override;
  void UpdateEncROIAreaRation(unsigned int ratio) override;
  void UpdateVideoEncResolution(unsigned int packed) override;
  void UpdateVideoEnableHWEnc(bool enabled) override;
  void UpdateEncodeControlTargetFps(const float* fps, int count) override;
  void UpdateVideoProcessInfo(int first, int second) override;
  void resetTxVideoStatisticInfo() override;
  void UpdateAV1Metrics(int value, const char* firstText, const char* secondText) override;
  void UpdateVideoEncIdrReqNum(unsigned int total, const st_KelVideoStreamStatInfo* streams, int n,
                               bool all) override;
  void UpdateVideoEncIdrSentAndReasonCnt(unsigned int total,
                                         const st_KelVideoStreamStatInfo* streams, int n) override;
  void UpdateFBufferOcuppiedVideo(const float* values, unsigned int layer) override;
  void UpdateProfile(const unsigned int* profiles, int count) override;
  void UpdateEncodeParam(int layers, kel::KelVideoCodecType codecType) override;
  void UpdateOneVideoLayerInfo(const st_KelVideoStreamStatInfo* streams, int n, bool restart,
                               unsigned int frames) override;
  void UpdateStreamsInfo(const st_KelVideoStreamStatInfo* streams, int count) override;
  void UpdateVideoConfigureChange(const st_KelVideoStreamStatInfo* streams, int count) override;
  void UpdateVideoEncFrameCnt(unsigned int count) override;
  void UpdateVideoCapturedFrameCnt(unsigned int count) override;
  void UpdateVideoFeedToEncoderFramesCnt(unsigned int count) override;
  void UpdateVideoEncOtherInfo(float first, float second, unsigned int value3,
                               kel::KelVideoCodecType codecType, unsigned long value5, int value6,
                               unsigned int value7) override;

  // kel::IKelUnknown
  uint32_t AddRef() override;
  uint32_t Release() override;
  uint32_t GetReference() override;
  // For IID_IKelUnknown hands out the object's CKelUnknownImpl part and adds a reference.
  int32_t QueryInterface(const kel::_tagUUID& id, void** out) override;

 private:
  unsigned int m_callId;
  alignas(64) st_KelVideoTxStatisticsInfo m_txInfo;  // whole-record reads; layers at 16
  // Right after the transmit record, so that no baseline shares its address bits below 4096 with
  // a layer of the record (a resetting read stores to the one and then loads from the other).
  alignas(64) st_KelVideoLayerBaseline m_layerBaselines[kKelVideoLayerCount];
  st_KelVideoTxStatisticsInfo m_rxInfo;
};

// The video statistics of a call's content (shared-screen) video; the same object.
class KelContentVideoStatisticInfo : public KelVideoStatisticInfo {
 public:
  explicit KelContentVideoStatisticInfo(unsigned int callId);
  ~KelContentVideoStatisticInfo() override;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_VIDEO_INFO_H_
