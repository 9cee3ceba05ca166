#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <typeinfo>
#include <vector>

#include "mediaengine/mediastores/src/stats/kel_audio_info.h"
#include "mediaengine/mediastores/src/stats/kel_mediastores.h"
#include "mediaengine/mediastores/src/stats/kel_video_info.h"
#include "mediastores/mediastores.h"
#include "tests/stats/stats_image.h"
#include "tests/support/trace_capture.h"

namespace {

using kelStore::createMediastoresEntity;
using kelStore::releaseMediastoresEntity;

// Pointers as trace lines print them (printf's %p form).
std::string Ptr(const void* p) {
  char text[32];
  std::snprintf(text, sizeof(text), "%p", p);
  return text;
}

const std::string kThis = " [this=" + Ptr(&kelStore::kelMediastoresInstant) + "]";
const std::string kCreate = "CKelMediastores::createOrGetMediastoresEntity";
const std::string kRelease = "CKelMediastores::releaseMediastoresEntity, ";

std::string Key(int type, unsigned callId) {
  return "type=" + std::to_string(type) + ", callId=" + std::to_string(callId);
}
std::string Created(int type, unsigned callId, const void* p, unsigned refCnt) {
  return kCreate + ", " + Key(type, callId) + ", pMediaStatInfo=" + Ptr(p) +
         ", refCnt=" + std::to_string(refCnt) + kThis;
}
std::string Released(int type, unsigned callId, const void* in, const void* stored,
                     unsigned refCnt) {
  return kRelease + Key(type, callId) + ", in_PMediaStatInfo=" + Ptr(in) +
         "out_PMediaStatInfo=" + std::to_string(reinterpret_cast<uintptr_t>(stored)) +
         ", refCnt=" + std::to_string(refCnt) + kThis;
}

bool Exists(int type, unsigned callId) {
  return kelStore::kelMediastoresInstant.isMediastoresEntityExisted(
      kelStore::KelMediastoresEntityType(type), callId);
}

void* Create(unsigned type, unsigned callId) {
  void* p = nullptr;
  EXPECT_EQ(createMediastoresEntity(type, callId, &p), KEL_S_OK);
  return p;
}

// Every registry line, failures included, is traced at level 2.
void ExpectTraces(const TraceCapture& capture, const std::vector<std::string>& texts) {
  EXPECT_EQ(capture.TextsAtLevel(2), texts);
  EXPECT_EQ(capture.Lines().size(), texts.size());
}

TEST(MediastoresRegistry, SharedObjectCountsAndTraces) {
  TraceCapture capture(2);
  void* first = Create(0, 7001);
  EXPECT_EQ(Create(0, 7001), first);
  EXPECT_EQ(releaseMediastoresEntity(0, 7001, first), 1);
  EXPECT_TRUE(Exists(0, 7001));
  EXPECT_EQ(releaseMediastoresEntity(0, 7001, first), 0);
  EXPECT_FALSE(Exists(0, 7001));
  ExpectTraces(capture, {Created(0, 7001, first, 1), Created(0, 7001, first, 2),
                         Released(0, 7001, first, first, 1), Released(0, 7001, first, first, 0)});
}

// The type is part of the key and picks the class; a release goes to the object stored under the
// key, whatever pointer the caller gives.
TEST(MediastoresRegistry, TypePicksTheClassAndTheKeyDecidesTheRelease) {
  void* objects[4];
  for (unsigned type = 0; type < 4; ++type)
    objects[type] = Create(type, 7002);
  EXPECT_EQ(std::set<void*>(objects, objects + 4).size(), 4u);
  // The handed-out address is the object's audio or video interface.
  auto* audio = static_cast<kelStore::IKelAudioInfo*>(objects[0]);
  auto* video = static_cast<kelStore::IKelVideoInfo*>(objects[1]);
  auto* contentVideo = static_cast<kelStore::IKelVideoInfo*>(objects[2]);
  auto* contentAudio = static_cast<kelStore::IKelAudioInfo*>(objects[3]);
  EXPECT_EQ(typeid(*audio), typeid(kelStore::KelAudioStatisticInfo));
  EXPECT_EQ(typeid(*video), typeid(kelStore::KelVideoStatisticInfo));
  EXPECT_EQ(typeid(*contentVideo), typeid(kelStore::KelContentVideoStatisticInfo));
  EXPECT_EQ(typeid(*contentAudio), typeid(kelStore::KelContentAudioStatisticInfo));
  EXPECT_EQ(contentAudio->GetCallId(), 7002u);
  EXPECT_EQ(contentVideo->GetCallId(), 7002u);

  TraceCapture capture(2);
  std::vector<std::string> traces;
  for (unsigned type = 0; type < 4; ++type) {
    EXPECT_EQ(releaseMediastoresEntity(type, 7002, objects[0]), 0);
    EXPECT_FALSE(Exists(type, 7002));
    traces.push_back(Released(type, 7002, objects[0], objects[type], 0));
  }
  ExpectTraces(capture, traces);
}

TEST(MediastoresRegistry, RefusalsAndTheirTraces) {
  TraceCapture capture(2);
  void* p = &p;
  EXPECT_EQ(createMediastoresEntity(4, 7003, &p), KEL_E_BADSTATE);
  EXPECT_EQ(p, nullptr);
  p = &p;
  EXPECT_EQ(createMediastoresEntity(0xFFFFFFFFu, 7003, &p), KEL_E_BADSTATE);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(createMediastoresEntity(0, 7003, nullptr), KEL_E_BADSTATE);
  EXPECT_FALSE(Exists(4, 7003));
  EXPECT_FALSE(Exists(0, 7003));

  void* object = Create(0, 7003);
  EXPECT_EQ(releaseMediastoresEntity(0, 7003, nullptr), -1);  // no trace, count kept
  EXPECT_EQ(kelStore::kelMediastoresInstant.releaseMediastoresEntity(
                kelStore::KEL_MEDIASTORES_AUDIO, 7003, nullptr),
            -1);
  EXPECT_EQ(releaseMediastoresEntity(4, 7003, object), -1);
  EXPECT_EQ(releaseMediastoresEntity(0, 7004, object), -1);
  EXPECT_EQ(releaseMediastoresEntity(0, 7003, object), 0);
  const std::string absent = ", inPMediaStatInfo=" + Ptr(object) + ", refCnt=4294967295" + kThis;
  ExpectTraces(capture, {kCreate + " failed, " + Key(4, 7003) + kThis,
                         kCreate + " failed, " + Key(-1, 7003) + kThis, Created(0, 7003, object, 1),
                         kRelease + Key(4, 7003) + absent, kRelease + Key(0, 7004) + absent,
                         Released(0, 7003, object, object, 0)});
}

}  // namespace
