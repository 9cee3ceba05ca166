// Writers and readers on one statistics object, and creators and releasers of registry keys, on
// several threads. Run under the tsan preset these also show the races are well defined.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "mediastores_internal.h"
#include "stats/stats_image.h"
#include "support/trace_capture.h"

namespace {

constexpr uint32_t kWrites = 100000;

TEST(StatsConcurrency, AudioWriterAndReaderOnOneObject) {
  auto* a = new kelStore::KelAudioStatisticInfo(8001);
  a->AddRef();
  std::atomic<bool> done{false};
  std::thread writer([&] {
    kelStore::st_KelAudioJitterBufferStatistics jb{};
    kel::_tagSyncStatistics sync{};
    for (uint32_t i = 1; i <= kWrites; ++i) {
      a->updateTxBitRate(i);
      a->updateNoiseLevel(-1.0f * i, 0, 0);
      a->updateRxBitRate(static_cast<int>(i % 20), i);
      jb.field_at_12 = i;
      jb.field_at_40 = (uint64_t{i} << 32) | i;
      a->updateJitterBufferStatistics(static_cast<int>(i % 20), jb, 1, 2);
      for (uint32_t& value : sync.values)
        value = i;
      a->updateAVSyncStatistics(static_cast<int>(i % 20), sync);
    }
    done = true;
  });
  uint32_t lastBitRate = 0;
  uint64_t reads = 0;
  Image tx(260), rx(260), syncImage(120);
  while (!done || reads == 0) {
    const int index = static_cast<int>(reads % 20);
    ASSERT_EQ(a->GetTxMediaInfo(tx.data(), reads % 2 == 0), KEL_S_OK);
    ASSERT_EQ(a->GetRxAudioInfo(rx.data(), index, true), KEL_S_OK);
    ASSERT_EQ(a->GetAVSyncInfo(syncImage.data(), index), KEL_S_OK);
    const uint32_t bitRate = ReadAt<uint32_t>(tx, 8);
    EXPECT_GE(bitRate, lastBitRate);  // a single field is never seen going back
    EXPECT_LE(bitRate, kWrites);
    lastBitRate = bitRate;
    // A 64-bit field is never seen half-written.
    const uint64_t wide = ReadAt<uint64_t>(rx, 132);
    EXPECT_EQ(wide >> 32, wide & 0xFFFFFFFFu);
    ++reads;
  }
  writer.join();
  ASSERT_EQ(a->GetTxMediaInfo(tx.data(), false), KEL_S_OK);
  EXPECT_EQ(ReadAt<uint32_t>(tx, 8), kWrites);
  EXPECT_EQ(a->Release(), 0u);
}

TEST(StatsConcurrency, VideoWriterAndResettingReader) {
  auto* v = new kelStore::KelVideoStatisticInfo(8002);
  v->AddRef();
  std::atomic<bool> done{false};
  std::vector<kelStore::st_KelVideoStreamStatInfo> streams(6);
  std::thread writer([&] {
    v->UpdateStreamsInfo(streams.data(), 6);
    for (uint32_t i = 1; i <= kWrites; ++i) {
      const int layer = static_cast<int>(i % 6);
      streams[layer].idrReasonCount[0] = i;
      streams[layer].field_at_300 = static_cast<int32_t>(i);
      v->UpdateVideoEncIdrSentAndReasonCnt(i, streams.data(), layer);
      v->UpdateOneVideoLayerInfo(streams.data(), layer, false, i);
      v->UpdateNoiseLevel(static_cast<int>(i));
      v->UpdateAV1Metrics(static_cast<int>(i), "writer", nullptr);
    }
    done = true;
  });
  // Each resetting read reports every layer's first IDR reason counter as the difference since
  // the previous one: never negative (no wrap-around), and in total exactly what the counter
  // reached, whatever the interleaving.
  std::array<uint64_t, 6> sums{};
  uint32_t lastFrames = 0;
  uint64_t reads = 0;
  Image tx(2064);
  auto resettingRead = [&] {
    EXPECT_EQ(v->GetTxMediaInfo(tx.data(), true), KEL_S_OK);
    const int reportedLayers = ReadAt<int32_t>(tx, 1440);  // 0 before the writer's first update
    for (int layer = 0; layer < reportedLayers; ++layer) {
      const uint32_t interval = ReadAt<uint32_t>(tx, layer * 240 + 132);
      EXPECT_LE(interval, kWrites);
      sums[layer] += interval;
    }
  };
  while (!done || reads == 0) {
    resettingRead();
    const uint32_t frames = ReadAt<uint32_t>(tx, 1488);
    EXPECT_GE(frames, lastFrames);
    lastFrames = frames;
    ++reads;
  }
  writer.join();
  resettingRead();
  for (int layer = 0; layer < 6; ++layer) {
    const uint32_t reached = kWrites - (kWrites % 6 + 6 - layer) % 6;  // last i with i % 6 == layer
    EXPECT_EQ(sums[layer], reached) << "layer " << layer;
  }
  EXPECT_EQ(ReadAt<uint32_t>(tx, 1488), kWrites);
  // Once the writer has stopped, the next interval is empty.
  resettingRead();
  for (int layer = 0; layer < 6; ++layer)
    EXPECT_EQ(ReadAt<uint32_t>(tx, layer * 240 + 132), 0u);
  EXPECT_EQ(v->Release(), 0u);
}

TEST(StatsConcurrency, CreateAndReleaseFromSeveralThreads) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 400;
  constexpr unsigned kShared = 8100;
  void* keeper = nullptr;
  ASSERT_EQ(kelStore::createMediastoresEntity(1, kShared, &keeper), KEL_S_OK);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::vector<void*> held;
      for (int r = 0; r < kRounds; ++r) {
        void* shared = nullptr;
        void* own = nullptr;
        void* churn = nullptr;
        // The shared key stays alive through the keeper: always the same object.
        if (kelStore::createMediastoresEntity(1, kShared, &shared) != KEL_S_OK || shared != keeper)
          ++failures;
        if (r % 2 == 0)
          held.push_back(shared);
        else if (kelStore::releaseMediastoresEntity(1, kShared, shared) < 1)
          ++failures;
        // A key of this thread only: made and gone every round.
        kelStore::createMediastoresEntity(0, kShared + 1 + t, &own);
        if (kelStore::releaseMediastoresEntity(0, kShared + 1 + t, own) != 0) ++failures;
        // A key every thread makes and drops: the object comes and goes.
        if (kelStore::createMediastoresEntity(3, kShared, &churn) != KEL_S_OK) ++failures;
        if (kelStore::releaseMediastoresEntity(3, kShared, churn) < 0) ++failures;
      }
      for (void* p : held) {
        if (kelStore::releaseMediastoresEntity(1, kShared, p) < 1) ++failures;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(static_cast<kelStore::KelVideoStatisticInfo*>(keeper)->GetReference(), 1u);
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_FALSE(kelStore::kelMediastoresInstant.isMediastoresEntityExisted(
        kelStore::KEL_MEDIASTORES_AUDIO, kShared + 1 + t));
  }
  EXPECT_FALSE(kelStore::kelMediastoresInstant.isMediastoresEntityExisted(
      kelStore::KEL_MEDIASTORES_CONTENT_AUDIO, kShared));
  EXPECT_EQ(kelStore::releaseMediastoresEntity(1, kShared, keeper), 0);
  EXPECT_FALSE(kelStore::kelMediastoresInstant.isMediastoresEntityExisted(
      kelStore::KEL_MEDIASTORES_VIDEO, kShared));
}

}  // namespace
