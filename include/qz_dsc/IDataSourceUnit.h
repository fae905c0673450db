// A data source as a host sees it: a named set of sample streams with their
// video offsets and first sample times, a description of the streams, and
// property sets for display. Internal units (recorded by the host) and
// external units (read from a data file) both implement it.
//
// The id a unit answers is the id held in its description: a unit that was
// just created, loaded or cloned answers "" until GetDataSourceInfo has run.
// Call GetDataSourceInfo on a unit you made before you add it to a manager.
//
// Threads: units are free-threaded; each holds one re-entrant lock around the
// operations that touch its streams, id or description. GetId and
// GetDataSourceInfo return references into the unit: copy them before another
// thread may load, clear or re-describe the same unit.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "qz_com/qz_com.h"
#include "qz_ds/qz_ds.h"

namespace qz_dsc {

struct IQZPropertySet;

struct IDataSourceUnit : public IUnknown {
  // The id held in the description (see above).
  virtual const std::wstring& QZ_STDMETHODCALLTYPE GetId() = 0;
  virtual HRESULT QZ_STDMETHODCALLTYPE SetVideoOffset(std::int64_t offset) = 0;
  // E_INVALIDARG (logged) for an unknown name.
  virtual HRESULT QZ_STDMETHODCALLTYPE SetStreamVideoOffset(const std::wstring& name, std::int64_t offset) = 0;
  // Adds delta to every stream's video offset.
  virtual HRESULT QZ_STDMETHODCALLTYPE ShiftVideoOffset(std::int64_t delta) = 0;
  // E_INVALIDARG (logged) for an unknown name; offset is not checked.
  virtual HRESULT QZ_STDMETHODCALLTYPE GetStreamVideoOffset(const std::wstring& name, std::int64_t* offset) = 0;
  // The first stream's video offset, 0 without streams. Takes no lock.
  virtual std::int64_t QZ_STDMETHODCALLTYPE GetVideoOffset() = 0;
  virtual void QZ_STDMETHODCALLTYPE SetFirstSampleTime(std::int64_t time) = 0;
  // An unknown name is ignored.
  virtual void QZ_STDMETHODCALLTYPE SetStreamFirstSampleTime(const std::wstring& name, std::int64_t time) = 0;
  // An unknown name is logged and answers E_INVALIDARG as a time
  // (-2147024809); callers tell it from a real time only by the name.
  virtual std::int64_t QZ_STDMETHODCALLTYPE GetStreamFirstSampleTime(const std::wstring& name) = 0;
  virtual std::int32_t QZ_STDMETHODCALLTYPE GetStreamCount() = 0;
  // A new overlay adapter that keeps this unit alive; empty without memory.
  virtual std::shared_ptr<qz_ds::DataSource> QZ_STDMETHODCALLTYPE CreateOverlayDataSource() = 0;
  // A new property set describing the index-th stream in *propset.
  // E_POINTER for a null propset, E_INVALIDARG for a bad index.
  virtual HRESULT QZ_STDMETHODCALLTYPE GetStreamProperties(std::int32_t index, IQZPropertySet** propset) = 0;
  // The description, rebuilt from the streams when its id is not the unit's.
  virtual const qz_ds::DataSourceInfo& QZ_STDMETHODCALLTYPE GetDataSourceInfo() = 0;

 protected:
  ~IDataSourceUnit() = default;
};

}  // namespace qz_dsc

QZ_DEFINE_UUIDOF(qz_dsc::IDataSourceUnit, 0x3f7a2c10, 0x8d41, 0x4e0b, 0xa6, 0x2e, 0x51, 0x9b, 0x7c, 0x03, 0xd4, 0x11)
