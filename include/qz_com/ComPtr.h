// ComPtr<T>: holds one counted reference to a COM-style interface.
// A ComPtr is not synchronised; the reference count it manipulates is.
#pragma once

#include <utility>

#include "qz_com/qz_com.h"

namespace qz_com {

template <class T>
class ComPtr {
 public:
  ComPtr() noexcept = default;
  ComPtr(std::nullptr_t) noexcept {}
  // Adds a reference to p.
  ComPtr(T* p) noexcept : m_p(p) {
    if (m_p) m_p->AddRef();
  }
  ComPtr(const ComPtr& other) noexcept : ComPtr(other.m_p) {}
  ComPtr(ComPtr&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
  ~ComPtr() { Reset(); }

  ComPtr& operator=(const ComPtr& other) noexcept {
    ComPtr(other).Swap(*this);
    return *this;
  }
  ComPtr& operator=(ComPtr&& other) noexcept {
    ComPtr(std::move(other)).Swap(*this);
    return *this;
  }
  ComPtr& operator=(T* p) noexcept {
    ComPtr(p).Swap(*this);
    return *this;
  }

  T* Get() const noexcept { return m_p; }
  T* operator->() const noexcept { return m_p; }
  explicit operator bool() const noexcept { return m_p != nullptr; }

  // Releases the held reference.
  void Reset() noexcept {
    if (T* p = std::exchange(m_p, nullptr)) p->Release();
  }
  // Takes over a reference the caller owns, without AddRef.
  void Attach(T* p) noexcept {
    Reset();
    m_p = p;
  }
  // Hands the reference to the caller, without Release.
  T* Detach() noexcept { return std::exchange(m_p, nullptr); }
  T** GetAddressOf() noexcept { return &m_p; }
  T** ReleaseAndGetAddressOf() noexcept {
    Reset();
    return &m_p;
  }
  void Swap(ComPtr& other) noexcept { std::swap(m_p, other.m_p); }

  // QueryInterface for U into out.
  template <class U>
  HRESULT As(ComPtr<U>* out) const noexcept {
    if (out == nullptr) return E_POINTER;
    if (m_p == nullptr) return E_POINTER;
    return m_p->QueryInterface(uuidof<U>(), reinterpret_cast<void**>(out->ReleaseAndGetAddressOf()));
  }

 private:
  T* m_p = nullptr;
};

}  // namespace qz_com
