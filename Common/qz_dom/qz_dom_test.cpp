#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "Utf8Text.h"
#include "qz_com/ComPtr.h"
#include "qz_com/ComVariant.h"
#include "qz_dom/DomFast.h"
#include "qz_dom/qz_dom.h"

using qz_com::ComPtr;
using qz_com::ComVariant;

namespace {

constexpr wchar_t kUri[] = L"urn:mpeg:mpeg7:schema:2001";

ComPtr<IXMLDOMDocument2> NewDocument() {
  ComPtr<IXMLDOMDocument2> doc;
  EXPECT_EQ(S_OK, qz_dom::CoCreateInstance(qz_dom::CLSID_DOMDocument60, nullptr, qz_dom::CLSCTX_ALL,
                                           uuidof<IXMLDOMDocument2>(), reinterpret_cast<void**>(doc.GetAddressOf())));
  return doc;
}

ComPtr<IXMLDOMDocument2> Parse(const std::wstring& text) {
  auto doc = NewDocument();
  VARIANT_BOOL ok = VARIANT_FALSE;
  EXPECT_EQ(S_OK, doc->loadXML(text, &ok));
  EXPECT_EQ(VARIANT_TRUE, ok);
  return doc;
}

std::wstring XmlOf(IXMLDOMNode* node) {
  std::wstring xml;
  EXPECT_EQ(S_OK, node->get_xml(&xml));
  return xml;
}

ComPtr<IXMLDOMElement> Element(IXMLDOMDocument* doc, const std::wstring& name, const std::wstring& uri) {
  ComPtr<IXMLDOMNode> node;
  EXPECT_EQ(S_OK, doc->createNode(NODE_ELEMENT, name, uri, node.GetAddressOf()));
  ComPtr<IXMLDOMElement> element;
  EXPECT_EQ(S_OK, node.As(&element));
  return element;
}

void SetNsAttribute(IXMLDOMDocument* doc, IXMLDOMElement* element, const std::wstring& name, const std::wstring& uri,
                    const std::wstring& value) {
  ComPtr<IXMLDOMNode> node;
  ASSERT_EQ(S_OK, doc->createNode(NODE_ATTRIBUTE, name, uri, node.GetAddressOf()));
  ASSERT_EQ(S_OK, node->put_nodeValue(ComVariant(value)));
  ComPtr<IXMLDOMAttribute> attr;
  ASSERT_EQ(S_OK, node.As(&attr));
  ASSERT_EQ(S_OK, element->setAttributeNode(attr.Get(), nullptr));
}

std::wstring Attribute(IXMLDOMElement* element, const std::wstring& name) {
  ComVariant v;
  if (element->getAttribute(name, &v) != S_OK) return L"<absent>";
  return v.Text();
}

}  // namespace

TEST(DomDocument, BuildsNamespacedTreeWithoutRedundantDeclarations) {
  auto doc = NewDocument();
  auto root = Element(doc.Get(), L"mpeg7:Mpeg7", kUri);
  ASSERT_EQ(S_OK, doc->appendChild(root.Get(), nullptr));
  auto unit = Element(doc.Get(), L"mpeg7:DescriptionUnit", kUri);
  ASSERT_EQ(S_OK, root->appendChild(unit.Get(), nullptr));
  SetNsAttribute(doc.Get(), unit.Get(), L"xsi:type", kUri, L"DataSourceListType");
  auto plain = Element(doc.Get(), L"DataSource", L"");
  ASSERT_EQ(S_OK, unit->appendChild(plain.Get(), nullptr));
  SetNsAttribute(doc.Get(), plain.Get(), L"xsi:type", kUri, L"x");
  SetNsAttribute(doc.Get(), plain.Get(), L"name", L"", L"a<&\"b");

  EXPECT_EQ(XmlOf(doc.Get()),
            L"<mpeg7:Mpeg7 xmlns:mpeg7=\"urn:mpeg:mpeg7:schema:2001\"><mpeg7:DescriptionUnit "
            L"xmlns:xsi=\"urn:mpeg:mpeg7:schema:2001\" xsi:type=\"DataSourceListType\"><DataSource xsi:type=\"x\" "
            L"name=\"a&lt;&amp;&quot;b\"/></mpeg7:DescriptionUnit></mpeg7:Mpeg7>\n");

  ComPtr<IXMLDOMAttribute> type;
  ASSERT_EQ(S_OK, plain->getAttributeNode(L"xsi:type", type.GetAddressOf()));
  std::wstring uri, prefix, base, name;
  type->get_namespaceURI(&uri);
  type->get_prefix(&prefix);
  type->get_baseName(&base);
  type->get_nodeName(&name);
  EXPECT_EQ(uri, kUri);
  EXPECT_EQ(prefix, L"xsi");
  EXPECT_EQ(base, L"type");
  EXPECT_EQ(name, L"xsi:type");
  EXPECT_EQ(Attribute(plain.Get(), L"name"), L"a<&\"b");
  EXPECT_EQ(Attribute(plain.Get(), L"type"), L"<absent>");  // qualified name only
  EXPECT_EQ(Attribute(root.Get(), L"xmlns:mpeg7"), kUri);
}

TEST(DomDocument, NodeTypesNamesAndTree) {
  auto doc = Parse(L"<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<r a=\"1\">\n  <!-- c -->\n  <e>t\u00e9xt</e>\n</r>");
  ComPtr<IXMLDOMElement> root;
  ASSERT_EQ(S_OK, doc->get_documentElement(root.GetAddressOf()));
  ComPtr<IXMLDOMNodeList> children;
  ASSERT_EQ(S_OK, root->get_childNodes(children.GetAddressOf()));
  LONG length = 0;
  children->get_length(&length);
  ASSERT_EQ(length, 2);  // blank text between elements is dropped
  ComPtr<IXMLDOMNode> comment, element, text, none;
  children->get_item(0, comment.GetAddressOf());
  children->get_item(1, element.GetAddressOf());
  EXPECT_EQ(S_FALSE, children->get_item(2, none.GetAddressOf()));
  EXPECT_FALSE(none);
  DOMNodeType t{};
  comment->get_nodeType(&t);
  EXPECT_EQ(t, NODE_COMMENT);
  element->get_nodeType(&t);
  EXPECT_EQ(t, NODE_ELEMENT);
  doc->get_nodeType(&t);
  EXPECT_EQ(t, NODE_DOCUMENT);
  ASSERT_EQ(S_OK, element->get_firstChild(text.GetAddressOf()));
  text->get_nodeType(&t);
  EXPECT_EQ(t, NODE_TEXT);
  ComVariant value;
  ASSERT_EQ(S_OK, text->get_nodeValue(&value));
  EXPECT_EQ(value.Text(), L"t\u00e9xt");
  EXPECT_EQ(S_FALSE, element->get_nodeValue(&value));
  std::wstring name;
  text->get_nodeName(&name);
  EXPECT_EQ(name, L"#text");
  ComPtr<IXMLDOMNode> next;
  ASSERT_EQ(S_OK, comment->get_nextSibling(next.GetAddressOf()));
  next->get_nodeName(&name);
  EXPECT_EQ(name, L"e");
  ComPtr<IXMLDOMDocument> owner;
  ASSERT_EQ(S_OK, text->get_ownerDocument(owner.GetAddressOf()));
  ComPtr<IXMLDOMDocument> none2;
  EXPECT_EQ(S_FALSE, doc->get_ownerDocument(none2.GetAddressOf()));
  // An element's node value replaces its content with text.
  ASSERT_EQ(S_OK, element->put_nodeValue(ComVariant(std::int32_t{42})));
  EXPECT_EQ(XmlOf(element.Get()), L"<e>42</e>");
  EXPECT_EQ(XmlOf(text.Get()), L"t\u00e9xt");  // the old child stays usable
  EXPECT_EQ(E_FAIL, doc->put_nodeValue(ComVariant(L"x")));
}

TEST(DomDocument, ParseErrorsAreReportedWithReasonAndLine) {
  auto doc = Parse(L"<a/>");
  ComPtr<IXMLDOMElement> oldRoot;
  doc->get_documentElement(oldRoot.GetAddressOf());
  VARIANT_BOOL ok = VARIANT_TRUE;
  EXPECT_EQ(S_FALSE, doc->loadXML(L"<a>\n<b></a>", &ok));
  EXPECT_EQ(VARIANT_FALSE, ok);
  ComPtr<IXMLDOMParseError> error;
  ASSERT_EQ(S_OK, doc->get_parseError(error.GetAddressOf()));
  LONG code = 0, line = 0;
  std::wstring reason;
  error->get_errorCode(&code);
  error->get_line(&line);
  error->get_reason(&reason);
  EXPECT_NE(code, 0);
  EXPECT_EQ(line, 2);
  EXPECT_NE(reason.find(L"mismatch"), std::wstring::npos) << std::string(reason.begin(), reason.end());
  ComPtr<IXMLDOMElement> root;
  EXPECT_EQ(S_FALSE, doc->get_documentElement(root.GetAddressOf()));
  EXPECT_EQ(XmlOf(oldRoot.Get()), L"<a/>");  // taken before the failed load, still valid

  EXPECT_EQ(S_FALSE, doc->loadXML(L"", &ok));
  EXPECT_EQ(E_INVALIDARG, doc->loadXML(std::wstring(L"<a/>\0", 5), &ok));  // NUL cannot reach libxml2
  // An unpaired surrogate is U+FFFD: a well-formed document still loads.
  EXPECT_EQ(S_OK, doc->loadXML(L"<a>" + std::wstring(1, static_cast<wchar_t>(0xD800)) + L"</a>", &ok));
  EXPECT_EQ(XmlOf(doc.Get()), L"<a>\uFFFD</a>\n");
  EXPECT_EQ(S_OK, doc->loadXML(L"<ok/>", &ok));
  doc->get_parseError(error.ReleaseAndGetAddressOf());
  error->get_errorCode(&code);
  EXPECT_EQ(code, 0);
}

// libxml2 cuts the text of some messages at 50 bytes, possibly inside a
// character. The reason must end in U+FFFD then, and decoding must not run
// past the message (a 57-byte unterminated comment once crashed here).
TEST(DomDocument, ParseMessageCutInsideACharacter) {
  const std::wstring chars[] = {L"\u00e9", L"\u20ac", std::wstring(1, static_cast<wchar_t>(0x1F600))};
  const std::size_t sizes[] = {2, 3, 4};
  const std::wstring prefix = L"Comment not terminated \n<!--";
  for (int c = 0; c < 3; ++c) {
    // keep: bytes of the character before the cut; 0 and the full size keep it out or whole.
    for (std::size_t keep = 0; keep <= sizes[c]; ++keep) {
      const std::wstring ascii(50 - keep, L'0');
      auto doc = NewDocument();
      VARIANT_BOOL ok = VARIANT_TRUE;
      ASSERT_EQ(S_FALSE, doc->loadXML(L"<!--" + ascii + chars[c] + L"xx", &ok));
      EXPECT_EQ(VARIANT_FALSE, ok);
      ComPtr<IXMLDOMParseError> error;
      ASSERT_EQ(S_OK, doc->get_parseError(error.GetAddressOf()));
      std::wstring reason;
      ASSERT_EQ(S_OK, error->get_reason(&reason));
      std::wstring expected = prefix + ascii;
      if (keep == sizes[c]) expected += chars[c];
      else if (keep > 0) expected += L"\uFFFD";
      EXPECT_EQ(reason, expected) << sizes[c] << "-byte character, " << keep << " bytes kept";
    }
  }
  // The document of the original report, byte for byte.
  auto doc = NewDocument();
  VARIANT_BOOL ok = VARIANT_TRUE;
  const std::wstring report = L"<!--" + std::wstring(49, L'0') + L"\u00e9xx";
  ASSERT_EQ(57u, utf8text::ToUtf8(report).size());
  ASSERT_EQ(S_FALSE, doc->loadXML(report, &ok));
}

TEST(DomDocument, ExternalEntitiesAreNeverResolved) {
  const auto path = std::filesystem::temp_directory_path() / ("qz_dom_secret_" + std::to_string(getpid()) + ".txt");
  {
    FILE* f = std::fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr);
    std::fputs("SECRET", f);
    std::fclose(f);
  }
  auto doc = NewDocument();
  VARIANT_BOOL ok = VARIANT_FALSE;
  const std::wstring p = path.wstring();
  doc->loadXML(L"<!DOCTYPE a [<!ENTITY e SYSTEM \"file://" + p + L"\">]><a>&e;</a>", &ok);
  std::wstring text;
  doc->get_text(&text);
  EXPECT_EQ(text.find(L"SECRET"), std::wstring::npos);
  std::filesystem::remove(path);
}

TEST(DomDocument, SelectionsUseRegisteredNamespacesRelativeToNode) {
  auto doc = Parse(
      L"<m:Mpeg7 xmlns:m='urn:mpeg:mpeg7:schema:2001' xmlns:s='urn:mpeg:mpeg7:schema:2001'>"
      L"<m:DescriptionUnit s:type='Other'/><m:DescriptionUnit s:type='DataSourceListType'><a n='1'/><a n='2'/>"
      L"</m:DescriptionUnit></m:Mpeg7>");
  ASSERT_EQ(S_OK, doc->setProperty(L"SelectionNamespaces",
                                   ComVariant(L"xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001' "
                                              L"xmlns:xsi=\"urn:mpeg:mpeg7:schema:2001\"")));
  ComVariant back;
  doc->getProperty(L"SelectionNamespaces", &back);
  EXPECT_EQ(back.Text().substr(0, 11), L"xmlns:mpeg7");
  ComPtr<IXMLDOMElement> root;
  doc->get_documentElement(root.GetAddressOf());
  ComPtr<IXMLDOMNode> unit;
  ASSERT_EQ(S_OK, root->selectSingleNode(L"mpeg7:DescriptionUnit[@xsi:type=\"DataSourceListType\"]",
                                         unit.GetAddressOf()));
  ComPtr<IXMLDOMNodeList> list;
  ASSERT_EQ(S_OK, unit->selectNodes(L"a", list.GetAddressOf()));
  LONG n = 0;
  list->get_length(&n);
  EXPECT_EQ(n, 2);
  ComPtr<IXMLDOMNode> attr;
  ASSERT_EQ(S_OK, unit->selectSingleNode(L"a[2]/@n", attr.GetAddressOf()));
  ComVariant v;
  attr->get_nodeValue(&v);
  EXPECT_EQ(v.Text(), L"2");
  ComPtr<IXMLDOMNode> missing;
  EXPECT_EQ(S_FALSE, unit->selectSingleNode(L"b", missing.GetAddressOf()));
  EXPECT_FALSE(missing);
  EXPECT_EQ(E_FAIL, unit->selectSingleNode(L"a[", missing.GetAddressOf()));
  EXPECT_EQ(E_FAIL, unit->selectNodes(L"count(a)", list.ReleaseAndGetAddressOf()));
  EXPECT_EQ(E_FAIL, unit->selectNodes(L"undeclared:a", list.ReleaseAndGetAddressOf()));
  EXPECT_EQ(E_FAIL, doc->setProperty(L"SelectionNamespaces", ComVariant(L"xmlns:a=b")));
  EXPECT_EQ(E_INVALIDARG, doc->setProperty(L"Nonsense", ComVariant(L"")));
}

TEST(DomDocument, NodesOutliveTheirDocumentHandle) {
  ComPtr<IXMLDOMNode> kept;
  ComPtr<IXMLDOMNode> orphan;
  {
    auto doc = Parse(L"<r><e k='v'/></r>");
    ASSERT_EQ(S_OK, doc->selectSingleNode(L"r/e", kept.GetAddressOf()));
    ASSERT_EQ(S_OK, doc->createNode(NODE_ELEMENT, L"never", L"", orphan.GetAddressOf()));
    ComPtr<IXMLDOMNode> alsoUnattached;
    doc->createNode(NODE_ATTRIBUTE, L"p:x", L"urn:x", alsoUnattached.GetAddressOf());
    ComPtr<IXMLDOMText> text;
    doc->createTextNode(L"t", text.GetAddressOf());
  }
  ComPtr<IXMLDOMNode> parent;
  ASSERT_EQ(S_OK, kept->get_parentNode(parent.GetAddressOf()));
  EXPECT_EQ(XmlOf(parent.Get()), L"<r><e k=\"v\"/></r>");
  ComPtr<IXMLDOMDocument> owner;
  ASSERT_EQ(S_OK, kept->get_ownerDocument(owner.GetAddressOf()));
  ASSERT_EQ(S_OK, parent->appendChild(orphan.Get(), nullptr));
  EXPECT_EQ(XmlOf(owner.Get()), L"<r><e k=\"v\"/><never/></r>\n");
}

TEST(DomDocument, AttributeReplacementAndAppendRules) {
  auto doc = Parse(L"<r a='1' b='2'/>");
  ComPtr<IXMLDOMElement> root;
  doc->get_documentElement(root.GetAddressOf());
  ComPtr<IXMLDOMAttribute> a, fresh, old;
  root->getAttributeNode(L"a", a.GetAddressOf());
  doc->createAttribute(L"a", fresh.GetAddressOf());
  fresh->put_value(ComVariant(2.5));
  ASSERT_EQ(S_OK, root->setAttributeNode(fresh.Get(), old.GetAddressOf()));
  EXPECT_EQ(XmlOf(root.Get()), L"<r a=\"2.5\" b=\"2\"/>");  // replaced in place
  ComVariant v;
  a->get_value(&v);  // the replaced node is still readable
  EXPECT_EQ(v.Text(), L"1");
  ASSERT_TRUE(old);
  EXPECT_EQ(E_INVALIDARG, root->setAttributeNode(nullptr, nullptr));
  ComPtr<IXMLDOMElement> second;
  doc->createElement(L"second", second.GetAddressOf());
  EXPECT_EQ(E_FAIL, doc->appendChild(second.Get(), nullptr));  // one root only
  EXPECT_EQ(E_INVALIDARG, root->appendChild(fresh.Get(), nullptr));
  ComPtr<IXMLDOMElement> inner;
  doc->createElement(L"inner", inner.GetAddressOf());
  root->appendChild(inner.Get(), nullptr);
  EXPECT_EQ(E_INVALIDARG, inner->appendChild(root.Get(), nullptr));  // cycle
  ComPtr<IXMLDOMText> t1, t2;
  doc->createTextNode(L"x", t1.GetAddressOf());
  doc->createTextNode(L"y", t2.GetAddressOf());
  inner->appendChild(t1.Get(), nullptr);
  inner->appendChild(t2.Get(), nullptr);
  t2->put_nodeValue(ComVariant(L"z"));  // adjacent texts stay two nodes
  EXPECT_EQ(XmlOf(inner.Get()), L"<inner>xz</inner>");
  EXPECT_EQ(S_OK, root->setAttribute(L"c", ComVariant(true)));
  EXPECT_EQ(E_INVALIDARG, root->setAttribute(L"q:c", ComVariant(L"x")));
  EXPECT_EQ(Attribute(root.Get(), L"c"), L"true");
  ComPtr<IXMLDOMNode> bad;
  EXPECT_EQ(E_FAIL, doc->createNode(NODE_ELEMENT, L"1bad", L"", bad.GetAddressOf()));
  EXPECT_EQ(E_FAIL, doc->createNode(NODE_ELEMENT, L"p:x", L"", bad.GetAddressOf()));
}

TEST(DomDocument, AppendingAnotherDocumentsNodeCopiesIt) {
  auto target = Parse(L"<m:r xmlns:m='urn:m'/>");
  ComPtr<IXMLDOMElement> root;
  target->get_documentElement(root.GetAddressOf());
  ComPtr<IXMLDOMElement> foreign;
  {
    auto source = Parse(L"<m:s xmlns:m='urn:m' xmlns:o='urn:o'><o:k v='1'>x</o:k></m:s>");
    source->get_documentElement(foreign.GetAddressOf());
  }
  ComPtr<IXMLDOMNode> copy;
  ASSERT_EQ(S_OK, root->appendChild(foreign.Get(), copy.GetAddressOf()));
  EXPECT_EQ(XmlOf(target.Get()), L"<m:r xmlns:m=\"urn:m\"><m:s xmlns:o=\"urn:o\"><o:k v=\"1\">x</o:k></m:s></m:r>\n");
  EXPECT_EQ(XmlOf(foreign.Get()), L"<m:s xmlns:m=\"urn:m\" xmlns:o=\"urn:o\"><o:k v=\"1\">x</o:k></m:s>");
  ComPtr<IXMLDOMDocument> owner;
  copy->get_ownerDocument(owner.GetAddressOf());
  std::wstring ownerXml = XmlOf(owner.Get());
  EXPECT_EQ(ownerXml, XmlOf(target.Get()));
}

TEST(DomDocument, SavesAndLoadsFiles) {
  // The DOM takes file names as Unicode and hands them to the system as UTF-8.
  const std::string dir = std::filesystem::temp_directory_path().string();
  const std::string pid = std::to_string(getpid());
  const std::wstring wpath = std::wstring(dir.begin(), dir.end()) + L"/qz_dom_test_\u00e4" +
                             std::wstring(pid.begin(), pid.end()) + L".xml";
  const std::string utf8Path = dir + "/qz_dom_test_\xc3\xa4" + pid + ".xml";
  auto doc = Parse(L"<r>\u00e4\u4e2d\U0001F600</r>");
  ASSERT_EQ(S_OK, doc->save(wpath));
  ASSERT_TRUE(std::filesystem::exists(utf8Path));
  auto back = NewDocument();
  VARIANT_BOOL ok = VARIANT_FALSE;
  ASSERT_EQ(S_OK, back->load(wpath, &ok));
  EXPECT_EQ(XmlOf(back.Get()), L"<r>\u00e4\u4e2d\U0001F600</r>\n");
  std::filesystem::remove(utf8Path);
  EXPECT_EQ(S_FALSE, back->load(wpath, &ok));
  EXPECT_EQ(VARIANT_FALSE, ok);
  EXPECT_EQ(E_FAIL, doc->save(L"/nonexistent-dir/x.xml"));
}

TEST(DomDocument, CreationRules) {
  ComPtr<IUnknown> unk;
  EXPECT_EQ(qz_dom::REGDB_E_CLASSNOTREG,
            qz_dom::CoCreateInstance(uuidof<IUnknown>(), nullptr, qz_dom::CLSCTX_ALL, uuidof<IUnknown>(),
                                     reinterpret_cast<void**>(unk.GetAddressOf())));
  auto doc = NewDocument();
  EXPECT_EQ(CLASS_E_NOAGGREGATION, qz_dom::CoCreateInstance(qz_dom::CLSID_DOMDocument60, doc.Get(), qz_dom::CLSCTX_ALL,
                                                            uuidof<IUnknown>(),
                                                            reinterpret_cast<void**>(unk.GetAddressOf())));
  EXPECT_EQ(S_OK, doc->put_async(VARIANT_FALSE));
  EXPECT_EQ(E_NOTIMPL, doc->put_validateOnParse(VARIANT_TRUE));
  ComPtr<IXMLDOMElement> notAnElement;
  EXPECT_EQ(E_NOINTERFACE, doc.As(&notAnElement));
}

TEST(DomFast, ReadsChildElementsAndAttributesInPlace) {
  auto doc = Parse(L"<s><Value TimeStamp='1 1500'>a</Value><p:Value xmlns:p='urn:p' TimeStamp='9 9'/>"
                   L"<!-- c --><Value TimeStamp='0 &amp;0'/><Other/></s>");
  ComPtr<IXMLDOMElement> root;
  doc->get_documentElement(root.GetAddressOf());
  std::vector<qz_dom::ElementRef> values;
  ASSERT_EQ(S_OK, qz_dom::CollectChildElements(root.Get(), "Value", values));
  ASSERT_EQ(values.size(), 2u);
  std::string scratch;
  std::string_view stamp;
  ASSERT_TRUE(qz_dom::GetAttributeUtf8(values[0], "TimeStamp", scratch, stamp));
  EXPECT_EQ(stamp, "1 1500");
  ASSERT_TRUE(qz_dom::GetAttributeUtf8(values[1], "TimeStamp", scratch, stamp));
  EXPECT_EQ(stamp, "0 &0");
  EXPECT_FALSE(qz_dom::GetAttributeUtf8(values[1], "Missing", scratch, stamp));
  std::wstring text;
  ASSERT_TRUE(qz_dom::GetFirstTextChild(values[0], text));
  EXPECT_EQ(text, L"a");
  EXPECT_FALSE(qz_dom::GetFirstTextChild(values[1], text));
  EXPECT_FALSE(qz_dom::RefOf(doc.Get()));
  EXPECT_TRUE(qz_dom::RefOf(root.Get()));
}

TEST(DomFast, AppendsTextElements) {
  auto doc = Parse(L"<s/>");
  ComPtr<IXMLDOMElement> root;
  doc->get_documentElement(root.GetAddressOf());
  ASSERT_EQ(S_OK, qz_dom::AppendTextElement(root.Get(), "Value", L"a&<\u00e9", "TimeStamp", "2 2500"));
  ASSERT_EQ(S_OK, qz_dom::AppendTextElement(root.Get(), "Value", L"", "TimeStamp", "0 0"));
  EXPECT_EQ(XmlOf(root.Get()),
            L"<s><Value TimeStamp=\"2 2500\">a&amp;&lt;\u00e9</Value><Value TimeStamp=\"0 0\"/></s>");
  EXPECT_EQ(E_INVALIDARG, qz_dom::AppendTextElement(root.Get(), "Value", std::wstring(1, L'\0'), "T", "0"));
  EXPECT_EQ(E_INVALIDARG, qz_dom::AppendTextElement(root.Get(), "bad name", L"", "T", "0"));
  EXPECT_EQ(E_INVALIDARG, qz_dom::AppendTextElement(doc.Get(), "Value", L"", "T", "0"));
}

TEST(DomDocument, MovedNodesKeepTheirNamespacesDeclared) {
  auto doc = Parse(L"<a><b xmlns:p='urn:p'><p:c p:k='1'/></b><d/></a>");
  ComPtr<IXMLDOMNode> c, d, b;
  ASSERT_EQ(S_OK, doc->selectSingleNode(L"a/b/*", c.GetAddressOf()));
  ASSERT_EQ(S_OK, doc->selectSingleNode(L"a/d", d.GetAddressOf()));
  ASSERT_EQ(S_OK, d->appendChild(c.Get(), nullptr));
  EXPECT_EQ(XmlOf(doc.Get()), L"<a><b xmlns:p=\"urn:p\"/><d><p:c xmlns:p=\"urn:p\" p:k=\"1\"/></d></a>\n");
  // Moving it back under the declaring element drops its own declaration.
  ASSERT_EQ(S_OK, doc->selectSingleNode(L"a/b", b.GetAddressOf()));
  ASSERT_EQ(S_OK, b->appendChild(c.Get(), nullptr));
  EXPECT_EQ(XmlOf(doc.Get()), L"<a><b xmlns:p=\"urn:p\"><p:c p:k=\"1\"/></b><d/></a>\n");
}

TEST(DomDocument, OutPointersAndTexts) {
  auto doc = Parse(L"<a>x<b>y</b>z</a>");
  ComPtr<IXMLDOMElement> root;
  doc->get_documentElement(root.GetAddressOf());
  EXPECT_EQ(E_POINTER, root->get_nodeName(nullptr));
  EXPECT_EQ(E_POINTER, root->selectSingleNode(L"b", nullptr));
  EXPECT_EQ(E_POINTER, doc->get_documentElement(nullptr));
  EXPECT_EQ(E_POINTER, doc->createNode(NODE_ELEMENT, L"e", L"", nullptr));
  EXPECT_EQ(E_INVALIDARG, root->appendChild(nullptr, nullptr));
  std::wstring text;
  ASSERT_EQ(S_OK, root->get_text(&text));
  EXPECT_EQ(text, L"xyz");
  ASSERT_EQ(S_OK, root->put_text(L"new"));
  EXPECT_EQ(XmlOf(root.Get()), L"<a>new</a>");
  VARIANT_BOOL has = VARIANT_FALSE;
  EXPECT_EQ(S_OK, root->hasChildNodes(&has));
  EXPECT_EQ(has, VARIANT_TRUE);
  ComPtr<IXMLDOMNode> unknownType;
  EXPECT_EQ(E_INVALIDARG, doc->createNode(NODE_DOCUMENT, L"d", L"", unknownType.GetAddressOf()));
}

// Documents belong to one thread each, but several threads may parse and
// query their own documents at the same time.
TEST(DomThreads, SeparateDocumentsOnSeveralThreads) {
  std::vector<std::thread> threads;
  std::atomic<int> found{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &found] {
      for (int i = 0; i < 100; ++i) {
        ComPtr<IXMLDOMDocument2> doc;
        if (qz_dom::CoCreateInstance(qz_dom::CLSID_DOMDocument60, nullptr, qz_dom::CLSCTX_ALL,
                                     uuidof<IXMLDOMDocument2>(), reinterpret_cast<void**>(doc.GetAddressOf())) != S_OK)
          return;
        VARIANT_BOOL ok = VARIANT_FALSE;
        const std::wstring text = L"<m:r xmlns:m='urn:mpeg:mpeg7:schema:2001'><m:v n='" + std::to_wstring(t) +
                                  L"'/><broken" + (i % 10 == 0 ? L"" : L"/>") + L"</m:r>";
        doc->loadXML(text, &ok);
        if (ok != VARIANT_TRUE) {
          found += (i % 10 == 0);  // the malformed ones fail cleanly
          continue;
        }
        doc->setProperty(L"SelectionNamespaces", ComVariant(L"xmlns:m='urn:mpeg:mpeg7:schema:2001'"));
        ComPtr<IXMLDOMElement> root;
        doc->get_documentElement(root.GetAddressOf());
        ComPtr<IXMLDOMNode> v;
        if (root && root->selectSingleNode(L"m:v[@n='" + std::to_wstring(t) + L"']", v.GetAddressOf()) == S_OK && v)
          ++found;
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(found.load(), 400);
}
