#include "qz_log/qz_log.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

class LogCapture {
 public:
  LogCapture() {
    qz_log::set_report_level(0, 1);
    qz_log::set_log_sink([this](const qz_log::LogRecord& r) { records.push_back(r); });
  }
  ~LogCapture() {
    qz_log::set_log_sink(nullptr);
    qz_log::set_report_level(0, 1);
  }
  std::vector<qz_log::LogRecord> records;
};

bool CheckPointer(const void* ppInstance) {
  return QZ_CHECK_CONDITION(ppInstance != nullptr);
}

TEST(QzLog, FailingCheckLogsTheExpressionAtLevelOne) {
  LogCapture capture;
  const int line = __LINE__ - 5;  // the QZ_CHECK_CONDITION line above
  EXPECT_TRUE(CheckPointer(&capture));
  EXPECT_TRUE(capture.records.empty());
  EXPECT_FALSE(CheckPointer(nullptr));
  ASSERT_EQ(capture.records.size(), 1u);
  const auto& r = capture.records[0];
  EXPECT_EQ(r.message, L"QZCheckCondition: ppInstance != nullptr");
  EXPECT_EQ(r.category, 0);
  EXPECT_EQ(r.level, 1);
  EXPECT_EQ(r.line, line);
  EXPECT_NE(r.file.find("qz_log_test.cpp"), std::string::npos);
}

TEST(QzLog, NothingIsLoggedBelowTheLevel) {
  LogCapture capture;
  qz_log::set_report_level(0, 0);
  EXPECT_FALSE(CheckPointer(nullptr));
  EXPECT_FALSE(QZ_CHECK_HRESULT(E_FAIL));
  QZ_REPORT(1, L"error %d", 1);
  EXPECT_TRUE(capture.records.empty());
  qz_log::set_report_level(0, 2);
  QZ_REPORT(3, L"trace");
  EXPECT_TRUE(capture.records.empty());
  QZ_REPORT(2, L"shown");
  EXPECT_EQ(capture.records.size(), 1u);
}

TEST(QzLog, FailedHresultIsLoggedInHex) {
  LogCapture capture;
  EXPECT_TRUE(QZ_CHECK_HRESULT(S_FALSE));
  EXPECT_FALSE(QZ_CHECK_HRESULT(E_UNEXPECTED));
  ASSERT_EQ(capture.records.size(), 1u);
  EXPECT_EQ(capture.records[0].message, L"QZCheckHRESULT: 0x8000ffff");
}

TEST(QzLog, WideFormatsFollowTheWindowsMeaning) {
  EXPECT_EQ(qz_log::formatW(L"[%s]", L"wide"), L"[wide]");
  EXPECT_EQ(qz_log::formatW(L"[%S|%hs]", "narrow", "h"), L"[narrow|h]");
  EXPECT_EQ(qz_log::formatW(L"%-6s|%ls", L"ab", L"cd"), L"ab    |cd");
  EXPECT_EQ(qz_log::formatW(L"%I64d %02d%%", std::int64_t{-9000000000}, 5), L"-9000000000 05%");
  EXPECT_EQ(qz_log::formatW(L"0x%08x", 0x8000FFFFu), L"0x8000ffff");
  std::wstring longText(1000, L'z');
  EXPECT_EQ(qz_log::formatW(L"%s!", longText.c_str()), longText + L"!");
}

TEST(QzLog, CategoriesHaveTheirOwnLevels) {
  LogCapture capture;
  qz_log::set_report_level(5, 3);
  qz_log::_reportW(5, 3, "f.cpp", 9, L"%s", L"five");
  qz_log::_reportW(6, 3, "f.cpp", 9, L"six");
  ASSERT_EQ(capture.records.size(), 1u);
  EXPECT_EQ(capture.records[0].category, 5);
  EXPECT_EQ(capture.records[0].message, L"five");
  EXPECT_EQ(qz_log::get_report_level(99), 0);
  qz_log::set_report_level(5, 1);
}

TEST(QzLog, ConcurrentReportsAreDeliveredWhole) {
  LogCapture capture;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) QZ_REPORT(1, L"thread %d message %d", t, i);
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(capture.records.size(), 800u);
}

}  // namespace
