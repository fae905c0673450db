// Which texts an XML 1.0 document can carry. Some characters (most C0
// controls, U+FFFE, U+FFFF, surrogate code points, values above U+10FFFF)
// cannot appear in a document at all, even escaped; the XML writer would put
// them out anyway and leave a file that no longer parses, so savers check
// their texts first.
// Stateless; safe from any thread.
#pragma once

#include <string_view>

namespace qz_dsc {

// False when text holds a character XML 1.0 cannot carry. With 16-bit
// wchar_t a surrogate pair is one character and carried; a lone surrogate is
// not. With 32-bit wchar_t every surrogate code point is refused.
bool IsXmlCarriable(std::wstring_view text) noexcept;

}  // namespace qz_dsc
