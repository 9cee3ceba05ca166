// The statistics export: figures written through the update operations come out under their
// metric names and labels and in the call JSON, reading never disturbs the engine's reset-on-read
// intervals, and the documentation lists every exported figure.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "mediastores/json/json.h"
#include "mediastores/mediastores.h"
#include "mediastores/observe/call_json.h"
#include "mediastores/observe/exposition.h"
#include "observe/figure_table.h"

namespace kelStore {
namespace observe {
namespace {

constexpr unsigned kCall = 901;

// An audio and a content-video object of one call, with figures written.
class ObserveTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(createMediastoresEntity(KEL_MEDIASTORES_AUDIO, kCall, &audio_), KEL_S_OK);
    ASSERT_EQ(createMediastoresEntity(KEL_MEDIASTORES_CONTENT_VIDEO, kCall, &video_), KEL_S_OK);
    st_KelAudioCodecStatisticsInfo codec{};
    codec.payloadType = KEL_AUDIO_PAYLOAD_G722;
    codec.field_at_4 = 424242;  // unnamed: never exported
    Audio()->updateSendCodecInfo(codec);
    Audio()->updateTxBitRate(64000);
    Audio()->updateTxEncodeDropFrameinMS(250);
    Audio()->updateSpeechLevel(-20.5f, -30.0f, -40.0f);
    Audio()->updateRxBitRate(19, 24000);
    st_KelVideoStreamStatInfo streams[2] = {};
    streams[1].idrReasonCount[10] = 4;
    const float fps[2] = {15.0f, 30.0f};
    Video()->UpdateEncodeParam(2, static_cast<kel::KelVideoCodecType>(0));
    Video()->UpdateVideoEncResolution(720u << 16 | 1280u);
    Video()->UpdateVideoEncIdrSentAndReasonCnt(4, streams, 1);
    Video()->UpdateEncodeControlTargetFps(fps, 2);
  }
  void TearDown() override {
    releaseMediastoresEntity(KEL_MEDIASTORES_AUDIO, kCall, audio_);
    releaseMediastoresEntity(KEL_MEDIASTORES_CONTENT_VIDEO, kCall, video_);
  }
  IKelAudioInfo* Audio() { return static_cast<IKelAudioInfo*>(audio_); }
  IKelVideoInfo* Video() { return static_cast<IKelVideoInfo*>(video_); }
  void Snap(CStatisticsSnapshot& snapshot) {
    ASSERT_TRUE(snapshot.AddAudio(KEL_MEDIASTORES_AUDIO, Audio()));
    ASSERT_TRUE(snapshot.AddVideo(KEL_MEDIASTORES_CONTENT_VIDEO, Video()));
  }

  void* audio_ = nullptr;
  void* video_ = nullptr;
};

#define LABELS(media, direction) "{call_id=\"901\",media=\"" media "\",direction=\"" direction "\""
struct Case {
  const char* sample;  // exposition line
  const char* json;    // the same figure in the call JSON, in the record's unit
};
const Case kCases[] = {
    {"mediastores_audio_bitrate_bytes_per_second" LABELS("audio", "send") "} 8000",
     "\"send\":{\"bitRate\":64000,"},
    {"mediastores_audio_bitrate_bytes_per_second" LABELS("audio", "receive") ",stream=\"19\"} 3000",
     "\"receive\":[{\"stream\":19,\"bitRate\":24000,"},
    {"mediastores_audio_codec" LABELS("audio", "send") "} 5", "\"codec\":5,"},
    {"mediastores_audio_encoder_dropped_frame_seconds" LABELS("audio", "send") "} 0.25",
     "\"encodeDropFrameInMs\":250,"},
    {"mediastores_audio_speech_level" LABELS("audio", "send") ",index=\"0\"} -20.5",
     "\"speechLevel\":[-20.5,-30,-40],"},
    {"mediastores_video_encode_width_pixels" LABELS("content-video", "send") "} 1280",
     "\"contentVideo\":{\"send\":{\"layerCount\":2,\"encodeWidth\":1280,\"encodeHeight\":720,"},
    {"mediastores_video_layer_idr_reason_total" LABELS("content-video",
                                                       "send") ",layer=\"1\",reason=\"10\"} 4",
     "{\"layer\":1,\"idrRequestCount\":0,\"idrSentCount\":0,\"idrReasonCount\":[0,0,0,0,0,0,0,0,0,"
     "0,4],"},
    {"mediastores_video_layer_target_frames_per_second" LABELS("content-video",
                                                               "send") ",layer=\"1\"} 30",
     "\"encodeControlTargetFps\":30}]}}}"},
};

TEST_F(ObserveTest, FiguresComeOutUnderTheirNamesAndLabels) {
  CStatisticsSnapshot snapshot;
  Snap(snapshot);
  const std::string text = RenderExposition(snapshot);
  const std::string call = RenderCallJson(snapshot, kCall);
  std::set<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    lines.insert(line);
  EXPECT_EQ(json::Deserialize(call).GetType(), json::ObjectVal) << call;
  for (const Case& c : kCases) {
    EXPECT_EQ(lines.count(c.sample), 1u) << c.sample;
    EXPECT_NE(call.find(c.json), std::string::npos) << c.json << " in " << call;
  }
  // Only streams and layers that hold figures, and never an unnamed position.
  EXPECT_EQ(text.find("stream=\"18\""), std::string::npos);
  EXPECT_EQ(text.find("layer=\"2\""), std::string::npos);
  EXPECT_EQ(call.find("\"layer\":2"), std::string::npos);
  EXPECT_EQ(text.find("424242"), std::string::npos);
  EXPECT_EQ(call.find("424242"), std::string::npos);
}

TEST_F(ObserveTest, ReadingLeavesTheEngineIntervalsAlone) {
  st_KelAudioJitterBufferStatistics jitter{};
  jitter.field_at_12 = 9;
  Audio()->updateJitterBufferStatistics(19, jitter, 0, 0);
  CStatisticsSnapshot snapshot;
  Snap(snapshot);
  // The engine's own resetting reads still see the whole interval.
  st_KelAudioTxStatisticsInfo tx;
  st_KelAudioRxStatisticsInfo rx;
  st_KelVideoTxStatisticsInfo video;
  ASSERT_EQ(Audio()->GetTxMediaInfo(&tx, true), KEL_S_OK);
  ASSERT_EQ(Audio()->GetRxAudioInfo(&rx, 19, true), KEL_S_OK);
  ASSERT_EQ(Video()->GetTxMediaInfo(&video, true), KEL_S_OK);
  EXPECT_EQ(tx.speechLevel[0], -20.5f);
  EXPECT_EQ(rx.field_at_120, 9u);
  EXPECT_EQ(video.layers[1].idrReasonCount[10], 4u);
}

TEST_F(ObserveTest, SnapshotTakesEachObjectOnceAndOnlyAsItsOwnFamily) {
  CStatisticsSnapshot snapshot;
  EXPECT_FALSE(snapshot.AddAudio(KEL_MEDIASTORES_AUDIO, nullptr));
  EXPECT_FALSE(snapshot.AddAudio(KEL_MEDIASTORES_VIDEO, Audio()));
  EXPECT_FALSE(snapshot.AddVideo(KEL_MEDIASTORES_CONTENT_AUDIO, Video()));
  EXPECT_TRUE(snapshot.AddVideo(KEL_MEDIASTORES_CONTENT_VIDEO, Video()));
  EXPECT_FALSE(snapshot.AddVideo(KEL_MEDIASTORES_CONTENT_VIDEO, Video()));
  EXPECT_EQ(snapshot.Objects().size(), 1u);
  EXPECT_EQ(RenderCallJson(snapshot, kCall + 1), "{\"callId\":902}");
}

// docs/statistics-records.md has a row "| position | `metric` | type | `json member` |" for every
// exported figure.
TEST(ObserveDocs, ListEveryExportedFigure) {
  std::ifstream file(std::string(MEDIASTORES_SOURCE_DIR) + "/docs/statistics-records.md");
  std::stringstream doc;
  doc << file.rdbuf();
  for (size_t i = 0; i < kFigureCount; ++i) {
    const Figure& f = kFigures[i];
    const std::string row = "| " + std::to_string(f.position) + " | `mediastores_" + f.metric +
                            "` | " + (f.type == MetricType::kCounter ? "counter" : "gauge") +
                            " | `" + f.json + "` |";
    EXPECT_NE(doc.str().find(row), std::string::npos) << row;
  }
}

}  // namespace
}  // namespace observe
}  // namespace kelStore
