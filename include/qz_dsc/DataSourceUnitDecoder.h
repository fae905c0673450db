// Reads one data source from the data source list document: its identifier,
// whether it is external, the external source's file, converter and persisted
// settings, and one stream decoder per child of its element.
// Not synchronised: belongs to one thread at a time.
#pragma once

#include <string>
#include <vector>

#include "qz_dsc/DataSourceEncDecCommon.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

class QZ_DSC_API DataSourceUnitDecoder : public DataSourceEncDecCommon {
 public:
  DataSourceUnitDecoder() = default;
  // node: one child of the description unit (maybe not an element);
  // baseFolder: the folder of the document, stored as given.
  DataSourceUnitDecoder(IXMLDOMNode* node, const std::wstring& baseFolder)
      : DataSourceEncDecCommon(node, baseFolder) {}
  ~DataSourceUnitDecoder() override;

  // "name"; false unless the tag is exactly "DataSource" and it has one.
  [[nodiscard]] bool GetId(std::wstring& id) const;
  // True only when "isExternal" is exactly "yes".
  [[nodiscard]] bool IsDataSourceExternal() const;
  // False unless external with both "dataFilename" and "converterName". A
  // relative file name is joined to the base path when one is set (false
  // when the result is too long for a path). The settings come from
  // "PersistencyDataJSON" (persistencyIsJSON true) or else as the XML text
  // of what "PersistencyData" holds; none at all still gives true.
  [[nodiscard]] bool GetExternalDataSourceAttributes(std::wstring& dataFilename, std::wstring& converterName,
                                       std::wstring& persistency, bool& persistencyIsJSON) const;
  // One decoder per child node of the element, in document order.
  std::vector<DataSourceStreamDecoder> GetDataSourceStreamDecoders() const;
};

}  // namespace qz_dsc
