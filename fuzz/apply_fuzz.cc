// libFuzzer target: ApplyKelConfigs of arbitrary text on a store, checked against the store's walk
// of the text and through its dump (apply_fuzz_body.h). Built and run by fuzz/run.sh.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/apply_fuzz_body.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string failure = apply_fuzz::CheckOneInput(data, size);
  if (!failure.empty()) {
    std::fprintf(stderr, "apply_fuzz: %s\n", failure.c_str());
    std::abort();
  }
  return 0;
}
