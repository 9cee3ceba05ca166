#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mediastores_internal.h"
#include "stats/stats_image.h"

namespace {

using kelStore::KelVideoStatisticInfo;
using Video = std::unique_ptr<KelVideoStatisticInfo>;
using Streams = std::vector<kelStore::st_KelVideoStreamStatInfo>;

constexpr size_t kNoise = 1752;

Image Tx(KelVideoStatisticInfo& v, bool reset = false) {
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

// Layer bytes at `to` that a layer update copies from stream bytes at `from`.
struct Span {
  size_t to, from, length;
};
void CopySpans(Image& expected, int layer, const kelStore::st_KelVideoStreamStatInfo& stream,
               const std::vector<Span>& spans) {
  const unsigned char* s = reinterpret_cast<const unsigned char*>(&stream);
  for (const Span& span : spans)
    std::memcpy(&expected[L(layer, span.to)], s + span.from, span.length);
}

TEST(VideoStatistics, ResetStateAndWholeRecordOperations) {
  Video v(new KelVideoStatisticInfo(33));
  Image fresh(2064, 0);
  WriteAt<int32_t>(fresh, kNoise, -1);
  EXPECT_EQ(v->GetCallId(), 33u);
  EXPECT_EQ(Tx(*v), fresh);
  Image pattern = PatternImage(2064, 9);
  EXPECT_EQ(v->UpdateTxMediaInfo(pattern.data()), KEL_S_OK);
  EXPECT_EQ(Tx(*v), pattern);
  EXPECT_EQ(v->UpdateTxMediaInfo(nullptr), KEL_E_BADSTATE);
  EXPECT_EQ(v->GetTxMediaInfo(nullptr, false), KEL_E_BADSTATE);
  EXPECT_EQ(v->UpdateRxMediaInfo(pattern.data()), KEL_E_BADSTATE);
  EXPECT_EQ(v->GetRxMediaInfo(pattern.data(), false), KEL_E_BADSTATE);
  EXPECT_EQ(v->reset(34), 0);
  EXPECT_EQ(v->GetCallId(), 34u);
  EXPECT_EQ(Tx(*v), fresh);
  void* out = nullptr;
  EXPECT_EQ(v->QueryInterface(kelStore::IID_IKelUnknown, &out), KEL_S_OK);
  EXPECT_EQ(out, static_cast<kel::CKelUnknownImpl*>(v.get()));
  EXPECT_EQ(v->GetReference(), 1u);
}

TEST(VideoStatistics, MapToKelCodecTable) {
  const std::vector<std::pair<int, int>> table = {{0, 100}, {1, 101}, {2, 0},  {3, 104},
                                                  {4, 0},   {5, 0},   {-1, 0}, {100, 0}};
  for (const auto& [type, code] : table)
    EXPECT_EQ(kelStore::mapToKELCodec(Codec(type)), code);
}

// One update, the fields it must change and any per-layer patch; every other byte must stay.
struct VideoCase {
  std::function<void(KelVideoStatisticInfo&)> update;
  std::vector<Field> fields;
  std::function<void(Image&)> patch = [](Image&) {};
};

TEST(VideoStatistics, EachUpdateWritesItsPositionsOnly) {
  const Streams s = MakeStreams(6);
  const float fps[6] = {10, 15, 30, 1, 1, 1}, occupancy[6] = {0, 1, 2, 3, 4.5f, 5};
  const unsigned profiles[8] = {66, 77, 88, 99, 11, 22, 33, 44};
  const std::vector<Span> streamSpans = {{8, 8, 8},     {48, 80, 4},    {56, 104, 8}, {124, 124, 4},
                                         {128, 148, 4}, {108, 200, 16}, {192, 308, 4}};
  const std::vector<Span> layerSpans = {
      {0, 0, 16},    {16, 64, 4},    {20, 84, 16},  {36, 100, 1},   {104, 112, 4},
      {128, 148, 4}, {108, 200, 16}, {216, 292, 8}, {196, 312, 16}, {212, 328, 4},
      {180, 392, 1}, {192, 308, 4},  {72, 216, 32}};
  // Layers [from, to) copied by `spans`, with the held range as first seen (and, for the
  // streams update, the two figures converted to float).
  auto layerPatch = [&](int from, int to, const std::vector<Span>& spans, bool floats) {
    return [&, from, to, floats](Image& e) {
      for (int i = from; i < to; ++i) {
        CopySpans(e, i, s[i], spans);
        WriteAt<int32_t>(e, L(i, 184), s[i].field_at_300);
        WriteAt<int32_t>(e, L(i, 188), s[i].field_at_304);
        if (!floats) continue;
        WriteAt<float>(e, L(i, 40), static_cast<float>(s[i].field_at_56));
        WriteAt<float>(e, L(i, 44), static_cast<float>(s[i].field_at_48));
      }
    };
  };
  // clang-format off
  const std::vector<VideoCase> cases = {
    {[](auto& v) { v.UpdateVideoEncBitrateFps(1000, 30, 2.5f); },
     {F(1456, 1000.0f), F(1460, 30.0f), F(1452, 2.5f)}},
    {[](auto& v) { v.UpdateVideoEncFSAndDownType(5, 6, kel::KelVideoResDownType(7)); },
     {F<uint32_t>(1584, 5), F<uint32_t>(1588, 6), F<int32_t>(1592, 7)}},
    {[](auto& v) { v.UpdatePerformanceWarnCnt(-3); }, {F<int32_t>(1480, -3)}},
    {[](auto& v) { v.UpdateEncROIAreaRation(45); }, {F<uint32_t>(1732, 45)}},
    {[](auto& v) { v.UpdateVideoEncResolution(0x02D00500u); },
     {F<uint32_t>(1444, 1280), F<uint32_t>(1448, 720)}},
    {[](auto& v) { v.UpdateVideoEnableHWEnc(true); }, {F<uint8_t>(1500, 1)}},
    {[](auto& v) { v.UpdateVideoProcessInfo(-5, 9); }, {F<int32_t>(1952, -5), F<int32_t>(1960, 9)}},
    {[](auto& v) { v.UpdateVideoEncFrameCnt(100); }, {F<uint32_t>(1488, 100)}},
    {[](auto& v) { v.UpdateVideoCapturedFrameCnt(101); }, {F<uint32_t>(1536, 101)}},
    {[](auto& v) { v.UpdateVideoFeedToEncoderFramesCnt(102); }, {F<uint32_t>(1568, 102)}},
    {[](auto& v) { v.UpdateEncodeParam(3, Codec(1)); }, {F<int32_t>(1440, 3), F<int32_t>(1616, 101)}},
    {[](auto& v) { v.UpdateVideoEncOtherInfo(1.5f, 2.5f, 3, Codec(3), 0x100000005ul, -6, 7); },
     {F(1528, 1.5f), F(1520, 2.5f), F<uint32_t>(1476, 3), F<int32_t>(1616, 104),
      F<uint64_t>(1600, 0x100000005ull), F<int32_t>(1580, -6), F<uint32_t>(1736, 7)}},
    {[](auto& v) { v.UpdateAV1Metrics(42, "abc", "defg"); },
     {F<int32_t>(1976, 42), FText(1980, "abc"), FText(1996, "defg")}},
    {[](auto& v) { v.UpdateNoiseLevel(5); }, {F<int32_t>(kNoise, 5)}},
    {[&](auto& v) { v.UpdateEncodeControlTargetFps(fps, 3); },
     {F(L(0, 232), 10.0f), F(L(1, 232), 15.0f), F(L(2, 232), 30.0f)}},
    {[&](auto& v) { v.UpdateProfile(profiles, 8); },  // a count above six covers the six layers
     {F(L(0, 64), 66u), F(L(1, 64), 77u), F(L(2, 64), 88u), F(L(3, 64), 99u), F(L(4, 64), 11u),
      F(L(5, 64), 22u)}},
    {[&](auto& v) { v.UpdateFBufferOcuppiedVideo(occupancy, 4); }, {F(L(4, 52), 4.5f)}},
    {[&](auto& v) { v.UpdateVideoEncIdrReqNum(9, s.data(), 2, false); },
     {F<uint32_t>(1464, 9), F(L(2, 24), s[2].idrRequestCount)}},
    {[&](auto& v) { v.UpdateVideoEncIdrReqNum(9, s.data(), 3, true); },
     {F<uint32_t>(1464, 9), F(L(0, 24), s[0].idrRequestCount), F(L(1, 24), s[1].idrRequestCount),
      F(L(2, 24), s[2].idrRequestCount)}},
    {[&](auto& v) { v.UpdateVideoEncIdrSentAndReasonCnt(8, s.data(), 1); }, {F<uint32_t>(1468, 8)},
     [&](Image& e) { CopySpans(e, 1, s[1], {{28, 92, 4}, {132, 248, 44}}); }},
    {[&](auto& v) { v.UpdateVideoConfigureChange(s.data(), 2); }, {},
     [&](Image& e) { CopySpans(e, 0, s[0], {{104, 112, 4}}), CopySpans(e, 1, s[1], {{104, 112, 4}}); }},
    {[&](auto& v) { v.UpdateStreamsInfo(s.data(), 2); }, {F<int32_t>(1440, 2)},
     layerPatch(0, 2, streamSpans, true)},
    {[&](auto& v) { v.UpdateOneVideoLayerInfo(s.data(), 1, false, 55); },
     {F<int32_t>(L(1, 176), 104), F<uint32_t>(1488, 55)}, layerPatch(1, 2, layerSpans, false)},
  };
  // clang-format on
  for (size_t i = 0; i < cases.size(); ++i) {
    const VideoCase& c = cases[i];
    SCOPED_TRACE(i);
    Video v(new KelVideoStatisticInfo(21));
    Image expected = Tx(*v);
    Patch(expected, c.fields);
    c.patch(expected);
    c.update(*v);
    EXPECT_EQ(Tx(*v), expected);
  }
}

TEST(VideoStatistics, RefusedOrOutOfRangeUpdatesChangeNothing) {
  const Streams streams = MakeStreams(8);
  const float fps[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  const std::vector<std::function<void(KelVideoStatisticInfo&)>> refused = {
      [&](auto& v) { v.UpdateEncodeControlTargetFps(fps, 7); },
      [&](auto& v) { v.UpdateEncodeControlTargetFps(fps, 0); },
      [&](auto& v) { v.UpdateEncodeControlTargetFps(nullptr, 3); },
      [&](auto& v) { v.UpdateOneVideoLayerInfo(streams.data(), 6, true, 1); },
      [&](auto& v) { v.UpdateOneVideoLayerInfo(streams.data(), -1, true, 1); },
      [&](auto& v) { v.UpdateOneVideoLayerInfo(nullptr, 0, true, 1); },
      [&](auto& v) { v.UpdateFBufferOcuppiedVideo(fps, 6); },
      [&](auto& v) { v.UpdateStreamsInfo(nullptr, 2); },
      [&](auto& v) { v.UpdateProfile(nullptr, 2); },
      [&](auto& v) { v.UpdateProfile(nullptr, 0); },
      [&](auto& v) { v.UpdateVideoConfigureChange(streams.data(), 0); },
      [&](auto& v) { v.UpdateVideoEncIdrSentAndReasonCnt(1, nullptr, 0); },
  };
  for (size_t i = 0; i < refused.size(); ++i) {
    SCOPED_TRACE(i);
    Video v(new KelVideoStatisticInfo(21));
    const Image before = Tx(*v);
    refused[i](*v);
    EXPECT_EQ(Tx(*v), before);
  }
}

TEST(VideoStatistics, HeldMinimumAndMaximumSequences) {
  Video v(new KelVideoStatisticInfo(21));
  Streams streams = MakeStreams(1);
  auto feed = [&](int smallest, int largest) {
    streams[0].field_at_300 = smallest;
    streams[0].field_at_304 = largest;
    v->UpdateStreamsInfo(streams.data(), 1);
    const Image image = Tx(*v);
    return std::make_pair(ReadAt<int32_t>(image, 184), ReadAt<int32_t>(image, 188));
  };
  const std::vector<std::pair<int, int>> inputs = {{30, 10}, {20, 5}, {40, 12}, {0, -3}, {-5, 11}};
  const std::vector<std::pair<int, int>> held = {{30, 10}, {20, 10}, {20, 12}, {20, 12}, {20, 12}};
  for (size_t i = 0; i < inputs.size(); ++i) {
    EXPECT_EQ(feed(inputs[i].first, inputs[i].second), held[i]) << "step " << i;
  }
  // A resetting read reports them and starts them afresh (in the object only).
  const Image reported = Tx(*v, true);
  EXPECT_EQ(ReadAt<int32_t>(reported, 184), 20);
  EXPECT_EQ(feed(40, -2), std::make_pair(40, 0));
}

TEST(VideoStatistics, ResettingReadsReportIntervalDifferences) {
  Video v(new KelVideoStatisticInfo(21));
  Streams streams = MakeStreams(2);
  auto setCounters = [&](uint32_t reason, uint32_t field20, uint32_t idr, uint32_t changes) {
    for (auto& s : streams) {
      s.idrReasonCount[4] = reason, s.field_at_84 = field20;
      s.idrRequestCount = idr, s.configChangeCount = changes;
    }
    for (int n = 0; n < 2; ++n) {
      v->UpdateOneVideoLayerInfo(streams.data(), n, false, 1);
      v->UpdateVideoEncIdrSentAndReasonCnt(0, streams.data(), n);
    }
  };
  auto expect = [](const Image& image, std::vector<std::pair<size_t, uint32_t>> fields) {
    for (const auto& [position, value] : fields) {
      EXPECT_EQ(ReadAt<uint32_t>(image, position), value) << "at " << position;
    }
  };
  const size_t kReason4 = 132 + 16;
  setCounters(3, 10, 4, 5);
  v->UpdateNoiseLevel(8);
  Image image = Tx(*v);
  EXPECT_EQ(Tx(*v, true), image);  // no layers in use: nothing but the noise level is reset
  WriteAt<int32_t>(image, kNoise, -1);
  EXPECT_EQ(Tx(*v), image);

  v->UpdateStreamsInfo(streams.data(), 1);  // one layer in use
  setCounters(3, 10, 4, 5);
  image = Tx(*v, true);
  expect(image, {{L(0, kReason4), 3}, {L(0, 224), 10}, {L(0, 228), 4}, {L(0, 104), 5}});
  EXPECT_NE(ReadAt<uint32_t>(image, L(0, 32)), 0u);  // reported as it was, then cleared:
  image = Tx(*v);
  expect(image, {{L(0, 32), 0}, {L(0, 184), 0}, {L(0, 188), 0}, {L(0, 192), 0}, {L(0, 24), 4}});
  EXPECT_EQ(image[L(0, 36)], 0);

  setCounters(7, 15, 9, 8);  // the reason counter went from 3 to 7
  image = Tx(*v, true);
  expect(image, {{L(0, kReason4), 4},
                 {L(0, 224), 5},
                 {L(0, 228), 5},
                 {L(0, 104), 3},
                 {L(1, kReason4), 7},
                 {L(1, 224), 0}});  // layer 1 is not in use: raw

  v->UpdateOneVideoLayerInfo(streams.data(), 0, true, 1);  // a restarted layer counts afresh
  EXPECT_EQ(ReadAt<uint32_t>(Tx(*v), L(0, kReason4)), 0u);
  setCounters(2, 15, 9, 8);
  expect(Tx(*v, true), {{L(0, kReason4), 2}, {L(0, 224), 15}});
  v->UpdateEncodeParam(-1, Codec(0));  // a negative count still reports layer 0
  setCounters(5, 15, 9, 8);
  expect(Tx(*v, true), {{L(0, kReason4), 3}, {L(1, kReason4), 5}});
}

TEST(VideoStatistics, NoiseLevelAfterEachKindOfReset) {
  Video v(new KelVideoStatisticInfo(21));
  auto noise = [&] { return ReadAt<int32_t>(Tx(*v), kNoise); };
  v->UpdateNoiseLevel(-7);
  EXPECT_EQ(noise(), -1);
  v->UpdateNoiseLevel(5);
  v->UpdateNoiseLevel(3);
  EXPECT_EQ(noise(), 5);
  Tx(*v, true);
  EXPECT_EQ(noise(), -1);
  v->UpdateNoiseLevel(4);
  v->resetTxVideoStatisticInfo();
  EXPECT_EQ(Tx(*v), Image(2064, 0));  // deliberately 0, not -1
  v->UpdateNoiseLevel(-2);
  EXPECT_EQ(noise(), 0);
  v->reset(1);
  EXPECT_EQ(noise(), -1);
}

TEST(VideoStatistics, Av1TextsAreCutAndTerminated) {
  Video v(new KelVideoStatisticInfo(21));
  v->UpdateAV1Metrics(1, "abcdefghijklmnopqrst", nullptr);
  Image image = Tx(*v);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&image[1980])), "abcdefghijklmno");
  EXPECT_EQ(image[1996], 0);
  const std::string long64(80, 'x');
  v->UpdateAV1Metrics(2, "xy", long64.c_str());
  image = Tx(*v);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&image[1996])), std::string(63, 'x'));
  // Like a string copy, only the text and its terminator are written.
  EXPECT_EQ(std::memcmp(&image[1980], "xy\0defghijklmno\0", 16), 0);
}

}  // namespace
