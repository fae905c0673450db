// The "QZ.CSV" importer: fills an external data source from a CSV file (one
// row per sample time, one column per stream). Register it once with
// RegisterCsvImporter() before loading documents, or call Import on an
// importer from CreateCsvImporter() directly.
//
// The file: UTF-8 (a byte order mark is skipped), LF or CRLF line ends,
// blank lines skipped, quoted fields may hold separators, doubled quotes and
// line breaks. The first row after skipRows lines is the header. Each column
// other than the time column becomes one stream named by its header text:
//   "Name [unit]"            sets the stream's value unit;
//   "Name.x", "Name.y"       form one Vector2 stream "Name" (with "Name.z" a
//                            Vector3 stream, which internal data sources
//                            cannot hold; copying such a source is refused
//                            by the tools that copy);
//   "Name.0" ... "Name.5"    form one VectorN<6> stream "Name".
// Types are inferred per column: all values integers (32-bit) gives an int
// stream, all numbers a double stream, anything else a string stream; a
// column without any value is a double stream. An empty cell adds no sample
// to its stream at that row's time (for vectors: every component empty; a
// partly empty vector is an error). A later row with the same time replaces
// the earlier sample. Times may go backwards (logged once as a warning).
//
// When the unit already holds stream definitions (from a document), each
// definition is filled from the column(s) of its name and is read as its own
// type; a definition without a column fails the import, and columns without
// a definition are skipped (logged as a warning). Otherwise the streams are
// created from the header. Every filled stream's previous samples are
// replaced and its time base is set to 0.
//
// Settings: the unit's persisted JSON text (empty means all defaults), an
// object with these optional keys; any other key is an error:
//   "separator"  one character (a one-byte string), default ","
//   "decimal"    "." (default) or ",": the decimal sign of numbers and times;
//                it must differ from the separator
//   "timeColumn" a header name, or a 0-based column index; default 0
//   "timeUnit"   "s" (default), "ms", "us", "ticks" (100 ns): decimal numbers
//                converted exactly on their digits (rounded to the nearest
//                tick beyond the tick's precision); or "text": a time text as
//                the library's time parser reads it ("1:02:03.5"), or ISO 8601
//                date-times ("2024-03-07T09:05:01.042+01:00"), taken relative
//                to the first row's
//   "skipRows"   lines to skip before the header row, default 0
//   "types"      an object from column or stream name to "int", "double" or
//                "string", overriding inference for streams created from the
//                header; a typed "Name.x" column stays a stream of its own
//
// Errors: Import never throws. It logs one message through qz_log (category
// 0, level 1) naming the file, the line and, where one applies, the column
// ("heart_rate.csv:17: 3 fields, expected 4"), and returns E_INVALIDARG for
// bad settings, E_POINTER for a null unit, E_OUTOFMEMORY when memory runs
// out, E_FAIL for a file that cannot be read or does not fit; the unit is
// left untouched then. Warnings are logged at level 2.
//
// Threads: an importer holds no state between calls; several threads may
// import through one importer into different units. The unit is called only
// from the importing thread.
#pragma once

#include <cstddef>
#include <memory>

#include "qz_dsc/IExternalDataSourceImporter.h"

#if defined(_WIN32)
#if defined(QZ_CSV_BUILDING)
#define QZ_CSV_API __declspec(dllexport)
#else
#define QZ_CSV_API __declspec(dllimport)
#endif
#else
#define QZ_CSV_API __attribute__((visibility("default")))
#endif

namespace qz_dsc {

// The converter name the importer is registered under.
inline constexpr const wchar_t* kCsvConverterName = L"QZ.CSV";

// Limits of an importer made for direct use.
struct CsvImporterOptions {
  // A physical line or a single field longer than this fails the import, so
  // that a file without line breaks is not read whole into memory.
  std::size_t maxLineBytes = std::size_t{64} << 20;
};

// Registers CreateCsvImporter under "QZ.CSV"; the registry's answer.
QZ_CSV_API bool RegisterCsvImporter();

// A new importer with the default options.
QZ_CSV_API std::shared_ptr<IExternalDataSourceImporter> CreateCsvImporter();
QZ_CSV_API std::shared_ptr<IExternalDataSourceImporter> CreateCsvImporter(const CsvImporterOptions& options);

}  // namespace qz_dsc
