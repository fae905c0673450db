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

TEST(StreamTypes, OnlyBuiltTypesHaveStreamClasses) {
  int internal = 0;
  int external = 0;
  for (int i = -1; i <= 13; ++i) {
    auto type = static_cast<qz_ds::StreamBasicType>(i);
    internal += HasInternalStreamClass(type);
    external += HasExternalStreamClass(type);
  }
  EXPECT_EQ(internal, 5);
  EXPECT_EQ(external, 7);
  EXPECT_FALSE(HasInternalStreamClass(qz_ds::StreamBasicType_Vector3));
  EXPECT_TRUE(HasExternalStreamClass(qz_ds::StreamBasicType_PersonSkeleton));
  EXPECT_FALSE(HasExternalStreamClass(qz_ds::StreamBasicType_Boolean));
}

TEST(StreamTypes, FlowAndInterpolationConventions) {
  EXPECT_EQ(XmlFlowTypeOf(false), 1);
  EXPECT_EQ(XmlFlowTypeOf(true), 2);
  EXPECT_TRUE(IsConstantXmlFlowType(2));
  EXPECT_FALSE(IsConstantXmlFlowType(1));
  EXPECT_FALSE(IsConstantXmlFlowType(3));
  // The modifier numbers flow types the other way round.
  EXPECT_TRUE(IsConstantModifierFlowType(1));
  EXPECT_FALSE(IsConstantModifierFlowType(2));
  EXPECT_EQ(StreamInterpolationOf(1), 0u);
  EXPECT_EQ(StreamInterpolationOf(0), 1u);
  EXPECT_EQ(StreamInterpolationOf(-1), 1u);
}

}  // namespace
}  // namespace qz_dsc
