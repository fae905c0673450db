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
