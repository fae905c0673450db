#include "module/DataSourceUnitMgrFactory.h"

#include "qz_com/ComPtr.h"
#include "qz_dsc/IDataSourceUnitMgrCtrl.h"

namespace qz_dsc {
namespace {

std::atomic<long> g_serverLocks{0};

}  // namespace

HRESULT DataSourceUnitMgrFactory::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DataSourceUnitMgrFactory, IClassFactory>(this, riid, ppv);
}

ULONG DataSourceUnitMgrFactory::AddRef() { return m_refCount.fetch_add(1, std::memory_order_relaxed) + 1; }

ULONG DataSourceUnitMgrFactory::Release() {
  const ULONG left = m_refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) delete this;
  return left;
}

HRESULT DataSourceUnitMgrFactory::CreateInstance(IUnknown* outer, REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  qz_com::ComPtr<IDataSourceUnitMgrCtrl> manager;
  const HRESULT hr = CreateDataSourceUnitMgr(manager.GetAddressOf());
  if (FAILED(hr)) return hr;
  return manager->QueryInterface(riid, ppv);
}

HRESULT DataSourceUnitMgrFactory::LockServer(BOOL lock) {
  if (lock) {
    g_serverLocks.fetch_add(1);
    return S_OK;
  }
  // An unlock without a lock is the caller's error; the count stays at 0.
  long current = g_serverLocks.load();
  while (current > 0 && !g_serverLocks.compare_exchange_weak(current, current - 1)) {
  }
  return S_OK;
}

long DataSourceUnitMgrFactory::ServerLocks() noexcept { return g_serverLocks.load(); }

}  // namespace qz_dsc
