// The library's check and report macros: QZ_CHECK_CONDITION logs a failed
// condition as written in the source, QZ_CHECK_HRESULT a failed result, and
// QZ_REPORT a formatted message, all through the logging library in
// category 0. Private to the library.
#pragma once

#include "qz_log/qz_log.h"
