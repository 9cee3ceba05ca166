#include "mediaengine/mediastores/src/stats/kel_video_info.h"

#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

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

// Copies the characters of `text` up to its terminator, at most 16 (and at most `room` are
// needed), into `staged`; returns how many it took (16: no terminator among them). Outside
// sanitizer builds the 16 bytes are read at once where they cannot run into the next page.
inline size_t CopyTextBlock(char* staged, const char* text, size_t room) {
#if defined(KEL_STATS_VECTOR_MOVES)
  if ((reinterpret_cast<uintptr_t>(text) & 4095u) <= 4096u - 16u) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(staged), block);
    const unsigned ends =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_setzero_si128())));
    return ends != 0 ? static_cast<size_t>(__builtin_ctz(ends)) : 16u;
  }
#endif
  size_t n = 0;
  for (; n < 16 && n < room && text[n] != '\0'; ++n)
    staged[n] = text[n];
  return n;
}

// Copies up to capacity - 1 characters of `text` (null: empty) into the text field `field`
// (capacity 16 or 64), terminated, in one bounded pass; the bytes after the terminator keep
// their values, as a string copy leaves them. Only the words up to the terminator's are written.
void StoreAv1Text(char* field, size_t capacity, const char* text) {
#if defined(KEL_STATS_VECTOR_MOVES)
  // Sixteen characters at a time straight into the field, where the text cannot run into the next
  // page: whole blocks before the terminator's, then that block merged with the field's own bytes
  // after the terminator.
  const char* source = text != nullptr ? text : "";
  if ((reinterpret_cast<uintptr_t>(source) & 4095u) <= 4096u - capacity) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i index = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    for (size_t at = 0;; at += 16) {  // the last block (capacity 16 or 64) returns
      const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + at));
      const unsigned ends = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, zero)));
      if (ends == 0 && at + 16 < capacity) {
        sa::StoreUnaligned16(field + at, block);
        continue;
      }
      const size_t cut = capacity - 1 - at;  // the terminator's place at the latest
      const size_t first = ends != 0 ? static_cast<size_t>(__builtin_ctz(ends)) : cut;
      const size_t length = first < cut ? first : cut;
      const __m128i end = _mm_set1_epi8(static_cast<char>(length));
      const __m128i chars = _mm_cmplt_epi8(index, end), kept = _mm_cmpgt_epi8(index, end);
      const __m128i old = sa::LoadUnaligned16(field + at);
      sa::StoreUnaligned16(field + at,
                           _mm_or_si128(_mm_and_si128(block, chars), _mm_and_si128(old, kept)));
      return;
    }
  }
#endif
  char staged[64 + 16];
#if !defined(KEL_STATS_VECTOR_MOVES)
  const char* source = text != nullptr ? text : "";
#endif
  const size_t limit = capacity - 1;
  size_t length = 0;
  for (size_t n = 16; n == 16 && length < limit; length += n)
    n = CopyTextBlock(staged + length, source + length, limit - length);
  if (length > limit) length = limit;
  // Whole words up to the terminator's, then that word: the characters before the terminator,
  // the terminator, and the field's own bytes after it.
  const size_t last = length / 4 * 4;
  sa::CopyIn(field, staged, last);
  auto* lastWord = reinterpret_cast<sa::KelWord32*>(field + last);
  uint32_t word;
  std::memcpy(&word, staged + last, 4);
  const uint32_t before = (1u << (8 * (length % 4))) - 1;
  const uint32_t after = ~((2u << (8 * (length % 4) + 7)) - 1);
  sa::Store(lastWord, (word & before) | (sa::Load(lastWord) & after));
}

// A resetting read's work on one layer, by 16-byte block of the layer and 32-bit lane.
constexpr size_t Block(size_t position) {
  return position / 16;
}
constexpr int Lane(size_t position) {
  return static_cast<int>(position % 16 / 4);
}
static_assert(sizeof(Layer) % 16 == 0 && sizeof(st_KelVideoLayerBaseline) == 64, "layer blocks");
// The baseline is four blocks: [-, -, 20, 24], [104, 132, 136, 140], [144 ... 156], [160 ... 172]
// (layer positions as last reported). The layer's blocks at 128, 144 and 160 hold the reason
// counters at the same lanes as the baseline's last three blocks (its lane at 128 excepted).
constexpr size_t kField20 = offsetof(Layer, field_at_20),
                 kField24 = offsetof(Layer, idrRequestCount);
constexpr size_t kField104 = offsetof(Layer, configChangeCount);
constexpr size_t kReasons = offsetof(Layer, idrReasonCount);
constexpr size_t kIntervals = offsetof(Layer, field_at_20_interval);
static_assert(kField24 == kField20 + 4 && Block(kField20) == Block(kField24) && Lane(kField20) == 1,
              "fields at 20 and 24 share a block");
static_assert(kReasons == 132 && Block(kReasons) == 8 && kKelVideoIdrReasonCount == 11,
              "reason counters fill lanes 1-3 of block 8 and blocks 9 and 10");
static_assert(offsetof(Layer, idrRequestCountInterval) == kIntervals + 4 && Lane(kIntervals) == 0,
              "intervals open their block");
static_assert(offsetof(st_KelVideoLayerBaseline, field_at_20) == 8 &&
                  offsetof(st_KelVideoLayerBaseline, configChangeCount) == 16 &&
                  offsetof(st_KelVideoLayerBaseline, idrReasonCount) == 20,
              "baseline blocks");
constexpr int k20 = Lane(kField20), k104 = Lane(kField104);

// Restarts the held figures of a layer: the fields at 32 and 36, the smallest and largest values
// at 184 and 188, and the field at 192.
void ClearHeld(Layer& layer) {
  static_assert(offsetof(Layer, heldMaximum) == offsetof(Layer, heldMinimum) + 4 &&
                    offsetof(Layer, heldMinimum) % 8 == 0,
                "minimum and maximum are one 64-bit word");
  sa::Store(&layer.field_at_32, 0u);
  sa::Store(&layer.field_at_36, uint8_t{0});
  sa::Zero(&layer.heldMinimum, 8);
  sa::Store(&layer.field_at_192, 0u);
}

// One layer of a resetting read whose copy `dstLayer` already holds the layer as read: its blocks
// with counters are read again and go to the copy with the interval differences in place, the
// baseline moves on to the counters of that reading, and the held figures start afresh.
void ReportLayerBlocks(unsigned char* dstLayer, Layer& layer, st_KelVideoLayerBaseline& baseline) {
  using sa::KelLanes;
  const unsigned char* from = reinterpret_cast<const unsigned char*>(&layer);
  unsigned char* base = reinterpret_cast<unsigned char*>(&baseline);
  auto put = [dstLayer](size_t block, KelLanes lanes) {
    std::memcpy(dstLayer + 16 * block, &lanes, sizeof(lanes));
  };
  auto look = [from](size_t block) { return sa::Load16(from + 16 * block); };
  const KelLanes at32 = look(Block(offsetof(Layer, field_at_32)));
  const KelLanes held = look(Block(offsetof(Layer, heldMinimum)));
  const KelLanes at192 = look(Block(offsetof(Layer, field_at_192)));

  // The counters as read, in the baseline's layout, their differences since the baseline, and
  // the baseline moved on to them. The baseline's last three blocks hold the reason counters in
  // the lanes the layer's blocks at 128, 144 and 160 hold them; its lane 0 of those is the
  // counter at 104, the layer's is the field at 128.
  const KelLanes at20 = look(Block(kField20));
  put(Block(kField20), at20);
  const KelLanes at104 = look(Block(kField104));
  const KelLanes at128 = look(Block(kReasons));
  const KelLanes at144 = look(Block(kReasons) + 1);
  const KelLanes at160 = look(Block(kReasons) + 2);
  const KelLanes was0 = sa::Load16(base), was1 = sa::Load16(base + 16);
  const KelLanes was2 = sa::Load16(base + 32), was3 = sa::Load16(base + 48);
  const KelLanes now0 = __builtin_shufflevector(was0, at20, 0, 1, 4 + k20, 5 + k20);
  const KelLanes first = {~0u, 0, 0, 0};  // lane 0 from the first operand of Pick, the rest not
  const KelLanes now1 =
      sa::Pick(first, __builtin_shufflevector(at104, at104, k104, k104, k104, k104), at128);
  sa::Store16(base, now0);
  sa::Store16(base + 16, now1);
  sa::Store16(base + 32, at144);
  sa::Store16(base + 48, at160);
  const KelLanes lane104 = {k104 == 0 ? ~0u : 0, k104 == 1 ? ~0u : 0, k104 == 2 ? ~0u : 0,
                            k104 == 3 ? ~0u : 0};
  put(Block(kField104), at104 - (__builtin_shufflevector(was1, was1, 0, 0, 0, 0) & lane104));
  put(Block(kReasons), sa::Pick(first, at128, at128 - was1));
  put(Block(kReasons) + 1, at144 - was2);
  put(Block(kReasons) + 2, at160 - was3);
  put(Block(kIntervals), __builtin_shufflevector(now0 - was0, look(Block(kIntervals)), 2, 3, 6, 7));

  // The held figures start afresh (when there is anything to clear).
  static_assert(Lane(offsetof(Layer, field_at_32)) == 0 && offsetof(Layer, field_at_36) == 36 &&
                    Lane(offsetof(Layer, heldMinimum)) == 2 &&
                    Lane(offsetof(Layer, field_at_192)) == 0,
                "held figures in the lanes tested below");
  const KelLanes heldMask = {~0u, 0xFFu, 0, 0}, rangeMask = {0, 0, ~0u, ~0u};
  const sa::KelPairs anyHeld =
      reinterpret_cast<sa::KelPairs>((at32 & heldMask) | (held & rangeMask) | (at192 & first));
  if ((anyHeld[0] | anyHeld[1]) != 0) ClearHeld(layer);
}

#if defined(KEL_STATS_VECTOR_MOVES)

struct Block32 {
  unsigned char bytes[32];
};

// 32 bytes of shared memory at a 16-byte aligned address: every aligned eight-byte word is read
// and written whole, by the processor's own moves (see kel_stats_access.h). Stores into the
// reader's copy use them too, as single unaligned 32-byte moves.
__attribute__((target("avx2"), always_inline)) inline __m256i Load32(const unsigned char* at) {
  __m256i lanes;
  asm volatile("vmovdqu %1, %0" : "=x"(lanes) : "m"(*reinterpret_cast<const Block32*>(at)));
  return lanes;
}
__attribute__((target("avx2"), always_inline)) inline __m128i Load16Vex(const unsigned char* at) {
  __m128i lanes;
  asm volatile("vmovdqa %1, %0" : "=x"(lanes) : "m"(*reinterpret_cast<const sa::KelBlock16*>(at)));
  return lanes;
}
__attribute__((target("avx2"), always_inline)) inline void Store32(unsigned char* at,
                                                                   __m256i lanes) {
  asm volatile("vmovdqu %1, %0" : "=m"(*reinterpret_cast<Block32*>(at)) : "x"(lanes));
}
__attribute__((target("avx2"), always_inline)) inline void Store16Vex(unsigned char* at,
                                                                      __m128i lanes) {
  asm volatile("vmovdqa %1, %0" : "=m"(*reinterpret_cast<sa::KelBlock16*>(at)) : "x"(lanes));
}

// One layer of a resetting read in one pass, 32 bytes at a time: the layer is read once, and
// that reading goes to the copy `dstLayer` with the interval differences in place while the
// baseline moves on to its counters; then the held figures start afresh. Pieces of the layer:
// [0] holds the fields at 20 and 24 in lanes 5 and 6, [1] the held fields at 32 and 36, [3] the
// counter at 104 in lane 2, [4] the field at 128 and the reason counters 0-6, [5] the reason
// counters 7-10 and the held minimum and maximum in lanes 6 and 7, [6] the field at 192; the
// last 16 bytes open with the intervals at 224 and 228. The baseline is read as [-, -, 20, 24],
// [104, reasons 0-6] (the lanes of piece 4) and [reasons 7-10] (the low lanes of piece 5).
__attribute__((target("avx2"), always_inline)) inline void ReportLayerAvx2(
    unsigned char* dstLayer, Layer& layer, st_KelVideoLayerBaseline& baseline) {
  static_assert(kField20 == 20 && kField104 == 104 && kReasons == 132 && kIntervals == 224 &&
                    offsetof(Layer, heldMinimum) == 184 && offsetof(Layer, field_at_192) == 192,
                "pieces and lanes as described above");
  unsigned char* from = reinterpret_cast<unsigned char*>(&layer);
  unsigned char* base = reinterpret_cast<unsigned char*>(&baseline);
  // The whole layer and its baseline are read before anything is written: a store into the copy
  // ahead of a read whose address agrees with it in the low twelve bits would hold that read up,
  // and where the reader's copy lies is the reader's choice.
  const __m256i at0 = Load32(from), at32 = Load32(from + 32), at64 = Load32(from + 64);
  const __m256i at96 = Load32(from + 96), at128 = Load32(from + 128), at160 = Load32(from + 160);
  const __m256i at192 = Load32(from + 192);
  const __m128i at224 = Load16Vex(from + 224);
  const __m128i wasHead = Load16Vex(base);
  const __m256i wasMiddle = Load32(base + 16);
  const __m128i wasTail = Load16Vex(base + 48);
  const __m128i head = _mm256_extracti128_si256(at0, 1);  // 16 ... 28
  // Pieces without counters go to the copy as read.
  Store32(dstLayer, at0);
  Store32(dstLayer + 32, at32);
  Store32(dstLayer + 64, at64);
  Store32(dstLayer + 192, at192);

  // The counters as read, in the baseline's layout; the baseline moves on to them, and the
  // pieces holding them go to the copy with their differences since the baseline in place.
  // The held figures: at 32 and 36, the range in lanes 6 and 7 of the piece at 160, at 192.
  const __m256i range = _mm256_setr_epi32(0, 0, 0, 0, 0, 0, -1, -1);
  const __m256i held = _mm256_or_si256(
      _mm256_and_si256(at32, _mm256_setr_epi32(-1, 0xFF, 0, 0, 0, 0, 0, 0)),
      _mm256_or_si256(_mm256_and_si256(at160, range),
                      _mm256_and_si256(at192, _mm256_setr_epi32(-1, 0, 0, 0, 0, 0, 0, 0))));
  const __m128i nowHead = _mm_blend_epi32(wasHead, _mm_shuffle_epi32(head, 0x90), 0xC);
  const __m256i nowMiddle = _mm256_blend_epi32(at128, _mm256_shuffle_epi32(at96, 0xAA), 1);
  const __m128i nowTail = _mm256_castsi256_si128(at160);
  Store16Vex(base, nowHead);
  Store32(base + 16, nowMiddle);
  Store16Vex(base + 48, nowTail);
  const __m256i sinceMiddle = _mm256_sub_epi32(nowMiddle, wasMiddle);
  Store32(dstLayer + 96, _mm256_blend_epi32(at96, _mm256_shuffle_epi32(sinceMiddle, 0), 0x04));
  Store32(dstLayer + 128, _mm256_blend_epi32(at128, sinceMiddle, 0xFE));
  Store32(dstLayer + 160,
          _mm256_blend_epi32(at160, _mm256_castsi128_si256(_mm_sub_epi32(nowTail, wasTail)), 0xF));
  const __m128i sinceHead = _mm_shuffle_epi32(_mm_sub_epi32(nowHead, wasHead), 0xEE);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dstLayer + 224),
                   _mm_blend_epi32(at224, sinceHead, 0x3));
  if (!_mm256_testz_si256(held, held)) ClearHeld(layer);
}

// The first `count` layers of a resetting read, as above.
__attribute__((target("avx2"))) void ReportLayersAvx2(unsigned char* copy, Layer* layers,
                                                      st_KelVideoLayerBaseline* baselines,
                                                      int count) {
  for (int i = 0; i < count; ++i)
    ReportLayerAvx2(copy + i * kLayerSize, layers[i], baselines[i]);
}

#endif  // KEL_STATS_VECTOR_MOVES

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
    : m_callId(0xFFFFFFFFu), m_txInfo(), m_layerBaselines(), m_rxInfo() {
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

int32_t KelVideoStatisticInfo::GetTxMediaInfo(void* dst, bool reset) {
  if (dst == nullptr) return KEL_E_BADSTATE;
  unsigned char* copy = static_cast<unsigned char*>(dst);
  if (!reset) {
    sa::CopyOut(copy, &m_txInfo, kTxSize);
    return KEL_S_OK;
  }
  // Layer 0 is reported whenever layers are in use, even for a negative count. Each reported
  // layer is read once, and that reading is both reported and kept as the next baseline, so that
  // successive intervals add up exactly even while a writer runs.
  const int32_t layerCount = sa::Load(&m_txInfo.layerCount);
  const int layers = layerCount == 0 ? 0 : (layerCount < 1 ? 1 : LayersCovered(layerCount));
#if defined(KEL_STATS_VECTOR_MOVES)
  if (sa::HasAvx2()) {
    ReportLayersAvx2(copy, m_txInfo.layers, m_layerBaselines, layers);
    sa::CopyOut(copy + layers * kLayerSize, &m_txInfo.layers[layers],
                kTxSize - layers * kLayerSize);
  } else  // NOLINT(readability/braces)
#endif
  {
    sa::CopyOut(copy, &m_txInfo, kTxSize);
    for (int i = 0; i < layers; ++i)
      ReportLayerBlocks(copy + i * kLayerSize, m_txInfo.layers[i], m_layerBaselines[i]);
  }
  // The copy shows the layer count its intervals were made for.
  WriteCopy32(copy + offsetof(st_KelVideoTxStatisticsInfo, layerCount),
              static_cast<uint32_t>(layerCount));
  if (sa::Load(&m_txInfo.noiseLevel) != kResetNoiseLevel) {
    sa::Store(&m_txInfo.noiseLevel, kResetNoiseLevel);
  }
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
  // Layers start 16-byte aligned, so the eleven reason counters at 132 are one four-byte word,
  // one aligned eight-byte word and two aligned blocks.
  static_assert(offsetof(st_KelVideoTxStatisticsInfo, layers) % 16 == 0 && kLayerSize % 16 == 0 &&
                    kReasons % 16 == 4 && kKelVideoIdrReasonCount == 11,
                "reason counters in a word, a pair and two blocks");
  Layer& layer = static_cast<Layer*>(__builtin_assume_aligned(m_txInfo.layers, 16))[n];
  const Stream& stream = streams[n];
  sa::Store(&layer.idrSentCount, stream.idrSentCount);
  const uint32_t* counts = stream.idrReasonCount;
  sa::Store(&layer.idrReasonCount[0], counts[0]);
  uint64_t pair;
  std::memcpy(&pair, counts + 1, sizeof(pair));
  sa::Store64At(&layer, kReasons + 4, pair);
  sa::KelLanes first, second;
  std::memcpy(&first, counts + 3, sizeof(first));
  std::memcpy(&second, counts + 7, sizeof(second));
  sa::Store16(&layer.idrReasonCount[3], first);
  sa::Store16(&layer.idrReasonCount[7], second);
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
