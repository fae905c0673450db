#include "CsvTableReader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CsvError.h"

namespace qz_dsc::csv {
namespace {

CsvTable Parse(std::string_view bytes, char separator = ',', std::size_t skipRows = 0, std::size_t maxLine = 1 << 20) {
  return CsvTableReader(L"t.csv", separator, skipRows, maxLine).Parse(bytes);
}

std::wstring ErrorOf(std::string_view bytes, std::size_t maxLine = 1 << 20) {
  try {
    (void)Parse(bytes, ',', 0, maxLine);
  } catch (const CsvError& e) {
    EXPECT_EQ(e.result, E_FAIL);
    return e.message;
  }
  return L"(no error)";
}

std::vector<std::string> CellsOf(const CsvTable& table, std::size_t column) {
  std::vector<std::string> cells;
  for (std::size_t row = 0; row < table.columns[column].Size(); ++row) cells.emplace_back(table.columns[column].Cell(row));
  return cells;
}

TEST(CsvTableReader, QuotingLineEndsBlankLinesAndByteOrderMark) {
  const CsvTable table = Parse(
      "\xEF\xBB\xBFtime,\"note, with comma\"\r\n"
      "\r\n"
      "0,\"say \"\"hi\"\"\"\r\n"
      "1,\"two\r\nlines\"\r\n"
      "  \n"
      "2,  spaced  \n"
      "3,");
  EXPECT_EQ(table.header, (std::vector<std::string>{"time", "note, with comma"}));
  EXPECT_EQ(table.headerLine, 1);
  EXPECT_EQ(CellsOf(table, 0), (std::vector<std::string>{"0", "1", "2", "3"}));
  EXPECT_EQ(CellsOf(table, 1), (std::vector<std::string>{"say \"hi\"", "two\r\nlines", "spaced", ""}));
  // Blank lines count, and a row with a quoted line break takes two.
  EXPECT_EQ(table.rowLines, (std::vector<std::int64_t>{3, 4, 7, 8}));
}

TEST(CsvTableReader, SeparatorAndSkippedLinesBeforeTheHeader) {
  const CsvTable table = Parse("exported by a logger\n\"unbalanced\n t;v\n0,5;7\n", ';', 2);
  EXPECT_EQ(table.header, (std::vector<std::string>{"t", "v"}));
  EXPECT_EQ(table.headerLine, 3);
  EXPECT_EQ(CellsOf(table, 0), (std::vector<std::string>{"0,5"}));
  EXPECT_EQ(table.rowLines, (std::vector<std::int64_t>{4}));
}

TEST(CsvTableReader, FramingErrorsNameLineAndColumn) {
  EXPECT_EQ(ErrorOf("time,a,b,c\n0,1,2,3\n\n1,2,3\n"), L"t.csv:4: 3 fields, expected 4");
  EXPECT_EQ(ErrorOf("time,a\n0,1,2\n"), L"t.csv:2: 3 fields, expected 2");
  EXPECT_EQ(ErrorOf("time,a\n0,\"ab\"x\n"), L"t.csv:2:7: malformed quoted field (a quote must open a field, close it or be doubled)");
  EXPECT_EQ(ErrorOf("time,a\n0,1\n1,\"open\nstill open\n"), L"t.csv:3: a quoted field is not closed at the end of the file");
  EXPECT_EQ(ErrorOf(""), L"t.csv: the file is empty (no header row)");
  EXPECT_EQ(ErrorOf("\xEF\xBB\xBF\n\r\n"), L"t.csv: no header row");
  EXPECT_EQ(ErrorOf("time,a\n0," + std::string(100, 'x') + "\n", 64), L"t.csv:2: line longer than 64 bytes");
  EXPECT_EQ(ErrorOf("time,a\n0,\"" + std::string(200, '\n') + "\"\n", 64).substr(0, 15), L"t.csv:2: field ");
}

TEST(CsvTableReader, HeaderWithoutRowsAndLastLineWithoutBreak) {
  EXPECT_TRUE(Parse("time,a").rowLines.empty());
  const CsvTable table = Parse("time,a\n0,1");
  EXPECT_EQ(CellsOf(table, 1), (std::vector<std::string>{"1"}));
}

}  // namespace
}  // namespace qz_dsc::csv
