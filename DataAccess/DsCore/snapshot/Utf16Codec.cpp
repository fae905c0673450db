#include "snapshot/Utf16Codec.h"

#include <cstdint>

#include "snapshot/Coding.h"

namespace qz_dsc {
namespace {

constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;
static_assert(sizeof(wchar_t) == 2 || sizeof(wchar_t) == 4, "wchar_t must hold UTF-16 or UTF-32");

constexpr std::uint32_t kReplacement = 0xFFFD;

constexpr bool IsHighSurrogate(std::uint32_t u) noexcept { return u >= 0xD800 && u <= 0xDBFF; }
constexpr bool IsLowSurrogate(std::uint32_t u) noexcept { return u >= 0xDC00 && u <= 0xDFFF; }

// The wchar_t as an unsigned value of its own width (wchar_t may be signed).
constexpr std::uint32_t Value(wchar_t c) noexcept {
  if constexpr (kWideIsUtf16) {
    return static_cast<std::uint16_t>(c);
  } else {
    return static_cast<std::uint32_t>(c);
  }
}

// Calls put(unit) for every UTF-16 code unit of text.
template <class Put>
void ForEachUnit(std::wstring_view text, Put&& put) {
  for (wchar_t c : text) {
    const std::uint32_t v = Value(c);
    if (v <= 0xFFFF) {
      put(static_cast<std::uint16_t>(v));  // includes lone surrogates, kept as they are
    } else if (v <= 0x10FFFF) {
      const std::uint32_t s = v - 0x10000;
      put(static_cast<std::uint16_t>(0xD800 + (s >> 10)));
      put(static_cast<std::uint16_t>(0xDC00 + (s & 0x3FF)));
    } else {
      put(static_cast<std::uint16_t>(kReplacement));
    }
  }
}

// Appends the characters of units (given by unit(i), i < count) to out.
template <class Unit>
void AppendDecoded(std::size_t count, Unit&& unit, std::wstring& out) {
  out.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t u = unit(i);
    if (!kWideIsUtf16 && IsHighSurrogate(u) && i + 1 < count && IsLowSurrogate(unit(i + 1))) {
      const std::uint32_t low = unit(i + 1);
      out.push_back(static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00)));
      ++i;
    } else {
      out.push_back(static_cast<wchar_t>(u));
    }
  }
}

}  // namespace

std::size_t Utf16Codec::CountUnits(std::wstring_view text) noexcept {
  if constexpr (kWideIsUtf16) {
    return text.size();
  } else {
    std::size_t n = 0;
    ForEachUnit(text, [&n](std::uint16_t) { ++n; });
    return n;
  }
}

std::size_t Utf16Codec::EncodeLE(std::wstring_view text, unsigned char* out) noexcept {
  std::size_t bytes = 0;
  ForEachUnit(text, [&](std::uint16_t u) {
    coding::EncodeFixed16(out + bytes, u);
    bytes += 2;
  });
  return bytes;
}

std::wstring Utf16Codec::DecodeLE(const unsigned char* in, std::size_t units) {
  std::wstring out;
  AppendDecoded(
      units,
      [in](std::size_t i) -> std::uint32_t { return coding::DecodeFixed16(in + 2 * i); },
      out);
  return out;
}

std::u16string Utf16Codec::ToUtf16(std::wstring_view text) {
  std::u16string out;
  out.reserve(text.size());
  ForEachUnit(text, [&out](std::uint16_t u) { out.push_back(static_cast<char16_t>(u)); });
  return out;
}

std::wstring Utf16Codec::FromUtf16(std::u16string_view units) {
  std::wstring out;
  AppendDecoded(
      units.size(), [units](std::size_t i) -> std::uint32_t { return units[i]; }, out);
  return out;
}

}  // namespace qz_dsc
