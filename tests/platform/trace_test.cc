#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"
#include "platform/text_formator.h"
#include "platform/trace.h"
#include "tests/support/trace_capture.h"

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

using Lines = std::vector<std::string>;

TEST(TraceTest, FunctionNames) {
  struct Case {
    const char* signature;
    const char* name;
  };
  for (const Case& c : std::vector<Case>{
           {"virtual int32_t kelStore::KelConfig::SetKelConfig(KelConfigGroup, const char *, "
            "ConfigValue, bool, bool)",
            "kelStore::KelConfig::SetKelConfig"},
           {"kelStore::KelConfig::KelConfig(uint32_t)", "kelStore::KelConfig::KelConfig"},
           {"no parenthesis at all", "no parenthesis at all"},
           {"int (", "int ("},  // nothing between the last blank and "("
           {"void f(int a, int b)", "f"},
           {"const char *ns::F(int)", "*ns::F"},  // kept as it is; the macros drop the "*"
           {"", ""},
           {nullptr, "ErrorName"}}) {
    EXPECT_EQ(ExtractClassFunctionName(c.signature), c.name)
        << (c.signature != nullptr ? c.signature : "null");
  }
  EXPECT_EQ(KelTraceFunctionName("const char *ns::F(int)"), "ns::F");
  EXPECT_EQ(KelTraceFunctionName("int &ns::G()"), "ns::G");
  TraceCapture capture(2);
  tracetest::PointerReturning();
  EXPECT_EQ(capture.Texts(), Lines{"tracetest::PointerReturning, returns a pointer"});
  EXPECT_STREQ(GetCurrentModuleName(nullptr), "UTIL");
  EXPECT_EQ(GetCurrentModuleName(""), GetCurrentModuleName(nullptr));  // one static buffer
  EXPECT_STREQ(GetCurrentModuleName("AUDIO"), "AUDIO");
  EXPECT_STREQ(KelFileBaseName("/a/b/c.cc"), "c.cc");
  EXPECT_STREQ(KelFileBaseName("c.cc"), "c.cc");
}

TEST(TraceTest, MaskGatesLevelsAndLineShape) {
  struct Case {
    uint32_t mask;
    std::vector<int> levels;
  };
  for (const Case& c : std::vector<Case>{
           {0xFFFFFFFFu, {}}, {0, {0}}, {1, {0, 1}}, {2, {0, 1, 2}}, {0x7FFFFFFF, {0, 1, 2}}}) {
    TraceCapture capture(c.mask);
    tracetest::EmitOneOfEachLevel();
    std::vector<int> levels;
    for (const CapturedTrace& line : capture.Lines()) {
      levels.push_back(line.level);
      EXPECT_EQ(line.module, "UTIL");
    }
    EXPECT_EQ(levels, c.levels) << c.mask;
  }
  TraceCapture capture(2);
  tracetest::EmitOneOfEachLevel();
  int local = 0;
  KEL_TRACE_INFO(TraceThis{&local});
  char pointer[64];
  std::snprintf(pointer, sizeof pointer, "%p", static_cast<void*>(&local));
  const Lines texts = capture.Texts();
  ASSERT_EQ(texts.size(), 4u);
  EXPECT_EQ(texts[0], "tracetest::EmitOneOfEachLevelError parameters");
  EXPECT_EQ(texts[1], "tracetest::EmitOneOfEachLevel, level=2");
  EXPECT_EQ(texts[2], "tracetest::EmitOneOfEachLevel, counts=2 [cid=7] [this=(nil)]");
  const std::string suffix = " [this=" + std::string(pointer) + "]";  // as printf's %p
  EXPECT_EQ(texts[3].substr(texts[3].size() - std::min(texts[3].size(), suffix.size())), suffix);
}

TEST(TraceTest, AssertionReportsEvenWhenMasked) {
  for (uint32_t mask : {0xFFFFFFFFu, 0u, 2u}) {
    TraceCapture capture(mask);
    EXPECT_EQ(tracetest::CheckName("x"), 0);
    EXPECT_EQ(capture.AssertionCount(), 0);
    EXPECT_EQ(tracetest::CheckName(nullptr), -1);
    EXPECT_EQ(capture.AssertionCount(), 1);
    const Lines expected = {"trace_test.cc:" + std::to_string(tracetest::kCheckNameAssertLine) +
                            " Assert failed: (name != NULL)"};
    EXPECT_EQ(capture.TextsAtLevel(0), mask == 0xFFFFFFFFu ? Lines{} : expected) << mask;
    EXPECT_EQ(capture.Texts().size(), capture.TextsAtLevel(0).size());
  }
}

TEST(TraceTest, EntryTracerThrottlesAfter150Calls) {
  TraceCapture capture(2);
  for (int i = 0; i < 149; ++i)
    tracetest::TracedEntryPoint(5);
  capture.Clear();
  tracetest::TracedEntryPoint(5);  // 150th call: still traced
  EXPECT_EQ(capture.Texts(), (Lines{"Enter, kelStore::CleanUpKelConfig,line=881, callId=5",
                                    "Leave, kelStore::CleanUpKelConfig,line=881"}));
  capture.Clear();
  tracetest::TracedEntryPoint(5);  // 151st: silent
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

}  // namespace
