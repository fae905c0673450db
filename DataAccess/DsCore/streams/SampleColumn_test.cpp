#include "streams/SampleColumn.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>

namespace qz_dsc {
namespace {

// Restores "no limit" however the test ends.
struct ByteLimit {
  explicit ByteLimit(std::size_t bytes) { SetSampleStoreByteLimit(bytes); }
  ~ByteLimit() { SetSampleStoreByteLimit(0); }
};

TEST(SampleColumn, GrowsAcrossTheMappedSizeAndBackKeepingEveryElement) {
  // 3 x 2^17 keys pass the mapped block size twice on the way up; an insert
  // and front erase move data inside a mapping; shrinking returns to the heap.
  constexpr std::int64_t kCount = 3 * (1 << 17);
  TrivialColumn<std::int64_t> c;
  const std::size_t heldBefore = SampleColumnBlockBytes();
  for (std::int64_t i = 0; i < kCount; ++i) c.push_back(i * 3);
  EXPECT_GE(SampleColumnBlockBytes() - heldBefore, kCount * sizeof(std::int64_t));
  c.insert(1, 1);
  c.erase_front(1);
  ASSERT_EQ(c.size(), static_cast<std::size_t>(kCount));
  EXPECT_EQ(c[0], 1);
  for (std::int64_t i = 1; i < kCount; ++i) ASSERT_EQ(c[static_cast<std::size_t>(i)], i * 3) << i;
  c.truncate(10);
  c.shrink_to_fit();
  EXPECT_EQ(c.capacity(), 10u);
  EXPECT_EQ(c[9], 27);
  TrivialColumn<std::int64_t> moved(std::move(c));
  EXPECT_EQ(moved.size(), 10u);
  moved.clear();
  moved.shrink_to_fit();
  EXPECT_EQ(SampleColumnBlockBytes(), heldBefore);
}

TEST(SampleColumn, AGrowthOverTheByteLimitThrowsAndKeepsTheColumn) {
  TrivialColumn<double> plain;
  ObjectColumn<std::wstring> texts;
  for (int i = 0; i < 100; ++i) {
    plain.push_back(i);
    texts.push_back(std::to_wstring(i));
  }
  plain.shrink_to_fit();
  texts.shrink_to_fit();
  ByteLimit limit(150 * sizeof(double));
  EXPECT_THROW(plain.push_back(100), std::bad_alloc);
  EXPECT_THROW(plain.reserve(1000), std::bad_alloc);
  EXPECT_THROW(plain.insert(0, -1), std::bad_alloc);
  EXPECT_THROW(texts.reserve(1000), std::bad_alloc);
  ASSERT_EQ(plain.size(), 100u);
  ASSERT_EQ(texts.size(), 100u);
  EXPECT_EQ(plain[0], 0.0);
  EXPECT_EQ(plain[99], 99.0);
  EXPECT_EQ(texts[99], L"99");
  plain.reserve(150);  // at the limit is allowed
  EXPECT_EQ(plain.capacity(), 150u);
}

}  // namespace
}  // namespace qz_dsc
