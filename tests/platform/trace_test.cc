#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mediastores_internal.h"
#include "support/trace_capture.h"

namespace {

TEST(TraceTest, ExtractClassFunctionName) {
  struct Case {
    const char* signature;
    const char* name;
  };
  const std::vector<Case> cases = {
      {"virtual int32_t kelStore::KelConfig::SetKelConfig(KelConfigGroup, const char *, "
       "ConfigValue, bool, bool)",
       "kelStore::KelConfig::SetKelConfig"},
      {"kelStore::KelConfig::KelConfig(uint32_t)", "kelStore::KelConfig::KelConfig"},
      {"no parenthesis at all", "no parenthesis at all"},
      {"int (", "int ("},  // nothing between the last blank and "("
      {"(x)", "(x)"},
      {"void f(int a, int b)", "f"},
      {"", ""},
      {nullptr, "ErrorName"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.signature != nullptr ? c.signature : "null");
    EXPECT_EQ(ExtractClassFunctionName(c.signature), c.name);
  }
}

TEST(TraceTest, ModuleName) {
  EXPECT_STREQ(GetCurrentModuleName(nullptr), "UTIL");
  EXPECT_STREQ(GetCurrentModuleName(""), "UTIL");
  EXPECT_STREQ(GetCurrentModuleName("AUDIO"), "AUDIO");
  EXPECT_EQ(GetCurrentModuleName(nullptr), GetCurrentModuleName(""));  // one static buffer
}

}  // namespace

// Named (not anonymous) so the function name in the lines is the same for every compiler.
namespace tracetest {

void EmitOneOfEachLevel() {
  KEL_TRACE_ERROR("Error parameters");
  KEL_TRACE_WARN(", level=" << 2);
  KEL_TRACE_INFO(", "
                 << "counts"
                 << "=" << 2 << TraceCid{7} << TraceThis{nullptr});
}

const char* PointerReturning() {
  KEL_TRACE_INFO(", returns a pointer");
  return nullptr;
}

int CheckName(const char* name) {
  KEL_ASSERT_RETURN((name != NULL), -1);
  return 0;
}
const int kCheckNameAssertLine = __LINE__ - 3;

void TracedEntryPoint(uint32_t callId) {
  KEL_FUNC_TRACER("kelStore::CleanUpKelConfig", 881,
                  ", "
                      << "callId"
                      << "=" << callId);
}

}  // namespace tracetest

namespace {
using tracetest::CheckName;
using tracetest::EmitOneOfEachLevel;
using tracetest::kCheckNameAssertLine;
using tracetest::PointerReturning;
using tracetest::TracedEntryPoint;

TEST(TraceTest, MaskGatesLevels) {
  struct Case {
    uint32_t mask;
    std::vector<int> levels;
  };
  const std::vector<Case> cases = {
      {0xFFFFFFFFu, {}}, {0, {0}}, {1, {0, 1}}, {2, {0, 1, 2}}, {0x7FFFFFFF, {0, 1, 2}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.mask);
    TraceCapture capture(c.mask);
    EmitOneOfEachLevel();
    std::vector<int> levels;
    for (const CapturedTrace& line : capture.Lines()) {
      levels.push_back(line.level);
      EXPECT_EQ(line.module, "UTIL");
    }
    EXPECT_EQ(levels, c.levels);
  }
}

TEST(TraceTest, LineShape) {
  TraceCapture capture(2);
  EmitOneOfEachLevel();
  int local = 0;
  KEL_TRACE_INFO(TraceThis{&local});
  char expectedThis[64];
  std::snprintf(expectedThis, sizeof expectedThis, " [this=%p]", static_cast<void*>(&local));
  const std::vector<std::string> texts = capture.Texts();
  ASSERT_EQ(texts.size(), 4u);
  EXPECT_EQ(texts[0], "tracetest::EmitOneOfEachLevelError parameters");
  EXPECT_EQ(texts[1], "tracetest::EmitOneOfEachLevel, level=2");
  EXPECT_EQ(texts[2], "tracetest::EmitOneOfEachLevel, counts=2 [cid=7] [this=(nil)]");
  const std::string suffix = expectedThis;  // pointers print as printf's %p does
  ASSERT_GT(texts[3].size(), suffix.size());
  EXPECT_EQ(texts[3].substr(texts[3].size() - suffix.size()), suffix);
}

TEST(TraceTest, AssertionReportsEvenWhenMasked) {
  struct Case {
    uint32_t mask;
    size_t lines;
  };
  for (const Case& c : std::vector<Case>{{0xFFFFFFFFu, 0}, {0, 1}, {2, 1}}) {
    TraceCapture capture(c.mask);
    EXPECT_EQ(CheckName("x"), 0);
    EXPECT_EQ(capture.AssertionCount(), 0);
    EXPECT_EQ(CheckName(nullptr), -1);
    EXPECT_EQ(capture.AssertionCount(), 1);
    ASSERT_EQ(capture.Lines().size(), c.lines);
    if (c.lines == 1) {
      EXPECT_EQ(capture.Lines()[0].level, 0);
      EXPECT_EQ(capture.Lines()[0].text, "trace_test.cc:" + std::to_string(kCheckNameAssertLine) +
                                             " Assert failed: (name != NULL)");
    }
  }
}

TEST(TraceTest, NameOfAFunctionReturningAPointer) {
  // Some compilers write "const char *tracetest::PointerReturning()".
  TraceCapture capture(2);
  PointerReturning();
  EXPECT_EQ(capture.Texts(),
            std::vector<std::string>{"tracetest::PointerReturning, returns a pointer"});
  EXPECT_EQ(KelTraceFunctionName("const char *ns::F(int)"), "ns::F");
  EXPECT_EQ(KelTraceFunctionName("int &ns::G()"), "ns::G");
  EXPECT_EQ(ExtractClassFunctionName("const char *ns::F(int)"), "*ns::F");  // kept as it is
}

TEST(TraceTest, FileBaseName) {
  EXPECT_STREQ(KelFileBaseName("/a/b/c.cc"), "c.cc");
  EXPECT_STREQ(KelFileBaseName("c.cc"), "c.cc");
  EXPECT_STREQ(KelFileBaseName("dir/"), "");
}

TEST(TraceTest, EntryTracerThrottlesAfter150Calls) {
  TraceCapture capture(2);
  for (int i = 0; i < 149; ++i)
    TracedEntryPoint(5);
  capture.Clear();
  TracedEntryPoint(5);  // 150th call: still traced
  EXPECT_EQ(capture.Texts(),
            (std::vector<std::string>{"Enter, kelStore::CleanUpKelConfig,line=881, callId=5",
                                      "Leave, kelStore::CleanUpKelConfig,line=881"}));
  capture.Clear();
  TracedEntryPoint(5);  // 151st: silent
  EXPECT_TRUE(capture.Texts().empty());
}

TEST(TraceTest, FormatorCutsWhatDoesNotFit) {
  char buffer[8];
  COxTextFormator f(buffer, sizeof buffer);
  f << "abcd" << 12345u << "tail";
  EXPECT_STREQ(static_cast<char*>(f), "abcd123");
  EXPECT_EQ(f.tell(), 7u);

  char big[1024];
  COxTextFormator g(big, sizeof big);
  g << int32_t{-5} << ' ' << uint64_t{18446744073709551615ULL} << ' ' << 1.5 << ' '
    << static_cast<const char*>(nullptr);
  EXPECT_STREQ(g.c_str(), "-5 18446744073709551615 1.5 (null)");
}

TEST(TraceTest, SinkCanBeReplacedAndRestored) {
  static std::vector<std::string> seen;
  seen.clear();
  util_trace_sink_t previous = set_util_trace_sink(
      [](int, const char*, const char* text, int length) { seen.emplace_back(text, length); });
  util_adapter_trace(1, "UTIL", "hello", 5);
  EXPECT_EQ(seen, std::vector<std::string>{"hello"});
  EXPECT_NE(set_util_trace_sink(nullptr), nullptr);  // default restored
  testing::internal::CaptureStderr();
  util_adapter_trace(0, "UTIL", "to stderr", 9);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("UTIL"), std::string::npos);
  EXPECT_NE(err.find("to stderr\n"), std::string::npos);
  set_util_trace_sink(previous);
}

}  // namespace
