#include "qz_dsc/BasicBinaryDeserializer.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/FatalError.h"

namespace qz_dsc {
namespace {

using Bytes = std::vector<unsigned char>;
using qz_math::Vector2;
using qz_std::TimeValue;

constexpr bool kWide32 = sizeof(wchar_t) == 4;
constexpr std::uint64_t kHugeSize = std::numeric_limits<std::uint64_t>::max();

// A reader over the caller's bytes (no copy).
BasicBinaryDeserializer Over(Bytes& bytes) {
  return BasicBinaryDeserializer(bytes.data(), static_cast<std::int64_t>(bytes.size()), false);
}

Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& p : parts) {
    all.insert(all.end(), p.begin(), p.end());
  }
  return all;
}

// Little-endian values of width bytes each, one after the other.
Bytes Ints(std::initializer_list<std::uint64_t> values, int width = 4) {
  Bytes all;
  for (std::uint64_t v : values) {
    for (int i = 0; i < width; ++i) {
      all.push_back(static_cast<unsigned char>(v >> (8 * i)));
    }
  }
  return all;
}

Bytes Double(double d) { return Ints({std::bit_cast<std::uint64_t>(d)}, 8); }

using Values = std::vector<int>;

// The ints from the position on, read while four bytes remain.
Values Rest(BasicBinaryDeserializer& d) {
  Values out;
  for (int v = 0; d.PeekInt(v); d >> v) {
    out.push_back(v);
  }
  return out;
}

std::wstring Wide(std::initializer_list<unsigned> values) {
  std::wstring s;
  for (unsigned v : values) {
    s.push_back(static_cast<wchar_t>(v));
  }
  return s;
}

// The position and the failure flag, compared in one go.
std::pair<std::int64_t, bool> StateOf(const BasicBinaryDeserializer& d) { return {d.GetPosition(), !d}; }
constexpr bool kFailed = true;
constexpr bool kGood = false;

std::pair<int, int> Fields(const TimeValue& t) { return {t.GetSeconds(), t.GetMicroseconds()}; }

qz_math::VectorN<6> Ramp(double first, double step) {
  qz_math::VectorN<6> v;
  for (int i = 0; i < 6; ++i) {
    v[i] = first + i * step;
  }
  return v;
}

// Reads one value from exactly its bytes into target and returns it.
template <class T>
T ReadOne(Bytes bytes, T target = T()) {
  BasicBinaryDeserializer d = Over(bytes);
  d >> target;
  EXPECT_FALSE(!d);
  EXPECT_TRUE(d.IsEnd());
  return target;
}

// Writes value with the serializer and reads it back.
template <class T>
T RoundTrip(const T& value) {
  BasicBinarySerializer s(256);
  s << value;
  EXPECT_FALSE(!s);
  return ReadOne(Bytes(s.GetBuffer(), s.GetBuffer() + s.GetLength()), T());
}

template <class... T>
void ExpectRoundTrips(const T&... values) {
  ([&] { EXPECT_EQ(RoundTrip(values), values); }(), ...);
}

// A read from one byte less than the value needs fails and leaves the target.
template <class T>
void ExpectShortReadFails(std::size_t size, T old) {
  SCOPED_TRACE(testing::Message() << "size " << size);
  Bytes bytes(size - 1, 0x11);
  BasicBinaryDeserializer d = Over(bytes);
  T target = old;
  d >> target;
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{0}, kFailed));
  EXPECT_EQ(target, old);
}

// Records the error codes reported through the fatal-error hook for one test
// and puts the previous hook back afterwards.
class BasicBinaryDeserializerFault : public ::testing::Test {
 protected:
  void SetUp() override {
    s_codes.clear();
    m_previous = SetFatalErrorHook([](const char*, int code) { s_codes.push_back(code); });
  }
  void TearDown() override { SetFatalErrorHook(m_previous); }

  using Codes = std::vector<int>;
  static Codes s_codes;

 private:
  FatalErrorHook m_previous = nullptr;
};

BasicBinaryDeserializerFault::Codes BasicBinaryDeserializerFault::s_codes;

TEST(BasicBinaryDeserializer, DefaultIsEmptyAndNonCopyingConstructorReadsTheCallersBytes) {
  BasicBinaryDeserializer d;
  EXPECT_TRUE(d.IsEnd());
  EXPECT_FALSE(d.SeekTo(1));
  int v = 5;
  d >> v;
  EXPECT_TRUE(!d);
  EXPECT_EQ(v, 5);

  Bytes bytes = Ints({1});
  BasicBinaryDeserializer view(bytes.data(), 4, false);
  bytes[0] = 42;  // not a copy
  EXPECT_EQ(Rest(view), Values{42});
}

TEST(BasicBinaryDeserializer, ReadsEveryTypeFromItsLittleEndianBytes) {
  EXPECT_EQ(ReadOne<int>({0xFE, 0xFF, 0xFF, 0xFF}), -2);
  EXPECT_EQ(ReadOne<unsigned>({0xD4, 0xC3, 0xB2, 0xA1}), 0xA1B2C3D4u);
  EXPECT_EQ(ReadOne<std::int64_t>({0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x81}),
            static_cast<std::int64_t>(0x8102030405060708ull));
  EXPECT_EQ(ReadOne<std::uint64_t>({0x88, 0x97, 0xA6, 0xB5, 0xC4, 0xD3, 0xE2, 0xF1}), 0xF1E2D3C4B5A69788ull);
  EXPECT_EQ(ReadOne<float>({0x00, 0x00, 0x80, 0x3F}), 1.0f);
  EXPECT_EQ(ReadOne<double>({0, 0, 0, 0, 0, 0, 0x04, 0xC0}), -2.5);
  EXPECT_EQ(ReadOne<std::wstring>({0x02, 0, 0, 0, 0x61, 0x00, 0x62, 0x00}), L"ab");
  EXPECT_EQ(ReadOne<std::wstring>({0x02, 0, 0, 0, 0xE9, 0x00, 0xAC, 0x20}), L"\u00E9\u20AC");
  EXPECT_EQ(ReadOne<std::wstring>({0, 0, 0, 0}, L"old"), L"");
  EXPECT_EQ(ReadOne<std::wstring>({0x02, 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE}),
            kWide32 ? Wide({0x1F600}) : Wide({0xD83D, 0xDE00}));
  // Lone surrogates stay: a high one before 'a', a low one before a high one.
  EXPECT_EQ(ReadOne<std::wstring>({0x02, 0, 0, 0, 0x00, 0xD8, 0x61, 0x00}), Wide({0xD800, 0x61}));
  EXPECT_EQ(ReadOne<std::wstring>({0x02, 0, 0, 0, 0x00, 0xDC, 0x00, 0xD8}), Wide({0xDC00, 0xD800}));
  EXPECT_EQ(ReadOne<std::wstring>({0x03, 0, 0, 0, 0x00, 0xDC, 0xFF, 0xDB, 0xFF, 0xDF}),
            kWide32 ? Wide({0xDC00, 0x10FFFF}) : Wide({0xDC00, 0xDBFF, 0xDFFF}));
  EXPECT_EQ(Fields(ReadOne<TimeValue>({0x01, 0, 0, 0, 0x20, 0xA1, 0x07, 0x00})), std::make_pair(1, 500000));
  EXPECT_EQ(ReadOne<Vector2>(Cat({Double(1.0), Double(-2.5)})), Vector2(1.0, -2.5));
  EXPECT_EQ(ReadOne<qz_math::VectorN<6>>(Cat({Double(0), Double(0.5), Double(1), Double(1.5), Double(2), Double(2.5)})),
            Ramp(0, 0.5));
}

TEST(BasicBinaryDeserializer, TimeValueIsNormalisedOnRead) {
  const struct {
    std::int32_t seconds, microseconds, wantSeconds, wantMicroseconds;
  } cases[] = {
      {2, -1, 1, 999999},
      {0, 2500000, 2, 500000},
      {-1, 5, 0, -999995},
      {INT32_MAX, 1000000, INT32_MIN, 0},  // the seconds wrap
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.seconds << ", " << c.microseconds);
    const TimeValue t =
        ReadOne<TimeValue>(Ints({static_cast<std::uint32_t>(c.seconds), static_cast<std::uint32_t>(c.microseconds)}));
    EXPECT_EQ(Fields(t), std::make_pair(c.wantSeconds, c.wantMicroseconds));
  }
}

TEST(BasicBinaryDeserializer, RoundTripsEveryTypeThroughTheSerializer) {
  std::wstring text = L"Gr\u00FC\u00DFe \u20AC" + Wide({0xD800, '.'});  // a lone surrogate survives
  if constexpr (kWide32) {
    text += Wide({0x1F600, 0x10FFFF});
  }
  ExpectRoundTrips(std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), 0u,
                   std::numeric_limits<unsigned>::max(), std::numeric_limits<std::int64_t>::min(),
                   std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::uint64_t>::max(),
                   std::numeric_limits<float>::infinity(), std::numeric_limits<double>::denorm_min(), text,
                   std::wstring(), TimeValue(-3, -250000), TimeValue(2147483647, 999999), Vector2(1e300, -1e-300),
                   Ramp(0.25, -1.5));
  EXPECT_TRUE(std::signbit(RoundTrip(-0.0f)));
  EXPECT_TRUE(std::isnan(RoundTrip(std::numeric_limits<double>::quiet_NaN())));
}

// ---- failure rules ----

TEST(BasicBinaryDeserializer, ReadOneByteShortFailsAndLeavesTheTarget) {
  ExpectShortReadFails(4, 7);
  ExpectShortReadFails(4, 7u);
  ExpectShortReadFails(8, std::int64_t{7});
  ExpectShortReadFails(8, std::uint64_t{7});
  ExpectShortReadFails(4, 1.5f);
  ExpectShortReadFails(8, 1.5);
  ExpectShortReadFails(4, std::wstring(L"old"));  // not even the count
  ExpectShortReadFails(8, std::wstring(L"old"));  // the count (0x11111111) is far too big
}

TEST(BasicBinaryDeserializer, FailureIsStickyUntilResetWhichKeepsThePosition) {
  Bytes bytes = Cat({Ints({0xFFFFFFFF, 20}), Bytes(16, 0), {1, 2}});
  BasicBinaryDeserializer d = Over(bytes);
  int a = 0, b = 0, c = 5;
  Vector2 v(5, 6);
  d >> a >> b >> v >> c;
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{24}, kFailed));
  EXPECT_EQ(std::tuple(a, b, v, c), std::tuple(-1, 20, Vector2(0, 0), 5));
  ASSERT_TRUE(d.SeekTo(0));
  EXPECT_TRUE(!d);  // SeekTo leaves the flag
  // Every read fails at once although the bytes are there; only a TimeValue is assigned.
  std::wstring s = L"old";
  EXPECT_NO_THROW(d >> s);  // the -1 count is never looked at
  v = Vector2(5, 6);
  TimeValue t(9, 9);
  d >> c >> v >> t;
  EXPECT_FALSE(d.PeekInt(c));
  EXPECT_EQ(std::tuple(c, s, v, Fields(t)), std::tuple(5, std::wstring(L"old"), Vector2(5, 6), std::pair(0, 0)));
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{0}, kFailed));
  d.Reset();
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{0}, kGood));
  d >> c;
  EXPECT_EQ(c, -1);
}

TEST(BasicBinaryDeserializer, CompositeReadThatDoesNotFitRollsBackButKeepsItsLeadingParts) {
  Bytes twelve = Cat({Ints({1}), Double(3.0), {0, 0, 0, 0}});
  BasicBinaryDeserializer d = Over(twelve);
  int lead = 0;
  Vector2 v(-1.0, -2.0);
  d >> lead >> v;
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{4}, kFailed));
  EXPECT_EQ(v, Vector2(3.0, -2.0));

  Bytes forty = Cat({Double(1), Double(2), Double(3), Double(4), Double(5)});
  BasicBinaryDeserializer e = Over(forty);
  qz_math::VectorN<6> v6 = Ramp(99, 0);
  e >> v6;
  EXPECT_EQ(StateOf(e), std::pair(std::int64_t{0}, kFailed));
  qz_math::VectorN<6> expected = Ramp(1, 1);
  expected[5] = 99;
  EXPECT_EQ(v6, expected);

  // A TimeValue is always assigned: the seconds read, or 0, and 0 microseconds.
  for (std::size_t size : {6u, 3u}) {
    SCOPED_TRACE(size);
    Bytes bytes = Cat({Ints({7}), {0xAA, 0xBB}});
    bytes.resize(size);
    BasicBinaryDeserializer f = Over(bytes);
    TimeValue t(5, 5);
    f >> t;
    EXPECT_EQ(StateOf(f), std::pair(std::int64_t{0}, kFailed));
    EXPECT_EQ(Fields(t), std::make_pair(size == 6 ? 7 : 0, 0));
  }
}

// The size check takes 2·n as a wrapped signed 32-bit product: negative counts
// that pass it throw, and huge counts whose product wraps fail.
TEST(BasicBinaryDeserializer, StringCountsThatDoNotFitFailOrThrowStringTooLong) {
  const struct {
    std::uint32_t count;
    std::size_t bytesAfter;
    bool throws;
  } cases[] = {
      {3, 5, false},            // one byte short
      {1000, 10, false},        // far too few
      {0xFFFFFFFF, 8, true},    // -1
      {0xFFFFFFFF, 0, true},    // 4 - 2 fits the count alone
      {0xFFFFFFFE, 0, true},    // -2: 4 - 4
      {0xFFFFFFFD, 64, false},  // -3: 4 - 6 is negative, so huge unsigned
      {0xFFFFFF00, 64, false},  // -256
      {0xC0000000, 64, false},  // 2·n wraps to INT_MIN
      {0x80000000, 64, true},   // INT_MIN: 2·n wraps to 0
      {0x80000020, 64, true},   // 2·n wraps to 64: exactly the bytes left
      {0x80000021, 64, false},  // 66: two too many
      {0x7FFFFFFF, 16, false},  // 2·n wraps to -2
      {0x7FFFFFFE, 16, false},  // -4
      {0x40000000, 16, false},  // INT_MIN
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << std::hex << c.count << std::dec << " + " << c.bytesAfter << " bytes");
    Bytes bytes = Cat({Ints({c.count}), Bytes(c.bytesAfter, 0x41)});
    BasicBinaryDeserializer d = Over(bytes);
    std::wstring s = L"old";
    std::string thrown;
    try {
      d >> s;
    } catch (const std::length_error& e) {
      thrown = e.what();
    }
    EXPECT_EQ(thrown, c.throws ? "string too long" : "");
    EXPECT_EQ(StateOf(d), std::pair(std::int64_t{0}, !c.throws));
    EXPECT_EQ(s, L"old");
  }
}

// ---- positioning ----

TEST(BasicBinaryDeserializer, PeekIntSeekToIsEndAndClearBoundaries) {
  Bytes bytes = Cat({Ints({0x01020304}), {9, 9, 9, 9, 9, 9}});
  BasicBinaryDeserializer d = Over(bytes);
  int v = 0;
  EXPECT_TRUE(d.PeekInt(v));
  EXPECT_EQ(v, 0x01020304);
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{0}, kGood));
  EXPECT_TRUE(d.SeekTo(7));
  v = 77;
  EXPECT_FALSE(d.PeekInt(v));  // three bytes left: false, and the flag stays clear
  EXPECT_EQ(v, 77);
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{7}, kGood));
  EXPECT_FALSE(d.IsEnd());
  EXPECT_TRUE(d.SeekTo(9));
  EXPECT_FALSE(d.IsEnd());
  EXPECT_TRUE(d.SeekTo(10));
  EXPECT_TRUE(d.IsEnd());
  EXPECT_FALSE(d.SeekTo(11));
  EXPECT_FALSE(d.SeekTo(kHugeSize));
  EXPECT_EQ(d.GetPosition(), 10);
  d >> v;
  ASSERT_TRUE(!d);
  EXPECT_TRUE(d.SeekTo(0));
  d.Clear();  // everything consumed, the flag left
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{10}, kFailed));
}

// ---- CreateDeserializer ----

TEST(BasicBinaryDeserializer, CreateDeserializerStartsAtThePositionAndOnlyChecksTheOffset) {
  Bytes bytes(120);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<unsigned char>(i);
  }
  BasicBinaryDeserializer d = Over(bytes);
  BasicBinaryDeserializer t;
  double x = 0;
  EXPECT_TRUE(d.SeekTo(116));
  d >> x;
  t >> x;
  ASSERT_TRUE(!d && !t);
  EXPECT_TRUE(d.SeekTo(8));
  EXPECT_TRUE(d.CreateDeserializer(t, 100, 0, false));
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{8}, kFailed));  // the source's flag stays
  EXPECT_EQ(StateOf(t), std::pair(std::int64_t{0}, kGood));    // the target's is cleared
  bytes[8] = 0xEE;  // not a copy
  int v = 0;
  t >> v;
  EXPECT_EQ(v, 0x0B0A09EE);
  EXPECT_TRUE(t.SeekTo(112));
  EXPECT_FALSE(t.SeekTo(113));

  BasicBinaryDeserializer u;
  EXPECT_FALSE(d.CreateDeserializer(u, 121, 0, false));
  EXPECT_TRUE(d.CreateDeserializer(u, 120, 0, false));
  EXPECT_FALSE(d.CreateDeserializer(u, 0, 113, false));
  EXPECT_TRUE(d.CreateDeserializer(u, 0, 112, false));
  EXPECT_TRUE(d.CreateDeserializer(u, 0, 4, false));
  EXPECT_TRUE(u.SeekTo(4));
  EXPECT_FALSE(u.SeekTo(5));

  d.Clear();  // nothing unread: an empty target
  EXPECT_TRUE(d.CreateDeserializer(u, 120, 0, false));
  EXPECT_TRUE(u.IsEnd());
  BasicBinaryDeserializer empty;
  EXPECT_TRUE(empty.CreateDeserializer(u, 0, 0, false));
  EXPECT_TRUE(u.IsEnd());
  EXPECT_FALSE(empty.CreateDeserializer(u, 1, 0, false));
  EXPECT_FALSE(empty.CreateDeserializer(u, 0, 1, false));
}

// ---- Resize and copying ----

TEST(BasicBinaryDeserializer, ResizeCompactsTheUnreadBytesOfAnOwnedBuffer) {
  Bytes source = Ints({1, 2, 3, 4, 5});
  BasicBinaryDeserializer empty;
  EXPECT_FALSE(empty.Resize(0));
  BasicBinaryDeserializer d = Over(source);
  EXPECT_FALSE(d.Resize(32));  // not owning
  Bytes room(64, 0);
  d = Over(room);
  d.AttachBuffer(source.data(), source.size(), true);  // a copy bounded by 64: owned
  EXPECT_TRUE(d.SeekTo(20));
  int v = 0;
  d >> v;
  ASSERT_TRUE(!d);
  EXPECT_TRUE(d.SeekTo(8));
  EXPECT_FALSE(d.Resize(11));  // 12 bytes unread
  EXPECT_TRUE(d.Resize(12));   // equal: nothing changes
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{8}, kFailed));
  EXPECT_FALSE(d.Resize(kHugeSize));  // allocation fails
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{8}, kFailed));
  EXPECT_TRUE(d.Resize(16));
  EXPECT_TRUE(!d);  // the flag is left alone
  d.Reset();
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{0}, kGood));
  EXPECT_EQ(Rest(d), (Values{3, 4, 5}));
  EXPECT_TRUE(d.IsEnd());
  EXPECT_TRUE(d.Resize(4));  // nothing unread
  EXPECT_EQ(d.GetPosition(), 0);
  EXPECT_FALSE(d.SeekTo(1));
}

TEST(BasicBinaryDeserializer, CopiesTakeEveryFieldAsItStandsOwnershipIncluded) {
  Bytes source = Ints({1, 2});
  Bytes room(8, 0);
  BasicBinaryDeserializer owner = Over(room);
  owner.AttachBuffer(source.data(), 8, true);  // owned copy
  int v = 0;
  double x = 0;
  owner >> v >> x;
  BasicBinaryDeserializer copy;
  copy = owner;
  EXPECT_EQ(StateOf(copy), std::pair(std::int64_t{4}, kFailed));
  copy.Reset();
  EXPECT_TRUE(!owner);
  EXPECT_TRUE(copy.Resize(8));        // owning, so it may compact (and frees the shared buffer)
  owner = BasicBinaryDeserializer();  // forget the freed buffer without freeing it
  EXPECT_EQ(Rest(copy), Values{2});
}

// ---- the copying paths and the fatal-error hook ----

TEST_F(BasicBinaryDeserializerFault, CopyingConstructorReportsAndHoldsZeros) {
  Bytes bytes = Ints({0x01020304});
  BasicBinaryDeserializer d(bytes.data(), 4, true);  // bound 0: a range error
  EXPECT_EQ(s_codes, Codes{34});
  EXPECT_EQ(Rest(d), Values{0});
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{4}, kGood));
  EXPECT_TRUE(d.IsEnd());
  EXPECT_TRUE(d.Resize(8));  // it owns its buffer

  BasicBinaryDeserializer n(nullptr, 8, true);
  EXPECT_EQ(s_codes, (Codes{34, 22}));
  EXPECT_EQ(Rest(n), (Values{0, 0}));
}

TEST_F(BasicBinaryDeserializerFault, CopyingNothingOrFailingToAllocateReportsNothing) {
  Bytes bytes = Ints({1});
  BasicBinaryDeserializer d(bytes.data(), 0, true);
  BasicBinaryDeserializer n(nullptr, 0, true);
  BasicBinaryDeserializer huge(bytes.data(), -1, true);
  Bytes room(8, 0);
  BasicBinaryDeserializer attached = Over(room);
  attached.AttachBuffer(room.data(), kHugeSize, true);
  EXPECT_TRUE(s_codes.empty());
  for (BasicBinaryDeserializer* r : {&d, &n, &huge, &attached}) {
    EXPECT_TRUE(r->IsEnd());
    EXPECT_FALSE(r->SeekTo(1));
  }
  EXPECT_FALSE(huge.Resize(4));  // no buffer
  EXPECT_FALSE(attached.Resize(4));
}

TEST_F(BasicBinaryDeserializerFault, AttachKeepsABigEnoughOwnedBufferWithItsCapacityOrFreesIt) {
  Bytes room(16, 0);
  Bytes first = Ints({1, 2, 3, 4});
  BasicBinaryDeserializer d = Over(room);
  d.AttachBuffer(first.data(), 16, true);  // bound 16: copied into a new owned buffer
  first[0] = 0x77;
  EXPECT_EQ(Rest(d), (Values{1, 2, 3, 4}));

  Bytes second = Ints({8});
  d.AttachBuffer(second.data(), 4, true);  // kept (capacity 16 >= 4)
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{0}, kGood));
  EXPECT_EQ(Rest(d), Values{8});
  EXPECT_TRUE(d.IsEnd());
  d.AttachBuffer(nullptr, 4, true);  // kept, null source: an invalid argument, and zeros
  EXPECT_EQ(s_codes, Codes{22});
  EXPECT_EQ(Rest(d), Values{0});

  Bytes third = Ints({9, 10, 11, 12});
  d.AttachBuffer(third.data(), 16, true);  // still kept: the capacity stayed 16, not 4
  EXPECT_EQ(Rest(d), (Values{9, 10, 11, 12}));

  Bytes fourth(20, 0x01);
  d.AttachBuffer(fourth.data(), 20, true);  // too big: a new buffer, bound 16 < 20
  EXPECT_EQ(s_codes, (Codes{22, 34}));
  EXPECT_EQ(Rest(d), (Values{0, 0, 0, 0, 0}));  // nothing copied
  EXPECT_TRUE(d.IsEnd());

  double x = 0;
  d >> x;
  ASSERT_TRUE(!d);
  d.AttachBuffer(first.data(), 8, false);  // the owned copy is freed (checked by the leak checker)
  EXPECT_FALSE(!d);
  EXPECT_FALSE(d.Resize(8));  // no longer owning
  EXPECT_EQ(Rest(d), (Values{0x77, 2}));
  EXPECT_EQ(s_codes, (Codes{22, 34}));
}

TEST_F(BasicBinaryDeserializerFault, CopyIntoANewBufferIsBoundedByTheOldCapacity) {
  Bytes bytes = Ints({5, 6, 7});
  BasicBinaryDeserializer d = Over(bytes);
  EXPECT_TRUE(d.SeekTo(4));
  Bytes big(64, 0);
  BasicBinaryDeserializer roomy = Over(big);  // capacity 64
  EXPECT_TRUE(d.CreateDeserializer(roomy, 0, 0, true));
  EXPECT_TRUE(s_codes.empty());
  BasicBinaryDeserializer fresh;  // capacity 0
  EXPECT_TRUE(d.CreateDeserializer(fresh, 0, 0, true));
  EXPECT_EQ(s_codes, Codes{34});
  bytes[4] = 0x55;
  EXPECT_EQ(Rest(roomy), (Values{6, 7}));
  EXPECT_TRUE(roomy.IsEnd());
  EXPECT_EQ(big[0], 0);  // the target's old bytes were only read, never written
  EXPECT_EQ(Rest(fresh), (Values{0, 0}));
  EXPECT_TRUE(fresh.IsEnd());

  roomy.AttachBuffer(nullptr, 0, true);  // nothing to copy
  BasicBinaryDeserializer view = Over(big);
  view.AttachBuffer(nullptr, 4, true);  // a new buffer, null source
  EXPECT_EQ(s_codes, (Codes{34, 22}));
}

TEST(BasicBinaryDeserializerDeathTest, DefaultHookEndsTheProcessOnACopyingConstructor) {
  Bytes bytes = Ints({1});
  EXPECT_DEATH(BasicBinaryDeserializer(bytes.data(), 4, true), "bounded copy");
}

// ---- arbitrary bytes ----

TEST(BasicBinaryDeserializer, ArbitraryBytesNeverReadOutsideTheBuffer) {
  std::mt19937 random(12345);
  for (int round = 0; round < 3000; ++round) {
    Bytes bytes(random() % 40);
    for (unsigned char& b : bytes) {
      b = static_cast<unsigned char>(random());
    }
    if (!bytes.empty() && random() % 4 == 0) {
      bytes[0] = 0xFF;  // negative counts
    }
    BasicBinaryDeserializer d(bytes.empty() ? nullptr : bytes.data(), static_cast<std::int64_t>(bytes.size()), false);
    for (int step = 0; step < 12 && !d.IsEnd(); ++step) {
      int i = 0;
      double x = 0;
      std::wstring s;
      TimeValue t;
      Vector2 v2;
      qz_math::VectorN<6> v6;
      BasicBinaryDeserializer sub;
      switch (random() % 9) {
        case 0: d >> i; break;
        case 1: d >> x; break;
        case 2:
          try {
            d >> s;
          } catch (const std::length_error&) {
            static_cast<void>(d.SeekTo(static_cast<std::uint64_t>(d.GetPosition()) + 1));
          }
          break;
        case 3: d >> t; break;
        case 4: d >> v2; break;
        case 5: d >> v6; break;
        case 6: static_cast<void>(d.PeekInt(i)); break;
        case 7: static_cast<void>(d.CreateDeserializer(sub, random() % 50, random() % 8, false)); sub >> i; break;
        default: d.Reset(); static_cast<void>(d.SeekTo(random() % 48)); break;
      }
    }
  }
}

// Every target of a mixed run, preset to values the input never holds.
struct Targets {
  int i = -1;
  unsigned u = 1;
  std::int64_t i64 = -1;
  std::uint64_t u64 = 1;
  float f = -1;
  double d = -1;
  TimeValue t{5, 5};
  Vector2 v2{-1, -1};
  qz_math::VectorN<6> v6 = Ramp(-1, 0);
  std::wstring s = L"old";
  int last = -1;
  bool operator==(const Targets&) const = default;
};

// The same run read through the operators and through a block reader from
// every prefix of its bytes, and after a failure already set: the targets
// (leading vector components and the always-assigned time value included),
// the position and the flag must agree.
TEST(BasicBinaryDeserializer, BlockReaderFollowsTheOperatorsAtEveryLength) {
  auto run = [](auto& in, Targets& x) {
    in >> x.i >> x.u >> x.i64 >> x.u64 >> x.f >> x.d >> x.t >> x.v2 >> x.v6 >> x.s >> x.last;
  };
  Bytes all = Cat({Ints({1, 2}), Ints({3, 4}, 8), Ints({std::bit_cast<std::uint32_t>(5.5f)}), Double(6.5),
                   Ints({7, 2'000'001}), Double(9), Double(10), Double(11), Double(12), Double(13), Double(14),
                   Double(15), Double(16), Ints({2}), {'a', 0, 'b', 0}, Ints({17})});
  for (std::size_t length = 0; length <= all.size(); ++length) {
    for (bool failedBefore : {false, true}) {
      SCOPED_TRACE(testing::Message() << "length " << length << (failedBefore ? ", failed before" : ""));
      Bytes bytes(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(length));
      BasicBinaryDeserializer plain = Over(bytes), block = Over(bytes);
      for (BasicBinaryDeserializer* d : {&plain, &block}) {
        int sink = 0;
        ASSERT_TRUE(d->SeekTo(failedBefore ? length : 0));
        if (failedBefore) *d >> sink;
        ASSERT_TRUE(d->SeekTo(0));
      }
      Targets viaPlain, viaBlock;
      run(plain, viaPlain);
      {
        BasicBinaryDeserializer::BlockReader r(block);
        run(r, viaBlock);
        EXPECT_EQ(std::pair(!r, r.IsEnd()), std::pair(!plain, plain.IsEnd()));
      }
      EXPECT_EQ(viaBlock, viaPlain);
      EXPECT_EQ(StateOf(block), StateOf(plain));
      EXPECT_EQ(!block, failedBefore || length < all.size());
      if (length == all.size() && !failedBefore) {
        EXPECT_EQ(Fields(viaBlock.t), std::make_pair(9, 1));
      }
    }
  }
}

// A string count that throws through a block reader leaves the deserializer
// where the string started, and the reader carries on from there.
TEST(BasicBinaryDeserializer, BlockReaderStringThatThrowsMovesNothing) {
  Bytes bytes = Cat({Ints({3, 0xFFFFFFFF}), Bytes(8, 0x41)});
  BasicBinaryDeserializer d = Over(bytes);
  BasicBinaryDeserializer::BlockReader r(d);
  int first = 0, count = 0;
  std::wstring s = L"old";
  r >> first;
  EXPECT_THROW(r >> s, std::length_error);
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{4}, kGood));
  r >> count;
  r.Commit();
  EXPECT_EQ(std::tuple(first, count, s), std::tuple(3, -1, std::wstring(L"old")));
  EXPECT_EQ(StateOf(d), std::pair(std::int64_t{8}, kGood));
}

}  // namespace
}  // namespace qz_dsc
