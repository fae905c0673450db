#include "time/TimeIntervalText.h"

namespace qz_dsc {
namespace {

// Appends " <value> <unit>", spending one significant digit per digit of
// value. Digits beyond the remaining budget are written as 0.
void AppendPiece(std::wstring& out, std::uint64_t value, const wchar_t* unit, int& digitsLeft) {
  std::wstring number = std::to_wstring(value);
  for (wchar_t& c : number) {
    if (digitsLeft > 0) {
      --digitsLeft;
    } else {
      c = L'0';
    }
  }
  out += L' ';
  out += number;
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

  std::wstring text;
  int digitsLeft = significantDigits;
  if (hours != 0) AppendPiece(text, hours, L"hr", digitsLeft);
  if (minutes != 0 && digitsLeft > 0) AppendPiece(text, minutes, L"min", digitsLeft);
  if (digitsLeft > 0) AppendPiece(text, seconds, L"sec", digitsLeft);

  if (text.size() > bufferChars - 1) text.resize(bufferChars - 1);
  return text;
}

}  // namespace qz_dsc
