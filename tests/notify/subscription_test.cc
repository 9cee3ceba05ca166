// Subscriptions, bindings and change notification as a store's clients see them, one thread at a
// time (worker threads only run the deliveries handed to them).
#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "mediastores_internal.h"
#include "store/store_test_util.h"
#include "support/trace_capture.h"

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;
using storetest::PointerText;

constexpr uint32_t kCallId = 31;

// Runs a function on a worker's queue.
class FnEvent : public IOxEvent {
 public:
  explicit FnEvent(std::function<void()> fn) : fn_(std::move(fn)) {}
  int OnEventFire() override {
    fn_();
    return 0;
  }

 private:
  std::function<void()> fn_;
};

// Returns once everything posted to the worker before the call has run.
void Flush(COxEventThread& worker) {
  worker.GetEventQueue()->SendEvent(new FnEvent([] {}));
}

// Holds a worker's queue until opened.
class Gate {
 public:
  void Hold(COxEventThread& worker) {
    worker.GetEventQueue()->PostEvent(new FnEvent([this] {
                                        std::unique_lock<std::mutex> lock(mutex_);
                                        cv_.wait(lock, [this] { return open_; });
                                      }),
                                      128);
  }
  void Open() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      open_ = true;
    }
    cv_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable cv_;
  bool open_ = false;
};

// What one delivery brought, and where.
struct Delivery {
  std::string name;
  bool oldValid;
  std::string oldValue;
  std::string newValue;
  uint32_t group;
  uint32_t groupType;
  uint64_t thread;

  // "old -> new", with "-" for an empty old value.
  std::string Change() const { return (oldValid ? oldValue : "-") + " -> " + newValue; }
};

// Collects deliveries from any thread.
class Recorder {
 public:
  fnConfigChangedCallBack Callback() {
    return [this](const KelConfigEvent& e) {
      std::lock_guard<std::mutex> lock(mutex_);
      seen_.push_back(Delivery{e.name, e.oldValue.IsValid(), e.oldValue.ToString(),
                               e.newValue.ToString(), e.group, e.groupType, GetThreadSelfId()});
    };
  }
  std::vector<Delivery> Seen() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return seen_;
  }
  Lines Changes() const {
    Lines changes;
    for (const Delivery& d : Seen())
      changes.push_back(d.Change());
    return changes;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Delivery> seen_;
};

class SubscriptionTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(CreateKelConfig(kCallId, &store_), KEL_S_OK); }
  void TearDown() override { DestroyKelConfig(); }

  std::string Decoration() const { return storetest::StoreDecoration(kCallId, store_); }

  IKelConfig* store_ = nullptr;
};

enum class Delivered { kDirect, kSent, kPosted };

TEST_F(SubscriptionTest, NewSubscriberGetsTheCurrentValueThenEachChangeOnItsThread) {
  COxEventThread worker;
  struct Row {
    const char* what;
    Delivered how;
    bool keyHasValue;
  };
  const std::vector<Row> rows = {
      {"direct, set key", Delivered::kDirect, true},
      {"direct, unset key", Delivered::kDirect, false},
      {"sent, set key", Delivered::kSent, true},
      {"sent, unset key", Delivered::kSent, false},
      {"posted, set key", Delivered::kPosted, true},
      {"posted, unset key", Delivered::kPosted, false},
  };
  for (size_t i = 0; i < rows.size(); ++i) {
    const Row& row = rows[i];
    SCOPED_TRACE(row.what);
    const std::string key = "fps" + std::to_string(i);
    const bool onWorker = row.how != Delivered::kDirect;
    const uint64_t expectedThread = onWorker ? worker.GetThreadId() : GetThreadSelfId();
    if (row.keyHasValue) {
      ASSERT_EQ(store_->SetKelConfig(kGroupVideo, key.c_str(), ConfigData(30)), KEL_E_NOOBSERVER);
    }
    Recorder recorder;
    const SubscribeId_t id =
        store_->SubscribeConfig(kGroupVideo, key.c_str(), recorder.Callback(),
                                onWorker ? &worker : nullptr, row.how == Delivered::kPosted);
    ASSERT_NE(id, 0u);
    Flush(worker);
    const Lines initial = row.keyHasValue ? Lines{"- -> 30"} : Lines{};
    EXPECT_EQ(recorder.Changes(), initial);

    // A change: sent and direct deliveries are done when the set returns; a posted one is only
    // queued, so it waits behind a held queue.
    Gate gate;
    if (row.how == Delivered::kPosted) gate.Hold(worker);
    EXPECT_EQ(store_->SetKelConfig(kGroupVideo, key.c_str(), ConfigData(60)), KEL_S_OK);
    EXPECT_EQ(recorder.Seen().size(), initial.size() + (row.how == Delivered::kPosted ? 0 : 1));
    gate.Open();
    Flush(worker);

    Lines expected = initial;
    expected.push_back(row.keyHasValue ? "30 -> 60" : "- -> 60");
    EXPECT_EQ(recorder.Changes(), expected);
    for (const Delivery& d : recorder.Seen()) {
      EXPECT_EQ(d.name, key);
      EXPECT_EQ(d.group, kGroupVideo);
      EXPECT_EQ(d.groupType, 1u);
      EXPECT_EQ(d.thread, expectedThread);
    }
    EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);
  }
}

TEST_F(SubscriptionTest, PostedChangeStillArrivesAfterItsSubscriptionIsGone) {
  Recorder recorder;
  {
    COxEventThread worker;
    const SubscribeId_t id =
        store_->SubscribeConfig(kGroupAudio, "codec", recorder.Callback(), &worker, true);
    Gate gate;
    gate.Hold(worker);
    EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "codec", ConfigData("opus")), KEL_S_OK);
    EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);  // does not wait for the queued event
    EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "codec", ConfigData("g722")), KEL_E_NOOBSERVER);
    gate.Open();
  }  // the worker runs what is queued before it stops
  EXPECT_EQ(recorder.Changes(), Lines{"- -> opus"});
}

TEST_F(SubscriptionTest, SetResultsAndWhatSubscribersSee) {
  Recorder first;
  Recorder second;
  ASSERT_NE(store_->SubscribeConfig(kGroupAudio, "rate", first.Callback()), 0u);
  ASSERT_NE(store_->SubscribeConfig(kGroupAudio, "rate", second.Callback()), 0u);
  TraceCapture capture(2);
  const std::string change = "kelStore::KelConfig::fireEvents, Audio, rate, ";
  const std::string told = "kelStore::KelConfig::fireEvents, Audio, rate, nObservers=2";
  struct Step {
    ConfigData value;
    bool force;
    int32_t result;
    const char* seen;   // the change both subscribers see, or null
    const char* lines;  // the change line's middle part, or null when nothing is traced
  };
  const std::vector<Step> steps = {
      {ConfigData(48000), false, KEL_S_OK, "- -> 48000", " -> 48000, bForceNotify=0"},
      {ConfigData(48000), false, KEL_E_UNCHANGED, nullptr, nullptr},
      {ConfigData(int64_t{48000}), false, KEL_E_UNCHANGED, nullptr, nullptr},
      {ConfigData(48000), true, KEL_S_OK, "48000 -> 48000", "48000 -> 48000, bForceNotify=1"},
      {ConfigData("48000"), false, KEL_S_OK, "48000 -> 48000", "48000 -> 48000, bForceNotify=0"},
      {ConfigData(16000), false, KEL_S_OK, "48000 -> 16000", "48000 -> 16000, bForceNotify=0"},
  };
  Lines seen;
  for (size_t i = 0; i < steps.size(); ++i) {
    const Step& step = steps[i];
    SCOPED_TRACE(i);
    capture.Clear();
    EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "rate", step.value, step.force), step.result);
    if (step.seen != nullptr) seen.push_back(step.seen);
    EXPECT_EQ(first.Changes(), seen);
    EXPECT_EQ(second.Changes(), seen);
    const Lines lines = step.lines != nullptr
                            ? Lines{change + step.lines + Decoration(), told + Decoration()}
                            : Lines{};
    EXPECT_EQ(capture.Texts(), lines);
  }
  for (const Delivery& d : first.Seen()) {
    EXPECT_EQ(d.group, kGroupAudio);
    EXPECT_EQ(d.groupType, 0u);
  }
}

TEST_F(SubscriptionTest, IdsAreSharedByBothKindsAndGrowByOne) {
  Recorder recorder;
  const auto provider = [](const KelConfigEvent&) { return ConfigData(1); };
  EXPECT_EQ(store_->SubscribeConfig(kGroupVideo, "fps", recorder.Callback()), 1u);
  EXPECT_EQ(store_->BindConfig(kGroupVideo, "fps", provider), 2u);
  EXPECT_EQ(store_->SubscribeConfig(kGroupVideo, "fps", recorder.Callback()), 3u);
  EXPECT_EQ(store_->BindConfig(kGroupVideo, "fps", provider), 0u);  // a second provider: id 4 used
  EXPECT_EQ(store_->BindConfig(kGroupAudio, "fps", provider), 5u);  // another group, another key

  // Refused arguments use up no id.
  TraceCapture capture(0);
  const std::string refused = "Error parameters 0" + Decoration();
  const std::string refusedEmptyName = "Error parameters" + Decoration();
  struct Refusal {
    KelConfigGroup group;
    const char* name;
    bool withCallback;
    const std::string& text;
  };
  const std::vector<Refusal> refusals = {
      {kGroupLast, "fps", true, refused},
      {static_cast<KelConfigGroup>(0xFFFFFFFE), "fps", true, refused},
      {kGroupNone, "fps", true, refused},
      {kGroupVideo, nullptr, true, refused},
      {kGroupVideo, "fps", false, refused},
      {kGroupVideo, "", true, refusedEmptyName},
  };
  for (const Refusal& r : refusals) {
    SCOPED_TRACE(r.name != nullptr ? r.name : "(null)");
    capture.Clear();
    EXPECT_EQ(
        store_->SubscribeConfig(r.group, r.name, r.withCallback ? recorder.Callback() : nullptr),
        0u);
    EXPECT_EQ(store_->BindConfig(r.group, r.name,
                                 r.withCallback ? fnConfigInvokeCallBack(provider) : nullptr),
              0u);
    EXPECT_EQ(capture.Texts(), (Lines{"kelStore::KelConfig::subscribeConfig" + r.text,
                                      "kelStore::KelConfig::bindConfig" + r.text}));
  }
  EXPECT_EQ(store_->SubscribeConfig(kGroupCommon, "x", recorder.Callback()), 6u);

  // Ids count per store.
  IKelConfig* other = nullptr;
  ASSERT_EQ(CreateKelConfig(kCallId + 1, &other), KEL_S_OK);
  EXPECT_EQ(other->BindConfig(kGroupVideo, "fps", provider), 1u);
  EXPECT_EQ(recorder.Seen().size(), 0u);
}

TEST_F(SubscriptionTest, UnsubscribeStopsDeliveryAndRefusesTheSameIdTwice) {
  Recorder recorder;
  const SubscribeId_t subscription =
      store_->SubscribeConfig(kGroupVideo, "fps", recorder.Callback());
  const SubscribeId_t binding = store_->BindConfig(
      kGroupVideo, "fps", [](const KelConfigEvent&) { return ConfigData("answer"); });
  ASSERT_NE(subscription, 0u);
  ASSERT_NE(binding, 0u);

  EXPECT_EQ(store_->UnsubscribeConfig(subscription), KEL_S_OK);
  EXPECT_EQ(store_->SetKelConfig(kGroupVideo, "fps", ConfigData(25)), KEL_E_NOOBSERVER);
  EXPECT_TRUE(recorder.Seen().empty());
  ConfigData value;
  EXPECT_EQ(store_->GetDynamicConfig(kGroupVideo, "fps", value), KEL_S_OK);  // binding unaffected
  EXPECT_EQ(value, ConfigData("answer"));

  EXPECT_EQ(store_->UnsubscribeConfig(binding), KEL_S_OK);
  ConfigData untouched("caller's");
  EXPECT_EQ(store_->GetDynamicConfig(kGroupVideo, "fps", untouched), KEL_E_NOOBSERVER);
  EXPECT_EQ(untouched, ConfigData("caller's"));

  TraceCapture capture(2);
  for (SubscribeId_t id : {subscription, binding}) {
    EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_E_BADSTATE);
  }
  const std::string tail = ", Failed [this=" + PointerText(store_) + "]";
  EXPECT_EQ(
      capture.TextsAtLevel(0),
      (Lines{"kelStore::KelConfig::UnsubscribeConfig, id=" + std::to_string(subscription) + tail,
             "kelStore::KelConfig::UnsubscribeConfig, id=" + std::to_string(binding) + tail}));
  EXPECT_EQ(capture.Texts().size(), 2u);
  // The key takes a new provider once the old one is gone.
  EXPECT_EQ(store_->BindConfig(kGroupVideo, "fps",
                               [](const KelConfigEvent&) { return ConfigData("next"); }),
            binding + 1);
}

TEST_F(SubscriptionTest, ProviderAnswersDynamicReadsAndSubscribersOnlyChanges) {
  store_->SetKelConfig(kGroupAudioSi, "level", ConfigData(5));  // never consulted by the read
  std::vector<KelConfigEvent> asked;
  std::vector<uint64_t> askedOn;
  Recorder recorder;
  ASSERT_NE(store_->SubscribeConfig(kGroupAudioSi, "level", recorder.Callback()), 0u);
  const SubscribeId_t binding =
      store_->BindConfig(kGroupAudioSi, "level", [&](const KelConfigEvent& e) {
        asked.push_back(e);
        askedOn.push_back(GetThreadSelfId());
        return ConfigData("provided:" + e.defaultValue.ToString());
      });
  ASSERT_NE(binding, 0u);
  ASSERT_EQ(recorder.Changes(), Lines{"- -> 5"});  // the subscriber's own initial delivery

  TraceCapture capture(2);
  ConfigData value;
  EXPECT_EQ(store_->GetDynamicConfig(kGroupAudioSi, "level", value, ConfigData(7)), KEL_S_OK);
  EXPECT_EQ(value, ConfigData("provided:7"));
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_EQ(asked[0].name, "level");
  EXPECT_FALSE(asked[0].oldValue.IsValid());
  EXPECT_FALSE(asked[0].newValue.IsValid());
  EXPECT_EQ(asked[0].defaultValue, ConfigData(7));
  EXPECT_EQ(asked[0].group, kGroupAudioSi);
  EXPECT_EQ(asked[0].groupType, 14u);
  EXPECT_EQ(askedOn[0], GetThreadSelfId());
  EXPECT_EQ(capture.Texts(),
            Lines{"kelStore::KelConfig::invokeEvent, AudioSi, level" + Decoration()});
  EXPECT_EQ(recorder.Seen().size(), 1u);

  // A change reaches the subscriber only.
  capture.Clear();
  EXPECT_EQ(store_->SetKelConfig(kGroupAudioSi, "level", ConfigData(6)), KEL_S_OK);
  EXPECT_EQ(recorder.Changes(), (Lines{"- -> 5", "5 -> 6"}));
  EXPECT_EQ(asked.size(), 1u);
  EXPECT_EQ(capture.CountContaining("nObservers=1"), 1);

  // One provider per key and group, whoever asks.
  IKelConfig* sameStore = nullptr;
  ASSERT_EQ(CreateKelConfig(kCallId, &sameStore), KEL_S_OK);
  capture.Clear();
  EXPECT_EQ(sameStore->BindConfig(kGroupAudioSi, "level",
                                  [](const KelConfigEvent&) { return ConfigData("second"); }),
            0u);
  EXPECT_EQ(capture.Texts(),
            Lines{"kelStore::KelConfig::bindConfig, AudioSi, level, " +
                  std::to_string(binding + 1) + ", m_TotalObservers=2" + Decoration()});
  EXPECT_EQ(store_->GetDynamicConfig(kGroupAudioSi, "level", value), KEL_S_OK);
  EXPECT_EQ(value, ConfigData("provided:"));
  EXPECT_NE(store_->BindConfig(kGroupAudio, "level",
                               [](const KelConfigEvent&) { return ConfigData("audio"); }),
            0u);
  EXPECT_EQ(store_->GetDynamicConfig(kGroupAudio, "level", value), KEL_S_OK);
  EXPECT_EQ(value, ConfigData("audio"));
  EXPECT_EQ(asked.size(), 2u);
}

TEST_F(SubscriptionTest, SecondProviderSlippedIntoTheListIsCountedNotAsked) {
  int secondAsked = 0;
  ASSERT_NE(store_->BindConfig(kGroupVideo, "fps",
                               [](const KelConfigEvent&) { return ConfigData("first"); }),
            0u);
  // Only a list entry made behind the binding check can hold a second provider.
  auto second =
      std::make_shared<ConfigEventHandler>(fnConfigInvokeCallBack([&](const KelConfigEvent&) {
        ++secondAsked;
        return ConfigData("second");
      }));
  auto* store = static_cast<KelConfig*>(store_);
  ASSERT_EQ(store->Observers(kGroupVideo).Subscribe("fps", second, store, 0), KEL_S_OK);
  second->busyCount = 0;

  TraceCapture capture(2);
  ConfigData value;
  EXPECT_EQ(store_->GetDynamicConfig(kGroupVideo, "fps", value), KEL_S_OK);
  EXPECT_EQ(value, ConfigData("first"));
  EXPECT_EQ(secondAsked, 0);
  EXPECT_EQ(capture.TextsAtLevel(0),
            Lines{"kelStore::KelConfig::invokeEvent, Bind too much, , Video, fps, nCallees=2" +
                  Decoration()});
}

TEST_F(SubscriptionTest, BookkeepingLines) {
  COxEventThread worker;
  TraceCapture capture(2);
  Recorder recorder;
  const SubscribeId_t direct = store_->SubscribeConfig(kGroupVideo, "fps", recorder.Callback());
  const SubscribeId_t posted =
      store_->SubscribeConfig(kGroupVideo, "fps", recorder.Callback(), &worker, true);
  const SubscribeId_t sent =
      store_->SubscribeConfig(kGroupVideo, "fps", recorder.Callback(), &worker, false);
  const SubscribeId_t bound = store_->BindConfig(
      kGroupTransmission, "mtu", [](const KelConfigEvent&) { return ConfigData(1200); });
  for (SubscribeId_t id : {posted, bound, direct, sent}) {
    EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);
  }
  const std::string subscribe = "kelStore::KelConfig::subscribeConfig, Video, fps, ";
  const std::string unsubscribe = "kelStore::KelConfig::unsubscribeConfig, ";
  const std::string noThread = PointerText(static_cast<const void*>(nullptr));
  const std::string onWorker = PointerText(static_cast<AOxThread*>(&worker));
  const std::string d = Decoration();
  EXPECT_EQ(capture.Texts(),
            (Lines{subscribe + "1, m_TotalObservers=0, pRunThread=" + noThread + ", bAsync=0" + d,
                   subscribe + "2, m_TotalObservers=1, pRunThread=" + onWorker + ", bAsync=1" + d,
                   subscribe + "3, m_TotalObservers=2, pRunThread=" + onWorker + ", bAsync=0" + d,
                   "kelStore::KelConfig::bindConfig, Transmission, mtu, 4, m_TotalObservers=3" + d,
                   unsubscribe + "Video, fps, 2, m_TotalObservers=4" + d,
                   unsubscribe + "Transmission, mtu, 4, m_TotalObservers=3" + d,
                   unsubscribe + "Video, fps, 1, m_TotalObservers=2" + d,
                   unsubscribe + "Video, fps, 3, m_TotalObservers=1" + d}));
  EXPECT_EQ(capture.TextsAtLevel(2).size(), capture.Texts().size());
  EXPECT_TRUE(recorder.Seen().empty());
}

}  // namespace
}  // namespace kelStore
