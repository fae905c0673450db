#include "qz_dsc/TimeValueText.h"

#include <cstdint>
#include <cwctype>
#include <limits>

#include "qz_dsc/Ticks.h"
#include "time/NarrowText.h"
#include "time/TimeIntervalText.h"

namespace qz_dsc {
namespace {

constexpr std::uint64_t kSecond = kTicksPerSecond;
constexpr std::uint64_t kMinute = 60 * kSecond;
constexpr std::uint64_t kHour = 60 * kMinute;
constexpr std::uint64_t kMillisecond = kTicksPerMillisecond;

// From this time on the "Natural" format shows a clock instead of words.
constexpr std::int64_t kNaturalClockFrom = 23 * kHour + 30 * kMinute;

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
  const std::uint64_t seconds = p.magnitude / kSecond;
  p.rest = static_cast<int>(p.magnitude - seconds * kSecond);
  const std::uint64_t hours = seconds / 3600;
  p.hours = static_cast<std::int32_t>(hours);
  // Below 3,600 in 32 bits, where the divisions are cheaper.
  const auto secondsInHour = static_cast<std::uint32_t>(seconds - hours * 3600);
  p.minutes = static_cast<int>(secondsInHour / 60);
  p.seconds = static_cast<int>(secondsInHour % 60);
  return p;
}

std::wstring Clock(const Parts& p, unsigned options, int decimals) {
  NarrowText s(p.negative);
  if (p.hours != 0) {
    s.Number(p.hours).Put(':').Number(p.minutes, 2).Put(':').Number(p.seconds, 2);
  } else if ((options & kNoPrefix) == 0) {
    s.Put('0').Put(':').Number(p.minutes, 2).Put(':').Number(p.seconds, 2);
  } else if (p.minutes != 0 || (options & kKeepMinutes) != 0) {
    s.Number(p.minutes).Put(':').Number(p.seconds, 2);
  } else {
    s.Number(p.seconds);
  }
  switch (decimals) {
    case 1: s.Put('.').Number(p.rest / 1'000'000, 1); break;
    case 2: s.Put('.').Number(p.rest / 100'000, 2); break;
    case 3: s.Put('.').Number(p.rest / 10'000, 3); break;
    default: break;
  }
  return s.Widen();
}

// Hours, minutes, seconds, milliseconds and the remaining 100-ns ticks.
std::wstring NanoSeconds(const Parts& p) {
  NarrowText s(p.negative);
  s.Number(p.hours, 2).Put(':').Number(p.minutes, 2).Put(':').Number(p.seconds, 2);
  s.Put('.').Number(p.rest / 10'000, 3).Put('_').Number(p.rest % 10'000, 4);
  return s.Widen();
}

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

// The sign of the time, then the frame number with its own sign (a negative
// rate gives "--25" for a negative time).
std::wstring TimeCode(const Parts& p, int numerator, int denominator) {
  NarrowText s(p.negative);
  s.Number(FrameNumber(p.magnitude, numerator, denominator));
  return s.Widen();
}

// Removes white space from both ends, in place (no second string).
void Trim(std::wstring& s) {
  std::size_t begin = 0;
  std::size_t end = s.size();
  while (begin < end && std::iswspace(static_cast<std::wint_t>(s[begin]))) ++begin;
  while (end > begin && std::iswspace(static_cast<std::wint_t>(s[end - 1]))) --end;
  s.erase(end);
  s.erase(0, begin);
}

std::wstring Natural(std::int64_t t, const Parts& p) {
  if (t >= kNaturalClockFrom) return Clock(p, kNoPrefix, 2);
  // The interval function takes the milliseconds as a 32-bit DWORD; like the
  // conversion to that argument, magnitudes beyond it wrap modulo 2^32
  // (only negative times that large reach this path).
  const auto milliseconds = static_cast<std::uint32_t>(p.magnitude / kMillisecond);
  std::wstring text = TimeIntervalText::Format(milliseconds, kIntervalDigits, kIntervalBufferChars);
  Trim(text);
  // The interval text is built with room to spare, so the sign goes in front
  // without a new buffer.
  if (p.negative) text.insert(text.begin(), L'-');
  return text;
}

// Formats 5 and 10 count whole minutes without folding them into hours; they
// are written as 64-bit numbers since they pass 32 bits after about 4,000
// years.
std::wstring Sport(const Parts& p) {
  const std::uint64_t ms = p.magnitude / kMillisecond;
  const std::uint64_t minutes = ms / 60'000;
  const std::uint64_t seconds = ms % 60'000 / 1000;
  NarrowText s(p.negative);
  if (minutes == 0) {
    s.Unsigned(seconds);
  } else {
    s.Unsigned(minutes).Put('\'').Put(' ').Unsigned(seconds, 2);
  }
  s.Put('"');
  return s.Widen();
}

std::wstring MinutesSeconds(const Parts& p) {
  const std::uint64_t ms = p.magnitude / kMillisecond;
  NarrowText s(p.negative);
  s.Unsigned(ms / 60'000, 2).Put(':').Unsigned(ms % 60'000 / 1000, 2);
  return s.Widen();
}

// Hours and minutes only, ending with a colon.
std::wstring MinutesNoPrefix(const Parts& p) {
  NarrowText s(p.negative);
  if (p.hours != 0) {
    s.Number(p.hours).Put(':').Number(p.minutes, 2).Put(':');
  } else if (p.minutes != 0) {
    s.Number(p.minutes).Put(':');
  }
  return s.Widen();
}

}  // namespace

std::wstring FormatTimeValue(std::int64_t ticks, int format, int rateNumerator, int rateDenominator) {
  const Parts p = Split(ticks);
  switch (format) {
    case TimeFormat_NanoSeconds: return NanoSeconds(p);
    case TimeFormat_MilliSeconds: return Clock(p, 0, 3);
    case TimeFormat_Seconds: return Clock(p, 0, 0);
    case TimeFormat_TimeCode: return TimeCode(p, rateNumerator, rateDenominator);
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
  const char dateMark = compact ? '\0' : '.';
  const char timeMark = compact ? '\0' : ':';
  NarrowText s;
  auto field = [&](int value, int width, char mark) {
    s.Number(value, width);
    if (mark != '\0') s.Put(mark);
  };
  field(year, 4, dateMark);
  field(month, 2, dateMark);
  field(day, 2, 'T');
  field(hour, 2, timeMark);
  field(minute, 2, timeMark);
  field(second, 2, dateMark);
  field(millisecond, 3, '\0');
  return s.Widen();
}

}  // namespace qz_dsc
