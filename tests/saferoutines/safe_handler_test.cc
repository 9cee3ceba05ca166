#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/saferoutines/constraint_capture.h"

namespace {

using SafeHandlerTest = ConstraintTest;

std::string Line(int error, const std::string& msg) {
  return "DATA INCONSISTENCY/DATA CORRUPTION: (" + std::to_string(error) + ") " + msg + "\n";
}

TEST_F(SafeHandlerTest, SetHandlerReturnsThePreviousOneAndNullMeansDefault) {
  const constraint_handler_t recorder = safe_constraint_handler;
  EXPECT_EQ(set_constraint_handler_s(nullptr), recorder);
  EXPECT_EQ(set_constraint_handler_s(recorder), &dcdi_handler_s);
}

// The default handler prints one line to standard error from level 1 on, nothing at level 0.
TEST_F(SafeHandlerTest, DefaultHandlerPrintsFromLevelOne) {
  set_constraint_handler_s(nullptr);
  for (unsigned level : {1u, 2u, 0u}) {
    SCOPED_TRACE(level);
    safe_init_logger(level, nullptr);
    testing::internal::CaptureStderr();
    EXPECT_EQ(memcpy_s(nullptr, 1, "", 1), EINVAL);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              level > 0 ? Line(EINVAL, "memcpy_s: dest is NULL") : "");
  }
}

TEST_F(SafeHandlerTest, LoggerHonoursLevelAndOutputFunction) {
  static std::vector<std::string> logged;
  EXPECT_EQ(safe_init_logger(1,
                             [](const char* format, va_list args) {
                               char line[256];
                               const int n = std::vsnprintf(line, sizeof line, format, args);
                               logged.emplace_back(line);
                               return n;
                             }),
            0);
  safe_log(1, "a=%d %s", 7, "x");
  safe_log(2, "dropped");
  dcdi_handler_s(nullptr, nullptr, EOVERFLOW);
  dcdi_handler_s("m", nullptr, EINVAL);
  EXPECT_EQ(logged, (std::vector<std::string>{"a=7 x", Line(EOVERFLOW, ""), Line(EINVAL, "m")}));
}

}  // namespace
