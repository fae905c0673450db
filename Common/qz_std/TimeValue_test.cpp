#include "qz_std/TimeValue.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

using qz_std::TimeValue;

TEST(TimeValue, NormalisesMicrosecondsAndSigns) {
  TimeValue a(2, -1);
  EXPECT_EQ(a.GetSeconds(), 1);
  EXPECT_EQ(a.GetMicroseconds(), 999'999);
  TimeValue b(0, 2'500'000);
  EXPECT_EQ(b.GetSeconds(), 2);
  EXPECT_EQ(b.GetMicroseconds(), 500'000);
  TimeValue c(-1, 1);
  EXPECT_EQ(c.GetSeconds(), 0);
  EXPECT_EQ(c.GetMicroseconds(), -999'999);
  TimeValue d(0, -1'000'000);
  EXPECT_EQ(d.GetSeconds(), -1);
  EXPECT_EQ(d.GetMicroseconds(), 0);
  TimeValue e(0, -5);
  EXPECT_EQ(e.GetSeconds(), 0);
  EXPECT_EQ(e.GetMicroseconds(), -5);
}

TEST(TimeValue, ExtremeFieldsWrapWithoutOverflow) {
  TimeValue a(INT_MAX, 1'000'000);
  EXPECT_EQ(a.GetSeconds(), INT_MIN);
  TimeValue b(INT_MIN, INT_MIN);
  EXPECT_GT(b.GetMicroseconds(), -1'000'000);
}

TEST(TimeValue, TickConversions) {
  EXPECT_EQ(TimeValue::FromTicks(15'000'000), TimeValue(1, 500'000));
  EXPECT_EQ(TimeValue::FromTicks(-15'000'000), TimeValue(-1, -500'000));
  EXPECT_EQ(TimeValue(1, 500'000).ToTicks(), 15'000'000);
  EXPECT_EQ(TimeValue::FromTicks(19).ToTicks(), 10);
}

}  // namespace
