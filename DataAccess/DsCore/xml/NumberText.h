// Reads decimal integers from the texts of the data source list document the
// way a wide input stream extracts them: leading white space skipped, an
// optional sign, decimal digits; anything after the number is ignored. Fails
// when no digit can be read or the number does not fit the type.
// Stateless; safe from any thread.
#pragma once

#include <cstdint>
#include <limits>
#include <string_view>
#include <type_traits>

namespace qz_dsc {

class NumberText {
 public:
  // Parses from the start of text; on success stores the value and, when
  // rest is given, the text after the number.
  template <class Int, class CharT>
  [[nodiscard]] static bool Parse(std::basic_string_view<CharT> text, Int& value,
                    std::basic_string_view<CharT>* rest = nullptr) noexcept {
    static_assert(std::is_integral_v<Int> && std::is_signed_v<Int>, "signed integers only");
    using U = std::make_unsigned_t<Int>;
    std::size_t i = 0;
    while (i < text.size() && IsSpace(text[i])) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == CharT('+') || text[i] == CharT('-'))) {
      negative = text[i] == CharT('-');
      ++i;
    }
    const U limit = negative ? static_cast<U>(static_cast<U>(std::numeric_limits<Int>::max()) + 1u)
                             : static_cast<U>(std::numeric_limits<Int>::max());
    // The largest magnitude that may take one more digit, and that digit's
    // bound then: no division per digit.
    const U cutoff = static_cast<U>(limit / 10u);
    const U lastDigit = static_cast<U>(limit % 10u);
    U magnitude = 0;
    std::size_t digits = 0;
    bool overflow = false;
    for (; i < text.size() && text[i] >= CharT('0') && text[i] <= CharT('9'); ++i, ++digits) {
      const U d = static_cast<U>(text[i] - CharT('0'));
      if (magnitude > cutoff || (magnitude == cutoff && d > lastDigit)) {
        overflow = true;
      } else {
        magnitude = static_cast<U>(magnitude * 10u + d);
      }
    }
    if (digits == 0 || overflow) return false;
    // Two's-complement negation done in the unsigned type: no overflow for the minimum.
    value = negative ? static_cast<Int>(static_cast<U>(U{0} - magnitude)) : static_cast<Int>(magnitude);
    if (rest != nullptr) *rest = text.substr(i);
    return true;
  }

 private:
  template <class CharT>
  static constexpr bool IsSpace(CharT c) noexcept {
    return c == CharT(' ') || (c >= CharT('\t') && c <= CharT('\r'));
  }
};

}  // namespace qz_dsc
