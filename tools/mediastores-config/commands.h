// The commands of mediastores-config. Each reads its own options with getopt_long and returns the
// process exit status.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_COMMANDS_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_COMMANDS_H_

#include <string>

namespace msconfig {

// Exit statuses shared by the commands.
enum ExitStatus {
  kExitOk = 0,       // check/normalize: taken as written; diff: no differences
  kExitProblem = 1,  // check/normalize: a document has a problem; diff: the documents differ
  kExitTrouble = 2,  // bad command line, unreadable file; diff: a document the store refuses
};

// The whole program: the tool's own options (--help, --version), then the command with its
// options and operands.
int RunTool(int argc, char** argv);

// Help texts: the whole tool, and each command (false for an unknown command).
void PrintToolHelp();
bool PrintCommandHelp(const std::string& command);

}  // namespace msconfig

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_COMMANDS_H_
