// The in-process server's entry points, as a host that loads the library by
// class id expects them: the class object of the manager, whether the
// library may be unloaded, and registration (nothing to register off
// Windows).
//
// Threads: every entry point may be called from any thread.
#pragma once

#include "qz_com/ComServer.h"
#include "qz_com/qz_com.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

// The class id under which DllGetClassObject hands out the manager's class
// object; its objects are made as CreateDataSourceUnitMgr makes them.
inline constexpr CLSID CLSID_DataSourceUnitMgr = {
    0x8b2e61a9, 0x4f1c, 0x4d27, {0x9a, 0x33, 0x0e, 0x6d, 0x52, 0xc8, 0x71, 0x10}};

}  // namespace qz_dsc

extern "C" {

// The class object for clsid (CLSID_DataSourceUnitMgr only) asked for riid,
// usually IClassFactory. CLASS_E_CLASSNOTAVAILABLE for another class,
// E_POINTER for a null ppv.
QZ_DSC_API HRESULT DllGetClassObject(REFCLSID clsid, REFIID riid, void** ppv);
// S_OK when no object of the library (manager, unit, stream, class object)
// is alive and no server lock is held; S_FALSE otherwise.
QZ_DSC_API HRESULT DllCanUnloadNow();
// S_OK: nothing to register off Windows.
QZ_DSC_API HRESULT DllRegisterServer();
QZ_DSC_API HRESULT DllUnregisterServer();

}  // extern "C"
