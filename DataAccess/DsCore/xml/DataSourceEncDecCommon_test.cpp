#include "qz_dsc/DataSourceEncDecCommon.h"

#include <gtest/gtest.h>

using qz_com::ComPtr;
using qz_dsc::DataSourceEncDecCommon;

TEST(DataSourceEncDecCommon, CreateDocumentChecksItsOutPointer) {
  EXPECT_EQ(E_POINTER, DataSourceEncDecCommon::CreateDocument(nullptr));
  ComPtr<IXMLDOMDocument> doc;
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  IXMLDOMDocument* raw = doc.Get();
  EXPECT_EQ(E_POINTER, DataSourceEncDecCommon::CreateDocument(&raw));
  EXPECT_EQ(raw, doc.Get());
  ComPtr<IXMLDOMDocument2> doc2;
  ASSERT_EQ(S_OK, doc.As(&doc2));
  qz_com::ComVariant ns;
  ASSERT_EQ(S_OK, doc2->getProperty(L"SelectionNamespaces", &ns));
  EXPECT_EQ(ns.Text(), L"xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='urn:mpeg:mpeg7:schema:2001'");
}

TEST(DataSourceEncDecCommon, ElementsAndAttributesGetTheTableNamespaces) {
  ComPtr<IXMLDOMDocument> doc;
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  ComPtr<IXMLDOMElement> root;
  EXPECT_EQ(E_POINTER, DataSourceEncDecCommon::CreateRootNode(nullptr, root.GetAddressOf()));
  EXPECT_EQ(E_POINTER, DataSourceEncDecCommon::CreateRootNode(doc.Get(), nullptr));
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateRootNode(doc.Get(), root.GetAddressOf()));
  IXMLDOMElement* filled = root.Get();
  EXPECT_EQ(E_POINTER, DataSourceEncDecCommon::CreateRootNode(doc.Get(), &filled));
  std::wstring uri;
  root->get_namespaceURI(&uri);
  EXPECT_EQ(uri, L"urn:mpeg:mpeg7:schema:2001");

  ComPtr<IXMLDOMElement> plain;
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateElement(root.Get(), L"DataSource", plain.GetAddressOf()));
  plain->get_namespaceURI(&uri);
  EXPECT_EQ(uri, L"");
  ComPtr<IXMLDOMNode> parent;
  EXPECT_EQ(S_FALSE, plain->get_parentNode(parent.GetAddressOf()));  // not attached
  ComPtr<IXMLDOMElement> bad;
  EXPECT_TRUE(FAILED(DataSourceEncDecCommon::CreateElement(root.Get(), L"x:y", bad.GetAddressOf())));
  EXPECT_FALSE(bad);

  ASSERT_EQ(S_OK, DataSourceEncDecCommon::SetAttribute(root.Get(), L"xsi:type", qz_com::ComVariant(L"T")));
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::SetAttribute(root.Get(), L"n", qz_com::ComVariant(std::int32_t{-4})));
  EXPECT_TRUE(FAILED(DataSourceEncDecCommon::SetAttribute(root.Get(), L"q:n", qz_com::ComVariant(L"x"))));
  ComPtr<IXMLDOMAttribute> type;
  ASSERT_EQ(S_OK, root->getAttributeNode(L"xsi:type", type.GetAddressOf()));
  type->get_namespaceURI(&uri);
  EXPECT_EQ(uri, L"urn:mpeg:mpeg7:schema:2001");
  std::wstring xml;
  doc->get_xml(&xml);
  EXPECT_EQ(xml,
            L"<mpeg7:Mpeg7 xmlns:mpeg7=\"urn:mpeg:mpeg7:schema:2001\" xmlns:xsi=\"urn:mpeg:mpeg7:schema:2001\" "
            L"xsi:type=\"T\" n=\"-4\"/>\n");
  EXPECT_FALSE(DataSourceEncDecCommon::CheckRootNode(root.Get(), bad.GetAddressOf()));
  EXPECT_FALSE(bad);
}

TEST(DataSourceEncDecCommon, BasePathIsTheDocumentsFolder) {
  DataSourceEncDecCommon common;
  common.SetBasePath(L"/data/docs/list.xml");
  EXPECT_EQ(common.GetBasePath(), L"/data/docs");
  common.SetBasePath(L"");
  EXPECT_EQ(common.GetBasePath(), L"");
  common.SetBaseFolder(L"/as/is");
  EXPECT_EQ(common.GetBasePath(), L"/as/is");
}
