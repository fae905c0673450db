// Utf16Codec: the one conversion between the platform's wide strings and the
// UTF-16 code units that the snapshot byte format carries (16-bit
// little-endian values, least-significant byte first). With 16-bit wchar_t
// every function is the identity on code units. With 32-bit wchar_t a
// character above U+FFFF becomes a surrogate pair and a valid pair becomes one
// character again; a lone surrogate is kept as that code unit both ways, and a
// wchar_t that is no Unicode code point (negative or above U+10FFFF) is
// written as U+FFFD.
// Stateless: safe to call from any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qz_dsc {

class Utf16Codec {
 public:
  Utf16Codec() = delete;

  // Number of UTF-16 code units that text takes.
  static std::size_t CountUnits(std::wstring_view text) noexcept;

  // Writes the code units of text at out as 16-bit little-endian values and
  // returns the number of bytes written (2 x CountUnits(text)).
  // REQUIRES: out has room for 2 x CountUnits(text) bytes.
  static std::size_t EncodeLE(std::wstring_view text, unsigned char* out) noexcept;

  // The wide string of the units 16-bit little-endian code units at in.
  // REQUIRES: in holds 2 x units bytes (in may be null when units is 0).
  static std::wstring DecodeLE(const unsigned char* in, std::size_t units);

  // The same conversions on code unit strings.
  static std::u16string ToUtf16(std::wstring_view text);
  static std::wstring FromUtf16(std::u16string_view units);
};

}  // namespace qz_dsc
