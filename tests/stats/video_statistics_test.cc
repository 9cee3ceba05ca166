#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "mediaengine/mediastores/src/stats/kel_video_info.h"
#include "mediastores/mediastores.h"
#include "tests/stats/stats_image.h"

namespace {

using Video = kelStore::KelVideoStatisticInfo;
using Streams = std::vector<kelStore::st_KelVideoStreamStatInfo>;
using Codec = kel::KelVideoCodecType;

constexpr size_t kNoise = 1752;
const Image kFresh = Patch(Image(2064, 0), {F(kNoise, -1)});
// Byte `at` of layer `layer` in the transmit record.
constexpr auto L = [](int layer, size_t at) { return layer * 240 + at; };

Image Tx(Video& v, bool reset = false) {
  Image image(2064);
  EXPECT_EQ(v.GetTxMediaInfo(image.data(), reset), KEL_S_OK);
  return image;
}

// Stream records full of distinct bytes, with usable held-range and codec fields.
const Streams kStreams = [] {
  Streams streams(6);
  for (int i = 0; i < 6; ++i) {
    std::memcpy(&streams[i], PatternImage(sizeof(streams[i]), 3 + i).data(), sizeof(streams[i]));
    streams[i].field_at_300 = 30 + i, streams[i].field_at_304 = 50 + i;
    streams[i].codecType = Codec(3);
  }
  return streams;
}();

// The layer fields copied from a stream record: layer position, stream position, length, and
// whether the streams update ('S'), the one-layer update ('O') or both ('B') copy them.
const struct {
  size_t layer, stream, length;
  char by;
} kLayerCopies[] = {
    {0, 0, 16, 'O'},    {8, 8, 8, 'S'},      {16, 64, 4, 'O'},    {20, 84, 16, 'O'},
    {36, 100, 1, 'O'},  {48, 80, 4, 'S'},    {56, 104, 8, 'S'},   {72, 216, 32, 'O'},
    {104, 112, 4, 'O'}, {108, 200, 16, 'B'}, {124, 124, 4, 'S'},  {128, 148, 4, 'B'},
    {180, 392, 1, 'O'}, {192, 308, 4, 'B'},  {196, 312, 16, 'O'}, {212, 328, 4, 'O'},
    {216, 292, 8, 'O'},
};

// `fields` and what the update `by` writes into layer `i` from kStreams[i]: the copies, the held
// range as first seen, and the mapped codec or the two rates converted to float.
std::vector<Field> LayerFields(std::vector<Field> fields, int i, char by) {
  const auto& s = kStreams[i];
  const auto* bytes = reinterpret_cast<const unsigned char*>(&s);
  for (const auto& c : kLayerCopies) {
    if (c.by == by || c.by == 'B')
      fields.push_back(Field{L(i, c.layer), Image(bytes + c.stream, bytes + c.stream + c.length)});
  }
  fields.insert(fields.end(), {F(L(i, 184), s.field_at_300), F(L(i, 188), s.field_at_304)});
  if (by == 'O') {
    fields.push_back(F(L(i, 176), 104));  // the codec, mapped
  } else {
    fields.push_back(F(L(i, 40), static_cast<float>(s.field_at_56)));
    fields.push_back(F(L(i, 44), static_cast<float>(s.field_at_48)));
  }
  return fields;
}

// One update and the fields it must change; every other byte must stay; and the codec map for the
// types no update below uses. (Refused and out-of-range updates: badinput/stats_bad_input_test.)
#define UPDATE(...) [&](Video& v) { __VA_ARGS__; }
TEST(VideoStatistics, EachUpdateWritesItsPositionsOnly) {
  const Streams& s = kStreams;
  const float fps[3] = {10, 15, 30}, occupancy[6] = {0, 1, 2, 3, 4.5f, 5};
  const unsigned profiles[2] = {66, 77};
  // clang-format off
  const std::pair<std::function<void(Video&)>, std::vector<Field>> cases[] = {
      {UPDATE(v.UpdateVideoEncBitrateFps(1000, 30, 2.5f)),
       {F(1456, 1000.0f), F(1460, 30.0f), F(1452, 2.5f)}},
      {UPDATE(v.UpdateVideoEncFSAndDownType(5, 6, kel::KelVideoResDownType(7))),
       {F(1584, 5u), F(1588, 6u), F(1592, 7)}},
      {UPDATE(v.UpdatePerformanceWarnCnt(-3), v.UpdateEncROIAreaRation(45)),
       {F(1480, -3), F(1732, 45u)}},
      {UPDATE(v.UpdateVideoEncResolution(0x02D00500u)), {F(1444, 1280u), F(1448, 720u)}},
      {UPDATE(v.UpdateVideoEnableHWEnc(true), v.UpdateVideoProcessInfo(-5, 9)),
       {F(1500, true), F(1952, -5), F(1960, 9)}},
      {UPDATE(v.UpdateVideoEncFrameCnt(100), v.UpdateVideoCapturedFrameCnt(101),
              v.UpdateVideoFeedToEncoderFramesCnt(102)),
       {F(1488, 100u), F(1536, 101u), F(1568, 102u)}},
      {UPDATE(v.UpdateEncodeParam(3, Codec(1))), {F(1440, 3), F(1616, 101)}},
      {UPDATE(v.UpdateVideoEncOtherInfo(1.5f, 2.5f, 3, Codec(3), 0x100000005ul, -6, 7)),
       {F(1528, 1.5f), F(1520, 2.5f), F(1476, 3u), F(1616, 104), F(1600, 0x100000005ull),
        F(1580, -6), F(1736, 7u)}},
      {UPDATE(v.UpdateEncodeControlTargetFps(fps, 3)),
       {F(L(0, 232), 10.0f), F(L(1, 232), 15.0f), F(L(2, 232), 30.0f)}},
      {UPDATE(v.UpdateProfile(profiles, 2), v.UpdateFBufferOcuppiedVideo(occupancy, 4)),
       {F(L(0, 64), 66u), F(L(1, 64), 77u), F(L(4, 52), 4.5f)}},
      {UPDATE(v.UpdateVideoEncIdrReqNum(9, s.data(), 2, false)),
       {F(1464, 9u), F(L(2, 24), s[2].idrRequestCount)}},
      {UPDATE(v.UpdateVideoEncIdrReqNum(9, s.data(), 2, true)),
       {F(1464, 9u), F(L(0, 24), s[0].idrRequestCount), F(L(1, 24), s[1].idrRequestCount)}},
      {UPDATE(v.UpdateVideoEncIdrSentAndReasonCnt(8, s.data(), 1)),
       {F(1468, 8u), F(L(1, 28), s[1].idrSentCount), F(L(1, 132), s[1].idrReasonCount)}},
      {UPDATE(v.UpdateVideoConfigureChange(s.data(), 2)),
       {F(L(0, 104), s[0].configChangeCount), F(L(1, 104), s[1].configChangeCount)}},
      {UPDATE(v.UpdateStreamsInfo(s.data(), 2)),
       LayerFields(LayerFields({F(1440, 2)}, 0, 'S'), 1, 'S')},
      {UPDATE(v.UpdateOneVideoLayerInfo(s.data(), 1, false, 55)),
       LayerFields({F(1488, 55u)}, 1, 'O')},
  };
  // clang-format on
  for (const auto& [type, code] : {std::pair<int, int>{0, 100}, {2, 0}, {4, 0}, {-1, 0}})
    EXPECT_EQ(kelStore::mapToKELCodec(Codec(type)), code) << type;
  for (size_t i = 0; i < std::size(cases); ++i) {
    Video v(21);
    cases[i].first(v);
    EXPECT_EQ(Tx(v), Patch(kFresh, cases[i].second)) << "case " << i;
  }
}

// A reset clears every record. Held per layer since the last resetting read: the smallest
// positive value at 184, the largest at 188; and the noise level, the highest since the last
// reset or resetting read, -1 after one (but 0 after resetTxVideoStatisticInfo, deliberately).
TEST(VideoStatistics, ResetsAndHeldFigures) {
  Video v(21);
  v.UpdateVideoEncFrameCnt(5);
  EXPECT_EQ(v.reset(34), 0);
  EXPECT_EQ(v.GetCallId(), 34u);
  EXPECT_EQ(Tx(v), kFresh);
  Streams streams = kStreams;
  auto feed = [&](int smallest, int largest, int noise) {
    streams[0].field_at_300 = smallest, streams[0].field_at_304 = largest;
    v.UpdateStreamsInfo(streams.data(), 1);
    v.UpdateNoiseLevel(noise);
    const Image image = Tx(v);
    return std::vector<int>{ReadAt<int32_t>(image, 184), ReadAt<int32_t>(image, 188),
                            ReadAt<int32_t>(image, kNoise)};
  };
  EXPECT_EQ(feed(30, 10, -7), (std::vector<int>{30, 10, -1}));
  EXPECT_EQ(feed(20, 5, 5), (std::vector<int>{20, 10, 5}));
  EXPECT_EQ(feed(40, 12, 3), (std::vector<int>{20, 12, 5}));
  EXPECT_EQ(feed(0, -3, 3), (std::vector<int>{20, 12, 5}));
  EXPECT_EQ(ReadAt<int32_t>(Tx(v, true), 184), 20);  // reported, then started afresh
  EXPECT_EQ(feed(40, -2, -7), (std::vector<int>{40, 0, -1}));
  v.resetTxVideoStatisticInfo();
  EXPECT_EQ(Tx(v), Image(2064, 0));
}

// A resetting read reports per layer in use the counters at 104 and 132 and the fields at 20 and
// 24 (into 224 and 228) as differences since the previous one, and clears the held figures.
TEST(VideoStatistics, ResettingReadsReportIntervalDifferences) {
  Video v(21);
  Streams streams = kStreams;
  auto read = [&](uint32_t reason, uint32_t field20, uint32_t idr, uint32_t changes) {
    for (int n = 0; n < 2; ++n) {
      streams[n].idrReasonCount[4] = reason, streams[n].field_at_84 = field20;
      streams[n].idrRequestCount = idr, streams[n].configChangeCount = changes;
      v.UpdateOneVideoLayerInfo(streams.data(), n, false, 1);
      v.UpdateVideoEncIdrSentAndReasonCnt(0, streams.data(), n);
    }
    return Tx(v, true);
  };
  // The reason counter 4, 224, 228 and 104 of a layer.
  auto layer = [](const Image& image, int n) {
    return std::vector<uint32_t>{
        ReadAt<uint32_t>(image, L(n, 148)), ReadAt<uint32_t>(image, L(n, 224)),
        ReadAt<uint32_t>(image, L(n, 228)), ReadAt<uint32_t>(image, L(n, 104))};
  };
  const Image reported = read(3, 10, 4, 5);
  EXPECT_EQ(reported, Tx(v));              // no layers in use: nothing is reported or cleared
  v.UpdateStreamsInfo(streams.data(), 1);  // one layer in use
  EXPECT_EQ(layer(read(3, 10, 4, 5), 0), (std::vector<uint32_t>{3, 10, 4, 5}));
  const Image held = Tx(v);  // the held figures are cleared
  EXPECT_EQ(ReadAt<uint64_t>(held, L(0, 32)) | ReadAt<uint64_t>(held, L(0, 184)), 0u);
  EXPECT_EQ(ReadAt<uint32_t>(held, L(0, 192)), 0u);
  const Image second = read(7, 15, 9, 8);
  EXPECT_EQ(layer(second, 0), (std::vector<uint32_t>{4, 5, 5, 3}));
  EXPECT_EQ(layer(second, 1), (std::vector<uint32_t>{7, 0, 0, 8}));  // not in use: raw
  v.UpdateOneVideoLayerInfo(streams.data(), 0, true, 1);  // a restarted layer counts afresh
  EXPECT_EQ(layer(read(2, 15, 9, 8), 0), (std::vector<uint32_t>{2, 15, 9, 8}));
  v.UpdateEncodeParam(-1, Codec(0));  // a negative count still reports layer 0
  EXPECT_EQ(layer(read(5, 15, 9, 8), 0)[0], 3u);
}

// Every counter a resetting read reports (the fields at 20 and 24 into 224 and 228, the counter
// at 104, the 11 reason counters) is a difference since the previous resetting read on each layer
// in use; the rest is reported as read. The held range is cleared when it alone is held.
TEST(VideoStatistics, ResettingReadsDifferenceEveryCounterOfEveryLayerInUse) {
  Video v(21);
  Streams streams = kStreams;
  auto feed = [&](uint32_t step) {
    for (int n = 0; n < 6; ++n) {
      auto& s = streams[n];
      s.field_at_84 += step * (n + 1), s.idrRequestCount += step * (n + 2);
      s.configChangeCount += step * (n + 3);
      for (int k = 0; k < 11; ++k)
        s.idrReasonCount[k] += step * (n + k + 4);
      s.field_at_96 = 0, s.field_at_100 = 0, s.field_at_308 = 0;  // only the range is held
      v.UpdateOneVideoLayerInfo(streams.data(), n, false, 1);
      v.UpdateVideoEncIdrSentAndReasonCnt(0, streams.data(), n);
    }
  };
  v.UpdateStreamsInfo(streams.data(), 5);
  feed(1);
  Tx(v, true);
  feed(3);
  const Image before = Tx(v);
  std::vector<Field> intervals;
  for (uint32_t n = 0; n < 5; ++n) {
    intervals.insert(intervals.end(), {F(L(n, 224), 3 * (n + 1)), F(L(n, 228), 3 * (n + 2)),
                                       F(L(n, 104), 3 * (n + 3))});
    for (uint32_t k = 0; k < 11; ++k)
      intervals.push_back(F(L(n, 132 + 4 * k), 3 * (n + k + 4)));
  }
  EXPECT_EQ(Tx(v, true), Patch(before, intervals));
  const Image after = Tx(v);
  for (int n = 0; n < 6; ++n)
    EXPECT_EQ(ReadAt<uint64_t>(after, L(n, 184)), n < 5 ? 0 : ReadAt<uint64_t>(before, L(n, 184)));
}

TEST(VideoStatistics, Av1TextsAreCutAndTerminated) {
  Video v(21);
  v.UpdateAV1Metrics(1, "abcdefghijklmnopqrst", std::string(80, 'x').c_str());
  const Field second = {1996, Image(63, 'x')};
  EXPECT_EQ(Tx(v), Patch(kFresh, {F(1976, 1), F(1980, "abcdefghijklmno"), second}));
  // Like a string copy, only the text and its terminator are written; null is an empty text.
  v.UpdateAV1Metrics(2, "xy", nullptr);
  EXPECT_EQ(Tx(v), Patch(kFresh, {F(1976, 2), F(1980, "xy\0defghijklmno"), second, F(1996, '\0')}));
}

// Texts that end near the end of a page are copied alike (and never read past their end).
TEST(VideoStatistics, Av1TextsNearAPageEndAreCutAndTerminated) {
  alignas(4096) static char pages[3 * 4096];
  char *first = pages + 4096 - 6, *second = pages + 2 * 4096 - 4;
  std::memcpy(first, "abcdefghijklmnopqrst", 21);
  std::memcpy(second, "rst", 4);
  Video v(21);
  v.UpdateAV1Metrics(1, first, second);
  EXPECT_EQ(Tx(v), Patch(kFresh, {F(1976, 1), F(1980, "abcdefghijklmno"), F(1996, "rst")}));
}

}  // namespace
