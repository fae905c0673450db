// Times as the tool reads and writes them. Typed times (--from, --to, --at)
// are read by the library's time parser, so "1:02:03.5", "2:03", "-7" and
// "3,25" all work. Written times are exact decimal seconds by default
// ("12.3456789", every tick kept) or any of the library's thirteen formats.
#pragma once

#include <cstdint>
#include <string>

namespace dscore_cli {

class TimeText {
 public:
  // Exact decimal seconds.
  TimeText() = default;

  // The format named on the command line: a library format name
  // ("MilliSeconds", "Sport", ...), a format number 0-12, or "" for exact
  // seconds. frameRate ("25", "30000/1001") is used by "TimeCode".
  // ToolError (bad usage) for an unknown name or a bad rate.
  [[nodiscard]] static TimeText FromOption(const std::string& name, const std::string& frameRate);

  // A time typed in option; ToolError (bad usage) naming the option when the
  // parser does not read it.
  [[nodiscard]] static std::int64_t Parse(const std::string& option, const std::string& text);

  // Ticks as decimal seconds with seven decimals: "-0.0000001", "12.5000000".
  [[nodiscard]] static std::string ExactSeconds(std::int64_t ticks);

  [[nodiscard]] std::string Format(std::int64_t ticks) const;
  [[nodiscard]] bool IsExactSeconds() const noexcept { return m_format < 0; }

  // The names --time-format accepts, for help texts.
  [[nodiscard]] static std::string FormatNames();

 private:
  int m_format = -1;
  int m_rateNumerator = 25;
  int m_rateDenominator = 1;
};

}  // namespace dscore_cli
