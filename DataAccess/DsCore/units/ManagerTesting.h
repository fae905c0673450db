// Test support for the manager's tests: list documents written as text,
// loading and saving them through a manager, and reading a stream's samples
// the way the overlay library does.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceEncDecCommon.h"
#include "qz_dsc/IDSPersistXML.h"
#include "qz_dsc/IDataSourceUnitMgrCtrl.h"
#include "qz_dsc/IDataSourceUnitMgrPrivate.h"

namespace qz_dsc::testing {

using qz_com::ComPtr;

inline ComPtr<IDataSourceUnitMgrCtrl> NewManager() {
  ComPtr<IDataSourceUnitMgrCtrl> manager;
  EXPECT_EQ(CreateDataSourceUnitMgr(manager.GetAddressOf()), S_OK);
  return manager;
}

template <class I, class From>
ComPtr<I> As(From* from) {
  ComPtr<I> out;
  if (from != nullptr) static_cast<void>(from->QueryInterface(uuidof<I>(), reinterpret_cast<void**>(out.GetAddressOf())));
  return out;
}

// A whole list document around the given data source elements.
inline std::wstring ListDocument(const std::wstring& dataSources) {
  return L"<mpeg7:Mpeg7 xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001'><mpeg7:DescriptionUnit "
         L"xmlns:xsi='urn:mpeg:mpeg7:schema:2001' xsi:type='DataSourceListType' versionNbr='1 0'>" +
         dataSources + L"</mpeg7:DescriptionUnit></mpeg7:Mpeg7>";
}

// An internal data source with one double stream; samples as (time pair
// text, value text).
inline std::wstring FloatSource(const std::wstring& id, const std::wstring& stream,
                                const std::vector<std::pair<std::wstring, std::wstring>>& samples) {
  std::wstring text = L"<DataSource name='" + id + L"'><DataSourceStream xsi:type='DataSourceFloatStreamType' name='" +
                      stream +
                      L"' StreamClassID='2' limitCount='0' freezeDelay='0 0' dataVideoOffset64='0' "
                      L"defaultValue='0' flowType='1' valueUnit='m'>";
  for (const auto& [time, value] : samples) text += L"<Value TimeStamp='" + time + L"'>" + value + L"</Value>";
  return text + L"</DataSourceStream></DataSource>";
}

inline ComPtr<IXMLDOMDocument> Parse(const std::wstring& xml) {
  ComPtr<IXMLDOMDocument> doc;
  EXPECT_EQ(DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()), S_OK);
  VARIANT_BOOL ok = VARIANT_FALSE;
  EXPECT_EQ(doc->loadXML(xml, &ok), S_OK);
  return doc;
}

inline ComPtr<IXMLDOMElement> Root(IXMLDOMDocument* doc) {
  ComPtr<IXMLDOMElement> root;
  EXPECT_EQ(doc->get_documentElement(root.GetAddressOf()), S_OK);
  return root;
}

inline bool LoadText(IDataSourceUnitMgrCtrl* manager, const std::wstring& xml) {
  auto doc = Parse(xml);
  return As<IDSPersistXML>(manager)->LoadXML(Root(doc.Get()).Get(), L"");
}

inline bool MergeText(IDataSourceUnitMgrCtrl* manager, const std::wstring& xml, const std::wstring& query = L"") {
  auto doc = Parse(xml);
  return As<IDataSourceUnitMgrPrivate>(manager)->MergeXML(Root(doc.Get()).Get(), 0, query);
}

inline std::wstring SaveText(IDataSourceUnitMgrCtrl* manager) {
  ComPtr<IXMLDOMDocument> doc;
  EXPECT_EQ(DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()), S_OK);
  EXPECT_TRUE(As<IDSPersistXML>(manager)->SaveXML(doc.Get(), L""));
  std::wstring xml;
  EXPECT_EQ(doc->get_xml(&xml), S_OK);
  return xml;
}

// Every sample of the stream, read through the overlay adapters.
template <class T>
std::vector<std::pair<std::int64_t, T>> Samples(IDataSourceUnitMgrCtrl* manager, const std::wstring& id,
                                                const std::wstring& stream) {
  std::vector<std::pair<std::int64_t, T>> out;
  auto overlay = manager->CreateOverlayManager();
  auto source = overlay ? overlay->GetDataSource(id) : nullptr;
  auto typed = std::dynamic_pointer_cast<qz_ds::DataSourceStream<T>>(source ? source->GetStream(stream) : nullptr);
  if (typed) {
    typed->GetSamples(std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max(), out);
  }
  return out;
}

}  // namespace qz_dsc::testing
