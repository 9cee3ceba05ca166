// Configuration store stress across several calls: eight threads set, read, remove, read
// dynamically, subscribe (direct, sent and posted to two worker threads), bind and unsubscribe on
// a small key set of three calls, while two more threads take and give back references of the
// same calls and clean them up. Two calls are kept alive by the test for the whole run; the third
// has no keeper, so its store is made, cleaned up and destroyed again and again under the others.
//
// Checked at the end: every subscriber that lived through the run was told exactly once per set
// of its key that returned KEL_S_OK (plus its initial notification); nothing reached a
// subscriber or provider after its removal returned, except a posted delivery already queued;
// each key holds the last successful write (every key but one has a single writing thread, which
// knows its last write; the shared key holds the last write of one of its writers); the registry
// counts are what the creates, releases and clean-ups imply; every callback copy the library made
// is gone once everything is withdrawn, and every store is destroyed once its references are.
//
// Soak runs: MEDIASTORES_SOAK=1 multiplies the operation counts by 50 (MEDIASTORES_SOAK=<n>,
// n > 1, by n):
//   MEDIASTORES_SOAK=1 build/default/tests/reliability_tests --gtest_filter='StoreStress*'
//   MEDIASTORES_SOAK=1 ctest --preset default -R StoreStress
// Sanitized builds run half the operations.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_registry.h"
#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/event_test_util.h"
#include "tests/support/stress_support.h"
#include "tests/support/trace_capture.h"

namespace kelStore {
namespace {

using stresstest::FaultLog;
using stresstest::LifeToken;

constexpr uint32_t kCallIds[] = {7101, 7102, 7103};
constexpr size_t kCalls = 3;
constexpr size_t kRecycled = 2;  // the call without a keeper
constexpr int kOpThreads = 8;
constexpr int kChurnThreads = 2;
constexpr int kWorkers = 2;
constexpr int kBatch = 40;  // operations per held set of store references

// Slots 0-8: three keys in three groups, each written by one owning thread. Slot 9: written by
// every thread. "codec" has a provider for the whole run on the kept calls.
constexpr KelConfigGroup kGroups[] = {kGroupAudio, kGroupVideo, kGroupCommon};
constexpr const char* kKeys[] = {"bitrate", "fps", "codec"};
constexpr size_t kOwnedSlots = 9;
constexpr size_t kSlots = 10;
constexpr size_t kShared = 9;

KelConfigGroup SlotGroup(size_t slot) {
  return slot == kShared ? kGroupFeature : kGroups[slot / 3];
}
const char* SlotKey(size_t slot) {
  return slot == kShared ? "contended" : kKeys[slot % 3];
}
int SlotOwner(size_t call, size_t slot) {
  return static_cast<int>((call * kOwnedSlots + slot) % kOpThreads);
}
bool HasFixedProvider(size_t call, size_t slot) {
  return call != kRecycled && slot < kOwnedSlots && slot % 3 == 2;
}
ConfigData SlotAnswer(size_t call, size_t slot) {
  return ConfigData("answer" + std::to_string(call) + "." + std::to_string(slot));
}
std::string SlotName(size_t call, size_t slot) {
  return "call " + std::to_string(kCallIds[call]) + " " + SlotKey(slot) + "/" +
         std::to_string(SlotGroup(slot));
}

enum class Mode { kDirect, kSent, kPosted, kProvider };

// One subscription's or binding's record. Records outlive the workers, whose queues may still
// hold posted deliveries to them.
struct Watcher {
  Mode mode = Mode::kDirect;
  size_t call = 0;
  size_t slot = 0;
  int worker = 0;
  std::atomic<int> deliveries{0};
  std::atomic<int> faults{0};        // wrong key, group or thread
  std::atomic<int> late{0};          // reached against the removal rule
  std::atomic<bool> removed{false};  // its UnsubscribeConfig has returned
  std::atomic<bool> fenced{false};   // posted: the fence queued after the removal has run
};

class StoreStress : public storetest::StoreTest {
 protected:
  void SetUp() override { ASSERT_EQ(GetKelConfigSizeForUT(), 0u); }

  // Takes a reference of a call's store. The first set of "born" in a store reports that nobody
  // saw the key before (KEL_E_NOOBSERVER), every later one that it is unchanged, so the number
  // of stores ever made for the call can be counted.
  IKelConfig* Acquire(size_t call) {
    IKelConfig* store = nullptr;
    if (CreateKelConfig(kCallIds[call], &store) != KEL_S_OK || store == nullptr) {
      faults_.Add("create refused for " + std::to_string(kCallIds[call]));
      return nullptr;
    }
    if (call != kRecycled && keepers_[call] != nullptr && store != keepers_[call]) {
      faults_.Add("a kept call handed out another store");
    }
    const int32_t born = store->SetKelConfig(kGroupUnitTest, "born", ConfigData(1));
    if (born == KEL_E_NOOBSERVER) {
      births_[call].fetch_add(1);
    } else if (born != KEL_E_UNCHANGED) {
      faults_.Add("born set returned " + std::to_string(born));
    }
    return store;
  }

  void Release(IKelConfig* store) {
    if (store != nullptr && ReleaseKelConfig(store) != KEL_S_OK) faults_.Add("release refused");
  }

  Watcher* NewRecord() {
    std::lock_guard<std::mutex> lock(recordsMutex_);
    return &records_.emplace_back();
  }

  fnConfigChangedCallBack ChangeCallback(Watcher* w) {
    const uint64_t thread = w->mode == Mode::kDirect ? 0 : workers_[w->worker]->GetThreadId();
    return [w, thread, token = LifeToken(&liveCallbacks_)](const KelConfigEvent& e) {
      if (e.name != SlotKey(w->slot) || e.group != SlotGroup(w->slot) ||
          (thread != 0 && GetThreadSelfId() != thread)) {
        w->faults.fetch_add(1);
      }
      if (w->fenced.load()) w->late.fetch_add(1);  // posted after the removal's fence
      // Direct and sent: the removal must have waited for this delivery to end.
      if (w->mode != Mode::kPosted && w->removed.load()) w->late.fetch_add(1);
      w->deliveries.fetch_add(1);
    };
  }

  fnConfigInvokeCallBack ProvideCallback(Watcher* w) {
    return [w, token = LifeToken(&liveCallbacks_)](const KelConfigEvent& e) {
      if (e.name != SlotKey(w->slot) || e.group != SlotGroup(w->slot)) w->faults.fetch_add(1);
      if (w->removed.load()) w->late.fetch_add(1);
      w->deliveries.fetch_add(1);
      return SlotAnswer(w->call, w->slot);
    };
  }

  SubscribeId_t Subscribe(IKelConfig* store, Watcher* w) {
    if (w->mode == Mode::kProvider) {
      return store->BindConfig(SlotGroup(w->slot), SlotKey(w->slot), ProvideCallback(w));
    }
    AOxThread* thread = w->mode == Mode::kDirect ? nullptr : workers_[w->worker].get();
    return store->SubscribeConfig(SlotGroup(w->slot), SlotKey(w->slot), ChangeCallback(w), thread,
                                  w->mode == Mode::kPosted);
  }

  void Unsubscribe(IKelConfig* store, SubscribeId_t id, Watcher* w) {
    const int32_t result = store->UnsubscribeConfig(id);
    if (result != KEL_S_OK) faults_.Add("unsubscribe returned " + std::to_string(result));
    w->removed.store(true);
    if (w->mode == Mode::kPosted) {
      workers_[w->worker]->GetEventQueue()->PostEvent(
          new eventtest::FnEvent([w] { w->fenced.store(true); }), 128);
    }
  }

  // The set's result against what the caller knows: `changed` when the old value surely differs
  // (or the set is forced), `unchanged` when it surely equals; neither when the caller can't
  // tell. A set of a kept call always has the slot's fixed subscribers to tell.
  void CheckSet(size_t call, size_t slot, int32_t result, bool changed, bool unchanged) {
    if (result == KEL_S_OK) okSets_[call][slot].fetch_add(1);
    bool expected = false;
    if (changed) {
      expected = result == KEL_S_OK || (call == kRecycled && result == KEL_E_NOOBSERVER);
    } else if (unchanged) {
      expected = result == KEL_E_UNCHANGED;
    } else {
      expected = result == KEL_S_OK || result == KEL_E_UNCHANGED ||
                 (call == kRecycled && result == KEL_E_NOOBSERVER);
    }
    if (!expected) {
      faults_.Add("set of " + SlotName(call, slot) + " returned " + std::to_string(result));
    }
  }

  void ReadDynamic(IKelConfig* store, size_t call, size_t slot) {
    ConfigData value("untouched");
    const int32_t result = store->GetDynamicConfig(SlotGroup(slot), SlotKey(slot), value);
    const bool answered = result == KEL_S_OK && value == SlotAnswer(call, slot);
    const bool unanswered = result == KEL_E_NOOBSERVER && value == ConfigData("untouched");
    if (!(answered || (unanswered && !HasFixedProvider(call, slot)))) {
      faults_.Add("dynamic read of " + SlotName(call, slot) + " returned " +
                  std::to_string(result) + " " + value.ToString());
    }
  }

  // What an owning thread knows of its slot.
  struct Known {
    enum State { kUnknown, kAbsent, kPresent } state = kUnknown;
    long long value = 0;
  };

  void OpThread(int t, int batches);
  void ChurnThread(int t, int ops);

  std::array<IKelConfig*, kCalls> keepers_{};
  // Declared before the workers: posted deliveries still queued refer to the records and carry
  // callback copies that count themselves in liveCallbacks_.
  std::atomic<int> liveCallbacks_{0};
  std::deque<Watcher> records_;
  std::mutex recordsMutex_;                 // guards records_ and issued_
  std::set<SubscribeId_t> issued_[kCalls];  // ids the kept calls' stores handed out
  std::vector<std::unique_ptr<COxEventThread>> workers_;
  FaultLog faults_;
  std::atomic<int> okSets_[kCalls][kSlots] = {};
  std::atomic<int> births_[kCalls] = {};
  std::atomic<int> opThreadsRunning_{kOpThreads};
  std::atomic<int> cleanUpAttempts_[kCalls] = {};
  std::atomic<int> cleanUps_[kCalls] = {};
  // Filled by each thread as it ends.
  Known finalKnown_[kOpThreads][kCalls][kOwnedSlots];
  long long lastShared_[kOpThreads][kCalls] = {};
  bool wroteShared_[kOpThreads][kCalls] = {};
};

void StoreStress::OpThread(int t, int batches) {
  std::minstd_rand rng(static_cast<unsigned>(1000 + t));
  Known known[kCalls][kOwnedSlots];
  std::vector<std::pair<size_t, size_t>> owned;
  for (size_t c = 0; c < kCalls; ++c) {
    for (size_t s = 0; s < kOwnedSlots; ++s) {
      if (SlotOwner(c, s) == t) owned.emplace_back(c, s);
      // The kept calls' slots start with the value the test set.
      if (c != kRecycled) known[c][s] = {Known::kPresent, -1};
    }
  }
  long long sequence = 0;
  auto fresh = [&] { return static_cast<long long>(t + 1) * 100000000LL + ++sequence; };
  struct Live {
    IKelConfig* store;
    SubscribeId_t id;
    Watcher* w;
  };

  for (int batch = 0; batch < batches; ++batch) {
    // The call without a keeper is used in one batch out of eight, so that now and then nobody
    // holds it and a clean-up can destroy its store.
    const size_t calls = (batch + t) % 8 == 0 ? kCalls : kCalls - 1;
    std::array<IKelConfig*, kCalls> stores{};
    for (size_t c = 0; c < calls; ++c) {
      stores[c] = Acquire(c);
      if (stores[c] == nullptr) return;
    }
    // It may have been destroyed and made again since the thread last held it.
    for (Known& k : known[kRecycled])
      k = Known();
    std::vector<std::pair<size_t, size_t>> mine;
    for (const auto& cs : owned) {
      if (cs.first < calls) mine.push_back(cs);
    }
    std::vector<Live> live;

    for (int op = 0; op < kBatch; ++op) {
      unsigned r = rng() % 100;
      const size_t call = rng() % calls;
      const size_t slot = rng() % kSlots;
      IKelConfig* store = stores[call];
      if (r < 30 && mine.empty()) r = 30;
      if (r < 25) {
        // Set one of the thread's own slots; it knows the old value unless the store is new.
        const auto [c, s] = mine[rng() % mine.size()];
        Known& k = known[c][s];
        const unsigned kind = rng() % 10;
        const bool forced = kind == 1;
        const bool remove = kind == 2;
        const bool repeat = kind == 0 && k.state == Known::kPresent;
        const long long value = repeat ? k.value : fresh();
        const bool same = k.state == Known::kPresent && k.value == value;
        const int32_t result =
            stores[c]->SetKelConfig(SlotGroup(s), SlotKey(s), ConfigData(value), forced, remove);
        CheckSet(c, s, result, forced || (k.state != Known::kUnknown && !same), same && !forced);
        k = remove ? Known{Known::kAbsent, 0} : Known{Known::kPresent, value};
      } else if (r < 30) {
        const auto [c, s] = mine[rng() % mine.size()];
        if (stores[c]->RemoveKelConfig(SlotGroup(s), SlotKey(s)) != KEL_S_OK) {
          faults_.Add("remove refused");
        }
        known[c][s] = {Known::kAbsent, 0};
      } else if (r < 38) {
        const long long value = fresh();
        CheckSet(call, kShared,
                 store->SetKelConfig(SlotGroup(kShared), SlotKey(kShared), ConfigData(value)), true,
                 false);
        lastShared_[t][call] = value;
        wroteShared_[t][call] = true;
      } else if (r < 52) {
        ConfigData out;
        const int32_t result = store->GetKelConfig(SlotGroup(slot), SlotKey(slot), out);
        const bool mine = slot < kOwnedSlots && SlotOwner(call, slot) == t;
        const Known& k = mine ? known[call][slot] : Known();
        bool fine =
            (result == KEL_S_OK && out.IsValid()) || (result == KEL_E_BADSTATE && !out.IsValid());
        if (k.state == Known::kPresent) fine = result == KEL_S_OK && out == ConfigData(k.value);
        if (k.state == Known::kAbsent) fine = result == KEL_E_BADSTATE && !out.IsValid();
        if (!fine) {
          faults_.Add("get of " + SlotName(call, slot) + " returned " + std::to_string(result) +
                      " " + out.ToString());
        }
      } else if (r < 62) {
        ReadDynamic(store, call, slot);
      } else if (r < 80 && live.size() < 4) {
        Watcher* w = NewRecord();
        w->mode = r < 76 ? static_cast<Mode>(rng() % 3) : Mode::kProvider;
        w->call = call;
        w->slot = slot;
        w->worker = static_cast<int>(rng() % kWorkers);
        const SubscribeId_t id = Subscribe(store, w);
        if (w->mode != Mode::kProvider && id == 0) faults_.Add("subscribe refused");
        if (id != 0 && call != kRecycled) {  // ids count per store: the kept ones live on
          std::lock_guard<std::mutex> lock(recordsMutex_);
          if (!issued_[call].insert(id).second) faults_.Add("id issued twice");
        }
        // A binding is refused while another provider holds the key; always on fixed providers.
        if (w->mode == Mode::kProvider && id != 0 && HasFixedProvider(call, slot)) {
          faults_.Add("second provider accepted");
        }
        if (id != 0) live.push_back({store, id, w});
      } else if (r < 92 && !live.empty()) {
        const size_t victim = rng() % live.size();
        Unsubscribe(live[victim].store, live[victim].id, live[victim].w);
        live.erase(live.begin() + static_cast<std::ptrdiff_t>(victim));
      } else if (r < 98) {
        // Metrics is scratch space that nobody watches.
        const std::string key = "scratch." + std::to_string(t);
        if (store->SetKelConfig(kGroupMetrics, key.c_str(), ConfigData(fresh())) !=
            KEL_E_NOOBSERVER) {
          faults_.Add("scratch set");
        }
      } else if (store->RemoveKelConfigByGroup(kGroupMetrics) != KEL_S_OK) {
        faults_.Add("remove by group refused");
      }
    }
    for (const Live& l : live)
      Unsubscribe(l.store, l.id, l.w);
    for (size_t c = 0; c < calls; ++c)
      Release(stores[c]);
  }
  for (size_t c = 0; c < kCalls; ++c) {
    for (size_t s = 0; s < kOwnedSlots; ++s)
      finalKnown_[t][c][s] = known[c][s];
  }
}

void StoreStress::ChurnThread(int t, int ops) {
  std::minstd_rand rng(static_cast<unsigned>(2000 + t));
  std::vector<IKelConfig*> held;
  // At least `ops` operations, and on until the operating threads are done.
  for (int op = 0; op < ops || opThreadsRunning_.load() > 0; ++op) {
    const unsigned r = rng() % 100;
    const size_t call = rng() % kCalls;
    if (r < 45 && held.size() < 2) {
      if (IKelConfig* store = Acquire(call)) held.push_back(store);
    } else if (r < 85 && !held.empty()) {
      const size_t victim = rng() % held.size();
      Release(held[victim]);
      held.erase(held.begin() + static_cast<std::ptrdiff_t>(victim));
    } else {
      cleanUpAttempts_[call].fetch_add(1);
      const int32_t result = CleanUpKelConfig(kCallIds[call]);
      if (result == KEL_S_OK) {
        cleanUps_[call].fetch_add(1);
      } else if (result != KEL_E_FAIL) {
        faults_.Add("clean-up returned " + std::to_string(result));
      }
    }
    std::this_thread::yield();  // leave the operating threads most of the time
  }
  for (IKelConfig* store : held)
    Release(store);
}

TEST_F(StoreStress, SetGetSubscribeBindAcrossCallsWhileStoresComeAndGo) {
  const int batches = stresstest::ScaledOps(800, 2);  // per operating thread
  const int churnOps = stresstest::ScaledOps(5000, 2);
  TraceCapture capture(0);  // errors only

  for (int i = 0; i < kWorkers; ++i)
    workers_.push_back(std::make_unique<COxEventThread>());

  // The kept calls: a reference for the whole run, a value in every slot, then subscribers in
  // all three modes on every slot and a provider on every "codec".
  struct Fixed {
    IKelConfig* store;
    SubscribeId_t id;
    Watcher* w;
  };
  std::vector<Fixed> fixed;
  std::weak_ptr<KelConfig> keptStores[kCalls];
  for (size_t c = 0; c < kCalls; ++c) {
    if (c == kRecycled) continue;
    keepers_[c] = Acquire(c);
    ASSERT_NE(keepers_[c], nullptr);
    {
      std::lock_guard<std::mutex> lock(g_mutex);
      keptStores[c] = g_mapConfigs.at(kCallIds[c]).first;
    }
    for (size_t s = 0; s < kSlots; ++s) {
      ASSERT_EQ(keepers_[c]->SetKelConfig(SlotGroup(s), SlotKey(s), ConfigData(-1)),
                KEL_E_NOOBSERVER);
      for (Mode mode : {Mode::kDirect, Mode::kSent, Mode::kPosted, Mode::kProvider}) {
        if (mode == Mode::kProvider && !HasFixedProvider(c, s)) continue;
        Watcher* w = NewRecord();
        w->mode = mode;
        w->call = c;
        w->slot = s;
        w->worker = static_cast<int>((s + static_cast<size_t>(mode)) % kWorkers);
        const SubscribeId_t id = Subscribe(keepers_[c], w);
        ASSERT_NE(id, 0u);
        issued_[c].insert(id);
        fixed.push_back({keepers_[c], id, w});
      }
    }
  }

  std::vector<std::thread> threads;
  std::atomic<bool> go{false};
  for (int t = 0; t < kOpThreads; ++t) {
    threads.emplace_back([&, t] {
      while (!go.load())
        std::this_thread::yield();
      OpThread(t, batches);
      opThreadsRunning_.fetch_sub(1);
    });
  }
  for (int t = 0; t < kChurnThreads; ++t) {
    threads.emplace_back([&, t] {
      while (!go.load())
        std::this_thread::yield();
      ChurnThread(t, churnOps);
    });
  }
  go.store(true);
  for (std::thread& thread : threads)
    thread.join();
  for (auto& worker : workers_)
    eventtest::Flush(*worker);  // every posted delivery has run

  EXPECT_EQ(faults_.Count(), 0) << faults_.Describe();

  // No lost or doubled notification for the subscribers that lived through the run.
  int okTotal = 0;
  for (const Fixed& f : fixed) {
    if (f.w->mode == Mode::kProvider) continue;
    const int sets = okSets_[f.w->call][f.w->slot].load();
    okTotal += sets;
    EXPECT_EQ(f.w->deliveries.load(), 1 + sets)
        << SlotName(f.w->call, f.w->slot) << " mode " << static_cast<int>(f.w->mode);
  }
  EXPECT_GT(okTotal, 0);

  // Final values: the owner's last write (or nothing after its removal); the shared key holds
  // the last write of one of its writers.
  for (size_t c = 0; c < kCalls; ++c) {
    if (c == kRecycled) continue;
    for (size_t s = 0; s < kOwnedSlots; ++s) {
      const Known& k = finalKnown_[SlotOwner(c, s)][c][s];
      ConfigData out;
      const int32_t result = keepers_[c]->GetKelConfig(SlotGroup(s), SlotKey(s), out);
      if (k.state == Known::kPresent) {
        EXPECT_EQ(result, KEL_S_OK) << SlotName(c, s);
        EXPECT_EQ(out, ConfigData(k.value)) << SlotName(c, s);
      } else {
        EXPECT_EQ(result, KEL_E_BADSTATE) << SlotName(c, s);
      }
    }
    ConfigData shared;
    ASSERT_EQ(keepers_[c]->GetKelConfig(SlotGroup(kShared), SlotKey(kShared), shared), KEL_S_OK);
    bool isALastWrite = false;
    bool anyWrite = false;
    for (int t = 0; t < kOpThreads; ++t) {
      anyWrite |= wroteShared_[t][c];
      isALastWrite |= wroteShared_[t][c] && shared == ConfigData(lastShared_[t][c]);
    }
    EXPECT_TRUE(anyWrite ? isALastWrite : shared == ConfigData(-1)) << shared.ToString();
  }

  // Registry counts. A kept call: its keeper's reference, plus the call's own until its single
  // successful clean-up; one store ever. The other call: every store made was cleaned up and
  // destroyed, except the one still registered with only the call's own reference left.
  for (size_t c = 0; c < kCalls; ++c) {
    const int32_t count = storetest::RegistryCount(kCallIds[c]);
    const int cleanUps = cleanUps_[c].load();
    if (c != kRecycled) {
      EXPECT_EQ(births_[c].load(), 1) << kCallIds[c];
      EXPECT_EQ(cleanUps, cleanUpAttempts_[c].load() > 0 ? 1 : 0) << kCallIds[c];
      EXPECT_EQ(count, cleanUps == 0 ? 2 : 1) << kCallIds[c];
      continue;
    }
    const bool present = count != -1;
    EXPECT_GT(births_[c].load(), 1) << "the call's store was never made again";
    EXPECT_EQ(births_[c].load(), cleanUps + (present ? 1 : 0));
    if (present) {
      EXPECT_EQ(count, 1);
      std::lock_guard<std::mutex> lock(g_mutex);
      EXPECT_FALSE(g_mapConfigs.at(kCallIds[c]).first->IsCleaned());
    }
  }
  const bool recycledPresent = storetest::RegistryCount(kCallIds[kRecycled]) != -1;
  EXPECT_EQ(GetKelConfigSizeForUT(), 2u + (recycledPresent ? 1u : 0u));
  EXPECT_TRUE(storetest::RegistryIndexConsistent());

  // Withdraw everything: nothing is left watching or providing, and nobody was reached late.
  for (const Fixed& f : fixed)
    EXPECT_EQ(f.store->UnsubscribeConfig(f.id), KEL_S_OK);
  workers_.clear();  // runs what is queued, then joins
  int faulty = 0;
  int late = 0;
  for (const Watcher& w : records_) {
    faulty += w.faults.load() != 0 ? 1 : 0;
    late += w.late.load() != 0 ? 1 : 0;
  }
  EXPECT_EQ(faulty, 0) << "subscribers or providers given a wrong key, group or thread";
  EXPECT_EQ(late, 0) << "subscribers or providers reached after their removal returned";
  EXPECT_EQ(liveCallbacks_.load(), 0) << "callback copies still held after every removal";
  for (size_t c = 0; c < kCalls; ++c) {
    if (c == kRecycled) continue;
    for (size_t s = 0; s < kSlots; ++s) {
      EXPECT_EQ(keepers_[c]->SetKelConfig(SlotGroup(s), SlotKey(s), ConfigData("end"), true),
                KEL_E_NOOBSERVER);
      ConfigData value;
      EXPECT_EQ(keepers_[c]->GetDynamicConfig(SlotGroup(s), SlotKey(s), value), KEL_E_NOOBSERVER);
    }
  }

  // Giving the last references back destroys every store.
  for (size_t c = 0; c < kCalls; ++c) {
    if (c != kRecycled) {
      EXPECT_EQ(ReleaseKelConfig(keepers_[c]), KEL_S_OK);
      if (cleanUps_[c].load() == 0) {
        EXPECT_EQ(CleanUpKelConfig(kCallIds[c]), KEL_S_OK);
      }
      EXPECT_TRUE(keptStores[c].expired()) << kCallIds[c];
    } else if (recycledPresent) {
      EXPECT_EQ(CleanUpKelConfig(kCallIds[c]), KEL_S_OK);
    }
  }
  EXPECT_EQ(GetKelConfigSizeForUT(), 0u);
  // The only errors are removals that met a delivery running on another thread.
  for (const std::string& line : capture.TextsAtLevel(0)) {
    EXPECT_NE(line.find(", Other thread remove itself when notification, "), std::string::npos)
        << line;
  }
}

}  // namespace
}  // namespace kelStore
