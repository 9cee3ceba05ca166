// libFuzzer target: memcpy_s, memset_s, strncpy_s and strnlen_s with fuzzed sizes and offsets
// inside one guarded buffer, with the checks of saferoutines_fuzz_body.h. Built and run by
// fuzz/run.sh.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/saferoutines_fuzz_body.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string failure = saferoutines_fuzz::CheckOneInput(data, size);
  if (!failure.empty()) {
    std::fprintf(stderr, "saferoutines_fuzz: %s\n", failure.c_str());
    std::abort();
  }
  return 0;
}
