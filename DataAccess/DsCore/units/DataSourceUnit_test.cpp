#include "units/DataSourceUnit.h"

#include <gtest/gtest.h>

#include "LogCapture.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "units/UnitTestSupport.h"
#include "xml/TimePairText.h"

using namespace qz_dsc;
using namespace units_testing;
using dscore_testing::LogCapture;
using qz_com::ComPtr;
using Samples = std::vector<std::pair<std::int64_t, double>>;

namespace {

ComPtr<DataSourceUnit> NewUnit(const std::wstring& id, std::initializer_list<const wchar_t*> names = {}) {
  ComPtr<DataSourceUnit> unit;
  unit.Attach(new DataSourceUnit(id));
  for (const wchar_t* name : names) EXPECT_TRUE(unit->AddStream(std::dynamic_pointer_cast<DataSourceStreamRoot>(
      Recorded<double>(name))));
  return unit;
}

std::shared_ptr<DataSourceStreamModifier> Snapshot(const std::wstring& name, qz_ds::StreamBasicType type,
                                                   const Samples& samples = {}) {
  auto record = std::make_shared<DataSourceStreamModifier>();
  EXPECT_TRUE(record->Create(name, type));
  for (const auto& [t, v] : samples) {
    EXPECT_EQ(0, record->GetInternalBuffer()->AddSample(t, DataSourceStreamVariantDerived<double>(v)));
  }
  return record;
}

Samples SamplesOf(DataSourceUnit* unit, const std::wstring& name) {
  return AllSamples<double>(std::dynamic_pointer_cast<qz_ds::DataSourceStreamBase>(unit->GetStream(name)));
}

std::vector<std::wstring> NamesOf(const qz_ds::DataSourceInfo& info) {
  std::vector<std::wstring> names;
  for (const auto& s : info.GetStreams()) names.push_back(s.GetName());
  return names;
}

}  // namespace

class DataSourceUnitTest : public LiveUnitCheck {};

TEST_F(DataSourceUnitTest, EmptyUnitAndUnknownNames) {
  auto unit = NewUnit(L"u");
  IQZPropertySet* set = nullptr;
  EXPECT_EQ(unit->GetStreamCount(), 0);
  EXPECT_EQ(unit->GetVideoOffset(), 0);
  EXPECT_TRUE(unit->ResetStreams(5));
  EXPECT_EQ(unit->GetStreamProperties(0, &set), E_INVALIDARG);
  EXPECT_EQ(unit->RemoveStream(L"nope"), S_OK);

  LogCapture log;
  std::int64_t offset = 7;
  EXPECT_EQ(unit->SetStreamVideoOffset(L"nope", 1), E_INVALIDARG);
  EXPECT_EQ(unit->GetStreamVideoOffset(L"nope", &offset), E_INVALIDARG);
  EXPECT_EQ(offset, 7);
  // The one lookup that answers its error as a time value.
  EXPECT_EQ(unit->GetStreamFirstSampleTime(L"nope"), -2147024809);
  unit->SetStreamFirstSampleTime(L"nope", 1);  // silently ignored
  EXPECT_EQ(unit->GetStreamProperties(0, nullptr), E_POINTER);
  EXPECT_EQ(log.Messages(), std::vector<std::wstring>(
                                {L"QZCheckCondition: it != m_streamMap.end()", L"QZCheckCondition: it != m_streamMap.end()",
                                 L"QZCheckCondition: it != m_streamMap.end()", L"QZCheckCondition: propset != nullptr"}));
}

TEST_F(DataSourceUnitTest, StreamsInOrdinalOrderAndThePropertySet) {
  auto unit = NewUnit(L"Run 1", {L"b", L"B", L"a"});
  EXPECT_EQ(NamesOf(unit->GetDataSourceInfo()), std::vector<std::wstring>({L"B", L"a", L"b"}));
  ComPtr<IQZPropertySet> props;
  ASSERT_EQ(unit->GetStreamProperties(1, props.GetAddressOf()), S_OK);
  qz_com::ComVariant name;
  ASSERT_EQ(props->GetProperty(L"Name", &name), S_OK);
  EXPECT_EQ(std::wstring(name.bstrVal), L"a");

  // The unit's own set: one row, "Name" (case-sensitive), its id as value.
  IQZPropertySet* own = unit.Get();
  qz_com::ComVariant id;
  EXPECT_EQ(own->GetProperty(L"Name", &id), S_OK);
  EXPECT_EQ(std::wstring(id.bstrVal), L"Run 1");
  EXPECT_EQ(own->GetProperty(L"name", &id), E_INVALIDARG);
  EXPECT_EQ(own->SetProperty(L"Name", &id), E_FAIL);
  BSTR text = nullptr;
  EXPECT_EQ(own->GetPropertyName(1, &text), E_INVALIDARG);
  ASSERT_EQ(own->GetPropertyText(L"Name", &text), S_OK);
  EXPECT_EQ(std::wstring(text), L"Name");
  SysFreeString(text);
  UINT count = 0;
  EXPECT_EQ(own->GetPropertyCount(&count), S_OK);
  EXPECT_EQ(count, 1u);
}

TEST_F(DataSourceUnitTest, TimingBroadcastsAndAlignment) {
  auto unit = NewUnit(L"u", {L"x", L"y"});
  unit->SetFirstSampleTime(50'000'000);
  unit->SetStreamFirstSampleTime(L"y", 20'000'000);
  unit->AlignFirstSampleTimes(20'000'000);  // video - stream: -3 s and 0
  std::int64_t x = 0, y = 1;
  EXPECT_EQ(unit->GetStreamVideoOffset(L"x", &x), S_OK);
  EXPECT_EQ(unit->GetStreamVideoOffset(L"y", &y), S_OK);
  EXPECT_EQ(std::make_pair(x, y), std::make_pair(std::int64_t{-30'000'000}, std::int64_t{0}));
  unit->ShiftVideoOffset(10);
  EXPECT_EQ(unit->GetVideoOffset(), -29'999'990);
  unit->ResetVideoOffsets();
  EXPECT_EQ(unit->GetVideoOffset(), 0);

  BasicBinarySerializer header(16, true);
  EXPECT_FALSE(unit->SerializeHeader(header));
  const std::vector<unsigned char> bytes(header.GetBuffer(), header.GetBuffer() + header.GetLength());
  EXPECT_EQ(bytes, std::vector<unsigned char>({1, 0, 0, 0, 2, 0, 0, 0}));
}

TEST_F(DataSourceUnitTest, ResetAfterAStopTimeRecordsAgain) {
  auto unit = NewUnit(L"u", {L"x"});
  auto x = std::dynamic_pointer_cast<DataSourceStreamExtended<double>>(unit->GetStream(L"x"));
  unit->SetStreamsOption(100);
  EXPECT_TRUE(x->AddSample(50, 1.0));
  EXPECT_FALSE(x->AddSample(150, 2.0));  // past the stop time
  EXPECT_TRUE(unit->ResetStreams(1000));
  EXPECT_TRUE(SamplesOf(unit.Get(), L"x").empty());
  EXPECT_TRUE(x->AddSample(1500, 3.0));
  EXPECT_EQ(SamplesOf(unit.Get(), L"x"), Samples({{500, 3.0}}));  // time origin 1000
}

TEST_F(DataSourceUnitTest, LoadSkipsWhatDoesNotLoadAndForgetsTheIdUntilDescribed) {
  const auto decoders = Decoders(ListXml(
      L"<DataSource name='Car'>\n <!-- streams -->\n"
      L"<DataSourceStream xsi:type='DataSourceFloatStreamType' name='v' StreamClassID='2'/>"
      L"<DataSourceStream xsi:type='DataSourceFloatStreamType' name='old' StreamClassID='1'/>"
      L"<DataSourceStream xsi:type='DataSourceNoSuchType' name='odd' StreamClassID='2'/>"
      L"<DataSourceStream xsi:type='DataSourceIntStreamType' StreamClassID='2'/>"
      L"<DataSourceStream xsi:type='DataSourceIntStreamType' name='A' StreamClassID='2'/>"
      L"</DataSource><DataSource/>"));
  ASSERT_EQ(decoders.size(), 2u);
  LogCapture log;
  ComPtr<IDataSourceUnitCtrl> unit;
  ASSERT_EQ(CreateDataSourceUnitFromDecoder(decoders[0], unit.GetAddressOf()), S_OK);
  EXPECT_EQ(unit->GetId(), L"");
  EXPECT_EQ(NamesOf(unit->GetDataSourceInfo()), std::vector<std::wstring>({L"A", L"v"}));
  EXPECT_EQ(unit->GetId(), L"Car");
  ComPtr<IDataSourceUnitLoadReport> report;
  ASSERT_EQ(unit.As(&report), S_OK);
  EXPECT_EQ(report->GetSkippedStreamCount(), 3);
  const auto messages = log.Messages();
  EXPECT_NE(std::find(messages.begin(), messages.end(), L"Data source Car: stream old did not load and was skipped."),
            messages.end());
  EXPECT_NE(std::find(messages.begin(), messages.end(),
                      L"Data source Car: stream element 4 did not load and was skipped."),
            messages.end());

  IDataSourceUnitCtrl* none = reinterpret_cast<IDataSourceUnitCtrl*>(&log);
  EXPECT_EQ(CreateDataSourceUnitFromDecoder(decoders[1], &none), E_FAIL);  // no name
  EXPECT_EQ(none, nullptr);
}

TEST_F(DataSourceUnitTest, SavedAndLoadedBackThroughTheDocument) {
  auto unit = NewUnit(L"Car \u00e9");
  auto speed = Recorded<double>(L"Speed", {{2'500'000, 0.25}, {25'000'000, -1.5}});
  speed->SetValueUnit(L"m/s");
  speed->SetValueRange(-2.0, 2.0);
  ASSERT_TRUE(unit->AddStream(std::dynamic_pointer_cast<DataSourceStreamRoot>(speed)));
  ASSERT_TRUE(unit->AddStream(std::dynamic_pointer_cast<DataSourceStreamRoot>(Recorded<std::wstring>(L"Label", {{0, L"a<b"}}))));
  unit->SetStreamVideoOffset(L"Speed", -12'345);

  const std::wstring xml = SavedXml(unit.Get());
  ComPtr<IDataSourceUnitCtrl> back;
  ASSERT_EQ(CreateDataSourceUnitFromDecoder(Decoders(xml).at(0), back.GetAddressOf()), S_OK);
  back->GetDataSourceInfo();
  EXPECT_EQ(back->GetId(), L"Car \u00e9");
  auto* loaded = static_cast<DataSourceUnit*>(back.Get());
  Samples expected;
  for (const auto& [t, v] : Samples({{2'500'000, 0.25}, {25'000'000, -1.5}})) {
    std::int64_t read = 0;  // 25'000'000 is written "2 2500" and read back as 4.5 s
    ASSERT_TRUE(TimePairText::Parse(TimePairText::Format(t), read));
    expected.emplace_back(read - 12'345, v);  // shown with the stream's video offset
  }
  EXPECT_EQ(SamplesOf(loaded, L"Speed"), expected);
  auto speedBack = std::dynamic_pointer_cast<DataSourceStreamExtended<double>>(loaded->GetStream(L"Speed"));
  double low = 0, high = 0;
  ASSERT_TRUE(speedBack->GetValueRange(low, high));
  EXPECT_EQ(std::make_tuple(low, high, speedBack->GetValueUnit(), back->GetVideoOffset()),
            std::make_tuple(-2.0, 2.0, std::wstring(L"m/s"), std::int64_t{0}));  // "Label" comes first
  EXPECT_EQ(AllSamples<std::wstring>(std::dynamic_pointer_cast<qz_ds::DataSourceStreamBase>(loaded->GetStream(L"Label"))),
            (std::vector<std::pair<std::int64_t, std::wstring>>{{0, L"a<b"}}));
}

TEST_F(DataSourceUnitTest, MergeByNameKeepsWhatTheDocumentDoesNotMention) {
  auto unit = NewUnit(L"u", {L"kept", L"v"});
  auto v = std::dynamic_pointer_cast<DataSourceStreamExtended<double>>(unit->GetStream(L"v"));
  EXPECT_TRUE(v->AddSample(0, 1.0));
  EXPECT_TRUE(v->AddSample(20'000, 2.0));
  const auto d = Decoders(ListXml(
      L"<DataSource name='u'>"
      L"<DataSourceStream xsi:type='DataSourceFloatStreamType' name='v' StreamClassID='2'>"
      L"<Value TimeStamp='0 2'>5</Value><Value TimeStamp='0 3'>6</Value></DataSourceStream>"
      L"<DataSourceStream xsi:type='DataSourceIntStreamType' name='new' StreamClassID='2'/></DataSource>"));
  ASSERT_TRUE(unit->LoadFromDecoderEx(d.at(0), 0));
  EXPECT_EQ(SamplesOf(unit.Get(), L"v"), Samples({{0, 1.0}, {20'000, 5.0}, {30'000, 6.0}}));
  EXPECT_EQ(unit->GetStreamCount(), 3);
  EXPECT_NE(unit->GetStream(L"kept"), nullptr);
}

TEST_F(DataSourceUnitTest, SnapshotsAppliedRefusedAndFailed) {
  auto unit = NewUnit(L"u", {L"v"});
  std::weak_ptr<DataSourceStreamRoot> hostView = unit->GetStream(L"v");
  DataSourceModifier modifier;
  modifier.SetId(L"other");
  ASSERT_TRUE(modifier.AddStream(Snapshot(L"v", qz_ds::StreamBasicType_Float, {{10, 1.0}})));
  EXPECT_EQ(unit->ApplyModifier(modifier, 0), IDataSourceUnitCtrl::kModifierOtherUnit);
  EXPECT_TRUE(SamplesOf(unit.Get(), L"v").empty());

  // A held stream of another value type fails the whole snapshot up front.
  modifier.SetId(L"u");
  ASSERT_TRUE(modifier.AddStream(Snapshot(L"fresh", qz_ds::StreamBasicType_Float)));
  ASSERT_TRUE(modifier.AddStream(Snapshot(L"v", qz_ds::StreamBasicType_Int)));
  EXPECT_EQ(unit->ApplyModifier(modifier, 0), IDataSourceUnitCtrl::kModifierFailed);
  EXPECT_EQ(unit->GetStreamCount(), 1);
  EXPECT_TRUE(SamplesOf(unit.Get(), L"v").empty());
  EXPECT_EQ(hostView.lock(), unit->GetStream(L"v"));

  // Applied in place; a new stream keeps more than the default 100 samples;
  // a time of 0 takes the option.
  modifier.Clear();
  Samples many{{0, 9.0}};
  for (int i = 1; i <= 150; ++i) many.emplace_back(i * 10, i);
  ASSERT_TRUE(modifier.AddStream(Snapshot(L"v", qz_ds::StreamBasicType_Float, {{10, 1.0}})));
  ASSERT_TRUE(modifier.AddStream(Snapshot(L"fresh", qz_ds::StreamBasicType_Float, many)));
  EXPECT_EQ(unit->ApplyModifier(modifier, 5), IDataSourceUnitCtrl::kModifierApplied);
  EXPECT_EQ(hostView.lock(), unit->GetStream(L"v"));
  EXPECT_EQ(SamplesOf(unit.Get(), L"v"), Samples({{10, 1.0}}));
  const auto fresh = SamplesOf(unit.Get(), L"fresh");
  ASSERT_EQ(fresh.size(), 151u);
  EXPECT_EQ(fresh.front(), std::make_pair(std::int64_t{5}, 9.0));
  EXPECT_EQ(unit->GetId(), L"u");  // the description's id is set, not rebuilt
}

TEST_F(DataSourceUnitTest, CloneIsDeepAndReleasesAnOccupiedOutPointerOnce) {
  auto unit = NewUnit(L"u", {L"v"});
  unit->SetStartTime(77);
  std::weak_ptr<DataSourceStreamRoot> original = unit->GetStream(L"v");
  IDataSourceUnit* out = nullptr;
  ASSERT_EQ(unit->Clone(&out), S_OK);
  IDataSourceUnit* first = out;
  first->AddRef();
  ASSERT_EQ(unit->Clone(&out), S_OK);  // releases the first clone once
  EXPECT_NE(out, first);
  EXPECT_EQ(first->Release(), 0u);
  EXPECT_EQ(out->GetId(), L"");  // the description's id, empty until described
  auto* copy = static_cast<DataSourceUnit*>(static_cast<IDataSourceUnitCtrl*>(out));
  EXPECT_NE(copy->GetStream(L"v"), original.lock());
  std::dynamic_pointer_cast<DataSourceStreamExtended<double>>(unit->GetStream(L"v"))->AddSample(5, 1.0);
  EXPECT_TRUE(SamplesOf(copy, L"v").empty());
  out->Release();

  LogCapture log;
  EXPECT_EQ(unit->Clone(nullptr), E_POINTER);
  EXPECT_EQ(log.Messages(), std::vector<std::wstring>({L"QZCheckCondition: outval != nullptr"}));
  unit.Reset();
  EXPECT_TRUE(original.expired());
}

TEST_F(DataSourceUnitTest, OverlayAdapterKeepsItsUnitAndSharesStreams) {
  auto unit = NewUnit(L"u", {L"v"});
  std::weak_ptr<DataSourceStreamRoot> stream = unit->GetStream(L"v");
  auto overlay = unit->CreateOverlayDataSource();
  unit.Reset();
  EXPECT_EQ(overlay->GetDataSourceInfo().GetId(), L"u");
  EXPECT_EQ(overlay->GetStream(L"nope"), nullptr);
  auto v = overlay->GetStream(L"v");
  EXPECT_EQ(v.get(), dynamic_cast<qz_ds::DataSourceStreamBase*>(stream.lock().get()));
  overlay.reset();
  v.reset();
  EXPECT_TRUE(stream.expired());
}
