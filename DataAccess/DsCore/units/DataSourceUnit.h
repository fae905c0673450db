// The internal data source unit: a named set of recorded streams kept in an
// ordered map by name (ordinal code-unit order: "B" before "a" before "b"),
// saved with its samples, loaded, merged, cloned and edited through
// snapshots. Hosts reach it through IDataSourceUnitCtrl, IQZPropertySet and
// IDataSourceUnitLoadReport.
//
// Threads: free-threaded; see DataSourceUnitBase for the lock. Streams
// handed out stay the unit's streams: snapshots are applied in place.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "qz_dsc/IDataSourceUnitCtrl.h"
#include "units/DataSourceUnitBase.h"

namespace qz_dsc {

class DataSourceUnit final : public DataSourceUnitBase<DataSourceUnit> {
 public:
  static constexpr const wchar_t* kMissingStreamCheck = L"it != m_streamMap.end()";

  explicit DataSourceUnit(std::wstring id);

  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;

  std::shared_ptr<qz_ds::DataSource> QZ_STDMETHODCALLTYPE CreateOverlayDataSource() override;

  HRESULT QZ_STDMETHODCALLTYPE RemoveStream(const std::wstring& name) override;
  void QZ_STDMETHODCALLTYPE RemoveAllStreams() override;
  // Replaces id and streams; a stream element that does not load is skipped
  // and counted (GetSkippedStreamCount). False when the id is missing.
  [[nodiscard]] bool QZ_STDMETHODCALLTYPE LoadFromDecoder(const DataSourceUnitDecoder& decoder) override;
  [[nodiscard]] bool QZ_STDMETHODCALLTYPE LoadFromDecoderEx(const DataSourceUnitDecoder& decoder,
                                                            std::int64_t option) override;
  [[nodiscard]] std::int32_t QZ_STDMETHODCALLTYPE ApplyModifier(const DataSourceModifier& modifier,
                                                                std::int64_t option) override;
  // Clears every stream, lifts its stop time and starts recording at t.
  bool QZ_STDMETHODCALLTYPE ResetStreams(std::int64_t t) override;
  // video offset = videoFirstSampleTime - the stream's first sample time.
  void QZ_STDMETHODCALLTYPE AlignFirstSampleTimes(std::int64_t videoFirstSampleTime) override;

  // Adds stream under its own name unless that name is taken (then false).
  // For the library's recorders and tests; the host records through the
  // streams it gets from GetStream.
  [[nodiscard]] bool AddStream(StreamPtr stream);
  // The stream of that name, or an empty pointer.
  StreamPtr GetStream(const std::wstring& name);

  // LoadFromDecoder with the stream elements handed in one at a time (the
  // streaming file load): head supplies the id (its children are not
  // read), then each stream element of the data source in document order.
  [[nodiscard]] bool BeginStreamedLoad(const DataSourceUnitDecoder& head);
  void LoadStreamedElement(const DataSourceStreamDecoder& element);

 private:
  friend class DataSourceUnitBase<DataSourceUnit>;

  // Clone's copy of everything but the id; m_lock held.
  void CopyLocked(DataSourceUnit& copy);

  ~DataSourceUnit() override;

  template <class F>
  void ForEachStream(F&& f) {
    for (const auto& entry : m_streamMap) f(entry.second);
  }
  StreamPtr FindStream(const std::wstring& name);
  std::size_t StreamCountLocked() const { return m_streamMap.size(); }
  [[nodiscard]] bool SaveLocked(DataSourceUnitEncoder& encoder, const std::wstring& id);
  // A new internal stream read from one stream element; empty when the
  // element does not load.
  static StreamPtr LoadStream(const DataSourceStreamDecoder& decoder);
  // REQUIRES: m_lock held. Empties the unit and reads the id; false without one.
  bool BeginLoadLocked(const DataSourceUnitDecoder& decoder);
  // REQUIRES: m_lock held. Loads element and keeps it unless its name is taken.
  bool LoadAndKeep(const DataSourceStreamDecoder& element);

  std::map<std::wstring, StreamPtr> m_streamMap;
  StreamElementTally m_streamedTally;
};

// A new empty unit with that id and one reference in *out. E_POINTER for a
// null out, E_OUTOFMEMORY (null in *out) without memory.
HRESULT CreateDataSourceUnit(const std::wstring& id, IDataSourceUnitCtrl** out);
// A unit loaded from decoder, with one reference in *out. E_POINTER for a
// null out; E_FAIL with null in *out when the load fails.
HRESULT CreateDataSourceUnitFromDecoder(const DataSourceUnitDecoder& decoder, IDataSourceUnitCtrl** out);

}  // namespace qz_dsc
