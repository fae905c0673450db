// Internal wrapper classes of the DOM: one COM-style object per node handed
// out, holding the document's shared state and the libxml2 node. A wrapper
// is not shared between threads; its reference count is atomic.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "DomState.h"
#include "qz_dom/qz_dom.h"

namespace qz_dom::detail {

// What every wrapper carries; reached from an interface by dynamic_cast.
class NodeCore {
 public:
  NodeCore(StatePtr state, xmlNodePtr node) : m_state(std::move(state)), m_node(node) {}
  virtual ~NodeCore() = default;
  // The libxml2 node; for a document object, the state's current document.
  xmlNodePtr Node() const noexcept {
    return m_node != nullptr ? m_node : reinterpret_cast<xmlNodePtr>(m_state->Doc());
  }
  const StatePtr& State() const noexcept { return m_state; }

 protected:
  StatePtr m_state;
  xmlNodePtr m_node;  // null for the document object
};

NodeCore* CoreOf(IUnknown* node) noexcept;

// A new wrapper (one reference) of the right class for node; null for null.
IXMLDOMNode* Wrap(const StatePtr& state, xmlNodePtr node);

// Operations behind IXMLDOMNode, shared by every wrapper class.
namespace ops {
HRESULT NodeName(xmlNodePtr n, std::wstring* out);
HRESULT NodeValue(xmlNodePtr n, VARIANT* out);
HRESULT PutNodeValue(DocState& state, xmlNodePtr n, const VARIANT& value);
HRESULT NodeType(xmlNodePtr n, DOMNodeType* out);
HRESULT Relative(const StatePtr& state, xmlNodePtr n, int which, IXMLDOMNode** out);
HRESULT ChildNodes(const StatePtr& state, xmlNodePtr n, IXMLDOMNodeList** out);
HRESULT OwnerDocument(const StatePtr& state, xmlNodePtr n, IXMLDOMDocument** out);
HRESULT AppendChild(const StatePtr& state, xmlNodePtr n, IXMLDOMNode* child, IXMLDOMNode** out);
HRESULT HasChildNodes(xmlNodePtr n, VARIANT_BOOL* out);
HRESULT Text(xmlNodePtr n, std::wstring* out);
HRESULT PutText(DocState& state, xmlNodePtr n, const std::wstring& text);
HRESULT Xml(xmlNodePtr n, std::wstring* out);
HRESULT XmlUtf8(xmlNodePtr n, std::string& out);
HRESULT SelectNodes(const StatePtr& state, xmlNodePtr n, const std::wstring& query, IXMLDOMNodeList** out);
HRESULT SelectSingleNode(const StatePtr& state, xmlNodePtr n, const std::wstring& query, IXMLDOMNode** out);
HRESULT NamespaceURI(xmlNodePtr n, std::wstring* out);
HRESULT Prefix(xmlNodePtr n, std::wstring* out);
HRESULT BaseName(xmlNodePtr n, std::wstring* out);
}  // namespace ops

enum Relation { kParent, kFirstChild, kLastChild, kPrevious, kNext };

// Implements IXMLDOMNode for interface I (IXMLDOMNode or one derived from it).
template <class I>
class NodeImpl : public I, public NodeCore {
 public:
  using NodeCore::NodeCore;

  ULONG QZ_STDMETHODCALLTYPE AddRef() override { return ++m_refs; }
  ULONG QZ_STDMETHODCALLTYPE Release() override {
    const ULONG left = --m_refs;
    if (left == 0) delete this;
    return left;
  }

  HRESULT get_nodeName(std::wstring* out) override { return ops::NodeName(Node(), out); }
  HRESULT get_nodeValue(VARIANT* out) override { return ops::NodeValue(Node(), out); }
  HRESULT put_nodeValue(const VARIANT& v) override { return ops::PutNodeValue(*m_state, Node(), v); }
  HRESULT get_nodeType(DOMNodeType* out) override { return ops::NodeType(Node(), out); }
  HRESULT get_parentNode(IXMLDOMNode** out) override { return ops::Relative(m_state, Node(), kParent, out); }
  HRESULT get_childNodes(IXMLDOMNodeList** out) override { return ops::ChildNodes(m_state, Node(), out); }
  HRESULT get_firstChild(IXMLDOMNode** out) override { return ops::Relative(m_state, Node(), kFirstChild, out); }
  HRESULT get_lastChild(IXMLDOMNode** out) override { return ops::Relative(m_state, Node(), kLastChild, out); }
  HRESULT get_previousSibling(IXMLDOMNode** out) override { return ops::Relative(m_state, Node(), kPrevious, out); }
  HRESULT get_nextSibling(IXMLDOMNode** out) override { return ops::Relative(m_state, Node(), kNext, out); }
  HRESULT get_ownerDocument(IXMLDOMDocument** out) override { return ops::OwnerDocument(m_state, Node(), out); }
  HRESULT appendChild(IXMLDOMNode* child, IXMLDOMNode** out) override {
    return ops::AppendChild(m_state, Node(), child, out);
  }
  HRESULT hasChildNodes(VARIANT_BOOL* out) override { return ops::HasChildNodes(Node(), out); }
  HRESULT get_text(std::wstring* out) override { return ops::Text(Node(), out); }
  HRESULT put_text(const std::wstring& text) override { return ops::PutText(*m_state, Node(), text); }
  HRESULT get_xml(std::wstring* out) override { return ops::Xml(Node(), out); }
  HRESULT selectNodes(const std::wstring& q, IXMLDOMNodeList** out) override {
    return ops::SelectNodes(m_state, Node(), q, out);
  }
  HRESULT selectSingleNode(const std::wstring& q, IXMLDOMNode** out) override {
    return ops::SelectSingleNode(m_state, Node(), q, out);
  }
  HRESULT get_namespaceURI(std::wstring* out) override { return ops::NamespaceURI(Node(), out); }
  HRESULT get_prefix(std::wstring* out) override { return ops::Prefix(Node(), out); }
  HRESULT get_baseName(std::wstring* out) override { return ops::BaseName(Node(), out); }

 protected:
  virtual ~NodeImpl() = default;

 private:
  std::atomic<ULONG> m_refs{1};
};

class DomElement final : public NodeImpl<IXMLDOMElement> {
 public:
  using NodeImpl::NodeImpl;
  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  HRESULT get_tagName(std::wstring* out) override;
  HRESULT getAttribute(const std::wstring& name, VARIANT* out) override;
  HRESULT setAttribute(const std::wstring& name, const VARIANT& value) override;
  HRESULT getAttributeNode(const std::wstring& name, IXMLDOMAttribute** out) override;
  HRESULT setAttributeNode(IXMLDOMAttribute* attribute, IXMLDOMAttribute** old) override;
};

class DomAttribute final : public NodeImpl<IXMLDOMAttribute> {
 public:
  using NodeImpl::NodeImpl;
  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  HRESULT get_name(std::wstring* out) override { return ops::NodeName(Node(), out); }
  HRESULT get_value(VARIANT* out) override { return ops::NodeValue(Node(), out); }
  HRESULT put_value(const VARIANT& v) override { return ops::PutNodeValue(*m_state, Node(), v); }
};

class DomText final : public NodeImpl<IXMLDOMText> {
 public:
  using NodeImpl::NodeImpl;
  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  HRESULT get_data(std::wstring* out) override { return ops::Text(Node(), out); }
};

class DomComment final : public NodeImpl<IXMLDOMComment> {
 public:
  using NodeImpl::NodeImpl;
  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  HRESULT get_data(std::wstring* out) override { return ops::Text(Node(), out); }
};

class DomOtherNode final : public NodeImpl<IXMLDOMNode> {
 public:
  using NodeImpl::NodeImpl;
  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
};

class DomDocument final : public NodeImpl<IXMLDOMDocument2> {
 public:
  explicit DomDocument(StatePtr state) : NodeImpl(std::move(state), nullptr) {}
  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  HRESULT get_documentElement(IXMLDOMElement** out) override;
  HRESULT createElement(const std::wstring& name, IXMLDOMElement** out) override;
  HRESULT createTextNode(const std::wstring& data, IXMLDOMText** out) override;
  HRESULT createComment(const std::wstring& data, IXMLDOMComment** out) override;
  HRESULT createAttribute(const std::wstring& name, IXMLDOMAttribute** out) override;
  HRESULT createNode(DOMNodeType type, const std::wstring& name, const std::wstring& uri, IXMLDOMNode** out) override;
  HRESULT load(const std::wstring& path, VARIANT_BOOL* ok) override;
  HRESULT loadXML(const std::wstring& xml, VARIANT_BOOL* ok) override;
  HRESULT save(const std::wstring& path) override;
  HRESULT get_parseError(IXMLDOMParseError** out) override;
  HRESULT put_async(VARIANT_BOOL v) override { return v == VARIANT_FALSE ? S_OK : E_NOTIMPL; }
  HRESULT put_validateOnParse(VARIANT_BOOL v) override { return v == VARIANT_FALSE ? S_OK : E_NOTIMPL; }
  HRESULT put_resolveExternals(VARIANT_BOOL v) override { return v == VARIANT_FALSE ? S_OK : E_NOTIMPL; }
  HRESULT setProperty(const std::wstring& name, const VARIANT& value) override;
  HRESULT getProperty(const std::wstring& name, VARIANT* value) override;

 private:
  // Parses with the DOM's options; installs the result or an empty document.
  HRESULT Parse(const std::string* text, const std::string* path, VARIANT_BOOL* ok);
};

class DomNodeList final : public IXMLDOMNodeList {
 public:
  DomNodeList(StatePtr state, std::vector<xmlNodePtr> nodes) : m_state(std::move(state)), m_nodes(std::move(nodes)) {}
  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG QZ_STDMETHODCALLTYPE AddRef() override { return ++m_refs; }
  ULONG QZ_STDMETHODCALLTYPE Release() override {
    const ULONG left = --m_refs;
    if (left == 0) delete this;
    return left;
  }
  HRESULT get_item(LONG index, IXMLDOMNode** out) override;
  HRESULT get_length(LONG* out) override;
  HRESULT nextNode(IXMLDOMNode** out) override;
  HRESULT reset() override {
    m_cursor = 0;
    return S_OK;
  }

 private:
  ~DomNodeList() = default;
  StatePtr m_state;
  std::vector<xmlNodePtr> m_nodes;
  std::size_t m_cursor = 0;
  std::atomic<ULONG> m_refs{1};
};

}  // namespace qz_dom::detail
