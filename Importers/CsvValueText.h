// Reading the cells of a CSV file: integers, doubles and times, exactly and
// without the C locale. Leading and trailing spaces and tabs are ignored
// (quoted cells keep theirs in the file). Pure functions, safe from any thread.
#pragma once

#include <cstdint>
#include <string_view>

namespace qz_dsc::csv {

// Spaces and tabs removed from both ends.
[[nodiscard]] std::string_view TrimBlanks(std::string_view text) noexcept;

// A 32-bit integer: optional sign, digits. False for anything else or when it
// does not fit.
[[nodiscard]] bool ParseInt32(std::string_view text, std::int32_t& value) noexcept;

// A finite decimal number with optional exponent ("-1.5", "2e-3", ".5"),
// decimal being '.' or ','. With ',' a '.' is refused (no digit grouping).
// No "inf" or "nan".
[[nodiscard]] bool ParseDouble(std::string_view text, char decimal, double& value) noexcept;

// A decimal number of units of 10^fractionDigits ticks ("12.3456789" seconds
// with 7 digits) to ticks, computed on the digits: exact up to
// fractionDigits decimals, rounded half away from zero beyond. False for an
// empty number, an exponent, another character or a result beyond 64 bits.
[[nodiscard]] bool ParseDecimalTicks(std::string_view text, char decimal, int fractionDigits,
                                     std::int64_t& ticks) noexcept;

// True when text starts like an ISO 8601 date ("YYYY-").
[[nodiscard]] bool LooksLikeIsoDate(std::string_view text) noexcept;

// An ISO 8601 date or date-time, "YYYY-MM-DD", then "T" or " " and
// "hh:mm[:ss[.fraction]]" and an optional zone "Z", "+hh", "+hh:mm" or
// "+hhmm", to ticks since 1970-01-01T00:00:00 UTC (a missing zone is UTC).
// The fraction is read exactly to 100 ns and rounded beyond. False for
// anything else, including out-of-range fields.
[[nodiscard]] bool ParseIsoDateTime(std::string_view text, std::int64_t& ticks) noexcept;

}  // namespace qz_dsc::csv
