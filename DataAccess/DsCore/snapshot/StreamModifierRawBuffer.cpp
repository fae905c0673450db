#include "qz_dsc/StreamModifierRawBuffer.h"

#include <algorithm>
#include <stdexcept>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/Ticks.h"
#include "qz_std/TimeValue.h"
#include "snapshot/BlockAccess.h"
#include "snapshot/Coding.h"

namespace qz_dsc {
namespace {

// The wire form of a sample value of fixed size: its byte count and coding.
// std::wstring has none and is written and read value by value.
template <class T>
struct FixedValue;
template <>
struct FixedValue<int> {
  static constexpr std::uint64_t kBytes = 4;
  static void Encode(unsigned char* dst, int value) noexcept { coding::EncodeInt32(dst, value); }
  static void Decode(const unsigned char* src, int& value) noexcept { value = coding::DecodeInt32(src); }
};
template <>
struct FixedValue<double> {
  static constexpr std::uint64_t kBytes = 8;
  static void Encode(unsigned char* dst, double value) noexcept { coding::EncodeDouble(dst, value); }
  static void Decode(const unsigned char* src, double& value) noexcept { value = coding::DecodeDouble(src); }
};
template <>
struct FixedValue<qz_math::Vector2> {
  static constexpr std::uint64_t kBytes = coding::kVector2Bytes;
  static void Encode(unsigned char* dst, const qz_math::Vector2& value) noexcept { coding::EncodeVector2(dst, value); }
  static void Decode(const unsigned char* src, qz_math::Vector2& value) noexcept { coding::DecodeVector2(src, value); }
};
template <>
struct FixedValue<qz_math::VectorN<6>> {
  static constexpr std::uint64_t kBytes = coding::kVector6Bytes;
  static void Encode(unsigned char* dst, const qz_math::VectorN<6>& value) noexcept {
    coding::EncodeVector6(dst, value);
  }
  static void Decode(const unsigned char* src, qz_math::VectorN<6>& value) noexcept {
    coding::DecodeVector6(src, value);
  }
};

template <class T>
concept HasFixedSize = requires { FixedValue<T>::kBytes; };

// Bytes a sample takes at the least in a snapshot: its time, and its value
// (a string needs at least its count).
template <class T>
constexpr std::uint64_t MinSampleBytes() {
  if constexpr (HasFixedSize<T>) {
    return coding::kTimeValueBytes + FixedValue<T>::kBytes;
  } else {
    return coding::kTimeValueBytes + 4;
  }
}

// A sample time in a snapshot: whole seconds, and the whole time in
// milliseconds in the second field, each truncated toward zero and cut to 32
// bits (modular, as C++20 defines the conversion), then normalised.
// The whole seconds are folded out of the field here in one step (wrapping,
// as the constructor's own steps do), which gives the pair the constructor's
// loops would reach, so that they have nothing left to do: a time of hours
// would otherwise cost a step per 1000 s.
inline qz_std::TimeValue ToSnapshotTime(std::int64_t ticks) noexcept {
  constexpr std::int32_t kFieldPerSecond = 1'000'000;
  const auto seconds = static_cast<std::int32_t>(ticks / kTicksPerSecond);
  const auto field = static_cast<std::int32_t>(ticks / kTicksPerMillisecond);
  const std::int32_t carry = field / kFieldPerSecond;
  return qz_std::TimeValue(
      static_cast<std::int32_t>(static_cast<std::uint32_t>(seconds) + static_cast<std::uint32_t>(carry)),
      field % kFieldPerSecond);
}

// Ticks from a snapshot time: (seconds * 1000 + second field) * 10^4. With
// 32-bit fields the result stays below 2^55 in magnitude; the sums are done
// unsigned all the same so that no input can overflow.
inline std::int64_t FromSnapshotTime(const qz_std::TimeValue& time) noexcept {
  const auto seconds = static_cast<std::uint64_t>(static_cast<std::int64_t>(time.GetSeconds()));
  const auto field = static_cast<std::uint64_t>(static_cast<std::int64_t>(time.GetMicroseconds()));
  return static_cast<std::int64_t>((seconds * 1000u + field) * static_cast<std::uint64_t>(kTicksPerMillisecond));
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

  std::size_t next = 0;
  if constexpr (HasFixedSize<T>) {
    // Every sample that fits, in one block; the first one that does not is
    // left to the operators below, which fail on it as they always have.
    constexpr std::uint64_t kSampleBytes = MinSampleBytes<T>();
    const std::size_t fitting =
        static_cast<std::size_t>(std::min<std::uint64_t>(m_samples.size(), BlockAccess::WritableBlocks(s, kSampleBytes)));
    unsigned char* out = BlockAccess::Take(s, fitting * kSampleBytes);
    const Sample* sample = m_samples.data();  // a local, so the byte stores cannot move it
    for (std::size_t i = 0; i < fitting; ++i, ++sample, out += kSampleBytes) {
      coding::EncodeTimeValue(out, ToSnapshotTime(sample->first));
      FixedValue<T>::Encode(out + coding::kTimeValueBytes, sample->second);
    }
    next = fitting;
  }
  for (; next < m_samples.size(); ++next) {
    s << ToSnapshotTime(m_samples[next].first) << m_samples[next].second;
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
  if (wanted > m_samples.capacity() && BlockAccess::Unread(d) / MinSampleBytes<T>() >= wanted) {
    m_samples.reserve(wanted);
  }

  std::size_t next = 0;
  if constexpr (HasFixedSize<T>) {
    // Every whole sample the input holds, in one block; a short input then
    // fails in the operators below at the same sample as it always has.
    constexpr std::uint64_t kSampleBytes = MinSampleBytes<T>();
    const std::size_t whole =
        static_cast<std::size_t>(std::min<std::uint64_t>(wanted, BlockAccess::ReadableBlocks(d, kSampleBytes)));
    const unsigned char* in = BlockAccess::Take(d, whole * kSampleBytes);
    for (std::size_t i = 0; i < whole; ++i, in += kSampleBytes) {
      T value;
      FixedValue<T>::Decode(in + coding::kTimeValueBytes, value);
      m_samples.emplace_back(FromSnapshotTime(coding::DecodeTimeValue(in)), std::move(value));
    }
    next = whole;
  }
  for (; next < wanted; ++next) {
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
