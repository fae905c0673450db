// The internal sample stream: the samples of one quantity, recorded live,
// loaded from the data source list document or applied from a snapshot, and
// the stream's attributes (limits, range, unit, default, offsets, flow type).
// Built for T = int, double, std::wstring, Vector2 and VectorN<6>.
//
// Threads: every operation takes the stream's one recursive lock for its
// whole body, except GetBasicType, GetImplementationKind and GetName (the
// name is set only by Initialize, Load and LoadSettings, before the stream
// is shared) and IsReservedFlagSet (a constant). The lock is re-entrant
// because Initialize, Load and LoadSettings call other operations of the
// same stream. Clone holds only the source's lock; no operation takes two
// streams' locks, so streams can never deadlock with one another.
//
// Invariants, all under the lock: samples are keyed by acquisition time, one
// value per key; presentation time = key - timeOrigin + videoOffset, both
// directions clamped to the 64-bit range; unbounded streams apply
// recordingLimit (0 = no limit), bounded ones limitCount.
#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qz_dsc/DataSourceStreamExtended.h"
#include "qz_dsc/DataSourceStreamRoot.h"
#include "qz_dsc/StreamTypes.h"
#include "streams/ReentrantLock.h"
#include "streams/SampleStore.h"

namespace qz_dsc {

template <class T>
class DataSourceStreamTempl final : public DataSourceStreamRoot,
                                    public DataSourceStreamImp2<kInternalStreamKind, T> {
  struct CloneTag {};

 public:
  using Sample = typename DataSourceStreamExtended<T>::Sample;

  // The class identifier written to and required from the document.
  static constexpr std::int32_t kStreamClassId = 2;
  // The limit a new bounded stream keeps.
  static constexpr std::uint32_t kDefaultLimitCount = 100;

  DataSourceStreamTempl() = default;
  ~DataSourceStreamTempl() override = default;
  // A copy made by Clone under the source's lock (only Clone can name the tag).
  DataSourceStreamTempl(CloneTag, const DataSourceStreamTempl& other);
  DataSourceStreamTempl(const DataSourceStreamTempl&) = delete;
  DataSourceStreamTempl& operator=(const DataSourceStreamTempl&) = delete;

  // DataSourceStreamRoot
  void Initialize(const std::wstring& name, bool startNow) override;
  bool IsReservedFlagSet() override { return false; }
  void Clear() override;
  bool LoadContent(const DataSourceStreamDecoder& decoder, std::int32_t flag) override;
  [[nodiscard]] std::int32_t ApplyModifier(const DataSourceStreamModifier& modifier,
                                           std::int64_t defaultTime) override;
  void SetTimeOrigin(std::int64_t origin) override;
  bool StartRecording(std::int64_t t) override;
  void SetStopTime(std::int64_t stopTime) override;
  void Rebase(std::int64_t t) override;
  void TruncateAfter(std::int64_t t) override;
  void SetVideoOffset(std::int64_t offset) override;
  std::int64_t GetVideoOffset() override;
  void SetFirstSampleTime(std::int64_t time) override;  // also the typed interface's
  std::int64_t GetFirstSampleTime() override;
  [[nodiscard]] bool Load(const DataSourceStreamDecoder& decoder) override;
  [[nodiscard]] bool Save(DataSourceStreamEncoder& encoder) override;
  [[nodiscard]] bool LoadSettings(const DataSourceStreamDecoder& decoder) override;
  [[nodiscard]] bool SaveSettings(DataSourceStreamEncoder& encoder) override;
  std::shared_ptr<DataSourceStreamRoot> Clone() override;
  HRESULT GetProperties(IQZPropertySet** set) override;

  // qz_ds::DataSourceStreamBase (the identity slots come from Imp2)
  std::int64_t GetLastModified() const override;
  std::wstring GetValueUnit() const override;

  // qz_ds::DataSourceStream<T>
  int GetSamples(std::int64_t from, std::int64_t to, std::vector<Sample>& out) override;
  int GetValueAt(std::int64_t t, std::int64_t reserved, T& out) override;
  bool GetValueRange(T& low, T& high) override;
  bool GetTimeSpan(std::int64_t& first, std::int64_t& last) override;
  T GetDefaultValue() override;

  // DataSourceStreamExtended<T>
  bool AddSamples(const std::vector<Sample>& samples) override;
  bool AddSample(std::int64_t time, const T& value) override;
  void ReplaceSamples(std::map<std::int64_t, T>&& samples) override;
  void SetValueRange(const T& low, const T& high) override;
  void SetValueUnit(const wchar_t* unit) override;
  void SetDefaultValue(const T& value) override;
  void SetConstant(bool constant) override;
  bool IsConstant() override;

  // Settings that only the document, a snapshot or a unit sets; tests and
  // the unit read them back here.
  std::uint32_t GetLimitCount() const;
  std::int64_t GetFreezeDelay() const;
  std::int64_t GetTimeOrigin() const;
  std::int64_t GetStopTime() const;
  std::uint32_t GetInterpolation() const;
  bool IsUnbounded() const;
  std::size_t GetSampleCount() const;

 private:
  using Lock = std::lock_guard<ReentrantLock>;

  // The count limit in force (0 = none); REQUIRES: lock held.
  std::uint32_t ActiveLimit() const noexcept;
  // Logs that count samples could not be added for want of memory.
  void ReportNoMemory(std::size_t count) const;
  // The add rule; REQUIRES: lock held. False when the sample is refused.
  template <class V>
  bool AddLocked(std::int64_t t, V&& value);
  // Removes the samples before t (with the constant stream's carry-over);
  // REQUIRES: lock held.
  void TrimBefore(std::int64_t t);
  void ClearLocked();
  std::int64_t ToPresentation(std::int64_t key) const noexcept;
  bool GetValueRangeLocked(T& low, T& high) const;
  bool GetTimeSpanLocked(std::int64_t& first, std::int64_t& last) const;
  // Names the first text of the stream that a document cannot carry, or
  // returns nullptr; REQUIRES: lock held.
  const wchar_t* FindUncarriableText(const std::wstring& defaultText, const std::wstring& lowText,
                                     const std::wstring& highText) const;

  mutable ReentrantLock m_lock;
  SampleStore<T> m_samples;
  std::uint32_t m_limitCount = kDefaultLimitCount;
  std::int64_t m_timeOrigin = 0;
  std::int64_t m_stopTime = std::numeric_limits<std::int64_t>::max();
  std::int64_t m_freezeDelay = 0;
  std::uint32_t m_interpolation = 0;
  bool m_unbounded = false;
  std::uint32_t m_recordingLimit = 0;
  bool m_constant = false;
  bool m_rangeSet = false;
  T m_lowRange{};
  T m_highRange{};
  std::int64_t m_videoOffset = 0;
  std::int64_t m_firstSampleTime = 0;
  std::wstring m_valueUnit;
  T m_defaultValue{};
  bool m_unavailable = false;
  std::int64_t m_lastModified = 0;
  // Index answered by the last GetValueAt; playback asks near it again.
  std::size_t m_lookupHint = 0;
};

extern template class DataSourceStreamTempl<std::int32_t>;
extern template class DataSourceStreamTempl<double>;
extern template class DataSourceStreamTempl<std::wstring>;
extern template class DataSourceStreamTempl<qz_math::Vector2>;
extern template class DataSourceStreamTempl<qz_math::VectorN<6>>;

}  // namespace qz_dsc
