// The dscore command line: every subcommand added to one application, the
// arguments parsed and the chosen command run.
#pragma once

namespace dscore_cli {

// Runs the command line and answers its exit code: 0, or 1 (bad input) and
// 2 (bad usage) with the reason on standard error; --help prints to
// standard output and answers 0. Exceptions other than the tool's own and
// the parser's pass to the caller.
[[nodiscard]] int RunTool(int argc, const char* const* argv);

}  // namespace dscore_cli
