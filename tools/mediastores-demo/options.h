// Command line of mediastores-demo.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_OPTIONS_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_OPTIONS_H_

#include <cstdint>
#include <string>

namespace msdemo {

struct DemoOptions {
  uint32_t calls = 1;
  uint32_t seconds = 5;
  uint32_t detail = 3;     // calls shown one by one; the rest are summed up
  bool quiet = false;      // no per-second tables (or per-second JSON lines)
  bool dump = false;       // print each call's configuration at the end
  bool json = false;       // one JSON object per line instead of the text table
  std::string configPath;  // empty: the embedded default document
  // --http: where the metrics, the recent figures and the dashboard are served; port 0 when
  // the demo serves nothing. The host is a numeric address, loopback unless --http-any.
  std::string httpHost;
  uint16_t httpPort = 0;
  bool httpAny = false;
};

enum class ParseOutcome { kRun, kHelp, kVersion, kError };

// Reads argv into `options` with getopt_long ("--calls 5", "--calls=5", "--" ends the options);
// on kError `error` names the option and says what is wrong. --seconds 0 (run until stopped)
// needs --http, and an --http address off the loopback needs --http-any.
ParseOutcome ParseDemoOptions(int argc, char** argv, DemoOptions* options, std::string* error);

void PrintDemoHelp();

// "mediastores-demo <version>".
void PrintDemoVersion();

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_OPTIONS_H_
