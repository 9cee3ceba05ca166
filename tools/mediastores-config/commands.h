// The commands of mediastores-config. Each takes the arguments after its name and returns the
// process exit status.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_COMMANDS_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_COMMANDS_H_

#include <string>
#include <vector>

namespace msconfig {

// Exit statuses shared by the commands.
enum ExitStatus {
  kExitOk = 0,       // check/normalize: taken as written; diff: no differences
  kExitProblem = 1,  // check/normalize: a document has a problem; diff: the documents differ
  kExitTrouble = 2,  // bad command line, unreadable file; diff: a document the store refuses
};

using Args = std::vector<std::string>;

int RunCheck(const Args& args);
int RunNormalize(const Args& args);
int RunDiff(const Args& args);
int RunToggles(const Args& args);

// Help texts: the whole tool, and each command.
void PrintToolHelp();
bool PrintCommandHelp(const std::string& command);

}  // namespace msconfig

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_COMMANDS_H_
