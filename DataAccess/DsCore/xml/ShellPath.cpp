#include "xml/ShellPath.h"

#include <filesystem>
#include <vector>

#include "Utf8Text.h"

namespace qz_dsc {
namespace {

namespace fs = std::filesystem;

// Paths travel as UTF-8 narrow strings, so no locale conversion is involved.
// A character that is no Unicode scalar value becomes U+FFFD.
// Invalid UTF-8 in a name read from the file system becomes U+FFFD too.
fs::path ToPath(const std::wstring& text) { return fs::path(utf8text::ToUtf8(text)); }

std::wstring FromPath(const fs::path& path) { return utf8text::ToWide(path.native()); }

std::vector<fs::path> Components(const fs::path& p) {
  std::vector<fs::path> parts;
  for (const auto& part : p.lexically_normal().relative_path()) {
    if (!part.empty()) parts.push_back(part);
  }
  return parts;
}

}  // namespace

bool ShellPath::RemoveFileSpec(std::wstring& path) {
  const fs::path p = ToPath(path);
  fs::path parent;
  if (p.has_filename()) {
    parent = p.parent_path();
  } else {
    // "a/b/" names the folder "a/b": only the trailing separator goes; the
    // root "/" stays.
    std::string s = p.native();
    while (s.size() > 1 && s.back() == '/') s.pop_back();
    parent = fs::path(s);
  }
  std::wstring result = FromPath(parent);
  if (result == path) return false;
  path = std::move(result);
  return true;
}

bool ShellPath::IsSameRoot(const std::wstring& a, const std::wstring& b) {
  return !IsRelative(a) && !IsRelative(b);
}

bool ShellPath::RelativePathTo(const std::wstring& from, bool fromIsDirectory, const std::wstring& to,
                               std::wstring& out) {
  if (!IsSameRoot(from, to)) return false;
  std::vector<fs::path> base = Components(ToPath(from));
  if (!fromIsDirectory && !base.empty()) base.pop_back();
  const std::vector<fs::path> target = Components(ToPath(to));
  std::size_t common = 0;
  while (common < base.size() && common < target.size() && base[common] == target[common]) ++common;
  fs::path rel;
  if (common == base.size()) {
    rel = ".";
  } else {
    for (std::size_t i = common; i < base.size(); ++i) rel /= "..";
  }
  for (std::size_t i = common; i < target.size(); ++i) rel /= target[i];
  std::wstring result = FromPath(rel);
  if (result.size() >= kMaxPath) return false;
  out = std::move(result);
  return true;
}

bool ShellPath::IsRelative(const std::wstring& path) { return path.empty() || path.front() != L'/'; }

bool ShellPath::Combine(const std::wstring& directory, const std::wstring& file, std::wstring& out) {
  fs::path joined = IsRelative(file) ? ToPath(directory) / ToPath(file) : ToPath(file);
  std::wstring result = FromPath(joined.lexically_normal());
  if (result.size() >= kMaxPath) return false;
  out = std::move(result);
  return true;
}

}  // namespace qz_dsc
