#include "xml/TimePairText.h"

#include <charconv>
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

}  // namespace

std::string_view TimePairText::FormatUtf8To(std::int64_t ticks, char (&out)[kMaxUtf8Size]) noexcept {
  // Conversions to 32 bits wrap (two's complement), as the saved format does.
  const auto seconds = static_cast<std::int32_t>(ticks / kTicksPerSecond);
  const auto milliseconds = static_cast<std::int32_t>(ticks / kTicksPerMillisecond);
  const std::int64_t magnitude = std::llabs(static_cast<std::int64_t>(milliseconds));
  char* end = std::to_chars(out, out + kMaxUtf8Size, seconds).ptr;
  *end++ = ' ';
  end = std::to_chars(end, out + kMaxUtf8Size, magnitude).ptr;
  return std::string_view(out, static_cast<std::size_t>(end - out));
}

std::wstring TimePairText::Format(std::int64_t ticks) {
  char buffer[kMaxUtf8Size];
  const std::string_view text = FormatUtf8To(ticks, buffer);
  return std::wstring(text.begin(), text.end());
}

std::string TimePairText::FormatUtf8(std::int64_t ticks) {
  char buffer[kMaxUtf8Size];
  return std::string(FormatUtf8To(ticks, buffer));
}

bool TimePairText::Parse(std::wstring_view text, std::int64_t& ticks) noexcept { return ParsePair(text, ticks); }

bool TimePairText::ParseUtf8(std::string_view text, std::int64_t& ticks) noexcept { return ParsePair(text, ticks); }

}  // namespace qz_dsc
