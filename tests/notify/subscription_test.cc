// Subscriptions, bindings and change notification as a store's clients see them, one thread at a
// time (worker threads only run the deliveries handed to them). Trace lines: see
// store/kel_config_store_test.cc.
#include <gtest/gtest.h>

#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/event_test_util.h"

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;
using eventtest::Flush;

constexpr uint32_t kCallId = 31;

// Collects deliveries from any thread: "name group/groupType: old -> new" ("-" for an empty old
// value), and the threads they ran on.
class Recorder {
 public:
  fnConfigChangedCallBack Callback() {
    return [this](const KelConfigEvent& e) {
      std::lock_guard<std::mutex> lock(mutex_);
      changes_.push_back(
          e.name + " " + std::to_string(e.group) + "/" + std::to_string(e.groupType) + ": " +
          (e.oldValue.IsValid() ? e.oldValue.ToString() : "-") + " -> " + e.newValue.ToString());
      threads_.insert(GetThreadSelfId());
    };
  }
  Lines Changes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return changes_;
  }
  std::set<uint64_t> Threads() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return threads_;
  }

 private:
  mutable std::mutex mutex_;
  Lines changes_;
  std::set<uint64_t> threads_;
};

ConfigData Answer(const KelConfigEvent&) {
  return ConfigData("answer");
}

class SubscriptionTest : public storetest::StoreTest {
 protected:
  void SetUp() override { ASSERT_EQ(CreateKelConfig(kCallId, &store_), KEL_S_OK); }
  IKelConfig* store_ = nullptr;
};

TEST_F(SubscriptionTest, NewSubscriberGetsTheCurrentValueThenEachChangeOnItsThread) {
  COxEventThread worker;
  enum How { kDirect, kSent, kPosted };
  for (How how : {kDirect, kSent, kPosted}) {
    for (bool keyHasValue : {true, false}) {
      const std::string key = "fps" + std::to_string(how) + (keyHasValue ? "set" : "unset");
      SCOPED_TRACE(key);
      if (keyHasValue) store_->SetKelConfig(kGroupVideo, key.c_str(), ConfigData(30));
      Recorder recorder;
      const SubscribeId_t id =
          store_->SubscribeConfig(kGroupVideo, key.c_str(), recorder.Callback(),
                                  how == kDirect ? nullptr : &worker, how == kPosted);
      Flush(worker);
      const std::string head = key + " 5/1: ";
      Lines expected = keyHasValue ? Lines{head + "- -> 30"} : Lines{};
      EXPECT_EQ(recorder.Changes(), expected);
      // Sent and direct deliveries are done when the set returns; a posted one is only queued.
      eventtest::Signal open;
      if (how == kPosted) eventtest::HoldQueue(worker, open);
      EXPECT_EQ(store_->SetKelConfig(kGroupVideo, key.c_str(), ConfigData(60)), KEL_S_OK);
      EXPECT_EQ(recorder.Changes().size(), expected.size() + (how == kPosted ? 0 : 1));
      open.Set();
      Flush(worker);
      expected.push_back(head + (keyHasValue ? "30" : "-") + " -> 60");
      EXPECT_EQ(recorder.Changes(), expected);
      EXPECT_EQ(recorder.Threads(),
                std::set<uint64_t>{how == kDirect ? GetThreadSelfId() : worker.GetThreadId()});
      EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);
    }
  }
}

TEST_F(SubscriptionTest, PostedChangeStillArrivesAfterItsSubscriptionIsGone) {
  Recorder recorder;
  eventtest::Signal open;  // outlives the worker
  {
    COxEventThread worker;
    const SubscribeId_t id =
        store_->SubscribeConfig(kGroupAudio, "codec", recorder.Callback(), &worker, true);
    eventtest::HoldQueue(worker, open);
    EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "codec", ConfigData("opus")), KEL_S_OK);
    EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);  // does not wait for the queued event
    EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "codec", ConfigData("g722")), KEL_E_NOOBSERVER);
    open.Set();
  }  // the worker runs what is queued before it stops
  EXPECT_EQ(recorder.Changes(), Lines{"codec 3/0: - -> opus"});
}

TEST_F(SubscriptionTest, SetResultsAndWhatSubscribersSee) {
  Recorder first;
  Recorder second;
  store_->SubscribeConfig(kGroupAudio, "rate", first.Callback());
  store_->SubscribeConfig(kGroupAudio, "rate", second.Callback());
  struct Step {
    ConfigData value;
    bool force;
    bool remove;
    int32_t result;
    const char* change;  // what both subscribers see ("-" for an empty old value), or null
    const char* stored;  // the value stored afterwards ("" for none)
  };
  const Step steps[] = {
      {ConfigData(48000), false, false, KEL_S_OK, "- -> 48000", "48000"},
      {ConfigData(48000), false, false, KEL_E_UNCHANGED, nullptr, "48000"},
      {ConfigData(int64_t{48000}), false, false, KEL_E_UNCHANGED, nullptr, "48000"},
      {ConfigData(48000), true, false, KEL_S_OK, "48000 -> 48000", "48000"},
      {ConfigData("48000"), false, false, KEL_S_OK, "48000 -> 48000", "48000"},  // text != number
      // A removal compares the removed value with the value passed in, and passes both on.
      {ConfigData("48000"), false, true, KEL_E_UNCHANGED, nullptr, ""},
      {ConfigData(8000), false, true, KEL_S_OK, "- -> 8000", ""},
      {ConfigData(8000), false, false, KEL_S_OK, "- -> 8000", "8000"},
      {ConfigData(1), false, true, KEL_S_OK, "8000 -> 1", ""},
  };
  Lines seen;
  for (const Step& step : steps) {
    SCOPED_TRACE(step.stored + std::string(" ") + (step.change ? step.change : ""));
    EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "rate", step.value, step.force, step.remove),
              step.result);
    if (step.change != nullptr) seen.push_back(std::string("rate 3/0: ") + step.change);
    EXPECT_EQ(first.Changes(), seen);
    EXPECT_EQ(second.Changes(), seen);
    ConfigData out("stale");
    EXPECT_EQ(store_->GetKelConfig(kGroupAudio, "rate", out),
              *step.stored != '\0' ? KEL_S_OK : KEL_E_BADSTATE);
    EXPECT_EQ(out.ToString(), step.stored);
  }
  // Nobody watches this key: stored all the same.
  EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "other", ConfigData(1)), KEL_E_NOOBSERVER);
  ConfigData out;
  EXPECT_EQ(store_->GetKelConfig(kGroupAudio, "other", out), KEL_S_OK);
}

TEST_F(SubscriptionTest, IdsAndRemoval) {
  Recorder recorder;
  // Ids count from 1 per store, shared by subscriptions and bindings; a refused binding uses one.
  EXPECT_EQ(store_->SubscribeConfig(kGroupVideo, "fps", recorder.Callback()), 1u);
  EXPECT_EQ(store_->BindConfig(kGroupTransmission, "mtu", Answer), 2u);
  EXPECT_EQ(store_->BindConfig(kGroupTransmission, "mtu", Answer), 0u);
  EXPECT_EQ(store_->SubscribeConfig(kGroupVideo, "fps", recorder.Callback()), 4u);
  for (SubscribeId_t id : {1, 2, 4})
    EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);
  // Gone: nobody told or asked, and the ids are refused from now on.
  EXPECT_EQ(store_->SetKelConfig(kGroupVideo, "fps", ConfigData(25)), KEL_E_NOOBSERVER);
  ConfigData untouched("caller's");
  EXPECT_EQ(store_->GetDynamicConfig(kGroupTransmission, "mtu", untouched), KEL_E_NOOBSERVER);
  EXPECT_EQ(untouched, ConfigData("caller's"));
  EXPECT_EQ(store_->UnsubscribeConfig(1), KEL_E_BADSTATE);
  EXPECT_TRUE(recorder.Changes().empty());
  EXPECT_EQ(store_->BindConfig(kGroupTransmission, "mtu", Answer), 5u);  // the key is free again
  IKelConfig* other = nullptr;
  ASSERT_EQ(CreateKelConfig(kCallId + 1, &other), KEL_S_OK);
  EXPECT_EQ(other->SubscribeConfig(kGroupVideo, "fps", recorder.Callback()), 1u);
}

TEST_F(SubscriptionTest, ProviderAnswersDynamicReadsAndSubscribersOnlyChanges) {
  store_->SetKelConfig(kGroupAudioSi, "level", ConfigData(5));  // never consulted by the read
  std::vector<KelConfigEvent> asked;
  std::vector<uint64_t> askedOn;
  Recorder recorder;
  store_->SubscribeConfig(kGroupAudioSi, "level", recorder.Callback());
  store_->BindConfig(kGroupAudioSi, "level", [&](const KelConfigEvent& e) {
    asked.push_back(e);
    askedOn.push_back(GetThreadSelfId());
    return ConfigData("provided:" + e.defaultValue.ToString());
  });
  ConfigData value;
  EXPECT_EQ(store_->GetDynamicConfig(kGroupAudioSi, "level", value, ConfigData(7)), KEL_S_OK);
  EXPECT_EQ(value, ConfigData("provided:7"));
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_EQ(asked[0].name, "level");
  EXPECT_FALSE(asked[0].oldValue.IsValid() || asked[0].newValue.IsValid());
  EXPECT_EQ(asked[0].defaultValue, ConfigData(7));
  EXPECT_EQ(asked[0].group, kGroupAudioSi);
  EXPECT_EQ(asked[0].groupType, 14u);
  EXPECT_EQ(askedOn, std::vector<uint64_t>{GetThreadSelfId()});
  // A change reaches the subscriber only; its first delivery was the initial one.
  EXPECT_EQ(store_->SetKelConfig(kGroupAudioSi, "level", ConfigData(6)), KEL_S_OK);
  EXPECT_EQ(recorder.Changes(), (Lines{"level 9/14: - -> 5", "level 9/14: 5 -> 6"}));
  EXPECT_EQ(asked.size(), 1u);

  // One provider per key and group, whoever asks.
  IKelConfig* sameStore = nullptr;
  ASSERT_EQ(CreateKelConfig(kCallId, &sameStore), KEL_S_OK);
  EXPECT_EQ(sameStore->BindConfig(kGroupAudioSi, "level", Answer), 0u);
}

}  // namespace
}  // namespace kelStore
