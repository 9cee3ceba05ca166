// Fixed-layout audio statistics records: what the audio pipeline hands in and what readers copy
// out of an audio statistics object. Their byte layout is shared with the media engine, so every
// position is checked at compile time below.
#ifndef MEDIASTORES_AUDIO_RECORDS_H_
#define MEDIASTORES_AUDIO_RECORDS_H_

#include <cstddef>
#include <cstdint>

namespace kel {

// Audio/video synchronisation figures of one receive stream, as the media engine reports them.
// The engine defines what each word means; the statistics object stores and returns the 120
// bytes whole.
struct _tagSyncStatistics {
  uint32_t values[30];
};
static_assert(sizeof(_tagSyncStatistics) == 120, "sync record is 120 bytes");

}  // namespace kel

namespace kelStore {

// RTP audio payload types that the statistics object maps to the engine's codec codes: the
// static types of RFC 3551 and the dynamic types 101 to 107 that the engine assigns. Any other
// value may be passed; it is simply not mapped.
enum KEL_AUDIO_PAYLOAD_TYPE : int32_t {
  KEL_AUDIO_PAYLOAD_PCMU = 0,
  KEL_AUDIO_PAYLOAD_PCMA = 8,
  KEL_AUDIO_PAYLOAD_G722 = 9,
  KEL_AUDIO_PAYLOAD_G729 = 18,
  KEL_AUDIO_PAYLOAD_DYNAMIC_101 = 101,
  KEL_AUDIO_PAYLOAD_DYNAMIC_102 = 102,
  KEL_AUDIO_PAYLOAD_DYNAMIC_103 = 103,
  KEL_AUDIO_PAYLOAD_DYNAMIC_104 = 104,
  KEL_AUDIO_PAYLOAD_DYNAMIC_105 = 105,
  KEL_AUDIO_PAYLOAD_DYNAMIC_106 = 106,
  KEL_AUDIO_PAYLOAD_DYNAMIC_107 = 107,
};

// Send-side codec figures handed to IKelAudioInfo::updateSendCodecInfo.
struct st_KelAudioCodecStatisticsInfo {
  bool lbrrFlag;                       // 0: low-bit-rate redundancy in use
  uint8_t reserved_1[3];               // 1
  uint32_t field_at_4;                 // 4
  KEL_AUDIO_PAYLOAD_TYPE payloadType;  // 8
  uint32_t encodeDropFrameInMs;        // 12: time of frames the encoder dropped
  uint64_t field_at_16;                // 16
  uint32_t field_at_24;                // 24
  uint32_t reserved_28;                // 28
};
static_assert(sizeof(st_KelAudioCodecStatisticsInfo) == 32, "codec record size");
static_assert(offsetof(st_KelAudioCodecStatisticsInfo, lbrrFlag) == 0, "codec record layout");
static_assert(offsetof(st_KelAudioCodecStatisticsInfo, field_at_4) == 4, "codec record layout");
static_assert(offsetof(st_KelAudioCodecStatisticsInfo, payloadType) == 8, "codec record layout");
static_assert(offsetof(st_KelAudioCodecStatisticsInfo, encodeDropFrameInMs) == 12,
              "codec record layout");
static_assert(offsetof(st_KelAudioCodecStatisticsInfo, field_at_16) == 16, "codec record layout");
static_assert(offsetof(st_KelAudioCodecStatisticsInfo, field_at_24) == 24, "codec record layout");

// Jitter-buffer figures of one receive stream, handed to
// IKelAudioInfo::updateJitterBufferStatistics. Only the named fields are read.
struct st_KelAudioJitterBufferStatistics {
  uint8_t reserved_0[8];  // 0
  uint32_t field_at_8;    // 8: stored at receive position 124
  uint32_t field_at_12;   // 12: stored at receive position 120
  uint32_t field_at_16;   // 16: stored at receive position 128
  uint8_t reserved_20[16];
  uint32_t field_at_36;  // 36: stored at receive position 112
  uint64_t field_at_40;  // 40: stored at receive position 132
  uint32_t field_at_48;  // 48: stored at receive position 140
  uint32_t reserved_52;
};
static_assert(sizeof(st_KelAudioJitterBufferStatistics) == 56, "jitter-buffer record size");
static_assert(offsetof(st_KelAudioJitterBufferStatistics, field_at_8) == 8, "jitter layout");
static_assert(offsetof(st_KelAudioJitterBufferStatistics, field_at_12) == 12, "jitter layout");
static_assert(offsetof(st_KelAudioJitterBufferStatistics, field_at_16) == 16, "jitter layout");
static_assert(offsetof(st_KelAudioJitterBufferStatistics, field_at_36) == 36, "jitter layout");
static_assert(offsetof(st_KelAudioJitterBufferStatistics, field_at_40) == 40, "jitter layout");
static_assert(offsetof(st_KelAudioJitterBufferStatistics, field_at_48) == 48, "jitter layout");

// The transmit record of an audio statistics object (260 bytes). Fields that no update writes
// are kept as the engine's whole-record write (UpdateTxMediaInfo) left them.
#pragma pack(push, 4)
struct st_KelAudioTxStatisticsInfo {
  bool lbrrFlag;                 // 0
  uint8_t reserved_1[3];         // 1
  uint32_t field_at_4;           // 4: codec record field at 4
  uint32_t txBitRate;            // 8
  int32_t codec;                 // 12: codec code mapped from the payload type
  uint8_t reserved_16[40];       // 16
  uint32_t encodeDropFrameInMs;  // 56
  float noiseLevel[3];           // 60
  float aecLevel[3];             // 72
  float speechLevel[3];          // 84
  uint64_t field_at_96;          // 96: codec record field at 16
  uint32_t field_at_104;         // 104: codec record field at 24
  uint32_t reserved_108;         // 108
  uint32_t field_at_112;         // 112: 20 after a reset or a resetting read
  uint32_t unstableEventCount;   // 116
  uint8_t reserved_120[140];     // 120
};

// One receive record of an audio statistics object (260 bytes).
struct st_KelAudioRxStatisticsInfo {
  bool decodeFlag;           // 0: decode flag; the same byte is the receive LBRR flag
  uint8_t reserved_1[3];     // 1
  uint32_t decodeValue;      // 4
  uint32_t rxBitRate;        // 8
  int32_t codec;             // 12: codec code mapped from the payload type
  uint8_t reserved_16[92];   // 16
  uint8_t field_at_108;      // 108: first extra jitter-buffer argument, truncated to a byte
  uint8_t field_at_109;      // 109: second extra jitter-buffer argument, truncated to a byte
  uint8_t reserved_110[2];   // 110
  uint32_t field_at_112;     // 112: jitter-buffer field at 36
  uint32_t reserved_116;     // 116
  uint32_t field_at_120;     // 120: jitter-buffer field at 12 (crosswise, deliberately)
  uint32_t field_at_124;     // 124: jitter-buffer field at 8
  uint32_t field_at_128;     // 128: jitter-buffer field at 16
  uint64_t field_at_132;     // 132: jitter-buffer field at 40
  uint32_t field_at_140;     // 140: jitter-buffer field at 48
  uint8_t reserved_144[52];  // 144
  uint32_t e2eDelay[3];      // 196: end-to-end delay values, in argument order
  uint8_t reserved_208[52];  // 208
};
#pragma pack(pop)

#define KEL_AUDIO_TX_AT(field, pos)                                    \
  static_assert(offsetof(st_KelAudioTxStatisticsInfo, field) == (pos), \
                "audio transmit record: " #field " at " #pos)
static_assert(sizeof(st_KelAudioTxStatisticsInfo) == 260, "audio transmit record is 260 bytes");
KEL_AUDIO_TX_AT(lbrrFlag, 0);
KEL_AUDIO_TX_AT(field_at_4, 4);
KEL_AUDIO_TX_AT(txBitRate, 8);
KEL_AUDIO_TX_AT(codec, 12);
KEL_AUDIO_TX_AT(encodeDropFrameInMs, 56);
KEL_AUDIO_TX_AT(noiseLevel, 60);
KEL_AUDIO_TX_AT(aecLevel, 72);
KEL_AUDIO_TX_AT(speechLevel, 84);
KEL_AUDIO_TX_AT(field_at_96, 96);
KEL_AUDIO_TX_AT(field_at_104, 104);
KEL_AUDIO_TX_AT(field_at_112, 112);
KEL_AUDIO_TX_AT(unstableEventCount, 116);
#undef KEL_AUDIO_TX_AT

#define KEL_AUDIO_RX_AT(field, pos)                                    \
  static_assert(offsetof(st_KelAudioRxStatisticsInfo, field) == (pos), \
                "audio receive record: " #field " at " #pos)
static_assert(sizeof(st_KelAudioRxStatisticsInfo) == 260, "audio receive record is 260 bytes");
KEL_AUDIO_RX_AT(decodeFlag, 0);
KEL_AUDIO_RX_AT(decodeValue, 4);
KEL_AUDIO_RX_AT(rxBitRate, 8);
KEL_AUDIO_RX_AT(codec, 12);
KEL_AUDIO_RX_AT(field_at_108, 108);
KEL_AUDIO_RX_AT(field_at_109, 109);
KEL_AUDIO_RX_AT(field_at_112, 112);
KEL_AUDIO_RX_AT(field_at_120, 120);
KEL_AUDIO_RX_AT(field_at_124, 124);
KEL_AUDIO_RX_AT(field_at_128, 128);
KEL_AUDIO_RX_AT(field_at_132, 132);
KEL_AUDIO_RX_AT(field_at_140, 140);
KEL_AUDIO_RX_AT(e2eDelay, 196);
#undef KEL_AUDIO_RX_AT

}  // namespace kelStore

#endif  // MEDIASTORES_AUDIO_RECORDS_H_
