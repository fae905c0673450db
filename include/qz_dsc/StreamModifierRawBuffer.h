// The typed sample buffer of a stream snapshot: presence flags, default value,
// low and high range, and (time, value) samples in insertion order, with the
// snapshot byte layout. CreateStreamModifierRawBuffer makes one by basic type.
// Not synchronised: one thread at a time may use a buffer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qz_ds/qz_ds.h"
#include "qz_dsc/IStreamModifierRawBufferRoot.h"
#include "qz_dsc/export.h"
#include "qz_math/Vector.h"

namespace qz_dsc {

// Built for T = int, double, std::wstring, qz_math::Vector2, qz_math::VectorN<6>.
template <class T>
class StreamModifierRawBuffer : public IStreamModifierRawBufferRoot {
 public:
  // Bits of GetFlags(): which of default value, low and high range are present.
  static constexpr int kDefaultValuePresent = 1;
  static constexpr int kLowRangePresent = 2;
  static constexpr int kHighRangePresent = 4;

  // A sample: time in 100-ns ticks, then the value.
  using Sample = std::pair<std::int64_t, T>;

  StreamModifierRawBuffer();
  ~StreamModifierRawBuffer() override;

  void ClearData() override;
  [[nodiscard]] int GetCount() const override;
  // Writes the flags, the present attributes, the count and every sample. A
  // sample time is written as seconds = t / 10^7 and a second field t / 10^4
  // (the whole time in milliseconds), normalised as a TimeValue.
  [[nodiscard]] int SerializeTo(BasicBinarySerializer& s) const override;
  // Reads what SerializeTo writes; a sample time is taken back as
  // (seconds * 1000 + second field) * 10^4 ticks. The two conversions are
  // deliberately not inverse, and existing snapshots are read this way: times
  // below one second survive to the millisecond, longer ones come back larger
  // by their whole seconds (1.5 s is read back as 2.5 s).
  // Throws std::length_error("vector too long") for a negative sample count.
  [[nodiscard]] int DeserializeFrom(BasicBinaryDeserializer& d) override;
  [[nodiscard]] int AddSample(std::int64_t time, const DataSourceStreamVariant& value) override;
  [[nodiscard]] int SetDefaultValue(const DataSourceStreamVariant& value) override;
  [[nodiscard]] int SetLowRange(const DataSourceStreamVariant& value) override;
  [[nodiscard]] int SetHighRange(const DataSourceStreamVariant& value) override;

  [[nodiscard]] int GetFlags() const noexcept { return m_flags; }
  // Meaningful only when the matching flag bit is set.
  [[nodiscard]] const T& GetDefaultValue() const noexcept { return m_defaultValue; }
  [[nodiscard]] const T& GetLowRange() const noexcept { return m_lowRange; }
  [[nodiscard]] const T& GetHighRange() const noexcept { return m_highRange; }
  [[nodiscard]] const std::vector<Sample>& GetSamples() const noexcept { return m_samples; }

 private:
  // Stores value into target and sets flag; 1 when value is not a T.
  [[nodiscard]] int SetAttribute(T& target, int flag, const DataSourceStreamVariant& value);

  std::int32_t m_flags = 0;
  T m_defaultValue{};
  T m_lowRange{};
  T m_highRange{};
  std::vector<Sample> m_samples;
};

extern template class QZ_DSC_API StreamModifierRawBuffer<int>;
extern template class QZ_DSC_API StreamModifierRawBuffer<double>;
extern template class QZ_DSC_API StreamModifierRawBuffer<std::wstring>;
extern template class QZ_DSC_API StreamModifierRawBuffer<qz_math::Vector2>;
extern template class QZ_DSC_API StreamModifierRawBuffer<qz_math::VectorN<6>>;

// A new empty buffer for a basic type: int for 2, double for 3, std::wstring
// for 4, Vector2 for 5, VectorN<6> for 11; an empty pointer for any other type.
[[nodiscard]] QZ_DSC_API std::shared_ptr<IStreamModifierRawBufferRoot> CreateStreamModifierRawBuffer(
    qz_ds::StreamBasicType type);

}  // namespace qz_dsc
