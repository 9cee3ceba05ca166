// Configuration store stress on three calls: eight threads set, read, read dynamically, subscribe
// (direct, sent, posted), bind and unsubscribe, while two more take and give back references and
// clean up. Calls 0 and 1 have a keeper; call 2 has none, so its store comes and goes. Checked:
// no lost or doubled notification, nothing reached after its removal returned (but a posted
// delivery already queued), registry counts that add up, no callback copy left.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/event_test_util.h"
#include "tests/support/stress_support.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

constexpr uint32_t kCallIds[] = {7101, 7102, 7103};
constexpr size_t kCalls = 3;
constexpr size_t kKept = 2;  // also the index of the recycled call
constexpr int kOpThreads = 8;
// Slots: three keys in three groups, one in a fourth; the kept calls' "codec"s have providers.
constexpr size_t kSlots = 10;

KelConfigGroup SlotGroup(size_t slot) {
  constexpr KelConfigGroup kGroups[] = {kGroupAudio, kGroupVideo, kGroupCommon, kGroupFeature};
  return kGroups[slot / 3];
}
const char* SlotKey(size_t slot) {
  return std::array{"bitrate", "fps", "codec"}[slot % 3];
}
bool HasFixedProvider(size_t call, size_t slot) {
  return call < kKept && slot % 3 == 2;
}
ConfigData SlotAnswer(size_t call, size_t slot) {
  return ConfigData("answer" + std::to_string(call * kSlots + slot));
}

enum class Mode { kDirect, kSent, kPosted, kProvider };

// One subscription or binding; kept until the end, as posted deliveries may still refer to it.
struct Watcher {
  Watcher(Mode m, size_t c, size_t s, IKelConfig* p) : mode(m), call(c), slot(s), store(p) {}
  const Mode mode;
  const size_t call, slot;
  IKelConfig* const store;
  SubscribeId_t id = 0;
  std::atomic<int> deliveries{0};
  std::atomic<bool> faulty{false};   // wrong key, group or thread, or reached after its removal
  std::atomic<bool> removed{false};  // its UnsubscribeConfig has returned
  std::atomic<bool> fenced{false};   // posted: the fence queued after its removal has run
};

class StoreStress : public storetest::StoreTest {
 protected:
  IKelConfig* Acquire(size_t call) {
    IKelConfig* store = nullptr;
    if (CreateKelConfig(kCallIds[call], &store) != KEL_S_OK) faults_.Add("create");
    if (call < kKept && keepers_[call] != nullptr && store != keepers_[call]) faults_.Add("keeper");
    return store;
  }
  void Release(IKelConfig* store) {
    if (ReleaseKelConfig(store) != KEL_S_OK) faults_.Add("release");
  }

  Watcher* Watch(IKelConfig* store, Mode mode, size_t call, size_t slot) {
    Watcher* w = nullptr;
    {
      std::lock_guard<std::mutex> lock(recordsMutex_);
      w = &records_.emplace_back(mode, call, slot, store);
    }
    COxEventThread* worker = mode == Mode::kSent || mode == Mode::kPosted ? Worker(w) : nullptr;
    const uint64_t on = worker == nullptr ? 0 : worker->GetThreadId();
    // Direct, sent and provided deliveries are waited for by the removal.
    auto check = [w, on, token = stresstest::LifeToken(&liveCallbacks_)](const KelConfigEvent& e) {
      w->faulty.store(w->faulty || e.name != SlotKey(w->slot) || e.group != SlotGroup(w->slot) ||
                      w->fenced || (w->mode != Mode::kPosted && w->removed) ||
                      (on != 0 && GetThreadSelfId() != on));
      w->deliveries.fetch_add(1);
    };
    if (mode == Mode::kProvider) {
      w->id = store->BindConfig(SlotGroup(slot), SlotKey(slot), [w, check](const auto& e) {
        check(e);
        return SlotAnswer(w->call, w->slot);
      });
    } else {
      w->id = store->SubscribeConfig(SlotGroup(slot), SlotKey(slot), check, worker,
                                     mode == Mode::kPosted);
      if (w->id == 0) faults_.Add("subscribe");
    }
    return w;
  }
  COxEventThread* Worker(const Watcher* w) { return workers_[w->slot % 2].get(); }
  void Unwatch(Watcher* w) {
    if (w->store->UnsubscribeConfig(w->id) != KEL_S_OK) faults_.Add("unsubscribe");
    w->removed.store(true);
    if (w->mode == Mode::kPosted) {
      Worker(w)->GetEventQueue()->PostEvent(new eventtest::FnEvent([w] { w->fenced = true; }), 128);
    }
  }
  void OpThread(int t, int batches);

  std::array<IKelConfig*, kCalls> keepers_{};
  // Before the workers: queued posted deliveries refer to the records and carry callback copies.
  std::atomic<int> liveCallbacks_{0};
  std::deque<Watcher> records_;
  std::mutex recordsMutex_;
  std::vector<std::unique_ptr<COxEventThread>> workers_;
  stresstest::FaultLog faults_;
  std::atomic<int> okSets_[kCalls][kSlots] = {};
  std::atomic<int> cleanUps_[kCalls] = {};
  std::atomic<int> opThreadsRunning_{kOpThreads};
};

void StoreStress::OpThread(int t, int batches) {
  std::minstd_rand rng(static_cast<unsigned>(1000 + t));
  long long sequence = 0;
  for (int batch = 0; batch < batches; ++batch) {
    // The recycled call in one batch out of eight, so that now and then nobody holds it.
    const size_t calls = (batch + t) % 8 == 0 ? kCalls : kKept;
    std::array<IKelConfig*, kCalls> stores{};
    for (size_t c = 0; c < calls; ++c) {
      if ((stores[c] = Acquire(c)) == nullptr) return;
    }
    std::vector<Watcher*> live;
    for (int op = 0; op < 40; ++op) {
      const unsigned r = rng() % 100;
      const size_t call = rng() % calls;
      const size_t slot = rng() % kSlots;
      IKelConfig* store = stores[call];
      const std::string fresh = std::to_string((t + 1) * 100000000LL + ++sequence);
      ConfigData out("untouched");
      if (r < 25) {
        // A new value is always a change; a kept call always has subscribers to tell.
        const int32_t result = store->SetKelConfig(SlotGroup(slot), SlotKey(slot),
                                                   ConfigData(fresh), r % 7 == 0, r < 4);
        if (result == KEL_S_OK) okSets_[call][slot].fetch_add(1);
        if (result != KEL_S_OK && !(call == kKept && result == KEL_E_NOOBSERVER)) {
          faults_.Add("set");
        }
      } else if (r < 40) {
        const int32_t result = store->GetKelConfig(SlotGroup(slot), SlotKey(slot), out);
        if ((result == KEL_S_OK) != out.IsValid()) faults_.Add("get");
      } else if (r < 55) {
        const int32_t result = store->GetDynamicConfig(SlotGroup(slot), SlotKey(slot), out);
        const bool answered = result == KEL_S_OK && out == SlotAnswer(call, slot);
        if (!answered && (HasFixedProvider(call, slot) || out != ConfigData("untouched"))) {
          faults_.Add("dynamic read");
        }
      } else if (r < 78 && live.size() < 4) {
        const Mode mode = r < 73 ? static_cast<Mode>(rng() % 3) : Mode::kProvider;
        Watcher* w = Watch(store, mode, call, slot);  // a provider may find the key taken
        if (w->id != 0) live.push_back(w);
      } else if (r < 92 && !live.empty()) {
        const size_t victim = rng() % live.size();
        Unwatch(live[victim]);
        live.erase(live.begin() + static_cast<std::ptrdiff_t>(victim));
      } else if (store->SetKelConfig(kGroupMetrics, fresh.c_str(), 1) != KEL_E_NOOBSERVER ||
                 store->RemoveKelConfigByGroup(kGroupMetrics) != KEL_S_OK) {
        faults_.Add("scratch");  // Metrics: scratch space that nobody watches
      }
    }
    for (Watcher* w : live)
      Unwatch(w);
    for (size_t c = 0; c < calls; ++c)
      Release(stores[c]);
  }
}

TEST_F(StoreStress, SetGetSubscribeBindAcrossCallsWhileStoresComeAndGo) {
  const int batches = stresstest::ScaledOps(800);  // per operating thread
  const int churnOps = stresstest::ScaledOps(5000);
  TraceCapture capture(0);  // errors only
  for (int i = 0; i < 2; ++i)
    workers_.push_back(std::make_unique<COxEventThread>());
  // The kept calls: a value, a subscriber of each mode and the fixed providers on every slot.
  std::vector<Watcher*> fixed;
  for (size_t c = 0; c < kKept; ++c) {
    ASSERT_NE(keepers_[c] = Acquire(c), nullptr);
    for (size_t s = 0; s < kSlots; ++s) {
      keepers_[c]->SetKelConfig(SlotGroup(s), SlotKey(s), ConfigData("-1"));
      for (Mode mode : {Mode::kDirect, Mode::kSent, Mode::kPosted, Mode::kProvider}) {
        if (mode != Mode::kProvider || HasFixedProvider(c, s)) {
          fixed.push_back(Watch(keepers_[c], mode, c, s));
        }
      }
    }
  }
  stresstest::RunTogether(kOpThreads + 2, [&](int t) {
    if (t < kOpThreads) {
      OpThread(t, batches);
      opThreadsRunning_.fetch_sub(1);
      return;
    }
    // Churn: references and clean-ups, on until the operating threads are done.
    std::minstd_rand rng(static_cast<unsigned>(t));
    std::vector<IKelConfig*> held;
    for (int op = 0; op < churnOps || opThreadsRunning_.load() > 0; ++op) {
      const unsigned r = rng() % 100;
      const size_t call = rng() % kCalls;
      if (r < 45 && held.size() < 2) {
        if (IKelConfig* store = Acquire(call)) held.push_back(store);
      } else if (r < 85 && !held.empty()) {
        Release(held.back());
        held.pop_back();
      } else {
        const int32_t result = CleanUpKelConfig(kCallIds[call]);
        if (result == KEL_S_OK) cleanUps_[call].fetch_add(1);
        if (result != KEL_S_OK && result != KEL_E_FAIL) faults_.Add("clean-up");
      }
      std::this_thread::yield();
    }
    for (IKelConfig* store : held)
      Release(store);
  });
  for (auto& worker : workers_)
    eventtest::Flush(*worker);  // every posted delivery has run
  EXPECT_EQ(faults_.Count(), 0) << faults_.Describe();

  for (const Watcher* w : fixed) {  // no lost or doubled notification
    if (w->mode != Mode::kProvider) {
      EXPECT_EQ(w->deliveries.load(), 1 + okSets_[w->call][w->slot].load())
          << kCallIds[w->call] << " " << SlotKey(w->slot) << " " << static_cast<int>(w->mode);
    }
  }
  // Registry counts: a kept call's keeper plus its own until its one clean-up; the recycled call
  // made again (each store takes one clean-up), registered at most with its own reference.
  for (size_t c = 0; c < kKept; ++c) {
    EXPECT_LE(cleanUps_[c].load(), 1);
    EXPECT_EQ(storetest::RegistryCount(kCallIds[c]), 2 - cleanUps_[c].load());
  }
  EXPECT_GT(cleanUps_[kKept].load(), 1) << "the recycled call's store was never made again";
  const int32_t recycled = storetest::RegistryCount(kCallIds[kKept]);
  EXPECT_TRUE(recycled == 1 || recycled == -1) << recycled;

  // Withdraw and give back everything: nobody reached late, no callback copy left.
  for (Watcher* w : fixed)
    Unwatch(w);
  workers_.clear();  // runs what is queued, then joins
  for (const Watcher& w : records_)
    EXPECT_FALSE(w.faulty.load()) << kCallIds[w.call] << " " << SlotKey(w.slot);
  EXPECT_EQ(liveCallbacks_.load(), 0);
  for (size_t c = 0; c < kCalls; ++c) {
    if (c < kKept) Release(keepers_[c]);
    if (storetest::RegistryCount(kCallIds[c]) != -1) {
      EXPECT_EQ(CleanUpKelConfig(kCallIds[c]), KEL_S_OK);
    }
  }
  EXPECT_EQ(GetKelConfigSizeForUT(), 0u);
  EXPECT_EQ(faults_.Count(), 0) << faults_.Describe();
  // The only errors are removals that met a delivery running on another thread.
  for (const std::string& line : capture.TextsAtLevel(0))
    EXPECT_NE(line.find(", Other thread remove itself when notification, "), std::string::npos);
}

}  // namespace
}  // namespace kelStore
