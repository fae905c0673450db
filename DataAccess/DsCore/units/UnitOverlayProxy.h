// The overlay library's view of one unit (qz_ds::DataSource): the unit's
// description and its streams by name. The adapter holds one counted
// reference to its unit, so the unit lives as long as any overlay holds the
// adapter. Made only by the units' CreateOverlayDataSource, together with
// its shared-ownership control block.
//
// Threads: no lock of its own; every call goes through the unit's lock.
#pragma once

#include <memory>
#include <string>

#include "qz_ds/qz_ds.h"

namespace qz_dsc {

template <class Unit>
class UnitOverlayProxy : public qz_ds::DataSource {
 public:
  // REQUIRES: unit != nullptr; the adapter adds its own reference.
  explicit UnitOverlayProxy(Unit* unit) : m_unit(unit) { m_unit->AddRef(); }
  ~UnitOverlayProxy() override { m_unit->Release(); }
  UnitOverlayProxy(const UnitOverlayProxy&) = delete;
  UnitOverlayProxy& operator=(const UnitOverlayProxy&) = delete;

  // A copy of the unit's description, rebuilt first when it is stale.
  qz_ds::DataSourceInfo GetDataSourceInfo() override { return m_unit->CopyDataSourceInfo(); }
  // The unit's first stream whose own name is name, or an empty pointer.
  std::shared_ptr<qz_ds::DataSourceStreamBase> GetStream(const std::wstring& name) override {
    return m_unit->FindOverlayStream(name);
  }
  // Nothing to refresh or invalidate: every call reads the unit afresh.
  void Refresh() override {}
  void Invalidate() override {}

 private:
  Unit* m_unit;
};

}  // namespace qz_dsc
