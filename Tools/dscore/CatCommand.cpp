// dscore cat: the samples of one stream, one line each: time, tab, value.
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

#include "Commands.h"
#include "StreamOptions.h"
#include "TimeText.h"
#include "ValueText.h"

namespace dscore_cli {
namespace {

struct CatOptions {
  StreamOptions stream;
  std::string timeFormat;
  std::string frameRate = "25";
};

void RunCat(const CatOptions& options) {
  const auto times = TimeText::FromOption(options.timeFormat, options.frameRate);
  const auto interval = options.stream.Interval();
  const std::int64_t from = interval.first;
  const std::int64_t to = interval.second;
  const auto stream = options.stream.Open();
  std::string out;
  stream.Visit([&](const auto& typed) {
    for (const auto& [time, value] : SamplesOf(typed, from, to)) {
      out += times.Format(time);
      out += '\t';
      out += ValueText(value);
      out += '\n';
    }
  });
  std::cout << out;
}

}  // namespace

void AddCatCommand(CLI::App& app) {
  auto options = std::make_shared<CatOptions>();
  auto* command = app.add_subcommand("cat", "Print the samples of a stream with their times");
  options->stream.AddTo(*command, true);
  command->add_option("--time-format", options->timeFormat,
                      "time format: " + TimeText::FormatNames() + "; default exact seconds (12.3456789)");
  command->add_option("--frame-rate", options->frameRate, "frames a second for TimeCode, N or N/D")->capture_default_str();
  command->footer(
      "One line per sample: the time, a tab, the value (vector components tab-separated;\n"
      "tabs, line breaks and backslashes in strings written as \\t, \\n, \\\\).\n\n"
      "Examples:\n"
      "  dscore cat examples/datasource_list.xml Vehicle Speed\n"
      "  dscore cat examples/datasource_list.xml Vehicle Speed --from 0:30 --to 1:00 --time-format MilliSeconds");
  command->callback([options] { RunCat(*options); });
}

}  // namespace dscore_cli
