// The class object of the manager: makes managers for a host that creates
// objects by class id, and holds the server's lock count.
// Threads: safe from any thread (atomic counts, no other state).
#pragma once

#include <atomic>

#include "module/LiveObjects.h"
#include "qz_com/ComServer.h"

namespace qz_dsc {

class DataSourceUnitMgrFactory final : public IClassFactory, private live_objects::Counted {
 public:
  DataSourceUnitMgrFactory() = default;

  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG QZ_STDMETHODCALLTYPE AddRef() override;
  ULONG QZ_STDMETHODCALLTYPE Release() override;

  // A new manager asked for riid; CLASS_E_NOAGGREGATION with an outer object.
  HRESULT QZ_STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override;
  HRESULT QZ_STDMETHODCALLTYPE LockServer(BOOL lock) override;

  // Locks taken with LockServer(true) and not yet given back, process-wide.
  static long ServerLocks() noexcept;

 private:
  ~DataSourceUnitMgrFactory() = default;

  std::atomic<ULONG> m_refCount{1};
};

}  // namespace qz_dsc
