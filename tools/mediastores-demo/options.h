// Command line of mediastores-demo.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_OPTIONS_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_OPTIONS_H_

#include <cstdint>
#include <string>

namespace msdemo {

struct DemoOptions {
  uint32_t calls = 1;
  uint32_t seconds = 5;
  bool quiet = false;      // no per-second tables
  bool dump = false;       // print each call's configuration at the end
  std::string configPath;  // empty: the embedded default document
};

enum class ParseOutcome { kRun, kHelp, kError };

// Reads argv into `options`; on kError `error` says what is wrong.
ParseOutcome ParseDemoOptions(int argc, char** argv, DemoOptions* options, std::string* error);

void PrintDemoHelp();

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_OPTIONS_H_
