// The COM error exception: carries the failing HRESULT. Thrown only where the
// library's behaviour names it (out of memory while making a BSTR).
#pragma once

#include <exception>

#include "qz_com/qz_com.h"

namespace qz_com {

class ComError : public std::exception {
 public:
  explicit ComError(HRESULT hr) noexcept : m_hr(hr) {}
  HRESULT Error() const noexcept { return m_hr; }
  const char* what() const noexcept override { return "COM error"; }

 private:
  HRESULT m_hr;
};

// Throws ComError(hr) when hr is a failure code.
inline void ThrowIfFailed(HRESULT hr) {
  if (FAILED(hr)) throw ComError(hr);
}

}  // namespace qz_com
