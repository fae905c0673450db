// dscore: the data sources of a list document in a terminal: list them, read
// and summarise streams, import CSV files, export, plot and snapshot.
// Exit codes: 0 success, 1 bad input, 2 bad usage.
#include <CLI/CLI.hpp>

#include <iostream>

#include "Commands.h"
#include "LogRelay.h"
#include "ToolError.h"
#include "qz_dsc/CsvImporter.h"

int main(int argc, char** argv) {
  using namespace dscore_cli;
  CLI::App app("dscore: inspect, import, export and plot the data sources of a DsCore list document", "dscore");
  app.require_subcommand(1);
  app.footer("Run dscore SUBCOMMAND --help for the options and examples of each subcommand.");
  AddInfoCommand(app);
  AddCatCommand(app);
  AddValueCommand(app);
  AddStatsCommand(app);
  AddImportCommand(app);
  AddExportCommand(app);
  AddPlotCommand(app);
  AddSnapshotCommand(app);

  LogRelay relay;
  static_cast<void>(qz_dsc::RegisterCsvImporter());
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int code = app.exit(e);
    return code == 0 ? kExitOk : kExitBadUsage;
  } catch (const ToolError& e) {
    std::cerr << "dscore: " << e.what() << "\n";
    return e.ExitCode();
  } catch (const std::exception& e) {
    std::cerr << "dscore: " << e.what() << "\n";
    return kExitBadInput;
  }
  return kExitOk;
}
