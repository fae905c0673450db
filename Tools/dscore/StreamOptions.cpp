#include "StreamOptions.h"

#include <CLI/CLI.hpp>

#include "ListDocument.h"
#include "TimeText.h"
#include "ToolError.h"

namespace dscore_cli {

void StreamOptions::AddTo(CLI::App& command, bool withInterval) {
  command.add_option("LIST", list, "the data source list (XML)")->required();
  command.add_option("SOURCE", source, "the data source's name")->required();
  command.add_option("STREAM", stream, "the stream's name")->required();
  if (withInterval) {
    command.add_option("--from", from, "first time (inclusive), e.g. 12.5, 1:05, 1:02:03.250");
    command.add_option("--to", to, "last time (inclusive)");
  }
}

std::pair<std::int64_t, std::int64_t> StreamOptions::Interval() const {
  const std::int64_t first = from.empty() ? kEarliest : TimeText::Parse("--from", from);
  const std::int64_t last = to.empty() ? kLatest : TimeText::Parse("--to", to);
  if (first > last) FailUsage("--from " + from + " is after --to " + to);
  return {first, last};
}

StreamHandle StreamOptions::Open() const {
  const auto document = ListDocument::Load(list);
  const auto unit = document.RequireSource(source);
  return ListDocument::RequireStream(unit.Get(), stream);
}

}  // namespace dscore_cli
