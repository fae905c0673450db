// dscore: the data sources of a list document in a terminal: list them, read
// and summarise streams, import CSV files, export, plot and snapshot.
// Exit codes: 0 success, 1 bad input, 2 bad usage.
#include <exception>
#include <iostream>

#include "LogRelay.h"
#include "Tool.h"
#include "ToolError.h"
#include "qz_dsc/CsvImporter.h"

int main(int argc, char** argv) {
  dscore_cli::LogRelay relay;
  static_cast<void>(qz_dsc::RegisterCsvImporter());
  try {
    return dscore_cli::RunTool(argc, argv);
  } catch (const std::exception& e) {
    // Out of memory or a library error: still a message and an exit code.
    std::cerr << "dscore: " << e.what() << "\n";
    return dscore_cli::kExitBadInput;
  }
}
