// Fuzz target for the CSV importer: the input's first line is the settings
// JSON, the rest the file. Whatever the bytes, Import must answer without
// crashing, and a failing HRESULT
// only with the unit left without streams.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "Utf8Text.h"
#include "qz_com/ComPtr.h"
#include "qz_dsc/CsvImporter.h"
#include "qz_dsc/IDataSourceUnit.h"
#include "qz_dsc/IDataSourceUnitExternal.h"

namespace {

std::int32_t StreamCount(qz_dsc::IDataSourceUnitExternal* unit) {
  qz_com::ComPtr<qz_dsc::IDataSourceUnit> described;
  if (FAILED(qz_com::ComPtr<qz_dsc::IDataSourceUnitExternal>(unit).As(&described))) std::abort();
  return described->GetStreamCount();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = "/tmp/csv_importer_fuzz_" + std::to_string(::getpid()) + ".csv";
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t lineEnd = input.find('\n');
  const std::string_view settings = lineEnd == std::string_view::npos ? input : input.substr(0, lineEnd);
  const std::string_view file = lineEnd == std::string_view::npos ? std::string_view() : input.substr(lineEnd + 1);
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(file.data(), static_cast<std::streamsize>(file.size()));

  qz_dsc::CsvImporterOptions options;
  options.maxLineBytes = 4096;
  qz_dsc::IDataSourceUnitExternal* unit = nullptr;
  if (FAILED(qz_dsc::CreateExternalDataSourceUnit(L"fuzz", &unit))) return 0;
  const HRESULT hr = qz_dsc::CreateCsvImporter(options)->Import(utf8text::ToWide(path), utf8text::ToWide(settings), unit);
  if (FAILED(hr) && StreamCount(unit) != 0) {
    std::fprintf(stderr, "failed import 0x%08x left streams in the unit\n", static_cast<unsigned>(hr));
    std::abort();
  }
  unit->Release();
  return 0;
}
