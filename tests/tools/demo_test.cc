// mediastores-demo: a short run leaves both registries empty; bad command lines and documents are
// refused.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/tools/tool_runner.h"

namespace {

using toolstest::RunTool;
using toolstest::ToolRun;

#ifdef MEDIASTORES_DEMO_PATH
const char kDemo[] = MEDIASTORES_DEMO_PATH;
#else
const char kDemo[] = "";
#endif

bool Has(const std::string& text, const std::string& fragment) {
  return text.find(fragment) != std::string::npos;
}

TEST(Demo, RunsCallsAndLeavesEveryRegistryEmpty) {
  if (kDemo[0] == '\0') GTEST_SKIP() << "mediastores-demo is not built";
  const ToolRun run = RunTool(kDemo, {"--calls", "10", "--seconds", "1"});
  ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
  // The first three calls one by one with their layers, the rest summed up; the summary; and the
  // last line: audio and video, one reference for the pipeline and one for the reporter, a call.
  for (const char* shown :
       {"  call 1003 | audio tx", "|   L2 1280x720", "  + 7 more calls |", " calls/s), shutdown ",
        "; failures 0\n",
        "\nregistries at exit: configuration stores 0, statistics objects 0 (40 references taken, "
        "40 given back)\n"}) {
    EXPECT_TRUE(Has(run.out, shown)) << shown << " in\n" << run.out;
  }
}

TEST(Demo, RefusesBadCommandLinesAndDocuments) {
  if (kDemo[0] == '\0') GTEST_SKIP() << "mediastores-demo is not built";
  toolstest::ScratchDir dir;
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"--calls", "0"}, "--calls takes a whole number from 1"},
      {{"--calls"}, "--calls needs a value"},
      {{"--seconds", "1.5"}, "--seconds takes a whole number"},
      {{"--verbose"}, "unknown argument --verbose"},
      {{"--config", dir.Path("missing.json")}, "cannot read"},
      {{"--config", dir.Write("refused.json", R"({"Vidoe": []})")},
       "run 'mediastores-config check"},
  };
  for (const auto& [args, message] : cases) {
    const ToolRun bad = RunTool(kDemo, args);
    EXPECT_TRUE(bad.exitCode == 2 && Has(bad.err, message) && bad.out.empty())
        << args[0] << ": " << bad.exitCode << " " << bad.err;
  }
}

}  // namespace
