// The arguments that name one stream (LIST SOURCE STREAM) and an optional
// time interval, shared by the commands that read a stream.
#pragma once

#include <cstdint>
#include <string>

#include "StreamHandle.h"

namespace CLI {
class App;
}

namespace dscore_cli {

struct StreamOptions {
  std::string list;
  std::string source;
  std::string stream;
  std::string from;
  std::string to;

  // Adds LIST SOURCE STREAM, and --from/--to when withInterval is set.
  void AddTo(CLI::App& command, bool withInterval);
  // The interval in ticks, open ends taken as the earliest and latest
  // times; ToolError (bad usage) for an unreadable time or from > to.
  [[nodiscard]] std::pair<std::int64_t, std::int64_t> Interval() const;
  // Loads the list and finds the stream; ToolError as ListDocument. The
  // stream outlives the list's manager.
  [[nodiscard]] StreamHandle Open() const;
};

}  // namespace dscore_cli
