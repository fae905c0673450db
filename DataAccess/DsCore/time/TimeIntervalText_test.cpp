#include "time/TimeIntervalText.h"

#include <gtest/gtest.h>

namespace qz_dsc {
namespace {

std::wstring Text(std::uint32_t ms, int digits, std::size_t buffer = 30) {
  return TimeIntervalText::Format(ms, digits, buffer);
}

TEST(TimeIntervalText, SignificantDigitsZeroTheTailAndDropLaterPieces) {
  EXPECT_EQ(Text(34000, 3), L" 34 sec");
  EXPECT_EQ(Text(34000, 2), L" 34 sec");
  EXPECT_EQ(Text(34000, 1), L" 30 sec");
  EXPECT_EQ(Text(74000, 3), L" 1 min 14 sec");
  EXPECT_EQ(Text(74000, 2), L" 1 min 10 sec");
  EXPECT_EQ(Text(74000, 1), L" 1 min");
  EXPECT_EQ(Text(150999850, 1), L" 40 hr");
  EXPECT_EQ(Text(150999850, 3), L" 41 hr 50 min");
  EXPECT_EQ(Text(150999850, 5), L" 41 hr 56 min 40 sec");
}

TEST(TimeIntervalText, RoundsHalfUpToWholeSeconds) {
  EXPECT_EQ(Text(0, 30), L" 0 sec");
  EXPECT_EQ(Text(499, 30), L" 0 sec");
  EXPECT_EQ(Text(500, 30), L" 1 sec");
  EXPECT_EQ(Text(59499, 30), L" 59 sec");
  EXPECT_EQ(Text(59500, 30), L" 1 min 0 sec");
  EXPECT_EQ(Text(3999997, 3), L" 1 hr 6 min 40 sec");
}

TEST(TimeIntervalText, ZeroMinutesAreSkippedButSecondsAlwaysShown) {
  EXPECT_EQ(Text(3600000, 30), L" 1 hr 0 sec");
  EXPECT_EQ(Text(3601000, 30), L" 1 hr 1 sec");
  EXPECT_EQ(Text(3660000, 30), L" 1 hr 1 min 0 sec");
}

TEST(TimeIntervalText, LargestIntervalKeepsCountingHours) {
  EXPECT_EQ(Text(4294967295u, 30), L" 1193 hr 2 min 47 sec");
}

TEST(TimeIntervalText, CutToTheBufferAndEmptyWithoutDigits) {
  EXPECT_EQ(Text(34000, 30, 8), L" 34 sec");
  EXPECT_EQ(Text(34000, 30, 7), L" 34 se");
  EXPECT_EQ(Text(74000, 30, 2), L" ");
  EXPECT_EQ(Text(74000, 30, 1), L"");
  EXPECT_EQ(Text(74000, 30, 0), L"");
  EXPECT_EQ(Text(74000, 0), L"");
  EXPECT_EQ(Text(74000, -3), L"");
}

}  // namespace
}  // namespace qz_dsc
