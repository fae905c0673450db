#include "qz_dsc/DataSourceUnitEncoder.h"

#include "qz_dsc/DataSourceVocabulary.h"
#include "module/Check.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "Utf8Text.h"
#include "xml/DataSourceListWriter.h"
#include "xml/ExternalSourceNames.h"
#include "xml/ShellPath.h"

namespace qz_dsc {

using qz_com::ComPtr;

DataSourceUnitEncoder::~DataSourceUnitEncoder() = default;

namespace {

// The importer's settings are an XML document of their own, whose root
// element goes under "PersistencyData"; its root in root. Text that does not
// parse is reported and left out (root stays empty).
void ParseSettings(const std::wstring& persistency, ComPtr<IXMLDOMElement>& root) {
  ComPtr<IXMLDOMDocument> settings;
  HRESULT hr = DataSourceEncDecCommon::CreateDocument(settings.GetAddressOf());
  VARIANT_BOOL success = VARIANT_FALSE;
  if (!QZ_CHECK_CONDITION((((HRESULT)(hr)) >= 0))) return;
  hr = settings->loadXML(persistency, &success);
  if (QZ_CHECK_CONDITION((((HRESULT)(hr)) >= 0)) && QZ_CHECK_CONDITION(success == ((VARIANT_BOOL)-1))) {
    if (settings->get_documentElement(root.GetAddressOf()) != S_OK) root.Reset();
  }
}

}  // namespace

bool DataSourceUnitEncoder::CreateDataSource(const std::wstring& name, bool isExternal,
                                             const std::wstring& dataFilename, const std::wstring& converterName,
                                             const std::wstring& persistency, bool persistencyIsJSON) {
  std::wstring fileName;
  if (isExternal) {
    fileName = dataFilename;
    std::wstring relative;
    if (!m_basePath.empty() && ShellPath::IsSameRoot(m_basePath, dataFilename) &&
        ShellPath::RelativePathTo(m_basePath, true, dataFilename, relative)) {
      fileName = relative;
    }
  }
  if (m_writer != nullptr) {
    return WriteDataSource(name, isExternal, fileName, converterName, persistency, persistencyIsJSON);
  }
  ComPtr<IXMLDOMElement> created;
  if (!m_node.CreateElementChildNode(DSUM_TAG_TABLE[DSUM_TAG_DATA_SOURCE], created.GetAddressOf())) return false;
  XMLElementExt source(created.Get());
  if (!source.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_DATA_SOURCE_NAME], name)) return false;
  if (isExternal) {
    if (!source.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_IS_EXTERNAL], kExternalYes) ||
        !source.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_DATA_FILENAME], fileName) ||
        !source.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_CONVERTER_NAME], converterName)) {
      return false;
    }
    const bool json = !persistency.empty() && persistencyIsJSON;
    if (json && !source.SetStringAttribute(kPersistencyJson, persistency)) return false;
    // The holder is attached only once it holds the settings, so a failure
    // leaves no empty "PersistencyData" behind.
    ComPtr<IXMLDOMElement> settingsRoot;
    if (!persistency.empty() && !persistencyIsJSON) ParseSettings(persistency, settingsRoot);
    ComPtr<IXMLDOMElement> holder;
    if (settingsRoot &&
        QZ_CHECK_HRESULT(CreateElement(source.GetElement(), kPersistencyElement, holder.GetAddressOf())) &&
        QZ_CHECK_HRESULT(holder->appendChild(settingsRoot.Get(), nullptr))) {
      QZ_CHECK_HRESULT(source.GetElement()->appendChild(holder.Get(), nullptr));  // logged, source kept
    }
  }
  m_node = std::move(source);
  return true;
}

bool DataSourceUnitEncoder::WriteDataSource(const std::wstring& name, bool isExternal, const std::wstring& fileName,
                                            const std::wstring& converterName, const std::wstring& persistency,
                                            bool persistencyIsJSON) {
  const std::size_t depth = m_writerDepth + 1;
  if (!m_writer->StartElement(m_writerDepth, DSUM_TAG_TABLE[DSUM_TAG_DATA_SOURCE]) ||
      !m_writer->Attribute(depth, DSUM_TAG_TABLE[DSUM_TAG_DATA_SOURCE_NAME], name)) {
    return false;
  }
  if (isExternal) {
    if (!m_writer->Attribute(depth, DSUM_TAG_TABLE[DSUM_TAG_IS_EXTERNAL], kExternalYes) ||
        !m_writer->Attribute(depth, DSUM_TAG_TABLE[DSUM_TAG_DATA_FILENAME], fileName) ||
        !m_writer->Attribute(depth, DSUM_TAG_TABLE[DSUM_TAG_CONVERTER_NAME], converterName)) {
      return false;
    }
    const bool json = !persistency.empty() && persistencyIsJSON;
    if (json && !m_writer->Attribute(depth, kPersistencyJson, persistency)) return false;
    // The settings element as the DOM would write it once moved here.
    ComPtr<IXMLDOMElement> settingsRoot;
    if (!persistency.empty() && !persistencyIsJSON) ParseSettings(persistency, settingsRoot);
    std::wstring xml;
    if (settingsRoot && QZ_CHECK_HRESULT(settingsRoot->get_xml(&xml))) {
      static_cast<void>(m_writer->StartElement(depth, kPersistencyElement) &&
                        m_writer->Markup(depth + 1, utf8text::ToUtf8(xml)));
    }
  }
  m_writerDepth = depth;
  return true;
}

bool DataSourceUnitEncoder::CreateStreamEncoder(DataSourceStreamEncoder& encoder) const {
  encoder.SetNode(m_node.GetElement());
  encoder.SetBaseFolder(m_basePath);
  if (m_writer != nullptr) {
    encoder.SetWriter(m_writer, m_writerDepth);
    return true;
  }
  return m_node.GetElement() != nullptr;
}

}  // namespace qz_dsc
