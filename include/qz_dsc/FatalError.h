// The library's one fatal-error hook: faults that the platform would hand to
// its invalid-parameter handler (a bounded copy whose bound is too small, a
// null source) are reported here. The default hook writes the fault to
// standard error and aborts; a host or a test may install its own, and when
// that hook returns, the faulting operation goes on without copying.
// Setting the hook is thread-safe; the hook itself may be called from any thread.
#pragma once

#include "qz_dsc/export.h"

namespace qz_dsc {

// what: the faulting operation; errorCode: the C error number (34 for a
// range error, 22 for an invalid argument).
using FatalErrorHook = void (*)(const char* what, int errorCode);

// Installs hook (nullptr restores the default) and returns the previous one.
QZ_DSC_API FatalErrorHook SetFatalErrorHook(FatalErrorHook hook) noexcept;

// Calls the installed hook.
QZ_DSC_API void ReportFatalError(const char* what, int errorCode);

}  // namespace qz_dsc
