// The names of the MPEG-7 data source list document: every tag and attribute
// the document uses, as one exported table in a fixed order, and the five
// names exported on their own. The texts are part of the library's interface.
// All of it is immutable data, safe to read from any thread.
#pragma once

#include "qz_dsc/export.h"
#include "qz_dsc/StreamTypes.h"

namespace qz_dsc {

extern QZ_DSC_API const wchar_t* const DSUM_MAIN_TAG;        // "mpeg7:DescriptionUnit"
extern QZ_DSC_API const wchar_t* const DSUM_MAIN_TAG_QUERY;  // the query that finds the list
extern QZ_DSC_API const wchar_t* const DSUM_TYPE_TAG_NAME;   // "xsi:type"
extern QZ_DSC_API const wchar_t* const DSUM_TYPE_TYPE_NAME;  // "DataSourceListType"
extern QZ_DSC_API const wchar_t* const DSUM_TYPE_VERSION;    // "versionNbr"

// Rows of the tag table, in their fixed order.
enum DsumTag : int {
  DSUM_TAG_ROOT = 0,                  // "mpeg7:Mpeg7"
  DSUM_TAG_DESCRIPTION_UNIT,          // "mpeg7:DescriptionUnit"
  DSUM_TAG_TYPE,                      // "xsi:type"
  DSUM_TAG_LIST_TYPE,                 // "DataSourceListType"
  DSUM_TAG_VERSION,                   // "versionNbr"
  DSUM_TAG_QUERY,                     // the description unit query
  DSUM_TAG_DATA_SOURCE,               // "DataSource"
  DSUM_TAG_DATA_SOURCE_NAME,          // "name"
  DSUM_TAG_IS_EXTERNAL,               // "isExternal"
  DSUM_TAG_DATA_FILENAME,             // "dataFilename"
  DSUM_TAG_CONVERTER_NAME,            // "converterName"
  DSUM_TAG_STREAM,                    // "DataSourceStream"
  DSUM_TAG_STREAM_NAME,               // "name"
  DSUM_TAG_STREAM_CLASS_ID,           // "StreamClassID"
  DSUM_TAG_STREAM_TYPE,               // "xsi:type"
  DSUM_TAG_LIMIT_COUNT,               // "limitCount"
  DSUM_TAG_FREEZE_DELAY,              // "freezeDelay"
  DSUM_TAG_VALUE_UNIT,                // "valueUnit"
  DSUM_TAG_LOW_RANGE,                 // "lowRange"
  DSUM_TAG_HIGH_RANGE,                // "highRange"
  DSUM_TAG_FLOW_TYPE,                 // "flowType"
  DSUM_TAG_INTERPOLATION_TYPE,        // "interpolationType" (never written by a stream save)
  DSUM_TAG_DEFAULT_VALUE,             // "defaultValue"
  DSUM_TAG_SAMPLING_PERIOD,           // "samplingPeriod" (neither written nor read)
  DSUM_TAG_DATA_VIDEO_OFFSET,         // "dataVideoOffset64"
  DSUM_TAG_FIRST_SAMPLE_TIME,         // "firstSampleTime"
  DSUM_TAG_VALUE,                     // "Value"
  DSUM_TAG_TIME_STAMP,                // "TimeStamp"
  DSUM_TAG_FIRST_STREAM_TYPE_NAME,    // the XML stream type names by StreamBasicType (GetStreamTypeXmlName)
  DSUM_TAG_SELECTION_NAMESPACES = DSUM_TAG_FIRST_STREAM_TYPE_NAME + kStreamBasicTypeCount,
  DSUM_TAG_PREFIX,                    // "mpeg7"
  DSUM_TAG_NAMESPACE_URI,             // "urn:mpeg:mpeg7:schema:2001"
  DSUM_TAG_NAMESPACE_URI_2,           // the same URI again
  DSUM_TAG_COUNT
};

// The tag table: DSUM_TAG_COUNT texts, indexed by DsumTag.
extern QZ_DSC_API const wchar_t* const DSUM_TAG_TABLE[DSUM_TAG_COUNT];

}  // namespace qz_dsc
