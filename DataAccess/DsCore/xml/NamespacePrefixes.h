// The fixed prefixes of the data source list document and their namespace:
// both "mpeg7" and "xsi" are bound to the MPEG-7 namespace on purpose. Used
// by the DOM encoders and by the streaming writer alike.
// Stateless; safe from any thread.
#pragma once

#include <string>
#include <string_view>

namespace qz_dsc {

// The namespace URI of a qualified name: empty for an unprefixed name; false
// for a prefix outside the table.
[[nodiscard]] bool LookupNamespace(std::wstring_view name, std::wstring& uri);

}  // namespace qz_dsc
