// Logging library stand-in: a report level per category, formatted wide
// messages with category, level, source file and line, and a replaceable sink
// (standard error by default). Messages are formatted with the Windows meaning
// of wide printf formats ("%s" is a wide string, "%S" a narrow one, "%I64d" a
// 64-bit integer) on every platform.
// All functions are safe to call from any thread; the sink is called under a
// lock, one message at a time.
#pragma once

#include <cstdarg>
#include <functional>
#include <string>

#include "qz_com/qz_com.h"

namespace qz_log {

struct LogRecord {
  int category;
  int level;
  std::string file;
  int line;
  std::wstring message;
};

using LogSink = std::function<void(const LogRecord&)>;

// Replaces the sink; an empty function restores the standard-error sink.
// Returns the previous sink (empty when it was the default).
LogSink set_log_sink(LogSink sink);

// Level per category (categories 0 to 31; others read as 0 and ignore sets).
// Initially 1 for every category: checks and errors are reported.
int get_report_level(int category);
void set_report_level(int category, int level);

// printf-style formatting with the Windows wide conventions described above.
std::wstring formatW(const wchar_t* fmt, ...);
std::wstring vformatW(const wchar_t* fmt, std::va_list args);

// Sends a formatted message when get_report_level(category) >= level.
void _reportW(int category, int level, const char* file, int line, const wchar_t* fmt, ...);
// _reportW for category 0.
void _reportW0(int level, const char* file, int line, const wchar_t* fmt, ...);
// Logs "QZCheckCondition: " + expression at level 1, category 0.
void _report_condW0(const char* file, int line, const wchar_t* expression);
// Logs "QZCheckHRESULT: 0x%08x" of hr at level 1, category 0.
void _report_errW0(const char* file, int line, HRESULT hr);

// True when cond holds; otherwise logs the expression text and returns false.
inline bool check_condition(bool cond, const wchar_t* expression, const char* file, int line) {
  if (!cond) _report_condW0(file, line, expression);
  return cond;
}

// True when hr succeeded; otherwise logs it and returns false.
inline bool check_hresult(HRESULT hr, const char* file, int line) {
  if (FAILED(hr)) {
    _report_errW0(file, line, hr);
    return false;
  }
  return true;
}

}  // namespace qz_log

#define QZ_LOG_WIDEN2(x) L##x
#define QZ_LOG_WIDEN(x) QZ_LOG_WIDEN2(x)

// Evaluates expr; when false, logs "QZCheckCondition: <expr as written>" and
// yields false.
#define QZ_CHECK_CONDITION(expr) ::qz_log::check_condition(static_cast<bool>(expr), QZ_LOG_WIDEN(#expr), __FILE__, __LINE__)
// Evaluates hr; when it failed, logs "QZCheckHRESULT: 0x%08x" and yields false.
#define QZ_CHECK_HRESULT(hr) ::qz_log::check_hresult((hr), __FILE__, __LINE__)
// Formatted report in category 0 at the given level.
#define QZ_REPORT(level, ...) ::qz_log::_reportW0((level), __FILE__, __LINE__, __VA_ARGS__)
