// Text forms of times: every time shown to a person is written through
// FormatTimeValue in one of thirteen formats, and every time typed by a person
// is read back through ParseTimeValue. Times are 100-ns ticks.
// All functions are stateless and safe to call from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "qz_dsc/export.h"

namespace qz_dsc {

// The display formats. The numbers are stored by hosts and must not change.
enum TimeFormat : int {
  TimeFormat_NanoSeconds = 0,             // 00:00:05.123_4567
  TimeFormat_MilliSeconds = 1,            // 0:00:05.123
  TimeFormat_Seconds = 2,                 // 0:00:05
  TimeFormat_TimeCode = 3,                // frame number at a given rate
  TimeFormat_Natural = 4,                 // 5 sec; clock from 23.5 hours on
  TimeFormat_Sport = 5,                   // 1' 05"
  TimeFormat_MilliSeconds_NoPrefix = 6,   // 5.123, 1:05.123
  TimeFormat_CentiSeconds_NoPrefix = 7,   // 5.12
  TimeFormat_DeciSeconds_NoPrefix = 8,    // 5.1
  TimeFormat_Seconds_NoPrefix = 9,        // 5
  TimeFormat_MinutesSeconds = 10,         // 01:05, minutes not folded into hours
  TimeFormat_Minutes_NoPrefix = 11,       // 1:05: or 5: (ends with a colon)
  TimeFormat_Clock = 12,                  // 0:05, 1:05, 1:00:05 (has no name)
};

// Number of formats (0 to 12).
constexpr int kTimeFormatCount = 13;

// The text of ticks in format. Format 3 counts frames at
// rateNumerator / rateDenominator frames a second (0 when the denominator is
// 0); the other formats ignore the rate. Empty for a format outside 0..12.
QZ_DSC_API std::wstring FormatTimeValue(std::int64_t ticks, int format, int rateNumerator = 0,
                                        int rateDenominator = 1);

// Reads a typed time such as "1:02:03.5", "2:03", "-7" or "3,25" into ticks.
// Returns false, leaving ticks untouched, when the text does not have the
// shape [sign][h:][m:][s][any one character but a line break][fraction] or
// when a number does not fit 64 bits. Texts of any length are read in
// linear time.
// Note that an empty text has that shape and reads as 0.
QZ_DSC_API bool ParseTimeValue(const std::wstring& text, std::int64_t& ticks);

// The name of format ("MilliSeconds" for 1), or nullptr when it has none
// (format 12 and numbers outside 0..12).
QZ_DSC_API const wchar_t* GetTimeFormatName(int format) noexcept;

// The format whose name equals name exactly (case-sensitive); false, leaving
// format untouched, when none does.
QZ_DSC_API bool FindTimeFormatByName(const std::wstring& name, int& format) noexcept;

// A date and time stamp: "2024.03.07T09:05:01.042", or with compact set
// "20240307T090501042". Fields are written as given, without range checks.
QZ_DSC_API std::wstring FormatTimestamp(int year, int month, int day, int hour, int minute, int second,
                                        int millisecond, bool compact);

}  // namespace qz_dsc
