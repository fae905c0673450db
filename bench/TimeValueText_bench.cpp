// Cost of the time texts: FormatTimeValue per format, and for the clock and
// the NanoSeconds shapes beside swprintf of the same shape and a hand-written
// digit loop; ParseTimeValue of a typed time beside swscanf.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cwchar>
#include <random>
#include <string>
#include <vector>

#include "qz_dsc/Ticks.h"
#include "qz_dsc/TimeValueText.h"

namespace {

constexpr std::int64_t kMinute = 60 * qz_dsc::kTicksPerSecond;
constexpr std::int64_t kHour = 60 * kMinute;

// Times from -1 to 10 hours, so that every path of a format is taken.
const std::vector<std::int64_t>& Times() {
  static const std::vector<std::int64_t> times = [] {
    std::vector<std::int64_t> v(1024);
    std::mt19937_64 random(42);
    std::uniform_int_distribution<std::int64_t> spread(-kHour, 10 * kHour);
    for (auto& t : v) t = spread(random);
    return v;
  }();
  return times;
}

struct Split {
  bool negative;
  int hours, minutes, seconds, rest;
};

Split SplitTime(std::int64_t t) {
  const std::uint64_t a = t < 0 ? 0 - static_cast<std::uint64_t>(t) : static_cast<std::uint64_t>(t);
  const auto second = static_cast<std::uint64_t>(qz_dsc::kTicksPerSecond);
  return {t < 0, static_cast<int>(a / kHour), static_cast<int>(a % kHour / kMinute),
          static_cast<int>(a % kMinute / second), static_cast<int>(a % second)};
}

// Writes value with at least width digits, wide characters, no library call.
wchar_t* HandDigits(wchar_t* out, unsigned value, int width) {
  wchar_t digits[10];
  int n = 0;
  do {
    digits[n++] = static_cast<wchar_t>(L'0' + value % 10);
    value /= 10;
  } while (value != 0);
  for (int i = n; i < width; ++i) *out++ = L'0';
  while (n > 0) *out++ = digits[--n];
  return out;
}

void BM_FormatTimeValue(benchmark::State& state) {
  const auto& times = Times();
  const int format = static_cast<int>(state.range(0));
  std::size_t i = 0;
  for (auto _ : state) {
    std::wstring text = qz_dsc::FormatTimeValue(times[i++ & 1023], format, 25, 1);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_FormatTimeValue)->DenseRange(0, 12)->ArgName("format");

// The MilliSeconds clock, "[-]h:mm:ss.mmm".
void BM_Clock_FormatTimeValue(benchmark::State& state) {
  const auto& times = Times();
  std::size_t i = 0;
  for (auto _ : state) {
    std::wstring text = qz_dsc::FormatTimeValue(times[i++ & 1023], qz_dsc::TimeFormat_MilliSeconds);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_Clock_FormatTimeValue);

void BM_Clock_Swprintf(benchmark::State& state) {
  const auto& times = Times();
  std::size_t i = 0;
  for (auto _ : state) {
    const Split p = SplitTime(times[i++ & 1023]);
    wchar_t buffer[64];
    const int n = std::swprintf(buffer, 64, p.negative ? L"-%d:%02d:%02d.%03d" : L"%d:%02d:%02d.%03d", p.hours,
                                p.minutes, p.seconds, p.rest / 10'000);
    std::wstring text(buffer, static_cast<std::size_t>(n));
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_Clock_Swprintf);

void BM_Clock_HandDigits(benchmark::State& state) {
  const auto& times = Times();
  std::size_t i = 0;
  for (auto _ : state) {
    const Split p = SplitTime(times[i++ & 1023]);
    wchar_t buffer[64];
    wchar_t* out = buffer;
    if (p.negative) *out++ = L'-';
    out = HandDigits(out, static_cast<unsigned>(p.hours), 1);
    *out++ = L':';
    out = HandDigits(out, static_cast<unsigned>(p.minutes), 2);
    *out++ = L':';
    out = HandDigits(out, static_cast<unsigned>(p.seconds), 2);
    *out++ = L'.';
    out = HandDigits(out, static_cast<unsigned>(p.rest / 10'000), 3);
    std::wstring text(buffer, out);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_Clock_HandDigits);

// The NanoSeconds text, "[-]hh:mm:ss.mmm_tttt".
void BM_NanoSeconds_FormatTimeValue(benchmark::State& state) {
  const auto& times = Times();
  std::size_t i = 0;
  for (auto _ : state) {
    std::wstring text = qz_dsc::FormatTimeValue(times[i++ & 1023], qz_dsc::TimeFormat_NanoSeconds);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_NanoSeconds_FormatTimeValue);

void BM_NanoSeconds_Swprintf(benchmark::State& state) {
  const auto& times = Times();
  std::size_t i = 0;
  for (auto _ : state) {
    const Split p = SplitTime(times[i++ & 1023]);
    wchar_t buffer[64];
    const int n =
        std::swprintf(buffer, 64, p.negative ? L"-%02d:%02d:%02d.%03d_%04d" : L"%02d:%02d:%02d.%03d_%04d", p.hours,
                      p.minutes, p.seconds, p.rest / 10'000, p.rest % 10'000);
    std::wstring text(buffer, static_cast<std::size_t>(n));
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_NanoSeconds_Swprintf);

void BM_NanoSeconds_HandDigits(benchmark::State& state) {
  const auto& times = Times();
  std::size_t i = 0;
  for (auto _ : state) {
    const Split p = SplitTime(times[i++ & 1023]);
    wchar_t buffer[64];
    wchar_t* out = buffer;
    if (p.negative) *out++ = L'-';
    out = HandDigits(out, static_cast<unsigned>(p.hours), 2);
    *out++ = L':';
    out = HandDigits(out, static_cast<unsigned>(p.minutes), 2);
    *out++ = L':';
    out = HandDigits(out, static_cast<unsigned>(p.seconds), 2);
    *out++ = L'.';
    out = HandDigits(out, static_cast<unsigned>(p.rest / 10'000), 3);
    *out++ = L'_';
    out = HandDigits(out, static_cast<unsigned>(p.rest % 10'000), 4);
    std::wstring text(buffer, out);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_NanoSeconds_HandDigits);

void BM_Parse_ParseTimeValue(benchmark::State& state) {
  const std::wstring text = L"1:02:03.456";
  for (auto _ : state) {
    std::int64_t ticks = 0;
    const bool ok = qz_dsc::ParseTimeValue(text, ticks);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(ticks);
  }
}
BENCHMARK(BM_Parse_ParseTimeValue);

void BM_Parse_Swscanf(benchmark::State& state) {
  const std::wstring text = L"1:02:03.456";
  for (auto _ : state) {
    int hours = 0, minutes = 0, seconds = 0, milliseconds = 0;
    const int fields = std::swscanf(text.c_str(), L"%d:%d:%d.%d", &hours, &minutes, &seconds, &milliseconds);
    const std::int64_t ticks = hours * kHour + minutes * kMinute + seconds * qz_dsc::kTicksPerSecond +
                               milliseconds * qz_dsc::kTicksPerMillisecond;
    benchmark::DoNotOptimize(fields);
    benchmark::DoNotOptimize(ticks);
  }
}
BENCHMARK(BM_Parse_Swscanf);

// A long valid text: the cost per character of the matcher.
void BM_Parse_LeadingZeros(benchmark::State& state) {
  const std::wstring text = std::wstring(static_cast<std::size_t>(state.range(0)), L'0') + L"1:02:03.456";
  for (auto _ : state) {
    std::int64_t ticks = 0;
    const bool ok = qz_dsc::ParseTimeValue(text, ticks);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(ticks);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size() * sizeof(wchar_t)));
}
BENCHMARK(BM_Parse_LeadingZeros)->Arg(1'000)->Arg(100'000);

}  // namespace
