#include "qz_dsc/StreamTypes.h"

#include <gtest/gtest.h>

namespace qz_dsc {
namespace {

TEST(StreamTypes, XmlNamesFollowTheTypeNumbers) {
  // Spot checks of the row order; the full texts are pinned by the encoder's output tests.
  EXPECT_STREQ(GetStreamTypeXmlName(qz_ds::StreamBasicType_None), L"DataSourceNoneStreamType");
  EXPECT_STREQ(GetStreamTypeXmlName(qz_ds::StreamBasicType_PersonSkeleton), L"DataSourcePersonSkeletonStreamType");
  EXPECT_EQ(GetStreamTypeXmlName(static_cast<qz_ds::StreamBasicType>(13)), nullptr);
  EXPECT_EQ(GetStreamTypeXmlName(static_cast<qz_ds::StreamBasicType>(-1)), nullptr);
}

TEST(StreamTypes, NameLookupIsExactAndInvertsTheTable) {
  for (int i = 0; i < kStreamBasicTypeCount; ++i) {
    auto type = static_cast<qz_ds::StreamBasicType>(i);
    qz_ds::StreamBasicType found = qz_ds::StreamBasicType_None;
    ASSERT_TRUE(FindStreamTypeByXmlName(GetStreamTypeXmlName(type), found));
    EXPECT_EQ(found, type);
  }
  qz_ds::StreamBasicType found = qz_ds::StreamBasicType_Vector2;
  EXPECT_FALSE(FindStreamTypeByXmlName(L"datasourceintstreamtype", found));
  EXPECT_FALSE(FindStreamTypeByXmlName(L"", found));
  EXPECT_EQ(found, qz_ds::StreamBasicType_Vector2);
}

}  // namespace
}  // namespace qz_dsc
