#include <gtest/gtest.h>

#include <chrono>
#include <tuple>

#include "mediastores/mediastores.h"

namespace {

// Runs for the three exported instantiations, under the mock clock, unset again afterwards.
template <class Policy>
class TimerFactTest : public ::testing::Test {
 protected:
  void TearDown() override { set_mock_time(~0ULL); }
};
using Policies = ::testing::Types<timer_policy, tick_policy, low_tick_policy>;
TYPED_TEST_SUITE(TimerFactTest, Policies);

// The tag, from the clock or as given; elapsed time in each unit, and overtime reached exactly at
// it; the policy's own clock, in microseconds, when no mock time is set.
TYPED_TEST(TimerFactTest, ElapsedAndOvertimeInEachUnit) {
  using Timer = timer_fact<TypeParam>;
  const long long max = TypeParam::max_time_value();
  const struct {
    long long tag, now, us, ms, sec;
  } cases[] = {
      {-1, 5000000, 0, 0, 0},       // the tag is the current time
      {1000, 1999, 999, 0, 0},      // same millisecond: 0 ms
      {1999999, 2000000, 1, 1, 1},  // stamps are cut to the unit before comparing
      {0, 3600000000LL, 3600000000LL, 3600000, 3600},
      // Wrapped clock, tag 5 ms before the wrap point: 5 ms + 2 ms.
      {max - 5000, 2000, 7000, 7, 0 - (max - 5000) / 1000000},
      // Wrapped clock, tag within one unit of the wrap point: deliberately negative.
      {max - 500, 2000, 2500, 2 - (max - 500) / 1000, 0 - (max - 500) / 1000000},
  };
  for (const auto& c : cases) {
    Timer::MockNow(static_cast<unsigned long long>(c.now));
    Timer t(c.tag);
    EXPECT_EQ(std::make_tuple(t.latest_tag(), t.elapsed(), t.elapsed_mills(), t.elapsed_sec()),
              std::make_tuple(c.tag == -1 ? c.now : c.tag, c.us, c.ms, c.sec))
        << c.tag << " " << c.now;
    EXPECT_TRUE(t.overtime(c.us) && t.overtime_mills(c.ms) && t.overtime_sec(c.sec));
    EXPECT_FALSE(t.overtime(c.us + 1) || t.overtime_mills(c.ms + 1) || t.overtime_sec(c.sec + 1));
    t.reset();
    EXPECT_EQ(t.latest_tag(), c.now);
  }
  Timer::MockNow(~0ULL);
  const auto steady = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
  EXPECT_NEAR(static_cast<double>(Timer::now()), static_cast<double>(steady.count()), 1e6);
}

}  // namespace
