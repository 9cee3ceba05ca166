// Replays the JSON fuzz target's seed corpus (tests/json/corpus) through the target's checks, so
// every run of the suite covers what the fuzzer starts from and every regression input it found.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "fuzz/json_fuzz_body.h"

namespace {

TEST(JsonCorpusReplayTest, EverySeedPassesTheFuzzChecks) {
  const std::filesystem::path corpus =
      std::filesystem::path(MEDIASTORES_SOURCE_DIR) / "tests/json/corpus";
  ASSERT_TRUE(std::filesystem::is_directory(corpus)) << corpus;
  int replayed = 0;
  for (const auto& entry : std::filesystem::directory_iterator(corpus)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(
        json_fuzz::CheckOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), "")
        << entry.path().filename();
    ++replayed;
  }
  EXPECT_GE(replayed, 20);
}

}  // namespace
