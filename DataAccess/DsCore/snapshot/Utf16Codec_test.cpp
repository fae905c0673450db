#include "snapshot/Utf16Codec.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qz_dsc {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr bool kWide32 = sizeof(wchar_t) == 4;

std::wstring Wide(std::initializer_list<unsigned> values) {
  std::wstring s;
  for (unsigned v : values) {
    s.push_back(static_cast<wchar_t>(v));
  }
  return s;
}

// EncodeLE's bytes, checked against CountUnits, ToUtf16 and the end of the output.
Bytes Encoded(const std::wstring& text) {
  Bytes out(2 * Utf16Codec::CountUnits(text) + 1, 0xAA);
  EXPECT_EQ(Utf16Codec::EncodeLE(text, out.data()), out.size() - 1);
  EXPECT_EQ(out.back(), 0xAA);  // nothing beyond the counted bytes
  out.pop_back();
  const std::u16string units = Utf16Codec::ToUtf16(text);
  EXPECT_EQ(units.size() * 2, out.size());
  for (std::size_t i = 0; i < units.size() && 2 * i + 1 < out.size(); ++i) {
    EXPECT_EQ(units[i], out[2 * i] | (out[2 * i + 1] << 8)) << "unit " << i;
  }
  return out;
}

TEST(Utf16Codec, EncodesCodeUnitsLittleEndian) {
  const struct {
    const char* what;
    std::wstring text;
    Bytes bytes;
    bool wide32Only;
  } cases[] = {
      {"empty", L"", {}, false},
      {"BMP", L"a\u00E9\u20AC\uFFFF", {0x61, 0, 0xE9, 0, 0xAC, 0x20, 0xFF, 0xFF}, false},
      {"lone surrogates", Wide({0xDC00, 0x61, 0xD800}), {0x00, 0xDC, 0x61, 0x00, 0x00, 0xD8}, false},
      {"surrogate pairs", Wide({0x10000, 0x1F600, 0x10FFFF}),
       {0x00, 0xD8, 0x00, 0xDC, 0x3D, 0xD8, 0x00, 0xDE, 0xFF, 0xDB, 0xFF, 0xDF}, true},
      {"no code point", Wide({0x110000, 0xFFFFFFFFu, 0x41}), {0xFD, 0xFF, 0xFD, 0xFF, 0x41, 0x00}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    if (!c.wide32Only || kWide32) {
      EXPECT_EQ(Encoded(c.text), c.bytes);
    }
  }
}

TEST(Utf16Codec, DecodesValidPairsToOneCharacterAndKeepsLoneSurrogates) {
  const Bytes bytes = {0x3D, 0xD8, 0x00, 0xDE, 0x62, 0x00};
  EXPECT_EQ(Utf16Codec::DecodeLE(bytes.data(), 3), kWide32 ? Wide({0x1F600, 0x62}) : Wide({0xD83D, 0xDE00, 0x62}));
  EXPECT_EQ(Utf16Codec::DecodeLE(bytes.data(), 1), Wide({0xD83D}));  // a pair split by the unit count
  EXPECT_EQ(Utf16Codec::DecodeLE(nullptr, 0), L"");
  const Bytes lone = {0x00, 0xDC, 0x61, 0x00, 0x00, 0xD8};
  EXPECT_EQ(Utf16Codec::DecodeLE(lone.data(), 3), Wide({0xDC00, 0x61, 0xD800}));
  EXPECT_EQ(Utf16Codec::FromUtf16(std::u16string{0xD800}), Wide({0xD800}));
  EXPECT_EQ(Utf16Codec::FromUtf16(std::u16string{0xDBFF, 0xDBFF, 0xDFFF}),
            kWide32 ? Wide({0xDBFF, 0x10FFFF}) : Wide({0xDBFF, 0xDBFF, 0xDFFF}));
}

TEST(Utf16Codec, RoundTripsEveryKindOfCharacter) {
  std::wstring text = L"plain \u00FC\u4E2D" + Wide({0xDFFF});
  if constexpr (kWide32) {
    text += Wide({0x10000, 0x1F600, 0x10FFFF});
  }
  const Bytes bytes = Encoded(text);
  EXPECT_EQ(Utf16Codec::DecodeLE(bytes.data(), bytes.size() / 2), text);
  EXPECT_EQ(Utf16Codec::FromUtf16(Utf16Codec::ToUtf16(text)), text);
}

}  // namespace
}  // namespace qz_dsc
