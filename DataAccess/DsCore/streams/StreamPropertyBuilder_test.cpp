#include "streams/StreamPropertyBuilder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "qz_com/ComPtr.h"
#include "qz_com/ComVariant.h"
#include "qz_math/Vector.h"
#include "qz_ovlib/qz_ovlib.h"

namespace qz_dsc {
namespace {

using qz_com::ComPtr;
using qz_com::ComVariant;

struct Row {
  std::wstring key;
  ComVariant value;
  std::wstring text;
};

std::wstring TakeBstr(BSTR b) {
  std::wstring s(b, SysStringLen(b));
  SysFreeString(b);
  return s;
}

template <class T>
std::vector<Row> Build(const StreamPropertyFacts<T>& facts) {
  ComPtr<IQZPropertySet> set;
  EXPECT_EQ(BuildStreamProperties(facts, set.GetAddressOf()), S_OK);
  std::vector<Row> rows;
  if (!set) return rows;
  UINT count = 0;
  EXPECT_EQ(set->GetPropertyCount(&count), S_OK);
  for (UINT i = 0; i < count; ++i) {
    Row row;
    BSTR b = nullptr;
    EXPECT_EQ(set->GetPropertyName(i, &b), S_OK);
    row.key = TakeBstr(b);
    EXPECT_EQ(set->GetProperty(row.key.c_str(), &row.value), S_OK);
    EXPECT_EQ(set->GetPropertyText(row.key.c_str(), &b), S_OK);
    row.text = TakeBstr(b);
    rows.push_back(std::move(row));
  }
  return rows;
}

TEST(StreamPropertyBuilder, DoubleStreamEntriesInOrderWithLabelsAndValues) {
  StreamPropertyFacts<double> facts;
  facts.name = L"speed";
  facts.valueUnit = L"m/s";
  facts.lowRange = -1.5;
  facts.highRange = 0.1;
  facts.constant = true;
  facts.valueRangeOk = true;
  facts.minValue = -0.25;
  facts.maxValue = 3.0;
  facts.sampleCount = 42;
  facts.videoOffset = -15'000'000;
  facts.firstSampleTime = 651'234'567;  // 1:05.123 and a fraction of a millisecond
  facts.timeSpanOk = true;
  facts.startTime = 1;
  facts.endTime = 36'000'000'000;
  const std::vector<Row> rows = Build(facts);
  ASSERT_EQ(rows.size(), 13u);

  struct Expected {
    const wchar_t* key;
    const wchar_t* label;
    VARTYPE vt;
  };
  const Expected expected[] = {
      {L"Name", L"Name", VT_BSTR},
      {L"Unit", L"Unit Name", VT_BSTR},
      {L"DataType", L"Data type", VT_BSTR},
      {L"LowRange", L"Low range", VT_R8},
      {L"HighRange", L"High range", VT_R8},
      {L"FlowType", L"Stream type", VT_BSTR},
      {L"MinVal", L"Min. data value", VT_R8},
      {L"MaxVal", L"Max. data value", VT_R8},
      {L"DataCount", L"Sample count", VT_I4},
      {L"Video Offset", L"Video offset", VT_BSTR},
      {L"First Sample Time", L"First sample time", VT_BSTR},
      {L"Start Time", L"Start time", VT_BSTR},
      {L"End Time", L"End time", VT_BSTR},
  };
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].key, expected[i].key);
    EXPECT_EQ(rows[i].text, expected[i].label) << expected[i].key;
    EXPECT_EQ(rows[i].value.vt, expected[i].vt) << expected[i].key;
  }
  EXPECT_EQ(rows[0].value.Text(), L"speed");
  EXPECT_EQ(rows[1].value.Text(), L"m/s");
  EXPECT_EQ(rows[2].value.Text(), L"double");
  EXPECT_EQ(rows[3].value.dblVal, -1.5);
  EXPECT_EQ(rows[4].value.dblVal, 0.1);
  EXPECT_EQ(rows[5].value.Text(), L"Constant");
  EXPECT_EQ(rows[6].value.dblVal, -0.25);
  EXPECT_EQ(rows[7].value.dblVal, 3.0);
  EXPECT_EQ(rows[8].value.lVal, 42);
  EXPECT_EQ(rows[9].value.Text(), L"-1.500");
  EXPECT_EQ(rows[10].value.Text(), L"1:05.123");
  EXPECT_EQ(rows[11].value.Text(), L"0.000");
  EXPECT_EQ(rows[12].value.Text(), L"1:00:00.000");
}

TEST(StreamPropertyBuilder, UndefinedFirstSampleTimeAndFailedQueries) {
  StreamPropertyFacts<std::int32_t> facts;
  facts.lowRange = -3;
  facts.highRange = 7;
  facts.minValue = 5;  // ignored: the range query failed
  facts.sampleCount = static_cast<std::size_t>(INT32_MAX) + 10;
  const std::vector<Row> rows = Build(facts);
  ASSERT_EQ(rows.size(), 13u);
  EXPECT_EQ(rows[2].value.Text(), L"integer");
  EXPECT_EQ(rows[3].value.vt, VT_I4);
  EXPECT_EQ(rows[3].value.lVal, -3);
  EXPECT_EQ(rows[4].value.lVal, 7);
  EXPECT_EQ(rows[5].value.Text(), L"Continuous");
  EXPECT_EQ(rows[6].value.vt, VT_EMPTY);
  EXPECT_EQ(rows[7].value.vt, VT_EMPTY);
  EXPECT_EQ(rows[8].value.lVal, INT32_MAX);
  EXPECT_EQ(rows[9].value.Text(), L"0.000");
  EXPECT_EQ(rows[10].value.Text(), L"Undefined");
  EXPECT_EQ(rows[11].value.vt, VT_EMPTY);
  EXPECT_EQ(rows[12].value.vt, VT_EMPTY);
}

TEST(StreamPropertyBuilder, TypeWordsAndTextValuesOfTheOtherTypes) {
  StreamPropertyFacts<qz_math::Vector3> v3;
  v3.lowRange = qz_math::Vector3(0.1, -0.0, 2);
  v3.valueRangeOk = true;
  v3.maxValue = qz_math::Vector3(1, 2, 3);
  std::vector<Row> rows = Build(v3);
  ASSERT_EQ(rows.size(), 13u);
  EXPECT_EQ(rows[2].value.Text(), L"Vector 2");
  EXPECT_EQ(rows[3].value.Text(), L"0.1 -0 2");
  EXPECT_EQ(rows[7].value.Text(), L"1 2 3");

  StreamPropertyFacts<qz_math::VectorN<6>> v6;
  rows = Build(v6);
  EXPECT_EQ(rows[2].value.Text(), L"Vector 6");
  EXPECT_EQ(rows[4].value.Text(), L"0 0 0 0 0 0");

  StreamPropertyFacts<std::wstring> text;
  text.highRange = L"zz";
  rows = Build(text);
  EXPECT_EQ(rows[2].value.Text(), L"none");
  EXPECT_EQ(rows[4].value.vt, VT_BSTR);
  EXPECT_EQ(rows[4].value.Text(), L"zz");

  StreamPropertyFacts<qz_ovlib::PersonSkeletonData> skeleton;
  skeleton.valueRangeOk = true;
  rows = Build(skeleton);
  EXPECT_EQ(rows[2].value.Text(), L"none");
  EXPECT_EQ(rows[6].value.vt, VT_BSTR);
  EXPECT_EQ(rows[6].value.Text(), L"");

  EXPECT_STREQ(StreamTypeWord<qz_math::Vector2>(), L"Vector 2");
}

TEST(StreamPropertyBuilder, NullOutputIsRefused) {
  EXPECT_EQ(BuildStreamProperties(StreamPropertyFacts<double>{}, nullptr), E_POINTER);
}

}  // namespace
}  // namespace qz_dsc
