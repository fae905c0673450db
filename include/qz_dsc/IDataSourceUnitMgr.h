// The list of data sources a host keeps: counted, found by id or by index.
// Ids are compared code unit by code unit; an empty id is never found.
//
// Threads: the manager is free-threaded, with one re-entrant lock; the lock
// order is manager, unit, stream.
#pragma once

#include <cstdint>
#include <string>

#include "qz_com/qz_com.h"

namespace qz_dsc {

struct IDataSourceUnitMgr : public IUnknown {
  virtual std::int32_t QZ_STDMETHODCALLTYPE GetDataSourceCount() = 0;
  // The unit with that id, queried for riid. E_POINTER for a null ppv,
  // E_FAIL when no unit has the id.
  virtual HRESULT QZ_STDMETHODCALLTYPE GetDataSourceById(const std::wstring& id, REFIID riid, void** ppv) = 0;
  // REQUIRES: 0 <= index < GetDataSourceCount(). E_POINTER for a null ppv.
  virtual HRESULT QZ_STDMETHODCALLTYPE GetDataSourceByIndex(std::int32_t index, REFIID riid, void** ppv) = 0;

 protected:
  ~IDataSourceUnitMgr() = default;
};

}  // namespace qz_dsc

QZ_DEFINE_UUIDOF(qz_dsc::IDataSourceUnitMgr, 0x8b2e61a0, 0x4f1c, 0x4d27, 0x9a, 0x33, 0x0e, 0x6d, 0x52, 0xc8, 0x71, 0x01)
