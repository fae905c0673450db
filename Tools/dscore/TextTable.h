// A plain-text table for a terminal: a header row and data rows, columns
// padded to their widest cell (counted in characters, not bytes), two blanks
// between columns, no trailing blanks.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace dscore_cli {

class TextTable {
 public:
  explicit TextTable(std::vector<std::string> header) { m_rows.push_back(std::move(header)); }
  void AddRow(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }
  void Print(std::ostream& out, const std::string& indent = "") const;

 private:
  std::vector<std::vector<std::string>> m_rows;
};

}  // namespace dscore_cli
