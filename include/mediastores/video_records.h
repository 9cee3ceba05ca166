// Fixed-layout video statistics records: the per-layer stream figures the video encoder hands in
// and the transmit record readers copy out of a video statistics object. Their byte layout is
// shared with the media engine, so every position is checked at compile time below.
#ifndef MEDIASTORES_VIDEO_RECORDS_H_
#define MEDIASTORES_VIDEO_RECORDS_H_

#include <cstddef>
#include <cstdint>

namespace kel {

// The engine's video codec type. The statistics object stores it as a codec code
// (kelStore::mapToKELCodec: 0 -> 100, 1 -> 101, 2 -> 0, 3 -> 104, anything else -> 0).
enum KelVideoCodecType : int32_t {};

// Why the engine lowered the encode resolution; the statistics object stores it as given.
enum KelVideoResDownType : int32_t {};

}  // namespace kel

namespace kelStore {

// Number of encoder layers (simulcast or spatial) a video statistics object keeps.
inline constexpr int kKelVideoLayerCount = 6;
// Number of IDR reason counters per layer.
inline constexpr int kKelVideoIdrReasonCount = 11;

// The encoder's figures for one layer, an array of which is handed to the layer updaters of
// IKelVideoInfo (indexed by layer). The engine defines the fields; the statistics object copies
// the ones named here.
#pragma pack(push, 4)
struct st_KelVideoStreamStatInfo {
  uint64_t field_at_0;                               // 0
  uint64_t field_at_8;                               // 8
  uint8_t reserved_16[32];                           // 16
  uint64_t field_at_48;                              // 48
  uint64_t field_at_56;                              // 56
  uint32_t field_at_64;                              // 64
  uint8_t reserved_68[12];                           // 68
  uint32_t field_at_80;                              // 80
  uint32_t field_at_84;                              // 84
  uint32_t idrRequestCount;                          // 88
  uint32_t idrSentCount;                             // 92
  uint32_t field_at_96;                              // 96
  uint8_t field_at_100;                              // 100
  uint8_t reserved_101[3];                           // 101
  uint64_t field_at_104;                             // 104
  uint32_t configChangeCount;                        // 112
  uint8_t reserved_116[8];                           // 116
  uint32_t field_at_124;                             // 124
  uint8_t reserved_128[20];                          // 128
  uint32_t field_at_148;                             // 148
  uint8_t reserved_152[48];                          // 152
  uint32_t field_at_200[4];                          // 200
  uint64_t field_at_216[4];                          // 216
  uint32_t idrReasonCount[kKelVideoIdrReasonCount];  // 248
  uint64_t field_at_292;                             // 292
  int32_t field_at_300;                              // 300: the layer keeps its smallest positive
  int32_t field_at_304;                              // 304: the layer keeps its largest
  uint32_t field_at_308;                             // 308
  uint32_t field_at_312[4];                          // 312
  float field_at_328;                                // 328
  uint8_t reserved_332[60];                          // 332
  uint8_t field_at_392;                              // 392
  uint8_t reserved_393[3];                           // 393
  kel::KelVideoCodecType codecType;                  // 396
};
#pragma pack(pop)

// One layer of the video transmit record (240 bytes).
struct st_KelVideoLayerStatisticsInfo {
  uint64_t field_at_0;                               // 0: stream field at 0
  uint64_t field_at_8;                               // 8: stream field at 8
  uint32_t field_at_16;                              // 16: stream field at 64
  uint32_t field_at_20;                              // 20: stream field at 84
  uint32_t idrRequestCount;                          // 24
  uint32_t idrSentCount;                             // 28
  uint32_t field_at_32;                              // 32: cleared by a resetting read
  uint8_t field_at_36;                               // 36: cleared by a resetting read
  uint8_t reserved_37[3];                            // 37
  float field_at_40;                                 // 40: stream field at 56, as float
  float field_at_44;                                 // 44: stream field at 48, as float
  uint32_t field_at_48;                              // 48: stream field at 80
  float frameBufferOccupancy;                        // 52
  uint64_t field_at_56;                              // 56: stream field at 104
  uint32_t profile;                                  // 64
  uint32_t reserved_68;                              // 68
  uint64_t field_at_72[4];                           // 72: stream fields at 216-247
  uint32_t configChangeCount;                        // 104
  uint32_t field_at_108[4];                          // 108: stream fields at 200-215
  uint32_t field_at_124;                             // 124: stream field at 124
  uint32_t field_at_128;                             // 128: stream field at 148
  uint32_t idrReasonCount[kKelVideoIdrReasonCount];  // 132
  int32_t codec;                                     // 176: codec code
  uint8_t field_at_180;                              // 180: stream field at 392
  uint8_t reserved_181[3];                           // 181
  int32_t heldMinimum;       // 184: smallest positive stream field at 300 since the last read
  int32_t heldMaximum;       // 188: largest stream field at 304 since the last read
  uint32_t field_at_192;     // 192: stream field at 308
  uint32_t field_at_196[4];  // 196: stream fields at 312-327
  float field_at_212;        // 212: stream field at 328
  uint64_t field_at_216;     // 216: stream field at 292
  // Interval differences of the fields at 20 and 24 since the previous resetting read; written
  // only into a reader's copy.
  uint32_t field_at_20_interval;     // 224
  uint32_t idrRequestCountInterval;  // 228
  float encodeControlTargetFps;      // 232
  uint32_t reserved_236;             // 236
};

// The video transmit record (2064 bytes): six layers, then the encoder-wide figures.
struct st_KelVideoTxStatisticsInfo {
  st_KelVideoLayerStatisticsInfo layers[kKelVideoLayerCount];  // 0
  int32_t layerCount;                                          // 1440
  uint32_t encodeWidth;                                        // 1444
  uint32_t encodeHeight;                                       // 1448
  float field_at_1452;                   // 1452: third argument of UpdateVideoEncBitrateFps
  float field_at_1456;                   // 1456: its first argument
  float field_at_1460;                   // 1460: its second argument
  uint32_t idrRequestCount;              // 1464
  uint32_t idrSentCount;                 // 1468
  uint32_t reserved_1472;                // 1472
  uint32_t field_at_1476;                // 1476: third argument of UpdateVideoEncOtherInfo
  int32_t performanceWarnCount;          // 1480
  uint32_t reserved_1484;                // 1484
  uint32_t encodedFrameCount;            // 1488
  uint8_t reserved_1492[8];              // 1492
  bool hwEncoderEnabled;                 // 1500
  uint8_t reserved_1501[19];             // 1501
  float field_at_1520;                   // 1520: second float of UpdateVideoEncOtherInfo
  uint32_t reserved_1524;                // 1524
  float field_at_1528;                   // 1528: first float of UpdateVideoEncOtherInfo
  uint32_t reserved_1532;                // 1532
  uint32_t capturedFrameCount;           // 1536
  uint8_t reserved_1540[28];             // 1540
  uint32_t feedToEncoderFrameCount;      // 1568
  uint8_t reserved_1572[8];              // 1572
  int32_t field_at_1580;                 // 1580: sixth argument of UpdateVideoEncOtherInfo
  uint32_t frameSize;                    // 1584
  uint32_t field_at_1588;                // 1588: second argument of UpdateVideoEncFSAndDownType
  kel::KelVideoResDownType resDownType;  // 1592
  uint32_t reserved_1596;                // 1596
  uint64_t field_at_1600;                // 1600: fifth argument of UpdateVideoEncOtherInfo
  uint8_t reserved_1608[8];              // 1608
  int32_t codec;                         // 1616: codec code
  uint8_t reserved_1620[112];            // 1620
  uint32_t roiAreaRatio;                 // 1732
  uint32_t field_at_1736;                // 1736: seventh argument of UpdateVideoEncOtherInfo
  uint8_t reserved_1740[12];             // 1740
  int32_t noiseLevel;                    // 1752: highest since the last reset; -1 when reset
  uint8_t reserved_1756[196];            // 1756
  int32_t processInfoFirst;              // 1952: first value of UpdateVideoProcessInfo
  uint32_t reserved_1956;                // 1956
  int32_t processInfoSecond;             // 1960: second value of UpdateVideoProcessInfo
  uint8_t reserved_1964[12];             // 1964
  int32_t av1MetricValue;                // 1976
  char av1FirstText[16];                 // 1980: at most 15 characters and a NUL
  char av1SecondText[64];                // 1996: at most 63 characters and a NUL
  uint32_t reserved_2060;                // 2060
};

#define KEL_VIDEO_STREAM_AT(field, pos)                              \
  static_assert(offsetof(st_KelVideoStreamStatInfo, field) == (pos), \
                "video stream record: " #field " at " #pos)
static_assert(sizeof(st_KelVideoStreamStatInfo) == 400, "video stream record is 400 bytes");
KEL_VIDEO_STREAM_AT(field_at_0, 0);
KEL_VIDEO_STREAM_AT(field_at_8, 8);
KEL_VIDEO_STREAM_AT(field_at_48, 48);
KEL_VIDEO_STREAM_AT(field_at_56, 56);
KEL_VIDEO_STREAM_AT(field_at_64, 64);
KEL_VIDEO_STREAM_AT(field_at_80, 80);
KEL_VIDEO_STREAM_AT(field_at_84, 84);
KEL_VIDEO_STREAM_AT(idrRequestCount, 88);
KEL_VIDEO_STREAM_AT(idrSentCount, 92);
KEL_VIDEO_STREAM_AT(field_at_96, 96);
KEL_VIDEO_STREAM_AT(field_at_100, 100);
KEL_VIDEO_STREAM_AT(field_at_104, 104);
KEL_VIDEO_STREAM_AT(configChangeCount, 112);
KEL_VIDEO_STREAM_AT(field_at_124, 124);
KEL_VIDEO_STREAM_AT(field_at_148, 148);
KEL_VIDEO_STREAM_AT(field_at_200, 200);
KEL_VIDEO_STREAM_AT(field_at_216, 216);
KEL_VIDEO_STREAM_AT(idrReasonCount, 248);
KEL_VIDEO_STREAM_AT(field_at_292, 292);
KEL_VIDEO_STREAM_AT(field_at_300, 300);
KEL_VIDEO_STREAM_AT(field_at_304, 304);
KEL_VIDEO_STREAM_AT(field_at_308, 308);
KEL_VIDEO_STREAM_AT(field_at_312, 312);
KEL_VIDEO_STREAM_AT(field_at_328, 328);
KEL_VIDEO_STREAM_AT(field_at_392, 392);
KEL_VIDEO_STREAM_AT(codecType, 396);
#undef KEL_VIDEO_STREAM_AT

#define KEL_VIDEO_LAYER_AT(field, pos)                                    \
  static_assert(offsetof(st_KelVideoLayerStatisticsInfo, field) == (pos), \
                "video layer record: " #field " at " #pos)
static_assert(sizeof(st_KelVideoLayerStatisticsInfo) == 240, "video layer record is 240 bytes");
KEL_VIDEO_LAYER_AT(field_at_0, 0);
KEL_VIDEO_LAYER_AT(field_at_8, 8);
KEL_VIDEO_LAYER_AT(field_at_16, 16);
KEL_VIDEO_LAYER_AT(field_at_20, 20);
KEL_VIDEO_LAYER_AT(idrRequestCount, 24);
KEL_VIDEO_LAYER_AT(idrSentCount, 28);
KEL_VIDEO_LAYER_AT(field_at_32, 32);
KEL_VIDEO_LAYER_AT(field_at_36, 36);
KEL_VIDEO_LAYER_AT(field_at_40, 40);
KEL_VIDEO_LAYER_AT(field_at_44, 44);
KEL_VIDEO_LAYER_AT(field_at_48, 48);
KEL_VIDEO_LAYER_AT(frameBufferOccupancy, 52);
KEL_VIDEO_LAYER_AT(field_at_56, 56);
KEL_VIDEO_LAYER_AT(profile, 64);
KEL_VIDEO_LAYER_AT(field_at_72, 72);
KEL_VIDEO_LAYER_AT(configChangeCount, 104);
KEL_VIDEO_LAYER_AT(field_at_108, 108);
KEL_VIDEO_LAYER_AT(field_at_124, 124);
KEL_VIDEO_LAYER_AT(field_at_128, 128);
KEL_VIDEO_LAYER_AT(idrReasonCount, 132);
KEL_VIDEO_LAYER_AT(codec, 176);
KEL_VIDEO_LAYER_AT(field_at_180, 180);
KEL_VIDEO_LAYER_AT(heldMinimum, 184);
KEL_VIDEO_LAYER_AT(heldMaximum, 188);
KEL_VIDEO_LAYER_AT(field_at_192, 192);
KEL_VIDEO_LAYER_AT(field_at_196, 196);
KEL_VIDEO_LAYER_AT(field_at_212, 212);
KEL_VIDEO_LAYER_AT(field_at_216, 216);
KEL_VIDEO_LAYER_AT(field_at_20_interval, 224);
KEL_VIDEO_LAYER_AT(idrRequestCountInterval, 228);
KEL_VIDEO_LAYER_AT(encodeControlTargetFps, 232);
#undef KEL_VIDEO_LAYER_AT

#define KEL_VIDEO_TX_AT(field, pos)                                    \
  static_assert(offsetof(st_KelVideoTxStatisticsInfo, field) == (pos), \
                "video transmit record: " #field " at " #pos)
static_assert(sizeof(st_KelVideoTxStatisticsInfo) == 2064, "video transmit record is 2064 bytes");
KEL_VIDEO_TX_AT(layers, 0);
KEL_VIDEO_TX_AT(layerCount, 1440);
KEL_VIDEO_TX_AT(encodeWidth, 1444);
KEL_VIDEO_TX_AT(encodeHeight, 1448);
KEL_VIDEO_TX_AT(field_at_1452, 1452);
KEL_VIDEO_TX_AT(field_at_1456, 1456);
KEL_VIDEO_TX_AT(field_at_1460, 1460);
KEL_VIDEO_TX_AT(idrRequestCount, 1464);
KEL_VIDEO_TX_AT(idrSentCount, 1468);
KEL_VIDEO_TX_AT(field_at_1476, 1476);
KEL_VIDEO_TX_AT(performanceWarnCount, 1480);
KEL_VIDEO_TX_AT(encodedFrameCount, 1488);
KEL_VIDEO_TX_AT(hwEncoderEnabled, 1500);
KEL_VIDEO_TX_AT(field_at_1520, 1520);
KEL_VIDEO_TX_AT(field_at_1528, 1528);
KEL_VIDEO_TX_AT(capturedFrameCount, 1536);
KEL_VIDEO_TX_AT(feedToEncoderFrameCount, 1568);
KEL_VIDEO_TX_AT(field_at_1580, 1580);
KEL_VIDEO_TX_AT(frameSize, 1584);
KEL_VIDEO_TX_AT(field_at_1588, 1588);
KEL_VIDEO_TX_AT(resDownType, 1592);
KEL_VIDEO_TX_AT(field_at_1600, 1600);
KEL_VIDEO_TX_AT(codec, 1616);
KEL_VIDEO_TX_AT(roiAreaRatio, 1732);
KEL_VIDEO_TX_AT(field_at_1736, 1736);
KEL_VIDEO_TX_AT(noiseLevel, 1752);
KEL_VIDEO_TX_AT(processInfoFirst, 1952);
KEL_VIDEO_TX_AT(processInfoSecond, 1960);
KEL_VIDEO_TX_AT(av1MetricValue, 1976);
KEL_VIDEO_TX_AT(av1FirstText, 1980);
KEL_VIDEO_TX_AT(av1SecondText, 1996);
#undef KEL_VIDEO_TX_AT

}  // namespace kelStore

#endif  // MEDIASTORES_VIDEO_RECORDS_H_
