// Runs a built program in a child process and captures what it wrote, for the tools' tests.
#ifndef MEDIASTORES_TESTS_TOOLS_TOOL_RUNNER_H_
#define MEDIASTORES_TESTS_TOOLS_TOOL_RUNNER_H_

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace toolstest {

// A scratch directory, removed with everything written into it.
class ScratchDir {
 public:
  ScratchDir() {
    char pattern[] = "/tmp/mediastores-tools-XXXXXX";
    const char* made = mkdtemp(pattern);
    path_ = made != nullptr ? made : "/tmp";
  }
  ~ScratchDir() {
    for (const std::string& file : files_)
      std::remove(file.c_str());
    rmdir(path_.c_str());
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  // Writes `content` to a file of the directory and returns its path.
  std::string Write(const std::string& name, const std::string& content) {
    const std::string file = Path(name);
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }
  // The path of a file of the directory (removed at the end).
  std::string Path(const std::string& name) {
    const std::string file = path_ + "/" + name;
    files_.push_back(file);
    return file;
  }

 private:
  std::string path_;
  std::vector<std::string> files_;
};

struct ToolRun {
  int exitCode = -1;  // -1 when the program could not be run or did not exit normally
  std::string out;
  std::string err;
};

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Runs `program` with `args`, standard output and error going to files, and waits for it.
inline ToolRun RunTool(const std::string& program, const std::vector<std::string>& args) {
  ScratchDir dir;
  const std::string outPath = dir.Path("out");
  const std::string errPath = dir.Path("err");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0600);
  posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0600);
  std::vector<std::string> argv = {program};
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<char*> raw;
  for (std::string& arg : argv)
    raw.push_back(arg.data());
  raw.push_back(nullptr);
  ToolRun run;
  pid_t pid = 0;
  if (posix_spawn(&pid, program.c_str(), &actions, nullptr, raw.data(), environ) == 0) {
    int status = 0;
    if (waitpid(pid, &status, 0) == pid && WIFEXITED(status)) run.exitCode = WEXITSTATUS(status);
  }
  posix_spawn_file_actions_destroy(&actions);
  run.out = ReadFile(outPath);
  run.err = ReadFile(errPath);
  return run;
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
