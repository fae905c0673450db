#include "streams/StreamPropertyBuilder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "qz_com/ComPtr.h"
#include "qz_com/ComVariant.h"
#include "qz_math/Vector.h"
#include "qz_ovlib/qz_ovlib.h"
#include "streams/StreamValueText.h"

namespace qz_dsc {
namespace {

std::wstring TakeBstr(BSTR b) {
  std::wstring s(b, SysStringLen(b));
  SysFreeString(b);
  return s;
}

// "key|label|value" per entry, the value written with its variant type.
template <class T>
std::vector<std::wstring> Build(const StreamPropertyFacts<T>& facts) {
  qz_com::ComPtr<IQZPropertySet> set;
  EXPECT_EQ(BuildStreamProperties(facts, set.GetAddressOf()), S_OK);
  std::vector<std::wstring> rows;
  UINT count = 0;
  if (!set || set->GetPropertyCount(&count) != S_OK) return rows;
  for (UINT i = 0; i < count; ++i) {
    BSTR b = nullptr;
    EXPECT_EQ(set->GetPropertyName(i, &b), S_OK);
    const std::wstring key = TakeBstr(b);
    qz_com::ComVariant v;
    EXPECT_EQ(set->GetProperty(key.c_str(), &v), S_OK);
    EXPECT_EQ(set->GetPropertyText(key.c_str(), &b), S_OK);
    std::wstring value = v.vt == VT_I4    ? L"I4 " + std::to_wstring(v.lVal)
                         : v.vt == VT_R8  ? L"R8 " + ValueToText(v.dblVal)
                         : v.vt == VT_BSTR ? L"'" + v.Text() + L"'"
                                          : L"EMPTY" + std::to_wstring(v.vt);
    rows.push_back(key + L"|" + TakeBstr(b) + L"|" + value);
  }
  return rows;
}

TEST(StreamPropertyBuilder, EntriesInOrderWithLabelsAndTypedValues) {
  const StreamPropertyFacts<double> facts{
      .name = L"speed", .valueUnit = L"m/s", .lowRange = -1.5, .highRange = 0.1, .constant = true,
      .valueRangeOk = true, .minValue = -0.25, .maxValue = 3.0, .sampleCount = 42, .videoOffset = -15'000'000,
      .firstSampleTime = 651'234'567, .timeSpanOk = true, .startTime = 1, .endTime = 36'000'000'000};
  const std::vector<std::wstring> expected = {
      L"Name|Name|'speed'",
      L"Unit|Unit Name|'m/s'",
      L"DataType|Data type|'double'",
      L"LowRange|Low range|R8 -1.5",
      L"HighRange|High range|R8 0.1",
      L"FlowType|Stream type|'Constant'",
      L"MinVal|Min. data value|R8 -0.25",
      L"MaxVal|Max. data value|R8 3",
      L"DataCount|Sample count|I4 42",
      L"Video Offset|Video offset|'-1.500'",
      L"First Sample Time|First sample time|'1:05.123'",
      L"Start Time|Start time|'0.000'",
      L"End Time|End time|'1:00:00.000'",
  };
  EXPECT_EQ(Build(facts), expected);
}

TEST(StreamPropertyBuilder, UndefinedFirstTimeFailedQueriesAndSaturatedCount) {
  StreamPropertyFacts<std::int32_t> facts;
  facts.lowRange = -3;
  facts.minValue = 5;  // not shown: the range query failed
  facts.sampleCount = static_cast<std::size_t>(INT32_MAX) + 10;
  const std::vector<std::wstring> rows = Build(facts);
  ASSERT_EQ(rows.size(), 13u);
  EXPECT_EQ(rows[2], L"DataType|Data type|'integer'");
  EXPECT_EQ(rows[3], L"LowRange|Low range|I4 -3");
  EXPECT_EQ(rows[5], L"FlowType|Stream type|'Continuous'");
  EXPECT_EQ(rows[6], L"MinVal|Min. data value|EMPTY0");
  EXPECT_EQ(rows[8], L"DataCount|Sample count|I4 2147483647");
  EXPECT_EQ(rows[10], L"First Sample Time|First sample time|'Undefined'");
  EXPECT_EQ(rows[11], L"Start Time|Start time|EMPTY0");
  EXPECT_EQ(rows[12], L"End Time|End time|EMPTY0");
}

TEST(StreamPropertyBuilder, TextValuesOfVectorsStringsAndSkeletons) {
  StreamPropertyFacts<qz_math::Vector3> v3;
  v3.lowRange = qz_math::Vector3(0.1, -0.0, 2);
  const std::vector<std::wstring> rows = Build(v3);
  EXPECT_EQ(rows[2], L"DataType|Data type|'Vector 2'");  // the word hosts expect for Vector3
  EXPECT_EQ(rows[3], L"LowRange|Low range|'0.1 -0 2'");
  StreamPropertyFacts<std::wstring> text;
  text.highRange = L"zz";
  EXPECT_EQ(Build(text)[4], L"HighRange|High range|'zz'");
  StreamPropertyFacts<qz_ovlib::PersonSkeletonData> skeleton;
  skeleton.valueRangeOk = true;
  EXPECT_EQ(Build(skeleton)[6], L"MinVal|Min. data value|''");
  EXPECT_EQ(BuildStreamProperties(StreamPropertyFacts<double>{}, nullptr), E_POINTER);
}

}  // namespace
}  // namespace qz_dsc
