#include "streams/DataSourceStreamExternalTempl.h"

#include <limits>
#include <type_traits>
#include <utility>

#include "module/Check.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "streams/LastModifiedClock.h"
#include "streams/StreamPropertyBuilder.h"
#include "streams/StreamTime.h"
#include "streams/StreamValueOrder.h"
#include "streams/StreamValueText.h"
#include "xml/XmlCharacters.h"

namespace qz_dsc {
namespace {

using Skeleton = qz_ovlib::PersonSkeletonData;

// (r - a) / (b - a) for keys a < b. The differences are taken exactly in
// 64-bit unsigned arithmetic, so only the final conversions round.
double Fraction(std::int64_t r, std::int64_t a, std::int64_t b) noexcept {
  const auto ur = static_cast<std::uint64_t>(r);
  const auto ua = static_cast<std::uint64_t>(a);
  const double span = static_cast<double>(static_cast<std::uint64_t>(b) - ua);
  const double offset = r >= a ? static_cast<double>(ur - ua) : -static_cast<double>(ua - ur);
  return offset / span;
}

double Blend(double a, double b, double f) noexcept {
  // At the earlier sample, or between equal ones, its value holds as it is
  // (so -0.0 and infinities are not turned into 0 or NaN).
  if (f == 0.0 || a == b) return a;
  return a + f * (b - a);
}

std::int32_t Blend(std::int32_t a, std::int32_t b, double f) noexcept {
  const double v = Blend(static_cast<double>(a), static_cast<double>(b), f);
  // Truncation toward zero, clamped to the int range (the blend of two ints
  // can leave it when the fraction lies outside [0, 1]).
  if (!(v < 2147483648.0)) return std::numeric_limits<std::int32_t>::max();
  if (!(v > -2147483649.0)) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(v);
}

template <class Vec>
Vec BlendComponents(const Vec& a, const Vec& b, double f, int count) {
  Vec v = a;
  for (int i = 0; i < count; ++i) v[i] = Blend(a[i], b[i], f);
  return v;
}

qz_math::Vector2 Blend(const qz_math::Vector2& a, const qz_math::Vector2& b, double f) {
  return BlendComponents(a, b, f, 2);
}
qz_math::Vector3 Blend(const qz_math::Vector3& a, const qz_math::Vector3& b, double f) {
  return BlendComponents(a, b, f, 3);
}
qz_math::VectorN<6> Blend(const qz_math::VectorN<6>& a, const qz_math::VectorN<6>& b, double f) {
  return BlendComponents(a, b, f, 6);
}
// Texts and poses are not blended: the previous sample holds.
const std::wstring& Blend(const std::wstring& a, const std::wstring&, double) noexcept { return a; }
const Skeleton& Blend(const Skeleton& a, const Skeleton&, double) noexcept { return a; }

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

constexpr const wchar_t* kUncarriableText =
    L"Stream \"%s\" not saved: its %s hold a character an XML document cannot carry.";

}  // namespace

// ---- life cycle --------------------------------------------------------------

template <class T>
void DataSourceStreamExternalTempl<T>::Initialize(const std::wstring& name, bool /*startNow*/) {
  Lock lock(m_lock);
  this->m_name = name;
  Clear();
  m_lastModified = LastModifiedNow();
}

template <class T>
void DataSourceStreamExternalTempl<T>::Clear() {
  Lock lock(m_lock);
  m_samples.Clear();
  m_samples.ShrinkToFit();
  m_unavailable = false;
  m_lastModified = LastModifiedNow();
}

template <class T>
std::int32_t DataSourceStreamExternalTempl<T>::ApplyModifier(const DataSourceStreamModifier& /*modifier*/,
                                                             std::int64_t /*defaultTime*/) {
  return kModifierApplied;
}

// ---- time offsets --------------------------------------------------------------

template <class T>
void DataSourceStreamExternalTempl<T>::Rebase(std::int64_t t) {
  std::int64_t offset = m_presentationOffset.load(std::memory_order_relaxed);
  while (!m_presentationOffset.compare_exchange_weak(offset, SubtractTime(offset, t), std::memory_order_relaxed)) {
  }
}

template <class T>
void DataSourceStreamExternalTempl<T>::SetVideoOffset(std::int64_t offset) {
  Lock lock(m_lock);
  m_presentationOffset.store(offset, std::memory_order_relaxed);
}

template <class T>
std::int64_t DataSourceStreamExternalTempl<T>::GetVideoOffset() {
  Lock lock(m_lock);
  return m_presentationOffset.load(std::memory_order_relaxed);
}

template <class T>
void DataSourceStreamExternalTempl<T>::SetFirstSampleTime(std::int64_t time) {
  Lock lock(m_lock);
  m_firstSampleTime = time;
}

template <class T>
std::int64_t DataSourceStreamExternalTempl<T>::GetFirstSampleTime() {
  Lock lock(m_lock);
  return m_firstSampleTime;
}

template <class T>
void DataSourceStreamExternalTempl<T>::SetTimeBase(std::int64_t timeBase) {
  Lock lock(m_lock);
  m_timeBase = timeBase;
}

template <class T>
std::int64_t DataSourceStreamExternalTempl<T>::GetTimeBase() {
  Lock lock(m_lock);
  return m_timeBase;
}

template <class T>
std::int64_t DataSourceStreamExternalTempl<T>::ToPresentation(std::int64_t key, std::int64_t offset) const noexcept {
  return PresentationOf(key, m_timeBase, offset);
}

// ---- the document ----------------------------------------------------------------

template <class T>
bool DataSourceStreamExternalTempl<T>::LoadContent(const DataSourceStreamDecoder& decoder, std::int32_t /*flag*/) {
  Lock lock(m_lock);
  std::wstring name;
  if (!decoder.GetName(name) || name != this->m_name) return false;
  std::int32_t classId = 0;
  if (!QZ_CHECK_CONDITION(decoder.GetStreamClassId(classId) && classId == kStreamClassId)) return false;
  std::int32_t count = 0;
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
  if (decoder.GetDataVideoOffset(time)) m_presentationOffset.store(time, std::memory_order_relaxed);
  if (decoder.GetFirstSampleTime(time)) m_firstSampleTime = time;
  if (decoder.GetDefaultValue(text)) {
    T value{};
    if (TextToValue(text, value)) m_defaultValue = std::move(value);
  }
  std::int32_t flowType = 0;
  if (decoder.GetFlowType(flowType)) m_constant = IsConstantXmlFlowType(flowType);

  // Saves write no samples, but a document written by hand may hold some.
  for (std::int32_t i = 0; i < count; ++i) {
    T value{};
    if (decoder.GetSample(i, text, time) && TextToValue(text, value)) m_samples.InsertOrAssign(time, std::move(value));
  }
  m_lastModified = LastModifiedNow();
  return true;
}

template <class T>
bool DataSourceStreamExternalTempl<T>::Load(const DataSourceStreamDecoder& decoder) {
  Lock lock(m_lock);
  this->m_name.clear();
  Clear();
  std::wstring name;
  if (!QZ_CHECK_CONDITION(decoder.GetName(name))) return false;
  std::int32_t classId = 0;
  if (!QZ_CHECK_CONDITION(decoder.GetStreamClassId(classId) && classId == kStreamClassId)) return false;
  this->m_name = name;
  return LoadContent(decoder, 0);
}

template <class T>
bool DataSourceStreamExternalTempl<T>::Save(DataSourceStreamEncoder& encoder) {
  Lock lock(m_lock);
  const std::wstring defaultText = ValueToText(m_defaultValue);
  std::wstring lowText, highText;
  if (m_rangeSet) {
    lowText = ValueToText(m_lowRange);
    highText = ValueToText(m_highRange);
  }
  // Checked before anything is written, so that a refused stream leaves no
  // half-written element behind. Samples are not written, so their texts
  // need no look.
  const wchar_t* what = nullptr;
  if (!IsXmlCarriable(this->m_name)) {
    what = L"name";
  } else if (!IsXmlCarriable(m_valueUnit)) {
    what = L"unit";
  } else if (!IsXmlCarriable(defaultText)) {
    what = L"default value";
  } else if (!IsXmlCarriable(lowText) || !IsXmlCarriable(highText)) {
    what = L"range";
  }
  if (what != nullptr) {
    QZ_REPORT(1, kUncarriableText, this->m_name.c_str(), what);
    return false;
  }
  // The encoder's attribute order; no count limit and no freeze delay. A
  // setter that had nothing to write (a first sample time of 0, empty range
  // texts) is no failure.
  if (!QZ_CHECK_CONDITION(encoder.CreateStream(kStreamClassId, this->GetBasicType(), this->m_name))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetFreeze(0, 0))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetDataVideoOffset(m_presentationOffset.load(std::memory_order_relaxed)))) {
    return false;
  }
  if (!QZ_CHECK_CONDITION(encoder.SetDefaultValue(defaultText))) return false;
  if (m_firstSampleTime != 0 && !QZ_CHECK_CONDITION(encoder.SetFirstSampleTime(m_firstSampleTime))) return false;
  if (!QZ_CHECK_CONDITION(encoder.SetFlowType(XmlFlowTypeOf(m_constant)))) return false;
  if (m_rangeSet && !QZ_CHECK_CONDITION(encoder.SetRange(lowText.c_str(), highText.c_str()))) return false;
  return QZ_CHECK_CONDITION(encoder.SetValueUnit(m_valueUnit));
}

// ---- copies and properties -------------------------------------------------------

template <class T>
std::shared_ptr<DataSourceStreamRoot> DataSourceStreamExternalTempl<T>::Clone() {
  auto copy = std::make_shared<DataSourceStreamExternalTempl<T>>();
  Lock lock(m_lock);
  // The copy is not shared yet: its fields need no lock.
  copy->m_name = this->m_name;
  copy->m_samples = m_samples;
  copy->m_timeBase = m_timeBase;
  copy->m_constant = m_constant;
  copy->m_presentationOffset.store(m_presentationOffset.load(std::memory_order_relaxed), std::memory_order_relaxed);
  copy->m_rangeSet = m_rangeSet;
  copy->m_lowRange = m_lowRange;
  copy->m_highRange = m_highRange;
  copy->m_firstSampleTime = m_firstSampleTime;
  copy->m_valueUnit = m_valueUnit;
  copy->m_defaultValue = m_defaultValue;
  copy->m_unavailable = m_unavailable;
  copy->m_lastModified = m_lastModified;
  return copy;
}

template <class T>
HRESULT DataSourceStreamExternalTempl<T>::GetProperties(IQZPropertySet** set) {
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
    facts.videoOffset = m_presentationOffset.load(std::memory_order_relaxed);
    facts.firstSampleTime = m_firstSampleTime;
    facts.timeSpanOk = GetTimeSpanLocked(facts.startTime, facts.endTime);
  }
  return BuildStreamProperties(facts, set);
}

// ---- getters ---------------------------------------------------------------------

template <class T>
std::int64_t DataSourceStreamExternalTempl<T>::GetLastModified() const {
  Lock lock(m_lock);
  return m_lastModified;
}

template <class T>
std::wstring DataSourceStreamExternalTempl<T>::GetValueUnit() const {
  Lock lock(m_lock);
  return m_valueUnit;
}

template <class T>
int DataSourceStreamExternalTempl<T>::GetSamples(std::int64_t from, std::int64_t to, std::vector<Sample>& out) {
  Lock lock(m_lock);
  const std::int64_t offset = m_presentationOffset.load(std::memory_order_relaxed);
  std::int64_t firstKey = 0, lastKey = 0;
  if (!FirstKeyFrom(from, m_timeBase, offset, firstKey) || !LastKeyUpTo(to, m_timeBase, offset, lastKey)) return 0;
  for (std::size_t i = m_samples.LowerBound(firstKey); i < m_samples.size() && m_samples.KeyAt(i) <= lastKey; ++i) {
    out.emplace_back(ToPresentation(m_samples.KeyAt(i), offset), m_samples.ValueAt(i));
  }
  return 0;
}

template <class T>
int DataSourceStreamExternalTempl<T>::GetValueAt(std::int64_t t, std::int64_t /*reserved*/, T& out) {
  Lock lock(m_lock);
  const std::size_t n = m_samples.size();
  if (n == 0) {
    out = m_defaultValue;
    return 0;
  }
  if (m_constant) {
    out = m_samples.ValueAt(n - 1);
    return 0;
  }
  const std::int64_t r = SubtractTime(t, m_presentationOffset.load(std::memory_order_relaxed));
  const std::size_t next = m_samples.UpperBound(ShiftTime(r, m_timeBase, 0));
  if (next == n) {
    out = m_samples.ValueAt(n - 1);
  } else if (next == 0) {
    out = m_samples.ValueAt(0);  // before every sample: the first, not the default
  } else {
    // The fraction is taken from r itself, not from the time base + r that
    // found the neighbours; the two agree while the time base is 0.
    const double f = Fraction(r, m_samples.KeyAt(next - 1), m_samples.KeyAt(next));
    out = Blend(m_samples.ValueAt(next - 1), m_samples.ValueAt(next), f);
  }
  return 0;
}

template <class T>
bool DataSourceStreamExternalTempl<T>::GetValueRangeLocked(T& low, T& high) const {
  if (m_rangeSet) {
    low = m_lowRange;
    high = m_highRange;
    return true;
  }
  if (m_unavailable) return false;
  T min{}, max{};
  if (!m_samples.empty()) {
    min = m_samples.ValueAt(0);
    max = min;
    for (std::size_t i = 1; i < m_samples.size(); ++i) {
      const T& v = m_samples.ValueAt(i);
      if (Less(v, min)) min = v;
      if (Less(max, v)) max = v;
    }
  }
  low = std::move(min);
  high = std::move(max);
  return true;
}

template <class T>
bool DataSourceStreamExternalTempl<T>::GetValueRange(T& low, T& high) {
  Lock lock(m_lock);
  return GetValueRangeLocked(low, high);
}

template <class T>
bool DataSourceStreamExternalTempl<T>::GetTimeSpanLocked(std::int64_t& first, std::int64_t& last) const {
  if (m_unavailable) return false;
  if (m_samples.empty()) {
    first = 0;
    last = 0;
    return false;
  }
  const std::int64_t offset = m_presentationOffset.load(std::memory_order_relaxed);
  first = ToPresentation(m_samples.FrontKey(), offset);
  last = ToPresentation(m_samples.BackKey(), offset);
  return true;
}

template <class T>
bool DataSourceStreamExternalTempl<T>::GetTimeSpan(std::int64_t& first, std::int64_t& last) {
  Lock lock(m_lock);
  return GetTimeSpanLocked(first, last);
}

template <class T>
T DataSourceStreamExternalTempl<T>::GetDefaultValue() {
  Lock lock(m_lock);
  return m_defaultValue;
}

template <class T>
std::size_t DataSourceStreamExternalTempl<T>::GetSampleCount() const {
  Lock lock(m_lock);
  return m_samples.size();
}

// ---- setters -----------------------------------------------------------------------

template <class T>
bool DataSourceStreamExternalTempl<T>::AddSamples(const std::vector<Sample>& samples) {
  Lock lock(m_lock);
  m_samples.Reserve(samples.size());
  for (const auto& [time, value] : samples) m_samples.InsertOrAssign(time, value);
  m_lastModified = LastModifiedNow();
  return true;
}

template <class T>
bool DataSourceStreamExternalTempl<T>::AddSample(std::int64_t time, const T& value) {
  Lock lock(m_lock);
  m_samples.InsertOrAssign(time, value);
  m_lastModified = LastModifiedNow();
  return true;
}

template <class T>
void DataSourceStreamExternalTempl<T>::ReplaceSamples(std::map<std::int64_t, T>&& samples) {
  Lock lock(m_lock);
  m_samples.Assign(std::move(samples));
  m_lastModified = LastModifiedNow();
}

template <class T>
void DataSourceStreamExternalTempl<T>::SetValueRange(const T& low, const T& high) {
  Lock lock(m_lock);
  m_rangeSet = true;
  if (InOrder(low, high)) {
    m_lowRange = low;
    m_highRange = high;
  }
}

template <class T>
void DataSourceStreamExternalTempl<T>::SetValueUnit(const wchar_t* unit) {
  Lock lock(m_lock);
  m_valueUnit = unit != nullptr ? unit : L"";
}

template <class T>
void DataSourceStreamExternalTempl<T>::SetDefaultValue(const T& value) {
  Lock lock(m_lock);
  m_defaultValue = value;
}

template <class T>
void DataSourceStreamExternalTempl<T>::SetConstant(bool constant) {
  Lock lock(m_lock);
  m_constant = constant;
}

template <class T>
bool DataSourceStreamExternalTempl<T>::IsConstant() {
  Lock lock(m_lock);
  return m_constant;
}

template class DataSourceStreamExternalTempl<std::int32_t>;
template class DataSourceStreamExternalTempl<double>;
template class DataSourceStreamExternalTempl<std::wstring>;
template class DataSourceStreamExternalTempl<qz_math::Vector2>;
template class DataSourceStreamExternalTempl<qz_math::Vector3>;
template class DataSourceStreamExternalTempl<qz_math::VectorN<6>>;
template class DataSourceStreamExternalTempl<qz_ovlib::PersonSkeletonData>;

}  // namespace qz_dsc
