// Files the tool writes besides list documents (CSV exports, plots,
// snapshots) are written whole or not at all: the bytes go to a temporary
// file beside the target, which is flushed to disk and renamed over it, so
// a failed or interrupted command never leaves a half-written file.
#pragma once

#include <string>
#include <string_view>

namespace dscore_cli {

// ToolError (bad input) naming path when it cannot be written.
void WriteOutputFile(const std::string& path, std::string_view bytes);

// The whole file; ToolError (bad input) naming path when it cannot be read.
[[nodiscard]] std::string ReadInputFile(const std::string& path);

}  // namespace dscore_cli
