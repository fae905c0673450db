// A short text built in a stack buffer of narrow characters and widened to a
// std::wstring once, for the time texts: numbers are written with
// std::to_chars, never through the printf family.
// Lives on one thread's stack; not copyable.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

namespace qz_dsc {

class NarrowText {
 public:
  // Room for the longest time text: a timestamp of seven 11-character numbers
  // and six separators. REQUIRES: no text built is longer.
  static constexpr std::size_t kCapacity = 96;

  // Starts with "-" when minus is set.
  explicit NarrowText(bool minus = false) {
    if (minus) Put('-');
  }
  NarrowText(const NarrowText&) = delete;
  NarrowText& operator=(const NarrowText&) = delete;

  NarrowText& Put(char c) {
    *end_++ = c;
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
    // The zeros go first, so that the digits are written in place: count
    // the digits only as far as the width needs.
    int digits = 1;
    for (std::uint64_t power = 10; digits < width && value >= power; power *= 10) ++digits;
    for (; digits < width; ++digits) Put('0');
    // Most fields fit 32 bits, whose conversion is the cheaper one.
    end_ = value <= std::numeric_limits<std::uint32_t>::max()
               ? std::to_chars(end_, buffer_ + kCapacity, static_cast<std::uint32_t>(value)).ptr
               : std::to_chars(end_, buffer_ + kCapacity, value).ptr;
    return *this;
  }

  std::wstring Widen() const {
    return std::wstring(static_cast<const char*>(buffer_), static_cast<const char*>(end_));
  }

 private:
  char buffer_[kCapacity];
  char* end_ = buffer_;
};

}  // namespace qz_dsc
