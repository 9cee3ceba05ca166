// Replays the seed corpora of the configuration apply and bounds-checked routines fuzz targets
// (tests/apply/corpus, tests/saferoutines/corpus) through the targets' checks, so every run of
// the suite covers what the fuzzers start from and every regression input they found.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/apply_fuzz_body.h"
#include "fuzz/saferoutines_fuzz_body.h"

namespace {

TEST(FuzzCorpusReplay, EverySeedPassesItsTargetsChecks) {
  using Check = std::string (*)(const uint8_t*, size_t);
  const std::pair<const char*, Check> corpora[] = {
      {"apply", apply_fuzz::CheckOneInput}, {"saferoutines", saferoutines_fuzz::CheckOneInput}};
  for (const auto& [area, check] : corpora) {
    int replayed = 0;
    const auto folder = std::filesystem::path(MEDIASTORES_SOURCE_DIR) / "tests" / area / "corpus";
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
      std::ifstream in(file.path(), std::ios::binary);
      const std::string bytes((std::istreambuf_iterator<char>(in)), {});
      EXPECT_EQ(check(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), "")
          << file.path();
      ++replayed;
    }
    EXPECT_GE(replayed, 20) << area;
  }
}

}  // namespace
