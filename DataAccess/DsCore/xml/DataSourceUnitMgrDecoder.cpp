#include "xml/DataSourceUnitMgrDecoder.h"

#include "qz_dsc/DataSourceVocabulary.h"

namespace qz_dsc {

bool DataSourceUnitMgrDecoder::Locate(IXMLDOMNode* root) {
  m_node = XMLElementExt();
  if (root == nullptr || FAILED(SetQueryNamespace(root))) return false;
  XMLElementExt from(root);
  qz_com::ComPtr<IXMLDOMNode> unit;
  if (!from.GetChild(DSUM_MAIN_TAG_QUERY, unit.GetAddressOf())) return false;
  XMLElementExt element(unit.Get());
  std::wstring type;
  if (!element.GetStringAttribute(DSUM_TYPE_TAG_NAME, type) || type != DSUM_TYPE_TYPE_NAME) return false;
  m_node = std::move(element);
  return true;
}

bool DataSourceUnitMgrDecoder::GetUnitDecoders(std::vector<DataSourceUnitDecoder>& decoders) const {
  qz_com::ComPtr<IXMLDOMNodeList> children;
  if (FAILED(m_node.GetChildNodes(children.GetAddressOf())) || !children) return false;
  qz_com::ComPtr<IXMLDOMNode> child;
  while (children->nextNode(child.ReleaseAndGetAddressOf()) == S_OK) {
    decoders.emplace_back(child.Get(), m_basePath);
  }
  return true;
}

}  // namespace qz_dsc
