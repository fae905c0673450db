#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <vector>

#include <unistd.h>

#include "qz_dsc/DataSourceUnitDecoder.h"
#include "qz_dsc/DataSourceUnitEncoder.h"
#include "GetterResult.h"
#include "LogCapture.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "xml/DataSourceUnitMgrDecoder.h"
#include "xml/DataSourceUnitMgrEncoder.h"

using namespace qz_dsc;
using qz_com::ComPtr;
using dscore_testing::Got;
using dscore_testing::LogCapture;

namespace {

std::wstring XmlOf(IXMLDOMNode* node) {
  std::wstring xml;
  EXPECT_EQ(S_OK, node->get_xml(&xml));
  return xml;
}

// Writes a list with one internal source of two streams and two external ones.
ComPtr<IXMLDOMDocument> WriteSampleList() {
  ComPtr<IXMLDOMDocument> doc;
  EXPECT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  DataSourceUnitMgrEncoder mgr(doc.Get());
  EXPECT_TRUE(mgr.CreateDescriptionUnit());

  DataSourceUnitEncoder internal(mgr.GetDescriptionUnit());
  internal.SetBasePath(L"/data/docs/list.xml");
  EXPECT_TRUE(internal.CreateDataSource(L"Car \u00e9", false, L"/ignored.csv", L"QZ.CSV", L"{}", true));
  DataSourceStreamEncoder speed;
  EXPECT_TRUE(internal.CreateStreamEncoder(speed));
  EXPECT_TRUE(speed.CreateStream(7, qz_ds::StreamBasicType_Float, L"Speed"));
  EXPECT_TRUE(speed.SetFreeze(100, 25'000'000));
  EXPECT_TRUE(speed.SetDataVideoOffset(-1'234'567'890'123LL));
  EXPECT_TRUE(speed.SetDefaultValue(L"0.5"));
  EXPECT_TRUE(speed.SetFirstSampleTime(30'000'000'000LL));
  EXPECT_TRUE(speed.SetFlowType(1));
  EXPECT_TRUE(speed.SetRange(L"-1", L"1"));
  EXPECT_TRUE(speed.SetValueUnit(L"m/s"));
  EXPECT_TRUE(speed.AddSample(L"0.25", 2'500'000));
  EXPECT_TRUE(speed.AddSample(L"1 < 2 & \"3\"", 25'000'000));
  DataSourceStreamEncoder label;
  EXPECT_TRUE(internal.CreateStreamEncoder(label));
  EXPECT_TRUE(label.CreateStream(8, qz_ds::StreamBasicType_String, L"Label"));
  EXPECT_TRUE(label.SetFreeze(0, 0));
  EXPECT_TRUE(label.SetDataVideoOffset(0));
  EXPECT_TRUE(label.SetDefaultValue(L""));
  EXPECT_FALSE(label.SetFirstSampleTime(0));  // nothing written for 0
  EXPECT_TRUE(label.SetFlowType(2));
  EXPECT_TRUE(label.SetRange(L"", nullptr));
  EXPECT_TRUE(label.SetValueUnit(L""));
  EXPECT_TRUE(label.AddSample(L"", 0));

  DataSourceUnitEncoder json(mgr.GetDescriptionUnit());
  json.SetBasePath(L"/data/docs/list.xml");
  EXPECT_TRUE(json.CreateDataSource(L"Ext1", true, L"/data/csv/run1.csv", L"QZ.CSV", L"{\"sep\":\";\"}", true));
  DataSourceUnitEncoder xml(mgr.GetDescriptionUnit());
  xml.SetBasePath(L"/data/docs/list.xml");
  EXPECT_TRUE(xml.CreateDataSource(L"Ext2", true, L"relative/run2.csv", L"QZ.CSV",
                                   L"<?xml version=\"1.0\"?><settings sep=\";\"><col n=\"1\"/></settings>", false));
  return doc;
}

constexpr wchar_t kExpectedList[] =
    L"<mpeg7:Mpeg7 xmlns:mpeg7=\"urn:mpeg:mpeg7:schema:2001\">"
    L"<mpeg7:DescriptionUnit xmlns:xsi=\"urn:mpeg:mpeg7:schema:2001\" xsi:type=\"DataSourceListType\" "
    L"versionNbr=\"1 0\">"
    L"<DataSource name=\"Car \u00e9\">"
    L"<DataSourceStream xsi:type=\"DataSourceFloatStreamType\" name=\"Speed\" StreamClassID=\"7\" limitCount=\"100\" "
    L"freezeDelay=\"2 2500\" dataVideoOffset64=\"-1234567890123\" defaultValue=\"0.5\" "
    L"firstSampleTime=\"30000000000\" flowType=\"1\" lowRange=\"-1\" highRange=\"1\" valueUnit=\"m/s\">"
    L"<Value TimeStamp=\"0 250\">0.25</Value>"
    L"<Value TimeStamp=\"2 2500\">1 &lt; 2 &amp; \"3\"</Value>"
    L"</DataSourceStream>"
    L"<DataSourceStream xsi:type=\"DataSourceStringStreamType\" name=\"Label\" StreamClassID=\"8\" limitCount=\"0\" "
    L"freezeDelay=\"0 0\" dataVideoOffset64=\"0\" defaultValue=\"\" flowType=\"2\" valueUnit=\"\">"
    L"<Value TimeStamp=\"0 0\"/>"
    L"</DataSourceStream>"
    L"</DataSource>"
    L"<DataSource name=\"Ext1\" isExternal=\"yes\" dataFilename=\"../csv/run1.csv\" converterName=\"QZ.CSV\" "
    L"PersistencyDataJSON=\"{&quot;sep&quot;:&quot;;&quot;}\"/>"
    L"<DataSource name=\"Ext2\" isExternal=\"yes\" dataFilename=\"relative/run2.csv\" converterName=\"QZ.CSV\">"
    L"<PersistencyData><settings sep=\";\"><col n=\"1\"/></settings></PersistencyData>"
    L"</DataSource>"
    L"</mpeg7:DescriptionUnit></mpeg7:Mpeg7>\n";

// Reads the list back and checks every value the sample list holds.
void ExpectSampleListReadsBack(IXMLDOMNode* doc, const std::wstring& baseFolder) {
  ComPtr<IXMLDOMElement> root;
  ComPtr<IXMLDOMDocument> asDoc;
  ASSERT_EQ(S_OK, ComPtr<IXMLDOMNode>(doc).As(&asDoc));
  ASSERT_EQ(S_OK, asDoc->get_documentElement(root.GetAddressOf()));
  DataSourceUnitMgrDecoder mgr(baseFolder);
  ASSERT_TRUE(mgr.Locate(root.Get()));
  std::vector<DataSourceUnitDecoder> units;
  ASSERT_TRUE(mgr.GetUnitDecoders(units));
  ASSERT_EQ(units.size(), 3u);

  using D = DataSourceStreamDecoder;
  EXPECT_EQ(Got(units[0], &DataSourceUnitDecoder::GetId), L"Car \u00e9");
  EXPECT_FALSE(units[0].IsDataSourceExternal());
  auto streams = units[0].GetDataSourceStreamDecoders();
  ASSERT_EQ(streams.size(), 2u);
  const DataSourceStreamDecoder& speed = streams[0];
  std::wstring text, low, high;
  std::int32_t limit = 0;
  std::int64_t t = 0;
  EXPECT_EQ(Got(speed, &D::GetName), L"Speed");
  EXPECT_TRUE(speed.IsOfType(qz_ds::StreamBasicType_Float));
  EXPECT_FALSE(speed.IsOfType(qz_ds::StreamBasicType_Int));
  EXPECT_EQ(Got(speed, &D::GetStreamClassId), 7);
  ASSERT_TRUE(speed.GetFreeze(limit, t));
  EXPECT_EQ(limit, 100);
  EXPECT_EQ(t, 45'000'000);  // 2.5 s comes back as 4.5 s
  EXPECT_EQ(Got(speed, &D::GetDataVideoOffset), -1'234'567'890'123LL);
  EXPECT_EQ(Got(speed, &D::GetDefaultValue), L"0.5");
  EXPECT_EQ(Got(speed, &D::GetFirstSampleTime), 30'000'000'000LL);
  EXPECT_EQ(Got(speed, &D::GetFlowType), 1);
  ASSERT_TRUE(speed.GetRange(low, high));
  EXPECT_EQ(low + L"|" + high, L"-1|1");
  EXPECT_EQ(Got(speed, &D::GetValueUnit), L"m/s");
  EXPECT_EQ(Got(speed, &D::GetSampleCount), 2);
  ASSERT_TRUE(speed.GetSample(0, text, t));
  EXPECT_EQ(text + L"@" + std::to_wstring(t), L"0.25@2500000");
  ASSERT_TRUE(speed.GetSample(1, text, t));
  EXPECT_EQ(text + L"@" + std::to_wstring(t), L"1 < 2 & \"3\"@45000000");

  const DataSourceStreamDecoder& label = streams[1];
  EXPECT_TRUE(label.IsOfType(qz_ds::StreamBasicType_String));
  EXPECT_EQ(Got(label, &D::GetFirstSampleTime), std::nullopt);
  EXPECT_FALSE(label.GetRange(low, high));
  EXPECT_EQ(Got(label, &D::GetFlowType), 2);
  ASSERT_TRUE(label.GetSample(0, text, t));
  EXPECT_EQ(text, L"");

  std::wstring file, converter, persistency;
  bool isJson = false;
  EXPECT_EQ(Got(units[1], &DataSourceUnitDecoder::GetId), L"Ext1");
  ASSERT_TRUE(units[1].GetExternalDataSourceAttributes(file, converter, persistency, isJson));
  EXPECT_EQ(file + L"|" + converter + L"|" + persistency, L"/data/csv/run1.csv|QZ.CSV|{\"sep\":\";\"}");
  EXPECT_TRUE(isJson);
  EXPECT_TRUE(units[1].GetDataSourceStreamDecoders().empty());
  ASSERT_TRUE(units[2].GetExternalDataSourceAttributes(file, converter, persistency, isJson));
  EXPECT_EQ(file, L"/data/docs/relative/run2.csv");
  EXPECT_EQ(persistency, L"<settings sep=\";\"><col n=\"1\"/></settings>");
  EXPECT_FALSE(isJson);
}

// Per process, so that builds running their tests side by side do not meet.
std::filesystem::path TempFile(const char* name) {
  return std::filesystem::temp_directory_path() / (std::to_string(getpid()) + "_" + name);
}

}  // namespace

TEST(DataSourceEncoder, WritesTheDocumentByteForByteAndItSurvivesTripsThroughTextAndFile) {
  auto doc = WriteSampleList();
  EXPECT_EQ(XmlOf(doc.Get()), kExpectedList);
  ExpectSampleListReadsBack(doc.Get(), L"/data/docs");
  ComPtr<IXMLDOMDocument> fromText;
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(fromText.GetAddressOf()));
  VARIANT_BOOL ok = VARIANT_FALSE;
  ASSERT_EQ(S_OK, fromText->loadXML(XmlOf(doc.Get()), &ok));
  EXPECT_EQ(XmlOf(fromText.Get()), kExpectedList);
  ExpectSampleListReadsBack(fromText.Get(), L"/data/docs");

  const auto path = TempFile("dscore_xml_roundtrip.xml");
  ASSERT_EQ(S_OK, doc->save(path.wstring()));
  ComPtr<IXMLDOMDocument> fromFile;
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(fromFile.GetAddressOf()));
  ASSERT_EQ(S_OK, fromFile->load(path.wstring(), &ok));
  EXPECT_EQ(XmlOf(fromFile.Get()), kExpectedList);
  ExpectSampleListReadsBack(fromFile.Get(), L"/data/docs");
  std::filesystem::remove(path);
}

TEST(DataSourceEncoder, UnderAnExistingElementOnlyTheDescriptionUnitIsAdded) {
  ComPtr<IXMLDOMDocument> doc;
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  VARIANT_BOOL ok = VARIANT_FALSE;
  ASSERT_EQ(S_OK, doc->loadXML(L"<host><other/></host>", &ok));
  ComPtr<IXMLDOMElement> host;
  doc->get_documentElement(host.GetAddressOf());
  DataSourceUnitMgrEncoder mgr(host.Get());
  ASSERT_TRUE(mgr.CreateDescriptionUnit());
  EXPECT_EQ(XmlOf(host.Get()),
            L"<host><other/><mpeg7:DescriptionUnit xmlns:mpeg7=\"urn:mpeg:mpeg7:schema:2001\" "
            L"xmlns:xsi=\"urn:mpeg:mpeg7:schema:2001\" xsi:type=\"DataSourceListType\" versionNbr=\"1 0\"/></host>");
  DataSourceUnitMgrEncoder nothing(nullptr);
  EXPECT_FALSE(nothing.CreateDescriptionUnit());
}

TEST(DataSourceEncoder, UnparsablePersistencyIsLoggedAndLeftOut) {
  ComPtr<IXMLDOMDocument> doc;
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  DataSourceUnitMgrEncoder mgr(doc.Get());
  ASSERT_TRUE(mgr.CreateDescriptionUnit());
  DataSourceUnitEncoder unit(mgr.GetDescriptionUnit());
  LogCapture log;
  ASSERT_TRUE(unit.CreateDataSource(L"E", true, L"/f.csv", L"C", L"<broken>", false));
  ASSERT_EQ(log.Count(), 1u);
  const auto record = log.Records()[0];
  EXPECT_EQ(record.message, L"QZCheckCondition: success == ((VARIANT_BOOL)-1)");
  EXPECT_EQ(std::make_pair(record.level, record.category), std::make_pair(1, 0));
  // Text that cannot even be handed to the parser fails the HRESULT check.
  DataSourceUnitEncoder unit2(mgr.GetDescriptionUnit());
  ASSERT_TRUE(unit2.CreateDataSource(L"F", true, L"/f.csv", L"C", std::wstring(L"<a/>\0", 5), false));
  ASSERT_EQ(log.Records().size(), 2u);
  EXPECT_EQ(log.Records()[1].message, L"QZCheckCondition: (((HRESULT)(hr)) >= 0)");
  EXPECT_EQ(XmlOf(unit.GetNode().GetElement()),
            L"<DataSource name=\"E\" isExternal=\"yes\" dataFilename=\"/f.csv\" converterName=\"C\"/>");
}

TEST(DataSourceEncoder, FailuresWriteNothingFurther) {
  DataSourceStreamEncoder detached;
  EXPECT_FALSE(detached.CreateStream(1, qz_ds::StreamBasicType_Int, L"s"));
  EXPECT_FALSE(detached.SetFreeze(1, 0));
  EXPECT_FALSE(detached.AddSample(L"1", 0));
  EXPECT_FALSE(detached.SetRange(L"a", nullptr));
  EXPECT_TRUE(detached.SetRange(nullptr, L""));  // nothing to write
  DataSourceUnitEncoder noUnit;
  EXPECT_FALSE(noUnit.CreateDataSource(L"x", false, L"", L"", L"", false));
  EXPECT_FALSE(noUnit.CreateStreamEncoder(detached));

  auto doc = WriteSampleList();
  ComPtr<IXMLDOMNode> unitNode;
  ASSERT_EQ(S_OK, doc->selectSingleNode(L"mpeg7:Mpeg7/mpeg7:DescriptionUnit", unitNode.GetAddressOf()));
  DataSourceUnitEncoder unit(unitNode.Get());
  ASSERT_TRUE(unit.CreateDataSource(L"New", false, L"", L"", L"", false));
  DataSourceStreamEncoder stream;
  ASSERT_TRUE(unit.CreateStreamEncoder(stream));
  EXPECT_FALSE(stream.CreateStream(1, static_cast<qz_ds::StreamBasicType>(13), L"s"));
  EXPECT_EQ(XmlOf(unit.GetNode().GetElement()), L"<DataSource name=\"New\"/>");
  EXPECT_TRUE(stream.SetInterpolationType(L"linear"));  // written on the data source: no stream was created
  EXPECT_EQ(XmlOf(unit.GetNode().GetElement()), L"<DataSource name=\"New\" interpolationType=\"linear\"/>");
}

TEST(DataSourceEncoder, ExternalFileNamesRelativeOnlyOnTheSameRoot) {
  ComPtr<IXMLDOMDocument> doc;
  ASSERT_EQ(S_OK, DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()));
  DataSourceUnitMgrEncoder mgr(doc.Get());
  ASSERT_TRUE(mgr.CreateDescriptionUnit());
  auto fileNameWritten = [&](const std::wstring& base, const std::wstring& file) {
    DataSourceUnitEncoder unit(mgr.GetDescriptionUnit());
    unit.SetBasePath(base);
    EXPECT_TRUE(unit.CreateDataSource(L"E", true, file, L"C", L"", false));
    std::wstring written;
    EXPECT_TRUE(unit.GetNode().GetStringAttribute(L"dataFilename", written));
    return written;
  };
  EXPECT_EQ(fileNameWritten(L"/data/docs/list.xml", L"/data/docs/a.csv"), L"./a.csv");
  EXPECT_EQ(fileNameWritten(L"/data/docs/list.xml", L"/other/a.csv"), L"../../other/a.csv");
  EXPECT_EQ(fileNameWritten(L"", L"/data/docs/a.csv"), L"/data/docs/a.csv");
  EXPECT_EQ(fileNameWritten(L"/data/docs/list.xml", L"a.csv"), L"a.csv");
  EXPECT_EQ(fileNameWritten(L"/data/docs/list.xml", L"/" + std::wstring(300, L'x')), L"/" + std::wstring(300, L'x'));
}
