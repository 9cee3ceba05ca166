#include "mediastores/observe/statistics_snapshot.h"

#include "observe/figure_table.h"

namespace kelStore {
namespace observe {

ObservedObject* CStatisticsSnapshot::Begin(KelMediastoresEntityType kind, unsigned int callId) {
  for (const ObservedObject& object : m_objects)
    if (object.callId == callId && object.kind == kind) return nullptr;
  m_objects.emplace_back();
  m_objects.back().callId = callId;
  m_objects.back().kind = kind;
  return &m_objects.back();
}

bool CStatisticsSnapshot::AddAudio(KelMediastoresEntityType kind, IKelAudioInfo* audio) {
  if (audio == nullptr || !IsAudioKind(kind)) return false;
  ObservedObject* object = Begin(kind, audio->GetCallId());
  if (object == nullptr) return false;
  // Never a resetting read: the engine's reporter owns the intervals.
  audio->GetTxMediaInfo(&object->audioSend, false);
  for (int i = 0; i < kAudioReceiveStreams; ++i)
    audio->GetRxAudioInfo(&object->audioReceive[i], i, false);
  return true;
}

bool CStatisticsSnapshot::AddVideo(KelMediastoresEntityType kind, IKelVideoInfo* video) {
  if (video == nullptr || !IsVideoKind(kind)) return false;
  ObservedObject* object = Begin(kind, video->GetCallId());
  if (object == nullptr) return false;
  video->GetTxMediaInfo(&object->videoSend, false);
  return true;
}

}  // namespace observe
}  // namespace kelStore
