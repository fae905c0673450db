#include "xml/XmlCharacters.h"

#include <cstdint>

namespace qz_dsc {
namespace {

// The Char production of XML 1.0 for one code point (surrogates excluded).
bool IsXmlChar(std::uint32_t c) noexcept {
  if (c < 0x20) return c == 0x09 || c == 0x0A || c == 0x0D;
  if (c < 0xD800) return true;
  if (c < 0xE000) return false;
  if (c <= 0xFFFD) return true;
  return c >= 0x10000 && c <= 0x10FFFF;
}

}  // namespace

bool IsXmlCarriable(std::wstring_view text) noexcept {
  for (std::size_t i = 0; i < text.size(); ++i) {
    // Through the unsigned type of the same width, so a negative 32-bit
    // wchar_t reads as a value above U+10FFFF.
    std::uint32_t c;
    if constexpr (sizeof(wchar_t) == 2) {
      c = static_cast<std::uint16_t>(text[i]);
      if (c >= 0xD800 && c <= 0xDBFF) {
        const std::uint32_t next = i + 1 < text.size() ? static_cast<std::uint16_t>(text[i + 1]) : 0u;
        if (next >= 0xDC00 && next <= 0xDFFF) {
          ++i;  // a pair: a character above U+FFFF
          continue;
        }
        return false;
      }
    } else {
      c = static_cast<std::uint32_t>(text[i]);
    }
    if (!IsXmlChar(c)) return false;
  }
  return true;
}

}  // namespace qz_dsc
