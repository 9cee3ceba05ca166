// Audio statistics objects: the latest audio figures of one call.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_AUDIO_INFO_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_AUDIO_INFO_H_

#include <cstddef>
#include <cstdint>

#include "mediastores/audio_records.h"
#include "mediastores/kel_unknown.h"
#include "mediastores/media_info.h"
#include "platform/kel_unknown_impl.h"

namespace kelStore {

// Number of receive streams (and synchronisation records) an audio object keeps.
inline constexpr unsigned int kKelAudioStreamCount = 20;

// The codec code of an audio payload type (RFC 3551 static types 0, 8, 9, 18 and the dynamic
// types 101 to 107). Returns false, leaving `code` alone, for any other type.
bool mapAudioPayloadTypeToKELCodec(KEL_AUDIO_PAYLOAD_TYPE payloadType, int32_t& code);

// One transmit record, 20 receive records and 20 A/V synchronisation records of a call, written
// by the audio pipeline and copied out by readers without a lock. Reference counted: made with a
// count of 0 by the registry, deleted by the Release that brings the count back to 0.
class KelAudioStatisticInfo : public IKelAudioInfo,
                              public kel::IKelUnknown,
                              public kel::CKelUnknownImpl {
 public:
  explicit KelAudioStatisticInfo(unsigned int callId);
  ~KelAudioStatisticInfo() override;
  KelAudioStatisticInfo(const KelAudioStatisticInfo&) = delete;
  KelAudioStatisticInfo& operator=(const KelAudioStatisticInfo&) = delete;

  // IKelMediaInfo
  int32_t UpdateTxMediaInfo(void* src) override;
  int32_t UpdateRxMediaInfo(void* src) override;
  int32_t GetTxMediaInfo(void* dst, bool reset) override;
  int32_t GetRxMediaInfo(void* dst, bool reset) override;
  int32_t reset(unsigned int callId) override;
  unsigned int GetCallId() override;

  // IKelAudioInfo
  void updateSendCodecInfo(const st_KelAudioCodecStatisticsInfo& info) override;
  void updateTxBitRate(unsigned int bitRate) override;
  void updateRxBitRate(int index, unsigned int bitRate) override;
  void updateUnstableEventCount(unsigned int count) override;
  void updateAECLevel(float level0, float level1, float level2) override;
  void updateNoiseLevel(float level0, float level1, float level2) override;
  void updateSpeechLevel(float level0, float level1, float level2) override;
  void updatePayloadType(int index, KEL_AUDIO_PAYLOAD_TYPE payloadType) override;
  void updateDecodeInfo(int index, bool decodeFlag, unsigned int decodeValue) override;
  void updateJitterBufferStatistics(int index, const st_KelAudioJitterBufferStatistics& stats,
                                    int extra0, int extra1) override;
  void updateE2EDelayInfo(int index, unsigned int delay0, unsigned int delay1,
                          unsigned int delay2) override;
  void updateCodecStaticsLBRRflag(int index, bool lbrrFlag) override;
  void updateCodecStaticsLBRRflag(bool lbrrFlag) override;
  void updateTxEncodeDropFrameinMS(unsigned int dropFrameInMs) override;
  void updateAVSyncStatistics(int index, const kel::_tagSyncStatistics& stats) override;
  int32_t GetRxAudioInfo(void* dst, int index, bool reset) override;
  int32_t GetAVSyncInfo(void* dst, int index) override;

  // kel::IKelUnknown
  uint32_t AddRef() override;
  uint32_t Release() override;
  uint32_t GetReference() override;
  // For IID_IKelUnknown hands out the object's CKelUnknownImpl part and adds a reference.
  int32_t QueryInterface(const kel::_tagUUID& id, void** out) override;

 private:
  // A receive record placed twelve bytes into a 16-byte aligned slot, so that its 64-bit field
  // at 132 is eight-byte aligned in memory and is never seen half-written by a racing reader, and
  // a read moves the record as one four-byte word and then sixteen aligned 16-byte blocks.
  struct alignas(16) RxSlot {
    uint32_t lead[3];
    st_KelAudioRxStatisticsInfo record;
  };

  // The record of receive stream `index`, or null for an index above 19.
  st_KelAudioRxStatisticsInfo* rxRecord(int index);
  // Sets the levels and the field at 112 to their reset values.
  void resetTxLevels();
  // Whether the levels and the field at 112 hold their reset values, bit for bit.
  bool txLevelsAtReset() const;

  // 32: whole-record reads in aligned blocks, the 64-bit field at 96 aligned.
  static constexpr size_t kTxAlignment = 32;
  static constexpr size_t kSyncAlignment = 16;

  unsigned int m_callId;
  alignas(kTxAlignment) st_KelAudioTxStatisticsInfo m_txInfo;
  RxSlot m_rxInfo[kKelAudioStreamCount];
  alignas(kSyncAlignment) kel::_tagSyncStatistics m_syncInfo[kKelAudioStreamCount];
};

// The audio statistics of a call's content (shared-screen) audio; the same object.
class KelContentAudioStatisticInfo : public KelAudioStatisticInfo {
 public:
  explicit KelContentAudioStatisticInfo(unsigned int callId);
  ~KelContentAudioStatisticInfo() override;
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_STATS_KEL_AUDIO_INFO_H_
