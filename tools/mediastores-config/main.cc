// mediastores-config: checks, normalizes and compares configuration documents, and lists the
// feature toggles. See PrintToolHelp() for the commands and exit statuses.
#include <mediastores/trace.h>

#include <cstdio>
#include <string>

#include "tools/mediastores-config/commands.h"

int main(int argc, char** argv) {
  // The tool explains problems itself; the store's own trace lines would only repeat them.
  set_external_trace_mask(0xFFFFFFFFu);

  if (argc < 2) {
    std::fprintf(stderr,
                 "Usage: mediastores-config check|normalize|diff|toggles ... (see --help)\n");
    return msconfig::kExitTrouble;
  }
  const std::string command = argv[1];
  const msconfig::Args args(argv + 2, argv + argc);
  if (command == "--help" || command == "-h" || command == "help") {
    if (command == "help" && !args.empty()) {
      return msconfig::PrintCommandHelp(args[0]) ? msconfig::kExitOk : msconfig::kExitTrouble;
    }
    msconfig::PrintToolHelp();
    return msconfig::kExitOk;
  }
  if (command == "check") return msconfig::RunCheck(args);
  if (command == "normalize") return msconfig::RunNormalize(args);
  if (command == "diff") return msconfig::RunDiff(args);
  if (command == "toggles") return msconfig::RunToggles(args);
  std::fprintf(stderr, "mediastores-config: unknown command '%s' (see --help)\n", command.c_str());
  return msconfig::kExitTrouble;
}
