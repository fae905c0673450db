// Test support for the units: list documents parsed into unit decoders,
// units saved into a fresh document and read back, recorded streams, and the
// live-object check that every scenario ends with.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "module/LiveObjects.h"
#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceStreamExtended.h"
#include "qz_dsc/DataSourceUnitDecoder.h"
#include "qz_dsc/DataSourceUnitEncoder.h"
#include "qz_dsc/IDataSourceUnitCtrl.h"
#include "streams/InternalStreamFactory.h"
#include "xml/DataSourceUnitMgrDecoder.h"
#include "xml/DataSourceUnitMgrEncoder.h"

namespace units_testing {

using namespace qz_dsc;

// A list document holding the given data source elements.
inline std::wstring ListXml(const std::wstring& dataSources) {
  return L"<mpeg7:Mpeg7 xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='urn:mpeg:mpeg7:schema:2001'>"
         L"<mpeg7:DescriptionUnit xsi:type='DataSourceListType'>" +
         dataSources + L"</mpeg7:DescriptionUnit></mpeg7:Mpeg7>";
}

// The element children of the list's description unit, as unit decoders.
inline std::vector<DataSourceUnitDecoder> Decoders(const std::wstring& xml, const std::wstring& folder = L"/docs") {
  qz_com::ComPtr<IXMLDOMDocument> doc;
  EXPECT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  VARIANT_BOOL ok = VARIANT_FALSE;
  EXPECT_EQ(S_OK, doc->loadXML(xml, &ok));
  qz_com::ComPtr<IXMLDOMElement> root;
  doc->get_documentElement(root.GetAddressOf());
  DataSourceUnitMgrDecoder list(folder);
  std::vector<DataSourceUnitDecoder> all, elements;
  EXPECT_TRUE(root && list.Locate(root.Get()) && list.GetUnitDecoders(all));
  for (auto& d : all) {
    if (d.GetNode().GetElement() != nullptr) elements.push_back(d);
  }
  return elements;
}

// The unit written alone into a new list document, as XML text; "" when the
// unit refuses to save. documentPath names the file the list would go to.
inline std::wstring SavedXml(IDataSourceUnitCtrl* unit, const std::wstring& documentPath = L"/docs/list.xml") {
  qz_com::ComPtr<IXMLDOMDocument> doc;
  EXPECT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  DataSourceUnitMgrEncoder list(doc.Get());
  EXPECT_TRUE(list.CreateDescriptionUnit());
  DataSourceUnitEncoder encoder(list.GetDescriptionUnit());
  encoder.SetBasePath(documentPath);
  if (!unit->SaveToEncoder(encoder)) return L"";
  std::wstring xml;
  EXPECT_EQ(S_OK, doc->get_xml(&xml));
  return xml;
}

// A new internal stream recording from time origin 0, unbounded.
template <class T>
std::shared_ptr<DataSourceStreamExtended<T>> Recorded(const std::wstring& name,
                                                       const std::vector<std::pair<std::int64_t, T>>& samples = {}) {
  auto root = CreateInternalStream(StreamValueType<T>::value);
  root->Initialize(name, false);
  root->StartRecording(0);
  auto typed = std::dynamic_pointer_cast<DataSourceStreamExtended<T>>(root);
  for (const auto& [t, v] : samples) EXPECT_TRUE(typed->AddSample(t, v));
  return typed;
}

template <class T>
std::vector<std::pair<std::int64_t, T>> AllSamples(const std::shared_ptr<qz_ds::DataSourceStreamBase>& stream) {
  std::vector<std::pair<std::int64_t, T>> out;
  if (auto typed = std::dynamic_pointer_cast<qz_ds::DataSourceStream<T>>(stream)) {
    typed->GetSamples(INT64_MIN, INT64_MAX, out);
  }
  return out;
}

// Fails the test when a scenario left a unit alive.
class LiveUnitCheck : public ::testing::Test {
 protected:
  void SetUp() override { m_before = live_objects::Count(); }
  void TearDown() override { EXPECT_EQ(live_objects::Count(), m_before) << "a unit was not released"; }

 private:
  std::int64_t m_before = 0;
};

}  // namespace units_testing
