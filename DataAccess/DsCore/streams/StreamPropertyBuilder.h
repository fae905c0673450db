// Builds the property set a stream shows to the user: thirteen entries in a
// fixed order (Name, Unit, DataType, LowRange, HighRange, FlowType, MinVal,
// MaxVal, DataCount, Video Offset, First Sample Time, Start Time, End Time),
// each with its label as display text. The stream gathers the facts under
// its lock; building needs no lock.
// Stateless; safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "qz_com/qz_com.h"
#include "qz_dsc/IQZPropertySet.h"
#include "streams/DataSourceStreamProperties.h"

namespace qz_dsc {

// What a stream knows about itself at one moment.
template <class T>
struct StreamPropertyFacts {
  std::wstring name;
  std::wstring valueUnit;
  T lowRange{};
  T highRange{};
  bool constant = false;
  bool valueRangeOk = false;  // GetValueRange's result and outputs
  T minValue{};
  T maxValue{};
  std::size_t sampleCount = 0;
  std::int64_t videoOffset = 0;
  std::int64_t firstSampleTime = 0;
  bool timeSpanOk = false;  // GetTimeSpan's result and outputs
  std::int64_t startTime = 0;
  std::int64_t endTime = 0;
};

// The keys of a stream's set with the string ids of their labels, in the
// order the entries are added.
std::span<const PropertyLabel> StreamPropertyLabels() noexcept;

// The word shown for the value type: "integer", "double", "Vector 2"
// (also for Vector3), "Vector 6", or "none" (strings and skeletons).
template <class T>
const wchar_t* StreamTypeWord() noexcept;

// A new set with the thirteen entries, with one reference, in *set.
// Values: int as VT_I4, double as VT_R8, the sample count as VT_I4
// (saturating), everything else as VT_BSTR text (vectors in the value-text
// form, times as FormatTimeValue(ticks, 6), a first sample time of 0 as
// "Undefined"). MinVal and MaxVal are VT_EMPTY when the range query failed,
// Start Time and End Time when the time span query failed.
// E_POINTER for a null set; E_OUTOFMEMORY or the failing entry's HRESULT,
// with *set null, when the set cannot be built.
template <class T>
HRESULT BuildStreamProperties(const StreamPropertyFacts<T>& facts, IQZPropertySet** set);

}  // namespace qz_dsc
