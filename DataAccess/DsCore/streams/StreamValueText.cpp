#include "streams/StreamValueText.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

#include "xml/NumberText.h"

namespace qz_dsc {
namespace {

// Wide text and UTF-8 alike: every character that matters is ASCII, and no
// byte of a multi-byte UTF-8 sequence is one.
template <class CharT>
constexpr bool IsSpace(CharT c) noexcept {
  return c == CharT(' ') || (c >= CharT('\t') && c <= CharT('\r'));
}

// Characters std::from_chars may take in a general-format double, including
// "inf", "infinity" and "nan(chars)".
template <class CharT>
constexpr bool IsNumberChar(CharT c) noexcept {
  return (c >= CharT('0') && c <= CharT('9')) || (c >= CharT('a') && c <= CharT('z')) ||
         (c >= CharT('A') && c <= CharT('Z')) || c == CharT('.') || c == CharT('+') || c == CharT('-') ||
         c == CharT('(') || c == CharT(')') || c == CharT('_');
}

// The shortest form of a double needs at most 24 characters.
constexpr std::size_t kMaxDoubleSize = 25;
static_assert(kMaxAsciiValueSize >= 6 * kMaxDoubleSize);

void AppendDouble(std::wstring& text, double value) {
  std::array<char, kMaxDoubleSize> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  text.append(buffer.data(), result.ptr);  // ASCII widens character by character
}

template <class Vec>
std::string_view VectorToAscii(const Vec& value, int count, char (&out)[kMaxAsciiValueSize]) noexcept {
  char* p = out;
  for (int i = 0; i < count; ++i) {
    if (i != 0) *p++ = ' ';
    p = std::to_chars(p, p + kMaxDoubleSize, value[i]).ptr;
  }
  return std::string_view(out, static_cast<std::size_t>(p - out));
}

// Reads one double from the start of text (white space and one '+' skipped);
// on success stores it and returns the number of characters used, else 0.
template <class CharT>
std::size_t ReadDouble(std::basic_string_view<CharT> text, double& out) {
  std::size_t i = 0;
  while (i < text.size() && IsSpace(text[i])) ++i;
  if (i < text.size() && text[i] == CharT('+')) {
    ++i;
    if (i < text.size() && text[i] == CharT('-')) return 0;
  }
  std::size_t end = i;
  while (end < text.size() && IsNumberChar(text[end])) ++end;
  if (end == i) return 0;

  if constexpr (std::is_same_v<CharT, char>) {
    double value = 0.0;
    const auto result = std::from_chars(text.data() + i, text.data() + end, value);
    if (result.ec != std::errc{}) return 0;
    out = value;
    return static_cast<std::size_t>(result.ptr - text.data());
  }
  // std::from_chars reads narrow text: copy the candidate characters, on the
  // stack for every ordinary number.
  std::array<char, 64> small;
  std::string large;
  char* narrow = small.data();
  const std::size_t length = end - i;
  if (length > small.size()) {
    large.resize(length);
    narrow = large.data();
  }
  for (std::size_t k = 0; k < length; ++k) narrow[k] = static_cast<char>(text[i + k]);

  double value = 0.0;
  const auto result = std::from_chars(narrow, narrow + length, value);
  if (result.ec != std::errc{}) return 0;
  out = value;
  return i + static_cast<std::size_t>(result.ptr - narrow);
}

template <class Vec>
std::wstring VectorToText(const Vec& value, int count) {
  std::wstring text;
  for (int i = 0; i < count; ++i) {
    if (i != 0) text.push_back(L' ');
    AppendDouble(text, value[i]);
  }
  return text;
}

// Components must be separated by white space; the text after the last one
// is ignored.
template <class Vec, class CharT>
bool TextToVector(std::basic_string_view<CharT> text, Vec& out, int count) {
  Vec read = out;
  std::size_t pos = 0;
  for (int i = 0; i < count; ++i) {
    if (i != 0 && (pos >= text.size() || !IsSpace(text[pos]))) return false;
    double component = 0.0;
    const std::size_t used = ReadDouble(text.substr(pos), component);
    if (used == 0) return false;
    read[i] = component;
    pos += used;
  }
  out = std::move(read);
  return true;
}

}  // namespace

std::wstring ValueToText(std::int32_t value) { return std::to_wstring(value); }

std::string_view ValueToAscii(std::int32_t value, char (&out)[kMaxAsciiValueSize]) noexcept {
  return std::string_view(out, static_cast<std::size_t>(std::to_chars(out, out + kMaxAsciiValueSize, value).ptr - out));
}
std::string_view ValueToAscii(double value, char (&out)[kMaxAsciiValueSize]) noexcept {
  return std::string_view(out, static_cast<std::size_t>(std::to_chars(out, out + kMaxAsciiValueSize, value).ptr - out));
}
std::string_view ValueToAscii(const qz_math::Vector2& value, char (&out)[kMaxAsciiValueSize]) noexcept {
  return VectorToAscii(value, 2, out);
}
std::string_view ValueToAscii(const qz_math::Vector3& value, char (&out)[kMaxAsciiValueSize]) noexcept {
  return VectorToAscii(value, 3, out);
}
std::string_view ValueToAscii(const qz_math::VectorN<6>& value, char (&out)[kMaxAsciiValueSize]) noexcept {
  return VectorToAscii(value, 6, out);
}

std::wstring ValueToText(double value) {
  std::wstring text;
  AppendDouble(text, value);
  return text;
}

std::wstring ValueToText(const std::wstring& value) { return value; }
std::wstring ValueToText(const qz_math::Vector2& value) { return VectorToText(value, 2); }
std::wstring ValueToText(const qz_math::Vector3& value) { return VectorToText(value, 3); }
std::wstring ValueToText(const qz_math::VectorN<6>& value) { return VectorToText(value, 6); }
std::wstring ValueToText(const qz_ovlib::PersonSkeletonData&) { return std::wstring(); }

bool TextToValue(std::wstring_view text, std::int32_t& out) { return NumberText::Parse(text, out); }

bool TextToValue(std::wstring_view text, double& out) { return ReadDouble(text, out) != 0; }

bool TextToValue(std::wstring_view text, std::wstring& out) {
  out.assign(text);
  return true;
}

bool TextToValue(std::wstring_view text, qz_math::Vector2& out) { return TextToVector(text, out, 2); }
bool TextToValue(std::wstring_view text, qz_math::Vector3& out) { return TextToVector(text, out, 3); }
bool TextToValue(std::wstring_view text, qz_math::VectorN<6>& out) { return TextToVector(text, out, 6); }
bool TextToValue(std::wstring_view, qz_ovlib::PersonSkeletonData&) { return false; }

bool TextToValue(std::string_view text, std::int32_t& out) { return NumberText::Parse(text, out); }
bool TextToValue(std::string_view text, double& out) { return ReadDouble(text, out) != 0; }
bool TextToValue(std::string_view text, qz_math::Vector2& out) { return TextToVector(text, out, 2); }
bool TextToValue(std::string_view text, qz_math::Vector3& out) { return TextToVector(text, out, 3); }
bool TextToValue(std::string_view text, qz_math::VectorN<6>& out) { return TextToVector(text, out, 6); }

}  // namespace qz_dsc
