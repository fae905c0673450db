// The time text of the "freezeDelay" and "TimeStamp" attributes: whole
// seconds, a blank, and the whole time in milliseconds without its sign.
// The two directions are deliberately not inverse: a saved pair S M is read
// back as (S * 1000 + M) ms, so only times below one second survive a save
// and load unchanged.
// Stateless; safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qz_dsc {

class TimePairText {
 public:
  // ticks (100 ns) as "S M": S = ticks / 10^7 truncated and taken as a
  // 32-bit integer; M = |ticks / 10^4 truncated, taken as a 32-bit integer|.
  static std::wstring Format(std::int64_t ticks);
  static std::string FormatUtf8(std::int64_t ticks);
  // Room for the longest pair, "-2147483648 2147483648".
  static constexpr std::size_t kMaxUtf8Size = 24;
  // The same text written into out; the view points into out.
  static std::string_view FormatUtf8To(std::int64_t ticks, char (&out)[kMaxUtf8Size]) noexcept;

  // Two 32-bit decimal integers A and B read one after the other with the
  // stream rules of NumberText; the time is (A * 1000 + B) * 10^4 ticks.
  // False when either is missing or out of range.
  [[nodiscard]] static bool Parse(std::wstring_view text, std::int64_t& ticks) noexcept;
  [[nodiscard]] static bool ParseUtf8(std::string_view text, std::int64_t& ticks) noexcept;
};

}  // namespace qz_dsc
