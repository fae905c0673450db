#include "module/LiveObjects.h"

#include <atomic>

namespace qz_dsc::live_objects {
namespace {

std::atomic<std::int64_t> g_count{0};

}  // namespace

std::int64_t Count() noexcept { return g_count.load(std::memory_order_acquire); }

void Increment() noexcept { g_count.fetch_add(1, std::memory_order_relaxed); }

void Decrement() noexcept { g_count.fetch_sub(1, std::memory_order_acq_rel); }

}  // namespace qz_dsc::live_objects
