#include "qz_dsc/StreamTypes.h"

#include "qz_dsc/DataSourceVocabulary.h"

namespace qz_dsc {

// The names are the stream type rows of the document's tag table.
static_assert(DSUM_TAG_SELECTION_NAMESPACES - DSUM_TAG_FIRST_STREAM_TYPE_NAME == kStreamBasicTypeCount);

const wchar_t* GetStreamTypeXmlName(qz_ds::StreamBasicType type) noexcept {
  const auto index = static_cast<std::int32_t>(type);
  if (index < 0 || index >= kStreamBasicTypeCount) return nullptr;
  return DSUM_TAG_TABLE[DSUM_TAG_FIRST_STREAM_TYPE_NAME + index];
}

bool FindStreamTypeByXmlName(const std::wstring& name, qz_ds::StreamBasicType& type) noexcept {
  for (int i = 0; i < kStreamBasicTypeCount; ++i) {
    if (name == DSUM_TAG_TABLE[DSUM_TAG_FIRST_STREAM_TYPE_NAME + i]) {
      type = static_cast<qz_ds::StreamBasicType>(i);
      return true;
    }
  }
  return false;
}

}  // namespace qz_dsc
