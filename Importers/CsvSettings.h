// The settings of the CSV importer, read from the unit's persisted JSON text
// (the keys are listed in qz_dsc/CsvImporter.h). A value type; Parse is safe
// from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "qz_ds/qz_ds.h"

namespace qz_dsc::csv {

enum class TimeUnit { Seconds, Milliseconds, Microseconds, Ticks, Text };

struct CsvSettings {
  char separator = ',';
  char decimal = '.';
  // The time column by header name when timeColumnName is set, else by index.
  std::wstring timeColumnName;
  bool timeColumnByName = false;
  std::size_t timeColumnIndex = 0;
  TimeUnit timeUnit = TimeUnit::Seconds;
  std::size_t skipRows = 0;
  // Column or stream name to the type it is read as (Int, Float or String).
  std::map<std::wstring, qz_ds::StreamBasicType> types;

  // Reads json (UTF-32/16 wide text of a JSON object; empty for defaults).
  // Throws CsvError with E_INVALIDARG naming the bad key.
  static CsvSettings Parse(const std::wstring& json);
};

}  // namespace qz_dsc::csv
