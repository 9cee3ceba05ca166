// libFuzzer target: json::Deserialize on arbitrary bytes, then json::Serialize of the result,
// with the checks of json_fuzz_body.h. Built and run by fuzz/run.sh.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/json_fuzz_body.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string failure = json_fuzz::CheckOneInput(data, size);
  if (!failure.empty()) {
    std::fprintf(stderr, "json_fuzz: %s\n", failure.c_str());
    std::abort();
  }
  return 0;
}
