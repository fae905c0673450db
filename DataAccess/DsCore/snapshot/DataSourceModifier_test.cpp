#include "qz_dsc/DataSourceModifier.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/StreamModifierRawBuffer.h"

namespace qz_dsc {
namespace {

using Bytes = std::vector<unsigned char>;
using StreamModifier = DataSourceStreamModifier;

Bytes Write(const DataSourceModifier& modifier) {
  BasicBinarySerializer s(8192);
  EXPECT_EQ(modifier.SerializeTo(s), 0);
  return Bytes(s.GetBuffer(), s.GetBuffer() + s.GetLength());
}

int ReadInto(DataSourceModifier& modifier, Bytes bytes) {
  BasicBinaryDeserializer d(bytes.data(), static_cast<std::int64_t>(bytes.size()), false);
  return modifier.DeserializeFrom(d);
}

std::shared_ptr<StreamModifier> MakeStream(const std::wstring& id, qz_ds::StreamBasicType type) {
  auto stream = std::make_shared<StreamModifier>();
  EXPECT_TRUE(stream->Create(id, type));
  return stream;
}

// A stream of T with every attribute set and samples below one second, which
// the snapshot keeps to the millisecond.
template <class T>
std::shared_ptr<StreamModifier> FilledStream(const std::wstring& id, qz_ds::StreamBasicType type, const T& low,
                                             const T& high, const std::vector<T>& values) {
  auto stream = MakeStream(id, type);
  EXPECT_EQ(stream->SetAttribute(StreamModifier::FlowType, DataSourceStreamVariantDerived<int>(1)), 0);
  EXPECT_EQ(stream->SetAttribute(StreamModifier::LimitCount, DataSourceStreamVariantDerived<int>(100 + type)), 0);
  EXPECT_EQ(stream->SetAttribute(StreamModifier::FreezeDelay, DataSourceStreamVariantDerived<int>(type)), 0);
  EXPECT_EQ(stream->SetAttribute(StreamModifier::InterpolationType, DataSourceStreamVariantDerived<int>(1)), 0);
  EXPECT_EQ(stream->SetAttribute(StreamModifier::ValueUnit, DataSourceStreamVariantDerived<std::wstring>(L"u\u00b2")), 0);
  EXPECT_EQ(stream->SetAttribute(StreamModifier::TrailingAttribute, DataSourceStreamVariantDerived<int>(-type)), 0);
  EXPECT_EQ(stream->SetAttribute(StreamModifier::DefaultValue, DataSourceStreamVariantDerived<T>(low)), 0);
  EXPECT_EQ(stream->SetAttribute(StreamModifier::LowRange, DataSourceStreamVariantDerived<T>(low)), 0);
  EXPECT_EQ(stream->SetAttribute(StreamModifier::HighRange, DataSourceStreamVariantDerived<T>(high)), 0);
  std::int64_t time = 10'000;  // 1 ms steps
  for (const T& value : values) {
    EXPECT_EQ(stream->GetInternalBuffer()->AddSample(time, DataSourceStreamVariantDerived<T>(value)), 0);
    time += 10'000;
  }
  return stream;
}

template <class T>
void ExpectSameStream(const StreamModifier& a, const StreamModifier& b) {
  const auto fields = [](const StreamModifier& m) {
    return std::tuple(m.GetId(), m.GetType(), m.GetFlowType(), m.GetLimitCount(), m.GetFreezeDelay(),
                      m.GetInterpolationType(), m.GetValueUnit(), m.GetTrailingAttribute());
  };
  EXPECT_EQ(fields(a), fields(b));
  auto bufferA = std::dynamic_pointer_cast<StreamModifierRawBuffer<T>>(a.GetInternalBuffer());
  auto bufferB = std::dynamic_pointer_cast<StreamModifierRawBuffer<T>>(b.GetInternalBuffer());
  ASSERT_NE(bufferA, nullptr);
  ASSERT_NE(bufferB, nullptr);
  const auto values = [](const StreamModifierRawBuffer<T>& r) {
    return std::tuple(r.GetFlags(), r.GetDefaultValue(), r.GetLowRange(), r.GetHighRange(), r.GetSamples());
  };
  EXPECT_TRUE(values(*bufferA) == values(*bufferB));
}

qz_math::VectorN<6> Vector6(double first) {
  qz_math::VectorN<6> v;
  for (int i = 0; i < 6; ++i) v[i] = first + i;
  return v;
}

// A data source with one stream of each type, attributes and samples set.
DataSourceModifier FullSource() {
  DataSourceModifier source;
  source.SetId(L"camera 1");
  const std::shared_ptr<DataSourceStreamModifier> streams[] = {
      FilledStream<int>(L"count", qz_ds::StreamBasicType_Int, -5, 5, {1, -2, 3}),
      FilledStream<double>(L"speed", qz_ds::StreamBasicType_Float, -0.5, 9.75, {0.125, 1e300}),
      FilledStream<std::wstring>(L"label", qz_ds::StreamBasicType_String, L"a", L"z", {L"", L"goal", L"caf\u00e9"}),
      FilledStream<qz_math::Vector2>(L"pos", qz_ds::StreamBasicType_Vector2, {0, 0}, {640, 480}, {{1.5, 2.5}, {-3, 4}}),
      FilledStream<qz_math::VectorN<6>>(L"pose", qz_ds::StreamBasicType_Vector6, Vector6(0), Vector6(10),
                                        {Vector6(1), Vector6(-7)}),
  };
  for (const auto& stream : streams) EXPECT_TRUE(source.AddStream(stream));
  return source;
}

TEST(DataSourceModifier, EmptySourceLayout) {
  DataSourceModifier source;
  source.SetId(L"d");
  EXPECT_EQ(Write(source), (Bytes{1, 0, 0, 0, 0x64, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(DataSourceModifier, RoundTripOfEveryStreamType) {
  const DataSourceModifier source = FullSource();
  DataSourceModifier back;
  EXPECT_TRUE(back.AddStream(MakeStream(L"stale", qz_ds::StreamBasicType_Int)));
  ASSERT_EQ(ReadInto(back, Write(source)), 0);
  EXPECT_EQ(back.GetId(), L"camera 1");
  ASSERT_EQ(back.GetStreamModifierCount(), 5);
  ExpectSameStream<int>(*source.GetStreamModifier(0), *back.GetStreamModifier(0));
  ExpectSameStream<double>(*source.GetStreamModifier(1), *back.GetStreamModifier(1));
  ExpectSameStream<std::wstring>(*source.GetStreamModifier(2), *back.GetStreamModifier(2));
  ExpectSameStream<qz_math::Vector2>(*source.GetStreamModifier(3), *back.GetStreamModifier(3));
  ExpectSameStream<qz_math::VectorN<6>>(*source.GetStreamModifier(4), *back.GetStreamModifier(4));
  EXPECT_EQ(Write(back), Write(source));
}

TEST(DataSourceModifier, DamagedStreamLeavesNoStreamsButTheNewId) {
  Bytes bytes = Write(FullSource());
  // The second record starts after the header (4 + 2 * 8 + 8 bytes) and the
  // first record; its type field is 4 + 2 * 5 + 4 bytes into it.
  DataSourceModifier first;
  EXPECT_TRUE(first.AddStream(FullSource().GetStreamModifier(0)));
  const std::size_t firstRecord = Write(first).size() - 12;
  bytes[28 + firstRecord + 18] = 6;

  DataSourceModifier back;
  back.SetId(L"old");
  EXPECT_TRUE(back.AddStream(MakeStream(L"stale", qz_ds::StreamBasicType_Int)));
  EXPECT_EQ(ReadInto(back, bytes), -1);
  EXPECT_EQ(back.GetStreamModifierCount(), 0);
  EXPECT_EQ(back.GetId(), L"camera 1");

  // A header cut short keeps the old id; held streams are gone all the same.
  back.SetId(L"old");
  EXPECT_TRUE(back.AddStream(MakeStream(L"stale", qz_ds::StreamBasicType_Int)));
  EXPECT_EQ(ReadInto(back, Bytes(bytes.begin(), bytes.begin() + 25)), -1);
  EXPECT_EQ(back.GetId(), L"old");
  EXPECT_EQ(back.GetStreamModifierCount(), 0);
}

TEST(DataSourceModifier, LookupsByIdAndIndex) {
  DataSourceModifier source;
  auto first = MakeStream(L"x", qz_ds::StreamBasicType_Int);
  auto second = MakeStream(L"x", qz_ds::StreamBasicType_Float);
  EXPECT_FALSE(source.AddStream(nullptr));
  EXPECT_TRUE(source.AddStream(first));
  EXPECT_TRUE(source.AddStream(second));
  EXPECT_EQ(source.GetStreamModifierCount(), 2);
  EXPECT_EQ(source.GetStreamModifier(L"x"), first);
  EXPECT_EQ(source.GetStreamModifier(L"X"), nullptr);
  EXPECT_EQ(source.GetStreamModifier(L"x "), nullptr);
  EXPECT_EQ(source.GetStreamModifier(1), second);
  EXPECT_EQ(source.GetStreamModifier(-1), nullptr);
  EXPECT_EQ(source.GetStreamModifier(2), nullptr);
}

TEST(DataSourceModifier, ClearingKeepsWhatItShould) {
  DataSourceModifier source = FullSource();
  source.ClearData();
  ASSERT_EQ(source.GetStreamModifierCount(), 5);
  auto ints = std::dynamic_pointer_cast<StreamModifierRawBuffer<int>>(source.GetStreamModifier(0)->GetInternalBuffer());
  EXPECT_EQ(ints->GetCount(), 0);
  EXPECT_EQ(ints->GetFlags(), 7);
  EXPECT_EQ(source.GetStreamModifier(0)->GetLimitCount(), 102);

  std::wostringstream out;
  source.Dump(out);
  EXPECT_TRUE(out.str().empty());

  source.Clear();
  EXPECT_EQ(source.GetStreamModifierCount(), 0);
  EXPECT_EQ(source.GetId(), L"camera 1");
  BasicBinarySerializer tooSmall(13);
  EXPECT_EQ(source.SerializeTo(tooSmall), -1);
}

// Feeds damaged bytes; the reader may only fail, throw a length error or
// succeed. Returns the result, or 2 for a length error.
int ReadDamaged(const Bytes& bytes) {
  DataSourceModifier back;
  try {
    const int result = ReadInto(back, bytes);
    EXPECT_TRUE(result == 0 || result == -1) << result;
    if (result == -1) {
      EXPECT_EQ(back.GetStreamModifierCount(), 0);
    }
    return result;
  } catch (const std::length_error& e) {
    const std::string what = e.what();
    EXPECT_TRUE(what == "string too long" || what == "vector too long") << what;
    return 2;
  }
}

TEST(DataSourceModifier, DamagedInputIsRefusedSafely) {
  const Bytes bytes = Write(FullSource());
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    DataSourceModifier back;
    EXPECT_EQ(ReadInto(back, Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length))), -1)
        << length;
  }
  EXPECT_EQ(ReadDamaged(bytes), 0);

  std::mt19937 random(20240611);
  std::uniform_int_distribution<std::size_t> position(0, bytes.size() - 1);
  std::uniform_int_distribution<int> byte(0, 255);
  const unsigned char extremes[] = {0x00, 0x7F, 0x80, 0xFF};
  int outcomes[3] = {0, 0, 0};
  for (int round = 0; round < 2000; ++round) {
    Bytes damaged = bytes;
    const int edits = 1 + round % 4;
    for (int i = 0; i < edits; ++i) {
      if (round % 3 == 0) {
        // Overwrite a whole 32-bit field with an extreme value.
        const std::size_t at = position(random) & ~std::size_t{3};
        for (std::size_t k = at; k < at + 4 && k < damaged.size(); ++k) damaged[k] = extremes[byte(random) % 4];
      } else {
        damaged[position(random)] = static_cast<unsigned char>(byte(random));
      }
    }
    if (round % 5 == 0) damaged.resize(position(random));
    const int result = ReadDamaged(damaged);
    ++outcomes[result == 2 ? 2 : result + 1];
  }
  // Damage is found, some edits (inside sample values) leave a valid record,
  // and some reach the length errors.
  EXPECT_GT(outcomes[0], 0);
  EXPECT_GT(outcomes[1], 0);
  EXPECT_GT(outcomes[2], 0);
}

}  // namespace
}  // namespace qz_dsc
