// libcsv is fed one physical line at a time (or the piece of a line that a
// read delivered), so the reader always knows the line it is on: a row's
// line is the first non-blank line after the previous row, which also holds
// for rows with quoted line breaks. libcsv runs in strict mode (a stray
// quote is an error, and so is a quote left open at the end of the file) and
// skips blank lines, spaces around unquoted fields and a CR before LF.
#include "CsvTableReader.h"

#include <csv.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "CsvError.h"
#include "Utf8Text.h"

namespace qz_dsc::csv {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kReadBlockBytes = std::size_t{64} << 10;
constexpr std::size_t kInitialFieldBlock = 128;

bool IsBlankLine(std::string_view piece) noexcept {
  return piece.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

}  // namespace

class CsvTableReader::Session {
 public:
  explicit Session(const CsvTableReader& reader) : m_reader(reader), m_skipLeft(reader.m_skipRows) {
    if (csv_init(&m_parser, CSV_STRICT | CSV_STRICT_FINI) != 0) throw std::bad_alloc();
    csv_set_delim(&m_parser, static_cast<unsigned char>(reader.m_separator));
    csv_set_blk_size(&m_parser, kInitialFieldBlock);
  }
  ~Session() { csv_free(&m_parser); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Takes the next bytes of the file; chunks may end anywhere.
  void Feed(std::string_view chunk) {
    if (m_totalBytes == 0 && chunk.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
      chunk.remove_prefix(kByteOrderMark.size());
      m_totalBytes = kByteOrderMark.size();
    }
    m_totalBytes += chunk.size();
    while (!chunk.empty()) {
      const std::size_t lineEnd = chunk.find('\n');
      const std::string_view piece = lineEnd == std::string_view::npos ? chunk : chunk.substr(0, lineEnd + 1);
      chunk.remove_prefix(piece.size());
      if (m_skipLeft == 0) ParsePiece(piece);
      if (lineEnd != std::string_view::npos) {
        if (m_skipLeft > 0) --m_skipLeft;
        ++m_line;
        m_lineBytes = 0;
      }
    }
  }

  CsvTable Finish() {
    const int result = csv_fini(&m_parser, OnField, OnRowEnd, this);
    ThrowPending();
    if (result != 0) {
      if (csv_error(&m_parser) != CSV_EPARSE) throw std::bad_alloc();
      Fail(m_rowLine, L"a quoted field is not closed at the end of the file");
    }
    if (!m_headerDone) {
      throw CsvError{E_FAIL, m_reader.m_displayName + (m_totalBytes == 0 ? L": the file is empty (no header row)"
                                                                         : L": no header row")};
    }
    return std::move(m_table);
  }

 private:
  void ParsePiece(std::string_view piece) {
    m_lineBytes += piece.size();
    if (m_lineBytes > m_reader.m_maxLineBytes) {
      Fail(m_line, L"line longer than " + std::to_wstring(m_reader.m_maxLineBytes) + L" bytes");
    }
    if (m_rowLine == 0 && !IsBlankLine(piece)) m_rowLine = m_line;
    const std::size_t parsed = csv_parse(&m_parser, piece.data(), piece.size(), OnField, OnRowEnd, this);
    ThrowPending();
    if (parsed != piece.size()) {
      if (csv_error(&m_parser) != CSV_EPARSE) throw std::bad_alloc();
      const std::size_t column = m_lineBytes - piece.size() + parsed + 1;
      Fail(m_line, std::to_wstring(column), L"malformed quoted field (a quote must open a field, close it or be doubled)");
    }
    // entry_pos is the length of the field being read (csv.h's parser state).
    if (m_parser.entry_pos > m_reader.m_maxLineBytes) {
      Fail(m_rowLine, L"field longer than " + std::to_wstring(m_reader.m_maxLineBytes) + L" bytes");
    }
    // libcsv grows its field buffer by a fixed block; growing the block with
    // the buffer keeps a long field from costing quadratic copying.
    const std::size_t buffer = csv_get_buffer_size(&m_parser);
    if (buffer > kInitialFieldBlock) csv_set_blk_size(&m_parser, buffer);
  }

  static void OnField(void* data, std::size_t size, void* self) noexcept {
    static_cast<Session*>(self)->Field(static_cast<const char*>(data), size);
  }
  static void OnRowEnd(int, void* self) noexcept { static_cast<Session*>(self)->RowEnd(); }

  // Called from C code: records a failure instead of throwing through it.
  void Field(const char* data, std::size_t size) noexcept {
    if (m_pending || m_outOfMemory) return;
    try {
      if (!m_headerDone) {
        m_table.header.emplace_back(data == nullptr ? "" : std::string(data, size));
      } else if (m_field < m_table.columns.size()) {
        m_table.columns[m_field].Append(data == nullptr ? "" : data, size);
      }
      ++m_field;
    } catch (...) {
      m_outOfMemory = true;
    }
  }

  void RowEnd() noexcept {
    if (m_pending || m_outOfMemory) return;
    try {
      if (!m_headerDone) {
        m_headerDone = true;
        m_table.headerLine = m_rowLine;
        m_table.columns.resize(m_table.header.size());
      } else if (m_field != m_table.columns.size()) {
        m_pending = CsvError{E_FAIL, Where(m_rowLine) + std::to_wstring(m_field) + L" fields, expected " +
                                         std::to_wstring(m_table.columns.size())};
      } else {
        m_table.rowLines.push_back(m_rowLine);
      }
    } catch (...) {
      m_outOfMemory = true;
    }
    m_field = 0;
    m_rowLine = 0;
  }

  void ThrowPending() {
    if (m_outOfMemory) throw std::bad_alloc();
    if (m_pending) throw std::move(*m_pending);
  }

  std::wstring Where(std::int64_t line) const { return m_reader.m_displayName + L":" + std::to_wstring(line) + L": "; }
  [[noreturn]] void Fail(std::int64_t line, const std::wstring& text) const {
    throw CsvError{E_FAIL, Where(line) + text};
  }
  [[noreturn]] void Fail(std::int64_t line, const std::wstring& column, const std::wstring& text) const {
    throw CsvError{E_FAIL, m_reader.m_displayName + L":" + std::to_wstring(line) + L":" + column + L": " + text};
  }

  const CsvTableReader& m_reader;
  csv_parser m_parser{};
  CsvTable m_table;
  std::size_t m_skipLeft;
  std::int64_t m_line = 1;
  std::size_t m_lineBytes = 0;
  std::size_t m_totalBytes = 0;
  // The line of the row being read; 0 until its first non-blank line.
  std::int64_t m_rowLine = 0;
  std::size_t m_field = 0;
  bool m_headerDone = false;
  bool m_outOfMemory = false;
  std::optional<CsvError> m_pending;
};

CsvTable CsvTableReader::Parse(std::string_view bytes) const {
  Session session(*this);
  session.Feed(bytes);
  return session.Finish();
}

CsvTable CsvTableReader::Read(const std::wstring& path) const {
  const std::filesystem::path file(path);
  std::error_code ec;
  if (std::filesystem::is_directory(file, ec)) throw CsvError{E_FAIL, m_displayName + L": is a directory"};
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    const int error = errno;
    throw CsvError{E_FAIL, m_displayName + L": cannot open the file (" +
                               utf8text::ToWide(std::generic_category().message(error)) + L")"};
  }
  Session session(*this);
  std::string block(kReadBlockBytes, '\0');
  for (;;) {
    in.read(block.data(), static_cast<std::streamsize>(block.size()));
    const auto got = static_cast<std::size_t>(in.gcount());
    if (got > 0) session.Feed(std::string_view(block.data(), got));
    if (!in) break;
  }
  if (in.bad()) throw CsvError{E_FAIL, m_displayName + L": read error"};
  return session.Finish();
}

}  // namespace qz_dsc::csv
