// The external side of a data source whose samples an importer reads from a
// data file: the file, the importer's converter name and its persisted
// settings, the load outcome, and the streams an importer fills.
// CreateExternalDataSourceUnit makes one.
//
// Threads: as IDataSourceUnit. GetConverterName, SetConverterName and
// HasLoadFailed take no unit lock, so they answer while an import runs.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "qz_com/qz_com.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

class DataSourceStreamRoot;

struct IDataSourceUnitExternal : public IUnknown {
  // Appends an external stream. S_OK without adding when the stream has no
  // name interface; E_UNEXPECTED (logged) when the name is taken.
  virtual HRESULT QZ_STDMETHODCALLTYPE AddStream(std::shared_ptr<DataSourceStreamRoot> stream) = 0;
  // The first stream of that name, or an empty pointer.
  virtual std::shared_ptr<DataSourceStreamRoot> QZ_STDMETHODCALLTYPE GetStream(const wchar_t* name) = 0;
  virtual std::wstring QZ_STDMETHODCALLTYPE GetDataFilename() = 0;
  virtual void QZ_STDMETHODCALLTYPE SetDataFilename(const std::wstring& filename) = 0;
  virtual std::wstring QZ_STDMETHODCALLTYPE GetConverterName() = 0;
  virtual void QZ_STDMETHODCALLTYPE SetConverterName(const std::wstring& name) = 0;
  // The importer's settings, XML or JSON text alike.
  virtual std::wstring QZ_STDMETHODCALLTYPE GetPersistencyData() = 0;
  // Stores XML settings (saved as the "PersistencyData" element).
  virtual void QZ_STDMETHODCALLTYPE SetPersistencyData(const std::wstring& data) = 0;
  // The same text as GetPersistencyData.
  virtual std::wstring QZ_STDMETHODCALLTYPE GetPersistencyDataJSON() = 0;
  // Stores JSON settings (saved as the "PersistencyDataJSON" attribute).
  virtual void QZ_STDMETHODCALLTYPE SetPersistencyDataJSON(const std::wstring& data) = 0;
  // True once an import failed or found no importer; never cleared.
  virtual bool QZ_STDMETHODCALLTYPE HasLoadFailed() = 0;
  // True exactly for the converter name "QZ.CSV".
  virtual bool QZ_STDMETHODCALLTYPE IsCsvConverter() = 0;
  // 0.
  virtual std::int32_t QZ_STDMETHODCALLTYPE ReservedExternalOp() = 0;

 protected:
  ~IDataSourceUnitExternal() = default;
};

// A new, empty external unit with that id and one reference in *out (null
// and E_OUTOFMEMORY without memory). Its GetId answers "" until
// GetDataSourceInfo has run.
QZ_DSC_API HRESULT CreateExternalDataSourceUnit(std::wstring id, IDataSourceUnitExternal** out);

}  // namespace qz_dsc

QZ_DEFINE_UUIDOF(qz_dsc::IDataSourceUnitExternal, 0x3f7a2c12, 0x8d41, 0x4e0b, 0xa6, 0x2e, 0x51, 0x9b, 0x7c, 0x03,
                 0xd4, 0x13)
