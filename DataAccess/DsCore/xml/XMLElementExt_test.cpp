#include "qz_dsc/XMLElementExt.h"

#include <gtest/gtest.h>

#include "qz_dsc/DataSourceEncDecCommon.h"

using qz_com::ComPtr;
using qz_dsc::DataSourceEncDecCommon;
using qz_dsc::XMLElementExt;

namespace {

ComPtr<IXMLDOMElement> RootOf(const std::wstring& xml, ComPtr<IXMLDOMDocument>& doc) {
  EXPECT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.ReleaseAndGetAddressOf()));
  VARIANT_BOOL ok = VARIANT_FALSE;
  EXPECT_EQ(S_OK, doc->loadXML(xml, &ok));
  ComPtr<IXMLDOMElement> root;
  doc->get_documentElement(root.GetAddressOf());
  return root;
}

constexpr wchar_t kSample[] =
    L"<mpeg7:Mpeg7 xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001'>"
    L"<DataSource name='ds' n='7 ' e='' big='2147483648' neg=' -5x' letters='abc'>"
    L"<Item id='1'>one</Item><Item id='2'>two</Item><Num>  42 apples</Num><Empty/>"
    L"</DataSource></mpeg7:Mpeg7>";

}  // namespace

TEST(XMLElementExt, WrapsOnlyElements) {
  ComPtr<IXMLDOMDocument> doc;
  auto root = RootOf(kSample, doc);
  XMLElementExt fromDoc(doc.Get());
  EXPECT_EQ(fromDoc.GetElement(), nullptr);
  XMLElementExt empty;
  std::wstring s;
  std::int32_t i = 0;
  ComPtr<IXMLDOMElement> e;
  ComPtr<IXMLDOMNode> n;
  EXPECT_FALSE(empty.CheckTagName(L"x"));
  EXPECT_FALSE(empty.GetStringAttribute(L"name", s));
  EXPECT_FALSE(empty.GetIntAttribute(L"n", i));
  EXPECT_FALSE(empty.SetStringAttribute(L"name", L"v"));
  EXPECT_FALSE(empty.CreateElementChildNode(L"c", e.GetAddressOf()));
  EXPECT_FALSE(empty.GetChild(L"c", n.GetAddressOf()));
  EXPECT_EQ(empty.GetChildNodeCount(L"c"), 0);
  EXPECT_FALSE(empty.GetTextValue(s));
  EXPECT_FALSE(empty.SetChildNodeStringValue(L"c", L"v"));
  ComPtr<IXMLDOMNodeList> list;
  EXPECT_TRUE(FAILED(empty.GetChildNodes(list.GetAddressOf())));

  XMLElementExt copy(root.Get());
  XMLElementExt moved(std::move(copy));
  EXPECT_TRUE(moved.CheckTagName(L"mpeg7:Mpeg7"));
  EXPECT_FALSE(moved.CheckTagName(L"Mpeg7"));
}

TEST(XMLElementExt, AttributesAndNumberParsing) {
  ComPtr<IXMLDOMDocument> doc;
  auto root = RootOf(kSample, doc);
  ComPtr<IXMLDOMNode> node;
  XMLElementExt rootExt(root.Get());
  ASSERT_TRUE(rootExt.GetChild(L"DataSource", node.GetAddressOf()));
  XMLElementExt ds(node.Get());
  EXPECT_TRUE(ds.CheckTagName(L"DataSource"));
  EXPECT_FALSE(ds.CheckTagName(L"datasource"));
  std::wstring s;
  EXPECT_TRUE(ds.GetStringAttribute(L"name", s));
  EXPECT_EQ(s, L"ds");
  EXPECT_TRUE(ds.GetStringAttribute(L"e", s));
  EXPECT_EQ(s, L"");
  EXPECT_FALSE(ds.GetStringAttribute(L"missing", s));
  std::int32_t i = -1;
  EXPECT_TRUE(ds.GetIntAttribute(L"n", i));
  EXPECT_EQ(i, 7);
  EXPECT_TRUE(ds.GetIntAttribute(L"neg", i));
  EXPECT_EQ(i, -5);
  i = -1;
  EXPECT_FALSE(ds.GetIntAttribute(L"e", i));
  EXPECT_FALSE(ds.GetIntAttribute(L"missing", i));
  EXPECT_FALSE(ds.GetIntAttribute(L"letters", i));
  EXPECT_FALSE(ds.GetIntAttribute(L"big", i));
  EXPECT_EQ(i, -1);
  std::int64_t w = 0;
  EXPECT_TRUE(ds.GetInt64Attribute(L"big", w));
  EXPECT_EQ(w, 2147483648LL);

  EXPECT_TRUE(ds.SetIntAttribute(L"n", -12));
  EXPECT_TRUE(ds.GetIntAttribute(L"n", i));
  EXPECT_EQ(i, -12);
  EXPECT_TRUE(ds.SetStringAttribute(L"xsi:type", L"T"));
  EXPECT_FALSE(ds.SetStringAttribute(L"foo:type", L"T"));  // prefix outside the table
  EXPECT_FALSE(ds.GetStringAttribute(L"foo:type", s));
}

TEST(XMLElementExt, ChildrenAndSelections) {
  ComPtr<IXMLDOMDocument> doc;
  auto root = RootOf(kSample, doc);
  ComPtr<IXMLDOMNode> node;
  ASSERT_TRUE(XMLElementExt(root.Get()).GetChild(L"DataSource", node.GetAddressOf()));
  XMLElementExt ds(node.Get());
  EXPECT_EQ(ds.GetChildNodeCount(L"Item"), 2);
  EXPECT_EQ(ds.GetChildNodeCount(L"Nothing"), 0);
  EXPECT_EQ(ds.GetChildNodeCount(L"Item["), 0);
  ComPtr<IXMLDOMNode> child;
  ASSERT_TRUE(ds.GetChild(L"Item", 1, child.GetAddressOf()));
  std::wstring s;
  EXPECT_TRUE(XMLElementExt(child.Get()).GetTextValue(s));
  EXPECT_EQ(s, L"two");
  // Past the end: true, but no node. The held node is released first.
  EXPECT_TRUE(ds.GetChild(L"Item", 5, child.GetAddressOf()));
  EXPECT_FALSE(child);
  EXPECT_FALSE(ds.GetChild(L"Nothing", child.GetAddressOf()));
  EXPECT_TRUE(ds.GetChildNodeStringValue(L"Item", s));
  EXPECT_EQ(s, L"one");
  EXPECT_TRUE(ds.GetChildNodeStringValue(L"Item", 1, s));
  EXPECT_EQ(s, L"two");
  EXPECT_FALSE(ds.GetChildNodeStringValue(L"Item", 2, s));
  EXPECT_TRUE(ds.GetChildNodeStringValue(L"@name", s));
  EXPECT_EQ(s, L"ds");
  s = L"stale";
  EXPECT_TRUE(ds.GetChildNodeStringValueIndex(L"Item", L"id", 2, s));
  EXPECT_EQ(s, L"two");
  s = L"stale";
  EXPECT_FALSE(ds.GetChildNodeStringValueIndex(L"Item", L"id", 3, s));
  EXPECT_EQ(s, L"");
  std::int32_t i = 0;
  EXPECT_TRUE(ds.GetChildNodeIntValue(L"Num", i));
  EXPECT_EQ(i, 42);
  EXPECT_FALSE(ds.GetChildNodeIntValue(L"Empty", i));  // no text child
  EXPECT_FALSE(ds.GetChildNodeIntValue(L"Item", i));
  ComPtr<IXMLDOMNodeList> list;
  ASSERT_EQ(S_OK, ds.SelectNodes(L"Item/@id", list.GetAddressOf()));
  LONG length = 0;
  list->get_length(&length);
  EXPECT_EQ(length, 2);
  ASSERT_EQ(S_OK, ds.GetChildNodes(list.ReleaseAndGetAddressOf()));
  list->get_length(&length);
  EXPECT_EQ(length, 4);
}

TEST(XMLElementExt, WritesChildrenAndValues) {
  ComPtr<IXMLDOMDocument> doc;
  auto root = RootOf(L"<r/>", doc);
  XMLElementExt r(root.Get());
  ComPtr<IXMLDOMElement> a;
  ASSERT_TRUE(r.CreateTextElementChildNode(L"a", L"x<y", a.GetAddressOf()));
  EXPECT_FALSE(r.CreateElementChildNode(L"b", a.GetAddressOf()));  // *out must be empty
  ComPtr<IXMLDOMElement> unit;
  ASSERT_TRUE(r.CreateElementChildNode(L"mpeg7:DescriptionUnit", unit.GetAddressOf()));
  EXPECT_FALSE(r.CreateElementChildNode(L"other:x", unit.ReleaseAndGetAddressOf()));
  EXPECT_TRUE(r.SetChildNodeIntValue(L"count", 3));   // created
  EXPECT_TRUE(r.SetChildNodeStringValue(L"a", L"z"));  // replaced
  EXPECT_FALSE(r.SetChildNodeStringValue(L"@attr", L"v"));  // "@attr" is no element name
  ASSERT_TRUE(r.SetStringAttribute(L"attr", L"u"));
  EXPECT_TRUE(r.SetChildNodeStringValue(L"@attr", L"v"));  // an existing attribute is set
  std::wstring xml;
  root->get_xml(&xml);
  EXPECT_EQ(xml,
            L"<r attr=\"v\"><a>z</a><mpeg7:DescriptionUnit xmlns:mpeg7=\"urn:mpeg:mpeg7:schema:2001\"/>"
            L"<count>3</count></r>");
  XMLElementExt aExt(a.Get());
  EXPECT_TRUE(aExt.SetValue(L"w"));
  std::wstring text;
  EXPECT_TRUE(aExt.GetTextValue(text));
  EXPECT_EQ(text, L"w");
  EXPECT_TRUE(aExt.SetValue(L""));
  EXPECT_FALSE(aExt.GetTextValue(text));
}
