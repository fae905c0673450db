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

// What a getter hands out; the getter must succeed.
template <class V, class N, class M>
V Got(N* node, HRESULT (M::*getter)(V*)) {
  V value{};
  EXPECT_EQ(S_OK, (node->*getter)(&value));
  return value;
}

template <class N, class M>
ComVariant Got(N* node, HRESULT (M::*getter)(VARIANT*)) {
  ComVariant value;
  EXPECT_EQ(S_OK, (node->*getter)(&value));
  return value;
}

ComPtr<IXMLDOMElement> Root(IXMLDOMDocument* doc) {
  ComPtr<IXMLDOMElement> root;
  EXPECT_EQ(S_OK, doc->get_documentElement(root.GetAddressOf()));
  return root;
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
  EXPECT_EQ(Got(type.Get(), &IXMLDOMNode::get_namespaceURI), kUri);
  EXPECT_EQ(Got(type.Get(), &IXMLDOMNode::get_prefix), L"xsi");
  EXPECT_EQ(Got(type.Get(), &IXMLDOMNode::get_baseName), L"type");
  EXPECT_EQ(Got(type.Get(), &IXMLDOMNode::get_nodeName), L"xsi:type");
  EXPECT_EQ(Attribute(plain.Get(), L"name"), L"a<&\"b");
  EXPECT_EQ(Attribute(plain.Get(), L"type"), L"<absent>");  // qualified name only
  EXPECT_EQ(Attribute(root.Get(), L"xmlns:mpeg7"), kUri);
}

TEST(DomDocument, NodeTypesNamesAndTree) {
  auto doc = Parse(L"<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<r a=\"1\">\n  <!-- c -->\n  <e>t\u00e9xt</e>\n</r>");
  ComPtr<IXMLDOMNodeList> children;
  ASSERT_EQ(S_OK, Root(doc.Get())->get_childNodes(children.GetAddressOf()));
  ASSERT_EQ(Got(children.Get(), &IXMLDOMNodeList::get_length), 2);  // blank text between elements is dropped
  ComPtr<IXMLDOMNode> comment, element, text, none;
  children->get_item(0, comment.GetAddressOf());
  children->get_item(1, element.GetAddressOf());
  EXPECT_EQ(S_FALSE, children->get_item(2, none.GetAddressOf()));
  EXPECT_FALSE(none);
  EXPECT_EQ(Got(comment.Get(), &IXMLDOMNode::get_nodeType), NODE_COMMENT);
  EXPECT_EQ(Got(element.Get(), &IXMLDOMNode::get_nodeType), NODE_ELEMENT);
  EXPECT_EQ(Got(doc.Get(), &IXMLDOMNode::get_nodeType), NODE_DOCUMENT);
  ASSERT_EQ(S_OK, element->get_firstChild(text.GetAddressOf()));
  EXPECT_EQ(Got(text.Get(), &IXMLDOMNode::get_nodeType), NODE_TEXT);
  ComVariant value;
  ASSERT_EQ(S_OK, text->get_nodeValue(&value));
  EXPECT_EQ(value.Text(), L"t\u00e9xt");
  EXPECT_EQ(S_FALSE, element->get_nodeValue(&value));
  EXPECT_EQ(Got(text.Get(), &IXMLDOMNode::get_nodeName), L"#text");
  ComPtr<IXMLDOMNode> next;
  ASSERT_EQ(S_OK, comment->get_nextSibling(next.GetAddressOf()));
  EXPECT_EQ(Got(next.Get(), &IXMLDOMNode::get_nodeName), L"e");
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

TEST(DomDocument, FailedLoadsLeaveAnEmptyDocumentAndOldNodes) {
  auto doc = Parse(L"<a/>");
  ComPtr<IXMLDOMElement> oldRoot;
  doc->get_documentElement(oldRoot.GetAddressOf());
  VARIANT_BOOL ok = VARIANT_TRUE;
  EXPECT_EQ(S_FALSE, doc->loadXML(L"<a>\n<b></a>", &ok));
  EXPECT_EQ(VARIANT_FALSE, ok);
  ComPtr<IXMLDOMElement> root;
  EXPECT_EQ(S_FALSE, doc->get_documentElement(root.GetAddressOf()));
  EXPECT_EQ(XmlOf(oldRoot.Get()), L"<a/>");  // taken before the failed load, still valid

  EXPECT_EQ(S_FALSE, doc->loadXML(L"", &ok));
  EXPECT_EQ(E_INVALIDARG, doc->loadXML(std::wstring(L"<a/>\0", 5), &ok));  // NUL cannot reach libxml2
  // An unpaired surrogate is U+FFFD: a well-formed document still loads.
  EXPECT_EQ(S_OK, doc->loadXML(L"<a>" + std::wstring(1, static_cast<wchar_t>(0xD800)) + L"</a>", &ok));
  EXPECT_EQ(XmlOf(doc.Get()), L"<a>\uFFFD</a>\n");
  EXPECT_EQ(S_OK, doc->loadXML(L"<ok/>", &ok));  // a good load clears the error
  ComPtr<IXMLDOMParseError> error;
  ASSERT_EQ(S_OK, doc->get_parseError(error.GetAddressOf()));
  EXPECT_EQ(Got(error.Get(), &IXMLDOMParseError::get_errorCode), 0);
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
  EXPECT_EQ(Got(doc.Get(), &IXMLDOMNode::get_text).find(L"SECRET"), std::wstring::npos);
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
  ComPtr<IXMLDOMNode> unit;
  ASSERT_EQ(S_OK, Root(doc.Get())->selectSingleNode(L"mpeg7:DescriptionUnit[@xsi:type=\"DataSourceListType\"]",
                                                    unit.GetAddressOf()));
  ComPtr<IXMLDOMNodeList> list;
  ASSERT_EQ(S_OK, unit->selectNodes(L"a", list.GetAddressOf()));
  EXPECT_EQ(Got(list.Get(), &IXMLDOMNodeList::get_length), 2);
  ComPtr<IXMLDOMNode> attr;
  ASSERT_EQ(S_OK, unit->selectSingleNode(L"a[2]/@n", attr.GetAddressOf()));
  EXPECT_EQ(Got(attr.Get(), &IXMLDOMNode::get_nodeValue).Text(), L"2");
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
  auto root = Root(doc.Get());
  ComPtr<IXMLDOMAttribute> a, fresh, old;
  root->getAttributeNode(L"a", a.GetAddressOf());
  doc->createAttribute(L"a", fresh.GetAddressOf());
  fresh->put_value(ComVariant(2.5));
  ASSERT_EQ(S_OK, root->setAttributeNode(fresh.Get(), old.GetAddressOf()));
  EXPECT_EQ(XmlOf(root.Get()), L"<r a=\"2.5\" b=\"2\"/>");  // replaced in place
  EXPECT_EQ(Got(a.Get(), &IXMLDOMAttribute::get_value).Text(), L"1");  // the replaced node is still readable
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
  auto root = Root(target.Get());
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
  EXPECT_EQ(XmlOf(owner.Get()), XmlOf(target.Get()));
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
  auto root = Root(doc.Get());
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
  auto root = Root(doc.Get());
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
  auto root = Root(doc.Get());
  EXPECT_EQ(E_POINTER, root->get_nodeName(nullptr));
  EXPECT_EQ(E_POINTER, root->selectSingleNode(L"b", nullptr));
  EXPECT_EQ(E_POINTER, doc->get_documentElement(nullptr));
  EXPECT_EQ(E_POINTER, doc->createNode(NODE_ELEMENT, L"e", L"", nullptr));
  EXPECT_EQ(E_INVALIDARG, root->appendChild(nullptr, nullptr));
  EXPECT_EQ(Got(root.Get(), &IXMLDOMNode::get_text), L"xyz");
  ASSERT_EQ(S_OK, root->put_text(L"new"));
  EXPECT_EQ(XmlOf(root.Get()), L"<a>new</a>");
  EXPECT_EQ(Got(root.Get(), &IXMLDOMNode::hasChildNodes), VARIANT_TRUE);
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

namespace {

struct ParseFailure {
  LONG line = 0;
  LONG column = 0;
  std::wstring reason;
};

ParseFailure FailedLoad(IXMLDOMDocument* doc, const std::wstring& text) {
  VARIANT_BOOL ok = VARIANT_TRUE;
  EXPECT_EQ(S_FALSE, doc->loadXML(text, &ok));
  EXPECT_EQ(VARIANT_FALSE, ok);
  ComPtr<IXMLDOMParseError> error;
  EXPECT_EQ(S_OK, doc->get_parseError(error.GetAddressOf()));
  EXPECT_NE(Got(error.Get(), &IXMLDOMParseError::get_errorCode), 0);
  return {Got(error.Get(), &IXMLDOMParseError::get_line), Got(error.Get(), &IXMLDOMParseError::get_linepos),
          Got(error.Get(), &IXMLDOMParseError::get_reason)};
}

std::wstring NonBmp(char32_t c) { return std::wstring(1, static_cast<wchar_t>(c)); }

}  // namespace

// Where the first error is: its line, and the column just past the token
// that shows it (libxml2's positions, handed on unchanged).
TEST(DomDocument, ParseErrorPositions) {
  struct Case {
    std::wstring text;
    LONG line;
    LONG column;
    const wchar_t* reasonPart;
  } cases[] = {
      {L"<a>\n  <b></c>\n</a>", 2, 10, L"mismatch"},
      {L"<a>\n\n\n<b x='1' x='2'/></a>", 4, 15, L"x"},
      {L"<a>&undefined;</a>", 1, 15, L"undefined"},
      {L"<a/>\n<b/>", 2, 1, L"Extra content"},
  };
  auto doc = NewDocument();
  for (const auto& c : cases) {
    const ParseFailure f = FailedLoad(doc.Get(), c.text);
    EXPECT_EQ(f.line, c.line) << f.reason.size();
    EXPECT_EQ(f.column, c.column) << c.line;
    EXPECT_NE(f.reason.find(c.reasonPart), std::wstring::npos) << c.line;
  }
  // A document without a root element parses but is refused with its own reason.
  const ParseFailure empty = FailedLoad(doc.Get(), L"<?xml version='1.0'?><!-- only -->");
  EXPECT_FALSE(empty.reason.empty());
}

// Characters above U+FFFF (one wchar_t here, four UTF-8 bytes in libxml2)
// survive every way in and out of the DOM, names included.
TEST(DomDocument, CharactersAboveTheBasicPlane) {
  const std::wstring smile = NonBmp(0x1F600);
  const std::wstring clef = NonBmp(0x1D11E);
  const std::wstring name = L"e" + NonBmp(0x10400);  // a valid XML name character
  auto doc = Parse(L"<r a='" + smile + L"'>" + clef + L"<" + name + L"/></r>");
  auto root = Root(doc.Get());
  EXPECT_EQ(Attribute(root.Get(), L"a"), smile);
  EXPECT_EQ(Got(root.Get(), &IXMLDOMNode::get_text), clef);
  // (libxml2's XPath reads names by older rules that stop below U+10000, so
  // the element is reached by the tree.)
  ComPtr<IXMLDOMNode> child;
  ASSERT_EQ(S_OK, root->get_lastChild(child.GetAddressOf()));
  EXPECT_EQ(Got(child.Get(), &IXMLDOMNode::get_nodeName), name);

  // Written through the DOM and the bulk writer, read back after a reload.
  ASSERT_EQ(S_OK, root->setAttribute(L"b", ComVariant(clef + smile)));
  ASSERT_EQ(S_OK, qz_dom::AppendTextElement(root.Get(), "v", smile + L"x", "t", "1"));
  const std::wstring xml = XmlOf(doc.Get());
  auto again = Parse(xml);
  EXPECT_EQ(XmlOf(again.Get()), xml);
  ComPtr<IXMLDOMNode> v;
  ASSERT_EQ(S_OK, again->selectSingleNode(L"r/v", v.GetAddressOf()));
  std::wstring fast;
  ASSERT_TRUE(qz_dom::GetFirstTextChild(qz_dom::RefOf(v.Get()), fast));
  EXPECT_EQ(fast, smile + L"x");
  ComPtr<IXMLDOMNode> b;
  ASSERT_EQ(S_OK, again->selectSingleNode(L"r/@b", b.GetAddressOf()));
  EXPECT_EQ(Got(b.Get(), &IXMLDOMNode::get_nodeValue).Text(), clef + smile);
}

// Bytes that are not UTF-8 in a file: the load fails with a reason and a
// position, and the reason is decoded without reading past it.
TEST(DomDocument, InvalidUtf8InAFile) {
  const auto path =
      std::filesystem::temp_directory_path() / ("qz_dom_bad_utf8_" + std::to_string(getpid()) + ".xml");
  {
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    std::fputs("<a>\n<b>ok</b>\n<c>\xc3\x28\xff\xfe</c></a>", f);
    std::fclose(f);
  }
  auto doc = NewDocument();
  VARIANT_BOOL ok = VARIANT_TRUE;
  EXPECT_EQ(S_FALSE, doc->load(path.wstring(), &ok));
  EXPECT_EQ(VARIANT_FALSE, ok);
  ComPtr<IXMLDOMParseError> error;
  ASSERT_EQ(S_OK, doc->get_parseError(error.GetAddressOf()));
  EXPECT_EQ(Got(error.Get(), &IXMLDOMParseError::get_line), 3);
  EXPECT_FALSE(Got(error.Get(), &IXMLDOMParseError::get_reason).empty());
  // Declared in another encoding, the same kind of byte is a character.
  {
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    std::fputs("<?xml version='1.0' encoding='ISO-8859-1'?><a>caf\xe9</a>", f);
    std::fclose(f);
  }
  ASSERT_EQ(S_OK, doc->load(path.wstring(), &ok));
  EXPECT_EQ(Got(doc.Get(), &IXMLDOMNode::get_text), L"caf\u00e9");
  std::filesystem::remove(path);
}

TEST(DomDocument, NamespacesOfParsedNodes) {
  auto doc = Parse(
      L"<r xmlns='urn:d' xmlns:p='urn:p'><p:e p:a='1' b='2'><inner xmlns='' c='3'/></p:e>"
      L"<p:x xmlns:p='urn:other'/></r>");
  struct Case {
    const wchar_t* query;
    const wchar_t* uri;
    const wchar_t* prefix;
    const wchar_t* baseName;
  } cases[] = {
      {L"*", L"urn:d", L"", L"r"},
      {L"*/q:e", L"urn:p", L"p", L"e"},
      {L"*/q:e/@q:a", L"urn:p", L"p", L"a"},
      {L"*/q:e/@b", L"", L"", L"b"},  // unprefixed attributes are in no namespace
      {L"*/q:e/inner", L"", L"", L"inner"},
      {L"*/o:x", L"urn:other", L"p", L"x"},  // the same prefix rebound in scope
  };
  ASSERT_EQ(S_OK, doc->setProperty(L"SelectionNamespaces", ComVariant(L"xmlns:q='urn:p' xmlns:o='urn:other'")));
  for (const auto& c : cases) {
    ComPtr<IXMLDOMNode> node;
    ASSERT_EQ(S_OK, doc->selectSingleNode(c.query, node.GetAddressOf())) << c.query;
    EXPECT_EQ(Got(node.Get(), &IXMLDOMNode::get_namespaceURI), c.uri) << c.query;
    EXPECT_EQ(Got(node.Get(), &IXMLDOMNode::get_prefix), c.prefix) << c.query;
    EXPECT_EQ(Got(node.Get(), &IXMLDOMNode::get_baseName), c.baseName) << c.query;
  }
  // XPath 1.0: an unprefixed name never matches an element in a default namespace.
  ComPtr<IXMLDOMNode> none;
  EXPECT_EQ(S_FALSE, doc->selectSingleNode(L"r", none.GetAddressOf()));
  // Namespace declarations read as attributes.
  auto root = Root(doc.Get());
  EXPECT_EQ(Attribute(root.Get(), L"xmlns:p"), L"urn:p");
  EXPECT_EQ(Attribute(root.Get(), L"xmlns"), L"urn:d");
  ComVariant missing;
  EXPECT_EQ(S_FALSE, root->getAttribute(L"xmlns:zz", &missing));
  EXPECT_EQ(missing.vt, VT_EMPTY);
}

TEST(DomDocument, AttributeValuesFromVariantsAndEscaping) {
  auto doc = Parse(L"<r/>");
  auto root = Root(doc.Get());
  VARIANT b;
  VariantInit(&b);
  b.vt = VT_BOOL;
  b.boolVal = VARIANT_TRUE;
  VARIANT i8;
  VariantInit(&i8);
  i8.vt = VT_I8;
  i8.llVal = -9'000'000'000;
  ASSERT_EQ(S_OK, root->setAttribute(L"i", ComVariant(42)));
  ASSERT_EQ(S_OK, root->setAttribute(L"l", i8));
  ASSERT_EQ(S_OK, root->setAttribute(L"b", b));
  ASSERT_EQ(S_OK, root->setAttribute(L"d", ComVariant(0.1)));
  ASSERT_EQ(S_OK, root->setAttribute(L"s", ComVariant(L"<&>\"'\t\n")));
  ASSERT_EQ(S_OK, root->setAttribute(L"i", ComVariant(L"again")));  // replaces, keeps its place
  EXPECT_EQ(XmlOf(root.Get()),
            L"<r i=\"again\" l=\"-9000000000\" b=\"true\" d=\"0.1\" s=\"&lt;&amp;&gt;&quot;'&#9;&#10;\"/>");
  // The escaped text reads back exactly after a reload.
  EXPECT_EQ(Attribute(Root(Parse(XmlOf(doc.Get())).Get()).Get(), L"s"), L"<&>\"'\t\n");
  // Entity-like text set on an attribute node is stored as written, not parsed.
  ComPtr<IXMLDOMAttribute> attr;
  ASSERT_EQ(S_OK, root->getAttributeNode(L"i", attr.GetAddressOf()));
  ASSERT_EQ(S_OK, attr->put_value(ComVariant(L"&amp;")));
  EXPECT_EQ(Got(attr.Get(), &IXMLDOMAttribute::get_value).Text(), L"&amp;");
  VARIANT unsupported;
  VariantInit(&unsupported);
  unsupported.vt = static_cast<VARTYPE>(0x4000 | VT_I4);  // by reference
  EXPECT_NE(S_OK, root->setAttribute(L"x", unsupported));
}

// Node lists, nodes of a reloaded document and detached nodes stay usable
// after every handle on the document is gone.
TEST(DomDocument, NodeListsAndReloadsOutliveTheDocument) {
  ComPtr<IXMLDOMNodeList> list;
  ComPtr<IXMLDOMNode> fromFirstLoad;
  {
    auto doc = Parse(L"<r><i>1</i><i>2</i><i>3</i></r>");
    ASSERT_EQ(S_OK, doc->selectNodes(L"r/i", list.GetAddressOf()));
    ASSERT_EQ(S_OK, doc->selectSingleNode(L"r", fromFirstLoad.GetAddressOf()));
    VARIANT_BOOL ok = VARIANT_FALSE;
    ASSERT_EQ(S_OK, doc->loadXML(L"<other/>", &ok));  // the first tree is retired, not freed
  }
  std::wstring joined;
  ComPtr<IXMLDOMNode> item;
  while (list->nextNode(item.ReleaseAndGetAddressOf()) == S_OK) joined += Got(item.Get(), &IXMLDOMNode::get_text);
  EXPECT_EQ(joined, L"123");
  EXPECT_EQ(S_FALSE, list->get_item(3, item.ReleaseAndGetAddressOf()));
  EXPECT_FALSE(item);
  ASSERT_EQ(S_OK, list->reset());
  ASSERT_EQ(S_OK, list->nextNode(item.ReleaseAndGetAddressOf()));
  // A node of the retired tree can still be edited and serialised.
  ASSERT_EQ(S_OK, fromFirstLoad->put_text(L"replaced"));
  EXPECT_EQ(XmlOf(fromFirstLoad.Get()), L"<r>replaced</r>");
}
