#include "streams/StreamValueText.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

namespace qz_dsc {
namespace {

std::uint64_t Bits(double d) { return std::bit_cast<std::uint64_t>(d); }

TEST(StreamValueText, DoublesHaveShortestTextsThatReadBackBitExact) {
  struct Case {
    double value;
    const wchar_t* text;
  };
  const Case cases[] = {
      {0.1, L"0.1"},
      {-0.0, L"-0"},
      {0.0, L"0"},
      {1e-300, L"1e-300"},
      {std::numeric_limits<double>::max(), L"1.7976931348623157e+308"},
      {std::numeric_limits<double>::lowest(), L"-1.7976931348623157e+308"},
      {std::numeric_limits<double>::denorm_min(), L"5e-324"},
      {2.2250738585072009e-308, L"2.225073858507201e-308"},  // largest subnormal
      {std::numeric_limits<double>::min(), L"2.2250738585072014e-308"},
      {1.0 / 3.0, L"0.3333333333333333"},
      {123456789012345680.0, L"123456789012345680"},
      {std::numeric_limits<double>::infinity(), L"inf"},
      {-std::numeric_limits<double>::infinity(), L"-inf"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ValueToText(c.value), c.text);
    double back = 42.0;
    ASSERT_TRUE(TextToValue(ValueToText(c.value), back)) << c.text;
    EXPECT_EQ(Bits(back), Bits(c.value)) << c.text;
  }
}

TEST(StreamValueText, NanKeepsItsSign) {
  double back = 0.0;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(ValueToText(nan), L"nan");
  ASSERT_TRUE(TextToValue(ValueToText(nan), back));
  EXPECT_TRUE(std::isnan(back));
  EXPECT_FALSE(std::signbit(back));
  ASSERT_TRUE(TextToValue(ValueToText(-nan), back));
  EXPECT_TRUE(std::isnan(back));
  EXPECT_TRUE(std::signbit(back));
}

TEST(StreamValueText, DoubleReadingSkipsBlanksAndIgnoresTrailingText) {
  struct Case {
    const wchar_t* text;
    double value;
  };
  const Case cases[] = {{L" 2.5", 2.5},   {L"\t\n-3", -3.0}, {L"+7", 7.0},     {L"1.5abc", 1.5},
                        {L"4 5", 4.0},    {L"1e3", 1000.0},  {L".5", 0.5},     {L"0x10", 0.0},
                        {L"2.5\u00e9", 2.5}, {L"1E-2;", 0.01}, {L"Infinity", std::numeric_limits<double>::infinity()}};
  for (const Case& c : cases) {
    double v = 99.0;
    ASSERT_TRUE(TextToValue(c.text, v)) << c.text;
    EXPECT_EQ(v, c.value);
  }
  // A long run of digits still reads exactly.
  std::wstring longText = L"0." + std::wstring(200, L'0') + L"1";
  double v = 0.0;
  ASSERT_TRUE(TextToValue(longText, v));
  EXPECT_EQ(v, 1e-201);
}

TEST(StreamValueText, BadTextsLeaveTheValueUntouched) {
  for (const wchar_t* bad : {L"", L"   ", L"abc", L"-", L"+-1", L"++1", L"1e400", L"-1e400", L"e5", L"\u00e92"}) {
    double d = 99.0;
    EXPECT_FALSE(TextToValue(bad, d)) << bad;
    EXPECT_EQ(d, 99.0);
  }
  for (const wchar_t* bad : {L"", L"x", L"2147483648", L"-2147483649", L"- 1"}) {
    std::int32_t i = 99;
    EXPECT_FALSE(TextToValue(bad, i)) << bad;
    EXPECT_EQ(i, 99);
  }
}

TEST(StreamValueText, IntsUseTheDocumentIntegerRule) {
  EXPECT_EQ(ValueToText(std::int32_t{-2147483647 - 1}), L"-2147483648");
  EXPECT_EQ(ValueToText(std::int32_t{0}), L"0");
  std::int32_t v = 0;
  ASSERT_TRUE(TextToValue(L" +12.9kg", v));
  EXPECT_EQ(v, 12);
  ASSERT_TRUE(TextToValue(ValueToText(std::int32_t{2147483647}), v));
  EXPECT_EQ(v, 2147483647);
}

TEST(StreamValueText, VectorsAreBlankSeparatedComponents) {
  EXPECT_EQ(ValueToText(qz_math::Vector2(0.1, -0.0)), L"0.1 -0");
  EXPECT_EQ(ValueToText(qz_math::Vector3(1, 2.5, 5e-324)), L"1 2.5 5e-324");
  qz_math::VectorN<6> six;
  for (int i = 0; i < 6; ++i) six[i] = i * 0.1;
  EXPECT_EQ(ValueToText(six), L"0 0.1 0.2 0.30000000000000004 0.4 0.5");
  EXPECT_EQ(ValueToText(qz_math::VectorN<6>()), L"0 0 0 0 0 0");

  qz_math::VectorN<6> back;
  ASSERT_TRUE(TextToValue(ValueToText(six), back));
  EXPECT_EQ(back, six);
  qz_math::Vector2 v2;
  ASSERT_TRUE(TextToValue(L"  -1e-300\t 3 trailing", v2));
  EXPECT_EQ(v2, qz_math::Vector2(-1e-300, 3));
  ASSERT_TRUE(TextToValue(ValueToText(qz_math::Vector2(0.1, -0.0)), v2));
  EXPECT_EQ(Bits(v2[1]), Bits(-0.0));
}

TEST(StreamValueText, BadVectorTextsLeaveTheVectorUntouched) {
  const qz_math::Vector3 before(7, 8, 9);
  for (const wchar_t* bad : {L"", L"1 2", L"1,2,3", L"1-2 3", L"1 x 3", L"1 2 1e999", L"1 2 -"}) {
    qz_math::Vector3 v = before;
    EXPECT_FALSE(TextToValue(bad, v)) << bad;
    EXPECT_EQ(v, before);
  }
  qz_math::VectorN<6> six;
  six[5] = 4;
  EXPECT_FALSE(TextToValue(L"1 2 3 4 5", six));
  EXPECT_EQ(six[5], 4);
  EXPECT_EQ(six[0], 0);
}

TEST(StreamValueText, StringsAsTheyAreSkeletonsWithoutText) {
  const std::wstring markup = L" <a & \"b\"> \U0001F600 ";
  EXPECT_EQ(ValueToText(markup), markup);
  std::wstring s = L"old";
  ASSERT_TRUE(TextToValue(L"", s));
  EXPECT_EQ(s, L"");
  ASSERT_TRUE(TextToValue(markup, s));
  EXPECT_EQ(s, markup);

  qz_ovlib::PersonSkeletonData skeleton;
  skeleton.personId = 3;
  EXPECT_EQ(ValueToText(skeleton), L"");
  EXPECT_FALSE(TextToValue(L"3", skeleton));
  EXPECT_EQ(skeleton.personId, 3);
}

}  // namespace
}  // namespace qz_dsc
