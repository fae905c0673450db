#include "xml/DataSourceListWriter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace qz_dsc {
namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File TempFile() { return File(std::tmpfile(), &std::fclose); }

std::string Contents(std::FILE* f) {
  std::rewind(f);
  std::string out;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, f)) > 0;) out.append(buffer, n);
  return out;
}

TEST(DataSourceListWriterTest, DeclaresEachPrefixOnceWhereItIsFirstUsedAndClosesWhatIsOpen) {
  File f = TempFile();
  DataSourceListWriter writer(f.get());
  writer.StartDocument();
  ASSERT_TRUE(writer.StartElement(0, L"mpeg7:Mpeg7"));
  ASSERT_TRUE(writer.StartElement(1, L"mpeg7:DescriptionUnit"));
  ASSERT_TRUE(writer.Attribute(2, L"xsi:type", L"T"));
  ASSERT_TRUE(writer.StartElement(2, L"DataSource"));
  ASSERT_TRUE(writer.StartElement(3, L"DataSourceStream"));
  ASSERT_TRUE(writer.Attribute(4, L"xsi:type", L"S"));  // in scope from the description unit
  ASSERT_TRUE(writer.TextElement(4, "Value", "TimeStamp", "0 1", L"a"));
  ASSERT_TRUE(writer.TextElement(4, "Value", "TimeStamp", "0 2", L""));
  ASSERT_TRUE(writer.StartElement(3, L"DataSourceStream"));  // ends the previous stream
  ASSERT_TRUE(writer.StartElement(2, L"DataSource"));          // ends the stream and the source
  EXPECT_EQ(writer.Depth(), 3u);
  ASSERT_TRUE(writer.Finish());
  EXPECT_EQ(Contents(f.get()),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<mpeg7:Mpeg7 xmlns:mpeg7=\"urn:mpeg:mpeg7:schema:2001\"><mpeg7:DescriptionUnit "
            "xmlns:xsi=\"urn:mpeg:mpeg7:schema:2001\" xsi:type=\"T\"><DataSource><DataSourceStream xsi:type=\"S\">"
            "<Value TimeStamp=\"0 1\">a</Value><Value TimeStamp=\"0 2\"/></DataSourceStream><DataSourceStream/>"
            "</DataSource><DataSource/></mpeg7:DescriptionUnit></mpeg7:Mpeg7>\n");
}

TEST(DataSourceListWriterTest, EscapesTextAndAttributesAsTheDomSaves) {
  File f = TempFile();
  DataSourceListWriter writer(f.get());
  ASSERT_TRUE(writer.StartElement(0, L"r"));
  ASSERT_TRUE(writer.Attribute(1, L"a", L"<&>\"'\t\n\r\u00e9"));
  ASSERT_TRUE(writer.AttributeUtf8(1, L"b", "1 < 2\t"));
  ASSERT_TRUE(writer.TextElement(1, "v", "t", "&", L"<&>\"'\t\n\r\u00e9\U0001F600"));
  ASSERT_TRUE(writer.TextElementUtf8(1, "v", "t", "\"\n", "a<&>\"'\t\n\r\xC3\xA9"));
  ASSERT_TRUE(writer.TextElementUtf8(1, "v", "t", "1 2", ""));
  ASSERT_TRUE(writer.Finish());
  EXPECT_EQ(Contents(f.get()),
            "<r a=\"&lt;&amp;&gt;&quot;'&#9;&#10;&#13;\xC3\xA9\" b=\"1 &lt; 2&#9;\">"
            "<v t=\"&amp;\">&lt;&amp;&gt;\"'\t\n&#13;\xC3\xA9\xF0\x9F\x98\x80</v>"
            "<v t=\"&quot;&#10;\">a&lt;&amp;&gt;\"'\t\n&#13;\xC3\xA9</v><v t=\"1 2\"/></r>\n");
}

TEST(DataSourceListWriterTest, RefusesWhatWouldBreakTheDocumentAndWritesNothingForIt) {
  File f = TempFile();
  DataSourceListWriter writer(f.get());
  EXPECT_FALSE(writer.StartElement(1, L"r"));    // no parent open
  EXPECT_FALSE(writer.StartElement(0, L"x:r"));  // prefix outside the table
  ASSERT_TRUE(writer.StartElement(0, L"r"));
  EXPECT_FALSE(writer.StartElement(0, L"second"));  // one root only
  EXPECT_FALSE(writer.Attribute(1, L"x:a", L"v"));
  EXPECT_FALSE(writer.Attribute(1, L"a", std::wstring(L"a\0b", 3)));  // libxml2 texts end at NUL
  EXPECT_FALSE(writer.TextElement(1, "v", "t", "0 0", std::wstring(L"\0", 1)));
  EXPECT_FALSE(writer.TextElementUtf8(1, "v", "t", "0 0", std::string_view("1\0", 2)));
  EXPECT_FALSE(writer.TextElementUtf8(2, "v", "t", "0 0", "1"));  // no element open at depth 2
  ASSERT_TRUE(writer.StartElement(1, L"c"));
  EXPECT_FALSE(writer.Attribute(1, L"late", L"v"));  // r's start tag is closed
  EXPECT_FALSE(writer.Attribute(3, L"deep", L"v"));
  ASSERT_TRUE(writer.Finish());
  EXPECT_EQ(Contents(f.get()), "<r><c/></r>\n");
}

TEST(DataSourceListWriterTest, AFailedWriteIsReportedByFinish) {
  File readOnly(std::fopen("/dev/null", "r"), &std::fclose);
  ASSERT_TRUE(readOnly);
  DataSourceListWriter writer(readOnly.get());
  ASSERT_TRUE(writer.StartElement(0, L"r"));
  EXPECT_FALSE(writer.Finish());
  EXPECT_TRUE(writer.Failed());
}

}  // namespace
}  // namespace qz_dsc
