// Names that only an external data source's element carries and that are not
// rows of the exported tag table: the "isExternal" value and the two forms of
// the importer's persisted settings. Immutable.
#pragma once

namespace qz_dsc {

inline constexpr wchar_t kExternalYes[] = L"yes";
inline constexpr wchar_t kPersistencyJson[] = L"PersistencyDataJSON";
inline constexpr wchar_t kPersistencyElement[] = L"PersistencyData";

}  // namespace qz_dsc
