// Interval text in the style of the Windows shell's time-interval function
// (" 1 hr 6 min 40 sec"), which the "Natural" time format shows below 23.5
// hours. Stateless; safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qz_dsc {

class TimeIntervalText {
 public:
  // The text for an interval of milliseconds, as the shell writes it into a
  // buffer of bufferChars characters (terminator included):
  // - the milliseconds are rounded to the nearest second, half up;
  // - " <n> hr" when the hours are not 0, then " <n> min" when the minutes
  //   are not 0, then " <n> sec" always (also " 0 sec"), each piece with its
  //   leading blank and not folded beyond hours;
  // - significantDigits digits in all are shown, counted from the first
  //   piece on: a number that needs more digits than remain has its trailing
  //   digits written as 0 (14 with one digit left is 10), and once no digit
  //   remains no further piece is written;
  // - the text is cut to bufferChars - 1 characters.
  // Empty for significantDigits <= 0 or bufferChars < 2.
  static std::wstring Format(std::uint32_t milliseconds, int significantDigits, std::size_t bufferChars);
};

}  // namespace qz_dsc
