#include "xml/TimePairText.h"

#include <gtest/gtest.h>

#include <limits>

#include <cstdint>

using qz_dsc::TimePairText;

TEST(TimePairText, WritesSecondsAndWholeMilliseconds) {
  EXPECT_EQ(TimePairText::Format(25'000'000), L"2 2500");
  EXPECT_EQ(TimePairText::Format(2'500'000), L"0 250");
  EXPECT_EQ(TimePairText::Format(0), L"0 0");
  EXPECT_EQ(TimePairText::Format(9'999), L"0 0");
  EXPECT_EQ(TimePairText::Format(-25'000'000), L"-2 2500");  // M loses the sign
  EXPECT_EQ(TimePairText::Format(-2'500'000), L"0 250");
  EXPECT_EQ(TimePairText::FormatUtf8(25'000'000), "2 2500");
}

TEST(TimePairText, TheLongestPairsFitTheBufferAndWrapTo32Bits) {
  // Seconds and milliseconds wrap as 32-bit integers; the millisecond part
  // can be 2147483648 when it wrapped to the minimum.
  char buffer[TimePairText::kMaxUtf8Size];
  const std::int64_t minMs = std::int64_t{-2147483648} * 10'000;
  EXPECT_EQ(TimePairText::FormatUtf8To(minMs, buffer), "-2147483 2147483648");
  EXPECT_EQ(TimePairText::FormatUtf8To(std::int64_t{-2147483648} * 10'000'000, buffer), "-2147483648 0");
  for (const std::int64_t t : {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max(),
                               minMs - 1, std::int64_t{-21474836480000000} - 9'999}) {
    const std::string_view text = TimePairText::FormatUtf8To(t, buffer);
    EXPECT_LT(text.size(), sizeof buffer);
    EXPECT_EQ(text, TimePairText::FormatUtf8(t));
    EXPECT_EQ(TimePairText::Format(t), std::wstring(text.begin(), text.end()));
  }
}

TEST(TimePairText, ReadsBackAsymmetrically) {
  std::int64_t t = 0;
  ASSERT_TRUE(TimePairText::Parse(L"2 2500", t));
  EXPECT_EQ(t, 45'000'000);
  ASSERT_TRUE(TimePairText::Parse(L"1 1500", t));
  EXPECT_EQ(t, 25'000'000);
  ASSERT_TRUE(TimePairText::Parse(TimePairText::Format(2'500'000), t));
  EXPECT_EQ(t, 2'500'000);  // below one second survives the trip
  ASSERT_TRUE(TimePairText::Parse(L"-2 2500", t));
  EXPECT_EQ(t, 5'000'000);
  ASSERT_TRUE(TimePairText::ParseUtf8("  3\t7 trailing", t));
  EXPECT_EQ(t, 30'070'000);
}

TEST(TimePairText, RejectsIncompleteOrOutOfRange) {
  std::int64_t t = 123;
  EXPECT_FALSE(TimePairText::Parse(L"", t));
  EXPECT_FALSE(TimePairText::Parse(L"5", t));
  EXPECT_FALSE(TimePairText::Parse(L"5 x", t));
  EXPECT_FALSE(TimePairText::Parse(L"a 5", t));
  EXPECT_FALSE(TimePairText::Parse(L"2147483648 0", t));
  EXPECT_EQ(t, 123);
  ASSERT_TRUE(TimePairText::Parse(L"-2147483648 -2147483648", t));
  EXPECT_EQ(t, (-2147483648LL * 1000 - 2147483648LL) * 10'000);
}

TEST(TimePairText, ExtremeTicksWrapWithoutUndefinedBehaviour) {
  // Seconds and milliseconds are taken as 32-bit values (two's complement).
  EXPECT_EQ(TimePairText::Format(INT64_MAX), L"-1080764955 1566804069");
  EXPECT_EQ(TimePairText::Format(INT64_MIN), L"1080764955 1566804069");
  // |INT32_MIN| milliseconds is written as a magnitude, not negated in 32 bits.
  EXPECT_EQ(TimePairText::Format(-2147483648LL * 10'000), L"-2147483 2147483648");
}
