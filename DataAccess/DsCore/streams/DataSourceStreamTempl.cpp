#include "streams/DataSourceStreamTempl.h"

#include <algorithm>
#include <new>
#include <type_traits>
#include <utility>

#include "module/Check.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/StreamModifierRawBuffer.h"
#include "qz_dsc/Ticks.h"
#include "streams/LastModifiedClock.h"
#include "streams/StreamPropertyBuilder.h"
#include "streams/StreamTime.h"
#include "streams/StreamValueOrder.h"
#include "streams/StreamValueText.h"
#include "xml/XmlCharacters.h"

namespace qz_dsc {

template <class T>
DataSourceStreamTempl<T>::DataSourceStreamTempl(CloneTag, const DataSourceStreamTempl& other)
    : m_samples(other.m_samples),
      m_limitCount(other.m_limitCount),
      m_timeOrigin(other.m_timeOrigin),
      m_stopTime(other.m_stopTime),
      m_freezeDelay(other.m_freezeDelay),
      m_interpolation(other.m_interpolation),
      m_unbounded(other.m_unbounded),
      m_recordingLimit(other.m_recordingLimit),
      m_constant(other.m_constant),
      m_rangeSet(other.m_rangeSet),
      m_lowRange(other.m_lowRange),
      m_highRange(other.m_highRange),
      m_videoOffset(other.m_videoOffset),
      m_firstSampleTime(other.m_firstSampleTime),
      m_valueUnit(other.m_valueUnit),
      m_defaultValue(other.m_defaultValue),
      m_unavailable(other.m_unavailable),
      m_lastModified(other.m_lastModified) {
  this->m_name = other.m_name;
}

// ---- time conversions and the add rule -------------------------------------

template <class T>
std::int64_t DataSourceStreamTempl<T>::ToPresentation(std::int64_t key) const noexcept {
  return PresentationOf(key, m_timeOrigin, m_videoOffset);
}

template <class T>
std::uint32_t DataSourceStreamTempl<T>::ActiveLimit() const noexcept {
  return m_unbounded ? m_recordingLimit : m_limitCount;
}

template <class T>
template <class V>
bool DataSourceStreamTempl<T>::AddLocked(std::int64_t t, V&& value) {
  if (SubtractTime(t, m_freezeDelay) >= m_stopTime) return false;
  const std::uint32_t limit = ActiveLimit();
  if (limit == 0 || m_samples.size() < limit) {
    m_samples.InsertOrAssign(t, std::forward<V>(value));
    return true;
  }
  // Full: an equal time replaces; anything else pushes out the oldest sample,
  // even a sample older than every one kept, so the size stays.
  const std::size_t at = m_samples.Find(t);
  if (at != m_samples.size()) {
    m_samples.ValueAt(at) = std::forward<V>(value);
  } else {
    m_samples.InsertDroppingFront(t, std::forward<V>(value));
  }
  return true;
}

template <class T>
void DataSourceStreamTempl<T>::ReportNoMemory(std::size_t count) const {
  QZ_REPORT(1, L"Stream \"%s\": out of memory, %zu samples not added.", this->m_name.c_str(), count);
}

template <class T>
bool DataSourceStreamTempl<T>::AddSample(std::int64_t time, const T& value) {
  Lock lock(m_lock);
  try {
    if (!AddLocked(time, value)) return false;
  } catch (const std::bad_alloc&) {
    // The store is unchanged: every insert either completes or undoes itself.
    ReportNoMemory(1);
    return false;
  }
  m_lastModified = LastModifiedNow();
  return true;
}

template <class T>
bool DataSourceStreamTempl<T>::AddSamples(const std::vector<Sample>& samples) {
  Lock lock(m_lock);
  const std::size_t n = samples.size();
  const std::uint32_t limit = ActiveLimit();
  std::size_t i = 0;
  try {
    // Room for every sample that can stay, made before anything changes: a
    // batch too large for memory fails here and leaves the stream as it was.
    const std::size_t room =
        limit == 0 ? n : std::min<std::size_t>(n, limit - std::min<std::size_t>(limit, m_samples.size()));
    m_samples.Reserve(room);
    if (limit == 0) {
      // The leading run of samples that are accepted and newer than
      // everything stored is appended in one go; the rest takes the general
      // rule one by one.
      i = m_samples.AppendRun(samples.data(), n, [this](std::int64_t t) {
        return SubtractTime(t, m_freezeDelay) < m_stopTime;
      });
    }
    for (; i < n; ++i) {
      if (!AddLocked(samples[i].first, samples[i].second)) return false;
    }
  } catch (const std::bad_alloc&) {
    // Only copying a value that owns memory (a text, a long vector) can
    // fail after the room was made; the samples before it stay, as before
    // a refused sample.
    ReportNoMemory(n - i);
    if (i > 0) m_lastModified = LastModifiedNow();
    return false;
  }
  m_lastModified = LastModifiedNow();
  return true;
}

template <class T>
void DataSourceStreamTempl<T>::ReplaceSamples(std::map<std::int64_t, T>&& samples) {
  Lock lock(m_lock);
  m_samples.Assign(std::move(samples));
  m_lookupHint = 0;
  m_lastModified = LastModifiedNow();
}

// ---- life cycle ------------------------------------------------------------

template <class T>
void DataSourceStreamTempl<T>::ClearLocked() {
  m_samples.Clear();
  m_samples.ShrinkToFit();
  m_lookupHint = 0;
  m_unbounded = false;
  m_recordingLimit = 0;
  m_unavailable = false;
  m_timeOrigin = 0;
  m_lastModified = LastModifiedNow();
}

template <class T>
void DataSourceStreamTempl<T>::Initialize(const std::wstring& name, bool startNow) {
  Lock lock(m_lock);
  this->m_name = name;
  ClearLocked();
  if (startNow) StartRecording(m_lastModified);
}

template <class T>
void DataSourceStreamTempl<T>::Clear() {
  Lock lock(m_lock);
  ClearLocked();
}

template <class T>
void DataSourceStreamTempl<T>::TrimBefore(std::int64_t t) {
  if (m_samples.empty()) return;
  if (m_constant && m_samples.BackKey() < t) {
    // A constant stream carries its value over to the new start.
    const std::size_t last = m_samples.size() - 1;
    T value = std::move(m_samples.ValueAt(last));
    m_samples.EraseFrom(last);
    m_samples.InsertOrAssign(t, std::move(value));
  }
  // Only when something remains at or after t: a continuous stream whose
  // samples all lie before t keeps them all.
  if (m_samples.BackKey() >= t) m_samples.EraseFront(m_samples.LowerBound(t));
  m_lookupHint = 0;
}

template <class T>
bool DataSourceStreamTempl<T>::StartRecording(std::int64_t t) {
  Lock lock(m_lock);
  TrimBefore(t);
  m_timeOrigin = t;
  m_lastModified = LastModifiedNow();
  m_unbounded = true;
  m_recordingLimit = 0;
  return true;
}

template <class T>
void DataSourceStreamTempl<T>::SetTimeOrigin(std::int64_t origin) {
  Lock lock(m_lock);
  m_timeOrigin = origin;
}

template <class T>
void DataSourceStreamTempl<T>::SetStopTime(std::int64_t stopTime) {
  Lock lock(m_lock);
  m_stopTime = stopTime;
}

template <class T>
void DataSourceStreamTempl<T>::Rebase(std::int64_t t) {
  Lock lock(m_lock);
  const std::int64_t a = SubtractTime(t, m_videoOffset);
  TrimBefore(a);
  m_timeOrigin = a;
  m_videoOffset = 0;
}

template <class T>
void DataSourceStreamTempl<T>::TruncateAfter(std::int64_t t) {
  Lock lock(m_lock);
  // The largest time is the end of time: nothing lies at or after it.
  std::int64_t first = 0;
  if (t == std::numeric_limits<std::int64_t>::max() || !FirstKeyFrom(t, m_timeOrigin, m_videoOffset, first)) return;
  m_samples.EraseFrom(m_samples.LowerBound(first));
}

template <class T>
void DataSourceStreamTempl<T>::SetVideoOffset(std::int64_t offset) {
  Lock lock(m_lock);
  m_videoOffset = offset;
}

template <class T>
std::int64_t DataSourceStreamTempl<T>::GetVideoOffset() {
  Lock lock(m_lock);
  return m_videoOffset;
}

template <class T>
void DataSourceStreamTempl<T>::SetFirstSampleTime(std::int64_t time) {
  Lock lock(m_lock);
  m_firstSampleTime = time;
}

template <class T>
std::int64_t DataSourceStreamTempl<T>::GetFirstSampleTime() {
  Lock lock(m_lock);
  return m_firstSampleTime;
}

// ---- snapshots -------------------------------------------------------------

template <class T>
std::int32_t DataSourceStreamTempl<T>::ApplyModifier(const DataSourceStreamModifier& modifier,
                                                     std::int64_t defaultTime) {
  Lock lock(m_lock);
  if (modifier.GetId() != this->m_name) return kModifierOtherStream;
  const auto buffer = std::dynamic_pointer_cast<StreamModifierRawBuffer<T>>(modifier.GetInternalBuffer());
  if (!buffer) return kModifierWrongType;

  if (modifier.GetLimitCount() != 0 && m_samples.empty()) {
    m_limitCount = static_cast<std::uint32_t>(modifier.GetLimitCount());
  }
  if (modifier.GetFreezeDelay() != 0) {
    m_freezeDelay = static_cast<std::int64_t>(modifier.GetFreezeDelay()) * kTicksPerSecond;
  }
  const int flags = buffer->GetFlags();
  if (flags & StreamModifierRawBuffer<T>::kDefaultValuePresent) m_defaultValue = buffer->GetDefaultValue();
  if (flags & StreamModifierRawBuffer<T>::kLowRangePresent) {
    m_lowRange = buffer->GetLowRange();
    m_rangeSet = true;
  }
  if (flags & StreamModifierRawBuffer<T>::kHighRangePresent) {
    m_highRange = buffer->GetHighRange();
    m_rangeSet = true;
  }
  m_valueUnit = modifier.GetValueUnit();
  m_constant = IsConstantModifierFlowType(modifier.GetFlowType());
  m_interpolation = StreamInterpolationOf(modifier.GetInterpolationType());
  for (const auto& [time, value] : buffer->GetSamples()) {
    AddLocked(time == 0 ? defaultTime : time, value);
  }
  m_lastModified = LastModifiedNow();
  return kModifierApplied;
}

// ---- the document ----------------------------------------------------------

template <class T>
bool DataSourceStreamTempl<T>::LoadContent(const DataSourceStreamDecoder& decoder, std::int32_t /*flag*/) {
  Lock lock(m_lock);
  std::wstring name;
  if (!decoder.GetName(name) || name != this->m_name) return false;
  std::int32_t classId = 0;
  if (!QZ_CHECK_CONDITION(decoder.GetStreamClassId(classId) && classId == kStreamClassId)) return false;
  std::int32_t count = 0;
  if (!decoder.GetSampleCount(count)) return false;

  std::int32_t limitCount = 0;
  std::int64_t freezeDelay = 0;
  if (decoder.GetFreeze(limitCount, freezeDelay)) {
    if (m_samples.empty()) m_limitCount = static_cast<std::uint32_t>(limitCount);
    m_freezeDelay = freezeDelay;
  }
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
  if (decoder.GetDataVideoOffset(time)) m_videoOffset = time;
  if (decoder.GetFirstSampleTime(time)) m_firstSampleTime = time;
  if (decoder.GetDefaultValue(text)) {
    T value{};
    if (TextToValue(text, value)) m_defaultValue = std::move(value);
  }
  std::int32_t flowType = 0;
  if (decoder.GetFlowType(flowType)) m_constant = IsConstantXmlFlowType(flowType);

  if (ActiveLimit() == 0 && count > 0) {
    m_samples.Reserve(static_cast<std::size_t>(count));
  }
  // A sample whose time or text does not convert is skipped; the others load.
  for (std::int32_t i = 0; i < count; ++i) {
    T value{};
    if (decoder.GetSample(i, text, time) && TextToValue(text, value)) AddLocked(time, std::move(value));
  }
  m_lastModified = LastModifiedNow();
  return true;
}

template <class T>
bool DataSourceStreamTempl<T>::Load(const DataSourceStreamDecoder& decoder) {
  Lock lock(m_lock);
  this->m_name.clear();
  ClearLocked();
  m_unbounded = true;
  m_recordingLimit = 0;
  std::wstring name;
  if (!QZ_CHECK_CONDITION(decoder.GetName(name))) return false;
  std::int32_t classId = 0;
  if (!QZ_CHECK_CONDITION(decoder.GetStreamClassId(classId) && classId == kStreamClassId)) return false;
  this->m_name = name;
  return LoadContent(decoder, 0);
}

template <class T>
bool DataSourceStreamTempl<T>::LoadSettings(const DataSourceStreamDecoder& decoder) {
  Lock lock(m_lock);
  std::wstring name;
  std::int32_t classId = 0;
  std::int32_t limitCount = 0;
  std::int64_t freezeDelay = 0;
  if (!QZ_CHECK_CONDITION(decoder.GetName(name))) return false;
  if (!QZ_CHECK_CONDITION(decoder.GetStreamClassId(classId) && classId == kStreamClassId)) return false;
  if (!QZ_CHECK_CONDITION(decoder.GetFreeze(limitCount, freezeDelay))) return false;
  this->m_name = name;
  m_samples.Clear();
  m_samples.ShrinkToFit();
  m_lookupHint = 0;
  m_unbounded = false;
  m_recordingLimit = 0;
  m_limitCount = static_cast<std::uint32_t>(limitCount);
  m_freezeDelay = freezeDelay;
  m_timeOrigin = 0;
  m_stopTime = std::numeric_limits<std::int64_t>::max();
  m_lastModified = LastModifiedNow();
  return true;
}

template <class T>
const wchar_t* DataSourceStreamTempl<T>::FindUncarriableText(const std::wstring& defaultText,
                                                             const std::wstring& lowText,
                                                             const std::wstring& highText) const {
  if (!IsXmlCarriable(this->m_name)) return L"name";
  if (!IsXmlCarriable(m_valueUnit)) return L"unit";
  if (!IsXmlCarriable(defaultText)) return L"default value";
  if (!IsXmlCarriable(lowText) || !IsXmlCarriable(highText)) return L"range";
  if constexpr (std::is_same_v<T, std::wstring>) {
    // Number texts are always carriable; only string values need a look.
    for (std::size_t i = 0; i < m_samples.size(); ++i) {
      if (!IsXmlCarriable(m_samples.ValueAt(i))) return L"sample values";
    }
  }
  return nullptr;
}

template <class T>
bool DataSourceStreamTempl<T>::Save(DataSourceStreamEncoder& encoder) {
  Lock lock(m_lock);
  const std::wstring defaultText = ValueToText(m_defaultValue);
  std::wstring lowText, highText;
  if (m_rangeSet) {
    lowText = ValueToText(m_lowRange);
    highText = ValueToText(m_highRange);
  }
  // Checked before anything is written, so that a refused stream leaves no
  // half-written element behind.
  if (const wchar_t* what = FindUncarriableText(defaultText, lowText, highText)) {
    QZ_REPORT(1, L"Stream \"%s\" not saved: its %s hold a character an XML document cannot carry.",
              this->m_name.c_str(), what);
    return false;
  }
  // The encoder's attribute order. A setter that had nothing to write (a
  // first sample time of 0, empty range texts) is no failure.
  if (!QZ_CHECK_CONDITION(encoder.CreateStream(kStreamClassId, this->GetBasicType(), this->m_name))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetFreeze(static_cast<std::int32_t>(m_limitCount), m_freezeDelay))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetDataVideoOffset(m_videoOffset))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetDefaultValue(defaultText))) return false;
  if (m_firstSampleTime != 0 && !QZ_CHECK_CONDITION(encoder.SetFirstSampleTime(m_firstSampleTime))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetFlowType(XmlFlowTypeOf(m_constant)))) return false;
  if (m_rangeSet && !QZ_CHECK_CONDITION(encoder.SetRange(lowText.c_str(), highText.c_str()))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetValueUnit(m_valueUnit))) return false;
  for (std::size_t i = 0; i < m_samples.size(); ++i) {
    if (!QZ_CHECK_CONDITION(encoder.AddSample(ValueToText(m_samples.ValueAt(i)), m_samples.KeyAt(i)))) {
      return false;
    }
  }
  return true;
}

template <class T>
bool DataSourceStreamTempl<T>::SaveSettings(DataSourceStreamEncoder& encoder) {
  Lock lock(m_lock);
  if (!IsXmlCarriable(this->m_name)) {
    QZ_REPORT(1, L"Stream \"%s\" not saved: its %s hold a character an XML document cannot carry.",
              this->m_name.c_str(), L"name");
    return false;
  }
  if (!QZ_CHECK_CONDITION(encoder.CreateStream(kStreamClassId, this->GetBasicType(), this->m_name))) return false;
  return QZ_CHECK_CONDITION(encoder.SetFreeze(static_cast<std::int32_t>(m_limitCount), m_freezeDelay));
}

// ---- copies and properties ---------------------------------------------------

template <class T>
std::shared_ptr<DataSourceStreamRoot> DataSourceStreamTempl<T>::Clone() {
  Lock lock(m_lock);
  return std::make_shared<DataSourceStreamTempl<T>>(CloneTag{}, *this);
}

template <class T>
HRESULT DataSourceStreamTempl<T>::GetProperties(IQZPropertySet** set) {
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
    facts.videoOffset = m_videoOffset;
    facts.firstSampleTime = m_firstSampleTime;
    facts.timeSpanOk = GetTimeSpanLocked(facts.startTime, facts.endTime);
  }
  // Built outside the lock: the set is new and belongs to this thread.
  return BuildStreamProperties(facts, set);
}

// ---- readers -----------------------------------------------------------------

template <class T>
std::int64_t DataSourceStreamTempl<T>::GetLastModified() const {
  Lock lock(m_lock);
  return m_lastModified;
}

template <class T>
std::wstring DataSourceStreamTempl<T>::GetValueUnit() const {
  Lock lock(m_lock);
  return m_valueUnit;
}

template <class T>
int DataSourceStreamTempl<T>::GetSamples(std::int64_t from, std::int64_t to, std::vector<Sample>& out) {
  Lock lock(m_lock);
  std::int64_t firstKey = 0, lastKey = 0;
  if (!FirstKeyFrom(from, m_timeOrigin, m_videoOffset, firstKey) ||
      !LastKeyUpTo(to, m_timeOrigin, m_videoOffset, lastKey)) {
    return 0;
  }
  const std::size_t first = m_samples.LowerBound(firstKey);
  const std::size_t end = m_samples.UpperBound(lastKey);
  if (first >= end) return 0;
  // Grown geometrically: callers that append small ranges to one vector
  // must not pay a reallocation per call.
  if (out.capacity() - out.size() < end - first) out.reserve(std::max(out.size() + (end - first), 2 * out.capacity()));
  for (std::size_t i = first; i < end; ++i) out.emplace_back(ToPresentation(m_samples.KeyAt(i)), m_samples.ValueAt(i));
  return 0;
}

template <class T>
int DataSourceStreamTempl<T>::GetValueAt(std::int64_t t, std::int64_t /*reserved*/, T& out) {
  Lock lock(m_lock);
  if (m_samples.empty()) {
    out = m_defaultValue;
  } else if (m_constant) {
    out = m_samples.ValueAt(m_samples.size() - 1);
  } else {
    // The latest sample at or before t holds from its time on.
    std::int64_t lastKey = 0;
    std::size_t after = 0;
    if (LastKeyUpTo(t, m_timeOrigin, m_videoOffset, lastKey)) {
      after = m_samples.UpperBound(lastKey, m_lookupHint);
      m_lookupHint = after;
    }
    out = after == 0 ? m_defaultValue : m_samples.ValueAt(after - 1);
  }
  return 0;
}

template <class T>
bool DataSourceStreamTempl<T>::GetValueRangeLocked(T& low, T& high) const {
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
    if (ValueLess(v, m_samples.ValueAt(lowAt))) lowAt = i;
    if (ValueLess(m_samples.ValueAt(highAt), v)) highAt = i;
  }
  low = m_samples.ValueAt(lowAt);
  high = m_samples.ValueAt(highAt);
  return true;
}

template <class T>
bool DataSourceStreamTempl<T>::GetValueRange(T& low, T& high) {
  Lock lock(m_lock);
  return GetValueRangeLocked(low, high);
}

template <class T>
bool DataSourceStreamTempl<T>::GetTimeSpanLocked(std::int64_t& first, std::int64_t& last) const {
  if (m_unavailable) return false;
  if (m_samples.empty()) {
    first = 0;
    last = 0;
    return false;
  }
  first = ToPresentation(m_samples.FrontKey());
  last = ToPresentation(m_samples.BackKey());
  return true;
}

template <class T>
bool DataSourceStreamTempl<T>::GetTimeSpan(std::int64_t& first, std::int64_t& last) {
  Lock lock(m_lock);
  return GetTimeSpanLocked(first, last);
}

template <class T>
T DataSourceStreamTempl<T>::GetDefaultValue() {
  Lock lock(m_lock);
  return m_defaultValue;
}

// ---- attributes ----------------------------------------------------------------

template <class T>
void DataSourceStreamTempl<T>::SetValueRange(const T& low, const T& high) {
  Lock lock(m_lock);
  m_rangeSet = true;
  if (ValueLessOrEqual(low, high)) {
    m_lowRange = low;
    m_highRange = high;
  }
}

template <class T>
void DataSourceStreamTempl<T>::SetValueUnit(const wchar_t* unit) {
  Lock lock(m_lock);
  m_valueUnit = unit != nullptr ? unit : L"";
}

template <class T>
void DataSourceStreamTempl<T>::SetDefaultValue(const T& value) {
  Lock lock(m_lock);
  m_defaultValue = value;
}

template <class T>
void DataSourceStreamTempl<T>::SetConstant(bool constant) {
  Lock lock(m_lock);
  m_constant = constant;
}

template <class T>
bool DataSourceStreamTempl<T>::IsConstant() {
  Lock lock(m_lock);
  return m_constant;
}

template <class T>
std::uint32_t DataSourceStreamTempl<T>::GetLimitCount() const {
  Lock lock(m_lock);
  return m_limitCount;
}

template <class T>
std::int64_t DataSourceStreamTempl<T>::GetFreezeDelay() const {
  Lock lock(m_lock);
  return m_freezeDelay;
}

template <class T>
std::int64_t DataSourceStreamTempl<T>::GetTimeOrigin() const {
  Lock lock(m_lock);
  return m_timeOrigin;
}

template <class T>
std::int64_t DataSourceStreamTempl<T>::GetStopTime() const {
  Lock lock(m_lock);
  return m_stopTime;
}

template <class T>
std::uint32_t DataSourceStreamTempl<T>::GetInterpolation() const {
  Lock lock(m_lock);
  return m_interpolation;
}

template <class T>
bool DataSourceStreamTempl<T>::IsUnbounded() const {
  Lock lock(m_lock);
  return m_unbounded;
}

template <class T>
std::size_t DataSourceStreamTempl<T>::GetSampleCount() const {
  Lock lock(m_lock);
  return m_samples.size();
}

template class DataSourceStreamTempl<std::int32_t>;
template class DataSourceStreamTempl<double>;
template class DataSourceStreamTempl<std::wstring>;
template class DataSourceStreamTempl<qz_math::Vector2>;
template class DataSourceStreamTempl<qz_math::VectorN<6>>;

}  // namespace qz_dsc
