#include "streams/DataSourceStreamExternalTempl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "qz_com/ComPtr.h"
#include "qz_com/ComVariant.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/DataSourceUnitEncoder.h"
#include "qz_dsc/IQZPropertySet.h"
#include "qz_dsc/XMLElementExt.h"
#include "qz_log/qz_log.h"

namespace qz_dsc {
namespace {

using qz_com::ComPtr;
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

template <class T>
std::shared_ptr<DataSourceStreamExternalTempl<T>> Make(const wchar_t* name = L"s") {
  auto stream = std::make_shared<DataSourceStreamExternalTempl<T>>();
  stream->Initialize(name, true);
  return stream;
}

template <class T>
T ValueAt(DataSourceStreamExternalTempl<T>& stream, std::int64_t t) {
  T out{};
  EXPECT_EQ(stream.GetValueAt(t, 0, out), 0);
  return out;
}

TEST(ExternalStreamFactory, MakesTheSevenTypesAndNothingElse) {
  for (int type : {2, 3, 4, 5, 6, 11, 12}) {
    auto root = CreateDataSourceStreamExternal(static_cast<qz_ds::StreamBasicType>(type), L"n");
    ASSERT_TRUE(root) << type;
    auto* base = dynamic_cast<qz_ds::DataSourceStreamBase*>(root.get());
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(base->GetBasicType(), type);
    EXPECT_EQ(base->GetImplementationKind(), kExternalStreamKind);
    EXPECT_EQ(base->GetName(), L"n");
    EXPECT_NE(dynamic_cast<DataSourceStreamExternal*>(root.get()), nullptr);
  }
  for (int type : {-1, 0, 1, 7, 8, 9, 10, 13}) {
    EXPECT_FALSE(CreateDataSourceStreamExternal(static_cast<qz_ds::StreamBasicType>(type), L"n")) << type;
  }
}

TEST(ExternalStreamInterpolation, IntBlendsAndTruncatesTowardZero) {
  auto s = Make<std::int32_t>();
  EXPECT_EQ(ValueAt(*s, 5), 0);  // empty: the default
  s->SetDefaultValue(-7);
  EXPECT_EQ(ValueAt(*s, 5), -7);
  s->AddSample(0, 10);
  s->AddSample(100, 20);
  s->AddSample(200, 23);
  s->AddSample(300, -10);
  s->AddSample(400, -13);
  EXPECT_EQ(ValueAt(*s, 50), 15);    // halfway
  EXPECT_EQ(ValueAt(*s, 175), 22);   // 22.25
  EXPECT_EQ(ValueAt(*s, 375), -12);  // -12.25 toward zero
  EXPECT_EQ(ValueAt(*s, 100), 20);   // exactly at a sample
  EXPECT_EQ(ValueAt(*s, -1000), 10);  // before the first: the first, not the default
  EXPECT_EQ(ValueAt(*s, 400), -13);
  EXPECT_EQ(ValueAt(*s, kMax), -13);
  EXPECT_EQ(ValueAt(*s, kMin), 10);

  auto three = Make<std::int32_t>();
  three->AddSample(0, 10);
  three->AddSample(100, 13);
  EXPECT_EQ(ValueAt(*three, 75), 12);  // 12.25 truncated
  three->SetConstant(true);
  EXPECT_EQ(ValueAt(*three, -50), 13);
  EXPECT_EQ(ValueAt(*three, 50), 13);
}

TEST(ExternalStreamInterpolation, FractionUsesTheTimeWithoutTheTimeBase) {
  // The neighbours are found at time base + r, the fraction is taken from r:
  // with a time base of 1000 and r = 50 the pair (1000, 1100) is chosen and
  // the fraction is (50 - 1000) / 100 = -9.5.
  auto d = Make<double>();
  d->SetTimeBase(1000);
  d->AddSample(1000, 0.0);
  d->AddSample(1100, 10.0);
  EXPECT_EQ(ValueAt(*d, 50), -95.0);
  d->SetTimeBase(0);
  EXPECT_EQ(ValueAt(*d, 1050), 5.0);

  // The same extrapolation leaves the int range: it saturates.
  auto i = Make<std::int32_t>();
  i->SetTimeBase(1000);
  i->AddSample(1000, 0);
  i->AddSample(1100, 2'000'000'000);
  EXPECT_EQ(ValueAt(*i, 50), std::numeric_limits<std::int32_t>::min());
  i->ReplaceSamples({{1000, 0}, {1100, -2'000'000'000}});
  EXPECT_EQ(ValueAt(*i, 50), std::numeric_limits<std::int32_t>::max());
}

TEST(ExternalStreamInterpolation, DoublesHoldExactValuesAtSamplesAndBetweenEqualOnes) {
  const double inf = std::numeric_limits<double>::infinity();
  auto d = Make<double>();
  d->AddSample(0, -0.0);
  d->AddSample(100, 1.0);
  d->AddSample(200, inf);
  d->AddSample(300, inf);
  EXPECT_TRUE(std::signbit(ValueAt(*d, 0)));
  EXPECT_EQ(ValueAt(*d, 250), inf);
  EXPECT_EQ(ValueAt(*d, 100), 1.0);
}

TEST(ExternalStreamInterpolation, VectorsBlendPerComponentTextsAndPosesHold) {
  auto v2 = Make<qz_math::Vector2>();
  v2->AddSample(0, {0, 10});
  v2->AddSample(100, {10, -10});
  EXPECT_EQ(ValueAt(*v2, 25), qz_math::Vector2(2.5, 5));
  auto v3 = Make<qz_math::Vector3>();
  v3->AddSample(0, {0, 0, 4});
  v3->AddSample(10, {1, -1, 8});
  EXPECT_EQ(ValueAt(*v3, 5), qz_math::Vector3(0.5, -0.5, 6));
  auto v6 = Make<qz_math::VectorN<6>>();
  qz_math::VectorN<6> a, b, mid;
  for (int k = 0; k < 6; ++k) {
    b[k] = 2.0 * k;
    mid[k] = 0.5 * k;
  }
  v6->AddSample(0, a);
  v6->AddSample(4, b);
  EXPECT_EQ(ValueAt(*v6, 1), mid);

  auto text = Make<std::wstring>();
  text->AddSample(0, L"a");
  text->AddSample(100, L"b");
  EXPECT_EQ(ValueAt(*text, 99), L"a");
  EXPECT_EQ(ValueAt(*text, 100), L"b");
  EXPECT_EQ(ValueAt(*text, -5), L"a");
  auto pose = Make<qz_ovlib::PersonSkeletonData>();
  qz_ovlib::PersonSkeletonData p1, p2;
  p1.personId = 1;
  p2.personId = 2;
  pose->AddSample(0, p1);
  pose->AddSample(100, p2);
  EXPECT_EQ(ValueAt(*pose, 50).personId, 1);
}

TEST(ExternalStreamTimes, PresentationTimeIsKeyMinusTimeBasePlusOffset) {
  auto s = Make<double>();
  s->AddSample(1000, 1.0);
  s->AddSample(1100, 2.0);
  s->SetTimeBase(1000);
  s->SetVideoOffset(5);
  std::vector<std::pair<std::int64_t, double>> out;
  s->GetSamples(0, 50, out);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].first, 5);
  std::int64_t first = -1, last = -1;
  ASSERT_TRUE(s->GetTimeSpan(first, last));
  EXPECT_EQ(first, 5);
  EXPECT_EQ(last, 105);

  // Rebase moves the offset without the lock and agrees with GetValueAt.
  s->Rebase(5);
  EXPECT_EQ(s->GetVideoOffset(), 0);
  s->SetTimeBase(0);
  EXPECT_EQ(ValueAt(*s, 1050), 1.5);
  s->SetVideoOffset(kMin + 3);
  s->Rebase(10);
  EXPECT_EQ(s->GetVideoOffset(), kMin);

  auto empty = Make<double>();
  first = last = 9;
  EXPECT_FALSE(empty->GetTimeSpan(first, last));
  EXPECT_EQ(first, 0);
  EXPECT_EQ(last, 0);
}

TEST(ExternalStreamTimes, ExtremeKeysClampAndTheWholeRangeReturnsEverySample) {
  auto s = Make<std::int32_t>();
  s->ReplaceSamples({{kMin, 1}, {kMin + 5, 2}, {0, 3}, {kMax - 5, 4}, {kMax, 5}});
  for (std::int64_t base : {std::int64_t{10}, std::int64_t{-10}}) {
    s->SetTimeBase(base);
    std::vector<std::pair<std::int64_t, std::int32_t>> out;
    s->GetSamples(kMin, kMax, out);
    ASSERT_EQ(out.size(), 5u) << base;
    EXPECT_EQ(out.front().first, base > 0 ? kMin : kMin + 10);
    EXPECT_EQ(out.back().first, base > 0 ? kMax - 10 : kMax);
    out.clear();
    s->GetSamples(kMin, kMin, out);  // the clamped ones sit exactly at the limit
    EXPECT_EQ(out.size(), base > 0 ? 2u : 0u);
  }
}

TEST(ExternalStreamSlots, RecordingControlsDoNothing) {
  auto s = Make<double>();
  for (int i = 0; i < 1000; ++i) s->AddSample(i, i);  // no count limit
  s->AddSample(500, -1.0);                            // an equal time replaces
  EXPECT_EQ(s->GetSampleCount(), 1000u);
  s->SetStopTime(0);
  EXPECT_TRUE(s->AddSample(kMax, 7.0));  // no stop time either
  s->SetTimeOrigin(100);
  EXPECT_FALSE(s->StartRecording(600));
  s->TruncateAfter(0);
  EXPECT_EQ(s->GetSampleCount(), 1001u);
  EXPECT_EQ(ValueAt(*s, 500), -1.0);
  EXPECT_FALSE(s->IsReservedFlagSet());

  DataSourceStreamModifier modifier;
  ASSERT_TRUE(modifier.Create(L"s", qz_ds::StreamBasicType_Float));
  const std::int64_t stamp = s->GetLastModified();
  EXPECT_EQ(s->ApplyModifier(modifier, 0), DataSourceStreamRoot::kModifierApplied);
  EXPECT_EQ(s->GetSampleCount(), 1001u);
  EXPECT_EQ(s->GetLastModified(), stamp);

  DataSourceStreamEncoder encoder;
  DataSourceStreamDecoder decoder;
  EXPECT_FALSE(s->SaveSettings(encoder));
  EXPECT_FALSE(s->LoadSettings(decoder));
}

// A document with one data source element to save streams into.
class ExternalStreamDocument : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()), S_OK);
    ComPtr<IXMLDOMElement> root;
    ASSERT_EQ(DataSourceEncDecCommon::CreateRootNode(doc.Get(), root.GetAddressOf()), S_OK);
    unit = std::make_unique<DataSourceUnitEncoder>(root.Get());
    ASSERT_TRUE(unit->CreateDataSource(L"src", true, L"a.csv", L"QZ.CSV", L"", false));
  }
  std::wstring StreamXml() {
    ComPtr<IXMLDOMNode> stream;
    if (!unit->GetNode().GetChild(L"DataSourceStream", stream.GetAddressOf())) return L"";
    std::wstring xml;
    EXPECT_EQ(stream->get_xml(&xml), S_OK);
    return xml;
  }
  ComPtr<IXMLDOMDocument> doc;
  std::unique_ptr<DataSourceUnitEncoder> unit;
};

TEST_F(ExternalStreamDocument, SaveWritesTheDefinitionButNoValueAndLoadsBack) {
  auto s = Make<qz_math::Vector2>(L"pos");
  s->AddSample(0, {1, 2});
  s->AddSample(10'000'000, {3, 4});
  s->SetValueRange({0.1, -0.0}, {5, 6});
  s->SetValueUnit(L"m & <cm>");
  s->SetDefaultValue({1e-300, 0});
  s->SetVideoOffset(-25);
  s->SetConstant(true);
  DataSourceStreamEncoder encoder;
  ASSERT_TRUE(unit->CreateStreamEncoder(encoder));
  ASSERT_TRUE(s->Save(encoder));  // first sample time 0: nothing to write is no failure
  EXPECT_EQ(StreamXml(),
            L"<DataSourceStream xmlns:xsi=\"urn:mpeg:mpeg7:schema:2001\" xsi:type=\"DataSourceVector2StreamType\" "
            L"name=\"pos\" StreamClassID=\"2\" "
            L"limitCount=\"0\" freezeDelay=\"0 0\" dataVideoOffset64=\"-25\" defaultValue=\"1e-300 0\" "
            L"flowType=\"2\" lowRange=\"0.1 -0\" highRange=\"5 6\" valueUnit=\"m &amp; &lt;cm&gt;\"/>");

  ComPtr<IXMLDOMNode> node;
  ASSERT_TRUE(unit->GetNode().GetChild(L"DataSourceStream", node.GetAddressOf()));
  DataSourceStreamDecoder decoder(node.Get(), L"");
  auto back = std::make_shared<DataSourceStreamExternalTempl<qz_math::Vector2>>();
  ASSERT_TRUE(back->Load(decoder));
  EXPECT_EQ(back->GetName(), L"pos");
  EXPECT_EQ(back->GetSampleCount(), 0u);
  EXPECT_EQ(back->GetVideoOffset(), -25);
  EXPECT_EQ(back->GetValueUnit(), L"m & <cm>");
  EXPECT_EQ(back->GetDefaultValue(), qz_math::Vector2(1e-300, 0));
  EXPECT_TRUE(back->IsConstant());
  qz_math::Vector2 low, high;
  ASSERT_TRUE(back->GetValueRange(low, high));
  EXPECT_EQ(low, qz_math::Vector2(0.1, -0.0));
  EXPECT_EQ(high, qz_math::Vector2(5, 6));

  back->SetFirstSampleTime(123);
  DataSourceStreamEncoder again;
  ASSERT_TRUE(unit->CreateStreamEncoder(again));
  ASSERT_TRUE(back->Save(again));
}

TEST_F(ExternalStreamDocument, TextsTheDocumentCannotCarryAreRefusedAndLogged) {
  std::vector<std::wstring> logged;
  auto previous = qz_log::set_log_sink([&](const qz_log::LogRecord& r) { logged.push_back(r.message); });
  auto s = Make<std::wstring>(L"label");
  s->SetDefaultValue(std::wstring(L"a\x01" L"b"));
  DataSourceStreamEncoder encoder;
  ASSERT_TRUE(unit->CreateStreamEncoder(encoder));
  EXPECT_FALSE(s->Save(encoder));
  qz_log::set_log_sink(previous);
  EXPECT_EQ(StreamXml(), L"");
  ASSERT_EQ(logged.size(), 1u);
  EXPECT_EQ(logged[0],
            L"Stream \"label\" not saved: its default value hold a character an XML document cannot carry.");

  // Sample values are never written, so they cannot make a save fail.
  auto ok = Make<std::wstring>(L"label2");
  ok->AddSample(0, std::wstring(1, L'\xFFFF'));
  DataSourceStreamEncoder other;
  ASSERT_TRUE(unit->CreateStreamEncoder(other));
  EXPECT_TRUE(ok->Save(other));
}

TEST(ExternalStreamCopies, CloneIsDeepAndPropertiesUsePresentationTimes) {
  auto s = Make<qz_math::Vector3>(L"joint");
  s->AddSample(20'000'000, {1, 2, 3});
  s->AddSample(30'000'000, {0, 5, 1});
  s->SetTimeBase(10'000'000);
  s->SetVideoOffset(5'000'000);
  auto clone = std::dynamic_pointer_cast<DataSourceStreamExternalTempl<qz_math::Vector3>>(s->Clone());
  ASSERT_TRUE(clone);
  s->AddSample(40'000'000, {9, 9, 9});
  s->SetTimeBase(0);
  EXPECT_EQ(clone->GetSampleCount(), 2u);
  EXPECT_EQ(clone->GetTimeBase(), 10'000'000);
  EXPECT_EQ(clone->GetVideoOffset(), 5'000'000);
  EXPECT_EQ(clone->GetName(), L"joint");

  ComPtr<IQZPropertySet> set;
  ASSERT_EQ(clone->GetProperties(set.GetAddressOf()), S_OK);
  qz_com::ComVariant value;
  ASSERT_EQ(set->GetProperty(L"DataType", &value), S_OK);
  EXPECT_EQ(value.Text(), L"Vector 2");
  ASSERT_EQ(set->GetProperty(L"MinVal", &value), S_OK);
  EXPECT_EQ(value.Text(), L"0 5 1");  // component-wise order: the first component decides
  ASSERT_EQ(set->GetProperty(L"Start Time", &value), S_OK);
  EXPECT_EQ(value.Text(), L"1.500");
  ASSERT_EQ(set->GetProperty(L"End Time", &value), S_OK);
  EXPECT_EQ(value.Text(), L"2.500");
  EXPECT_EQ(clone->GetProperties(nullptr), E_POINTER);
}

}  // namespace
}  // namespace qz_dsc
