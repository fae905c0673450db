#include <gtest/gtest.h>

#include <random>

#include "qz_dsc/TimeValueText.h"

namespace qz_dsc {
namespace {

constexpr std::int64_t kSecond = 10'000'000;
constexpr std::int64_t kMinute = 60 * kSecond;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kUntouched = 424242;

std::int64_t Parse(const std::wstring& text) {
  std::int64_t ticks = kUntouched;
  EXPECT_TRUE(ParseTimeValue(text, ticks)) << text;
  return ticks;
}

void ExpectRefused(const std::wstring& text) {
  std::int64_t ticks = kUntouched;
  EXPECT_FALSE(ParseTimeValue(text, ticks)) << text;
  EXPECT_EQ(ticks, kUntouched) << text;
}

TEST(ParseTimeValue, ColonGroupsAreHoursAndMinutesOrMinutesAlone) {
  EXPECT_EQ(Parse(L"1:02:03.5"), kHour + 2 * kMinute + 3 * kSecond + 5'000'000);
  EXPECT_EQ(Parse(L"2:03"), 2 * kMinute + 3 * kSecond);
  EXPECT_EQ(Parse(L"90"), 90 * kSecond);
  EXPECT_EQ(Parse(L"1::"), kHour);
  EXPECT_EQ(Parse(L":30"), 30 * kSecond);
  EXPECT_EQ(Parse(L"0:00:00"), 0);
}

TEST(ParseTimeValue, SignAppliesToTheWholeTime) {
  EXPECT_EQ(Parse(L"-7"), -7 * kSecond);
  EXPECT_EQ(Parse(L"+7"), 7 * kSecond);
  EXPECT_EQ(Parse(L"-1:00:00.25"), -(kHour + 2'500'000));
}

TEST(ParseTimeValue, FractionReadsThreeDigitsAfterAnySeparator) {
  EXPECT_EQ(Parse(L"3,25"), 32'500'000);
  EXPECT_EQ(Parse(L"3.25"), 32'500'000);
  EXPECT_EQ(Parse(L"3s25"), 32'500'000);
  EXPECT_EQ(Parse(L".5"), 5'000'000);
  EXPECT_EQ(Parse(L"0.05"), 500'000);
  EXPECT_EQ(Parse(L"1.007"), 10'070'000);
  EXPECT_EQ(Parse(L"1.23456789"), 12'340'000);
  EXPECT_EQ(Parse(L"5."), 5 * kSecond);
  EXPECT_EQ(Parse(L"5s"), 5 * kSecond);
  EXPECT_EQ(Parse(L"--5"), -5'000'000);
  // A third colon group is taken as the separator of the fraction.
  EXPECT_EQ(Parse(L"1:2:3:4"), kHour + 2 * kMinute + 3 * kSecond + 4'000'000);
}

TEST(ParseTimeValue, EmptyAndSignOnlyTextsReadAsZero) {
  EXPECT_EQ(Parse(L""), 0);
  EXPECT_EQ(Parse(L"-"), 0);
}

TEST(ParseTimeValue, MalformedTextsLeaveTicksUntouched) {
  for (const wchar_t* text :
       {L"abc", L"5 s", L"1.2.3", L"1:2:3:4:5", L"--5.", L"1:2-3-4", L" 5 ", L"12a34b", L"3\n25"}) {
    ExpectRefused(text);
  }
}

TEST(ParseTimeValue, NumbersBeyond64BitsAreRefused) {
  EXPECT_EQ(Parse(L"922337203685.4775"), 9'223'372'036'854'770'000);
  EXPECT_EQ(Parse(L"-922337203685.4775"), -9'223'372'036'854'770'000);
  ExpectRefused(L"9223372036854775808");
  ExpectRefused(L"922337203686");
  ExpectRefused(L"922337203685.48");
  ExpectRefused(L"256204779:0:0");
  ExpectRefused(L"99999999999999999999:0");
}

TEST(ParseTimeValue, OverlongTextsAreRefused) {
  std::wstring text = L"1." + std::wstring(kMaxTimeTextLength - 2, L'0');
  EXPECT_EQ(Parse(text), kSecond);
  ExpectRefused(text + L"0");
}

// Parsing the text of a clock format gives back the time cut to what the
// format shows.
TEST(ParseTimeValue, ReadsBackEveryClockFormat) {
  struct Case {
    int format;
    std::int64_t unit;
  };
  const Case cases[] = {{TimeFormat_MilliSeconds, 10'000},
                        {TimeFormat_Seconds, kSecond},
                        {TimeFormat_MilliSeconds_NoPrefix, 10'000},
                        {TimeFormat_CentiSeconds_NoPrefix, 100'000},
                        {TimeFormat_DeciSeconds_NoPrefix, 1'000'000},
                        {TimeFormat_Seconds_NoPrefix, kSecond},
                        {TimeFormat_Clock, kSecond}};
  std::mt19937_64 random(20240307);
  for (int i = 0; i < 3000; ++i) {
    // Magnitudes spread over every size below 2^63.
    const std::uint64_t magnitude = (random() >> 1) >> (random() % 63);
    const bool negative = (random() & 1) != 0;
    const auto t = negative ? -static_cast<std::int64_t>(magnitude) : static_cast<std::int64_t>(magnitude);
    for (const Case& c : cases) {
      const std::int64_t shown = static_cast<std::int64_t>(magnitude) / c.unit * c.unit;
      const std::wstring text = FormatTimeValue(t, c.format);
      std::int64_t parsed = kUntouched;
      ASSERT_TRUE(ParseTimeValue(text, parsed)) << text;
      ASSERT_EQ(parsed, negative ? -shown : shown) << text << " format " << c.format;
    }
  }
}

}  // namespace
}  // namespace qz_dsc
