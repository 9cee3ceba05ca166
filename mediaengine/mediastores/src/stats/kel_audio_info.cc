#include "mediaengine/mediastores/src/stats/kel_audio_info.h"

#include <cstddef>
#include <cstring>

#include "mediaengine/mediastores/src/stats/kel_stats_access.h"
#include "mediastores/result_codes.h"
#include "mediastores/safe_lib.h"

namespace kelStore {

namespace sa = statsaccess;

namespace {

constexpr size_t kTxSize = sizeof(st_KelAudioTxStatisticsInfo);
constexpr size_t kRxSize = sizeof(st_KelAudioRxStatisticsInfo);
constexpr size_t kSyncSize = sizeof(kel::_tagSyncStatistics);

// Levels a reset (and a resetting transmit read) puts back, and the value of the field at 112.
constexpr float kResetNoiseLevel = -100.0f;
constexpr float kResetAecLevel = 0.0f;
constexpr float kResetSpeechLevel = -100.0f;
constexpr uint32_t kResetField112 = 20;

// Jitter-buffer fields a resetting receive read clears: bytes 120 to 131.
constexpr size_t kRxClearedAt = offsetof(st_KelAudioRxStatisticsInfo, field_at_120);
constexpr size_t kRxClearedSize = 12;
static_assert(kRxClearedAt == 120 && offsetof(st_KelAudioRxStatisticsInfo, field_at_128) == 128,
              "a resetting receive read clears bytes 120 to 131");

struct PayloadCodec {
  int32_t payloadType;
  int32_t code;
};
constexpr PayloadCodec kPayloadCodecs[] = {
    {KEL_AUDIO_PAYLOAD_PCMU, 1},         {KEL_AUDIO_PAYLOAD_PCMA, 2},
    {KEL_AUDIO_PAYLOAD_G722, 5},         {KEL_AUDIO_PAYLOAD_G729, 7},
    {KEL_AUDIO_PAYLOAD_DYNAMIC_101, 4},  {KEL_AUDIO_PAYLOAD_DYNAMIC_102, 3},
    {KEL_AUDIO_PAYLOAD_DYNAMIC_103, 8},  {KEL_AUDIO_PAYLOAD_DYNAMIC_104, 9},
    {KEL_AUDIO_PAYLOAD_DYNAMIC_105, 10}, {KEL_AUDIO_PAYLOAD_DYNAMIC_106, 11},
    {KEL_AUDIO_PAYLOAD_DYNAMIC_107, 12},
};

// The same table indexed by payload type (0: not in the table), so that a lookup is one load.
constexpr size_t kPayloadTypeCount = KEL_AUDIO_PAYLOAD_DYNAMIC_107 + 1;
struct CodecByPayloadType {
  constexpr CodecByPayloadType() : code() {
    for (const PayloadCodec& entry : kPayloadCodecs)
      code[entry.payloadType] = static_cast<int8_t>(entry.code);
  }
  int8_t code[kPayloadTypeCount];
};
constexpr CodecByPayloadType kCodecByPayloadType;

// The 64-bit fields of the four-byte packed records, by byte position.
constexpr size_t kTxField96 = offsetof(st_KelAudioTxStatisticsInfo, field_at_96);
constexpr size_t kRxField132 = offsetof(st_KelAudioRxStatisticsInfo, field_at_132);

}  // namespace

bool mapAudioPayloadTypeToKELCodec(KEL_AUDIO_PAYLOAD_TYPE payloadType, int32_t& code) {
  const uint32_t type = static_cast<uint32_t>(payloadType);
  if (type >= kPayloadTypeCount || kCodecByPayloadType.code[type] == 0) return false;
  code = kCodecByPayloadType.code[type];
  return true;
}

KelAudioStatisticInfo::KelAudioStatisticInfo(unsigned int callId)
    : m_callId(0xFFFFFFFFu), m_txInfo(), m_rxInfo(), m_syncInfo() {
  reset(callId);
}

KelAudioStatisticInfo::~KelAudioStatisticInfo() = default;

st_KelAudioRxStatisticsInfo* KelAudioStatisticInfo::rxRecord(int index) {
  const unsigned int slot = static_cast<unsigned int>(index);
  if (slot >= kKelAudioStreamCount) return nullptr;
  // The slot's alignment, told to the compiler, settles at build time which words and blocks the
  // record's reads and 64-bit stores take.
  return &static_cast<RxSlot*>(__builtin_assume_aligned(&m_rxInfo[slot], alignof(RxSlot)))->record;
}

void KelAudioStatisticInfo::resetTxLevels() {
  for (int i = 0; i < 3; ++i) {
    sa::Store(&m_txInfo.noiseLevel[i], kResetNoiseLevel);
    sa::Store(&m_txInfo.aecLevel[i], kResetAecLevel);
    sa::Store(&m_txInfo.speechLevel[i], kResetSpeechLevel);
  }
  sa::Store(&m_txInfo.field_at_112, kResetField112);
}

bool KelAudioStatisticInfo::txLevelsAtReset() const {
  // The levels fill bytes 60 to 95 and the field at 112 opens its block: four blocks compared as
  // bits with their reset image (so that a level of -0.0 is put back to 0.0).
  static_assert(offsetof(st_KelAudioTxStatisticsInfo, noiseLevel) == 60 &&
                    offsetof(st_KelAudioTxStatisticsInfo, speechLevel) == 84 &&
                    offsetof(st_KelAudioTxStatisticsInfo, field_at_112) == 112,
                "levels in bytes 60 to 95");
  auto bits = [](float value) {
    uint32_t word;
    std::memcpy(&word, &value, sizeof(word));
    return word;
  };
  const uint32_t noise = bits(kResetNoiseLevel), aec = bits(kResetAecLevel);
  const uint32_t speech = bits(kResetSpeechLevel);
  const sa::KelLanes at48 = {0, 0, 0, noise}, at64 = {noise, noise, aec, aec};
  const sa::KelLanes at80 = {aec, speech, speech, speech}, at112 = {kResetField112, 0, 0, 0};
  const sa::KelLanes mask48 = {0, 0, 0, ~0u}, mask112 = {~0u, 0, 0, 0};
  const unsigned char* tx = reinterpret_cast<const unsigned char*>(&m_txInfo);
  const sa::KelPairs differ = reinterpret_cast<sa::KelPairs>(
      ((sa::Load16(tx + 48) ^ at48) & mask48) | (sa::Load16(tx + 64) ^ at64) |
      (sa::Load16(tx + 80) ^ at80) | ((sa::Load16(tx + 112) ^ at112) & mask112));
  return (differ[0] | differ[1]) == 0;
}

int32_t KelAudioStatisticInfo::UpdateTxMediaInfo(void* src) {
  if (src == nullptr) return KEL_E_BADSTATE;
  // The bounds-checked copy refuses a source that overlaps the record (one that starts inside
  // it included) through the constraint handler and leaves the record as it was; the write is
  // still answered with KEL_S_OK, as only a null source is the caller's fault here.
  memcpy_s(&m_txInfo, kTxSize, src, kTxSize);
  return KEL_S_OK;
}

int32_t KelAudioStatisticInfo::UpdateRxMediaInfo(void*) {
  return KEL_E_BADSTATE;
}

int32_t KelAudioStatisticInfo::GetTxMediaInfo(void* dst, bool reset) {
  if (dst == nullptr) return KEL_E_BADSTATE;
  sa::CopyOutSmall(dst, __builtin_assume_aligned(&m_txInfo, kTxAlignment), kTxSize);
  // Levels already at their reset values are not written again.
  if (reset && !txLevelsAtReset()) resetTxLevels();
  return KEL_S_OK;
}

int32_t KelAudioStatisticInfo::GetRxMediaInfo(void*, bool) {
  return KEL_S_OK;
}

int32_t KelAudioStatisticInfo::reset(unsigned int callId) {
  int result = sa::CheckedZero(&m_txInfo, kTxSize);
  for (RxSlot& slot : m_rxInfo)
    result = sa::CheckedZero(&slot.record, kRxSize);
  for (kel::_tagSyncStatistics& sync : m_syncInfo)
    result = sa::CheckedZero(&sync, kSyncSize);
  resetTxLevels();
  sa::Store(&m_callId, callId);
  return result;
}

unsigned int KelAudioStatisticInfo::GetCallId() {
  return sa::Load(&m_callId);
}

void KelAudioStatisticInfo::updateSendCodecInfo(const st_KelAudioCodecStatisticsInfo& info) {
  sa::Store(&m_txInfo.lbrrFlag, info.lbrrFlag);
  sa::Store(&m_txInfo.field_at_4, info.field_at_4);
  int32_t code = 0;
  if (mapAudioPayloadTypeToKELCodec(info.payloadType, code)) sa::Store(&m_txInfo.codec, code);
  sa::Store(&m_txInfo.encodeDropFrameInMs, info.encodeDropFrameInMs);
  sa::Store64At(&m_txInfo, kTxField96, info.field_at_16);
  sa::Store(&m_txInfo.field_at_104, info.field_at_24);
}

void KelAudioStatisticInfo::updateTxBitRate(unsigned int bitRate) {
  sa::Store(&m_txInfo.txBitRate, bitRate);
}

void KelAudioStatisticInfo::updateRxBitRate(int index, unsigned int bitRate) {
  if (st_KelAudioRxStatisticsInfo* rx = rxRecord(index)) sa::Store(&rx->rxBitRate, bitRate);
}

void KelAudioStatisticInfo::updateUnstableEventCount(unsigned int count) {
  sa::Store(&m_txInfo.unstableEventCount, count);
}

void KelAudioStatisticInfo::updateAECLevel(float level0, float level1, float level2) {
  sa::Store(&m_txInfo.aecLevel[0], level0);
  sa::Store(&m_txInfo.aecLevel[1], level1);
  sa::Store(&m_txInfo.aecLevel[2], level2);
}

void KelAudioStatisticInfo::updateNoiseLevel(float level0, float level1, float level2) {
  sa::Store(&m_txInfo.noiseLevel[0], level0);
  sa::Store(&m_txInfo.noiseLevel[1], level1);
  sa::Store(&m_txInfo.noiseLevel[2], level2);
}

void KelAudioStatisticInfo::updateSpeechLevel(float level0, float level1, float level2) {
  sa::Store(&m_txInfo.speechLevel[0], level0);
  sa::Store(&m_txInfo.speechLevel[1], level1);
  sa::Store(&m_txInfo.speechLevel[2], level2);
}

void KelAudioStatisticInfo::updatePayloadType(int index, KEL_AUDIO_PAYLOAD_TYPE payloadType) {
  st_KelAudioRxStatisticsInfo* rx = rxRecord(index);
  int32_t code = 0;
  if (rx != nullptr && mapAudioPayloadTypeToKELCodec(payloadType, code)) {
    sa::Store(&rx->codec, code);
  }
}

void KelAudioStatisticInfo::updateDecodeInfo(int index, bool decodeFlag, unsigned int decodeValue) {
  if (st_KelAudioRxStatisticsInfo* rx = rxRecord(index)) {
    sa::Store(&rx->decodeFlag, decodeFlag);
    sa::Store(&rx->decodeValue, decodeValue);
  }
}

void KelAudioStatisticInfo::updateJitterBufferStatistics(
    int index, const st_KelAudioJitterBufferStatistics& stats, int extra0, int extra1) {
  st_KelAudioRxStatisticsInfo* rx = rxRecord(index);
  if (rx == nullptr) return;
  sa::Store(&rx->field_at_108, static_cast<uint8_t>(extra0));
  sa::Store(&rx->field_at_109, static_cast<uint8_t>(extra1));
  sa::Store(&rx->field_at_112, stats.field_at_36);
  // Crosswise on purpose: readers of the receive record expect the field at 12 first.
  sa::Store(&rx->field_at_120, stats.field_at_12);
  sa::Store(&rx->field_at_124, stats.field_at_8);
  sa::Store(&rx->field_at_128, stats.field_at_16);
  sa::Store64At(rx, kRxField132, stats.field_at_40);
  sa::Store(&rx->field_at_140, stats.field_at_48);
}

void KelAudioStatisticInfo::updateE2EDelayInfo(int index, unsigned int delay0, unsigned int delay1,
                                               unsigned int delay2) {
  if (st_KelAudioRxStatisticsInfo* rx = rxRecord(index)) {
    sa::Store(&rx->e2eDelay[0], delay0);
    sa::Store(&rx->e2eDelay[1], delay1);
    sa::Store(&rx->e2eDelay[2], delay2);
  }
}

void KelAudioStatisticInfo::updateCodecStaticsLBRRflag(int index, bool lbrrFlag) {
  // The receive LBRR flag shares its byte with the decode flag.
  if (st_KelAudioRxStatisticsInfo* rx = rxRecord(index)) sa::Store(&rx->decodeFlag, lbrrFlag);
}

void KelAudioStatisticInfo::updateCodecStaticsLBRRflag(bool lbrrFlag) {
  sa::Store(&m_txInfo.lbrrFlag, lbrrFlag);
}

void KelAudioStatisticInfo::updateTxEncodeDropFrameinMS(unsigned int dropFrameInMs) {
  sa::Store(&m_txInfo.encodeDropFrameInMs, dropFrameInMs);
}

void KelAudioStatisticInfo::updateAVSyncStatistics(int index,
                                                   const kel::_tagSyncStatistics& stats) {
  const unsigned int slot = static_cast<unsigned int>(index);
  if (slot < kKelAudioStreamCount) sa::CopyIn(&m_syncInfo[slot], &stats, kSyncSize);
}

int32_t KelAudioStatisticInfo::GetRxAudioInfo(void* dst, int index, bool reset) {
  st_KelAudioRxStatisticsInfo* rx = rxRecord(index);
  if (dst == nullptr || rx == nullptr) return KEL_E_BADSTATE;
  sa::CopyOutSmall(dst, rx, kRxSize);
  if (reset && (sa::Load(&rx->field_at_120) | sa::Load(&rx->field_at_124) |
                sa::Load(&rx->field_at_128)) != 0) {
    sa::Zero(reinterpret_cast<unsigned char*>(rx) + kRxClearedAt, kRxClearedSize);
  }
  return KEL_S_OK;
}

int32_t KelAudioStatisticInfo::GetAVSyncInfo(void* dst, int index) {
  const unsigned int slot = static_cast<unsigned int>(index);
  if (dst == nullptr || slot >= kKelAudioStreamCount) return KEL_E_BADSTATE;
  // The records follow each other every 120 bytes from an aligned start.
  const auto* records = static_cast<const kel::_tagSyncStatistics*>(
      __builtin_assume_aligned(m_syncInfo, kSyncAlignment));
  sa::CopyOutSmall(dst, records + slot, kSyncSize);
  return KEL_S_OK;
}

uint32_t KelAudioStatisticInfo::AddRef() {
  return InternalAddRef();
}

uint32_t KelAudioStatisticInfo::Release() {
  return InternalRelease();
}

uint32_t KelAudioStatisticInfo::GetReference() {
  return InternalGetReference();
}

int32_t KelAudioStatisticInfo::QueryInterface(const kel::_tagUUID& id, void** out) {
  return kel::queryKelUnknown(this, id, out);
}

KelContentAudioStatisticInfo::KelContentAudioStatisticInfo(unsigned int callId)
    : KelAudioStatisticInfo(callId) {}

KelContentAudioStatisticInfo::~KelContentAudioStatisticInfo() = default;

}  // namespace kelStore
