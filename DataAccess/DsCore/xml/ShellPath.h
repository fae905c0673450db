// The shell path operations the data source list document needs for its
// base path and relative data file names, over std::filesystem with POSIX
// paths: "/" is the one root, so two absolute paths share it, while a
// relative path has no root. Results are lexical; nothing touches the disk.
// Stateless; safe from any thread.
#pragma once

#include <string>

namespace qz_dsc {

class ShellPath {
 public:
  // The limit of a path in characters, terminating NUL included.
  static constexpr std::size_t kMaxPath = 260;

  // Removes the last component and its separator ("/a/b.xml" -> "/a",
  // "/b.xml" -> "/", "b.xml" -> ""). False when nothing was removed, which
  // is no failure: the path is then already a folder or a root.
  static bool RemoveFileSpec(std::wstring& path);
  // True when both paths are absolute (they share the root "/").
  [[nodiscard]] static bool IsSameRoot(const std::wstring& a, const std::wstring& b);
  // The relative path from `from` (a directory when fromIsDirectory, else
  // its folder) to `to`: "./x" inside it, "../x" above. False when the two
  // do not share a root or the result reaches kMaxPath.
  [[nodiscard]] static bool RelativePathTo(const std::wstring& from, bool fromIsDirectory, const std::wstring& to,
                             std::wstring& out);
  // True for an empty path and any path not starting with "/".
  [[nodiscard]] static bool IsRelative(const std::wstring& path);
  // file when it is absolute, else directory joined with file; "." and ".."
  // resolved. False when the result reaches kMaxPath characters.
  [[nodiscard]] static bool Combine(const std::wstring& directory, const std::wstring& file, std::wstring& out);
};

}  // namespace qz_dsc
