#include "xml/TimePairText.h"

#include <cstdlib>

#include "qz_dsc/Ticks.h"
#include "xml/NumberText.h"

namespace qz_dsc {
namespace {

template <class CharT>
bool ParsePair(std::basic_string_view<CharT> text, std::int64_t& ticks) noexcept {
  std::int32_t seconds = 0;
  std::int32_t milliseconds = 0;
  std::basic_string_view<CharT> rest;
  if (!NumberText::Parse(text, seconds, &rest) || !NumberText::Parse(rest, milliseconds)) return false;
  // Both parts are 32-bit, so the sum cannot overflow 64 bits.
  ticks = seconds * kTicksPerSecond + milliseconds * kTicksPerMillisecond;
  return true;
}

std::string FormatPair(std::int64_t ticks) {
  // Conversions to 32 bits wrap (two's complement), as the saved format does.
  const auto seconds = static_cast<std::int32_t>(ticks / kTicksPerSecond);
  const auto milliseconds = static_cast<std::int32_t>(ticks / kTicksPerMillisecond);
  const std::int64_t magnitude = std::llabs(static_cast<std::int64_t>(milliseconds));
  return std::to_string(seconds) + ' ' + std::to_string(magnitude);
}

}  // namespace

std::wstring TimePairText::Format(std::int64_t ticks) {
  const std::string text = FormatPair(ticks);
  return std::wstring(text.begin(), text.end());
}

std::string TimePairText::FormatUtf8(std::int64_t ticks) { return FormatPair(ticks); }

bool TimePairText::Parse(std::wstring_view text, std::int64_t& ticks) noexcept { return ParsePair(text, ticks); }

bool TimePairText::ParseUtf8(std::string_view text, std::int64_t& ticks) noexcept { return ParsePair(text, ticks); }

}  // namespace qz_dsc
