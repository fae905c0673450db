#include "streams/StreamPropertyBuilder.h"

#include <cstdint>
#include <limits>
#include <new>
#include <type_traits>

#include "module/StringTable.h"
#include "qz_com/ComError.h"
#include "qz_com/ComPtr.h"
#include "qz_com/ComVariant.h"
#include "qz_dsc/TimeValueText.h"
#include "qz_math/Vector.h"
#include "qz_ovlib/qz_ovlib.h"
#include "streams/StreamValueText.h"

namespace qz_dsc {
namespace {

constexpr PropertyLabel kLabels[] = {
    {L"Name", IDS_NAME},
    {L"Unit", IDS_UNIT_NAME},
    {L"DataType", IDS_DATA_TYPE},
    {L"LowRange", IDS_LOW_RANGE},
    {L"HighRange", IDS_HIGH_RANGE},
    {L"FlowType", IDS_STREAM_TYPE},
    {L"MinVal", IDS_MIN_DATA_VALUE},
    {L"MaxVal", IDS_MAX_DATA_VALUE},
    {L"DataCount", IDS_SAMPLE_COUNT},
    {L"Video Offset", IDS_VIDEO_OFFSET},
    {L"First Sample Time", IDS_FIRST_SAMPLE_TIME},
    {L"Start Time", IDS_START_TIME},
    {L"End Time", IDS_END_TIME},
};

// Property times are shown in seconds with milliseconds, without a clock prefix.
constexpr int kPropertyTimeFormat = TimeFormat_MilliSeconds_NoPrefix;

template <class T>
qz_com::ComVariant ValueVariant(const T& value) {
  if constexpr (std::is_same_v<T, std::int32_t> || std::is_same_v<T, double>) {
    return qz_com::ComVariant(value);
  } else {
    return qz_com::ComVariant(ValueToText(value));
  }
}

qz_com::ComVariant TimeVariant(std::int64_t ticks) {
  return qz_com::ComVariant(FormatTimeValue(ticks, kPropertyTimeFormat));
}

qz_com::ComVariant CountVariant(std::size_t count) {
  constexpr auto kMax = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
  return qz_com::ComVariant(static_cast<std::int32_t>(count > kMax ? kMax : count));
}

// Adds the entry of label row with its value and its label as text.
HRESULT AddEntry(IQZPropertySet* set, const PropertyLabel& row, const qz_com::ComVariant& value) {
  HRESULT hr = set->SetProperty(row.key, &value);
  if (FAILED(hr)) return hr;
  const wchar_t* label = StringTable::Load(row.stringId);
  if (label == nullptr) return E_FAIL;
  return set->SetPropertyText(row.key, label);
}

}  // namespace

std::span<const PropertyLabel> StreamPropertyLabels() noexcept { return kLabels; }

template <class T>
const wchar_t* StreamTypeWord() noexcept {
  if constexpr (std::is_same_v<T, std::int32_t>) {
    return L"integer";
  } else if constexpr (std::is_same_v<T, double>) {
    return L"double";
  } else if constexpr (std::is_same_v<T, qz_math::Vector2> || std::is_same_v<T, qz_math::Vector3>) {
    // The three-component stream shows "Vector 2"; hosts match on this word.
    return L"Vector 2";
  } else if constexpr (std::is_same_v<T, qz_math::VectorN<6>>) {
    return L"Vector 6";
  } else {
    return L"none";
  }
}

template <class T>
HRESULT BuildStreamProperties(const StreamPropertyFacts<T>& facts, IQZPropertySet** set) {
  if (set == nullptr) return E_POINTER;
  *set = nullptr;
  try {
    qz_com::ComPtr<DataSourceStreamProperties> built;
    built.Attach(DataSourceStreamProperties::Create(kLabels));

    const qz_com::ComVariant empty;
    const qz_com::ComVariant values[] = {
        qz_com::ComVariant(facts.name),
        qz_com::ComVariant(facts.valueUnit),
        qz_com::ComVariant(StreamTypeWord<T>()),
        ValueVariant(facts.lowRange),
        ValueVariant(facts.highRange),
        qz_com::ComVariant(StringTable::Load(facts.constant ? IDS_CONSTANT : IDS_CONTINUOUS)),
        facts.valueRangeOk ? ValueVariant(facts.minValue) : empty,
        facts.valueRangeOk ? ValueVariant(facts.maxValue) : empty,
        CountVariant(facts.sampleCount),
        TimeVariant(facts.videoOffset),
        facts.firstSampleTime == 0 ? qz_com::ComVariant(L"Undefined") : TimeVariant(facts.firstSampleTime),
        facts.timeSpanOk ? TimeVariant(facts.startTime) : empty,
        facts.timeSpanOk ? TimeVariant(facts.endTime) : empty,
    };
    static_assert(std::size(values) == std::size(kLabels), "one value per key");

    for (std::size_t i = 0; i < std::size(kLabels); ++i) {
      const HRESULT hr = AddEntry(built.Get(), kLabels[i], values[i]);
      if (FAILED(hr)) return hr;
    }
    *set = built.Detach();
    return S_OK;
  } catch (const qz_com::ComError& error) {
    return error.Error();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

#define QZ_INSTANTIATE_STREAM_PROPERTIES(T)                    \
  template const wchar_t* StreamTypeWord<T>() noexcept;        \
  template HRESULT BuildStreamProperties<T>(const StreamPropertyFacts<T>&, IQZPropertySet**);

QZ_INSTANTIATE_STREAM_PROPERTIES(std::int32_t)
QZ_INSTANTIATE_STREAM_PROPERTIES(double)
QZ_INSTANTIATE_STREAM_PROPERTIES(std::wstring)
QZ_INSTANTIATE_STREAM_PROPERTIES(qz_math::Vector2)
QZ_INSTANTIATE_STREAM_PROPERTIES(qz_math::Vector3)
QZ_INSTANTIATE_STREAM_PROPERTIES(qz_math::VectorN<6>)
QZ_INSTANTIATE_STREAM_PROPERTIES(qz_ovlib::PersonSkeletonData)

#undef QZ_INSTANTIATE_STREAM_PROPERTIES

}  // namespace qz_dsc
