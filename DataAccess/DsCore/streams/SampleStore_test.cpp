#include "streams/SampleStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <string>

namespace qz_dsc {
namespace {

template <class T>
void ExpectSame(const SampleStore<T>& store, const std::map<std::int64_t, T>& ref) {
  ASSERT_EQ(store.size(), ref.size());
  ASSERT_EQ(store.empty(), ref.empty());
  std::size_t i = 0;
  for (const auto& [k, v] : ref) {
    ASSERT_EQ(store.KeyAt(i), k) << "index " << i;
    ASSERT_EQ(store.ValueAt(i), v) << "index " << i;
    ++i;
  }
}

TEST(SampleStore, RandomOperationsAgreeWithOrderedMap) {
  // Mostly ascending keys with stragglers, bounded-store drops from the
  // front, truncations: the mix a recording stream sees.
  std::mt19937_64 rng(12345);
  SampleStore<std::wstring> store;
  std::map<std::int64_t, std::wstring> ref;
  std::int64_t next = -50;
  for (int step = 0; step < 20000; ++step) {
    const int op = static_cast<int>(rng() % 100);
    if (op < 70) {
      next += static_cast<std::int64_t>(rng() % 3);  // equal keys now and then
      const std::wstring v = std::to_wstring(step);
      store.InsertOrAssign(next, v);
      ref[next] = v;
    } else if (op < 88) {
      const std::int64_t k = next - static_cast<std::int64_t>(rng() % 200);
      const std::wstring v = L"late" + std::to_wstring(step);
      const bool added = store.InsertOrAssign(k, std::wstring(v));
      EXPECT_EQ(added, ref.find(k) == ref.end());
      ref[k] = v;
    } else if (op < 97) {
      const std::size_t n = static_cast<std::size_t>(rng() % 8);
      store.EraseFront(n);
      for (std::size_t i = 0; i < n && !ref.empty(); ++i) ref.erase(ref.begin());
    } else {
      const std::int64_t cut = next - static_cast<std::int64_t>(rng() % 40);
      store.EraseFrom(store.LowerBound(cut));
      ref.erase(ref.lower_bound(cut), ref.end());
    }
    if (step % 997 == 0) ExpectSame(store, ref);
  }
  ExpectSame(store, ref);
}

TEST(SampleStore, BoundsAtEdgesAndWithHints) {
  SampleStore<double> store;
  EXPECT_EQ(store.LowerBound(0), 0u);
  EXPECT_EQ(store.UpperBound(0, 0), 0u);
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  for (std::int64_t k : {kMin, std::int64_t{-10}, std::int64_t{0}, std::int64_t{10}, kMax}) {
    store.InsertOrAssign(k, static_cast<double>(k));
  }
  store.EraseFront(1);
  store.InsertOrAssign(kMin, -1.0);  // goes into the freed front slot
  ASSERT_EQ(store.size(), 5u);
  EXPECT_EQ(store.FrontKey(), kMin);
  EXPECT_EQ(store.BackKey(), kMax);
  EXPECT_EQ(store.LowerBound(kMin), 0u);
  EXPECT_EQ(store.UpperBound(kMax), 5u);
  EXPECT_EQ(store.LowerBound(-10), 1u);
  EXPECT_EQ(store.UpperBound(-10), 2u);
  EXPECT_EQ(store.LowerBound(-9), 2u);
  EXPECT_EQ(store.Find(10), 3u);
  EXPECT_EQ(store.Find(11), 5u);
  // A hint anywhere, even a wrong or out-of-range one, gives the same answer.
  for (std::int64_t k : {kMin, std::int64_t{-11}, std::int64_t{-10}, std::int64_t{5}, std::int64_t{10}, kMax}) {
    for (std::size_t hint = 0; hint <= 7; ++hint) {
      EXPECT_EQ(store.UpperBound(k, hint), store.UpperBound(k)) << k << " hint " << hint;
    }
  }
}

TEST(SampleStore, UpperBoundAgreesWithBinarySearchForAnySpacing) {
  // The search starts from an interpolated guess; clustered, geometric and
  // extreme keys make that guess wrong by far.
  std::mt19937_64 rng(99);
  std::vector<std::vector<std::int64_t>> layouts(4);
  for (std::int64_t i = 0; i < 3000; ++i) layouts[0].push_back(i * 7);
  for (std::int64_t i = 0; i < 60; ++i) layouts[1].push_back(std::int64_t{1} << i);
  layouts[2] = {std::numeric_limits<std::int64_t>::min(), -1, 0, 1, 2, 3, std::numeric_limits<std::int64_t>::max()};
  for (int i = 0; i < 2000; ++i) layouts[3].push_back(static_cast<std::int64_t>(rng() % 100) + (i % 500 == 0 ? std::int64_t{1'000'000'000} * i : 0));
  for (auto& keys : layouts) {
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    SampleStore<int> store;
    store.AppendAscending(keys.size(), [&](std::size_t i) { return keys[i]; }, [](std::size_t) { return 1; });
    std::vector<std::int64_t> probes = {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()};
    for (std::int64_t k : keys) {
      probes.push_back(k);
      if (k > std::numeric_limits<std::int64_t>::min()) probes.push_back(k - 1);
      if (k < std::numeric_limits<std::int64_t>::max()) probes.push_back(k + 1);
    }
    for (int i = 0; i < 2000; ++i) probes.push_back(static_cast<std::int64_t>(rng()));
    for (std::int64_t k : probes) {
      const auto expected = static_cast<std::size_t>(std::upper_bound(keys.begin(), keys.end(), k) - keys.begin());
      ASSERT_EQ(store.UpperBound(k), expected) << k;
    }
  }
}

TEST(SampleStore, EraseClearAssignAndCopy) {
  SampleStore<int> store;
  for (int i = 0; i < 100; ++i) store.InsertOrAssign(i * 10, i);
  store.EraseFront(60);  // compacts: more dead than live
  store.EraseFront(0);
  ASSERT_EQ(store.size(), 40u);
  EXPECT_EQ(store.FrontKey(), 600);
  store.EraseFrom(store.size());  // nothing
  store.EraseFrom(30);
  EXPECT_EQ(store.size(), 30u);
  EXPECT_EQ(store.BackKey(), 890);

  SampleStore<int> copy(store);
  EXPECT_EQ(copy.CapacityBytes(), 30u * (sizeof(std::int64_t) + sizeof(int)));
  store.EraseFront(1000);
  EXPECT_TRUE(store.empty());
  EXPECT_EQ(copy.FrontKey(), 600);

  std::map<std::int64_t, int> samples{{5, 1}, {-5, 2}};
  copy.Assign(std::move(samples));
  EXPECT_TRUE(samples.empty());
  ExpectSame(copy, std::map<std::int64_t, int>{{-5, 2}, {5, 1}});
  SampleStore<int> moved(std::move(copy));
  EXPECT_TRUE(copy.empty());
  EXPECT_EQ(moved.size(), 2u);
  moved.Clear();
  EXPECT_TRUE(moved.empty());
}

}  // namespace
}  // namespace qz_dsc
