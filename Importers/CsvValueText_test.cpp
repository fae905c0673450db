#include "CsvValueText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace qz_dsc::csv {
namespace {

std::optional<std::int64_t> Ticks(std::string_view text, int digits, char decimal = '.') {
  std::int64_t t = 0;
  return ParseDecimalTicks(text, decimal, digits, t) ? std::optional<std::int64_t>(t) : std::nullopt;
}

TEST(CsvValueText, DecimalTimesAreExactOnTheirDigits) {
  struct Case {
    std::string_view text;
    int digits;
    char decimal;
    std::optional<std::int64_t> ticks;
  };
  const Case cases[] = {
      {"12.3456789", 7, '.', 123'456'789},
      {"0.1", 7, '.', 1'000'000},  // 0.1 has no exact double; the digits do
      {"-0.5", 7, '.', -5'000'000},
      {"3,25", 7, ',', 32'500'000},
      {"+7", 7, '.', 70'000'000},
      {" 5. ", 7, '.', 50'000'000},
      {".5", 7, '.', 5'000'000},
      {"0.00000005", 7, '.', 1},   // beyond a tick: half rounds away from zero
      {"-0.00000005", 7, '.', -1},
      {"0.000000049", 7, '.', 0},
      {"1.5", 4, '.', 15'000},     // milliseconds
      {"2.25", 1, '.', 23},        // microseconds, rounded
      {"42", 0, '.', 42},          // ticks
      {"922337203685.4775807", 7, '.', std::numeric_limits<std::int64_t>::max()},
      {"922337203685.4775808", 7, '.', std::nullopt},
      {"99999999999999999999", 0, '.', std::nullopt},
      {"1e3", 7, '.', std::nullopt},
      {"1.5", 7, ',', std::nullopt},
      {"1.2.3", 7, '.', std::nullopt},
      {"", 7, '.', std::nullopt},
      {".", 7, '.', std::nullopt},
      {"-", 7, '.', std::nullopt},
      {"abc", 7, '.', std::nullopt},
  };
  for (const Case& c : cases) EXPECT_EQ(Ticks(c.text, c.digits, c.decimal), c.ticks) << c.text;
}

TEST(CsvValueText, IntegersFitThirtyTwoBits) {
  std::int32_t v = 0;
  EXPECT_TRUE(ParseInt32("2147483647", v));
  EXPECT_EQ(v, 2147483647);
  EXPECT_TRUE(ParseInt32(" +5 ", v));
  EXPECT_EQ(v, 5);
  EXPECT_TRUE(ParseInt32("-2147483648", v));
  for (std::string_view bad : {"2147483648", "5.0", "", "+", "1 2", "0x10", "--1"}) {
    EXPECT_FALSE(ParseInt32(bad, v)) << bad;
  }
}

TEST(CsvValueText, DoublesAreFiniteAndFollowTheDecimalSign) {
  double v = 0;
  EXPECT_TRUE(ParseDouble("-1.5", '.', v));
  EXPECT_EQ(v, -1.5);
  EXPECT_TRUE(ParseDouble("2e-3", '.', v));
  EXPECT_EQ(v, 2e-3);
  EXPECT_TRUE(ParseDouble("1,25", ',', v));
  EXPECT_EQ(v, 1.25);
  EXPECT_TRUE(ParseDouble("+.5", '.', v));
  EXPECT_EQ(v, 0.5);
  for (std::string_view bad : {"inf", "-inf", "nan", "1e999", "1,5", "--1", "+-1", "", "1.5x"}) {
    EXPECT_FALSE(ParseDouble(bad, '.', v)) << bad;
  }
  EXPECT_FALSE(ParseDouble("1.5", ',', v));  // no digit grouping with a decimal comma
}

TEST(CsvValueText, IsoDateTimesCountFromTheEpochInUtc) {
  const auto iso = [](std::string_view text) {
    std::int64_t t = 0;
    return ParseIsoDateTime(text, t) ? std::optional<std::int64_t>(t) : std::nullopt;
  };
  constexpr std::int64_t kSecond = 10'000'000;
  EXPECT_EQ(iso("1970-01-01T00:00:00Z"), 0);
  EXPECT_EQ(iso("1970-01-01"), 0);
  EXPECT_EQ(iso("1970-01-01T01:00:00+01:00"), 0);
  EXPECT_EQ(iso("1969-12-31T23:59:59.9999999"), -1);
  EXPECT_EQ(iso("2024-03-01T00:00") .value() - iso("2024-02-28T00:00").value(), 2 * 86'400 * kSecond);  // leap day
  EXPECT_EQ(iso("2024-03-07 09:05:01,5-0130").value() - iso("2024-03-07T10:35:01Z").value(), 5'000'000);
  for (std::string_view bad : {"2023-02-29", "2024-13-01", "2024-03-07T24:00", "2024-03-07T09:60",
                               "2024-03-07T09:05:01.", "2024-03-07T09:05+1", "2024-03-07X", "24-03-07"}) {
    EXPECT_EQ(iso(bad), std::nullopt) << bad;
  }
  EXPECT_TRUE(LooksLikeIsoDate("2024-03-07"));
  EXPECT_FALSE(LooksLikeIsoDate("1:02:03"));
}

}  // namespace
}  // namespace qz_dsc::csv
