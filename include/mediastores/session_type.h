// Session types of the media engine. A KelConfigHelper turns some of them into the configuration
// group that holds that session's settings.
#ifndef MEDIASTORES_SESSION_TYPE_H_
#define MEDIASTORES_SESSION_TYPE_H_

#include <cstdint>

namespace kel {

// The kind of media session a module belongs to. Only the numbers are part of the interface.
enum KelSessionType : uint32_t {
  kSessionTypeAudio = 0,        // group Audio
  kSessionTypeVideo = 1,        // group Video
  kSessionTypeVideoSlide = 2,   // shared-screen video; group VideoSlide
  kSessionTypeAudioSlide = 3,   // shared-screen audio; group AudioSlide
  kSessionTypeApplication = 4,  // group Application
  kSessionTypeGamestate = 5,    // group Gamestate
  // Sessions without a configuration group of their own.
  kSessionTypeData = 6,
  kSessionTypeChat = 7,
  kSessionTypeFileTransfer = 8,
  kSessionTypeWhiteboard = 9,
  kSessionTypeRemoteControl = 10,
  kSessionTypeAnnotation = 11,
  kSessionTypeRecording = 12,
  kSessionTypeTelephony = 13,
  kSessionTypeAudioSi = 14,  // simultaneous-interpretation audio; group AudioSi
  // No session type (what a helper without a session-type group reports).
  kSessionTypeUnknown = 15,
};

}  // namespace kel

#endif  // MEDIASTORES_SESSION_TYPE_H_
