#include "qz_dsc/DataSourceListFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>

#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamExtended.h"
#include "qz_dsc/DataSourceStreamRoot.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/IDataSourceUnit.h"
#include "qz_dsc/IDataSourceUnitExternal.h"
#include "qz_dsc/IExternalDataSourceImporter.h"
#include "qz_dsc/StreamModifierRawBuffer.h"
#include "Utf8Text.h"
#include "units/DataSourceListFileDom.h"
#include "units/ManagerTesting.h"

namespace qz_dsc {
namespace {

using namespace qz_dsc::testing;
namespace fs = std::filesystem;
constexpr std::int64_t kSecond = 10'000'000;

// A folder of its own for each test, removed afterwards.
class DataSourceListFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_dir = fs::temp_directory_path() / ("dscore_file_" + std::to_string(::getpid()) + "_" +
                                         ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(m_dir);
    fs::create_directories(m_dir);
  }
  void TearDown() override { fs::remove_all(m_dir); }
  std::wstring Path(const std::string& name) const { return (m_dir / name).wstring(); }
  void Write(const std::string& name, const std::string& text) const { std::ofstream(m_dir / name) << text; }
  std::string Read(const std::string& name) const {
    std::ifstream in(m_dir / name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  std::size_t FileCount() const { return static_cast<std::size_t>(std::distance(fs::directory_iterator(m_dir), {})); }

  fs::path m_dir;
};

std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

// The importer of the test format: a header "time;<stream>;..." then lines of
// seconds and one int or double per stream; ";" is the separator its
// settings must name.
class TestCsvImporter final : public IExternalDataSourceImporter {
 public:
  HRESULT Import(const std::wstring& file, const std::wstring& settings, IDataSourceUnitExternal* unit) override {
    std::ifstream in{fs::path(file)};
    std::vector<std::shared_ptr<DataSourceStreamRoot>> columns;
    std::string line, cell;
    if (!in || settings != L"{\"separator\":\";\"}" || !std::getline(in, line)) return E_FAIL;
    for (std::stringstream header(line); std::getline(header, cell, ';');) {
      columns.push_back(unit->GetStream(std::wstring(cell.begin(), cell.end()).c_str()));
    }
    while (std::getline(in, line)) {
      std::stringstream row(line);
      std::getline(row, cell, ';');
      const auto t = static_cast<std::int64_t>(std::stod(cell) * kSecond);
      for (std::size_t c = 1; c < columns.size() && std::getline(row, cell, ';'); ++c) {
        if (auto ints = std::dynamic_pointer_cast<DataSourceStreamExtended<int>>(columns[c])) {
          static_cast<void>(ints->AddSample(t, std::stoi(cell)));
        } else if (auto doubles = std::dynamic_pointer_cast<DataSourceStreamExtended<double>>(columns[c])) {
          static_cast<void>(doubles->AddSample(t, std::stod(cell)));
        }
      }
    }
    return S_OK;
  }
};

const bool kImporterRegistered = RegisterExternalDataSourceImporterFactory(
    L"QZ.CSV", [] { return std::make_shared<TestCsvImporter>(); });

// Every stream as (data source, name, type, unit), in list order.
std::vector<std::tuple<std::wstring, std::wstring, int, std::wstring>> Shape(IDataSourceUnitMgrCtrl* manager) {
  std::vector<std::tuple<std::wstring, std::wstring, int, std::wstring>> out;
  for (const auto& info : manager->GetDataSourceInfos()) {
    for (const auto& s : info.GetStreams()) out.emplace_back(info.GetId(), s.GetName(), s.GetType(), s.GetUnitName());
  }
  return out;
}

// The time a sample stored at t has after a save and load.
std::int64_t ThroughTimePair(std::int64_t t) { return (t / kSecond * 1000 + t / 10'000) * 10'000; }

// Internal samples come back at their times as the time pair text reads
// them (stored times, before the stream's video offset); external ones come
// from the data file again, unchanged.
template <class T>
void ExpectStreamsEqualAfterReload(IDataSourceUnitMgrCtrl* before, IDataSourceUnitMgrCtrl* after,
                                   const std::wstring& id, const std::wstring& stream, bool internal) {
  auto expected = Samples<T>(before, id, stream);
  ASSERT_FALSE(expected.empty()) << Narrow(id + L"/" + stream);
  ComPtr<IDataSourceUnit> unit;
  ASSERT_EQ(before->GetDataSourceById(id, uuidof<IDataSourceUnit>(), reinterpret_cast<void**>(unit.GetAddressOf())),
            S_OK);
  std::int64_t offset = 0;
  ASSERT_EQ(unit->GetStreamVideoOffset(stream, &offset), S_OK);
  if (internal) {
    for (auto& [t, v] : expected) t = ThroughTimePair(t - offset) + offset;
  }
  EXPECT_EQ(Samples<T>(after, id, stream), expected) << Narrow(id + L"/" + stream);
}

TEST_F(DataSourceListFileTest, LoadFailuresSayWhyAndLeaveTheListEmpty) {
  Write("broken.xml", "<a>\n  <b>\n</a>\n");
  Write("other.xml", "<mpeg7:Mpeg7 xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001'/>");
  fs::create_directories(m_dir / "folder.xml");
  struct Case {
    std::string file;
    HRESULT status;
    std::wstring messagePart;
  } const cases[] = {
      {"missing.xml", static_cast<HRESULT>(0x80070002u), L"missing.xml: no such file"},
      {"broken.xml", E_FAIL, L"broken.xml:3:"},  // line 3, where the mismatched end tag is
      {"other.xml", E_FAIL, L"no data source list"},
      {"folder.xml", E_INVALIDARG, L"is a folder"},
  };
  for (const Case& c : cases) {
    auto manager = NewManager();
    ASSERT_TRUE(LoadText(manager.Get(), ListDocument(FloatSource(L"A", L"x", {}))));
    const DataSourceListFileResult result = LoadDataSourceListFile(manager.Get(), Path(c.file));
    EXPECT_FALSE(result) << c.file;
    EXPECT_EQ(result.status, c.status) << c.file;
    EXPECT_NE(result.message.find(c.messagePart), std::wstring::npos) << Narrow(result.message);
    EXPECT_TRUE(manager->IsEmpty()) << c.file;
  }
  const auto parse = LoadDataSourceListFile(NewManager().Get(), Path("broken.xml"));
  EXPECT_NE(parse.message.find(L"mismatch"), std::wstring::npos) << Narrow(parse.message);  // the parser's own words
  EXPECT_EQ(LoadDataSourceListFile(nullptr, Path("broken.xml")).status, E_POINTER);
}

TEST_F(DataSourceListFileTest, LoadCountsWhatItLeftOut) {
  Write("partial.xml",
        Narrow(ListDocument(FloatSource(L"A", L"x", {{L"0 1", L"1"}}) +
                            L"<!-- not a data source -->\n<DataSource/><Unknown name='u'/>"
                            L"<DataSource name='B'><DataSourceStream xsi:type='DataSourceMatrix3StreamType' "
                            L"name='m' StreamClassID='2'/></DataSource>")));
  auto manager = NewManager();
  const DataSourceListFileResult result = LoadDataSourceListFile(manager.Get(), Path("partial.xml"));
  ASSERT_TRUE(result) << Narrow(result.message);
  EXPECT_EQ(manager->GetDataSourceCount(), 2);
  EXPECT_EQ(result.skippedUnits, 2);
  EXPECT_EQ(result.skippedStreams, 1);
  EXPECT_FALSE(result.LoadedWhole());
}

TEST_F(DataSourceListFileTest, AnEmptyListSavesAsALoadableDocument) {
  auto manager = NewManager();
  ASSERT_TRUE(SaveDataSourceListFile(manager.Get(), Path("empty.xml")));
  const auto result = LoadDataSourceListFile(manager.Get(), Path("empty.xml"));
  EXPECT_TRUE(result && result.LoadedWhole()) << Narrow(result.message);
  EXPECT_EQ(FileCount(), 1u);
  EXPECT_FALSE(SaveDataSourceListFile(manager.Get(), Path("no/such/folder/list.xml")));
}

// A list using every stream type, both kinds of settings, and texts that
// need the writer's escapes (markup characters, TAB, LF and CR in
// attributes, CR in text, non-ASCII, a character outside the BMP, an empty
// value).
std::wstring RichDocument(const std::wstring& folder) {
  const std::wstring common = L" StreamClassID='2' limitCount='5' freezeDelay='1 1500' dataVideoOffset64='-20000000'";
  return ListDocument(
      L"<DataSource name='Car &amp; &lt;co&gt; &quot;x&quot; caf\u00e9'>"
      L"<DataSourceStream xsi:type='DataSourceFloatStreamType' name='v' StreamClassID='2' limitCount='0' "
      L"freezeDelay='0 0' dataVideoOffset64='0' defaultValue='0.5' firstSampleTime='-7' flowType='1' lowRange='-1e-300' "
      L"highRange='1e300' valueUnit='m/s&#9;tab&#10;lf&#13;cr'>"
      L"<Value TimeStamp='0 1'>0.1</Value><Value TimeStamp='-3 3000'>-0</Value><Value TimeStamp='9 9999'>12345.678</Value>"
      L"</DataSourceStream>"
      L"<DataSourceStream xsi:type='DataSourceIntStreamType' name='i'" + common +
      L" defaultValue='-3' flowType='2' valueUnit=''><Value TimeStamp='0 5'>-2147483648</Value></DataSourceStream>"
      L"<DataSourceStream xsi:type='DataSourceStringStreamType' name='s \U0001D11E'" + common +
      L" defaultValue='a&lt;b' flowType='1' valueUnit='u'><Value TimeStamp='0 1'>x &lt; y &amp; z &gt; \"q\" 'a'</Value>"
      L"<Value TimeStamp='0 2'></Value><Value TimeStamp='0 3'>line&#13;\nnext\u00e9\U0001F600</Value></DataSourceStream>"
      L"<DataSourceStream xsi:type='DataSourceVector2StreamType' name='p'" + common +
      L" defaultValue='0 0' flowType='1' valueUnit=''><Value TimeStamp='0 4'>1.5 -2.25</Value></DataSourceStream>"
      L"<DataSourceStream xsi:type='DataSourceVector6StreamType' name='q'" + common +
      L" defaultValue='0 0 0 0 0 0' flowType='1' valueUnit=''><Value TimeStamp='0 4'>1 2 3 4 5 6</Value>"
      L"</DataSourceStream></DataSource>"
      L"<DataSource name='Empty'/>"
      L"<DataSource name='Json' isExternal='yes' dataFilename='" + folder + L"/sub/run.csv' converterName='NONE' "
      L"PersistencyDataJSON='{\"a\":\"&lt;\u00e9&gt;\"}'>"
      L"<DataSourceStream xsi:type='DataSourceIntStreamType' name='BPM'" + common +
      L" defaultValue='0' flowType='1' valueUnit='1/min'/></DataSource>"
      L"<DataSource name='Xml' isExternal='yes' dataFilename='/elsewhere/run.csv' converterName='NONE'>"
      L"<PersistencyData><s:cfg xmlns:s='urn:x' note='caf\u00e9 &amp; &quot;q&quot;'><s:c n='1'>x&lt;y\u00e9</s:c>"
      L"<!-- kept --><plain/></s:cfg></PersistencyData></DataSource>");
}

std::string Utf8(const std::wstring& text) { return utf8text::ToUtf8(text); }

TEST_F(DataSourceListFileTest, TheFileSaveWritesTheBytesOfTheDomSave) {
  auto manager = NewManager();
  ASSERT_TRUE(LoadText(manager.Get(), RichDocument(m_dir.wstring())));
  ASSERT_EQ(manager->GetDataSourceCount(), 4);
  const auto saved = SaveDataSourceListFile(manager.Get(), Path("streamed.xml"));
  ASSERT_TRUE(saved) << Narrow(saved.message);

  ComPtr<IXMLDOMDocument> doc;
  ASSERT_EQ(DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()), S_OK);
  ASSERT_TRUE(As<IDSPersistXML>(manager.Get())->SaveXML(doc.Get(), Path("streamed.xml")));
  ASSERT_EQ(doc->save(Path("dom.xml")), S_OK);
  const std::string streamed = Read("streamed.xml");
  EXPECT_EQ(streamed, Read("dom.xml"));
  // The escapes really were exercised, and non-ASCII text stays UTF-8.
  for (const char* text : {"valueUnit=\"m/s&#9;tab&#10;lf&#13;cr\"", "line&#13;\n", "x &lt; y &amp; z &gt; \"q\"",
                           "dataFilename=\"./sub/run.csv\"", "<Value TimeStamp=\"0 2\"/>", "<s:cfg xmlns:s=\"urn:x\""}) {
    EXPECT_NE(streamed.find(text), std::string::npos) << text;
  }
  EXPECT_NE(streamed.find(Utf8(L"caf\u00e9")), std::string::npos);
  EXPECT_NE(streamed.find(Utf8(L"\U0001F600")), std::string::npos);

  auto empty = NewManager();
  ASSERT_TRUE(SaveDataSourceListFile(empty.Get(), Path("empty.xml")));
  EXPECT_EQ(Read("empty.xml"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<mpeg7:Mpeg7 xmlns:mpeg7=\"urn:mpeg:mpeg7:schema:2001\">"
            "<mpeg7:DescriptionUnit xmlns:xsi=\"urn:mpeg:mpeg7:schema:2001\" xsi:type=\"DataSourceListType\" "
            "versionNbr=\"1 0\"/></mpeg7:Mpeg7>\n");
}

std::string Repeat(std::string_view text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) out += text;
  return out;
}

// Documents as other tools write them, documents with parts that do not
// load, and documents that do not parse: the streaming load must give what
// the DOM load gives.
std::vector<std::string> DocumentsOfEveryKind(const std::wstring& folder) {
  const std::string stream =
      "StreamClassID='2' limitCount='0' freezeDelay='0 0' dataVideoOffset64='0' defaultValue='0' flowType='1' "
      "valueUnit='u'";
  const std::string head =
      "<mpeg7:Mpeg7 xmlns:mpeg7='urn:mpeg:mpeg7:schema:2001'><mpeg7:DescriptionUnit "
      "xmlns:xsi='urn:mpeg:mpeg7:schema:2001' xsi:type='DataSourceListType'>";
  const std::string tail = "</mpeg7:DescriptionUnit></mpeg7:Mpeg7>";
  const std::string floats = "<DataSourceStream xsi:type='DataSourceFloatStreamType' name='f' " + stream + ">";
  return {
      Utf8(RichDocument(folder)),
      // Other prefixes, a default namespace (its "Value" elements are in it,
      // so they are no samples), comments, processing instructions,
      // indentation, attributes in another order.
      "<?xml version='1.0'?>\n<!-- list -->\n<m:Mpeg7 xmlns:m='urn:mpeg:mpeg7:schema:2001'>\n  <?pi x?>\n"
      "  <m:DescriptionUnit versionNbr='7' xsi:type='DataSourceListType' xmlns:xsi='urn:mpeg:mpeg7:schema:2001'>\n"
      "    <!-- a --><DataSource name='A'>\n      <DataSourceStream valueUnit='u' flowType='2' name='f' "
      "xsi:type='DataSourceFloatStreamType' StreamClassID='2' freezeDelay='0 0' limitCount='3' dataVideoOffset64='5' "
      "defaultValue='1'>\n        <Value TimeStamp='0 1'>1.5</Value>\n        <Value\n TimeStamp = '0 2' >2.5</Value>\n"
      "      </DataSourceStream>\n    </DataSource>\n  </m:DescriptionUnit>\n</m:Mpeg7>\n",
      "<Mpeg7 xmlns='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='urn:mpeg:mpeg7:schema:2001'><DescriptionUnit "
      "xsi:type='DataSourceListType'><DataSource name='D'>" + floats +
          "<Value TimeStamp='0 1'>1</Value></DataSourceStream></DataSource></DescriptionUnit></Mpeg7>",
      // Samples that do not all load: CDATA, comments and elements before
      // the text, empty and blank texts, bad and missing times, bad values,
      // a "Value" with a prefix, nested and stray elements.
      head + "<DataSource name='S'>" + floats +
          "<Value TimeStamp='0 1'><![CDATA[7]]></Value><Value TimeStamp='0 2'><!--c-->8<b>9</b>10</Value>"
          "<Value TimeStamp='0 3'><b>1</b>11</Value><Value TimeStamp='0 3'>  <!--c-->17</Value><Value TimeStamp='0 4'/><Value TimeStamp='0 5'>  </Value>"
          "<Value TimeStamp='x'>12</Value><Value>13</Value><Value TimeStamp='0 6'>abc</Value>"
          "<Value TimeStamp=' 0  7 '> 14 </Value><mpeg7:Value TimeStamp='0 8'>15</mpeg7:Value>"
          "<Other><Value TimeStamp='0 9'>16</Value></Other>text<Value TimeStamp='1 1000'>1e3</Value>"
          "</DataSourceStream></DataSource>" + tail,
      // String samples read without nodes until something but text appears:
      // blanks around and after text and before a comment or an element
      // (also after the parser's first 300 bytes of non-ASCII text), references in the text and the
      // time, text before the first sample, xml:space, a PI, a stream with a
      // default namespace.
      head + "<DataSource name='T'><DataSourceStream xsi:type='DataSourceStringStreamType' name='s' " + stream +
          ">lead<Value TimeStamp='0 1'> </Value><Value TimeStamp='0 2'>  a  </Value>"
          "<Value TimeStamp='0 3'>x&amp;    <!--c--></Value><Value TimeStamp='0 4'>" + Repeat("\xC3\xA9", 150) +
          "  \n  <b/></Value>"
          "<Value TimeStamp='0 5'>b  <?pi x?>c</Value><Value TimeStamp='0 6'>&amp;&#60;&#x41;</Value>"
          "<Value TimeStamp='0&#32;7'>t</Value><Value TimeStamp='0 &amp;8'>u</Value>"
          "<Value TimeStamp='0 9' xml:space='preserve'>  </Value><Value TimeStamp='0 10'>  <![CDATA[ ]]></Value>"
          "<Value TimeStamp='0 11'>\n  <v/>  </Value><Value a='&amp;' TimeStamp='0 12'>v</Value>"
          "<Value TimeStamp='0 13'/>  <Value TimeStamp='0 14'>\t</Value></DataSourceStream>"
          "<DataSourceStream xsi:type='DataSourceStringStreamType' name='n' " + stream +
          " xmlns='urn:n'><Value TimeStamp='0 1'>w</Value></DataSourceStream></DataSource>" + tail,
      // Units and streams that are skipped, settings of both kinds, a
      // missing importer, a stream repeated by name.
      head + "<!-- not a unit --><DataSource/><Unknown name='u' isExternal='yes'/><DataSource name='B' isExternal='Yes'>" +
          "<PersistencyData><x/></PersistencyData><p:PersistencyData xmlns:p='urn:p'/>" + floats + "</DataSourceStream>" +
          floats + "<Value TimeStamp='0 1'>2</Value></DataSourceStream>"
          "<DataSourceStream xsi:type='DataSourceMatrix3StreamType' name='m' " + stream + "/>"
          "<DataSourceStream name='n' " + stream + "/></DataSource>"
          "<DataSource name='E' isExternal='yes' dataFilename='e.csv' converterName='NONE'><PersistencyData>\n  "
          "<cfg a='\xC3\xA9'>\n    <c/>\n  </cfg>\n  <!--k-->\n</PersistencyData><PersistencyData><second/></PersistencyData>" +
          "<DataSourceStream xsi:type='DataSourceIntStreamType' name='i' " + stream + "/><Junk/></DataSource>"
          "<DataSource name='J' isExternal='yes' dataFilename='j.csv' PersistencyDataJSON='{}'/>" + tail,
      // Where the list is and is not.
      "<r xmlns:m='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='urn:mpeg:mpeg7:schema:2001'><m:DescriptionUnit "
      "xsi:type='Other'><DataSource name='no'/></m:DescriptionUnit><m:DescriptionUnit xsi:type='DataSourceListType'>"
      "<DataSource name='yes'/></m:DescriptionUnit><m:DescriptionUnit xsi:type='DataSourceListType'>"
      "<DataSource name='later'/></m:DescriptionUnit></r>",
      "<r xmlns:m='urn:mpeg:mpeg7:schema:2001'><m:DescriptionUnit m:type='DataSourceListType'/></r>",
      "<r xmlns:m='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'>"
      "<m:DescriptionUnit xsi:type='DataSourceListType'/></r>",
      "<r><x xmlns:m='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='urn:mpeg:mpeg7:schema:2001'><m:DescriptionUnit "
      "xsi:type='DataSourceListType'><DataSource name='deep'/></m:DescriptionUnit></x></r>",
      head + tail,
      // Documents that do not parse, early or after the list.
      head + "<DataSource name='A'>" + floats + "</DataSource>" + tail,
      head + "<DataSource name='A'/>" + tail + "<extra/>",
      head + "<DataSource name='A'/>",
      head + "<DataSource name='A'><u:x/></DataSource>" + tail,
      "",
      "\xFF\xFE<",
  };
}

// The whole state a load leaves: the result and the list as the DOM saves it.
std::string LoadedState(const DataSourceListFileResult& result, IDataSourceUnitMgrCtrl* manager) {
  return std::to_string(result.status) + "|" + Utf8(result.message) + "|" + std::to_string(result.skippedUnits) + "|" +
         std::to_string(result.skippedStreams) + "|" + std::to_string(result.failedImports) + "|" +
         std::to_string(manager->GetDataSourceCount()) + "|" + Utf8(SaveText(manager));
}

TEST_F(DataSourceListFileTest, TheStreamingLoadGivesWhatTheDomLoadGives) {
  const auto documents = DocumentsOfEveryKind(m_dir.wstring());
  int loaded = 0;
  for (std::size_t i = 0; i < documents.size(); ++i) {
    const std::string name = "doc" + std::to_string(i) + ".xml";
    Write(name, documents[i]);
    auto streamed = NewManager();
    auto dom = NewManager();
    const DataSourceListFileResult a = LoadDataSourceListFile(streamed.Get(), Path(name));
    const DataSourceListFileResult b = LoadDataSourceListFileThroughDom(dom.Get(), Path(name));
    EXPECT_EQ(LoadedState(a, streamed.Get()), LoadedState(b, dom.Get())) << "document " << i;
    EXPECT_EQ(Samples<double>(streamed.Get(), L"S", L"f"), Samples<double>(dom.Get(), L"S", L"f"));
    EXPECT_EQ(Samples<std::wstring>(streamed.Get(), L"T", L"s"), Samples<std::wstring>(dom.Get(), L"T", L"s"));
    loaded += a ? 1 : 0;
  }
  // Both outcomes were exercised.
  EXPECT_EQ(loaded, 9);
}

// A manager with one stream of n string samples.
ComPtr<IDataSourceUnitMgrCtrl> StringManager(int n, const std::wstring& value) {
  DataSourceModifier modifier;
  modifier.SetId(L"S");
  auto record = std::make_shared<DataSourceStreamModifier>();
  EXPECT_TRUE(record->Create(L"text", qz_ds::StreamBasicType_String));
  for (int i = 0; i < n; ++i) {
    EXPECT_EQ(record->GetInternalBuffer()->AddSample(i * 10'000LL, DataSourceStreamVariantDerived<std::wstring>(value)), 0);
  }
  EXPECT_TRUE(modifier.AddStream(record));
  auto manager = NewManager();
  EXPECT_TRUE(As<IDataSourceUnitMgrPrivate>(manager.Get())->ApplyModifier(modifier, 0));
  return manager;
}

TEST_F(DataSourceListFileTest, AFailedSaveLeavesThePreviousFileAsItWas) {
  ASSERT_TRUE(SaveDataSourceListFile(StringManager(3, L"old").Get(), Path("list.xml")));
  const std::string previous = Read("list.xml");
  // A value no XML document can carry.
  const auto refused = SaveDataSourceListFile(StringManager(3, L"bad\x01").Get(), Path("list.xml"));
  EXPECT_EQ(refused.status, E_INVALIDARG);
  EXPECT_NE(refused.message.find(L"\"S\""), std::wstring::npos) << Narrow(refused.message);
  EXPECT_EQ(Read("list.xml"), previous);
  // The disk fills up half-way through the write: a file size limit below
  // the new document's size makes the writer fail mid-file.
  auto big = StringManager(5000, L"a longer value that takes room");
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit saved{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
  rlimit limited = saved;
  limited.rlim_cur = 64 * 1024;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
  const auto full = SaveDataSourceListFile(big.Get(), Path("list.xml"));
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &saved), 0);
  EXPECT_FALSE(full);
  EXPECT_NE(full.message.find(L"left as it was"), std::wstring::npos) << Narrow(full.message);
  EXPECT_EQ(Read("list.xml"), previous);
  EXPECT_EQ(FileCount(), 1u);  // no temporary file left behind
  ASSERT_TRUE(SaveDataSourceListFile(big.Get(), Path("list.xml")));
  EXPECT_GT(Read("list.xml").size(), 64u * 1024u);
}

TEST_F(DataSourceListFileTest, EndToEndLoadAlignReadSaveAndReload) {
  ASSERT_TRUE(kImporterRegistered);
  Write("rate.csv", "time;BPM;Temp\n0.0;72;36.5\n0.5;73;36.6\n1.5;75;36.75\n");
  const std::wstring stream =
      L"StreamClassID='2' limitCount='0' freezeDelay='0 250' dataVideoOffset64='0' flowType='1' valueUnit='u'";
  Write("list.xml",
        Narrow(ListDocument(
            L"<DataSource name='Car'>"
            L"<DataSourceStream xsi:type='DataSourceFloatStreamType' name='Speed' " + stream +
            L" defaultValue='0' firstSampleTime='10000000' lowRange='0' highRange='60'>"
            L"<Value TimeStamp='0 100'>1.5</Value><Value TimeStamp='1 1500'>2.25</Value></DataSourceStream>"
            L"<DataSourceStream xsi:type='DataSourceIntStreamType' name='Gear' " + stream +
            L" defaultValue='0'><Value TimeStamp='0 0'>1</Value><Value TimeStamp='3 3000'>2</Value></DataSourceStream>"
            L"<DataSourceStream xsi:type='DataSourceStringStreamType' name='Note' " + stream +
            L" defaultValue=''><Value TimeStamp='0 10'>start</Value></DataSourceStream></DataSource>"
            L"<DataSource name='Heart' isExternal='yes' dataFilename='rate.csv' converterName='QZ.CSV' "
            L"PersistencyDataJSON='{\"separator\":\";\"}'>"
            L"<DataSourceStream xsi:type='DataSourceIntStreamType' name='BPM' " + stream + L" defaultValue='0'/>"
            L"<DataSourceStream xsi:type='DataSourceFloatStreamType' name='Temp' " + stream +
            L" defaultValue='0'/></DataSource>")));
  auto manager = NewManager();
  const DataSourceListFileResult loaded = LoadDataSourceListFile(manager.Get(), Path("list.xml"));
  ASSERT_TRUE(loaded && loaded.LoadedWhole()) << Narrow(loaded.message);
  EXPECT_EQ(loaded.failedImports, 0);
  ASSERT_EQ(manager->GetDataSourceCount(), 2);
  // The importer filled the external streams from the data file.
  EXPECT_EQ(Samples<int>(manager.Get(), L"Heart", L"BPM"),
            (std::vector<std::pair<std::int64_t, int>>{{0, 72}, {kSecond / 2, 73}, {kSecond * 3 / 2, 75}}));
  // Aligned with a video whose first sample is at 3 s: internal offsets are
  // V - first sample time, external ones the other way round.
  ASSERT_EQ(manager->AlignFirstSampleTimes(3 * kSecond), S_OK);
  EXPECT_EQ(manager->GetDataSourceVideoOffset(L"Car"), 3 * kSecond);  // "Gear", first by name, starts at 0
  EXPECT_EQ(manager->GetDataSourceVideoOffset(L"Heart"), -3 * kSecond);
  auto overlay = manager->CreateOverlayManager();
  auto speed = std::dynamic_pointer_cast<qz_ds::DataSourceStream<double>>(overlay->GetDataSource(L"Car")->GetStream(L"Speed"));
  auto bpm = std::dynamic_pointer_cast<qz_ds::DataSourceStream<int>>(overlay->GetDataSource(L"Heart")->GetStream(L"BPM"));
  ASSERT_TRUE(speed && bpm);
  double speedValue = 0;
  int bpmValue = 0;
  speed->GetValueAt(2 * kSecond + kSecond / 10, 0, speedValue);
  bpm->GetValueAt(-3 * kSecond + kSecond / 2, 0, bpmValue);
  EXPECT_EQ(speedValue, 1.5);
  EXPECT_EQ(bpmValue, 73);
  overlay.reset();

  ASSERT_TRUE(SaveDataSourceListFile(manager.Get(), Path("copy.xml")));
  auto reloaded = NewManager();
  const auto again = LoadDataSourceListFile(reloaded.Get(), Path("copy.xml"));
  ASSERT_TRUE(again && again.LoadedWhole()) << Narrow(again.message);
  EXPECT_EQ(Shape(reloaded.Get()), Shape(manager.Get()));
  // External streams save their definitions only; the host aligns again.
  ASSERT_EQ(reloaded->AlignFirstSampleTimes(3 * kSecond), S_OK);
  for (const wchar_t* id : {L"Car", L"Heart"}) {
    EXPECT_EQ(reloaded->GetDataSourceVideoOffset(id), manager->GetDataSourceVideoOffset(id));
  }
  ExpectStreamsEqualAfterReload<double>(manager.Get(), reloaded.Get(), L"Car", L"Speed", true);
  ExpectStreamsEqualAfterReload<int>(manager.Get(), reloaded.Get(), L"Car", L"Gear", true);
  ExpectStreamsEqualAfterReload<std::wstring>(manager.Get(), reloaded.Get(), L"Car", L"Note", true);
  ExpectStreamsEqualAfterReload<int>(manager.Get(), reloaded.Get(), L"Heart", L"BPM", false);
  ExpectStreamsEqualAfterReload<double>(manager.Get(), reloaded.Get(), L"Heart", L"Temp", false);
  ComPtr<IDataSourceUnitExternal> external;
  ASSERT_EQ(reloaded->GetDataSourceById(L"Heart", uuidof<IDataSourceUnitExternal>(),
                                        reinterpret_cast<void**>(external.GetAddressOf())),
            S_OK);
  EXPECT_EQ(external->GetConverterName(), L"QZ.CSV");
  EXPECT_EQ(external->GetPersistencyDataJSON(), L"{\"separator\":\";\"}");
  EXPECT_EQ(fs::path(external->GetDataFilename()), m_dir / "rate.csv");
  EXPECT_NE(Read("copy.xml").find("dataFilename=\"./rate.csv\""), std::string::npos);  // relative to the document
}

TEST_F(DataSourceListFileTest, TheBundledExampleLoadsWhole) {
  auto manager = NewManager();
  const auto result = LoadDataSourceListFile(manager.Get(), fs::path(DSCORE_EXAMPLES_DIR "/datasource_list.xml").wstring());
  ASSERT_TRUE(result && result.LoadedWhole() && result.failedImports == 0) << Narrow(result.message);
  EXPECT_EQ(manager->GetDataSourceCount(), 3);
  EXPECT_EQ(Shape(manager.Get()).size(), 8u);
  EXPECT_EQ(Samples<double>(manager.Get(), L"Vehicle", L"Speed").size(), 2000u);
  EXPECT_EQ(Samples<int>(manager.Get(), L"Heart rate", L"BPM").size(), 2400u);
}

}  // namespace
}  // namespace qz_dsc
