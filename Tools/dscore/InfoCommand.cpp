// dscore info: the data sources and streams of a list, as a table or JSON.
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "ListDocument.h"
#include "TextTable.h"
#include "TimeText.h"
#include "Utf8Text.h"
#include "ValueText.h"
#include "qz_dsc/IDataSourceUnitExternal.h"
#include "qz_dsc/IQZPropertySet.h"

namespace dscore_cli {
namespace {

struct InfoOptions {
  std::string list;
  bool json = false;
};

// The property keys in the order the library adds them.
constexpr const wchar_t* kPropertyKeys[] = {L"Name",         L"Unit",       L"DataType",   L"LowRange",
                                            L"HighRange",    L"FlowType",   L"MinVal",     L"MaxVal",
                                            L"DataCount",    L"Video Offset", L"First Sample Time",
                                            L"Start Time",   L"End Time"};

using PropertyTexts = std::vector<std::pair<std::string, std::string>>;

// The value of a property as text, whatever its variant type.
std::string VariantText(const VARIANT& value) {
  switch (value.vt) {
    case VT_BSTR: return utf8text::ToUtf8(std::wstring_view(value.bstrVal, SysStringLen(value.bstrVal)));
    case VT_I4: return std::to_string(value.lVal);
    case VT_I8: return std::to_string(value.llVal);
    case VT_R8: return FormatDouble(value.dblVal);
    case VT_BOOL: return value.boolVal ? "true" : "false";
    default: return "";
  }
}

PropertyTexts ReadProperties(qz_dsc::IDataSourceUnit* source, std::int32_t index) {
  PropertyTexts texts;
  qz_com::ComPtr<qz_dsc::IQZPropertySet> set;
  if (FAILED(source->GetStreamProperties(index, set.GetAddressOf())) || !set) return texts;
  for (const wchar_t* key : kPropertyKeys) {
    VARIANT value;
    VariantInit(&value);
    if (SUCCEEDED(set->GetProperty(key, &value))) texts.emplace_back(utf8text::ToUtf8(key), VariantText(value));
    static_cast<void>(VariantClear(&value));
  }
  return texts;
}

std::string Text(const PropertyTexts& texts, const std::string& key) {
  for (const auto& [name, text] : texts) {
    if (name == key) return text;
  }
  return "";
}

struct SourceFacts {
  std::string name;
  bool external = false;
  std::string dataFile;
  std::string converter;
  std::string settings;
  bool importFailed = false;
  std::vector<PropertyTexts> streams;
};

SourceFacts Describe(qz_dsc::IDataSourceUnit* source) {
  SourceFacts facts;
  facts.name = utf8text::ToUtf8(SourceId(source));
  qz_com::ComPtr<qz_dsc::IDataSourceUnitExternal> external;
  if (SUCCEEDED(source->QueryInterface(uuidof<qz_dsc::IDataSourceUnitExternal>(),
                                       reinterpret_cast<void**>(external.GetAddressOf()))) && external) {
    facts.external = true;
    facts.dataFile = utf8text::ToUtf8(external->GetDataFilename());
    facts.converter = utf8text::ToUtf8(external->GetConverterName());
    facts.settings = utf8text::ToUtf8(external->GetPersistencyData());
    facts.importFailed = external->HasLoadFailed();
  }
  const std::int32_t count = source->GetStreamCount();
  for (std::int32_t i = 0; i < count; ++i) facts.streams.push_back(ReadProperties(source, i));
  return facts;
}

void PrintTable(const ListDocument& document, const std::vector<SourceFacts>& sources) {
  std::cout << document.Path() << ": " << sources.size() << (sources.size() == 1 ? " data source" : " data sources")
            << "\n";
  for (const auto& source : sources) {
    std::cout << "\n" << source.name << " (";
    if (source.external) {
      std::cout << "external, " << source.dataFile << " via " << source.converter << ", "
                << (source.importFailed ? "import FAILED" : "imported");
    } else {
      std::cout << "internal";
    }
    std::cout << ", " << source.streams.size() << (source.streams.size() == 1 ? " stream)\n" : " streams)\n");
    if (source.streams.empty()) continue;
    TextTable table({"STREAM", "TYPE", "UNIT", "SAMPLES", "START", "END", "MIN", "MAX", "VIDEO OFFSET", "FLOW"});
    for (const auto& stream : source.streams) {
      table.AddRow({Text(stream, "Name"), Text(stream, "DataType"), Text(stream, "Unit"), Text(stream, "DataCount"),
                    Text(stream, "Start Time"), Text(stream, "End Time"), Text(stream, "MinVal"),
                    Text(stream, "MaxVal"), Text(stream, "Video Offset"), Text(stream, "FlowType")});
    }
    table.Print(std::cout, "  ");
  }
  const auto& load = document.LoadResult();
  if (!load.LoadedWhole()) {
    std::cout << "\nleft out by the load: " << load.skippedUnits << " data sources, " << load.skippedStreams
              << " streams\n";
  }
}

nlohmann::json ToJson(const ListDocument& document, const std::vector<SourceFacts>& facts) {
  nlohmann::json sources = nlohmann::json::array();
  const auto units = document.Sources();
  for (std::size_t s = 0; s < facts.size(); ++s) {
    const auto& source = facts[s];
    nlohmann::json item = {{"name", source.name}, {"external", source.external}};
    if (source.external) {
      item["dataFile"] = source.dataFile;
      item["converter"] = source.converter;
      item["settings"] = source.settings;
      item["importFailed"] = source.importFailed;
    }
    const auto handles = ListDocument::Streams(units[s].Get());
    nlohmann::json streams = nlohmann::json::array();
    for (const auto& properties : source.streams) {
      nlohmann::json stream = {{"name", Text(properties, "Name")}};
      nlohmann::json texts = nlohmann::json::object();
      for (const auto& [key, text] : properties) texts[key] = text;
      for (const auto& handle : handles) {
        if (handle.NameUtf8() != Text(properties, "Name")) continue;
        stream["type"] = handle.TypeWord();
        stream["unit"] = handle.UnitUtf8();
        stream["kind"] = handle.IsExternal() ? "external" : "internal";
        handle.Visit([&](const auto& typed) {
          const auto samples = SamplesOf(typed);
          stream["sampleCount"] = samples.size();
          if (!samples.empty()) {
            stream["firstSeconds"] = TimeText::ExactSeconds(samples.front().first);
            stream["lastSeconds"] = TimeText::ExactSeconds(samples.back().first);
          }
        });
      }
      stream["properties"] = std::move(texts);
      streams.push_back(std::move(stream));
    }
    item["streams"] = std::move(streams);
    sources.push_back(std::move(item));
  }
  const auto& load = document.LoadResult();
  return {{"file", document.Path()},
          {"dataSources", std::move(sources)},
          {"skippedDataSources", load.skippedUnits},
          {"skippedStreams", load.skippedStreams}};
}

void RunInfo(const InfoOptions& options) {
  const auto document = ListDocument::Load(options.list);
  std::vector<SourceFacts> facts;
  for (auto& source : document.Sources()) facts.push_back(Describe(source.Get()));
  if (options.json) {
    std::cout << ToJson(document, facts).dump(2) << "\n";
  } else {
    PrintTable(document, facts);
  }
}

}  // namespace

void AddInfoCommand(CLI::App& app) {
  auto options = std::make_shared<InfoOptions>();
  auto* command = app.add_subcommand("info", "List the data sources and streams of a list document");
  command->add_option("LIST", options->list, "the data source list (XML)")->required();
  command->add_flag("--json", options->json, "JSON for scripts instead of the table");
  command->footer(
      "Each stream shows its type, unit, sample count, time span, value range, video offset and flow;\n"
      "each external data source its data file, importer and whether the import succeeded.\n\n"
      "Examples:\n"
      "  dscore info examples/datasource_list.xml\n"
      "  dscore info examples/datasource_list.xml --json | jq '.dataSources[].name'");
  command->callback([options] { RunInfo(*options); });
}

}  // namespace dscore_cli
