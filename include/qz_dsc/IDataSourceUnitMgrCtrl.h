// The host's control of the data source list: add or replace by id, remove,
// clone, timing operations broadcast to every unit, and the overlay
// library's view. CreateDataSourceUnitMgr makes the manager.
//
// Threads: as IDataSourceUnitMgr. RebaseAll, TrimAll, AlignFirstSampleTimes,
// ResetVideoOffsets and GetDataSourceVideoOffset do not hold the manager's
// lock while they call the units.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qz_ds/qz_ds.h"
#include "qz_dsc/IDataSourceUnitMgr.h"
#include "qz_dsc/export.h"
#include "qz_ovlib/qz_ovlib.h"

namespace qz_dsc {

struct IDataSourceUnitMgrCtrl : public IDataSourceUnitMgr {
  virtual bool QZ_STDMETHODCALLTYPE IsEmpty() = 0;
  // An adapter for the overlay library. It does not keep the manager alive:
  // drop it before the manager's last Release.
  virtual std::shared_ptr<qz_ovlib::IDataSourceManager> QZ_STDMETHODCALLTYPE CreateOverlayManager() = 0;
  // Each unit's description, in list order.
  virtual std::vector<qz_ds::DataSourceInfo> QZ_STDMETHODCALLTYPE GetDataSourceInfos() = 0;
  // A deep copy of every unit, with one reference in *out.
  virtual HRESULT QZ_STDMETHODCALLTYPE Clone(IDataSourceUnitMgrCtrl** out) = 0;
  // Every unit's RebaseStreams(t), only for t > 0.
  virtual void QZ_STDMETHODCALLTYPE RebaseAll(std::int64_t t) = 0;
  // Every unit's TrimStreams(t) for t > 0; for t <= 0 every unit's samples
  // are cleared instead.
  virtual void QZ_STDMETHODCALLTYPE TrimAll(std::int64_t t) = 0;
  // Appends the unit, or puts it in the place of the unit with the same id.
  // Call GetDataSourceInfo on a unit you made before adding it (see
  // IDataSourceUnit). E_INVALIDARG for null, E_NOINTERFACE for a non-unit.
  virtual HRESULT QZ_STDMETHODCALLTYPE AddDataSource(IUnknown* unit) = 0;
  // E_INVALIDARG when no unit has the id.
  virtual HRESULT QZ_STDMETHODCALLTYPE RemoveDataSource(const std::wstring& id) = 0;
  virtual HRESULT QZ_STDMETHODCALLTYPE AlignFirstSampleTimes(std::int64_t videoFirstSampleTime) = 0;
  virtual HRESULT QZ_STDMETHODCALLTYPE ResetVideoOffsets() = 0;
  // The unit's video offset, 0 when no unit has the id.
  virtual std::int64_t QZ_STDMETHODCALLTYPE GetDataSourceVideoOffset(const std::wstring& id) = 0;

 protected:
  ~IDataSourceUnitMgrCtrl() = default;
};

// A new, empty manager with one reference in *ppInstance. E_POINTER for a
// null ppInstance, E_OUTOFMEMORY (null stored) without memory.
QZ_DSC_API HRESULT CreateDataSourceUnitMgr(IDataSourceUnitMgrCtrl** ppInstance);

}  // namespace qz_dsc

QZ_DEFINE_UUIDOF(qz_dsc::IDataSourceUnitMgrCtrl, 0x8b2e61a1, 0x4f1c, 0x4d27, 0x9a, 0x33, 0x0e, 0x6d, 0x52, 0xc8, 0x71,
                 0x02)
