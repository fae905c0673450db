#include "qz_dsc/FatalError.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace qz_dsc {
namespace {

void DefaultHook(const char* what, int errorCode) {
  std::fprintf(stderr, "DsCore fatal error: %s (error %d)\n", what ? what : "", errorCode);
  std::abort();
}

std::atomic<FatalErrorHook> g_hook{&DefaultHook};

}  // namespace

FatalErrorHook SetFatalErrorHook(FatalErrorHook hook) noexcept {
  FatalErrorHook previous = g_hook.exchange(hook ? hook : &DefaultHook);
  return previous == &DefaultHook ? nullptr : previous;
}

void ReportFatalError(const char* what, int errorCode) { g_hook.load()(what, errorCode); }

}  // namespace qz_dsc
