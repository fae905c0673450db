// dscore import: a CSV file added to a list document, either as an external
// data source that refers to the file through the "QZ.CSV" importer (the
// samples stay in the file and come back exactly at every load) or, with
// --copy, as an internal data source holding a copy of the samples.
#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "ListDocument.h"
#include "ProgressIndicator.h"
#include "SnapshotRecord.h"
#include "ToolError.h"
#include "Utf8Text.h"
#include "qz_dsc/CsvImporter.h"
#include "qz_dsc/IDataSourceUnitCtrl.h"
#include "qz_dsc/IDataSourceUnitExternal.h"
#include "qz_dsc/IDataSourceUnitMgrPrivate.h"
#include "qz_dsc/IExternalDataSourceImporter.h"
#include "qz_dsc/StreamModifierRawBuffer.h"
#include "qz_dsc/Ticks.h"

namespace dscore_cli {
namespace {

struct ImportOptions {
  std::string data;
  std::string list;
  std::string source;
  std::string settings;
  bool copy = false;
  bool replace = false;
  bool force = false;
};

std::string HresultText(HRESULT hr) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "0x%08x", static_cast<unsigned>(hr));
  return buffer;
}

// The external data source for the file, its streams filled by the importer.
qz_com::ComPtr<qz_dsc::IDataSourceUnitExternal> ImportFile(const ImportOptions& options, const std::wstring& path) {
  qz_com::ComPtr<qz_dsc::IDataSourceUnitExternal> unit;
  if (FAILED(qz_dsc::CreateExternalDataSourceUnit(utf8text::ToWide(options.source), unit.GetAddressOf())) || !unit) {
    FailInput("out of memory");
  }
  const std::wstring settings = utf8text::ToWide(options.settings);
  unit->SetDataFilename(path);
  unit->SetConverterName(qz_dsc::kCsvConverterName);
  if (!settings.empty()) unit->SetPersistencyDataJSON(settings);
  const auto importer = qz_dsc::CreateExternalDataSourceImporter(qz_dsc::kCsvConverterName);
  if (!importer) FailInput("no importer is registered for \"QZ.CSV\"");
  HRESULT hr = E_FAIL;
  {
    ProgressIndicator progress("importing " + options.data);
    hr = importer->Import(path, settings, unit.Get());
  }
  if (FAILED(hr)) {
    FailInput(options.data + ": import failed (" + HresultText(hr) +
              "; the importer's messages above say where). Nothing was written");
  }
  return unit;
}

// Samples whose times the list document will not give back as they are.
struct TimePairEffect {
  std::size_t moved = 0;    // one second or more away from 0
  std::size_t rounded = 0;  // not a whole millisecond
};

TimePairEffect CountTimePairEffect(const qz_dsc::DataSourceModifier& record) {
  TimePairEffect effect;
  auto count = [&](std::int64_t t) {
    if (t / qz_dsc::kTicksPerSecond != 0) ++effect.moved;
    if (t % qz_dsc::kTicksPerMillisecond != 0) ++effect.rounded;
  };
  for (int i = 0; i < record.GetStreamModifierCount(); ++i) {
    const auto buffer = record.GetStreamModifier(i)->GetInternalBuffer();
    auto visit = [&](auto* typed) {
      if (typed == nullptr) return;
      for (const auto& sample : typed->GetSamples()) count(sample.first);
    };
    visit(dynamic_cast<qz_dsc::StreamModifierRawBuffer<int>*>(buffer.get()));
    visit(dynamic_cast<qz_dsc::StreamModifierRawBuffer<double>*>(buffer.get()));
    visit(dynamic_cast<qz_dsc::StreamModifierRawBuffer<std::wstring>*>(buffer.get()));
    visit(dynamic_cast<qz_dsc::StreamModifierRawBuffer<qz_math::Vector2>*>(buffer.get()));
    visit(dynamic_cast<qz_dsc::StreamModifierRawBuffer<qz_math::VectorN<6>>*>(buffer.get()));
  }
  return effect;
}

void CopyIntoList(const ImportOptions& options, const ListDocument& document, qz_dsc::IDataSourceUnit* imported) {
  qz_dsc::DataSourceModifier record;
  std::vector<StreamHandle> leftOut;
  BuildSnapshotRecord(imported, record, leftOut);
  if (!leftOut.empty()) {
    FailInput(options.data + ": column group '" + leftOut.front().NameUtf8() + "' is a " +
              leftOut.front().TypeWord() +
              " stream, and internal data sources have no stream of that type; import without --copy to keep "
              "it as an external data source. Nothing was written");
  }
  qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrPrivate> manager;
  if (FAILED(qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrCtrl>(document.Manager()).As(&manager)) ||
      !manager->ApplyModifier(record, 0)) {
    FailInput(options.data + ": the samples could not be copied into an internal data source");
  }
  const auto effect = CountTimePairEffect(record);
  if (effect.moved > 0) {
    std::cerr << "dscore: note: the list document stores an internal sample time as whole seconds and the whole "
                 "time in milliseconds, and reads the two back as their sum: "
              << effect.moved
              << " copied samples at one second or later will load at later times (2.5 s comes back as 4.5 s). "
                 "Import without --copy to keep the times exact.\n";
  }
  if (effect.rounded > 0) {
    std::cerr << "dscore: note: " << effect.rounded
              << " copied sample times are not whole milliseconds; the list document keeps whole milliseconds.\n";
  }
}

void RunImport(const ImportOptions& options) {
  if (!options.settings.empty()) {
    const auto settings = nlohmann::json::parse(options.settings, nullptr, false);
    if (settings.is_discarded() || !settings.is_object()) {
      FailUsage("--settings: not a JSON object: " + options.settings);
    }
  }
  std::error_code error;
  const auto path = std::filesystem::absolute(options.data, error);
  if (error || !std::filesystem::is_regular_file(path, error)) FailInput(options.data + ": no such file");

  const auto document = ListDocument::LoadOrCreate(options.list);
  document.RequireWhole(options.force);
  const std::wstring id = utf8text::ToWide(options.source);
  if (document.FindSource(id)) {
    if (!options.replace) {
      FailInput(options.list + ": there is already a data source '" + options.source +
                "'; use --replace to replace it. Nothing was written");
    }
  }
  const auto imported = ImportFile(options, path.wstring());
  qz_com::ComPtr<qz_dsc::IDataSourceUnit> unit;
  if (FAILED(imported.As(&unit))) FailInput("the imported data source has no unit interface");
  static_cast<void>(unit->GetDataSourceInfo());

  if (options.copy) {
    static_cast<void>(document.Manager()->RemoveDataSource(id));
    CopyIntoList(options, document, unit.Get());
  } else if (FAILED(document.Manager()->AddDataSource(unit.Get()))) {
    FailInput("the imported data source could not be added to the list");
  }
  document.Save(options.force);
  std::cerr << "dscore: " << (options.copy ? "copied " : "added ") << options.data << " as '" << options.source
            << "' (" << ListDocument::Streams(unit.Get()).size() << " streams) to " << options.list << "\n";
}

}  // namespace

void AddImportCommand(CLI::App& app) {
  auto options = std::make_shared<ImportOptions>();
  auto* command = app.add_subcommand("import", "Add a CSV file to a list document as a data source");
  command->add_option("DATA", options->data, "the CSV file")->required();
  command->add_option("--into", options->list, "the data source list (XML); created when missing")->required();
  command->add_option("--source", options->source, "the new data source's name")->required();
  command->add_option("--settings", options->settings,
                      "the importer's settings as JSON, e.g. '{\"separator\":\";\",\"timeUnit\":\"ms\"}'");
  command->add_flag("--copy", options->copy, "copy the samples into an internal data source");
  command->add_flag("--replace", options->replace, "replace a data source of the same name");
  command->add_flag("--force", options->force, "save even though the list did not load whole");
  command->footer(
      "By default the list gets an external data source that refers to the file through the\n"
      "\"QZ.CSV\" importer: the samples stay in the CSV and come back exactly at every load.\n"
      "With --copy they are copied into an internal data source instead. Note: the list document\n"
      "stores an internal sample time as whole seconds plus the whole time in milliseconds and\n"
      "reads the two back as their sum, so copied samples at one second or later load at later\n"
      "times (2.5 s comes back as 4.5 s); --copy says so when it applies. 3-vector columns cannot\n"
      "be copied (internal data sources have no 3-vector streams).\n"
      "Settings keys: separator, decimal, timeColumn, timeUnit (s, ms, us, ticks, text), skipRows, types.\n\n"
      "Examples:\n"
      "  dscore import run.csv --into list.xml --source Run\n"
      "  dscore import hr.csv --into list.xml --source HR --settings '{\"separator\":\";\"}' --copy");
  command->callback([options] { RunImport(*options); });
}

}  // namespace dscore_cli
