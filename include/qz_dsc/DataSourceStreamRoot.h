// The untyped interface of a sample stream: life cycle, recording control,
// time offsets, persistence, cloning and properties. Units hold their streams
// as std::shared_ptr<DataSourceStreamRoot>; the typed samples are reached by
// casting to DataSourceStreamExtended<T> (dynamic_cast or
// std::dynamic_pointer_cast, also across the shared library's boundary).
//
// Times: AddSample and the other adders take acquisition times (the clock
// that stamped the samples); every getter takes and returns presentation
// times (the video's time line). All times are 100-ns ticks.
//
// Threads: a stream is safe for concurrent use from several threads. Each
// stream has one re-entrant lock held for the whole of every operation, except
// where an implementation says otherwise; no operation takes two streams'
// locks.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "qz_com/qz_com.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

class DataSourceStreamDecoder;
class DataSourceStreamEncoder;
class DataSourceStreamModifier;
struct IQZPropertySet;

class QZ_DSC_API DataSourceStreamRoot {
 public:
  // Results of ApplyModifier.
  static constexpr std::int32_t kModifierApplied = 0;
  static constexpr std::int32_t kModifierOtherStream = 1;   // the names differ
  static constexpr std::int32_t kModifierWrongType = 2;     // no buffer of this value type

  virtual ~DataSourceStreamRoot();

  // Names the stream and empties it; with startNow, starts recording at once.
  virtual void Initialize(const std::wstring& name, bool startNow) = 0;
  // False in every stream class of this library.
  virtual bool IsReservedFlagSet() = 0;
  // Removes every sample; name, limits, ranges, unit and default stay.
  virtual void Clear() = 0;
  // Reads one "DataSourceStream" element into this stream; samples merge
  // (an equal time replaces). False when the name differs from the stream's
  // or a required part is missing.
  virtual bool LoadContent(const DataSourceStreamDecoder& decoder, std::int32_t flag) = 0;
  // Applies an edited snapshot; kModifierApplied, kModifierOtherStream or
  // kModifierWrongType (the last two change nothing). A modifier sample time
  // of 0 is replaced by defaultTime.
  [[nodiscard]] virtual std::int32_t ApplyModifier(const DataSourceStreamModifier& modifier,
                                                   std::int64_t defaultTime) = 0;
  virtual void SetTimeOrigin(std::int64_t origin) = 0;
  // Trims the samples before t, makes the stream unbounded and sets the time
  // origin to t. True for an internal stream, false for an external one.
  virtual bool StartRecording(std::int64_t t) = 0;
  // Samples at or after stopTime + freeze delay are refused from then on.
  virtual void SetStopTime(std::int64_t stopTime) = 0;
  // Moves presentation time t to the time origin.
  virtual void Rebase(std::int64_t t) = 0;
  // Removes every sample at or after presentation time t.
  virtual void TruncateAfter(std::int64_t t) = 0;
  virtual void SetVideoOffset(std::int64_t offset) = 0;
  virtual std::int64_t GetVideoOffset() = 0;
  virtual void SetFirstSampleTime(std::int64_t time) = 0;
  virtual std::int64_t GetFirstSampleTime() = 0;
  // Replaces the stream by the one the decoder holds; false if a read fails.
  [[nodiscard]] virtual bool Load(const DataSourceStreamDecoder& decoder) = 0;
  // Writes the whole stream under the encoder's data source element. False
  // when an element or attribute could not be written, or when a text the
  // document cannot carry would have to be written (logged with the name).
  [[nodiscard]] virtual bool Save(DataSourceStreamEncoder& encoder) = 0;
  // Reads name, class id, limit count and freeze delay; the stream becomes
  // empty and bounded. False (nothing changed) when a read fails.
  [[nodiscard]] virtual bool LoadSettings(const DataSourceStreamDecoder& decoder) = 0;
  // Writes the element head with the limit count and freeze delay.
  [[nodiscard]] virtual bool SaveSettings(DataSourceStreamEncoder& encoder) = 0;
  // A deep copy of every field and sample, made under this stream's lock.
  virtual std::shared_ptr<DataSourceStreamRoot> Clone() = 0;
  // A fresh property set describing the stream, with one reference, in *set.
  // E_POINTER for a null set.
  virtual HRESULT GetProperties(IQZPropertySet** set) = 0;
};

}  // namespace qz_dsc
