#include "DomState.h"

#include <libxml/parser.h>
#include <libxml/xpathInternals.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "Utf8Text.h"

namespace qz_dom::detail {
namespace {

void SilentXPathError(void*, xmlErrorPtr) {}

const char* AsChars(const xmlChar* s) { return reinterpret_cast<const char*>(s); }

}  // namespace

xmlDocPtr NewEmptyDocument() {
  // libxml2's global tables are set up once, before documents made on
  // several threads parse at the same time.
  static const bool initialised = [] {
    xmlInitParser();
    return true;
  }();
  (void)initialised;
  xmlDocPtr doc = xmlNewDoc(BAD_CAST "1.0");
  if (doc == nullptr) return nullptr;
  // Names of created nodes are shared through a dictionary, as in parsed documents.
  doc->dict = xmlDictCreate();
  if (doc->dict == nullptr) {
    xmlFreeDoc(doc);
    return nullptr;
  }
  return doc;
}

DocState::DocState() : m_doc(NewEmptyDocument()) {
  if (m_doc == nullptr) throw std::bad_alloc();
}

DocState::~DocState() {
  if (m_xpath != nullptr) xmlXPathFreeContext(m_xpath);
  // Roots first: a loose node attached under another loose node goes with it.
  std::vector<xmlNodePtr> roots;
  for (xmlNodePtr n : m_loose) {
    if (n->parent == nullptr) roots.push_back(n);
  }
  std::sort(roots.begin(), roots.end());
  roots.erase(std::unique(roots.begin(), roots.end()), roots.end());
  for (xmlNodePtr n : roots) {
    if (n->type == XML_ATTRIBUTE_NODE) {
      xmlFreeProp(reinterpret_cast<xmlAttrPtr>(n));
    } else {
      xmlFreeNode(n);
    }
  }
  for (xmlNsPtr ns : m_looseNs) xmlFreeNs(ns);
  xmlFreeDoc(m_doc);
  for (xmlDocPtr d : m_retired) xmlFreeDoc(d);
}

void DocState::Replace(xmlDocPtr doc) {
  m_retired.push_back(m_doc);
  m_doc = doc;
}

void DocState::SetSelection(std::wstring text, std::vector<std::pair<std::string, std::string>> pairs) {
  m_selectionText = std::move(text);
  m_selection = std::move(pairs);
  m_xpathStale = true;
}

xmlXPathContextPtr DocState::XPathFor(xmlDocPtr doc) {
  if (m_xpath != nullptr && (m_xpathDoc != doc || m_xpathStale)) {
    xmlXPathFreeContext(m_xpath);
    m_xpath = nullptr;
  }
  if (m_xpath == nullptr) {
    m_xpath = xmlXPathNewContext(doc);
    if (m_xpath == nullptr) return nullptr;
    m_xpath->error = SilentXPathError;
    m_xpathDoc = doc;
    m_xpathStale = false;
    for (const auto& [prefix, uri] : m_selection) {
      xmlXPathRegisterNs(m_xpath, BAD_CAST prefix.c_str(), BAD_CAST uri.c_str());
    }
  }
  return m_xpath;
}

bool ToUtf8(std::wstring_view text, std::string& out) {
  // libxml2 texts end at the first NUL: refused, so nothing is cut silently.
  if (text.find(L'\0') != std::wstring_view::npos) return false;
  utf8text::AssignUtf8(text, out);
  return true;
}

void AssignUtf8(std::string_view text, std::wstring& out) { utf8text::AssignWide(text, out); }

std::wstring FromUtf8(std::string_view text) { return utf8text::ToWide(text); }

std::wstring FromUtf8(const xmlChar* text) {
  if (text == nullptr) return std::wstring();
  return utf8text::ToWide(std::string_view(AsChars(text)));
}

bool VariantText(const VARIANT& value, std::wstring& out) {
  char buf[32];
  switch (value.vt) {
    case VT_EMPTY:
      out.clear();
      return true;
    case VT_BSTR:
      out.assign(value.bstrVal == nullptr ? L"" : value.bstrVal, SysStringLen(value.bstrVal));
      return true;
    case VT_I4:
      out = std::to_wstring(value.lVal);
      return true;
    case VT_I8:
      out = std::to_wstring(value.llVal);
      return true;
    case VT_BOOL:
      out = value.boolVal != VARIANT_FALSE ? L"true" : L"false";
      return true;
    case VT_R8: {
      auto res = std::to_chars(buf, buf + sizeof(buf), value.dblVal);
      out.assign(buf, res.ptr);
      return true;
    }
    default:
      return false;
  }
}

HRESULT MakeBstrVariant(const std::wstring& text, VARIANT* value) {
  if (value == nullptr) return E_POINTER;
  VariantClear(value);
  if (text.size() > 0x3FFFFFFFu) return E_OUTOFMEMORY;
  BSTR b = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  if (b == nullptr) return E_OUTOFMEMORY;
  value->vt = VT_BSTR;
  value->bstrVal = b;
  return S_OK;
}

namespace {

// A NUL-terminated text equal to s, without measuring the text first.
bool EqualsZ(const xmlChar* z, std::string_view s) {
  return std::strncmp(AsChars(z), s.data(), s.size()) == 0 && z[s.size()] == 0;
}

}  // namespace

bool QNameEquals(const xmlChar* prefix, const xmlChar* local, std::string_view qname) {
  if (prefix == nullptr || *prefix == 0) return EqualsZ(local, qname);
  const auto colon = qname.find(':');
  if (colon == std::string_view::npos) return false;
  return EqualsZ(prefix, qname.substr(0, colon)) && EqualsZ(local, qname.substr(colon + 1));
}

xmlAttrPtr FindAttribute(xmlNodePtr element, std::string_view qname) {
  if (element == nullptr || element->type != XML_ELEMENT_NODE) return nullptr;
  for (xmlAttrPtr a = element->properties; a != nullptr; a = a->next) {
    if (QNameEquals(a->ns != nullptr ? a->ns->prefix : nullptr, a->name, qname)) return a;
  }
  return nullptr;
}

void SetAttributeText(xmlAttrPtr attr, const std::string& value) {
  // Old text children are never wrapped (attributes show no children), so
  // they can go at once.
  xmlFreeNodeList(attr->children);
  attr->children = attr->last = nullptr;
  xmlNodePtr text = xmlNewDocText(attr->doc, BAD_CAST value.c_str());
  if (text == nullptr) throw std::bad_alloc();
  text->parent = reinterpret_cast<xmlNodePtr>(attr);
  attr->children = attr->last = text;
}

void LinkLastChild(xmlNodePtr parent, xmlNodePtr child) {
  child->parent = parent;
  child->next = nullptr;
  child->prev = parent->last;
  if (parent->last != nullptr) {
    parent->last->next = child;
  } else {
    parent->children = child;
  }
  parent->last = child;
}

namespace {

// Calls f for every element and attribute of the subtree at root.
template <class F>
void ForEachNamed(xmlNodePtr root, F&& f) {
  xmlNodePtr n = root;
  while (n != nullptr) {
    if (n->type == XML_ELEMENT_NODE) {
      f(n, n);
      for (xmlAttrPtr a = n->properties; a != nullptr; a = a->next) f(reinterpret_cast<xmlNodePtr>(a), n);
    }
    if (n->type == XML_ELEMENT_NODE && n->children != nullptr) {
      n = n->children;
      continue;
    }
    while (n != nullptr && n != root && n->next == nullptr) n = n->parent;
    if (n == nullptr || n == root) break;
    n = n->next;
  }
}

}  // namespace

void FixNamespaces(DocState& state, xmlNodePtr root) {
  if (root->type != XML_ELEMENT_NODE) return;
  xmlDocPtr doc = root->doc;
  // 1. Every namespace used must resolve, by its prefix, to its URI.
  ForEachNamed(root, [&](xmlNodePtr node, xmlNodePtr owner) {
    xmlNsPtr ns = node->ns;
    if (ns == nullptr) return;
    xmlNsPtr inScope = xmlSearchNs(doc, owner, ns->prefix);
    if (inScope == ns) return;
    if (inScope != nullptr && xmlStrEqual(inScope->href, ns->href)) {
      node->ns = inScope;
      return;
    }
    xmlNsPtr declared = xmlNewNs(owner, ns->href, ns->prefix);
    if (declared != nullptr) node->ns = declared;
  });
  // 2. Declarations on root that its ancestors already make are dropped.
  xmlNodePtr parent = root->parent;
  if (parent == nullptr || parent->type != XML_ELEMENT_NODE) return;
  xmlNsPtr* link = &root->nsDef;
  while (*link != nullptr) {
    xmlNsPtr def = *link;
    xmlNsPtr above = xmlSearchNs(doc, parent, def->prefix);
    if (above != nullptr && xmlStrEqual(above->href, def->href)) {
      ForEachNamed(root, [&](xmlNodePtr node, xmlNodePtr) {
        if (node->ns == def) node->ns = above;
      });
      *link = def->next;
      def->next = nullptr;
      state.KeepLooseNs(def);  // a parked attribute may still point at it
    } else {
      link = &def->next;
    }
  }
}

}  // namespace qz_dom::detail
