// TimeValue: a time as whole seconds and microseconds (two signed 32-bit
// fields, in this order), normalised so that the microseconds' magnitude is
// below 1,000,000 and their sign agrees with the seconds. Converts to and from
// 64-bit counts of 100-ns ticks. A value type; no shared state.
#pragma once

#include <cstdint>

namespace qz_std {

class TimeValue {
 public:
  static constexpr std::int64_t kTicksPerSecond = 10'000'000;
  static constexpr std::int64_t kTicksPerMicrosecond = 10;

  constexpr TimeValue() noexcept = default;
  // Normalising constructor: folds whole seconds out of the microseconds and
  // makes the two signs agree.
  constexpr TimeValue(std::int32_t seconds, std::int32_t microseconds) noexcept
      : m_seconds(seconds), m_microseconds(microseconds) {
    while (m_microseconds >= 1'000'000) {
      m_microseconds -= 1'000'000;
      m_seconds = Step(m_seconds, 1);
    }
    while (m_microseconds < -999'999) {
      m_microseconds += 1'000'000;
      m_seconds = Step(m_seconds, -1);
    }
    if (m_seconds >= 1 && m_microseconds < 0) {
      m_seconds = Step(m_seconds, -1);
      m_microseconds += 1'000'000;
    }
    if (m_seconds < 0 && m_microseconds > 0) {
      m_seconds = Step(m_seconds, 1);
      m_microseconds -= 1'000'000;
    }
  }

  constexpr std::int32_t GetSeconds() const noexcept { return m_seconds; }
  constexpr std::int32_t GetMicroseconds() const noexcept { return m_microseconds; }

  // Ticks to seconds and microseconds, truncating below one microsecond.
  // REQUIRES: the seconds fit 32 bits (|ticks| < 2^31 seconds).
  static constexpr TimeValue FromTicks(std::int64_t ticks) noexcept {
    return TimeValue(static_cast<std::int32_t>(ticks / kTicksPerSecond),
                     static_cast<std::int32_t>((ticks % kTicksPerSecond) / kTicksPerMicrosecond));
  }
  constexpr std::int64_t ToTicks() const noexcept {
    return static_cast<std::int64_t>(m_seconds) * kTicksPerSecond +
           static_cast<std::int64_t>(m_microseconds) * kTicksPerMicrosecond;
  }

  friend constexpr bool operator==(const TimeValue& a, const TimeValue& b) noexcept {
    return a.m_seconds == b.m_seconds && a.m_microseconds == b.m_microseconds;
  }

 private:
  // Seconds move by one with two's-complement wrap-around at the 32-bit
  // limits, so any pair read from untrusted bytes normalises without overflow.
  static constexpr std::int32_t Step(std::int32_t s, std::int32_t d) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(s) + static_cast<std::uint32_t>(d));
  }

  std::int32_t m_seconds = 0;
  std::int32_t m_microseconds = 0;
};

}  // namespace qz_std
