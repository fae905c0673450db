#include "streams/DataSourceStreamProperties.h"

#include <new>
#include <string_view>
#include <utility>

#include "module/StringTable.h"
#include "qz_com/ComError.h"

namespace qz_dsc {
namespace {

HRESULT CopyToBstr(const std::wstring& text, BSTR* out) {
  if (text.size() > 0x3FFFFFFFu) return E_OUTOFMEMORY;
  BSTR copy = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  if (copy == nullptr) return E_OUTOFMEMORY;
  *out = copy;
  return S_OK;
}

}  // namespace

DataSourceStreamProperties* DataSourceStreamProperties::Create(std::span<const PropertyLabel> labels) {
  return new DataSourceStreamProperties(labels);
}

HRESULT DataSourceStreamProperties::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DataSourceStreamProperties, IQZPropertySet>(this, riid, ppv);
}

ULONG DataSourceStreamProperties::AddRef() { return m_refCount.fetch_add(1, std::memory_order_relaxed) + 1; }

ULONG DataSourceStreamProperties::Release() {
  const ULONG count = m_refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (count == 0) delete this;
  return count;
}

DataSourceStreamProperties::Entry* DataSourceStreamProperties::Find(const wchar_t* key) noexcept {
  if (key == nullptr) return nullptr;
  const std::wstring_view wanted(key);
  for (Entry& entry : m_entries) {
    if (entry.key == wanted) return &entry;
  }
  return nullptr;
}

HRESULT DataSourceStreamProperties::GetProperty(const wchar_t* key, VARIANT* value) {
  if (value == nullptr) return E_POINTER;
  Entry* entry = Find(key);
  if (entry == nullptr) return E_INVALIDARG;
  return VariantCopy(value, &entry->value);
}

HRESULT DataSourceStreamProperties::SetProperty(const wchar_t* key, const VARIANT* value) {
  if (value == nullptr) return E_POINTER;
  if (key == nullptr) return E_INVALIDARG;
  if (Entry* entry = Find(key)) {
    if (value == &entry->value) return S_OK;
    // Copied aside first, so a failed copy leaves the entry as it was.
    qz_com::ComVariant copy(*value);
    entry->value = std::move(copy);
    return S_OK;
  }
  qz_com::ComVariant copy(*value);
  try {
    m_entries.push_back(Entry{key, std::move(copy), std::wstring()});
  } catch (const std::bad_alloc&) {
    throw qz_com::ComError(E_OUTOFMEMORY);
  }
  return S_OK;
}

HRESULT DataSourceStreamProperties::GetPropertyCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = static_cast<UINT>(m_entries.size());
  return S_OK;
}

HRESULT DataSourceStreamProperties::GetPropertyText(const wchar_t* key, BSTR* text) {
  if (text == nullptr) return E_POINTER;
  Entry* entry = Find(key);
  if (entry == nullptr) return E_INVALIDARG;
  if (entry->text.empty()) {
    const wchar_t* label = nullptr;
    for (const PropertyLabel& row : m_labels) {
      if (entry->key == row.key) {
        label = StringTable::Load(row.stringId);
        break;
      }
    }
    if (label == nullptr) return E_FAIL;
    try {
      entry->text = label;
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
  }
  return CopyToBstr(entry->text, text);
}

HRESULT DataSourceStreamProperties::SetPropertyText(const wchar_t* key, const wchar_t* text) {
  Entry* entry = Find(key);
  if (entry == nullptr) return E_INVALIDARG;
  if (text == nullptr) return E_POINTER;
  try {
    entry->text = text;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT DataSourceStreamProperties::GetPropertyName(UINT index, BSTR* key) {
  if (key == nullptr) return E_POINTER;
  if (index >= m_entries.size()) return E_INVALIDARG;
  return CopyToBstr(m_entries[index].key, key);
}

}  // namespace qz_dsc
