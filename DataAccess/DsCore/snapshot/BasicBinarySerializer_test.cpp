#include "qz_dsc/BasicBinarySerializer.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace qz_dsc {

// Reaches the private state and the growth policy, which no public operation uses.
struct BasicBinarySerializerTestAccess {
  static std::uint64_t Capacity(const BasicBinarySerializer& s) { return s.m_capacity; }
  static bool Owns(const BasicBinarySerializer& s) { return s.m_ownsBuffer; }
  static bool Growable(const BasicBinarySerializer& s) { return s.m_growable; }
  static bool Grow(BasicBinarySerializer& s, std::uint64_t needed) { return s.InternalGrow(needed); }
  // Lets a test drop ownership of a buffer that a copy also owns.
  static void Disown(BasicBinarySerializer& s) { s.m_ownsBuffer = false; }
};

namespace {

using Access = BasicBinarySerializerTestAccess;
using Bytes = std::vector<unsigned char>;
using Write = void (*)(BasicBinarySerializer&);

constexpr std::uint64_t kHugeSize = std::numeric_limits<std::uint64_t>::max();

// Every field but the buffer pointer, compared in one go.
struct State {
  std::uint64_t position;
  std::uint64_t capacity;
  bool owns;
  bool growable;
  bool failed;
  bool operator==(const State&) const = default;
};

std::ostream& operator<<(std::ostream& os, const State& s) {
  return os << "{position " << s.position << ", capacity " << s.capacity << ", owns " << s.owns << ", growable "
            << s.growable << ", failed " << s.failed << "}";
}

State StateOf(const BasicBinarySerializer& s) {
  return {s.GetPosition(), Access::Capacity(s), Access::Owns(s), Access::Growable(s), !s};
}

Bytes Written(const BasicBinarySerializer& s) {
  return s.GetBuffer() == nullptr ? Bytes() : Bytes(s.GetBuffer(), s.GetBuffer() + s.GetLength());
}

// The first n bytes of the buffer, written or not.
Bytes Raw(const BasicBinarySerializer& s, std::size_t n) { return Bytes(s.GetBuffer(), s.GetBuffer() + n); }

Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& p : parts) {
    all.insert(all.end(), p.begin(), p.end());
  }
  return all;
}

// A binary64 whose six low bytes are zero.
Bytes D(unsigned char b6, unsigned char b7) { return {0, 0, 0, 0, 0, 0, b6, b7}; }

// The bytes of the values written one after the other into a roomy buffer.
template <class... T>
Bytes Encode(const T&... values) {
  BasicBinarySerializer s(256);
  (s << ... << values);
  EXPECT_FALSE(!s);
  return Written(s);
}

qz_math::VectorN<6> Ramp(double first, double step) {
  qz_math::VectorN<6> v;
  for (int i = 0; i < 6; ++i) {
    v[i] = first + i * step;
  }
  return v;
}

TEST(BasicBinarySerializer, ConstructorsSetTheStateAndWritesWithoutABufferFail) {
  BasicBinarySerializer none;
  BasicBinarySerializer zero(0, true);          // no buffer: neither owning nor growable
  BasicBinarySerializer huge(kHugeSize, true);  // failed allocation: owning and growable, capacity 0
  BasicBinarySerializer fixed(16);
  BasicBinarySerializer growable(16, true);
  EXPECT_EQ(StateOf(none), (State{0, 0, false, false, false}));
  EXPECT_EQ(StateOf(zero), (State{0, 0, false, false, false}));
  EXPECT_EQ(StateOf(huge), (State{0, 0, true, true, false}));
  EXPECT_EQ(StateOf(fixed), (State{0, 16, true, false, false}));
  EXPECT_EQ(StateOf(growable), (State{0, 16, true, true, false}));
  EXPECT_NE(fixed.GetBuffer(), nullptr);
  for (BasicBinarySerializer* s : {&none, &zero, &huge}) {
    EXPECT_EQ(s->GetBuffer(), nullptr);
    *s << L"";
    EXPECT_TRUE(!*s);
    s->Clear();
    *s << qz_std::TimeValue(1, 2);
    EXPECT_TRUE(!*s);
    EXPECT_EQ(s->GetPosition(), 0u);
  }
}

TEST(BasicBinarySerializer, ExactBytesOfEveryType) {
  const wchar_t* const none = nullptr;
  const struct {
    const char* what;
    Bytes actual;
    Bytes expected;
  } cases[] = {
      {"int", Encode(0x01020304), {0x04, 0x03, 0x02, 0x01}},
      {"negative int", Encode(-2), {0xFE, 0xFF, 0xFF, 0xFF}},
      {"INT_MIN", Encode(std::numeric_limits<int>::min()), {0x00, 0x00, 0x00, 0x80}},
      {"unsigned", Encode(0xA1B2C3D4u), {0xD4, 0xC3, 0xB2, 0xA1}},
      {"int64", Encode(std::int64_t{0x0102030405060708}), {0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01}},
      {"negative int64", Encode(std::int64_t{-2}), {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
      {"uint64", Encode(std::uint64_t{0xF1E2D3C4B5A69788}), {0x88, 0x97, 0xA6, 0xB5, 0xC4, 0xD3, 0xE2, 0xF1}},
      {"float", Encode(1.0f), {0x00, 0x00, 0x80, 0x3F}},
      {"negative zero", Encode(-0.0f), {0x00, 0x00, 0x00, 0x80}},
      {"NaN payload", Encode(std::bit_cast<float>(0x7FC12345u)), {0x45, 0x23, 0xC1, 0x7F}},
      {"double", Encode(1.0), D(0xF0, 0x3F)},
      {"negative double", Encode(-2.5), D(0x04, 0xC0)},
      {"std::wstring", Encode(std::wstring(L"ab")), {0x02, 0, 0, 0, 0x61, 0x00, 0x62, 0x00}},
      {"wchar_t*", Encode(L"\u00E9\u20AC"), {0x02, 0, 0, 0, 0xE9, 0x00, 0xAC, 0x20}},
      {"empty string", Encode(std::wstring()), {0, 0, 0, 0}},
      {"null pointer", Encode(none), {0, 0, 0, 0}},
      {"embedded NUL", Encode(std::wstring(L"a\0b", 3)), {0x01, 0, 0, 0, 0x61, 0x00}},
      {"leading NUL", Encode(std::wstring(L"\0x", 2)), {0, 0, 0, 0}},
      {"surrogate pair", Encode(std::wstring(L"x\U0001F600")), {0x03, 0, 0, 0, 0x78, 0x00, 0x3D, 0xD8, 0x00, 0xDE}},
      {"TimeValue", Encode(qz_std::TimeValue(1, 500000)), {0x01, 0, 0, 0, 0x20, 0xA1, 0x07, 0x00}},
      {"negative TimeValue", Encode(qz_std::TimeValue(-1, -5)), {0xFF, 0xFF, 0xFF, 0xFF, 0xFB, 0xFF, 0xFF, 0xFF}},
      {"Vector2", Encode(qz_math::Vector2(1.0, -2.5)), Cat({D(0xF0, 0x3F), D(0x04, 0xC0)})},
      {"VectorN<6>", Encode(Ramp(1.0, 1.0)),
       Cat({D(0xF0, 0x3F), D(0x00, 0x40), D(0x08, 0x40), D(0x10, 0x40), D(0x14, 0x40), D(0x18, 0x40)})},
      {"no padding", Encode(1, std::int64_t{2}, 3.0f, L"z", 4u),
       {1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x40, 0x40, 1, 0, 0, 0, 0x7A, 0, 4, 0, 0, 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(c.actual, c.expected);
  }
}

// Each write fits a buffer of exactly its size; one byte less fails without
// growing the buffer, growable or not.
TEST(BasicBinarySerializer, EveryWriteFitsItsExactSizeAndFailsOneByteShort) {
  const struct {
    const char* what;
    std::uint64_t size;
    bool atomic;  // nothing stored when it fails
    Write write;
  } cases[] = {
      {"int", 4, true, [](BasicBinarySerializer& s) { s << 7; }},
      {"unsigned", 4, true, [](BasicBinarySerializer& s) { s << 7u; }},
      {"int64", 8, true, [](BasicBinarySerializer& s) { s << std::int64_t{7}; }},
      {"uint64", 8, true, [](BasicBinarySerializer& s) { s << std::uint64_t{7}; }},
      {"float", 4, true, [](BasicBinarySerializer& s) { s << 7.0f; }},
      {"double", 8, true, [](BasicBinarySerializer& s) { s << 7.0; }},
      {"empty string", 4, true, [](BasicBinarySerializer& s) { s << L""; }},
      {"string", 8, true, [](BasicBinarySerializer& s) { s << std::wstring(L"ab"); }},
      {"surrogate pair", 8, true, [](BasicBinarySerializer& s) { s << std::wstring(L"\U0001F600"); }},
      {"TimeValue", 8, false, [](BasicBinarySerializer& s) { s << qz_std::TimeValue(7, 7); }},
      {"Vector2", 16, false, [](BasicBinarySerializer& s) { s << qz_math::Vector2(7, 7); }},
      {"VectorN<6>", 48, false, [](BasicBinarySerializer& s) { s << Ramp(7, 0); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    BasicBinarySerializer exact(c.size);
    c.write(exact);
    EXPECT_EQ(StateOf(exact), (State{c.size, c.size, true, false, false}));
    c.write(exact);
    EXPECT_EQ(StateOf(exact), (State{c.size, c.size, true, false, true}));

    BasicBinarySerializer tooSmall(c.size - 1, true);
    unsigned char* const buffer = tooSmall.GetBuffer();
    std::memset(buffer, 0xAA, c.size - 1);
    c.write(tooSmall);
    EXPECT_EQ(StateOf(tooSmall), (State{0, c.size - 1, true, true, true}));
    EXPECT_EQ(tooSmall.GetBuffer(), buffer);
    if (c.atomic) {
      EXPECT_EQ(Raw(tooSmall, c.size - 1), Bytes(c.size - 1, 0xAA));
    }
  }
}

TEST(BasicBinarySerializer, CompositeWriteThatDoesNotFitRollsBackButLeavesItsLeadingParts) {
  const Bytes lead(4, 0x11);
  const struct {
    const char* what;
    Write write;
    Bytes raw;  // the whole buffer afterwards
  } cases[] = {
      {"TimeValue into 6 bytes", [](BasicBinarySerializer& s) { s << qz_std::TimeValue(3, 4); },
       Cat({lead, {3, 0, 0, 0, 0xAA, 0xAA}})},
      {"Vector2 into 12 bytes", [](BasicBinarySerializer& s) { s << qz_math::Vector2(1.0, 2.0); },
       Cat({lead, D(0xF0, 0x3F), Bytes(4, 0xAA)})},
      {"VectorN<6> into 40 bytes", [](BasicBinarySerializer& s) { s << Ramp(1.0, 0.0); },
       Cat({lead, D(0xF0, 0x3F), D(0xF0, 0x3F), D(0xF0, 0x3F), D(0xF0, 0x3F), D(0xF0, 0x3F)})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    BasicBinarySerializer s(c.raw.size());
    std::memset(s.GetBuffer(), 0xAA, c.raw.size());
    s << 0x11111111;
    c.write(s);
    EXPECT_TRUE(!s);
    EXPECT_EQ(s.GetPosition(), 4u);
    EXPECT_EQ(Raw(s, c.raw.size()), c.raw);
  }
}

TEST(BasicBinarySerializer, FailureIsStickyThroughSeekToUntilClearWhichKeepsTheBuffer) {
  BasicBinarySerializer s(48, true);
  unsigned char* const buffer = s.GetBuffer();
  std::memset(buffer, 0xAA, 48);
  s << 1;
  ASSERT_TRUE(s.SeekTo(48));
  s << 2;
  ASSERT_TRUE(!s);
  ASSERT_TRUE(s.SeekTo(4));
  EXPECT_TRUE(!s);
  s << 0x55 << 1.0 << L"" << qz_std::TimeValue(1, 1) << qz_math::Vector2(1, 2) << Ramp(1, 1);
  EXPECT_EQ(StateOf(s), (State{4, 48, true, true, true}));
  EXPECT_EQ(Raw(s, 48), Cat({{1, 0, 0, 0}, Bytes(44, 0xAA)}));  // nothing written while failed
  s.Clear();
  EXPECT_EQ(StateOf(s), (State{0, 48, true, true, false}));
  EXPECT_EQ(s.GetBuffer(), buffer);
  s << 9;
  EXPECT_EQ(Written(s), (Bytes{9, 0, 0, 0}));
}

TEST(BasicBinarySerializer, SeekToIsBoundedByTheCapacityAndSetsTheLength) {
  BasicBinarySerializer s(10);
  EXPECT_TRUE(s.SeekTo(10));
  EXPECT_EQ(s.GetLength(), 10u);
  EXPECT_FALSE(s.SeekTo(11));
  EXPECT_EQ(s.GetPosition(), 10u);
  EXPECT_TRUE(s.SeekTo(2));
  EXPECT_EQ(s.GetLength(), 2u);
  s << 0x01020304;
  EXPECT_EQ(s.GetLength(), 6u);
  EXPECT_EQ(Raw(s, 6)[2], 0x04);
}

// ---- AttachBuffer and the attaching constructor ----

TEST(BasicBinarySerializer, AttachRejectsLengthAboveCapacityAndNullDataChangingNothing) {
  BasicBinarySerializer s(8);
  s << 1 << 1.0;
  unsigned char* const buffer = s.GetBuffer();
  unsigned char data[4] = {1, 2, 3, 4};
  EXPECT_FALSE(s.AttachBuffer(data, 3, 4, false, false));
  EXPECT_FALSE(s.AttachBuffer(nullptr, 8, 0, true, false));
  EXPECT_FALSE(s.AttachBuffer(nullptr, 8, 0, false, false));
  EXPECT_EQ(s.GetBuffer(), buffer);
  EXPECT_EQ(StateOf(s), (State{4, 8, true, false, true}));

  BasicBinarySerializer rejected(data, 2, 4, true, true);
  EXPECT_EQ(rejected.GetBuffer(), nullptr);
  EXPECT_EQ(StateOf(rejected), (State{0, 0, false, false, false}));
}

TEST(BasicBinarySerializer, AttachWithoutCopyFreesAnOwnedBufferAndWritesAfterTheLength) {
  unsigned char data[8] = {9, 9, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
  BasicBinarySerializer s(4, true);  // freed by the attach, or the leak checker complains
  s << 1.0;
  ASSERT_TRUE(!s);
  EXPECT_TRUE(s.AttachBuffer(data, 6, 2, false, true));
  EXPECT_EQ(s.GetBuffer(), data);
  EXPECT_EQ(StateOf(s), (State{2, 6, false, false, false}));
  s << 0x04030201;
  s << 1;  // beyond the capacity argument
  EXPECT_TRUE(!s);
  EXPECT_EQ(Bytes(data, data + 8), (Bytes{9, 9, 1, 2, 3, 4, 0xAA, 0xAA}));

  BasicBinarySerializer view(data, 4, 4, false, true);
  EXPECT_EQ(view.GetBuffer(), data);
  EXPECT_EQ(StateOf(view), (State{4, 4, false, false, false}));
}

TEST(BasicBinarySerializer, AttachWithCopyKeepsAnOwnedBufferThatIsBigEnoughAndItsCapacity) {
  BasicBinarySerializer s(64);
  unsigned char* const buffer = s.GetBuffer();
  EXPECT_TRUE(s.SeekTo(64));
  s << 1;
  ASSERT_TRUE(!s);
  unsigned char data[6] = {1, 2, 3, 4, 5, 6};
  EXPECT_TRUE(s.AttachBuffer(data, 8, 6, true, true));
  EXPECT_EQ(s.GetBuffer(), buffer);
  EXPECT_EQ(StateOf(s), (State{6, 64, true, true, false}));  // the capacity is not the argument
  EXPECT_EQ(Written(s), (Bytes{1, 2, 3, 4, 5, 6}));
  // Exactly as big as the length is big enough too.
  unsigned char more[64] = {};
  more[63] = 0x5A;
  EXPECT_TRUE(s.AttachBuffer(more, 100, 64, true, false));
  EXPECT_EQ(s.GetBuffer(), buffer);
  EXPECT_EQ(StateOf(s), (State{64, 64, true, false, false}));
  EXPECT_EQ(Raw(s, 64)[63], 0x5A);
  // The source may overlap the kept buffer.
  s.Clear();
  s << 0x04030201 << 0x08070605;
  EXPECT_TRUE(s.AttachBuffer(s.GetBuffer() + 2, 8, 6, true, false));
  EXPECT_EQ(Written(s), (Bytes{3, 4, 5, 6, 7, 8}));
}

TEST(BasicBinarySerializer, AttachWithCopyAllocatesTheCapacityUnlessAnOwnedBufferIsBigEnough) {
  unsigned char data[6] = {1, 2, 3, 4, 5, 6};
  BasicBinarySerializer s;
  s << 1;
  EXPECT_TRUE(s.AttachBuffer(data, 4, 3, true, true));
  EXPECT_NE(s.GetBuffer(), data);
  EXPECT_EQ(StateOf(s), (State{3, 4, true, true, false}));
  data[0] = 7;
  EXPECT_EQ(Written(s), (Bytes{1, 2, 3}));
  // Owned but too small for 6 bytes: a failed allocation leaves no buffer and capacity 0...
  EXPECT_TRUE(s.AttachBuffer(data, kHugeSize, 6, true, true));
  EXPECT_EQ(s.GetBuffer(), nullptr);
  EXPECT_EQ(StateOf(s), (State{0, 0, true, true, false}));
  s << 1;
  EXPECT_TRUE(!s);
  // ...so the next copy allocates again.
  EXPECT_TRUE(s.AttachBuffer(data, 12, 6, true, false));
  EXPECT_EQ(StateOf(s), (State{6, 12, true, false, false}));
  EXPECT_EQ(Written(s), (Bytes{7, 2, 3, 4, 5, 6}));
}

TEST(BasicBinarySerializer, CopiesShareTheBufferAndTakeEveryFieldAsItStands) {
  BasicBinarySerializer source(8, true);
  source << 1 << 2 << 3;
  ASSERT_TRUE(!source);
  BasicBinarySerializer target;
  target = source;
  EXPECT_EQ(target.GetBuffer(), source.GetBuffer());
  EXPECT_EQ(StateOf(target), (State{8, 8, true, true, true}));
  target.Clear();
  target << 0x7F;
  EXPECT_EQ(source.GetBuffer()[0], 0x7F);  // shared, not duplicated

  BasicBinarySerializer constructed(target);
  EXPECT_EQ(constructed.GetBuffer(), source.GetBuffer());
  EXPECT_EQ(StateOf(constructed), (State{4, 8, true, true, false}));
  // Three owners of one buffer: only the target frees it.
  Access::Disown(constructed);
  Access::Disown(source);
}

// ---- InternalGrow (kept, never called by writes) ----

TEST(BasicBinarySerializer, InternalGrowMovesTheWrittenBytesButLeavesTheCapacity) {
  unsigned char data[8] = {};
  BasicBinarySerializer view(data, 8, 0, false, true);
  BasicBinarySerializer fixed(8, false);
  EXPECT_FALSE(Access::Grow(view, 100));
  EXPECT_FALSE(Access::Grow(fixed, 100));
  const std::uint64_t needs[] = {0, 8, 9, 20, 30, 1000, kHugeSize};
  for (std::uint64_t needed : needs) {
    SCOPED_TRACE(needed);
    BasicBinarySerializer s(8, true);
    s << 0x04030201 << 0x08070605;
    unsigned char* const before = s.GetBuffer();
    const bool grows = needed > 8 && needed != kHugeSize;  // no shortfall, or no memory
    EXPECT_EQ(Access::Grow(s, needed), grows);
    EXPECT_EQ(s.GetBuffer() != before, grows);
    EXPECT_EQ(Written(s), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    s << 1;
    EXPECT_EQ(StateOf(s), (State{8, 8, true, true, true}));  // still bounded by the old capacity
  }
}

// The same mixed run written through the operators and through a block
// writer, into every capacity from none to more than enough and after a
// failure already set: the bytes (written or not), the position and the flag
// must agree.
TEST(BasicBinarySerializer, BlockWriterFollowsTheOperatorsAtEveryCapacity) {
  auto run = [](auto& out) {
    out << 1 << 2u << std::int64_t{-3} << std::uint64_t{4} << 5.5f << 6.5 << qz_std::TimeValue(7, 8)
        << qz_math::Vector2(9, 10) << Ramp(11, 1) << std::wstring(L"ab") << L"c" << -12;
  };
  constexpr std::uint64_t kAll = 4 + 4 + 8 + 8 + 4 + 8 + 8 + 16 + 48 + 8 + 6 + 4;
  for (std::uint64_t capacity = 0; capacity <= kAll + 1; ++capacity) {
    for (bool failedBefore : {false, true}) {
      SCOPED_TRACE(testing::Message() << "capacity " << capacity << (failedBefore ? ", failed before" : ""));
      BasicBinarySerializer plain(capacity + 1), block(capacity + 1);
      for (BasicBinarySerializer* s : {&plain, &block}) {
        std::memset(s->GetBuffer(), 0xAA, capacity + 1);
        ASSERT_TRUE(s->SeekTo(failedBefore ? capacity + 1 : 0));
        if (failedBefore) *s << 0;
        ASSERT_TRUE(s->SeekTo(1));  // a leading byte that stays, then exactly capacity bytes
      }
      run(plain);
      {
        BasicBinarySerializer::BlockWriter w(block);
        run(w);
        EXPECT_EQ(std::pair(w.GetPosition(), !w), std::pair(plain.GetPosition(), !plain));
      }
      EXPECT_EQ(StateOf(block), StateOf(plain));
      EXPECT_EQ(Raw(block, capacity + 1), Raw(plain, capacity + 1));
      EXPECT_EQ(!block, failedBefore || capacity < kAll);
    }
  }
}

}  // namespace
}  // namespace qz_dsc
