#include "snapshot/Utf16Codec.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qz_dsc {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr bool kWide32 = sizeof(wchar_t) == 4;

Bytes Encoded(const std::wstring& text) {
  Bytes out(2 * Utf16Codec::CountUnits(text) + 1, 0xAA);
  const std::size_t written = Utf16Codec::EncodeLE(text, out.data());
  EXPECT_EQ(written, out.size() - 1);
  EXPECT_EQ(out.back(), 0xAA);  // nothing beyond the counted bytes
  out.pop_back();
  return out;
}

std::wstring Wide(std::initializer_list<unsigned> values) {
  std::wstring s;
  for (unsigned v : values) {
    s.push_back(static_cast<wchar_t>(v));
  }
  return s;
}

TEST(Utf16Codec, BmpCharactersAreOneUnitEach) {
  EXPECT_EQ(Utf16Codec::CountUnits(L""), 0u);
  EXPECT_EQ(Utf16Codec::CountUnits(L"a\u00E9\u20AC\uFFFF"), 4u);
  EXPECT_EQ(Encoded(L"a\u00E9\u20AC\uFFFF"), (Bytes{0x61, 0, 0xE9, 0, 0xAC, 0x20, 0xFF, 0xFF}));
  EXPECT_EQ(Utf16Codec::ToUtf16(L"a\u20AC"), u"a\u20AC");
}

TEST(Utf16Codec, CharactersAboveBmpAreSurrogatePairs) {
  if constexpr (!kWide32) {
    GTEST_SKIP() << "wchar_t already holds UTF-16";
  }
  const std::wstring text = Wide({0x10000, 0x1F600, 0x10FFFF});
  EXPECT_EQ(Utf16Codec::CountUnits(text), 6u);
  EXPECT_EQ(Encoded(text), (Bytes{0x00, 0xD8, 0x00, 0xDC, 0x3D, 0xD8, 0x00, 0xDE, 0xFF, 0xDB, 0xFF, 0xDF}));
  EXPECT_EQ(Utf16Codec::ToUtf16(text), (std::u16string{0xD800, 0xDC00, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF}));
}

TEST(Utf16Codec, LoneSurrogatesAreKeptBothWays) {
  const std::wstring lone = Wide({0xDC00, 0x61, 0xD800});
  EXPECT_EQ(Encoded(lone), (Bytes{0x00, 0xDC, 0x61, 0x00, 0x00, 0xD8}));
  const Bytes bytes = Encoded(lone);
  EXPECT_EQ(Utf16Codec::DecodeLE(bytes.data(), 3), lone);
  EXPECT_EQ(Utf16Codec::FromUtf16(std::u16string{0xD800}), Wide({0xD800}));
  EXPECT_EQ(Utf16Codec::FromUtf16(std::u16string{0xDBFF, 0xDBFF, 0xDFFF}),
            kWide32 ? Wide({0xDBFF, 0x10FFFF}) : Wide({0xDBFF, 0xDBFF, 0xDFFF}));
}

TEST(Utf16Codec, ValidPairsDecodeToOneCharacter) {
  const Bytes bytes = {0x3D, 0xD8, 0x00, 0xDE, 0x62, 0x00};
  const std::wstring decoded = Utf16Codec::DecodeLE(bytes.data(), 3);
  if constexpr (kWide32) {
    EXPECT_EQ(decoded, Wide({0x1F600, 0x62}));
  } else {
    EXPECT_EQ(decoded, Wide({0xD83D, 0xDE00, 0x62}));
  }
  // A pair split by the unit count stays a lone surrogate.
  EXPECT_EQ(Utf16Codec::DecodeLE(bytes.data(), 1), Wide({0xD83D}));
  EXPECT_EQ(Utf16Codec::DecodeLE(nullptr, 0), L"");
}

TEST(Utf16Codec, ValuesThatAreNoCodePointBecomeReplacementCharacters) {
  if constexpr (!kWide32) {
    GTEST_SKIP() << "every 16-bit value is a code unit";
  }
  const std::wstring bad = Wide({0x110000, 0xFFFFFFFFu, 0x41});
  EXPECT_EQ(Utf16Codec::CountUnits(bad), 3u);
  EXPECT_EQ(Encoded(bad), (Bytes{0xFD, 0xFF, 0xFD, 0xFF, 0x41, 0x00}));
}

TEST(Utf16Codec, RoundTripsEveryKindOfCharacter) {
  std::wstring text = L"plain \u00FC\u4E2D";
  text += static_cast<wchar_t>(0xDFFF);
  if constexpr (kWide32) {
    text += Wide({0x10000, 0x1F600, 0x10FFFF});
  }
  const Bytes bytes = Encoded(text);
  EXPECT_EQ(Utf16Codec::DecodeLE(bytes.data(), bytes.size() / 2), text);
  EXPECT_EQ(Utf16Codec::FromUtf16(Utf16Codec::ToUtf16(text)), text);
}

}  // namespace
}  // namespace qz_dsc
