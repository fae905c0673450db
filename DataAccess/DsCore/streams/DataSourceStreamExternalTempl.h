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
// presentation offset (the video offset of DataSourceStreamCommon) without
// the lock. No operation takes two streams' locks.
//
// Invariants, under the lock: one value per key; presentation time = key -
// time base + presentation offset, clamped to the 64-bit range.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qz_dsc/DataSourceStreamExternal.h"
#include "streams/DataSourceStreamCommon.h"

namespace qz_dsc {

template <class T>
class DataSourceStreamExternalTempl final : public DataSourceStreamCommon<kExternalStreamKind, T>,
                                            public DataSourceStreamExternal {
  using Base = DataSourceStreamCommon<kExternalStreamKind, T>;

 public:
  using Sample = typename Base::Sample;

  DataSourceStreamExternalTempl() = default;
  ~DataSourceStreamExternalTempl() override = default;

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
  [[nodiscard]] bool Load(const DataSourceStreamDecoder& decoder) override;
  // Writes the definition in the encoder's attribute order and no "Value".
  [[nodiscard]] bool Save(DataSourceStreamEncoder& encoder) override;
  // External streams have no settings of their own: both answer false.
  [[nodiscard]] bool LoadSettings(const DataSourceStreamDecoder&) override { return false; }
  [[nodiscard]] bool SaveSettings(DataSourceStreamEncoder&) override { return false; }
  std::shared_ptr<DataSourceStreamRoot> Clone() override;

  // qz_ds::DataSourceStream<T>
  int GetValueAt(std::int64_t t, std::int64_t reserved, T& out) override;

  // DataSourceStreamExtended<T>: adds succeed unless memory runs out.
  bool AddSamples(const std::vector<Sample>& samples) override;
  bool AddSample(std::int64_t time, const T& value) override;

  // DataSourceStreamExternal
  void SetTimeBase(std::int64_t timeBase) override;
  std::int64_t GetTimeBase() override;

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
};

extern template class DataSourceStreamExternalTempl<std::int32_t>;
extern template class DataSourceStreamExternalTempl<double>;
extern template class DataSourceStreamExternalTempl<std::wstring>;
extern template class DataSourceStreamExternalTempl<qz_math::Vector2>;
extern template class DataSourceStreamExternalTempl<qz_math::Vector3>;
extern template class DataSourceStreamExternalTempl<qz_math::VectorN<6>>;
extern template class DataSourceStreamExternalTempl<qz_ovlib::PersonSkeletonData>;

}  // namespace qz_dsc
