#include "Tool.h"

#include <CLI/CLI.hpp>

#include <iostream>

#include "Commands.h"
#include "ToolError.h"

namespace dscore_cli {

int RunTool(int argc, const char* const* argv) {
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
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? kExitOk : kExitBadUsage;
  } catch (const ToolError& e) {
    std::cerr << "dscore: " << e.what() << "\n";
    return e.ExitCode();
  }
  return kExitOk;
}

}  // namespace dscore_cli
