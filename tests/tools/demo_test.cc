// mediastores-demo: a short run with ten calls ends with both registries empty, a custom
// configuration reaches every call, and bad command lines and documents are refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
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

#define SKIP_WITHOUT_DEMO() \
  if (kDemo[0] == '\0') GTEST_SKIP() << "mediastores-demo is not built"

// The figures of the demo's last line: "registries at exit: configuration stores S, statistics
// objects O (T references taken, G given back)".
struct Registries {
  bool parsed = false;
  long stores = -1;
  long objects = -1;
  long taken = -1;
  long givenBack = -1;
};

Registries ParseLastLine(const std::string& out) {
  Registries r;
  const std::vector<std::string> lines = Lines(out);
  if (lines.empty()) return r;
  static const std::regex shape(
      "registries at exit: configuration stores ([0-9]+), statistics objects ([0-9]+) "
      "\\(([0-9,]+) references taken, ([0-9,]+) given back\\)");
  std::smatch match;
  if (!std::regex_match(lines.back(), match, shape)) return r;
  auto number = [](std::string text) {
    text.erase(std::remove(text.begin(), text.end(), ','), text.end());
    return std::atol(text.c_str());
  };
  r.parsed = true;
  r.stores = number(match[1]);
  r.objects = number(match[2]);
  r.taken = number(match[3]);
  r.givenBack = number(match[4]);
  return r;
}

TEST(Demo, TenCallsForOneSecondLeaveEveryRegistryEmpty) {
  SKIP_WITHOUT_DEMO();
  const ToolRun run = RunTool(kDemo, {"--calls", "10", "--seconds", "1"});
  ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
  const Registries registries = ParseLastLine(run.out);
  ASSERT_TRUE(registries.parsed) << run.out;
  EXPECT_EQ(registries.stores, 0);
  EXPECT_EQ(registries.objects, 0);
  // Audio and video, one reference for the pipeline and one for the reporter, per call.
  EXPECT_EQ(registries.taken, 40);
  EXPECT_EQ(registries.givenBack, 40);
  // The table: the first calls one by one, the rest summed up, then the summary.
  EXPECT_NE(run.out.find("[ 1/1 s] 10 calls"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("  call 1001 | audio tx"), std::string::npos);
  EXPECT_NE(run.out.find("|   L2 1280x720"), std::string::npos);
  EXPECT_EQ(run.out.find("  call 1004 |"), std::string::npos);
  EXPECT_NE(run.out.find("  + 7 more calls |"), std::string::npos);
  EXPECT_NE(run.out.find("summary: 10 calls for"), std::string::npos);
  // Each layer's interval IDR requests are the sum of its interval reason counts.
  static const std::regex layerLine("\\|   L[0-5] .*\\| IDR requests ([0-9]+)(: (.*))?");
  static const std::regex reason("[a-z]+ ([0-9]+)");
  int layerLines = 0;
  for (const std::string& line : Lines(run.out)) {
    std::smatch match;
    if (!std::regex_search(line, match, layerLine)) continue;
    ++layerLines;
    long reasons = 0;
    const std::string list = match[3];
    for (std::sregex_iterator it(list.begin(), list.end(), reason), end; it != end; ++it) {
      reasons += std::atol((*it)[1].str().c_str());
    }
    EXPECT_EQ(std::atol(match[1].str().c_str()), reasons) << line;
  }
  EXPECT_GE(layerLines, 9) << run.out;  // three calls shown, three layers each
  EXPECT_NE(run.out.find("failures 0"), std::string::npos);
}

TEST(Demo, LoadsACustomDocumentIntoEveryCall) {
  SKIP_WITHOUT_DEMO();
  ScratchDir dir;
  // Denoiser unnamed (on by default), two layers, a smaller picture.
  const std::string config = dir.Write("call.json", R"({
    "Video": [{"key": "MaxResolution", "value": "640x360"}, {"key": "SimulcastLayers", "value": "2"}],
    "Feature": [{"key": "video-simulcast-three-layers", "value": "no"}]
  })");
  const ToolRun run =
      RunTool(kDemo, {"--calls", "2", "--seconds", "1", "--quiet", "--dump", "--config", config});
  ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
  EXPECT_EQ(run.out.find("[ 1/1 s]"), std::string::npos) << "--quiet prints no table";
  int dumps = 0;
  for (const std::string& line : Lines(run.out)) {
    if (line.rfind("call 100", 0) != 0 || line.find(" configuration: ") == std::string::npos) {
      continue;
    }
    ++dumps;
    EXPECT_NE(line.find(R"({"key":"MaxResolution","value":"640x360"})"), std::string::npos);
    EXPECT_NE(line.find(R"({"key":"video-simulcast-three-layers","value":"no"})"),
              std::string::npos);
  }
  EXPECT_EQ(dumps, 2) << run.out;
  const Registries registries = ParseLastLine(run.out);
  EXPECT_TRUE(registries.parsed && registries.stores == 0 && registries.objects == 0) << run.out;
}

TEST(Demo, RefusesBadCommandLinesAndDocuments) {
  SKIP_WITHOUT_DEMO();
  ScratchDir dir;
  const std::string refused = dir.Write("refused.json", R"({"Vidoe": []})");
  struct Case {
    std::vector<std::string> args;
    const char* fragment;
  };
  const Case cases[] = {
      {{"--calls", "0"}, "--calls takes a whole number from 1"},
      {{"--calls"}, "--calls needs a value"},
      {{"--seconds", "1.5"}, "--seconds takes a whole number"},
      {{"--verbose"}, "unknown argument --verbose"},
      {{"--config", dir.Path("missing.json")}, "cannot read"},
      {{"--config", refused}, "run 'mediastores-config check"},
  };
  for (const Case& c : cases) {
    const ToolRun run = RunTool(kDemo, c.args);
    EXPECT_EQ(run.exitCode, 2) << c.args[0];
    EXPECT_NE(run.err.find(c.fragment), std::string::npos) << c.args[0] << ": " << run.err;
    EXPECT_EQ(run.out, "") << c.args[0];
  }
  const ToolRun help = RunTool(kDemo, {"--help"});
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_NE(help.out.find("--calls N"), std::string::npos);
}

}  // namespace
