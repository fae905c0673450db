// The one export macro of the library: marks the names a host may use.
// Everything else is built with hidden visibility.
#pragma once

#if defined(_WIN32)
#if defined(QZ_DSC_BUILDING)
#define QZ_DSC_API __declspec(dllexport)
#else
#define QZ_DSC_API __declspec(dllimport)
#endif
#else
#define QZ_DSC_API __attribute__((visibility("default")))
#endif
