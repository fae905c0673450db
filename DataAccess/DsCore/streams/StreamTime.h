// Arithmetic on stream times (signed 64-bit counts of 100-ns ticks) that
// never overflows. A stream keeps acquisition times as keys and answers in
// presentation time = key - origin + offset, with origin and offset set
// freely by hosts; a result beyond the 64-bit range is clamped to its nearest
// limit, and a query by presentation time selects exactly the keys whose
// clamped presentation time matches, so that the extremes of the range
// select every key.
// Stateless; safe from any thread.
#pragma once

#include <cstdint>
#include <limits>

namespace qz_dsc {

namespace detail {

constexpr std::int64_t kTimeMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kTimeMin = std::numeric_limits<std::int64_t>::min();

// t + plus - minus exactly: -1 below the 64-bit range, +1 above it, else 0
// with the sum in out.
constexpr int WideShift(std::int64_t t, std::int64_t plus, std::int64_t minus, std::int64_t& out) noexcept {
#if defined(__SIZEOF_INT128__)
  __extension__ using Wide = __int128;
  const Wide r = static_cast<Wide>(t) + plus - minus;
  if (r > kTimeMax) return 1;
  if (r < kTimeMin) return -1;
  out = static_cast<std::int64_t>(r);
  return 0;
#else
  // Without a wider integer each step clamps on its own; a sum that lands
  // exactly on a limit counts as beyond it.
  const auto add = [](std::int64_t a, std::int64_t b) {
    if (b > 0 && a > kTimeMax - b) return kTimeMax;
    if (b < 0 && a < kTimeMin - b) return kTimeMin;
    return a + b;
  };
  const std::int64_t r1 = add(t, plus);
  const std::int64_t r = minus == kTimeMin ? add(add(r1, kTimeMax), 1) : add(r1, -minus);
  if (r == kTimeMax) return 1;
  if (r == kTimeMin) return -1;
  out = r;
  return 0;
#endif
}

}  // namespace detail

// t + plus - minus, computed exactly and then clamped to the 64-bit range.
constexpr std::int64_t ShiftTime(std::int64_t t, std::int64_t plus, std::int64_t minus) noexcept {
  std::int64_t r = 0;
  const int side = detail::WideShift(t, plus, minus, r);
  return side > 0 ? detail::kTimeMax : side < 0 ? detail::kTimeMin : r;
}

// t - d, clamped.
constexpr std::int64_t SubtractTime(std::int64_t t, std::int64_t d) noexcept { return ShiftTime(t, 0, d); }

// The presentation time of key: key - origin + offset, clamped.
constexpr std::int64_t PresentationOf(std::int64_t key, std::int64_t origin, std::int64_t offset) noexcept {
  return ShiftTime(key, offset, origin);
}

// The smallest key whose PresentationOf is >= p; false when no key has one.
constexpr bool FirstKeyFrom(std::int64_t p, std::int64_t origin, std::int64_t offset, std::int64_t& key) noexcept {
  if (p == detail::kTimeMin) {
    key = detail::kTimeMin;
    return true;
  }
  std::int64_t k = 0;
  const int side = detail::WideShift(p, origin, offset, k);
  if (side > 0) return false;
  key = side < 0 ? detail::kTimeMin : k;
  return true;
}

// The largest key whose PresentationOf is <= p; false when no key has one.
constexpr bool LastKeyUpTo(std::int64_t p, std::int64_t origin, std::int64_t offset, std::int64_t& key) noexcept {
  if (p == detail::kTimeMax) {
    key = detail::kTimeMax;
    return true;
  }
  std::int64_t k = 0;
  const int side = detail::WideShift(p, origin, offset, k);
  if (side < 0) return false;
  key = side > 0 ? detail::kTimeMax : k;
  return true;
}

}  // namespace qz_dsc
