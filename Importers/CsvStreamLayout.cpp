// Header to streams. Vector columns are recognised only as complete sets
// (x and y, x y and z, or 0 to 5) so that a lone "Angle.x" stays a scalar
// column named "Angle.x".
#include "CsvStreamLayout.h"

#include <algorithm>
#include <array>
#include <map>

#include "CsvError.h"
#include "Utf8Text.h"

namespace qz_dsc::csv {
namespace {

constexpr std::array<const wchar_t*, 3> kXyz{L"x", L"y", L"z"};
constexpr std::array<const wchar_t*, 6> kSix{L"0", L"1", L"2", L"3", L"4", L"5"};

std::wstring TrimWide(const std::wstring& text) {
  const auto first = text.find_first_not_of(L" \t");
  if (first == std::wstring::npos) return {};
  const auto last = text.find_last_not_of(L" \t");
  return text.substr(first, last - first + 1);
}

// The component suffixes of a vector type; empty for other types.
std::vector<std::wstring> SuffixesOf(qz_ds::StreamBasicType type) {
  switch (type) {
    case qz_ds::StreamBasicType_Vector2:
      return {kXyz[0], kXyz[1]};
    case qz_ds::StreamBasicType_Vector3:
      return {kXyz.begin(), kXyz.end()};
    case qz_ds::StreamBasicType_Vector6:
      return {kSix.begin(), kSix.end()};
    default:
      return {};
  }
}

}  // namespace

bool IsScalarStreamType(qz_ds::StreamBasicType type) noexcept {
  return type == qz_ds::StreamBasicType_Int || type == qz_ds::StreamBasicType_Float ||
         type == qz_ds::StreamBasicType_String;
}

void SplitHeaderField(const std::wstring& field, std::wstring& name, std::wstring& unit) {
  const std::wstring text = TrimWide(field);
  const auto open = text.rfind(L'[');
  if (!text.empty() && text.back() == L']' && open != std::wstring::npos && open > 0) {
    name = TrimWide(text.substr(0, open));
    unit = TrimWide(text.substr(open + 1, text.size() - open - 2));
    if (!name.empty()) return;
  }
  name = text;
  unit.clear();
}

CsvStreamLayout CsvStreamLayout::Build(const std::vector<std::string>& header, const CsvSettings& settings,
                                       const std::vector<qz_ds::StreamInfo>& definitions,
                                       const std::wstring& displayName, std::int64_t headerLine) {
  const std::wstring where = displayName + L":" + std::to_wstring(headerLine) + L": ";
  const auto fail = [&](HRESULT hr, const std::wstring& text) { throw CsvError{hr, where + text}; };

  CsvStreamLayout layout;
  std::vector<std::wstring> units(header.size());
  std::map<std::wstring, std::size_t> byName;
  for (std::size_t i = 0; i < header.size(); ++i) {
    std::wstring name;
    SplitHeaderField(utf8text::ToWide(header[i]), name, units[i]);
    if (name.empty()) fail(E_FAIL, L"column " + std::to_wstring(i + 1) + L" has no name");
    if (!byName.emplace(name, i).second) fail(E_FAIL, L"two columns are named \"" + name + L"\"");
    layout.columnNames.push_back(std::move(name));
  }

  if (settings.timeColumnByName) {
    const auto it = byName.find(settings.timeColumnName);
    if (it == byName.end()) fail(E_INVALIDARG, L"no time column \"" + settings.timeColumnName + L"\"");
    layout.timeColumn = it->second;
  } else {
    if (settings.timeColumnIndex >= header.size()) {
      fail(E_INVALIDARG, L"no time column " + std::to_wstring(settings.timeColumnIndex) + L" (the header has " +
                             std::to_wstring(header.size()) + L" columns)");
    }
    layout.timeColumn = settings.timeColumnIndex;
  }
  byName.erase(layout.columnNames[layout.timeColumn]);

  const auto columnOf = [&](const std::wstring& name) -> std::size_t {
    const auto it = byName.find(name);
    return it == byName.end() ? header.size() : it->second;
  };
  std::vector<bool> used(header.size(), false);
  used[layout.timeColumn] = true;

  if (!definitions.empty()) {
    for (const auto& definition : definitions) {
      CsvStreamPlan plan{definition.GetName(), definition.GetUnitName(), definition.GetType(), {}, true};
      const std::vector<std::wstring> suffixes = SuffixesOf(plan.type);
      if (!suffixes.empty()) {
        for (const auto& suffix : suffixes) {
          const std::size_t column = columnOf(plan.name + L"." + suffix);
          if (column == header.size()) fail(E_FAIL, L"no column \"" + plan.name + L"." + suffix + L"\" for stream \"" + plan.name + L"\"");
          plan.columns.push_back(column);
        }
      } else if (IsScalarStreamType(plan.type)) {
        const std::size_t column = columnOf(plan.name);
        if (column == header.size()) fail(E_FAIL, L"no column for stream \"" + plan.name + L"\"");
        plan.columns.push_back(column);
      } else {
        fail(E_FAIL, L"stream \"" + plan.name + L"\" has a type a CSV file cannot hold (" +
                         std::to_wstring(static_cast<int>(plan.type)) + L")");
      }
      for (std::size_t c : plan.columns) used[c] = true;
      layout.streams.push_back(std::move(plan));
    }
    for (std::size_t i = 0; i < header.size(); ++i) {
      if (!used[i]) layout.skippedColumns.push_back(i);
    }
    return layout;
  }

  for (const auto& [name, type] : settings.types) {
    if (byName.find(name) == byName.end()) fail(E_INVALIDARG, L"settings name a column the header lacks: \"" + name + L"\"");
  }
  // Vector sets among the untyped columns, keyed by the column that opens them.
  std::map<std::size_t, CsvStreamPlan> vectors;
  for (const auto& [name, column] : byName) {
    const auto dot = name.rfind(L'.');
    if (dot == std::wstring::npos || dot == 0 || settings.types.count(name) != 0) continue;
    const std::wstring base = name.substr(0, dot);
    for (const auto type : {qz_ds::StreamBasicType_Vector3, qz_ds::StreamBasicType_Vector2, qz_ds::StreamBasicType_Vector6}) {
      CsvStreamPlan plan{base, {}, type, {}, false};
      for (const auto& suffix : SuffixesOf(type)) {
        const std::size_t c = columnOf(base + L"." + suffix);
        if (c == header.size() || used[c] || settings.types.count(base + L"." + suffix) != 0) break;
        plan.columns.push_back(c);
      }
      if (plan.columns.size() != SuffixesOf(type).size()) continue;
      for (std::size_t c : plan.columns) {
        used[c] = true;
        if (plan.unit.empty()) plan.unit = units[c];
      }
      const std::size_t opening = *std::min_element(plan.columns.begin(), plan.columns.end());
      vectors.emplace(opening, std::move(plan));
      break;
    }
  }
  std::map<std::wstring, bool> streamNames;
  for (std::size_t i = 0; i < header.size(); ++i) {
    CsvStreamPlan plan;
    if (const auto it = vectors.find(i); it != vectors.end()) {
      plan = std::move(it->second);
    } else if (!used[i]) {
      plan.name = layout.columnNames[i];
      plan.unit = units[i];
      plan.columns = {i};
      const auto typed = settings.types.find(plan.name);
      if (typed != settings.types.end()) plan.type = typed->second;
    } else {
      continue;
    }
    if (!streamNames.emplace(plan.name, true).second) fail(E_FAIL, L"two streams would be named \"" + plan.name + L"\"");
    layout.streams.push_back(std::move(plan));
  }
  return layout;
}

}  // namespace qz_dsc::csv
