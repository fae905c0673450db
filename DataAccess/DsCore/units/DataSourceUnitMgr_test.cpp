#include "units/DataSourceUnitMgr.h"

#include <gtest/gtest.h>

#include "LogCapture.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/IDataSourceUnitExternal.h"
#include "qz_dsc/StreamModifierRawBuffer.h"
#include "units/DataSourceUnit.h"
#include "units/ManagerTesting.h"

namespace qz_dsc {
namespace {

using namespace qz_dsc::testing;
using Doubles = std::vector<std::pair<std::int64_t, double>>;
constexpr std::int64_t kMs = 10'000;

ComPtr<IDataSourceUnitCtrl> NewUnit(const std::wstring& id, bool describe = true) {
  ComPtr<IDataSourceUnitCtrl> unit;
  EXPECT_EQ(CreateDataSourceUnit(id, unit.GetAddressOf()), S_OK);
  if (describe) static_cast<void>(unit->GetDataSourceInfo());
  return unit;
}

ULONG RefCount(IUnknown* p) {
  p->AddRef();
  return p->Release();
}

std::wstring IdAt(IDataSourceUnitMgrCtrl* manager, std::int32_t index) {
  ComPtr<IDataSourceUnit> unit;
  EXPECT_EQ(manager->GetDataSourceByIndex(index, uuidof<IDataSourceUnit>(), reinterpret_cast<void**>(unit.GetAddressOf())),
            S_OK);
  return unit->GetId();
}

DataSourceModifier DoubleModifier(const std::wstring& id, const std::wstring& stream, const Doubles& samples) {
  DataSourceModifier modifier;
  modifier.SetId(id);
  auto record = std::make_shared<DataSourceStreamModifier>();
  EXPECT_TRUE(record->Create(stream, qz_ds::StreamBasicType_Float));
  for (const auto& [t, v] : samples) {
    EXPECT_EQ(record->GetInternalBuffer()->AddSample(t, DataSourceStreamVariantDerived<double>(v)), 0);
  }
  EXPECT_TRUE(modifier.AddStream(record));
  return modifier;
}

TEST(DataSourceUnitMgr, FactoryAndFreshState) {
  dscore_testing::LogCapture log;
  EXPECT_EQ(CreateDataSourceUnitMgr(nullptr), E_POINTER);
  EXPECT_EQ(log.Messages(), std::vector<std::wstring>{L"QZCheckCondition: ppInstance != nullptr"});
  auto manager = NewManager();
  EXPECT_EQ(RefCount(manager.Get()), 1u);
  EXPECT_EQ(manager->GetDataSourceCount(), 0);
  EXPECT_TRUE(manager->IsEmpty());
  EXPECT_EQ(As<IDataSourceUnitMgrPrivate>(manager.Get())->GetStartTime(), 0);
  // Every interface reaches the same object.
  auto unknown = As<IUnknown>(manager.Get());
  EXPECT_EQ(As<IUnknown>(As<IDSPersistXML>(manager.Get()).Get()).Get(), unknown.Get());
  EXPECT_EQ(As<IUnknown>(As<IDataSourceUnitMgr>(manager.Get()).Get()).Get(), unknown.Get());
  auto errorInfo = As<ISupportErrorInfo>(manager.Get());
  ASSERT_TRUE(errorInfo);
  const IID errorId = {0x860c359e, 0x4f76, 0x473d, {0x8f, 0xa5, 0x0e, 0x9a, 0xd4, 0x1a, 0x26, 0xab}};
  EXPECT_EQ(errorInfo->InterfaceSupportsErrorInfo(errorId), S_OK);
  EXPECT_EQ(errorInfo->InterfaceSupportsErrorInfo(uuidof<IDataSourceUnitMgrCtrl>()), S_FALSE);
  EXPECT_FALSE(As<IDataSourceUnitCtrl>(manager.Get()));
  auto priv = As<IDataSourceUnitMgrPrivate>(manager.Get());
  EXPECT_EQ(priv->UnsupportedOperation1(), E_FAIL);
  EXPECT_EQ(priv->UnsupportedOperation2(), E_FAIL);
  EXPECT_TRUE(priv->ResetAllStreams(0));  // true for no unit
}

TEST(DataSourceUnitMgr, ErrorResultsAndTheirLogTexts) {
  auto manager = NewManager();
  auto other = NewManager();
  void* out = nullptr;
  struct Case {
    const char* what;
    std::function<HRESULT()> call;
    HRESULT expected;
    std::vector<std::wstring> logged;
  };
  const Case cases[] = {
      {"by id, empty list", [&] { return manager->GetDataSourceById(L"A", uuidof<IUnknown>(), &out); }, E_FAIL, {}},
      {"by id, null out", [&] { return manager->GetDataSourceById(L"A", uuidof<IUnknown>(), nullptr); }, E_POINTER,
       {L"QZCheckCondition: ppv != nullptr"}},
      {"by index, null out", [&] { return manager->GetDataSourceByIndex(0, uuidof<IUnknown>(), nullptr); }, E_POINTER,
       {L"QZCheckCondition: ppv != nullptr"}},
      {"remove unknown", [&] { return manager->RemoveDataSource(L"A"); }, E_INVALIDARG, {}},
      {"add null", [&] { return manager->AddDataSource(nullptr); }, E_INVALIDARG,
       {L"QZCheckCondition: newDsExt != nullptr"}},
      {"add a non-unit", [&] { return manager->AddDataSource(other.Get()); }, E_NOINTERFACE,
       {L"QZCheckCondition: newDataSource != nullptr"}},
      {"clone into null", [&] { return manager->Clone(nullptr); }, E_POINTER, {L"QZCheckCondition: outval != nullptr"}},
  };
  for (const Case& c : cases) {
    dscore_testing::LogCapture log;
    EXPECT_EQ(c.call(), c.expected) << c.what;
    EXPECT_EQ(log.Messages(), c.logged) << c.what;
  }
  EXPECT_EQ(manager->GetDataSourceVideoOffset(L"A"), 0);
  EXPECT_EQ(RefCount(other.Get()), 1u);  // the refused argument keeps no reference
}

TEST(DataSourceUnitMgr, AddReplacesAtTheSameIndexAndReleasesTheOldUnit) {
  auto manager = NewManager();
  auto a = NewUnit(L"A");
  auto b = NewUnit(L"B");
  auto a2 = NewUnit(L"A");
  for (auto* unit : {a.Get(), b.Get(), a2.Get()}) EXPECT_EQ(manager->AddDataSource(unit), S_OK);
  ASSERT_EQ(manager->GetDataSourceCount(), 2);
  ComPtr<IDataSourceUnitCtrl> first;
  EXPECT_EQ(manager->GetDataSourceByIndex(0, uuidof<IDataSourceUnitCtrl>(), reinterpret_cast<void**>(first.GetAddressOf())),
            S_OK);
  EXPECT_EQ(first.Get(), a2.Get());
  first.Reset();
  EXPECT_EQ(RefCount(a.Get()), 1u);   // released by the manager
  EXPECT_EQ(RefCount(a2.Get()), 2u);  // ours and the manager's
  EXPECT_EQ(manager->AddDataSource(a2.Get()), S_OK);  // the same object again: nothing changes
  EXPECT_EQ(RefCount(a2.Get()), 2u);
  EXPECT_EQ(manager->RemoveDataSource(L"A"), S_OK);
  EXPECT_EQ(IdAt(manager.Get(), 0), L"B");
  EXPECT_EQ(RefCount(a2.Get()), 1u);
}

TEST(DataSourceUnitMgr, UndescribedUnitsAreKeptAndAnEmptyIdIsNeverFound) {
  auto manager = NewManager();
  auto first = NewUnit(L"A", false);
  auto second = NewUnit(L"B", false);
  ASSERT_EQ(first->GetId(), L"");  // the unit-level quirk the manager must not trip over
  EXPECT_EQ(manager->AddDataSource(first.Get()), S_OK);
  EXPECT_EQ(manager->AddDataSource(second.Get()), S_OK);
  EXPECT_EQ(manager->GetDataSourceCount(), 2);
  void* out = nullptr;
  EXPECT_EQ(manager->GetDataSourceById(L"", uuidof<IUnknown>(), &out), E_FAIL);
  EXPECT_EQ(manager->RemoveDataSource(L""), E_INVALIDARG);
}

TEST(DataSourceUnitMgr, MergeRightAfterLoadAddsNothing) {
  auto manager = NewManager();
  const std::wstring doc =
      ListDocument(FloatSource(L"A", L"x", {{L"0 100", L"1"}, {L"0 900", L"2"}}) + L"<!-- a comment -->" +
                   FloatSource(L"B", L"y", {{L"0 0", L"3"}}));
  ASSERT_TRUE(LoadText(manager.Get(), doc));
  ASSERT_EQ(manager->GetDataSourceCount(), 2);
  EXPECT_EQ(IdAt(manager.Get(), 0), L"A");  // loaded units answer their ids
  EXPECT_TRUE(MergeText(manager.Get(), doc));
  EXPECT_EQ(manager->GetDataSourceCount(), 2);
  EXPECT_EQ(Samples<double>(manager.Get(), L"A", L"x"), (Doubles{{100 * kMs, 1.0}, {900 * kMs, 2.0}}));
  // A query picks the data sources to merge; units the document does not name stay.
  EXPECT_TRUE(MergeText(manager.Get(), ListDocument(FloatSource(L"C", L"z", {}) + FloatSource(L"D", L"z", {})),
                        L"DataSource[@name='D']"));
  EXPECT_EQ(manager->GetDataSourceCount(), 3);
  EXPECT_EQ(IdAt(manager.Get(), 2), L"D");
  EXPECT_FALSE(MergeText(manager.Get(), L"<other/>"));
}

TEST(DataSourceUnitMgr, MergingItsOwnSavedListDuplicatesSamplesFromOneSecondOn) {
  auto manager = NewManager();
  ASSERT_TRUE(LoadText(manager.Get(),
                       ListDocument(FloatSource(L"A", L"x", {{L"0 500", L"1"}, {L"1 1500", L"2"}, {L"2 2000", L"3"}}))));
  // The times as the document's time pairs read: 0.5 s, (1000+1500) ms, (2000+2000) ms.
  const Doubles loaded{{500 * kMs, 1.0}, {2500 * kMs, 2.0}, {4000 * kMs, 3.0}};
  ASSERT_EQ(Samples<double>(manager.Get(), L"A", L"x"), loaded);
  EXPECT_TRUE(MergeText(manager.Get(), SaveText(manager.Get())));
  // 0.5 s comes back unchanged and replaces itself; 2.5 s and 4 s come back
  // as 4.5 s and 8 s and are added beside the originals.
  EXPECT_EQ(Samples<double>(manager.Get(), L"A", L"x"),
            (Doubles{{500 * kMs, 1.0}, {2500 * kMs, 2.0}, {4000 * kMs, 3.0}, {4500 * kMs, 2.0}, {8000 * kMs, 3.0}}));
  EXPECT_EQ(manager->GetDataSourceCount(), 1);
}

TEST(DataSourceUnitMgr, TrimAndRebaseBoundaries) {
  auto manager = NewManager();
  const std::wstring doc = ListDocument(FloatSource(L"A", L"x", {{L"0 100", L"1"}, {L"0 700", L"2"}}));
  ASSERT_TRUE(LoadText(manager.Get(), doc));
  const auto before = Samples<double>(manager.Get(), L"A", L"x");
  manager->RebaseAll(0);
  manager->RebaseAll(-1);
  EXPECT_EQ(Samples<double>(manager.Get(), L"A", L"x"), before);
  manager->TrimAll(400 * kMs);
  EXPECT_EQ(Samples<double>(manager.Get(), L"A", L"x"), (Doubles{{100 * kMs, 1.0}}));
  manager->TrimAll(0);  // clears instead of trimming at 0
  EXPECT_TRUE(Samples<double>(manager.Get(), L"A", L"x").empty());
  ComPtr<IDataSourceUnit> unit;
  ASSERT_EQ(manager->GetDataSourceById(L"A", uuidof<IDataSourceUnit>(), reinterpret_cast<void**>(unit.GetAddressOf())),
            S_OK);
  EXPECT_EQ(unit->GetStreamCount(), 1);  // the stream stays
}

TEST(DataSourceUnitMgr, SaveWithoutUnitsLeavesTheNodeUntouched) {
  auto manager = NewManager();
  auto doc = Parse(L"<keep a='1'/>");
  auto persist = As<IDSPersistXML>(manager.Get());
  EXPECT_TRUE(persist->SaveXML(Root(doc.Get()).Get(), L"/x/list.xml"));
  std::wstring xml;
  EXPECT_EQ(doc->get_xml(&xml), S_OK);
  EXPECT_EQ(xml, L"<keep a=\"1\"/>\n");
  EXPECT_FALSE(persist->SaveXML(nullptr, L""));
  // A failed load leaves the list empty.
  ASSERT_TRUE(LoadText(manager.Get(), ListDocument(FloatSource(L"A", L"x", {}))));
  EXPECT_FALSE(LoadText(manager.Get(), L"<mpeg7:Mpeg7 xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001'/>"));
  EXPECT_TRUE(manager->IsEmpty());
}

TEST(DataSourceUnitMgr, ModifiersAreRoutedByIdAndCreateUnknownUnits) {
  auto manager = NewManager();
  auto priv = As<IDataSourceUnitMgrPrivate>(manager.Get());
  priv->SetStartTime(5);
  EXPECT_TRUE(priv->ApplyModifier(DoubleModifier(L"New", L"x", {{kMs, 1.5}}), 0));
  ASSERT_EQ(manager->GetDataSourceCount(), 1);
  EXPECT_EQ(IdAt(manager.Get(), 0), L"New");
  // New units record from the manager's start time on.
  EXPECT_EQ(Samples<double>(manager.Get(), L"New", L"x"), (Doubles{{kMs - 5, 1.5}}));
  EXPECT_TRUE(priv->ApplyModifier(DoubleModifier(L"New", L"x", {{kMs, 2.5}}), 0));
  EXPECT_EQ(manager->GetDataSourceCount(), 1);
  EXPECT_EQ(Samples<double>(manager.Get(), L"New", L"x"), (Doubles{{kMs - 5, 2.5}}));
  // A record whose type does not match the unit's stream fails the whole snapshot.
  DataSourceModifier wrong;
  wrong.SetId(L"New");
  auto ints = std::make_shared<DataSourceStreamModifier>();
  ASSERT_TRUE(ints->Create(L"x", qz_ds::StreamBasicType_Int));
  ASSERT_TRUE(wrong.AddStream(ints));
  EXPECT_FALSE(priv->ApplyModifier(wrong, 0));
  EXPECT_EQ(Samples<double>(manager.Get(), L"New", L"x"), (Doubles{{kMs - 5, 2.5}}));
  wrong.SetId(L"Other");  // the same record makes an int stream in a new unit
  EXPECT_TRUE(priv->ApplyModifier(wrong, 0));
  EXPECT_EQ(manager->GetDataSourceCount(), 2);
  EXPECT_EQ(IdAt(manager.Get(), 1), L"Other");
}

TEST(DataSourceUnitMgr, AnExternalUnitAheadAbsorbsEveryModifier) {
  auto manager = NewManager();
  ComPtr<IDataSourceUnitExternal> external;
  ASSERT_EQ(CreateExternalDataSourceUnit(L"Ext", external.GetAddressOf()), S_OK);
  static_cast<void>(As<IDataSourceUnit>(external.Get())->GetDataSourceInfo());
  ASSERT_EQ(manager->AddDataSource(external.Get()), S_OK);
  EXPECT_TRUE(As<IDataSourceUnitMgrPrivate>(manager.Get())->ApplyModifier(DoubleModifier(L"New", L"x", {{kMs, 1}}), 0));
  EXPECT_EQ(manager->GetDataSourceCount(), 1);  // no unit "New" was made
}

TEST(DataSourceUnitMgr, CloneIsDeepAndFindableById) {
  auto manager = NewManager();
  ASSERT_TRUE(LoadText(manager.Get(), ListDocument(FloatSource(L"A", L"x", {{L"0 100", L"1"}}))));
  As<IDataSourceUnitMgrPrivate>(manager.Get())->SetStartTime(42);
  ComPtr<IDataSourceUnitMgrCtrl> copy;
  ASSERT_EQ(manager->Clone(copy.GetAddressOf()), S_OK);
  EXPECT_EQ(RefCount(copy.Get()), 1u);
  EXPECT_EQ(As<IDataSourceUnitMgrPrivate>(copy.Get())->GetStartTime(), 42);
  EXPECT_EQ(IdAt(copy.Get(), 0), L"A");
  copy->TrimAll(0);
  EXPECT_TRUE(Samples<double>(copy.Get(), L"A", L"x").empty());
  EXPECT_EQ(Samples<double>(manager.Get(), L"A", L"x"), (Doubles{{100 * kMs - 42, 1.0}}));
}

TEST(DataSourceUnitMgrPxy, UnitAdaptersOutliveTheManagerWhichTheyDoNotKeep) {
  auto manager = NewManager();
  ASSERT_TRUE(LoadText(manager.Get(), ListDocument(FloatSource(L"A", L"x", {{L"0 100", L"1"}}))));
  auto overlay = manager->CreateOverlayManager();
  ASSERT_TRUE(overlay);
  EXPECT_EQ(RefCount(manager.Get()), 1u);  // the adapter holds no reference
  EXPECT_FALSE(overlay->GetDataSource(L"missing"));
  EXPECT_FALSE(overlay->IsRecording());
  EXPECT_FALSE(overlay->IsModified());
  ASSERT_EQ(overlay->GetDataSourceInfos().size(), 1u);
  overlay->SetValues({1, 2});
  overlay->SetValues(overlay->GetValues());  // its own list: kept as is
  EXPECT_EQ(overlay->GetValues(), (std::vector<std::int64_t>{1, 2}));
  auto source = overlay->GetDataSource(L"A");
  ASSERT_TRUE(source);
  EXPECT_FALSE(source->GetStream(L"y"));
  overlay.reset();
  manager.Reset();  // the manager goes; the unit stays with its adapter
  EXPECT_EQ(source->GetDataSourceInfo().GetId(), L"A");
  auto stream = std::dynamic_pointer_cast<qz_ds::DataSourceStream<double>>(source->GetStream(L"x"));
  ASSERT_TRUE(stream);
  double value = 0;
  stream->GetValueAt(100 * kMs, 0, value);
  EXPECT_EQ(value, 1.0);
}

}  // namespace
}  // namespace qz_dsc
