#include "qz_log/qz_log.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cwchar>
#include <memory>
#include <mutex>
#include <vector>

#include "Utf8Text.h"

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

LogSink& Sink() {
  static LogSink sink;
  return sink;
}

void DefaultSink(const LogRecord& r) {
  std::fprintf(stderr, "%s(%d): [%d/%d] %s\n", r.file.c_str(), r.line, r.category, r.level,
               utf8text::ToUtf8(r.message).c_str());
}

void Deliver(int category, int level, const char* file, int line, std::wstring message) {
  LogRecord record{category, level, file ? file : "", line, std::move(message)};
  std::lock_guard<std::mutex> lock(SinkMutex());
  if (Sink()) {
    Sink()(record);
  } else {
    DefaultSink(record);
  }
}

// Rewrites a Windows wide format into the C library's wide format:
// %s -> %ls, %S and %hs -> %s, %I64 -> %ll, %I32 -> (int).
std::wstring TranslateFormat(const wchar_t* fmt) {
  std::wstring out;
  for (const wchar_t* p = fmt; *p != L'\0'; ++p) {
    out.push_back(*p);
    if (*p != L'%') continue;
    ++p;
    if (*p == L'%') {
      out.push_back(L'%');
      continue;
    }
    while (*p != L'\0' && std::wcschr(L"-+ #0", *p) != nullptr) out.push_back(*p++);
    while (*p != L'\0' && (std::iswdigit(*p) || *p == L'*')) out.push_back(*p++);
    if (*p == L'.') {
      out.push_back(*p++);
      while (*p != L'\0' && (std::iswdigit(*p) || *p == L'*')) out.push_back(*p++);
    }
    bool narrow = false;
    bool wide = false;
    if (p[0] == L'I' && p[1] == L'6' && p[2] == L'4') {
      out += L"ll";
      p += 3;
    } else if (p[0] == L'I' && p[1] == L'3' && p[2] == L'2') {
      p += 3;
    } else if (*p == L'h' && (p[1] == L's' || p[1] == L'c')) {
      narrow = true;
      ++p;
    } else if (*p == L'l' && (p[1] == L's' || p[1] == L'c')) {
      wide = true;
      ++p;
    } else {
      while (*p != L'\0' && std::wcschr(L"hlLqjzt", *p) != nullptr) out.push_back(*p++);
    }
    if (*p == L'\0') break;
    if ((*p == L's' || *p == L'c') && !narrow) {
      out.push_back(L'l');
      out.push_back(*p);
    } else if ((*p == L'S' || *p == L'C') && !wide) {
      out.push_back(static_cast<wchar_t>(*p == L'S' ? L's' : L'c'));
    } else if (*p == L'S' || *p == L'C') {
      out.push_back(L'l');
      out.push_back(static_cast<wchar_t>(*p == L'S' ? L's' : L'c'));
    } else {
      out.push_back(*p);
    }
  }
  return out;
}

}  // namespace

LogSink set_log_sink(LogSink sink) {
  std::lock_guard<std::mutex> lock(SinkMutex());
  LogSink old = std::move(Sink());
  Sink() = std::move(sink);
  return old;
}

int get_report_level(int category) {
  if (category < 0 || category >= kCategories) return 0;
  return Levels()[static_cast<std::size_t>(category)].load(std::memory_order_relaxed);
}

void set_report_level(int category, int level) {
  if (category < 0 || category >= kCategories) return;
  Levels()[static_cast<std::size_t>(category)].store(level, std::memory_order_relaxed);
}

std::wstring vformatW(const wchar_t* fmt, std::va_list args) {
  if (fmt == nullptr) return std::wstring();
  const std::wstring translated = TranslateFormat(fmt);
  std::vector<wchar_t> buffer(256);
  for (;;) {
    std::va_list copy;
    va_copy(copy, args);
    int n = std::vswprintf(buffer.data(), buffer.size(), translated.c_str(), copy);
    va_end(copy);
    if (n >= 0 && static_cast<std::size_t>(n) < buffer.size()) return std::wstring(buffer.data(), static_cast<std::size_t>(n));
    // vswprintf does not tell the needed size; grow until it fits, within reason.
    if (buffer.size() >= (std::size_t{1} << 24)) return std::wstring();
    buffer.resize(buffer.size() * 4);
  }
}

std::wstring formatW(const wchar_t* fmt, ...) {
  std::va_list args;
  va_start(args, fmt);
  std::wstring s = vformatW(fmt, args);
  va_end(args);
  return s;
}

void _reportW(int category, int level, const char* file, int line, const wchar_t* fmt, ...) {
  if (get_report_level(category) < level) return;
  std::va_list args;
  va_start(args, fmt);
  std::wstring message = vformatW(fmt, args);
  va_end(args);
  Deliver(category, level, file, line, std::move(message));
}

void _reportW0(int level, const char* file, int line, const wchar_t* fmt, ...) {
  if (get_report_level(0) < level) return;
  std::va_list args;
  va_start(args, fmt);
  std::wstring message = vformatW(fmt, args);
  va_end(args);
  Deliver(0, level, file, line, std::move(message));
}

void _report_condW0(const char* file, int line, const wchar_t* expression) {
  if (get_report_level(0) < 1) return;
  Deliver(0, 1, file, line, std::wstring(L"QZCheckCondition: ") + (expression ? expression : L""));
}

void _report_errW0(const char* file, int line, HRESULT hr) {
  if (get_report_level(0) < 1) return;
  Deliver(0, 1, file, line, formatW(L"QZCheckHRESULT: 0x%08x", static_cast<unsigned>(hr)));
}

}  // namespace qz_log
