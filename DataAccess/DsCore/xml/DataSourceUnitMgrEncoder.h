// Writes the head of the data source list document for the manager's save:
// the root "mpeg7:Mpeg7" when given a document, then the description unit
// that every data source is written under.
// Not synchronised: belongs to one thread at a time.
#pragma once

#include "qz_dsc/DataSourceEncDecCommon.h"

namespace qz_dsc {

class DataSourceUnitMgrEncoder : public DataSourceEncDecCommon {
 public:
  // target: a document (the root is made first) or an element to write under.
  explicit DataSourceUnitMgrEncoder(IXMLDOMNode* target) : m_target(target) {}
  // Writes the root and the description unit through writer instead.
  explicit DataSourceUnitMgrEncoder(DataSourceListWriter& writer) { SetWriter(&writer, 0); }

  // Creates "mpeg7:DescriptionUnit" with "xsi:type" = "DataSourceListType"
  // and "versionNbr" = "1 0"; the encoder then holds it. False when the
  // elements cannot be created.
  [[nodiscard]] bool CreateDescriptionUnit();
  // The description unit after CreateDescriptionUnit, without a reference.
  IXMLDOMElement* GetDescriptionUnit() const noexcept { return m_node.GetElement(); }

 private:
  qz_com::ComPtr<IXMLDOMNode> m_target;
};

}  // namespace qz_dsc
