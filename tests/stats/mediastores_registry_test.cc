#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <typeinfo>
#include <vector>

#include "mediaengine/mediastores/src/stats/kel_audio_info.h"
#include "mediaengine/mediastores/src/stats/kel_mediastores.h"
#include "mediaengine/mediastores/src/stats/kel_video_info.h"
#include "mediastores/mediastores.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

// Pointers as trace lines print them (printf's %p form).
std::string Ptr(const void* p) {
  char text[32];
  std::snprintf(text, sizeof(text), "%p", p);
  return text;
}

// One object per kind and call, counted by its holders; the key, not the pointer given, decides
// what a release releases. Every registry line, failures included, is traced at level 2.
TEST(MediastoresRegistry, SharedObjectsCountsAndTraces) {
  TraceCapture capture(2);
  void *audio = nullptr, *again = nullptr, *video = nullptr, *none = nullptr;
  EXPECT_EQ(createMediastoresEntity(0, 7001, &audio), KEL_S_OK);
  EXPECT_EQ(createMediastoresEntity(0, 7001, &again), KEL_S_OK);
  EXPECT_EQ(createMediastoresEntity(1, 7001, &video), KEL_S_OK);  // the type is part of the key
  EXPECT_TRUE(again == audio && video != audio);
  EXPECT_EQ(releaseMediastoresEntity(0, 7001, video), 1);
  EXPECT_TRUE(kelMediastoresInstant.isMediastoresEntityExisted(KEL_MEDIASTORES_AUDIO, 7001));
  EXPECT_EQ(releaseMediastoresEntity(0, 7001, audio), 0);
  EXPECT_FALSE(kelMediastoresInstant.isMediastoresEntityExisted(KEL_MEDIASTORES_AUDIO, 7001));
  EXPECT_EQ(releaseMediastoresEntity(0, 7001, audio), -1);
  EXPECT_EQ(createMediastoresEntity(4, 7001, &none), KEL_E_BADSTATE);
  EXPECT_EQ(releaseMediastoresEntity(1, 7001, video), 0);

  const std::string self = " [this=" + Ptr(&kelMediastoresInstant) + "]";
  const std::string create = "CKelMediastores::createOrGetMediastoresEntity";
  const std::string release = "CKelMediastores::releaseMediastoresEntity, type=";
  auto stored = [](void* p) { return std::to_string(reinterpret_cast<uintptr_t>(p)); };
  EXPECT_EQ(
      capture.Texts(),
      (std::vector<std::string>{
          create + ", type=0, callId=7001, pMediaStatInfo=" + Ptr(audio) + ", refCnt=1" + self,
          create + ", type=0, callId=7001, pMediaStatInfo=" + Ptr(audio) + ", refCnt=2" + self,
          create + ", type=1, callId=7001, pMediaStatInfo=" + Ptr(video) + ", refCnt=1" + self,
          release + "0, callId=7001, in_PMediaStatInfo=" + Ptr(video) +
              "out_PMediaStatInfo=" + stored(audio) + ", refCnt=1" + self,
          release + "0, callId=7001, in_PMediaStatInfo=" + Ptr(audio) +
              "out_PMediaStatInfo=" + stored(audio) + ", refCnt=0" + self,
          release + "0, callId=7001, inPMediaStatInfo=" + Ptr(audio) + ", refCnt=4294967295" + self,
          create + " failed, type=4, callId=7001" + self,
          release + "1, callId=7001, in_PMediaStatInfo=" + Ptr(video) +
              "out_PMediaStatInfo=" + stored(video) + ", refCnt=0" + self,
      }));
  EXPECT_EQ(capture.TextsAtLevel(2).size(), 8u);
}

// The type picks the class, handed out as its audio or video interface.
TEST(MediastoresRegistry, TypePicksTheClass) {
  const std::type_info* classes[] = {&typeid(KelAudioStatisticInfo), &typeid(KelVideoStatisticInfo),
                                     &typeid(KelContentVideoStatisticInfo),
                                     &typeid(KelContentAudioStatisticInfo)};
  for (unsigned type = 0; type < 4; ++type) {
    void* p = nullptr;
    ASSERT_EQ(createMediastoresEntity(type, 7002, &p), KEL_S_OK);
    IKelMediaInfo* info = type == 1 || type == 2
                              ? static_cast<IKelMediaInfo*>(static_cast<IKelVideoInfo*>(p))
                              : static_cast<IKelAudioInfo*>(p);
    EXPECT_TRUE(typeid(*info) == *classes[type] && info->GetCallId() == 7002u) << type;
    EXPECT_EQ(releaseMediastoresEntity(type, 7002, p), 0);
  }
}

}  // namespace
}  // namespace kelStore
