#include "mediaengine/mediastores/src/config/block_recycler.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace kelStore {
namespace {

// Blocks in use, by address: a block handed out while another holder still has it shows up
// here as an address that is already live.
class LiveBlocks {
 public:
  void* Take() {
    void* const block = BlockRecycler::Allocate();
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_live.insert(block).second) ++m_handedOutTwice;
    return block;
  }
  void Give(void* block) {
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_live.erase(block);
    }
    BlockRecycler::Free(block);
  }
  int HandedOutTwice() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_handedOutTwice;
  }

 private:
  std::mutex m_mutex;
  std::set<void*> m_live;
  int m_handedOutTwice = 0;
};

constexpr size_t kWords = BlockRecycler::kBlockBytes / sizeof(uint64_t);

void Fill(void* block, uint64_t serial) {
  auto* words = static_cast<uint64_t*>(block);
  for (size_t i = 0; i < kWords; ++i)
    words[i] = serial * 1000 + i;
}

bool Holds(const void* block, uint64_t serial) {
  const auto* words = static_cast<const uint64_t*>(block);
  for (size_t i = 0; i < kWords; ++i) {
    if (words[i] != serial * 1000 + i) return false;
  }
  return true;
}

// One thread makes blocks and another frees them, as with posted deliveries, while the freeing
// thread also makes and frees blocks of its own; then threads that end holding cached blocks
// give them back and a new thread takes them. No block is handed out twice, and each keeps what
// its holder wrote until freed.
TEST(BlockRecyclerTest, BlocksPassedBetweenThreadsAreNeverHandedOutTwice) {
  constexpr uint64_t kPassed = 20000;
  LiveBlocks live;
  std::mutex mutex;
  std::condition_variable ready;
  std::deque<std::pair<void*, uint64_t>> passed;
  int corrupted = 0;

  std::thread freeing([&] {
    std::vector<void*> own;
    for (uint64_t n = 0; n < kPassed; ++n) {
      std::unique_lock<std::mutex> lock(mutex);
      ready.wait(lock, [&] { return !passed.empty(); });
      const auto [block, serial] = passed.front();
      passed.pop_front();
      lock.unlock();
      if (!Holds(block, serial)) ++corrupted;
      live.Give(block);
      if (n % 3 == 0) own.push_back(live.Take());
      if (own.size() == 50) {
        for (void* mine : own)
          live.Give(mine);
        own.clear();
      }
    }
    for (void* mine : own)
      live.Give(mine);
  });
  for (uint64_t serial = 0; serial < kPassed; ++serial) {
    void* const block = live.Take();
    Fill(block, serial);
    {
      std::lock_guard<std::mutex> lock(mutex);
      passed.emplace_back(block, serial);
    }
    ready.notify_one();
  }
  freeing.join();

  // Threads that end with blocks in their caches (more than the shared stock keeps).
  std::vector<std::thread> ending;
  for (int t = 0; t < 8; ++t) {
    ending.emplace_back([&] {
      std::vector<void*> blocks;
      for (int n = 0; n < 100; ++n)
        blocks.push_back(live.Take());
      for (void* block : blocks)
        live.Give(block);
    });
  }
  for (std::thread& thread : ending)
    thread.join();
  std::thread([&] {
    std::vector<void*> blocks;
    for (uint64_t serial = 0; serial < 1000; ++serial) {
      blocks.push_back(live.Take());
      Fill(blocks.back(), serial);
    }
    for (uint64_t serial = 0; serial < 1000; ++serial) {
      if (!Holds(blocks[serial], serial)) ++corrupted;
      live.Give(blocks[serial]);
    }
  }).join();

  EXPECT_EQ(live.HandedOutTwice(), 0);
  EXPECT_EQ(corrupted, 0);
}

}  // namespace
}  // namespace kelStore
