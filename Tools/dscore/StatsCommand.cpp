// dscore stats: count, minimum, maximum, mean and standard deviation of a
// stream's samples over an interval, per numeric component.
#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "StreamOptions.h"
#include "TextTable.h"
#include "TimeText.h"
#include "ValueText.h"

namespace dscore_cli {
namespace {

struct StatsOptions {
  StreamOptions stream;
  bool json = false;
};

// Running moments of one component (Welford's update, stable for long runs).
struct Moments {
  std::size_t count = 0;
  double min = 0;
  double max = 0;
  double mean = 0;
  double m2 = 0;

  void Add(double x) {
    min = count == 0 ? x : std::min(min, x);
    max = count == 0 ? x : std::max(max, x);
    ++count;
    const double delta = x - mean;
    mean += delta / static_cast<double>(count);
    m2 += delta * (x - mean);
  }
  // Population standard deviation (over all samples of the interval).
  [[nodiscard]] double Deviation() const { return count ? std::sqrt(m2 / static_cast<double>(count)) : 0.0; }
};

// Mean and deviation for reading: six significant digits (--json has them all).
std::string Rounded(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.6g", value);
  return buffer;
}

void RunStats(const StatsOptions& options) {
  const auto interval = options.stream.Interval();
  const std::int64_t from = interval.first;
  const std::int64_t to = interval.second;
  const auto stream = options.stream.Open();
  const auto names = stream.ComponentNames();
  std::vector<Moments> moments(names.size());
  std::size_t count = 0;
  std::int64_t first = 0;
  std::int64_t last = 0;
  stream.Visit([&](const auto& typed) {
    const auto samples = SamplesOf(typed, from, to);
    count = samples.size();
    if (!samples.empty()) {
      first = samples.front().first;
      last = samples.back().first;
    }
    for (const auto& sample : samples) {
      const auto components = ValueComponents(sample.second);
      for (std::size_t i = 0; i < components.size() && i < moments.size(); ++i) moments[i].Add(components[i]);
    }
  });

  auto label = [&](std::size_t i) { return stream.NameUtf8() + (names[i].empty() ? "" : "." + names[i]); };
  if (options.json) {
    nlohmann::json result = {{"stream", stream.NameUtf8()}, {"unit", stream.UnitUtf8()}, {"count", count}};
    if (count) {
      result["firstSeconds"] = TimeText::ExactSeconds(first);
      result["lastSeconds"] = TimeText::ExactSeconds(last);
    }
    nlohmann::json components = nlohmann::json::array();
    for (std::size_t i = 0; i < moments.size() && count; ++i) {
      components.push_back({{"name", label(i)}, {"min", moments[i].min}, {"max", moments[i].max},
                            {"mean", moments[i].mean}, {"stddev", moments[i].Deviation()}});
    }
    result["components"] = std::move(components);
    std::cout << result.dump(2) << "\n";
    return;
  }
  std::cout << stream.NameUtf8() << " (" << stream.TypeWord()
            << (stream.UnitUtf8().empty() ? "" : ", " + stream.UnitUtf8()) << "): " << count
            << (count == 1 ? " sample" : " samples");
  if (count) std::cout << " from " << TimeText::ExactSeconds(first) << " s to " << TimeText::ExactSeconds(last) << " s";
  std::cout << "\n";
  if (!count) return;
  if (moments.empty()) {
    std::cout << "no numeric values: count only\n";
    return;
  }
  TextTable table({"COMPONENT", "MIN", "MAX", "MEAN", "STDDEV"});
  for (std::size_t i = 0; i < moments.size(); ++i) {
    table.AddRow({label(i), FormatDouble(moments[i].min), FormatDouble(moments[i].max), Rounded(moments[i].mean),
                  Rounded(moments[i].Deviation())});
  }
  table.Print(std::cout);
}

}  // namespace

void AddStatsCommand(CLI::App& app) {
  auto options = std::make_shared<StatsOptions>();
  auto* command = app.add_subcommand("stats", "Count, min, max, mean and standard deviation of a stream");
  options->stream.AddTo(*command, true);
  command->add_flag("--json", options->json, "JSON for scripts instead of the table");
  command->footer(
      "Over the samples with times in [--from, --to] (both included; the whole stream by default).\n"
      "Vectors get one row per component; the standard deviation is the population's.\n"
      "String and skeleton streams are counted only.\n\n"
      "Examples:\n"
      "  dscore stats examples/datasource_list.xml 'Heart rate' BPM\n"
      "  dscore stats examples/datasource_list.xml Vehicle Speed --from 10 --to 1:00 --json");
  command->callback([options] { RunStats(*options); });
}

}  // namespace dscore_cli
