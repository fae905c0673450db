// The subcommands of the tool. Each adds itself to the application with its
// options, help text and examples; its callback runs the command and throws
// ToolError on failure.
#pragma once

namespace CLI {
class App;
}

namespace dscore_cli {

void AddInfoCommand(CLI::App& app);
void AddCatCommand(CLI::App& app);
void AddValueCommand(CLI::App& app);
void AddStatsCommand(CLI::App& app);
void AddImportCommand(CLI::App& app);
void AddExportCommand(CLI::App& app);
void AddPlotCommand(CLI::App& app);
void AddSnapshotCommand(CLI::App& app);

}  // namespace dscore_cli
