#include "TimeText.h"

#include <charconv>
#include <cstdlib>

#include "ToolError.h"
#include "Utf8Text.h"
#include "qz_dsc/Ticks.h"
#include "qz_dsc/TimeValueText.h"

namespace dscore_cli {
namespace {

// Reads a whole decimal int; false for anything else.
bool ReadInt(const std::string& text, int& value) {
  const char* end = text.data() + text.size();
  auto [p, ec] = std::from_chars(text.data(), end, value);
  return ec == std::errc() && p == end;
}

}  // namespace

TimeText TimeText::FromOption(const std::string& name, const std::string& frameRate) {
  TimeText result;
  if (!name.empty()) {
    int format = -1;
    if (!qz_dsc::FindTimeFormatByName(utf8text::ToWide(name), format) &&
        !(ReadInt(name, format) && format >= 0 && format < qz_dsc::kTimeFormatCount)) {
      FailUsage("unknown time format '" + name + "'; use one of " + FormatNames());
    }
    result.m_format = format;
  }
  const auto slash = frameRate.find('/');
  const std::string numerator = frameRate.substr(0, slash);
  const std::string denominator = slash == std::string::npos ? "1" : frameRate.substr(slash + 1);
  if (!ReadInt(numerator, result.m_rateNumerator) || !ReadInt(denominator, result.m_rateDenominator) ||
      result.m_rateNumerator <= 0 || result.m_rateDenominator <= 0) {
    FailUsage("bad frame rate '" + frameRate + "'; give frames a second as N or N/D (e.g. 25, 30000/1001)");
  }
  return result;
}

std::int64_t TimeText::Parse(const std::string& option, const std::string& text) {
  std::int64_t ticks = 0;
  // The parser reads an empty text as 0; on a command line that is a mistake.
  if (text.empty() || !qz_dsc::ParseTimeValue(utf8text::ToWide(text), ticks)) {
    FailUsage(option + ": cannot read '" + text + "' as a time (e.g. 12.5, 1:05, 1:02:03.250, -2)");
  }
  return ticks;
}

std::string TimeText::ExactSeconds(std::int64_t ticks) {
  // Through unsigned arithmetic so that the smallest int64 has a magnitude.
  const std::uint64_t magnitude = ticks < 0 ? 0 - static_cast<std::uint64_t>(ticks) : static_cast<std::uint64_t>(ticks);
  const auto perSecond = static_cast<std::uint64_t>(qz_dsc::kTicksPerSecond);
  std::string fraction = std::to_string(magnitude % perSecond);
  fraction.insert(0, 7 - fraction.size(), '0');
  return (ticks < 0 ? "-" : "") + std::to_string(magnitude / perSecond) + "." + fraction;
}

std::string TimeText::Format(std::int64_t ticks) const {
  if (IsExactSeconds()) return ExactSeconds(ticks);
  return utf8text::ToUtf8(qz_dsc::FormatTimeValue(ticks, m_format, m_rateNumerator, m_rateDenominator));
}

std::string TimeText::FormatNames() {
  std::string names;
  for (int format = 0; format < qz_dsc::kTimeFormatCount; ++format) {
    if (const wchar_t* name = qz_dsc::GetTimeFormatName(format)) names += utf8text::ToUtf8(name) + ", ";
  }
  return names + "or a number 0-12 (12: clock without decimals)";
}

}  // namespace dscore_cli
