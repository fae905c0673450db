#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <random>
#include <regex>
#include <vector>

#include "qz_dsc/Ticks.h"
#include "qz_dsc/TimeValueText.h"

namespace qz_dsc {
namespace {

constexpr std::int64_t kSecond = kTicksPerSecond;
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

TEST(ParseTimeValue, LongTextsAreReadWhole) {
  const std::wstring zeros(100'000, L'0');
  EXPECT_EQ(Parse(zeros + L"1:" + zeros + L"2:" + zeros + L"3." + L"5" + zeros),
            kHour + 2 * kMinute + 3 * kSecond + 5'000'000);
  EXPECT_EQ(Parse(L"-" + zeros + L"7"), -7 * kSecond);
  EXPECT_EQ(Parse(L"1." + zeros), kSecond);
  // Every way of splitting these is tried and each fails at the far end.
  ExpectRefused(zeros + L"1:" + zeros + L":" + zeros + L"a:");
  ExpectRefused(L"-" + zeros + zeros + L"\n");
  ExpectRefused(L"1" + zeros + L"0");
}

// The first parser, on the standard regex engine: the reference the parser
// must agree with on every text. The engine recurses once per character, so
// it is only given short texts.
std::optional<std::int64_t> ReferenceParse(const std::wstring& text) {
  static const std::wregex pattern(L"([-+]){0,1}([0-9]*:){0,1}([0-9]*:){0,1}([0-9]+){0,1}.{0,1}([0-9]*)");
  std::wsmatch m;
  if (!std::regex_match(text, m, pattern)) return std::nullopt;
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  bool overflow = false;
  auto number = [&](std::wstring digits) {
    std::int64_t value = 0;
    for (wchar_t c : digits) {
      if (c < L'0' || c > L'9') break;
      if (value > (kMax - (c - L'0')) / 10) overflow = true;
      if (!overflow) value = value * 10 + (c - L'0');
    }
    return value;
  };
  std::int64_t total = 0;
  auto add = [&](std::int64_t count, std::int64_t unit) {
    if (count > (kMax - total) / unit) overflow = true;
    if (!overflow) total += count * unit;
  };
  std::optional<std::int64_t> hours, minutes;
  for (int group : {2, 3}) {
    if (!m[group].matched) continue;
    if (minutes) hours = minutes;
    minutes = number(m[group].str());
  }
  if (hours) add(*hours, kHour);
  if (minutes) add(*minutes, kMinute);
  if (m[4].matched) add(number(m[4].str()), kSecond);
  const std::wstring fraction = m[5].str().substr(0, 3);
  static constexpr std::int64_t kScale[] = {0, 1'000'000, 100'000, 10'000};
  if (!fraction.empty()) add(number(fraction), kScale[fraction.size()]);
  if (overflow) return std::nullopt;
  return m[1].matched && m[1].str() == L"-" ? -total : total;
}

void ExpectSameAsReference(const std::wstring& text) {
  const std::optional<std::int64_t> expected = ReferenceParse(text);
  std::int64_t ticks = kUntouched;
  const bool parsed = ParseTimeValue(text, ticks);
  ASSERT_EQ(parsed, expected.has_value()) << text;
  ASSERT_EQ(ticks, expected.value_or(kUntouched)) << text;
}

// Every text of up to five characters from an alphabet of the pattern's
// pieces and its near misses (line breaks, other characters), then random
// longer texts mostly of digits, some with numbers near the 64-bit limit.
TEST(ParseTimeValue, AgreesWithTheRegexReference) {
  const std::wstring alphabet = L"07:-+.\n" L"\x2029" L"a";
  std::wstring text;
  std::vector<std::size_t> digits;
  for (std::size_t length = 0; length <= 5; ++length) {
    digits.assign(length, 0);
    for (;;) {
      text.clear();
      for (std::size_t d : digits) text += alphabet[d];
      ExpectSameAsReference(text);
      if (HasFatalFailure()) return;
      std::size_t i = 0;
      while (i < length && ++digits[i] == alphabet.size()) digits[i++] = 0;
      if (i == length) break;
    }
  }

  const std::wstring pieces[] = {L"1",  L"5",  L"0",       L"9",  L":",   L"-", L"+", L".", L",",
                                 L" ", L"\r", L"\x2028", L"99", L"00000", L"922337203685", L"9223372036854775807",
                                 std::wstring(1, L'\0')};
  std::mt19937 random(7);
  for (int i = 0; i < 20000; ++i) {
    text.clear();
    const int count = static_cast<int>(random() % 12);
    for (int j = 0; j < count; ++j) {
      // Digits three times out of four.
      const std::size_t pick = random() % 4 != 0 ? random() % 4 : random() % std::size(pieces);
      text += pieces[pick];
    }
    ExpectSameAsReference(text);
    if (HasFatalFailure()) return;
  }
}

// Every format's text of random times, the extremes among them: the formats
// that read back give the time cut to what they show; the others are refused
// or, like the frame number, read as something else.
TEST(ParseTimeValue, EveryFormatReadsBackWhereItCan) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kNaturalClockFrom = 23 * kHour + 30 * kMinute;
  constexpr std::int64_t kRefused = -1;  // the text must not parse
  constexpr std::int64_t kSkip = 0;      // the text reads as something else
  std::vector<std::int64_t> times = {0, 1, -1, kMax, kMin, kMax - 1, kMin + 1, kNaturalClockFrom, -kNaturalClockFrom,
                                     kMinute - 1, kMinute, -kMinute + 1};
  std::mt19937_64 random(20240307);
  for (int i = 0; i < 3000; ++i) {
    // Magnitudes spread over every size below 2^63.
    const std::uint64_t magnitude = (random() >> 1) >> (random() % 63);
    times.push_back((random() & 1) != 0 ? -static_cast<std::int64_t>(magnitude) : static_cast<std::int64_t>(magnitude));
  }
  for (const std::int64_t t : times) {
    const std::uint64_t magnitude = t < 0 ? 0 - static_cast<std::uint64_t>(t) : static_cast<std::uint64_t>(t);
    // The ticks a format shows, in units of its last field; kRefused and
    // kSkip as above.
    auto unitOf = [&](int format) -> std::int64_t {
      switch (format) {
        case TimeFormat_MilliSeconds:
        case TimeFormat_MilliSeconds_NoPrefix: return kTicksPerMillisecond;
        case TimeFormat_CentiSeconds_NoPrefix: return 10 * kTicksPerMillisecond;
        case TimeFormat_DeciSeconds_NoPrefix: return 100 * kTicksPerMillisecond;
        case TimeFormat_Seconds:
        case TimeFormat_Seconds_NoPrefix:
        case TimeFormat_MinutesSeconds:
        case TimeFormat_Clock: return kSecond;
        case TimeFormat_Minutes_NoPrefix: return kMinute;  // "1:05:" is hours and minutes
        // Words below 23.5 hours and for every negative time.
        case TimeFormat_Natural: return t >= kNaturalClockFrom ? 10 * kTicksPerMillisecond : kRefused;
        // 5" reads as 5 seconds; 1' 05" does not read.
        case TimeFormat_Sport: return magnitude < static_cast<std::uint64_t>(kMinute) ? kSecond : kRefused;
        case TimeFormat_NanoSeconds: return kRefused;  // "_" ends the fraction
        default: return kSkip;                        // frame numbers read as seconds
      }
    };
    for (int format = 0; format < kTimeFormatCount; ++format) {
      const std::wstring text = FormatTimeValue(t, format, 25, 1);
      const std::int64_t unit = unitOf(format);
      if (unit == kSkip) continue;
      std::int64_t parsed = kUntouched;
      const bool ok = ParseTimeValue(text, parsed);
      if (unit == kRefused) {
        ASSERT_FALSE(ok) << text << " format " << format;
        continue;
      }
      const auto shown = static_cast<std::int64_t>(magnitude / static_cast<std::uint64_t>(unit)) * unit;
      ASSERT_TRUE(ok) << text << " format " << format;
      ASSERT_EQ(parsed, t < 0 ? -shown : shown) << text << " format " << format;
    }
  }
}

}  // namespace
}  // namespace qz_dsc
