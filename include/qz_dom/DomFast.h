// Bulk access to elements without a wrapper object per node: for reading and
// writing the many small elements of large documents (thousands of samples)
// at close to the parser's own cost. Texts are UTF-8 here.
// Same threading rule as the DOM: one thread at a time per document.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "qz_dom/qz_dom.h"

namespace qz_dom {

// An element inside a document, by address. It does not keep the document
// alive: it is valid only while the caller holds a node or the document it
// came from (nodes are never freed before their document's storage).
class ElementRef {
 public:
  ElementRef() noexcept = default;
  explicit operator bool() const noexcept { return m_node != nullptr; }
  const void* Raw() const noexcept { return m_node; }
  static ElementRef FromRaw(const void* node) noexcept {
    ElementRef r;
    r.m_node = node;
    return r;
  }

 private:
  const void* m_node = nullptr;
};

// The element behind a node of this DOM; empty for null, non-elements and
// foreign implementations.
ElementRef RefOf(IXMLDOMNode* node) noexcept;

// Appends to out the child elements of parent that are in no namespace and
// have the local name `name`, in document order: what the XPath `name`
// selects relative to parent. E_INVALIDARG when parent is not one of this
// DOM's elements or documents.
[[nodiscard]] HRESULT CollectChildElements(IXMLDOMNode* parent, std::string_view name, std::vector<ElementRef>& out);

// The value of the attribute with the qualified name qname. out views the
// value in place when it is stored as one piece, else scratch. False when the
// element is empty or has no such attribute.
[[nodiscard]] bool GetAttributeUtf8(ElementRef element, std::string_view qname, std::string& scratch, std::string_view& out);

// The content of the first child of type text (3); false when there is none.
[[nodiscard]] bool GetFirstTextChild(ElementRef element, std::wstring& out);

// Appends <name attrName="attrValue">text</name> (no namespaces) as the last
// child of parent; empty text gives an empty element. Text holding NUL is
// refused (E_INVALIDARG); an unpaired surrogate is stored as U+FFFD.
[[nodiscard]] HRESULT AppendTextElement(IXMLDOMNode* parent, std::string_view name, const std::wstring& text,
                          std::string_view attrName, std::string_view attrValue);

// The options this DOM parses documents with (load and loadXML), for
// streaming readers of the same files that must see the same nodes.
int ParseOptions() noexcept;

// The UTF-8 text get_xml gives for a libxml2 node (an xmlNodePtr), such as
// one a streaming reader expanded.
[[nodiscard]] HRESULT NodeXml(const void* node, std::string& out);

}  // namespace qz_dom
