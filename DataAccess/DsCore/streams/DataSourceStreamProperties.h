// A reference-counted IQZPropertySet: an ordered list of entries, each a key,
// a VARIANT value and a display text. Streams fill one per GetProperties call;
// any object that shows a table of named values can use it with its own
// label table (the string ids that name its keys).
// Threads: the reference count is atomic; the entries are not locked, so a
// set is filled by one thread and only read after it has been handed out.
#pragma once

#include <atomic>
#include <span>
#include <string>
#include <vector>

#include "qz_com/ComVariant.h"
#include "qz_dsc/IQZPropertySet.h"

namespace qz_dsc {

// The string table id of the display label of a key.
struct PropertyLabel {
  const wchar_t* key;
  int stringId;
};

class DataSourceStreamProperties final : public IQZPropertySet {
 public:
  // A new empty set holding one reference for the caller.
  // REQUIRES: labels outlive the set (a table with static storage).
  // Throws std::bad_alloc when memory is exhausted.
  static DataSourceStreamProperties* Create(std::span<const PropertyLabel> labels);

  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG QZ_STDMETHODCALLTYPE AddRef() override;
  ULONG QZ_STDMETHODCALLTYPE Release() override;

  // E_INVALIDARG for a key that no entry has (a null key included).
  HRESULT QZ_STDMETHODCALLTYPE GetProperty(const wchar_t* key, VARIANT* value) override;
  // Throws qz_com::ComError with the copy's failure when the value cannot be
  // copied (a text without memory); E_INVALIDARG for a null key.
  HRESULT QZ_STDMETHODCALLTYPE SetProperty(const wchar_t* key, const VARIANT* value) override;
  HRESULT QZ_STDMETHODCALLTYPE GetPropertyCount(UINT* count) override;
  // An entry without text gets the label of its key from the string table,
  // kept in the entry from then on; a key without a label answers E_FAIL.
  // E_OUTOFMEMORY when the BSTR cannot be made.
  HRESULT QZ_STDMETHODCALLTYPE GetPropertyText(const wchar_t* key, BSTR* text) override;
  // E_POINTER for a null text.
  HRESULT QZ_STDMETHODCALLTYPE SetPropertyText(const wchar_t* key, const wchar_t* text) override;
  HRESULT QZ_STDMETHODCALLTYPE GetPropertyName(UINT index, BSTR* key) override;

 private:
  struct Entry {
    std::wstring key;
    qz_com::ComVariant value;
    std::wstring text;
  };

  explicit DataSourceStreamProperties(std::span<const PropertyLabel> labels) : m_labels(labels) {}
  ~DataSourceStreamProperties() = default;

  // The first entry whose key equals key exactly, or nullptr.
  Entry* Find(const wchar_t* key) noexcept;

  std::atomic<ULONG> m_refCount{1};
  std::span<const PropertyLabel> m_labels;
  std::vector<Entry> m_entries;
};

}  // namespace qz_dsc
