// The built dscore program run as a user runs it: exit codes, standard
// output and error, and the files it writes or leaves alone.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct ToolRun {
  int code = -1;
  std::string out;
  std::string err;
};

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

void WriteFile(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string Quote(const std::string& arg) {
  std::string quoted = "'";
  for (const char c : arg) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// testdata/car_list.xml: an internal source with a stream of every internal
// type, all samples below one second.
std::string CarList() { return ReadFile(DSCORE_TOOL_TESTDATA "/car_list.xml"); }

class DscoreTool : public ::testing::Test {
 protected:
  void SetUp() override {
    m_dir = fs::temp_directory_path() /
            ("dscore_tool_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(m_dir);
    fs::create_directories(m_dir);
    WriteFile(Path("list.xml"), CarList());
  }
  void TearDown() override { fs::remove_all(m_dir); }

  fs::path Path(const std::string& name) const { return m_dir / name; }
  std::string P(const std::string& name) const { return Path(name).string(); }

  ToolRun Dscore(const std::vector<std::string>& args) const {
    std::string command = Quote(DSCORE_TOOL);
    for (const auto& arg : args) command += " " + Quote(arg);
    command += " >" + Quote(P("stdout")) + " 2>" + Quote(P("stderr")) + " </dev/null";
    const int status = std::system(command.c_str());
    ToolRun run;
    run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = ReadFile(Path("stdout"));
    run.err = ReadFile(Path("stderr"));
    return run;
  }

  fs::path m_dir;
};

TEST_F(DscoreTool, UsageErrorsExitWithTwo) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"frobnicate"},
      {"info"},
      {"cat", P("list.xml"), "Car"},
      {"value", P("list.xml"), "Car", "Speed"},
      {"cat", P("list.xml"), "Car", "Speed", "--from", "soon"},
      {"cat", P("list.xml"), "Car", "Speed", "--from", "2", "--to", "1"},
      {"cat", P("list.xml"), "Car", "Speed", "--time-format", "Fortnights"},
      {"import", P("data.csv"), "--into", P("new.xml"), "--source", "X", "--settings", "{not json"},
      {"snapshot"},
  };
  for (const auto& args : cases) {
    const ToolRun run = Dscore(args);
    EXPECT_EQ(run.code, 2) << (args.empty() ? "" : args[0]) << " " << run.err;
    EXPECT_FALSE(run.err.empty());
  }
  EXPECT_FALSE(fs::exists(Path("new.xml")));
}

TEST_F(DscoreTool, EverySubcommandHasHelpWithExamples) {
  for (const auto& args :
       std::vector<std::vector<std::string>>{{"info"}, {"cat"}, {"value"}, {"stats"}, {"import"}, {"export"},
                                             {"plot"}, {"snapshot"}, {"snapshot", "make"}, {"snapshot", "dump"}}) {
    auto withHelp = args;
    withHelp.push_back("--help");
    const ToolRun run = Dscore(withHelp);
    EXPECT_EQ(run.code, 0) << args.back();
    EXPECT_NE(run.out.find("Example"), std::string::npos) << args.back();
  }
}

TEST_F(DscoreTool, BadInputExitsWithOneNamingTheProblem) {
  WriteFile(Path("broken.xml"), "<mpeg7:Mpeg7>\n<unclosed>\n");
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"info", P("missing.xml")}, "missing.xml"},
      {{"info", P("broken.xml")}, "broken.xml"},
      {{"cat", P("list.xml"), "Bus", "Speed"}, "no data source 'Bus' (there are: 'Car')"},
      {{"cat", P("list.xml"), "Car", "Spin"}, "no stream 'Spin'"},
      {{"plot", P("list.xml"), "Car", "Note", "--svg", P("note.svg")}, "string"},
      {{"export", P("list.xml"), "Car", "--csv", P("no/such/dir/out.csv")}, "cannot write"},
      {{"snapshot", "dump", P("missing.bin")}, "missing.bin"},
      {{"import", P("missing.csv"), "--into", P("new.xml"), "--source", "X"}, "missing.csv"},
  };
  for (const auto& [args, message] : cases) {
    const ToolRun run = Dscore(args);
    EXPECT_EQ(run.code, 1) << args[0] << " " << run.err;
    EXPECT_NE(run.err.find(message), std::string::npos) << run.err;
    EXPECT_TRUE(run.out.empty()) << run.out;
  }
  EXPECT_FALSE(fs::exists(Path("note.svg")));
  EXPECT_FALSE(fs::exists(Path("new.xml")));
}

TEST_F(DscoreTool, CatPrintsTimesExactlyOrInAnyFormatWithInclusiveBounds) {
  ToolRun run = Dscore({"cat", P("list.xml"), "Car", "Speed"});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out, "0.0000000\t1.0\n0.5000000\t4.25\n0.7500000\t-2.5\n");
  run = Dscore({"cat", P("list.xml"), "Car", "Speed", "--from", "0.5", "--to", "0,75", "--time-format", "MilliSeconds"});
  EXPECT_EQ(run.out, "0:00:00.500\t4.25\n0:00:00.750\t-2.5\n");
  run = Dscore({"cat", P("list.xml"), "Car", "Pos"});
  EXPECT_EQ(run.out, "0.2500000\t1.5\t2.0\n");
  run = Dscore({"cat", P("list.xml"), "Car", "Note", "--time-format", "Sport"});
  EXPECT_EQ(run.out, "0\"\tgo, \"now\"\n");
}

TEST_F(DscoreTool, ValueHoldsEachSampleFromItsOwnTimeOn) {
  const ToolRun run = Dscore({"value", P("list.xml"), "Car", "Gear", "--at", "0.2499", "--at", "0.25", "--at", "0.4999",
                          "--at", "0.5", "--at", "1:00"});
  EXPECT_EQ(run.code, 0) << run.err;
  // 0.2499 is read to the millisecond: 0.249.
  EXPECT_EQ(run.out, "0.2490000\t0\n0.2500000\t1\n0.4990000\t1\n0.5000000\t2\n60.0000000\t2\n");
}

TEST_F(DscoreTool, StatsOverAnIntervalAsTableAndJson) {
  ToolRun run = Dscore({"stats", P("list.xml"), "Car", "Speed", "--json"});
  ASSERT_EQ(run.code, 0) << run.err;
  const auto stats = nlohmann::json::parse(run.out);
  EXPECT_EQ(stats["count"], 3);
  EXPECT_EQ(stats["components"][0]["min"], -2.5);
  EXPECT_EQ(stats["components"][0]["max"], 4.25);
  EXPECT_DOUBLE_EQ(stats["components"][0]["mean"].get<double>(), 0.9166666666666666);
  EXPECT_NEAR(stats["components"][0]["stddev"].get<double>(), 2.756306, 1e-6);
  run = Dscore({"stats", P("list.xml"), "Car", "Speed", "--from", "0.5"});
  EXPECT_NE(run.out.find("2 samples from 0.5000000 s to 0.7500000 s"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("Speed      -2.5  4.25  0.875  3.375"), std::string::npos) << run.out;
  run = Dscore({"stats", P("list.xml"), "Car", "Note"});
  EXPECT_NE(run.out.find("1 sample"), std::string::npos);
  EXPECT_NE(run.out.find("count only"), std::string::npos);
}

TEST_F(DscoreTool, InfoShowsEveryStreamAsTableAndJson) {
  ToolRun run = Dscore({"info", P("list.xml")});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.out.find("Car (internal, 5 streams)"), std::string::npos) << run.out;
  for (const char* name : {"Speed", "Gear", "Note", "Pos", "Vector 2", "m/s"}) {
    EXPECT_NE(run.out.find(name), std::string::npos) << name;
  }
  run = Dscore({"info", P("list.xml"), "--json"});
  const auto info = nlohmann::json::parse(run.out);
  ASSERT_EQ(info["dataSources"].size(), 1u);
  EXPECT_EQ(info["dataSources"][0]["streams"].size(), 5u);
  for (const auto& stream : info["dataSources"][0]["streams"]) {
    if (stream["name"] == "Speed") {
      EXPECT_EQ(stream["sampleCount"], 3);
      EXPECT_EQ(stream["lastSeconds"], "0.7500000");
      EXPECT_EQ(stream["properties"]["DataType"], "double");
    }
  }
}

TEST_F(DscoreTool, ExportWritesOneRowPerTimeWithEmptyCells) {
  const ToolRun run = Dscore({"export", P("list.xml"), "Car", "--csv", P("car.csv")});
  ASSERT_EQ(run.code, 0) << run.err;
  // Streams in the data source's order; a quoted string cell; empty cells.
  const std::string csv = ReadFile(Path("car.csv"));
  EXPECT_NE(csv.find("time,"), std::string::npos);
  EXPECT_NE(csv.find("Speed [m/s]"), std::string::npos) << csv;
  EXPECT_NE(csv.find("Pos.x [m],Pos.y [m]"), std::string::npos) << csv;
  EXPECT_NE(csv.find("IMU.0,IMU.1,IMU.2,IMU.3,IMU.4,IMU.5"), std::string::npos) << csv;
  EXPECT_NE(csv.find("0.5,-1.0,2.0,0.0,0.001,6.0"), std::string::npos) << csv;
  EXPECT_NE(csv.find("\"go, \"\"now\"\"\""), std::string::npos) << csv;
  EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 6);  // header and 5 distinct times
  EXPECT_FALSE(fs::exists(P("car.csv") + ".dscore-tmp"));
}

TEST_F(DscoreTool, ExportThenImportGivesTheSameSamples) {
  ASSERT_EQ(Dscore({"export", P("list.xml"), "Car", "--csv", P("car.csv")}).code, 0);
  ToolRun run = Dscore({"import", P("car.csv"), "--into", P("copy.xml"), "--source", "Car"});
  ASSERT_EQ(run.code, 0) << run.err;
  run = Dscore({"export", P("copy.xml"), "Car", "--csv", P("again.csv")});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(ReadFile(Path("again.csv")), ReadFile(Path("car.csv")));
}

TEST_F(DscoreTool, CopyImportWarnsOnlyWhenTheTimePairRuleMovesSamples) {
  WriteFile(Path("short.csv"), "time,v\n0.0,1\n0.5,2\n");
  ToolRun run = Dscore({"import", P("short.csv"), "--into", P("a.xml"), "--source", "S", "--copy"});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.err.find("later times"), std::string::npos) << run.err;
  EXPECT_EQ(Dscore({"cat", P("a.xml"), "S", "v"}).out, "0.0000000\t1\n0.5000000\t2\n");

  WriteFile(Path("long.csv"), "time,v\n0.5,1\n2.5,2\n");
  run = Dscore({"import", P("long.csv"), "--into", P("b.xml"), "--source", "L", "--copy"});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.err.find("1 copied samples at one second or later"), std::string::npos) << run.err;
  // The documented effect: 2.5 s loads back as 4.5 s.
  EXPECT_EQ(Dscore({"cat", P("b.xml"), "L", "v"}).out, "0.5000000\t1\n4.5000000\t2\n");
}

TEST_F(DscoreTool, CopyRefusesThreeVectorsAndWritesNothing) {
  WriteFile(Path("v3.csv"), "time,P.x,P.y,P.z\n0,1,2,3\n");
  const ToolRun run = Dscore({"import", P("v3.csv"), "--into", P("v3.xml"), "--source", "V", "--copy"});
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.err.find("vector3"), std::string::npos) << run.err;
  EXPECT_FALSE(fs::exists(Path("v3.xml")));
  EXPECT_EQ(Dscore({"import", P("v3.csv"), "--into", P("v3.xml"), "--source", "V"}).code, 0);
}

TEST_F(DscoreTool, FailedImportLeavesTheListAsItWas) {
  const std::string before = ReadFile(Path("list.xml"));
  WriteFile(Path("bad.csv"), "time,a,b\n0,1,2\n1,1\n");
  WriteFile(Path("cell.csv"), "time,a\n0,1\n1,abc\n");
  WriteFile(Path("empty.csv"), "");
  // One line longer than the importer reads into memory (64 MiB).
  WriteFile(Path("longline.csv"), "time,v\n0," + std::string((std::size_t{64} << 20) + 1, 'x') + "\n");
  for (const char* file : {"bad.csv", "empty.csv", "longline.csv"}) {
    const ToolRun run = Dscore({"import", P(file), "--into", P("list.xml"), "--source", "New"});
    EXPECT_EQ(run.code, 1) << file;
    EXPECT_NE(run.err.find(file), std::string::npos) << run.err;
  }
  const ToolRun cell =
      Dscore({"import", P("cell.csv"), "--into", P("list.xml"), "--source", "New", "--settings", R"({"types":{"a":"int"}})"});
  EXPECT_EQ(cell.code, 1) << cell.err;
  EXPECT_NE(cell.err.find("cell.csv:3"), std::string::npos) << cell.err;
  const ToolRun taken = Dscore({"import", P("bad.csv"), "--into", P("list.xml"), "--source", "Car"});
  EXPECT_EQ(taken.code, 1);
  EXPECT_NE(taken.err.find("--replace"), std::string::npos) << taken.err;
  EXPECT_EQ(ReadFile(Path("list.xml")), before);
}

TEST_F(DscoreTool, ListThatDidNotLoadWholeIsOnlyOverwrittenWithForce) {
  std::string partial = CarList();
  partial.replace(partial.find("DataSourceIntStreamType"), 23, "DataSourceBooleanStreamType");
  WriteFile(Path("list.xml"), partial);
  WriteFile(Path("data.csv"), "time,v\n0,1\n");
  ToolRun run = Dscore({"import", P("data.csv"), "--into", P("list.xml"), "--source", "New"});
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.err.find("did not load whole"), std::string::npos) << run.err;
  EXPECT_EQ(ReadFile(Path("list.xml")), partial);
  run = Dscore({"import", P("data.csv"), "--into", P("list.xml"), "--source", "New", "--force"});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_NE(Dscore({"info", P("list.xml")}).out.find("New (external"), std::string::npos);
}

TEST_F(DscoreTool, PlotWritesAnSvgThatParses) {
  const ToolRun run = Dscore({"plot", P("list.xml"), "Car", "Speed", "Pos", "--svg", P("car.svg")});
  ASSERT_EQ(run.code, 0) << run.err;
  const std::string svg = ReadFile(Path("car.svg"));
  xmlDocPtr document = xmlReadMemory(svg.data(), static_cast<int>(svg.size()), "car.svg", nullptr, XML_PARSE_NONET);
  ASSERT_NE(document, nullptr);
  xmlFreeDoc(document);
  for (const char* label : {"Speed [m/s]", "Pos.x [m]", "Pos.y [m]", "time (s)", "m, m/s"}) {
    EXPECT_NE(svg.find(label), std::string::npos) << label;
  }
}

TEST_F(DscoreTool, SnapshotMakeThenDumpAndDamagedRecords) {
  ToolRun run = Dscore({"snapshot", "make", P("list.xml"), "Car", "--out", P("car.bin")});
  ASSERT_EQ(run.code, 0) << run.err;
  run = Dscore({"snapshot", "dump", P("car.bin")});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.out.find("data source 'Car': 5 streams"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("stream 'Speed': type 3"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("    0.5000000\t4.25\n"), std::string::npos) << run.out;

  const std::string bytes = ReadFile(Path("car.bin"));
  WriteFile(Path("short.bin"), bytes.substr(0, bytes.size() - 3));
  WriteFile(Path("long.bin"), bytes + "xyz");
  WriteFile(Path("empty.bin"), "");
  // The first stream's type field (after the 18-byte header, "Gear" and the
  // reserved word) says 3-vector, which has no buffer.
  std::string wrongType = bytes;
  wrongType[18 + 12 + 4] = 6;
  WriteFile(Path("type.bin"), wrongType);
  // An id of -1 characters: the reader's length error.
  WriteFile(Path("negative.bin"), std::string("\xff\xff\xff\xff\0\0\0\0\0\0\0\0", 12));
  const std::vector<std::pair<std::string, std::string>> damaged = {
      {"short.bin", "stream 5 of 5"}, {"long.bin", "3 bytes follow"}, {"empty.bin", "header"},
      {"negative.bin", "negative"}, {"type.bin", "stream 1 of 5 (at byte 18) 'Gear' has value type 6"}};
  for (const auto& [file, reason] : damaged) {
    run = Dscore({"snapshot", "dump", P(file)});
    EXPECT_EQ(run.code, 1) << file;
    EXPECT_NE(run.err.find("damaged snapshot record"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(reason), std::string::npos) << run.err;
    EXPECT_TRUE(run.out.empty());
  }
}

TEST_F(DscoreTool, TimeTextsWithQuotesOrCommasAreQuotedInCsv) {
  ToolRun run = Dscore({"export", P("list.xml"), "Car", "--csv", "-", "--time-format", "Sport"});
  ASSERT_EQ(run.code, 0) << run.err;
  // 0 s in the sport format is 0 and a double quote.
  EXPECT_NE(run.out.find("\n\"0\"\"\",1,"), std::string::npos) << run.out;
  run = Dscore({"export", P("list.xml"), "Car", "--csv", "-", "--time-format", "0"});
  EXPECT_NE(run.out.find("\n00:00:00.250_0000,"), std::string::npos) << run.out;
}

TEST_F(DscoreTool, ExternalSourceRefersToTheFileBesideTheList) {
  WriteFile(Path("hr.csv"), "t;BPM [1/min]\n0;60\n1;70\n");
  ToolRun run =
      Dscore({"import", P("hr.csv"), "--into", P("list.xml"), "--source", "HR", "--settings", R"({"separator":";"})"});
  ASSERT_EQ(run.code, 0) << run.err;
  const std::string xml = ReadFile(Path("list.xml"));
  EXPECT_NE(xml.find("dataFilename=\"./hr.csv\""), std::string::npos) << xml;
  EXPECT_NE(xml.find("converterName=\"QZ.CSV\""), std::string::npos);
  EXPECT_NE(xml.find("PersistencyDataJSON=\"{&quot;separator&quot;:&quot;;&quot;}\""), std::string::npos) << xml;
  // Imported streams interpolate between samples; the load reads the file again.
  run = Dscore({"value", P("list.xml"), "HR", "BPM", "--at", "0.25"});
  EXPECT_EQ(run.out, "0.2500000\t62\n") << run.err;
  EXPECT_EQ(run.err.find('\r'), std::string::npos);

  // Without its file the source still loads, and info says the import failed.
  fs::remove(Path("hr.csv"));
  run = Dscore({"info", P("list.xml"), "--json"});
  ASSERT_EQ(run.code, 0) << run.err;
  const auto info = nlohmann::json::parse(run.out);
  EXPECT_EQ(info["dataSources"][1]["name"], "HR");
  EXPECT_EQ(info["dataSources"][1]["importFailed"], true);
  EXPECT_FALSE(run.err.empty());
}

TEST_F(DscoreTool, ReplaceSwapsTheSourceAndBackwardTimesAreReported) {
  WriteFile(Path("a.csv"), "time,v\n0,1\n2,3\n1,2\n");
  ToolRun run = Dscore({"import", P("a.csv"), "--into", P("list.xml"), "--source", "Car", "--replace"});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.err.find("a.csv:4"), std::string::npos) << run.err;
  run = Dscore({"info", P("list.xml"), "--json"});
  const auto info = nlohmann::json::parse(run.out);
  ASSERT_EQ(info["dataSources"].size(), 1u);
  EXPECT_EQ(info["dataSources"][0]["external"], true);
  EXPECT_EQ(Dscore({"cat", P("list.xml"), "Car", "v"}).out, "0.0000000\t1\n1.0000000\t2\n2.0000000\t3\n");
}

}  // namespace
