#include "tools/mediastores-demo/options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace msdemo {
namespace {

constexpr uint32_t kMaxCalls = 100000;
constexpr uint32_t kMaxSeconds = 86400;

bool ParseCount(const std::string& text, uint32_t low, uint32_t high, uint32_t* out) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return false;
  errno = 0;
  const unsigned long long value = std::strtoull(text.c_str(), nullptr, 10);
  if (errno != 0 || value < low || value > high) return false;
  *out = static_cast<uint32_t>(value);
  return true;
}

}  // namespace

ParseOutcome ParseDemoOptions(int argc, char** argv, DemoOptions* options, std::string* error) {
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    std::string value;
    bool hasValue = false;
    if (const size_t eq = arg.find('='); arg.rfind("--", 0) == 0 && eq != std::string::npos) {
      value = arg.substr(eq + 1);
      arg = arg.substr(0, eq);
      hasValue = true;
    }
    auto takeValue = [&]() {
      if (hasValue) return true;
      if (i + 1 >= argc) {
        *error = arg + " needs a value";
        return false;
      }
      value = argv[++i];
      return true;
    };
    if (arg == "--help" || arg == "-h") return ParseOutcome::kHelp;
    if (arg == "--quiet" || arg == "-q") {
      options->quiet = true;
    } else if (arg == "--dump") {
      options->dump = true;
    } else if (arg == "--calls") {
      if (!takeValue()) return ParseOutcome::kError;
      if (!ParseCount(value, 1, kMaxCalls, &options->calls)) {
        *error = "--calls takes a whole number from 1 to " + std::to_string(kMaxCalls);
        return ParseOutcome::kError;
      }
    } else if (arg == "--seconds") {
      if (!takeValue()) return ParseOutcome::kError;
      if (!ParseCount(value, 1, kMaxSeconds, &options->seconds)) {
        *error = "--seconds takes a whole number from 1 to " + std::to_string(kMaxSeconds);
        return ParseOutcome::kError;
      }
    } else if (arg == "--config") {
      if (!takeValue()) return ParseOutcome::kError;
      if (value.empty()) {
        *error = "--config needs a file name";
        return ParseOutcome::kError;
      }
      options->configPath = value;
    } else {
      *error = "unknown argument " + std::string(argv[i]);
      return ParseOutcome::kError;
    }
  }
  return ParseOutcome::kRun;
}

void PrintDemoHelp() {
  std::printf(
      "Usage: mediastores-demo [--calls N] [--seconds S] [--config FILE] [--quiet] [--dump]\n"
      "\n"
      "Simulates live calls in one process the way a media engine uses libmediastores. Each\n"
      "call has an application, a transport, an audio and a video module, each with its own\n"
      "KelConfigHelper. The application module loads the configuration document into the\n"
      "call's store; the modules subscribe to keys (directly, posted to a shared worker thread,\n"
      "or sent and waited for), the transport module answers the dynamic key\n"
      "AvailableBandwidthKbps, and a controller changes rates, frame rates, feature toggles and\n"
      "asks for key frames while audio and video pipeline threads write statistics. Every\n"
      "second a reporter reads the statistics (resetting what it reports) and prints a table.\n"
      "\n"
      "Options:\n"
      "  --calls N       number of simultaneous calls (default 1)\n"
      "  --seconds S     how long the calls run (default 5)\n"
      "  --config FILE   configuration document to load instead of the embedded default\n"
      "                  (check one with: mediastores-config check FILE)\n"
      "  --quiet         no per-second tables; only the summary\n"
      "  --dump          print each call's configuration (DumpKelConfigs) at the end\n"
      "  --help          this text\n"
      "\n"
      "With many calls the table shows the first calls and one aggregate line for the rest.\n"
      "The last line gives the registries' sizes after shutdown; both must be 0.\n"
      "\n"
      "Exit status: 0 when the run ended with every store and statistics object released,\n"
      "1 when something failed or was left behind, 2 for a bad command line or document.\n");
}

}  // namespace msdemo
