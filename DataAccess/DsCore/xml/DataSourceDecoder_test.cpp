#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "GetterResult.h"
#include "qz_dsc/DataSourceUnitDecoder.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "xml/DataSourceUnitMgrDecoder.h"

using namespace qz_dsc;
using dscore_testing::Got;
using qz_com::ComPtr;

namespace {

// A list document around the given description unit attributes and content.
std::wstring ListDocument(const std::wstring& unitAttributes, const std::wstring& content,
                          const std::wstring& xsiUri = L"urn:mpeg:mpeg7:schema:2001") {
  return L"<mpeg7:Mpeg7 xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='" + xsiUri +
         L"'>\n  <mpeg7:DescriptionUnit " + unitAttributes + L">\n" + content +
         L"\n  </mpeg7:DescriptionUnit>\n</mpeg7:Mpeg7>";
}

ComPtr<IXMLDOMElement> Load(const std::wstring& text) {
  ComPtr<IXMLDOMDocument> doc;
  EXPECT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  VARIANT_BOOL ok = VARIANT_FALSE;
  EXPECT_EQ(S_OK, doc->loadXML(text, &ok));
  ComPtr<IXMLDOMElement> root;
  doc->get_documentElement(root.GetAddressOf());
  return root;
}

// Locates and enumerates; empty on failure.
std::vector<DataSourceUnitDecoder> Units(const std::wstring& text, bool* located = nullptr,
                                         const std::wstring& base = L"/data/docs") {
  auto root = Load(text);
  DataSourceUnitMgrDecoder mgr(base);
  std::vector<DataSourceUnitDecoder> units;
  const bool found = root && mgr.Locate(root.Get());
  if (located != nullptr) *located = found;
  if (found) {
    EXPECT_TRUE(mgr.GetUnitDecoders(units));
  }
  return units;
}

DataSourceStreamDecoder OneStream(const std::wstring& streamAttributes, const std::wstring& content = L"") {
  auto units = Units(ListDocument(L"xsi:type='DataSourceListType'",
                                  L"<DataSource name='d'><DataSourceStream " + streamAttributes + L">" + content +
                                      L"</DataSourceStream></DataSource>"));
  EXPECT_EQ(units.size(), 1u);
  auto streams = units.at(0).GetDataSourceStreamDecoders();
  EXPECT_EQ(streams.size(), 1u);
  return streams.at(0);
}

using Sample = std::optional<std::pair<std::wstring, std::int64_t>>;
Sample SampleAt(const DataSourceStreamDecoder& s, std::int32_t index) {
  std::wstring text = L"old";
  std::int64_t t = 0;
  return s.GetSample(index, text, t) ? Sample({text, t}) : std::nullopt;
}

using D = DataSourceStreamDecoder;

}  // namespace

TEST(DataSourceUnitMgrDecoder, VersionIsNeverChecked) {
  for (const std::wstring attrs : {L"xsi:type='DataSourceListType' versionNbr='1 0'",
                                   L"xsi:type='DataSourceListType' versionNbr='7'", L"xsi:type='DataSourceListType'"}) {
    bool located = false;
    auto units = Units(ListDocument(attrs, L"<DataSource name='a'/>"), &located);
    EXPECT_TRUE(located);
    EXPECT_EQ(units.size(), 1u);
  }
}

TEST(DataSourceUnitMgrDecoder, FindsOnlyTheListTypeInTheMpeg7Namespace) {
  bool located = true;
  Units(ListDocument(L"xsi:type='Other'", L""), &located);
  EXPECT_FALSE(located);
  located = true;
  Units(L"<mpeg7:Mpeg7 xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001'/>", &located);
  EXPECT_FALSE(located);
  // "xsi" bound to the XML Schema instance namespace in the file does not
  // match the query, which binds "xsi" to the MPEG-7 namespace.
  located = true;
  Units(ListDocument(L"xsi:type='DataSourceListType'", L"", L"http://www.w3.org/2001/XMLSchema-instance"), &located);
  EXPECT_FALSE(located);
  // The MPEG-7 namespace under another prefix matches the query, but the
  // type is read back by its qualified name "xsi:type" and is not found.
  located = true;
  Units(L"<m:Mpeg7 xmlns:m='urn:mpeg:mpeg7:schema:2001'><m:DescriptionUnit m:type='DataSourceListType'/></m:Mpeg7>",
        &located);
  EXPECT_FALSE(located);
  // The description unit is searched among the children of the given node only.
  auto root = Load(ListDocument(L"xsi:type='DataSourceListType'", L""));
  ComPtr<IXMLDOMDocument> doc;
  root->get_ownerDocument(doc.GetAddressOf());
  DataSourceUnitMgrDecoder mgr;
  EXPECT_FALSE(mgr.Locate(doc.Get()));
  EXPECT_FALSE(mgr.Locate(nullptr));
  std::vector<DataSourceUnitDecoder> units;
  EXPECT_FALSE(mgr.GetUnitDecoders(units));
}

TEST(DataSourceUnitMgrDecoder, EveryChildGetsADecoder) {
  auto units = Units(ListDocument(L"xsi:type='DataSourceListType'",
                                  L"<DataSource name='a'/><!-- note --><DataSource name='b'/><Other name='c'/>"));
  ASSERT_EQ(units.size(), 4u);
  EXPECT_EQ(Got(units[0], &DataSourceUnitDecoder::GetId), L"a");
  EXPECT_EQ(Got(units[1], &DataSourceUnitDecoder::GetId), std::nullopt);
  EXPECT_FALSE(units[1].IsDataSourceExternal());
  EXPECT_TRUE(units[1].GetDataSourceStreamDecoders().empty());
  EXPECT_EQ(Got(units[2], &DataSourceUnitDecoder::GetId), L"b");
  EXPECT_EQ(Got(units[3], &DataSourceUnitDecoder::GetId), std::nullopt);  // not a "DataSource"
  EXPECT_EQ(units[0].GetBasePath(), L"/data/docs");
}

TEST(DataSourceUnitDecoder, ExternalOnlyForExactlyYes) {
  auto units = Units(ListDocument(L"xsi:type='DataSourceListType'",
                                  L"<DataSource name='a' isExternal='yes' dataFilename='a.csv' converterName='C'/>"
                                  L"<DataSource name='b' isExternal='Yes' dataFilename='b.csv' converterName='C'/>"
                                  L"<DataSource name='c' isExternal='true'/><DataSource name='d'/>"
                                  L"<DataSource isExternal='yes'/>"));
  ASSERT_EQ(units.size(), 5u);
  EXPECT_TRUE(units[0].IsDataSourceExternal());
  EXPECT_FALSE(units[1].IsDataSourceExternal());
  EXPECT_FALSE(units[2].IsDataSourceExternal());
  EXPECT_FALSE(units[3].IsDataSourceExternal());
  EXPECT_EQ(Got(units[4], &DataSourceUnitDecoder::GetId), std::nullopt);  // no name
  std::wstring file, converter, persistency;
  bool json = true;
  EXPECT_FALSE(units[1].GetExternalDataSourceAttributes(file, converter, persistency, json));
}

TEST(DataSourceUnitDecoder, ExternalAttributesAndFileNames) {
  auto units = Units(ListDocument(
      L"xsi:type='DataSourceListType'",
      L"<DataSource name='rel' isExternal='yes' dataFilename='../csv/a.csv' converterName='QZ.CSV'/>"
      L"<DataSource name='abs' isExternal='yes' dataFilename='/abs/b.csv' converterName='QZ.CSV' "
      L"PersistencyDataJSON='{}'/>"
      L"<DataSource name='noconv' isExternal='yes' dataFilename='c.csv'/>"
      L"<DataSource name='nofile' isExternal='yes' converterName='X'/>"
      L"<DataSource name='xml' isExternal='yes' dataFilename='d.csv' converterName='X'>"
      L"<PersistencyData><s a='1'/><!-- c --></PersistencyData></DataSource>"
      L"<DataSource name='long' isExternal='yes' dataFilename='" +
          std::wstring(300, L'x') + L"' converterName='X'/>"));
  ASSERT_EQ(units.size(), 6u);
  std::wstring file = L"old", converter = L"old", persistency = L"old";
  bool json = true;
  ASSERT_TRUE(units[0].GetExternalDataSourceAttributes(file, converter, persistency, json));
  EXPECT_EQ(file, L"/data/csv/a.csv");
  EXPECT_EQ(converter, L"QZ.CSV");
  EXPECT_EQ(persistency, L"");
  EXPECT_FALSE(json);
  ASSERT_TRUE(units[1].GetExternalDataSourceAttributes(file, converter, persistency, json));
  EXPECT_EQ(file, L"/abs/b.csv");
  EXPECT_EQ(persistency, L"{}");
  EXPECT_TRUE(json);
  EXPECT_FALSE(units[2].GetExternalDataSourceAttributes(file, converter, persistency, json));
  EXPECT_FALSE(units[3].GetExternalDataSourceAttributes(file, converter, persistency, json));
  ASSERT_TRUE(units[4].GetExternalDataSourceAttributes(file, converter, persistency, json));
  EXPECT_EQ(persistency, L"<s a=\"1\"/><!-- c -->");
  EXPECT_FALSE(json);
  EXPECT_FALSE(units[5].GetExternalDataSourceAttributes(file, converter, persistency, json));  // too long

  // Without a base path a relative name stays as it is.
  auto bare = Units(ListDocument(L"xsi:type='DataSourceListType'",
                                 L"<DataSource name='rel' isExternal='yes' dataFilename='../a.csv' converterName='C'/>"),
                    nullptr, L"");
  ASSERT_EQ(bare.size(), 1u);
  ASSERT_TRUE(bare[0].GetExternalDataSourceAttributes(file, converter, persistency, json));
  EXPECT_EQ(file, L"../a.csv");
}

TEST(DataSourceStreamDecoder, ReadsEveryAttribute) {
  auto s = OneStream(
      L"xsi:type='DataSourceVector2StreamType' name='Pos' StreamClassID=' 12' limitCount='5' freezeDelay='1 1500' "
      L"dataVideoOffset64='-9223372036854775808' defaultValue='0 0' firstSampleTime='9223372036854775807' "
      L"flowType='2' lowRange='0' highRange='10' valueUnit='px'");
  EXPECT_EQ(Got(s, &D::GetName), L"Pos");
  EXPECT_EQ(Got(s, &D::GetType), L"DataSourceVector2StreamType");
  EXPECT_TRUE(s.IsOfType(qz_ds::StreamBasicType_Vector2));
  EXPECT_FALSE(s.IsOfType(qz_ds::StreamBasicType_Vector3));
  EXPECT_FALSE(s.IsOfType(static_cast<qz_ds::StreamBasicType>(-1)));
  EXPECT_EQ(Got(s, &D::GetStreamClassId), 12);
  std::int32_t limit = 0;
  std::int64_t t = 0;
  ASSERT_TRUE(s.GetFreeze(limit, t));
  EXPECT_EQ(std::make_pair(limit, t), std::make_pair(5, std::int64_t{25'000'000}));
  EXPECT_EQ(Got(s, &D::GetDataVideoOffset), INT64_MIN);
  EXPECT_EQ(Got(s, &D::GetFirstSampleTime), INT64_MAX);
  EXPECT_EQ(Got(s, &D::GetDefaultValue), L"0 0");
  EXPECT_EQ(Got(s, &D::GetFlowType), 2);
  std::wstring low, high;
  ASSERT_TRUE(s.GetRange(low, high));
  EXPECT_EQ(low + L"|" + high, L"0|10");
  EXPECT_EQ(Got(s, &D::GetValueUnit), L"px");
  EXPECT_EQ(Got(s, &D::GetSampleCount), 0);
}

TEST(DataSourceStreamDecoder, FailureRules) {
  auto s = OneStream(L"name='n' flowType='3' lowRange='a' freezeDelay='5' limitCount='x' firstSampleTime='' "
                     L"dataVideoOffset64='9223372036854775808'");
  std::int32_t i = 77, limit = 77;
  std::int64_t t = 77;
  std::wstring low, high = L"untouched";
  EXPECT_FALSE(s.GetFlowType(i));
  EXPECT_EQ(i, 77);
  EXPECT_FALSE(s.GetRange(low, high));
  EXPECT_EQ(low, L"a");  // read before the missing high range ends it
  EXPECT_EQ(high, L"untouched");
  EXPECT_FALSE(s.GetFreeze(limit, t));
  EXPECT_FALSE(s.GetFirstSampleTime(t));
  EXPECT_FALSE(s.GetDataVideoOffset(t));
  EXPECT_EQ(t, 77);
  EXPECT_FALSE(s.GetStreamClassId(i));
  EXPECT_FALSE(s.IsOfType(qz_ds::StreamBasicType_None));  // no type at all
  EXPECT_EQ(Got(s, &D::GetName), L"n");
  EXPECT_EQ(Got(OneStream(L"flowType='0'"), &D::GetFlowType), std::nullopt);
  EXPECT_EQ(Got(OneStream(L"flowType='1'"), &D::GetFlowType), 1);
  EXPECT_FALSE(OneStream(L"limitCount='1' freezeDelay='1 x'").GetFreeze(limit, t));
  EXPECT_FALSE(OneStream(L"freezeDelay='1 1'").GetFreeze(limit, t));
  EXPECT_FALSE(OneStream(L"highRange='1'").GetRange(low, high));

  // A child that is not a "DataSourceStream" element.
  auto units = Units(ListDocument(L"xsi:type='DataSourceListType'",
                                  L"<DataSource name='d'><!-- c --><Stream name='x'/></DataSource>"));
  auto streams = units.at(0).GetDataSourceStreamDecoders();
  ASSERT_EQ(streams.size(), 2u);
  EXPECT_EQ(Got(streams[0], &D::GetName), std::nullopt);
  EXPECT_EQ(Got(streams[1], &D::GetName), std::nullopt);
  EXPECT_EQ(Got(streams[0], &D::GetSampleCount), 0);
  EXPECT_EQ(SampleAt(streams[0], 0), std::nullopt);
}

TEST(DataSourceStreamDecoder, SamplesByIndex) {
  auto s = OneStream(L"name='n'",
                     L"<Value TimeStamp='1 1500'>a &amp; b</Value><!-- x --><Value TimeStamp='0 250'/>"
                     L"<Value>no time</Value><Other TimeStamp='0 0'>z</Other><Value TimeStamp='7'>bad</Value>"
                     L"<Value TimeStamp='-1 500'> </Value>");
  EXPECT_EQ(Got(s, &D::GetSampleCount), 5);
  const Sample expected[] = {Sample({L"a & b", 25'000'000}), Sample({L"", 2'500'000}), std::nullopt, std::nullopt,
                             Sample({L" ", -5'000'000}), std::nullopt};
  for (std::int32_t i = -1; i <= 5; ++i) {
    EXPECT_EQ(SampleAt(s, i), i < 0 ? std::nullopt : expected[i]) << i;
  }
  // Copies share the gathered list and the document.
  DataSourceStreamDecoder copy = s;
  EXPECT_EQ(SampleAt(copy, 0), expected[0]);
  // Pointed at another stream, a decoder gathers that stream's samples.
  auto other = OneStream(L"name='o'", L"<Value TimeStamp='0 9'>only</Value>");
  copy.SetNode(other.GetNode().GetElement());
  EXPECT_EQ(Got(copy, &D::GetSampleCount), 1);
  EXPECT_EQ(SampleAt(copy, 0), Sample({L"only", 90'000}));
  copy.SetNode(nullptr);
  EXPECT_EQ(Got(copy, &D::GetSampleCount), 0);
  EXPECT_EQ(Got(s, &D::GetSampleCount), 5);  // the original keeps its own
}

TEST(DataSourceStreamDecoder, DecodersOutliveTheDocumentHandles) {
  std::vector<DataSourceStreamDecoder> streams;
  {
    auto units = Units(ListDocument(L"xsi:type='DataSourceListType'",
                                    L"<DataSource name='d'><DataSourceStream name='s'>"
                                    L"<Value TimeStamp='0 1'>v</Value></DataSourceStream></DataSource>"));
    streams = units.at(0).GetDataSourceStreamDecoders();
  }
  EXPECT_EQ(SampleAt(streams.at(0), 0), Sample({L"v", 10'000}));
}

TEST(DataSourceDecoder, MalformedDocumentFailsWithTheParsersMessage) {
  ComPtr<IXMLDOMDocument> doc;
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  VARIANT_BOOL ok = VARIANT_TRUE;
  EXPECT_EQ(S_FALSE, doc->loadXML(ListDocument(L"xsi:type='DataSourceListType'", L"<DataSource name='a'>"), &ok));
  EXPECT_EQ(ok, VARIANT_FALSE);
  ComPtr<IXMLDOMParseError> error;
  ASSERT_EQ(S_OK, doc->get_parseError(error.GetAddressOf()));
  std::wstring reason;
  LONG line = 0;
  error->get_reason(&reason);
  error->get_line(&line);
  EXPECT_NE(reason.find(L"DataSource"), std::wstring::npos);
  EXPECT_EQ(line, 4);
  ComPtr<IXMLDOMElement> root;
  EXPECT_EQ(S_FALSE, doc->get_documentElement(root.GetAddressOf()));
  DataSourceUnitMgrDecoder mgr;
  EXPECT_FALSE(mgr.Locate(doc.Get()));
}

TEST(DataSourceDecoder, BundledExampleLoads) {
  ComPtr<IXMLDOMDocument> doc;
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  VARIANT_BOOL ok = VARIANT_FALSE;
  const std::string path = DSCORE_EXAMPLES_DIR "/datasource_list.xml";
  ASSERT_EQ(S_OK, doc->load(std::wstring(path.begin(), path.end()), &ok));
  ComPtr<IXMLDOMElement> root;
  doc->get_documentElement(root.GetAddressOf());
  DataSourceUnitMgrDecoder mgr(L"/recordings");
  ASSERT_TRUE(mgr.Locate(root.Get()));
  std::vector<DataSourceUnitDecoder> units;
  ASSERT_TRUE(mgr.GetUnitDecoders(units));
  ASSERT_EQ(units.size(), 3u);
  auto streams = units[0].GetDataSourceStreamDecoders();
  ASSERT_EQ(streams.size(), 5u);
  EXPECT_EQ(Got(streams[0], &D::GetSampleCount), 200);
  EXPECT_EQ(SampleAt(streams[0], 2), Sample({L"1", 5'000'000}));
  std::wstring file, converter, persistency;
  bool json = false;
  ASSERT_TRUE(units[2].GetExternalDataSourceAttributes(file, converter, persistency, json));
  EXPECT_EQ(file, L"/recordings/heart_rate.csv");
  EXPECT_EQ(persistency, L"{\"separator\":\";\"}");
  EXPECT_TRUE(json);
}
