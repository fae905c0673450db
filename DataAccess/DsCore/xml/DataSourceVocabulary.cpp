#include "qz_dsc/DataSourceVocabulary.h"

#include <array>
#include <string>

#include "Utf8Text.h"
#include "xml/TagUtf8.h"

namespace qz_dsc {
namespace {

constexpr const wchar_t* kMainTag = L"mpeg7:DescriptionUnit";
constexpr const wchar_t* kMainTagQuery = L"mpeg7:DescriptionUnit[@xsi:type=\"DataSourceListType\"]";
constexpr const wchar_t* kTypeTagName = L"xsi:type";
constexpr const wchar_t* kTypeTypeName = L"DataSourceListType";
constexpr const wchar_t* kTypeVersion = L"versionNbr";
constexpr const wchar_t* kUri = L"urn:mpeg:mpeg7:schema:2001";

}  // namespace

const wchar_t* const DSUM_MAIN_TAG = kMainTag;
const wchar_t* const DSUM_MAIN_TAG_QUERY = kMainTagQuery;
const wchar_t* const DSUM_TYPE_TAG_NAME = kTypeTagName;
const wchar_t* const DSUM_TYPE_TYPE_NAME = kTypeTypeName;
const wchar_t* const DSUM_TYPE_VERSION = kTypeVersion;

// A plain array so that it is constant-initialised. The stream type rows are
// the one table of stream type names (GetStreamTypeXmlName reads them).
const wchar_t* const DSUM_TAG_TABLE[DSUM_TAG_COUNT] = {
    L"mpeg7:Mpeg7",
    kMainTag,
    kTypeTagName,
    kTypeTypeName,
    kTypeVersion,
    kMainTagQuery,
    L"DataSource",
    L"name",
    L"isExternal",
    L"dataFilename",
    L"converterName",
    L"DataSourceStream",
    L"name",
    L"StreamClassID",
    L"xsi:type",
    L"limitCount",
    L"freezeDelay",
    L"valueUnit",
    L"lowRange",
    L"highRange",
    L"flowType",
    L"interpolationType",
    L"defaultValue",
    L"samplingPeriod",
    L"dataVideoOffset64",
    L"firstSampleTime",
    L"Value",
    L"TimeStamp",
    L"DataSourceNoneStreamType",
    L"DataSourceBooleanStreamType",
    L"DataSourceIntStreamType",
    L"DataSourceFloatStreamType",
    L"DataSourceStringStreamType",
    L"DataSourceVector2StreamType",
    L"DataSourceVector3StreamType",
    L"DataSourceVector4StreamType",
    L"DataSourceMatrix3StreamType",
    L"DataSourceMatrix4StreamType",
    L"DataSourceImageIDStreamType",
    L"DataSourceVector6StreamType",
    L"DataSourcePersonSkeletonStreamType",
    L"xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='urn:mpeg:mpeg7:schema:2001'",
    L"mpeg7",
    kUri,
    kUri,
};

const std::string& TagUtf8(DsumTag tag) {
  static const std::array<std::string, DSUM_TAG_COUNT> names = [] {
    std::array<std::string, DSUM_TAG_COUNT> utf8;
    for (int i = 0; i < DSUM_TAG_COUNT; ++i) utf8[static_cast<std::size_t>(i)] = utf8text::ToUtf8(DSUM_TAG_TABLE[i]);
    return utf8;
  }();
  return names[static_cast<std::size_t>(tag)];
}

}  // namespace qz_dsc
