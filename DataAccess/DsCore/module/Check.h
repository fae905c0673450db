// The library's check and report macros: QZ_CHECK_CONDITION logs a failed
// condition as written in the source, QZ_CHECK_HRESULT a failed result, and
// QZ_REPORT a formatted message, all through the logging library in
// category 0; and FormatW, the library's wide printf-style formatter with the
// Windows meaning of the formats. Private to the library.
// Safe from any thread.
#pragma once

#include <string>

#include "WideFormat.h"
#include "qz_com/qz_com.h"
#include "qz_log/qz_log.h"

namespace qz_dsc {

// printf-style formatting: "%s" a wide string, "%S" a narrow one, "%I64d" a
// 64-bit integer.
template <class... Args>
std::wstring FormatW(const wchar_t* fmt, Args... args) {
  return widefmt::Format(fmt, args...);
}

namespace check {

// True when cond holds; otherwise logs the expression text and returns false.
inline bool Condition(bool cond, const wchar_t* expression, const char* file, int line) {
  if (!cond) qz_log::_report_condW0(file, line, expression);
  return cond;
}

// True when hr succeeded; otherwise logs it and returns false.
inline bool Result(HRESULT hr, const char* file, int line) {
  if (FAILED(hr)) {
    qz_log::_report_errW0(file, line, hr);
    return false;
  }
  return true;
}

}  // namespace check
}  // namespace qz_dsc

#define QZ_CHECK_WIDEN2(x) L##x
#define QZ_CHECK_WIDEN(x) QZ_CHECK_WIDEN2(x)

// Evaluates expr; when false, logs "QZCheckCondition: <expr as written>" and
// yields false.
#define QZ_CHECK_CONDITION(expr) \
  ::qz_dsc::check::Condition(static_cast<bool>(expr), QZ_CHECK_WIDEN(#expr), __FILE__, __LINE__)
// Evaluates hr; when it failed, logs "QZCheckHRESULT: 0x%08x" and yields false.
#define QZ_CHECK_HRESULT(hr) ::qz_dsc::check::Result((hr), __FILE__, __LINE__)
// Formatted report in category 0 at the given level.
#define QZ_REPORT(level, ...) ::qz_log::_reportW0((level), __FILE__, __LINE__, __VA_ARGS__)
