#include "qz_dsc/BasicBinaryDeserializer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/FatalError.h"

namespace qz_dsc {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr bool kWide32 = sizeof(wchar_t) == 4;

// A reader over the caller's bytes (no copy).
BasicBinaryDeserializer Over(Bytes& bytes) {
  return BasicBinaryDeserializer(bytes.data(), static_cast<std::int64_t>(bytes.size()), false);
}

Bytes Concat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& p : parts) {
    all.insert(all.end(), p.begin(), p.end());
  }
  return all;
}

Bytes Le32(std::uint32_t v) {
  return {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v >> 16),
          static_cast<unsigned char>(v >> 24)};
}

Bytes Le64(std::uint64_t v) {
  Bytes b;
  for (int i = 0; i < 8; ++i) {
    b.push_back(static_cast<unsigned char>(v >> (8 * i)));
  }
  return b;
}

Bytes Double(double d) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &d, 8);
  return Le64(bits);
}

// Records the faults reported through the fatal-error hook for one test and
// puts the previous hook back afterwards.
class BasicBinaryDeserializerFault : public ::testing::Test {
 protected:
  void SetUp() override {
    s_faults.clear();
    m_previous = SetFatalErrorHook(&Record);
  }
  void TearDown() override { SetFatalErrorHook(m_previous); }

  static void Record(const char* what, int code) { s_faults.emplace_back(what ? what : "", code); }

  static std::vector<std::pair<std::string, int>> s_faults;

 private:
  FatalErrorHook m_previous = nullptr;
};

std::vector<std::pair<std::string, int>> BasicBinaryDeserializerFault::s_faults;

// ---- construction and state ----

TEST(BasicBinaryDeserializer, DefaultIsEmptyAndEveryReadFails) {
  BasicBinaryDeserializer d;
  EXPECT_TRUE(d.IsEnd());
  EXPECT_EQ(d.GetPosition(), 0);
  EXPECT_FALSE(!d);
  int v = 5;
  EXPECT_FALSE(d.PeekInt(v));
  EXPECT_FALSE(!d);
  d >> v;
  EXPECT_TRUE(!d);
  EXPECT_EQ(v, 5);
  EXPECT_TRUE(d.SeekTo(0));
  EXPECT_FALSE(d.SeekTo(1));
}

TEST(BasicBinaryDeserializer, NonCopyingConstructorReadsTheCallersBytes) {
  Bytes bytes = Le32(1);
  BasicBinaryDeserializer d(bytes.data(), 4, false);
  bytes[0] = 42;  // not a copy
  int v = 0;
  d >> v;
  EXPECT_EQ(v, 42);
  EXPECT_TRUE(d.IsEnd());
  EXPECT_FALSE(!d);
}

// ---- exact bytes and round trips ----

TEST(BasicBinaryDeserializer, ReadsEveryScalarLittleEndian) {
  Bytes bytes = Concat({{0xFE, 0xFF, 0xFF, 0xFF},
                        {0xD4, 0xC3, 0xB2, 0xA1},
                        {0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x81},
                        {0x88, 0x97, 0xA6, 0xB5, 0xC4, 0xD3, 0xE2, 0xF1},
                        {0x00, 0x00, 0x80, 0x3F},
                        {0, 0, 0, 0, 0, 0, 0x04, 0xC0}});
  BasicBinaryDeserializer d = Over(bytes);
  int i = 0;
  unsigned int u = 0;
  std::int64_t i64 = 0;
  std::uint64_t u64 = 0;
  float f = 0;
  double x = 0;
  d >> i >> u >> i64 >> u64 >> f >> x;
  EXPECT_FALSE(!d);
  EXPECT_EQ(i, -2);
  EXPECT_EQ(u, 0xA1B2C3D4u);
  EXPECT_EQ(i64, static_cast<std::int64_t>(0x8102030405060708ull));
  EXPECT_EQ(u64, 0xF1E2D3C4B5A69788ull);
  EXPECT_EQ(f, 1.0f);
  EXPECT_EQ(x, -2.5);
  EXPECT_EQ(d.GetPosition(), 36);
  EXPECT_TRUE(d.IsEnd());
}

TEST(BasicBinaryDeserializer, ReadsStringsFromUtf16CodeUnits) {
  Bytes bytes = Concat({{0x02, 0, 0, 0, 0x61, 0x00, 0x62, 0x00}, {0, 0, 0, 0}, {0x02, 0, 0, 0, 0xE9, 0x00, 0xAC, 0x20}});
  BasicBinaryDeserializer d = Over(bytes);
  std::wstring a, empty = L"old", accents;
  d >> a;
  EXPECT_EQ(d.GetPosition(), 8);
  d >> empty >> accents;
  EXPECT_FALSE(!d);
  EXPECT_EQ(a, L"ab");
  EXPECT_EQ(empty, L"");
  EXPECT_EQ(accents, L"\u00E9\u20AC");
  EXPECT_TRUE(d.IsEnd());
}

TEST(BasicBinaryDeserializer, SurrogatePairBecomesOneCharacterAndLoneSurrogatesStay) {
  Bytes bytes = Concat({{0x02, 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE},               // U+1F600
                        {0x02, 0, 0, 0, 0x00, 0xD8, 0x61, 0x00},               // lone high, then 'a'
                        {0x02, 0, 0, 0, 0x00, 0xDC, 0x00, 0xD8},               // low then high: both lone
                        {0x03, 0, 0, 0, 0x00, 0xDC, 0xFF, 0xDB, 0xFF, 0xDF}});  // lone low, then U+10FFFF
  BasicBinaryDeserializer d = Over(bytes);
  std::wstring pair, loneHigh, reversed, mixed;
  d >> pair >> loneHigh >> reversed >> mixed;
  EXPECT_FALSE(!d);
  EXPECT_TRUE(d.IsEnd());
  if constexpr (kWide32) {
    EXPECT_EQ(pair, std::wstring(1, static_cast<wchar_t>(0x1F600)));
    EXPECT_EQ(mixed, (std::wstring{static_cast<wchar_t>(0xDC00), static_cast<wchar_t>(0x10FFFF)}));
  } else {
    EXPECT_EQ(pair, (std::wstring{static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)}));
  }
  EXPECT_EQ(loneHigh, (std::wstring{static_cast<wchar_t>(0xD800), L'a'}));
  EXPECT_EQ(reversed, (std::wstring{static_cast<wchar_t>(0xDC00), static_cast<wchar_t>(0xD800)}));
}

TEST(BasicBinaryDeserializer, ReadsTimeValueAndVectors) {
  Bytes bytes = Concat({{0x01, 0, 0, 0, 0x20, 0xA1, 0x07, 0x00}, Double(1.0), Double(-2.5)});
  for (int i = 0; i < 6; ++i) {
    bytes = Concat({bytes, Double(i * 0.5)});
  }
  BasicBinaryDeserializer d = Over(bytes);
  qz_std::TimeValue t;
  qz_math::Vector2 v2;
  qz_math::VectorN<6> v6;
  d >> t >> v2 >> v6;
  EXPECT_FALSE(!d);
  EXPECT_TRUE(d.IsEnd());
  EXPECT_EQ(t, qz_std::TimeValue(1, 500000));
  EXPECT_EQ(v2, qz_math::Vector2(1.0, -2.5));
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(v6[i], i * 0.5);
  }
}

TEST(BasicBinaryDeserializer, RoundTripsEveryTypeThroughTheSerializer) {
  BasicBinarySerializer s(1024);
  const double denormal = std::numeric_limits<double>::denorm_min();
  qz_math::VectorN<6> v6;
  for (int i = 0; i < 6; ++i) {
    v6[i] = -1.5 * i + 0.25;
  }
  std::wstring text = L"Gr\u00FC\u00DFe \u20AC";
  text += static_cast<wchar_t>(0xD800);  // a lone surrogate survives
  text += L'.';
  if constexpr (kWide32) {
    text += static_cast<wchar_t>(0x1F600);
    text += static_cast<wchar_t>(0x10FFFF);
  }
  s << std::numeric_limits<int>::min() << std::numeric_limits<int>::max() << 0u << std::numeric_limits<unsigned>::max()
    << std::numeric_limits<std::int64_t>::min() << std::numeric_limits<std::int64_t>::max()
    << std::numeric_limits<std::uint64_t>::max() << -0.0f << std::numeric_limits<float>::infinity()
    << std::numeric_limits<double>::quiet_NaN() << denormal << text << std::wstring() << L"plain"
    << qz_std::TimeValue(-3, -250000) << qz_std::TimeValue(2147483647, 999999) << qz_math::Vector2(1e300, -1e-300)
    << v6;
  ASSERT_FALSE(!s);

  BasicBinaryDeserializer d(s.GetBuffer(), static_cast<std::int64_t>(s.GetLength()), false);
  int imin = 0, imax = 0;
  unsigned umin = 1, umax = 0;
  std::int64_t lmin = 0, lmax = 0;
  std::uint64_t ulmax = 0;
  float negZero = 1, inf = 0;
  double nan = 0, den = 0;
  std::wstring t1, t2 = L"x", t3;
  qz_std::TimeValue tv1, tv2;
  qz_math::Vector2 v2;
  qz_math::VectorN<6> r6;
  d >> imin >> imax >> umin >> umax >> lmin >> lmax >> ulmax >> negZero >> inf >> nan >> den >> t1 >> t2 >> t3 >> tv1 >>
      tv2 >> v2 >> r6;
  ASSERT_FALSE(!d);
  EXPECT_TRUE(d.IsEnd());
  EXPECT_EQ(imin, std::numeric_limits<int>::min());
  EXPECT_EQ(imax, std::numeric_limits<int>::max());
  EXPECT_EQ(umin, 0u);
  EXPECT_EQ(umax, std::numeric_limits<unsigned>::max());
  EXPECT_EQ(lmin, std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(lmax, std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(ulmax, std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(negZero, 0.0f);
  EXPECT_TRUE(std::signbit(negZero));
  EXPECT_EQ(inf, std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(nan));
  EXPECT_EQ(den, denormal);
  EXPECT_EQ(t1, text);
  EXPECT_EQ(t2, L"");
  EXPECT_EQ(t3, L"plain");
  EXPECT_EQ(tv1, qz_std::TimeValue(-3, -250000));
  EXPECT_EQ(tv2, qz_std::TimeValue(2147483647, 999999));
  EXPECT_EQ(v2, qz_math::Vector2(1e300, -1e-300));
  EXPECT_EQ(r6, v6);
}

// ---- failure rules ----

TEST(BasicBinaryDeserializer, ScalarReadPastTheEndFailsAndLeavesTheTarget) {
  Bytes bytes = {1, 2, 3};
  BasicBinaryDeserializer d = Over(bytes);
  int i = 7;
  d >> i;
  EXPECT_TRUE(!d);
  EXPECT_EQ(i, 7);
  EXPECT_EQ(d.GetPosition(), 0);

  Bytes seven(7, 0x11);
  BasicBinaryDeserializer e = Over(seven);
  double x = 1.5;
  std::uint64_t u = 9;
  e >> x;
  EXPECT_TRUE(!e);
  e.Reset();
  e >> u;
  EXPECT_TRUE(!e);
  EXPECT_EQ(x, 1.5);
  EXPECT_EQ(u, 9u);
  EXPECT_EQ(e.GetPosition(), 0);
}

TEST(BasicBinaryDeserializer, FailureIsStickyUntilResetWhichKeepsThePosition) {
  Bytes bytes = Concat({Le32(10), Le32(20), {1, 2}});
  BasicBinaryDeserializer d = Over(bytes);
  int a = 0, b = 0, c = 0;
  d >> a >> b >> c;
  EXPECT_TRUE(!d);
  EXPECT_EQ(a, 10);
  EXPECT_EQ(b, 20);
  EXPECT_EQ(c, 0);
  EXPECT_EQ(d.GetPosition(), 8);
  ASSERT_TRUE(d.SeekTo(0));
  EXPECT_TRUE(!d);  // SeekTo leaves the flag
  d >> c;
  EXPECT_EQ(c, 0);  // fails at once although the bytes are there
  EXPECT_EQ(d.GetPosition(), 0);
  d.Reset();
  EXPECT_FALSE(!d);
  EXPECT_EQ(d.GetPosition(), 0);
  d >> c;
  EXPECT_EQ(c, 10);
}

TEST(BasicBinaryDeserializer, Vector2FromTwelveBytesRollsBackButKeepsTheFirstComponent) {
  Bytes bytes = Concat({Le32(1), Double(3.0), {0, 0, 0, 0}});
  BasicBinaryDeserializer d = Over(bytes);
  int lead = 0;
  d >> lead;
  qz_math::Vector2 v(-1.0, -2.0);
  d >> v;
  EXPECT_TRUE(!d);
  EXPECT_EQ(d.GetPosition(), 4);
  EXPECT_EQ(v[0], 3.0);
  EXPECT_EQ(v[1], -2.0);
}

TEST(BasicBinaryDeserializer, Vector6FromFortyBytesRollsBackButKeepsFiveComponents) {
  Bytes bytes;
  for (int i = 0; i < 5; ++i) {
    bytes = Concat({bytes, Double(i + 1.0)});
  }
  BasicBinaryDeserializer d = Over(bytes);
  qz_math::VectorN<6> v;
  v[5] = 99.0;
  d >> v;
  EXPECT_TRUE(!d);
  EXPECT_EQ(d.GetPosition(), 0);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(v[i], i + 1.0);
  }
  EXPECT_EQ(v[5], 99.0);
}

TEST(BasicBinaryDeserializer, CompositeReadWhileFailedChangesNothing) {
  Bytes bytes = Concat({Double(1.0), Double(2.0)});
  BasicBinaryDeserializer d = Over(bytes);
  d.SeekTo(16);
  int x = 0;
  d >> x;
  ASSERT_TRUE(!d);
  d.SeekTo(0);
  qz_math::Vector2 v(5.0, 6.0);
  d >> v;
  EXPECT_EQ(v, qz_math::Vector2(5.0, 6.0));
  EXPECT_EQ(d.GetPosition(), 0);
}

TEST(BasicBinaryDeserializer, TimeValueFromSixBytesFailsButAssignsTheSecondsRead) {
  Bytes bytes = Concat({Le32(7), {0xAA, 0xBB}});
  BasicBinaryDeserializer d = Over(bytes);
  qz_std::TimeValue t(5, 5);
  d >> t;
  EXPECT_TRUE(!d);
  EXPECT_EQ(d.GetPosition(), 0);
  EXPECT_EQ(t.GetSeconds(), 7);
  EXPECT_EQ(t.GetMicroseconds(), 0);
}

TEST(BasicBinaryDeserializer, TimeValueFromThreeBytesAssignsZero) {
  Bytes bytes = {1, 2, 3};
  BasicBinaryDeserializer d = Over(bytes);
  qz_std::TimeValue t(5, 5);
  d >> t;
  EXPECT_TRUE(!d);
  EXPECT_EQ(d.GetPosition(), 0);
  EXPECT_EQ(t, qz_std::TimeValue(0, 0));
}

TEST(BasicBinaryDeserializer, TimeValueReadWhileFailedAssignsZeroAndKeepsThePosition) {
  Bytes bytes = Concat({Le32(1), Le32(2), Le32(3)});
  BasicBinaryDeserializer d = Over(bytes);
  d.SeekTo(12);
  int x = 0;
  d >> x;
  ASSERT_TRUE(!d);
  d.SeekTo(0);
  qz_std::TimeValue t(9, 9);
  d >> t;
  EXPECT_EQ(t, qz_std::TimeValue(0, 0));
  EXPECT_EQ(d.GetPosition(), 0);
  EXPECT_TRUE(!d);
}

TEST(BasicBinaryDeserializer, TimeValueIsNormalisedOnRead) {
  Bytes bytes = Concat({Le32(2), Le32(static_cast<std::uint32_t>(-1)),           // (2, -1)
                        Le32(0), Le32(2500000),                                   // (0, 2500000)
                        Le32(static_cast<std::uint32_t>(-1)), Le32(5),            // (-1, 5)
                        Le32(0x7FFFFFFF), Le32(1000000)});                        // seconds wrap
  BasicBinaryDeserializer d = Over(bytes);
  qz_std::TimeValue a, b, c, e;
  d >> a >> b >> c >> e;
  EXPECT_FALSE(!d);
  EXPECT_EQ(a.GetSeconds(), 1);
  EXPECT_EQ(a.GetMicroseconds(), 999999);
  EXPECT_EQ(b, qz_std::TimeValue(2, 500000));
  EXPECT_EQ(c.GetSeconds(), 0);
  EXPECT_EQ(c.GetMicroseconds(), -999995);
  EXPECT_EQ(e, qz_std::TimeValue(0x7FFFFFFF, 1000000));
}

TEST(BasicBinaryDeserializer, StringWithTooFewBytesForTheCountFails) {
  Bytes bytes = {0, 0, 0};
  BasicBinaryDeserializer d = Over(bytes);
  std::wstring s = L"old";
  d >> s;
  EXPECT_TRUE(!d);
  EXPECT_EQ(s, L"old");
  EXPECT_EQ(d.GetPosition(), 0);
}

TEST(BasicBinaryDeserializer, StringCountBeyondTheRemainingBytesFails) {
  Bytes bytes = Concat({Le32(1000), Bytes(10, 0x41)});
  BasicBinaryDeserializer d = Over(bytes);
  std::wstring s = L"old";
  d >> s;
  EXPECT_TRUE(!d);
  EXPECT_EQ(s, L"old");
  EXPECT_EQ(d.GetPosition(), 0);

  Bytes oneShort = Concat({Le32(3), {0x61, 0, 0x62, 0, 0x63}});
  BasicBinaryDeserializer e = Over(oneShort);
  e >> s;
  EXPECT_TRUE(!e);
  EXPECT_EQ(s, L"old");
}

TEST(BasicBinaryDeserializer, StringCountOfMinusOneThrowsStringTooLong) {
  Bytes bytes = Concat({Le32(0xFFFFFFFF), Bytes(8, 0)});
  BasicBinaryDeserializer d = Over(bytes);
  std::wstring s = L"old";
  try {
    d >> s;
    ADD_FAILURE() << "no exception";
  } catch (const std::length_error& e) {
    EXPECT_STREQ(e.what(), "string too long");
  }
  EXPECT_FALSE(!d);
  EXPECT_EQ(s, L"old");
  EXPECT_EQ(d.GetPosition(), 0);

  Bytes countOnly = Le32(0xFFFFFFFF);  // 4 + 2·(-1) = 2 fits the 4 bytes
  BasicBinaryDeserializer e = Over(countOnly);
  EXPECT_THROW(e >> s, std::length_error);
  Bytes minusTwo = Le32(0xFFFFFFFE);  // 4 + 2·(-2) = 0 fits as well
  BasicBinaryDeserializer f = Over(minusTwo);
  EXPECT_THROW(f >> s, std::length_error);
}

TEST(BasicBinaryDeserializer, CountsFromIntMinUpWrapToSmallSizesAndThrow) {
  // 2·INT_MIN wraps to 0 and 2·(INT_MIN + 3) to 6: both pass the size check.
  for (std::uint32_t count : {0x80000000u, 0x80000003u}) {
    Bytes bytes = Concat({Le32(count), Bytes(64, 0)});
    BasicBinaryDeserializer d = Over(bytes);
    std::wstring s = L"old";
    EXPECT_THROW(d >> s, std::length_error) << count;
    EXPECT_FALSE(!d);
    EXPECT_EQ(s, L"old");
    EXPECT_EQ(d.GetPosition(), 0);
  }
}

TEST(BasicBinaryDeserializer, OtherNegativeCountsFailWithoutThrowing) {
  for (std::uint32_t count : {0xFFFFFFFDu, 0xFFFFFF00u, 0xC0000000u, 0x80000028u}) {
    Bytes bytes = Concat({Le32(count), Bytes(64, 0)});
    BasicBinaryDeserializer d = Over(bytes);
    std::wstring s = L"old";
    EXPECT_NO_THROW(d >> s) << count;
    EXPECT_TRUE(!d) << count;
    EXPECT_EQ(s, L"old");
    EXPECT_EQ(d.GetPosition(), 0);
  }
}

TEST(BasicBinaryDeserializer, HugeCountsWhoseByteSizeWrapsFail) {
  // 2·n wraps to -2, -4 and INT_MIN: the format's check passes for the first
  // two, but the bytes are not there.
  for (std::uint32_t count : {0x7FFFFFFFu, 0x7FFFFFFEu, 0x40000000u}) {
    Bytes bytes = Concat({Le32(count), Bytes(16, 0x41)});
    BasicBinaryDeserializer d = Over(bytes);
    std::wstring s = L"old";
    EXPECT_NO_THROW(d >> s) << count;
    EXPECT_TRUE(!d) << count;
    EXPECT_EQ(s, L"old");
    EXPECT_EQ(d.GetPosition(), 0);
  }
}

TEST(BasicBinaryDeserializer, StringReadWhileFailedReturnsAtOnce) {
  Bytes bytes = Concat({Le32(0xFFFFFFFF), Bytes(8, 0)});
  BasicBinaryDeserializer d = Over(bytes);
  d.SeekTo(12);
  int x = 0;
  d >> x;
  ASSERT_TRUE(!d);
  d.SeekTo(0);
  std::wstring s = L"old";
  EXPECT_NO_THROW(d >> s);  // the -1 count is never looked at
  EXPECT_EQ(s, L"old");
  EXPECT_TRUE(!d);
}

// ---- positioning ----

TEST(BasicBinaryDeserializer, PeekIntReadsWithoutMovingAndNeverSetsTheFlag) {
  Bytes bytes = Concat({Le32(0x01020304), {9, 9}});
  BasicBinaryDeserializer d = Over(bytes);
  int v = 0;
  EXPECT_TRUE(d.PeekInt(v));
  EXPECT_EQ(v, 0x01020304);
  EXPECT_EQ(d.GetPosition(), 0);
  d.SeekTo(4);
  v = 77;
  EXPECT_FALSE(d.PeekInt(v));  // two bytes left
  EXPECT_EQ(v, 77);
  EXPECT_FALSE(!d);
  d.Clear();
  EXPECT_FALSE(d.PeekInt(v));
  EXPECT_FALSE(!d);
  // While failed it answers false even with bytes there.
  d.SeekTo(4);
  d >> v;
  ASSERT_TRUE(!d);
  d.SeekTo(0);
  EXPECT_FALSE(d.PeekInt(v));
  EXPECT_EQ(v, 77);
}

TEST(BasicBinaryDeserializer, IsEndAndSeekToBoundaries) {
  Bytes bytes(10, 0);
  BasicBinaryDeserializer d = Over(bytes);
  EXPECT_FALSE(d.IsEnd());
  EXPECT_TRUE(d.SeekTo(10));
  EXPECT_TRUE(d.IsEnd());
  EXPECT_EQ(d.GetPosition(), 10);
  EXPECT_FALSE(d.SeekTo(11));
  EXPECT_EQ(d.GetPosition(), 10);
  EXPECT_TRUE(d.SeekTo(9));
  EXPECT_FALSE(d.IsEnd());
  EXPECT_FALSE(d.SeekTo(std::numeric_limits<std::uint64_t>::max()));
}

TEST(BasicBinaryDeserializer, ClearConsumesEverythingAndLeavesTheFlag) {
  Bytes bytes(10, 0);
  BasicBinaryDeserializer d = Over(bytes);
  d.Clear();
  EXPECT_EQ(d.GetPosition(), 10);
  EXPECT_TRUE(d.IsEnd());
  EXPECT_FALSE(!d);
  int v = 0;
  d >> v;
  ASSERT_TRUE(!d);
  d.SeekTo(0);
  d.Clear();
  EXPECT_TRUE(!d);
  EXPECT_EQ(d.GetPosition(), 10);
}

// ---- CreateDeserializer ----

TEST(BasicBinaryDeserializer, CreateDeserializerStartsAtThePositionNotTheOffset) {
  Bytes bytes(120);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<unsigned char>(i);
  }
  BasicBinaryDeserializer d = Over(bytes);
  d.SeekTo(8);
  BasicBinaryDeserializer t;
  EXPECT_TRUE(d.CreateDeserializer(t, 100, 0, false));
  EXPECT_EQ(d.GetPosition(), 8);
  EXPECT_EQ(t.GetPosition(), 0);
  int v = 0;
  t >> v;
  EXPECT_EQ(v, 0x0B0A0908);
  EXPECT_TRUE(t.SeekTo(112));
  EXPECT_FALSE(t.SeekTo(113));
  bytes[8] = 0xEE;  // not a copy
  t.SeekTo(0);
  t >> v;
  EXPECT_EQ(v & 0xFF, 0xEE);

  BasicBinaryDeserializer u;
  EXPECT_FALSE(d.CreateDeserializer(u, 121, 0, false));
  EXPECT_TRUE(d.CreateDeserializer(u, 120, 0, false));
  EXPECT_TRUE(d.CreateDeserializer(u, 0, 112, false));
  EXPECT_FALSE(d.CreateDeserializer(u, 0, 113, false));
  EXPECT_TRUE(d.CreateDeserializer(u, 0, 4, false));
  EXPECT_TRUE(u.SeekTo(4));
  EXPECT_FALSE(u.SeekTo(5));
}

TEST(BasicBinaryDeserializer, CreateDeserializerLeavesTheSourceFlagAndClearsTheTargets) {
  Bytes bytes = Concat({Le32(1), Le32(2)});
  BasicBinaryDeserializer d = Over(bytes);
  double x = 0;
  d.SeekTo(4);
  d >> x;
  ASSERT_TRUE(!d);
  BasicBinaryDeserializer t;
  int v = 0;
  t >> v;
  ASSERT_TRUE(!t);
  EXPECT_TRUE(d.CreateDeserializer(t, 0, 0, false));
  EXPECT_TRUE(!d);
  EXPECT_FALSE(!t);
  t >> v;
  EXPECT_EQ(v, 2);
  EXPECT_TRUE(t.IsEnd());
}

TEST(BasicBinaryDeserializer, CreateDeserializerAtTheEndGivesAnEmptyTarget) {
  Bytes bytes = Le32(1);
  BasicBinaryDeserializer d = Over(bytes);
  d.Clear();
  BasicBinaryDeserializer t;
  EXPECT_TRUE(d.CreateDeserializer(t, 4, 0, false));
  EXPECT_TRUE(t.IsEnd());
  BasicBinaryDeserializer empty;
  EXPECT_TRUE(empty.CreateDeserializer(t, 0, 0, false));
  EXPECT_TRUE(t.IsEnd());
  EXPECT_FALSE(empty.CreateDeserializer(t, 1, 0, false));
  EXPECT_FALSE(empty.CreateDeserializer(t, 0, 1, false));
}

TEST(BasicBinaryDeserializer, CreateDeserializerWithCopyIntoATargetWithRoomCopies) {
  Bytes bytes = Concat({Le32(5), Le32(6), Le32(7)});
  BasicBinaryDeserializer d = Over(bytes);
  d.SeekTo(4);
  Bytes big(64, 0);
  BasicBinaryDeserializer t = Over(big);  // capacity 64 bounds the copy
  EXPECT_TRUE(d.CreateDeserializer(t, 0, 0, true));
  bytes[4] = 0x55;
  int a = 0, b = 0;
  t >> a >> b;
  EXPECT_FALSE(!t);
  EXPECT_EQ(a, 6);
  EXPECT_EQ(b, 7);
  EXPECT_TRUE(t.IsEnd());
  EXPECT_EQ(big[0], 0);  // the target's old bytes were only read, never written
}

// ---- Resize ----

TEST(BasicBinaryDeserializer, ResizeNeedsAnOwnedBuffer) {
  Bytes bytes(16, 1);
  BasicBinaryDeserializer d = Over(bytes);
  EXPECT_FALSE(d.Resize(32));
  BasicBinaryDeserializer empty;
  EXPECT_FALSE(empty.Resize(0));
  EXPECT_FALSE(empty.Resize(8));
}

TEST(BasicBinaryDeserializer, ResizeCompactsTheUnreadBytes) {
  Bytes source = Concat({Le32(1), Le32(2), Le32(3), Le32(4), Le32(5)});
  Bytes room(64, 0);
  BasicBinaryDeserializer d = Over(room);
  d.AttachBuffer(source.data(), source.size(), true);  // a copy bounded by 64: owned
  int v = 0;
  d >> v >> v;
  ASSERT_EQ(d.GetPosition(), 8);
  d.SeekTo(20);
  d >> v;
  ASSERT_TRUE(!d);
  d.SeekTo(8);
  EXPECT_FALSE(d.Resize(11));  // 12 bytes unread
  EXPECT_TRUE(d.Resize(12));   // equal: nothing changes
  EXPECT_EQ(d.GetPosition(), 8);
  EXPECT_FALSE(d.Resize(std::numeric_limits<std::uint64_t>::max()));  // allocation fails
  EXPECT_EQ(d.GetPosition(), 8);
  EXPECT_TRUE(d.Resize(16));
  EXPECT_EQ(d.GetPosition(), 0);
  EXPECT_TRUE(!d);  // the flag is left alone
  d.Reset();
  int a = 0, b = 0, c = 0;
  d >> a >> b >> c;
  EXPECT_EQ(a, 3);
  EXPECT_EQ(b, 4);
  EXPECT_EQ(c, 5);
  EXPECT_TRUE(d.IsEnd());
  EXPECT_FALSE(d.SeekTo(13));
  // Everything read: compaction to zero unread bytes.
  EXPECT_TRUE(d.Resize(4));
  EXPECT_TRUE(d.IsEnd());
  EXPECT_EQ(d.GetPosition(), 0);
  EXPECT_FALSE(d.SeekTo(1));
}

// ---- copying ----

TEST(BasicBinaryDeserializer, CopyAssignmentCopiesEveryFieldAsItStands) {
  Bytes bytes = Concat({Le32(1), Le32(2)});
  BasicBinaryDeserializer d = Over(bytes);
  int v = 0;
  d >> v;
  BasicBinaryDeserializer copy;
  copy = d;
  EXPECT_EQ(copy.GetPosition(), 4);
  copy >> v;
  EXPECT_EQ(v, 2);
  EXPECT_EQ(d.GetPosition(), 4);
  copy >> v;
  EXPECT_TRUE(!copy);
  EXPECT_FALSE(!d);
  d = copy;
  EXPECT_TRUE(!d);
  EXPECT_EQ(d.GetPosition(), 8);
}

TEST(BasicBinaryDeserializer, CopyAssignmentTakesTheOwnershipFlagAlong) {
  Bytes source = Le32(9);
  Bytes room(8, 0);
  BasicBinaryDeserializer owner = Over(room);
  owner.AttachBuffer(source.data(), 4, true);  // owned copy
  BasicBinaryDeserializer copy;
  copy = owner;
  EXPECT_TRUE(copy.Resize(8));  // owning, so it may compact (and frees the shared buffer)
  owner = BasicBinaryDeserializer();  // forget the freed buffer without freeing it
  int v = 0;
  copy >> v;
  EXPECT_EQ(v, 9);
}

// ---- the copying paths and the fatal-error hook ----

TEST_F(BasicBinaryDeserializerFault, CopyingConstructorReportsARangeErrorAndHoldsZeros) {
  Bytes bytes = Le32(0x01020304);
  BasicBinaryDeserializer d(bytes.data(), 4, true);
  ASSERT_EQ(s_faults.size(), 1u);
  EXPECT_EQ(s_faults[0].second, 34);
  EXPECT_FALSE(!d);
  EXPECT_FALSE(d.IsEnd());
  int v = -1;
  d >> v;
  EXPECT_FALSE(!d);
  EXPECT_EQ(v, 0);  // nothing was copied
  EXPECT_TRUE(d.IsEnd());
  EXPECT_TRUE(d.Resize(8));  // it owns its buffer
}

TEST_F(BasicBinaryDeserializerFault, CopyingConstructorWithNullDataReportsAnInvalidArgument) {
  BasicBinaryDeserializer d(nullptr, 8, true);
  ASSERT_EQ(s_faults.size(), 1u);
  EXPECT_EQ(s_faults[0].second, 22);
  EXPECT_TRUE(d.SeekTo(8));
  EXPECT_FALSE(d.SeekTo(9));
}

TEST_F(BasicBinaryDeserializerFault, CopyingConstructorOfNothingReportsNothing) {
  Bytes bytes = Le32(1);
  BasicBinaryDeserializer d(bytes.data(), 0, true);
  BasicBinaryDeserializer n(nullptr, 0, true);
  EXPECT_TRUE(s_faults.empty());
  EXPECT_TRUE(d.IsEnd());
  EXPECT_TRUE(n.IsEnd());
}

TEST_F(BasicBinaryDeserializerFault, CopyingConstructorWithFailedAllocationIsEmpty) {
  Bytes bytes = Le32(1);
  BasicBinaryDeserializer d(bytes.data(), -1, true);
  EXPECT_TRUE(s_faults.empty());
  EXPECT_TRUE(d.IsEnd());
  EXPECT_FALSE(d.SeekTo(1));
  EXPECT_FALSE(d.Resize(4));  // no buffer
}

TEST_F(BasicBinaryDeserializerFault, AttachWithoutCopyReadsTheCallersBytes) {
  Bytes bytes = Concat({Le32(3), Le32(4)});
  BasicBinaryDeserializer d;
  int v = 0;
  d >> v;
  ASSERT_TRUE(!d);
  d.AttachBuffer(bytes.data(), 8, false);
  EXPECT_FALSE(!d);
  EXPECT_EQ(d.GetPosition(), 0);
  bytes[0] = 30;
  d >> v;
  EXPECT_EQ(v, 30);
  EXPECT_TRUE(s_faults.empty());
}

TEST_F(BasicBinaryDeserializerFault, AttachWithCopyOnAFreshReaderReportsARangeError) {
  Bytes bytes = Le32(5);
  BasicBinaryDeserializer d;
  d.AttachBuffer(bytes.data(), 4, true);  // bound: the old capacity 0
  ASSERT_EQ(s_faults.size(), 1u);
  EXPECT_EQ(s_faults[0].second, 34);
  int v = -1;
  d >> v;
  EXPECT_FALSE(!d);
  EXPECT_EQ(v, 0);
}

TEST_F(BasicBinaryDeserializerFault, AttachWithCopyKeepsAnOwnedBufferAndItsCapacity) {
  Bytes room(16, 0);
  Bytes first = Concat({Le32(1), Le32(2), Le32(3), Le32(4)});
  BasicBinaryDeserializer d = Over(room);
  d.AttachBuffer(first.data(), 16, true);  // bound 16: copied into a new owned buffer
  EXPECT_TRUE(s_faults.empty());
  int v = 0;
  d >> v;
  EXPECT_EQ(v, 1);
  first[0] = 0x77;

  Bytes second = Le32(8);
  d.AttachBuffer(second.data(), 4, true);  // kept (capacity 16 >= 4)
  EXPECT_TRUE(s_faults.empty());
  EXPECT_EQ(d.GetPosition(), 0);
  d >> v;
  EXPECT_EQ(v, 8);
  EXPECT_TRUE(d.IsEnd());

  Bytes third = Concat({Le32(9), Le32(10), Le32(11), Le32(12)});
  d.AttachBuffer(third.data(), 16, true);  // still kept: the capacity stayed 16, not 4
  EXPECT_TRUE(s_faults.empty());
  int a = 0, b = 0, c = 0, e = 0;
  d >> a >> b >> c >> e;
  EXPECT_FALSE(!d);
  EXPECT_EQ(e, 12);

  Bytes fourth(20, 0x01);
  d.AttachBuffer(fourth.data(), 20, true);  // too big: a new buffer, bound 16 < 20
  ASSERT_EQ(s_faults.size(), 1u);
  EXPECT_EQ(s_faults[0].second, 34);
  EXPECT_TRUE(d.SeekTo(20));
  EXPECT_FALSE(d.SeekTo(21));
  d.SeekTo(0);
  d >> v;
  EXPECT_EQ(v, 0);  // nothing copied
}

TEST_F(BasicBinaryDeserializerFault, AttachWithCopyOfNullDataReportsAnInvalidArgument) {
  Bytes room(16, 0);
  Bytes first = Concat({Le32(1), Le32(2)});
  BasicBinaryDeserializer d = Over(room);
  d.AttachBuffer(first.data(), 8, true);
  ASSERT_TRUE(s_faults.empty());
  d.AttachBuffer(nullptr, 4, true);  // kept buffer, null source
  ASSERT_EQ(s_faults.size(), 1u);
  EXPECT_EQ(s_faults[0].second, 22);
  int v = -1;
  d >> v;
  EXPECT_EQ(v, 0);
  EXPECT_TRUE(d.IsEnd());

  BasicBinaryDeserializer view = Over(room);
  view.AttachBuffer(nullptr, 4, true);  // new buffer, null source
  ASSERT_EQ(s_faults.size(), 2u);
  EXPECT_EQ(s_faults[1].second, 22);
  view.AttachBuffer(nullptr, 0, true);  // nothing to copy
  EXPECT_EQ(s_faults.size(), 2u);
}

TEST_F(BasicBinaryDeserializerFault, AttachWithoutCopyFreesAnOwnedBuffer) {
  Bytes room(8, 0);
  Bytes first = Le32(1);
  BasicBinaryDeserializer d = Over(room);
  d.AttachBuffer(first.data(), 4, true);
  Bytes second = Le32(2);
  d.AttachBuffer(second.data(), 4, false);  // the owned copy is freed (checked by the leak checker)
  EXPECT_FALSE(d.Resize(8));                // no longer owning
  second[0] = 20;
  int v = 0;
  d >> v;
  EXPECT_EQ(v, 20);
  EXPECT_TRUE(s_faults.empty());
}

TEST_F(BasicBinaryDeserializerFault, AttachWithCopyAndFailedAllocationIsEmpty) {
  Bytes room(8, 0);
  BasicBinaryDeserializer d = Over(room);
  d.AttachBuffer(room.data(), std::numeric_limits<std::uint64_t>::max(), true);
  EXPECT_TRUE(s_faults.empty());
  EXPECT_TRUE(d.IsEnd());
  EXPECT_FALSE(d.SeekTo(1));
  EXPECT_FALSE(d.Resize(4));
}

TEST_F(BasicBinaryDeserializerFault, CreateDeserializerWithCopyIntoAFreshTargetReportsARangeError) {
  Bytes bytes = Concat({Le32(1), Le32(2)});
  BasicBinaryDeserializer d = Over(bytes);
  BasicBinaryDeserializer t;
  EXPECT_TRUE(d.CreateDeserializer(t, 0, 0, true));
  ASSERT_EQ(s_faults.size(), 1u);
  EXPECT_EQ(s_faults[0].second, 34);
  EXPECT_TRUE(t.SeekTo(8));
}

TEST(BasicBinaryDeserializerDeathTest, DefaultHookEndsTheProcessOnACopyingConstructor) {
  Bytes bytes = Le32(1);
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
      unsigned u = 0;
      std::int64_t l = 0;
      double x = 0;
      float f = 0;
      std::wstring s;
      qz_std::TimeValue t;
      qz_math::Vector2 v2;
      qz_math::VectorN<6> v6;
      BasicBinaryDeserializer sub;
      switch (random() % 11) {
        case 0: d >> i; break;
        case 1: d >> u; break;
        case 2: d >> l; break;
        case 3: d >> x >> f; break;
        case 4:
          try {
            d >> s;
          } catch (const std::length_error&) {
            d.SeekTo(static_cast<std::uint64_t>(d.GetPosition()) + 1);
          }
          break;
        case 5: d >> t; break;
        case 6: d >> v2; break;
        case 7: d >> v6; break;
        case 8: d.PeekInt(i); break;
        case 9: d.CreateDeserializer(sub, random() % 50, random() % 8, false); sub >> i; break;
        default: d.Reset(); d.SeekTo(random() % 48); break;
      }
    }
  }
}

}  // namespace
}  // namespace qz_dsc
