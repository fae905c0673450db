#include "qz_log/qz_log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "LogCapture.h"

namespace {

using dscore_testing::LogCapture;

// Runs body on its own thread; false when it has not finished after a
// generous wait, which here can only mean a deadlock. The thread is then left
// behind (blocked for good), so the shared state lives in a shared_ptr.
bool FinishesWithoutDeadlock(std::function<void()> body) {
  auto done = std::make_shared<std::promise<void>>();
  auto finished = done->get_future();
  std::thread([body = std::move(body), done] {
    body();
    done->set_value();
  }).detach();
  return finished.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
}

TEST(QzLog, LevelsPerCategoryGateTheReports) {
  LogCapture capture(0);
  qz_log::_reportW0(1, "f.cpp", 1, L"hidden");
  qz_log::_report_condW0("f.cpp", 2, L"x");
  qz_log::_report_errW0("f.cpp", 3, E_FAIL);
  EXPECT_EQ(capture.Count(), 0u);
  qz_log::set_report_level(0, 2);
  qz_log::_reportW0(3, "f.cpp", 4, L"trace");
  qz_log::_reportW0(2, "f.cpp", 5, L"shown");
  qz_log::set_report_level(5, 3);
  qz_log::_reportW(5, 3, "f.cpp", 9, L"%s", L"five");
  qz_log::_reportW(6, 3, "f.cpp", 9, L"six");  // category 6 stays at 1
  qz_log::set_report_level(5, 1);
  const auto records = capture.Records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].message, L"shown");
  EXPECT_EQ(records[0].line, 5);
  EXPECT_EQ(records[0].file, "f.cpp");
  EXPECT_EQ(records[1].category, 5);
  EXPECT_EQ(records[1].message, L"five");
  // Categories outside 0..31 read as 0 and ignore sets.
  qz_log::set_report_level(99, 7);
  EXPECT_EQ(qz_log::get_report_level(99), 0);
  EXPECT_EQ(qz_log::get_report_level(-1), 0);
}

TEST(QzLog, FixedTextsAndWindowsFormats) {
  LogCapture capture;
  qz_log::_report_condW0("a.cpp", 1, L"ppInstance != nullptr");
  qz_log::_report_errW0("a.cpp", 2, E_UNEXPECTED);
  qz_log::_reportW0(1, "a.cpp", 3, L"[%s|%S|%I64d]", L"wide", "narrow", std::int64_t{-9000000000});
  qz_log::_reportW0(1, nullptr, 4, L"no file");
  const auto records = capture.Records();
  ASSERT_EQ(records.size(), 4u);
  EXPECT_EQ(records[0].message, L"QZCheckCondition: ppInstance != nullptr");
  EXPECT_EQ(records[1].message, L"QZCheckHRESULT: 0x8000ffff");
  EXPECT_EQ(records[2].message, L"[wide|narrow|-9000000000]");
  EXPECT_EQ(records[3].file, "");
}

TEST(QzLog, ReplacingTheSinkReturnsThePreviousOne) {
  auto first = std::make_shared<int>(0);
  EXPECT_FALSE(qz_log::set_log_sink([first](const qz_log::LogRecord&) { ++*first; }));  // was the default
  qz_log::_reportW0(1, "f.cpp", 1, L"one");
  qz_log::LogSink previous = qz_log::set_log_sink(nullptr);
  ASSERT_TRUE(previous);
  previous(qz_log::LogRecord{0, 1, "", 0, L"direct"});
  EXPECT_EQ(*first, 2);
  EXPECT_FALSE(qz_log::set_log_sink(nullptr));
}

// A sink may call back into the library: report again, read levels, even
// replace itself. None of it may deadlock.
TEST(QzLog, SinkCallingBackIntoTheLibrary) {
  LogCapture capture;
  auto inner = std::make_shared<std::vector<std::wstring>>();
  ASSERT_TRUE(FinishesWithoutDeadlock([inner] {
    thread_local int depth = 0;
    qz_log::LogSink previous = qz_log::set_log_sink([inner](const qz_log::LogRecord& r) {
      inner->push_back(r.message);
      if (depth++ == 0) {
        qz_log::_reportW0(1, "sink.cpp", 1, L"from the sink at level %d", qz_log::get_report_level(0));
        qz_log::LogSink self = qz_log::set_log_sink(nullptr);
        qz_log::set_log_sink(std::move(self));
      }
      --depth;
    });
    qz_log::_reportW0(1, "f.cpp", 1, L"outer");
    qz_log::set_log_sink(std::move(previous));
  }));
  EXPECT_EQ(*inner, (std::vector<std::wstring>{L"outer", L"from the sink at level 1"}));
}

// Threads that log while holding a lock of their own, and a sink that takes
// the same lock: with the sink called under a lock of the logging library
// the two lock orders would deadlock.
TEST(QzLog, SinkTakingAnApplicationLockFromSeveralThreads) {
  LogCapture capture;
  auto appLock = std::make_shared<std::recursive_mutex>();
  auto delivered = std::make_shared<std::atomic<int>>(0);
  ASSERT_TRUE(FinishesWithoutDeadlock([appLock, delivered] {
    qz_log::LogSink previous = qz_log::set_log_sink([appLock, delivered](const qz_log::LogRecord&) {
      std::lock_guard<std::recursive_mutex> lock(*appLock);
      ++*delivered;
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([t, appLock] {
        for (int i = 0; i < 300; ++i) {
          if (t % 2 == 0) {
            std::lock_guard<std::recursive_mutex> lock(*appLock);  // like a stream lock
            qz_log::_reportW0(1, "f.cpp", t, L"thread %d message %d", t, i);
          } else {
            qz_log::_reportW0(1, "f.cpp", t, L"thread %d message %d", t, i);
          }
        }
      });
    }
    for (auto& th : threads) th.join();
    qz_log::set_log_sink(std::move(previous));
  }));
  EXPECT_EQ(delivered->load(), 1200);
}

TEST(QzLog, ConcurrentReportsAreDeliveredWhole) {
  LogCapture capture;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) qz_log::_reportW0(1, "f.cpp", 1, L"thread %d message %d", t, i);
    });
  }
  for (auto& th : threads) th.join();
  const auto messages = capture.Messages();
  ASSERT_EQ(messages.size(), 800u);
  int fromThreadZero = 0;
  for (const auto& m : messages) fromThreadZero += m.rfind(L"thread 0 message ", 0) == 0;
  EXPECT_EQ(fromThreadZero, 200);
}

}  // namespace
