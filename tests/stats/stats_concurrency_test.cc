// Writers and readers on statistics objects, and creators and releasers of registry keys, on
// several threads. Run under ThreadSanitizer these also show the races are well defined.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "mediaengine/mediastores/src/stats/kel_audio_info.h"
#include "mediaengine/mediastores/src/stats/kel_mediastores.h"
#include "mediaengine/mediastores/src/stats/kel_video_info.h"
#include "tests/stats/stats_image.h"

namespace kelStore {
namespace {

// A writer updates an audio and a video object while this thread reads them, resetting: no field
// goes back or is seen half-written, and each layer's first IDR reason counter, reported as the
// difference since the previous read, never wraps and adds up to exactly what the counter reached.
TEST(StatsConcurrency, WriterAndResettingReader) {
  constexpr uint32_t kWrites = 100000;
  KelAudioStatisticInfo a(8001);
  KelVideoStatisticInfo v(8002);
  std::vector<st_KelVideoStreamStatInfo> streams(6);
  v.UpdateStreamsInfo(streams.data(), 6);
  std::atomic<bool> done{false};
  std::thread writer([&] {
    st_KelAudioJitterBufferStatistics jb{};
    for (uint32_t i = 1; i <= kWrites; ++i) {
      jb.field_at_40 = (uint64_t{i} << 32) | i;
      a.updateJitterBufferStatistics(static_cast<int>(i % 20), jb, 1, 2);
      streams[i % 6].idrReasonCount[0] = i;
      v.UpdateVideoEncIdrSentAndReasonCnt(i, streams.data(), static_cast<int>(i % 6));
      v.UpdateOneVideoLayerInfo(streams.data(), static_cast<int>(i % 6), false, i);
      v.UpdateAV1Metrics(static_cast<int>(i), "writer", nullptr);
    }
    done = true;
  });
  uint64_t sums[6] = {};
  uint32_t frames = 0;
  Image rx(260), tx(2064);
  for (uint32_t reads = 0, last = 0; !last; ++reads) {
    last = done;  // one more round after the writer has finished
    ASSERT_EQ(a.GetRxAudioInfo(rx.data(), static_cast<int>(reads % 20), true), KEL_S_OK);
    EXPECT_EQ(ReadAt<uint64_t>(rx, 132) >> 32, ReadAt<uint64_t>(rx, 132) & 0xFFFFFFFFu);
    ASSERT_EQ(v.GetTxMediaInfo(tx.data(), true), KEL_S_OK);
    EXPECT_GE(ReadAt<uint32_t>(tx, 1488), frames);
    frames = ReadAt<uint32_t>(tx, 1488);
    for (int layer = 0; layer < 6; ++layer) {
      EXPECT_LE(ReadAt<uint32_t>(tx, layer * 240 + 132), kWrites);
      sums[layer] += ReadAt<uint32_t>(tx, layer * 240 + 132);
    }
  }
  writer.join();
  EXPECT_EQ(frames, kWrites);
  for (uint32_t layer = 0; layer < 6; ++layer)  // the last i with i % 6 == layer
    EXPECT_EQ(sums[layer], kWrites - (kWrites % 6 + 6 - layer) % 6) << "layer " << layer;
}

// A key kept alive by a keeper always gives the same object; a key of one thread only, and a key
// every thread makes and drops, come and go.
TEST(StatsConcurrency, CreateAndReleaseFromSeveralThreads) {
  constexpr unsigned kShared = 8100;
  void* keeper = nullptr;
  ASSERT_EQ(createMediastoresEntity(1, kShared, &keeper), KEL_S_OK);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int r = 0; r < 400; ++r) {
        void *shared = nullptr, *own = nullptr, *churn = nullptr;
        failures += createMediastoresEntity(1, kShared, &shared) != KEL_S_OK || shared != keeper;
        failures += createMediastoresEntity(0, kShared + 1 + t, &own) != KEL_S_OK;
        failures += createMediastoresEntity(3, kShared, &churn) != KEL_S_OK;
        failures += releaseMediastoresEntity(1, kShared, shared) < 1;
        failures += releaseMediastoresEntity(0, kShared + 1 + t, own) != 0;
        failures += releaseMediastoresEntity(3, kShared, churn) < 0;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_FALSE(
      kelMediastoresInstant.isMediastoresEntityExisted(KEL_MEDIASTORES_AUDIO, kShared + 1));
  EXPECT_FALSE(
      kelMediastoresInstant.isMediastoresEntityExisted(KEL_MEDIASTORES_CONTENT_AUDIO, kShared));
  EXPECT_EQ(releaseMediastoresEntity(1, kShared, keeper), 0);
}

}  // namespace
}  // namespace kelStore
