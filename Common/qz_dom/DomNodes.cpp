#include "DomNodes.h"

#include <libxml/xmlsave.h>
#include <libxml/xpathInternals.h>

#include <cstring>
#include <new>

#include "qz_com/ComPtr.h"

namespace qz_dom::detail {
namespace {

const char* AsChars(const xmlChar* s) { return reinterpret_cast<const char*>(s); }

bool IsContainer(xmlNodePtr n) {
  return n->type == XML_ELEMENT_NODE || n->type == XML_DOCUMENT_NODE || n->type == XML_DOCUMENT_FRAG_NODE;
}

// Nodes whose value is their own content.
bool HasContent(xmlNodePtr n) {
  return n->type == XML_TEXT_NODE || n->type == XML_CDATA_SECTION_NODE || n->type == XML_COMMENT_NODE ||
         n->type == XML_PI_NODE;
}

std::wstring ContentOf(xmlNodePtr n) {
  xmlChar* c = xmlNodeGetContent(n);
  std::wstring out = FromUtf8(c);
  xmlFree(c);
  return out;
}

template <class T>
HRESULT Hand(IXMLDOMNode* node, T** out) {
  // node carries one reference; out receives it as T.
  if (node == nullptr) {
    *out = nullptr;
    return S_FALSE;
  }
  HRESULT hr = node->QueryInterface(uuidof<T>(), reinterpret_cast<void**>(out));
  node->Release();
  return hr;
}

// Moves all children of n to the state's loose list (they may be wrapped).
void ParkChildren(DocState& state, xmlNodePtr n) {
  xmlNodePtr c = n->children;
  n->children = n->last = nullptr;
  while (c != nullptr) {
    xmlNodePtr next = c->next;
    c->parent = nullptr;
    c->prev = c->next = nullptr;
    state.KeepLoose(c);
    c = next;
  }
}

HRESULT SetText(DocState& state, xmlNodePtr n, const std::wstring& text) {
  std::string utf8;
  if (!ToUtf8(text, utf8)) return E_INVALIDARG;
  switch (n->type) {
    case XML_ATTRIBUTE_NODE:
      SetAttributeText(reinterpret_cast<xmlAttrPtr>(n), utf8);
      return S_OK;
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE:
      xmlNodeSetContent(n, BAD_CAST utf8.c_str());
      return S_OK;
    case XML_ELEMENT_NODE: {
      ParkChildren(state, n);
      if (utf8.empty()) return S_OK;
      xmlNodePtr t = xmlNewDocText(n->doc, BAD_CAST utf8.c_str());
      if (t == nullptr) return E_OUTOFMEMORY;
      LinkLastChild(n, t);
      return S_OK;
    }
    default:
      return E_FAIL;
  }
}

HRESULT Collect(xmlXPathObjectPtr result, std::vector<xmlNodePtr>& nodes) {
  if (result == nullptr) return E_FAIL;
  if (result->type != XPATH_NODESET) return E_FAIL;
  if (result->nodesetval != nullptr) {
    for (int i = 0; i < result->nodesetval->nodeNr; ++i) {
      xmlNodePtr n = result->nodesetval->nodeTab[i];
      // Namespace nodes are temporary copies owned by the result: not exposed.
      if (n == nullptr || n->type == XML_NAMESPACE_DECL) continue;
      nodes.push_back(n);
    }
  }
  return S_OK;
}

HRESULT Evaluate(const StatePtr& state, xmlNodePtr n, const std::wstring& query, std::vector<xmlNodePtr>& nodes) {
  std::string q;
  if (!ToUtf8(query, q)) return E_INVALIDARG;
  xmlXPathContextPtr ctx = state->XPathFor(n->doc);
  if (ctx == nullptr) return E_OUTOFMEMORY;
  ctx->node = n;
  xmlXPathObjectPtr result = xmlXPathEvalExpression(BAD_CAST q.c_str(), ctx);
  HRESULT hr = Collect(result, nodes);
  xmlXPathFreeObject(result);
  return hr;
}

bool IsAncestorOrSelf(xmlNodePtr candidate, xmlNodePtr n) {
  for (; n != nullptr; n = n->parent) {
    if (n == candidate) return true;
  }
  return false;
}

void Unlink(xmlNodePtr n) {
  xmlNodePtr parent = n->parent;
  if (parent == nullptr) return;
  if (n->prev != nullptr) {
    n->prev->next = n->next;
  } else {
    parent->children = n->next;
  }
  if (n->next != nullptr) {
    n->next->prev = n->prev;
  } else {
    parent->last = n->prev;
  }
  n->parent = n->prev = n->next = nullptr;
}

}  // namespace

NodeCore* CoreOf(IUnknown* node) noexcept {
  if (node == nullptr) return nullptr;
  return dynamic_cast<NodeCore*>(node);
}

IXMLDOMNode* Wrap(const StatePtr& state, xmlNodePtr n) {
  if (n == nullptr) return nullptr;
  switch (n->type) {
    case XML_ELEMENT_NODE:
      return static_cast<IXMLDOMElement*>(new DomElement(state, n));
    case XML_ATTRIBUTE_NODE:
      return static_cast<IXMLDOMAttribute*>(new DomAttribute(state, n));
    case XML_TEXT_NODE:
      return static_cast<IXMLDOMText*>(new DomText(state, n));
    case XML_COMMENT_NODE:
      return static_cast<IXMLDOMComment*>(new DomComment(state, n));
    case XML_DOCUMENT_NODE:
      return static_cast<IXMLDOMDocument2*>(new DomDocument(state));
    default:
      return new DomOtherNode(state, n);
  }
}

namespace ops {

HRESULT NodeName(xmlNodePtr n, std::wstring* out) {
  if (out == nullptr) return E_POINTER;
  switch (n->type) {
    case XML_ELEMENT_NODE:
    case XML_ATTRIBUTE_NODE:
      if (n->ns != nullptr && n->ns->prefix != nullptr) {
        *out = FromUtf8(n->ns->prefix) + L":" + FromUtf8(n->name);
      } else {
        *out = FromUtf8(n->name);
      }
      return S_OK;
    case XML_TEXT_NODE:
      *out = L"#text";
      return S_OK;
    case XML_CDATA_SECTION_NODE:
      *out = L"#cdata-section";
      return S_OK;
    case XML_COMMENT_NODE:
      *out = L"#comment";
      return S_OK;
    case XML_DOCUMENT_NODE:
      *out = L"#document";
      return S_OK;
    default:
      *out = FromUtf8(n->name);
      return S_OK;
  }
}

HRESULT NodeValue(xmlNodePtr n, VARIANT* out) {
  if (out == nullptr) return E_POINTER;
  if (n->type == XML_ATTRIBUTE_NODE || HasContent(n)) return MakeBstrVariant(ContentOf(n), out);
  VariantClear(out);
  return S_FALSE;
}

HRESULT PutNodeValue(DocState& state, xmlNodePtr n, const VARIANT& value) {
  std::wstring text;
  if (!VariantText(value, text)) return E_INVALIDARG;
  return SetText(state, n, text);
}

HRESULT NodeType(xmlNodePtr n, DOMNodeType* out) {
  if (out == nullptr) return E_POINTER;
  switch (n->type) {
    case XML_ELEMENT_NODE: *out = NODE_ELEMENT; break;
    case XML_ATTRIBUTE_NODE: *out = NODE_ATTRIBUTE; break;
    case XML_TEXT_NODE: *out = NODE_TEXT; break;
    case XML_CDATA_SECTION_NODE: *out = NODE_CDATA_SECTION; break;
    case XML_ENTITY_REF_NODE: *out = NODE_ENTITY_REFERENCE; break;
    case XML_ENTITY_NODE: *out = NODE_ENTITY; break;
    case XML_PI_NODE: *out = NODE_PROCESSING_INSTRUCTION; break;
    case XML_COMMENT_NODE: *out = NODE_COMMENT; break;
    case XML_DOCUMENT_NODE: *out = NODE_DOCUMENT; break;
    case XML_DTD_NODE:
    case XML_DOCUMENT_TYPE_NODE: *out = NODE_DOCUMENT_TYPE; break;
    case XML_DOCUMENT_FRAG_NODE: *out = NODE_DOCUMENT_FRAGMENT; break;
    case XML_NOTATION_NODE: *out = NODE_NOTATION; break;
    default: *out = NODE_INVALID; break;
  }
  return S_OK;
}

HRESULT Relative(const StatePtr& state, xmlNodePtr n, int which, IXMLDOMNode** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  xmlNodePtr r = nullptr;
  if (n->type == XML_ATTRIBUTE_NODE) {
    r = nullptr;  // attributes stand outside the child tree
  } else if (which == kParent) {
    r = n->parent;
  } else if (which == kFirstChild) {
    r = IsContainer(n) ? n->children : nullptr;
  } else if (which == kLastChild) {
    r = IsContainer(n) ? n->last : nullptr;
  } else if (which == kPrevious) {
    r = n->prev;
  } else {
    r = n->next;
  }
  *out = Wrap(state, r);
  return *out != nullptr ? S_OK : S_FALSE;
}

HRESULT ChildNodes(const StatePtr& state, xmlNodePtr n, IXMLDOMNodeList** out) {
  if (out == nullptr) return E_POINTER;
  std::vector<xmlNodePtr> nodes;
  if (IsContainer(n)) {
    for (xmlNodePtr c = n->children; c != nullptr; c = c->next) nodes.push_back(c);
  }
  *out = new DomNodeList(state, std::move(nodes));
  return S_OK;
}

HRESULT OwnerDocument(const StatePtr& state, xmlNodePtr n, IXMLDOMDocument** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (n->type == XML_DOCUMENT_NODE) return S_FALSE;
  *out = new DomDocument(state);
  return S_OK;
}

HRESULT AppendChild(const StatePtr& state, xmlNodePtr n, IXMLDOMNode* child, IXMLDOMNode** out) {
  if (out != nullptr) *out = nullptr;
  if (child == nullptr) return E_INVALIDARG;
  NodeCore* core = CoreOf(child);
  if (core == nullptr) return E_INVALIDARG;
  xmlNodePtr c = core->Node();
  if (!IsContainer(n)) return E_FAIL;
  switch (c->type) {
    case XML_ELEMENT_NODE:
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE:
      break;
    default:
      return E_INVALIDARG;  // attributes and documents are not children
  }
  if (n->type == XML_DOCUMENT_NODE) {
    if (c->type == XML_TEXT_NODE || c->type == XML_CDATA_SECTION_NODE) return E_FAIL;
    if (c->type == XML_ELEMENT_NODE) {
      xmlNodePtr root = xmlDocGetRootElement(reinterpret_cast<xmlDocPtr>(n));
      if (root != nullptr && root != c) return E_FAIL;  // one root element only
    }
  }
  if (c->doc != n->doc) {
    // Another document: append a deep copy that belongs to this one.
    xmlNodePtr copy = xmlDocCopyNode(c, n->doc, 1);
    if (copy == nullptr) return E_OUTOFMEMORY;
    LinkLastChild(n, copy);
    FixNamespaces(*state, copy);
    if (out != nullptr) *out = Wrap(state, copy);
    return S_OK;
  }
  if (IsAncestorOrSelf(c, n)) return E_INVALIDARG;  // would make a cycle
  Unlink(c);
  LinkLastChild(n, c);
  FixNamespaces(*state, c);
  if (out != nullptr) {
    child->AddRef();
    *out = child;
  }
  return S_OK;
}

HRESULT HasChildNodes(xmlNodePtr n, VARIANT_BOOL* out) {
  if (out == nullptr) return E_POINTER;
  const bool has = IsContainer(n) && n->children != nullptr;
  *out = has ? VARIANT_TRUE : VARIANT_FALSE;
  return has ? S_OK : S_FALSE;
}

HRESULT Text(xmlNodePtr n, std::wstring* out) {
  if (out == nullptr) return E_POINTER;
  *out = ContentOf(n);
  return S_OK;
}

HRESULT PutText(DocState& state, xmlNodePtr n, const std::wstring& text) { return SetText(state, n, text); }

HRESULT XmlUtf8(xmlNodePtr n, std::string& out) {
  xmlBufferPtr buf = xmlBufferCreate();
  if (buf == nullptr) return E_OUTOFMEMORY;
  xmlSaveCtxtPtr save = xmlSaveToBuffer(buf, "UTF-8", XML_SAVE_NO_DECL | XML_SAVE_AS_XML);
  if (save == nullptr) {
    xmlBufferFree(buf);
    return E_OUTOFMEMORY;
  }
  if (n->type == XML_DOCUMENT_NODE) {
    xmlSaveDoc(save, reinterpret_cast<xmlDocPtr>(n));
  } else {
    xmlSaveTree(save, n);
  }
  const int rc = xmlSaveClose(save);
  if (rc < 0) {
    xmlBufferFree(buf);
    return E_FAIL;
  }
  out.assign(AsChars(xmlBufferContent(buf)), static_cast<std::size_t>(xmlBufferLength(buf)));
  xmlBufferFree(buf);
  return S_OK;
}

HRESULT Xml(xmlNodePtr n, std::wstring* out) {
  if (out == nullptr) return E_POINTER;
  std::string utf8;
  const HRESULT hr = XmlUtf8(n, utf8);
  if (FAILED(hr)) return hr;
  *out = FromUtf8(utf8);
  return S_OK;
}

HRESULT SelectNodes(const StatePtr& state, xmlNodePtr n, const std::wstring& query, IXMLDOMNodeList** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  std::vector<xmlNodePtr> nodes;
  HRESULT hr = Evaluate(state, n, query, nodes);
  if (FAILED(hr)) return hr;
  *out = new DomNodeList(state, std::move(nodes));
  return S_OK;
}

HRESULT SelectSingleNode(const StatePtr& state, xmlNodePtr n, const std::wstring& query, IXMLDOMNode** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  std::vector<xmlNodePtr> nodes;
  HRESULT hr = Evaluate(state, n, query, nodes);
  if (FAILED(hr)) return hr;
  if (nodes.empty()) return S_FALSE;
  *out = Wrap(state, nodes.front());
  return S_OK;
}

HRESULT NamespaceURI(xmlNodePtr n, std::wstring* out) {
  if (out == nullptr) return E_POINTER;
  const bool named = n->type == XML_ELEMENT_NODE || n->type == XML_ATTRIBUTE_NODE;
  *out = named && n->ns != nullptr ? FromUtf8(n->ns->href) : std::wstring();
  return S_OK;
}

HRESULT Prefix(xmlNodePtr n, std::wstring* out) {
  if (out == nullptr) return E_POINTER;
  const bool named = n->type == XML_ELEMENT_NODE || n->type == XML_ATTRIBUTE_NODE;
  *out = named && n->ns != nullptr ? FromUtf8(n->ns->prefix) : std::wstring();
  return S_OK;
}

HRESULT BaseName(xmlNodePtr n, std::wstring* out) {
  if (out == nullptr) return E_POINTER;
  const bool named = n->type == XML_ELEMENT_NODE || n->type == XML_ATTRIBUTE_NODE || n->type == XML_PI_NODE;
  *out = named ? FromUtf8(n->name) : std::wstring();
  return S_OK;
}

}  // namespace ops

HRESULT DomElement::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DomElement, IXMLDOMElement, IXMLDOMNode>(this, riid, ppv);
}
HRESULT DomAttribute::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DomAttribute, IXMLDOMAttribute, IXMLDOMNode>(this, riid, ppv);
}
HRESULT DomText::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DomText, IXMLDOMText, IXMLDOMNode>(this, riid, ppv);
}
HRESULT DomComment::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DomComment, IXMLDOMComment, IXMLDOMNode>(this, riid, ppv);
}
HRESULT DomOtherNode::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DomOtherNode, IXMLDOMNode>(this, riid, ppv);
}
HRESULT DomNodeList::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DomNodeList, IXMLDOMNodeList>(this, riid, ppv);
}

HRESULT DomElement::get_tagName(std::wstring* out) { return ops::NodeName(Node(), out); }

HRESULT DomElement::getAttribute(const std::wstring& name, VARIANT* out) {
  if (out == nullptr) return E_POINTER;
  VariantClear(out);
  std::string q;
  if (!ToUtf8(name, q)) return E_INVALIDARG;
  xmlNodePtr n = Node();
  if (xmlAttrPtr a = FindAttribute(n, q)) return MakeBstrVariant(ContentOf(reinterpret_cast<xmlNodePtr>(a)), out);
  // Namespace declarations read as attributes too.
  const bool isDefault = q == "xmlns";
  if (isDefault || q.rfind("xmlns:", 0) == 0) {
    const std::string prefix = isDefault ? std::string() : q.substr(6);
    for (xmlNsPtr ns = n->nsDef; ns != nullptr; ns = ns->next) {
      const std::string have = ns->prefix != nullptr ? AsChars(ns->prefix) : "";
      if (have == prefix) return MakeBstrVariant(FromUtf8(ns->href), out);
    }
  }
  return S_FALSE;
}

HRESULT DomElement::setAttribute(const std::wstring& name, const VARIANT& value) {
  std::string q;
  std::wstring text;
  std::string utf8;
  if (!ToUtf8(name, q) || xmlValidateQName(BAD_CAST q.c_str(), 0) != 0) return E_INVALIDARG;
  if (!VariantText(value, text) || !ToUtf8(text, utf8)) return E_INVALIDARG;
  xmlNodePtr n = Node();
  xmlNsPtr ns = nullptr;
  const auto colon = q.find(':');
  std::string local = q;
  if (colon != std::string::npos) {
    ns = xmlSearchNs(n->doc, n, BAD_CAST q.substr(0, colon).c_str());
    if (ns == nullptr) return E_INVALIDARG;
    local = q.substr(colon + 1);
  }
  if (xmlAttrPtr a = FindAttribute(n, q)) {
    SetAttributeText(a, utf8);
    return S_OK;
  }
  xmlAttrPtr a = xmlNewDocProp(n->doc, BAD_CAST local.c_str(), nullptr);
  if (a == nullptr) return E_OUTOFMEMORY;
  a->ns = ns;
  SetAttributeText(a, utf8);
  a->parent = n;
  if (n->properties == nullptr) {
    n->properties = a;
  } else {
    xmlAttrPtr last = n->properties;
    while (last->next != nullptr) last = last->next;
    last->next = a;
    a->prev = last;
  }
  return S_OK;
}

HRESULT DomElement::getAttributeNode(const std::wstring& name, IXMLDOMAttribute** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  std::string q;
  if (!ToUtf8(name, q)) return E_INVALIDARG;
  xmlAttrPtr a = FindAttribute(Node(), q);
  if (a == nullptr) return S_FALSE;
  return Hand(Wrap(m_state, reinterpret_cast<xmlNodePtr>(a)), out);
}

HRESULT DomElement::setAttributeNode(IXMLDOMAttribute* attribute, IXMLDOMAttribute** old) {
  if (old != nullptr) *old = nullptr;
  NodeCore* core = CoreOf(attribute);
  if (core == nullptr) return E_INVALIDARG;
  xmlNodePtr n = Node();
  auto a = reinterpret_cast<xmlAttrPtr>(core->Node());
  if (a->type != XML_ATTRIBUTE_NODE) return E_INVALIDARG;
  if (a->parent == n) return S_OK;
  if (a->parent != nullptr) return E_FAIL;  // belongs to another element
  if (a->doc != n->doc) return E_INVALIDARG;
  // Namespace: the declaration in scope with the same prefix and URI, else a
  // new declaration on this element.
  if (a->ns != nullptr) {
    xmlNsPtr inScope = xmlSearchNs(n->doc, n, a->ns->prefix);
    if (inScope == nullptr || !xmlStrEqual(inScope->href, a->ns->href)) {
      inScope = xmlNewNs(n, a->ns->href, a->ns->prefix);
      if (inScope == nullptr) return E_FAIL;  // prefix taken on this element by another URI
    }
    a->ns = inScope;
  }
  // The attribute of the same name and namespace is replaced in place.
  xmlAttrPtr existing = nullptr;
  for (xmlAttrPtr e = n->properties; e != nullptr; e = e->next) {
    const bool sameNs = (e->ns == nullptr && a->ns == nullptr) ||
                        (e->ns != nullptr && a->ns != nullptr && xmlStrEqual(e->ns->href, a->ns->href));
    if (sameNs && xmlStrEqual(e->name, a->name)) {
      existing = e;
      break;
    }
  }
  a->parent = n;
  if (existing != nullptr) {
    a->prev = existing->prev;
    a->next = existing->next;
    if (a->prev != nullptr) {
      a->prev->next = a;
    } else {
      n->properties = a;
    }
    if (a->next != nullptr) a->next->prev = a;
    existing->parent = nullptr;
    existing->prev = existing->next = nullptr;
    m_state->KeepLoose(reinterpret_cast<xmlNodePtr>(existing));
    if (old != nullptr) return Hand(Wrap(m_state, reinterpret_cast<xmlNodePtr>(existing)), old);
    return S_OK;
  }
  a->prev = a->next = nullptr;
  if (n->properties == nullptr) {
    n->properties = a;
  } else {
    xmlAttrPtr last = n->properties;
    while (last->next != nullptr) last = last->next;
    last->next = a;
    a->prev = last;
  }
  return S_OK;
}

HRESULT DomNodeList::get_item(LONG index, IXMLDOMNode** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (index < 0 || static_cast<std::size_t>(index) >= m_nodes.size()) return S_FALSE;
  *out = Wrap(m_state, m_nodes[static_cast<std::size_t>(index)]);
  return S_OK;
}

HRESULT DomNodeList::get_length(LONG* out) {
  if (out == nullptr) return E_POINTER;
  *out = static_cast<LONG>(m_nodes.size());
  return S_OK;
}

HRESULT DomNodeList::nextNode(IXMLDOMNode** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (m_cursor >= m_nodes.size()) return S_FALSE;
  *out = Wrap(m_state, m_nodes[m_cursor++]);
  return S_OK;
}

}  // namespace qz_dom::detail
