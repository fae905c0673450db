#include "xml/DataSourceUnitMgrEncoder.h"

#include "qz_dsc/DataSourceVocabulary.h"
#include "xml/DataSourceListWriter.h"

namespace qz_dsc {
namespace {

// Deliberately "1 0" (one, blank, zero), not "1.0".
constexpr wchar_t kVersion[] = L"1 0";

}  // namespace

bool DataSourceUnitMgrEncoder::CreateDescriptionUnit() {
  if (m_writer != nullptr) {
    // A fresh file: the root first, as for a new document.
    if (m_writer->HasRoot() || !m_writer->StartElement(0, DSUM_TAG_TABLE[DSUM_TAG_ROOT]) ||
        !m_writer->StartElement(1, DSUM_MAIN_TAG) || !m_writer->Attribute(2, DSUM_TYPE_TAG_NAME, DSUM_TYPE_TYPE_NAME) ||
        !m_writer->Attribute(2, DSUM_TYPE_VERSION, kVersion)) {
      return false;
    }
    m_writerDepth = 2;
    return true;
  }
  if (!m_target) return false;
  qz_com::ComPtr<IXMLDOMNode> parent = m_target;
  DOMNodeType type = NODE_INVALID;
  if (FAILED(m_target->get_nodeType(&type))) return false;
  if (type == NODE_DOCUMENT) {
    qz_com::ComPtr<IXMLDOMElement> root;
    if (FAILED(CreateRootNode(m_target.Get(), root.GetAddressOf()))) return false;
    parent = root.Get();
  }
  XMLElementExt under(parent.Get());
  qz_com::ComPtr<IXMLDOMElement> unit;
  if (!under.CreateElementChildNode(DSUM_MAIN_TAG, unit.GetAddressOf())) return false;
  XMLElementExt element(unit.Get());
  if (!element.SetStringAttribute(DSUM_TYPE_TAG_NAME, DSUM_TYPE_TYPE_NAME) ||
      !element.SetStringAttribute(DSUM_TYPE_VERSION, kVersion)) {
    return false;
  }
  m_node = std::move(element);
  return true;
}

}  // namespace qz_dsc
