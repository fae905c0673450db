#include "qz_dsc/StreamModifierRawBuffer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/Ticks.h"
#include "qz_std/TimeValue.h"

namespace qz_dsc {
namespace {

using Bytes = std::vector<unsigned char>;
using IntBuffer = StreamModifierRawBuffer<int>;

Bytes Written(const BasicBinarySerializer& s) {
  return Bytes(s.GetBuffer(), s.GetBuffer() + s.GetLength());
}

template <class Buffer>
Bytes Write(const Buffer& buffer) {
  BasicBinarySerializer s(4096);
  EXPECT_EQ(buffer.SerializeTo(s), 0);
  return Written(s);
}

// Reads bytes into a fresh buffer of T and returns it; result gets the code.
template <class T>
StreamModifierRawBuffer<T> Read(Bytes bytes, int& result) {
  BasicBinaryDeserializer d(bytes.data(), static_cast<std::int64_t>(bytes.size()), false);
  StreamModifierRawBuffer<T> buffer;
  result = buffer.DeserializeFrom(d);
  return buffer;
}

// Snapshot bytes of an int buffer with no attributes and the given samples,
// each a (seconds, second field, value) triple as stored on the wire.
Bytes IntSnapshot(const std::vector<std::array<std::int32_t, 3>>& samples) {
  BasicBinarySerializer s(4096);
  s << 0 << static_cast<int>(samples.size());
  for (const auto& sample : samples) s << sample[0] << sample[1] << sample[2];
  return Written(s);
}

TEST(StreamModifierRawBuffer, FlagsSelectTheAttributesWritten) {
  IntBuffer buffer;
  EXPECT_EQ(Write(buffer), Bytes(8, 0));  // empty: flags and count
  ASSERT_EQ(buffer.SetDefaultValue(DataSourceStreamVariantDerived<int>(7)), 0);
  ASSERT_EQ(buffer.SetHighRange(DataSourceStreamVariantDerived<int>(9)), 0);
  EXPECT_EQ(buffer.GetFlags(), 5);
  EXPECT_EQ(Write(buffer), (Bytes{5, 0, 0, 0, 7, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0}));

  int result = 1;
  IntBuffer back = Read<int>(Write(buffer), result);
  EXPECT_EQ(result, 0);
  EXPECT_EQ((std::array{back.GetFlags(), back.GetDefaultValue(), back.GetLowRange(), back.GetHighRange()}),
            (std::array{5, 7, 0, 9}));
}

TEST(StreamModifierRawBuffer, SampleTimesKeepTheirAsymmetricConversion) {
  IntBuffer buffer;
  EXPECT_EQ(buffer.AddSample(5'000'000, DataSourceStreamVariantDerived<int>(1)), 0);        // 0.5 s
  EXPECT_EQ(buffer.AddSample(15'000'000, DataSourceStreamVariantDerived<int>(2)), 0);       // 1.5 s
  EXPECT_EQ(buffer.AddSample(-15'000'000, DataSourceStreamVariantDerived<int>(3)), 0);      // -1.5 s
  EXPECT_EQ(buffer.AddSample(20'000'000'000, DataSourceStreamVariantDerived<int>(4)), 0);   // 2000 s
  // The second field carries the whole time in milliseconds, normalised.
  EXPECT_EQ(Write(buffer), IntSnapshot({{0, 500, 1}, {1, 1500, 2}, {-1, -1500, 3}, {2002, 0, 4}}));

  int result = 1;
  IntBuffer back = Read<int>(Write(buffer), result);
  ASSERT_EQ(result, 0);
  EXPECT_EQ(back.GetSamples(), (std::vector<IntBuffer::Sample>{
                                   {5'000'000, 1}, {25'000'000, 2}, {-25'000'000, 3}, {20'020'000'000, 4}}));
}

TEST(StreamModifierRawBuffer, ExtremeTimesConvertWithoutOverflow) {
  int result = 1;
  // Read side: normalised first (2 s and -1 us is 1 s and 999,999), then the
  // largest field values.
  IntBuffer back = Read<int>(IntSnapshot({{2, -1, 0},
                                          {std::numeric_limits<std::int32_t>::max(), 999'999, 0},
                                          {std::numeric_limits<std::int32_t>::min(), -999'999, 0}}),
                             result);
  ASSERT_EQ(result, 0);
  EXPECT_EQ(back.GetSamples(), (std::vector<IntBuffer::Sample>{{10'009'990'000, 0},
                                                               {(2'147'483'647'000 + 999'999) * 10'000, 0},
                                                               {(-2'147'483'648'000 - 999'999) * 10'000, 0}}));

  // Write side: the 64-bit extremes are cut to 32 bits and still read back.
  IntBuffer buffer;
  EXPECT_EQ(buffer.AddSample(std::numeric_limits<std::int64_t>::max(), DataSourceStreamVariantDerived<int>(1)), 0);
  EXPECT_EQ(buffer.AddSample(std::numeric_limits<std::int64_t>::min(), DataSourceStreamVariantDerived<int>(2)), 0);
  IntBuffer extremes = Read<int>(Write(buffer), result);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(extremes.GetCount(), 2);
}

TEST(StreamModifierRawBuffer, VariantOfAnotherTypeIsRefused) {
  IntBuffer buffer;
  const DataSourceStreamVariantDerived<double> number(1.0);
  EXPECT_EQ(buffer.AddSample(0, number), 1);
  EXPECT_EQ(buffer.SetDefaultValue(number), 1);
  EXPECT_EQ(buffer.SetLowRange(number), 1);
  EXPECT_EQ(buffer.SetHighRange(number), 1);
  EXPECT_EQ(std::make_pair(buffer.GetCount(), buffer.GetFlags()), std::make_pair(0, 0));

  StreamModifierRawBuffer<qz_math::VectorN<6>> vectors;
  EXPECT_EQ(vectors.AddSample(0, DataSourceStreamVariantDerived<qz_math::Vector2>(qz_math::Vector2(1, 2))), 1);
  EXPECT_EQ(vectors.AddSample(0, DataSourceStreamVariantDerived<qz_math::VectorN<6>>(qz_math::VectorN<6>())), 0);
}

TEST(StreamModifierRawBuffer, ClearDataKeepsAttributes) {
  StreamModifierRawBuffer<std::wstring> buffer;
  EXPECT_EQ(buffer.SetLowRange(DataSourceStreamVariantDerived<std::wstring>(L"a")), 0);
  EXPECT_EQ(buffer.AddSample(1, DataSourceStreamVariantDerived<std::wstring>(L"x")), 0);
  buffer.ClearData();
  EXPECT_EQ(std::make_tuple(buffer.GetCount(), buffer.GetFlags(), buffer.GetLowRange()),
            std::make_tuple(0, 2, std::wstring(L"a")));
}

TEST(StreamModifierRawBuffer, ReadingAppendsToHeldSamples) {
  IntBuffer buffer;
  EXPECT_EQ(buffer.AddSample(1, DataSourceStreamVariantDerived<int>(10)), 0);
  Bytes bytes = IntSnapshot({{0, 2, 20}});
  BasicBinaryDeserializer d(bytes.data(), static_cast<std::int64_t>(bytes.size()), false);
  ASSERT_EQ(buffer.DeserializeFrom(d), 0);
  EXPECT_EQ(buffer.GetSamples(), (std::vector<IntBuffer::Sample>{{1, 10}, {20'000, 20}}));
}

TEST(StreamModifierRawBuffer, ShortOrFullStreamsFail) {
  IntBuffer buffer;
  EXPECT_EQ(buffer.AddSample(0, DataSourceStreamVariantDerived<int>(1)), 0);
  BasicBinarySerializer tooSmall(12);  // flags, count, then no room for the sample
  EXPECT_EQ(buffer.SerializeTo(tooSmall), -1);

  Bytes bytes = Write(buffer);
  bytes.pop_back();
  int result = 0;
  IntBuffer back = Read<int>(bytes, result);
  EXPECT_EQ(result, -1);
  EXPECT_EQ(back.GetCount(), 0);
}

TEST(StreamModifierRawBuffer, DamagedCountsFailWithoutHugeReservations) {
  int result = 0;
  // A count no input of this size can hold: a read failure, not an allocation
  // of 2^31 samples.
  Bytes huge = IntSnapshot({{0, 1, 1}});
  huge[4] = huge[5] = huge[6] = 0xFF;
  huge[7] = 0x7F;
  StreamModifierRawBuffer<qz_math::VectorN<6>> vectors;
  BasicBinaryDeserializer d(huge.data(), static_cast<std::int64_t>(huge.size()), false);
  EXPECT_EQ(vectors.DeserializeFrom(d), -1);
  IntBuffer ints = Read<int>(huge, result);
  EXPECT_EQ(result, -1);
  EXPECT_EQ(ints.GetCount(), 1);  // the one sample the input held

  // A negative count is beyond any sequence.
  Bytes negative = IntSnapshot({});
  negative[4] = negative[5] = negative[6] = negative[7] = 0xFF;
  try {
    Read<int>(negative, result);
    ADD_FAILURE() << "no length error";
  } catch (const std::length_error& e) {
    EXPECT_STREQ(e.what(), "vector too long");
  }
}

// The block paths of the sample buffers must give exactly what writing and
// reading value by value through the operators gives: the same bytes, result,
// position and failure flag at every capacity and at every input length (a
// sample cut anywhere, a block ending exactly at the capacity).
template <class T>
T ValueFor(int i);
template <>
int ValueFor<int>(int i) {
  return i * 7 - 3;
}
template <>
double ValueFor<double>(int i) {
  return i * 0.5 - 1.25;
}
template <>
std::wstring ValueFor<std::wstring>(int i) {
  return std::wstring(static_cast<std::size_t>(i % 3), static_cast<wchar_t>(L'a' + i));
}
template <>
qz_math::Vector2 ValueFor<qz_math::Vector2>(int i) {
  return qz_math::Vector2(i, -0.5 * i);
}
template <>
qz_math::VectorN<6> ValueFor<qz_math::VectorN<6>>(int i) {
  qz_math::VectorN<6> v;
  for (int k = 0; k < 6; ++k) v[k] = i + 0.25 * k;
  return v;
}

template <class T>
StreamModifierRawBuffer<T> Filled() {
  StreamModifierRawBuffer<T> buffer;
  EXPECT_EQ(buffer.SetDefaultValue(DataSourceStreamVariantDerived<T>(ValueFor<T>(100))), 0);
  EXPECT_EQ(buffer.SetHighRange(DataSourceStreamVariantDerived<T>(ValueFor<T>(101))), 0);
  // Sub-second, whole seconds folded out of the millisecond field (either
  // sign), and times whose fields are cut to 32 bits.
  const std::int64_t times[] = {0,
                                5'000'000,
                                15'000'000,
                                -15'000'000,
                                20'000'000'000,
                                -123'456'789'012,
                                21'474'836'480'000,
                                std::numeric_limits<std::int64_t>::max(),
                                std::numeric_limits<std::int64_t>::min()};
  int i = 0;
  for (std::int64_t time : times) {
    EXPECT_EQ(buffer.AddSample(time, DataSourceStreamVariantDerived<T>(ValueFor<T>(i++))), 0);
  }
  return buffer;
}

template <class T>
int WriteValueByValue(const StreamModifierRawBuffer<T>& buffer, BasicBinarySerializer& s) {
  s << buffer.GetFlags() << buffer.GetDefaultValue() << buffer.GetHighRange() << buffer.GetCount();
  if (!s) return -1;
  for (const auto& [time, value] : buffer.GetSamples()) {
    s << qz_std::TimeValue(static_cast<std::int32_t>(time / kTicksPerSecond),
                           static_cast<std::int32_t>(time / kTicksPerMillisecond))
      << value;
    if (!s) return -1;
  }
  return 0;
}

template <class T>
int ReadValueByValue(BasicBinaryDeserializer& d, std::vector<std::pair<std::int64_t, T>>& samples) {
  int flags = 0;
  T attribute{};
  int count = 0;
  d >> flags >> attribute >> attribute >> count;
  if (!d) return -1;
  for (int i = 0; i < count; ++i) {
    qz_std::TimeValue time;
    T value{};
    d >> time >> value;
    if (!d) return -1;
    samples.emplace_back((std::int64_t{time.GetSeconds()} * 1000 + time.GetMicroseconds()) * kTicksPerMillisecond,
                         value);
  }
  return 0;
}

template <class T>
class StreamModifierRawBufferBlocks : public ::testing::Test {};
using SampleTypes = ::testing::Types<int, double, std::wstring, qz_math::Vector2, qz_math::VectorN<6>>;
TYPED_TEST_SUITE(StreamModifierRawBufferBlocks, SampleTypes);

TYPED_TEST(StreamModifierRawBufferBlocks, WriteMatchesValueByValueAtEveryCapacity) {
  const StreamModifierRawBuffer<TypeParam> buffer = Filled<TypeParam>();
  const std::size_t full = Write(buffer).size();
  for (std::size_t capacity = 0; capacity <= full + 1; ++capacity) {
    // Caller-owned memory, so that bytes stored by a failed write are compared too.
    Bytes blockBytes(capacity + 1, 0xAA);
    Bytes valueBytes(capacity + 1, 0xAA);
    BasicBinarySerializer block(blockBytes.data(), capacity, 0, false, false);
    BasicBinarySerializer byValue(valueBytes.data(), capacity, 0, false, false);
    EXPECT_EQ(buffer.SerializeTo(block), WriteValueByValue(buffer, byValue)) << capacity;
    EXPECT_EQ(block.GetPosition(), byValue.GetPosition()) << capacity;
    EXPECT_EQ(!block, !byValue) << capacity;
    EXPECT_EQ(blockBytes, valueBytes) << capacity;
    EXPECT_EQ(!block, capacity < full) << capacity;
  }
}

TYPED_TEST(StreamModifierRawBufferBlocks, ReadMatchesValueByValueAtEveryInputLength) {
  using Sample = typename StreamModifierRawBuffer<TypeParam>::Sample;
  const Bytes full = Write(Filled<TypeParam>());
  const Sample held{-1, ValueFor<TypeParam>(50)};
  for (std::size_t length = 0; length <= full.size(); ++length) {
    Bytes input(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(length));
    input.push_back(0xEE);  // a byte past the length that must never be read
    BasicBinaryDeserializer block(input.data(), static_cast<std::int64_t>(length), false);
    BasicBinaryDeserializer byValue(input.data(), static_cast<std::int64_t>(length), false);
    StreamModifierRawBuffer<TypeParam> buffer;
    ASSERT_EQ(buffer.AddSample(held.first, DataSourceStreamVariantDerived<TypeParam>(held.second)), 0);
    std::vector<Sample> expected{held};
    EXPECT_EQ(buffer.DeserializeFrom(block), ReadValueByValue(byValue, expected)) << length;
    EXPECT_EQ(buffer.GetSamples(), expected) << length;
    EXPECT_EQ(block.GetPosition(), byValue.GetPosition()) << length;
    EXPECT_EQ(!block, !byValue) << length;
    EXPECT_EQ(!block, length < full.size()) << length;
  }
}

template <class T>
bool MakesBufferOf(qz_ds::StreamBasicType type) {
  return std::dynamic_pointer_cast<StreamModifierRawBuffer<T>>(CreateStreamModifierRawBuffer(type)) != nullptr;
}

TEST(StreamModifierRawBuffer, FactoryMakesOneBufferTypePerStreamType) {
  EXPECT_TRUE(MakesBufferOf<int>(qz_ds::StreamBasicType_Int));
  EXPECT_TRUE(MakesBufferOf<double>(qz_ds::StreamBasicType_Float));
  EXPECT_TRUE(MakesBufferOf<std::wstring>(qz_ds::StreamBasicType_String));
  EXPECT_TRUE(MakesBufferOf<qz_math::Vector2>(qz_ds::StreamBasicType_Vector2));
  EXPECT_TRUE(MakesBufferOf<qz_math::VectorN<6>>(qz_ds::StreamBasicType_Vector6));
  for (int type : {-1, 0, 1, 6, 7, 8, 9, 10, 12, 13}) {
    EXPECT_EQ(CreateStreamModifierRawBuffer(static_cast<qz_ds::StreamBasicType>(type)), nullptr) << type;
  }
}

}  // namespace
}  // namespace qz_dsc
