// Writers and readers on one statistics object, and creators and releasers of registry keys, on
// several threads. Run under ThreadSanitizer these also show the races are well defined.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "mediaengine/mediastores/src/stats/kel_audio_info.h"
#include "mediaengine/mediastores/src/stats/kel_mediastores.h"
#include "mediaengine/mediastores/src/stats/kel_video_info.h"
#include "mediastores/mediastores.h"
#include "tests/stats/stats_image.h"

namespace {

constexpr uint32_t kWrites = 100000;

// Runs `writer` on a thread, calling `read` while it runs and once after it has finished.
void WhileWriting(const std::function<void()>& writer, const std::function<void()>& read) {
  std::atomic<bool> done{false};
  std::thread thread([&] { writer(), done = true; });
  while (!done)
    read();
  thread.join();
  read();
}

TEST(StatsConcurrency, AudioWriterAndReaderOnOneObject) {
  kelStore::KelAudioStatisticInfo a(8001);
  uint32_t lastBitRate = 0, reads = 0;
  Image tx(260), rx(260), sync(120);
  WhileWriting(
      [&] {
        kelStore::st_KelAudioJitterBufferStatistics jb{};
        kel::_tagSyncStatistics s{};
        for (uint32_t i = 1; i <= kWrites; ++i) {
          a.updateTxBitRate(i);
          a.updateNoiseLevel(-1.0f * i, 0, 0);
          jb.field_at_40 = (uint64_t{i} << 32) | i;
          a.updateJitterBufferStatistics(static_cast<int>(i % 20), jb, 1, 2);
          std::fill(std::begin(s.values), std::end(s.values), i);
          a.updateAVSyncStatistics(static_cast<int>(i % 20), s);
        }
      },
      [&] {
        const int index = static_cast<int>(++reads % 20);
        ASSERT_EQ(a.GetTxMediaInfo(tx.data(), reads % 2 == 0), KEL_S_OK);
        ASSERT_EQ(a.GetRxAudioInfo(rx.data(), index, true), KEL_S_OK);
        ASSERT_EQ(a.GetAVSyncInfo(sync.data(), index), KEL_S_OK);
        EXPECT_GE(ReadAt<uint32_t>(tx, 8), lastBitRate);  // a field is never seen going back
        lastBitRate = ReadAt<uint32_t>(tx, 8);
        const uint64_t wide = ReadAt<uint64_t>(rx, 132);  // nor a 64-bit field half-written
        EXPECT_EQ(wide >> 32, wide & 0xFFFFFFFFu);
      });
  EXPECT_EQ(lastBitRate, kWrites);
}

// Each resetting read reports every layer's first IDR reason counter as the difference since the
// previous one: never above the writes (no wrap-around), and adding up to exactly what the
// counter reached, whatever the interleaving.
TEST(StatsConcurrency, VideoWriterAndResettingReader) {
  kelStore::KelVideoStatisticInfo v(8002);
  std::vector<kelStore::st_KelVideoStreamStatInfo> streams(6);
  uint64_t sums[6] = {};
  uint32_t lastFrames = 0;
  Image tx(2064);
  WhileWriting(
      [&] {
        v.UpdateStreamsInfo(streams.data(), 6);
        for (uint32_t i = 1; i <= kWrites; ++i) {
          const int layer = static_cast<int>(i % 6);
          streams[layer].idrReasonCount[0] = i;
          streams[layer].field_at_300 = static_cast<int32_t>(i);
          v.UpdateVideoEncIdrSentAndReasonCnt(i, streams.data(), layer);
          v.UpdateOneVideoLayerInfo(streams.data(), layer, false, i);
          v.UpdateNoiseLevel(static_cast<int>(i));
          v.UpdateAV1Metrics(static_cast<int>(i), "writer", nullptr);
        }
      },
      [&] {
        ASSERT_EQ(v.GetTxMediaInfo(tx.data(), true), KEL_S_OK);
        for (int layer = 0; layer < ReadAt<int32_t>(tx, 1440); ++layer) {
          const uint32_t interval = ReadAt<uint32_t>(tx, layer * 240 + 132);
          EXPECT_LE(interval, kWrites);
          sums[layer] += interval;
        }
        EXPECT_GE(ReadAt<uint32_t>(tx, 1488), lastFrames);
        lastFrames = ReadAt<uint32_t>(tx, 1488);
      });
  for (int layer = 0; layer < 6; ++layer) {
    const uint32_t reached = kWrites - (kWrites % 6 + 6 - layer) % 6;  // last i with i % 6 == layer
    EXPECT_EQ(sums[layer], reached) << "layer " << layer;
  }
  EXPECT_EQ(lastFrames, kWrites);
}

TEST(StatsConcurrency, CreateAndReleaseFromSeveralThreads) {
  constexpr unsigned kShared = 8100;
  using kelStore::createMediastoresEntity;
  using kelStore::releaseMediastoresEntity;
  void* keeper = nullptr;
  ASSERT_EQ(createMediastoresEntity(1, kShared, &keeper), KEL_S_OK);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int r = 0; r < 400; ++r) {
        void *shared = nullptr, *own = nullptr, *churn = nullptr;
        // The shared key stays alive through the keeper: always the same object. A key of this
        // thread only is made and gone every round; the object of a key every thread makes and
        // drops comes and goes.
        if (createMediastoresEntity(1, kShared, &shared) != KEL_S_OK || shared != keeper)
          ++failures;
        if (createMediastoresEntity(0, kShared + 1 + t, &own) != KEL_S_OK) ++failures;
        if (createMediastoresEntity(3, kShared, &churn) != KEL_S_OK) ++failures;
        if (releaseMediastoresEntity(1, kShared, shared) < 1) ++failures;
        if (releaseMediastoresEntity(0, kShared + 1 + t, own) != 0) ++failures;
        if (releaseMediastoresEntity(3, kShared, churn) < 0) ++failures;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(failures.load(), 0);
  for (unsigned key = kShared; key <= kShared + 4; ++key) {
    EXPECT_FALSE(kelStore::kelMediastoresInstant.isMediastoresEntityExisted(
        kelStore::KEL_MEDIASTORES_AUDIO, key));
  }
  EXPECT_FALSE(kelStore::kelMediastoresInstant.isMediastoresEntityExisted(
      kelStore::KEL_MEDIASTORES_CONTENT_AUDIO, kShared));
  EXPECT_EQ(releaseMediastoresEntity(1, kShared, keeper), 0);
}

}  // namespace
