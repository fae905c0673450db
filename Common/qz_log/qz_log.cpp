#include "qz_log/qz_log.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

#include "Utf8Text.h"
#include "WideFormat.h"

namespace qz_log {
namespace {

constexpr int kCategories = 32;

struct LevelTable {
  LevelTable() {
    for (auto& l : levels) l.store(1);
  }
  std::array<std::atomic<int>, kCategories> levels;
};

std::array<std::atomic<int>, kCategories>& Levels() {
  static LevelTable table;
  return table.levels;
}

std::mutex& SinkMutex() {
  static std::mutex m;
  return m;
}

// The current sink, replaced as a whole: a reporter takes its own reference
// under the mutex and calls it after letting go, so a sink that is being
// replaced stays alive until its last call returns.
std::shared_ptr<const LogSink>& Sink() {
  static std::shared_ptr<const LogSink> sink;
  return sink;
}

void DefaultSink(const LogRecord& r) {
  std::fprintf(stderr, "%s(%d): [%d/%d] %s\n", r.file.c_str(), r.line, r.category, r.level,
               utf8text::ToUtf8(r.message).c_str());
}

void Deliver(int category, int level, const char* file, int line, std::wstring message) {
  LogRecord record{category, level, file ? file : "", line, std::move(message)};
  std::shared_ptr<const LogSink> sink;
  {
    std::lock_guard<std::mutex> lock(SinkMutex());
    sink = Sink();
  }
  // No lock of this library is held here: the sink may report, change the
  // sink or take locks of its own in any order.
  if (sink) {
    (*sink)(record);
  } else {
    DefaultSink(record);
  }
}

}  // namespace

LogSink set_log_sink(LogSink sink) {
  std::shared_ptr<const LogSink> replacement;
  if (sink) replacement = std::make_shared<const LogSink>(std::move(sink));
  std::shared_ptr<const LogSink> old;
  {
    std::lock_guard<std::mutex> lock(SinkMutex());
    old = std::exchange(Sink(), std::move(replacement));
  }
  return old ? *old : LogSink();
}

int get_report_level(int category) {
  if (category < 0 || category >= kCategories) return 0;
  return Levels()[static_cast<std::size_t>(category)].load(std::memory_order_relaxed);
}

void set_report_level(int category, int level) {
  if (category < 0 || category >= kCategories) return;
  Levels()[static_cast<std::size_t>(category)].store(level, std::memory_order_relaxed);
}

void _reportW(int category, int level, const char* file, int line, const wchar_t* fmt, ...) {
  if (get_report_level(category) < level) return;
  std::va_list args;
  va_start(args, fmt);
  std::wstring message = widefmt::VFormat(fmt, args);
  va_end(args);
  Deliver(category, level, file, line, std::move(message));
}

void _reportW0(int level, const char* file, int line, const wchar_t* fmt, ...) {
  if (get_report_level(0) < level) return;
  std::va_list args;
  va_start(args, fmt);
  std::wstring message = widefmt::VFormat(fmt, args);
  va_end(args);
  Deliver(0, level, file, line, std::move(message));
}

void _report_condW0(const char* file, int line, const wchar_t* expression) {
  if (get_report_level(0) < 1) return;
  Deliver(0, 1, file, line, std::wstring(L"QZCheckCondition: ") + (expression ? expression : L""));
}

void _report_errW0(const char* file, int line, HRESULT hr) {
  if (get_report_level(0) < 1) return;
  Deliver(0, 1, file, line, widefmt::Format(L"QZCheckHRESULT: 0x%08x", static_cast<unsigned>(hr)));
}

}  // namespace qz_log
