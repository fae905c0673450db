// COM ABI stand-in for non-Windows systems: HRESULT and the codes the library
// uses, GUID and interface ids, IUnknown, and the table-driven QueryInterface
// helper. On Windows the system headers provide the same names.
// Everything here is a plain value type or an abstract interface; thread
// safety is the implementing class's concern.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(_WIN32)
// The COM base headers only. They would also declare the system's XML DOM,
// whose names qz_dom defines itself on every platform: its include guard is
// set first so that it stays out. Include this header before any other
// system COM header.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#define __msxml_h__
#include <windows.h>
#include <unknwn.h>
#define QZ_STDMETHODCALLTYPE STDMETHODCALLTYPE
#else

#define QZ_STDMETHODCALLTYPE

using HRESULT = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using LONGLONG = std::int64_t;

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111u);

constexpr bool SUCCEEDED(HRESULT hr) { return hr >= 0; }
constexpr bool FAILED(HRESULT hr) { return hr < 0; }

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16, "GUID is 16 bytes");

inline bool operator==(const GUID& a, const GUID& b) {
  return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}
inline bool operator!=(const GUID& a, const GUID& b) { return !(a == b); }

using IID = GUID;
using CLSID = GUID;
using REFIID = const IID&;
using REFCLSID = const CLSID&;
using REFGUID = const GUID&;

inline bool IsEqualGUID(REFGUID a, REFGUID b) { return a == b; }
inline bool IsEqualIID(REFIID a, REFIID b) { return a == b; }

struct IUnknown {
  virtual HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) = 0;
  virtual ULONG QZ_STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG QZ_STDMETHODCALLTYPE Release() = 0;

 protected:
  ~IUnknown() = default;
};

#endif  // _WIN32

// Interface ids: specialise uuidof<I>() beside each interface
// (QZ_DEFINE_UUIDOF), instead of a compiler extension. The same on every
// platform, so the interface table and ComPtr need no second branch.
template <class T>
GUID uuidof() = delete;

#define QZ_DEFINE_UUIDOF(Iface, d1, d2, d3, b0, b1, b2, b3, b4, b5, b6, b7) \
  template <>                                                             \
  inline GUID uuidof<Iface>() {                                           \
    return GUID{d1, d2, d3, {b0, b1, b2, b3, b4, b5, b6, b7}};            \
  }

QZ_DEFINE_UUIDOF(IUnknown, 0x00000000, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)

namespace qz_com {

// Answers QueryInterface from a list of interfaces that Self implements.
// IUnknown resolves to the first interface of the list. E_POINTER for a null
// out pointer; *ppv is set to nullptr before E_NOINTERFACE.
template <class Self, class First, class... Rest>
HRESULT QueryInterfaceTable(Self* self, REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  void* found = nullptr;
  if (riid == uuidof<IUnknown>()) {
    found = static_cast<IUnknown*>(static_cast<First*>(self));
  } else if (riid == uuidof<First>()) {
    found = static_cast<First*>(self);
  } else {
    ((found == nullptr && riid == uuidof<Rest>() ? (found = static_cast<Rest*>(self)) : nullptr), ...);
  }
  if (found == nullptr) {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  *ppv = found;
  static_cast<IUnknown*>(static_cast<First*>(self))->AddRef();
  return S_OK;
}

}  // namespace qz_com
