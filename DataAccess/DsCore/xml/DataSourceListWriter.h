// Writes the data source list document straight to a file, element by
// element, without building a DOM: the file save's path for large lists. The
// bytes are those the DOM would save for the same calls (UTF-8, declaration
// line, no indentation, empty elements as "<a/>", the DOM's escapes), so
// that both saves give identical files.
//
// The encoders drive it: an element stays open for attributes until a child
// or a sibling of an ancestor is started; namespace declarations are written
// where a prefix is first used, as the DOM places them. Output is buffered
// and handed to the file in large blocks.
// Not synchronised: belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace qz_dsc {

class DataSourceListWriter {
 public:
  // out stays owned by the caller; nothing is written until StartDocument.
  explicit DataSourceListWriter(std::FILE* out);
  DataSourceListWriter(const DataSourceListWriter&) = delete;
  DataSourceListWriter& operator=(const DataSourceListWriter&) = delete;

  // The XML declaration line.
  void StartDocument();
  // Closes open elements deeper than depth, then starts qname as a child of
  // the element at depth (0: the document). Its namespace (from the prefix
  // table) is declared on it when not in scope. False for an unknown prefix,
  // a depth deeper than the open elements or a document that already has
  // its root; nothing is written then.
  [[nodiscard]] bool StartElement(std::size_t depth, std::wstring_view qname);
  // An attribute of the element at depth, which must still be taking
  // attributes. False (nothing written) otherwise, for an unknown prefix or
  // a value the document cannot hold (a NUL).
  [[nodiscard]] bool Attribute(std::size_t depth, std::wstring_view qname, std::wstring_view value);
  [[nodiscard]] bool AttributeUtf8(std::size_t depth, std::wstring_view qname, std::string_view value);
  // <name attribute="attributeValue">text</name> under the element at depth,
  // "<name attribute=.../>" for empty text. Names are plain (unprefixed)
  // UTF-8; the one call per sample.
  [[nodiscard]] bool TextElement(std::size_t depth, std::string_view name, std::string_view attribute,
                                 std::string_view attributeValue, std::wstring_view text);
  // The same with UTF-8 text (numbers, written without a wide string).
  [[nodiscard]] bool TextElementUtf8(std::size_t depth, std::string_view name, std::string_view attribute,
                                     std::string_view attributeValue, std::string_view text);
  // Already serialised content (a settings fragment) under the element at depth.
  [[nodiscard]] bool Markup(std::size_t depth, std::string_view xml);
  // Closes every open element, ends the document with a line break and
  // flushes. False when any write failed.
  [[nodiscard]] bool Finish();

  // Number of open elements.
  std::size_t Depth() const noexcept { return m_open.size(); }
  bool HasRoot() const noexcept { return m_rootWritten; }
  bool Failed() const noexcept { return m_failed; }

 private:
  struct Open {
    std::string qname;
    std::size_t declarations;  // entries of m_inScope this element added
  };

  // Writes <name attribute="attributeValue"> under the element at depth (a
  // valid one), or the whole element when empty; true when the text and
  // closing tag must follow.
  bool TextElementStart(std::size_t depth, std::string_view name, std::string_view attribute,
                        std::string_view attributeValue, bool empty);
  void TextElementEnd(std::string_view name);
  void CloseTo(std::size_t depth);
  void CloseStartTag();
  // Declares the prefix of qname when needed; false for an unknown prefix.
  bool DeclarePrefixOf(std::wstring_view qname);
  void Put(std::string_view text);
  void PutName(std::wstring_view qname);
  void PutEscaped(std::wstring_view text, bool attribute);
  void PutEscapedUtf8(std::string_view text, bool attribute);
  void Flush();

  std::FILE* m_out;
  std::string m_buffer;
  std::vector<Open> m_open;
  std::vector<std::pair<std::wstring, std::wstring>> m_inScope;  // prefix, URI
  bool m_startTagOpen = false;
  bool m_rootWritten = false;
  bool m_failed = false;
};

}  // namespace qz_dsc
