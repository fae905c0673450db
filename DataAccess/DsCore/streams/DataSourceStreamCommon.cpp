#include "streams/DataSourceStreamCommon.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "module/Check.h"
#include "streams/LastModifiedClock.h"
#include "streams/StreamPropertyBuilder.h"
#include "streams/StreamTime.h"
#include "streams/StreamValueOrder.h"
#include "xml/XmlCharacters.h"

namespace qz_dsc {
namespace {

using Skeleton = qz_ovlib::PersonSkeletonData;

// Skeleton poses have no order: a range of two poses is always taken as
// given, and the computed range of a skeleton stream is its first sample.
template <class T>
bool Less(const T& a, const T& b) noexcept {
  if constexpr (std::is_same_v<T, Skeleton>) {
    return false;
  } else {
    return ValueLess(a, b);
  }
}

template <class T>
bool InOrder(const T& low, const T& high) noexcept {
  if constexpr (std::is_same_v<T, Skeleton>) {
    return true;
  } else {
    return ValueLessOrEqual(low, high);
  }
}

}  // namespace

// ---- offsets and first sample time -------------------------------------------

template <std::int32_t Kind, class T>
void DataSourceStreamCommon<Kind, T>::SetVideoOffset(std::int64_t offset) {
  Lock lock(m_lock);
  m_videoOffset.store(offset, std::memory_order_relaxed);
}

template <std::int32_t Kind, class T>
std::int64_t DataSourceStreamCommon<Kind, T>::GetVideoOffset() {
  Lock lock(m_lock);
  return m_videoOffset.load(std::memory_order_relaxed);
}

template <std::int32_t Kind, class T>
void DataSourceStreamCommon<Kind, T>::SetFirstSampleTime(std::int64_t time) {
  Lock lock(m_lock);
  m_firstSampleTime = time;
}

template <std::int32_t Kind, class T>
std::int64_t DataSourceStreamCommon<Kind, T>::GetFirstSampleTime() {
  Lock lock(m_lock);
  return m_firstSampleTime;
}

template <std::int32_t Kind, class T>
std::int64_t DataSourceStreamCommon<Kind, T>::ToPresentation(std::int64_t key, std::int64_t videoOffset) const noexcept {
  return PresentationOf(key, m_timeOrigin, videoOffset);
}

// ---- readers -------------------------------------------------------------------

template <std::int32_t Kind, class T>
std::int64_t DataSourceStreamCommon<Kind, T>::GetLastModified() const {
  Lock lock(m_lock);
  return m_lastModified;
}

template <std::int32_t Kind, class T>
std::wstring DataSourceStreamCommon<Kind, T>::GetValueUnit() const {
  Lock lock(m_lock);
  return m_valueUnit;
}

template <std::int32_t Kind, class T>
T DataSourceStreamCommon<Kind, T>::GetDefaultValue() {
  Lock lock(m_lock);
  return m_defaultValue;
}

template <std::int32_t Kind, class T>
bool DataSourceStreamCommon<Kind, T>::IsConstant() {
  Lock lock(m_lock);
  return m_constant;
}

template <std::int32_t Kind, class T>
std::size_t DataSourceStreamCommon<Kind, T>::GetSampleCount() const {
  Lock lock(m_lock);
  return m_samples.size();
}

template <std::int32_t Kind, class T>
int DataSourceStreamCommon<Kind, T>::GetSamples(std::int64_t from, std::int64_t to, std::vector<Sample>& out) {
  Lock lock(m_lock);
  const std::int64_t offset = m_videoOffset.load(std::memory_order_relaxed);
  std::int64_t firstKey = 0, lastKey = 0;
  if (!FirstKeyFrom(from, m_timeOrigin, offset, firstKey) || !LastKeyUpTo(to, m_timeOrigin, offset, lastKey)) {
    return 0;
  }
  const std::size_t first = m_samples.LowerBound(firstKey);
  const std::size_t end = m_samples.UpperBound(lastKey);
  if (first >= end) return 0;
  // Grown geometrically: callers that append small ranges to one vector
  // must not pay a reallocation per call.
  if (out.capacity() - out.size() < end - first) out.reserve(std::max(out.size() + (end - first), 2 * out.capacity()));
  for (std::size_t i = first; i < end; ++i) {
    out.emplace_back(ToPresentation(m_samples.KeyAt(i), offset), m_samples.ValueAt(i));
  }
  return 0;
}

template <std::int32_t Kind, class T>
bool DataSourceStreamCommon<Kind, T>::GetValueRangeLocked(T& low, T& high) const {
  if (m_rangeSet) {
    low = m_lowRange;
    high = m_highRange;
    return true;
  }
  if (m_unavailable) return false;
  if (m_samples.empty()) {
    low = T{};
    high = T{};
    return true;
  }
  std::size_t lowAt = 0, highAt = 0;
  for (std::size_t i = 1; i < m_samples.size(); ++i) {
    const T& v = m_samples.ValueAt(i);
    if (Less(v, m_samples.ValueAt(lowAt))) lowAt = i;
    if (Less(m_samples.ValueAt(highAt), v)) highAt = i;
  }
  low = m_samples.ValueAt(lowAt);
  high = m_samples.ValueAt(highAt);
  return true;
}

template <std::int32_t Kind, class T>
bool DataSourceStreamCommon<Kind, T>::GetValueRange(T& low, T& high) {
  Lock lock(m_lock);
  return GetValueRangeLocked(low, high);
}

template <std::int32_t Kind, class T>
bool DataSourceStreamCommon<Kind, T>::GetTimeSpanLocked(std::int64_t& first, std::int64_t& last) const {
  if (m_unavailable) return false;
  if (m_samples.empty()) {
    first = 0;
    last = 0;
    return false;
  }
  const std::int64_t offset = m_videoOffset.load(std::memory_order_relaxed);
  first = ToPresentation(m_samples.FrontKey(), offset);
  last = ToPresentation(m_samples.BackKey(), offset);
  return true;
}

template <std::int32_t Kind, class T>
bool DataSourceStreamCommon<Kind, T>::GetTimeSpan(std::int64_t& first, std::int64_t& last) {
  Lock lock(m_lock);
  return GetTimeSpanLocked(first, last);
}

template <std::int32_t Kind, class T>
HRESULT DataSourceStreamCommon<Kind, T>::GetProperties(IQZPropertySet** set) {
  if (!QZ_CHECK_CONDITION(set != nullptr)) return E_POINTER;
  StreamPropertyFacts<T> facts;
  {
    Lock lock(m_lock);
    facts.name = this->m_name;
    facts.valueUnit = m_valueUnit;
    facts.lowRange = m_lowRange;
    facts.highRange = m_highRange;
    facts.constant = m_constant;
    facts.valueRangeOk = GetValueRangeLocked(facts.minValue, facts.maxValue);
    facts.sampleCount = m_samples.size();
    facts.videoOffset = m_videoOffset.load(std::memory_order_relaxed);
    facts.firstSampleTime = m_firstSampleTime;
    facts.timeSpanOk = GetTimeSpanLocked(facts.startTime, facts.endTime);
  }
  // Built outside the lock: the set is new and belongs to this thread.
  return BuildStreamProperties(facts, set);
}

// ---- writers -------------------------------------------------------------------

template <std::int32_t Kind, class T>
void DataSourceStreamCommon<Kind, T>::ReplaceSamples(std::map<std::int64_t, T>&& samples) {
  Lock lock(m_lock);
  try {
    m_samples.Assign(std::move(samples));
  } catch (const std::bad_alloc&) {
    ReportNoMemory(samples.size());  // the stream and the map are as they were
    return;
  }
  m_lookupHint = 0;
  m_lastModified = LastModifiedNow();
}

template <std::int32_t Kind, class T>
void DataSourceStreamCommon<Kind, T>::SetValueRange(const T& low, const T& high) {
  Lock lock(m_lock);
  m_rangeSet = true;
  if (InOrder(low, high)) {
    m_lowRange = low;
    m_highRange = high;
  }
}

template <std::int32_t Kind, class T>
void DataSourceStreamCommon<Kind, T>::SetValueUnit(const wchar_t* unit) {
  Lock lock(m_lock);
  m_valueUnit = unit != nullptr ? unit : L"";
}

template <std::int32_t Kind, class T>
void DataSourceStreamCommon<Kind, T>::SetDefaultValue(const T& value) {
  Lock lock(m_lock);
  m_defaultValue = value;
}

template <std::int32_t Kind, class T>
void DataSourceStreamCommon<Kind, T>::SetConstant(bool constant) {
  Lock lock(m_lock);
  m_constant = constant;
}

template <std::int32_t Kind, class T>
void DataSourceStreamCommon<Kind, T>::ReportNoMemory(std::size_t count) const {
  QZ_REPORT(1, L"Stream \"%s\": out of memory, %zu samples not added.", this->m_name.c_str(), count);
}

template <std::int32_t Kind, class T>
void DataSourceStreamCommon<Kind, T>::CopyCommonFrom(const DataSourceStreamCommon& other) {
  this->m_name = other.m_name;
  m_samples = other.m_samples;
  m_timeOrigin = other.m_timeOrigin;
  m_videoOffset.store(other.m_videoOffset.load(std::memory_order_relaxed), std::memory_order_relaxed);
  m_constant = other.m_constant;
  m_rangeSet = other.m_rangeSet;
  m_lowRange = other.m_lowRange;
  m_highRange = other.m_highRange;
  m_firstSampleTime = other.m_firstSampleTime;
  m_valueUnit = other.m_valueUnit;
  m_defaultValue = other.m_defaultValue;
  m_unavailable = other.m_unavailable;
  m_lastModified = other.m_lastModified;
}

// ---- the document ----------------------------------------------------------------

template <std::int32_t Kind, class T>
bool DataSourceStreamCommon<Kind, T>::HasStreamClassId(const DataSourceStreamDecoder& decoder) {
  std::int32_t classId = 0;
  return QZ_CHECK_CONDITION(decoder.GetStreamClassId(classId) && classId == kStreamClassId);
}

template <std::int32_t Kind, class T>
bool DataSourceStreamCommon<Kind, T>::LoadDefinition(const DataSourceStreamDecoder& decoder, std::int32_t& count) {
  std::wstring name;
  if (!decoder.GetName(name) || name != this->m_name) return false;
  if (!HasStreamClassId(decoder)) return false;
  if (!decoder.GetSampleCount(count)) return false;

  std::wstring lowText, highText;
  if (decoder.GetRange(lowText, highText)) {
    T low{}, high{};
    if (TextToValue(lowText, low) && TextToValue(highText, high)) {
      m_lowRange = std::move(low);
      m_highRange = std::move(high);
      m_rangeSet = true;
    }
  }
  std::wstring text;
  if (decoder.GetValueUnit(text)) m_valueUnit = text;
  std::int64_t time = 0;
  if (decoder.GetDataVideoOffset(time)) m_videoOffset.store(time, std::memory_order_relaxed);
  if (decoder.GetFirstSampleTime(time)) m_firstSampleTime = time;
  if (decoder.GetDefaultValue(text)) {
    T value{};
    if (TextToValue(text, value)) m_defaultValue = std::move(value);
  }
  std::int32_t flowType = 0;
  if (decoder.GetFlowType(flowType)) m_constant = IsConstantXmlFlowType(flowType);
  return true;
}

template <std::int32_t Kind, class T>
bool DataSourceStreamCommon<Kind, T>::SaveDefinition(DataSourceStreamEncoder& encoder, std::int32_t limitCount,
                                                     std::int64_t freezeDelay, bool withSamples) const {
  const std::wstring defaultText = ValueToText(m_defaultValue);
  std::wstring lowText, highText;
  if (m_rangeSet) {
    lowText = ValueToText(m_lowRange);
    highText = ValueToText(m_highRange);
  }
  // Checked before anything is written, so that a refused stream leaves no
  // half-written element behind. Number texts are always carriable; only
  // string values written as samples need a look.
  const wchar_t* what = nullptr;
  if (!IsXmlCarriable(this->m_name)) {
    what = L"name";
  } else if (!IsXmlCarriable(m_valueUnit)) {
    what = L"unit";
  } else if (!IsXmlCarriable(defaultText)) {
    what = L"default value";
  } else if (!IsXmlCarriable(lowText) || !IsXmlCarriable(highText)) {
    what = L"range";
  } else if constexpr (std::is_same_v<T, std::wstring>) {
    for (std::size_t i = 0; withSamples && i < m_samples.size() && what == nullptr; ++i) {
      if (!IsXmlCarriable(m_samples.ValueAt(i))) what = L"sample values";
    }
  }
  if (what != nullptr) {
    QZ_REPORT(1, L"Stream \"%s\" not saved: its %s hold a character an XML document cannot carry.",
              this->m_name.c_str(), what);
    return false;
  }
  // The encoder's attribute order. A setter that had nothing to write (a
  // first sample time of 0, empty range texts) is no failure.
  if (!QZ_CHECK_CONDITION(encoder.CreateStream(kStreamClassId, this->GetBasicType(), this->m_name))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetFreeze(limitCount, freezeDelay))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetDataVideoOffset(m_videoOffset.load(std::memory_order_relaxed)))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetDefaultValue(defaultText))) return false;
  if (m_firstSampleTime != 0 && !QZ_CHECK_CONDITION(encoder.SetFirstSampleTime(m_firstSampleTime))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetFlowType(XmlFlowTypeOf(m_constant)))) return false;
  if (m_rangeSet && !QZ_CHECK_CONDITION(encoder.SetRange(lowText.c_str(), highText.c_str()))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetValueUnit(m_valueUnit))) return false;
  for (std::size_t i = 0; withSamples && i < m_samples.size(); ++i) {
    if constexpr (HasAsciiText<T>) {
      char text[kMaxAsciiValueSize];
      if (!QZ_CHECK_CONDITION(encoder.AddSampleUtf8(ValueToAscii(m_samples.ValueAt(i), text), m_samples.KeyAt(i)))) {
        return false;
      }
    } else if (!QZ_CHECK_CONDITION(encoder.AddSample(ValueToText(m_samples.ValueAt(i)), m_samples.KeyAt(i)))) {
      return false;
    }
  }
  return true;
}

template class DataSourceStreamCommon<kInternalStreamKind, std::int32_t>;
template class DataSourceStreamCommon<kInternalStreamKind, double>;
template class DataSourceStreamCommon<kInternalStreamKind, std::wstring>;
template class DataSourceStreamCommon<kInternalStreamKind, qz_math::Vector2>;
template class DataSourceStreamCommon<kInternalStreamKind, qz_math::VectorN<6>>;
template class DataSourceStreamCommon<kExternalStreamKind, std::int32_t>;
template class DataSourceStreamCommon<kExternalStreamKind, double>;
template class DataSourceStreamCommon<kExternalStreamKind, std::wstring>;
template class DataSourceStreamCommon<kExternalStreamKind, qz_math::Vector2>;
template class DataSourceStreamCommon<kExternalStreamKind, qz_math::Vector3>;
template class DataSourceStreamCommon<kExternalStreamKind, qz_math::VectorN<6>>;
template class DataSourceStreamCommon<kExternalStreamKind, qz_ovlib::PersonSkeletonData>;

}  // namespace qz_dsc
