// The tool's own text and file writers: exact time and number texts, option
// errors, plot axes and escaping, table alignment, the progress line.
#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <sstream>
#include <tuple>

#include "ProgressIndicator.h"
#include "SvgPlot.h"
#include "TextTable.h"
#include "TimeText.h"
#include "ToolError.h"
#include "ValueText.h"

namespace dscore_cli {
namespace {

int ExitCodeOf(void (*action)()) {
  try {
    action();
  } catch (const ToolError& e) {
    return e.ExitCode();
  }
  return kExitOk;
}

TEST(TimeText, ExactSecondsKeepEveryTick) {
  const std::tuple<std::int64_t, const char*> cases[] = {
      {0, "0.0000000"},
      {1, "0.0000001"},
      {-1, "-0.0000001"},
      {123456789, "12.3456789"},
      {-25'000'000, "-2.5000000"},
      {std::numeric_limits<std::int64_t>::min(), "-922337203685.4775808"},
      {std::numeric_limits<std::int64_t>::max(), "922337203685.4775807"},
  };
  for (const auto& [ticks, text] : cases) EXPECT_EQ(TimeText::ExactSeconds(ticks), text) << ticks;
}

TEST(TimeText, FormatsByNameOrNumber) {
  EXPECT_EQ(TimeText::FromOption("MilliSeconds", "25").Format(51'230'000), "0:00:05.123");
  EXPECT_EQ(TimeText::FromOption("12", "25").Format(650'000'000), "1:05");
  // Frame numbers at 30000/1001 frames a second: 10 s is frame 299.
  EXPECT_EQ(TimeText::FromOption("TimeCode", "30000/1001").Format(100'000'000), "299");
  EXPECT_TRUE(TimeText::FromOption("", "25").IsExactSeconds());
}

TEST(TimeText, BadOptionsAreUsageErrors) {
  EXPECT_EQ(ExitCodeOf([] { static_cast<void>(TimeText::FromOption("Millis", "25")); }), kExitBadUsage);
  EXPECT_EQ(ExitCodeOf([] { static_cast<void>(TimeText::FromOption("13", "25")); }), kExitBadUsage);
  EXPECT_EQ(ExitCodeOf([] { static_cast<void>(TimeText::FromOption("-1", "25")); }), kExitBadUsage);
  EXPECT_EQ(ExitCodeOf([] { static_cast<void>(TimeText::FromOption("", "0")); }), kExitBadUsage);
  EXPECT_EQ(ExitCodeOf([] { static_cast<void>(TimeText::FromOption("", "25/0")); }), kExitBadUsage);
  EXPECT_EQ(ExitCodeOf([] { static_cast<void>(TimeText::FromOption("", "25fps")); }), kExitBadUsage);
  // The parser reads an empty text as 0; typed on a command line it is refused.
  EXPECT_EQ(ExitCodeOf([] { static_cast<void>(TimeText::Parse("--at", "")); }), kExitBadUsage);
  EXPECT_EQ(ExitCodeOf([] { static_cast<void>(TimeText::Parse("--at", "soon")); }), kExitBadUsage);
  EXPECT_EQ(TimeText::Parse("--at", "1:02:03.5"), 37'235'000'000);
  EXPECT_EQ(TimeText::Parse("--at", "-7"), -70'000'000);
}

TEST(ValueText, DoublesReadBackExactlyAndNeverLookLikeIntegers) {
  const std::tuple<double, const char*> cases[] = {
      {0.0, "0.0"}, {-0.0, "-0.0"}, {4.25, "4.25"}, {0.1, "0.1"}, {72.0, "72.0"},
      {1e21, "1e+21"}, {1.0 / 3.0, "0.3333333333333333"}, {std::numeric_limits<double>::quiet_NaN(), "nan"},
      {-std::numeric_limits<double>::infinity(), "-inf"},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(FormatDouble(value), text);
}

TEST(ValueText, StringsStayOnOneLineAndVectorsAreTabSeparated) {
  EXPECT_EQ(ValueText(std::wstring(L"a\tb\nc\\d\r")), "a\\tb\\nc\\\\d\\r");
  EXPECT_EQ(ValueText(std::wstring(L"\u00e9")), "\xc3\xa9");
  EXPECT_EQ(ValueText(qz_math::Vector2(1.5, -2)), "1.5\t-2.0");
  EXPECT_EQ(ValueComponents(std::wstring(L"3")).size(), 0u);
}

TEST(SvgPlot, TicksAreRoundAndCoverTheRange) {
  EXPECT_EQ(SvgPlot::Ticks(0, 10, 5), (std::vector<double>{0, 2, 4, 6, 8, 10}));
  const auto small = SvgPlot::Ticks(0.13, 0.87, 4);
  ASSERT_EQ(small.size(), 4u);
  EXPECT_NEAR(small.front(), 0.2, 1e-12);
  EXPECT_NEAR(small.back(), 0.8, 1e-12);
  EXPECT_EQ(SvgPlot::Ticks(-30, 70, 2), (std::vector<double>{0, 50}));
  EXPECT_TRUE(SvgPlot::Ticks(1, 1, 5).empty());
}

TEST(SvgPlot, DocumentParsesWhateverTheLabelsAndValues) {
  SvgPlot plot("A & <B>", "m/s \"fast\"");
  plot.AddSeries(
      {"x<1>\x01", {{0.0, 1.0}, {0.25, 2.0}, {0.5, std::numeric_limits<double>::quiet_NaN()}, {1.0, 3.0}}, true});
  plot.AddSeries({"single", {{2.0, 2.0}}, false});
  plot.AddSeries({"empty", {}, false});
  const std::string svg = plot.Render();
  xmlDocPtr document = xmlReadMemory(svg.data(), static_cast<int>(svg.size()), "plot.svg", nullptr, XML_PARSE_NONET);
  ASSERT_NE(document, nullptr) << svg;
  xmlFreeDoc(document);
  EXPECT_NE(svg.find(">x&lt;1&gt;</text>"), std::string::npos);
  EXPECT_NE(svg.find("A &amp; &lt;B&gt;"), std::string::npos);
  // Steps: a horizontal then a vertical move per sample; a NaN lifts the pen.
  EXPECT_NE(svg.find("d=\"M80.00 460.45H162.50V265.00M410.00 69.55\""), std::string::npos) << svg;
}

TEST(SvgPlot, LongSeriesAreThinnedButKeepTheirPeaks) {
  SvgPlot::Series series{"long", {}, false};
  for (int i = 0; i < 100'000; ++i) series.points.emplace_back(i * 0.001, i == 54'321 ? 1000.0 : 0.0);
  SvgPlot plot("t", "v");
  plot.AddSeries(std::move(series));
  const std::string svg = plot.Render();
  EXPECT_LT(svg.size(), 200'000u);
  // Values span -50..1050 with the air added; 1000 is drawn at y = 50 + 50 / 1100 * 430.
  EXPECT_NE(svg.find(" 69.55"), std::string::npos);
}

TEST(TextTable, ColumnsAlignByCharactersNotBytes) {
  TextTable table({"A", "B"});
  table.AddRow({"\xc3\xa9\xc3\xa9", "x"});
  table.AddRow({"abc", ""});
  std::ostringstream out;
  table.Print(out, "  ");
  EXPECT_EQ(out.str(), "  A    B\n  \xc3\xa9\xc3\xa9   x\n  abc\n");
}

TEST(ProgressIndicator, SweepTurnsAtBothEnds) {
  using std::chrono::milliseconds;
  EXPECT_EQ(ProgressIndicator::Line("saving", milliseconds(1234), 0), "saving [=====               ] 1.2 s");
  EXPECT_EQ(ProgressIndicator::Line("saving", milliseconds(0), 15), "saving [               =====] 0.0 s");
  EXPECT_EQ(ProgressIndicator::Line("saving", milliseconds(0), 16), "saving [              ===== ] 0.0 s");
  EXPECT_EQ(ProgressIndicator::Line("saving", milliseconds(0), 30), "saving [=====               ] 0.0 s");
}

}  // namespace
}  // namespace dscore_cli
