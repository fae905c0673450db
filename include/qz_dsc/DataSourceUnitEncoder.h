// Writes one data source into the data source list document: the
// "DataSource" element with its identifier and, for an external source, its
// data file, converter and settings; streams go through CreateStreamEncoder.
// Not synchronised: belongs to one thread at a time.
#pragma once

#include <string>

#include "qz_dsc/DataSourceEncDecCommon.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

class QZ_DSC_API DataSourceUnitEncoder : public DataSourceEncDecCommon {
 public:
  DataSourceUnitEncoder() = default;
  // descriptionUnit: the "mpeg7:DescriptionUnit" element to write under.
  explicit DataSourceUnitEncoder(IXMLDOMNode* descriptionUnit) : DataSourceEncDecCommon(descriptionUnit, {}) {}
  DataSourceUnitEncoder(IXMLDOMNode* descriptionUnit, const std::wstring& baseFolder)
      : DataSourceEncDecCommon(descriptionUnit, baseFolder) {}
  ~DataSourceUnitEncoder() override;

  // Creates "DataSource" with "name"; for an external source also
  // "isExternal" = "yes", "dataFilename" (relative to the base path when both
  // share a root), "converterName", and the persisted settings: as
  // "PersistencyDataJSON" when persistencyIsJSON, else parsed as XML under a
  // "PersistencyData" child (left out, with a logged check, when the text does
  // not parse). On success the encoder holds the new element.
  [[nodiscard]] bool CreateDataSource(const std::wstring& name, bool isExternal, const std::wstring& dataFilename,
                        const std::wstring& converterName, const std::wstring& persistency, bool persistencyIsJSON);
  // Points encoder at the held "DataSource" element, with this base path.
  [[nodiscard]] bool CreateStreamEncoder(DataSourceStreamEncoder& encoder) const;

 private:
  // CreateDataSource through the streaming writer, fileName already made
  // relative.
  bool WriteDataSource(const std::wstring& name, bool isExternal, const std::wstring& fileName,
                       const std::wstring& converterName, const std::wstring& persistency, bool persistencyIsJSON);
};

}  // namespace qz_dsc
