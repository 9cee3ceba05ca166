// Configuration store stress across three calls: eight threads set, read, remove, read
// dynamically, subscribe (direct, sent and posted to two workers), bind and unsubscribe, while
// two more take and give back references and clean the calls up. Two calls have a keeper for the
// whole run; the third has none, so its store is made, cleaned up and destroyed again and again.
//
// Checked: each subscriber that lived through the run was told once per set of its key that
// returned KEL_S_OK (plus its initial value); nothing reached a subscriber or provider after its
// removal returned (a posted delivery already queued aside); each kept key holds its one writer's
// last write; the registry counts are what the creates, releases and clean-ups imply; every
// callback copy is gone once everything is withdrawn. MEDIASTORES_SOAK scales the run (see
// tests/support/stress_support.h).
#include <gtest/gtest.h>

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
constexpr size_t kKept = 2;  // calls 0 and 1 have a keeper, call 2 is recycled
constexpr int kOpThreads = 8;
constexpr int kWorkers = 2;
// Slots 0-8: three keys in three groups, each written by one thread; slot 9 by every thread.
// "codec" has a provider for the whole run on the kept calls.
constexpr size_t kOwnedSlots = 9;
constexpr size_t kSlots = 10;
constexpr size_t kShared = 9;

KelConfigGroup SlotGroup(size_t slot) {
  constexpr KelConfigGroup kGroups[] = {kGroupAudio, kGroupVideo, kGroupCommon};
  return slot == kShared ? kGroupFeature : kGroups[slot / 3];
}
const char* SlotKey(size_t slot) {
  constexpr const char* kKeys[] = {"bitrate", "fps", "codec"};
  return slot == kShared ? "contended" : kKeys[slot % 3];
}
int SlotOwner(size_t call, size_t slot) {
  return static_cast<int>((call * kOwnedSlots + slot) % kOpThreads);
}
bool HasFixedProvider(size_t call, size_t slot) {
  return call < kKept && slot < kOwnedSlots && slot % 3 == 2;
}
ConfigData SlotAnswer(size_t call, size_t slot) {
  return ConfigData("answer" + std::to_string(call) + "." + std::to_string(slot));
}

enum class Mode { kDirect, kSent, kPosted, kProvider };

// One subscription or binding. Records outlive the workers, whose queues may still hold posted
// deliveries to them.
struct Watcher {
  Watcher(Mode m, size_t c, size_t s, int k, IKelConfig* p)
      : mode(m), call(c), slot(s), worker(k), store(p) {}
  const Mode mode;
  const size_t call;
  const size_t slot;
  const int worker;
  IKelConfig* const store;
  SubscribeId_t id = 0;
  std::atomic<int> deliveries{0};
  std::atomic<bool> faulty{false};   // wrong key, group or thread, or reached too late
  std::atomic<bool> removed{false};  // its UnsubscribeConfig has returned
  std::atomic<bool> fenced{false};   // posted: the fence queued after the removal has run
};

class StoreStress : public storetest::StoreTest {
 protected:
  // Takes a reference. The first set of "born" in a store finds nobody (KEL_E_NOOBSERVER), every
  // later one an equal value: so the stores ever made for a call are counted.
  IKelConfig* Acquire(size_t call) {
    IKelConfig* store = nullptr;
    if (CreateKelConfig(kCallIds[call], &store) != KEL_S_OK) {
      Fault("create");
      return nullptr;
    }
    if (call < kKept && keepers_[call] != nullptr && store != keepers_[call]) Fault("other store");
    const int32_t born = store->SetKelConfig(kGroupUnitTest, "born", ConfigData(1));
    if (born == KEL_E_NOOBSERVER) births_[call].fetch_add(1);
    if (born != KEL_E_NOOBSERVER && born != KEL_E_UNCHANGED) Fault("born");
    return store;
  }
  void Release(IKelConfig* store) {
    if (ReleaseKelConfig(store) != KEL_S_OK) Fault("release");
  }
  void Fault(const std::string& what) { faults_.Add(what); }

  Watcher* Watch(IKelConfig* store, Mode mode, size_t call, size_t slot, int worker) {
    Watcher* w = nullptr;
    {
      std::lock_guard<std::mutex> lock(recordsMutex_);
      w = &records_.emplace_back(mode, call, slot, worker, store);
    }
    const stresstest::LifeToken token(&liveCallbacks_);
    auto check = [w](const KelConfigEvent& e) {
      if (e.name != SlotKey(w->slot) || e.group != SlotGroup(w->slot) || w->fenced.load() ||
          (w->mode != Mode::kPosted && w->removed.load())) {
        w->faulty.store(true);  // direct, sent and provided: the removal waits for them
      }
      w->deliveries.fetch_add(1);
    };
    if (mode == Mode::kProvider) {
      w->id = store->BindConfig(SlotGroup(slot), SlotKey(slot),
                                [w, check, token](const KelConfigEvent& e) {
                                  check(e);
                                  return SlotAnswer(w->call, w->slot);
                                });
      return w;
    }
    COxEventThread* thread = mode == Mode::kDirect ? nullptr : workers_[worker].get();
    const uint64_t on = thread == nullptr ? 0 : thread->GetThreadId();
    w->id = store->SubscribeConfig(
        SlotGroup(slot), SlotKey(slot),
        [w, check, token, on](const KelConfigEvent& e) {
          if (on != 0 && GetThreadSelfId() != on) w->faulty.store(true);
          check(e);
        },
        thread, mode == Mode::kPosted);
    if (w->id == 0) Fault("subscribe");
    return w;
  }
  void Unwatch(Watcher* w) {
    if (w->store->UnsubscribeConfig(w->id) != KEL_S_OK) Fault("unsubscribe");
    w->removed.store(true);
    if (w->mode == Mode::kPosted) {
      workers_[w->worker]->GetEventQueue()->PostEvent(
          new eventtest::FnEvent([w] { w->fenced.store(true); }), 128);
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
  std::atomic<int> births_[kCalls] = {};
  std::atomic<int> opThreadsRunning_{kOpThreads};
  std::atomic<int> cleanUps_[kCalls] = {};
  std::atomic<int> cleanUpAttempts_[kCalls] = {};
  // The owner's last write to each kept slot; "" after a removal. Filled as each thread ends.
  std::string lastWrite_[kKept][kOwnedSlots];
  std::string lastShared_[kOpThreads][kKept];
};

void StoreStress::OpThread(int t, int batches) {
  std::minstd_rand rng(static_cast<unsigned>(1000 + t));
  std::string mine[kCalls][kOwnedSlots];  // what the thread wrote last; "?" unknown, "" removed
  for (auto& slots : mine) {
    for (std::string& slot : slots)
      slot = "-1";  // the test's first value
  }
  long long sequence = 0;
  for (int batch = 0; batch < batches; ++batch) {
    // The recycled call in one batch out of eight, so that now and then nobody holds it.
    const size_t calls = (batch + t) % 8 == 0 ? kCalls : kKept;
    std::array<IKelConfig*, kCalls> stores{};
    for (size_t c = 0; c < calls; ++c) {
      if ((stores[c] = Acquire(c)) == nullptr) return;
    }
    for (std::string& slot : mine[kKept])
      slot = "?";  // it may have been made anew
    std::vector<Watcher*> live;
    for (int op = 0; op < 40; ++op) {
      const unsigned r = rng() % 100;
      const size_t call = rng() % calls;
      const size_t slot = rng() % kSlots;
      IKelConfig* store = stores[call];
      const bool owned = slot < kOwnedSlots && SlotOwner(call, slot) == t;
      const std::string fresh = std::to_string((t + 1) * 100000000LL + ++sequence);
      if (r < 30 && (owned || slot == kShared)) {
        // A new value is always a change; the kept calls always have subscribers to tell.
        const bool remove = owned && r < 5;
        const int32_t result = store->SetKelConfig(SlotGroup(slot), SlotKey(slot),
                                                   ConfigData(fresh), r % 7 == 0, remove);
        if (result == KEL_S_OK) okSets_[call][slot].fetch_add(1);
        if (result != KEL_S_OK && !(call == kKept && result == KEL_E_NOOBSERVER)) Fault("set");
        if (owned) mine[call][slot] = remove ? "" : fresh;
        if (slot == kShared && call < kKept) lastShared_[t][call] = fresh;
      } else if (r < 35 && owned) {
        if (store->RemoveKelConfig(SlotGroup(slot), SlotKey(slot)) != KEL_S_OK) Fault("remove");
        mine[call][slot] = "";
      } else if (r < 50) {
        ConfigData out;
        const int32_t result = store->GetKelConfig(SlotGroup(slot), SlotKey(slot), out);
        const std::string known = owned ? mine[call][slot] : "?";
        const bool fine = known == "?"
                              ? (result == KEL_S_OK) == out.IsValid()
                              : out.ToString() == known && (result == KEL_S_OK) == !known.empty();
        if (!fine || (result != KEL_S_OK && result != KEL_E_BADSTATE)) Fault("get");
      } else if (r < 60) {
        ConfigData value("untouched");
        const int32_t result = store->GetDynamicConfig(SlotGroup(slot), SlotKey(slot), value);
        const bool answered = result == KEL_S_OK && value == SlotAnswer(call, slot);
        const bool unanswered = result == KEL_E_NOOBSERVER && value == ConfigData("untouched");
        if (!answered && !(unanswered && !HasFixedProvider(call, slot))) Fault("dynamic read");
      } else if (r < 80 && live.size() < 4) {
        const Mode mode = r < 76 ? static_cast<Mode>(rng() % 3) : Mode::kProvider;
        Watcher* w = Watch(store, mode, call, slot, static_cast<int>(rng() % kWorkers));
        // A second provider is refused; the fixed ones are always there.
        if (w->id != 0 && mode == Mode::kProvider && HasFixedProvider(call, slot)) Fault("bind");
        if (w->id != 0) live.push_back(w);
      } else if (r < 92 && !live.empty()) {
        const size_t victim = rng() % live.size();
        Unwatch(live[victim]);
        live.erase(live.begin() + static_cast<std::ptrdiff_t>(victim));
      } else if (r < 98) {  // Metrics: scratch space that nobody watches
        const std::string key = "scratch." + std::to_string(t);
        if (store->SetKelConfig(kGroupMetrics, key.c_str(), ConfigData(fresh)) !=
            KEL_E_NOOBSERVER) {
          Fault("scratch");
        }
      } else if (store->RemoveKelConfigByGroup(kGroupMetrics) != KEL_S_OK) {
        Fault("remove group");
      }
    }
    for (Watcher* w : live)
      Unwatch(w);
    for (size_t c = 0; c < calls; ++c)
      Release(stores[c]);
  }
  for (size_t c = 0; c < kKept; ++c) {
    for (size_t s = 0; s < kOwnedSlots; ++s) {
      if (SlotOwner(c, s) == t) lastWrite_[c][s] = mine[c][s];
    }
  }
}

TEST_F(StoreStress, SetGetSubscribeBindAcrossCallsWhileStoresComeAndGo) {
  const int batches = stresstest::ScaledOps(800, 2);  // per operating thread
  const int churnOps = stresstest::ScaledOps(5000, 2);
  TraceCapture capture(0);  // errors only
  for (int i = 0; i < kWorkers; ++i)
    workers_.push_back(std::make_unique<COxEventThread>());
  // The kept calls: a value in every slot, subscribers in all three modes on every slot, and a
  // provider on every "codec".
  std::vector<Watcher*> fixed;
  for (size_t c = 0; c < kKept; ++c) {
    ASSERT_NE(keepers_[c] = Acquire(c), nullptr);
    for (size_t s = 0; s < kSlots; ++s) {
      keepers_[c]->SetKelConfig(SlotGroup(s), SlotKey(s), ConfigData("-1"));
      for (Mode mode : {Mode::kDirect, Mode::kSent, Mode::kPosted, Mode::kProvider}) {
        if (mode != Mode::kProvider || HasFixedProvider(c, s)) {
          fixed.push_back(Watch(keepers_[c], mode, c, s, static_cast<int>(s % kWorkers)));
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
    std::minstd_rand rng(static_cast<unsigned>(2000 + t));
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
        cleanUpAttempts_[call].fetch_add(1);
        const int32_t result = CleanUpKelConfig(kCallIds[call]);
        if (result == KEL_S_OK) cleanUps_[call].fetch_add(1);
        if (result != KEL_S_OK && result != KEL_E_FAIL) Fault("clean-up");
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
          << kCallIds[w->call] << " " << SlotKey(w->slot) << " mode " << static_cast<int>(w->mode);
    }
  }
  for (size_t c = 0; c < kKept; ++c) {  // final values
    for (size_t s = 0; s < kSlots; ++s) {
      ConfigData out;
      keepers_[c]->GetKelConfig(SlotGroup(s), SlotKey(s), out);
      bool lastWrite =
          s < kOwnedSlots ? out.ToString() == lastWrite_[c][s] : out == ConfigData("-1");
      for (int t = 0; t < kOpThreads && s == kShared; ++t)
        lastWrite |= !lastShared_[t][c].empty() && out.ToString() == lastShared_[t][c];
      EXPECT_TRUE(lastWrite) << SlotKey(s) << " holds " << out.ToString();
    }
  }
  // Registry counts. A kept call: one store ever, its keeper's reference plus the call's own until
  // its one successful clean-up. The recycled call: every store made was cleaned up and destroyed,
  // but the one still registered with only the call's own reference.
  for (size_t c = 0; c < kKept; ++c) {
    EXPECT_EQ(births_[c].load(), 1);
    EXPECT_EQ(cleanUps_[c].load(), cleanUpAttempts_[c].load() > 0 ? 1 : 0);
    EXPECT_EQ(storetest::RegistryCount(kCallIds[c]), cleanUps_[c].load() == 0 ? 2 : 1);
  }
  const int32_t recycled = storetest::RegistryCount(kCallIds[kKept]);
  EXPECT_GT(births_[kKept].load(), 1) << "the recycled call's store was never made again";
  EXPECT_EQ(births_[kKept].load(), cleanUps_[kKept].load() + (recycled == 1 ? 1 : 0));
  EXPECT_TRUE(recycled == 1 || recycled == -1) << recycled;

  // Withdraw and give back everything: nobody was reached late, no callback copy is left, and
  // every store still registered takes its clean-up.
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
