#include "xml/ShellPath.h"

#include <gtest/gtest.h>

#include <string>

using qz_dsc::ShellPath;

TEST(ShellPath, RemoveFileSpec) {
  std::wstring p = L"/data/docs/list.xml";
  EXPECT_TRUE(ShellPath::RemoveFileSpec(p));
  EXPECT_EQ(p, L"/data/docs");
  p = L"/list.xml";
  EXPECT_TRUE(ShellPath::RemoveFileSpec(p));
  EXPECT_EQ(p, L"/");
  EXPECT_FALSE(ShellPath::RemoveFileSpec(p));
  EXPECT_EQ(p, L"/");
  p = L"list.xml";
  EXPECT_TRUE(ShellPath::RemoveFileSpec(p));
  EXPECT_EQ(p, L"");
  p = L"/data/docs/";
  EXPECT_TRUE(ShellPath::RemoveFileSpec(p));
  EXPECT_EQ(p, L"/data/docs");
  p = L"/d\u00e4ta/l\u4e2d.xml";
  EXPECT_TRUE(ShellPath::RemoveFileSpec(p));
  EXPECT_EQ(p, L"/d\u00e4ta");
}

TEST(ShellPath, RootsAndRelativity) {
  EXPECT_TRUE(ShellPath::IsSameRoot(L"/a", L"/b/c"));
  EXPECT_FALSE(ShellPath::IsSameRoot(L"/a", L"b/c"));
  EXPECT_FALSE(ShellPath::IsSameRoot(L"a", L"b"));
  EXPECT_TRUE(ShellPath::IsRelative(L""));
  EXPECT_TRUE(ShellPath::IsRelative(L"./x"));
  EXPECT_TRUE(ShellPath::IsRelative(L"x/y"));
  EXPECT_FALSE(ShellPath::IsRelative(L"/x"));
}

TEST(ShellPath, RelativePathFromDirectory) {
  std::wstring out = L"unchanged";
  ASSERT_TRUE(ShellPath::RelativePathTo(L"/data/docs", true, L"/data/docs/rec/a.csv", out));
  EXPECT_EQ(out, L"./rec/a.csv");
  ASSERT_TRUE(ShellPath::RelativePathTo(L"/data/docs", true, L"/data/csv/a.csv", out));
  EXPECT_EQ(out, L"../csv/a.csv");
  ASSERT_TRUE(ShellPath::RelativePathTo(L"/data/docs/list.xml", false, L"/data/a.csv", out));
  EXPECT_EQ(out, L"../a.csv");
  ASSERT_TRUE(ShellPath::RelativePathTo(L"/data/docs/", true, L"/data/./docs/a.csv", out));
  EXPECT_EQ(out, L"./a.csv");
  out = L"unchanged";
  EXPECT_FALSE(ShellPath::RelativePathTo(L"/data", true, L"a.csv", out));
  EXPECT_EQ(out, L"unchanged");
}

TEST(ShellPath, CombineResolvesAndLimitsLength) {
  std::wstring out;
  ASSERT_TRUE(ShellPath::Combine(L"/data/docs", L"./rec/a.csv", out));
  EXPECT_EQ(out, L"/data/docs/rec/a.csv");
  ASSERT_TRUE(ShellPath::Combine(L"/data/docs", L"../csv/a.csv", out));
  EXPECT_EQ(out, L"/data/csv/a.csv");
  ASSERT_TRUE(ShellPath::Combine(L"/data/docs", L"/abs/a.csv", out));
  EXPECT_EQ(out, L"/abs/a.csv");
  const std::wstring dir = L"/" + std::wstring(250, L'd');
  ASSERT_TRUE(ShellPath::Combine(dir, L"abcdefg", out));  // 259 characters fit
  EXPECT_EQ(out.size(), 259u);
  out = L"unchanged";
  EXPECT_FALSE(ShellPath::Combine(dir, L"abcdefgh", out));  // 260 do not
  EXPECT_EQ(out, L"unchanged");
}
