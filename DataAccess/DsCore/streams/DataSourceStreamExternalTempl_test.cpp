#include "streams/DataSourceStreamExternalTempl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "qz_com/ComPtr.h"
#include "qz_com/ComVariant.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/DataSourceUnitEncoder.h"
#include "qz_dsc/IQZPropertySet.h"
#include "LogCapture.h"
#include "streams/StreamValueText.h"

namespace qz_dsc {
namespace {

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int32_t kIntMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kIntMax = std::numeric_limits<std::int32_t>::max();

template <class T>
std::shared_ptr<DataSourceStreamExternalTempl<T>> Make(std::map<std::int64_t, T> samples = {},
                                                       const wchar_t* name = L"s") {
  auto stream = std::make_shared<DataSourceStreamExternalTempl<T>>();
  stream->Initialize(name, true);
  stream->ReplaceSamples(std::move(samples));
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
    auto* base = dynamic_cast<qz_ds::DataSourceStreamBase*>(root.get());
    ASSERT_NE(base, nullptr) << type;
    EXPECT_EQ(base->GetBasicType(), type);
    EXPECT_EQ(base->GetImplementationKind(), kExternalStreamKind);
    EXPECT_EQ(base->GetName(), L"n");
  }
  for (int type : {-1, 0, 1, 7, 8, 9, 10, 13}) {
    EXPECT_FALSE(CreateDataSourceStreamExternal(static_cast<qz_ds::StreamBasicType>(type), L"n")) << type;
  }
}

TEST(ExternalStreamInterpolation, IntBlendsTruncatesTowardZeroAndHoldsAtTheEnds) {
  auto s = Make<std::int32_t>();
  s->SetDefaultValue(-7);
  EXPECT_EQ(ValueAt(*s, 5), -7);  // empty: the default
  s->ReplaceSamples({{0, 10}, {100, 20}, {200, 10}, {300, 13}, {400, -10}, {500, -13}});
  const std::pair<std::int64_t, std::int32_t> cases[] = {
      {50, 15},    // halfway
      {275, 12},   // three quarters from 10 to 13: 12.25 truncated
      {475, -12},  // -12.25 toward zero
      {100, 20}, {-1000, 10} /* before the first: the first, not the default */, {kMin, 10}, {kMax, -13}};
  for (const auto& [t, v] : cases) EXPECT_EQ(ValueAt(*s, t), v) << t;
  s->SetConstant(true);
  EXPECT_EQ(ValueAt(*s, -50), -13);
}

TEST(ExternalStreamInterpolation, PlaybackOrderJumpsAndChangesAgreeWithFreshLookups) {
  // The lookup remembers its last position: forward steps, jumps back, a
  // cleared store and a replaced one must all still find the right pair.
  auto s = Make<std::int32_t>();
  std::map<std::int64_t, std::int32_t> samples;
  for (std::int32_t i = 0; i <= 100; ++i) samples.emplace(i * 10, i * 100);
  s->ReplaceSamples(std::move(samples));
  const std::int64_t times[] = {0, 5, 10, 15, 20, 995, 1000, 2000, 3, 25, 24, 500, 499, kMin, 7};
  for (std::int64_t t : times) {
    const std::int32_t expected = t <= 0 ? 0 : t >= 1000 ? 10000 : static_cast<std::int32_t>(t * 10);
    EXPECT_EQ(ValueAt(*s, t), expected) << t;
  }
  ASSERT_EQ(ValueAt(*s, 995), 9950);
  s->ReplaceSamples({{0, 0}, {10, 100}});
  EXPECT_EQ(ValueAt(*s, 5), 50);
  s->Clear();
  s->AddSample(0, 1);
  EXPECT_EQ(ValueAt(*s, 5), 1);
}

TEST(ExternalStreamInterpolation, FractionUsesTheTimeWithoutTheTimeBaseAndIntsSaturate) {
  // Neighbours are found at time base + r, the fraction is taken from r: with
  // a time base of 1000 and r = 50, the pair (1000, 1100) is used with the
  // fraction (50 - 1000) / 100 = -9.5.
  auto d = Make<double>({{1000, 0.0}, {1100, 10.0}});
  d->SetTimeBase(1000);
  EXPECT_EQ(ValueAt(*d, 50), -95.0);
  d->SetTimeBase(0);
  EXPECT_EQ(ValueAt(*d, 1050), 5.0);

  auto i = Make<std::int32_t>({{1000, 0}, {1100, 2'000'000'000}});
  i->SetTimeBase(1000);
  EXPECT_EQ(ValueAt(*i, 50), kIntMin);
  i->ReplaceSamples({{1000, 0}, {1100, -2'000'000'000}});
  EXPECT_EQ(ValueAt(*i, 50), kIntMax);
}

TEST(ExternalStreamInterpolation, OtherTypes) {
  const double inf = std::numeric_limits<double>::infinity();
  auto d = Make<double>({{0, -0.0}, {100, 1.0}, {200, inf}, {300, inf}});
  EXPECT_TRUE(std::signbit(ValueAt(*d, 0)));  // at a sample: its value exactly
  EXPECT_EQ(ValueAt(*d, 100), 1.0);
  EXPECT_EQ(ValueAt(*d, 250), inf);

  auto v2 = Make<qz_math::Vector2>({{0, {0, 10}}, {100, {10, -10}}});
  EXPECT_EQ(ValueAt(*v2, 25), qz_math::Vector2(2.5, 5));
  auto v3 = Make<qz_math::Vector3>({{0, {0, 0, 4}}, {10, {1, -1, 8}}});
  EXPECT_EQ(ValueAt(*v3, 5), qz_math::Vector3(0.5, -0.5, 6));
  qz_math::VectorN<6> b;
  b[5] = 8;
  auto v6 = Make<qz_math::VectorN<6>>({{0, qz_math::VectorN<6>()}, {4, b}});
  EXPECT_EQ(ValueToText(ValueAt(*v6, 1)), L"0 0 0 0 0 2");
  auto text = Make<std::wstring>({{0, L"a"}, {100, L"b"}});
  EXPECT_EQ(ValueAt(*text, 99) + ValueAt(*text, 100), L"ab");
  qz_ovlib::PersonSkeletonData p1, p2;
  p1.personId = 1;
  EXPECT_EQ(ValueAt(*Make<qz_ovlib::PersonSkeletonData>({{0, p1}, {100, p2}}), 50).personId, 1);
}

TEST(ExternalStreamTimes, PresentationTimeIsKeyMinusTimeBasePlusOffset) {
  auto s = Make<double>({{1000, 1.0}, {1100, 2.0}});
  s->SetTimeBase(1000);
  s->SetVideoOffset(5);
  std::vector<std::pair<std::int64_t, double>> out;
  s->GetSamples(0, 50, out);
  EXPECT_EQ(out, (std::vector<std::pair<std::int64_t, double>>{{5, 1.0}}));
  std::int64_t first = -1, last = -1;
  ASSERT_TRUE(s->GetTimeSpan(first, last));
  EXPECT_EQ(std::make_pair(first, last), std::make_pair(std::int64_t{5}, std::int64_t{105}));

  s->Rebase(5);  // moves the offset, which GetValueAt then honours
  s->SetTimeBase(0);
  EXPECT_EQ(ValueAt(*s, 1050), 1.5);
  s->SetVideoOffset(kMin + 3);
  s->Rebase(10);
  EXPECT_EQ(s->GetVideoOffset(), kMin);

  first = last = 9;
  EXPECT_FALSE(Make<double>()->GetTimeSpan(first, last));
  EXPECT_EQ(first + last, 0);
}

TEST(ExternalStreamTimes, TheWholeRangeReturnsEverySampleWithClampedTimes) {
  auto s = Make<std::int32_t>({{kMin, 1}, {kMin + 5, 2}, {kMax, 3}});
  s->SetTimeBase(10);
  std::vector<std::pair<std::int64_t, std::int32_t>> out;
  s->GetSamples(kMin, kMax, out);
  const std::vector<std::pair<std::int64_t, std::int32_t>> expected = {{kMin, 1}, {kMin, 2}, {kMax - 10, 3}};
  EXPECT_EQ(out, expected);
}

TEST(ExternalStreamSlots, NoLimitsAndRecordingControlsDoNothing) {
  auto s = Make<double>();
  for (int i = 0; i < 1000; ++i) s->AddSample(i, i);
  s->AddSample(500, -1.0);  // an equal time replaces
  s->SetStopTime(0);
  EXPECT_TRUE(s->AddSample(kMax, 7.0));
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
  EXPECT_FALSE(s->SaveSettings(encoder));
  EXPECT_FALSE(s->LoadSettings(DataSourceStreamDecoder()));
}

// Rebase changes the offset without the lock while others read and write
// under it; run under ThreadSanitizer by `make test-thread`.
TEST(ExternalStreamConcurrency, RebaseRacesSafelyWithLookupsAndAdds) {
  auto s = Make<double>({{0, 0.0}, {1000, 1000.0}});
  constexpr int kRounds = 20000;
  std::thread rebaser([&] {
    for (int i = 0; i < kRounds; ++i) s->Rebase(i % 2 == 0 ? 1 : -1);
  });
  std::thread writer([&] {
    for (int i = 0; i < kRounds; ++i) s->AddSample(2000 + i, 1000.0);
  });
  for (int i = 0; i < kRounds; ++i) {
    const double v = ValueAt(*s, 500);
    if (v != 500.0 && v != 501.0) {  // the offset is 0 or -1 at any moment
      ADD_FAILURE() << v;
      break;
    }
  }
  rebaser.join();
  writer.join();
  EXPECT_EQ(s->GetVideoOffset(), 0);
  EXPECT_EQ(s->GetSampleCount(), 2u + kRounds);
}

// A document with one data source element to save streams into.
class ExternalStreamDocument : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()), S_OK);
    qz_com::ComPtr<IXMLDOMElement> root;
    ASSERT_EQ(DataSourceEncDecCommon::CreateRootNode(doc.Get(), root.GetAddressOf()), S_OK);
    unit = DataSourceUnitEncoder(root.Get());
    ASSERT_TRUE(unit.CreateDataSource(L"src", true, L"a.csv", L"QZ.CSV", L"", false));
  }
  bool Save(DataSourceStreamRoot& stream) {
    DataSourceStreamEncoder encoder;
    EXPECT_TRUE(unit.CreateStreamEncoder(encoder));
    return stream.Save(encoder);
  }
  std::wstring StreamXml() {
    std::wstring xml;
    if (auto node = StreamNode()) {
      EXPECT_EQ(node->get_xml(&xml), S_OK);
    }
    return xml;
  }
  qz_com::ComPtr<IXMLDOMNode> StreamNode() {
    qz_com::ComPtr<IXMLDOMNode> node;
    if (!unit.GetNode().GetChild(L"DataSourceStream", node.GetAddressOf())) node.Reset();
    return node;
  }
  qz_com::ComPtr<IXMLDOMDocument> doc;
  DataSourceUnitEncoder unit;
};

TEST_F(ExternalStreamDocument, SaveWritesTheDefinitionButNoValueAndLoadsBack) {
  auto s = Make<qz_math::Vector2>({{0, {1, 2}}, {10'000'000, {3, 4}}}, L"pos");
  s->SetValueRange({0.1, -0.0}, {5, 6});
  s->SetValueUnit(L"m & <cm>");
  s->SetDefaultValue({1e-300, 0});
  s->SetVideoOffset(-25);
  s->SetConstant(true);
  ASSERT_TRUE(Save(*s));  // first sample time 0: nothing to write is no failure
  EXPECT_EQ(StreamXml(),
            L"<DataSourceStream xmlns:xsi=\"urn:mpeg:mpeg7:schema:2001\" xsi:type=\"DataSourceVector2StreamType\" "
            L"name=\"pos\" StreamClassID=\"2\" limitCount=\"0\" freezeDelay=\"0 0\" dataVideoOffset64=\"-25\" "
            L"defaultValue=\"1e-300 0\" flowType=\"2\" lowRange=\"0.1 -0\" highRange=\"5 6\" "
            L"valueUnit=\"m &amp; &lt;cm&gt;\"/>");

  auto back = std::make_shared<DataSourceStreamExternalTempl<qz_math::Vector2>>();
  ASSERT_TRUE(back->Load(DataSourceStreamDecoder(StreamNode().Get(), L"")));
  qz_math::Vector2 low, high;
  ASSERT_TRUE(back->GetValueRange(low, high));
  EXPECT_EQ(back->GetName() + L"|" + back->GetValueUnit() + L"|" + ValueToText(back->GetDefaultValue()) + L"|" +
                ValueToText(low) + L"|" + ValueToText(high),
            L"pos|m & <cm>|1e-300 0|0.1 -0|5 6");
  EXPECT_EQ(std::make_tuple(back->GetSampleCount(), back->GetVideoOffset(), back->IsConstant()),
            std::make_tuple(std::size_t{0}, std::int64_t{-25}, true));
}

TEST_F(ExternalStreamDocument, TextsTheDocumentCannotCarryAreRefusedAndLogged) {
  dscore_testing::LogCapture log;
  auto s = Make<std::wstring>({}, L"label");
  s->SetDefaultValue(std::wstring(L"a\x01" L"b"));
  EXPECT_FALSE(Save(*s));
  EXPECT_FALSE(StreamNode());
  EXPECT_EQ(log.Messages(), std::vector<std::wstring>{
                                L"Stream \"label\" not saved: its default value hold a character an XML document "
                                L"cannot carry."});
  // Sample values are never written, so they cannot make a save fail.
  EXPECT_TRUE(Save(*Make<std::wstring>({{0, std::wstring(1, L'\xFFFF')}}, L"label2")));
}

TEST(ExternalStreamCopies, CloneIsDeepAndPropertiesUsePresentationTimes) {
  auto s = Make<qz_math::Vector3>({{20'000'000, {1, 2, 3}}, {30'000'000, {0, 5, 1}}}, L"joint");
  s->SetTimeBase(10'000'000);
  s->SetVideoOffset(5'000'000);
  auto clone = std::dynamic_pointer_cast<DataSourceStreamExternalTempl<qz_math::Vector3>>(s->Clone());
  ASSERT_TRUE(clone);
  s->AddSample(40'000'000, {9, 9, 9});
  s->SetTimeBase(0);
  EXPECT_EQ(clone->GetSampleCount(), 2u);
  EXPECT_EQ(clone->GetTimeBase(), 10'000'000);
  EXPECT_EQ(clone->GetName(), L"joint");
  qz_com::ComPtr<IQZPropertySet> set;
  ASSERT_EQ(clone->GetProperties(set.GetAddressOf()), S_OK);
  std::wstring texts;
  for (const wchar_t* key : {L"DataType", L"MinVal", L"Start Time", L"End Time"}) {
    qz_com::ComVariant value;
    EXPECT_EQ(set->GetProperty(key, &value), S_OK);
    texts += value.Text() + L"|";
  }
  // Component-wise order: the first component decides the minimum.
  EXPECT_EQ(texts, L"Vector 2|0 5 1|1.500|2.500|");
  EXPECT_EQ(clone->GetProperties(nullptr), E_POINTER);
}

}  // namespace
}  // namespace qz_dsc
