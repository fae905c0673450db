#include "streams/ReentrantLock.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

namespace qz_dsc {
namespace {

TEST(ReentrantLock, TheOwnerTakesItAgainOthersWaitUntilTheLastRelease) {
  ReentrantLock lock;
  std::unique_lock<ReentrantLock> outer(lock);
  {
    std::lock_guard<ReentrantLock> inner(lock);
    std::thread other([&] { EXPECT_FALSE(lock.try_lock()); });
    other.join();
  }
  // One release of two: still held.
  std::thread stillHeld([&] { EXPECT_FALSE(lock.try_lock()); });
  stillHeld.join();
  outer.unlock();
  std::thread free([&] {
    ASSERT_TRUE(lock.try_lock());
    lock.unlock();
  });
  free.join();
}

TEST(ReentrantLockConcurrency, ThreadsThatSleepOnItLoseNoUpdate) {
  // Plain (non-atomic) counters: a lost exclusion shows as a wrong total
  // here and as a data race under ThreadSanitizer.
  ReentrantLock lock;
  long counter = 0;
  long nested = 0;
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        std::lock_guard<ReentrantLock> g(lock);
        ++counter;
        if (i % 64 == 0) {
          std::lock_guard<ReentrantLock> again(lock);
          ++nested;
          std::this_thread::yield();  // others pile up and sleep on the word
        }
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(counter, static_cast<long>(kThreads) * kRounds);
  EXPECT_EQ(nested, static_cast<long>(kThreads) * ((kRounds + 63) / 64));
}

}  // namespace
}  // namespace qz_dsc
