#include "qz_dsc/DataSourceUnitEncoder.h"

#include "qz_dsc/DataSourceVocabulary.h"
#include "module/Check.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "xml/ExternalSourceNames.h"
#include "xml/ShellPath.h"

namespace qz_dsc {

using qz_com::ComPtr;

DataSourceUnitEncoder::~DataSourceUnitEncoder() = default;

bool DataSourceUnitEncoder::CreateDataSource(const std::wstring& name, bool isExternal,
                                             const std::wstring& dataFilename, const std::wstring& converterName,
                                             const std::wstring& persistency, bool persistencyIsJSON) {
  ComPtr<IXMLDOMElement> created;
  if (!m_node.CreateElementChildNode(DSUM_TAG_TABLE[DSUM_TAG_DATA_SOURCE], created.GetAddressOf())) return false;
  XMLElementExt source(created.Get());
  if (!source.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_DATA_SOURCE_NAME], name)) return false;
  if (isExternal) {
    std::wstring fileName = dataFilename;
    std::wstring relative;
    if (!m_basePath.empty() && ShellPath::IsSameRoot(m_basePath, dataFilename) &&
        ShellPath::RelativePathTo(m_basePath, true, dataFilename, relative)) {
      fileName = relative;
    }
    if (!source.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_IS_EXTERNAL], kExternalYes) ||
        !source.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_DATA_FILENAME], fileName) ||
        !source.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_CONVERTER_NAME], converterName)) {
      return false;
    }
    if (!persistency.empty()) {
      if (persistencyIsJSON) {
        if (!source.SetStringAttribute(kPersistencyJson, persistency)) return false;
      } else {
        // The settings are an XML document of their own; its root element is
        // copied under "PersistencyData". Text that does not parse is
        // reported and left out.
        ComPtr<IXMLDOMDocument> settings;
        HRESULT hr = CreateDocument(settings.GetAddressOf());
        VARIANT_BOOL success = VARIANT_FALSE;
        if (QZ_CHECK_CONDITION((((HRESULT)(hr)) >= 0))) {
          hr = settings->loadXML(persistency, &success);
          if (QZ_CHECK_CONDITION((((HRESULT)(hr)) >= 0)) && QZ_CHECK_CONDITION(success == ((VARIANT_BOOL)-1))) {
            // The holder is attached only once it holds the settings, so a
            // failure leaves no empty "PersistencyData" behind.
            ComPtr<IXMLDOMElement> settingsRoot;
            ComPtr<IXMLDOMElement> holder;
            if (settings->get_documentElement(settingsRoot.GetAddressOf()) == S_OK &&
                QZ_CHECK_HRESULT(CreateElement(source.GetElement(), kPersistencyElement, holder.GetAddressOf())) &&
                QZ_CHECK_HRESULT(holder->appendChild(settingsRoot.Get(), nullptr))) {
              QZ_CHECK_HRESULT(source.GetElement()->appendChild(holder.Get(), nullptr));  // logged, source kept
            }
          }
        }
      }
    }
  }
  m_node = std::move(source);
  return true;
}

bool DataSourceUnitEncoder::CreateStreamEncoder(DataSourceStreamEncoder& encoder) const {
  encoder.SetNode(m_node.GetElement());
  encoder.SetBaseFolder(m_basePath);
  return m_node.GetElement() != nullptr;
}

}  // namespace qz_dsc
