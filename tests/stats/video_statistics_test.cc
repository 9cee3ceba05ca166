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

constexpr size_t kNoise = 1752;
const Image kFresh = Patch(Image(2064, 0), {I32(kNoise, -1)});

Image Tx(Video& v, bool reset = false) {
  Image image(2064);
  EXPECT_EQ(v.GetTxMediaInfo(image.data(), reset), KEL_S_OK);
  return image;
}

// Byte `position` of layer `layer` in the transmit record.
constexpr size_t L(int layer, size_t position) {
  return layer * 240 + position;
}

kel::KelVideoCodecType Codec(int value) {
  return static_cast<kel::KelVideoCodecType>(value);
}

// Stream records full of distinct bytes, with usable held-range and codec fields.
Streams MakeStreams(int count) {
  Streams streams(count);
  for (int i = 0; i < count; ++i) {
    const Image bytes = PatternImage(sizeof(streams[i]), 3 + i);
    std::memcpy(&streams[i], bytes.data(), bytes.size());
    streams[i].field_at_300 = 30 + i;
    streams[i].field_at_304 = 50 + i;
    streams[i].codecType = Codec(3);
  }
  return streams;
}
const Streams kStreams = MakeStreams(8);

// `fields` and the fields of layers [from, to) that the streams update (or, if `one`, the
// one-layer update) fills from the stream records of kStreams, the held range as first seen.
std::vector<Field> LayerFields(std::vector<Field> fields, int from, int to, bool one) {
  for (int i = from; i < to; ++i) {
    const auto& s = kStreams[i];
    auto copy = [&](size_t to, size_t from, size_t length) {
      const auto* bytes = reinterpret_cast<const unsigned char*>(&s) + from;
      fields.push_back(Field{L(i, to), Image(bytes, bytes + length)});
    };
    copy(128, 148, 4), copy(108, 200, 16), copy(192, 308, 4);
    fields.push_back(I32(L(i, 184), s.field_at_300));
    fields.push_back(I32(L(i, 188), s.field_at_304));
    if (one) {
      copy(0, 0, 16), copy(16, 64, 4), copy(20, 84, 16), copy(36, 100, 1), copy(104, 112, 4);
      copy(216, 292, 8), copy(196, 312, 16), copy(212, 328, 4), copy(180, 392, 1);
      copy(72, 216, 32);
      fields.push_back(I32(L(i, 176), 104));  // codec 3, mapped
    } else {
      copy(8, 8, 8), copy(48, 80, 4), copy(56, 104, 8), copy(124, 124, 4);
      fields.push_back(F(L(i, 40), static_cast<float>(s.field_at_56)));
      fields.push_back(F(L(i, 44), static_cast<float>(s.field_at_48)));
    }
  }
  return fields;
}

TEST(VideoStatistics, ResetWholeRecordAndCodecMap) {
  Video v(33);
  EXPECT_EQ(v.GetCallId(), 33u);
  EXPECT_EQ(Tx(v), kFresh);
  Image pattern = PatternImage(2064, 9);
  EXPECT_EQ(v.UpdateTxMediaInfo(pattern.data()), KEL_S_OK);
  EXPECT_EQ(Tx(v), pattern);
  EXPECT_EQ(v.reset(34), 0);
  EXPECT_EQ(v.GetCallId(), 34u);
  EXPECT_EQ(Tx(v), kFresh);

  const std::pair<int, int> codecs[] = {{0, 100}, {1, 101}, {2, 0}, {3, 104}, {4, 0}, {-1, 0}};
  for (const auto& [type, code] : codecs)
    EXPECT_EQ(kelStore::mapToKELCodec(Codec(type)), code) << type;
}

// One update and the fields it must change; every other byte must stay. (Refused and out-of-range
// updates: badinput/stats_bad_input_test.cc.)
#define UPDATE(...) [&](Video& v) { __VA_ARGS__; }
struct VideoCase {
  std::function<void(Video&)> update;
  std::vector<Field> fields = {};
};

TEST(VideoStatistics, EachUpdateWritesItsPositionsOnly) {
  const Streams& s = kStreams;
  const float fps[8] = {10, 15, 30, 1, 1, 1, 1, 1}, occupancy[6] = {0, 1, 2, 3, 4.5f, 5};
  const unsigned profiles[8] = {66, 77, 88, 99, 11, 22, 33, 44};
  // clang-format off
  const std::vector<VideoCase> cases = {
    {UPDATE(v.UpdateVideoEncBitrateFps(1000, 30, 2.5f)),
     {F(1456, 1000.0f), F(1460, 30.0f), F(1452, 2.5f)}},
    {UPDATE(v.UpdateVideoEncFSAndDownType(5, 6, kel::KelVideoResDownType(7))),
     {U32(1584, 5), U32(1588, 6), I32(1592, 7)}},
    {UPDATE(v.UpdatePerformanceWarnCnt(-3)), {I32(1480, -3)}},
    {UPDATE(v.UpdateEncROIAreaRation(45)), {U32(1732, 45)}},
    {UPDATE(v.UpdateVideoEncResolution(0x02D00500u)), {U32(1444, 1280), U32(1448, 720)}},
    {UPDATE(v.UpdateVideoEnableHWEnc(true)), {U8(1500, 1)}},
    {UPDATE(v.UpdateVideoProcessInfo(-5, 9)), {I32(1952, -5), I32(1960, 9)}},
    {UPDATE(v.UpdateVideoEncFrameCnt(100)), {U32(1488, 100)}},
    {UPDATE(v.UpdateVideoCapturedFrameCnt(101)), {U32(1536, 101)}},
    {UPDATE(v.UpdateVideoFeedToEncoderFramesCnt(102)), {U32(1568, 102)}},
    {UPDATE(v.UpdateEncodeParam(3, Codec(1))), {I32(1440, 3), I32(1616, 101)}},
    {UPDATE(v.UpdateVideoEncOtherInfo(1.5f, 2.5f, 3, Codec(3), 0x100000005ul, -6, 7)),
     {F(1528, 1.5f), F(1520, 2.5f), U32(1476, 3), I32(1616, 104), U64(1600, 0x100000005),
      I32(1580, -6), U32(1736, 7)}},
    {UPDATE(v.UpdateEncodeControlTargetFps(fps, 3)),
     {F(L(0, 232), 10.0f), F(L(1, 232), 15.0f), F(L(2, 232), 30.0f)}},
    {UPDATE(v.UpdateProfile(profiles, 8)),  // a count above six covers the six layers
     {U32(L(0, 64), 66), U32(L(1, 64), 77), U32(L(2, 64), 88), U32(L(3, 64), 99),
      U32(L(4, 64), 11), U32(L(5, 64), 22)}},
    {UPDATE(v.UpdateFBufferOcuppiedVideo(occupancy, 4)), {F(L(4, 52), 4.5f)}},
    {UPDATE(v.UpdateVideoEncIdrReqNum(9, s.data(), 2, false)),
     {U32(1464, 9), U32(L(2, 24), s[2].idrRequestCount)}},
    {UPDATE(v.UpdateVideoEncIdrReqNum(9, s.data(), 3, true)),
     {U32(1464, 9), U32(L(0, 24), s[0].idrRequestCount), U32(L(1, 24), s[1].idrRequestCount),
      U32(L(2, 24), s[2].idrRequestCount)}},
    {UPDATE(v.UpdateVideoEncIdrSentAndReasonCnt(8, s.data(), 1)),
     {U32(1468, 8), U32(L(1, 28), s[1].idrSentCount), F(L(1, 132), s[1].idrReasonCount)}},
    {UPDATE(v.UpdateVideoConfigureChange(s.data(), 2)),
     {U32(L(0, 104), s[0].configChangeCount), U32(L(1, 104), s[1].configChangeCount)}},
    {UPDATE(v.UpdateStreamsInfo(s.data(), 2)), LayerFields({I32(1440, 2)}, 0, 2, false)},
    {UPDATE(v.UpdateOneVideoLayerInfo(s.data(), 1, false, 55)),
     LayerFields({U32(1488, 55)}, 1, 2, true)},
  };
  // clang-format on
  for (size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    Video v(21);
    cases[i].update(v);
    EXPECT_EQ(Tx(v), Patch(kFresh, cases[i].fields));
  }
}

TEST(VideoStatistics, HeldMinimumAndMaximum) {
  Video v(21);
  Streams streams = MakeStreams(1);
  auto feed = [&](int smallest, int largest) {
    streams[0].field_at_300 = smallest, streams[0].field_at_304 = largest;
    v.UpdateStreamsInfo(streams.data(), 1);
    const Image image = Tx(v);
    return std::make_pair(ReadAt<int32_t>(image, 184), ReadAt<int32_t>(image, 188));
  };
  const std::pair<int, int> inputs[] = {{30, 10}, {20, 5}, {40, 12}, {0, -3}, {-5, 11}};
  const std::pair<int, int> held[] = {{30, 10}, {20, 10}, {20, 12}, {20, 12}, {20, 12}};
  for (size_t i = 0; i < std::size(inputs); ++i)
    EXPECT_EQ(feed(inputs[i].first, inputs[i].second), held[i]) << "step " << i;
  // A resetting read reports them and starts them afresh (in the object only).
  EXPECT_EQ(ReadAt<int32_t>(Tx(v, true), 184), 20);
  EXPECT_EQ(feed(40, -2), std::make_pair(40, 0));
}

TEST(VideoStatistics, ResettingReadsReportIntervalDifferences) {
  Video v(21);
  Streams streams = MakeStreams(2);
  auto setCounters = [&](uint32_t reason, uint32_t field20, uint32_t idr, uint32_t changes) {
    for (auto& s : streams) {
      s.idrReasonCount[4] = reason, s.field_at_84 = field20;
      s.idrRequestCount = idr, s.configChangeCount = changes;
    }
    for (int n = 0; n < 2; ++n) {
      v.UpdateOneVideoLayerInfo(streams.data(), n, false, 1);
      v.UpdateVideoEncIdrSentAndReasonCnt(0, streams.data(), n);
    }
  };
  auto expect = [](const Image& image, std::vector<std::pair<size_t, uint32_t>> fields) {
    for (const auto& [position, value] : fields)
      EXPECT_EQ(ReadAt<uint32_t>(image, position), value) << "at " << position;
  };
  const size_t kReason4 = 132 + 16;
  setCounters(3, 10, 4, 5);
  v.UpdateNoiseLevel(8);
  const Image image = Tx(v);
  EXPECT_EQ(Tx(v, true), image);  // no layers in use: nothing but the noise level is reset
  EXPECT_EQ(Tx(v), Patch(image, {I32(kNoise, -1)}));

  v.UpdateStreamsInfo(streams.data(), 1);  // one layer in use
  setCounters(3, 10, 4, 5);
  expect(Tx(v, true), {{L(0, kReason4), 3}, {L(0, 224), 10}, {L(0, 228), 4}, {L(0, 104), 5}});
  // Reported as they were, then the held figures are cleared (the byte at 36 with its spare bytes).
  expect(Tx(v), {{L(0, 32), 0}, {L(0, 36), 0}, {L(0, 184), 0}, {L(0, 188), 0}, {L(0, 192), 0}});

  // The reason counter went from 3 to 7; layer 1 is not in use: reported raw.
  setCounters(7, 15, 9, 8);
  const Image second = Tx(v, true);
  expect(second, {{L(0, kReason4), 4}, {L(0, 224), 5}, {L(0, 228), 5}, {L(0, 104), 3}});
  expect(second, {{L(1, kReason4), 7}, {L(1, 224), 0}});

  v.UpdateOneVideoLayerInfo(streams.data(), 0, true, 1);  // a restarted layer counts afresh
  EXPECT_EQ(ReadAt<uint32_t>(Tx(v), L(0, kReason4)), 0u);
  setCounters(2, 15, 9, 8);
  expect(Tx(v, true), {{L(0, kReason4), 2}, {L(0, 224), 15}});
  v.UpdateEncodeParam(-1, Codec(0));  // a negative count still reports layer 0
  setCounters(5, 15, 9, 8);
  expect(Tx(v, true), {{L(0, kReason4), 3}, {L(1, kReason4), 5}});
}

// The highest level since the last reset, -1 after a reset or a resetting read.
TEST(VideoStatistics, NoiseLevelAfterEachKindOfReset) {
  Video v(21);
  auto noise = [&](int level) {
    v.UpdateNoiseLevel(level);
    return ReadAt<int32_t>(Tx(v), kNoise);
  };
  EXPECT_EQ(noise(-7), -1);
  EXPECT_EQ(noise(5), 5);
  EXPECT_EQ(noise(3), 5);
  Tx(v, true);
  EXPECT_EQ(noise(-7), -1);
  v.resetTxVideoStatisticInfo();
  EXPECT_EQ(Tx(v), Image(2064, 0));  // deliberately 0, not -1
  EXPECT_EQ(noise(-2), 0);
}

TEST(VideoStatistics, Av1TextsAreCutAndTerminated) {
  Video v(21);
  const std::string long64(80, 'x');
  v.UpdateAV1Metrics(1, "abcdefghijklmnopqrst", long64.c_str());
  EXPECT_EQ(Tx(v),
            Patch(kFresh, {I32(1976, 1), F(1980, "abcdefghijklmno"), Field{1996, Image(63, 'x')}}));
  // Like a string copy, only the text and its terminator are written; null is an empty text.
  v.UpdateAV1Metrics(2, "xy", nullptr);
  EXPECT_EQ(Tx(v), Patch(kFresh, {I32(1976, 2), F(1980, "xy\0defghijklmno"),
                                  Field{1996, Image(63, 'x')}, U8(1996, 0)}));
}

}  // namespace
