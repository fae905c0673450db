// The lock of one stream: a mutex that the thread holding it may take again
// (Initialize, Load and LoadSettings call other operations of the same
// stream). Uncontended, taking and releasing it is one atomic exchange each
// and no call into the C library; a thread that finds it held by another
// sleeps on the lock word (std::atomic wait), it does not spin.
// Meets the Lockable requirements, so std::lock_guard and std::unique_lock
// hold it. Safe to use from any thread; unlock only from the owning thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace qz_dsc {

class ReentrantLock {
 public:
  ReentrantLock() = default;
  ReentrantLock(const ReentrantLock&) = delete;
  ReentrantLock& operator=(const ReentrantLock&) = delete;

  void lock() {
    const std::thread::id self = std::this_thread::get_id();
    // Only this thread ever stores its own id here, so an equal id read
    // with no ordering is this thread's own, still valid, store.
    if (m_owner.load(std::memory_order_relaxed) == self) {
      ++m_depth;
      return;
    }
    std::int32_t expected = kFree;
    if (!m_word.compare_exchange_strong(expected, kHeld, std::memory_order_acquire, std::memory_order_relaxed)) {
      LockContended();
    }
    m_owner.store(self, std::memory_order_relaxed);
    m_depth = 1;
  }

  bool try_lock() {
    const std::thread::id self = std::this_thread::get_id();
    if (m_owner.load(std::memory_order_relaxed) == self) {
      ++m_depth;
      return true;
    }
    std::int32_t expected = kFree;
    if (!m_word.compare_exchange_strong(expected, kHeld, std::memory_order_acquire, std::memory_order_relaxed)) {
      return false;
    }
    m_owner.store(self, std::memory_order_relaxed);
    m_depth = 1;
    return true;
  }

  // REQUIRES: the calling thread holds the lock.
  void unlock() {
    if (--m_depth != 0) return;
    m_owner.store(std::thread::id(), std::memory_order_relaxed);
    if (m_word.exchange(kFree, std::memory_order_release) == kHeldWithWaiters) m_word.notify_one();
  }

 private:
  // The lock word: free, held, or held while another thread may sleep on it.
  static constexpr std::int32_t kFree = 0;
  static constexpr std::int32_t kHeld = 1;
  static constexpr std::int32_t kHeldWithWaiters = 2;

  void LockContended() {
    // Marking the word "with waiters" before sleeping makes the holder's
    // unlock wake one sleeper; a thread that takes the lock this way keeps
    // the mark, since others may still sleep.
    while (m_word.exchange(kHeldWithWaiters, std::memory_order_acquire) != kFree) {
      m_word.wait(kHeldWithWaiters, std::memory_order_relaxed);
    }
  }

  std::atomic<std::int32_t> m_word{kFree};
  std::atomic<std::thread::id> m_owner{};
  std::uint32_t m_depth = 0;  // touched only by the owning thread
};

}  // namespace qz_dsc
