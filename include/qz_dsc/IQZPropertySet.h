// A small table of named values that the user interface shows for a stream
// or a data source: entries in insertion order, each a key, a VARIANT value
// and a display text. Sets are reference counted and handed out with one
// reference.
// The reference count is atomic; the entries are not locked: a set is built
// by one thread and then read.
#pragma once

#include "qz_com/OleAuto.h"
#include "qz_com/qz_com.h"

namespace qz_dsc {

struct IQZPropertySet : public IUnknown {
  // Copies the value of key into *value (cleared first). E_POINTER for a null
  // value, E_INVALIDARG (value untouched) when key is absent.
  virtual HRESULT QZ_STDMETHODCALLTYPE GetProperty(const wchar_t* key, VARIANT* value) = 0;
  // Replaces the value of key, keeping its place and text, or appends a new
  // entry with an empty text. E_POINTER for a null value.
  virtual HRESULT QZ_STDMETHODCALLTYPE SetProperty(const wchar_t* key, const VARIANT* value) = 0;
  virtual HRESULT QZ_STDMETHODCALLTYPE GetPropertyCount(UINT* count) = 0;
  // A new BSTR with the display text of key (the caller frees it).
  virtual HRESULT QZ_STDMETHODCALLTYPE GetPropertyText(const wchar_t* key, BSTR* text) = 0;
  virtual HRESULT QZ_STDMETHODCALLTYPE SetPropertyText(const wchar_t* key, const wchar_t* text) = 0;
  // A new BSTR with the key of entry index. E_INVALIDARG for index >= count.
  virtual HRESULT QZ_STDMETHODCALLTYPE GetPropertyName(UINT index, BSTR* key) = 0;

 protected:
  ~IQZPropertySet() = default;
};

}  // namespace qz_dsc

QZ_DEFINE_UUIDOF(qz_dsc::IQZPropertySet, 0x5b0d7c21, 0x3e8a, 0x4f61, 0x9c, 0x2d, 0x71, 0x4a, 0x0e, 0x93, 0xb6, 0x58)
