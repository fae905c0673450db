// Maps the header of a CSV file to streams: which column holds the time,
// which columns fill which stream, under which name, unit and type. Streams
// come from the unit's definitions when it has some, otherwise from the
// header ("Name [unit]", "Name.x"/"Name.y"/"Name.z", "Name.0".."Name.5").
// A value type; Build is safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "CsvSettings.h"
#include "qz_ds/qz_ds.h"

namespace qz_dsc::csv {

struct CsvStreamPlan {
  std::wstring name;
  std::wstring unit;
  // StreamBasicType_None: infer from the cells of the single column.
  qz_ds::StreamBasicType type = qz_ds::StreamBasicType_None;
  // The column of a scalar stream; the x, y(, z) or 0..5 columns of a vector.
  std::vector<std::size_t> columns;
  // True when the stream was defined in the unit before the import.
  bool defined = false;
};

struct CsvStreamLayout {
  std::size_t timeColumn = 0;
  std::vector<CsvStreamPlan> streams;
  // Columns no definition asked for.
  std::vector<std::size_t> skippedColumns;
  // The stream name of every column, in header order.
  std::vector<std::wstring> columnNames;

  // header: the header fields (UTF-8); definitions: the unit's streams (may
  // be empty). Throws CsvError (E_FAIL, or E_INVALIDARG for settings that do
  // not fit the header) naming displayName and headerLine.
  static CsvStreamLayout Build(const std::vector<std::string>& header, const CsvSettings& settings,
                               const std::vector<qz_ds::StreamInfo>& definitions, const std::wstring& displayName,
                               std::int64_t headerLine);
};

// True for the types one column holds: int, double and string.
[[nodiscard]] bool IsScalarStreamType(qz_ds::StreamBasicType type) noexcept;

// Splits "Name [unit]" into name and unit, both trimmed; without a bracketed
// unit at the end the whole trimmed text is the name.
void SplitHeaderField(const std::wstring& field, std::wstring& name, std::wstring& unit);

}  // namespace qz_dsc::csv
