// A minimal statistics writer and reader for one call: a pipeline thread writes audio and video
// figures, a reporter copies the records out with reset-on-read (so video IDR counters come out
// as differences since the previous report), and both give their references back. The program
// exits with status 1 if the library answers anything other than what the comments say.
#include <mediastores/mediastores.h>

#include <cstdio>
#include <thread>

namespace {

int g_failures = 0;

void Expect(bool ok, const char* what) {
  if (!ok) {
    std::fprintf(stderr, "unexpected: %s\n", what);
    ++g_failures;
  }
}

constexpr int kLayers = 3;

// Encodes `frames` frames on every layer and answers `idrs` key frame requests on layer 1
// (reason counter 0) with IDR frames, as a video encoder reports them.
void EncodeFrames(kelStore::IKelVideoInfo* video, kelStore::st_KelVideoStreamStatInfo* streams,
                  int frames, int idrs) {
  for (int f = 0; f < frames; ++f) {
    for (int l = 0; l < kLayers; ++l) {
      streams[l].field_at_84 += 1;  // frames encoded on the layer
      video->UpdateOneVideoLayerInfo(streams, l, false, static_cast<unsigned>(f));
    }
  }
  for (int i = 0; i < idrs; ++i) {
    streams[1].idrRequestCount += 1;
    video->UpdateVideoEncIdrReqNum(streams[1].idrRequestCount, streams, 1, false);
    // The encoder answers with an IDR frame; the reason counters travel with the sent count.
    streams[1].idrSentCount += 1;
    streams[1].idrReasonCount[0] += 1;
    video->UpdateVideoEncIdrSentAndReasonCnt(streams[1].idrSentCount, streams, 1);
  }
  video->UpdateStreamsInfo(streams, kLayers);
  video->UpdateVideoEncResolution(720u << 16 | 1280u);
}

}  // namespace

int main() {
  const unsigned callId = 7;

  // The pipeline's references: the first request makes the objects.
  void* audioObject = nullptr;
  void* videoObject = nullptr;
  Expect(kelStore::createMediastoresEntity(kelStore::KEL_MEDIASTORES_AUDIO, callId, &audioObject) ==
             KEL_S_OK,
         "create audio");
  Expect(kelStore::createMediastoresEntity(kelStore::KEL_MEDIASTORES_VIDEO, callId, &videoObject) ==
             KEL_S_OK,
         "create video");
  if (audioObject == nullptr || videoObject == nullptr) return 1;
  auto* audio = static_cast<kelStore::IKelAudioInfo*>(audioObject);
  auto* video = static_cast<kelStore::IKelVideoInfo*>(videoObject);

  // The reporter's references: the same objects, one more reference each.
  void* audioForReader = nullptr;
  void* videoForReader = nullptr;
  kelStore::createMediastoresEntity(kelStore::KEL_MEDIASTORES_AUDIO, callId, &audioForReader);
  kelStore::createMediastoresEntity(kelStore::KEL_MEDIASTORES_VIDEO, callId, &videoForReader);
  Expect(audioForReader == audioObject && videoForReader == videoObject, "shared per call");

  // The writer: 50 audio packets (one second at 20 ms) and 30 video frames.
  kelStore::st_KelVideoStreamStatInfo streams[kelStore::kKelVideoLayerCount] = {};
  std::thread writer([&] {
    for (int packet = 0; packet < 50; ++packet) {
      audio->updateTxBitRate(32000);
      kelStore::st_KelAudioJitterBufferStatistics jitterBuffer{};
      jitterBuffer.field_at_36 = 60;  // current delay, ms (receive record position 112)
      audio->updateJitterBufferStatistics(0, jitterBuffer, 0, 0);
    }
    EncodeFrames(video, streams, 30, 3);
  });
  writer.join();

  // First report. Records are plain byte images with fixed layouts.
  kelStore::st_KelAudioTxStatisticsInfo tx{};
  kelStore::st_KelAudioRxStatisticsInfo rx{};
  kelStore::st_KelVideoTxStatisticsInfo videoTx{};
  auto* audioReader = static_cast<kelStore::IKelAudioInfo*>(audioForReader);
  auto* videoReader = static_cast<kelStore::IKelVideoInfo*>(videoForReader);
  audioReader->GetTxMediaInfo(&tx, true);
  audioReader->GetRxAudioInfo(&rx, 0, true);
  videoReader->GetTxMediaInfo(&videoTx, true);
  std::printf("audio: tx %u bit/s, jitter buffer %u ms\n", tx.txBitRate, rx.field_at_112);
  std::printf("video: %ux%u, %d layers, layer 1: %u frames, %u IDR requests (reason 0: %u)\n",
              videoTx.encodeWidth, videoTx.encodeHeight, videoTx.layerCount,
              videoTx.layers[1].field_at_20_interval, videoTx.layers[1].idrRequestCountInterval,
              videoTx.layers[1].idrReasonCount[0]);
  Expect(tx.txBitRate == 32000 && rx.field_at_112 == 60, "audio figures");
  Expect(videoTx.layers[1].idrRequestCountInterval == 3 && videoTx.layers[1].idrReasonCount[0] == 3,
         "three IDR requests in the first interval");

  // Second interval: four more requests. The resetting read reports the difference.
  EncodeFrames(video, streams, 30, 4);
  videoReader->GetTxMediaInfo(&videoTx, true);
  std::printf("next interval: layer 1: %u frames, %u IDR requests (reason 0: %u)\n",
              videoTx.layers[1].field_at_20_interval, videoTx.layers[1].idrRequestCountInterval,
              videoTx.layers[1].idrReasonCount[0]);
  Expect(videoTx.layers[1].idrRequestCountInterval == 4 && videoTx.layers[1].idrReasonCount[0] == 4,
         "four IDR requests in the second interval");

  // Each holder gives its reference back; the key decides which object is released. The last
  // release answers 0: the object is gone.
  Expect(kelStore::releaseMediastoresEntity(kelStore::KEL_MEDIASTORES_AUDIO, callId,
                                            audioForReader) == 1,
         "reader's audio release leaves 1");
  Expect(kelStore::releaseMediastoresEntity(kelStore::KEL_MEDIASTORES_VIDEO, callId,
                                            videoForReader) == 1,
         "reader's video release leaves 1");
  Expect(
      kelStore::releaseMediastoresEntity(kelStore::KEL_MEDIASTORES_AUDIO, callId, audioObject) == 0,
      "last audio release answers 0");
  Expect(
      kelStore::releaseMediastoresEntity(kelStore::KEL_MEDIASTORES_VIDEO, callId, videoObject) == 0,
      "last video release answers 0");
  std::printf("%s\n", g_failures == 0 ? "stats_pipeline: ok" : "stats_pipeline: FAILED");
  return g_failures == 0 ? 0 : 1;
}
