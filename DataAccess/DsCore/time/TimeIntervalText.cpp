#include "time/TimeIntervalText.h"

#include <charconv>

namespace qz_dsc {
namespace {

// Appends " <value> <unit>", spending one significant digit per digit of
// value. Digits beyond the remaining budget are written as 0.
void AppendPiece(std::wstring& out, std::uint64_t value, const wchar_t* unit, int& digitsLeft) {
  char digits[20];
  const char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  out += L' ';
  for (const char* c = digits; c != end; ++c) {
    if (digitsLeft > 0) {
      --digitsLeft;
      out += static_cast<wchar_t>(*c);
    } else {
      out += L'0';
    }
  }
  out += L' ';
  out += unit;
}

}  // namespace

std::wstring TimeIntervalText::Format(std::uint32_t milliseconds, int significantDigits, std::size_t bufferChars) {
  if (significantDigits <= 0 || bufferChars < 2) return std::wstring();

  // Rounded in 64 bits, so the largest intervals do not wrap to 0.
  const std::uint64_t totalSeconds = (static_cast<std::uint64_t>(milliseconds) + 500) / 1000;
  const std::uint64_t hours = totalSeconds / 3600;
  const std::uint64_t minutes = totalSeconds % 3600 / 60;
  const std::uint64_t seconds = totalSeconds % 60;

  // One allocation: the text never outgrows the buffer, and a caller that
  // puts a sign in front still finds room for it.
  std::wstring text;
  text.reserve(bufferChars);
  int digitsLeft = significantDigits;
  if (hours != 0) AppendPiece(text, hours, L"hr", digitsLeft);
  if (minutes != 0 && digitsLeft > 0) AppendPiece(text, minutes, L"min", digitsLeft);
  if (digitsLeft > 0) AppendPiece(text, seconds, L"sec", digitsLeft);

  if (text.size() > bufferChars - 1) text.resize(bufferChars - 1);
  return text;
}

}  // namespace qz_dsc
