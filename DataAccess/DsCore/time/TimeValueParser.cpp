#include <limits>
#include <optional>
#include <regex>

#include "qz_dsc/TimeValueText.h"

namespace qz_dsc {
namespace {

constexpr std::int64_t kHour = 36'000'000'000;
constexpr std::int64_t kMinute = 600'000'000;
constexpr std::int64_t kSecond = 10'000'000;
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

// [sign][digits:][digits:][digits][any one character][digits]. The "." is
// deliberately unescaped: "3,25" and "3 25" read like "3.25".
const std::wregex& TimePattern() {
  static const std::wregex pattern(L"([-+]){0,1}([0-9]*:){0,1}([0-9]*:){0,1}([0-9]+){0,1}.{0,1}([0-9]*)");
  return pattern;
}

// Reads the leading ASCII digits of [first, last) as a 64-bit count; an empty
// run reads as 0. Nothing when the number does not fit 64 bits.
std::optional<std::int64_t> ReadNumber(std::wstring::const_iterator first, std::wstring::const_iterator last) {
  std::int64_t value = 0;
  for (; first != last && *first >= L'0' && *first <= L'9'; ++first) {
    const int digit = static_cast<int>(*first - L'0');
    if (value > (kMax - digit) / 10) return std::nullopt;
    value = value * 10 + digit;
  }
  return value;
}

// total += count * unit, or false on overflow.
bool AddScaled(std::int64_t& total, std::int64_t count, std::int64_t unit) {
  if (count > (kMax - total) / unit) return false;
  total += count * unit;
  return true;
}

}  // namespace

bool ParseTimeValue(const std::wstring& text, std::int64_t& ticks) {
  // The regex engine recurses once per character (a few hundred bytes of
  // stack each); the bound keeps a parse safe on small thread stacks.
  if (text.size() > kMaxTimeTextLength) return false;

  std::wsmatch m;
  if (!std::regex_match(text, m, TimePattern())) return false;

  std::int64_t total = 0;

  // Groups 2 and 3 end with their colon: both are hours and minutes, a single
  // one is minutes.
  std::optional<std::int64_t> hours;
  std::optional<std::int64_t> minutes;
  for (int group : {2, 3}) {
    if (!m[group].matched) continue;
    const auto value = ReadNumber(m[group].first, m[group].second);
    if (!value) return false;
    if (!minutes) {
      minutes = value;
    } else {
      hours = minutes;
      minutes = value;
    }
  }
  if (hours && !AddScaled(total, *hours, kHour)) return false;
  if (minutes && !AddScaled(total, *minutes, kMinute)) return false;

  if (m[4].matched) {
    const auto seconds = ReadNumber(m[4].first, m[4].second);
    if (!seconds || !AddScaled(total, *seconds, kSecond)) return false;
  }

  // Only the first three digits of the fraction count; an empty fraction adds
  // nothing.
  const std::wstring fraction = m[5].str().substr(0, 3);
  if (!fraction.empty()) {
    static constexpr std::int64_t kScale[] = {0, 1'000'000, 100'000, 10'000};
    const auto value = ReadNumber(fraction.begin(), fraction.end());
    if (!AddScaled(total, *value, kScale[fraction.size()])) return false;
  }

  if (m[1].matched && *m[1].first == L'-') total = -total;
  ticks = total;
  return true;
}

}  // namespace qz_dsc
