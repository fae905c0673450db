// One stream shared by writers, readers and a saver that clones: every
// operation holds the stream's lock, so readers see consistent states and no
// sample is lost. Run under ThreadSanitizer by `make test-thread`.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "qz_dsc/DataSourceUnitDecoder.h"
#include "qz_dsc/DataSourceUnitEncoder.h"
#include "qz_dsc/IQZPropertySet.h"
#include "streams/DataSourceStreamTempl.h"
#include "xml/DataSourceUnitMgrDecoder.h"
#include "xml/DataSourceUnitMgrEncoder.h"

namespace qz_dsc {
namespace {

using qz_com::ComPtr;
using Stream = DataSourceStreamTempl<std::int32_t>;
constexpr int kWriters = 4;
constexpr int kPerWriter = 5000;
constexpr int kBatch = 50;

// Writer w owns the times w, w + 4, w + 8, ... and stores value = time, half
// of them one call per sample and half in batches.
void Write(Stream& s, int w) {
  std::vector<Stream::Sample> batch;
  for (int i = 0; i < kPerWriter; ++i) {
    const std::int32_t t = i * kWriters + w;
    if (i < kPerWriter / 2) {
      ASSERT_TRUE(s.AddSample(t, t));
    } else {
      batch.emplace_back(t, t);
      if (batch.size() == kBatch) {
        ASSERT_TRUE(s.AddSamples(batch));
        batch.clear();
      }
    }
  }
  ASSERT_TRUE(s.AddSamples(batch));
}

// Saves the stream into a fresh document and counts the samples written.
std::int32_t SaveAndCount(Stream& s) {
  ComPtr<IXMLDOMDocument> doc;
  EXPECT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  DataSourceUnitMgrEncoder mgr(doc.Get());
  EXPECT_TRUE(mgr.CreateDescriptionUnit());
  DataSourceUnitEncoder unit(mgr.GetDescriptionUnit());
  EXPECT_TRUE(unit.CreateDataSource(L"U", false, L"", L"", L"", false));
  DataSourceStreamEncoder encoder;
  EXPECT_TRUE(unit.CreateStreamEncoder(encoder));
  EXPECT_TRUE(s.Save(encoder));
  ComPtr<IXMLDOMElement> root;
  doc->get_documentElement(root.GetAddressOf());
  DataSourceUnitMgrDecoder reader(L"");
  EXPECT_TRUE(reader.Locate(root.Get()));
  std::vector<DataSourceUnitDecoder> units;
  EXPECT_TRUE(reader.GetUnitDecoders(units));
  std::int32_t count = -1;
  EXPECT_TRUE(units.at(0).GetDataSourceStreamDecoders().at(0).GetSampleCount(count));
  return count;
}

TEST(StreamConcurrency, WritersReadersAndASaverAgreeOnEverySample) {
  Stream s;
  s.Initialize(L"shared", false);
  ASSERT_TRUE(s.StartRecording(0));  // unbounded: nothing is dropped
  std::atomic<bool> done{false};
  std::atomic<int> readerFaults{0};

  std::vector<std::thread> threads;
  for (int w = 0; w < kWriters; ++w) threads.emplace_back([&s, w] { Write(s, w); });
  for (int r = 0; r < 2; ++r) {
    threads.emplace_back([&s, &done, &readerFaults, r] {
      std::int64_t t = r;
      while (!done.load(std::memory_order_acquire)) {
        std::int32_t v = -1;
        s.GetValueAt(t, 0, v);
        // Values equal their times, and the value in effect is never later.
        if (v < 0 || v > t) ++readerFaults;
        std::int64_t first = 0, last = 0;
        if (s.GetTimeSpan(first, last) && (first < 0 || last < first)) ++readerFaults;
        std::vector<Stream::Sample> part;
        s.GetSamples(t, t + 64, part);
        for (std::size_t i = 0; i < part.size(); ++i) {
          if (part[i].first != part[i].second || (i > 0 && part[i - 1].first >= part[i].first)) ++readerFaults;
        }
        IQZPropertySet* set = nullptr;
        if (s.GetProperties(&set) != S_OK) ++readerFaults;
        if (set != nullptr) set->Release();
        t = (t + 97) % (kWriters * kPerWriter);
      }
    });
  }
  std::vector<std::size_t> cloneSizes;
  std::vector<std::int32_t> savedCounts;
  threads.emplace_back([&] {
    while (!done.load(std::memory_order_acquire)) {
      auto clone = std::static_pointer_cast<Stream>(s.Clone());
      cloneSizes.push_back(clone->GetSampleCount());
      savedCounts.push_back(SaveAndCount(s));
    }
  });

  for (int w = 0; w < kWriters; ++w) threads[static_cast<std::size_t>(w)].join();
  done.store(true, std::memory_order_release);
  for (std::size_t i = kWriters; i < threads.size(); ++i) threads[i].join();

  EXPECT_EQ(readerFaults.load(), 0);
  std::vector<Stream::Sample> all;
  s.GetSamples(INT64_MIN, INT64_MAX, all);
  ASSERT_EQ(all.size(), static_cast<std::size_t>(kWriters * kPerWriter));
  for (std::size_t i = 0; i < all.size(); ++i) {
    ASSERT_EQ(all[i].first, static_cast<std::int64_t>(i));
    ASSERT_EQ(all[i].second, static_cast<std::int32_t>(i));
  }
  // Snapshots only ever grow, and a final one holds everything.
  for (std::size_t i = 1; i < cloneSizes.size(); ++i) EXPECT_LE(cloneSizes[i - 1], cloneSizes[i]);
  for (std::size_t i = 1; i < savedCounts.size(); ++i) EXPECT_LE(savedCounts[i - 1], savedCounts[i]);
  EXPECT_EQ(static_cast<std::size_t>(SaveAndCount(s)), all.size());
  EXPECT_EQ(std::static_pointer_cast<Stream>(s.Clone())->GetSampleCount(), all.size());
}

}  // namespace
}  // namespace qz_dsc
