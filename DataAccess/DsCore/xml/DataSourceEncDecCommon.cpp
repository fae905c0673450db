#include "qz_dsc/DataSourceEncDecCommon.h"

#include "qz_dsc/DataSourceVocabulary.h"
#include "Utf8Text.h"
#include "xml/ElementRecord.h"
#include "xml/NamespacePrefixes.h"
#include "xml/NumberText.h"
#include "xml/ShellPath.h"

namespace qz_dsc {
namespace {

using qz_com::ComPtr;

struct PrefixRow {
  const wchar_t* prefix;
  const wchar_t* uri;
};

// Fixed, searched in order. "xsi" is bound to the MPEG-7 namespace on purpose.
constexpr PrefixRow kPrefixTable[] = {
    {L"mpeg7", L"urn:mpeg:mpeg7:schema:2001"},
    {L"xsi", L"urn:mpeg:mpeg7:schema:2001"},
};

// The node itself when it is a document, else its owner document.
HRESULT DocumentOf(IXMLDOMNode* node, ComPtr<IXMLDOMDocument>& doc) {
  DOMNodeType type = NODE_INVALID;
  HRESULT hr = node->get_nodeType(&type);
  if (FAILED(hr)) return hr;
  if (type == NODE_DOCUMENT) {
    return ComPtr<IXMLDOMNode>(node).As(&doc);
  }
  hr = node->get_ownerDocument(doc.ReleaseAndGetAddressOf());
  if (FAILED(hr)) return hr;
  return doc ? S_OK : E_FAIL;
}

}  // namespace

bool LookupNamespace(std::wstring_view name, std::wstring& uri) {
  const auto colon = name.find(L':');
  if (colon == std::wstring_view::npos) {
    uri.clear();
    return true;
  }
  const std::wstring_view prefix = name.substr(0, colon);
  for (const PrefixRow& row : kPrefixTable) {
    if (prefix == row.prefix) {
      uri = row.uri;
      return true;
    }
  }
  return false;
}

DataSourceEncDecCommon::DataSourceEncDecCommon(IXMLDOMNode* node, const std::wstring& baseFolder)
    : m_basePath(baseFolder), m_node(node) {}

DataSourceEncDecCommon::~DataSourceEncDecCommon() = default;

HRESULT DataSourceEncDecCommon::CreateDocument(IXMLDOMDocument** out) {
  if (out == nullptr || *out != nullptr) return E_POINTER;
  ComPtr<IXMLDOMDocument> doc;
  HRESULT hr = qz_dom::CoCreateInstance(qz_dom::CLSID_DOMDocument60, nullptr, qz_dom::CLSCTX_ALL,
                                        uuidof<IXMLDOMDocument>(), reinterpret_cast<void**>(doc.GetAddressOf()));
  if (FAILED(hr)) return hr;
  if (FAILED(hr = doc->put_async(VARIANT_FALSE))) return hr;
  if (FAILED(hr = doc->put_validateOnParse(VARIANT_FALSE))) return hr;
  if (FAILED(hr = doc->put_resolveExternals(VARIANT_FALSE))) return hr;
  if (FAILED(hr = SetQueryNamespace(doc.Get()))) return hr;
  *out = doc.Detach();
  return S_OK;
}

HRESULT DataSourceEncDecCommon::CreateElement(IXMLDOMNode* node, const wchar_t* name, IXMLDOMElement** out) {
  if (out == nullptr || *out != nullptr) return E_POINTER;
  if (node == nullptr || name == nullptr) return E_POINTER;
  const std::wstring qname(name);
  std::wstring uri;
  if (!LookupNamespace(qname, uri)) return E_INVALIDARG;
  ComPtr<IXMLDOMDocument> doc;
  HRESULT hr = DocumentOf(node, doc);
  if (FAILED(hr)) return hr;
  ComPtr<IXMLDOMNode> created;
  hr = doc->createNode(NODE_ELEMENT, qname, uri, created.GetAddressOf());
  if (FAILED(hr)) return hr;
  ComPtr<IXMLDOMElement> element;
  hr = created.As(&element);
  if (FAILED(hr)) return hr;
  *out = element.Detach();
  return S_OK;
}

HRESULT DataSourceEncDecCommon::CreateRootNode(IXMLDOMNode* node, IXMLDOMElement** out) {
  if (node == nullptr || out == nullptr || *out != nullptr) return E_POINTER;
  ComPtr<IXMLDOMElement> root;
  HRESULT hr = CreateElement(node, DSUM_TAG_TABLE[DSUM_TAG_ROOT], root.GetAddressOf());
  if (FAILED(hr)) return hr;
  hr = node->appendChild(root.Get(), nullptr);
  if (FAILED(hr)) return hr;
  *out = root.Detach();
  return S_OK;
}

HRESULT DataSourceEncDecCommon::SetAttribute(IXMLDOMElement* element, const wchar_t* name,
                                             const qz_com::ComVariant& value) {
  if (element == nullptr || name == nullptr) return E_POINTER;
  const std::wstring qname(name);
  std::wstring uri;
  if (!LookupNamespace(qname, uri)) return E_INVALIDARG;
  ComPtr<IXMLDOMDocument> doc;
  HRESULT hr = element->get_ownerDocument(doc.GetAddressOf());
  if (FAILED(hr)) return hr;
  if (!doc) return E_FAIL;
  ComPtr<IXMLDOMNode> node;
  hr = doc->createNode(NODE_ATTRIBUTE, qname, uri, node.GetAddressOf());
  if (FAILED(hr)) return hr;
  hr = node->put_nodeValue(value);
  if (FAILED(hr)) return hr;
  ComPtr<IXMLDOMAttribute> attribute;
  hr = node.As(&attribute);
  if (FAILED(hr)) return hr;
  return element->setAttributeNode(attribute.Get(), nullptr);
}

HRESULT DataSourceEncDecCommon::SetQueryNamespace(IXMLDOMNode* node) {
  if (node == nullptr) return E_POINTER;
  ComPtr<IXMLDOMDocument> doc;
  HRESULT hr = DocumentOf(node, doc);
  if (FAILED(hr)) return hr;
  ComPtr<IXMLDOMDocument2> doc2;
  hr = doc.As(&doc2);
  if (FAILED(hr)) return hr;
  return doc2->setProperty(L"SelectionNamespaces", qz_com::ComVariant(DSUM_TAG_TABLE[DSUM_TAG_SELECTION_NAMESPACES]));
}

bool DataSourceEncDecCommon::CheckRootNode(IXMLDOMElement* /*root*/, IXMLDOMElement** /*out*/) { return false; }

bool DataSourceEncDecCommon::HasTagName(const wchar_t* name) const {
  if (!m_record) return m_node.CheckTagName(name);
  return name != nullptr && m_record->tag == utf8text::ToUtf8(name);
}

bool DataSourceEncDecCommon::ReadAttribute(const wchar_t* name, std::wstring& out) const {
  if (!m_record) return m_node.GetStringAttribute(name, out);
  const std::string* value = name != nullptr ? m_record->Find(utf8text::ToUtf8(name)) : nullptr;
  if (value == nullptr) return false;
  utf8text::AssignWide(*value, out);
  return true;
}

bool DataSourceEncDecCommon::ReadAttribute(const wchar_t* name, std::int32_t& out) const {
  if (!m_record) return m_node.GetIntAttribute(name, out);
  const std::string* value = name != nullptr ? m_record->Find(utf8text::ToUtf8(name)) : nullptr;
  return value != nullptr && NumberText::Parse(std::string_view(*value), out);
}

bool DataSourceEncDecCommon::ReadAttribute(const wchar_t* name, std::int64_t& out) const {
  if (!m_record) return m_node.GetInt64Attribute(name, out);
  const std::string* value = name != nullptr ? m_record->Find(utf8text::ToUtf8(name)) : nullptr;
  return value != nullptr && NumberText::Parse(std::string_view(*value), out);
}

void DataSourceEncDecCommon::SetBasePath(const std::wstring& path) {
  m_basePath = path;
  if (!m_basePath.empty()) ShellPath::RemoveFileSpec(m_basePath);
}

}  // namespace qz_dsc
