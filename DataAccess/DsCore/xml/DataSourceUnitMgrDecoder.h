// The manager's side of loading the data source list document: locating the
// description unit below a given element, and one data source decoder per
// child of it (comments and other nodes included, unfiltered).
// Not synchronised: belongs to one thread at a time.
#pragma once

#include <string>
#include <vector>

#include "qz_dsc/DataSourceEncDecCommon.h"
#include "qz_dsc/DataSourceUnitDecoder.h"

namespace qz_dsc {

class DataSourceUnitMgrDecoder : public DataSourceEncDecCommon {
 public:
  DataSourceUnitMgrDecoder() = default;
  // baseFolder: the folder of the document, handed to every unit decoder.
  explicit DataSourceUnitMgrDecoder(const std::wstring& baseFolder) : DataSourceEncDecCommon(nullptr, baseFolder) {}

  // Sets the selection namespaces on root's document, selects the single
  // node DSUM_MAIN_TAG_QUERY below root and requires its "xsi:type" to be
  // "DataSourceListType"; then holds it. "versionNbr" is not read.
  [[nodiscard]] bool Locate(IXMLDOMNode* root);
  // One decoder per child node of the located description unit, appended to
  // decoders in document order. False when nothing was located.
  [[nodiscard]] bool GetUnitDecoders(std::vector<DataSourceUnitDecoder>& decoders) const;
};

}  // namespace qz_dsc
