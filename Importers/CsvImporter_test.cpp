#include "qz_dsc/CsvImporter.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "LogCapture.h"
#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceStreamExtended.h"
#include "qz_dsc/DataSourceStreamExternal.h"
#include "qz_dsc/IDataSourceUnit.h"
#include "qz_dsc/IDataSourceUnitExternal.h"

namespace qz_dsc {
namespace {

namespace fs = std::filesystem;
using qz_com::ComPtr;
using qz_math::Vector2;
constexpr std::int64_t kSecond = 10'000'000;

template <class T>
using Samples = std::vector<std::pair<std::int64_t, T>>;

class CsvImport : public ::testing::Test {
 protected:
  void SetUp() override {
    m_dir = fs::temp_directory_path() /
            ("csv_import_" + std::to_string(::getpid()) + "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(m_dir);
  }
  void TearDown() override { fs::remove_all(m_dir); }

  std::wstring Write(const std::string& name, const std::string& bytes) {
    std::ofstream(m_dir / name, std::ios::binary) << bytes;
    return (m_dir / name).wstring();
  }
  static ComPtr<IDataSourceUnitExternal> NewUnit() {
    ComPtr<IDataSourceUnitExternal> unit;
    EXPECT_EQ(CreateExternalDataSourceUnit(L"source", unit.GetAddressOf()), S_OK);
    return unit;
  }
  // Imports bytes as t.csv into a new unit (or unit) and returns the result.
  HRESULT Import(const std::string& bytes, const std::wstring& settings, ComPtr<IDataSourceUnitExternal>& unit) {
    if (!unit) unit = NewUnit();
    return CreateCsvImporter()->Import(Write("t.csv", bytes), settings, unit.Get());
  }

  fs::path m_dir;
};

template <class T>
Samples<T> SamplesOf(const ComPtr<IDataSourceUnitExternal>& unit, const wchar_t* name) {
  Samples<T> out;
  auto typed = std::dynamic_pointer_cast<DataSourceStreamExtended<T>>(unit->GetStream(name));
  EXPECT_TRUE(typed) << "no stream of that type: " << std::wstring(name).size();
  if (typed) typed->GetSamples(std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max(), out);
  return out;
}

std::vector<std::wstring> StreamNames(const ComPtr<IDataSourceUnitExternal>& unit) {
  ComPtr<IDataSourceUnit> described;
  EXPECT_EQ(unit.As(&described), S_OK);
  std::vector<std::wstring> names;
  for (const auto& info : described->GetDataSourceInfo().GetStreams()) names.push_back(info.GetName());
  return names;
}

TEST_F(CsvImport, BundledHeartRateExampleWithItsSettings) {
  const fs::path example = fs::path(DSCORE_EXAMPLES_DIR) / "heart_rate.csv";
  std::ifstream in(example);
  std::size_t rows = 0;
  for (std::string line; std::getline(in, line);) rows += line.empty() ? 0 : 1;
  auto unit = NewUnit();
  ASSERT_EQ(CreateCsvImporter()->Import(example.wstring(), L"{\"separator\":\";\"}", unit.Get()), S_OK);
  const auto bpm = SamplesOf<std::int32_t>(unit, L"BPM");
  ASSERT_EQ(bpm.size(), rows - 1);
  EXPECT_EQ(bpm[0], (std::pair<std::int64_t, std::int32_t>{0, 72}));
  EXPECT_EQ(bpm[2], (std::pair<std::int64_t, std::int32_t>{kSecond, 73}));
}

TEST_F(CsvImport, HeaderMakesVectorUnitAndInferredStreams) {
  ComPtr<IDataSourceUnitExternal> unit;
  ASSERT_EQ(Import("time,Pos.x [m],Pos.y [m],Acc.x,Acc.y,Acc.z,Q.0,Q.1,Q.2,Q.3,Q.4,Q.5,Count,Speed [km/h],Label,Lone.x\n"
                   "0,1,2,0,0,1,1,2,3,4,5,6,7,1.5,go,1\n"
                   "0.5,,,,,,,,,,,,,,,\n"
                   "1.25,3,4,1,1,1,0,0,0,0,0,0,-8,2,\"a,b\",2.5\n",
                   L"", unit),
            S_OK);
  EXPECT_EQ(StreamNames(unit), (std::vector<std::wstring>{L"Pos", L"Acc", L"Q", L"Count", L"Speed", L"Label", L"Lone.x"}));
  EXPECT_EQ(SamplesOf<Vector2>(unit, L"Pos"), (Samples<Vector2>{{0, {1, 2}}, {12'500'000, {3, 4}}}));
  EXPECT_EQ(SamplesOf<qz_math::Vector3>(unit, L"Acc").size(), 2u);
  EXPECT_EQ(SamplesOf<qz_math::VectorN<6>>(unit, L"Q")[0].second[5], 6.0);
  EXPECT_EQ(SamplesOf<std::int32_t>(unit, L"Count"), (Samples<std::int32_t>{{0, 7}, {12'500'000, -8}}));
  EXPECT_EQ(SamplesOf<double>(unit, L"Speed").size(), 2u);
  EXPECT_EQ(SamplesOf<std::wstring>(unit, L"Label"), (Samples<std::wstring>{{0, L"go"}, {12'500'000, L"a,b"}}));
  EXPECT_EQ(SamplesOf<double>(unit, L"Lone.x"), (Samples<double>{{0, 1.0}, {12'500'000, 2.5}}));
  auto pos = std::dynamic_pointer_cast<qz_ds::DataSourceStreamBase>(unit->GetStream(L"Pos"));
  EXPECT_EQ(pos->GetValueUnit(), L"m");
  EXPECT_EQ(std::dynamic_pointer_cast<qz_ds::DataSourceStreamBase>(unit->GetStream(L"Speed"))->GetValueUnit(), L"km/h");
}

TEST_F(CsvImport, ExactTicksLaterRowWinsAndOneWarningForBackwardTimes) {
  dscore_testing::LogCapture log(2);
  ComPtr<IDataSourceUnitExternal> unit;
  ASSERT_EQ(Import("time,v\n12.3456789,1\n12.3456789,2\n0.0000001,3\n0,4\n", L"", unit), S_OK);
  EXPECT_EQ(SamplesOf<std::int32_t>(unit, L"v"), (Samples<std::int32_t>{{0, 4}, {1, 3}, {123'456'789, 2}}));
  const auto records = log.Records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].level, 2);
  EXPECT_EQ(records[0].message, L"t.csv:4: column 1 \"time\": the time goes backwards (\"0.0000001\" after "
                                L"\"12.3456789\"); samples are kept in time order");
}

TEST_F(CsvImport, SettingsChooseSeparatorDecimalTimeColumnAndUnit) {
  struct Case {
    std::wstring settings;
    std::string csv;
    Samples<std::int32_t> expected;
  };
  const Case cases[] = {
      {L"{\"decimal\":\",\",\"separator\":\";\"}", "time;v\n1,5;2\n", {{15'000'000, 2}}},
      {L"{\"timeColumn\":\"t\",\"timeUnit\":\"ms\"}", "v,t [ms]\n4,1500.00005\n", {{15'000'001, 4}}},
      {L"{\"timeColumn\":1,\"timeUnit\":\"us\"}", "v,t\n4,2\n", {{20, 4}}},
      {L"{\"timeUnit\":\"ticks\"}", "t,v\n-7,1\n", {{-7, 1}}},
      {L"{\"timeUnit\":\"text\"}", "t,v\n1:02:03.5,1\n", {{37'235'000'000, 1}}},
      {L"{\"timeUnit\":\"text\"}", "t,v\n2024-03-07T09:00:00Z,1\n2024-03-07T10:00:00.5+01:00,2\n", {{0, 1}, {5'000'000, 2}}},
      {L"{\"skipRows\":2}", "logger 1.0\n\"junk\nt,v\n0,1\n", {{0, 1}}},
      {L"  ", "t,v\n0,1\n", {{0, 1}}},
  };
  for (const Case& c : cases) {
    ComPtr<IDataSourceUnitExternal> unit;
    ASSERT_EQ(Import(c.csv, c.settings, unit), S_OK) << c.csv;
    EXPECT_EQ(SamplesOf<std::int32_t>(unit, L"v"), c.expected) << c.csv;
  }
  ComPtr<IDataSourceUnitExternal> unit;
  ASSERT_EQ(Import("t,v\n0,5\n", L"{\"types\":{\"v\":\"string\"}}", unit), S_OK);
  EXPECT_EQ(SamplesOf<std::wstring>(unit, L"v"), (Samples<std::wstring>{{0, L"5"}}));
}

TEST_F(CsvImport, BadInputFailsWithOneMessageAndLeavesTheUnitEmpty) {
  struct Case {
    std::string csv;
    std::wstring settings;
    HRESULT result;
    std::wstring message;
  };
  const Case cases[] = {
      {"", L"", E_FAIL, L"t.csv: the file is empty (no header row)"},
      {"t,v\n0,1\n1,abc\n", L"{\"types\":{\"v\":\"int\"}}", E_FAIL, L"t.csv:3: column 2 \"v\": \"abc\" is not a 32-bit integer"},
      {"t,v\n0,1e999\n", L"{\"types\":{\"v\":\"double\"}}", E_FAIL, L"t.csv:2: column 2 \"v\": \"1e999\" is not a number"},
      {"t,a,b\n0,1,2\n\n0,1\n", L"", E_FAIL, L"t.csv:4: 2 fields, expected 3"},
      {"t,v\n0,1\nx,2\n", L"", E_FAIL, L"t.csv:3: column 1 \"t\": \"x\" is not a time in seconds"},
      {"t,v\n,1\n", L"", E_FAIL, L"t.csv:2: column 1 \"t\": the time is empty"},
      {"t,v\n2024-03-07,1\n5,2\n", L"{\"timeUnit\":\"text\"}", E_FAIL,
       L"t.csv:3: column 1 \"t\": \"5\" is not an ISO 8601 date-time like the first row's"},
      {"t,P.x,P.y\n0,1,\n", L"", E_FAIL, L"t.csv:2: column 3 \"P.y\": empty, but other components of \"P\" are not"},
      {"t,v,v\n", L"", E_FAIL, L"t.csv:1: two columns are named \"v\""},
      {"t,v\n", L"{\"seperator\":\";\"}", E_INVALIDARG, L"t.csv: settings: unknown key \"seperator\""},
      {"t,v\n", L"{", E_INVALIDARG, L"t.csv: settings: not valid JSON"},
      {"t,v\n", L"{\"decimal\":\",\"}", E_INVALIDARG, L"t.csv: settings: \"separator\" and \"decimal\" are the same character"},
      {"t,v\n", L"{\"timeColumn\":\"when\"}", E_INVALIDARG, L"t.csv:1: no time column \"when\""},
      {"t,v\n", L"{\"types\":{\"w\":\"int\"}}", E_INVALIDARG, L"t.csv:1: settings name a column the header lacks: \"w\""},
  };
  for (const Case& c : cases) {
    dscore_testing::LogCapture log(2);
    ComPtr<IDataSourceUnitExternal> unit;
    EXPECT_EQ(Import(c.csv, c.settings, unit), c.result) << c.csv;
    EXPECT_EQ(log.Messages(), std::vector<std::wstring>{c.message}) << c.csv;
    EXPECT_EQ(StreamNames(unit), std::vector<std::wstring>{}) << c.csv;
  }
  dscore_testing::LogCapture log;
  auto unit = NewUnit();
  EXPECT_EQ(CreateCsvImporter()->Import((m_dir / "absent.csv").wstring(), L"", unit.Get()), E_FAIL);
  EXPECT_EQ(CreateCsvImporter()->Import(Write("t.csv", "t\n"), L"", nullptr), E_POINTER);
  EXPECT_EQ(log.Messages(), (std::vector<std::wstring>{L"absent.csv: cannot open the file (No such file or directory)",
                                                       L"t.csv: no data source to fill"}));
}

TEST_F(CsvImport, GigabyteLineFailsWithoutReadingItWhole) {
  const std::wstring path = Write("big.csv", "time,v\n0,");
  fs::resize_file(path, std::uintmax_t{1} << 30);  // sparse: a line of zero bytes
  dscore_testing::LogCapture log;
  auto unit = NewUnit();
  EXPECT_EQ(CreateCsvImporter()->Import(path, L"", unit.Get()), E_FAIL);
  ASSERT_EQ(log.Count(), 1u);
  EXPECT_EQ(log.Messages()[0].rfind(L"big.csv:2: ", 0), 0u) << log.Messages()[0];
  EXPECT_NE(log.Messages()[0].find(L"longer than 67108864 bytes"), std::wstring::npos);
}

TEST_F(CsvImport, DefinedStreamsAreFilledByNameAndReplaced) {
  auto unit = NewUnit();
  auto bpm = CreateDataSourceStreamExternal(qz_ds::StreamBasicType_Int, L"BPM");
  ASSERT_TRUE(std::dynamic_pointer_cast<DataSourceStreamExtended<std::int32_t>>(bpm)->AddSample(99, 1));
  std::dynamic_pointer_cast<DataSourceStreamExternal>(bpm)->SetTimeBase(5);
  ASSERT_EQ(unit->AddStream(bpm), S_OK);
  ASSERT_EQ(unit->AddStream(CreateDataSourceStreamExternal(qz_ds::StreamBasicType_Vector2, L"Pos")), S_OK);

  dscore_testing::LogCapture log(2);
  ASSERT_EQ(Import("time,Extra,BPM,Pos.y,Pos.x\n0,x,70,2,1\n", L"", unit), S_OK);
  EXPECT_EQ(SamplesOf<std::int32_t>(unit, L"BPM"), (Samples<std::int32_t>{{0, 70}}));
  EXPECT_EQ(SamplesOf<Vector2>(unit, L"Pos"), (Samples<Vector2>{{0, {1, 2}}}));
  EXPECT_EQ(std::dynamic_pointer_cast<DataSourceStreamExternal>(bpm)->GetTimeBase(), 0);
  EXPECT_EQ(StreamNames(unit), (std::vector<std::wstring>{L"BPM", L"Pos"}));
  EXPECT_EQ(log.Messages(), std::vector<std::wstring>{
                                L"t.csv:1: column 2 \"Extra\" skipped: the data source has no stream of that name"});

  log.Clear();
  EXPECT_EQ(Import("time,BPM,Pos.x,Pos.y\n0,70.5,1,2\n", L"", unit), E_FAIL);
  EXPECT_EQ(Import("time,BPM\n0,71\n", L"", unit), E_FAIL);
  EXPECT_EQ(log.Messages(), (std::vector<std::wstring>{L"t.csv:2: column 2 \"BPM\": \"70.5\" is not a 32-bit integer",
                                                       L"t.csv:1: no column \"Pos.x\" for stream \"Pos\""}));
  EXPECT_EQ(SamplesOf<std::int32_t>(unit, L"BPM"), (Samples<std::int32_t>{{0, 70}}));
}

TEST_F(CsvImport, RegisteredUnderItsConverterName) {
  EXPECT_TRUE(RegisterCsvImporter());
  EXPECT_TRUE(RegisterCsvImporter());
  auto importer = CreateExternalDataSourceImporter(L"QZ.CSV|v2");
  ASSERT_TRUE(importer);
  auto unit = NewUnit();
  ASSERT_EQ(importer->Import(Write("r.csv", "t,v\n1,2\n"), L"", unit.Get()), S_OK);
  EXPECT_EQ(SamplesOf<std::int32_t>(unit, L"v"), (Samples<std::int32_t>{{kSecond, 2}}));
}

TEST_F(CsvImport, ConcurrencyThreadsShareOneImporter) {
  const auto importer = CreateCsvImporter();
  constexpr int kThreads = 4;
  std::vector<std::wstring> files;
  for (int i = 0; i < kThreads; ++i) {
    std::string csv = "t,v\n";
    for (int row = 0; row < 200; ++row) csv += std::to_string(row) + "," + std::to_string(row * (i + 1)) + "\n";
    files.push_back(Write("c" + std::to_string(i) + ".csv", csv));
  }
  std::vector<Samples<std::int32_t>> results(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 10; ++round) {
        auto unit = NewUnit();
        if (importer->Import(files[static_cast<std::size_t>(i)], L"", unit.Get()) != S_OK) return;
        results[static_cast<std::size_t>(i)] = SamplesOf<std::int32_t>(unit, L"v");
      }
    });
  }
  for (auto& t : threads) t.join();
  for (int i = 0; i < kThreads; ++i) {
    ASSERT_EQ(results[static_cast<std::size_t>(i)].size(), 200u);
    EXPECT_EQ(results[static_cast<std::size_t>(i)][199], (std::pair<std::int64_t, std::int32_t>{199 * kSecond, 199 * (i + 1)}));
  }
}

}  // namespace
}  // namespace qz_dsc
