#include "qz_dom/DomFast.h"

#include <cstring>

#include "DomNodes.h"

namespace qz_dom {
namespace {

const char* AsChars(const xmlChar* s) { return reinterpret_cast<const char*>(s); }

xmlNodePtr NodeOf(ElementRef e) { return static_cast<xmlNodePtr>(const_cast<void*>(e.Raw())); }

}  // namespace

ElementRef RefOf(IXMLDOMNode* node) noexcept {
  detail::NodeCore* core = detail::CoreOf(node);
  if (core == nullptr) return ElementRef();
  xmlNodePtr n = core->Node();
  return n->type == XML_ELEMENT_NODE ? ElementRef::FromRaw(n) : ElementRef();
}

HRESULT CollectChildElements(IXMLDOMNode* parent, std::string_view name, std::vector<ElementRef>& out) {
  detail::NodeCore* core = detail::CoreOf(parent);
  if (core == nullptr) return E_INVALIDARG;
  xmlNodePtr p = core->Node();
  if (p->type != XML_ELEMENT_NODE && p->type != XML_DOCUMENT_NODE) return E_INVALIDARG;
  for (xmlNodePtr c = p->children; c != nullptr; c = c->next) {
    if (c->type == XML_ELEMENT_NODE && c->ns == nullptr && std::string_view(AsChars(c->name)) == name) {
      out.push_back(ElementRef::FromRaw(c));
    }
  }
  return S_OK;
}

bool GetAttributeUtf8(ElementRef element, std::string_view qname, std::string& scratch, std::string_view& out) {
  xmlAttrPtr a = detail::FindAttribute(NodeOf(element), qname);
  if (a == nullptr) return false;
  xmlNodePtr c = a->children;
  if (c == nullptr) {
    out = std::string_view();
    return true;
  }
  if (c->next == nullptr && c->type == XML_TEXT_NODE && c->content != nullptr) {
    out = std::string_view(AsChars(c->content));
    return true;
  }
  xmlChar* value = xmlNodeGetContent(reinterpret_cast<xmlNodePtr>(a));
  scratch = value != nullptr ? AsChars(value) : "";
  xmlFree(value);
  out = scratch;
  return true;
}

bool GetFirstTextChild(ElementRef element, std::wstring& out) {
  xmlNodePtr n = NodeOf(element);
  if (n == nullptr) return false;
  for (xmlNodePtr c = n->children; c != nullptr; c = c->next) {
    if (c->type == XML_TEXT_NODE) {
      detail::AssignUtf8(c->content != nullptr ? std::string_view(AsChars(c->content)) : std::string_view(), out);
      return true;
    }
  }
  return false;
}

HRESULT AppendTextElement(IXMLDOMNode* parent, std::string_view name, const std::wstring& text,
                          std::string_view attrName, std::string_view attrValue) {
  detail::NodeCore* core = detail::CoreOf(parent);
  if (core == nullptr) return E_INVALIDARG;
  xmlNodePtr p = core->Node();
  if (p->type != XML_ELEMENT_NODE) return E_INVALIDARG;
  std::string content;
  if (!detail::ToUtf8(text, content)) return E_INVALIDARG;
  const std::string elementName(name);
  const std::string attributeName(attrName);
  const std::string attributeValue(attrValue);
  if (xmlValidateNCName(BAD_CAST elementName.c_str(), 0) != 0 ||
      xmlValidateNCName(BAD_CAST attributeName.c_str(), 0) != 0) {
    return E_INVALIDARG;
  }
  xmlNodePtr e = xmlNewDocNode(p->doc, nullptr, BAD_CAST elementName.c_str(), nullptr);
  if (e == nullptr) return E_OUTOFMEMORY;
  // Empty text gets no text node, so the element reads the same after a reload.
  xmlNodePtr t = content.empty() ? nullptr : xmlNewDocText(p->doc, BAD_CAST content.c_str());
  // xmlNewDocProp with a value would parse entity references; the text child
  // is set directly instead.
  xmlAttrPtr a = xmlNewDocProp(p->doc, BAD_CAST attributeName.c_str(), nullptr);
  xmlNodePtr v = xmlNewDocText(p->doc, BAD_CAST attributeValue.c_str());
  if ((t == nullptr && !content.empty()) || a == nullptr || v == nullptr) {
    if (v != nullptr) xmlFreeNode(v);
    if (a != nullptr) xmlFreeProp(a);
    if (t != nullptr) xmlFreeNode(t);
    xmlFreeNode(e);
    return E_OUTOFMEMORY;
  }
  v->parent = reinterpret_cast<xmlNodePtr>(a);
  a->children = a->last = v;
  a->parent = e;
  e->properties = a;
  if (t != nullptr) detail::LinkLastChild(e, t);
  detail::LinkLastChild(p, e);
  return S_OK;
}

HRESULT NodeXml(const void* node, std::string& out) {
  if (node == nullptr) return E_POINTER;
  return detail::ops::XmlUtf8(static_cast<xmlNodePtr>(const_cast<void*>(node)), out);
}

}  // namespace qz_dom
