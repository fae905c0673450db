// One DOM element with typed getters and setters for its attributes, child
// elements and text: all reading and writing of the data source list
// document goes through it. Holding no element, every operation fails.
// Not synchronised: a wrapper and its document belong to one thread at a time.
#pragma once

#include <cstdint>
#include <string>

#include "qz_com/ComPtr.h"
#include "qz_dom/qz_dom.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

class QZ_DSC_API XMLElementExt {
 public:
  XMLElementExt() noexcept = default;
  // Holds node's element interface; nothing when node is null or no element.
  explicit XMLElementExt(IXMLDOMNode* node);
  XMLElementExt(const XMLElementExt& other) = default;
  XMLElementExt(XMLElementExt&& other) noexcept = default;
  XMLElementExt& operator=(const XMLElementExt& other) = default;
  XMLElementExt& operator=(XMLElementExt&& other) noexcept = default;
  ~XMLElementExt() = default;

  // True when the tag name equals name exactly (case-sensitive).
  [[nodiscard]] bool CheckTagName(const wchar_t* name) const;

  // REQUIRES: out != nullptr and *out == nullptr. Creates the element name
  // (its prefix mapped by the prefix table) as the last child; *out gets it.
  [[nodiscard]] bool CreateElementChildNode(const wchar_t* name, IXMLDOMElement** out);
  // As CreateElementChildNode, with a text child holding text.
  [[nodiscard]] bool CreateTextElementChildNode(const wchar_t* name, const wchar_t* text, IXMLDOMElement** out);

  // Releases *out, then selects the single node of the XPath name.
  [[nodiscard]] bool GetChild(const wchar_t* name, IXMLDOMNode** out);
  // Releases *out, then item index of the nodes that name selects. The index
  // is not checked: past the end this is true with *out null.
  [[nodiscard]] bool GetChild(const wchar_t* name, std::int32_t index, IXMLDOMNode** out);
  // Number of nodes that the XPath name selects; 0 on any failure.
  [[nodiscard]] int GetChildNodeCount(const wchar_t* name) const;
  [[nodiscard]] HRESULT GetChildNodes(IXMLDOMNodeList** out) const;
  // The held element, without a reference for the caller.
  IXMLDOMElement* GetElement() const noexcept { return m_element.Get(); }
  [[nodiscard]] HRESULT SelectNodes(const wchar_t* query, IXMLDOMNodeList** out) const;

  // The element's first text child's value; false when it has none.
  [[nodiscard]] bool GetTextValue(std::wstring& out) const;
  // Puts text as the element's value (its content becomes that text).
  [[nodiscard]] bool SetValue(const wchar_t* text);

  // True when the attribute exists (as text).
  [[nodiscard]] bool GetStringAttribute(const wchar_t* name, std::wstring& out) const;
  // The attribute parsed as a 32-bit decimal (leading blanks and a sign
  // accepted, trailing text ignored); false when absent or unparsable.
  [[nodiscard]] bool GetIntAttribute(const wchar_t* name, std::int32_t& out) const;
  // As GetIntAttribute, for 64 bits.
  [[nodiscard]] bool GetInt64Attribute(const wchar_t* name, std::int64_t& out) const;
  [[nodiscard]] bool SetStringAttribute(const wchar_t* name, const std::wstring& value);
  [[nodiscard]] bool SetIntAttribute(const wchar_t* name, std::int32_t value);

  // Text of the single node that the XPath name selects.
  [[nodiscard]] bool GetChildNodeStringValue(const wchar_t* name, std::wstring& out) const;
  // Text of item index of the nodes that name selects.
  [[nodiscard]] bool GetChildNodeStringValue(const wchar_t* name, std::int32_t index, std::wstring& out) const;
  // Text of the single node of: name[@attribute = "index"].
  [[nodiscard]] bool GetChildNodeStringValueIndex(const wchar_t* name, const wchar_t* attribute, std::int32_t index,
                                    std::wstring& out) const;
  [[nodiscard]] bool GetChildNodeIntValue(const wchar_t* name, std::int32_t& out) const;
  // Puts text into the single node name, creating the child element first
  // when there is none.
  [[nodiscard]] bool SetChildNodeStringValue(const wchar_t* name, const wchar_t* text);
  [[nodiscard]] bool SetChildNodeIntValue(const wchar_t* name, std::int32_t value);

 private:
  qz_com::ComPtr<IXMLDOMElement> m_element;
};

}  // namespace qz_dsc
