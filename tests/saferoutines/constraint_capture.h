// Test fixture for the bounds-checked routines: installs a constraint handler that records every
// call (message, pointer, error number and errno at the time), and restores the previous handler
// and logger state afterwards.
#ifndef MEDIASTORES_TESTS_SAFEROUTINES_CONSTRAINT_CAPTURE_H_
#define MEDIASTORES_TESTS_SAFEROUTINES_CONSTRAINT_CAPTURE_H_

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "mediastores_internal.h"

struct ConstraintCall {
  std::string msg;
  void* ptr;
  int error;
  int errno_seen;
};

class ConstraintTest : public ::testing::Test {
 protected:
  void SetUp() override {
    calls().clear();
    saved_level_ = safe_desired_log_lvl;
    saved_log_ = safe_log_func;
    saved_handler_ = set_constraint_handler_s(&Record);
    errno = 0;
  }
  void TearDown() override {
    set_constraint_handler_s(saved_handler_);
    safe_init_logger(saved_level_, saved_log_);
  }

  static std::vector<ConstraintCall>& calls() {
    static std::vector<ConstraintCall> recorded;
    return recorded;
  }

  // Expects exactly one handler call with `msg` and `error`, errno set to `error` both during the
  // call and after it.
  static void ExpectOneCall(const std::string& msg, int error) {
    ASSERT_EQ(calls().size(), 1u);
    EXPECT_EQ(calls()[0].msg, msg);
    EXPECT_EQ(calls()[0].ptr, nullptr);
    EXPECT_EQ(calls()[0].error, error);
    EXPECT_EQ(calls()[0].errno_seen, error);
    EXPECT_EQ(errno, error);
  }

 private:
  static void Record(const char* msg, void* ptr, int error) {
    calls().push_back({msg != nullptr ? msg : "<null>", ptr, error, errno});
  }

  unsigned saved_level_ = 1;
  safe_log_func_t saved_log_ = nullptr;
  constraint_handler_t saved_handler_ = nullptr;
};

#endif  // MEDIASTORES_TESTS_SAFEROUTINES_CONSTRAINT_CAPTURE_H_
