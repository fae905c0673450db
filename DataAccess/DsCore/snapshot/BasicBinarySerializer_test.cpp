#include "qz_dsc/BasicBinarySerializer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace qz_dsc {

// Reaches the private state and the growth policy, which no public operation uses.
struct BasicBinarySerializerTestAccess {
  static std::uint64_t Capacity(const BasicBinarySerializer& s) { return s.m_capacity; }
  static bool Owns(const BasicBinarySerializer& s) { return s.m_ownsBuffer; }
  static bool Growable(const BasicBinarySerializer& s) { return s.m_growable; }
  static bool Failed(const BasicBinarySerializer& s) { return s.m_failed; }
  static bool Grow(BasicBinarySerializer& s, std::uint64_t needed) { return s.InternalGrow(needed); }
  // Lets a test drop ownership of a buffer that a copy also owns.
  static void Disown(BasicBinarySerializer& s) { s.m_ownsBuffer = false; }
};

namespace {

using Access = BasicBinarySerializerTestAccess;
using Bytes = std::vector<unsigned char>;

constexpr std::uint64_t kHugeSize = std::numeric_limits<std::uint64_t>::max();

Bytes Written(const BasicBinarySerializer& s) {
  if (s.GetBuffer() == nullptr) {
    return {};
  }
  return Bytes(s.GetBuffer(), s.GetBuffer() + s.GetLength());
}

// The first n bytes of the buffer, written or not.
Bytes Raw(const BasicBinarySerializer& s, std::size_t n) { return Bytes(s.GetBuffer(), s.GetBuffer() + n); }

template <class T>
Bytes Encode(const T& value, std::uint64_t capacity = 256) {
  BasicBinarySerializer s(capacity);
  s << value;
  EXPECT_FALSE(!s);
  return Written(s);
}

// ---- construction ----

TEST(BasicBinarySerializer, DefaultHasNoBufferAndEveryWriteFails) {
  BasicBinarySerializer s;
  EXPECT_EQ(s.GetBuffer(), nullptr);
  EXPECT_EQ(s.GetLength(), 0u);
  EXPECT_EQ(s.GetPosition(), 0u);
  EXPECT_FALSE(!s);
  EXPECT_EQ(Access::Capacity(s), 0u);
  EXPECT_FALSE(Access::Owns(s));
  EXPECT_FALSE(Access::Growable(s));
  s << 1;
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetPosition(), 0u);
}

TEST(BasicBinarySerializer, InitialSizeZeroHasNoBufferOwnsNothingAndEveryWriteFails) {
  BasicBinarySerializer s(0, true);
  EXPECT_EQ(s.GetBuffer(), nullptr);
  EXPECT_EQ(Access::Capacity(s), 0u);
  EXPECT_FALSE(Access::Owns(s));
  EXPECT_FALSE(Access::Growable(s));
  EXPECT_FALSE(!s);
  s << L"";
  EXPECT_TRUE(!s);
  s.Clear();
  s << 1.0;
  EXPECT_TRUE(!s);
  s.Clear();
  s << qz_std::TimeValue(1, 2);
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetPosition(), 0u);
}

TEST(BasicBinarySerializer, InitialSizeAllocatesAnOwnedBuffer) {
  BasicBinarySerializer s(16, true);
  EXPECT_NE(s.GetBuffer(), nullptr);
  EXPECT_EQ(Access::Capacity(s), 16u);
  EXPECT_TRUE(Access::Owns(s));
  EXPECT_TRUE(Access::Growable(s));
  EXPECT_EQ(s.GetLength(), 0u);
  BasicBinarySerializer fixed(16);
  EXPECT_FALSE(Access::Growable(fixed));
}

TEST(BasicBinarySerializer, FailedInitialAllocationLeavesNoBufferAndWritesFail) {
  BasicBinarySerializer s(kHugeSize, true);
  EXPECT_EQ(s.GetBuffer(), nullptr);
  EXPECT_EQ(Access::Capacity(s), 0u);
  EXPECT_TRUE(Access::Owns(s));
  EXPECT_TRUE(Access::Growable(s));
  EXPECT_FALSE(!s);
  s << 1;
  EXPECT_TRUE(!s);
}

// ---- exact bytes ----

TEST(BasicBinarySerializer, IntIsFourBytesLittleEndian) {
  EXPECT_EQ(Encode(0x01020304), (Bytes{0x04, 0x03, 0x02, 0x01}));
  EXPECT_EQ(Encode(-2), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(Encode(std::numeric_limits<int>::min()), (Bytes{0x00, 0x00, 0x00, 0x80}));
}

TEST(BasicBinarySerializer, UnsignedIntIsFourBytesLittleEndian) {
  EXPECT_EQ(Encode(0xA1B2C3D4u), (Bytes{0xD4, 0xC3, 0xB2, 0xA1}));
  EXPECT_EQ(Encode(0xFFFFFFFFu), (Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(BasicBinarySerializer, Int64IsEightBytesLittleEndian) {
  EXPECT_EQ(Encode(std::int64_t{0x0102030405060708}), (Bytes{0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01}));
  EXPECT_EQ(Encode(std::int64_t{-2}), (Bytes{0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(BasicBinarySerializer, UInt64IsEightBytesLittleEndian) {
  EXPECT_EQ(Encode(std::uint64_t{0xF1E2D3C4B5A69788}), (Bytes{0x88, 0x97, 0xA6, 0xB5, 0xC4, 0xD3, 0xE2, 0xF1}));
}

TEST(BasicBinarySerializer, FloatIsItsBinary32Pattern) {
  EXPECT_EQ(Encode(1.0f), (Bytes{0x00, 0x00, 0x80, 0x3F}));
  EXPECT_EQ(Encode(-0.0f), (Bytes{0x00, 0x00, 0x00, 0x80}));
  float nan = 0;
  const std::uint32_t nanBits = 0x7FC12345;
  std::memcpy(&nan, &nanBits, 4);
  EXPECT_EQ(Encode(nan), (Bytes{0x45, 0x23, 0xC1, 0x7F}));
}

TEST(BasicBinarySerializer, DoubleIsItsBinary64Pattern) {
  EXPECT_EQ(Encode(1.0), (Bytes{0, 0, 0, 0, 0, 0, 0xF0, 0x3F}));
  EXPECT_EQ(Encode(-2.5), (Bytes{0, 0, 0, 0, 0, 0, 0x04, 0xC0}));
}

TEST(BasicBinarySerializer, StringIsCountOfCodeUnitsThenUtf16LittleEndian) {
  EXPECT_EQ(Encode(std::wstring(L"ab")), (Bytes{0x02, 0x00, 0x00, 0x00, 0x61, 0x00, 0x62, 0x00}));
  EXPECT_EQ(Encode(L"ab"), (Bytes{0x02, 0x00, 0x00, 0x00, 0x61, 0x00, 0x62, 0x00}));
  EXPECT_EQ(Encode(L"\u00E9\u20AC"), (Bytes{0x02, 0x00, 0x00, 0x00, 0xE9, 0x00, 0xAC, 0x20}));
}

TEST(BasicBinarySerializer, EmptyStringIsAZeroCount) {
  EXPECT_EQ(Encode(std::wstring()), (Bytes{0x00, 0x00, 0x00, 0x00}));
  EXPECT_EQ(Encode(L""), (Bytes{0x00, 0x00, 0x00, 0x00}));
  const wchar_t* none = nullptr;
  EXPECT_EQ(Encode(none), (Bytes{0x00, 0x00, 0x00, 0x00}));
}

TEST(BasicBinarySerializer, StringIsTruncatedAtItsFirstNul) {
  const std::wstring withNul(L"a\0b", 3);
  ASSERT_EQ(withNul.size(), 3u);
  EXPECT_EQ(Encode(withNul), (Bytes{0x01, 0x00, 0x00, 0x00, 0x61, 0x00}));
  EXPECT_EQ(Encode(std::wstring(L"\0x", 2)), (Bytes{0x00, 0x00, 0x00, 0x00}));
}

TEST(BasicBinarySerializer, CharacterAboveBmpIsASurrogatePairCountedAsTwo) {
  // U+1F600 is D83D DE00 in UTF-16.
  EXPECT_EQ(Encode(std::wstring(L"\U0001F600")), (Bytes{0x02, 0x00, 0x00, 0x00, 0x3D, 0xD8, 0x00, 0xDE}));
  EXPECT_EQ(Encode(std::wstring(L"x\U00010000")),
            (Bytes{0x03, 0x00, 0x00, 0x00, 0x78, 0x00, 0x00, 0xD8, 0x00, 0xDC}));
}

TEST(BasicBinarySerializer, TimeValueIsSecondsThenMicroseconds) {
  EXPECT_EQ(Encode(qz_std::TimeValue(1, 500000)), (Bytes{0x01, 0x00, 0x00, 0x00, 0x20, 0xA1, 0x07, 0x00}));
  EXPECT_EQ(Encode(qz_std::TimeValue(-1, -5)), (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xFB, 0xFF, 0xFF, 0xFF}));
}

TEST(BasicBinarySerializer, Vector2IsTwoDoublesInIndexOrder) {
  EXPECT_EQ(Encode(qz_math::Vector2(1.0, -2.5)),
            (Bytes{0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 0, 0, 0, 0, 0, 0, 0x04, 0xC0}));
}

TEST(BasicBinarySerializer, Vector6IsSixDoublesInIndexOrder) {
  qz_math::VectorN<6> v;
  for (int i = 0; i < 6; ++i) {
    v[i] = i + 1;  // 1.0 .. 6.0
  }
  const Bytes bytes = Encode(v);
  ASSERT_EQ(bytes.size(), 48u);
  const Bytes exponents[6] = {{0xF0, 0x3F}, {0x00, 0x40}, {0x08, 0x40}, {0x10, 0x40}, {0x14, 0x40}, {0x18, 0x40}};
  for (int i = 0; i < 6; ++i) {
    const Bytes component(bytes.begin() + 8 * i, bytes.begin() + 8 * i + 8);
    EXPECT_EQ(component, (Bytes{0, 0, 0, 0, 0, 0, exponents[i][0], exponents[i][1]})) << "component " << i;
  }
}

TEST(BasicBinarySerializer, ValuesFollowEachOtherWithoutPadding) {
  BasicBinarySerializer s(64);
  s << 1 << std::int64_t{2} << 3.0f << L"z" << 4u;
  EXPECT_FALSE(!s);
  EXPECT_EQ(Written(s), (Bytes{1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x40, 0x40, 1, 0, 0, 0, 0x7A, 0, 4, 0, 0, 0}));
  EXPECT_EQ(s.GetLength(), 26u);
  EXPECT_EQ(s.GetPosition(), 26u);
}

// ---- failure rules ----

TEST(BasicBinarySerializer, WriteFillingTheCapacityExactlySucceedsAndTheNextFails) {
  BasicBinarySerializer s(4);
  s << 7;
  EXPECT_FALSE(!s);
  EXPECT_EQ(s.GetPosition(), 4u);
  s << 8;
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetPosition(), 4u);
  EXPECT_EQ(Written(s), (Bytes{7, 0, 0, 0}));
  s.Clear();
  EXPECT_FALSE(!s);
  EXPECT_EQ(s.GetPosition(), 0u);
  s << 9;
  EXPECT_FALSE(!s);
  EXPECT_EQ(Written(s), (Bytes{9, 0, 0, 0}));
}

TEST(BasicBinarySerializer, EightByteWriteIntoSevenFreeBytesFails) {
  BasicBinarySerializer s(8);
  s << std::uint64_t{1};
  EXPECT_FALSE(!s);
  s.Clear();
  ASSERT_TRUE(s.SeekTo(1));
  s << 1.0;
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetPosition(), 1u);
}

TEST(BasicBinarySerializer, FailureIsStickyUntilClear) {
  BasicBinarySerializer s(6);
  s << 1 << 2;
  ASSERT_TRUE(!s);
  ASSERT_TRUE(s.SeekTo(0));
  s << 0x55 << 1.0 << L"" << qz_std::TimeValue(1, 1);
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetPosition(), 0u);
  EXPECT_EQ(Raw(s, 4), (Bytes{1, 0, 0, 0}));  // nothing written while failed
}

TEST(BasicBinarySerializer, WritesNeverGrowTheBufferEvenWhenGrowable) {
  BasicBinarySerializer s(4, true);
  unsigned char* const before = s.GetBuffer();
  s << 1 << 2;
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetPosition(), 4u);
  EXPECT_EQ(s.GetBuffer(), before);
  EXPECT_EQ(Access::Capacity(s), 4u);
}

TEST(BasicBinarySerializer, Vector2IntoTwelveFreeBytesRollsBackAfterStoringTheFirstComponent) {
  BasicBinarySerializer s(16);
  s << 0x11111111;
  std::memset(s.GetBuffer() + 4, 0xAA, 12);
  s << qz_math::Vector2(1.0, 2.0);
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetPosition(), 4u);
  EXPECT_EQ(Raw(s, 16), (Bytes{0x11, 0x11, 0x11, 0x11, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 0xAA, 0xAA, 0xAA, 0xAA}));
}

TEST(BasicBinarySerializer, TimeValueIntoSixFreeBytesRollsBackAfterStoringTheSeconds) {
  BasicBinarySerializer s(6);
  std::memset(s.GetBuffer(), 0xAA, 6);
  s << qz_std::TimeValue(3, 4);
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetPosition(), 0u);
  EXPECT_EQ(Raw(s, 6), (Bytes{3, 0, 0, 0, 0xAA, 0xAA}));
}

TEST(BasicBinarySerializer, Vector6IntoFortyFreeBytesRollsBackAfterStoringFiveComponents) {
  BasicBinarySerializer s(44);
  s << 5;
  std::memset(s.GetBuffer() + 4, 0xAA, 40);
  qz_math::VectorN<6> v;
  for (int i = 0; i < 6; ++i) {
    v[i] = 1.0;
  }
  s << v;
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetPosition(), 4u);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(Raw(s, 44)[static_cast<std::size_t>(4 + 8 * i + 7)], 0x3F) << "component " << i;
  }
}

TEST(BasicBinarySerializer, CompositeWriteWhileFailedKeepsThePosition) {
  BasicBinarySerializer s(32);
  s << 1;
  ASSERT_TRUE(s.SeekTo(32));
  s << 1;
  ASSERT_TRUE(!s);
  ASSERT_TRUE(s.SeekTo(4));
  s << qz_math::Vector2(1, 2) << qz_std::TimeValue(1, 0) << qz_math::VectorN<6>();
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetPosition(), 4u);
}

TEST(BasicBinarySerializer, StringThatDoesNotFitWritesNothing) {
  BasicBinarySerializer s(7);
  std::memset(s.GetBuffer(), 0xAA, 7);
  s << L"ab";
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetPosition(), 0u);
  EXPECT_EQ(Raw(s, 7), Bytes(7, 0xAA));

  BasicBinarySerializer exact(8);
  exact << std::wstring(L"ab");
  EXPECT_FALSE(!exact);
  EXPECT_EQ(exact.GetPosition(), 8u);

  BasicBinarySerializer pair(7);  // a surrogate pair needs 4 + 4 bytes
  pair << std::wstring(L"\U0001F600");
  EXPECT_TRUE(!pair);
  EXPECT_EQ(pair.GetPosition(), 0u);

  BasicBinarySerializer empty(3);
  empty << L"";
  EXPECT_TRUE(!empty);
}

// ---- positioning ----

TEST(BasicBinarySerializer, SeekToCapacitySucceedsAndBeyondFails) {
  BasicBinarySerializer s(10);
  EXPECT_TRUE(s.SeekTo(10));
  EXPECT_EQ(s.GetPosition(), 10u);
  EXPECT_EQ(s.GetLength(), 10u);
  EXPECT_FALSE(s.SeekTo(11));
  EXPECT_EQ(s.GetPosition(), 10u);
  EXPECT_TRUE(s.SeekTo(2));
  EXPECT_EQ(s.GetLength(), 2u);
  s << 0x01020304;
  EXPECT_EQ(s.GetLength(), 6u);
  EXPECT_EQ(Raw(s, 6)[2], 0x04);
}

TEST(BasicBinarySerializer, SeekToLeavesTheFailureFlag) {
  BasicBinarySerializer s(4);
  s << 1.0;
  ASSERT_TRUE(!s);
  EXPECT_TRUE(s.SeekTo(0));
  EXPECT_TRUE(!s);
}

TEST(BasicBinarySerializer, ClearKeepsTheBuffer) {
  BasicBinarySerializer s(8, true);
  unsigned char* const buffer = s.GetBuffer();
  s << 1 << 2;
  s.Clear();
  EXPECT_EQ(s.GetBuffer(), buffer);
  EXPECT_EQ(s.GetLength(), 0u);
  EXPECT_EQ(Access::Capacity(s), 8u);
  EXPECT_TRUE(Access::Owns(s));
  EXPECT_TRUE(Access::Growable(s));
}

// ---- AttachBuffer ----

TEST(BasicBinarySerializer, AttachRejectsLengthAboveCapacityAndNullData) {
  BasicBinarySerializer s(8);
  s << 1;
  s << 1.0;
  ASSERT_TRUE(!s);
  unsigned char* const buffer = s.GetBuffer();
  unsigned char data[4] = {1, 2, 3, 4};
  EXPECT_FALSE(s.AttachBuffer(data, 3, 4, false, false));
  EXPECT_FALSE(s.AttachBuffer(nullptr, 8, 0, true, false));
  EXPECT_FALSE(s.AttachBuffer(nullptr, 8, 0, false, false));
  EXPECT_EQ(s.GetBuffer(), buffer);
  EXPECT_EQ(s.GetPosition(), 4u);
  EXPECT_TRUE(!s);
  EXPECT_EQ(Access::Capacity(s), 8u);
  EXPECT_TRUE(Access::Owns(s));
}

TEST(BasicBinarySerializer, AttachWithoutCopyWritesIntoTheCallersMemoryAfterTheLength) {
  unsigned char data[8] = {9, 9, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
  BasicBinarySerializer s;
  s << 1;  // fails: no buffer
  ASSERT_TRUE(!s);
  EXPECT_TRUE(s.AttachBuffer(data, 6, 2, false, true));
  EXPECT_EQ(s.GetBuffer(), data);
  EXPECT_EQ(s.GetPosition(), 2u);
  EXPECT_FALSE(!s);
  EXPECT_FALSE(Access::Owns(s));
  EXPECT_FALSE(Access::Growable(s));
  EXPECT_EQ(Access::Capacity(s), 6u);
  s << 0x04030201;
  EXPECT_FALSE(!s);
  EXPECT_EQ(Bytes(data, data + 8), (Bytes{9, 9, 1, 2, 3, 4, 0xAA, 0xAA}));
  s << 1;
  EXPECT_TRUE(!s);  // the capacity argument bounds the writes
}

TEST(BasicBinarySerializer, AttachWithCopyIntoANonOwningSerializerAllocatesTheCapacity) {
  unsigned char data[4] = {1, 2, 3, 4};
  BasicBinarySerializer s;
  EXPECT_TRUE(s.AttachBuffer(data, 10, 3, true, true));
  EXPECT_NE(s.GetBuffer(), nullptr);
  EXPECT_NE(s.GetBuffer(), data);
  EXPECT_EQ(s.GetPosition(), 3u);
  EXPECT_EQ(Written(s), (Bytes{1, 2, 3}));
  EXPECT_EQ(Access::Capacity(s), 10u);
  EXPECT_TRUE(Access::Owns(s));
  EXPECT_TRUE(Access::Growable(s));
  data[0] = 7;
  EXPECT_EQ(Written(s)[0], 1);
  EXPECT_TRUE(s.SeekTo(10));
  EXPECT_FALSE(s.SeekTo(11));
}

TEST(BasicBinarySerializer, AttachWithCopyKeepsAnOwnedBufferThatIsBigEnoughAndItsCapacity) {
  BasicBinarySerializer s(64);
  unsigned char* const buffer = s.GetBuffer();
  s << 1.0;
  s << std::uint64_t{0};
  s.SeekTo(64);
  s << 1;
  ASSERT_TRUE(!s);
  unsigned char data[6] = {1, 2, 3, 4, 5, 6};
  EXPECT_TRUE(s.AttachBuffer(data, 8, 6, true, true));
  EXPECT_EQ(s.GetBuffer(), buffer);
  EXPECT_EQ(Access::Capacity(s), 64u);  // not the argument
  EXPECT_EQ(s.GetPosition(), 6u);
  EXPECT_FALSE(!s);
  EXPECT_TRUE(Access::Owns(s));
  EXPECT_TRUE(Access::Growable(s));
  EXPECT_EQ(Written(s), (Bytes{1, 2, 3, 4, 5, 6}));
  EXPECT_TRUE(s.SeekTo(64));
  // Exactly as big as the length is big enough too.
  unsigned char more[64] = {};
  more[63] = 0x5A;
  EXPECT_TRUE(s.AttachBuffer(more, 100, 64, true, false));
  EXPECT_EQ(s.GetBuffer(), buffer);
  EXPECT_EQ(Access::Capacity(s), 64u);
  EXPECT_FALSE(Access::Growable(s));
  EXPECT_EQ(Raw(s, 64)[63], 0x5A);
}

TEST(BasicBinarySerializer, AttachWithCopyReplacesAnOwnedBufferThatIsTooSmall) {
  BasicBinarySerializer s(4);
  unsigned char data[6] = {1, 2, 3, 4, 5, 6};
  EXPECT_TRUE(s.AttachBuffer(data, 12, 6, true, false));
  EXPECT_NE(s.GetBuffer(), nullptr);
  EXPECT_EQ(Access::Capacity(s), 12u);
  EXPECT_EQ(Written(s), (Bytes{1, 2, 3, 4, 5, 6}));
  EXPECT_TRUE(Access::Owns(s));
  s << 1.0f;
  s << 1.0f;
  EXPECT_TRUE(!s);
  EXPECT_EQ(s.GetLength(), 10u);
}

TEST(BasicBinarySerializer, AttachWithoutCopyFreesAnOwnedBuffer) {
  BasicBinarySerializer s(64, true);  // freed here, or the leak checker complains
  unsigned char data[4] = {};
  EXPECT_TRUE(s.AttachBuffer(data, 4, 0, false, true));
  EXPECT_EQ(s.GetBuffer(), data);
  EXPECT_FALSE(Access::Owns(s));
  EXPECT_FALSE(Access::Growable(s));
  EXPECT_EQ(Access::Capacity(s), 4u);
  s << 0x7F;
  EXPECT_EQ(data[0], 0x7F);
}

TEST(BasicBinarySerializer, AttachWithCopyFromInsideTheOwnBufferMovesTheBytes) {
  BasicBinarySerializer s(16);
  s << 0x04030201 << 0x08070605;
  EXPECT_TRUE(s.AttachBuffer(s.GetBuffer() + 2, 8, 6, true, false));  // kept buffer, overlapping source
  EXPECT_EQ(Written(s), (Bytes{3, 4, 5, 6, 7, 8}));

  BasicBinarySerializer t(4);
  t << 0x04030201;
  EXPECT_TRUE(t.AttachBuffer(t.GetBuffer(), 8, 4, true, false));  // kept: capacity 4 >= length 4
  EXPECT_EQ(Written(t), (Bytes{1, 2, 3, 4}));
  EXPECT_TRUE(t.AttachBuffer(t.GetBuffer() + 1, 8, 3, true, false));
  EXPECT_EQ(Written(t), (Bytes{2, 3, 4}));
}

TEST(BasicBinarySerializer, AttachWithCopyAndFailedAllocationLeavesNoBuffer) {
  BasicBinarySerializer s(2);  // too small to be kept for 4 bytes
  unsigned char data[4] = {1, 2, 3, 4};
  EXPECT_TRUE(s.AttachBuffer(data, kHugeSize, 4, true, true));
  EXPECT_EQ(s.GetBuffer(), nullptr);
  EXPECT_EQ(Access::Capacity(s), 0u);
  EXPECT_EQ(s.GetPosition(), 0u);
  EXPECT_TRUE(Access::Owns(s));
  EXPECT_TRUE(Access::Growable(s));
  EXPECT_FALSE(!s);
  s << 1;
  EXPECT_TRUE(!s);
  // A later copy that fits nothing allocates again.
  EXPECT_TRUE(s.AttachBuffer(data, 4, 4, true, false));
  EXPECT_EQ(Written(s), (Bytes{1, 2, 3, 4}));
}

TEST(BasicBinarySerializer, AttachingConstructorZeroesThenAttaches) {
  unsigned char data[4] = {1, 2, 3, 4};
  BasicBinarySerializer copy(data, 8, 2, true, true);
  EXPECT_EQ(Written(copy), (Bytes{1, 2}));
  EXPECT_TRUE(Access::Owns(copy));
  EXPECT_TRUE(Access::Growable(copy));
  EXPECT_EQ(Access::Capacity(copy), 8u);

  BasicBinarySerializer view(data, 4, 4, false, true);
  EXPECT_EQ(view.GetBuffer(), data);
  EXPECT_EQ(view.GetPosition(), 4u);
  EXPECT_FALSE(Access::Owns(view));
  EXPECT_FALSE(Access::Growable(view));

  BasicBinarySerializer rejected(data, 2, 4, true, true);
  EXPECT_EQ(rejected.GetBuffer(), nullptr);
  EXPECT_EQ(rejected.GetPosition(), 0u);
  EXPECT_EQ(Access::Capacity(rejected), 0u);
  EXPECT_FALSE(Access::Owns(rejected));
  EXPECT_FALSE(Access::Growable(rejected));
  EXPECT_FALSE(!rejected);
}

// ---- copying ----

TEST(BasicBinarySerializer, CopyAssignmentCopiesEveryFieldAsItStands) {
  BasicBinarySerializer source(8, true);
  source << 1 << 2 << 3;
  ASSERT_TRUE(!source);
  BasicBinarySerializer target;
  target = source;
  EXPECT_EQ(target.GetBuffer(), source.GetBuffer());
  EXPECT_EQ(target.GetPosition(), 8u);
  EXPECT_TRUE(!target);
  EXPECT_EQ(Access::Capacity(target), 8u);
  EXPECT_TRUE(Access::Owns(target));
  EXPECT_TRUE(Access::Growable(target));
  // The bytes are shared, not duplicated.
  target.Clear();
  target << 0x7F;
  EXPECT_EQ(source.GetBuffer()[0], 0x7F);
  // Ownership went along: drop it from the source; the target frees the buffer.
  source = BasicBinarySerializer();
  EXPECT_EQ(source.GetBuffer(), nullptr);
  EXPECT_FALSE(Access::Owns(source));
}

TEST(BasicBinarySerializer, CopyConstructionSharesTheBuffer) {
  BasicBinarySerializer source(8);
  source << 5;
  BasicBinarySerializer copy(source);
  EXPECT_EQ(copy.GetBuffer(), source.GetBuffer());
  EXPECT_EQ(copy.GetPosition(), 4u);
  Access::Disown(copy);
}

// ---- InternalGrow (kept, never called by writes) ----

TEST(BasicBinarySerializer, InternalGrowNeedsOwnershipGrowthPermissionAndAShortfall) {
  BasicBinarySerializer fixed(8, false);
  EXPECT_FALSE(Access::Grow(fixed, 100));
  BasicBinarySerializer growable(8, true);
  EXPECT_FALSE(Access::Grow(growable, 8));
  EXPECT_FALSE(Access::Grow(growable, 0));
  unsigned char data[8] = {};
  BasicBinarySerializer view(data, 8, 0, false, true);
  EXPECT_FALSE(Access::Grow(view, 100));
  EXPECT_EQ(view.GetBuffer(), data);
}

TEST(BasicBinarySerializer, InternalGrowMovesTheWrittenBytesButLeavesTheCapacity) {
  for (std::uint64_t needed : {9u, 20u, 30u, 1000u}) {
    BasicBinarySerializer s(8, true);
    s << 0x04030201 << 0x08070605;
    unsigned char* const before = s.GetBuffer();
    ASSERT_TRUE(Access::Grow(s, needed)) << needed;
    EXPECT_NE(s.GetBuffer(), before);
    EXPECT_EQ(Written(s), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(Access::Capacity(s), 8u);
    s << 1;
    EXPECT_TRUE(!s);  // still bounded by the old capacity
  }
}

TEST(BasicBinarySerializer, InternalGrowFailsWhenTheNewSizeCannotBeAllocated) {
  BasicBinarySerializer s(8, true);
  s << 1;
  unsigned char* const before = s.GetBuffer();
  EXPECT_FALSE(Access::Grow(s, kHugeSize));
  EXPECT_EQ(s.GetBuffer(), before);
  EXPECT_EQ(Written(s), (Bytes{1, 0, 0, 0}));
}

}  // namespace
}  // namespace qz_dsc
