// The one failure of a CSV import: the message to log (already naming file,
// line and column) and the HRESULT Import answers. Thrown inside the importer
// and caught in Import; never crosses the importer's interface.
#pragma once

#include <string>

#include "qz_com/qz_com.h"

namespace qz_dsc::csv {

struct CsvError {
  HRESULT result;
  std::wstring message;
};

}  // namespace qz_dsc::csv
