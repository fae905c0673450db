// The two COM interfaces an in-process server hands out beside its own:
// ISupportErrorInfo (which interfaces report rich errors) and IClassFactory
// (how a host makes the server's objects). On Windows the system headers
// declare them; elsewhere this header does, with the same slots and ids.
// Abstract interfaces only; thread safety is the implementing class's.
#pragma once

#include "qz_com/qz_com.h"

#if !defined(_WIN32)

using BOOL = std::int32_t;

struct ISupportErrorInfo : public IUnknown {
  // S_OK when riid reports errors through the error-info object, S_FALSE
  // otherwise.
  virtual HRESULT QZ_STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) = 0;

 protected:
  ~ISupportErrorInfo() = default;
};

struct IClassFactory : public IUnknown {
  // A new object asked for riid; CLASS_E_NOAGGREGATION when outer is given.
  virtual HRESULT QZ_STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) = 0;
  // Keeps the server loaded (lock true) or lets it go again (lock false).
  virtual HRESULT QZ_STDMETHODCALLTYPE LockServer(BOOL lock) = 0;

 protected:
  ~IClassFactory() = default;
};

#endif  // !_WIN32

QZ_DEFINE_UUIDOF(ISupportErrorInfo, 0xdf0b3d60, 0x548f, 0x101b, 0x8e, 0x65, 0x08, 0x00, 0x2b, 0x2b, 0xd1, 0x19)
QZ_DEFINE_UUIDOF(IClassFactory, 0x00000001, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)
