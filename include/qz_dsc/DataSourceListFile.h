// Loading and saving the data source list document as a file: the everyday
// path of hosts and of the command-line tool. The load resolves data file
// names against the document's folder and reports what it had to leave out;
// the save never loses the previous file (a temporary file beside it is
// written, flushed and renamed over it).
//
// Threads: each call holds the manager's lock only inside the manager's own
// operations; do not load into a manager that other threads are using.
#pragma once

#include <cstdint>
#include <string>

#include "qz_com/qz_com.h"
#include "qz_dsc/IDataSourceUnitMgrCtrl.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

// The outcome of a file load or save.
struct DataSourceListFileResult {
  HRESULT status = S_OK;
  // Why it failed: the file and the reason; for a document that does not
  // parse, the parser's message with line and column. Empty on success.
  std::wstring message;
  // Load only: data source elements that could not be made into units, and
  // stream elements that units skipped.
  std::int32_t skippedUnits = 0;
  std::int32_t skippedStreams = 0;
  // Load only: external data sources whose importer failed or was missing.
  // Their definitions were loaded and save back unchanged; their samples
  // are missing until the data file imports again.
  std::int32_t failedImports = 0;

  explicit operator bool() const noexcept { return SUCCEEDED(status); }
  // True when nothing of the document was left out, so saving over it
  // loses nothing.
  bool LoadedWhole() const noexcept { return skippedUnits == 0 && skippedStreams == 0; }
};

// Replaces manager's list with the document in path. A missing or
// unreadable file, a document that does not parse or has no data source list
// fail and leave the list empty.
QZ_DSC_API DataSourceListFileResult LoadDataSourceListFile(IDataSourceUnitMgrCtrl* manager, const std::wstring& path);
// Writes manager's list to path, data file names relative to its folder. On
// failure (an unwritable folder, a value the document cannot carry, a failed
// write) the previous file at path is left as it was.
QZ_DSC_API DataSourceListFileResult SaveDataSourceListFile(IDataSourceUnitMgrCtrl* manager, const std::wstring& path);

}  // namespace qz_dsc
