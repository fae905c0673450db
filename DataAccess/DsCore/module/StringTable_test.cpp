#include "module/StringTable.h"

#include <gtest/gtest.h>

namespace qz_dsc {
namespace {

TEST(StringTable, HoldsTheDisplayTextsByResourceId) {
  EXPECT_STREQ(StringTable::Load(IDS_NAME), L"Name");
  EXPECT_STREQ(StringTable::Load(IDS_UNIT_NAME), L"Unit Name");
  EXPECT_STREQ(StringTable::Load(IDS_CONTINUOUS), L"Continuous");
  EXPECT_STREQ(StringTable::Load(IDS_CONSTANT), L"Constant");
  EXPECT_STREQ(StringTable::Load(IDS_OVERLAY_NUMBER), L"Overlay #");
  EXPECT_STREQ(StringTable::Load(IDS_NO_DATA_STREAM), L"No data stream recorded.");
  EXPECT_STREQ(StringTable::Load(IDS_END_TIME), L"End time");
  EXPECT_EQ(StringTable::Load(278), nullptr);
  EXPECT_EQ(StringTable::Load(297), nullptr);
}

}  // namespace
}  // namespace qz_dsc
