// Media statistics store: the cost of each kind of update (each reports in the counter "fields"
// how many record fields it writes), of the getters next to a memcpy of the same size (the
// floor), and of a create/release of an existing key. Every figure runs for at least
// kMinSeconds a repetition; the suite runs many short repetitions, interleaved, rather than a
// few long ones.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench/side_by_side.h"
#include "mediastores/mediastores.h"

namespace {

using kelStore::IKelAudioInfo;
using kelStore::IKelVideoInfo;

constexpr unsigned kCallId = 424242;

// Statistics objects obtained the way the engine obtains them, so that every call goes through
// the interface's virtual table.
struct Objects {
  Objects() {
    kelStore::createMediastoresEntity(kelStore::KEL_MEDIASTORES_AUDIO, kCallId, &audioEntity);
    kelStore::createMediastoresEntity(kelStore::KEL_MEDIASTORES_VIDEO, kCallId, &videoEntity);
    audio = static_cast<IKelAudioInfo*>(audioEntity);
    video = static_cast<IKelVideoInfo*>(videoEntity);
    streams.resize(6);
    for (int i = 0; i < 6; ++i) {
      streams[i].field_at_300 = 30 + i;
      streams[i].idrReasonCount[0] = i;
    }
    video->UpdateStreamsInfo(streams.data(), 6);
  }
  void* audioEntity = nullptr;
  void* videoEntity = nullptr;
  IKelAudioInfo* audio = nullptr;
  IKelVideoInfo* video = nullptr;
  std::vector<kelStore::st_KelVideoStreamStatInfo> streams;
};

Objects& Get() {
  static Objects objects;
  return objects;
}

// Seconds each repetition of every figure here runs at least: an update's figure is its round's
// fastest slice, and the machine's slow spells last a good part of a second, so a round long
// enough to hold a moment outside them gives the same figure round after round.
constexpr double kMinSeconds = 0.2;

// The number of record fields an update writes, for the summary's bound per field.
void Fields(benchmark::State& state, int count) {
  state.counters["fields"] = count;
}

// ---- updates ----

void BM_AudioUpdateTxBitRate(benchmark::State& state) {
  IKelAudioInfo* a = Get().audio;
  unsigned value = 0;
  Fields(state, 1);
  bench::SideBySide(state, bench::Side("update", [&] { a->updateTxBitRate(++value); }));
}
BENCHMARK(BM_AudioUpdateTxBitRate)->MinTime(kMinSeconds);

void BM_AudioUpdateRxBitRate(benchmark::State& state) {
  IKelAudioInfo* a = Get().audio;
  unsigned value = 0;
  Fields(state, 1);
  bench::SideBySide(state, bench::Side("update", [&] { a->updateRxBitRate(7, ++value); }));
}
BENCHMARK(BM_AudioUpdateRxBitRate)->MinTime(kMinSeconds);

void BM_AudioUpdateLevels(benchmark::State& state) {
  IKelAudioInfo* a = Get().audio;
  // New levels every call, made from an integer count: a float carried from call to call would
  // be spilled around each call and make the loop wait on its own reload and addition.
  unsigned count = 0;
  Fields(state, 3);
  bench::SideBySide(state, bench::Side("update", [&] {
                      const float value = static_cast<float>(++count);
                      a->updateNoiseLevel(value, value + 1, value + 2);
                    }));
}
BENCHMARK(BM_AudioUpdateLevels)->MinTime(kMinSeconds);

void BM_AudioUpdatePayloadType(benchmark::State& state) {
  IKelAudioInfo* a = Get().audio;
  Fields(state, 1);
  bench::SideBySide(state, bench::Side("update", [&] {
                      a->updatePayloadType(7, kelStore::KEL_AUDIO_PAYLOAD_DYNAMIC_107);
                    }));
}
BENCHMARK(BM_AudioUpdatePayloadType)->MinTime(kMinSeconds);

void BM_AudioUpdateSendCodecInfo(benchmark::State& state) {
  IKelAudioInfo* a = Get().audio;
  kelStore::st_KelAudioCodecStatisticsInfo codec{};
  codec.payloadType = kelStore::KEL_AUDIO_PAYLOAD_DYNAMIC_107;
  Fields(state, 6);
  bench::SideBySide(state, bench::Side("update", [&] {
                      ++codec.field_at_16;
                      a->updateSendCodecInfo(codec);
                    }));
}
BENCHMARK(BM_AudioUpdateSendCodecInfo)->MinTime(kMinSeconds);

void BM_AudioUpdateJitterBuffer(benchmark::State& state) {
  IKelAudioInfo* a = Get().audio;
  kelStore::st_KelAudioJitterBufferStatistics jb{};
  Fields(state, 8);
  bench::SideBySide(state, bench::Side("update", [&] {
                      ++jb.field_at_40;
                      a->updateJitterBufferStatistics(6, jb, 1, 2);
                    }));
}
BENCHMARK(BM_AudioUpdateJitterBuffer)->MinTime(kMinSeconds);

void BM_AudioUpdateE2EDelay(benchmark::State& state) {
  IKelAudioInfo* a = Get().audio;
  unsigned value = 0;
  Fields(state, 3);
  bench::SideBySide(state, bench::Side("update", [&] {
                      ++value;
                      a->updateE2EDelayInfo(7, value, value + 1, value + 2);
                    }));
}
BENCHMARK(BM_AudioUpdateE2EDelay)->MinTime(kMinSeconds);

void BM_AudioUpdateAVSync(benchmark::State& state) {
  IKelAudioInfo* a = Get().audio;
  kel::_tagSyncStatistics sync{};
  Fields(state, 30);  // the record's 30 words
  bench::SideBySide(state, bench::Side("update", [&] {
                      ++sync.values[0];
                      a->updateAVSyncStatistics(7, sync);
                    }));
}
BENCHMARK(BM_AudioUpdateAVSync)->MinTime(kMinSeconds);

void BM_VideoUpdateFrameCount(benchmark::State& state) {
  IKelVideoInfo* v = Get().video;
  unsigned value = 0;
  Fields(state, 1);
  bench::SideBySide(state, bench::Side("update", [&] { v->UpdateVideoEncFrameCnt(++value); }));
}
BENCHMARK(BM_VideoUpdateFrameCount)->MinTime(kMinSeconds);

void BM_VideoUpdateBitrateFps(benchmark::State& state) {
  IKelVideoInfo* v = Get().video;
  unsigned value = 0;
  Fields(state, 3);
  bench::SideBySide(
      state, bench::Side("update", [&] { v->UpdateVideoEncBitrateFps(++value, 30, 29.97f); }));
}
BENCHMARK(BM_VideoUpdateBitrateFps)->MinTime(kMinSeconds);

void BM_VideoUpdateNoiseLevel(benchmark::State& state) {
  IKelVideoInfo* v = Get().video;
  int value = 0;
  Fields(state, 1);
  bench::SideBySide(state, bench::Side("update", [&] { v->UpdateNoiseLevel(++value); }));
}
BENCHMARK(BM_VideoUpdateNoiseLevel)->MinTime(kMinSeconds);

void BM_VideoUpdateIdrSentAndReasons(benchmark::State& state) {
  Objects& o = Get();
  unsigned value = 0;
  Fields(state, 13);
  bench::SideBySide(state, bench::Side("update", [&] {
                      o.video->UpdateVideoEncIdrSentAndReasonCnt(++value, o.streams.data(), 2);
                    }));
}
BENCHMARK(BM_VideoUpdateIdrSentAndReasons)->MinTime(kMinSeconds);

void BM_VideoUpdateOneLayer(benchmark::State& state) {
  Objects& o = Get();
  unsigned value = 0;
  Fields(state, 30);
  bench::SideBySide(state, bench::Side("update", [&] {
                      o.video->UpdateOneVideoLayerInfo(o.streams.data(), 2, false, ++value);
                    }));
}
BENCHMARK(BM_VideoUpdateOneLayer)->MinTime(kMinSeconds);

void BM_VideoUpdateStreamsInfo6(benchmark::State& state) {
  Objects& o = Get();
  Fields(state, 1 + 6 * 14);  // the count, then 14 fields a layer
  bench::SideBySide(
      state, bench::Side("update", [&] { o.video->UpdateStreamsInfo(o.streams.data(), 6); }));
}
BENCHMARK(BM_VideoUpdateStreamsInfo6)->MinTime(kMinSeconds);

void BM_VideoUpdateAV1Metrics(benchmark::State& state) {
  IKelVideoInfo* v = Get().video;
  int value = 0;
  Fields(state, 1 + 4 + 4);  // the value, then each text by the 32-bit words it fills
  bench::SideBySide(state, bench::Side("update", [&] {
                      v->UpdateAV1Metrics(++value, "main-profile", "tiles=4,sb=64");
                    }));
}
BENCHMARK(BM_VideoUpdateAV1Metrics)->MinTime(kMinSeconds);

// ---- getters and their floors ----

// A reader's buffer lies anywhere relative to the statistics object, and a copy's speed depends
// on where (a store and a later load whose addresses agree in their low bits wait for each other).
// So the getters and their floor write, in turn, to the same sixteen places in one pool, 8-byte
// aligned and spread over a page.
constexpr size_t kPlaces = 16;
constexpr size_t kPlaceStep = 264;
alignas(4096) unsigned char g_readerPool[4 * 4096];

class ReaderPlaces {
 public:
  // The next place, for a record of type T.
  template <class T>
  T* Next() {
    static_assert(alignof(T) <= 8 && (kPlaces - 1) * kPlaceStep + sizeof(T) <= sizeof(g_readerPool),
                  "records fit the pool");
    return static_cast<T*>(static_cast<void*>(g_readerPool + kPlaceStep * (next_++ % kPlaces)));
  }

 private:
  size_t next_ = 0;
};

// A plain memcpy of the record's size from one buffer to the reader's places, the size known only
// at run time (as in a bounds-checked copy), run side by side with each getter as its "memcpy".
alignas(64) unsigned char g_floorSource[4096];
auto Memcpy(size_t size) {
  benchmark::DoNotOptimize(size);  // the size is not known where the copy is compiled
  return bench::Side("memcpy", [size, places = ReaderPlaces()]() mutable {
    unsigned char* destination = places.Next<unsigned char>();
    std::memcpy(destination, g_floorSource, size);
    benchmark::DoNotOptimize(destination);
    benchmark::ClobberMemory();
  });
}

// Runs `read`, given the place of a T to read into, side by side with a memcpy of a T.
template <class T, class Read>
void GetterSideBySide(benchmark::State& state, Read read) {
  ReaderPlaces places;
  bench::SideBySide(state,
                    bench::Side("getter",
                                [&] {
                                  T* const to = places.Next<T>();
                                  read(to);
                                  benchmark::DoNotOptimize(to);
                                  benchmark::ClobberMemory();
                                }),
                    Memcpy(sizeof(T)));
}

void BM_AudioGetTxMediaInfo(benchmark::State& state) {
  IKelAudioInfo* a = Get().audio;
  const bool reset = state.range(0) != 0;
  GetterSideBySide<kelStore::st_KelAudioTxStatisticsInfo>(
      state, [&](kelStore::st_KelAudioTxStatisticsInfo* tx) { a->GetTxMediaInfo(tx, reset); });
}
BENCHMARK(BM_AudioGetTxMediaInfo)->ArgName("reset")->Arg(0)->Arg(1)->MinTime(kMinSeconds);

void BM_AudioGetRxAudioInfo(benchmark::State& state) {
  IKelAudioInfo* a = Get().audio;
  const bool reset = state.range(0) != 0;
  int index = 0;
  GetterSideBySide<kelStore::st_KelAudioRxStatisticsInfo>(
      state, [&](kelStore::st_KelAudioRxStatisticsInfo* rx) {
        a->GetRxAudioInfo(rx, index, reset);
        index = (index + 1) % 2;  // both slot alignments
      });
}
BENCHMARK(BM_AudioGetRxAudioInfo)->ArgName("reset")->Arg(0)->Arg(1)->MinTime(kMinSeconds);

void BM_AudioGetAVSyncInfo(benchmark::State& state) {
  IKelAudioInfo* a = Get().audio;
  GetterSideBySide<kel::_tagSyncStatistics>(
      state, [&](kel::_tagSyncStatistics* sync) { a->GetAVSyncInfo(sync, 7); });
}
BENCHMARK(BM_AudioGetAVSyncInfo)->MinTime(kMinSeconds);

void BM_VideoGetTxMediaInfo(benchmark::State& state) {
  IKelVideoInfo* v = Get().video;
  const bool reset = state.range(0) != 0;
  GetterSideBySide<kelStore::st_KelVideoTxStatisticsInfo>(
      state, [&](kelStore::st_KelVideoTxStatisticsInfo* tx) { v->GetTxMediaInfo(tx, reset); });
}
BENCHMARK(BM_VideoGetTxMediaInfo)->ArgName("reset")->Arg(0)->Arg(1)->MinTime(kMinSeconds);

// ---- registry ----

// One create and one release of a key that stays registered (another reference holds it).
void BM_CreateReleaseExistingKey(benchmark::State& state) {
  Get();
  bench::SideBySide(
      state, bench::Side("registry", [] {
        void* p = nullptr;
        kelStore::createMediastoresEntity(kelStore::KEL_MEDIASTORES_AUDIO, kCallId, &p);
        benchmark::DoNotOptimize(
            kelStore::releaseMediastoresEntity(kelStore::KEL_MEDIASTORES_AUDIO, kCallId, p));
      }));
}
BENCHMARK(BM_CreateReleaseExistingKey)->MinTime(kMinSeconds);

}  // namespace

BENCHMARK_MAIN();
