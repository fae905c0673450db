#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "units/DataSourceUnit.h"
#include "units/UnitTestSupport.h"

using namespace qz_dsc;
using namespace units_testing;
using qz_com::ComPtr;

class DataSourceUnitConcurrency : public LiveUnitCheck {};

// Recorders add to their own streams while other threads read, clone, save
// and apply snapshots to the same unit: every sample arrives, nothing hangs.
TEST_F(DataSourceUnitConcurrency, RecordReadCloneSaveAndSnapshotTogether) {
  constexpr int kRecorders = 3;
  constexpr int kSamples = 3000;
  constexpr int kSnapshots = 40;
  ComPtr<DataSourceUnit> unit;
  unit.Attach(new DataSourceUnit(L"u"));
  for (int r = 0; r < kRecorders; ++r) {
    ASSERT_TRUE(unit->AddStream(Recorded<double>(L"r" + std::to_wstring(r))));
  }

  std::atomic<int> recording{kRecorders};
  std::vector<std::thread> threads;
  for (int r = 0; r < kRecorders; ++r) {
    threads.emplace_back([&, r] {
      auto overlay = unit->CreateOverlayDataSource();
      auto stream = Typed<double>(overlay->GetStream(L"r" + std::to_wstring(r)));
      for (int i = 0; i < kSamples; ++i) EXPECT_TRUE(stream->AddSample(i * 10, i));
      --recording;
    });
  }
  // Readers and cloners run at least once, however fast the recorders are.
  threads.emplace_back([&] {  // reader
    do {
      EXPECT_EQ(unit->CopyDataSourceInfo().GetId(), L"u");
      EXPECT_GE(unit->GetStreamCount(), kRecorders);
      unit->GetVideoOffset();
      AllSamples<double>(unit->FindOverlayStream(L"r0"));
    } while (recording > 0);
  });
  threads.emplace_back([&] {  // cloner and saver
    do {
      IDataSourceUnit* copy = nullptr;
      ASSERT_EQ(unit->Clone(&copy), S_OK);
      EXPECT_GE(copy->GetStreamCount(), kRecorders);
      copy->Release();
      EXPECT_FALSE(SavedXml(unit.Get()).empty());
    } while (recording > 0);
  });
  threads.emplace_back([&] {  // snapshots into a stream of their own
    for (int n = 0; n < kSnapshots; ++n) {
      DataSourceModifier modifier;
      modifier.SetId(L"u");
      auto record = std::make_shared<DataSourceStreamModifier>();
      ASSERT_TRUE(record->Create(L"snap", qz_ds::StreamBasicType_Float));
      ASSERT_EQ(0, record->GetInternalBuffer()->AddSample(n + 1, DataSourceStreamVariantDerived<double>(n)));
      ASSERT_TRUE(modifier.AddStream(record));
      EXPECT_EQ(unit->ApplyModifier(modifier, 0), IDataSourceUnitCtrl::kModifierApplied);
    }
  });
  for (auto& t : threads) t.join();

  for (int r = 0; r < kRecorders; ++r) {
    EXPECT_EQ(AllSamples<double>(unit->FindOverlayStream(L"r" + std::to_wstring(r))).size(),
              static_cast<std::size_t>(kSamples));
  }
  EXPECT_EQ(AllSamples<double>(unit->FindOverlayStream(L"snap")).size(), static_cast<std::size_t>(kSnapshots));
}
