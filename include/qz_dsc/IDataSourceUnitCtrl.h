// The control side of a data source: streams removed or cleared, timing
// operations broadcast to every stream, save and load through the list
// document's encoders and decoders, snapshots applied, deep copies.
//
// Threads: as IDataSourceUnit. The lock order is unit, then stream.
#pragma once

#include <cstdint>

#include "qz_dsc/IDataSourceUnit.h"

namespace qz_dsc {

class BasicBinarySerializer;
class DataSourceModifier;
class DataSourceUnitDecoder;
class DataSourceUnitEncoder;

struct IDataSourceUnitCtrl : public IDataSourceUnit {
  // Results of ApplyModifier.
  static constexpr std::int32_t kModifierApplied = 0;
  static constexpr std::int32_t kModifierOtherUnit = 1;  // the ids differ; nothing changed
  static constexpr std::int32_t kModifierFailed = 2;     // nothing changed

  // S_OK also when no stream has that name.
  virtual HRESULT QZ_STDMETHODCALLTYPE RemoveStream(const std::wstring& name) = 0;
  // Every stream loses its samples and stays in the unit.
  virtual void QZ_STDMETHODCALLTYPE ClearStreamData() = 0;
  // Removes every stream and empties the id.
  virtual void QZ_STDMETHODCALLTYPE RemoveAllStreams() = 0;
  // Writes the data source element and its streams under the unit's id.
  [[nodiscard]] virtual bool QZ_STDMETHODCALLTYPE SaveToEncoder(DataSourceUnitEncoder& encoder) = 0;
  // The same, under the id held in the description.
  [[nodiscard]] virtual bool QZ_STDMETHODCALLTYPE SaveDescriptionToEncoder(DataSourceUnitEncoder& encoder) = 0;
  // Replaces id and streams with the decoder's; false when the id is missing.
  [[nodiscard]] virtual bool QZ_STDMETHODCALLTYPE LoadFromDecoder(const DataSourceUnitDecoder& decoder) = 0;
  // Merges the decoder's streams by name (an equal time replaces a sample);
  // streams the document does not mention are kept.
  [[nodiscard]] virtual bool QZ_STDMETHODCALLTYPE LoadFromDecoderEx(const DataSourceUnitDecoder& decoder,
                                                                    std::int64_t option) = 0;
  // Rebuilds the named streams from a snapshot of this unit; option is the
  // time given to samples stamped 0. kModifierApplied, kModifierOtherUnit or
  // kModifierFailed.
  [[nodiscard]] virtual std::int32_t QZ_STDMETHODCALLTYPE ApplyModifier(const DataSourceModifier& modifier,
                                                                        std::int64_t option) = 0;
  // A deep copy with one reference in *out; a unit already in *out is
  // released first. E_POINTER for a null out.
  virtual HRESULT QZ_STDMETHODCALLTYPE Clone(IDataSourceUnit** out) = 0;
  // Starts a new recording at t on every stream; the AND of the streams'
  // answers (false for external streams).
  virtual bool QZ_STDMETHODCALLTYPE ResetStreams(std::int64_t t) = 0;
  // Recording stops at value: every stream's stop time.
  virtual void QZ_STDMETHODCALLTYPE SetStreamsOption(std::int64_t value) = 0;
  virtual void QZ_STDMETHODCALLTYPE SetStartTime(std::int64_t t) = 0;
  // Moves presentation time t to every stream's time origin.
  virtual void QZ_STDMETHODCALLTYPE RebaseStreams(std::int64_t t) = 0;
  // Cuts every stream at presentation time t.
  virtual void QZ_STDMETHODCALLTYPE TrimStreams(std::int64_t t) = 0;
  // False.
  virtual bool QZ_STDMETHODCALLTYPE ReservedQuery() = 0;
  // Writes 1 and the stream count as 32-bit integers; answers false.
  virtual bool QZ_STDMETHODCALLTYPE SerializeHeader(BasicBinarySerializer& serializer) = 0;
  // Sets each stream's video offset from the video's first sample time.
  virtual void QZ_STDMETHODCALLTYPE AlignFirstSampleTimes(std::int64_t videoFirstSampleTime) = 0;
  virtual void QZ_STDMETHODCALLTYPE ResetVideoOffsets() = 0;

 protected:
  ~IDataSourceUnitCtrl() = default;
};

// What the last load of a unit had to leave out: stream elements that did
// not load (unknown class or type, no name, a failed read). Reached by
// QueryInterface on either kind of unit, so that a tool can refuse to save
// over a document that did not load whole.
struct IDataSourceUnitLoadReport : public IUnknown {
  virtual std::int32_t QZ_STDMETHODCALLTYPE GetSkippedStreamCount() = 0;

 protected:
  ~IDataSourceUnitLoadReport() = default;
};

}  // namespace qz_dsc

QZ_DEFINE_UUIDOF(qz_dsc::IDataSourceUnitCtrl, 0x3f7a2c11, 0x8d41, 0x4e0b, 0xa6, 0x2e, 0x51, 0x9b, 0x7c, 0x03, 0xd4, 0x12)
QZ_DEFINE_UUIDOF(qz_dsc::IDataSourceUnitLoadReport, 0x3f7a2c15, 0x8d41, 0x4e0b, 0xa6, 0x2e, 0x51, 0x9b, 0x7c, 0x03,
                 0xd4, 0x16)
