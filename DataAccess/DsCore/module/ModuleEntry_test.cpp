#include "qz_dsc/ModuleEntry.h"

#include <gtest/gtest.h>

#include "module/LiveObjects.h"
#include "qz_com/ComPtr.h"
#include "qz_dsc/IDataSourceUnitMgrCtrl.h"

namespace qz_dsc {
namespace {

using qz_com::ComPtr;
using Manager = ComPtr<IDataSourceUnitMgrCtrl>;

ComPtr<IClassFactory> ClassObject() {
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(DllGetClassObject(CLSID_DataSourceUnitMgr, uuidof<IClassFactory>(), reinterpret_cast<void**>(factory.GetAddressOf())), S_OK);
  return factory;
}

HRESULT Create(IClassFactory* factory, IUnknown* outer, REFIID riid, Manager& out) {
  return factory->CreateInstance(outer, riid, reinterpret_cast<void**>(out.ReleaseAndGetAddressOf()));
}

TEST(ModuleEntry, ClassObjectMakesManagersOfItsOneClass) {
  void* out = reinterpret_cast<void*>(1);
  EXPECT_EQ(DllGetClassObject(uuidof<IUnknown>(), uuidof<IClassFactory>(), &out), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(DllGetClassObject(CLSID_DataSourceUnitMgr, uuidof<IClassFactory>(), nullptr), E_POINTER);
  EXPECT_EQ(DllGetClassObject(CLSID_DataSourceUnitMgr, uuidof<IDataSourceUnitMgr>(), &out), E_NOINTERFACE);
  auto factory = ClassObject();
  Manager manager;
  EXPECT_EQ(Create(factory.Get(), factory.Get(), uuidof<IDataSourceUnitMgrCtrl>(), manager), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(Create(factory.Get(), nullptr, uuidof<IClassFactory>(), manager), E_NOINTERFACE);
  ASSERT_EQ(Create(factory.Get(), nullptr, uuidof<IDataSourceUnitMgrCtrl>(), manager), S_OK);
  manager->AddRef();
  EXPECT_EQ(manager->Release(), 1u);  // the caller's reference only
  EXPECT_EQ(DllRegisterServer(), S_OK);
  EXPECT_EQ(DllUnregisterServer(), S_OK);
}

TEST(ModuleEntry, UnloadOnlyWithoutLiveObjectsOrLocks) {
  ASSERT_EQ(live_objects::Count(), 0) << "an earlier test leaked an object";
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
  auto factory = ClassObject();
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);  // the class object itself
  Manager manager;
  ASSERT_EQ(Create(factory.Get(), nullptr, uuidof<IDataSourceUnitMgrCtrl>(), manager), S_OK);
  EXPECT_EQ(factory->LockServer(true), S_OK);
  factory.Reset();
  manager.Reset();
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);  // the server lock
  EXPECT_EQ(ClassObject()->LockServer(false), S_OK);
  EXPECT_EQ(ClassObject()->LockServer(false), S_OK);  // one too many: the count stays at 0
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
  EXPECT_EQ(ClassObject()->LockServer(true), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  EXPECT_EQ(ClassObject()->LockServer(false), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

}  // namespace
}  // namespace qz_dsc
