#include "ListDocument.h"

#include <filesystem>

#include "ProgressIndicator.h"
#include "ToolError.h"
#include "Utf8Text.h"

namespace dscore_cli {
namespace {

qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> NewManager() {
  qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> manager;
  if (FAILED(qz_dsc::CreateDataSourceUnitMgr(manager.GetAddressOf()))) FailInput("out of memory");
  return manager;
}

std::string Quoted(const std::wstring& name) { return "'" + utf8text::ToUtf8(name) + "'"; }

std::string NameList(const std::vector<std::wstring>& names) {
  if (names.empty()) return "none";
  std::string list;
  for (const auto& name : names) list += (list.empty() ? "" : ", ") + Quoted(name);
  return list;
}

}  // namespace

std::wstring SourceId(qz_dsc::IDataSourceUnit* source) { return source->GetDataSourceInfo().GetId(); }

ListDocument ListDocument::Load(const std::string& path) {
  ListDocument document(path, NewManager());
  {
    ProgressIndicator progress("loading " + path);
    document.m_loadResult = qz_dsc::LoadDataSourceListFile(document.Manager(), utf8text::ToWide(path));
  }
  if (!document.m_loadResult) FailInput(utf8text::ToUtf8(document.m_loadResult.message));
  return document;
}

ListDocument ListDocument::LoadOrCreate(const std::string& path) {
  std::error_code error;
  if (std::filesystem::exists(path, error)) return Load(path);
  return ListDocument(path, NewManager());
}

std::vector<qz_com::ComPtr<qz_dsc::IDataSourceUnit>> ListDocument::Sources() const {
  std::vector<qz_com::ComPtr<qz_dsc::IDataSourceUnit>> sources;
  const std::int32_t count = m_manager->GetDataSourceCount();
  for (std::int32_t i = 0; i < count; ++i) {
    qz_com::ComPtr<qz_dsc::IDataSourceUnit> unit;
    if (SUCCEEDED(m_manager->GetDataSourceByIndex(i, uuidof<qz_dsc::IDataSourceUnit>(),
                                                 reinterpret_cast<void**>(unit.GetAddressOf())))) {
      sources.push_back(std::move(unit));
    }
  }
  return sources;
}

qz_com::ComPtr<qz_dsc::IDataSourceUnit> ListDocument::FindSource(const std::wstring& name) const {
  for (auto& source : Sources()) {
    if (SourceId(source.Get()) == name) return source;
  }
  return nullptr;
}

qz_com::ComPtr<qz_dsc::IDataSourceUnit> ListDocument::RequireSource(const std::string& name) const {
  if (auto source = FindSource(utf8text::ToWide(name))) return source;
  std::vector<std::wstring> names;
  for (auto& source : Sources()) names.push_back(SourceId(source.Get()));
  FailInput(m_path + ": no data source '" + name + "' (there are: " + NameList(names) + ")");
}

std::vector<StreamHandle> ListDocument::Streams(qz_dsc::IDataSourceUnit* source) {
  std::vector<StreamHandle> streams;
  const auto overlay = source->CreateOverlayDataSource();
  if (!overlay) return streams;
  for (const auto& info : source->GetDataSourceInfo().GetStreams()) {
    if (auto stream = StreamHandle::FromBase(overlay->GetStream(info.GetName()))) streams.push_back(*stream);
  }
  return streams;
}

StreamHandle ListDocument::RequireStream(qz_dsc::IDataSourceUnit* source, const std::string& name) {
  const std::wstring wanted = utf8text::ToWide(name);
  std::vector<std::wstring> names;
  for (auto& stream : Streams(source)) {
    if (stream.Name() == wanted) return stream;
    names.push_back(stream.Name());
  }
  FailInput("data source " + Quoted(SourceId(source)) + " has no stream '" + name + "' (there are: " +
            NameList(names) + ")");
}

void ListDocument::RequireWhole(bool force) const {
  if (!force && !m_loadResult.LoadedWhole()) {
    FailInput(m_path + ": the list did not load whole (" + std::to_string(m_loadResult.skippedUnits) +
              " data sources and " + std::to_string(m_loadResult.skippedStreams) +
              " streams were left out); saving would drop them. Nothing was written; use --force to save anyway");
  }
}

void ListDocument::Save(bool force) const {
  RequireWhole(force);
  qz_dsc::DataSourceListFileResult result;
  {
    ProgressIndicator progress("saving " + m_path);
    result = qz_dsc::SaveDataSourceListFile(m_manager.Get(), utf8text::ToWide(m_path));
  }
  if (!result) FailInput(utf8text::ToUtf8(result.message));
}

}  // namespace dscore_cli
