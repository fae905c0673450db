// The external sample stream: samples an importer read from a data file,
// stored under the keys the file gives them, with no count limit and no
// recording control. Values between two samples are interpolated for
// numbers (int truncated toward zero, saturating) and component-wise for
// vectors; strings and skeletons hold the previous sample. The document
// carries only the stream's definition, never its samples.
// Built for T = int, double, std::wstring, Vector2, Vector3, VectorN<6> and
// PersonSkeletonData.
//
// Threads: every operation takes the stream's one recursive lock for its
// whole body, except GetBasicType, GetImplementationKind and GetName (the
// name is set only while the stream is initialised or loaded, before it is
// shared), IsReservedFlagSet (a constant) and Rebase, which changes the
// presentation offset without the lock; the offset is therefore atomic and
// read once per operation. No operation takes two streams' locks.
//
// Invariants, under the lock: one value per key; presentation time = key -
// time base + presentation offset, clamped to the 64-bit range.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qz_dsc/DataSourceStreamExtended.h"
#include "qz_dsc/DataSourceStreamExternal.h"
#include "qz_dsc/DataSourceStreamRoot.h"
#include "qz_dsc/StreamTypes.h"
#include "streams/ReentrantLock.h"
#include "streams/SampleStore.h"

namespace qz_dsc {

template <class T>
class DataSourceStreamExternalTempl final : public DataSourceStreamRoot,
                                            public DataSourceStreamImp2<kExternalStreamKind, T>,
                                            public DataSourceStreamExternal {
 public:
  using Sample = typename DataSourceStreamExtended<T>::Sample;

  // The class identifier written to and required from the document.
  static constexpr std::int32_t kStreamClassId = 2;

  DataSourceStreamExternalTempl() = default;
  ~DataSourceStreamExternalTempl() override = default;
  DataSourceStreamExternalTempl(const DataSourceStreamExternalTempl&) = delete;
  DataSourceStreamExternalTempl& operator=(const DataSourceStreamExternalTempl&) = delete;

  // DataSourceStreamRoot
  // Names and empties the stream; startNow is ignored (nothing is recorded).
  void Initialize(const std::wstring& name, bool startNow) override;
  bool IsReservedFlagSet() override { return false; }
  void Clear() override;
  // Reads the definition and any "Value" samples (no limit applies).
  bool LoadContent(const DataSourceStreamDecoder& decoder, std::int32_t flag) override;
  // Changes nothing and reports kModifierApplied.
  [[nodiscard]] std::int32_t ApplyModifier(const DataSourceStreamModifier& modifier,
                                           std::int64_t defaultTime) override;
  void SetTimeOrigin(std::int64_t) override {}                  // no recording control
  bool StartRecording(std::int64_t) override { return false; }  // no recording control
  void SetStopTime(std::int64_t) override {}                    // no stop time
  // Subtracts t from the presentation offset (clamped), without the lock.
  void Rebase(std::int64_t t) override;
  void TruncateAfter(std::int64_t) override {}  // the data file owns the samples
  // The presentation offset.
  void SetVideoOffset(std::int64_t offset) override;
  std::int64_t GetVideoOffset() override;
  void SetFirstSampleTime(std::int64_t time) override;  // also the typed interface's
  std::int64_t GetFirstSampleTime() override;
  [[nodiscard]] bool Load(const DataSourceStreamDecoder& decoder) override;
  // Writes the definition in the encoder's attribute order and no "Value".
  [[nodiscard]] bool Save(DataSourceStreamEncoder& encoder) override;
  // External streams have no settings of their own: both answer false.
  [[nodiscard]] bool LoadSettings(const DataSourceStreamDecoder&) override { return false; }
  [[nodiscard]] bool SaveSettings(DataSourceStreamEncoder&) override { return false; }
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

  // DataSourceStreamExtended<T>: adds always succeed.
  bool AddSamples(const std::vector<Sample>& samples) override;
  bool AddSample(std::int64_t time, const T& value) override;
  void ReplaceSamples(std::map<std::int64_t, T>&& samples) override;
  void SetValueRange(const T& low, const T& high) override;
  void SetValueUnit(const wchar_t* unit) override;
  void SetDefaultValue(const T& value) override;
  void SetConstant(bool constant) override;
  bool IsConstant() override;

  // DataSourceStreamExternal
  void SetTimeBase(std::int64_t timeBase) override;
  std::int64_t GetTimeBase() override;

  std::size_t GetSampleCount() const;

 private:
  using Lock = std::lock_guard<ReentrantLock>;

  // Presentation time of a sample key; REQUIRES: lock held.
  std::int64_t ToPresentation(std::int64_t key, std::int64_t offset) const noexcept;
  // REQUIRES: lock held.
  bool GetValueRangeLocked(T& low, T& high) const;
  bool GetTimeSpanLocked(std::int64_t& first, std::int64_t& last) const;

  mutable ReentrantLock m_lock;
  SampleStore<T> m_samples;
  std::int64_t m_timeBase = 0;
  bool m_constant = false;
  std::atomic<std::int64_t> m_presentationOffset{0};
  bool m_rangeSet = false;
  T m_lowRange{};
  T m_highRange{};
  std::int64_t m_firstSampleTime = 0;
  std::wstring m_valueUnit;
  T m_defaultValue{};
  bool m_unavailable = false;  // never set here; the range and span queries honour it
  std::int64_t m_lastModified = 0;
};

extern template class DataSourceStreamExternalTempl<std::int32_t>;
extern template class DataSourceStreamExternalTempl<double>;
extern template class DataSourceStreamExternalTempl<std::wstring>;
extern template class DataSourceStreamExternalTempl<qz_math::Vector2>;
extern template class DataSourceStreamExternalTempl<qz_math::Vector3>;
extern template class DataSourceStreamExternalTempl<qz_math::VectorN<6>>;
extern template class DataSourceStreamExternalTempl<qz_ovlib::PersonSkeletonData>;

}  // namespace qz_dsc
