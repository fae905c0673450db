// The order a stream uses for its value range: numeric for int and double;
// code unit by code unit (lexicographic) for strings; component by component
// (lexicographic, the first differing component decides) for vectors. A
// NaN compares neither less nor equal, so it never becomes a bound unless it
// is the first sample.
// Stateless; safe from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "qz_math/Vector.h"

namespace qz_dsc {

inline bool ValueLess(std::int32_t a, std::int32_t b) noexcept { return a < b; }
inline bool ValueLess(double a, double b) noexcept { return a < b; }
inline bool ValueLess(const std::wstring& a, const std::wstring& b) noexcept { return a < b; }

namespace detail {
template <class V>
bool ComponentsLess(const V& a, const V& b, int n) noexcept {
  for (int i = 0; i < n; ++i) {
    if (a[i] < b[i]) return true;
    if (b[i] < a[i]) return false;
  }
  return false;
}
}  // namespace detail

inline bool ValueLess(const qz_math::Vector2& a, const qz_math::Vector2& b) noexcept {
  return detail::ComponentsLess(a, b, 2);
}
inline bool ValueLess(const qz_math::Vector3& a, const qz_math::Vector3& b) noexcept {
  return detail::ComponentsLess(a, b, 3);
}
// Vectors of different dimensions: the shorter one first.
inline bool ValueLess(const qz_math::Vector& a, const qz_math::Vector& b) noexcept {
  if (a.GetDimension() != b.GetDimension()) return a.GetDimension() < b.GetDimension();
  return detail::ComponentsLess(a, b, a.GetDimension());
}

// a <= b in the same order.
template <class T>
bool ValueLessOrEqual(const T& a, const T& b) noexcept {
  return ValueLess(a, b) || a == b;
}

}  // namespace qz_dsc
