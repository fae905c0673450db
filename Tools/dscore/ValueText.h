// Sample values as text and as numbers, for every value type a stream can
// hold. Numbers are written so that reading them back gives the same value:
// doubles in their shortest exact form, always with a decimal point or an
// exponent so that a reader never takes a double column for an integer one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qz_math/Vector.h"
#include "qz_ovlib/qz_ovlib.h"

namespace dscore_cli {

[[nodiscard]] std::string FormatDouble(double value);

// One line's worth of text; vector components are separated by tabs, and
// control characters and backslashes in strings are escaped (\t, \n, \r, \\).
[[nodiscard]] std::string ValueText(std::int32_t value);
[[nodiscard]] std::string ValueText(double value);
[[nodiscard]] std::string ValueText(const std::wstring& value);
[[nodiscard]] std::string ValueText(const qz_math::Vector2& value);
[[nodiscard]] std::string ValueText(const qz_math::Vector3& value);
[[nodiscard]] std::string ValueText(const qz_math::VectorN<6>& value);
[[nodiscard]] std::string ValueText(const qz_ovlib::PersonSkeletonData& value);

// The numeric components of a value, in column order; none for strings and
// skeletons.
[[nodiscard]] std::vector<double> ValueComponents(std::int32_t value);
[[nodiscard]] std::vector<double> ValueComponents(double value);
[[nodiscard]] std::vector<double> ValueComponents(const std::wstring& value);
[[nodiscard]] std::vector<double> ValueComponents(const qz_math::Vector2& value);
[[nodiscard]] std::vector<double> ValueComponents(const qz_math::Vector3& value);
[[nodiscard]] std::vector<double> ValueComponents(const qz_math::VectorN<6>& value);
[[nodiscard]] std::vector<double> ValueComponents(const qz_ovlib::PersonSkeletonData& value);

}  // namespace dscore_cli
