#include "streams/DataSourceStreamTempl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/DataSourceUnitDecoder.h"
#include "qz_dsc/DataSourceUnitEncoder.h"
#include "qz_dsc/IQZPropertySet.h"
#include "qz_dsc/Ticks.h"
#include "LogCapture.h"
#include "streams/InternalStreamFactory.h"
#include "xml/DataSourceUnitMgrDecoder.h"
#include "xml/DataSourceUnitMgrEncoder.h"

namespace qz_dsc {
namespace {

using dscore_testing::LogCapture;
using qz_com::ComPtr;
using qz_math::Vector2;
using Vector6 = qz_math::VectorN<6>;
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kSecond = kTicksPerSecond;

template <class T>
std::vector<std::pair<std::int64_t, T>> All(DataSourceStreamTempl<T>& s) {
  std::vector<std::pair<std::int64_t, T>> out;
  s.GetSamples(kMin, kMax, out);
  return out;
}

std::vector<std::int64_t> Times(DataSourceStreamTempl<int>& s) {
  std::vector<std::int64_t> t;
  for (const auto& p : All(s)) t.push_back(p.first);
  return t;
}

int ValueAt(DataSourceStreamTempl<int>& s, std::int64_t t) {
  int v = -999;
  s.GetValueAt(t, 0, v);
  return v;
}

// The value range as reported, or nothing when none is reported; both bounds
// start as `before`, so that bounds left unwritten show.
template <class T>
std::optional<std::pair<T, T>> Range(DataSourceStreamTempl<T>& s, const T& before = T{}) {
  T low = before, high = before;
  return s.GetValueRange(low, high) ? std::optional(std::pair(low, high)) : std::nullopt;
}

using Span = std::optional<std::pair<std::int64_t, std::int64_t>>;
template <class T>
Span SpanOf(DataSourceStreamTempl<T>& s) {
  std::int64_t first = 7, last = 7;
  const bool ok = s.GetTimeSpan(first, last);
  EXPECT_TRUE(ok || (first == 0 && last == 0)) << "an empty stream reports the span 0..0";
  return ok ? Span({first, last}) : std::nullopt;
}

Vector6 V6(double first, double last = 0) {
  Vector6 v;
  v[0] = first;
  v[5] = last;
  return v;
}

// A data source list document that streams save into, read back through its
// text, as a saved file would be.
class Document {
 public:
  Document() {
    EXPECT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(m_doc.GetAddressOf()));
    DataSourceUnitMgrEncoder mgr(m_doc.Get());
    EXPECT_TRUE(mgr.CreateDescriptionUnit());
    m_unit = DataSourceUnitEncoder(mgr.GetDescriptionUnit());
    EXPECT_TRUE(m_unit.CreateDataSource(L"Unit", false, L"", L"", L"", false));
  }
  bool Save(DataSourceStreamRoot& stream) {
    DataSourceStreamEncoder encoder;
    EXPECT_TRUE(m_unit.CreateStreamEncoder(encoder));
    return stream.Save(encoder);
  }
  bool SaveSettings(DataSourceStreamRoot& stream) {
    DataSourceStreamEncoder encoder;
    EXPECT_TRUE(m_unit.CreateStreamEncoder(encoder));
    return stream.SaveSettings(encoder);
  }
  std::wstring Xml() {
    std::wstring xml;
    EXPECT_EQ(S_OK, m_doc->get_xml(&xml));
    return xml;
  }
  // Parses the saved text into a fresh document and returns its stream
  // decoders (they keep the document alive).
  std::vector<DataSourceStreamDecoder> Reread() { return Parse(Xml()); }

  static std::vector<DataSourceStreamDecoder> Parse(const std::wstring& xml) {
    ComPtr<IXMLDOMDocument> doc;
    EXPECT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
    VARIANT_BOOL ok = VARIANT_FALSE;
    EXPECT_EQ(S_OK, doc->loadXML(xml, &ok));
    EXPECT_EQ(ok, VARIANT_TRUE);
    ComPtr<IXMLDOMElement> root;
    doc->get_documentElement(root.GetAddressOf());
    DataSourceUnitMgrDecoder mgr(L"");
    EXPECT_TRUE(mgr.Locate(root.Get()));
    std::vector<DataSourceUnitDecoder> units;
    EXPECT_TRUE(mgr.GetUnitDecoders(units));
    if (units.empty()) return {};
    return units[0].GetDataSourceStreamDecoders();
  }

 private:
  ComPtr<IXMLDOMDocument> m_doc;
  DataSourceUnitEncoder m_unit;
};

// ---- recording limits --------------------------------------------------------

TEST(StreamRecording, BoundedStoreDropsTheSmallestKeyAndKeepsItsSize) {
  // Bounded to 3 through the document, as a unit prepares a stream.
  DataSourceStreamTempl<int> s;
  s.Initialize(L"n", true);
  const std::wstring xml = L"<mpeg7:Mpeg7 xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001'><mpeg7:DescriptionUnit "
                           L"xmlns:xsi='urn:mpeg:mpeg7:schema:2001' xsi:type='DataSourceListType'><DataSource "
                           L"name='U'><DataSourceStream xsi:type='DataSourceIntStreamType' name='n' "
                           L"StreamClassID='2' limitCount='3' freezeDelay='0 0'/></DataSource>"
                           L"</mpeg7:DescriptionUnit></mpeg7:Mpeg7>";
  ASSERT_TRUE(s.LoadSettings(Document::Parse(xml)[0]));
  ASSERT_EQ(s.GetLimitCount(), 3u);
  EXPECT_FALSE(s.IsUnbounded());
  EXPECT_EQ(s.GetTimeOrigin(), 0);
  for (std::int64_t t : {10, 20, 30}) EXPECT_TRUE(s.AddSample(t, static_cast<int>(t)));
  EXPECT_TRUE(s.AddSample(5, 5));  // older than all: still inserted, 10 goes
  EXPECT_EQ(Times(s), (std::vector<std::int64_t>{5, 20, 30}));
  EXPECT_TRUE(s.AddSample(20, 200));  // equal key: replaced, nothing dropped
  EXPECT_EQ(Times(s), (std::vector<std::int64_t>{5, 20, 30}));
  EXPECT_EQ(ValueAt(s, 25), 200);
  EXPECT_TRUE(s.AddSample(40, 40));
  EXPECT_EQ(Times(s), (std::vector<std::int64_t>{20, 30, 40}));

  // Recording makes the stream unbounded.
  EXPECT_TRUE(s.StartRecording(0));
  EXPECT_TRUE(s.IsUnbounded());
  for (int t = 50; t < 60; ++t) s.AddSample(t, t);
  EXPECT_EQ(s.GetSampleCount(), 13u);
  // A batch: the ascending run first, then an equal and an older time.
  EXPECT_TRUE(s.AddSamples({{60, 1}, {61, 1}, {61, 2}, {45, 3}}));
  EXPECT_EQ(s.GetSampleCount(), 16u);
  EXPECT_EQ(ValueAt(s, 61), 2);
  EXPECT_EQ(ValueAt(s, 45), 3);
}

TEST(StreamRecording, StopTimePlusFreezeDelayIsTheFirstRefusedTime) {
  DataSourceStreamModifier freeze;  // the only way to set a freeze delay besides the document
  ASSERT_TRUE(freeze.Create(L"s", qz_ds::StreamBasicType_Int));
  ASSERT_EQ(0, freeze.SetAttribute(DataSourceStreamModifier::FreezeDelay, DataSourceStreamVariantDerived<int>(2)));
  DataSourceStreamTempl<int> s;
  s.Initialize(L"s", true);
  ASSERT_EQ(s.ApplyModifier(freeze, 0), DataSourceStreamRoot::kModifierApplied);
  ASSERT_EQ(s.GetFreezeDelay(), 2 * kSecond);
  s.SetStopTime(100);
  const std::int64_t stamp = s.GetLastModified();
  EXPECT_FALSE(s.AddSample(100 + 2 * kSecond, 1));
  EXPECT_EQ(s.GetLastModified(), stamp);  // a refused sample changes nothing
  EXPECT_TRUE(s.AddSample(100 + 2 * kSecond - 1, 1));
  EXPECT_TRUE(s.AddSample(kMin, 2));  // t - freezeDelay clamps, no overflow

  // A batch stops at the first refused sample and keeps those before it.
  DataSourceStreamTempl<int> b;
  b.Initialize(L"b", false);
  b.SetStopTime(30);
  EXPECT_FALSE(b.AddSamples({{10, 1}, {20, 2}, {30, 3}, {5, 4}}));
  EXPECT_EQ(Times(b), (std::vector<std::int64_t>{10, 20}));
  b.SetStopTime(kMin);  // everything refused, even the smallest time
  EXPECT_FALSE(b.AddSample(kMin, 1));
}

// ---- lookup -----------------------------------------------------------------

TEST(StreamLookup, SampleAndHoldWithDefaultAndConstantFlow) {
  DataSourceStreamTempl<int> s;
  s.Initialize(L"s", false);
  s.SetDefaultValue(-1);
  EXPECT_EQ(ValueAt(s, 0), -1);  // empty
  s.AddSamples({{10, 1}, {20, 2}, {30, 3}});
  EXPECT_EQ(ValueAt(s, 9), -1);
  EXPECT_EQ(ValueAt(s, 10), 1);
  EXPECT_EQ(ValueAt(s, 19), 1);
  EXPECT_EQ(ValueAt(s, 20), 2);
  EXPECT_EQ(ValueAt(s, kMax), 3);
  EXPECT_EQ(ValueAt(s, kMin), -1);
  s.SetConstant(true);
  EXPECT_EQ(ValueAt(s, kMin), 3);
  EXPECT_EQ(ValueAt(s, 10), 3);

  // Presentation = key - origin + offset, both ways.
  s.SetConstant(false);
  s.SetTimeOrigin(100);
  s.SetVideoOffset(5);
  EXPECT_EQ(ValueAt(s, 10 - 100 + 5), 1);
  EXPECT_EQ(ValueAt(s, 10 - 100 + 4), -1);
  std::vector<std::pair<std::int64_t, int>> part;
  s.GetSamples(10 - 95, 20 - 95, part);  // both ends included
  EXPECT_EQ(part, (std::vector<std::pair<std::int64_t, int>>{{-85, 1}, {-75, 2}}));
  EXPECT_EQ(SpanOf(s), Span({-85, -65}));
}

TEST(StreamLookup, ExtremeOffsetsClampInsteadOfOverflowing) {
  DataSourceStreamTempl<double> s;
  s.Initialize(L"s", false);
  s.ReplaceSamples(std::map<std::int64_t, double>{{kMin, 1.0}, {0, 2.0}, {kMax, 3.0}});
  for (auto [origin, offset] : {std::pair{kMax, kMin}, std::pair{kMin, kMax}, std::pair{kMax, std::int64_t{-1}}}) {
    s.SetTimeOrigin(origin);
    s.SetVideoOffset(offset);
    EXPECT_EQ(All(s).size(), 3u) << origin << " " << offset;
    const Span span = SpanOf(s);
    ASSERT_TRUE(span.has_value());
    EXPECT_LE(span->first, span->second);
  }
  s.SetTimeOrigin(0);
  s.SetVideoOffset(0);
  double v = 0;
  s.GetValueAt(kMax, 0, v);
  EXPECT_EQ(v, 3.0);
  s.TruncateAfter(kMax);  // the end of time: nothing after it
  EXPECT_EQ(All(s).size(), 3u);
  s.TruncateAfter(1);
  EXPECT_EQ(All(s).size(), 2u);
  s.TruncateAfter(kMin);
  EXPECT_TRUE(All(s).empty());
  EXPECT_EQ(SpanOf(s), std::nullopt);
}

TEST(StreamLookup, PlaybackAndRandomLookupsAgreeWithAnOrderedMap) {
  // The lookup remembers where it answered last; any order of queries must
  // still give the map's answer.
  std::mt19937_64 rng(7);
  std::map<std::int64_t, int> ref;
  for (int i = 0; i < 500; ++i) ref[static_cast<std::int64_t>(rng() % 5000)] = i;
  DataSourceStreamTempl<int> s;
  s.Initialize(L"s", false);
  s.ReplaceSamples(std::map<std::int64_t, int>(ref));
  const auto expected = [&](std::int64_t t) {
    auto it = ref.upper_bound(t);
    return it == ref.begin() ? 0 : std::prev(it)->second;
  };
  for (std::int64_t t = -10; t < 5010; ++t) ASSERT_EQ(ValueAt(s, t), expected(t)) << t;
  for (std::int64_t t = 5010; t > -10; t -= 3) ASSERT_EQ(ValueAt(s, t), expected(t)) << t;
  for (int i = 0; i < 3000; ++i) {
    const auto t = static_cast<std::int64_t>(rng() % 5200) - 100;
    ASSERT_EQ(ValueAt(s, t), expected(t)) << t;
  }
}

// ---- trimming ---------------------------------------------------------------

TEST(StreamTrimming, ContinuousKeepsOldSamplesConstantCarriesItsLastValue) {
  DataSourceStreamTempl<int> s;
  s.Initialize(L"s", false);
  s.AddSamples({{10, 1}, {20, 2}});
  EXPECT_TRUE(s.StartRecording(50));  // every sample before 50: all kept
  EXPECT_EQ(Times(s), (std::vector<std::int64_t>{10 - 50, 20 - 50}));
  EXPECT_EQ(s.GetTimeOrigin(), 50);

  s.SetTimeOrigin(0);
  s.AddSample(60, 6);
  EXPECT_TRUE(s.StartRecording(20));  // some at or after 20: those before go
  EXPECT_EQ(Times(s), (std::vector<std::int64_t>{0, 40}));

  DataSourceStreamTempl<int> c;
  c.Initialize(L"c", false);
  c.SetConstant(true);
  c.AddSamples({{10, 1}, {20, 2}});
  EXPECT_TRUE(c.StartRecording(50));
  EXPECT_EQ(All(c), (std::vector<std::pair<std::int64_t, int>>{{0, 2}}));  // one sample at 50

  // Rebase trims at t - videoOffset and moves the origin there.
  DataSourceStreamTempl<int> r;
  r.Initialize(L"r", false);
  r.AddSamples({{10, 1}, {20, 2}, {30, 3}});
  r.SetVideoOffset(5);
  r.Rebase(25);
  EXPECT_EQ(r.GetTimeOrigin(), 20);
  EXPECT_EQ(r.GetVideoOffset(), 0);
  EXPECT_EQ(Times(r), (std::vector<std::int64_t>{0, 10}));
  r.TruncateAfter(10);  // at or after presentation 10 goes
  EXPECT_EQ(Times(r), (std::vector<std::int64_t>{0}));
}

// ---- value range ------------------------------------------------------------

TEST(StreamRange, DeclaredRangeWinsComputedRangeUsesTheValueOrder) {
  DataSourceStreamTempl<int> i;
  EXPECT_EQ(Range(i, 9), std::pair(0, 0));  // empty: zeros
  i.AddSamples({{1, 4}, {2, -3}, {3, 8}, {4, 0}});
  EXPECT_EQ(Range(i), std::pair(-3, 8));
  i.SetValueRange(5, 2);  // marked set, bounds not taken
  EXPECT_EQ(Range(i, 9), std::pair(0, 0));
  i.SetValueRange(2, 5);
  EXPECT_EQ(Range(i), std::pair(2, 5));

  DataSourceStreamTempl<std::wstring> s;
  s.AddSamples({{1, L"b"}, {2, L"ab"}, {3, L"ba"}, {4, L""}});
  EXPECT_EQ(Range(s), std::pair(std::wstring(), std::wstring(L"ba")));

  DataSourceStreamTempl<Vector2> v;
  v.AddSamples({{1, Vector2(1, 5)}, {2, Vector2(1, -5)}, {3, Vector2(0, 9)}, {4, Vector2(2, -9)}});
  EXPECT_EQ(Range(v), std::pair(Vector2(0, 9), Vector2(2, -9)));  // the first component decides
  v.SetValueRange(Vector2(1, 2), Vector2(1, 1));  // not low <= high
  EXPECT_EQ(Range(v, Vector2(9, 9)), std::pair(Vector2(), Vector2()));

  DataSourceStreamTempl<double> d;
  d.SetValueRange(std::nan(""), 1.0);  // NaN is not <= anything
  EXPECT_EQ(Range(d, 5.0), std::pair(0.0, 0.0));
}

// ---- persistence ------------------------------------------------------------

template <class T>
void ExpectRoundTrip(const std::vector<T>& values, const T& defaultValue, const T& low, const T& high) {
  DataSourceStreamTempl<T> s;
  s.Initialize(L"n <&> \"q\"", false);
  s.SetDefaultValue(defaultValue);
  s.SetValueRange(low, high);
  s.SetValueUnit(L"u\u00e9");
  s.SetVideoOffset(-1'234'567);
  s.SetFirstSampleTime(kMax);
  s.SetConstant(true);
  std::int64_t t = 0;
  for (const T& v : values) s.AddSample(t += 1000 * kTicksPerMillisecond / 10, v);  // all below one second
  Document doc;
  ASSERT_TRUE(doc.Save(s));
  auto decoders = doc.Reread();
  ASSERT_EQ(decoders.size(), 1u);
  DataSourceStreamTempl<T> back;
  ASSERT_TRUE(back.Load(decoders[0]));
  EXPECT_EQ(back.GetName(), s.GetName());
  EXPECT_EQ(back.GetDefaultValue(), defaultValue);
  EXPECT_EQ(Range(back), std::pair(low, high));
  EXPECT_EQ(back.GetValueUnit(), L"u\u00e9");
  EXPECT_EQ(back.GetVideoOffset(), -1'234'567);
  EXPECT_EQ(back.GetFirstSampleTime(), kMax);
  EXPECT_TRUE(back.IsConstant());
  EXPECT_TRUE(back.IsUnbounded());
  auto a = All(s);
  auto b = All(back);
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    EXPECT_EQ(a[i].first, b[i].first);
    if constexpr (std::is_same_v<T, double>) {
      EXPECT_EQ(std::memcmp(&a[i].second, &b[i].second, sizeof(double)), 0) << a[i].second;  // -0.0 too
    } else {
      EXPECT_TRUE(a[i].second == b[i].second) << i;
    }
  }
}

TEST(StreamPersistence, EveryTypeRoundTripsBitExactThroughTheDocument) {
  const double dmax = std::numeric_limits<double>::max();
  ExpectRoundTrip<double>({0.1, -0.0, 1e-300, dmax, -dmax, std::numeric_limits<double>::denorm_min(), 2.2250738585072009e-308,
                           1.0 / 3.0},
                          -0.0, -dmax, dmax);
  ExpectRoundTrip<int>({0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}, 7, -5, 5);
  ExpectRoundTrip<std::wstring>({L"<a href=\"x\">&amp;</a>", L"", L"  blanks  ", L"\U0001F600 \u00e9\U00010348",
                                 L"tab\tline\nret\r"},
                                L"d&", L"a", L"z");
  ExpectRoundTrip<Vector2>({Vector2(0.1, -0.0), Vector2(1e308, -5e-324)}, Vector2(1, 2), Vector2(-1, 0), Vector2(1, 0));
  ExpectRoundTrip<Vector6>({V6(0.1, 1e-300), V6(-0.0, 3)}, V6(4, 4), V6(-1), V6(1));
}

TEST(StreamPersistence, TimesFollowTheTimePairRule) {
  // Below one second a time survives; from one second on, the whole seconds
  // are counted twice when read back (S = 1, M = 1500 reads as 2.5 s).
  DataSourceStreamTempl<int> s;
  s.Initialize(L"t", false);
  s.AddSamples({{0, 0}, {2'500'000, 1}, {9'990'000, 2}, {15'000'000, 3}, {25'000'000, 4}});
  Document doc;
  ASSERT_TRUE(doc.Save(s));
  EXPECT_NE(doc.Xml().find(L"<Value TimeStamp=\"2 2500\">4</Value>"), std::wstring::npos);
  auto decoders = doc.Reread();
  DataSourceStreamTempl<int> back;
  ASSERT_TRUE(back.Load(decoders[0]));
  EXPECT_EQ(Times(back), (std::vector<std::int64_t>{0, 2'500'000, 9'990'000, 25'000'000, 45'000'000}));
}

TEST(StreamPersistence, AttributeOrderAndFirstSampleTimeZeroKeepsEverything) {
  // With a first sample time of 0 the encoder writes nothing for it; that is
  // no failure, and the flow type, unit and samples still follow.
  DataSourceStreamTempl<double> s;
  s.Initialize(L"speed", false);
  s.SetConstant(true);
  s.SetValueUnit(L"m/s");
  s.AddSamples({{0, 0.5}, {1'000'000, 1.5}});
  Document doc;
  ASSERT_TRUE(doc.Save(s));
  EXPECT_NE(doc.Xml().find(L"<DataSourceStream xsi:type=\"DataSourceFloatStreamType\" name=\"speed\" "
                           L"StreamClassID=\"2\" limitCount=\"100\" freezeDelay=\"0 0\" dataVideoOffset64=\"0\" "
                           L"defaultValue=\"0\" flowType=\"2\" valueUnit=\"m/s\">"
                           L"<Value TimeStamp=\"0 0\">0.5</Value><Value TimeStamp=\"0 100\">1.5</Value>"
                           L"</DataSourceStream>"),
            std::wstring::npos)
      << doc.Xml();
  // A range is written only when set; empty texts write nothing.
  DataSourceStreamTempl<std::wstring> r;
  r.Initialize(L"r", false);
  r.SetValueRange(L"", L"");
  ASSERT_TRUE(doc.Save(r));
  EXPECT_EQ(doc.Xml().find(L"lowRange"), std::wstring::npos);
  // The settings are the element head with the limit count and freeze delay.
  Document settings;
  ASSERT_TRUE(settings.SaveSettings(s));
  EXPECT_NE(settings.Xml().find(L"name=\"speed\" StreamClassID=\"2\" limitCount=\"100\" freezeDelay=\"0 0\"/>"),
            std::wstring::npos);
}

TEST(StreamPersistence, TextsTheDocumentCannotCarryRefuseTheSave) {
  struct Case {
    const wchar_t* what;
    std::wstring name, unit, def, value;
  };
  const std::wstring bad(1, static_cast<wchar_t>(0x01));
  const std::wstring fffe(1, static_cast<wchar_t>(0xFFFE));
  const Case cases[] = {
      {L"name", L"a" + bad, L"", L"", L"ok"},
      {L"unit", L"u", fffe, L"", L"ok"},
      {L"default value", L"d", L"", bad, L"ok"},
      {L"sample values", L"v", L"", L"", L"x" + bad},
  };
  for (const Case& c : cases) {
    DataSourceStreamTempl<std::wstring> s;
    s.Initialize(c.name, false);
    s.SetValueUnit(c.unit.c_str());
    s.SetDefaultValue(c.def);
    s.AddSample(1, c.value);
    Document doc;
    LogCapture log;
    EXPECT_FALSE(doc.Save(s)) << c.what;
    EXPECT_EQ(doc.Xml().find(L"DataSourceStream"), std::wstring::npos) << c.what;  // nothing written
    const auto lines = log.Messages();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find(L"\"" + c.name + L"\""), std::wstring::npos);
    EXPECT_NE(lines[0].find(c.what), std::wstring::npos);
    EXPECT_EQ(Document::Parse(doc.Xml()).size(), 0u);  // the document still parses
  }
  DataSourceStreamTempl<std::wstring> range;
  range.Initialize(L"range", false);
  range.SetValueRange(L"a", L"b" + bad);
  Document doc;
  LogCapture log;
  EXPECT_FALSE(doc.Save(range));
}

std::wstring StreamXml(const std::wstring& attributes, const std::wstring& values) {
  return L"<mpeg7:Mpeg7 xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001'><mpeg7:DescriptionUnit "
         L"xmlns:xsi='urn:mpeg:mpeg7:schema:2001' xsi:type='DataSourceListType'><DataSource name='U'>"
         L"<DataSourceStream xsi:type='DataSourceVector2StreamType' " +
         attributes + L">" + values + L"</DataSourceStream></DataSource></mpeg7:DescriptionUnit></mpeg7:Mpeg7>";
}

TEST(StreamPersistence, LoadRulesForBadAndPartialInput) {
  DataSourceStreamTempl<Vector2> s;
  LogCapture log;
  // Class identifier other than 2, or missing: refused.
  EXPECT_FALSE(s.Load(Document::Parse(StreamXml(L"name='p' StreamClassID='1'", L""))[0]));
  EXPECT_FALSE(s.Load(Document::Parse(StreamXml(L"name='p'", L""))[0]));
  // Values that do not convert are skipped, the others load; a range or a
  // default that does not convert is not applied; flowType 3 is continuous.
  auto d = Document::Parse(StreamXml(
      L"name='p' StreamClassID='2' limitCount='1' freezeDelay='0 10' lowRange='0 0' highRange='1' "
      L"defaultValue='x' flowType='3' dataVideoOffset64='-7' firstSampleTime='9'",
      L"<Value TimeStamp='0 1'>1 2</Value><Value TimeStamp='0 2'>nope</Value><Value>3 4</Value>"
      L"<Value TimeStamp='0 3'>5 6</Value><Value TimeStamp='0 3'>7 8</Value>"));
  ASSERT_TRUE(s.Load(d[0]));
  EXPECT_EQ(All(s), (std::vector<std::pair<std::int64_t, Vector2>>{{10'000 - 7, Vector2(1, 2)},
                                                                   {30'000 - 7, Vector2(7, 8)}}));
  const auto range = Range(s, Vector2(9, 9));  // computed: the declared one did not convert
  ASSERT_TRUE(range.has_value());
  EXPECT_EQ(range->first, Vector2(1, 2));
  EXPECT_EQ(s.GetDefaultValue(), Vector2());
  EXPECT_FALSE(s.IsConstant());
  EXPECT_EQ(s.GetFreezeDelay(), 100'000);
  EXPECT_EQ(s.GetLimitCount(), 1u);  // read while empty, but Load leaves the stream unbounded
  EXPECT_EQ(s.GetFirstSampleTime(), 9);

  // LoadContent merges into a stream of the same name, refuses another name.
  EXPECT_FALSE(s.LoadContent(Document::Parse(StreamXml(L"name='q' StreamClassID='2'", L""))[0], 0));
  ASSERT_TRUE(s.LoadContent(
      Document::Parse(StreamXml(L"name='p' StreamClassID='2' limitCount='5' freezeDelay='0 0'",
                                L"<Value TimeStamp='0 3'>0 0</Value><Value TimeStamp='0 4'>1 1</Value>"))[0],
      0));
  EXPECT_EQ(All(s).size(), 3u);
  EXPECT_EQ(s.GetLimitCount(), 1u);  // not empty: the limit stays

  // LoadSettings needs name, class id and both freeze attributes, else
  // changes nothing.
  EXPECT_FALSE(s.LoadSettings(Document::Parse(StreamXml(L"name='z' StreamClassID='2' limitCount='4'", L""))[0]));
  EXPECT_EQ(s.GetName(), L"p");
  EXPECT_EQ(All(s).size(), 3u);
}

TEST(StreamPersistence, BundledExampleLoadsThroughTheStreams) {
  ComPtr<IXMLDOMDocument> doc;
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  VARIANT_BOOL ok = VARIANT_FALSE;
  const std::string path = DSCORE_EXAMPLES_DIR "/datasource_list.xml";
  ASSERT_EQ(S_OK, doc->load(std::wstring(path.begin(), path.end()), &ok));
  ComPtr<IXMLDOMElement> root;
  doc->get_documentElement(root.GetAddressOf());
  DataSourceUnitMgrDecoder mgr(L"");
  ASSERT_TRUE(mgr.Locate(root.Get()));
  std::vector<DataSourceUnitDecoder> units;
  ASSERT_TRUE(mgr.GetUnitDecoders(units));
  std::size_t loaded = 0;
  for (const auto& unit : units) {
    if (unit.IsDataSourceExternal()) continue;
    for (const auto& d : unit.GetDataSourceStreamDecoders()) {
      qz_ds::StreamBasicType type{};
      std::wstring typeName;
      if (!d.GetType(typeName) || !FindStreamTypeByXmlName(typeName, type)) continue;
      auto stream = CreateInternalStream(type);
      ASSERT_NE(stream, nullptr);
      ASSERT_TRUE(stream->Load(d)) << typeName;
      ++loaded;
    }
  }
  EXPECT_EQ(loaded, 7u);
}

// ---- snapshots ------------------------------------------------------------------

TEST(StreamSnapshots, ApplyModifierResultsAndEffects) {
  DataSourceStreamModifier m;
  ASSERT_TRUE(m.Create(L"speed", qz_ds::StreamBasicType_Float));
  ASSERT_EQ(0, m.SetAttribute(DataSourceStreamModifier::LimitCount, DataSourceStreamVariantDerived<int>(2)));
  ASSERT_EQ(0, m.SetAttribute(DataSourceStreamModifier::FlowType, DataSourceStreamVariantDerived<int>(1)));
  ASSERT_EQ(0, m.SetAttribute(DataSourceStreamModifier::InterpolationType, DataSourceStreamVariantDerived<int>(1)));
  ASSERT_EQ(0, m.SetAttribute(DataSourceStreamModifier::HighRange, DataSourceStreamVariantDerived<double>(9.5)));
  ASSERT_EQ(0, m.SetAttribute(DataSourceStreamModifier::ValueUnit, DataSourceStreamVariantDerived<std::wstring>(L"m")));
  auto buffer = m.GetInternalBuffer();
  for (auto [t, v] : {std::pair<std::int64_t, double>{0, 1.0}, {30, 3.0}, {20, 2.0}}) {
    ASSERT_EQ(0, buffer->AddSample(t, DataSourceStreamVariantDerived<double>(v)));
  }

  DataSourceStreamTempl<double> other;
  other.Initialize(L"speedo", false);
  EXPECT_EQ(other.ApplyModifier(m, 5), DataSourceStreamRoot::kModifierOtherStream);
  EXPECT_TRUE(All(other).empty());
  DataSourceStreamTempl<int> wrongType;
  wrongType.Initialize(L"speed", false);
  EXPECT_EQ(wrongType.ApplyModifier(m, 5), DataSourceStreamRoot::kModifierWrongType);
  EXPECT_EQ(wrongType.GetValueUnit(), L"");

  DataSourceStreamTempl<double> s;
  s.Initialize(L"speed", false);
  const std::int64_t before = s.GetLastModified();
  EXPECT_EQ(s.ApplyModifier(m, 5), DataSourceStreamRoot::kModifierApplied);
  EXPECT_GE(s.GetLastModified(), before);
  EXPECT_EQ(s.GetLimitCount(), 2u);
  EXPECT_EQ(s.GetInterpolation(), 0u);
  EXPECT_TRUE(s.IsConstant());
  EXPECT_EQ(s.GetValueUnit(), L"m");
  // Time 0 became 5; the bounded store of 2 kept the two newest.
  EXPECT_EQ(All(s), (std::vector<std::pair<std::int64_t, double>>{{20, 2.0}, {30, 3.0}}));
  EXPECT_EQ(Range(s, -1.0), std::pair(0.0, 9.5));  // only the high bound came: low stays 0
}

TEST(StreamSnapshots, CloneIsDeepAndReplaceSamplesTakesTheMap) {
  DataSourceStreamTempl<std::wstring> s;
  s.Initialize(L"s", false);
  s.SetValueUnit(L"u");
  s.SetVideoOffset(3);
  s.AddSamples({{1, L"a"}, {2, L"b"}});
  const std::int64_t stamp = s.GetLastModified();
  auto clone = std::dynamic_pointer_cast<DataSourceStreamTempl<std::wstring>>(s.Clone());
  ASSERT_NE(clone, nullptr);
  s.AddSample(3, L"c");
  s.SetValueUnit(L"v");
  EXPECT_EQ(All(*clone).size(), 2u);
  EXPECT_EQ(clone->GetValueUnit(), L"u");
  EXPECT_EQ(clone->GetVideoOffset(), 3);
  EXPECT_EQ(clone->GetName(), L"s");
  EXPECT_EQ(clone->GetLastModified(), stamp);

  std::map<std::int64_t, std::wstring> samples;
  for (int i = 0; i < 300; ++i) samples[i] = std::to_wstring(i);
  s.ReplaceSamples(std::move(samples));
  EXPECT_TRUE(samples.empty());
  EXPECT_EQ(s.GetSampleCount(), 300u);  // the limit of 100 is not applied
  EXPECT_EQ(All(*clone).size(), 2u);
}

// ---- factory and properties ---------------------------------------------------

TEST(StreamFactory, InternalStreamsForTheFiveTypesOnly) {
  for (int n = -1; n <= 13; ++n) {
    const auto type = static_cast<qz_ds::StreamBasicType>(n);
    auto stream = CreateInternalStream(type);
    ASSERT_EQ(stream != nullptr, HasInternalStreamClass(type)) << n;
    if (!stream) continue;
    auto base = std::dynamic_pointer_cast<qz_ds::DataSourceStreamBase>(stream);
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(base->GetBasicType(), type);
    EXPECT_EQ(base->GetImplementationKind(), kInternalStreamKind);
    EXPECT_FALSE(stream->IsReservedFlagSet());
  }
  EXPECT_NE(std::dynamic_pointer_cast<DataSourceStreamExtended<Vector6>>(
                CreateInternalStream(qz_ds::StreamBasicType_Vector6)),
            nullptr);
}

TEST(StreamProperties, TheSetDescribesTheStream) {
  DataSourceStreamTempl<int> s;
  s.Initialize(L"gear", false);
  EXPECT_EQ(s.GetProperties(nullptr), E_POINTER);
  s.AddSamples({{kSecond, 4}, {3 * kSecond, 2}});
  IQZPropertySet* set = nullptr;
  ASSERT_EQ(s.GetProperties(&set), S_OK);
  ASSERT_NE(set, nullptr);
  UINT count = 0;
  set->GetPropertyCount(&count);
  EXPECT_EQ(count, 13u);
  VARIANT v;
  VariantInit(&v);
  ASSERT_EQ(set->GetProperty(L"MaxVal", &v), S_OK);
  EXPECT_EQ(v.vt, VT_I4);
  EXPECT_EQ(v.lVal, 4);
  VariantClear(&v);
  set->Release();
}

}  // namespace
}  // namespace qz_dsc
