#include "xml/DataSourceListReader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <vector>

namespace qz_dsc {
namespace {

namespace fs = std::filesystem;

// What the reader hands on, as one line per call.
class RecordingSink : public DataSourceListReader::Sink {
 public:
  void BeginDataSource(const DataSourceUnitDecoder& head) override {
    std::wstring id;
    EXPECT_TRUE(head.GetId(id));
    EXPECT_TRUE(head.GetDataSourceStreamDecoders().empty());  // the head carries no children
    events.push_back(L"begin " + id);
  }
  void DataSourceChild(const DataSourceStreamDecoder& child) override {
    std::wstring name;
    std::int32_t count = 0;
    static_cast<void>(child.GetName(name));
    EXPECT_TRUE(child.GetSampleCount(count));
    std::wstring event = L"stream " + name + L" " + std::to_wstring(count);
    std::wstring text;
    std::int64_t time = 0;
    for (std::int32_t i = 0; i < count; ++i) {
      event += child.GetSample(i, text, time) ? L" [" + text + L"@" + std::to_wstring(time) + L"]" : L" [-]";
    }
    events.push_back(event);
  }
  void EndDataSource() override { events.push_back(L"end"); }
  void WholeElement(const DataSourceUnitDecoder& element) override {
    std::wstring id, file, converter, settings;
    bool json = false;
    std::wstring event = element.GetId(id) ? L"whole " + id : L"whole ?";
    if (element.GetExternalDataSourceAttributes(file, converter, settings, json)) {
      event += L" " + file + L" " + converter + L" " + settings + (json ? L" json" : L" xml");
    }
    event += L" children " + std::to_wstring(element.GetDataSourceStreamDecoders().size());
    events.push_back(event);
  }

  std::vector<std::wstring> events;
};

class DataSourceListReaderTest : public ::testing::Test {
 protected:
  DataSourceListReader::Outcome Read(const std::string& xml, RecordingSink& sink) {
    const fs::path file = fs::temp_directory_path() / ("dscore_reader_" + std::to_string(::getpid()) + ".xml");
    std::ofstream(file, std::ios::binary) << xml;
    struct Remove {
      fs::path path;
      ~Remove() {
        std::error_code ec;
        fs::remove(path, ec);
      }
    } remove{file};
    DataSourceListReader reader(L"/base");
    return reader.Read(file.string(), sink);
  }
};

const std::string kHead =
    "<m:Mpeg7 xmlns:m='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='urn:mpeg:mpeg7:schema:2001'>"
    "<m:DescriptionUnit xsi:type='DataSourceListType'>";
const std::string kTail = "</m:DescriptionUnit></m:Mpeg7>";

TEST_F(DataSourceListReaderTest, InternalSourcesArriveStreamByStreamEverythingElseWhole) {
  RecordingSink sink;
  const auto outcome = Read(
      kHead +
          "<!--c--><DataSource name='A'><DataSourceStream name='s'><Value TimeStamp='1 1500'>x</Value>"
          "<Value TimeStamp='bad'>y</Value><Value TimeStamp='0 2'/><Value TimeStamp='0 3'><!--c--> z<b>w</b></Value>"
          "</DataSourceStream><PersistencyData/><Other name='o'/></DataSource>"
          "<DataSource name='E' isExternal='yes' dataFilename='f.csv' converterName='C'>"
          "<PersistencyData> <cfg k='1'/><!--n--></PersistencyData><DataSourceStream name='e'/></DataSource>"
          "<NotASource name='n'><DataSourceStream/></NotASource>" +
          kTail,
      sink);
  ASSERT_TRUE(outcome.parsed && outcome.located) << std::string(outcome.reason.begin(), outcome.reason.end());
  EXPECT_EQ(outcome.elements, 3);
  const std::vector<std::wstring> expected = {
      L"begin A",
      L"stream s 4 [x@25000000] [-] [@20000] [ z@30000]",  // 1 s + 1500 ms; the comment's blank is dropped
      L"stream  0",                                          // "Other": no stream name, no samples
      L"end",
      L"whole E /base/f.csv C <cfg k=\"1\"/><!--n--> xml children 1",
      L"whole ? children 0",
  };
  EXPECT_EQ(sink.events, expected);
}

TEST_F(DataSourceListReaderTest, FindsTheListByNamespaceAndItsTypeByWrittenName) {
  struct Case {
    std::string xml;
    bool located;
    int elements;
  };
  const Case cases[] = {
      // The first unit of the right type wins; a unit of another type is passed over.
      {"<r xmlns:a='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='urn:mpeg:mpeg7:schema:2001'><a:DescriptionUnit "
       "xsi:type='X'><DataSource name='1'/></a:DescriptionUnit><a:DescriptionUnit xsi:type='DataSourceListType'>"
       "<DataSource name='2'/><DataSource name='3'/></a:DescriptionUnit></r>",
       true, 2},
      // Right by namespace, but not written "xsi:type": no list.
      {"<r xmlns:a='urn:mpeg:mpeg7:schema:2001'><a:DescriptionUnit a:type='DataSourceListType'/></r>", false, 0},
      // "xsi" bound elsewhere: the query does not match.
      {"<r xmlns:a='urn:mpeg:mpeg7:schema:2001' xmlns:xsi='urn:other'><a:DescriptionUnit "
       "xsi:type='DataSourceListType'/></r>",
       false, 0},
      // Not a child of the root.
      {"<r><s>" + kHead + kTail + "</s></r>", false, 0},
  };
  for (const Case& c : cases) {
    RecordingSink sink;
    const auto outcome = Read(c.xml, sink);
    EXPECT_TRUE(outcome.parsed) << c.xml;
    EXPECT_EQ(outcome.located, c.located) << c.xml;
    EXPECT_EQ(outcome.elements, c.elements) << c.xml;
  }
}

TEST_F(DataSourceListReaderTest, ADocumentThatDoesNotParseReportsTheParsersFirstError) {
  RecordingSink sink;
  const auto outcome = Read(kHead + "<DataSource name='A'>\n</Wrong>" + kTail, sink);
  EXPECT_FALSE(outcome.parsed);
  EXPECT_FALSE(outcome.located);
  EXPECT_EQ(outcome.line, 2);
  EXPECT_NE(outcome.reason.find(L"mismatch"), std::wstring::npos);
  // An undeclared prefix is an error libxml2 reads on past, as the DOM does.
  RecordingSink tolerant;
  const auto read = Read(kHead + "<DataSource name='A'><u:x/></DataSource>" + kTail, tolerant);
  EXPECT_TRUE(read.parsed && read.located);
  EXPECT_TRUE(read.reason.empty());
}

// A sink that runs out of memory half-way: the exception comes out of Read
// (not through libxml2), and the next read works as before.
TEST_F(DataSourceListReaderTest, AnExceptionFromTheSinkStopsTheReadAndComesOut) {
  class Throwing final : public RecordingSink {
   public:
    void BeginDataSource(const DataSourceUnitDecoder&) override { throw std::bad_alloc(); }
  };
  const std::string xml = kHead + "<DataSource name='A'><DataSourceStream name='s'/></DataSource>" + kTail;
  Throwing throwing;
  EXPECT_THROW(Read(xml, throwing), std::bad_alloc);
  RecordingSink sink;
  EXPECT_TRUE(Read(xml, sink).located);
  EXPECT_EQ(sink.events, (std::vector<std::wstring>{L"begin A", L"stream s 0", L"end"}));
}

}  // namespace
}  // namespace qz_dsc
