// Shared pieces of the configuration store, notification and helper tests.
#ifndef MEDIASTORES_TESTS_STORE_STORE_TEST_UTIL_H_
#define MEDIASTORES_TESTS_STORE_STORE_TEST_UTIL_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <mutex>
#include <string>

#include "mediaengine/mediastores/src/config/kel_config_registry.h"
#include "mediastores/mediastores.h"
#include "platform/text_formator.h"

namespace storetest {

// Every store test leaves the registry empty, so no test depends on another. (The clean-up and
// destroy entry tracers stop after 150 calls per process: the suite stays well below that.)
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
  std::lock_guard<std::mutex> lock(kelStore::g_mutex);
  auto entry = kelStore::g_mapConfigs.find(callId);
  return entry == kelStore::g_mapConfigs.end() ? -1 : entry->second.second;
}

// Whether the pointer index agrees with the registry: one index entry per registered store,
// leading to its entry.
inline bool RegistryIndexConsistent() {
  std::lock_guard<std::mutex> lock(kelStore::g_mutex);
  if (kelStore::g_mapConfigIds.size() != kelStore::g_mapConfigs.size()) return false;
  for (const auto& entry : kelStore::g_mapConfigs) {
    auto indexed = kelStore::g_mapConfigIds.find(
        static_cast<const kelStore::IKelConfig*>(entry.second.first.get()));
    if (indexed == kelStore::g_mapConfigIds.end() || indexed->second->first != entry.first) {
      return false;
    }
  }
  return true;
}

}  // namespace storetest

#endif  // MEDIASTORES_TESTS_STORE_STORE_TEST_UTIL_H_
