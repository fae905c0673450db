// The manager as the overlay library sees it: data sources by id as unit
// adapters, the list's descriptions, and a list of values the overlay library
// keeps here. It does not keep the manager alive: drop it before the
// manager's last Release.
//
// Threads: it adds no lock of its own and relies on the manager's and the
// units'; the list of values belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qz_dsc/IDataSourceUnitMgrCtrl.h"
#include "qz_ovlib/qz_ovlib.h"

namespace qz_dsc {

class DataSourceUnitMgrPxy final : public qz_ovlib::IDataSourceManager {
 public:
  // manager: not counted (see above).
  explicit DataSourceUnitMgrPxy(IDataSourceUnitMgrCtrl* manager) noexcept : m_manager(manager) {}

  // A new adapter of the unit with that id, or an empty pointer.
  std::shared_ptr<qz_ds::DataSource> GetDataSource(const std::wstring& id) override;
  // False.
  bool IsRecording() override;
  // False.
  bool IsModified() override;
  std::vector<qz_ds::DataSourceInfo> GetDataSourceInfos() override;
  void SetValues(const std::vector<std::int64_t>& values) override;
  const std::vector<std::int64_t>& GetValues() override;

 private:
  IDataSourceUnitMgrCtrl* m_manager;
  std::vector<std::int64_t> m_values;
};

}  // namespace qz_dsc
