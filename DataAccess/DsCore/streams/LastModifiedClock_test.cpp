#include "streams/LastModifiedClock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "qz_dsc/Ticks.h"

namespace qz_dsc {
namespace {

TEST(LastModifiedClock, WholeMillisecondsThatNeverGoBackwards) {
  std::int64_t previous = LastModifiedNow();
  EXPECT_GE(previous, kTicksPerMillisecond);
  for (int i = 0; i < 100000; ++i) {
    const std::int64_t now = LastModifiedNow();
    ASSERT_GE(now, previous);
    ASSERT_EQ(now % kTicksPerMillisecond, 0);
    previous = now;
  }
  const std::int64_t before = LastModifiedNow();
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const std::int64_t after = LastModifiedNow();
  // The coarse clock ticks every few milliseconds at worst.
  EXPECT_GE(after - before, 15 * kTicksPerMillisecond);
  EXPECT_LE(after - before, 10000 * kTicksPerMillisecond);
}

}  // namespace
}  // namespace qz_dsc
