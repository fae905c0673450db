// What the internal and the external sample stream share: the attributes
// (unit, default, range, flow type, first sample time, offsets), their
// locked accessors, the sample readers that do not interpolate, the value
// range and time span, the property set, the definition read from and
// written to the document, and copying. Kind is the implementation kind
// (internal or external); the two stream classes derive from this one.
//
// Threads: every operation takes the stream's one recursive lock for its
// whole body, except the identity slots of DataSourceStreamImp2 and the
// external stream's Rebase; that one changes the video offset without the
// lock, so the offset is atomic and read once per operation. No operation
// takes two streams' locks.
//
// Invariants, under the lock: one value per key; presentation time = key -
// m_timeOrigin + video offset, clamped to the 64-bit range.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "qz_dsc/DataSourceStreamExtended.h"
#include "qz_dsc/DataSourceStreamRoot.h"
#include "qz_dsc/StreamTypes.h"
#include "streams/ReentrantLock.h"
#include "streams/SampleStore.h"
#include "streams/StreamValueText.h"

namespace qz_dsc {

template <std::int32_t Kind, class T>
class DataSourceStreamCommon : public DataSourceStreamRoot, public DataSourceStreamImp2<Kind, T> {
 public:
  using Sample = typename DataSourceStreamExtended<T>::Sample;

  // The class identifier written to and required from the document.
  static constexpr std::int32_t kStreamClassId = 2;

  DataSourceStreamCommon() = default;
  ~DataSourceStreamCommon() override = default;
  DataSourceStreamCommon(const DataSourceStreamCommon&) = delete;
  DataSourceStreamCommon& operator=(const DataSourceStreamCommon&) = delete;

  // DataSourceStreamRoot
  void SetVideoOffset(std::int64_t offset) override;
  std::int64_t GetVideoOffset() override;
  void SetFirstSampleTime(std::int64_t time) override;  // also the typed interface's
  std::int64_t GetFirstSampleTime() override;
  HRESULT GetProperties(IQZPropertySet** set) override;

  // qz_ds::DataSourceStreamBase (the identity slots come from Imp2)
  std::int64_t GetLastModified() const override;
  std::wstring GetValueUnit() const override;

  // qz_ds::DataSourceStream<T>
  int GetSamples(std::int64_t from, std::int64_t to, std::vector<Sample>& out) override;
  bool GetValueRange(T& low, T& high) override;
  bool GetTimeSpan(std::int64_t& first, std::int64_t& last) override;
  T GetDefaultValue() override;

  // DataSourceStreamExtended<T>
  void ReplaceSamples(std::map<std::int64_t, T>&& samples) override;
  void SetValueRange(const T& low, const T& high) override;
  void SetValueUnit(const wchar_t* unit) override;
  void SetDefaultValue(const T& value) override;
  void SetConstant(bool constant) override;
  bool IsConstant() override;

  std::size_t GetSampleCount() const;

 protected:
  using Lock = std::lock_guard<ReentrantLock>;

  // REQUIRES (all below): lock held.
  std::int64_t ToPresentation(std::int64_t key, std::int64_t videoOffset) const noexcept;
  bool GetValueRangeLocked(T& low, T& high) const;
  bool GetTimeSpanLocked(std::int64_t& first, std::int64_t& last) const;
  // The class identifier check of every load, logged when it fails.
  [[nodiscard]] static bool HasStreamClassId(const DataSourceStreamDecoder& decoder);
  // Reads the stream's own element: false (nothing changed) when it names
  // another stream, has another class or no sample count; else applies the
  // range, unit, video offset, first sample time, default and flow type that
  // convert, and gives the sample count.
  [[nodiscard]] bool LoadDefinition(const DataSourceStreamDecoder& decoder, std::int32_t& count);
  // Hands each "Value" whose time and text convert to add(time, value).
  template <class Add>
  void LoadSamples(const DataSourceStreamDecoder& decoder, std::int32_t count, Add add) const {
    std::int64_t time = 0;
    if constexpr (std::is_arithmetic_v<T> || std::is_same_v<T, qz_math::Vector2> ||
                  std::is_same_v<T, qz_math::Vector3> || std::is_same_v<T, qz_math::VectorN<6>>) {
      if (decoder.GetRecord()) {
        // Texts a streaming load kept in UTF-8 are read without widening.
        std::string_view text;
        for (std::int32_t i = 0; i < count; ++i) {
          T value{};
          if (decoder.GetSampleUtf8(i, text, time) && TextToValue(text, value)) add(time, std::move(value));
        }
        return;
      }
    }
    std::wstring text;
    for (std::int32_t i = 0; i < count; ++i) {
      T value{};
      if (decoder.GetSample(i, text, time) && TextToValue(text, value)) add(time, std::move(value));
    }
  }
  // Writes the element in the encoder's attribute order, with the samples
  // when withSamples; refuses (and logs) a stream holding a text that a
  // document cannot carry before writing anything.
  [[nodiscard]] bool SaveDefinition(DataSourceStreamEncoder& encoder, std::int32_t limitCount,
                                    std::int64_t freezeDelay, bool withSamples) const;
  // Logs that count samples could not be added for want of memory.
  void ReportNoMemory(std::size_t count) const;
  // Copies every shared field of other; REQUIRES: other's lock held, this
  // stream not shared yet.
  void CopyCommonFrom(const DataSourceStreamCommon& other);

  mutable ReentrantLock m_lock;
  SampleStore<T> m_samples;
  std::int64_t m_timeOrigin = 0;  // the external stream's time base
  std::atomic<std::int64_t> m_videoOffset{0};
  bool m_constant = false;
  bool m_rangeSet = false;
  T m_lowRange{};
  T m_highRange{};
  std::int64_t m_firstSampleTime = 0;
  std::wstring m_valueUnit;
  T m_defaultValue{};
  bool m_unavailable = false;  // never set by the streams; range and span queries honour it
  std::int64_t m_lastModified = 0;
  // Index answered by the last value lookup; playback asks near it again.
  std::size_t m_lookupHint = 0;
};

extern template class DataSourceStreamCommon<kInternalStreamKind, std::int32_t>;
extern template class DataSourceStreamCommon<kInternalStreamKind, double>;
extern template class DataSourceStreamCommon<kInternalStreamKind, std::wstring>;
extern template class DataSourceStreamCommon<kInternalStreamKind, qz_math::Vector2>;
extern template class DataSourceStreamCommon<kInternalStreamKind, qz_math::VectorN<6>>;
extern template class DataSourceStreamCommon<kExternalStreamKind, std::int32_t>;
extern template class DataSourceStreamCommon<kExternalStreamKind, double>;
extern template class DataSourceStreamCommon<kExternalStreamKind, std::wstring>;
extern template class DataSourceStreamCommon<kExternalStreamKind, qz_math::Vector2>;
extern template class DataSourceStreamCommon<kExternalStreamKind, qz_math::Vector3>;
extern template class DataSourceStreamCommon<kExternalStreamKind, qz_math::VectorN<6>>;
extern template class DataSourceStreamCommon<kExternalStreamKind, qz_ovlib::PersonSkeletonData>;

}  // namespace qz_dsc
