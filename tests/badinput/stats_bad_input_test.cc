// Bad input to the statistics registry and objects: unknown kinds, unknown and released keys,
// null pointers and buffers, indexes and counts at and beyond the bounds. Each call gets its
// documented result and the figures already written stay as they were.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "mediaengine/mediastores/src/stats/kel_audio_info.h"
#include "mediaengine/mediastores/src/stats/kel_mediastores.h"
#include "mediaengine/mediastores/src/stats/kel_video_info.h"
#include "mediastores/mediastores.h"
#include "tests/stats/stats_image.h"

namespace kelStore {
namespace {

constexpr unsigned kCall = 7070;
const int kBadIndexes[] = {20, 21, -1, INT_MAX, INT_MIN};
const int kBadLayers[] = {6, 7, -1, INT_MAX, INT_MIN};

// Everything an audio object reports, read without resetting.
Image AudioState(IKelAudioInfo* audio) {
  Image state(260);
  EXPECT_EQ(audio->GetTxMediaInfo(state.data(), false), KEL_S_OK);
  for (int i = 0; i < 20; ++i) {
    Image rx(260), sync(120);
    EXPECT_EQ(audio->GetRxAudioInfo(rx.data(), i, false), KEL_S_OK);
    EXPECT_EQ(audio->GetAVSyncInfo(sync.data(), i), KEL_S_OK);
    state.insert(state.end(), rx.begin(), rx.end());
    state.insert(state.end(), sync.begin(), sync.end());
  }
  return state;
}

Image VideoState(IKelVideoInfo* video) {
  Image state(sizeof(st_KelVideoTxStatisticsInfo));
  EXPECT_EQ(video->GetTxMediaInfo(state.data(), false), KEL_S_OK);
  return state;
}

TEST(StatsBadInput, RegistryRefusesUnknownKindsKeysAndNulls) {
  void* audio = nullptr;
  ASSERT_EQ(createMediastoresEntity(KEL_MEDIASTORES_AUDIO, kCall, &audio), KEL_S_OK);
  auto* object = static_cast<KelAudioStatisticInfo*>(static_cast<IKelAudioInfo*>(audio));
  void* released = nullptr;
  ASSERT_EQ(createMediastoresEntity(KEL_MEDIASTORES_VIDEO, kCall + 1, &released), KEL_S_OK);
  ASSERT_EQ(releaseMediastoresEntity(KEL_MEDIASTORES_VIDEO, kCall + 1, released), 0);

  struct Row {
    std::string label;
    std::function<int32_t()> call;
    int32_t expected;
  };
  std::vector<Row> rows = {
      {"create into null",
       [] { return createMediastoresEntity(KEL_MEDIASTORES_AUDIO, kCall, nullptr); },
       KEL_E_BADSTATE},
      {"release null",
       [] { return releaseMediastoresEntity(KEL_MEDIASTORES_AUDIO, kCall, nullptr); }, -1},
      {"release key never made",
       [audio] { return releaseMediastoresEntity(KEL_MEDIASTORES_AUDIO, kCall + 2, audio); }, -1},
      {"release other kind of the call",
       [audio] { return releaseMediastoresEntity(KEL_MEDIASTORES_CONTENT_AUDIO, kCall, audio); },
       -1},
      {"release released key",
       [released] { return releaseMediastoresEntity(KEL_MEDIASTORES_VIDEO, kCall + 1, released); },
       -1},
  };
  for (unsigned type : {4u, 5u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    rows.push_back({"create kind " + std::to_string(type),
                    [type] {
                      int filled = 0;
                      void* out = &filled;  // must come back null
                      const int32_t rc = createMediastoresEntity(type, kCall, &out);
                      return out == nullptr ? rc : -2;
                    },
                    KEL_E_BADSTATE});
    rows.push_back({"release kind " + std::to_string(type),
                    [type, audio] { return releaseMediastoresEntity(type, kCall, audio); }, -1});
  }
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    EXPECT_EQ(row.call(), row.expected);
    EXPECT_EQ(object->GetReference(), 1u);
    EXPECT_TRUE(kelMediastoresInstant.isMediastoresEntityExisted(KEL_MEDIASTORES_AUDIO, kCall));
    EXPECT_FALSE(
        kelMediastoresInstant.isMediastoresEntityExisted(KEL_MEDIASTORES_VIDEO, kCall + 1));
    EXPECT_FALSE(kelMediastoresInstant.isMediastoresEntityExisted(
        static_cast<KelMediastoresEntityType>(4), kCall));
  }
  EXPECT_EQ(releaseMediastoresEntity(KEL_MEDIASTORES_AUDIO, kCall, audio), 0);
}

TEST(StatsBadInput, AudioObjectIgnoresBadIndexesAndNullBuffers) {
  auto* object = new KelAudioStatisticInfo(kCall);
  object->AddRef();
  IKelAudioInfo* audio = object;
  // Every record holds something.
  Image tx = PatternImage(260, 1);
  ASSERT_EQ(audio->UpdateTxMediaInfo(tx.data()), KEL_S_OK);
  for (int i = 0; i < 20; ++i) {
    audio->updateRxBitRate(i, 1000u + i);
    audio->updateE2EDelayInfo(i, 1, 2, 3);
    Image sync = PatternImage(120, 2 + i);
    kel::_tagSyncStatistics record;
    std::memcpy(&record, sync.data(), sizeof(record));
    audio->updateAVSyncStatistics(i, record);
  }
  const Image before = AudioState(audio);

  st_KelAudioJitterBufferStatistics jitter{};
  kel::_tagSyncStatistics sync{};
  std::vector<std::pair<std::string, std::function<int32_t(int)>>> indexed = {
      {"rx bit rate", [&](int i) { return audio->updateRxBitRate(i, 1), KEL_S_OK; }},
      {"payload type",
       [&](int i) { return audio->updatePayloadType(i, KEL_AUDIO_PAYLOAD_TYPE(0)), KEL_S_OK; }},
      {"decode info", [&](int i) { return audio->updateDecodeInfo(i, true, 9), KEL_S_OK; }},
      {"jitter buffer",
       [&](int i) { return audio->updateJitterBufferStatistics(i, jitter, 1, 2), KEL_S_OK; }},
      {"e2e delay", [&](int i) { return audio->updateE2EDelayInfo(i, 7, 8, 9), KEL_S_OK; }},
      {"rx lbrr", [&](int i) { return audio->updateCodecStaticsLBRRflag(i, true), KEL_S_OK; }},
      {"av sync", [&](int i) { return audio->updateAVSyncStatistics(i, sync), KEL_S_OK; }},
      {"read rx",
       [&](int i) {
         Image out(260, 0xEE);
         const int32_t rc = audio->GetRxAudioInfo(out.data(), i, true);
         return out == Image(260, 0xEE) ? rc : -2;
       }},
      {"read av sync",
       [&](int i) {
         Image out(120, 0xEE);
         const int32_t rc = audio->GetAVSyncInfo(out.data(), i);
         return out == Image(120, 0xEE) ? rc : -2;
       }},
  };
  for (const auto& [label, call] : indexed) {
    for (int index : kBadIndexes) {
      SCOPED_TRACE(label + " " + std::to_string(index));
      EXPECT_EQ(call(index), label.rfind("read", 0) == 0 ? KEL_E_BADSTATE : KEL_S_OK);
      EXPECT_EQ(AudioState(audio), before);
    }
  }
  // The last index is an index like any other.
  Image last(260);
  EXPECT_EQ(audio->GetRxAudioInfo(last.data(), 19, false), KEL_S_OK);
  EXPECT_EQ(ReadAt<uint32_t>(last, 8), 1019u);

  const kel::_tagUUID other = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  void* out = &last;
  const std::vector<std::pair<std::string, std::function<int32_t()>>> nulls = {
      {"write tx from null", [&] { return audio->UpdateTxMediaInfo(nullptr); }},
      {"write rx", [&] { return audio->UpdateRxMediaInfo(tx.data()); }},
      {"read tx into null", [&] { return audio->GetTxMediaInfo(nullptr, true); }},
      {"read rx into null", [&] { return audio->GetRxAudioInfo(nullptr, 0, true); }},
      {"read av sync into null", [&] { return audio->GetAVSyncInfo(nullptr, 0); }},
      {"query into null", [&] { return object->QueryInterface(IID_IKelUnknown, nullptr); }},
      {"query unknown interface",
       [&] {
         const int32_t rc = object->QueryInterface(other, &out);
         return out == nullptr ? rc : -2;
       }},
  };
  const int32_t expected[] = {KEL_E_BADSTATE, KEL_E_BADSTATE, KEL_E_BADSTATE,   KEL_E_BADSTATE,
                              KEL_E_BADSTATE, KEL_E_POINTER,  KEL_E_NOINTERFACE};
  for (size_t i = 0; i < nulls.size(); ++i) {
    SCOPED_TRACE(nulls[i].first);
    EXPECT_EQ(nulls[i].second(), expected[i]);
    EXPECT_EQ(AudioState(audio), before);
    EXPECT_EQ(object->GetReference(), 1u);
  }
  EXPECT_EQ(object->Release(), 0u);
}

TEST(StatsBadInput, VideoObjectIgnoresBadLayersCountsAndNullArrays) {
  auto* object = new KelVideoStatisticInfo(kCall);
  object->AddRef();
  IKelVideoInfo* video = object;
  const Image tx = PatternImage(sizeof(st_KelVideoTxStatisticsInfo), 3);
  ASSERT_EQ(video->UpdateTxMediaInfo(const_cast<unsigned char*>(tx.data())), KEL_S_OK);
  st_KelVideoStreamStatInfo streams[8];
  const Image pattern = PatternImage(sizeof(streams), 4);
  std::memcpy(streams, pattern.data(), sizeof(streams));
  const float values[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  unsigned int profiles[8] = {11, 12, 13, 14, 15, 16, 17, 18};
  const Image before = VideoState(video);
  const size_t layersEnd = 6 * sizeof(st_KelVideoLayerStatisticsInfo);

  // A bad layer index leaves every layer as it was; the idr updates still take their total, the
  // others change nothing at all.
  const std::vector<std::pair<std::string, std::function<void(int)>>> layered = {
      {"occupancy",
       [&](int n) { video->UpdateFBufferOcuppiedVideo(values, static_cast<unsigned>(n)); }},
      {"one layer", [&](int n) { video->UpdateOneVideoLayerInfo(streams, n, true, 9); }},
      {"idr requests", [&](int n) { video->UpdateVideoEncIdrReqNum(5, streams, n, false); }},
      {"idr sent", [&](int n) { video->UpdateVideoEncIdrSentAndReasonCnt(5, streams, n); }},
  };
  for (const auto& [label, call] : layered) {
    for (int n : kBadLayers) {
      if (label == "occupancy" && n < 0) continue;  // an unsigned layer: -1 is 0xFFFFFFFF
      SCOPED_TRACE(label + " " + std::to_string(n));
      call(n);
      const Image after = VideoState(video);
      const size_t end = label.rfind("idr", 0) == 0 ? layersEnd : before.size();
      EXPECT_TRUE(std::equal(before.begin(), before.begin() + end, after.begin())) << label;
      ASSERT_EQ(video->UpdateTxMediaInfo(const_cast<unsigned char*>(tx.data())), KEL_S_OK);
    }
  }

  // Null arrays, counts below 1 and target frame rates for other than 1 to 6 layers change
  // nothing at all.
  const std::vector<std::pair<std::string, std::function<void()>>> none = {
      {"streams null", [&] { video->UpdateStreamsInfo(nullptr, 3); }},
      {"one layer null", [&] { video->UpdateOneVideoLayerInfo(nullptr, 0, true, 9); }},
      {"config change null", [&] { video->UpdateVideoConfigureChange(nullptr, 3); }},
      {"idr requests null", [&] { video->UpdateVideoEncIdrReqNum(5, nullptr, 0, true); }},
      {"idr sent null", [&] { video->UpdateVideoEncIdrSentAndReasonCnt(5, nullptr, 0); }},
      {"occupancy null", [&] { video->UpdateFBufferOcuppiedVideo(nullptr, 0); }},
      {"profile null", [&] { video->UpdateProfile(nullptr, 3); }},
      {"profile count 0", [&] { video->UpdateProfile(profiles, 0); }},
      {"profile count -1", [&] { video->UpdateProfile(profiles, -1); }},
      {"config change count 0", [&] { video->UpdateVideoConfigureChange(streams, 0); }},
      {"target fps null", [&] { video->UpdateEncodeControlTargetFps(nullptr, 3); }},
      {"target fps count 0", [&] { video->UpdateEncodeControlTargetFps(values, 0); }},
      {"target fps count 7", [&] { video->UpdateEncodeControlTargetFps(values, 7); }},
      {"target fps count -1", [&] { video->UpdateEncodeControlTargetFps(values, -1); }},
  };
  for (const auto& [label, call] : none) {
    SCOPED_TRACE(label);
    call();
    EXPECT_EQ(VideoState(video), before);
  }

  // Counts beyond six reach the six layers and nothing further.
  video->UpdateProfile(profiles, 7);
  Image expected = before;
  for (size_t i = 0; i < 6; ++i) {
    std::memcpy(&expected[i * sizeof(st_KelVideoLayerStatisticsInfo) + 64], &profiles[i],
                sizeof(profiles[i]));
  }
  EXPECT_EQ(VideoState(video), expected);
  video->UpdateStreamsInfo(streams, 8);
  video->UpdateEncodeParam(INT_MAX, kel::KelVideoCodecType(0));
  Image read(sizeof(st_KelVideoTxStatisticsInfo));
  EXPECT_EQ(video->GetTxMediaInfo(read.data(), true), KEL_S_OK);  // reports six layers
  EXPECT_EQ(ReadAt<int32_t>(read, 1440), INT_MAX);

  // Null buffers and the receive side.
  EXPECT_EQ(video->UpdateTxMediaInfo(nullptr), KEL_E_BADSTATE);
  EXPECT_EQ(video->GetTxMediaInfo(nullptr, true), KEL_E_BADSTATE);
  EXPECT_EQ(video->GetRxMediaInfo(read.data(), true), KEL_E_BADSTATE);
  EXPECT_EQ(video->UpdateRxMediaInfo(read.data()), KEL_E_BADSTATE);
  video->UpdateAV1Metrics(5, nullptr, nullptr);
  const Image after = VideoState(video);
  EXPECT_EQ(ReadAt<int32_t>(after, 1976), 5);
  EXPECT_EQ(after[1980], 0);
  EXPECT_EQ(after[1996], 0);
  EXPECT_EQ(object->Release(), 0u);
}

}  // namespace
}  // namespace kelStore
