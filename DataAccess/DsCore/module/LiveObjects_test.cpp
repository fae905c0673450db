#include "module/LiveObjects.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace qz_dsc {
namespace {

struct Tracked {
  live_objects::Counted counted;
};

TEST(LiveObjects, CountedMembersBalanceThroughCopiesAndDestruction) {
  const auto before = live_objects::Count();
  {
    Tracked a;
    Tracked b = a;
    std::optional<Tracked> c;
    c.emplace();
    *c = b;  // assignment keeps the count: no object was created
    EXPECT_EQ(live_objects::Count(), before + 3);
    c.reset();
    EXPECT_EQ(live_objects::Count(), before + 2);
  }
  EXPECT_EQ(live_objects::Count(), before);
}

TEST(LiveObjectsConcurrency, CreatedAndDestroyedOnManyThreadsBalance) {
  const auto before = live_objects::Count();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 10000; ++i) {
        auto p = std::make_unique<Tracked>();
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(live_objects::Count(), before);
}

}  // namespace
}  // namespace qz_dsc
