// Bad input to the statistics registry and objects: unknown kinds, unknown and released keys,
// null pointers and buffers, indexes and counts at and beyond the bounds. Each call gets its
// documented result and the figures already written stay as they were.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
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

// A null output slot or pointer, a key never made, another kind of the call, a released key, and
// kinds beyond the four (the output slot comes back null): the object keeps its one reference and
// the registry its keys.
TEST(StatsBadInput, RegistryRefusesUnknownKindsKeysAndNulls) {
  void *audio = nullptr, *released = nullptr;
  ASSERT_EQ(createMediastoresEntity(KEL_MEDIASTORES_AUDIO, kCall, &audio), KEL_S_OK);
  ASSERT_EQ(createMediastoresEntity(KEL_MEDIASTORES_VIDEO, kCall + 1, &released), KEL_S_OK);
  ASSERT_EQ(releaseMediastoresEntity(KEL_MEDIASTORES_VIDEO, kCall + 1, released), 0);
  std::vector<std::pair<std::function<int32_t()>, int32_t>> rows = {
      {[] { return createMediastoresEntity(0, kCall, nullptr); }, KEL_E_BADSTATE},
      {[] { return releaseMediastoresEntity(0, kCall, nullptr); }, -1},
      {[=] { return releaseMediastoresEntity(0, kCall + 2, audio); }, -1},
      {[=] { return releaseMediastoresEntity(KEL_MEDIASTORES_CONTENT_AUDIO, kCall, audio); }, -1},
      {[=] { return releaseMediastoresEntity(KEL_MEDIASTORES_VIDEO, kCall + 1, released); }, -1},
  };
  for (unsigned type : {4u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    rows.push_back({[=] {
                      void* out = audio;
                      const int32_t rc = createMediastoresEntity(type, kCall, &out);
                      return out == nullptr ? rc : -2;
                    },
                    KEL_E_BADSTATE});
    rows.push_back({[=] { return releaseMediastoresEntity(type, kCall, audio); }, -1});
  }
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].first(), rows[i].second) << "row " << i;
    EXPECT_EQ(
        static_cast<KelAudioStatisticInfo*>(static_cast<IKelAudioInfo*>(audio))->GetReference(),
        1u);
    EXPECT_FALSE(
        kelMediastoresInstant.isMediastoresEntityExisted(KEL_MEDIASTORES_VIDEO, kCall + 1));
    EXPECT_FALSE(
        kelMediastoresInstant.isMediastoresEntityExisted(KelMediastoresEntityType(4), kCall));
  }
  EXPECT_EQ(releaseMediastoresEntity(KEL_MEDIASTORES_AUDIO, kCall, audio), 0);
}

TEST(StatsBadInput, AudioObjectIgnoresBadIndexesAndNullBuffers) {
  KelAudioStatisticInfo object(kCall);
  IKelAudioInfo& audio = object;
  Image tx = PatternImage(260, 1), out(260, 0xEE);
  ASSERT_EQ(audio.UpdateTxMediaInfo(tx.data()), KEL_S_OK);
  for (int i = 0; i < 20; ++i)
    audio.updateE2EDelayInfo(i, 1, 2, i);
  const Image before = AudioState(audio);
  st_KelAudioJitterBufferStatistics jitter{};
  kel::_tagSyncStatistics sync{};
  for (int i : {20, 21, -1, INT_MAX, INT_MIN}) {
    audio.updateRxBitRate(i, 1), audio.updatePayloadType(i, KEL_AUDIO_PAYLOAD_TYPE(0));
    audio.updateDecodeInfo(i, true, 9), audio.updateJitterBufferStatistics(i, jitter, 1, 2);
    audio.updateE2EDelayInfo(i, 7, 8, 9), audio.updateCodecStaticsLBRRflag(i, true);
    audio.updateAVSyncStatistics(i, sync);
    EXPECT_EQ(audio.GetRxAudioInfo(out.data(), i, true), KEL_E_BADSTATE) << i;
    EXPECT_EQ(audio.GetAVSyncInfo(out.data(), i), KEL_E_BADSTATE) << i;
    EXPECT_EQ(AudioState(audio), before) << i;
  }
  EXPECT_EQ(out, Image(260, 0xEE));
  void* none = &out;
  const kel::_tagUUID other = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  EXPECT_EQ(audio.UpdateTxMediaInfo(nullptr), KEL_E_BADSTATE);
  EXPECT_EQ(audio.UpdateRxMediaInfo(tx.data()), KEL_E_BADSTATE);
  EXPECT_EQ(audio.GetTxMediaInfo(nullptr, true), KEL_E_BADSTATE);
  EXPECT_EQ(audio.GetRxAudioInfo(nullptr, 0, true), KEL_E_BADSTATE);
  EXPECT_EQ(audio.GetAVSyncInfo(nullptr, 0), KEL_E_BADSTATE);
  EXPECT_EQ(object.QueryInterface(IID_IKelUnknown, nullptr), KEL_E_POINTER);
  EXPECT_EQ(object.QueryInterface(other, &none), KEL_E_NOINTERFACE);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(AudioState(audio), before);
}

TEST(StatsBadInput, VideoObjectIgnoresBadLayersCountsAndNullArrays) {
  KelVideoStatisticInfo object(kCall);
  IKelVideoInfo& video = object;
  Image tx = PatternImage(2064, 3), read(2064);
  st_KelVideoStreamStatInfo streams[8];
  std::memcpy(streams, PatternImage(sizeof(streams), 4).data(), sizeof(streams));
  const float values[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  const unsigned int profiles[8] = {11, 12, 13, 14, 15, 16, 17, 18};
  auto state = [&] {
    EXPECT_EQ(video.GetTxMediaInfo(read.data(), false), KEL_S_OK);
    return read;
  };
  ASSERT_EQ(video.UpdateTxMediaInfo(tx.data()), KEL_S_OK);
  // A bad layer changes no layer (the IDR updates still take their totals, after the layers).
  for (int n : {6, 7, -1, INT_MAX, INT_MIN}) {
    video.UpdateOneVideoLayerInfo(streams, n, true, 9);
    video.UpdateFBufferOcuppiedVideo(values, static_cast<unsigned>(n));
    video.UpdateVideoEncIdrReqNum(5, streams, n, false);
    video.UpdateVideoEncIdrSentAndReasonCnt(6, streams, n);
    EXPECT_TRUE(std::equal(tx.begin(), tx.begin() + 1440, state().begin())) << n;
  }
  // Null arrays, counts below 1 and target frame rates for other than 1 to 6 layers change no
  // layer; the layer count and the IDR totals beside a null array are still stored. Counts
  // beyond six reach the six layers only.
  ASSERT_EQ(video.UpdateTxMediaInfo(tx.data()), KEL_S_OK);
  video.UpdateStreamsInfo(nullptr, 0), video.UpdateOneVideoLayerInfo(nullptr, 0, true, 9);
  video.UpdateVideoConfigureChange(nullptr, 3), video.UpdateVideoEncIdrReqNum(5, nullptr, 0, true);
  video.UpdateVideoEncIdrSentAndReasonCnt(7, nullptr, 0), video.UpdateProfile(nullptr, 3);
  video.UpdateFBufferOcuppiedVideo(nullptr, 0), video.UpdateEncodeControlTargetFps(nullptr, 3);
  for (int count : {0, -1})
    video.UpdateProfile(profiles, count), video.UpdateVideoConfigureChange(streams, count);
  for (int count : {0, -1, 7})
    video.UpdateEncodeControlTargetFps(values, count);
  EXPECT_EQ(state(), Patch(tx, {F(1440, int32_t{0}), F(1464, 5u), F(1468, 7u)}));
  video.UpdateStreamsInfo(nullptr, 3);
  EXPECT_EQ(ReadAt<int32_t>(state(), 1440), 3);
  ASSERT_EQ(video.UpdateTxMediaInfo(tx.data()), KEL_S_OK);
  video.UpdateProfile(profiles, 7);
  const Image seven = state();
  ASSERT_EQ(video.UpdateTxMediaInfo(tx.data()), KEL_S_OK);
  video.UpdateProfile(profiles, 6);
  EXPECT_EQ(state(), seven);
  // A resetting read of more than six layers reports six.
  video.UpdateStreamsInfo(streams, 8);
  video.UpdateEncodeParam(INT_MAX, kel::KelVideoCodecType(0));
  EXPECT_EQ(video.GetTxMediaInfo(read.data(), true), KEL_S_OK);
  // Null buffers and the receive side.
  EXPECT_EQ(video.UpdateTxMediaInfo(nullptr), KEL_E_BADSTATE);
  EXPECT_EQ(video.GetTxMediaInfo(nullptr, true), KEL_E_BADSTATE);
  EXPECT_EQ(video.GetRxMediaInfo(read.data(), true), KEL_E_BADSTATE);
  EXPECT_EQ(video.UpdateRxMediaInfo(read.data()), KEL_E_BADSTATE);
}

std::vector<std::string> g_constraints;
void RecordConstraint(const char* msg, void*, int) {
  g_constraints.push_back(msg);
}

// A whole-record write goes through the bounds-checked copy: a source that overlaps the record
// from below or starts inside it is refused through the constraint handler and the record stays
// as it was; the record itself as source copies nothing. Each write still answers KEL_S_OK.
template <typename Object>
void CheckOverlappingWrites(size_t size) {
  Object object(kCall);
  Image pattern = PatternImage(size, 9), read(size);
  ASSERT_EQ(object.UpdateTxMediaInfo(pattern.data()), KEL_S_OK);
  auto* bytes = reinterpret_cast<unsigned char*>(&object);
  unsigned char* record =
      std::search(bytes, bytes + sizeof(Object), pattern.begin(), pattern.end());
  ASSERT_NE(record, bytes + sizeof(Object));
  const constraint_handler_t saved = set_constraint_handler_s(&RecordConstraint);
  for (unsigned char* src : {record - 4, record + 4, record}) {
    g_constraints.clear();
    EXPECT_EQ(object.UpdateTxMediaInfo(src), KEL_S_OK);
    EXPECT_EQ(g_constraints, src == record
                                 ? std::vector<std::string>{}
                                 : std::vector<std::string>{"memcpy_s: overlap undefined"});
    EXPECT_EQ(object.GetTxMediaInfo(read.data(), false), KEL_S_OK);
    EXPECT_EQ(read, pattern);
  }
  set_constraint_handler_s(saved);
}

TEST(StatsBadInput, WholeRecordWritesRefuseOverlappingSources) {
  CheckOverlappingWrites<KelAudioStatisticInfo>(260);
  CheckOverlappingWrites<KelVideoStatisticInfo>(2064);
}

}  // namespace
}  // namespace kelStore
