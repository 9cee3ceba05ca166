#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "mediastores_internal.h"
#include "stats/stats_image.h"
#include "support/trace_capture.h"

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

std::string Key(int type, unsigned callId) {
  return "type=" + std::to_string(type) + ", callId=" + std::to_string(callId);
}
std::string Created(int type, unsigned callId, const void* p, unsigned refCnt) {
  return "CKelMediastores::createOrGetMediastoresEntity, " + Key(type, callId) +
         ", pMediaStatInfo=" + Ptr(p) + ", refCnt=" + std::to_string(refCnt) + kThis;
}
std::string Released(int type, unsigned callId, const void* in, const void* stored,
                     unsigned refCnt) {
  return "CKelMediastores::releaseMediastoresEntity, " + Key(type, callId) +
         ", in_PMediaStatInfo=" + Ptr(in) +
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

TEST(MediastoresRegistry, SharedObjectCountsAndTraces) {
  TraceCapture capture(2);
  void* first = Create(0, 7001);
  EXPECT_EQ(Create(0, 7001), first);
  EXPECT_EQ(releaseMediastoresEntity(0, 7001, first), 1);
  EXPECT_TRUE(Exists(0, 7001));
  EXPECT_EQ(releaseMediastoresEntity(0, 7001, first), 0);
  EXPECT_FALSE(Exists(0, 7001));
  EXPECT_EQ(capture.Texts(),
            (std::vector<std::string>{Created(0, 7001, first, 1), Created(0, 7001, first, 2),
                                      Released(0, 7001, first, first, 1),
                                      Released(0, 7001, first, first, 0)}));
  for (const CapturedTrace& line : capture.Lines())
    EXPECT_EQ(line.level, 2);
}

TEST(MediastoresRegistry, TypeIsPartOfTheKeyAndPicksTheClass) {
  void* audio = Create(0, 7002);
  void* video = Create(1, 7002);
  void* contentVideo = Create(2, 7002);
  void* contentAudio = Create(3, 7002);
  EXPECT_EQ(std::set<void*>({audio, video, contentVideo, contentAudio}).size(), 4u);
  // The handed-out address is the object's audio or video interface.
  for (void* p : {audio, contentAudio}) {
    EXPECT_EQ(static_cast<kelStore::IKelAudioInfo*>(p)->GetCallId(), 7002u);
  }
  for (void* p : {video, contentVideo}) {
    EXPECT_EQ(static_cast<kelStore::IKelVideoInfo*>(p)->GetCallId(), 7002u);
  }
  EXPECT_NE(dynamic_cast<kelStore::KelContentAudioStatisticInfo*>(
                static_cast<kelStore::IKelAudioInfo*>(contentAudio)),
            nullptr);
  EXPECT_NE(dynamic_cast<kelStore::KelContentVideoStatisticInfo*>(
                static_cast<kelStore::IKelVideoInfo*>(contentVideo)),
            nullptr);
  EXPECT_EQ(dynamic_cast<kelStore::KelContentAudioStatisticInfo*>(
                static_cast<kelStore::IKelAudioInfo*>(audio)),
            nullptr);
  for (unsigned type = 0; type < 4; ++type) {
    EXPECT_EQ(releaseMediastoresEntity(type, 7002, audio), 0);  // the key decides
  }
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
  const std::string failed = "CKelMediastores::createOrGetMediastoresEntity failed, ";
  EXPECT_EQ(capture.Texts(), (std::vector<std::string>{failed + Key(4, 7003) + kThis,
                                                       failed + Key(-1, 7003) + kThis}));

  void* object = Create(0, 7003);
  capture.Clear();
  EXPECT_EQ(releaseMediastoresEntity(0, 7003, nullptr), -1);  // no trace, count kept
  EXPECT_EQ(kelStore::kelMediastoresInstant.releaseMediastoresEntity(
                kelStore::KEL_MEDIASTORES_AUDIO, 7003, nullptr),
            -1);
  EXPECT_EQ(releaseMediastoresEntity(4, 7003, object), -1);
  EXPECT_EQ(releaseMediastoresEntity(0, 7004, object), -1);
  EXPECT_EQ(releaseMediastoresEntity(0, 7003, object), 0);
  const std::string absent = ", inPMediaStatInfo=" + Ptr(object) + ", refCnt=4294967295" + kThis;
  const std::string release = "CKelMediastores::releaseMediastoresEntity, ";
  EXPECT_EQ(capture.Texts(), (std::vector<std::string>{release + Key(4, 7003) + absent,
                                                       release + Key(0, 7004) + absent,
                                                       Released(0, 7003, object, object, 0)}));
}

TEST(MediastoresRegistry, TheKeyDecidesNotThePointer) {
  void* audio = Create(0, 7005);
  void* video = Create(1, 7005);
  Create(0, 7005);
  TraceCapture capture(2);
  EXPECT_EQ(releaseMediastoresEntity(0, 7005, video), 1);
  EXPECT_EQ(capture.Texts(), (std::vector<std::string>{Released(0, 7005, video, audio, 1)}));
  EXPECT_EQ(static_cast<kelStore::KelVideoStatisticInfo*>(video)->GetReference(), 1u);
  EXPECT_EQ(releaseMediastoresEntity(0, 7005, video), 0);
  EXPECT_FALSE(Exists(0, 7005));
  EXPECT_EQ(releaseMediastoresEntity(1, 7005, video), 0);
}

TEST(MediastoresRegistry, FreshObjectAfterTheLastRelease) {
  auto* audio = static_cast<kelStore::IKelAudioInfo*>(Create(0, 7006));
  audio->updateTxBitRate(64000);
  ASSERT_EQ(releaseMediastoresEntity(0, 7006, audio), 0);
  auto* again = static_cast<kelStore::IKelAudioInfo*>(Create(0, 7006));
  Image tx(260);
  ASSERT_EQ(again->GetTxMediaInfo(tx.data(), false), KEL_S_OK);
  EXPECT_EQ(ReadAt<uint32_t>(tx, 8), 0u);
  EXPECT_EQ(ReadAt<uint32_t>(tx, 112), 20u);
  EXPECT_EQ(releaseMediastoresEntity(0, 7006, again), 0);
}

}  // namespace
