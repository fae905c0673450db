// Cell readers of the CSV importer. Times are computed on the digits with
// overflow checks, never through a double, so that decimal seconds written
// with seven decimals come back as the same tick.
#include "CsvValueText.h"

#include "qz_dsc/Ticks.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <system_error>

namespace qz_dsc::csv {
namespace {

constexpr std::array<std::int64_t, 8> kPowersOfTen{1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000};
constexpr std::int64_t kSecondsPerDay = 86'400;
constexpr int kTickDigits = 7;

bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

// Appends digit to value (value * 10 + digit); false on overflow.
bool PushDigit(std::int64_t& value, char digit) noexcept {
  return !__builtin_mul_overflow(value, 10, &value) && !__builtin_add_overflow(value, digit - '0', &value);
}

// Reads exactly count digits at text[pos], moving pos past them.
bool FixedDigits(std::string_view text, std::size_t& pos, int count, int& value) noexcept {
  if (pos + static_cast<std::size_t>(count) > text.size()) return false;
  value = 0;
  for (int i = 0; i < count; ++i) {
    const char c = text[pos++];
    if (!IsDigit(c)) return false;
    value = value * 10 + (c - '0');
  }
  return true;
}

bool Expect(std::string_view text, std::size_t& pos, char c) noexcept {
  if (pos < text.size() && text[pos] == c) {
    ++pos;
    return true;
  }
  return false;
}

// Days since 1970-01-01 of a proleptic Gregorian date.
std::int64_t DaysFromCivil(std::int64_t y, int m, int d) noexcept {
  y -= m <= 2 ? 1 : 0;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const std::int64_t yoe = y - era * 400;
  const std::int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146'097 + doe - 719'468;
}

int DaysInMonth(int year, int month) noexcept {
  static constexpr std::array<int, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

// The zone designator at text[pos] to seconds east of UTC; it must end text.
bool ParseZone(std::string_view text, std::size_t pos, std::int64_t& offsetSeconds) noexcept {
  offsetSeconds = 0;
  if (pos == text.size()) return true;
  if (text[pos] == 'Z' || text[pos] == 'z') return pos + 1 == text.size();
  if (text[pos] != '+' && text[pos] != '-') return false;
  const bool negative = text[pos++] == '-';
  int hours = 0;
  int minutes = 0;
  if (!FixedDigits(text, pos, 2, hours)) return false;
  if (pos < text.size()) {
    Expect(text, pos, ':');
    if (!FixedDigits(text, pos, 2, minutes)) return false;
  }
  if (pos != text.size() || hours > 23 || minutes > 59) return false;
  offsetSeconds = (hours * 3'600 + minutes * 60) * (negative ? -1 : 1);
  return true;
}

}  // namespace

std::string_view TrimBlanks(std::string_view text) noexcept {
  const auto blank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

bool ParseInt32(std::string_view text, std::int32_t& value) noexcept {
  text = TrimBlanks(text);
  if (text.size() > 1 && text[0] == '+' && IsDigit(text[1])) text.remove_prefix(1);
  const char* end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(text.data(), end, value);
  return ec == std::errc() && ptr == end;
}

bool ParseDouble(std::string_view text, char decimal, double& value) noexcept {
  text = TrimBlanks(text);
  if (text.size() > 1 && text[0] == '+' && (IsDigit(text[1]) || text[1] == decimal)) text.remove_prefix(1);
  const std::size_t first = !text.empty() && text[0] == '-' ? 1 : 0;
  // Refuses "inf", "nan" and a second sign, which from_chars would read.
  if (first >= text.size() || !(IsDigit(text[first]) || text[first] == decimal)) return false;
  std::array<char, 128> copy{};
  if (decimal != '.') {
    if (text.size() > copy.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '.') return false;
      copy[i] = text[i] == decimal ? '.' : text[i];
    }
    text = std::string_view(copy.data(), text.size());
  }
  const char* end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(text.data(), end, value);
  return ec == std::errc() && ptr == end && std::isfinite(value);
}

bool ParseDecimalTicks(std::string_view text, char decimal, int fractionDigits, std::int64_t& ticks) noexcept {
  if (fractionDigits < 0 || fractionDigits > kTickDigits) return false;
  text = TrimBlanks(text);
  std::size_t pos = 0;
  bool negative = false;
  if (pos < text.size() && (text[pos] == '+' || text[pos] == '-')) negative = text[pos++] == '-';
  std::int64_t result = 0;
  bool anyDigit = false;
  for (; pos < text.size() && IsDigit(text[pos]); ++pos) {
    if (!PushDigit(result, text[pos])) return false;
    anyDigit = true;
  }
  if (__builtin_mul_overflow(result, kPowersOfTen[static_cast<std::size_t>(fractionDigits)], &result)) return false;
  if (pos < text.size() && text[pos] == decimal) {
    ++pos;
    int index = 0;
    bool roundUp = false;
    for (; pos < text.size() && IsDigit(text[pos]); ++pos, ++index) {
      anyDigit = true;
      const int digit = text[pos] - '0';
      if (index < fractionDigits) {
        const std::int64_t place = kPowersOfTen[static_cast<std::size_t>(fractionDigits - 1 - index)];
        if (__builtin_add_overflow(result, digit * place, &result)) return false;
      } else if (index == fractionDigits) {
        roundUp = digit >= 5;
      }
    }
    if (roundUp && __builtin_add_overflow(result, 1, &result)) return false;
  }
  if (!anyDigit || pos != text.size()) return false;
  ticks = negative ? -result : result;
  return true;
}

bool LooksLikeIsoDate(std::string_view text) noexcept {
  text = TrimBlanks(text);
  return text.size() >= 5 && IsDigit(text[0]) && IsDigit(text[1]) && IsDigit(text[2]) && IsDigit(text[3]) &&
         text[4] == '-';
}

bool ParseIsoDateTime(std::string_view text, std::int64_t& ticks) noexcept {
  text = TrimBlanks(text);
  std::size_t pos = 0;
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (!FixedDigits(text, pos, 4, year) || !Expect(text, pos, '-') || !FixedDigits(text, pos, 2, month) ||
      !Expect(text, pos, '-') || !FixedDigits(text, pos, 2, day)) {
    return false;
  }
  if (month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month)) return false;
  std::int64_t fraction = 0;
  if (pos < text.size()) {
    if (text[pos] != 'T' && text[pos] != 't' && text[pos] != ' ') return false;
    ++pos;
    if (!FixedDigits(text, pos, 2, hour) || !Expect(text, pos, ':') || !FixedDigits(text, pos, 2, minute)) return false;
    if (Expect(text, pos, ':')) {
      if (!FixedDigits(text, pos, 2, second)) return false;
      if (pos < text.size() && (text[pos] == '.' || text[pos] == ',')) {
        ++pos;
        const std::size_t start = pos;
        while (pos < text.size() && IsDigit(text[pos])) ++pos;
        if (pos == start) return false;
        // Reads "0.<digits>" seconds as ticks with the decimal reader's rounding.
        if (!ParseDecimalTicks(text.substr(start - 1, pos - start + 1), text[start - 1], kTickDigits, fraction)) {
          return false;
        }
      }
    }
    if (hour > 23 || minute > 59 || second > 60) return false;
  }
  std::int64_t zoneSeconds = 0;
  if (!ParseZone(text, pos, zoneSeconds)) return false;
  const std::int64_t seconds =
      DaysFromCivil(year, month, day) * kSecondsPerDay + hour * 3'600 + minute * 60 + second - zoneSeconds;
  ticks = seconds * kTicksPerSecond + fraction;
  return true;
}

}  // namespace qz_dsc::csv
