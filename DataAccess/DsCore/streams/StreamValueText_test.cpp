#include "streams/StreamValueText.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "Utf8Text.h"

namespace qz_dsc {
namespace {

using Limits = std::numeric_limits<double>;
std::uint64_t Bits(double d) { return std::bit_cast<std::uint64_t>(d); }

TEST(StreamValueText, DoublesHaveShortestTextsThatReadBackBitExact) {
  const std::pair<double, const wchar_t*> cases[] = {
      {0.1, L"0.1"}, {-0.0, L"-0"}, {1e-300, L"1e-300"}, {Limits::max(), L"1.7976931348623157e+308"},
      {Limits::denorm_min(), L"5e-324"}, {2.2250738585072009e-308, L"2.225073858507201e-308"},
      {1.0 / 3.0, L"0.3333333333333333"}, {-Limits::infinity(), L"-inf"}, {Limits::quiet_NaN(), L"nan"},
      {-Limits::quiet_NaN(), L"-nan"}};
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(ValueToText(value), text);
    double back = 42.0;
    ASSERT_TRUE(TextToValue(ValueToText(value), back)) << text;
    if (std::isnan(value)) {
      EXPECT_TRUE(std::isnan(back) && std::signbit(back) == std::signbit(value)) << text;
    } else {
      EXPECT_EQ(Bits(back), Bits(value)) << text;
    }
  }
}

TEST(StreamValueText, NumbersSkipBlanksIgnoreTrailingTextAndRefuseBadTexts) {
  const std::pair<const wchar_t*, double> good[] = {
      {L" 2.5", 2.5}, {L"\t\n-3", -3.0}, {L"+7", 7.0}, {L"1.5abc", 1.5}, {L"0x10", 0.0}, {L"2.5\u00e9", 2.5},
      {L"Infinity", Limits::infinity()}};
  for (const auto& [text, value] : good) {
    double v = 99.0;
    ASSERT_TRUE(TextToValue(text, v)) << text;
    EXPECT_EQ(v, value);
  }
  double v = 0.0;
  ASSERT_TRUE(TextToValue(L"0." + std::wstring(200, L'0') + L"1", v));  // longer than any buffer
  EXPECT_EQ(v, 1e-201);
  for (const wchar_t* bad : {L"", L"  ", L"abc", L"-", L"+-1", L"++1", L"1e400", L"e5", L"\u00e92"}) {
    double d = 99.0;
    EXPECT_FALSE(TextToValue(bad, d)) << bad;
    EXPECT_EQ(d, 99.0);
  }
  EXPECT_EQ(ValueToText(std::int32_t{INT32_MIN}), L"-2147483648");
  std::int32_t i = 0;
  ASSERT_TRUE(TextToValue(L" +12.9kg", i));  // the document's integer rule
  EXPECT_EQ(i, 12);
  for (const wchar_t* bad : {L"", L"x", L"2147483648", L"- 1"}) {
    EXPECT_FALSE(TextToValue(bad, i)) << bad;
    EXPECT_EQ(i, 12);
  }
}

TEST(StreamValueText, VectorsStringsAndSkeletons) {
  EXPECT_EQ(ValueToText(qz_math::Vector2(0.1, -0.0)), L"0.1 -0");
  EXPECT_EQ(ValueToText(qz_math::Vector3(1, 2.5, 5e-324)), L"1 2.5 5e-324");
  qz_math::VectorN<6> six, back;
  for (int i = 0; i < 6; ++i) six[i] = i * 0.1;
  EXPECT_EQ(ValueToText(six), L"0 0.1 0.2 0.30000000000000004 0.4 0.5");
  ASSERT_TRUE(TextToValue(ValueToText(six), back));
  EXPECT_EQ(back, six);
  qz_math::Vector2 v2;
  ASSERT_TRUE(TextToValue(L"  -1e-300\t 3 trailing", v2));
  EXPECT_EQ(v2, qz_math::Vector2(-1e-300, 3));

  const qz_math::Vector3 before(7, 8, 9);
  for (const wchar_t* bad : {L"", L"1 2", L"1,2,3", L"1-2 3", L"1 x 3", L"1 2 1e999"}) {
    qz_math::Vector3 v = before;
    EXPECT_FALSE(TextToValue(bad, v)) << bad;
    EXPECT_EQ(v, before);
  }

  const std::wstring markup = L" <a & \"b\"> \U0001F600 ";
  std::wstring s = L"old";
  ASSERT_TRUE(TextToValue(ValueToText(markup), s));
  EXPECT_EQ(s, markup);
  qz_ovlib::PersonSkeletonData skeleton;
  skeleton.personId = 3;
  EXPECT_EQ(ValueToText(skeleton), L"");
  EXPECT_FALSE(TextToValue(L"3", skeleton));
  EXPECT_EQ(skeleton.personId, 3);
}

// The UTF-8 readings a streaming load uses must read every text as the wide
// ones do: accepted or refused alike, and to the same value.
TEST(StreamValueText, Utf8TextsReadAsTheirWideForms) {
  const char* const texts[] = {"12", " \t-7x", "+-1", "2147483648", "-2147483648", "1e400", "0x1p3", "inf",
                               "nan(abc)", " +1.5e-3 rest", "", "  ", "\xC3\xA9\x31", "1\xC3\xA9", "1 2", "1\t2 3 4 5 6",
                               "1,2", "1 2 3 4 5", "1 2 3 4 5 6 7", "1.7976931348623157e308 -0"};
  for (const char* text : texts) {
    const std::string utf8(text);
    const std::wstring wide = utf8text::ToWide(utf8);
    std::int32_t i1 = 5, i2 = 5;
    double d1 = 5, d2 = 5;
    qz_math::Vector2 p1, p2;
    qz_math::VectorN<6> v1, v2;
    EXPECT_EQ(TextToValue(std::string_view(utf8), i1), TextToValue(std::wstring_view(wide), i2)) << utf8;
    EXPECT_EQ(i1, i2) << utf8;
    EXPECT_EQ(TextToValue(std::string_view(utf8), d1), TextToValue(std::wstring_view(wide), d2)) << utf8;
    EXPECT_EQ(std::bit_cast<std::uint64_t>(d1), std::bit_cast<std::uint64_t>(d2)) << utf8;
    EXPECT_EQ(TextToValue(std::string_view(utf8), p1), TextToValue(std::wstring_view(wide), p2)) << utf8;
    EXPECT_TRUE(p1 == p2) << utf8;
    EXPECT_EQ(TextToValue(std::string_view(utf8), v1), TextToValue(std::wstring_view(wide), v2)) << utf8;
    EXPECT_TRUE(v1 == v2) << utf8;
  }
}

// The save writes numbers through the ASCII texts: they must be the wide
// texts byte for byte, at the extremes too.
TEST(StreamValueText, AsciiTextsAreTheWideTexts) {
  char out[kMaxAsciiValueSize];
  auto same = [](std::string_view ascii, const std::wstring& wide) { return utf8text::ToWide(ascii) == wide; };
  for (std::int32_t i : {0, -1, 7, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_TRUE(same(ValueToAscii(i, out), ValueToText(i))) << i;
  }
  const double doubles[] = {0.0, -0.0, 0.1, -1e-300, 5e-324, Limits::max(), -Limits::max(), Limits::infinity(),
                            -Limits::infinity(), Limits::quiet_NaN(), -Limits::quiet_NaN(), 1.0 / 3, 123456789012345678.0};
  for (double d : doubles) EXPECT_TRUE(same(ValueToAscii(d, out), ValueToText(d))) << d;
  // The longest vector: six of the longest doubles.
  qz_math::VectorN<6> six;
  for (int i = 0; i < 6; ++i) six[i] = -2.2250738585072014e-308;
  const std::string_view longest = ValueToAscii(six, out);
  EXPECT_EQ(longest.size(), 6 * 24 + 5);
  EXPECT_TRUE(same(longest, ValueToText(six)));
  EXPECT_TRUE(same(ValueToAscii(qz_math::Vector2(0.1, -0.0), out), L"0.1 -0"));
  EXPECT_TRUE(same(ValueToAscii(qz_math::Vector3(1, Limits::quiet_NaN(), 5e-324), out),
                   ValueToText(qz_math::Vector3(1, Limits::quiet_NaN(), 5e-324))));
}

}  // namespace
}  // namespace qz_dsc
