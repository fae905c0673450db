// Eight threads on one manager for a few seconds: recording, reading,
// cloning, saving to files, merging documents and applying snapshots at once.
// Nothing may deadlock, and every recorded sample must be there at the end.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "Utf8Text.h"
#include "qz_dsc/DataSourceListFile.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamExtended.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/StreamModifierRawBuffer.h"
#include "units/ManagerTesting.h"

namespace qz_dsc {
namespace {

using namespace qz_dsc::testing;
namespace fs = std::filesystem;
constexpr std::int64_t kMaxRecorded = 20'000;

DataSourceModifier Snapshot(const std::wstring& id, int samples) {
  DataSourceModifier modifier;
  modifier.SetId(id);
  auto record = std::make_shared<DataSourceStreamModifier>();
  EXPECT_TRUE(record->Create(L"x", qz_ds::StreamBasicType_Float));
  for (int i = 0; i < samples; ++i) {
    EXPECT_EQ(record->GetInternalBuffer()->AddSample(i * 10'000LL, DataSourceStreamVariantDerived<double>(i)), 0);
  }
  EXPECT_TRUE(modifier.AddStream(record));
  return modifier;
}

std::shared_ptr<DataSourceStreamExtended<double>> RecordingStream(IDataSourceUnitMgrCtrl* manager,
                                                                  const std::wstring& id) {
  auto source = manager->CreateOverlayManager()->GetDataSource(id);
  return std::dynamic_pointer_cast<DataSourceStreamExtended<double>>(source ? source->GetStream(L"x") : nullptr);
}

TEST(DataSourceUnitMgrConcurrency, EightThreadsRecordReadCloneSaveMergeAndApply) {
  const fs::path dir = fs::temp_directory_path() / ("dscore_stress_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  auto manager = NewManager();
  auto priv = As<IDataSourceUnitMgrPrivate>(manager.Get());
  for (const wchar_t* id : {L"Rec0", L"Rec1", L"Snap"}) ASSERT_TRUE(priv->ApplyModifier(Snapshot(id, 0), 0));
  const std::wstring mergeDoc = ListDocument(FloatSource(L"Merged", L"x", {{L"0 1", L"1"}, {L"0 2", L"2"}}));

  std::atomic<bool> stop{false};
  std::atomic<int> failures{0};
  std::int64_t recorded[2] = {0, 0};
  auto check = [&](bool ok) {
    if (!ok) failures.fetch_add(1);
  };
  std::vector<std::thread> threads;
  for (int r = 0; r < 2; ++r) {
    threads.emplace_back([&, r] {
      auto stream = RecordingStream(manager.Get(), r == 0 ? L"Rec0" : L"Rec1");
      check(stream != nullptr);
      // Bounded, so that saves and clones stay quick to the end.
      for (std::int64_t t = 1; stream && !stop.load() && t <= kMaxRecorded; ++t) {
        recorded[r] += stream->AddSample(t * 10'000, 1.0) ? 1 : 0;
        if (t % 64 == 0) std::this_thread::yield();
      }
    });
  }
  threads.emplace_back([&] {  // reader
    while (!stop.load()) {
      check(manager->GetDataSourceInfos().size() >= 3);
      auto overlay = manager->CreateOverlayManager();
      auto stream = std::dynamic_pointer_cast<qz_ds::DataSourceStream<double>>(overlay->GetDataSource(L"Rec0")->GetStream(L"x"));
      double value = 0;
      if (stream) stream->GetValueAt(50'000, 0, value);
      static_cast<void>(manager->GetDataSourceVideoOffset(L"Rec1"));
    }
  });
  threads.emplace_back([&] {  // cloner
    while (!stop.load()) {
      ComPtr<IDataSourceUnitMgrCtrl> copy;
      check(manager->Clone(copy.GetAddressOf()) == S_OK && copy->GetDataSourceCount() >= 3);
    }
  });
  threads.emplace_back([&] {  // saver
    for (int i = 0; !stop.load(); ++i) {
      check(static_cast<bool>(SaveDataSourceListFile(manager.Get(), (dir / ("list" + std::to_string(i % 3) + ".xml")).wstring())));
    }
  });
  threads.emplace_back([&] {  // merger
    while (!stop.load()) check(MergeText(manager.Get(), mergeDoc));
  });
  threads.emplace_back([&] {  // snapshots
    for (int i = 0; !stop.load(); ++i) check(priv->ApplyModifier(Snapshot(L"Snap", 1 + i % 50), 0));
  });
  threads.emplace_back([&] {  // broadcasts that take no lock while they call the units
    while (!stop.load()) {
      check(manager->AlignFirstSampleTimes(0) == S_OK && manager->ResetVideoOffsets() == S_OK);
      priv->SetStartTime(0);
      static_cast<void>(priv->GetStartTime());
    }
  });
  ASSERT_EQ(threads.size(), 8u);
  std::this_thread::sleep_for(std::chrono::seconds(3));
  stop.store(true);
  for (auto& t : threads) t.join();

  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(manager->GetDataSourceCount(), 4);  // Rec0, Rec1, Snap and the merged one, once
  EXPECT_GT(recorded[0], 0);
  EXPECT_EQ(static_cast<std::int64_t>(Samples<double>(manager.Get(), L"Rec0", L"x").size()), recorded[0]);
  EXPECT_EQ(static_cast<std::int64_t>(Samples<double>(manager.Get(), L"Rec1", L"x").size()), recorded[1]);
  EXPECT_EQ(Samples<double>(manager.Get(), L"Merged", L"x").size(), 2u);
  // The last file saved loads whole.
  auto reloaded = NewManager();
  const auto loaded = LoadDataSourceListFile(reloaded.Get(), (dir / "list0.xml").wstring());
  EXPECT_TRUE(loaded && loaded.LoadedWhole()) << std::string(loaded.message.begin(), loaded.message.end());
  fs::remove_all(dir);
}

// Streaming loads on several threads at once (each parse keeps its state in
// thread-local and per-read objects): every thread reads what one load reads,
// samples with comments, child elements and blanks included.
TEST(DataSourceUnitMgrConcurrency, StreamingLoadsOnManyThreadsReadTheSame) {
  const fs::path dir = fs::temp_directory_path() / ("dscore_loads_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  std::vector<std::pair<std::wstring, std::wstring>> samples;
  for (int i = 0; i < 2000; ++i) {
    const std::wstring text = i % 7 == 0 ? L" 1<!--c-->" : i % 11 == 0 ? L"2<b/> " : std::to_wstring(i) + L".5";
    samples.emplace_back(L"0 " + std::to_wstring(i), text);
  }
  const fs::path file = dir / "list.xml";
  {
    std::FILE* f = std::fopen(file.string().c_str(), "wb");
    ASSERT_NE(f, nullptr);
    const std::string text = utf8text::ToUtf8(ListDocument(FloatSource(L"A", L"x", samples) + FloatSource(L"B", L"y", samples)));
    ASSERT_EQ(std::fwrite(text.data(), 1, text.size(), f), text.size());
    std::fclose(f);
  }
  auto first = NewManager();
  ASSERT_TRUE(LoadDataSourceListFile(first.Get(), file.wstring()));
  const std::wstring expected = SaveText(first.Get());
  ASSERT_EQ(Samples<double>(first.Get(), L"A", L"x").size(), 2000u);

  std::atomic<int> differ{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10; ++i) {
        auto manager = NewManager();
        if (!LoadDataSourceListFile(manager.Get(), file.wstring()) || SaveText(manager.Get()) != expected) ++differ;
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(differ.load(), 0);
  fs::remove_all(dir);
}

}  // namespace
}  // namespace qz_dsc
