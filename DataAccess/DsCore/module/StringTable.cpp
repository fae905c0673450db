#include "module/StringTable.h"

namespace qz_dsc {
namespace {

constexpr int kFirstId = IDS_NAME;
constexpr const wchar_t* kTexts[] = {
    L"Name",          L"Data type",       L"Low range",       L"High range",    L"Stream type",
    L"Sample count",  L"Min. data value", L"Max. data value", L"Unit Name",     L"Continuous",
    L"Constant",      L"Overlay #",       L"Data Streams",    L"No data stream recorded.",
    L"Video offset",  L"First sample time", L"Start time",    L"End time",
};
constexpr int kCount = static_cast<int>(sizeof(kTexts) / sizeof(kTexts[0]));
static_assert(kFirstId + kCount - 1 == IDS_END_TIME, "one text per resource id");

}  // namespace

const wchar_t* StringTable::Load(int id) noexcept {
  if (id < kFirstId || id >= kFirstId + kCount) return nullptr;
  return kTexts[id - kFirstId];
}

}  // namespace qz_dsc
