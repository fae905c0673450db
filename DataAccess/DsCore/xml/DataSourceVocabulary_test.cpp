#include "qz_dsc/DataSourceVocabulary.h"

#include <gtest/gtest.h>

#include <string>

#include "qz_dsc/StreamTypes.h"

using namespace qz_dsc;

TEST(DataSourceVocabulary, ExportedNamesAreExactAndInTheTable) {
  EXPECT_STREQ(DSUM_MAIN_TAG, L"mpeg7:DescriptionUnit");
  EXPECT_STREQ(DSUM_MAIN_TAG_QUERY, L"mpeg7:DescriptionUnit[@xsi:type=\"DataSourceListType\"]");
  EXPECT_STREQ(DSUM_TYPE_TAG_NAME, L"xsi:type");
  EXPECT_STREQ(DSUM_TYPE_TYPE_NAME, L"DataSourceListType");
  EXPECT_STREQ(DSUM_TYPE_VERSION, L"versionNbr");
  EXPECT_STREQ(DSUM_TAG_TABLE[DSUM_TAG_DESCRIPTION_UNIT], DSUM_MAIN_TAG);
  EXPECT_STREQ(DSUM_TAG_TABLE[DSUM_TAG_QUERY], DSUM_MAIN_TAG_QUERY);
  EXPECT_STREQ(DSUM_TAG_TABLE[DSUM_TAG_TYPE], DSUM_TYPE_TAG_NAME);
  EXPECT_STREQ(DSUM_TAG_TABLE[DSUM_TAG_LIST_TYPE], DSUM_TYPE_TYPE_NAME);
  EXPECT_STREQ(DSUM_TAG_TABLE[DSUM_TAG_VERSION], DSUM_TYPE_VERSION);
}

TEST(DataSourceVocabulary, TableOrder) {
  ASSERT_EQ(DSUM_TAG_COUNT, 45);
  const wchar_t* expectedHead[] = {
      L"mpeg7:Mpeg7", L"mpeg7:DescriptionUnit", L"xsi:type", L"DataSourceListType", L"versionNbr",
      L"mpeg7:DescriptionUnit[@xsi:type=\"DataSourceListType\"]", L"DataSource", L"name", L"isExternal",
      L"dataFilename", L"converterName", L"DataSourceStream", L"name", L"StreamClassID", L"xsi:type",
      L"limitCount", L"freezeDelay", L"valueUnit", L"lowRange", L"highRange", L"flowType",
      L"interpolationType", L"defaultValue", L"samplingPeriod", L"dataVideoOffset64", L"firstSampleTime",
      L"Value", L"TimeStamp"};
  ASSERT_EQ(std::size(expectedHead), static_cast<std::size_t>(DSUM_TAG_FIRST_STREAM_TYPE_NAME));
  for (std::size_t i = 0; i < std::size(expectedHead); ++i) EXPECT_STREQ(DSUM_TAG_TABLE[i], expectedHead[i]) << i;
  EXPECT_STREQ(DSUM_TAG_TABLE[DSUM_TAG_SELECTION_NAMESPACES],
               L"xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='urn:mpeg:mpeg7:schema:2001'");
  EXPECT_STREQ(DSUM_TAG_TABLE[DSUM_TAG_PREFIX], L"mpeg7");
  EXPECT_STREQ(DSUM_TAG_TABLE[DSUM_TAG_NAMESPACE_URI], L"urn:mpeg:mpeg7:schema:2001");
  EXPECT_STREQ(DSUM_TAG_TABLE[DSUM_TAG_NAMESPACE_URI_2], L"urn:mpeg:mpeg7:schema:2001");
}

TEST(DataSourceVocabulary, StreamTypeRowsAgreeWithTheTypeTable) {
  for (int i = 0; i < kStreamBasicTypeCount; ++i) {
    EXPECT_STREQ(DSUM_TAG_TABLE[DSUM_TAG_FIRST_STREAM_TYPE_NAME + i],
                 GetStreamTypeXmlName(static_cast<qz_ds::StreamBasicType>(i)))
        << i;
  }
}
