#include "qz_dsc/DataSourceUnitDecoder.h"

#include "Utf8Text.h"
#include "qz_dsc/DataSourceVocabulary.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "xml/ElementRecord.h"
#include "xml/ExternalSourceNames.h"
#include "xml/ShellPath.h"

namespace qz_dsc {
namespace {

using qz_com::ComPtr;

// The XML text of everything under node, in document order.
bool ContentXml(IXMLDOMNode* node, std::wstring& out) {
  out.clear();
  ComPtr<IXMLDOMNodeList> children;
  if (FAILED(node->get_childNodes(children.GetAddressOf()))) return false;
  ComPtr<IXMLDOMNode> child;
  while (children->nextNode(child.ReleaseAndGetAddressOf()) == S_OK) {
    std::wstring xml;
    if (FAILED(child->get_xml(&xml))) return false;
    out += xml;
  }
  return true;
}

}  // namespace

DataSourceUnitDecoder::~DataSourceUnitDecoder() = default;

bool DataSourceUnitDecoder::GetId(std::wstring& id) const {
  return HasTagName(DSUM_TAG_TABLE[DSUM_TAG_DATA_SOURCE]) &&
         ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_DATA_SOURCE_NAME], id);
}

bool DataSourceUnitDecoder::IsDataSourceExternal() const {
  std::wstring value;
  return ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_IS_EXTERNAL], value) && value == kExternalYes;
}

bool DataSourceUnitDecoder::GetExternalDataSourceAttributes(std::wstring& dataFilename, std::wstring& converterName,
                                                            std::wstring& persistency,
                                                            bool& persistencyIsJSON) const {
  std::wstring fileName;
  std::wstring converter;
  if (!IsDataSourceExternal() || !ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_DATA_FILENAME], fileName) ||
      !ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_CONVERTER_NAME], converter)) {
    return false;
  }
  if (!m_basePath.empty() && ShellPath::IsRelative(fileName)) {
    std::wstring combined;
    if (!ShellPath::Combine(m_basePath, fileName, combined)) return false;
    fileName = std::move(combined);
  }
  dataFilename = std::move(fileName);
  converterName = std::move(converter);
  persistency.clear();
  persistencyIsJSON = false;
  if (ReadAttribute(kPersistencyJson, persistency)) {
    persistencyIsJSON = true;
    return true;
  }
  if (m_record) {
    if (m_record->hasSettings) utf8text::AssignWide(m_record->settingsXml, persistency);
    return true;
  }
  XMLElementExt self = m_node;
  ComPtr<IXMLDOMNode> holder;
  if (self.GetChild(kPersistencyElement, holder.GetAddressOf()) && !ContentXml(holder.Get(), persistency)) {
    persistency.clear();
  }
  return true;
}

std::vector<DataSourceStreamDecoder> DataSourceUnitDecoder::GetDataSourceStreamDecoders() const {
  std::vector<DataSourceStreamDecoder> decoders;
  if (m_record) {
    decoders.reserve(m_record->children.size());
    for (const auto& child : m_record->children) {
      decoders.emplace_back(nullptr, m_basePath);
      decoders.back().SetRecord(child);
    }
    return decoders;
  }
  ComPtr<IXMLDOMNodeList> children;
  if (FAILED(m_node.GetChildNodes(children.GetAddressOf())) || !children) return decoders;
  LONG length = 0;
  if (SUCCEEDED(children->get_length(&length)) && length > 0) decoders.reserve(static_cast<std::size_t>(length));
  ComPtr<IXMLDOMNode> child;
  while (children->nextNode(child.ReleaseAndGetAddressOf()) == S_OK) {
    decoders.emplace_back(child.Get(), m_basePath);
  }
  return decoders;
}

}  // namespace qz_dsc
