#include "xml/NumberText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>

using qz_dsc::NumberText;

namespace {

template <class Int>
bool ParseW(std::wstring_view text, Int& value) {
  return NumberText::Parse(text, value);
}

}  // namespace

TEST(NumberText, ReadsLikeStreamExtraction) {
  std::int32_t v = 99;
  EXPECT_TRUE(ParseW(L"12abc", v));
  EXPECT_EQ(v, 12);
  EXPECT_TRUE(ParseW(L" -5", v));
  EXPECT_EQ(v, -5);
  EXPECT_TRUE(ParseW(L"\t\n+7 ", v));
  EXPECT_EQ(v, 7);
  EXPECT_TRUE(ParseW(L"0x10", v));
  EXPECT_EQ(v, 0);
  EXPECT_TRUE(ParseW(L"1.9", v));
  EXPECT_EQ(v, 1);
}

TEST(NumberText, FailsWithoutDigitsAndLeavesValue) {
  std::int32_t v = 99;
  for (std::wstring_view bad : {L"", L"   ", L"abc", L"-", L"+ 5", L"--5", L"- 5"}) {
    EXPECT_FALSE(ParseW(bad, v)) << std::string(bad.begin(), bad.end());
  }
  EXPECT_EQ(v, 99);
}

TEST(NumberText, Boundaries32And64) {
  std::int32_t v = 0;
  EXPECT_TRUE(ParseW(L"2147483647", v));
  EXPECT_EQ(v, INT32_MAX);
  EXPECT_TRUE(ParseW(L"-2147483648", v));
  EXPECT_EQ(v, INT32_MIN);
  EXPECT_FALSE(ParseW(L"2147483648", v));
  EXPECT_FALSE(ParseW(L"-2147483649", v));
  EXPECT_FALSE(ParseW(L"99999999999999999999999", v));
  std::int64_t w = 0;
  EXPECT_TRUE(ParseW(L"9223372036854775807", w));
  EXPECT_EQ(w, INT64_MAX);
  EXPECT_TRUE(ParseW(L"-9223372036854775808", w));
  EXPECT_EQ(w, INT64_MIN);
  EXPECT_FALSE(ParseW(L"9223372036854775808", w));
  EXPECT_TRUE(ParseW(L"00000000000000000000000042", w));
  EXPECT_EQ(w, 42);
}

TEST(NumberText, NarrowTextAndRest) {
  std::int32_t v = 0;
  std::string_view rest;
  ASSERT_TRUE(NumberText::Parse(std::string_view(" 3 4"), v, &rest));
  EXPECT_EQ(v, 3);
  EXPECT_EQ(rest, " 4");
}
