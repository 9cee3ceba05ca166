// Runs a built program in a child process and captures what it wrote, for the tools' tests.
#ifndef MEDIASTORES_TESTS_TOOLS_TOOL_RUNNER_H_
#define MEDIASTORES_TESTS_TOOLS_TOOL_RUNNER_H_

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

extern char** environ;

namespace toolstest {

// A scratch directory, removed with everything in it.
class ScratchDir {
 public:
  ScratchDir() {
    char pattern[] = "/tmp/mediastores-tools-XXXXXX";
    if (mkdtemp(pattern) != nullptr) path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  std::string Path(const std::string& name) const { return path_ + "/" + name; }
  // Writes `content` to a file of the directory and returns its path.
  std::string Write(const std::string& name, const std::string& content) const {
    std::ofstream(Path(name), std::ios::binary) << content;
    return Path(name);
  }

 private:
  std::string path_;
};

struct ToolRun {
  int exitCode = -1;  // -1 when the program could not be run or ended by a signal
  std::string out;
  std::string err;
};

// Runs `program` with `args`, without input, standard output and error going to files, and
// waits for it.
inline ToolRun RunTool(const std::string& program, const std::vector<std::string>& args) {
  const ScratchDir dir;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, dir.Path("out").c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, dir.Path("err").c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  std::vector<std::string> argv = {program};
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<char*> raw;
  for (std::string& arg : argv)
    raw.push_back(arg.data());
  raw.push_back(nullptr);
  int status = -1;
  pid_t pid = 0;
  if (posix_spawn(&pid, program.c_str(), &actions, nullptr, raw.data(), environ) != 0 ||
      waitpid(pid, &status, 0) != pid) {
    status = -1;
  }
  posix_spawn_file_actions_destroy(&actions);
  const auto read = [&dir](const char* name) {
    std::ostringstream text;
    text << std::ifstream(dir.Path(name), std::ios::binary).rdbuf();
    return text.str();
  };
  return {status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1, read("out"), read("err")};
}

// The lines of a text, without their line ends.
inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

}  // namespace toolstest

#endif  // MEDIASTORES_TESTS_TOOLS_TOOL_RUNNER_H_
