#include "units/DataSourceUnitExternal.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>

#include "LogCapture.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamExternal.h"
#include "qz_dsc/IExternalDataSourceImporter.h"
#include "units/UnitTestSupport.h"

using namespace qz_dsc;
using namespace units_testing;
using dscore_testing::LogCapture;
using qz_com::ComPtr;
using Samples = std::vector<std::pair<std::int64_t, double>>;

namespace {

using ImportFn = std::function<HRESULT(const std::wstring&, const std::wstring&, IDataSourceUnitExternal*)>;

// A test importer doing what the test asks, registered under its own name.
class ScriptedImporter : public IExternalDataSourceImporter {
 public:
  explicit ScriptedImporter(ImportFn fn) : m_fn(std::move(fn)) {}
  HRESULT Import(const std::wstring& file, const std::wstring& settings, IDataSourceUnitExternal* unit) override {
    return m_fn(file, settings, unit);
  }

 private:
  ImportFn m_fn;
};

void Register(const std::wstring& converter, ImportFn fn) {
  ASSERT_TRUE(RegisterExternalDataSourceImporterFactory(
      converter, [fn] { return std::make_shared<ScriptedImporter>(fn); }));
}

// Fills "speed" from the data file and adds a stream of its own.
HRESULT ImportTwoSamples(const std::wstring&, const std::wstring&, IDataSourceUnitExternal* unit) {
  auto speed = std::dynamic_pointer_cast<DataSourceStreamExtended<double>>(unit->GetStream(L"speed"));
  if (!speed) return E_FAIL;
  speed->AddSample(10, 1.5);
  speed->AddSample(20, 2.5);
  return unit->AddStream(CreateDataSourceStreamExternal(qz_ds::StreamBasicType_Int, L"count"));
}

std::wstring ExternalXml(const std::wstring& converter, const std::wstring& extra = L"") {
  return ListXml(L"<DataSource name='Ext' isExternal='yes' dataFilename='data/run.csv' converterName='" + converter +
                 L"' " + extra + L">\n<DataSourceStream xsi:type='DataSourceFloatStreamType' name='speed' "
                 L"StreamClassID='2' firstSampleTime='50000000'/>\n</DataSource>");
}

ComPtr<DataSourceUnitExternal> Loaded(const std::wstring& xml, HRESULT expected = S_OK) {
  ComPtr<IDataSourceUnitCtrl> unit;
  EXPECT_EQ(CreateExternalDataSourceUnitFromDecoder(Decoders(xml).at(0), unit.GetAddressOf()), expected);
  return ComPtr<DataSourceUnitExternal>(static_cast<DataSourceUnitExternal*>(unit.Get()));
}

Samples SpeedSamples(DataSourceUnitExternal* unit) {
  return AllSamples<double>(std::dynamic_pointer_cast<qz_ds::DataSourceStreamBase>(unit->GetStream(L"speed")));
}

}  // namespace

class DataSourceUnitExternalTest : public LiveUnitCheck {};

TEST_F(DataSourceUnitExternalTest, FailedImportsKeepTheDefinitionsAndAreLoggedExactly) {
  Register(L"EXT.FAIL", [](auto&, auto&, auto*) { return static_cast<HRESULT>(0x80070002u); });
  Register(L"EXT.THROW", [](auto&, auto&, auto*) -> HRESULT { throw std::runtime_error("bad file"); });
  const std::pair<std::wstring, std::wstring> cases[] = {
      {L"EXT.MISSING", L"Missing external data source importer., EXT.MISSING"},
      {L"EXT.FAIL", L"Failed to load the data streams's data, EXT.FAIL, 0x80070002"},
      {L"EXT.THROW", L"Failed to load the data streams's data, EXT.THROW, 0x80004005"},
  };
  for (const auto& [converter, message] : cases) {
    LogCapture log;
    auto unit = Loaded(ExternalXml(converter));
    ASSERT_TRUE(unit);
    EXPECT_TRUE(unit->HasLoadFailed());
    EXPECT_EQ(log.Messages(), std::vector<std::wstring>({message}));
    EXPECT_EQ(unit->GetStreamCount(), 1);
    EXPECT_TRUE(SpeedSamples(unit.Get()).empty());
    // The lock was released by the failed import: another thread gets it.
    auto other = std::async(std::launch::async, [&] { return unit->GetStreamCount(); });
    ASSERT_EQ(other.wait_for(std::chrono::seconds(5)), std::future_status::ready);
  }
}

TEST_F(DataSourceUnitExternalTest, WorkingImportFillsStreamsThroughTheUnit) {
  std::wstring seenFile, seenSettings;
  Register(L"EXT.OK", [&](const std::wstring& file, const std::wstring& settings, IDataSourceUnitExternal* unit) {
    seenFile = file;
    seenSettings = settings;
    return ImportTwoSamples(file, settings, unit);
  });
  auto unit = Loaded(ExternalXml(L"EXT.OK|v2", L"PersistencyDataJSON='{\"sep\":\";\"}'"));
  EXPECT_FALSE(unit->HasLoadFailed());
  EXPECT_EQ(std::make_pair(seenFile, seenSettings), std::make_pair(std::wstring(L"/docs/data/run.csv"),
                                                                   std::wstring(L"{\"sep\":\";\"}")));
  EXPECT_EQ(SpeedSamples(unit.Get()), Samples({{10, 1.5}, {20, 2.5}}));
  EXPECT_EQ(unit->GetStreamCount(), 2);
  EXPECT_EQ(unit->GetId(), L"");  // AddStream emptied the description's id
  EXPECT_EQ(unit->GetDataSourceInfo().GetStreams().size(), 2u);

  // A reset keeps the imported samples; external streams do not record.
  EXPECT_FALSE(unit->ResetStreams(0));
  EXPECT_EQ(SpeedSamples(unit.Get()).size(), 2u);
  DataSourceModifier modifier;
  modifier.SetId(L"Ext");
  EXPECT_EQ(unit->ApplyModifier(modifier, 0), IDataSourceUnitCtrl::kModifierApplied);
  EXPECT_EQ(unit->GetStreamCount(), 2);

  LogCapture log;
  EXPECT_EQ(unit->AddStream(CreateDataSourceStreamExternal(qz_ds::StreamBasicType_Float, L"count")), E_UNEXPECTED);
  EXPECT_EQ(unit->GetStreamCount(), 2);
  EXPECT_EQ(log.Messages(), std::vector<std::wstring>({L"QZCheckCondition: it == m_streams.end()"}));
}

TEST_F(DataSourceUnitExternalTest, RefusedElementsAndDefinitionReload) {
  LogCapture log;
  auto refused = Loaded(ListXml(L"<DataSource name='In'/>"), E_FAIL);
  EXPECT_FALSE(refused);
  EXPECT_EQ(log.Messages(), std::vector<std::wstring>({L"data source is not external."}));
  Loaded(ListXml(L"<DataSource name='NoFile' isExternal='yes' converterName='X'/>"), E_FAIL);

  // LoadFromDecoder rereads definitions only: no attributes, no import.
  Register(L"EXT.COUNT", [](auto&, auto&, auto*) { return S_OK; });
  auto unit = Loaded(ExternalXml(L"EXT.COUNT"));
  unit->SetDataFilename(L"/kept.csv");
  ASSERT_TRUE(unit->LoadFromDecoder(Decoders(ExternalXml(L"OTHER", L"PersistencyDataJSON='{}'")).at(0)));
  EXPECT_EQ(std::make_tuple(unit->GetDataFilename(), unit->GetConverterName(), unit->GetStreamCount()),
            std::make_tuple(std::wstring(L"/kept.csv"), std::wstring(L"EXT.COUNT"), 1));
}

TEST_F(DataSourceUnitExternalTest, AlignmentHasTheOppositeSignAndTracesAtLevelThree) {
  ComPtr<IDataSourceUnitExternal> ext;
  ASSERT_EQ(CreateExternalDataSourceUnit(L"e", ext.GetAddressOf()), S_OK);
  auto* unit = static_cast<DataSourceUnitExternal*>(ext.Get());
  ASSERT_EQ(ext->AddStream(CreateDataSourceStreamExternal(qz_ds::StreamBasicType_Float, L"s")), S_OK);
  unit->SetFirstSampleTime(50'000'000);
  {
    LogCapture quiet(1);
    unit->AlignFirstSampleTimes(20'000'000);
    EXPECT_EQ(quiet.Count(), 0u);
  }
  EXPECT_EQ(unit->GetVideoOffset(), 30'000'000);
  LogCapture trace(3);
  unit->AlignFirstSampleTimes(70'000'000);
  EXPECT_EQ(trace.Messages(), std::vector<std::wstring>(
                                  {L"Synchronizing stream s: video first sample time: 00:00:07.000_0000, data first "
                                   L"sample time: 00:00:05.000_0000, offset: -00:00:02.000_0000"}));
  EXPECT_EQ(trace.Records().at(0).level, 3);
}

TEST_F(DataSourceUnitExternalTest, SettingsAndConverterName) {
  ComPtr<IDataSourceUnitExternal> unit;
  ASSERT_EQ(CreateExternalDataSourceUnit(L"e", unit.GetAddressOf()), S_OK);
  unit->SetPersistencyDataJSON(L"{}");
  EXPECT_EQ(std::make_pair(unit->GetPersistencyData(), unit->GetPersistencyDataJSON()),
            std::make_pair(std::wstring(L"{}"), std::wstring(L"{}")));
  for (const auto& [name, csv] : std::initializer_list<std::pair<const wchar_t*, bool>>{
           {L"QZ.CSV", true}, {L"qz.csv", false}, {L"QZ.CSV|x", false}, {L"QZ.CS", false}}) {
    unit->SetConverterName(name);
    EXPECT_EQ(unit->IsCsvConverter(), csv) << name;
  }
  EXPECT_EQ(unit->ReservedExternalOp(), 0);
  ComPtr<IDataSourceUnitCtrl> ctrl;
  ASSERT_EQ(unit.As(&ctrl), S_OK);
  EXPECT_FALSE(ctrl->ReservedQuery());
}

TEST_F(DataSourceUnitExternalTest, CloneSavesWithItsDataFileAndLoadsItBackAbsolute) {
  Register(L"EXT.RT", ImportTwoSamples);
  auto unit = Loaded(ExternalXml(L"EXT.MISSING.RT", L"PersistencyDataJSON='{\"a\":1}'"));
  unit->SetConverterName(L"EXT.RT");
  IDataSourceUnit* out = nullptr;
  ASSERT_EQ(unit->Clone(&out), S_OK);
  ComPtr<IDataSourceUnitCtrl> clone(static_cast<IDataSourceUnitCtrl*>(out));
  out->Release();
  clone->GetDataSourceInfo();
  ComPtr<IDataSourceUnitExternal> cloneExt;
  ASSERT_EQ(clone.As(&cloneExt), S_OK);
  EXPECT_TRUE(cloneExt->HasLoadFailed());

  const std::wstring xml = SavedXml(clone.Get(), L"/docs/list.xml");
  EXPECT_NE(xml.find(L"<DataSource name=\"Ext\" isExternal=\"yes\" dataFilename=\"./data/run.csv\" "
                     L"converterName=\"EXT.RT\" PersistencyDataJSON=\"{&quot;a&quot;:1}\">"),
            std::wstring::npos)
      << std::string(xml.begin(), xml.end());
  EXPECT_EQ(xml.find(L"<Value"), std::wstring::npos);  // samples stay in the data file

  auto back = Loaded(xml, S_OK);
  EXPECT_EQ(std::make_tuple(back->GetDataFilename(), back->GetPersistencyDataJSON(), back->HasLoadFailed()),
            std::make_tuple(std::wstring(L"/docs/data/run.csv"), std::wstring(L"{\"a\":1}"), false));
  EXPECT_EQ(SpeedSamples(back.Get()), Samples({{10, 1.5}, {20, 2.5}}));
  EXPECT_EQ(back->GetStreamFirstSampleTime(L"speed"), 50'000'000);
}
