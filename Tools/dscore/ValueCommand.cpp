// dscore value: the value of a stream in effect at given times.
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

#include "Commands.h"
#include "StreamOptions.h"
#include "TimeText.h"
#include "ValueText.h"

namespace dscore_cli {
namespace {

struct ValueOptions {
  StreamOptions stream;
  std::vector<std::string> at;
  std::string timeFormat;
  std::string frameRate = "25";
};

void RunValue(const ValueOptions& options) {
  const auto times = TimeText::FromOption(options.timeFormat, options.frameRate);
  std::vector<std::int64_t> ticks;
  for (const auto& text : options.at) ticks.push_back(TimeText::Parse("--at", text));
  const auto stream = options.stream.Open();
  stream.Visit([&](const auto& typed) {
    for (const std::int64_t t : ticks) {
      typename std::decay_t<decltype(*typed)>::Sample::second_type value{};
      static_cast<void>(typed->GetValueAt(t, 0, value));
      std::cout << times.Format(t) << '\t' << ValueText(value) << '\n';
    }
  });
}

}  // namespace

void AddValueCommand(CLI::App& app) {
  auto options = std::make_shared<ValueOptions>();
  auto* command = app.add_subcommand("value", "Print the value of a stream in effect at given times");
  options->stream.AddTo(*command, false);
  command->add_option("--at", options->at, "a time (repeat the option or give several)")->required();
  command->add_option("--time-format", options->timeFormat,
                      "time format of the output: " + TimeText::FormatNames() + "; default exact seconds");
  command->add_option("--frame-rate", options->frameRate, "frames a second for TimeCode, N or N/D")
      ->capture_default_str();
  command->footer(
      "Recorded (internal) streams hold each sample until the next one; imported (external) streams\n"
      "interpolate numbers and vectors between samples. Before the first sample, and for a constant\n"
      "stream at any time, the library's rules apply (the default value, the last sample).\n\n"
      "Examples:\n"
      "  dscore value examples/datasource_list.xml Vehicle Speed --at 0.75\n"
      "  dscore value examples/datasource_list.xml 'Heart rate' BPM --at 1:00 --at 2:30.5");
  command->callback([options] { RunValue(*options); });
}

}  // namespace dscore_cli
