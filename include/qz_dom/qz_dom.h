// A small namespace-aware XML DOM with counted COM-style interfaces: documents
// created, parsed from text or a file and written back; elements, attributes,
// text and comments; XPath 1.0 selections with registered namespace prefixes.
// A document and all nodes taken from it belong to one thread at a time;
// reference counts are atomic, and any node keeps its document's storage alive.
//
// Strings: inputs are `const std::wstring&`, outputs `std::wstring*`; node
// values travel as VARIANTs (VT_BSTR when read). Results are HRESULTs: S_OK,
// S_FALSE for "nothing there" (the out pointer is then null or empty),
// E_POINTER, E_INVALIDARG and E_FAIL for bad calls. No exception leaves the
// interfaces except std::bad_alloc.
#pragma once

#include <string>

#include "qz_com/OleAuto.h"
#include "qz_com/qz_com.h"

// Node type numbers, as the DOM reports them.
enum DOMNodeType : LONG {
  NODE_INVALID = 0,
  NODE_ELEMENT = 1,
  NODE_ATTRIBUTE = 2,
  NODE_TEXT = 3,
  NODE_CDATA_SECTION = 4,
  NODE_ENTITY_REFERENCE = 5,
  NODE_ENTITY = 6,
  NODE_PROCESSING_INSTRUCTION = 7,
  NODE_COMMENT = 8,
  NODE_DOCUMENT = 9,
  NODE_DOCUMENT_TYPE = 10,
  NODE_DOCUMENT_FRAGMENT = 11,
  NODE_NOTATION = 12,
};

struct IXMLDOMNodeList;
struct IXMLDOMDocument;
struct IXMLDOMAttribute;

struct IXMLDOMNode : IUnknown {
  // Qualified name for elements and attributes; "#text", "#comment",
  // "#document", "#cdata-section" for the others; a PI's target.
  virtual HRESULT get_nodeName(std::wstring* name) = 0;
  // VT_BSTR for attributes, text, comments and PIs; VT_EMPTY with S_FALSE
  // for elements and documents.
  virtual HRESULT get_nodeValue(VARIANT* value) = 0;
  // Sets the value of an attribute, text, comment or PI from a VT_EMPTY,
  // VT_I4, VT_I8, VT_R8, VT_BOOL or VT_BSTR variant. On an element the value
  // replaces all children with one text node. E_FAIL on a document.
  virtual HRESULT put_nodeValue(const VARIANT& value) = 0;
  virtual HRESULT get_nodeType(DOMNodeType* type) = 0;
  // S_FALSE and null for documents, attributes and unattached nodes.
  virtual HRESULT get_parentNode(IXMLDOMNode** parent) = 0;
  // A snapshot of the children in document order (empty for attributes).
  virtual HRESULT get_childNodes(IXMLDOMNodeList** children) = 0;
  virtual HRESULT get_firstChild(IXMLDOMNode** child) = 0;
  virtual HRESULT get_lastChild(IXMLDOMNode** child) = 0;
  virtual HRESULT get_previousSibling(IXMLDOMNode** sibling) = 0;
  virtual HRESULT get_nextSibling(IXMLDOMNode** sibling) = 0;
  // The document the node belongs to; S_FALSE and null for a document.
  virtual HRESULT get_ownerDocument(IXMLDOMDocument** document) = 0;
  // Appends newChild as the last child, moving it when it already has a
  // place. A node of another document is appended as a deep copy, which is
  // what outNewChild (optional) receives.
  virtual HRESULT appendChild(IXMLDOMNode* newChild, IXMLDOMNode** outNewChild) = 0;
  virtual HRESULT hasChildNodes(VARIANT_BOOL* has) = 0;
  // The text of the node and all its descendants.
  virtual HRESULT get_text(std::wstring* text) = 0;
  virtual HRESULT put_text(const std::wstring& text) = 0;
  // The node serialised as XML (a document without an XML declaration).
  virtual HRESULT get_xml(std::wstring* xml) = 0;
  // XPath 1.0 relative to this node, with the document's selection
  // namespaces. E_FAIL for a syntax error or a result that is not a node set.
  virtual HRESULT selectNodes(const std::wstring& query, IXMLDOMNodeList** result) = 0;
  // First selected node in document order; S_FALSE and null when none.
  virtual HRESULT selectSingleNode(const std::wstring& query, IXMLDOMNode** result) = 0;
  // Namespace URI, prefix and local name; empty when there is none.
  virtual HRESULT get_namespaceURI(std::wstring* uri) = 0;
  virtual HRESULT get_prefix(std::wstring* prefix) = 0;
  virtual HRESULT get_baseName(std::wstring* name) = 0;

 protected:
  ~IXMLDOMNode() = default;
};

struct IXMLDOMElement : IXMLDOMNode {
  virtual HRESULT get_tagName(std::wstring* name) = 0;
  // The attribute whose qualified name equals name (namespace declarations
  // "xmlns" and "xmlns:p" included): S_OK and VT_BSTR, or S_FALSE and VT_EMPTY.
  virtual HRESULT getAttribute(const std::wstring& name, VARIANT* value) = 0;
  // Sets an attribute; a prefix must be declared in scope (E_INVALIDARG if not).
  virtual HRESULT setAttribute(const std::wstring& name, const VARIANT& value) = 0;
  virtual HRESULT getAttributeNode(const std::wstring& name, IXMLDOMAttribute** attribute) = 0;
  // Attaches an unattached attribute, keeping its namespace (declared on this
  // element when not yet in scope). An attribute of the same local name and
  // namespace is replaced in place and handed back in old (optional).
  virtual HRESULT setAttributeNode(IXMLDOMAttribute* attribute, IXMLDOMAttribute** old) = 0;

 protected:
  ~IXMLDOMElement() = default;
};

struct IXMLDOMAttribute : IXMLDOMNode {
  virtual HRESULT get_name(std::wstring* name) = 0;
  virtual HRESULT get_value(VARIANT* value) = 0;
  virtual HRESULT put_value(const VARIANT& value) = 0;

 protected:
  ~IXMLDOMAttribute() = default;
};

struct IXMLDOMText : IXMLDOMNode {
  virtual HRESULT get_data(std::wstring* data) = 0;

 protected:
  ~IXMLDOMText() = default;
};

struct IXMLDOMComment : IXMLDOMNode {
  virtual HRESULT get_data(std::wstring* data) = 0;

 protected:
  ~IXMLDOMComment() = default;
};

struct IXMLDOMNodeList : IUnknown {
  // S_FALSE and null for an index outside the list.
  virtual HRESULT get_item(LONG index, IXMLDOMNode** node) = 0;
  virtual HRESULT get_length(LONG* length) = 0;
  // Iteration: the next node, S_FALSE and null at the end.
  virtual HRESULT nextNode(IXMLDOMNode** node) = 0;
  virtual HRESULT reset() = 0;

 protected:
  ~IXMLDOMNodeList() = default;
};

// What went wrong in the last load: errorCode 0 when it succeeded.
struct IXMLDOMParseError : IUnknown {
  virtual HRESULT get_errorCode(LONG* code) = 0;
  // The parser's message.
  virtual HRESULT get_reason(std::wstring* reason) = 0;
  virtual HRESULT get_line(LONG* line) = 0;
  virtual HRESULT get_linepos(LONG* column) = 0;

 protected:
  ~IXMLDOMParseError() = default;
};

struct IXMLDOMDocument : IXMLDOMNode {
  // S_FALSE and null when the document has no root element.
  virtual HRESULT get_documentElement(IXMLDOMElement** root) = 0;
  virtual HRESULT createElement(const std::wstring& name, IXMLDOMElement** element) = 0;
  virtual HRESULT createTextNode(const std::wstring& data, IXMLDOMText** text) = 0;
  virtual HRESULT createComment(const std::wstring& data, IXMLDOMComment** comment) = 0;
  virtual HRESULT createAttribute(const std::wstring& name, IXMLDOMAttribute** attribute) = 0;
  // An unattached element (1), attribute (2), text (3) or comment (8). For
  // elements and attributes, name is a qualified name and namespaceURI its
  // namespace (empty: none). Freed with the document unless attached.
  virtual HRESULT createNode(DOMNodeType type, const std::wstring& name, const std::wstring& namespaceURI,
                             IXMLDOMNode** node) = 0;
  // Parse a file or a text, replacing the content. A parse failure gives
  // S_FALSE, *isSuccessful VARIANT_FALSE, an empty document and the reason
  // in get_parseError. Nodes taken before stay valid but detached from it.
  virtual HRESULT load(const std::wstring& path, VARIANT_BOOL* isSuccessful) = 0;
  virtual HRESULT loadXML(const std::wstring& xml, VARIANT_BOOL* isSuccessful) = 0;
  // Writes the document as UTF-8 with an XML declaration; E_FAIL on an I/O error.
  virtual HRESULT save(const std::wstring& path) = 0;
  virtual HRESULT get_parseError(IXMLDOMParseError** error) = 0;
  // Loading is always synchronous and never validates or resolves external
  // resources: true is refused with E_NOTIMPL, false accepted.
  virtual HRESULT put_async(VARIANT_BOOL async) = 0;
  virtual HRESULT put_validateOnParse(VARIANT_BOOL validate) = 0;
  virtual HRESULT put_resolveExternals(VARIANT_BOOL resolve) = 0;

 protected:
  ~IXMLDOMDocument() = default;
};

struct IXMLDOMDocument2 : IXMLDOMDocument {
  // "SelectionNamespaces": text of xmlns:p='uri' declarations separated by
  // blanks, registered for every selection on the document's nodes.
  // "SelectionLanguage": only "XPath". Other names: E_INVALIDARG.
  virtual HRESULT setProperty(const std::wstring& name, const VARIANT& value) = 0;
  virtual HRESULT getProperty(const std::wstring& name, VARIANT* value) = 0;

 protected:
  ~IXMLDOMDocument2() = default;
};

QZ_DEFINE_UUIDOF(IXMLDOMNode, 0x6a1f0d01, 0x3c2e, 0x4b7a, 0x9e, 0x51, 0x2d, 0x0c, 0x7e, 0x41, 0xa3, 0x01)
QZ_DEFINE_UUIDOF(IXMLDOMElement, 0x6a1f0d02, 0x3c2e, 0x4b7a, 0x9e, 0x51, 0x2d, 0x0c, 0x7e, 0x41, 0xa3, 0x02)
QZ_DEFINE_UUIDOF(IXMLDOMAttribute, 0x6a1f0d03, 0x3c2e, 0x4b7a, 0x9e, 0x51, 0x2d, 0x0c, 0x7e, 0x41, 0xa3, 0x03)
QZ_DEFINE_UUIDOF(IXMLDOMText, 0x6a1f0d04, 0x3c2e, 0x4b7a, 0x9e, 0x51, 0x2d, 0x0c, 0x7e, 0x41, 0xa3, 0x04)
QZ_DEFINE_UUIDOF(IXMLDOMComment, 0x6a1f0d05, 0x3c2e, 0x4b7a, 0x9e, 0x51, 0x2d, 0x0c, 0x7e, 0x41, 0xa3, 0x05)
QZ_DEFINE_UUIDOF(IXMLDOMNodeList, 0x6a1f0d06, 0x3c2e, 0x4b7a, 0x9e, 0x51, 0x2d, 0x0c, 0x7e, 0x41, 0xa3, 0x06)
QZ_DEFINE_UUIDOF(IXMLDOMParseError, 0x6a1f0d07, 0x3c2e, 0x4b7a, 0x9e, 0x51, 0x2d, 0x0c, 0x7e, 0x41, 0xa3, 0x07)
QZ_DEFINE_UUIDOF(IXMLDOMDocument, 0x6a1f0d08, 0x3c2e, 0x4b7a, 0x9e, 0x51, 0x2d, 0x0c, 0x7e, 0x41, 0xa3, 0x08)
QZ_DEFINE_UUIDOF(IXMLDOMDocument2, 0x6a1f0d09, 0x3c2e, 0x4b7a, 0x9e, 0x51, 0x2d, 0x0c, 0x7e, 0x41, 0xa3, 0x09)

namespace qz_dom {

// Class id of the document class (the DOMDocument60 id of the platform).
inline constexpr CLSID CLSID_DOMDocument60 = {0x88d96a05, 0xf192, 0x11d4, {0xa6, 0x5e, 0x00, 0x40, 0x96, 0x32, 0x51, 0xe5}};

// The Windows headers make these two macros; here they are constants of this
// namespace, with the same values, on every platform.
#if defined(_WIN32)
#undef REGDB_E_CLASSNOTREG
#undef CLSCTX_ALL
#endif
constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154u);
constexpr DWORD CLSCTX_ALL = 0x17;

// Creates an object of a class this DOM provides (only CLSID_DOMDocument60):
// a new empty document, asked for riid. REGDB_E_CLASSNOTREG for another
// class, CLASS_E_NOAGGREGATION when outer is given.
HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID riid, void** ppv);

}  // namespace qz_dom
