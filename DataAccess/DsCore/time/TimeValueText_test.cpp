#include "qz_dsc/TimeValueText.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <limits>

#include "qz_dsc/Ticks.h"

namespace qz_dsc {
namespace {

constexpr std::int64_t kSecond = kTicksPerSecond;
constexpr std::int64_t kMinute = 60 * kSecond;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

// Checks every format except the frame number (3), which depends on a rate.
void ExpectAllFormats(std::int64_t t, const std::array<const wchar_t*, kTimeFormatCount>& expected) {
  for (int format = 0; format < kTimeFormatCount; ++format) {
    if (format == TimeFormat_TimeCode) continue;
    EXPECT_EQ(FormatTimeValue(t, format), expected[static_cast<std::size_t>(format)])
        << "t=" << t << " format=" << format;
  }
}

TEST(FormatTimeValue, ZeroAndOneTick) {
  ExpectAllFormats(0, {L"00:00:00.000_0000", L"0:00:00.000", L"0:00:00", nullptr, L"0 sec", L"0\"", L"0.000",
                       L"0.00", L"0.0", L"0", L"00:00", L"", L"0:00"});
  ExpectAllFormats(1, {L"00:00:00.000_0001", L"0:00:00.000", L"0:00:00", nullptr, L"0 sec", L"0\"", L"0.000",
                       L"0.00", L"0.0", L"0", L"00:00", L"", L"0:00"});
}

TEST(FormatTimeValue, SecondsOnlyTruncateTheirDecimals) {
  ExpectAllFormats(51'234'567, {L"00:00:05.123_4567", L"0:00:05.123", L"0:00:05", nullptr, L"5 sec", L"5\"",
                                L"5.123", L"5.12", L"5.1", L"5", L"00:05", L"", L"0:05"});
}

TEST(FormatTimeValue, MinutesAndSeconds) {
  ExpectAllFormats(65 * kSecond + 5'999'999, {L"00:01:05.599_9999", L"0:01:05.599", L"0:01:05", nullptr,
                                              L"1 min 6 sec", L"1' 05\"", L"1:05.599", L"1:05.59", L"1:05.5",
                                              L"1:05", L"01:05", L"1:", L"1:05"});
}

TEST(FormatTimeValue, HoursAreNotFoldedInSportAndMinutesSeconds) {
  ExpectAllFormats(kHour + 2 * kMinute + 3 * kSecond + 4'567'890,
                   {L"01:02:03.456_7890", L"1:02:03.456", L"1:02:03", nullptr, L"1 hr 2 min 3 sec", L"62' 03\"",
                    L"1:02:03.456", L"1:02:03.45", L"1:02:03.4", L"1:02:03", L"62:03", L"1:02:", L"1:02:03"});
  EXPECT_EQ(FormatTimeValue(61 * kMinute, TimeFormat_MinutesSeconds), L"61:00");
  EXPECT_EQ(FormatTimeValue(90 * kSecond, TimeFormat_Sport), L"1' 30\"");
  EXPECT_EQ(FormatTimeValue(90 * kSecond, TimeFormat_MinutesSeconds), L"01:30");
  EXPECT_EQ(FormatTimeValue(kHour, TimeFormat_Minutes_NoPrefix), L"1:00:");
}

TEST(FormatTimeValue, NegativeTimesPutTheSignFirst) {
  ExpectAllFormats(-15'000'000, {L"-00:00:01.500_0000", L"-0:00:01.500", L"-0:00:01", nullptr, L"-2 sec", L"-1\"",
                                 L"-1.500", L"-1.50", L"-1.5", L"-1", L"-00:01", L"-", L"-0:01"});
  ExpectAllFormats(-1, {L"-00:00:00.000_0001", L"-0:00:00.000", L"-0:00:00", nullptr, L"-0 sec", L"-0\"",
                        L"-0.000", L"-0.00", L"-0.0", L"-0", L"-00:00", L"-", L"-0:00"});
  EXPECT_EQ(FormatTimeValue(-(kHour + 5 * kMinute), TimeFormat_Minutes_NoPrefix), L"-1:05:");
  EXPECT_EQ(FormatTimeValue(-90 * kSecond, TimeFormat_Sport), L"-1' 30\"");
}

TEST(FormatTimeValue, NaturalSwitchesToAClockAtTwentyThreeAndAHalfHours) {
  const std::int64_t limit = 23 * kHour + 30 * kMinute;
  EXPECT_EQ(FormatTimeValue(limit - 1, TimeFormat_Natural), L"23 hr 30 min 0 sec");
  EXPECT_EQ(FormatTimeValue(limit, TimeFormat_Natural), L"23:30:00.00");
  EXPECT_EQ(FormatTimeValue(23 * kHour + 59 * kMinute, TimeFormat_Natural), L"23:59:00.00");
  EXPECT_EQ(FormatTimeValue(100 * kHour + 1'234'567, TimeFormat_Natural), L"100:00:00.12");
  // The comparison is on the signed time, so negative times stay in words.
  EXPECT_EQ(FormatTimeValue(-limit, TimeFormat_Natural), L"-23 hr 30 min 0 sec");
  EXPECT_EQ(FormatTimeValue(-100 * kHour, TimeFormat_Natural), L"-100 hr 0 sec");
}

TEST(FormatTimeValue, FrameNumbers) {
  EXPECT_EQ(FormatTimeValue(kSecond, TimeFormat_TimeCode, 25, 1), L"25");
  EXPECT_EQ(FormatTimeValue(400'000, TimeFormat_TimeCode, 25, 1), L"1");
  EXPECT_EQ(FormatTimeValue(399'999, TimeFormat_TimeCode, 25, 1), L"0");
  EXPECT_EQ(FormatTimeValue(-15'000'000, TimeFormat_TimeCode, 25, 1), L"-37");
  EXPECT_EQ(FormatTimeValue(kSecond, TimeFormat_TimeCode, 30000, 1001), L"29");
  EXPECT_EQ(FormatTimeValue(1001 * kSecond, TimeFormat_TimeCode, 30000, 1001), L"30000");
  EXPECT_EQ(FormatTimeValue(1001 * kSecond - 1, TimeFormat_TimeCode, 30000, 1001), L"29999");
  EXPECT_EQ(FormatTimeValue(kSecond, TimeFormat_TimeCode, 25, 0), L"0");
  EXPECT_EQ(FormatTimeValue(-kSecond, TimeFormat_TimeCode, 25, 0), L"-0");
  EXPECT_EQ(FormatTimeValue(kSecond, TimeFormat_TimeCode), L"0");
  // The time's sign and the frame number's own sign from a negative rate.
  EXPECT_EQ(FormatTimeValue(-kSecond, TimeFormat_TimeCode, -25, 1), L"--25");
  EXPECT_EQ(FormatTimeValue(kSecond, TimeFormat_TimeCode, 25, -1), L"-25");
}

TEST(FormatTimeValue, ExtremeTimesHaveNoOverflow) {
  EXPECT_EQ(FormatTimeValue(kMax, TimeFormat_NanoSeconds), L"256204778:48:05.477_5807");
  EXPECT_EQ(FormatTimeValue(kMin, TimeFormat_NanoSeconds), L"-256204778:48:05.477_5808");
  EXPECT_EQ(FormatTimeValue(kMax, TimeFormat_Clock), L"256204778:48:05");
  EXPECT_EQ(FormatTimeValue(kMin, TimeFormat_MilliSeconds_NoPrefix), L"-256204778:48:05.477");
  EXPECT_EQ(FormatTimeValue(kMax, TimeFormat_Minutes_NoPrefix), L"256204778:48:");
  EXPECT_EQ(FormatTimeValue(kMax, TimeFormat_Natural), L"256204778:48:05.47");
  EXPECT_EQ(FormatTimeValue(kMax, TimeFormat_Sport), L"15372286728' 05\"");
  EXPECT_EQ(FormatTimeValue(kMin, TimeFormat_MinutesSeconds), L"-15372286728:05");
  EXPECT_EQ(FormatTimeValue(kMax, TimeFormat_TimeCode, 25, 1), L"23058430092136");
  EXPECT_EQ(FormatTimeValue(kMin, TimeFormat_TimeCode, 25, 1), L"-23058430092136");
  // 922,337,203,685,477 ms taken modulo 2^32 as the interval's argument.
  EXPECT_EQ(FormatTimeValue(kMin, TimeFormat_Natural), L"-435 hr 13 min 24 sec");
  // Frame counts beyond 64 bits are clamped.
  EXPECT_EQ(FormatTimeValue(kMax, TimeFormat_TimeCode, INT_MAX, 1), L"9223372036854775807");
  EXPECT_EQ(FormatTimeValue(kMax, TimeFormat_TimeCode, INT_MAX, -1), L"-9223372036854775808");
}

TEST(FormatTimeValue, UnknownFormatsGiveNoText) {
  for (int format : {13, 14, INT_MAX, -1, INT_MIN}) {
    EXPECT_EQ(FormatTimeValue(51'234'567, format), L"") << format;
  }
}

TEST(TimeFormatNames, LookupBothWays) {
  const wchar_t* names[] = {L"NanoSeconds",           L"MilliSeconds",          L"Seconds",
                            L"TimeCode",              L"Natural",               L"Sport",
                            L"MilliSeconds_NoPrefix", L"CentiSeconds_NoPrefix", L"DeciSeconds_NoPrefix",
                            L"Seconds_NoPrefix",      L"MinutesSeconds",        L"Minutes_NoPrefix"};
  for (int i = 0; i < 12; ++i) {
    EXPECT_STREQ(GetTimeFormatName(i), names[i]);
    int found = -1;
    ASSERT_TRUE(FindTimeFormatByName(names[i], found));
    EXPECT_EQ(found, i);
  }
  EXPECT_EQ(GetTimeFormatName(TimeFormat_Clock), nullptr);
  EXPECT_EQ(GetTimeFormatName(13), nullptr);
  EXPECT_EQ(GetTimeFormatName(-1), nullptr);

  int format = 7;
  EXPECT_FALSE(FindTimeFormatByName(L"natural", format));
  EXPECT_FALSE(FindTimeFormatByName(L"", format));
  EXPECT_FALSE(FindTimeFormatByName(L"Natural ", format));
  EXPECT_EQ(format, 7);
}

TEST(FormatTimestamp, DottedAndCompactPatterns) {
  EXPECT_EQ(FormatTimestamp(2024, 3, 7, 9, 5, 1, 42, false), L"2024.03.07T09:05:01.042");
  EXPECT_EQ(FormatTimestamp(2024, 3, 7, 9, 5, 1, 42, true), L"20240307T090501042");
  EXPECT_EQ(FormatTimestamp(987, 12, 31, 23, 59, 59, 999, false), L"0987.12.31T23:59:59.999");
  EXPECT_EQ(FormatTimestamp(12345, 1, 1, 0, 0, 0, 0, true), L"123450101T000000000");
  // Negative fields are padded after the sign, the sign counted in the width.
  EXPECT_EQ(FormatTimestamp(-5, -3, 0, -12, 7, -1, -7, false), L"-005.-3.00T-12:07:-1.-07");
  EXPECT_EQ(FormatTimestamp(INT_MIN, 1, 2, 3, 4, 5, INT_MAX, true), L"-21474836480102T0304052147483647");
}

}  // namespace
}  // namespace qz_dsc
