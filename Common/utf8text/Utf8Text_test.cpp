#include "Utf8Text.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using utf8text::ToUtf8;
using utf8text::ToWide;

constexpr wchar_t kFFFD = 0xFFFD;

// The text copied into an allocation of exactly its size, so that reading
// one byte past the end is caught by the address sanitizer.
std::wstring DecodeExact(const std::string& bytes) {
  auto copy = std::make_unique<char[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), copy.get());
  return ToWide(std::string_view(copy.get(), bytes.size()));
}

TEST(Utf8Text, WideToUtf8Bytes) {
  struct Case {
    std::wstring in;
    std::string out;
  } cases[] = {
      {L"", ""},
      {L"a\u00e9\u20ac", "a\xc3\xa9\xe2\x82\xac"},
      {std::wstring(1, static_cast<wchar_t>(0x1F600)), "\xf0\x9f\x98\x80"},
      {std::wstring{L'a', L'\0', L'b'}, std::string("a\0b", 3)},  // NUL is a character
      // A surrogate pair is one character, whatever the width of wchar_t.
      {std::wstring{static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)}, "\xf0\x9f\x98\x80"},
      // Unpaired surrogates: lone high, lone low, high at the end, reversed pair.
      {std::wstring{static_cast<wchar_t>(0xD800), L'x'}, "\xef\xbf\xbdx"},
      {std::wstring{static_cast<wchar_t>(0xDC00)}, "\xef\xbf\xbd"},
      {std::wstring{L'x', static_cast<wchar_t>(0xDBFF)}, "x\xef\xbf\xbd"},
      {std::wstring{static_cast<wchar_t>(0xDC00), static_cast<wchar_t>(0xD800)}, "\xef\xbf\xbd\xef\xbf\xbd"},
  };
  for (const auto& c : cases) EXPECT_EQ(ToUtf8(c.in), c.out) << c.out;
  if constexpr (sizeof(wchar_t) == 4) {
    EXPECT_EQ(ToUtf8(std::wstring(1, static_cast<wchar_t>(0x110000))), "\xef\xbf\xbd");
    EXPECT_EQ(ToUtf8(std::wstring(1, static_cast<wchar_t>(0x10FFFF))), "\xf4\x8f\xbf\xbf");
  }
}

TEST(Utf8Text, InvalidUtf8BecomesReplacement) {
  struct Case {
    std::string in;
    std::wstring out;
  } cases[] = {
      {"plain", L"plain"},
      {"\xff", std::wstring(1, kFFFD)},
      {"a\x80z", std::wstring{L'a', kFFFD, L'z'}},          // stray continuation byte
      {"\xc0\xaf", std::wstring(1, kFFFD)},                  // overlong '/'
      {"\xed\xa0\x80", std::wstring(1, kFFFD)},              // encoded surrogate
      {"\xf4\x90\x80\x80", std::wstring(1, kFFFD)},          // above U+10FFFF
      {"\xe2\x82z", std::wstring{kFFFD, L'z'}},              // sequence broken by ASCII
      {"\xc3\xa9\xff\xc3\xa9", std::wstring{L'\u00e9', kFFFD, L'\u00e9'}},
  };
  for (const auto& c : cases) EXPECT_EQ(DecodeExact(c.in), c.out);
}

// Every cut inside a multi-byte character, at the end of the text (as a
// message truncated by byte count is): one U+FFFD, nothing read past the end.
TEST(Utf8Text, CutInsideACharacterAtTheEnd) {
  const std::string chars[] = {"\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80"};
  for (const std::string& ch : chars) {
    for (std::size_t keep = 1; keep < ch.size(); ++keep) {
      const std::string cut = "ab" + ch.substr(0, keep);
      EXPECT_EQ(DecodeExact(cut), (std::wstring{L'a', L'b', kFFFD})) << ch.size() << "-byte, " << keep;
      EXPECT_EQ(DecodeExact(ch.substr(0, keep)), std::wstring(1, kFFFD));
    }
    // Uncut, the character comes through whole.
    EXPECT_EQ(ToUtf8(DecodeExact(ch)), ch);
  }
}

TEST(Utf8Text, RoundTripAndStorageReuse) {
  std::wstring text = L"x\u00e9\u20ac";
  text.push_back(static_cast<wchar_t>(0x10000));
  if constexpr (sizeof(wchar_t) == 2) {
    text = L"x\u00e9\u20ac\xD800\xDC00";
  }
  EXPECT_EQ(ToWide(ToUtf8(text)), text);
  // Assign replaces earlier, longer content completely.
  std::wstring out(100, L'q');
  utf8text::AssignWide("ok", out);
  EXPECT_EQ(out, L"ok");
  std::string bytes(100, 'q');
  utf8text::AssignUtf8(L"ok", bytes);
  EXPECT_EQ(bytes, "ok");
}

}  // namespace
