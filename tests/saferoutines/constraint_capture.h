// Fixture for the bounds-checked routines: records every constraint handler call, restores the
// previous handler and logger afterwards, and runs tables of routine calls on one buffer.
#ifndef MEDIASTORES_TESTS_SAFEROUTINES_CONSTRAINT_CAPTURE_H_
#define MEDIASTORES_TESTS_SAFEROUTINES_CONSTRAINT_CAPTURE_H_

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "mediastores/mediastores.h"

using namespace std::string_literals;

constexpr size_t kHuge = SIZE_MAX / 2 + 1;  // top bit set: above the maximum size

// One call on the 32-byte buffer `b` ("abcdef", its zero byte and 25 more letters, so that overlap
// cases find a string at its start): its result, the message of the one handler call expected
// with that result as error number (null: no call), and the bytes it writes at `at` (none: the
// buffer is left as it was).
struct RoutineCase {
  const char* text;
  std::function<int(char*)> call;
  int rc;
  const char* msg;
  size_t at = 0;
  std::string written = "";
};
#define CALL(expr) #expr, [](char* b) { return (void)b, static_cast<int>(expr); }

class ConstraintTest : public ::testing::Test {
 protected:
  void SetUp() override { savedHandler_ = set_constraint_handler_s(&Record); }
  void TearDown() override {
    set_constraint_handler_s(savedHandler_);
    safe_init_logger(savedLevel_, savedLog_);
  }

  // Each handler call is recorded as "message (error)", marked when its pointer is not null or
  // errno is not yet set to the error number.
  static void Run(const std::vector<RoutineCase>& cases) {
    const std::string initial = "abcdef\0hijklmnopqrstuvwxyzABCDEF"s;
    for (const RoutineCase& c : cases) {
      calls_.clear();
      errno = 0;
      std::string buffer = initial;
      EXPECT_EQ(c.call(buffer.data()), c.rc) << c.text;
      EXPECT_EQ(calls_, c.msg ? std::vector<std::string>{c.msg + " ("s + std::to_string(c.rc) + ")"}
                              : std::vector<std::string>{})
          << c.text;
      EXPECT_EQ(errno, c.msg ? c.rc : 0) << c.text;
      EXPECT_EQ(buffer, std::string(initial).replace(c.at, c.written.size(), c.written)) << c.text;
    }
  }

 private:
  static void Record(const char* msg, void* ptr, int error) {
    calls_.push_back(msg + " ("s + std::to_string(error) + ")" +
                     (ptr != nullptr || errno != error ? " with a pointer or errno unset" : ""));
  }

  static inline std::vector<std::string> calls_;
  const unsigned savedLevel_ = safe_desired_log_lvl;
  const safe_log_func_t savedLog_ = safe_log_func;
  constraint_handler_t savedHandler_ = nullptr;
};

#endif  // MEDIASTORES_TESTS_SAFEROUTINES_CONSTRAINT_CAPTURE_H_
