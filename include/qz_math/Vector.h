// Math library stand-in: the generic Vector (dimension chosen at run time),
// the fixed VectorN<N> derived from it, and the small Vector2 and Vector3.
// All are value types compared component-wise; no shared state.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace qz_math {

class Vector {
 public:
  // A zero vector of the given dimension (negative dimensions give 0).
  explicit Vector(int dimension);
  int GetDimension() const noexcept { return static_cast<int>(m_values.size()); }
  // REQUIRES: 0 <= i < GetDimension()
  double& operator[](int i) noexcept { return m_values[static_cast<std::size_t>(i)]; }
  const double& operator[](int i) const noexcept { return m_values[static_cast<std::size_t>(i)]; }

  friend bool operator==(const Vector& a, const Vector& b) noexcept { return a.m_values == b.m_values; }

 private:
  std::vector<double> m_values;
};

template <int N>
class VectorN : public Vector {
 public:
  static_assert(N > 0, "VectorN needs a positive dimension");
  VectorN() : Vector(N) {}
};

class Vector2 {
 public:
  constexpr Vector2() noexcept = default;
  constexpr Vector2(double x, double y) noexcept : m_v{x, y} {}
  // REQUIRES: i is 0 or 1
  constexpr double& operator[](int i) noexcept { return m_v[static_cast<std::size_t>(i)]; }
  constexpr const double& operator[](int i) const noexcept { return m_v[static_cast<std::size_t>(i)]; }
  friend constexpr bool operator==(const Vector2& a, const Vector2& b) noexcept { return a.m_v == b.m_v; }

 private:
  std::array<double, 2> m_v{};
};

class Vector3 {
 public:
  constexpr Vector3() noexcept = default;
  constexpr Vector3(double x, double y, double z) noexcept : m_v{x, y, z} {}
  // REQUIRES: 0 <= i <= 2
  constexpr double& operator[](int i) noexcept { return m_v[static_cast<std::size_t>(i)]; }
  constexpr const double& operator[](int i) const noexcept { return m_v[static_cast<std::size_t>(i)]; }
  friend constexpr bool operator==(const Vector3& a, const Vector3& b) noexcept { return a.m_v == b.m_v; }

 private:
  std::array<double, 3> m_v{};
};

}  // namespace qz_math
