#include "qz_dsc/TimeValueText.h"

#include <cwctype>
#include <limits>

#include "module/Check.h"
#include "time/TimeIntervalText.h"

namespace qz_dsc {
namespace {

constexpr std::uint64_t kHour = 36'000'000'000;
constexpr std::uint64_t kMinute = 600'000'000;
constexpr std::uint64_t kSecond = 10'000'000;
constexpr std::uint64_t kMillisecond = 10'000;

// From this time on the "Natural" format shows a clock instead of words.
constexpr std::int64_t kNaturalClockFrom = 846'000'000'000;  // 23.5 hours

// The interval function's buffer and significant digits for "Natural".
constexpr std::size_t kIntervalBufferChars = 30;
constexpr int kIntervalDigits = 30;

// Clock option bits.
constexpr unsigned kNoPrefix = 1;
constexpr unsigned kKeepMinutes = 2;

// Indexed by format; format 12 has no name.
constexpr const wchar_t* kFormatNames[kTimeFormatCount] = {
    L"NanoSeconds",
    L"MilliSeconds",
    L"Seconds",
    L"TimeCode",
    L"Natural",
    L"Sport",
    L"MilliSeconds_NoPrefix",
    L"CentiSeconds_NoPrefix",
    L"DeciSeconds_NoPrefix",
    L"Seconds_NoPrefix",
    L"MinutesSeconds",
    L"Minutes_NoPrefix",
    nullptr,
};

// A time split into its magnitude's parts. The magnitude is unsigned so that
// INT64_MIN has one (2^63).
struct Parts {
  bool negative;
  std::uint64_t magnitude;
  std::int32_t hours;
  int minutes;  // 0..59
  int seconds;  // 0..59
  int rest;     // ticks below the second, 0..9,999,999
};

Parts Split(std::int64_t t) {
  Parts p{};
  p.negative = t < 0;
  // Unsigned negation is defined for every value, INT64_MIN included.
  p.magnitude = p.negative ? 0 - static_cast<std::uint64_t>(t) : static_cast<std::uint64_t>(t);
  // Hours are a signed 32-bit value, taken as the two's-complement
  // truncation; 2^63 ticks are about 2.6e8 hours, so nothing is lost today.
  p.hours = static_cast<std::int32_t>(p.magnitude / kHour);
  std::uint64_t rem = p.magnitude % kHour;
  p.minutes = static_cast<int>(rem / kMinute);
  rem %= kMinute;
  p.seconds = static_cast<int>(rem / kSecond);
  p.rest = static_cast<int>(rem % kSecond);
  return p;
}

std::wstring Clock(const Parts& p, unsigned options, int decimals) {
  std::wstring s = p.negative ? L"-" : L"";
  if (p.hours != 0) {
    s += FormatW(L"%d:%02d:%02d", p.hours, p.minutes, p.seconds);
  } else if ((options & kNoPrefix) == 0) {
    s += FormatW(L"0:%02d:%02d", p.minutes, p.seconds);
  } else if (p.minutes != 0 || (options & kKeepMinutes) != 0) {
    s += FormatW(L"%d:%02d", p.minutes, p.seconds);
  } else {
    s += FormatW(L"%d", p.seconds);
  }
  switch (decimals) {
    case 1: s += FormatW(L".%1d", p.rest / 1'000'000); break;
    case 2: s += FormatW(L".%02d", p.rest / 100'000); break;
    case 3: s += FormatW(L".%03d", p.rest / 10'000); break;
    default: break;
  }
  return s;
}

std::wstring Sign(const Parts& p) { return p.negative ? L"-" : L""; }

// Frames in the magnitude at numerator/denominator frames a second,
// truncated, in double precision. Quotients beyond the 64-bit range (only
// reachable with absurd rates) are clamped rather than converted.
std::int64_t FrameNumber(std::uint64_t magnitude, int numerator, int denominator) {
  if (denominator == 0) return 0;
  const double frames = static_cast<double>(magnitude) * static_cast<double>(numerator) /
                        (static_cast<double>(denominator) * static_cast<double>(kSecond));
  constexpr double kLimit = 9'223'372'036'854'775'808.0;  // 2^63
  if (frames >= kLimit) return std::numeric_limits<std::int64_t>::max();
  if (frames <= -kLimit) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(frames);
}

std::wstring Trim(const std::wstring& s) {
  std::size_t begin = 0;
  std::size_t end = s.size();
  while (begin < end && std::iswspace(static_cast<std::wint_t>(s[begin]))) ++begin;
  while (end > begin && std::iswspace(static_cast<std::wint_t>(s[end - 1]))) --end;
  return s.substr(begin, end - begin);
}

std::wstring Natural(std::int64_t t, const Parts& p) {
  if (t >= kNaturalClockFrom) return Clock(p, kNoPrefix, 2);
  // The interval function takes the milliseconds as a 32-bit DWORD; like the
  // conversion to that argument, magnitudes beyond it wrap modulo 2^32
  // (only negative times that large reach this path).
  const auto milliseconds = static_cast<std::uint32_t>(p.magnitude / kMillisecond);
  return Sign(p) + Trim(TimeIntervalText::Format(milliseconds, kIntervalDigits, kIntervalBufferChars));
}

// Formats 5 and 10 count whole minutes without folding them into hours; they
// are written as 64-bit numbers since they pass 32 bits after about 4,000
// years.
std::wstring Sport(const Parts& p) {
  const std::uint64_t ms = p.magnitude / kMillisecond;
  const auto minutes = static_cast<long long>(ms / 60'000);
  const auto seconds = static_cast<int>(ms % 60'000 / 1000);
  if (minutes <= 0) return Sign(p) + FormatW(L"%d\"", seconds);
  return Sign(p) + FormatW(L"%I64d' %02d\"", minutes, seconds);
}

std::wstring MinutesSeconds(const Parts& p) {
  const std::uint64_t ms = p.magnitude / kMillisecond;
  const auto minutes = static_cast<long long>(ms / 60'000);
  const auto seconds = static_cast<int>(ms % 60'000 / 1000);
  return Sign(p) + FormatW(L"%02I64d:%02d", minutes, seconds);
}

// Hours and minutes only, ending with a colon.
std::wstring MinutesNoPrefix(const Parts& p) {
  std::wstring s = Sign(p);
  if (p.hours != 0) {
    s += FormatW(L"%d:%02d:", p.hours, p.minutes);
  } else if (p.minutes != 0) {
    s += FormatW(L"%d:", p.minutes);
  }
  return s;
}

}  // namespace

std::wstring FormatTimeValue(std::int64_t ticks, int format, int rateNumerator, int rateDenominator) {
  const Parts p = Split(ticks);
  switch (format) {
    case TimeFormat_NanoSeconds:
      return FormatW(p.negative ? L"-%02d:%02d:%02d.%03d_%04d" : L"%02d:%02d:%02d.%03d_%04d", p.hours,
                             p.minutes, p.seconds, p.rest / 10'000, p.rest % 10'000);
    case TimeFormat_MilliSeconds: return Clock(p, 0, 3);
    case TimeFormat_Seconds: return Clock(p, 0, 0);
    case TimeFormat_TimeCode:
      return FormatW(p.negative ? L"-%I64d" : L"%I64d",
                             static_cast<long long>(FrameNumber(p.magnitude, rateNumerator, rateDenominator)));
    case TimeFormat_Natural: return Natural(ticks, p);
    case TimeFormat_Sport: return Sport(p);
    case TimeFormat_MilliSeconds_NoPrefix: return Clock(p, kNoPrefix, 3);
    case TimeFormat_CentiSeconds_NoPrefix: return Clock(p, kNoPrefix, 2);
    case TimeFormat_DeciSeconds_NoPrefix: return Clock(p, kNoPrefix, 1);
    case TimeFormat_Seconds_NoPrefix: return Clock(p, kNoPrefix, 0);
    case TimeFormat_MinutesSeconds: return MinutesSeconds(p);
    case TimeFormat_Minutes_NoPrefix: return MinutesNoPrefix(p);
    case TimeFormat_Clock: return Clock(p, kNoPrefix | kKeepMinutes, 0);
    default: return std::wstring();
  }
}

const wchar_t* GetTimeFormatName(int format) noexcept {
  if (format < 0 || format >= kTimeFormatCount) return nullptr;
  return kFormatNames[format];
}

bool FindTimeFormatByName(const std::wstring& name, int& format) noexcept {
  for (int i = 0; i < kTimeFormatCount; ++i) {
    if (kFormatNames[i] != nullptr && name == kFormatNames[i]) {
      format = i;
      return true;
    }
  }
  return false;
}

std::wstring FormatTimestamp(int year, int month, int day, int hour, int minute, int second, int millisecond,
                             bool compact) {
  return FormatW(compact ? L"%04d%02d%02dT%02d%02d%02d%03d" : L"%04d.%02d.%02dT%02d:%02d:%02d.%03d", year,
                         month, day, hour, minute, second, millisecond);
}

}  // namespace qz_dsc
