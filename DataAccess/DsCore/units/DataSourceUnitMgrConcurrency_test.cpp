// Eight threads on one manager for a few seconds: recording, reading,
// cloning, saving to files, merging documents and applying snapshots at once.
// Nothing may deadlock, and every recorded sample must be there at the end.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

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

}  // namespace
}  // namespace qz_dsc
