// Interfaces of the per-call media statistics objects.
//
// The audio and video pipelines of a call write their figures into one statistics object per
// call and media kind; readers copy fixed-layout records (audio_records.h, video_records.h) out
// of it, optionally resetting what they report. Objects come from createMediastoresEntity
// (mediastores_entity.h), which hands out the object's address: for the audio kinds that address
// is the object's IKelAudioInfo, for the video kinds its IKelVideoInfo.
//
//   void* p = nullptr;
//   if (kelStore::createMediastoresEntity(kelStore::KEL_MEDIASTORES_AUDIO, callId, &p) ==
//       KEL_S_OK) {
//     auto* audio = static_cast<kelStore::IKelAudioInfo*>(p);
//     audio->updateTxBitRate(32000);
//     kelStore::st_KelAudioTxStatisticsInfo tx;
//     audio->GetTxMediaInfo(&tx, true);
//     kelStore::releaseMediastoresEntity(kelStore::KEL_MEDIASTORES_AUDIO, callId, p);
//   }
//
// Figures are written and read without a lock: a record copied while a writer runs may mix old
// and new field values, but every single field is read whole (never half-written).
#ifndef MEDIASTORES_MEDIA_INFO_H_
#define MEDIASTORES_MEDIA_INFO_H_

#include <cstdint>

#include "mediastores/audio_records.h"
#include "mediastores/kel_unknown.h"
#include "mediastores/video_records.h"

namespace kelStore {

// Identifier of the reference-counting interface, accepted by the statistics objects'
// QueryInterface (bytes in memory order: 00 00 00 00 13 20 14 01 01 23 45 67 89 AB CD EF on the
// little-endian targets the library is built for).
inline constexpr kel::_tagUUID IID_IKelUnknown = {
    0x00000000u, 0x2013u, 0x0114u, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};

// What every statistics object offers, audio or video.
class IKelMediaInfo {
 public:
  virtual ~IKelMediaInfo() = default;
  // Overwrites the whole transmit record with the record at `src`. KEL_E_BADSTATE for null.
  virtual int32_t UpdateTxMediaInfo(void* src) = 0;
  // Receive records are not written whole: always KEL_E_BADSTATE.
  virtual int32_t UpdateRxMediaInfo(void* src) = 0;
  // Copies the transmit record to `dst`; with `reset`, then starts the reported interval afresh
  // (see the audio and video interfaces). KEL_E_BADSTATE for null.
  virtual int32_t GetTxMediaInfo(void* dst, bool reset) = 0;
  // Audio: does nothing and returns KEL_S_OK. Video: does nothing and returns KEL_E_BADSTATE.
  virtual int32_t GetRxMediaInfo(void* dst, bool reset) = 0;
  // Returns every figure to its initial state under `callId`; 0 on success.
  virtual int32_t reset(unsigned int callId) = 0;
  // The call id the object was made for (or last reset to).
  virtual unsigned int GetCallId() = 0;
};

// Audio figures: one transmit record, and per receive stream (index 0 to 19) one receive record
// and one A/V synchronisation record. An update with an index outside 0..19 does nothing.
class IKelAudioInfo : public IKelMediaInfo {
 public:
  // Stores the send codec's figures; the codec code only when the payload type is one the
  // object knows (KEL_AUDIO_PAYLOAD_TYPE), otherwise the old code stays.
  virtual void updateSendCodecInfo(const st_KelAudioCodecStatisticsInfo& info) = 0;
  virtual void updateTxBitRate(unsigned int bitRate) = 0;
  virtual void updateRxBitRate(int index, unsigned int bitRate) = 0;
  virtual void updateUnstableEventCount(unsigned int count) = 0;
  virtual void updateAECLevel(float level0, float level1, float level2) = 0;
  virtual void updateNoiseLevel(float level0, float level1, float level2) = 0;
  virtual void updateSpeechLevel(float level0, float level1, float level2) = 0;
  // Codec code of receive stream `index` by payload type; unknown types change nothing.
  virtual void updatePayloadType(int index, KEL_AUDIO_PAYLOAD_TYPE payloadType) = 0;
  // Decode flag and value of stream `index`. The flag shares its byte with the receive LBRR
  // flag: whichever is written last wins.
  virtual void updateDecodeInfo(int index, bool decodeFlag, unsigned int decodeValue) = 0;
  // Jitter-buffer figures of stream `index`, and two extra values kept as single bytes.
  virtual void updateJitterBufferStatistics(int index,
                                            const st_KelAudioJitterBufferStatistics& stats,
                                            int extra0, int extra1) = 0;
  virtual void updateE2EDelayInfo(int index, unsigned int delay0, unsigned int delay1,
                                  unsigned int delay2) = 0;
  // Receive LBRR flag of stream `index` (the decode flag's byte).
  virtual void updateCodecStaticsLBRRflag(int index, bool lbrrFlag) = 0;
  // Transmit LBRR flag.
  virtual void updateCodecStaticsLBRRflag(bool lbrrFlag) = 0;
  virtual void updateTxEncodeDropFrameinMS(unsigned int dropFrameInMs) = 0;
  virtual void updateAVSyncStatistics(int index, const kel::_tagSyncStatistics& stats) = 0;
  // Copies receive record `index` (260 bytes) to `dst`; with `reset`, then clears that record's
  // jitter-buffer fields at 120, 124 and 128. KEL_E_BADSTATE for null or an index above 19.
  virtual int32_t GetRxAudioInfo(void* dst, int index, bool reset) = 0;
  // Copies synchronisation record `index` (120 bytes) to `dst`. KEL_E_BADSTATE for null or an
  // index above 19.
  virtual int32_t GetAVSyncInfo(void* dst, int index) = 0;
};

// Video encoder figures: a transmit record with six layers (index 0 to 5). A layer index outside
// 0..5 makes an update do nothing to the layers; a layer count above 6 updates the six layers;
// a null array makes an update do nothing at all.
//
// GetTxMediaInfo with `reset` reports each layer's IDR request and reason counters, its field at
// 20 and its configuration changes as differences since the previous resetting read, and starts
// the held minimum and maximum afresh.
class IKelVideoInfo : public IKelMediaInfo {
 public:
  virtual void UpdateVideoEncBitrateFps(unsigned int value0, unsigned int value1, float value2) = 0;
  virtual void UpdateVideoEncFSAndDownType(unsigned int frameSize, unsigned int value,
                                           kel::KelVideoResDownType downType) = 0;
  virtual void UpdatePerformanceWarnCnt(int count) = 0;
  // Keeps the highest noise level since the last reset.
  virtual void UpdateNoiseLevel(int level) = 0;
  virtual void UpdateEncROIAreaRation(unsigned int ratio) = 0;
  // `packed`: width in the low 16 bits, height in the high 16 bits.
  virtual void UpdateVideoEncResolution(unsigned int packed) = 0;
  virtual void UpdateVideoEnableHWEnc(bool enabled) = 0;
  // Layer i's target frame rate = fps[i] for i below `count`; only for a count of 1 to 6.
  virtual void UpdateEncodeControlTargetFps(const float* fps, int count) = 0;
  virtual void UpdateVideoProcessInfo(int first, int second) = 0;
  // Clears the transmit record and the interval baselines (the noise level becomes 0).
  virtual void resetTxVideoStatisticInfo() = 0;
  // Stores the number and up to 15 and 63 characters of the two texts (null: empty text).
  virtual void UpdateAV1Metrics(int value, const char* firstText, const char* secondText) = 0;
  // Stores `total`; copies stream n's IDR request count to layer n, or with `all` to every layer
  // below n.
  virtual void UpdateVideoEncIdrReqNum(unsigned int total, const st_KelVideoStreamStatInfo* streams,
                                       int n, bool all) = 0;
  // Stores `total`; copies stream n's IDR sent count and reason counters to layer n.
  virtual void UpdateVideoEncIdrSentAndReasonCnt(unsigned int total,
                                                 const st_KelVideoStreamStatInfo* streams,
                                                 int n) = 0;
  // Layer `layer`'s frame-buffer occupancy = values[layer].
  virtual void UpdateFBufferOcuppiedVideo(const float* values, unsigned int layer) = 0;
  // Layer i's profile = profiles[i] for i below `count`.
  virtual void UpdateProfile(const unsigned int* profiles, int count) = 0;
  virtual void UpdateEncodeParam(int layers, kel::KelVideoCodecType codecType) = 0;
  // Copies stream n's figures into layer n and stores `frames` as the encoded frame count; with
  // `restart`, layer n's counters start again from zero.
  virtual void UpdateOneVideoLayerInfo(const st_KelVideoStreamStatInfo* streams, int n,
                                       bool restart, unsigned int frames) = 0;
  // Stores `count` as the number of layers and copies the stream figures of each layer.
  virtual void UpdateStreamsInfo(const st_KelVideoStreamStatInfo* streams, int count) = 0;
  // Layer i's configuration change count = stream i's, for i below `count`.
  virtual void UpdateVideoConfigureChange(const st_KelVideoStreamStatInfo* streams, int count) = 0;
  virtual void UpdateVideoEncFrameCnt(unsigned int count) = 0;
  virtual void UpdateVideoCapturedFrameCnt(unsigned int count) = 0;
  virtual void UpdateVideoFeedToEncoderFramesCnt(unsigned int count) = 0;
  virtual void UpdateVideoEncOtherInfo(float first, float second, unsigned int value3,
                                       kel::KelVideoCodecType codecType, unsigned long value5,
                                       int value6, unsigned int value7) = 0;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIA_INFO_H_
