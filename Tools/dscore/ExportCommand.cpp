// dscore export: a data source as a CSV table, one row per distinct sample
// time, one column per stream (per component for vectors), an empty cell
// where a stream has no sample at that time. The default time column is
// exact decimal seconds, which the CSV importer reads back to the tick.
#include <CLI/CLI.hpp>

#include <iostream>
#include <map>
#include <memory>

#include "Commands.h"
#include "ListDocument.h"
#include "OutputFile.h"
#include "TimeText.h"
#include "ToolError.h"
#include "Utf8Text.h"
#include "ValueText.h"

namespace dscore_cli {
namespace {

struct ExportOptions {
  std::string list;
  std::string source;
  std::string csv;
  std::string timeFormat;
  std::string frameRate = "25";
};

// A CSV field, quoted when it holds a comma, a quote or a line break.
std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

std::string CellText(std::int32_t value) { return std::to_string(value); }
std::string CellText(double value) { return FormatDouble(value); }
std::string CellText(const std::wstring& value) { return CsvField(utf8text::ToUtf8(value)); }

// Cells of one sample, one per column of its stream.
template <class T>
std::vector<std::string> Cells(const T& value) {
  if constexpr (std::is_same_v<T, std::int32_t> || std::is_same_v<T, double> || std::is_same_v<T, std::wstring>) {
    return {CellText(value)};
  } else {
    std::vector<std::string> cells;
    for (const double component : ValueComponents(value)) cells.push_back(FormatDouble(component));
    return cells;
  }
}

void RunExport(const ExportOptions& options) {
  const auto times = TimeText::FromOption(options.timeFormat, options.frameRate);
  const auto document = ListDocument::Load(options.list);
  const auto source = document.RequireSource(options.source);

  std::vector<std::string> header{"time"};
  // Cells by time; each row has one cell per column, empty where no sample.
  std::map<std::int64_t, std::vector<std::string>> rows;
  std::vector<std::pair<std::size_t, std::vector<std::pair<std::int64_t, std::vector<std::string>>>>> columns;
  for (const auto& stream : ListDocument::Streams(source.Get())) {
    const auto components = stream.ComponentNames();
    const bool isString = stream.Type() == qz_ds::StreamBasicType_String;
    if (components.empty() && !isString) {
      std::cerr << "dscore: export: stream '" << stream.NameUtf8() << "' (" << stream.TypeWord()
                << ") has no CSV form; left out\n";
      continue;
    }
    const std::string unit = stream.UnitUtf8().empty() ? "" : " [" + stream.UnitUtf8() + "]";
    const std::size_t firstColumn = header.size() - 1;
    if (isString) {
      header.push_back(CsvField(stream.NameUtf8() + unit));
    } else {
      for (const auto& component : components) {
        header.push_back(CsvField(stream.NameUtf8() + (component.empty() ? "" : "." + component) + unit));
      }
    }
    std::vector<std::pair<std::int64_t, std::vector<std::string>>> cells;
    stream.Visit([&](const auto& typed) {
      for (const auto& [time, value] : SamplesOf(typed)) cells.emplace_back(time, Cells(value));
    });
    columns.emplace_back(firstColumn, std::move(cells));
  }
  const std::size_t width = header.size() - 1;
  for (auto& [firstColumn, cells] : columns) {
    for (auto& [time, values] : cells) {
      auto& row = rows[time];
      row.resize(width);
      for (std::size_t i = 0; i < values.size(); ++i) row[firstColumn + i] = std::move(values[i]);
    }
  }

  std::string csv;
  for (std::size_t i = 0; i < header.size(); ++i) csv += (i ? "," : "") + header[i];
  csv += "\n";
  for (const auto& [time, row] : rows) {
    csv += CsvField(times.Format(time));
    for (const auto& cell : row) {
      csv += ',';
      csv += cell;
    }
    csv += '\n';
  }
  if (options.csv == "-") {
    std::cout << csv;
  } else {
    WriteOutputFile(options.csv, csv);
    std::cerr << "dscore: wrote " << rows.size() << " rows of " << width << " columns to " << options.csv << "\n";
  }
}

}  // namespace

void AddExportCommand(CLI::App& app) {
  auto options = std::make_shared<ExportOptions>();
  auto* command = app.add_subcommand("export", "Write a data source's samples as a CSV table");
  command->add_option("LIST", options->list, "the data source list (XML)")->required();
  command->add_option("SOURCE", options->source, "the data source's name")->required();
  command->add_option("--csv", options->csv, "the CSV file to write, - for standard output")->required();
  command->add_option("--time-format", options->timeFormat,
                      "time column format: " + TimeText::FormatNames() + "; default exact seconds (12.3456789)");
  command->add_option("--frame-rate", options->frameRate, "frames a second for TimeCode, N or N/D")
      ->capture_default_str();
  command->footer(
      "One row per distinct sample time, one column per stream (\"Name [unit]\"); vectors as Name.x,\n"
      "Name.y (.z) and Name.0 ... Name.5 columns; an empty cell where a stream has no sample.\n"
      "With the default time column, `dscore import` reads the file back to the same samples\n"
      "(a sample holding an empty string excepted: an empty cell means no sample).\n\n"
      "Examples:\n"
      "  dscore export examples/datasource_list.xml Vehicle --csv vehicle.csv\n"
      "  dscore export examples/datasource_list.xml Vehicle --csv - --time-format MilliSeconds");
  command->callback([options] { RunExport(*options); });
}

}  // namespace dscore_cli
