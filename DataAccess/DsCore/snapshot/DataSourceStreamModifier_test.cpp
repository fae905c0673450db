#include "qz_dsc/DataSourceStreamModifier.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/StreamModifierRawBuffer.h"

namespace qz_dsc {
namespace {

using Bytes = std::vector<unsigned char>;
using Modifier = DataSourceStreamModifier;
using IntVariant = DataSourceStreamVariantDerived<int>;
using TextVariant = DataSourceStreamVariantDerived<std::wstring>;
using DoubleVariant = DataSourceStreamVariantDerived<double>;
constexpr int kSet = Modifier::kAttributeSet;
constexpr int kWrongType = Modifier::kAttributeWrongType;
constexpr int kUnknown = Modifier::kAttributeUnknown;
constexpr int kBadValue = Modifier::kAttributeBadValue;

Bytes Written(const BasicBinarySerializer& s) {
  return Bytes(s.GetBuffer(), s.GetBuffer() + s.GetLength());
}

int ReadInto(Modifier& modifier, Bytes bytes) {
  BasicBinaryDeserializer d(bytes.data(), static_cast<std::int64_t>(bytes.size()), false);
  return modifier.DeserializeFrom(d);
}

// Every header field, compared in one go.
auto Fields(const Modifier& m) {
  return std::tuple(m.GetId(), m.GetType(), m.GetFlowType(), m.GetLimitCount(), m.GetFreezeDelay(),
                    m.GetInterpolationType(), m.GetValueUnit(), m.GetTrailingAttribute());
}

TEST(DataSourceStreamModifier, EmptyIntRecordLayout) {
  Modifier modifier;
  ASSERT_TRUE(modifier.Create(L"s", qz_ds::StreamBasicType_Int));
  BasicBinarySerializer s(256);
  ASSERT_EQ(modifier.SerializeTo(s), 0);
  const Bytes expected = {
      1, 0, 0, 0, 's', 0,  // id
      0, 0, 0, 0,          // reserved
      2, 0, 0, 0,          // type
      0, 0, 0, 0,          // flow type
      0, 0, 0, 0,          // limit count
      0, 0, 0, 0,          // freeze delay
      0, 0, 0, 0,          // interpolation type
      0, 0, 0, 0,          // value unit ""
      0, 0, 0, 0,          // trailing attribute
      0, 0, 0, 0,          // buffer flags
      0, 0, 0, 0,          // sample count
  };
  ASSERT_EQ(expected.size(), 46u);
  EXPECT_EQ(Written(s), expected);
}

TEST(DataSourceStreamModifier, NeedsABufferToBeWritten) {
  Modifier modifier;
  BasicBinarySerializer s(256);
  EXPECT_EQ(modifier.SerializeTo(s), -1);
  EXPECT_EQ(s.GetLength(), 0u);

  ASSERT_TRUE(modifier.Create(L"s", qz_ds::StreamBasicType_Float));
  BasicBinarySerializer tooSmall(40);
  EXPECT_EQ(modifier.SerializeTo(tooSmall), -1);
}

TEST(DataSourceStreamModifier, CreateOnlyForTypesWithABuffer) {
  Modifier modifier;
  ASSERT_TRUE(modifier.Create(L"v", qz_ds::StreamBasicType_Vector6));
  EXPECT_EQ(std::pair(modifier.GetId(), modifier.GetType()),
            std::pair(std::wstring(L"v"), qz_ds::StreamBasicType_Vector6));
  ASSERT_EQ(modifier.SetAttribute(Modifier::LimitCount, IntVariant(5)), kSet);

  EXPECT_FALSE(modifier.Create(L"w", qz_ds::StreamBasicType_Vector3));
  EXPECT_EQ(std::pair(modifier.GetId(), modifier.GetType()), std::pair(std::wstring(), qz_ds::StreamBasicType_None));
  EXPECT_EQ(modifier.GetInternalBuffer(), nullptr);
  EXPECT_EQ(modifier.GetLimitCount(), 5);  // attributes survive a new Create

  ASSERT_TRUE(modifier.Create(L"x", qz_ds::StreamBasicType_Int));
  EXPECT_TRUE(modifier.Create(modifier.GetId(), qz_ds::StreamBasicType_String));
  EXPECT_EQ(modifier.GetId(), L"x");
}

TEST(DataSourceStreamModifier, SetAttributeResultCodes) {
  Modifier modifier;
  // Value attributes need a buffer.
  EXPECT_EQ(modifier.SetAttribute(Modifier::DefaultValue, IntVariant(1)), kUnknown);
  EXPECT_EQ(modifier.SetAttribute(Modifier::LowRange, IntVariant(1)), kUnknown);
  EXPECT_EQ(modifier.SetAttribute(Modifier::HighRange, IntVariant(1)), kUnknown);
  ASSERT_TRUE(modifier.Create(L"s", qz_ds::StreamBasicType_Int));

  EXPECT_EQ(modifier.SetAttribute(Modifier::FlowType, IntVariant(1)), kSet);
  EXPECT_EQ(modifier.SetAttribute(Modifier::FlowType, IntVariant(2)), kBadValue);
  EXPECT_EQ(modifier.SetAttribute(Modifier::FlowType, IntVariant(-1)), kBadValue);
  EXPECT_EQ(modifier.SetAttribute(Modifier::FlowType, DoubleVariant(1.0)), kWrongType);
  EXPECT_EQ(modifier.GetFlowType(), Modifier::StreamFlowType_Constant);
  EXPECT_EQ(modifier.SetAttribute(Modifier::InterpolationType, IntVariant(1)), kSet);
  EXPECT_EQ(modifier.SetAttribute(Modifier::InterpolationType, IntVariant(5)), kBadValue);
  EXPECT_EQ(modifier.GetInterpolationType(), Modifier::StreamInterpolationType_1);

  EXPECT_EQ(modifier.SetAttribute(Modifier::LimitCount, IntVariant(-7)), kSet);
  EXPECT_EQ(modifier.SetAttribute(Modifier::FreezeDelay, IntVariant(3)), kSet);
  EXPECT_EQ(modifier.SetAttribute(Modifier::TrailingAttribute, IntVariant(9)), kSet);
  EXPECT_EQ(modifier.SetAttribute(Modifier::ValueUnit, TextVariant(L"m")), kSet);
  EXPECT_EQ(modifier.SetAttribute(Modifier::ValueUnit, IntVariant(1)), kWrongType);
  EXPECT_EQ(modifier.SetAttribute(Modifier::FreezeDelay, TextVariant(L"1")), kWrongType);
  EXPECT_EQ(std::tuple(modifier.GetLimitCount(), modifier.GetFreezeDelay(), modifier.GetTrailingAttribute(),
                       modifier.GetValueUnit()),
            std::tuple(-7, 3, 9, std::wstring(L"m")));

  EXPECT_EQ(modifier.SetAttribute(Modifier::HighRange, IntVariant(4)), kSet);
  EXPECT_EQ(modifier.SetAttribute(Modifier::LowRange, DoubleVariant(4)), kWrongType);
  auto buffer = std::dynamic_pointer_cast<StreamModifierRawBuffer<int>>(modifier.GetInternalBuffer());
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(std::pair(buffer->GetFlags(), buffer->GetHighRange()), std::pair(4, 4));

  for (int id : {0, 3, 5, 512, -1}) {
    EXPECT_EQ(modifier.SetAttribute(static_cast<Modifier::StreamAttributeId>(id), IntVariant(0)), kUnknown) << id;
  }
}

TEST(DataSourceStreamModifier, RoundTripKeepsEveryField) {
  Modifier modifier;
  ASSERT_TRUE(modifier.Create(L"speed", qz_ds::StreamBasicType_Float));
  for (const auto& [id, value] : std::initializer_list<std::pair<Modifier::StreamAttributeId, int>>{
           {Modifier::FlowType, 1}, {Modifier::LimitCount, 50}, {Modifier::FreezeDelay, 2},
           {Modifier::InterpolationType, 1}, {Modifier::TrailingAttribute, -3}}) {
    EXPECT_EQ(modifier.SetAttribute(id, IntVariant(value)), kSet) << id;
  }
  EXPECT_EQ(modifier.SetAttribute(Modifier::ValueUnit, TextVariant(L"km/h")), kSet);
  EXPECT_EQ(modifier.SetAttribute(Modifier::LowRange, DoubleVariant(-1.5)), kSet);
  ASSERT_EQ(modifier.GetInternalBuffer()->AddSample(1'230'000, DoubleVariant(0.25)), 0);
  BasicBinarySerializer s(512);
  ASSERT_EQ(modifier.SerializeTo(s), 0);

  Modifier back;
  ASSERT_EQ(ReadInto(back, Written(s)), 0);
  EXPECT_EQ(Fields(back), std::tuple(std::wstring(L"speed"), qz_ds::StreamBasicType_Float,
                                     Modifier::StreamFlowType_Constant, 50, 2, Modifier::StreamInterpolationType_1,
                                     std::wstring(L"km/h"), -3));
  auto buffer = std::dynamic_pointer_cast<StreamModifierRawBuffer<double>>(back.GetInternalBuffer());
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(std::pair(buffer->GetFlags(), buffer->GetLowRange()), std::pair(2, -1.5));
  EXPECT_EQ(buffer->GetSamples(), (std::vector<std::pair<std::int64_t, double>>{{1'230'000, 0.25}}));

  back.ClearData();
  EXPECT_EQ(std::pair(buffer->GetCount(), buffer->GetFlags()), std::pair(0, 2));
}

// A record header with the given type, flow type and empty unit.
Bytes Header(int type, int flowType) {
  BasicBinarySerializer s(256);
  s << std::wstring(L"s") << 0 << type << flowType << 0 << 0 << 0 << std::wstring() << 0;
  return Written(s);
}

TEST(DataSourceStreamModifier, ReadingStoresFieldsUncheckedAndNeedsABufferType) {
  Bytes vector3 = Header(6, 0);
  vector3.resize(vector3.size() + 8, 0);
  Modifier modifier;
  ASSERT_TRUE(modifier.Create(L"old", qz_ds::StreamBasicType_Int));
  EXPECT_EQ(ReadInto(modifier, vector3), -1);
  EXPECT_EQ(std::pair(modifier.GetId(), modifier.GetType()),
            std::pair(std::wstring(L"s"), qz_ds::StreamBasicType_Vector3));
  EXPECT_EQ(modifier.GetInternalBuffer(), nullptr);

  Bytes odd = Header(2, 7);
  odd.resize(odd.size() + 8, 0);
  EXPECT_EQ(ReadInto(modifier, odd), 0);
  EXPECT_EQ(static_cast<int>(modifier.GetFlowType()), 7);

  // A header cut short leaves id and type as they were.
  Bytes cut = Header(3, 0);
  cut.resize(9);
  EXPECT_EQ(ReadInto(modifier, cut), -1);
  EXPECT_EQ(modifier.GetType(), qz_ds::StreamBasicType_Int);
}

}  // namespace
}  // namespace qz_dsc
