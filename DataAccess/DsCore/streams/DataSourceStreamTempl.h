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
// streams' locks, so streams can never deadlock with one another. The
// attributes and readers shared with the external stream live in
// DataSourceStreamCommon.
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
#include <string>
#include <vector>

#include "streams/DataSourceStreamCommon.h"

namespace qz_dsc {

template <class T>
class DataSourceStreamTempl final : public DataSourceStreamCommon<kInternalStreamKind, T> {
  using Base = DataSourceStreamCommon<kInternalStreamKind, T>;
  struct CloneTag {};

 public:
  using Sample = typename Base::Sample;

  // The limit a new bounded stream keeps.
  static constexpr std::uint32_t kDefaultLimitCount = 100;

  DataSourceStreamTempl() = default;
  ~DataSourceStreamTempl() override = default;
  // A copy made by Clone under the source's lock (only Clone can name the tag).
  DataSourceStreamTempl(CloneTag, const DataSourceStreamTempl& other);

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
  [[nodiscard]] bool Load(const DataSourceStreamDecoder& decoder) override;
  [[nodiscard]] bool Save(DataSourceStreamEncoder& encoder) override;
  [[nodiscard]] bool LoadSettings(const DataSourceStreamDecoder& decoder) override;
  [[nodiscard]] bool SaveSettings(DataSourceStreamEncoder& encoder) override;
  std::shared_ptr<DataSourceStreamRoot> Clone() override;

  // qz_ds::DataSourceStream<T>
  int GetValueAt(std::int64_t t, std::int64_t reserved, T& out) override;

  // DataSourceStreamExtended<T>
  bool AddSamples(const std::vector<Sample>& samples) override;
  bool AddSample(std::int64_t time, const T& value) override;

  // Settings that only the document, a snapshot or a unit sets; tests and
  // the unit read them back here.
  std::uint32_t GetLimitCount() const;
  std::int64_t GetFreezeDelay() const;
  std::int64_t GetTimeOrigin() const;
  std::int64_t GetStopTime() const;
  std::uint32_t GetInterpolation() const;
  bool IsUnbounded() const;

 private:
  using typename Base::Lock;
  using Base::m_constant;
  using Base::m_defaultValue;
  using Base::m_lastModified;
  using Base::m_lock;
  using Base::m_lookupHint;
  using Base::m_samples;
  using Base::m_timeOrigin;
  using Base::m_unavailable;
  using Base::m_videoOffset;

  // The count limit in force (0 = none); REQUIRES (all below): lock held.
  std::uint32_t ActiveLimit() const noexcept;
  // The add rule. False when the sample is refused.
  template <class V>
  bool AddLocked(std::int64_t t, V&& value);
  // Removes the samples before t (with the constant stream's carry-over).
  void TrimBefore(std::int64_t t);
  void ClearLocked();

  std::uint32_t m_limitCount = kDefaultLimitCount;
  std::int64_t m_stopTime = std::numeric_limits<std::int64_t>::max();
  std::int64_t m_freezeDelay = 0;
  std::uint32_t m_interpolation = 0;
  bool m_unbounded = false;
  std::uint32_t m_recordingLimit = 0;
};

extern template class DataSourceStreamTempl<std::int32_t>;
extern template class DataSourceStreamTempl<double>;
extern template class DataSourceStreamTempl<std::wstring>;
extern template class DataSourceStreamTempl<qz_math::Vector2>;
extern template class DataSourceStreamTempl<qz_math::VectorN<6>>;

}  // namespace qz_dsc
