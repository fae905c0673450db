// The clock of a stream's last-modified stamp: milliseconds of a cheap
// monotonic clock, counted from shortly before the first use in the process,
// saturated at the 32-bit signed limits and multiplied by 10,000, so that the
// stamp is in 100-ns units. Stamps are only compared with one another.
// Safe to call from any thread.
#pragma once

#include <cstdint>

namespace qz_dsc {

// The current stamp; never smaller than an earlier one, at least 10,000.
std::int64_t LastModifiedNow() noexcept;

}  // namespace qz_dsc
