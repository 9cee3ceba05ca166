// Runs a built program in a child process and captures what it wrote, for the tools' tests.
#ifndef MEDIASTORES_TESTS_TOOLS_TOOL_RUNNER_H_
#define MEDIASTORES_TESTS_TOOLS_TOOL_RUNNER_H_

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

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

// Runs `program` with `args` through the shell, without input, capturing output and errors.
inline ToolRun RunTool(const std::string& program, const std::vector<std::string>& args) {
  const auto quoted = [](const std::string& word) {
    std::string text = "'";
    for (const char c : word)
      text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
  };
  const ScratchDir dir;
  std::string command = quoted(program);
  for (const std::string& arg : args)
    command += " " + quoted(arg);
  command += " </dev/null >" + quoted(dir.Path("out")) + " 2>" + quoted(dir.Path("err"));
  const int status = std::system(command.c_str());
  const auto read = [&dir](const char* name) {
    std::ostringstream text;
    text << std::ifstream(dir.Path(name)).rdbuf();
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
