// A short text built in a stack buffer of narrow characters and widened to a
// std::wstring once, for the time texts: numbers are written with
// std::to_chars, never through the printf family.
// A value type; not shared between threads.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace qz_dsc {

class NarrowText {
 public:
  // Room for the longest time text: a timestamp of seven 11-character numbers
  // and six separators. REQUIRES: every text built stays within it.
  static constexpr std::size_t kCapacity = 96;

  NarrowText& Put(char c) {
    buffer_[size_++] = c;
    return *this;
  }

  // value in decimal, padded with zeros to width characters the way printf's
  // "%0<width>d" does: the sign first and counted in the width.
  NarrowText& Number(std::int64_t value, int width = 1) {
    std::uint64_t magnitude = static_cast<std::uint64_t>(value);
    if (value < 0) {
      Put('-');
      magnitude = 0 - magnitude;  // defined for INT64_MIN too
      --width;
    }
    return Unsigned(magnitude, width);
  }

  NarrowText& Unsigned(std::uint64_t value, int width = 1) {
    char digits[20];
    const auto length = static_cast<int>(std::to_chars(digits, digits + sizeof digits, value).ptr - digits);
    for (int i = length; i < width; ++i) Put('0');
    std::memcpy(buffer_ + size_, digits, static_cast<std::size_t>(length));
    size_ += static_cast<std::size_t>(length);
    return *this;
  }

  std::wstring Widen() const { return std::wstring(buffer_, buffer_ + size_); }

 private:
  char buffer_[kCapacity];
  std::size_t size_ = 0;
};

}  // namespace qz_dsc
