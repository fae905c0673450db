#include "streams/SampleColumn.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace qz_dsc {
namespace {

std::atomic<std::size_t> g_byteLimit{0};
std::atomic<std::int64_t> g_blockBytes{0};

void CountBlock(std::size_t bytes, bool added) noexcept {
  const auto n = static_cast<std::int64_t>(bytes);
  g_blockBytes.fetch_add(added ? n : -n, std::memory_order_relaxed);
}

#if defined(__linux__)
bool IsMapped(std::size_t bytes) noexcept { return bytes >= kMappedColumnBytes; }

std::size_t PageRounded(std::size_t bytes) noexcept {
  static const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return (bytes + page - 1) / page * page;
}

void* MapBlock(std::size_t bytes) {
  void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) throw std::bad_alloc();
  // A hint only: without huge pages the block works the same, just with
  // more page faults on first touch.
  (void)madvise(p, bytes, MADV_HUGEPAGE);
  return p;
}
#endif

}  // namespace

std::size_t SampleColumnBlockBytes() noexcept {
  return static_cast<std::size_t>(g_blockBytes.load(std::memory_order_relaxed));
}

void SetSampleStoreByteLimit(std::size_t bytes) noexcept { g_byteLimit.store(bytes, std::memory_order_relaxed); }

void CheckSampleStoreBytes(std::size_t bytes) {
  const std::size_t limit = g_byteLimit.load(std::memory_order_relaxed);
  if (limit != 0 && bytes > limit) throw std::bad_alloc();
}

void* AllocateColumnBlock(std::size_t bytes, std::size_t* usable) {
  CheckSampleStoreBytes(bytes);
#if defined(__linux__)
  if (IsMapped(bytes)) {
    const std::size_t rounded = PageRounded(bytes);
    void* p = MapBlock(rounded);
    CountBlock(rounded, true);
    *usable = rounded;
    return p;
  }
#endif
  void* p = std::malloc(bytes);
  if (p == nullptr) throw std::bad_alloc();
  CountBlock(bytes, true);
  *usable = bytes;
  return p;
}

void* ReallocateColumnBlock(void* block, std::size_t oldBytes, std::size_t keep, std::size_t bytes,
                            std::size_t* usable) {
  CheckSampleStoreBytes(bytes);
#if defined(__linux__)
  if (IsMapped(oldBytes) && IsMapped(bytes)) {
    // The pages move to the new place, their contents are not copied.
    const std::size_t rounded = PageRounded(bytes);
    void* p = mremap(block, oldBytes, rounded, MREMAP_MAYMOVE);
    if (p == MAP_FAILED) throw std::bad_alloc();
    CountBlock(PageRounded(oldBytes), false);
    CountBlock(rounded, true);
    *usable = rounded;
    return p;
  }
  if (IsMapped(oldBytes) || IsMapped(bytes)) {
    // Between a mapping and the heap: a new block and one copy.
    std::size_t newUsable = 0;
    void* p = AllocateColumnBlock(bytes, &newUsable);
    std::memcpy(p, block, std::min(keep, bytes));
    FreeColumnBlock(block, oldBytes);
    *usable = newUsable;
    return p;
  }
#else
  (void)oldBytes;
  (void)keep;
#endif
  void* p = std::realloc(block, bytes);
  if (p == nullptr) throw std::bad_alloc();
  CountBlock(oldBytes, false);
  CountBlock(bytes, true);
  *usable = bytes;
  return p;
}

void FreeColumnBlock(void* block, std::size_t bytes) noexcept {
  if (block == nullptr) return;
#if defined(__linux__)
  if (IsMapped(bytes)) {
    (void)munmap(block, bytes);
    CountBlock(PageRounded(bytes), false);
    return;
  }
#endif
  CountBlock(bytes, false);
  std::free(block);
}

}  // namespace qz_dsc
