#include "units/DataSourceUnitMgrPxy.h"

#include "qz_com/ComPtr.h"
#include "qz_dsc/IDataSourceUnit.h"

namespace qz_dsc {

std::shared_ptr<qz_ds::DataSource> DataSourceUnitMgrPxy::GetDataSource(const std::wstring& id) {
  qz_com::ComPtr<IDataSourceUnit> unit;
  if (FAILED(m_manager->GetDataSourceById(id, uuidof<IDataSourceUnit>(), reinterpret_cast<void**>(unit.GetAddressOf()))) ||
      !unit) {
    return {};
  }
  return unit->CreateOverlayDataSource();
}

bool DataSourceUnitMgrPxy::IsRecording() { return false; }

bool DataSourceUnitMgrPxy::IsModified() { return false; }

std::vector<qz_ds::DataSourceInfo> DataSourceUnitMgrPxy::GetDataSourceInfos() {
  return m_manager->GetDataSourceInfos();
}

void DataSourceUnitMgrPxy::SetValues(const std::vector<std::int64_t>& values) {
  if (&values != &m_values) m_values = values;
}

const std::vector<std::int64_t>& DataSourceUnitMgrPxy::GetValues() { return m_values; }

}  // namespace qz_dsc
