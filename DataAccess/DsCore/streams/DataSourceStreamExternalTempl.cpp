#include "streams/DataSourceStreamExternalTempl.h"

#include <limits>
#include <new>
#include <utility>

#include "module/Check.h"
#include "streams/LastModifiedClock.h"
#include "streams/StreamTime.h"

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

}  // namespace

// ---- life cycle --------------------------------------------------------------

template <class T>
void DataSourceStreamExternalTempl<T>::Initialize(const std::wstring& name, bool /*startNow*/) {
  Lock lock(m_lock);
  this->m_name = name;
  Clear();
}

template <class T>
void DataSourceStreamExternalTempl<T>::Clear() {
  Lock lock(m_lock);
  m_samples.Clear();
  m_samples.ShrinkToFit();
  m_lookupHint = 0;
  m_unavailable = false;
  m_lastModified = LastModifiedNow();
}

template <class T>
std::int32_t DataSourceStreamExternalTempl<T>::ApplyModifier(const DataSourceStreamModifier& /*modifier*/,
                                                             std::int64_t /*defaultTime*/) {
  return DataSourceStreamRoot::kModifierApplied;
}

// ---- time offsets --------------------------------------------------------------

template <class T>
void DataSourceStreamExternalTempl<T>::Rebase(std::int64_t t) {
  std::int64_t offset = m_videoOffset.load(std::memory_order_relaxed);
  while (!m_videoOffset.compare_exchange_weak(offset, SubtractTime(offset, t), std::memory_order_relaxed)) {
  }
}

template <class T>
void DataSourceStreamExternalTempl<T>::SetTimeBase(std::int64_t timeBase) {
  Lock lock(m_lock);
  m_timeOrigin = timeBase;
}

template <class T>
std::int64_t DataSourceStreamExternalTempl<T>::GetTimeBase() {
  Lock lock(m_lock);
  return m_timeOrigin;
}

// ---- the document ----------------------------------------------------------------

template <class T>
bool DataSourceStreamExternalTempl<T>::LoadContent(const DataSourceStreamDecoder& decoder, std::int32_t /*flag*/) {
  Lock lock(m_lock);
  std::int32_t count = 0;
  if (!this->LoadDefinition(decoder, count)) return false;
  // Saves write no samples, but a document written by hand may hold some.
  this->LoadSamples(decoder, count,
                    [this](std::int64_t time, T&& value) { m_samples.InsertOrAssign(time, std::move(value)); });
  m_lastModified = LastModifiedNow();
  return true;
}

template <class T>
bool DataSourceStreamExternalTempl<T>::Load(const DataSourceStreamDecoder& decoder) {
  Lock lock(m_lock);
  this->m_name.clear();
  Clear();
  std::wstring name;
  if (!QZ_CHECK_CONDITION(decoder.GetName(name)) || !this->HasStreamClassId(decoder)) return false;
  this->m_name = name;
  return LoadContent(decoder, 0);
}

template <class T>
bool DataSourceStreamExternalTempl<T>::Save(DataSourceStreamEncoder& encoder) {
  Lock lock(m_lock);
  // No count limit, no freeze delay, and never a sample.
  return this->SaveDefinition(encoder, 0, 0, false);
}

// ---- copies ----------------------------------------------------------------------

template <class T>
std::shared_ptr<DataSourceStreamRoot> DataSourceStreamExternalTempl<T>::Clone() {
  auto copy = std::make_shared<DataSourceStreamExternalTempl<T>>();
  Lock lock(m_lock);
  copy->CopyCommonFrom(*this);
  return copy;
}

// ---- lookup ----------------------------------------------------------------------

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
  const std::int64_t r = SubtractTime(t, m_videoOffset.load(std::memory_order_relaxed));
  const std::size_t next = m_samples.UpperBound(ShiftTime(r, m_timeOrigin, 0), m_lookupHint);
  m_lookupHint = next;
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

// ---- adds ------------------------------------------------------------------------

template <class T>
bool DataSourceStreamExternalTempl<T>::AddSamples(const std::vector<Sample>& samples) {
  Lock lock(m_lock);
  std::size_t i = 0;
  try {
    // The room is made before anything changes; only copying a value that
    // owns memory can fail after it, and the samples before it stay.
    m_samples.Reserve(samples.size());
    for (; i < samples.size(); ++i) m_samples.InsertOrAssign(samples[i].first, samples[i].second);
  } catch (const std::bad_alloc&) {
    this->ReportNoMemory(samples.size() - i);
    if (i > 0) m_lastModified = LastModifiedNow();
    return false;
  }
  m_lastModified = LastModifiedNow();
  return true;
}

template <class T>
bool DataSourceStreamExternalTempl<T>::AddSample(std::int64_t time, const T& value) {
  Lock lock(m_lock);
  try {
    m_samples.InsertOrAssign(time, value);
  } catch (const std::bad_alloc&) {
    this->ReportNoMemory(1);  // the store undid the insert
    return false;
  }
  m_lastModified = LastModifiedNow();
  return true;
}

template class DataSourceStreamExternalTempl<std::int32_t>;
template class DataSourceStreamExternalTempl<double>;
template class DataSourceStreamExternalTempl<std::wstring>;
template class DataSourceStreamExternalTempl<qz_math::Vector2>;
template class DataSourceStreamExternalTempl<qz_math::Vector3>;
template class DataSourceStreamExternalTempl<qz_math::VectorN<6>>;
template class DataSourceStreamExternalTempl<qz_ovlib::PersonSkeletonData>;

}  // namespace qz_dsc
