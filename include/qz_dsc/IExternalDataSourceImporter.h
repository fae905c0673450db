// Importers read the samples of an external data source from its data file.
// A host registers one factory per converter name (e.g. "QZ.CSV") before it
// loads documents; an external unit asks the registry for an importer by the
// converter name it was saved with and lets it fill its streams.
//
// Threads: the registry has no lock. Register every factory before any
// document is loaded; lookups are read-only after that. Import runs on the
// loading thread with the unit's lock held: an importer may call the unit
// back (AddStream, GetStream, the streams' sample operations) only from that
// same thread, never from a thread of its own.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "qz_com/qz_com.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

struct IDataSourceUnitExternal;

class QZ_DSC_API IExternalDataSourceImporter {
 public:
  virtual ~IExternalDataSourceImporter();
  // Fills unit's streams from dataFilename (an absolute path) using the
  // persisted settings; a failing HRESULT marks the unit's load as failed.
  // Should not throw: an exception is taken as a failed import.
  virtual HRESULT Import(const std::wstring& dataFilename, const std::wstring& persistency,
                         IDataSourceUnitExternal* unit) = 0;
};

using ExternalDataSourceImporterFactory = std::function<std::shared_ptr<IExternalDataSourceImporter>()>;

// Registers factory under converterName; the first registration of a name
// wins. Always true. An empty factory is a caller error (its lookup throws
// std::bad_function_call).
QZ_DSC_API bool RegisterExternalDataSourceImporterFactory(std::wstring converterName,
                                                          ExternalDataSourceImporterFactory factory);
// A new importer from the factory registered under converterName up to its
// first "|" (exact, case-sensitive), or an empty pointer.
QZ_DSC_API std::shared_ptr<IExternalDataSourceImporter> CreateExternalDataSourceImporter(std::wstring converterName);

}  // namespace qz_dsc
