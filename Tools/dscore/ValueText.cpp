#include "ValueText.h"

#include <charconv>
#include <cmath>

#include "Utf8Text.h"

namespace dscore_cli {
namespace {

template <class V>
std::string JoinComponents(const V& value, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += (i ? "\t" : "") + FormatDouble(value[i]);
  return text;
}

}  // namespace

std::string FormatDouble(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  char buffer[32];
  const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  std::string text(buffer, ec == std::errc() ? end : buffer);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

std::string ValueText(std::int32_t value) { return std::to_string(value); }
std::string ValueText(double value) { return FormatDouble(value); }

std::string ValueText(const std::wstring& value) {
  std::string text;
  for (const char c : utf8text::ToUtf8(value)) {
    switch (c) {
      case '\t': text += "\\t"; break;
      case '\n': text += "\\n"; break;
      case '\r': text += "\\r"; break;
      case '\\': text += "\\\\"; break;
      default: text += c;
    }
  }
  return text;
}

std::string ValueText(const qz_math::Vector2& value) { return JoinComponents(value, 2); }
std::string ValueText(const qz_math::Vector3& value) { return JoinComponents(value, 3); }
std::string ValueText(const qz_math::VectorN<6>& value) { return JoinComponents(value, 6); }

std::string ValueText(const qz_ovlib::PersonSkeletonData& value) {
  return "person " + std::to_string(value.personId) + ", " + std::to_string(value.joints.size()) + " joints";
}

std::vector<double> ValueComponents(std::int32_t value) { return {static_cast<double>(value)}; }
std::vector<double> ValueComponents(double value) { return {value}; }
std::vector<double> ValueComponents(const std::wstring&) { return {}; }
std::vector<double> ValueComponents(const qz_math::Vector2& value) { return {value[0], value[1]}; }
std::vector<double> ValueComponents(const qz_math::Vector3& value) { return {value[0], value[1], value[2]}; }
std::vector<double> ValueComponents(const qz_math::VectorN<6>& value) {
  std::vector<double> components(6);
  for (int i = 0; i < 6; ++i) components[static_cast<std::size_t>(i)] = value[i];
  return components;
}
std::vector<double> ValueComponents(const qz_ovlib::PersonSkeletonData&) { return {}; }

}  // namespace dscore_cli
