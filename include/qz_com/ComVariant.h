// ComVariant: an owning VARIANT holder (the CComVariant of the platform).
// Construction from text that cannot be allocated throws ComError(E_OUTOFMEMORY).
// Not synchronised.
#pragma once

#include <cstdint>
#include <string>

#include "qz_com/OleAuto.h"

namespace qz_com {

class ComVariant : public VARIANT {
 public:
  ComVariant() noexcept { VariantInit(this); }
  ComVariant(std::int32_t v) noexcept;
  ComVariant(std::int64_t v) noexcept;
  ComVariant(double v) noexcept;
  ComVariant(bool v) noexcept;
  ComVariant(const wchar_t* text);
  ComVariant(const std::wstring& text);
  ComVariant(const VARIANT& other);
  ComVariant(const ComVariant& other);
  ComVariant(ComVariant&& other) noexcept;
  ~ComVariant();

  ComVariant& operator=(const ComVariant& other);
  ComVariant& operator=(ComVariant&& other) noexcept;

  void Clear() noexcept { VariantClear(this); }
  // Hands the content to dest (which must be initialised) and leaves this empty.
  HRESULT Detach(VARIANT* dest) noexcept;
  // The text of a VT_BSTR, else empty.
  std::wstring Text() const;
};

}  // namespace qz_com
