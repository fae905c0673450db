// Logging library stand-in: a report level per category, wide printf-style
// messages (Windows meaning of the formats: "%s" wide, "%S" narrow, "%I64d"
// 64-bit) with category, level, source file and line, and a replaceable sink
// (standard error by default).
// All functions are safe to call from any thread. The sink is called on the
// reporting thread with no lock of this library held: several threads may be
// inside it at once, and it may call back into this library.
#pragma once

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
// Returns the previous sink (empty when it was the default). A report already
// under way may still reach the previous sink.
LogSink set_log_sink(LogSink sink);

// Level per category (categories 0 to 31; others read as 0 and ignore sets).
// Initially 1 for every category: checks and errors are reported.
int get_report_level(int category);
void set_report_level(int category, int level);

// Sends a formatted message when get_report_level(category) >= level.
void _reportW(int category, int level, const char* file, int line, const wchar_t* fmt, ...);
// _reportW for category 0.
void _reportW0(int level, const char* file, int line, const wchar_t* fmt, ...);
// Logs "QZCheckCondition: " + expression at level 1, category 0.
void _report_condW0(const char* file, int line, const wchar_t* expression);
// Logs "QZCheckHRESULT: 0x%08x" of hr at level 1, category 0.
void _report_errW0(const char* file, int line, HRESULT hr);

}  // namespace qz_log
