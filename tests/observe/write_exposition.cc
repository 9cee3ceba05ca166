// Prints the exposition of one call whose audio, video, content-audio and content-video objects
// hold figures written through the update operations, for promtool to lint. Uses only what a
// consumer of mediastores::observe has.
#include <mediastores/mediastores.h>
#include <mediastores/observe/exposition.h>

#include <cmath>
#include <cstdio>

int main() {
  using namespace kelStore;
  const unsigned callId = 7;
  const KelMediastoresEntityType kinds[] = {KEL_MEDIASTORES_AUDIO, KEL_MEDIASTORES_VIDEO,
                                            KEL_MEDIASTORES_CONTENT_AUDIO,
                                            KEL_MEDIASTORES_CONTENT_VIDEO};
  void* objects[4] = {};
  observe::CStatisticsSnapshot snapshot;
  bool ok = true;
  for (int k = 0; k < 4; ++k) {
    if (createMediastoresEntity(kinds[k], callId, &objects[k]) != KEL_S_OK) return 1;
    if (k % 2 == 0) {
      auto* audio = static_cast<IKelAudioInfo*>(objects[k]);
      audio->updateTxBitRate(32000);
      audio->updateTxEncodeDropFrameinMS(40);
      audio->updateAECLevel(NAN, INFINITY, -INFINITY);  // non-finite floats are valid samples
      audio->updateUnstableEventCount(2);
      audio->updateRxBitRate(3, 24000);
      audio->updateE2EDelayInfo(3, 80, 90, 100);
      ok = ok && snapshot.AddAudio(kinds[k], audio);
    } else {
      auto* video = static_cast<IKelVideoInfo*>(objects[k]);
      st_KelVideoStreamStatInfo streams[2] = {};
      streams[1].idrSentCount = 3;
      streams[1].idrReasonCount[2] = 3;
      const float fps[2] = {15.0f, 30.0f};
      video->UpdateEncodeParam(2, static_cast<kel::KelVideoCodecType>(0));
      video->UpdateVideoEncResolution(720u << 16 | 1280u);
      video->UpdateVideoEncIdrSentAndReasonCnt(3, streams, 1);
      video->UpdateEncodeControlTargetFps(fps, 2);
      ok = ok && snapshot.AddVideo(kinds[k], video);
    }
  }
  std::fputs(observe::RenderExposition(snapshot).c_str(), stdout);
  for (int k = 0; k < 4; ++k)
    releaseMediastoresEntity(kinds[k], callId, objects[k]);
  return ok ? 0 : 1;
}
