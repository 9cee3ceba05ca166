// Shared pieces of the configuration store, notification and helper tests.
#ifndef MEDIASTORES_TESTS_STORE_STORE_TEST_UTIL_H_
#define MEDIASTORES_TESTS_STORE_STORE_TEST_UTIL_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "mediaengine/mediastores/src/config/kel_config_registry.h"
#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"
#include "platform/text_formator.h"

namespace kelStore {

// The tests' one way into a store's internals, for what the public operations cannot show: a
// second provider for a key (the binding refuses it), and the count of live subscriptions.
class KelConfigTestPeer {
 public:
  static void ListSecondProvider(KelConfig& store, KelConfigGroup group, const char* name,
                                 const ConfigEventHandler::Ptr& provider) {
    ASSERT_EQ(store.observers(group).Subscribe(name, provider, &store, 0), KEL_S_OK);
    provider->busy.Leave(0);  // the list marks a subscriber busy for its first notification
  }
  static uint32_t TotalObservers(const KelConfig& store) { return store.m_TotalObservers.load(); }
};

}  // namespace kelStore

namespace storetest {

// Every store test leaves the registry empty, so no test depends on another.
class StoreTest : public ::testing::Test {
 protected:
  void TearDown() override { kelStore::DestroyKelConfig(); }
};

// A pointer as trace lines print it.
inline std::string PointerText(const void* pointer) {
  char buffer[64];
  COxTextFormator text(buffer, sizeof(buffer));
  text << pointer;
  return std::string(buffer);
}

// " [cid=<id>] [this=<pointer>]", the decoration of a store's lines.
inline std::string StoreDecoration(uint32_t callId, const void* store) {
  return " [cid=" + std::to_string(callId) + "] [this=" + PointerText(store) + "]";
}

// The registry count of `callId`, -1 when the call has no entry.
inline int32_t RegistryCount(uint32_t callId) {
  return kelStore::GetKelConfigCountForUT(callId);
}

}  // namespace storetest

#endif  // MEDIASTORES_TESTS_STORE_STORE_TEST_UTIL_H_
