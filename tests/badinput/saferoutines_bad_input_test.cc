// Bad input to the bounds-checked routines beyond what their own tests pin: null buffers with
// zero sizes, sizes exactly at and just above the maximum, and the largest size there is. Each
// call gets its result and its one handler call (or none), and the buffer around it is untouched
// except for what the routine documents.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "mediastores_internal.h"

namespace {

constexpr size_t kMax = SIZE_MAX >> 1;  // the largest size accepted
const std::string kInitial(32, '.');

std::vector<std::string>& Calls() {
  static std::vector<std::string> calls;
  return calls;
}
void Record(const char* msg, void*, int error) {
  Calls().push_back(std::string(msg) + " " + std::to_string(error) + "/" + std::to_string(errno));
}

struct Row {
  const char* text;
  std::function<long long(char*)> call;
  long long result;
  const char* msg;               // the one handler call, with `result` as error number; null: none
  std::string after = kInitial;  // the buffer afterwards
};
#define CALL(expr) #expr, [](char* b) { return (void)b, static_cast<long long>(expr); }

TEST(SafeRoutinesBadInput, NullBuffersAndSizesAtTheBounds) {
  const std::vector<Row> rows = {
      {CALL(memcpy_s(nullptr, 0, nullptr, 0)), EINVAL, "memcpy_s: dest is NULL"},
      {CALL(memcpy_s(b, 0, nullptr, 0)), EINVAL, "memcpy_s: src is NULL"},
      {CALL(memcpy_s(b, SIZE_MAX, b + 8, 1)), EINVAL, "memcpy_s: dmax exceeds max"},
      {CALL(memcpy_s(b, kMax + 1, b + 8, 1)), EINVAL, "memcpy_s: dmax exceeds max"},
      {CALL(memcpy_s(b, 8, b + 8, SIZE_MAX)), EINVAL, "memcpy_s: n exceeds max"},
      {CALL(memcpy_s(b, 8, b + 8, kMax)), EINVAL, "memcpy_s: n exceeds dmax"},
      {CALL(memcpy_s(b, kMax, b + 8, 0)), EINVAL, "memcpy_s: overlap undefined"},
      {CALL(memcpy_s(b, 0, b + 8, 0)), 0, nullptr},
      {CALL(memset_s(nullptr, 0, 0, 0)), EINVAL, "memset_s: s is null"},
      {CALL(memset_s(b, 0, 'x', 0)), 0, nullptr},
      {CALL(memset_s(b, SIZE_MAX, 'x', 0)), EINVAL, "memset_s: smax exceeds max"},
      {CALL(memset_s(b, 0, 'x', SIZE_MAX)), EINVAL, "memset_s: n exceeds max"},
      {CALL(memset_s(b, 0, 'x', kMax)), EINVAL, "memset_s: n exceeds smax"},
      {CALL(memset_s(b, 2, 'x', kMax + 1)), EINVAL, "memset_s: n exceeds max",
       "xx" + kInitial.substr(2)},
      {CALL(strncpy_s(nullptr, 8, "ab", 2)), EINVAL, "strncpy_s: dest is null"},
      {CALL(strncpy_s(b, SIZE_MAX, "ab", 2)), EINVAL, "strncpy_s: dmax exceeds max"},
      {CALL(strncpy_s(b, 8, nullptr, 0)), EINVAL, "strncpy_s: src is null"},
      {CALL(strncpy_s(b, 8, "ab", SIZE_MAX)), EINVAL, "strncpy_s: n exceeds max"},
      {CALL(strncpy_s(b, 1, "ab", kMax)), EOVERFLOW,
       "strncpy_s: copy was truncated (not enough space in dest)",
       std::string(1, '\0') + kInitial.substr(1)},
      {CALL(strncpy_s(b, 1, "", 0)), 0, nullptr, std::string(1, '\0') + kInitial.substr(1)},
      {CALL(strnlen_s(nullptr, 0)), 0, nullptr},
      {CALL(strnlen_s(nullptr, SIZE_MAX)), 0, nullptr},
      {CALL(strnlen_s("abc", SIZE_MAX)), 3, nullptr},
  };
  const constraint_handler_t previous = set_constraint_handler_s(&Record);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Calls().clear();
    errno = 0;
    std::string buffer = kInitial;
    EXPECT_EQ(row.call(buffer.data()), row.result);
    const std::vector<std::string> expected =
        row.msg == nullptr
            ? std::vector<std::string>{}
            : std::vector<std::string>{std::string(row.msg) + " " + std::to_string(row.result) +
                                       "/" + std::to_string(row.result)};
    EXPECT_EQ(Calls(), expected);
    EXPECT_EQ(buffer, row.after);
  }
  set_constraint_handler_s(previous);
}

}  // namespace
