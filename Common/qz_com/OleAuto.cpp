#include "qz_com/OleAuto.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

#if !defined(_WIN32)

// Layout of a BSTR allocation: a 32-bit byte count, then the characters,
// then a NUL. The pointer handed out addresses the first character.
namespace {
constexpr std::size_t kPrefix = sizeof(std::uint64_t);  // keeps characters aligned

std::uint32_t* HeaderOf(BSTR b) {
  return reinterpret_cast<std::uint32_t*>(reinterpret_cast<unsigned char*>(b) - kPrefix);
}
}  // namespace

BSTR SysAllocStringLen(const OLECHAR* psz, UINT len) {
  const std::size_t bytes = static_cast<std::size_t>(len) * sizeof(OLECHAR);
  if (bytes / sizeof(OLECHAR) != len || bytes > 0xFFFFFFFFu) return nullptr;
  auto* raw = static_cast<unsigned char*>(std::malloc(kPrefix + bytes + sizeof(OLECHAR)));
  if (raw == nullptr) return nullptr;
  *reinterpret_cast<std::uint32_t*>(raw) = static_cast<std::uint32_t>(bytes);
  BSTR chars = reinterpret_cast<BSTR>(raw + kPrefix);
  if (psz != nullptr) {
    std::memcpy(chars, psz, bytes);
  } else {
    std::memset(chars, 0, bytes);
  }
  chars[len] = L'\0';
  return chars;
}

BSTR SysAllocString(const OLECHAR* psz) {
  if (psz == nullptr) return nullptr;
  std::size_t n = std::wcslen(psz);
  if (n > 0x3FFFFFFFu) return nullptr;
  return SysAllocStringLen(psz, static_cast<UINT>(n));
}

void SysFreeString(BSTR bstr) {
  if (bstr != nullptr) std::free(HeaderOf(bstr));
}

UINT SysStringByteLen(BSTR bstr) { return bstr == nullptr ? 0 : *HeaderOf(bstr); }

UINT SysStringLen(BSTR bstr) { return SysStringByteLen(bstr) / sizeof(OLECHAR); }

void VariantInit(VARIANT* v) {
  v->vt = VT_EMPTY;
  v->wReserved1 = v->wReserved2 = v->wReserved3 = 0;
  v->llVal = 0;
}

HRESULT VariantClear(VARIANT* v) {
  if (v == nullptr) return E_INVALIDARG;
  switch (v->vt) {
    case VT_BSTR:
      SysFreeString(v->bstrVal);
      break;
    case VT_EMPTY:
    case VT_I4:
    case VT_I8:
    case VT_R8:
    case VT_BOOL:
      break;
    default:
      return E_INVALIDARG;
  }
  VariantInit(v);
  return S_OK;
}

HRESULT VariantCopy(VARIANT* dest, const VARIANT* src) {
  if (dest == nullptr || src == nullptr) return E_INVALIDARG;
  if (dest == src) return S_OK;
  HRESULT hr = VariantClear(dest);
  if (FAILED(hr)) return hr;
  if (src->vt == VT_BSTR) {
    BSTR copy = nullptr;
    if (src->bstrVal != nullptr) {
      copy = SysAllocStringLen(src->bstrVal, SysStringLen(src->bstrVal));
      if (copy == nullptr) return E_OUTOFMEMORY;
    }
    dest->vt = VT_BSTR;
    dest->bstrVal = copy;
    return S_OK;
  }
  switch (src->vt) {
    case VT_EMPTY:
    case VT_I4:
    case VT_I8:
    case VT_R8:
    case VT_BOOL:
      *dest = *src;
      return S_OK;
    default:
      return E_INVALIDARG;
  }
}

#endif  // !_WIN32
