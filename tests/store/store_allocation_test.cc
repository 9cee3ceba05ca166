// Heap use of the store's hot operations, counted by replacing the global allocation functions of
// this test program.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"

namespace {
// Allocations made by this thread while counting; -1 when not counting.
thread_local int t_allocations = -1;
}  // namespace

void* operator new(std::size_t size) {
  if (t_allocations >= 0) ++t_allocations;
  if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

template <typename Operation>
int AllocationsOf(Operation&& operation) {
  t_allocations = 0;
  operation();
  const int counted = t_allocations;
  t_allocations = -1;
  return counted;
}

TEST(StoreAllocationTest, ReadsAndRewritesDoNotAllocate) {
  kelStore::KelConfig store(3);
  const auto group = kelStore::kGroupVideo;
  const char* longName = "video.encoder.maxBitrateKbps";  // longer than any inline string
  ASSERT_EQ(store.SetKelConfig(group, longName, ConfigData(2500)), KEL_E_NOOBSERVER);
  ConfigData out("short text");
  EXPECT_EQ(AllocationsOf([&] { EXPECT_EQ(store.GetKelConfig(group, longName, out), KEL_S_OK); }),
            0);
  EXPECT_EQ(AllocationsOf([&] { store.GetKelConfig(group, "video.encoder.absentKey", out); }), 0);
  EXPECT_EQ(AllocationsOf([&] { store.SetKelConfig(group, longName, ConfigData(3000)); }), 0);
  EXPECT_EQ(AllocationsOf([&] { store.SetKelConfig(group, longName, ConfigData(3000)); }), 0);
  EXPECT_EQ(AllocationsOf([&] { store.RemoveKelConfig(group, longName); }), 0);
  // A new name costs its map node only.
  EXPECT_EQ(AllocationsOf([&] { store.SetKelConfig(group, "fps", ConfigData(30)); }), 1);
}

TEST(StoreAllocationTest, GroupsAreMadeOnFirstWriteOnly) {
  kelStore::KelConfig store(4);
  const auto group = kelStore::kGroupAudio;
  ConfigData out;
  // Reads and removals of a group never used find nothing and make nothing.
  EXPECT_EQ(AllocationsOf([&] {
              EXPECT_EQ(store.GetKelConfig(group, "rate", out), KEL_E_BADSTATE);
              EXPECT_EQ(store.GetDynamicConfig(group, "rate", out), KEL_E_NOOBSERVER);
              EXPECT_EQ(store.RemoveKelConfig(group, "rate"), KEL_S_OK);
              EXPECT_EQ(store.RemoveKelConfigByGroup(group), KEL_S_OK);
              EXPECT_EQ(store.SetKelConfig(group, "rate", ConfigData(1), false, true),
                        KEL_E_NOOBSERVER);
            }),
            0);
  // The first value of a group makes the group's parts and the value's node.
  EXPECT_EQ(AllocationsOf([&] { store.SetKelConfig(group, "rate", ConfigData(1)); }), 2);
  EXPECT_EQ(store.GetKelConfig(group, "rate", out), KEL_S_OK);
}

}  // namespace
