#include "module/Check.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "LogCapture.h"

namespace qz_dsc {
namespace {

using dscore_testing::LogCapture;

bool CheckPointer(const void* ppInstance) {
  return QZ_CHECK_CONDITION(ppInstance != nullptr);
}

TEST(Check, FailingConditionLogsTheExpressionAsWritten) {
  LogCapture capture;
  const int line = __LINE__ - 5;  // the QZ_CHECK_CONDITION line above
  EXPECT_TRUE(CheckPointer(&capture));
  EXPECT_EQ(capture.Count(), 0u);
  EXPECT_FALSE(CheckPointer(nullptr));
  const auto records = capture.Records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].message, L"QZCheckCondition: ppInstance != nullptr");
  EXPECT_EQ(records[0].category, 0);
  EXPECT_EQ(records[0].level, 1);
  EXPECT_EQ(records[0].line, line);
  EXPECT_NE(records[0].file.find("Check_test.cpp"), std::string::npos);
}

TEST(Check, ResultsAndReportsFollowTheLevel) {
  LogCapture capture;
  EXPECT_TRUE(QZ_CHECK_HRESULT(S_FALSE));  // success codes other than S_OK pass
  EXPECT_FALSE(QZ_CHECK_HRESULT(E_UNEXPECTED));
  QZ_REPORT(3, L"trace %d", 1);            // above level 1: dropped
  QZ_REPORT(1, L"error %s", L"text");
  EXPECT_EQ(capture.Messages(), (std::vector<std::wstring>{L"QZCheckHRESULT: 0x8000ffff", L"error text"}));
  qz_log::set_report_level(0, 0);
  EXPECT_FALSE(CheckPointer(nullptr));  // the check still fails, silently
  EXPECT_FALSE(QZ_CHECK_HRESULT(E_FAIL));
  EXPECT_EQ(capture.Count(), 2u);
}

TEST(Check, FormatWUsesTheWindowsMeaningOfFormats) {
  struct Case {
    std::wstring got;
    std::wstring want;
  } cases[] = {
      {FormatW(L"[%s]", L"wide"), L"[wide]"},
      {FormatW(L"[%S|%hs|%ls]", "narrow", "h", L"l"), L"[narrow|h|l]"},
      {FormatW(L"%-6s|%5S|", L"ab", "cd"), L"ab    |   cd|"},
      {FormatW(L"%I64d %02I64d %I32d %02d%%", std::int64_t{-9000000000}, std::int64_t{7}, 3, 5),
       L"-9000000000 07 3 05%"},
      {FormatW(L"0x%08x", 0x8000FFFFu), L"0x8000ffff"},
      {FormatW(L"%c%C", L'w', 'n'), L"wn"},
      {FormatW(L"trailing %"), L"trailing "},
      {FormatW(L"cut %-0"), L"cut "},
  };
  for (const auto& c : cases) EXPECT_EQ(c.got, c.want);
  // Longer than the first buffer: the formatter grows it.
  const std::wstring longText(5000, L'z');
  EXPECT_EQ(FormatW(L"%s!", longText.c_str()), longText + L"!");
  // A narrow text the C locale cannot convert fails at once, not by growing the buffer.
  EXPECT_EQ(FormatW(L"%S", "\xff\xfe"), L"");
}

}  // namespace
}  // namespace qz_dsc
