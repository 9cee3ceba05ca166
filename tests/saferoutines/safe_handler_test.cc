#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "mediastores_internal.h"
#include "saferoutines/constraint_capture.h"

namespace {

using SafeHandlerTest = ConstraintTest;

std::vector<std::string>& logged() {
  static std::vector<std::string> lines;
  return lines;
}

int CaptureLog(const char* format, va_list args) {
  char line[256];
  const int n = std::vsnprintf(line, sizeof line, format, args);
  logged().emplace_back(line);
  return n;
}

TEST_F(SafeHandlerTest, SetHandlerReturnsPreviousAndNullRestoresDefault) {
  const constraint_handler_t mine = safe_constraint_handler;  // the fixture's recorder
  EXPECT_NE(mine, &dcdi_handler_s);
  EXPECT_EQ(set_constraint_handler_s(nullptr), mine);
  EXPECT_EQ(safe_constraint_handler, &dcdi_handler_s);
  EXPECT_EQ(set_constraint_handler_s(mine), &dcdi_handler_s);

  // The routines go through the installed handler.
  EXPECT_EQ(memcpy_s(nullptr, 1, "", 1), EINVAL);
  EXPECT_EQ(calls().size(), 1u);
}

TEST_F(SafeHandlerTest, DefaultHandlerPrintsOneLineAtLevelOneOnly) {
  set_constraint_handler_s(nullptr);
  struct Case {
    unsigned level;
    std::string expected;
  };
  const Case cases[] = {
      {1, "DATA INCONSISTENCY/DATA CORRUPTION: (" + std::to_string(EINVAL) +
              ") memcpy_s: dest is NULL\n"},
      {2, "DATA INCONSISTENCY/DATA CORRUPTION: (" + std::to_string(EINVAL) +
              ") memcpy_s: dest is NULL\n"},
      {0, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.level);
    safe_init_logger(c.level, nullptr);
    testing::internal::CaptureStderr();
    const int rc = memcpy_s(nullptr, 1, "", 1);
    const int err = errno;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.expected);
    EXPECT_EQ(rc, EINVAL);
    EXPECT_EQ(err, EINVAL);
  }
}

TEST_F(SafeHandlerTest, LoggerHonoursLevelAndOutputFunction) {
  logged().clear();
  EXPECT_EQ(safe_init_logger(1, &CaptureLog), 0);
  EXPECT_EQ(safe_desired_log_lvl, 1u);
  EXPECT_EQ(safe_log_func, &CaptureLog);

  safe_log(1, "a=%d %s", 7, "x");
  safe_log(2, "dropped");
  dcdi_handler_s(nullptr, nullptr, EOVERFLOW);
  dcdi_handler_s("m", nullptr, EINVAL);
  EXPECT_EQ(logged(),
            (std::vector<std::string>{
                "a=7 x",
                "DATA INCONSISTENCY/DATA CORRUPTION: (" + std::to_string(EOVERFLOW) + ") \n",
                "DATA INCONSISTENCY/DATA CORRUPTION: (" + std::to_string(EINVAL) + ") m\n",
            }));
}

}  // namespace
