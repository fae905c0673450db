#include "streams/DataSourceStreamTempl.h"

#include <algorithm>
#include <new>
#include <utility>

#include "module/Check.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/StreamModifierRawBuffer.h"
#include "qz_dsc/Ticks.h"
#include "streams/LastModifiedClock.h"
#include "streams/StreamTime.h"
#include "xml/XmlCharacters.h"

namespace qz_dsc {

template <class T>
DataSourceStreamTempl<T>::DataSourceStreamTempl(CloneTag, const DataSourceStreamTempl& other)
    : m_limitCount(other.m_limitCount),
      m_stopTime(other.m_stopTime),
      m_freezeDelay(other.m_freezeDelay),
      m_interpolation(other.m_interpolation),
      m_unbounded(other.m_unbounded),
      m_recordingLimit(other.m_recordingLimit) {
  this->CopyCommonFrom(other);
}

// ---- time conversions and the add rule -------------------------------------

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
bool DataSourceStreamTempl<T>::AddSample(std::int64_t time, const T& value) {
  Lock lock(m_lock);
  try {
    if (!AddLocked(time, value)) return false;
  } catch (const std::bad_alloc&) {
    // The store is unchanged: every insert either completes or undoes itself.
    this->ReportNoMemory(1);
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
    this->ReportNoMemory(n - i);
    if (i > 0) m_lastModified = LastModifiedNow();
    return false;
  }
  m_lastModified = LastModifiedNow();
  return true;
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
  const std::int64_t a = SubtractTime(t, m_videoOffset.load(std::memory_order_relaxed));
  TrimBefore(a);
  m_timeOrigin = a;
  m_videoOffset.store(0, std::memory_order_relaxed);
}

template <class T>
void DataSourceStreamTempl<T>::TruncateAfter(std::int64_t t) {
  Lock lock(m_lock);
  // The largest time is the end of time: nothing lies at or after it.
  std::int64_t first = 0;
  if (t == std::numeric_limits<std::int64_t>::max() ||
      !FirstKeyFrom(t, m_timeOrigin, m_videoOffset.load(std::memory_order_relaxed), first)) {
    return;
  }
  m_samples.EraseFrom(m_samples.LowerBound(first));
}

// ---- snapshots -------------------------------------------------------------

template <class T>
std::int32_t DataSourceStreamTempl<T>::ApplyModifier(const DataSourceStreamModifier& modifier,
                                                     std::int64_t defaultTime) {
  Lock lock(m_lock);
  if (modifier.GetId() != this->m_name) return DataSourceStreamRoot::kModifierOtherStream;
  const auto buffer = std::dynamic_pointer_cast<StreamModifierRawBuffer<T>>(modifier.GetInternalBuffer());
  if (!buffer) return DataSourceStreamRoot::kModifierWrongType;

  if (modifier.GetLimitCount() != 0 && m_samples.empty()) {
    m_limitCount = static_cast<std::uint32_t>(modifier.GetLimitCount());
  }
  if (modifier.GetFreezeDelay() != 0) {
    m_freezeDelay = static_cast<std::int64_t>(modifier.GetFreezeDelay()) * kTicksPerSecond;
  }
  const int flags = buffer->GetFlags();
  if (flags & StreamModifierRawBuffer<T>::kDefaultValuePresent) m_defaultValue = buffer->GetDefaultValue();
  if (flags & StreamModifierRawBuffer<T>::kLowRangePresent) {
    this->m_lowRange = buffer->GetLowRange();
    this->m_rangeSet = true;
  }
  if (flags & StreamModifierRawBuffer<T>::kHighRangePresent) {
    this->m_highRange = buffer->GetHighRange();
    this->m_rangeSet = true;
  }
  this->m_valueUnit = modifier.GetValueUnit();
  m_constant = IsConstantModifierFlowType(modifier.GetFlowType());
  m_interpolation = StreamInterpolationOf(modifier.GetInterpolationType());
  for (const auto& [time, value] : buffer->GetSamples()) {
    AddLocked(time == 0 ? defaultTime : time, value);
  }
  m_lastModified = LastModifiedNow();
  return DataSourceStreamRoot::kModifierApplied;
}

// ---- the document ----------------------------------------------------------

template <class T>
bool DataSourceStreamTempl<T>::LoadContent(const DataSourceStreamDecoder& decoder, std::int32_t /*flag*/) {
  Lock lock(m_lock);
  std::int32_t count = 0;
  if (!this->LoadDefinition(decoder, count)) return false;
  std::int32_t limitCount = 0;
  std::int64_t freezeDelay = 0;
  if (decoder.GetFreeze(limitCount, freezeDelay)) {
    if (m_samples.empty()) m_limitCount = static_cast<std::uint32_t>(limitCount);
    m_freezeDelay = freezeDelay;
  }
  if (ActiveLimit() == 0 && count > 0) m_samples.Reserve(static_cast<std::size_t>(count));
  // A sample whose time or text does not convert is skipped; the others load.
  this->LoadSamples(decoder, count, [this](std::int64_t time, T&& value) { AddLocked(time, std::move(value)); });
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
  if (!QZ_CHECK_CONDITION(decoder.GetName(name)) || !this->HasStreamClassId(decoder)) return false;
  this->m_name = name;
  return LoadContent(decoder, 0);
}

template <class T>
bool DataSourceStreamTempl<T>::LoadSettings(const DataSourceStreamDecoder& decoder) {
  Lock lock(m_lock);
  std::wstring name;
  std::int32_t limitCount = 0;
  std::int64_t freezeDelay = 0;
  if (!QZ_CHECK_CONDITION(decoder.GetName(name)) || !this->HasStreamClassId(decoder)) return false;
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
bool DataSourceStreamTempl<T>::Save(DataSourceStreamEncoder& encoder) {
  Lock lock(m_lock);
  return this->SaveDefinition(encoder, static_cast<std::int32_t>(m_limitCount), m_freezeDelay, true);
}

template <class T>
bool DataSourceStreamTempl<T>::SaveSettings(DataSourceStreamEncoder& encoder) {
  Lock lock(m_lock);
  if (!IsXmlCarriable(this->m_name)) {
    QZ_REPORT(1, L"Stream \"%s\" not saved: its %s hold a character an XML document cannot carry.",
              this->m_name.c_str(), L"name");
    return false;
  }
  if (!QZ_CHECK_CONDITION(encoder.CreateStream(Base::kStreamClassId, this->GetBasicType(), this->m_name))) {
    return false;
  }
  return QZ_CHECK_CONDITION(encoder.SetFreeze(static_cast<std::int32_t>(m_limitCount), m_freezeDelay));
}

// ---- copies ------------------------------------------------------------------

template <class T>
std::shared_ptr<DataSourceStreamRoot> DataSourceStreamTempl<T>::Clone() {
  Lock lock(m_lock);
  return std::make_shared<DataSourceStreamTempl<T>>(CloneTag{}, *this);
}

// ---- lookup ------------------------------------------------------------------

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
    if (LastKeyUpTo(t, m_timeOrigin, m_videoOffset.load(std::memory_order_relaxed), lastKey)) {
      after = m_samples.UpperBound(lastKey, m_lookupHint);
      m_lookupHint = after;
    }
    out = after == 0 ? m_defaultValue : m_samples.ValueAt(after - 1);
  }
  return 0;
}

// ---- settings ----------------------------------------------------------------

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

template class DataSourceStreamTempl<std::int32_t>;
template class DataSourceStreamTempl<double>;
template class DataSourceStreamTempl<std::wstring>;
template class DataSourceStreamTempl<qz_math::Vector2>;
template class DataSourceStreamTempl<qz_math::VectorN<6>>;

}  // namespace qz_dsc
