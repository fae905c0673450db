// printf-style wide formatting with the Windows meaning of the formats on
// every platform: "%s" is a wide string, "%S" and "%hs" narrow ones, "%I64d"
// a 64-bit integer, "%I32d" a 32-bit one. Internal and header-only: the
// logging stand-in formats its messages with it, and DsCore reaches it only
// through its private check header.
// Pure functions; safe from any thread.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cwchar>
#include <cwctype>
#include <string>
#include <vector>

namespace widefmt {

// Rewrites a Windows wide format into the C library's wide format:
// %s -> %ls, %S and %hs -> %s, %I64 -> %ll, %I32 -> (int).
inline std::wstring TranslateFormat(const wchar_t* fmt) {
  std::wstring out;
  for (const wchar_t* p = fmt; *p != L'\0'; ++p) {
    out.push_back(*p);
    if (*p != L'%') continue;
    const std::size_t conversion = out.size() - 1;
    ++p;
    if (*p == L'%') {
      out.push_back(L'%');
      continue;
    }
    while (*p != L'\0' && std::wcschr(L"-+ #0", *p) != nullptr) out.push_back(*p++);
    while (*p != L'\0' && (std::iswdigit(static_cast<wint_t>(*p)) || *p == L'*')) out.push_back(*p++);
    if (*p == L'.') {
      out.push_back(*p++);
      while (*p != L'\0' && (std::iswdigit(static_cast<wint_t>(*p)) || *p == L'*')) out.push_back(*p++);
    }
    bool narrow = false;
    bool wide = false;
    if (p[0] == L'I' && p[1] == L'6' && p[2] == L'4') {
      out += L"ll";
      p += 3;
    } else if (p[0] == L'I' && p[1] == L'3' && p[2] == L'2') {
      p += 3;
    } else if (*p == L'h' && (p[1] == L's' || p[1] == L'c')) {
      narrow = true;
      ++p;
    } else if (*p == L'l' && (p[1] == L's' || p[1] == L'c')) {
      wide = true;
      ++p;
    } else {
      while (*p != L'\0' && std::wcschr(L"hlLqjzt", *p) != nullptr) out.push_back(*p++);
    }
    if (*p == L'\0') {
      out.resize(conversion);  // a conversion cut off by the end of the format prints nothing
      break;
    }
    if ((*p == L's' || *p == L'c') && !narrow) {
      out.push_back(L'l');
      out.push_back(*p);
    } else if ((*p == L'S' || *p == L'C') && !wide) {
      out.push_back(static_cast<wchar_t>(*p == L'S' ? L's' : L'c'));
    } else if (*p == L'S' || *p == L'C') {
      out.push_back(L'l');
      out.push_back(static_cast<wchar_t>(*p == L'S' ? L's' : L'c'));
    } else {
      out.push_back(*p);
    }
  }
  return out;
}

// The formatted text; empty for a null format, a format or argument the C
// library rejects (a narrow text that is not valid in the current locale, for
// one), or a result above 16M characters.
inline std::wstring VFormat(const wchar_t* fmt, std::va_list args) {
  if (fmt == nullptr) return std::wstring();
  const std::wstring translated = TranslateFormat(fmt);
  std::vector<wchar_t> buffer(256);
  for (;;) {
    std::va_list copy;
    va_copy(copy, args);
    buffer[0] = L'\0';
    const int n = std::vswprintf(buffer.data(), buffer.size(), translated.c_str(), copy);
    va_end(copy);
    if (n >= 0 && static_cast<std::size_t>(n) < buffer.size()) return std::wstring(buffer.data(), static_cast<std::size_t>(n));
    // vswprintf does not tell the needed size, nor whether it failed for lack
    // of room: only a buffer filled to its end is worth growing, within reason.
    if (std::find(buffer.begin(), buffer.end() - 1, L'\0') != buffer.end() - 1) return std::wstring();
    if (buffer.size() >= (std::size_t{1} << 24)) return std::wstring();
    buffer.resize(buffer.size() * 4);
  }
}

inline std::wstring Format(const wchar_t* fmt, ...) {
  std::va_list args;
  va_start(args, fmt);
  std::wstring s = VFormat(fmt, args);
  va_end(args);
  return s;
}

}  // namespace widefmt
