#include "streams/LastModifiedClock.h"

#include <time.h>

#include <chrono>
#include <limits>

#if defined(__linux__) && defined(CLOCK_MONOTONIC_COARSE)
#include <dlfcn.h>
#define QZ_DSC_COARSE_CLOCK 1
#endif

#include "qz_dsc/Ticks.h"

namespace qz_dsc {
namespace {

#if defined(QZ_DSC_COARSE_CLOCK)
using ClockGetTime = int (*)(clockid_t, timespec*);

// The kernel's clock_gettime in the vDSO, called directly: the C library's
// wrapper in front of it costs about as much again as the clock itself. The
// wrapper is the fallback where no vDSO is found.
ClockGetTime FindVdsoClock() noexcept {
  if (void* vdso = dlopen("linux-vdso.so.1", RTLD_LAZY | RTLD_LOCAL | RTLD_NOLOAD)) {
    if (void* fn = dlsym(vdso, "__vdso_clock_gettime")) return reinterpret_cast<ClockGetTime>(fn);
  }
  return &clock_gettime;
}
#endif

// Milliseconds of the process's cheapest monotonic clock. The coarse clock
// is read from the vDSO in a few nanoseconds; its millisecond resolution is
// all the stamp keeps.
std::int64_t MonotonicMilliseconds() noexcept {
#if defined(QZ_DSC_COARSE_CLOCK)
  static const ClockGetTime clock = FindVdsoClock();
  timespec ts{};
  if (clock(CLOCK_MONOTONIC_COARSE, &ts) == 0) {
    return static_cast<std::int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
  }
#endif
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

std::int64_t LastModifiedNow() noexcept {
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  // The origin sits one millisecond before the first reading, so a stamp is
  // never 0 (the stamp of a stream that never changed) and the 32-bit range
  // lasts about 24 days from the process's first use. A function-local
  // static, so that a call during static initialisation finds it set.
  static const std::int64_t originMs = MonotonicMilliseconds() - 1;
  std::int64_t ms = MonotonicMilliseconds() - originMs;
  if (ms < 1) ms = 1;
  if (ms > kMax) ms = kMax;
  return ms * kTicksPerMillisecond;
}

}  // namespace qz_dsc
