// Subscriptions, bindings and change notification as a store's clients see them. (The lines:
// store/kel_config_store_test.cc.)
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/store/store_test_util.h"
#include "tests/support/event_test_util.h"

namespace kelStore {
namespace {

using Lines = std::vector<std::string>;

// An event as "name group/groupType: old -> new" ("-" for an empty old value), and "(default)"
// when it carries one.
std::string Describe(const KelConfigEvent& e) {
  return e.name + " " + std::to_string(e.group) + "/" + std::to_string(e.groupType) + ": " +
         (e.oldValue.IsValid() ? e.oldValue.ToString() : "-") + " -> " + e.newValue.ToString() +
         (e.defaultValue.IsValid() ? " (" + e.defaultValue.ToString() + ")" : "");
}

// Collects deliveries and the threads they ran on (workers deliver while the test waits).
struct Recorder {
  fnConfigChangedCallBack Callback() {
    return [this](const KelConfigEvent& e) {
      changes.push_back(Describe(e));
      threads.insert(GetThreadSelfId());
    };
  }
  Lines changes;
  std::set<uint64_t> threads;
};

class SubscriptionTest : public storetest::StoreTest {
 protected:
  void SetUp() override { ASSERT_EQ(CreateKelConfig(31, &store_), KEL_S_OK); }
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
      eventtest::Flush(worker);
      Lines expected = keyHasValue ? Lines{key + " 5/1: - -> 30"} : Lines{};
      EXPECT_EQ(recorder.changes, expected);
      // Sent and direct deliveries are done when the set returns; a posted one is only queued,
      // and still arrives after its subscription is gone (the removal does not wait for it).
      eventtest::Signal open;
      if (how == kPosted) eventtest::HoldQueue(worker, open);
      EXPECT_EQ(store_->SetKelConfig(kGroupVideo, key.c_str(), ConfigData(60)), KEL_S_OK);
      EXPECT_EQ(recorder.changes.size(), expected.size() + (how == kPosted ? 0 : 1));
      EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);
      EXPECT_EQ(store_->SetKelConfig(kGroupVideo, key.c_str(), ConfigData(90)), KEL_E_NOOBSERVER);
      open.Set();
      eventtest::Flush(worker);
      expected.push_back(key + " 5/1: " + (keyHasValue ? "30" : "-") + " -> 60");
      EXPECT_EQ(recorder.changes, expected);
      EXPECT_EQ(recorder.threads,
                std::set<uint64_t>{how == kDirect ? GetThreadSelfId() : worker.GetThreadId()});
    }
  }
}

// One set tells subscribers of every kind the same, whatever kind came before them in the list:
// the posted ones share one copy of the event, which must not take it from those told after.
TEST_F(SubscriptionTest, OneSetTellsEveryKindOfSubscriberTheSame) {
  COxEventThread worker;
  Recorder recorders[4];
  AOxThread* const threads[] = {&worker, nullptr, &worker, &worker};
  const bool posted[] = {true, false, false, true};
  for (int i = 0; i < 4; ++i) {
    store_->SubscribeConfig(kGroupVideo, "resolution", recorders[i].Callback(), threads[i],
                            posted[i]);
  }
  EXPECT_EQ(store_->SetKelConfig(kGroupVideo, "resolution", ConfigData("1920x1080 at 60 fps")),
            KEL_S_OK);
  eventtest::Flush(worker);
  for (Recorder& recorder : recorders)
    EXPECT_EQ(recorder.changes, Lines{"resolution 5/1: - -> 1920x1080 at 60 fps"});
}

TEST_F(SubscriptionTest, SubscriberAddedDuringADeliveryMissesIt) {
  Recorder late;
  store_->SubscribeConfig(kGroupAudio, "gain", [&](const KelConfigEvent& e) {
    if (e.newValue == ConfigData(2)) store_->SubscribeConfig(kGroupAudio, "gain", late.Callback());
  });
  store_->SetKelConfig(kGroupAudio, "gain", ConfigData(1));
  EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "gain", ConfigData(2)), KEL_S_OK);
  EXPECT_EQ(late.changes, Lines{"gain 3/0: - -> 2"});  // its first value, not "1 -> 2"
}

TEST_F(SubscriptionTest, SetResultsAndWhatSubscribersSee) {
  // Ten subscribers, told in registration order (past the inline size of the walk's copy).
  Recorder recorders[10];
  std::vector<int> order;
  for (int i = 0; i < 10; ++i) {
    store_->SubscribeConfig(kGroupAudio, "rate",
                            [&, i, record = recorders[i].Callback()](const KelConfigEvent& e) {
                              order.push_back(i);
                              record(e);
                            });
  }
  // Value, forced, removal, result, what every subscriber sees (null: nothing), value after.
  // clang-format off
  struct Step { ConfigData value; bool force, remove; int32_t result; const char *change, *stored; };
  // clang-format on
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
    SCOPED_TRACE(&step - steps);
    EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "rate", step.value, step.force, step.remove),
              step.result);
    if (step.change != nullptr) seen.push_back(std::string("rate 3/0: ") + step.change);
    for (Recorder& recorder : recorders)
      EXPECT_EQ(recorder.changes, seen);
    ConfigData out("stale");
    EXPECT_EQ(store_->GetKelConfig(kGroupAudio, "rate", out),
              *step.stored != '\0' ? KEL_S_OK : KEL_E_BADSTATE);
    EXPECT_EQ(out.ToString(), step.stored);
  }
  std::vector<int> inOrder;
  for (size_t i = 0; i < 10 * seen.size(); ++i)
    inOrder.push_back(static_cast<int>(i % 10));
  EXPECT_EQ(order, inOrder);
  EXPECT_EQ(store_->SetKelConfig(kGroupAudio, "other", ConfigData(1)), KEL_E_NOOBSERVER);
  ConfigData out;  // stored all the same
  EXPECT_EQ(store_->GetKelConfig(kGroupAudio, "other", out), KEL_S_OK);
}

TEST_F(SubscriptionTest, ProvidersIdsAndRemoval) {
  store_->SetKelConfig(kGroupAudioSi, "level", ConfigData(5));  // never consulted by a read
  Recorder recorder;
  Lines asked;  // providers run on the reading thread
  EXPECT_EQ(store_->SubscribeConfig(kGroupAudioSi, "level", recorder.Callback()), 1u);
  EXPECT_EQ(store_->BindConfig(kGroupAudioSi, "level",
                               [&](const KelConfigEvent& e) {
                                 asked.push_back(Describe(e));
                                 return ConfigData("provided:" + e.defaultValue.ToString());
                               }),
            2u);
  // One provider per key and group, whoever asks; ids count from 1 per store, shared by
  // subscriptions and bindings, and a refused binding uses one up.
  const auto answer = [](const KelConfigEvent&) { return ConfigData("answer"); };
  IKelConfig* same = nullptr;
  ASSERT_EQ(CreateKelConfig(31, &same), KEL_S_OK);
  EXPECT_EQ(same->BindConfig(kGroupAudioSi, "level", answer), 0u);
  EXPECT_EQ(store_->SubscribeConfig(kGroupVideo, "fps", recorder.Callback()), 4u);
  ConfigData value;
  EXPECT_EQ(store_->GetDynamicConfig(kGroupAudioSi, "level", value, ConfigData(7)), KEL_S_OK);
  EXPECT_EQ(value, ConfigData("provided:7"));
  EXPECT_EQ(asked, Lines{"level 9/14: - ->  (7)"});
  // A change reaches the subscriber only; its first delivery was the initial one.
  EXPECT_EQ(store_->SetKelConfig(kGroupAudioSi, "level", ConfigData(6)), KEL_S_OK);
  EXPECT_EQ(recorder.changes, (Lines{"level 9/14: - -> 5", "level 9/14: 5 -> 6"}));
  // Removed: nobody told or asked, the ids refused from now on, the key free again.
  for (SubscribeId_t id : {1, 2, 4})
    EXPECT_EQ(store_->UnsubscribeConfig(id), KEL_S_OK);
  EXPECT_EQ(store_->UnsubscribeConfig(1), KEL_E_BADSTATE);
  EXPECT_EQ(store_->SetKelConfig(kGroupAudioSi, "level", ConfigData(7)), KEL_E_NOOBSERVER);
  ConfigData untouched("caller's");
  EXPECT_EQ(store_->GetDynamicConfig(kGroupAudioSi, "level", untouched), KEL_E_NOOBSERVER);
  EXPECT_EQ(untouched, ConfigData("caller's"));
  EXPECT_EQ(asked.size() + recorder.changes.size(), 3u);
  EXPECT_EQ(store_->BindConfig(kGroupAudioSi, "level", answer), 5u);
  IKelConfig* other = nullptr;
  ASSERT_EQ(CreateKelConfig(32, &other), KEL_S_OK);
  EXPECT_EQ(other->SubscribeConfig(kGroupVideo, "fps", recorder.Callback()), 1u);
}

}  // namespace
}  // namespace kelStore
