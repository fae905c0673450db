#include "TextTable.h"

#include <algorithm>

namespace dscore_cli {
namespace {

// Characters of UTF-8 text: every byte that does not continue a sequence.
std::size_t CharacterCount(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

}  // namespace

void TextTable::Print(std::ostream& out, const std::string& indent) const {
  std::vector<std::size_t> widths;
  for (const auto& row : m_rows) {
    if (widths.size() < row.size()) widths.resize(row.size());
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], CharacterCount(row[i]));
  }
  for (const auto& row : m_rows) {
    std::string line = indent;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line.append(widths[i] - CharacterCount(row[i]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  }
}

}  // namespace dscore_cli
