#include "xml/DataSourceListWriter.h"

#include "Utf8Text.h"
#include "xml/NamespacePrefixes.h"

namespace qz_dsc {
namespace {

// Output is handed to the file in blocks of about this size.
constexpr std::size_t kFlushSize = std::size_t{1} << 18;

// The DOM's escapes: in text "<", ">", "&" and CR; in attribute values also
// the quote, TAB and LF, so that they survive attribute normalisation.
const char* EscapeOf(char c, bool attribute) {
  switch (c) {
    case '<': return "&lt;";
    case '>': return "&gt;";
    case '&': return "&amp;";
    case '\r': return "&#13;";
    case '"': return attribute ? "&quot;" : nullptr;
    case '\n': return attribute ? "&#10;" : nullptr;
    case '\t': return attribute ? "&#9;" : nullptr;
    default: return nullptr;
  }
}

// Bytes that EscapeOf replaces (1: in text and attributes, 2: in attributes
// only), for scanning UTF-8 a byte at a time.
struct EscapeTable {
  std::uint8_t kind[256] = {};
  constexpr EscapeTable() {
    for (const char c : {'<', '>', '&', '\r'}) kind[static_cast<unsigned char>(c)] = 1;
    for (const char c : {'"', '\n', '\t'}) kind[static_cast<unsigned char>(c)] = 2;
  }
};
constexpr EscapeTable kEscapes;

// The position of the first byte of text that needs an escape, or its size.
std::size_t FirstEscape(std::string_view text, bool attribute) noexcept {
  const std::uint8_t limit = attribute ? 2 : 1;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::uint8_t kind = kEscapes.kind[static_cast<unsigned char>(text[i])];
    if (kind != 0 && kind <= limit) return i;
  }
  return text.size();
}

}  // namespace

DataSourceListWriter::DataSourceListWriter(std::FILE* out) : m_out(out) { m_buffer.reserve(kFlushSize + 4096); }

void DataSourceListWriter::StartDocument() { Put("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"); }

bool DataSourceListWriter::StartElement(std::size_t depth, std::wstring_view qname) {
  if (depth > m_open.size() || (depth == 0 && m_rootWritten) || qname.empty()) return false;
  std::wstring uri;
  if (!LookupNamespace(qname, uri)) return false;
  CloseTo(depth);
  CloseStartTag();
  Put("<");
  PutName(qname);
  m_open.push_back(Open{utf8text::ToUtf8(qname), 0});
  m_startTagOpen = true;
  if (depth == 0) m_rootWritten = true;
  return DeclarePrefixOf(qname);
}

bool DataSourceListWriter::Attribute(std::size_t depth, std::wstring_view qname, std::wstring_view value) {
  if (depth == 0 || depth != m_open.size() || !m_startTagOpen) return false;
  if (value.find(L'\0') != std::wstring_view::npos) return false;
  std::wstring uri;
  if (!LookupNamespace(qname, uri) || !DeclarePrefixOf(qname)) return false;
  Put(" ");
  PutName(qname);
  Put("=\"");
  PutEscaped(value, true);
  Put("\"");
  return true;
}

bool DataSourceListWriter::AttributeUtf8(std::size_t depth, std::wstring_view qname, std::string_view value) {
  if (depth == 0 || depth != m_open.size() || !m_startTagOpen) return false;
  if (value.find('\0') != std::string_view::npos) return false;
  std::wstring uri;
  if (!LookupNamespace(qname, uri) || !DeclarePrefixOf(qname)) return false;
  Put(" ");
  PutName(qname);
  Put("=\"");
  PutEscapedUtf8(value, true);
  Put("\"");
  return true;
}

bool DataSourceListWriter::TextElement(std::size_t depth, std::string_view name, std::string_view attribute,
                                       std::string_view attributeValue, std::wstring_view text) {
  if (depth == 0 || depth > m_open.size() || text.find(L'\0') != std::wstring_view::npos) return false;
  if (TextElementStart(depth, name, attribute, attributeValue, text.empty())) {
    PutEscaped(text, false);
    TextElementEnd(name);
  }
  return true;
}

bool DataSourceListWriter::TextElementUtf8(std::size_t depth, std::string_view name, std::string_view attribute,
                                           std::string_view attributeValue, std::string_view text) {
  if (depth == 0 || depth > m_open.size() || text.find('\0') != std::string_view::npos) return false;
  if (TextElementStart(depth, name, attribute, attributeValue, text.empty())) {
    PutEscapedUtf8(text, false);
    TextElementEnd(name);
  }
  return true;
}

bool DataSourceListWriter::TextElementStart(std::size_t depth, std::string_view name, std::string_view attribute,
                                            std::string_view attributeValue, bool empty) {
  CloseTo(depth);
  CloseStartTag();
  m_buffer += '<';
  m_buffer += name;
  m_buffer += ' ';
  m_buffer += attribute;
  m_buffer += "=\"";
  PutEscapedUtf8(attributeValue, true);
  if (empty) {
    Put("\"/>");
    return false;
  }
  m_buffer += "\">";
  return true;
}

void DataSourceListWriter::TextElementEnd(std::string_view name) {
  m_buffer += "</";
  m_buffer += name;
  Put(">");
}

bool DataSourceListWriter::Markup(std::size_t depth, std::string_view xml) {
  if (depth == 0 || depth > m_open.size()) return false;
  CloseTo(depth);
  CloseStartTag();
  Put(xml);
  return true;
}

bool DataSourceListWriter::Finish() {
  CloseTo(0);
  Put("\n");
  Flush();
  if (!m_failed && std::fflush(m_out) != 0) m_failed = true;
  return !m_failed;
}

void DataSourceListWriter::CloseTo(std::size_t depth) {
  while (m_open.size() > depth) {
    Open& top = m_open.back();
    if (m_startTagOpen) {
      Put("/>");
      m_startTagOpen = false;
    } else {
      Put("</");
      Put(top.qname);
      Put(">");
    }
    m_inScope.resize(m_inScope.size() - top.declarations);
    m_open.pop_back();
  }
}

void DataSourceListWriter::CloseStartTag() {
  if (!m_startTagOpen) return;
  Put(">");
  m_startTagOpen = false;
}

bool DataSourceListWriter::DeclarePrefixOf(std::wstring_view qname) {
  const auto colon = qname.find(L':');
  if (colon == std::wstring_view::npos) return true;
  std::wstring uri;
  if (!LookupNamespace(qname, uri)) return false;
  const std::wstring_view prefix = qname.substr(0, colon);
  for (auto it = m_inScope.rbegin(); it != m_inScope.rend(); ++it) {
    if (it->first == prefix) {
      if (it->second == uri) return true;
      break;
    }
  }
  Put(" xmlns:");
  PutName(prefix);
  Put("=\"");
  PutEscaped(uri, true);
  Put("\"");
  m_inScope.emplace_back(std::wstring(prefix), uri);
  ++m_open.back().declarations;
  return true;
}

void DataSourceListWriter::Put(std::string_view text) {
  m_buffer.append(text);
  if (m_buffer.size() >= kFlushSize) Flush();
}

void DataSourceListWriter::PutName(std::wstring_view qname) {
  // Names come from the vocabulary and are ASCII; anything else is encoded.
  std::string utf8;
  utf8text::AssignUtf8(qname, utf8);
  Put(utf8);
}

void DataSourceListWriter::PutEscaped(std::wstring_view text, bool attribute) {
  // The common case (numbers, names) is ASCII without markup: written in
  // place, one byte per character; anything else goes through UTF-8.
  const std::size_t start = m_buffer.size();
  m_buffer.resize(start + text.size());
  char* out = m_buffer.data() + start;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<std::uint32_t>(text[i]);
    if (c >= 0x80 || EscapeOf(static_cast<char>(c), attribute) != nullptr) {
      m_buffer.resize(start + i);
      std::string utf8;
      utf8text::AssignUtf8(text.substr(i), utf8);
      PutEscapedUtf8(utf8, attribute);
      return;
    }
    out[i] = static_cast<char>(c);
  }
  if (m_buffer.size() >= kFlushSize) Flush();
}

void DataSourceListWriter::PutEscapedUtf8(std::string_view text, bool attribute) {
  const std::size_t first = FirstEscape(text, attribute);
  if (first == text.size()) {
    m_buffer += text;
    if (m_buffer.size() >= kFlushSize) Flush();
    return;
  }
  std::size_t start = 0;
  for (std::size_t i = first; i < text.size(); ++i) {
    const char* escape = EscapeOf(text[i], attribute);
    if (escape == nullptr) continue;
    m_buffer.append(text.substr(start, i - start));
    m_buffer.append(escape);
    start = i + 1;
  }
  m_buffer.append(text.substr(start));
  if (m_buffer.size() >= kFlushSize) Flush();
}

void DataSourceListWriter::Flush() {
  if (m_buffer.empty()) return;
  if (!m_failed && std::fwrite(m_buffer.data(), 1, m_buffer.size(), m_out) != m_buffer.size()) m_failed = true;
  m_buffer.clear();
}

}  // namespace qz_dsc
