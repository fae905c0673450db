#include "module/StringTable.h"

#include <gtest/gtest.h>

#include <cwchar>

namespace qz_dsc {
namespace {

// Ids 279 to 296 all resolve to a non-empty text; the ids around them do not.
TEST(StringTable, EveryIdInTheRangeAndNoneOutside) {
  EXPECT_EQ(StringTable::Load(278), nullptr);
  EXPECT_EQ(StringTable::Load(297), nullptr);
  EXPECT_EQ(StringTable::Load(-1), nullptr);
  for (int id = 279; id <= 296; ++id) {
    const wchar_t* text = StringTable::Load(id);
    ASSERT_NE(text, nullptr) << id;
    EXPECT_GT(std::wcslen(text), 0u) << id;
  }
  EXPECT_STREQ(StringTable::Load(IDS_OVERLAY_NUMBER), L"Overlay #");
}

}  // namespace
}  // namespace qz_dsc
