#include <gtest/gtest.h>

#include "mediastores_internal.h"

namespace {

// Every test runs for the three exported instantiations, under the mock clock, which is unset
// again after each test.
template <class Policy>
class TimerFactTest : public ::testing::Test {
 protected:
  using Timer = timer_fact<Policy>;
  void TearDown() override { set_mock_time(~0ULL); }
};

using Policies = ::testing::Types<timer_policy, tick_policy, low_tick_policy>;
TYPED_TEST_SUITE(TimerFactTest, Policies);

TYPED_TEST(TimerFactTest, TagComesFromMockClockOrIsStoredAsGiven) {
  using Timer = typename TestFixture::Timer;
  Timer::MockNow(5000);
  EXPECT_EQ(Timer::now(), 5000);
  Timer t;
  EXPECT_EQ(t.latest_tag(), 5000);
  EXPECT_EQ(Timer(-1).latest_tag(), 5000);
  EXPECT_EQ(Timer(123).latest_tag(), 123);

  Timer::MockNow(7500);
  EXPECT_EQ(t.elapsed(), 2500);
  EXPECT_EQ(t.elapsed_mills(), 2);  // 7 - 5
  t.reset(-1);
  EXPECT_EQ(t.latest_tag(), 7500);
  EXPECT_EQ(t.elapsed(), 0);
  t.reset(42);
  EXPECT_EQ(t.latest_tag(), 42);
}

TYPED_TEST(TimerFactTest, NowReadsPolicyClockWhenNoMockIsSet) {
  using Timer = typename TestFixture::Timer;
  Timer::MockNow(~0ULL);
  const long long before = TypeParam::now();
  const long long now = Timer::now();
  const long long after = TypeParam::now();
  EXPECT_LE(before, now);
  EXPECT_LE(now, after);
}

TYPED_TEST(TimerFactTest, ElapsedInEachUnit) {
  using Timer = typename TestFixture::Timer;
  const long long max = TypeParam::max_time_value();
  struct Case {
    long long tag;
    long long now;
    long long us, ms, sec;
  };
  const Case cases[] = {
      {5000000, 5000000, 0, 0, 0},
      {999, 1000, 1, 1, 0},
      {1000, 1999, 999, 0, 0},      // same millisecond: 0 ms
      {1999999, 2000000, 1, 1, 1},  // stamps are cut to the unit before comparing
      {0, 3600000000LL, 3600000000LL, 3600000, 3600},
      // Wrapped clock, tag 5 ms before the wrap point: 5 ms + 2 ms.
      {max - 5000, 2000, 7000, 7, 0 - (max - 5000) / 1000000},
      // Wrapped clock, tag within one unit of the wrap point: deliberately negative.
      {max - 500, 2000, 2500, 2 - (max - 500) / 1000, 0 - (max - 500) / 1000000},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "tag=" << c.tag << " now=" << c.now);
    Timer::MockNow(static_cast<unsigned long long>(c.now));
    Timer t(c.tag);
    EXPECT_EQ(t.elapsed(), c.us);
    EXPECT_EQ(t.elapsed_mills(), c.ms);
    EXPECT_EQ(t.elapsed_sec(), c.sec);
  }
  // The negative wrap results really are negative.
  Timer::MockNow(2000);
  EXPECT_LT(Timer(max - 500).elapsed_mills(), 0);
}

TYPED_TEST(TimerFactTest, OvertimeIsReachedAtTheLimit) {
  using Timer = typename TestFixture::Timer;
  Timer::MockNow(1000000);
  Timer t;
  Timer::MockNow(3000000);  // 2 s later
  struct Case {
    long long limit;
    bool us, ms, sec;
  };
  const Case cases[] = {
      {2, true, true, true},      {3, true, true, false},        {2000, true, true, false},
      {2001, true, false, false}, {2000000, true, false, false}, {2000001, false, false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.limit);
    EXPECT_EQ(t.overtime(c.limit), c.us);
    EXPECT_EQ(t.overtime_mills(c.limit), c.ms);
    EXPECT_EQ(t.overtime_sec(c.limit), c.sec);
  }
}

}  // namespace
