// dscore plot: numeric streams of one data source against time, as SVG.
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <set>

#include "Commands.h"
#include "ListDocument.h"
#include "OutputFile.h"
#include "StreamOptions.h"
#include "SvgPlot.h"
#include "ToolError.h"
#include "ValueText.h"
#include "qz_dsc/Ticks.h"

namespace dscore_cli {
namespace {

struct PlotOptions {
  std::string list;
  std::string source;
  std::vector<std::string> streams;
  std::string svg;
  std::string from;
  std::string to;
};

void RunPlot(const PlotOptions& options) {
  StreamOptions bounds;
  bounds.from = options.from;
  bounds.to = options.to;
  const auto interval = bounds.Interval();
  const std::int64_t from = interval.first;
  const std::int64_t to = interval.second;
  const auto document = ListDocument::Load(options.list);
  const auto source = document.RequireSource(options.source);

  std::set<std::string> units;
  std::vector<SvgPlot::Series> series;
  std::size_t samples = 0;
  for (const auto& name : options.streams) {
    const auto stream = ListDocument::RequireStream(source.Get(), name);
    const auto components = stream.ComponentNames();
    if (components.empty()) {
      FailInput("stream '" + name + "' holds " + stream.TypeWord() + " values; plot takes numbers and vectors");
    }
    if (!stream.UnitUtf8().empty()) units.insert(stream.UnitUtf8());
    std::vector<SvgPlot::Series> lines(components.size());
    for (std::size_t i = 0; i < components.size(); ++i) {
      lines[i].label = name + (components[i].empty() ? "" : "." + components[i]) +
                       (stream.UnitUtf8().empty() ? "" : " [" + stream.UnitUtf8() + "]");
      lines[i].steps = !stream.IsExternal();
    }
    stream.Visit([&](const auto& typed) {
      for (const auto& [time, value] : SamplesOf(typed, from, to)) {
        const double seconds = static_cast<double>(time) / static_cast<double>(qz_dsc::kTicksPerSecond);
        const auto values = ValueComponents(value);
        for (std::size_t i = 0; i < values.size() && i < lines.size(); ++i) lines[i].points.emplace_back(seconds, values[i]);
        ++samples;
      }
    });
    for (auto& line : lines) series.push_back(std::move(line));
  }
  std::string valueLabel;
  for (const auto& unit : units) valueLabel += (valueLabel.empty() ? "" : ", ") + unit;
  SvgPlot plot(options.source, valueLabel.empty() ? "value" : valueLabel);
  for (auto& line : series) plot.AddSeries(std::move(line));
  WriteOutputFile(options.svg, plot.Render());
  std::cerr << "dscore: plotted " << samples << " samples to " << options.svg << "\n";
}

}  // namespace

void AddPlotCommand(CLI::App& app) {
  auto options = std::make_shared<PlotOptions>();
  auto* command = app.add_subcommand("plot", "Plot numeric streams against time as an SVG file");
  command->add_option("LIST", options->list, "the data source list (XML)")->required();
  command->add_option("SOURCE", options->source, "the data source's name")->required();
  command->add_option("STREAM", options->streams, "one or more streams of numbers or vectors")->required();
  command->add_option("--svg", options->svg, "the SVG file to write")->required();
  command->add_option("--from", options->from, "first time (inclusive), e.g. 12.5, 1:05");
  command->add_option("--to", options->to, "last time (inclusive)");
  command->footer(
      "One line per stream (per component for vectors), with axes, labels and a legend. Recorded\n"
      "streams are drawn as steps (a value holds until the next sample), imported ones as lines.\n"
      "Open the file in a browser to look at it.\n\n"
      "Examples:\n"
      "  dscore plot examples/datasource_list.xml Vehicle Speed --svg speed.svg\n"
      "  dscore plot examples/datasource_list.xml 'Heart rate' BPM --svg bpm.svg --from 1:00 --to 2:00");
  command->callback([options] { RunPlot(*options); });
}

}  // namespace dscore_cli
