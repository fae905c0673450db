// The dscore command line on arbitrary arguments (one per input line): every
// run must end in exit code 0, 1 or 2, never in a crash or an exception that
// escapes the tool. It runs in a scratch folder of its own holding the tool
// tests' list with an external data source added; arguments with a "/"
// and the import subcommand (which changes the list) are refused, so every
// run reads the same files and writes only inside that folder.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

#include "Tool.h"
#include "qz_dsc/CsvImporter.h"
#include "qz_log/qz_log.h"

namespace {

constexpr std::size_t kMaxInput = 4096;
constexpr std::size_t kMaxArguments = 16;

// Added to the tool tests' list: an external source read from hr.csv.
constexpr const char* kExternalSource = R"(<DataSource name="HR" isExternal="yes" dataFilename="./hr.csv" converterName="QZ.CSV">
      <DataSourceStream xsi:type="DataSourceIntStreamType" name="BPM" StreamClassID="2" limitCount="0"
        freezeDelay="0 0" dataVideoOffset64="0" defaultValue="0" flowType="1" valueUnit="1/min"/>
    </DataSource>
  )";

// Swallows the tool's output.
class NullBuffer : public std::streambuf {
 protected:
  int overflow(int c) override { return c; }
};

std::filesystem::path g_scratch;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  g_scratch = std::filesystem::temp_directory_path() / ("dscore_cli_fuzz_" + std::to_string(getpid()));
  std::filesystem::create_directories(g_scratch);
  std::filesystem::current_path(g_scratch);
  std::atexit([] {
    std::error_code error;
    std::filesystem::remove_all(g_scratch, error);
  });
  std::ifstream in(DSCORE_TOOL_TESTDATA "/car_list.xml");
  std::string list((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const auto end = list.find("</mpeg7:DescriptionUnit>");
  if (end == std::string::npos) std::abort();
  list.insert(end, kExternalSource);
  std::ofstream("list.xml") << list;
  std::ofstream("hr.csv") << "time,BPM\n0,60\n0.5,61\n2,70\n";
  static NullBuffer null;
  std::cout.rdbuf(&null);
  std::cerr.rdbuf(&null);
  qz_log::set_log_sink([](const qz_log::LogRecord&) {});
  static_cast<void>(qz_dsc::RegisterCsvImporter());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInput) return -1;
  std::vector<std::string> arguments{"dscore"};
  std::string current;
  for (std::size_t i = 0; i <= size; ++i) {
    if (i == size || data[i] == '\n') {
      arguments.push_back(current);
      current.clear();
    } else {
      current += static_cast<char>(data[i]);
    }
  }
  if (arguments.size() > kMaxArguments + 1) return -1;
  for (const auto& argument : arguments) {
    if (argument.find('/') != std::string::npos || argument == "import") return -1;
  }
  std::vector<const char*> argv;
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  const int code = dscore_cli::RunTool(static_cast<int>(argv.size()), argv.data());
  if (code < 0 || code > 2) std::abort();
  return 0;
}
