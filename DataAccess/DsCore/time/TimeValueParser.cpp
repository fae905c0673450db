#include <string_view>

#include "qz_dsc/Ticks.h"
#include "qz_dsc/TimeValueText.h"
#include "xml/NumberText.h"

namespace qz_dsc {
namespace {

constexpr std::int64_t kTicksPerMinute = 60 * kTicksPerSecond;
constexpr std::int64_t kTicksPerHour = 60 * kTicksPerMinute;

// One part of a matched time text: [begin, end) in the text.
struct Piece {
  std::size_t begin = 0;
  std::size_t end = 0;
  bool matched = false;
};

// The parts of "[sign][digits:][digits:][digits][separator][digits]". The
// colon pieces hold their digits only.
struct TimeTextParts {
  Piece sign;
  Piece firstColon;
  Piece secondColon;
  Piece seconds;
  Piece fraction;
};

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// The separator before the fraction may be any character but a line break.
bool IsLineBreak(wchar_t c) { return c == L'\n' || c == L'\r' || c == L'\u2028' || c == L'\u2029'; }

std::size_t SkipDigits(std::wstring_view text, std::size_t pos) {
  while (pos < text.size() && IsDigit(text[pos])) ++pos;
  return pos;
}

// Matches a "digits:" piece at pos; pos is moved past it when it matches.
bool MatchColonPiece(std::wstring_view text, std::size_t& pos, Piece& piece) {
  const std::size_t colon = SkipDigits(text, pos);
  if (colon == text.size() || text[colon] != L':') return false;
  piece = {pos, colon, true};
  pos = colon + 1;
  return true;
}

// Matches "[digits][separator][digits]" from pos to the end of the text.
// The seconds take every digit there is: giving some back could only move
// digits into the fraction, which must run to the end anyway, so it never
// turns a failed match into a good one.
bool MatchTail(std::wstring_view text, std::size_t pos, TimeTextParts& parts) {
  const std::size_t secondsEnd = SkipDigits(text, pos);
  parts.seconds = {pos, secondsEnd, secondsEnd != pos};
  pos = secondsEnd;
  if (pos == text.size()) {
    parts.fraction = {pos, pos, true};
    return true;
  }
  // A character is here and it is not a digit: it must be the separator,
  // and digits must run from it to the end.
  if (IsLineBreak(text[pos])) return false;
  const std::size_t fractionEnd = SkipDigits(text, pos + 1);
  if (fractionEnd != text.size()) return false;
  parts.fraction = {pos + 1, fractionEnd, true};
  return true;
}

// Splits a whole text into its parts, choosing between the ways it could be
// split as a backtracking matcher would: each optional part (the sign, the
// first colon piece, the second) is tried present first, then absent, in that
// order. "1:2" is therefore minutes and seconds, and "--5" a negative sign
// with "-" separating the fraction 5. At most eight tries of one pass each,
// so any length of text is matched in linear time without recursion.
bool MatchTimeText(std::wstring_view text, TimeTextParts& parts) {
  const bool hasSign = !text.empty() && (text[0] == L'-' || text[0] == L'+');
  for (const bool withSign : {true, false}) {
    if (withSign && !hasSign) continue;
    for (const bool withFirst : {true, false}) {
      for (const bool withSecond : {true, false}) {
        parts = TimeTextParts{};
        std::size_t pos = 0;
        if (withSign) {
          parts.sign = {0, 1, true};
          pos = 1;
        }
        if (withFirst && !MatchColonPiece(text, pos, parts.firstColon)) continue;
        if (withSecond && !MatchColonPiece(text, pos, parts.secondColon)) continue;
        if (MatchTail(text, pos, parts)) return true;
      }
    }
  }
  return false;
}

// The digits of piece as a 64-bit count; no digits read as 0. False when the
// number does not fit 64 bits.
bool ReadNumber(std::wstring_view text, const Piece& piece, std::int64_t& value) {
  const std::wstring_view digits = text.substr(piece.begin, piece.end - piece.begin);
  // Up to 18 digits cannot overflow: read them directly. Longer runs (leading
  // zeros, or a number too large) go through the checked reader.
  if (digits.size() <= 18) {
    std::int64_t v = 0;
    for (const wchar_t c : digits) v = v * 10 + (c - L'0');
    value = v;
    return true;
  }
  return NumberText::Parse(digits, value);
}

// total += count * unit, or false on overflow. Both are never negative.
bool AddScaled(std::int64_t& total, std::int64_t count, std::int64_t unit) {
  std::int64_t scaled = 0;
  if (__builtin_mul_overflow(count, unit, &scaled)) return false;
  return !__builtin_add_overflow(total, scaled, &total);
}

bool AddPiece(std::wstring_view text, const Piece& piece, std::int64_t unit, std::int64_t& total) {
  std::int64_t count = 0;
  return ReadNumber(text, piece, count) && AddScaled(total, count, unit);
}

}  // namespace

bool ParseTimeValue(const std::wstring& text, std::int64_t& ticks) {
  const std::wstring_view view(text);
  TimeTextParts parts;
  if (!MatchTimeText(view, parts)) return false;

  std::int64_t total = 0;

  // Two colon pieces are hours and minutes; a single one is minutes.
  const bool both = parts.firstColon.matched && parts.secondColon.matched;
  if (both && !AddPiece(view, parts.firstColon, kTicksPerHour, total)) return false;
  const Piece& minutes = both || parts.secondColon.matched ? parts.secondColon : parts.firstColon;
  if (minutes.matched && !AddPiece(view, minutes, kTicksPerMinute, total)) return false;
  if (parts.seconds.matched && !AddPiece(view, parts.seconds, kTicksPerSecond, total)) return false;

  // Only the first three digits of the fraction count; an empty fraction adds
  // nothing.
  Piece fraction = parts.fraction;
  if (fraction.end - fraction.begin > 3) fraction.end = fraction.begin + 3;
  static constexpr std::int64_t kFractionUnit[] = {0, 100 * kTicksPerMillisecond, 10 * kTicksPerMillisecond,
                                                   kTicksPerMillisecond};
  if (fraction.end != fraction.begin &&
      !AddPiece(view, fraction, kFractionUnit[fraction.end - fraction.begin], total)) {
    return false;
  }

  if (parts.sign.matched && view[parts.sign.begin] == L'-') total = -total;
  ticks = total;
  return true;
}

}  // namespace qz_dsc
