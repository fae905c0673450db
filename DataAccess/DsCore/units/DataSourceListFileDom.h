// The document file load through a whole DOM, as it was before the
// streaming reader: still the path for managers implemented elsewhere, and
// the reference the streaming load is checked against.
#pragma once

#include <string>

#include "qz_dsc/DataSourceListFile.h"

namespace qz_dsc {

// LoadDataSourceListFile, parsing the file into a DOM and loading the list
// with the manager's LoadXML.
DataSourceListFileResult LoadDataSourceListFileThroughDom(IDataSourceUnitMgrCtrl* manager, const std::wstring& path);

}  // namespace qz_dsc
