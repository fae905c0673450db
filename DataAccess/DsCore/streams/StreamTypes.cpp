#include "qz_dsc/StreamTypes.h"

namespace qz_dsc {
namespace {

// Indexed by StreamBasicType; the same rows stand at the end of the XML tag table.
constexpr const wchar_t* kTypeNames[kStreamBasicTypeCount] = {
    L"DataSourceNoneStreamType",    L"DataSourceBooleanStreamType",        L"DataSourceIntStreamType",
    L"DataSourceFloatStreamType",   L"DataSourceStringStreamType",         L"DataSourceVector2StreamType",
    L"DataSourceVector3StreamType", L"DataSourceVector4StreamType",        L"DataSourceMatrix3StreamType",
    L"DataSourceMatrix4StreamType", L"DataSourceImageIDStreamType",        L"DataSourceVector6StreamType",
    L"DataSourcePersonSkeletonStreamType",
};

}  // namespace

const wchar_t* GetStreamTypeXmlName(qz_ds::StreamBasicType type) noexcept {
  const auto index = static_cast<std::int32_t>(type);
  if (index < 0 || index >= kStreamBasicTypeCount) return nullptr;
  return kTypeNames[index];
}

bool FindStreamTypeByXmlName(const std::wstring& name, qz_ds::StreamBasicType& type) noexcept {
  for (int i = 0; i < kStreamBasicTypeCount; ++i) {
    if (name == kTypeNames[i]) {
      type = static_cast<qz_ds::StreamBasicType>(i);
      return true;
    }
  }
  return false;
}

}  // namespace qz_dsc
