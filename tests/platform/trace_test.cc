#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "mediastores/mediastores.h"
#include "platform/trace.h"
#include "tests/support/trace_capture.h"

// Named (not anonymous) so the function name in the lines is the same for every compiler.
namespace tracetest {

int CheckName(const char* name) {
  KEL_ASSERT_RETURN((name != NULL), -1);
  return 0;
}
const int kCheckNameAssertLine = __LINE__ - 3;

// One line of each kind; a pointer result (its mark is dropped from the name).
const char* EmitEveryKind() {
  KEL_TRACE_ERROR("Error parameters");
  KEL_TRACE_WARN(", level=" << 2);
  KEL_TRACE_INFO(", counts=" << 2 << TraceCid{7} << TraceThis{nullptr});
  EXPECT_EQ(CheckName(nullptr), -1);
  KEL_FUNC_TRACER("kelStore::CleanUpKelConfig", 881, ", callId=" << 5);
  return nullptr;
}

void Throttled() {
  KEL_FUNC_TRACER("tracetest::Throttled", 1, "");
}

}  // namespace tracetest

namespace {

// Every kind of line by level and text: the function name, the message, the decorations; the
// assertion; the entry tracer. A line of level L goes out when the mask, read as signed, is at
// least L; an assertion is reported whatever the mask.
TEST(TraceTest, MaskGatesEveryKindOfLine) {
  const std::vector<std::pair<int, std::string>> everyKind = {
      {0, "tracetest::EmitEveryKindError parameters"},
      {1, "tracetest::EmitEveryKind, level=2"},
      {2, "tracetest::EmitEveryKind, counts=2 [cid=7] [this=(nil)]"},
      {0, "trace_test.cc:" + std::to_string(tracetest::kCheckNameAssertLine) +
              " Assert failed: (name != NULL)"},
      {2, "Enter, kelStore::CleanUpKelConfig,line=881, callId=5"},
      {2, "Leave, kelStore::CleanUpKelConfig,line=881"},
  };
  for (uint32_t mask : {0xFFFFFFFFu, 0u, 1u, 2u, 0x7FFFFFFFu}) {
    TraceCapture capture(mask);
    tracetest::EmitEveryKind();
    std::vector<std::pair<int, std::string>> expected, lines;
    for (const auto& line : everyKind) {
      if (line.first <= static_cast<int32_t>(mask)) expected.push_back(line);
    }
    for (const CapturedTrace& line : capture.Lines())
      lines.emplace_back(line.module == "UTIL" ? line.level : -1, line.text);
    EXPECT_EQ(lines, expected) << mask;
    EXPECT_EQ(capture.AssertionCount(), 1) << mask;
  }
}

TEST(TraceTest, FunctionNamesAndThrottle) {
  const std::pair<const char*, const char*> names[] = {
      {"virtual int32_t ns::KelConfig::SetKelConfig(KelConfigGroup, const char *, bool)",
       "ns::KelConfig::SetKelConfig"},
      {"ns::KelConfig::KelConfig(uint32_t)", "ns::KelConfig::KelConfig"},
      {"no parenthesis at all", "no parenthesis at all"},
      {"int (", "int ("},  // nothing between the last blank and "("
      {nullptr, "ErrorName"},
  };
  for (const auto& [signature, name] : names)
    EXPECT_EQ(ExtractClassFunctionName(signature), name) << (signature ? signature : "null");
  EXPECT_STREQ(GetCurrentModuleName(""), "UTIL");
  EXPECT_STREQ(GetCurrentModuleName("AUDIO"), "AUDIO");
  // The entry tracer traces the first 150 calls of its function only.
  TraceCapture capture(2);
  for (int i = 0; i < 151; ++i)
    tracetest::Throttled();
  EXPECT_EQ(capture.CountContaining("Enter, tracetest::Throttled,line=1"), 150);
  EXPECT_EQ(capture.CountContaining("Leave, tracetest::Throttled,line=1"), 150);
}

}  // namespace
