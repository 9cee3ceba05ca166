// Replays the seed corpora of the configuration apply and bounds-checked routines fuzz targets
// (tests/apply/corpus, tests/saferoutines/corpus) through the targets' checks, so every run of
// the suite covers what the fuzzers start from and every regression input they found.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

#include "fuzz/apply_fuzz_body.h"
#include "fuzz/saferoutines_fuzz_body.h"

namespace {

struct Corpus {
  const char* folder;
  std::function<std::string(const uint8_t*, size_t)> check;
  int atLeast;
};

TEST(FuzzCorpusReplay, EverySeedPassesItsTargetsChecks) {
  const std::filesystem::path tests = std::filesystem::path(MEDIASTORES_SOURCE_DIR) / "tests";
  const Corpus corpora[] = {
      {"apply", apply_fuzz::CheckOneInput, 20},
      {"saferoutines", saferoutines_fuzz::CheckOneInput, 20},
  };
  for (const Corpus& corpus : corpora) {
    const std::filesystem::path folder = tests / corpus.folder / "corpus";
    ASSERT_TRUE(std::filesystem::is_directory(folder)) << folder;
    int replayed = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      std::ifstream in(entry.path(), std::ios::binary);
      const std::string bytes((std::istreambuf_iterator<char>(in)),
                              std::istreambuf_iterator<char>());
      EXPECT_EQ(corpus.check(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), "")
          << corpus.folder << "/" << entry.path().filename().string();
      ++replayed;
    }
    EXPECT_GE(replayed, corpus.atLeast) << corpus.folder;
  }
}

}  // namespace
