// The external data source unit: streams whose samples an importer reads
// from a data file, kept in a vector in insertion order (by-name lookups
// scan it). The document carries only the stream definitions, the data file
// name, the converter name and the importer's settings; loading runs the
// importer registered for the converter name. Hosts reach it through
// IDataSourceUnitCtrl, IQZPropertySet, IDataSourceUnitExternal and
// IDataSourceUnitLoadReport.
//
// Threads: see DataSourceUnitBase for the unit's lock. The importer runs on
// the loading thread with that lock held and calls the unit back on the same
// thread (the lock is re-entrant). The converter name has a small lock of
// its own and the load outcome is atomic, so GetConverterName,
// SetConverterName, IsCsvConverter and HasLoadFailed answer during an import.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qz_dsc/IDataSourceUnitExternal.h"
#include "units/DataSourceUnitBase.h"

namespace qz_dsc {

class DataSourceUnitExternal final : public DataSourceUnitBase<DataSourceUnitExternal>,
                                     public IDataSourceUnitExternal {
  using Base = DataSourceUnitBase<DataSourceUnitExternal>;

 public:
  static constexpr const wchar_t* kMissingStreamCheck = L"it != m_streams.end()";

  explicit DataSourceUnitExternal(std::wstring id);

  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG QZ_STDMETHODCALLTYPE AddRef() override { return Base::AddRef(); }
  ULONG QZ_STDMETHODCALLTYPE Release() override { return Base::Release(); }

  std::shared_ptr<qz_ds::DataSource> QZ_STDMETHODCALLTYPE CreateOverlayDataSource() override;

  HRESULT QZ_STDMETHODCALLTYPE RemoveStream(const std::wstring& name) override;
  void QZ_STDMETHODCALLTYPE RemoveAllStreams() override;
  // Reloads the id and the stream definitions only: no external attributes,
  // no import.
  [[nodiscard]] bool QZ_STDMETHODCALLTYPE LoadFromDecoder(const DataSourceUnitDecoder& decoder) override;
  // Merges the definitions by name: a held stream rereads its element, a new
  // name is appended; streams the document does not mention are kept.
  [[nodiscard]] bool QZ_STDMETHODCALLTYPE LoadFromDecoderEx(const DataSourceUnitDecoder& decoder,
                                                            std::int64_t option) override;
  // Changes nothing and answers kModifierApplied.
  [[nodiscard]] std::int32_t QZ_STDMETHODCALLTYPE ApplyModifier(const DataSourceModifier& modifier,
                                                                std::int64_t option) override;
  // Starts recording at t on every stream (false for external streams); the
  // samples stay, nothing but the data file could bring them back.
  bool QZ_STDMETHODCALLTYPE ResetStreams(std::int64_t t) override;
  // video offset = the stream's first sample time - videoFirstSampleTime.
  void QZ_STDMETHODCALLTYPE AlignFirstSampleTimes(std::int64_t videoFirstSampleTime) override;

  // IDataSourceUnitExternal
  HRESULT QZ_STDMETHODCALLTYPE AddStream(std::shared_ptr<DataSourceStreamRoot> stream) override;
  std::shared_ptr<DataSourceStreamRoot> QZ_STDMETHODCALLTYPE GetStream(const wchar_t* name) override;
  std::wstring QZ_STDMETHODCALLTYPE GetDataFilename() override;
  void QZ_STDMETHODCALLTYPE SetDataFilename(const std::wstring& filename) override;
  std::wstring QZ_STDMETHODCALLTYPE GetConverterName() override;
  void QZ_STDMETHODCALLTYPE SetConverterName(const std::wstring& name) override;
  std::wstring QZ_STDMETHODCALLTYPE GetPersistencyData() override;
  void QZ_STDMETHODCALLTYPE SetPersistencyData(const std::wstring& data) override;
  std::wstring QZ_STDMETHODCALLTYPE GetPersistencyDataJSON() override;
  void QZ_STDMETHODCALLTYPE SetPersistencyDataJSON(const std::wstring& data) override;
  bool QZ_STDMETHODCALLTYPE HasLoadFailed() override { return m_loadFailed.load(); }
  bool QZ_STDMETHODCALLTYPE IsCsvConverter() override;
  std::int32_t QZ_STDMETHODCALLTYPE ReservedExternalOp() override { return 0; }

  // Creation from a document: definitions, external attributes, then the
  // import. False when the id or the external attributes are missing or the
  // element is not external; a failed import is logged, remembered in
  // HasLoadFailed and still answers true. Holds the unit's lock throughout.
  [[nodiscard]] bool Load(const DataSourceUnitDecoder& decoder);

 private:
  friend class DataSourceUnitBase<DataSourceUnitExternal>;

  // Clone's copy of everything but the id; m_lock held.
  void CopyLocked(DataSourceUnitExternal& copy);

  ~DataSourceUnitExternal() override;

  template <class F>
  void ForEachStream(F&& f) {
    for (const auto& stream : m_streams) f(stream);
  }
  StreamPtr FindStream(const std::wstring& name);
  std::vector<StreamPtr>::iterator FindIt(const std::wstring& name);
  std::size_t StreamCountLocked() const { return m_streams.size(); }
  [[nodiscard]] bool SaveLocked(DataSourceUnitEncoder& encoder, const std::wstring& id);
  // Steps shared by Load and LoadFromDecoder, REQUIRES: lock held. The
  // first clears the streams and the id and reads the id (and, when asked,
  // requires an external element); the second appends the streams.
  [[nodiscard]] bool ResetAndReadId(const DataSourceUnitDecoder& decoder, bool requireExternal);
  void LoadStreamDefinitions(const DataSourceUnitDecoder& decoder);
  // A new external stream read from one stream element; empty when the
  // element does not load.
  static StreamPtr LoadStream(const DataSourceStreamDecoder& decoder);
  // Runs the importer of the converter name; records and logs a failure.
  // REQUIRES: lock held.
  void Import();

  std::wstring m_dataFilename;
  std::wstring m_converterName;  // guarded by m_converterLock, not m_lock
  std::wstring m_persistency;
  bool m_persistencyIsJSON = false;
  std::vector<StreamPtr> m_streams;
  std::atomic<bool> m_loadFailed{false};
  mutable std::mutex m_converterLock;
};

// A unit loaded from decoder, with one reference in *out. E_POINTER for a
// null out; E_FAIL with null in *out when the load fails.
HRESULT CreateExternalDataSourceUnitFromDecoder(const DataSourceUnitDecoder& decoder, IDataSourceUnitCtrl** out);

}  // namespace qz_dsc
