// Fuzz target for the time texts: formats any ticks in any format and frame
// rate, reads every clock text back, and parses arbitrary typed text.
// A clock text that is formatted must parse back to the time cut to what the
// format shows; a refused text leaves the target untouched.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "qz_dsc/Ticks.h"
#include "qz_dsc/TimeValueText.h"

namespace {

using qz_dsc::kTicksPerSecond;

constexpr std::int64_t kUntouched = 0x5A5A5A5A5A5A5A5A;
constexpr std::int64_t kMinute = 60 * kTicksPerSecond;
constexpr std::int64_t kNaturalClockFrom = 23 * 60 * kMinute + 30 * kMinute;

[[noreturn]] void Fail(const char* what, const std::wstring& text, std::int64_t ticks, int format) {
  std::fprintf(stderr, "%s: format %d, ticks %lld, text \"%ls\"\n", what, format, static_cast<long long>(ticks),
               text.c_str());
  std::abort();
}

// The unit a format shows its time in when its text is a clock that the
// parser reads; 0 when it is not.
std::int64_t ReadBackUnit(int format, std::int64_t ticks) {
  switch (format) {
    case qz_dsc::TimeFormat_MilliSeconds:
    case qz_dsc::TimeFormat_MilliSeconds_NoPrefix:
      return qz_dsc::kTicksPerMillisecond;
    case qz_dsc::TimeFormat_CentiSeconds_NoPrefix:
      return 10 * qz_dsc::kTicksPerMillisecond;
    case qz_dsc::TimeFormat_DeciSeconds_NoPrefix:
      return 100 * qz_dsc::kTicksPerMillisecond;
    case qz_dsc::TimeFormat_Seconds:
    case qz_dsc::TimeFormat_Seconds_NoPrefix:
    case qz_dsc::TimeFormat_Clock:
    case qz_dsc::TimeFormat_MinutesSeconds:
      return kTicksPerSecond;
    case qz_dsc::TimeFormat_Minutes_NoPrefix:
      return kMinute;
    case qz_dsc::TimeFormat_Natural:
      // A clock with centiseconds from 23.5 hours on; words below.
      return ticks >= kNaturalClockFrom ? 10 * qz_dsc::kTicksPerMillisecond : 0;
    default:
      return 0;
  }
}

void CheckFormat(std::int64_t ticks, int format, int numerator, int denominator) {
  const std::wstring text = qz_dsc::FormatTimeValue(ticks, format, numerator, denominator);
  if (format < 0 || format >= qz_dsc::kTimeFormatCount) {
    if (!text.empty()) Fail("text for an unknown format", text, ticks, format);
    return;
  }
  const std::int64_t unit = ReadBackUnit(format, ticks);
  if (unit == 0) return;
  const bool negative = ticks < 0;
  const std::uint64_t magnitude = negative ? 0 - static_cast<std::uint64_t>(ticks) : static_cast<std::uint64_t>(ticks);
  const auto shown = static_cast<std::int64_t>(magnitude / static_cast<std::uint64_t>(unit) * static_cast<std::uint64_t>(unit));
  std::int64_t parsed = kUntouched;
  if (!qz_dsc::ParseTimeValue(text, parsed)) Fail("clock text refused", text, ticks, format);
  if (parsed != (negative ? -shown : shown)) Fail("clock text reads back wrong", text, ticks, format);
}

void CheckParse(const std::wstring& text) {
  std::int64_t ticks = kUntouched;
  const bool ok = qz_dsc::ParseTimeValue(text, ticks);
  if (!ok && ticks != kUntouched) Fail("refused text changed the target", text, ticks, -1);
  // A sign in front of an unsigned text negates it and changes nothing else.
  if (text.empty() || text[0] == L'-' || text[0] == L'+') return;
  std::int64_t negated = kUntouched;
  std::int64_t plus = kUntouched;
  const bool negatedOk = qz_dsc::ParseTimeValue(L"-" + text, negated);
  const bool plusOk = qz_dsc::ParseTimeValue(L"+" + text, plus);
  if (negatedOk != ok || plusOk != ok) Fail("a sign changed whether the text reads", text, ticks, -1);
  if (ok && (negated != -ticks || plus != ticks)) Fail("a sign changed the magnitude", text, ticks, -1);
}

void CheckNames(int format) {
  const wchar_t* name = qz_dsc::GetTimeFormatName(format);
  if (name == nullptr) return;
  int found = -1;
  if (!qz_dsc::FindTimeFormatByName(name, found) || found != format) Fail("name does not find its format", name, 0, format);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  const auto ticks = in.ConsumeIntegral<std::int64_t>();
  const int format = in.ConsumeIntegralInRange<int>(-2, qz_dsc::kTimeFormatCount + 1);
  const auto numerator = in.ConsumeIntegral<int>();
  const auto denominator = in.ConsumeIntegral<int>();

  // The same time in every format too, so that each input checks all of them.
  CheckFormat(ticks, format, numerator, denominator);
  for (int f = 0; f < qz_dsc::kTimeFormatCount; ++f) {
    CheckFormat(ticks, f, numerator, denominator);
  }
  CheckNames(format);
  (void)qz_dsc::FormatTimestamp(in.ConsumeIntegral<int>(), in.ConsumeIntegral<int>(), in.ConsumeIntegral<int>(),
                                in.ConsumeIntegral<int>(), in.ConsumeIntegral<int>(), in.ConsumeIntegral<int>(),
                                in.ConsumeIntegral<int>(), in.ConsumeBool());

  // The rest is typed text, one byte a character (ASCII is where the grammar is).
  const std::string bytes = in.ConsumeRemainingBytesAsString();
  std::wstring text;
  for (const char c : bytes) text.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
  CheckParse(text);
  return 0;
}
