#include "qz_dsc/ModuleEntry.h"

#include <gtest/gtest.h>

#include "module/LiveObjects.h"
#include "qz_com/ComPtr.h"
#include "qz_dsc/IDataSourceUnitMgrCtrl.h"

namespace qz_dsc {
namespace {

using qz_com::ComPtr;

ComPtr<IClassFactory> ClassObject() {
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(DllGetClassObject(CLSID_DataSourceUnitMgr, uuidof<IClassFactory>(),
                              reinterpret_cast<void**>(factory.GetAddressOf())),
            S_OK);
  return factory;
}

TEST(ModuleEntry, ClassObjectMakesManagersOfItsOneClass) {
  void* out = reinterpret_cast<void*>(1);
  EXPECT_EQ(DllGetClassObject(uuidof<IUnknown>(), uuidof<IClassFactory>(), &out), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(DllGetClassObject(CLSID_DataSourceUnitMgr, uuidof<IClassFactory>(), nullptr), E_POINTER);
  EXPECT_EQ(DllGetClassObject(CLSID_DataSourceUnitMgr, uuidof<IDataSourceUnitMgr>(), &out), E_NOINTERFACE);
  auto factory = ClassObject();
  ASSERT_TRUE(factory);
  ComPtr<IDataSourceUnitMgrCtrl> manager;
  EXPECT_EQ(factory->CreateInstance(factory.Get(), uuidof<IDataSourceUnitMgrCtrl>(),
                                    reinterpret_cast<void**>(manager.GetAddressOf())),
            CLASS_E_NOAGGREGATION);
  EXPECT_EQ(factory->CreateInstance(nullptr, uuidof<IClassFactory>(), reinterpret_cast<void**>(manager.GetAddressOf())),
            E_NOINTERFACE);
  ASSERT_EQ(factory->CreateInstance(nullptr, uuidof<IDataSourceUnitMgrCtrl>(),
                                    reinterpret_cast<void**>(manager.GetAddressOf())),
            S_OK);
  EXPECT_TRUE(manager->IsEmpty());
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
  EXPECT_EQ(factory->LockServer(true), S_OK);
  ComPtr<IDataSourceUnitMgrCtrl> manager;
  ASSERT_EQ(CreateDataSourceUnitMgr(manager.GetAddressOf()), S_OK);
  factory.Reset();
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  manager.Reset();
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);  // the server lock
  factory = ClassObject();
  EXPECT_EQ(factory->LockServer(false), S_OK);
  EXPECT_EQ(factory->LockServer(false), S_OK);  // one too many: the count stays at 0
  factory.Reset();
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
  factory = ClassObject();
  EXPECT_EQ(factory->LockServer(true), S_OK);
  factory.Reset();
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  ClassObject()->LockServer(false);
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

}  // namespace
}  // namespace qz_dsc
