#include "qz_dsc/StreamModifierRawBuffer.h"

#include <stdexcept>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_std/TimeValue.h"

namespace qz_dsc {
namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kTicksPerMillisecond = 10'000;

// Bytes a sample's value takes at the least in a snapshot (a string needs at
// least its count).
template <class T>
constexpr std::uint64_t kMinValueBytes = 0;
template <>
constexpr std::uint64_t kMinValueBytes<int> = 4;
template <>
constexpr std::uint64_t kMinValueBytes<double> = 8;
template <>
constexpr std::uint64_t kMinValueBytes<std::wstring> = 4;
template <>
constexpr std::uint64_t kMinValueBytes<qz_math::Vector2> = 16;
template <>
constexpr std::uint64_t kMinValueBytes<qz_math::VectorN<6>> = 48;

// A sample time in a snapshot: whole seconds, and the whole time in
// milliseconds in the second field, each truncated toward zero and cut to 32
// bits (modular, as C++20 defines the conversion), then normalised.
qz_std::TimeValue ToSnapshotTime(std::int64_t ticks) noexcept {
  return qz_std::TimeValue(static_cast<std::int32_t>(ticks / kTicksPerSecond),
                           static_cast<std::int32_t>(ticks / kTicksPerMillisecond));
}

// Ticks from a snapshot time: (seconds * 1000 + second field) * 10^4. With
// 32-bit fields the result stays below 2^55 in magnitude; the sums are done
// unsigned all the same so that no input can overflow.
std::int64_t FromSnapshotTime(const qz_std::TimeValue& time) noexcept {
  const auto seconds = static_cast<std::uint64_t>(static_cast<std::int64_t>(time.GetSeconds()));
  const auto field = static_cast<std::uint64_t>(static_cast<std::int64_t>(time.GetMicroseconds()));
  return static_cast<std::int64_t>((seconds * 1000u + field) * static_cast<std::uint64_t>(kTicksPerMillisecond));
}

// True when the unread input of d is long enough for count samples of T. The
// reader only tells its length through SeekTo, so this probes there and back;
// the position ends where it was and the failure flag is not touched.
template <class T>
bool InputCanHold(BasicBinaryDeserializer& d, int count) {
  const auto start = static_cast<std::uint64_t>(d.GetPosition());
  const std::uint64_t needed = static_cast<std::uint64_t>(count) * (8 + kMinValueBytes<T>);
  const bool fits = d.SeekTo(start + needed);
  d.SeekTo(start);
  return fits;
}

}  // namespace

template <class T>
StreamModifierRawBuffer<T>::StreamModifierRawBuffer() = default;

template <class T>
StreamModifierRawBuffer<T>::~StreamModifierRawBuffer() = default;

template <class T>
void StreamModifierRawBuffer<T>::ClearData() {
  m_samples.clear();
}

template <class T>
int StreamModifierRawBuffer<T>::GetCount() const {
  return static_cast<int>(m_samples.size());
}

template <class T>
int StreamModifierRawBuffer<T>::SerializeTo(BasicBinarySerializer& s) const {
  s << static_cast<int>(m_flags);
  if (m_flags & kDefaultValuePresent) s << m_defaultValue;
  if (m_flags & kLowRangePresent) s << m_lowRange;
  if (m_flags & kHighRangePresent) s << m_highRange;
  s << GetCount();
  if (!s) return -1;
  for (const Sample& sample : m_samples) {
    s << ToSnapshotTime(sample.first) << sample.second;
    if (!s) return -1;
  }
  return 0;
}

template <class T>
int StreamModifierRawBuffer<T>::DeserializeFrom(BasicBinaryDeserializer& d) {
  int flags = m_flags;
  d >> flags;
  m_flags = flags;
  if (m_flags & kDefaultValuePresent) d >> m_defaultValue;
  if (m_flags & kLowRangePresent) d >> m_lowRange;
  if (m_flags & kHighRangePresent) d >> m_highRange;
  int count = 0;
  d >> count;
  if (!d) return -1;

  // The count is compared with the capacity as an unsigned size: a negative
  // count is beyond any sequence's limit and ends in the length error, while
  // no non-negative int can reach that limit.
  if (count < 0) throw std::length_error("vector too long");
  const auto wanted = static_cast<std::size_t>(count);
  // Room for all samples in one step, but only when the input can hold them:
  // a damaged count (up to 2^31 - 1) would otherwise ask for gigabytes that a
  // reader which must run short anyway never fills. Valid input is unaffected.
  if (wanted > m_samples.capacity() && InputCanHold<T>(d, count)) m_samples.reserve(wanted);

  for (int i = 0; i < count; ++i) {
    qz_std::TimeValue time;
    T value{};
    d >> time >> value;
    if (!d) return -1;
    m_samples.emplace_back(FromSnapshotTime(time), std::move(value));
  }
  return 0;
}

template <class T>
int StreamModifierRawBuffer<T>::AddSample(std::int64_t time, const DataSourceStreamVariant& value) {
  const auto* typed = dynamic_cast<const DataSourceStreamVariantDerived<T>*>(&value);
  if (typed == nullptr) return 1;
  m_samples.emplace_back(time, typed->GetValue());
  return 0;
}

template <class T>
int StreamModifierRawBuffer<T>::SetDefaultValue(const DataSourceStreamVariant& value) {
  return SetAttribute(m_defaultValue, kDefaultValuePresent, value);
}

template <class T>
int StreamModifierRawBuffer<T>::SetLowRange(const DataSourceStreamVariant& value) {
  return SetAttribute(m_lowRange, kLowRangePresent, value);
}

template <class T>
int StreamModifierRawBuffer<T>::SetHighRange(const DataSourceStreamVariant& value) {
  return SetAttribute(m_highRange, kHighRangePresent, value);
}

template <class T>
int StreamModifierRawBuffer<T>::SetAttribute(T& target, int flag, const DataSourceStreamVariant& value) {
  const auto* typed = dynamic_cast<const DataSourceStreamVariantDerived<T>*>(&value);
  if (typed == nullptr) return 1;
  target = typed->GetValue();
  m_flags |= flag;
  return 0;
}

// The one copy of each buffer type; the header's declarations of these
// instantiations carry the export attribute.
template class StreamModifierRawBuffer<int>;
template class StreamModifierRawBuffer<double>;
template class StreamModifierRawBuffer<std::wstring>;
template class StreamModifierRawBuffer<qz_math::Vector2>;
template class StreamModifierRawBuffer<qz_math::VectorN<6>>;

std::shared_ptr<IStreamModifierRawBufferRoot> CreateStreamModifierRawBuffer(qz_ds::StreamBasicType type) {
  switch (type) {
    case qz_ds::StreamBasicType_Int:
      return std::make_shared<StreamModifierRawBuffer<int>>();
    case qz_ds::StreamBasicType_Float:
      return std::make_shared<StreamModifierRawBuffer<double>>();
    case qz_ds::StreamBasicType_String:
      return std::make_shared<StreamModifierRawBuffer<std::wstring>>();
    case qz_ds::StreamBasicType_Vector2:
      return std::make_shared<StreamModifierRawBuffer<qz_math::Vector2>>();
    case qz_ds::StreamBasicType_Vector6:
      return std::make_shared<StreamModifierRawBuffer<qz_math::VectorN<6>>>();
    default:
      return nullptr;
  }
}

}  // namespace qz_dsc
