// Time units of the library: every time a stream, unit or manager stores or
// passes is a signed 64-bit count of 100-ns ticks. These are the one set of
// conversion constants; use them instead of literals.
// Constants only; safe from any thread.
#pragma once

#include <cstdint>

namespace qz_dsc {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kTicksPerMillisecond = 10'000;
constexpr std::int64_t kTicksPerMicrosecond = 10;

}  // namespace qz_dsc
