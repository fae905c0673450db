#include "qz_com/ComVariant.h"

#include "qz_com/ComError.h"

namespace qz_com {

ComVariant::ComVariant(std::int32_t v) noexcept {
  VariantInit(this);
  vt = VT_I4;
  lVal = v;
}

ComVariant::ComVariant(std::int64_t v) noexcept {
  VariantInit(this);
  vt = VT_I8;
  llVal = v;
}

ComVariant::ComVariant(double v) noexcept {
  VariantInit(this);
  vt = VT_R8;
  dblVal = v;
}

ComVariant::ComVariant(bool v) noexcept {
  VariantInit(this);
  vt = VT_BOOL;
  boolVal = v ? VARIANT_TRUE : VARIANT_FALSE;
}

ComVariant::ComVariant(const wchar_t* text) {
  VariantInit(this);
  if (text == nullptr) text = L"";
  BSTR b = SysAllocString(text);
  if (b == nullptr) throw ComError(E_OUTOFMEMORY);
  vt = VT_BSTR;
  bstrVal = b;
}

ComVariant::ComVariant(const std::wstring& text) {
  VariantInit(this);
  if (text.size() > 0x3FFFFFFFu) throw ComError(E_OUTOFMEMORY);
  BSTR b = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  if (b == nullptr) throw ComError(E_OUTOFMEMORY);
  vt = VT_BSTR;
  bstrVal = b;
}

ComVariant::ComVariant(const VARIANT& other) {
  VariantInit(this);
  ThrowIfFailed(VariantCopy(this, &other));
}

ComVariant::ComVariant(const ComVariant& other) : ComVariant(static_cast<const VARIANT&>(other)) {}

ComVariant::ComVariant(ComVariant&& other) noexcept {
  *static_cast<VARIANT*>(this) = other;
  VariantInit(&other);
}

ComVariant::~ComVariant() { VariantClear(this); }

ComVariant& ComVariant::operator=(const ComVariant& other) {
  if (this != &other) {
    ComVariant copy(other);
    *this = std::move(copy);
  }
  return *this;
}

ComVariant& ComVariant::operator=(ComVariant&& other) noexcept {
  if (this != &other) {
    VariantClear(this);
    *static_cast<VARIANT*>(this) = other;
    VariantInit(&other);
  }
  return *this;
}

HRESULT ComVariant::Detach(VARIANT* dest) noexcept {
  if (dest == nullptr) return E_POINTER;
  HRESULT hr = VariantClear(dest);
  if (FAILED(hr)) return hr;
  *dest = *static_cast<VARIANT*>(this);
  VariantInit(this);
  return S_OK;
}

std::wstring ComVariant::Text() const {
  if (vt != VT_BSTR || bstrVal == nullptr) return std::wstring();
  return std::wstring(bstrVal, SysStringLen(bstrVal));
}

}  // namespace qz_com
