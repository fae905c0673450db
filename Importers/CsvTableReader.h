// Reads a CSV file with libcsv into a header and one column of cell texts per
// header field, remembering the line each row starts on, so that every later
// error can name its line. Only the framing is checked here: quoting, the
// field count of every row, line and field length; the cells' meaning is the
// importer's.
// A reader is used by one thread at a time; separate readers are independent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qz_dsc::csv {

// The cells of one column: the texts of every data row, one after the other.
class CsvColumn {
 public:
  void Append(const char* data, std::size_t size) {
    m_bytes.append(data, size);
    m_ends.push_back(m_bytes.size());
  }
  // The text of row (0-based data row); empty for an empty cell.
  [[nodiscard]] std::string_view Cell(std::size_t row) const noexcept {
    const std::size_t begin = row == 0 ? 0 : m_ends[row - 1];
    return std::string_view(m_bytes).substr(begin, m_ends[row] - begin);
  }
  [[nodiscard]] std::size_t Size() const noexcept { return m_ends.size(); }

 private:
  std::string m_bytes;
  std::vector<std::size_t> m_ends;
};

struct CsvTable {
  // The header fields as written (UTF-8), and its line.
  std::vector<std::string> header;
  std::int64_t headerLine = 0;
  // One column per header field, each holding rowLines.size() cells.
  std::vector<CsvColumn> columns;
  // The line (1-based, counting every line of the file) each data row starts on.
  std::vector<std::int64_t> rowLines;
};

class CsvTableReader {
 public:
  // displayName names the file in messages.
  CsvTableReader(std::wstring displayName, char separator, std::size_t skipRows, std::size_t maxLineBytes)
      : m_displayName(std::move(displayName)), m_separator(separator), m_skipRows(skipRows), m_maxLineBytes(maxLineBytes) {}

  // Reads the file at path. Throws CsvError (E_FAIL) for a file that cannot
  // be opened or read, that has no header row, or whose framing is broken;
  // std::bad_alloc when memory runs out.
  [[nodiscard]] CsvTable Read(const std::wstring& path) const;
  // The same for bytes in memory.
  [[nodiscard]] CsvTable Parse(std::string_view bytes) const;

 private:
  class Session;

  std::wstring m_displayName;
  char m_separator;
  std::size_t m_skipRows;
  std::size_t m_maxLineBytes;
};

}  // namespace qz_dsc::csv
