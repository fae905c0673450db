// Cost of the CSV importer beside a plain libcsv parse of the same file (read
// and split into fields, nothing converted): a heart-rate file ("time;BPM",
// one int stream) and a wider file of doubles and a vector. Items are samples
// (one value of one stream at one time); the goal is a million a second.
#include <benchmark/benchmark.h>

#include <csv.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "qz_com/ComPtr.h"
#include "qz_dsc/CsvImporter.h"
#include "qz_dsc/IDataSourceUnitExternal.h"

namespace {

namespace fs = std::filesystem;

struct BenchFile {
  fs::path path;
  std::wstring settings;
  std::int64_t samples;
};

// rows rows of "time;BPM" with seven-decimal times, or of "time,a,b,c,Pos.x,Pos.y".
BenchFile MakeFile(bool wide, int rows) {
  BenchFile f;
  f.path = fs::temp_directory_path() / ("csv_bench_" + std::to_string(::getpid()) + (wide ? "_wide.csv" : "_hr.csv"));
  std::ofstream out(f.path, std::ios::binary);
  out << (wide ? "time,a [m],b,c,Pos.x,Pos.y\n" : "time;BPM\n");
  char line[160];
  for (int i = 0; i < rows; ++i) {
    const double t = i * 0.0040001;
    if (wide) {
      std::snprintf(line, sizeof line, "%.7f,%.4f,%.6f,%d.5,%.3f,%.3f\n", t, i * 0.25, 1.0 / (i + 1), i % 977, i * 0.5, -i * 0.5);
    } else {
      std::snprintf(line, sizeof line, "%.7f;%d\n", t, 60 + i % 120);
    }
    out << line;
  }
  f.settings = wide ? L"" : L"{\"separator\":\";\"}";
  f.samples = static_cast<std::int64_t>(rows) * (wide ? 4 : 1);
  return f;
}

// The two files, written on first use and removed at exit.
struct BenchFiles {
  BenchFile heartRate = MakeFile(false, 1'000'000);
  BenchFile wide = MakeFile(true, 250'000);
  ~BenchFiles() {
    std::error_code ec;
    fs::remove(heartRate.path, ec);
    fs::remove(wide.path, ec);
  }
};

const BenchFile& File(bool wide) {
  static const BenchFiles files;
  return wide ? files.wide : files.heartRate;
}

void CountField(void*, std::size_t, void* count) { ++*static_cast<std::int64_t*>(count); }
void CountRow(int, void*) {}

void BM_PlainLibcsvParse(benchmark::State& state) {
  const BenchFile& f = File(state.range(0) != 0);
  std::vector<char> block(1 << 20);
  for (auto _ : state) {
    csv_parser parser{};
    csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI);
    csv_set_delim(&parser, f.settings.empty() ? ',' : ';');
    std::int64_t fields = 0;
    std::ifstream in(f.path, std::ios::binary);
    while (in.read(block.data(), static_cast<std::streamsize>(block.size())) || in.gcount() > 0) {
      csv_parse(&parser, block.data(), static_cast<std::size_t>(in.gcount()), CountField, CountRow, &fields);
    }
    csv_fini(&parser, CountField, CountRow, &fields);
    csv_free(&parser);
    benchmark::DoNotOptimize(fields);
  }
  state.SetItemsProcessed(state.iterations() * f.samples);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(fs::file_size(f.path)));
}

void BM_CsvImporter(benchmark::State& state) {
  const BenchFile& f = File(state.range(0) != 0);
  const auto importer = qz_dsc::CreateCsvImporter();
  for (auto _ : state) {
    qz_com::ComPtr<qz_dsc::IDataSourceUnitExternal> unit;
    if (FAILED(qz_dsc::CreateExternalDataSourceUnit(L"bench", unit.GetAddressOf())) ||
        FAILED(importer->Import(f.path.wstring(), f.settings, unit.Get()))) {
      state.SkipWithError("import failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * f.samples);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(fs::file_size(f.path)));
}

// Argument 0: heart rate, 1,000,000 rows; 1: wide, 250,000 rows.
BENCHMARK(BM_PlainLibcsvParse)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CsvImporter)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
