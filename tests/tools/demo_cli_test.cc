// mediastores-demo as people run it: the command line, the --json lines a script reads, and a
// run stopped by Ctrl-C that still shuts down cleanly.
#include <gtest/gtest.h>
#include <mediastores/json/json.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include "tests/tools/tool_runner.h"

namespace {

using toolstest::Lines;
using toolstest::RunTool;
using toolstest::ScratchDir;
using toolstest::ToolRun;

#ifdef MEDIASTORES_DEMO_PATH
const char kDemo[] = MEDIASTORES_DEMO_PATH;
#else
const char kDemo[] = "";
#endif

TEST(DemoCli, ParsesOptionsAndNamesWhatItRefuses) {
  if (kDemo[0] == '\0') GTEST_SKIP() << "mediastores-demo is not built";
  ScratchDir dir;
  const std::string missing = dir.Path("missing.json");
  struct Case {
    std::vector<std::string> args;
    int exitCode;
    std::string pattern;  // searched in standard output on success, standard error on failure
  } const cases[] = {
      {{"--calls=2", "--seconds", "1", "-q", "--"}, 0, "summary: 2 calls for"},
      {{"--json", "--seconds=1", "-q"},
       0,
       "^\\{\"type\":\"summary\",\"second\":1,.*\"ok\":true\\}\n$"},
      {{"--version"}, 0, "^mediastores-demo [0-9]+\\.[0-9]+\\.[0-9]+\n$"},
      {{"--", "--calls=2"}, 2, "unexpected argument --calls=2"},
      {{"--bogus=1"}, 2, "unknown argument --bogus \\(see --help\\)"},
      {{"--json=yes"}, 2, "--json takes no value"},
      {{"--c", "1"}, 2, "ambiguous argument --c"},
      {{"--seconds"}, 2, "--seconds needs a value"},
      {{"--detail=x"}, 2, "--detail takes a whole number from 0"},
      {{"--config", missing}, 2, "cannot read " + missing + ": " + std::strerror(ENOENT)},
      {{"--config", "/"}, 2, std::string("cannot read /: ") + std::strerror(EISDIR)},
      {{"--http", "10.1.2.3:8080"}, 2, "--http 10.1.2.3 is not a loopback address; add --http-any"},
      {{"--seconds", "0"}, 2, "--seconds 0 \\(run until stopped\\) needs --http"},
  };
  for (const Case& c : cases) {
    const ToolRun run = RunTool(kDemo, c.args);
    EXPECT_EQ(run.exitCode, c.exitCode) << c.args[0] << run.err;
    EXPECT_TRUE(std::regex_search(c.exitCode == 0 ? run.out : run.err, std::regex(c.pattern)))
        << c.args[0] << ": " << run.out << run.err;
  }
  const ToolRun help = RunTool(kDemo, {"-h"});
  for (const char* mention :
       {"--calls N", "--seconds S", "--config FILE", "--detail N", "--json", "--quiet", "--dump",
        "--http [ADDRESS:]PORT", "--help", "--version", "SIGINT"}) {
    EXPECT_NE(help.out.find(mention), std::string::npos) << mention;
  }
}

// The member at `path`, or null when a step is missing or not an object (a type misuse would
// stop the test rather than fail it).
const json::Value& At(const json::Value& value, std::initializer_list<const char*> path) {
  static const json::Value kNull;
  const json::Value* at = &value;
  for (const char* key : path) {
    if (at->GetType() != json::ObjectVal || !at->HasKey(key)) return kNull;
    at = &(*at)[key];
  }
  return *at;
}
const json::Array& Items(const json::Value& value) {
  static const json::Array kNone;
  return value.GetType() == json::ArrayVal ? value.AsArray() : kNone;
}

// A --json run stopped by Ctrl-C once its first second is reported: every line reads strictly,
// the seconds add up to the summary, which has the registry check, and the exit status is 0.
TEST(DemoCli, JsonRunStoppedBySigintAddsUpAndExitsZero) {
  if (kDemo[0] == '\0') GTEST_SKIP() << "mediastores-demo is not built";
  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 1);
  posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
  const char* argv[] = {kDemo,       "--json", "--calls=3", "--detail", "2",
                        "--seconds", "60",     "--dump",    nullptr};
  pid_t pid = 0;
  ASSERT_EQ(posix_spawn(&pid, kDemo, &actions, nullptr, const_cast<char**>(argv), environ), 0);
  posix_spawn_file_actions_destroy(&actions);
  close(pipeEnds[1]);
  std::string out;
  char block[4096];
  for (ssize_t n; (n = read(pipeEnds[0], block, sizeof(block))) > 0;) {
    const bool first = out.find('\n') == std::string::npos;
    out.append(block, static_cast<size_t>(n));
    if (first && out.find('\n') != std::string::npos) kill(pid, SIGINT);
  }
  close(pipeEnds[0]);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  const char* const counts[] = {"configOps", "notifications", "statsUpdates"};
  long long sums[3] = {};
  json::Value line;
  unsigned second = 0;
  for (const std::string& text : Lines(out)) {
    line = json::Deserialize(text);
    if (!(At(line, {"type"}) == json::Value("second"))) break;
    EXPECT_EQ(At(line, {"second"}).ToUInt(), ++second);
    EXPECT_EQ(Items(At(line, {"callDetails"})).size(), 2u) << text;
    for (int i = 0; i < 3; ++i)
      sums[i] += At(line, {counts[i]}).ToInt64();
    for (const json::Value& call : Items(At(line, {"callDetails"}))) {
      unsigned layerRequests = 0;
      for (const json::Value& layer : Items(At(call, {"video", "layers"})))
        layerRequests += At(layer, {"idrRequests"}).ToUInt();
      EXPECT_EQ(At(call, {"video", "idrRequests"}).ToUInt(), layerRequests) << text;
    }
  }
  EXPECT_TRUE(At(line, {"type"}) == json::Value("summary")) << out;
  EXPECT_TRUE(At(line, {"interrupted"}).ToBool() && At(line, {"signal"}) == json::Value("SIGINT"));
  EXPECT_EQ(At(line, {"second"}).ToUInt(), second);
  EXPECT_LT(second, 10u);
  EXPECT_GT(At(line, {"setupCallsPerSecond"}).ToUInt(), 0u) << out;
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(At(line, {counts[i]}).ToInt64(), sums[i]) << counts[i] << ": the seconds' sum";
  // Audio and video, a pipeline's and the reporter's reference, for each of the three calls.
  EXPECT_TRUE(At(line, {"registries"}) == json::Deserialize(R"({"configurationStores":0,
      "statisticsObjects":0,"referencesTaken":12,"referencesGivenBack":12})"));
  EXPECT_EQ(Items(At(line, {"configurations"})).size(), 3u);
  if (access("/usr/bin/python3", X_OK) != 0) return;
  ScratchDir dir;  // a strict reader takes every line, the escaped documents included
  const ToolRun strict = RunTool(
      "/usr/bin/python3", {"-c", "import json,sys\n[json.loads(l) for l in open(sys.argv[1])]",
                           dir.Write("run.json", out)});
  EXPECT_EQ(strict.exitCode, 0) << strict.err;
}

}  // namespace
