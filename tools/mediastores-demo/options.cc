#include "tools/mediastores-demo/options.h"

#include <arpa/inet.h>
#include <getopt.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

// The version comes from the header generated from the project version.
#include "mediastores/version.h"

namespace msdemo {
namespace {

constexpr uint32_t kMaxCalls = 100000;
constexpr uint32_t kMaxSeconds = 86400;

// getopt_long values of the options without a short form.
enum LongOnly { kCalls = 256, kSeconds, kDetail, kConfig, kDump, kJson, kHttp, kHttpAny, kVersion };

const option kOptions[] = {
    {"calls", required_argument, nullptr, kCalls},
    {"seconds", required_argument, nullptr, kSeconds},
    {"detail", required_argument, nullptr, kDetail},
    {"config", required_argument, nullptr, kConfig},
    {"quiet", no_argument, nullptr, 'q'},
    {"dump", no_argument, nullptr, kDump},
    {"json", no_argument, nullptr, kJson},
    {"http", required_argument, nullptr, kHttp},
    {"http-any", no_argument, nullptr, kHttpAny},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, kVersion},
    {nullptr, 0, nullptr, 0},
};

// "--calls" for the option whose getopt_long value is `value`; "" when there is none.
std::string OptionName(int value) {
  for (const option* o = kOptions; o->name != nullptr; ++o) {
    if (o->val == value) return std::string("--") + o->name;
  }
  return "";
}

bool ParseCount(const char* text, uint32_t low, uint32_t high, uint32_t* out) {
  const std::string digits = text;
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) return false;
  errno = 0;
  const unsigned long long value = std::strtoull(text, nullptr, 10);
  if (errno != 0 || value < low || value > high) return false;
  *out = static_cast<uint32_t>(value);
  return true;
}

// "8080", "127.0.0.1:8080", "[::1]:8080" or "localhost:8080" into a numeric host and a port; a
// bare port is on 127.0.0.1.
bool ParseHttpAddress(const std::string& text, std::string* host, uint16_t* port) {
  std::string hostPart = "127.0.0.1";
  std::string portPart = text;
  if (!text.empty() && text[0] == '[') {
    const size_t close = text.find("]:");
    if (close == std::string::npos) return false;
    hostPart = text.substr(1, close - 1);
    portPart = text.substr(close + 2);
  } else if (text.find(':') != std::string::npos) {
    const size_t colon = text.rfind(':');
    hostPart = text.substr(0, colon);
    portPart = text.substr(colon + 1);
    if (hostPart == "localhost") hostPart = "127.0.0.1";
  }
  in_addr v4{};
  in6_addr v6{};
  const bool numeric =
      inet_pton(AF_INET, hostPart.c_str(), &v4) == 1 ||
      (hostPart.find(':') != std::string::npos && inet_pton(AF_INET6, hostPart.c_str(), &v6) == 1);
  uint32_t number = 0;
  if (!numeric || !ParseCount(portPart.c_str(), 1, 65535, &number)) return false;
  *host = hostPart;
  *port = static_cast<uint16_t>(number);
  return true;
}

// 127.0.0.0/8 and ::1 (also as ::ffff:127.x.y.z).
bool IsLoopback(const std::string& host) {
  in_addr v4{};
  if (inet_pton(AF_INET, host.c_str(), &v4) == 1) return (ntohl(v4.s_addr) >> 24) == 127;
  in6_addr v6{};
  if (inet_pton(AF_INET6, host.c_str(), &v6) != 1) return false;
  return IN6_IS_ADDR_LOOPBACK(&v6) || (IN6_IS_ADDR_V4MAPPED(&v6) && v6.s6_addr[12] == 127);
}

// What getopt_long refused: `arg` is the command-line word, `value` getopt's optopt.
std::string Refusal(const std::string& arg, int value) {
  if (arg.rfind("--", 0) != 0) {
    return "unknown argument -" + std::string(1, static_cast<char>(value));
  }
  const std::string name = arg.substr(0, arg.find('='));
  if (value != 0) return OptionName(value) + " takes no value";
  int matches = 0;
  for (const option* o = kOptions; o->name != nullptr; ++o) {
    if (std::strncmp(o->name, name.c_str() + 2, name.size() - 2) == 0) ++matches;
  }
  return (matches > 1 ? "ambiguous argument " : "unknown argument ") + name;
}

}  // namespace

ParseOutcome ParseDemoOptions(int argc, char** argv, DemoOptions* options, std::string* error) {
  opterr = 0;  // the messages are ours
  optind = 1;
  for (;;) {
    const int c = getopt_long(argc, argv, ":hq", kOptions, nullptr);
    if (c == -1) break;
    const std::string name = OptionName(c);
    auto count = [&](uint32_t low, uint32_t high, uint32_t* out) {
      if (ParseCount(optarg, low, high, out)) return true;
      *error = name + " takes a whole number from " + std::to_string(low) + " to " +
               std::to_string(high) + ", not '" + optarg + "'";
      return false;
    };
    switch (c) {
      case 'h':
        return ParseOutcome::kHelp;
      case kVersion:
        return ParseOutcome::kVersion;
      case 'q':
        options->quiet = true;
        break;
      case kDump:
        options->dump = true;
        break;
      case kJson:
        options->json = true;
        break;
      case kCalls:
        if (!count(1, kMaxCalls, &options->calls)) return ParseOutcome::kError;
        break;
      case kSeconds:
        if (!count(0, kMaxSeconds, &options->seconds)) return ParseOutcome::kError;
        break;
      case kDetail:
        if (!count(0, kMaxCalls, &options->detail)) return ParseOutcome::kError;
        break;
      case kConfig:
        if (*optarg == '\0') {
          *error = "--config needs a file name";
          return ParseOutcome::kError;
        }
        options->configPath = optarg;
        break;
      case kHttp:
        if (!ParseHttpAddress(optarg, &options->httpHost, &options->httpPort)) {
          *error = std::string("--http takes [ADDRESS:]PORT with a numeric address and a port ") +
                   "from 1 to 65535, not '" + optarg + "'";
          return ParseOutcome::kError;
        }
        break;
      case kHttpAny:
        options->httpAny = true;
        break;
      case ':':
        *error = OptionName(optopt) + " needs a value";
        return ParseOutcome::kError;
      default:
        *error = Refusal(argv[optind - 1], optopt);
        return ParseOutcome::kError;
    }
  }
  if (optind < argc) {
    *error = std::string("unexpected argument ") + argv[optind] + " (the demo takes no operands)";
    return ParseOutcome::kError;
  }
  if (options->seconds == 0 && options->httpPort == 0) {
    *error = "--seconds 0 (run until stopped) needs --http";
    return ParseOutcome::kError;
  }
  if (options->httpPort != 0 && !options->httpAny && !IsLoopback(options->httpHost)) {
    *error = "--http " + options->httpHost + " is not a loopback address; add --http-any to " +
             "serve other machines";
    return ParseOutcome::kError;
  }
  return ParseOutcome::kRun;
}

void PrintDemoHelp() {
  std::printf(
      "Usage: mediastores-demo [OPTION]...\n"
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
      "Options (values as --calls 5 or --calls=5; -- ends the options):\n"
      "  --calls N       number of simultaneous calls, 1 to %u (default 1)\n"
      "  --seconds S     how long the calls run, 1 to %u (default 5); 0 with --http runs\n"
      "                  until Ctrl-C or SIGTERM\n"
      "  --config FILE   configuration document to load instead of the embedded default\n"
      "                  (check one with: mediastores-config check FILE)\n"
      "  --detail N      calls shown one by one (default 3); the rest are summed up in one line\n"
      "  --json          one JSON object per line on standard output instead of the table:\n"
      "                  {\"type\":\"second\",\"second\":N,...} every second, with the totals and\n"
      "                  the shown calls' audio, video and per-layer figures, then\n"
      "                  {\"type\":\"summary\",...} with the summary and the registry check\n"
      "  -q, --quiet     no per-second tables (or per-second JSON lines); only the summary\n"
      "  --dump          print each call's configuration (DumpKelConfigs) at the end\n"
      "                  (with --json: in the summary object, as text)\n"
      "  --http [ADDRESS:]PORT\n"
      "                  while the calls run, serve over HTTP: /metrics (the Prometheus text\n"
      "                  exposition of every call's statistics, read without reset),\n"
      "                  /stats.json (the shown calls' last 120 per-second figures, as in the\n"
      "                  --json lines) and / (a live dashboard of them). ADDRESS is numeric\n"
      "                  (or localhost) and 127.0.0.1 when left out; it must be a loopback\n"
      "                  address unless --http-any is given too\n"
      "  --http-any      allow an --http address that other machines can reach\n"
      "  -h, --help      this text\n"
      "  --version       print the version and exit\n"
      "\n"
      "Ctrl-C (SIGINT) or SIGTERM ends the run early, also during set-up: the calls are shut\n"
      "down as at the normal end, and the summary and the registry check are still printed.\n"
      "A second Ctrl-C ends the program at once.\n"
      "\n"
      "While the calls are set up, a progress line is shown on standard error when it is a\n"
      "terminal. The last line gives the registries' sizes after shutdown; both must be 0.\n"
      "\n"
      "Exit status: 0 when the run (whole or stopped by a signal) ended with every store and\n"
      "statistics object released, 1 when something failed or was left behind, 2 for a bad\n"
      "command line or document.\n",
      kMaxCalls, kMaxSeconds);
}

void PrintDemoVersion() {
  std::printf("mediastores-demo %s\n", MEDIASTORES_VERSION_STRING);
}

}  // namespace msdemo
