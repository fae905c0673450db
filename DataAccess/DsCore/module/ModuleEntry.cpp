// The in-process server's entry points over the manager's class object and
// the live-object count.
#include "qz_dsc/ModuleEntry.h"

#include <new>

#include "module/DataSourceUnitMgrFactory.h"
#include "module/LiveObjects.h"
#include "qz_com/ComPtr.h"

extern "C" {

HRESULT DllGetClassObject(REFCLSID clsid, REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (clsid != qz_dsc::CLSID_DataSourceUnitMgr) return CLASS_E_CLASSNOTAVAILABLE;
  qz_com::ComPtr<qz_dsc::DataSourceUnitMgrFactory> factory;
  factory.Attach(new (std::nothrow) qz_dsc::DataSourceUnitMgrFactory());
  if (!factory) return E_OUTOFMEMORY;
  return factory->QueryInterface(riid, ppv);
}

HRESULT DllCanUnloadNow() {
  return qz_dsc::live_objects::Count() == 0 && qz_dsc::DataSourceUnitMgrFactory::ServerLocks() == 0 ? S_OK : S_FALSE;
}

HRESULT DllRegisterServer() { return S_OK; }

HRESULT DllUnregisterServer() { return S_OK; }

}  // extern "C"
