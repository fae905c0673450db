// A data source list document opened by the tool: the manager that holds it,
// the load's report of what it left out, lookup of data sources and streams
// by name with errors that list what exists, and the crash-safe save that
// refuses to drop what the load could not read.
#pragma once

#include <string>
#include <vector>

#include "StreamHandle.h"
#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceListFile.h"
#include "qz_dsc/IDataSourceUnit.h"
#include "qz_dsc/IDataSourceUnitMgrCtrl.h"

namespace dscore_cli {

class ListDocument {
 public:
  // Loads path; ToolError (bad input) with the load's message when the file
  // is missing or is not a data source list.
  [[nodiscard]] static ListDocument Load(const std::string& path);
  // Loads path when it exists, else starts an empty list to be saved there.
  [[nodiscard]] static ListDocument LoadOrCreate(const std::string& path);

  [[nodiscard]] const std::string& Path() const noexcept { return m_path; }
  [[nodiscard]] qz_dsc::IDataSourceUnitMgrCtrl* Manager() const noexcept { return m_manager.Get(); }
  [[nodiscard]] const qz_dsc::DataSourceListFileResult& LoadResult() const noexcept { return m_loadResult; }

  // Every data source, in list order.
  [[nodiscard]] std::vector<qz_com::ComPtr<qz_dsc::IDataSourceUnit>> Sources() const;
  // The data source with that name, or null.
  [[nodiscard]] qz_com::ComPtr<qz_dsc::IDataSourceUnit> FindSource(const std::wstring& name) const;
  // The same; ToolError (bad input) naming the sources there are.
  [[nodiscard]] qz_com::ComPtr<qz_dsc::IDataSourceUnit> RequireSource(const std::string& name) const;

  // The streams of a data source, in its description's order.
  [[nodiscard]] static std::vector<StreamHandle> Streams(qz_dsc::IDataSourceUnit* source);
  // The named stream; ToolError (bad input) naming the streams there are.
  [[nodiscard]] static StreamHandle RequireStream(qz_dsc::IDataSourceUnit* source, const std::string& name);

  // Unless force is set, ToolError (bad input) when the load left something
  // out, so that saving over the file would drop it.
  void RequireWhole(bool force) const;
  // Saves over Path() through the library's crash-safe file save, after
  // RequireWhole(force).
  void Save(bool force) const;

 private:
  ListDocument(std::string path, qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> manager)
      : m_path(std::move(path)), m_manager(std::move(manager)) {}

  std::string m_path;
  qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> m_manager;
  qz_dsc::DataSourceListFileResult m_loadResult;
};

// The id of a unit (its description's, which a loaded unit only has once
// asked for it).
[[nodiscard]] std::wstring SourceId(qz_dsc::IDataSourceUnit* source);

}  // namespace dscore_cli
