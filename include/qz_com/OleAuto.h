// BSTR and VARIANT stand-ins with the OLE Automation functions the library
// uses. A BSTR is a length-prefixed allocation; the pointer handed out points
// at the characters, which are NUL-terminated. Functions are thread-safe;
// a given BSTR or VARIANT belongs to one thread at a time.
#pragma once

#include <cstdint>

#include "qz_com/qz_com.h"

#if !defined(_WIN32)

using OLECHAR = wchar_t;
using BSTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;

constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;

enum VARENUM : VARTYPE {
  VT_EMPTY = 0,
  VT_I4 = 3,
  VT_R8 = 5,
  VT_BSTR = 8,
  VT_BOOL = 11,
  VT_I8 = 20,
};

struct VARIANT {
  VARTYPE vt;
  std::uint16_t wReserved1;
  std::uint16_t wReserved2;
  std::uint16_t wReserved3;
  union {
    LONG lVal;
    LONGLONG llVal;
    double dblVal;
    VARIANT_BOOL boolVal;
    BSTR bstrVal;
  };
};

// Returns nullptr when psz is null or memory is exhausted.
BSTR SysAllocString(const OLECHAR* psz);
// Copies len characters from psz (or leaves them zero when psz is null).
BSTR SysAllocStringLen(const OLECHAR* psz, UINT len);
void SysFreeString(BSTR bstr);
// Character count; 0 for null.
UINT SysStringLen(BSTR bstr);
// Byte count of the characters; 0 for null.
UINT SysStringByteLen(BSTR bstr);

void VariantInit(VARIANT* v);
// Frees what v owns and sets it to VT_EMPTY. E_INVALIDARG for an unknown type.
HRESULT VariantClear(VARIANT* v);
// Deep copy; dest is cleared first. E_OUTOFMEMORY when a BSTR cannot be copied.
HRESULT VariantCopy(VARIANT* dest, const VARIANT* src);

#endif  // !_WIN32
