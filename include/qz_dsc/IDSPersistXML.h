// Saving and loading the whole data source list as the list document.
//
// Threads: as the manager; both operations hold its lock throughout.
#pragma once

#include <string>

#include "qz_com/qz_com.h"
#include "qz_dom/qz_dom.h"

namespace qz_dsc {

struct IDSPersistXML : public IUnknown {
  // Replaces the list with the document's data sources. basePath is the
  // document's folder: relative data file names are resolved against it.
  // False when the document has no data source list (the list is then
  // empty). Data sources that cannot be created are skipped.
  virtual bool QZ_STDMETHODCALLTYPE LoadXML(IXMLDOMNode* node, const std::wstring& basePath) = 0;
  // Writes the list under node (a document or an element). basePath is the
  // document's file name: data file names are written relative to its
  // folder. With no data source, writes nothing and answers true.
  virtual bool QZ_STDMETHODCALLTYPE SaveXML(IXMLDOMNode* node, const std::wstring& basePath) = 0;

 protected:
  ~IDSPersistXML() = default;
};

}  // namespace qz_dsc

QZ_DEFINE_UUIDOF(qz_dsc::IDSPersistXML, 0x8b2e61a2, 0x4f1c, 0x4d27, 0x9a, 0x33, 0x0e, 0x6d, 0x52, 0xc8, 0x71, 0x03)
