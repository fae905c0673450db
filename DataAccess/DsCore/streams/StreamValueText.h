// The text form of a sample value, as the data source list document holds it
// in "Value", "defaultValue", "lowRange" and "highRange", and as property sets
// show vectors and strings:
// - int: decimal; read with the document's integer rule (NumberText).
// - double: the shortest text that reads back to the same double
//   ("0.1", "-0", "1e-300", "5e-324"); infinities are "inf" and "-inf", a NaN
//   is "nan" or "-nan" (its sign is kept, its payload is not). Read with
//   std::from_chars: leading white space and one '+' skipped, trailing text
//   ignored, a value out of the double range refused.
// - vectors: the components in the double form, separated by one blank.
// - strings: the text as it is.
// - skeletons: no text form; written as an empty text, never read.
// TextToValue returns false and leaves out untouched when the text does not
// convert. Stateless; safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "qz_math/Vector.h"
#include "qz_ovlib/qz_ovlib.h"

namespace qz_dsc {

std::wstring ValueToText(std::int32_t value);
std::wstring ValueToText(double value);
std::wstring ValueToText(const std::wstring& value);
std::wstring ValueToText(const qz_math::Vector2& value);
std::wstring ValueToText(const qz_math::Vector3& value);
std::wstring ValueToText(const qz_math::VectorN<6>& value);
// Always empty: a skeleton pose has no text form in the document.
std::wstring ValueToText(const qz_ovlib::PersonSkeletonData& value);

// The text ValueToText gives for a number or a vector, which is ASCII,
// written into out; the view points into out. For saving without a wide
// string per sample.
inline constexpr std::size_t kMaxAsciiValueSize = 6 * 25;
std::string_view ValueToAscii(std::int32_t value, char (&out)[kMaxAsciiValueSize]) noexcept;
std::string_view ValueToAscii(double value, char (&out)[kMaxAsciiValueSize]) noexcept;
std::string_view ValueToAscii(const qz_math::Vector2& value, char (&out)[kMaxAsciiValueSize]) noexcept;
std::string_view ValueToAscii(const qz_math::Vector3& value, char (&out)[kMaxAsciiValueSize]) noexcept;
std::string_view ValueToAscii(const qz_math::VectorN<6>& value, char (&out)[kMaxAsciiValueSize]) noexcept;

template <class T>
concept HasAsciiText = requires(const T& value, char (&out)[kMaxAsciiValueSize]) { ValueToAscii(value, out); };

bool TextToValue(std::wstring_view text, std::int32_t& out);
bool TextToValue(std::wstring_view text, double& out);
// Always succeeds.
bool TextToValue(std::wstring_view text, std::wstring& out);
bool TextToValue(std::wstring_view text, qz_math::Vector2& out);
bool TextToValue(std::wstring_view text, qz_math::Vector3& out);
bool TextToValue(std::wstring_view text, qz_math::VectorN<6>& out);
// Always fails: a skeleton pose cannot be read from text.
bool TextToValue(std::wstring_view text, qz_ovlib::PersonSkeletonData& out);

// The same readings of UTF-8 text, for the number types: a load that holds
// its texts in UTF-8 reads them without widening. Same results as the wide
// forms for the same text.
bool TextToValue(std::string_view text, std::int32_t& out);
bool TextToValue(std::string_view text, double& out);
bool TextToValue(std::string_view text, qz_math::Vector2& out);
bool TextToValue(std::string_view text, qz_math::Vector3& out);
bool TextToValue(std::string_view text, qz_math::VectorN<6>& out);

}  // namespace qz_dsc
