// Monitoring export of a call's statistics (the mediastores::observe component): a snapshot
// copies the records of statistics objects the caller hands in; exposition.h renders copies as the
// Prometheus text exposition and call_json.h as one JSON object per call.
//
// The caller passes objects it already holds. Nothing here asks the registry for an object: a
// createMediastoresEntity made only to look would create the object of a call that has none. The
// snapshot never creates, releases or resets an object and reads every record with reset=false,
// so the engine's own reporter keeps its reset-on-read intervals undisturbed.
//
//   kelStore::observe::CStatisticsSnapshot snapshot;
//   snapshot.AddAudio(kelStore::KEL_MEDIASTORES_AUDIO, audio);  // audio: an IKelAudioInfo* held
//   snapshot.AddVideo(kelStore::KEL_MEDIASTORES_VIDEO, video);  // video: an IKelVideoInfo* held
//   std::string text = kelStore::observe::RenderExposition(snapshot);
//   std::string call = kelStore::observe::RenderCallJson(snapshot, audio->GetCallId());
//
// Records are copied without a lock, like every statistics read: a copy taken while a writer runs
// may mix old and new figures.
#ifndef MEDIASTORES_OBSERVE_STATISTICS_SNAPSHOT_H_
#define MEDIASTORES_OBSERVE_STATISTICS_SNAPSHOT_H_

#include <vector>

#include "mediastores/audio_records.h"
#include "mediastores/media_info.h"
#include "mediastores/mediastores_entity.h"
#include "mediastores/video_records.h"

namespace kelStore {
namespace observe {

// Receive streams of an audio statistics object (indexes 0 to 19).
inline constexpr int kAudioReceiveStreams = 20;

// The records copied from one statistics object. Audio kinds fill the audio records, video kinds
// the video record; the others stay zero.
struct ObservedObject {
  unsigned int callId = 0;
  KelMediastoresEntityType kind = KEL_MEDIASTORES_AUDIO;
  st_KelAudioTxStatisticsInfo audioSend{};
  st_KelAudioRxStatisticsInfo audioReceive[kAudioReceiveStreams]{};
  st_KelVideoTxStatisticsInfo videoSend{};
};

// Copies of statistics records, in the order the objects were added.
class CStatisticsSnapshot {
 public:
  // Copies the transmit record and the 20 receive records of `audio`, an object of `kind`
  // (KEL_MEDIASTORES_AUDIO or KEL_MEDIASTORES_CONTENT_AUDIO) that the caller holds a reference
  // on. The call id is the object's own (GetCallId). False, and nothing copied, for a null
  // object, a video kind, or a (call id, kind) already in the snapshot.
  bool AddAudio(KelMediastoresEntityType kind, IKelAudioInfo* audio);
  // The same for a video object of `kind` (KEL_MEDIASTORES_VIDEO or
  // KEL_MEDIASTORES_CONTENT_VIDEO): copies its transmit record.
  bool AddVideo(KelMediastoresEntityType kind, IKelVideoInfo* video);

  const std::vector<ObservedObject>& Objects() const { return m_objects; }

 private:
  ObservedObject* Begin(KelMediastoresEntityType kind, unsigned int callId);

  std::vector<ObservedObject> m_objects;
};

}  // namespace observe
}  // namespace kelStore

#endif  // MEDIASTORES_OBSERVE_STATISTICS_SNAPSHOT_H_
