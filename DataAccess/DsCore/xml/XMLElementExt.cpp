#include "qz_dsc/XMLElementExt.h"


#include "Utf8Text.h"
#include "qz_com/ComError.h"
#include "qz_dom/DomFast.h"
#include "qz_dsc/DataSourceEncDecCommon.h"
#include "xml/NumberText.h"

namespace qz_dsc {
namespace {

using qz_com::ComPtr;

// The text a selected node stands for: an element's first text child, any
// other node's own value.
bool NodeText(IXMLDOMNode* node, std::wstring& out) {
  if (node == nullptr) return false;
  DOMNodeType type = NODE_INVALID;
  if (FAILED(node->get_nodeType(&type))) return false;
  if (type == NODE_ELEMENT) return XMLElementExt(node).GetTextValue(out);
  qz_com::ComVariant value;
  if (node->get_nodeValue(&value) != S_OK || value.vt != VT_BSTR) return false;
  out = value.Text();
  return true;
}

template <class Int>
bool ParseAttribute(IXMLDOMElement* element, const wchar_t* name, Int& out) {
  if (element == nullptr || name == nullptr) return false;
  // An invalid character in the name is looked up as U+FFFD, as everywhere.
  const std::string utf8Name = utf8text::ToUtf8(name);
  std::string scratch;
  std::string_view text;
  if (!qz_dom::GetAttributeUtf8(qz_dom::RefOf(element), utf8Name, scratch, text)) return false;
  return NumberText::Parse(text, out);
}

}  // namespace

XMLElementExt::XMLElementExt(IXMLDOMNode* node) {
  if (node != nullptr) {
    ComPtr<IXMLDOMNode> holder(node);
    holder.As(&m_element);
  }
}

bool XMLElementExt::CheckTagName(const wchar_t* name) const {
  if (!m_element || name == nullptr) return false;
  std::wstring tag;
  if (FAILED(m_element->get_tagName(&tag))) return false;
  return tag == name;
}

bool XMLElementExt::CreateElementChildNode(const wchar_t* name, IXMLDOMElement** out) {
  if (!m_element || name == nullptr || out == nullptr || *out != nullptr) return false;
  ComPtr<IXMLDOMElement> child;
  if (FAILED(DataSourceEncDecCommon::CreateElement(m_element.Get(), name, child.GetAddressOf()))) return false;
  if (FAILED(m_element->appendChild(child.Get(), nullptr))) return false;
  *out = child.Detach();
  return true;
}

bool XMLElementExt::CreateTextElementChildNode(const wchar_t* name, const wchar_t* text, IXMLDOMElement** out) {
  if (text == nullptr || out == nullptr || *out != nullptr) return false;
  ComPtr<IXMLDOMElement> child;
  if (!CreateElementChildNode(name, child.GetAddressOf())) return false;
  ComPtr<IXMLDOMDocument> doc;
  ComPtr<IXMLDOMText> textNode;
  if (FAILED(child->get_ownerDocument(doc.GetAddressOf())) || !doc ||
      FAILED(doc->createTextNode(text, textNode.GetAddressOf())) ||
      FAILED(child->appendChild(textNode.Get(), nullptr))) {
    return false;
  }
  *out = child.Detach();
  return true;
}

bool XMLElementExt::GetChild(const wchar_t* name, IXMLDOMNode** out) {
  if (out == nullptr) return false;
  if (*out != nullptr) {
    (*out)->Release();
    *out = nullptr;
  }
  if (!m_element || name == nullptr) return false;
  return m_element->selectSingleNode(name, out) == S_OK && *out != nullptr;
}

bool XMLElementExt::GetChild(const wchar_t* name, std::int32_t index, IXMLDOMNode** out) {
  if (out == nullptr) return false;
  if (*out != nullptr) {
    (*out)->Release();
    *out = nullptr;
  }
  if (!m_element || name == nullptr) return false;
  ComPtr<IXMLDOMNodeList> list;
  if (FAILED(m_element->selectNodes(name, list.GetAddressOf()))) return false;
  LONG length = 0;
  if (FAILED(list->get_length(&length))) return false;
  // The length is fetched but, as callers expect, not checked against index.
  return SUCCEEDED(list->get_item(index, out));
}

int XMLElementExt::GetChildNodeCount(const wchar_t* name) const {
  if (!m_element || name == nullptr) return 0;
  ComPtr<IXMLDOMNodeList> list;
  LONG length = 0;
  if (FAILED(m_element->selectNodes(name, list.GetAddressOf())) || FAILED(list->get_length(&length))) return 0;
  return static_cast<int>(length);
}

HRESULT XMLElementExt::GetChildNodes(IXMLDOMNodeList** out) const {
  if (!m_element) return E_POINTER;
  return m_element->get_childNodes(out);
}

HRESULT XMLElementExt::SelectNodes(const wchar_t* query, IXMLDOMNodeList** out) const {
  if (!m_element) return E_POINTER;
  if (query == nullptr) return E_INVALIDARG;
  return m_element->selectNodes(query, out);
}

bool XMLElementExt::GetTextValue(std::wstring& out) const {
  if (!m_element) return false;
  DOMNodeType type = NODE_INVALID;
  if (SUCCEEDED(m_element->get_nodeType(&type)) && type == NODE_TEXT) return NodeText(m_element.Get(), out);
  return qz_dom::GetFirstTextChild(qz_dom::RefOf(m_element.Get()), out);
}

bool XMLElementExt::SetValue(const wchar_t* text) {
  if (!m_element || text == nullptr) return false;
  return SUCCEEDED(m_element->put_nodeValue(qz_com::ComVariant(text)));
}

bool XMLElementExt::GetStringAttribute(const wchar_t* name, std::wstring& out) const {
  if (!m_element || name == nullptr) return false;
  qz_com::ComVariant value;
  const HRESULT hr = m_element->getAttribute(name, &value);
  if (hr == E_OUTOFMEMORY) throw qz_com::ComError(hr);  // the BSTR could not be made
  if (hr != S_OK || value.vt != VT_BSTR) return false;
  out = value.Text();
  return true;
}

bool XMLElementExt::GetIntAttribute(const wchar_t* name, std::int32_t& out) const {
  return ParseAttribute(m_element.Get(), name, out);
}

bool XMLElementExt::GetInt64Attribute(const wchar_t* name, std::int64_t& out) const {
  return ParseAttribute(m_element.Get(), name, out);
}

bool XMLElementExt::SetStringAttribute(const wchar_t* name, const std::wstring& value) {
  if (!m_element || name == nullptr) return false;
  return SUCCEEDED(DataSourceEncDecCommon::SetAttribute(m_element.Get(), name, qz_com::ComVariant(value)));
}

bool XMLElementExt::SetIntAttribute(const wchar_t* name, std::int32_t value) {
  if (!m_element || name == nullptr) return false;
  return SUCCEEDED(DataSourceEncDecCommon::SetAttribute(m_element.Get(), name, qz_com::ComVariant(value)));
}

bool XMLElementExt::GetChildNodeStringValue(const wchar_t* name, std::wstring& out) const {
  if (!m_element || name == nullptr) return false;
  ComPtr<IXMLDOMNode> node;
  if (m_element->selectSingleNode(name, node.GetAddressOf()) != S_OK) return false;
  return NodeText(node.Get(), out);
}

bool XMLElementExt::GetChildNodeStringValue(const wchar_t* name, std::int32_t index, std::wstring& out) const {
  if (!m_element || name == nullptr) return false;
  ComPtr<IXMLDOMNodeList> list;
  ComPtr<IXMLDOMNode> node;
  if (FAILED(m_element->selectNodes(name, list.GetAddressOf())) || list->get_item(index, node.GetAddressOf()) != S_OK) {
    return false;
  }
  return NodeText(node.Get(), out);
}

bool XMLElementExt::GetChildNodeStringValueIndex(const wchar_t* name, const wchar_t* attribute, std::int32_t index,
                                                 std::wstring& out) const {
  out.clear();
  if (name == nullptr || attribute == nullptr) return false;
  const std::wstring query =
      std::wstring(name) + L"[@" + attribute + L" = \"" + std::to_wstring(index) + L"\"]";
  return GetChildNodeStringValue(query.c_str(), out);
}

bool XMLElementExt::GetChildNodeIntValue(const wchar_t* name, std::int32_t& out) const {
  std::wstring text;
  if (!GetChildNodeStringValue(name, text)) return false;
  return NumberText::Parse(std::wstring_view(text), out);
}

bool XMLElementExt::SetChildNodeStringValue(const wchar_t* name, const wchar_t* text) {
  if (!m_element || name == nullptr || text == nullptr) return false;
  ComPtr<IXMLDOMNode> node;
  if (FAILED(m_element->selectSingleNode(name, node.GetAddressOf()))) return false;
  if (!node) {
    ComPtr<IXMLDOMElement> child;
    if (!CreateElementChildNode(name, child.GetAddressOf())) return false;
    node = child.Get();
  }
  return SUCCEEDED(node->put_nodeValue(qz_com::ComVariant(text)));
}

bool XMLElementExt::SetChildNodeIntValue(const wchar_t* name, std::int32_t value) {
  return SetChildNodeStringValue(name, std::to_wstring(value).c_str());
}

}  // namespace qz_dsc
