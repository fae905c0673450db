// The one conversion between wide text and UTF-8, used by the logging and DOM
// companion libraries and by DsCore itself (internal, header-only, not
// installed). One rule everywhere: an invalid sequence, an unpaired surrogate
// or a value above U+10FFFF becomes U+FFFD, and nothing past the given length
// is read (no terminator is needed or looked for).
// Wide text is UTF-16 where wchar_t has 16 bits and UTF-32 elsewhere; a
// surrogate pair stands for one character in both.
// Pure functions; safe from any thread.
#pragma once

#include <utf8.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

namespace utf8text {

inline constexpr char32_t kReplacement = 0xFFFD;

namespace detail {

constexpr bool IsHighSurrogate(std::uint32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
constexpr bool IsLowSurrogate(std::uint32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

constexpr std::uint32_t Unit(wchar_t c) {
  if constexpr (sizeof(wchar_t) == 2) {
    return static_cast<std::uint16_t>(c);
  } else {
    return static_cast<std::uint32_t>(c);
  }
}

// The character at text[i], moving i past it.
constexpr char32_t NextScalar(std::wstring_view text, std::size_t& i) {
  const std::uint32_t u = Unit(text[i++]);
  if (IsHighSurrogate(u)) {
    if (i < text.size() && IsLowSurrogate(Unit(text[i]))) {
      const std::uint32_t low = Unit(text[i++]);
      return static_cast<char32_t>(0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00));
    }
    return kReplacement;
  }
  if (IsLowSurrogate(u) || u > 0x10FFFF) return kReplacement;
  return static_cast<char32_t>(u);
}

constexpr std::size_t EncodedSize(char32_t cp) { return cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4; }

inline wchar_t* PutWide(char32_t cp, wchar_t* w) {
  if constexpr (sizeof(wchar_t) == 2) {
    if (cp >= 0x10000) {
      cp -= 0x10000;
      *w++ = static_cast<wchar_t>(0xD800 + (cp >> 10));
      *w++ = static_cast<wchar_t>(0xDC00 + (cp & 0x3FF));
      return w;
    }
  }
  *w++ = static_cast<wchar_t>(cp);
  return w;
}

// Decodes UTF-8 already known to be valid, so the unchecked decoder cannot
// run past the end.
inline void DecodeValid(std::string_view text, std::wstring& out) {
  // At most one wide unit per byte (a 4-byte character is at most two units).
  out.resize(text.size());
  wchar_t* w = out.data();
  const char* it = text.data();
  const char* const end = it + text.size();
  while (it != end) {
    const auto c = static_cast<unsigned char>(*it);
    if (c < 0x80) {
      *w++ = static_cast<wchar_t>(c);
      ++it;
    } else {
      w = PutWide(static_cast<char32_t>(utf8::unchecked::next(it)), w);
    }
  }
  out.resize(static_cast<std::size_t>(w - out.data()));
}

}  // namespace detail

// Replaces out with the UTF-8 form of text, reusing its storage.
inline void AssignUtf8(std::wstring_view text, std::string& out) {
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < text.size();) bytes += detail::EncodedSize(detail::NextScalar(text, i));
  out.resize(bytes);
  char* p = out.data();
  for (std::size_t i = 0; i < text.size();) {
    const char32_t cp = detail::NextScalar(text, i);
    if (cp < 0x80) {
      *p++ = static_cast<char>(cp);
    } else {
      p = utf8::unchecked::append(static_cast<std::uint32_t>(cp), p);
    }
  }
}

inline std::string ToUtf8(std::wstring_view text) {
  std::string out;
  AssignUtf8(text, out);
  return out;
}

// Replaces out with the wide form of the UTF-8 text, reusing its storage.
inline void AssignWide(std::string_view text, std::wstring& out) {
  if (utf8::find_invalid(text.begin(), text.end()) == text.end()) {
    detail::DecodeValid(text, out);
    return;
  }
  std::string repaired;
  repaired.reserve(text.size() + 8);
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(repaired), static_cast<std::uint32_t>(kReplacement));
  detail::DecodeValid(repaired, out);
}

inline std::wstring ToWide(std::string_view text) {
  std::wstring out;
  AssignWide(text, out);
  return out;
}

}  // namespace utf8text
