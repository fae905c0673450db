#include "xml/XmlCharacters.h"

#include <gtest/gtest.h>

#include <string>

namespace qz_dsc {
namespace {

std::wstring Text(std::initializer_list<std::uint32_t> units) {
  std::wstring s;
  for (std::uint32_t u : units) s.push_back(static_cast<wchar_t>(u));
  return s;
}

TEST(XmlCharacters, BoundariesOfTheCharProduction) {
  struct Case {
    std::uint32_t c;
    bool carried;
  };
  const Case cases[] = {
      {0x00, false}, {0x08, false}, {0x09, true},    {0x0A, true},    {0x0B, false},   {0x0C, false},
      {0x0D, true},  {0x0E, false}, {0x1F, false},   {0x20, true},    {0x7F, true},    {0xD7FF, true},
      {0xE000, true}, {0xFFFD, true}, {0xFFFE, false}, {0xFFFF, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(IsXmlCarriable(Text({'a', c.c, 'b'})), c.carried) << std::hex << c.c;
  }
  EXPECT_TRUE(IsXmlCarriable(L""));
  EXPECT_TRUE(IsXmlCarriable(L"<a href=\"x\">&amp;</a>"));  // markup is escaped, not refused
}

TEST(XmlCharacters, SurrogatesAndCharactersAboveTheBmp) {
  if constexpr (sizeof(wchar_t) == 2) {
    EXPECT_TRUE(IsXmlCarriable(Text({0xD83D, 0xDE00})));
    EXPECT_FALSE(IsXmlCarriable(Text({0xD83D})));
    EXPECT_FALSE(IsXmlCarriable(Text({0xDE00, 0xD83D})));
    EXPECT_FALSE(IsXmlCarriable(Text({'x', 0xDE00})));
  } else {
    EXPECT_TRUE(IsXmlCarriable(Text({0x1F600, 0x10000, 0x10FFFF})));
    EXPECT_FALSE(IsXmlCarriable(Text({0x110000})));
    EXPECT_FALSE(IsXmlCarriable(Text({0xFFFFFFFFu})));  // negative wchar_t
    EXPECT_FALSE(IsXmlCarriable(Text({0xD800})));
    EXPECT_FALSE(IsXmlCarriable(Text({0xDFFF})));
    EXPECT_FALSE(IsXmlCarriable(Text({0xD83D, 0xDE00})));  // UTF-16 pairs are not code points here
  }
}

}  // namespace
}  // namespace qz_dsc
