// The data source manager: the ordered list of units a host keeps, found by
// id or index, added or replaced by id, broadcast timing operations, deep
// copies, snapshots routed by id, and the list document's save and load.
//
// Threads: free-threaded. One re-entrant lock guards the list; operations
// that change or walk it for the units hold it throughout, so the lock order
// is manager, then unit, then stream. The broadcasts documented as taking no
// lock (RebaseAll, TrimAll, AlignFirstSampleTimes, ResetVideoOffsets,
// GetDataSourceVideoOffset, ResetAllStreams, SetStartTime) hold it only to
// copy the list, and call the units without it; the start time is atomic.
//
// Invariants: every entry of the list holds one reference; an empty id is
// never found, so units that answer "" (made but not yet described) are
// never replaced by id.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "module/LiveObjects.h"
#include "qz_com/ComPtr.h"
#include "qz_com/ComServer.h"
#include "qz_dsc/IDSPersistXML.h"
#include "qz_dsc/IDataSourceUnitCtrl.h"
#include "qz_dsc/IDataSourceUnitMgrCtrl.h"
#include "qz_dsc/IDataSourceUnitMgrPrivate.h"

namespace qz_dsc {

class DataSourceUnitDecoder;

class DataSourceUnitMgr final : public IDataSourceUnitMgrPrivate,
                                public IDataSourceUnitMgrCtrl,
                                public IDSPersistXML,
                                public ISupportErrorInfo,
                                private live_objects::Counted {
 public:
  // The one interface whose errors are reported through the error object.
  static constexpr IID kErrorInfoInterface = {
      0x860c359e, 0x4f76, 0x473d, {0x8f, 0xa5, 0x0e, 0x9a, 0xd4, 0x1a, 0x26, 0xab}};

  DataSourceUnitMgr() = default;
  DataSourceUnitMgr(const DataSourceUnitMgr&) = delete;
  DataSourceUnitMgr& operator=(const DataSourceUnitMgr&) = delete;

  // IUnknown
  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG QZ_STDMETHODCALLTYPE AddRef() override;
  ULONG QZ_STDMETHODCALLTYPE Release() override;

  // IDataSourceUnitMgr
  std::int32_t QZ_STDMETHODCALLTYPE GetDataSourceCount() override;
  HRESULT QZ_STDMETHODCALLTYPE GetDataSourceById(const std::wstring& id, REFIID riid, void** ppv) override;
  HRESULT QZ_STDMETHODCALLTYPE GetDataSourceByIndex(std::int32_t index, REFIID riid, void** ppv) override;

  // IDataSourceUnitMgrCtrl
  bool QZ_STDMETHODCALLTYPE IsEmpty() override;
  std::shared_ptr<qz_ovlib::IDataSourceManager> QZ_STDMETHODCALLTYPE CreateOverlayManager() override;
  std::vector<qz_ds::DataSourceInfo> QZ_STDMETHODCALLTYPE GetDataSourceInfos() override;
  HRESULT QZ_STDMETHODCALLTYPE Clone(IDataSourceUnitMgrCtrl** outval) override;
  void QZ_STDMETHODCALLTYPE RebaseAll(std::int64_t t) override;
  void QZ_STDMETHODCALLTYPE TrimAll(std::int64_t t) override;
  HRESULT QZ_STDMETHODCALLTYPE AddDataSource(IUnknown* newDsExt) override;
  HRESULT QZ_STDMETHODCALLTYPE RemoveDataSource(const std::wstring& id) override;
  HRESULT QZ_STDMETHODCALLTYPE AlignFirstSampleTimes(std::int64_t videoFirstSampleTime) override;
  HRESULT QZ_STDMETHODCALLTYPE ResetVideoOffsets() override;
  std::int64_t QZ_STDMETHODCALLTYPE GetDataSourceVideoOffset(const std::wstring& id) override;

  // IDSPersistXML
  bool QZ_STDMETHODCALLTYPE LoadXML(IXMLDOMNode* node, const std::wstring& basePath) override;
  bool QZ_STDMETHODCALLTYPE SaveXML(IXMLDOMNode* node, const std::wstring& basePath) override;

  // IDataSourceUnitMgrPrivate
  void QZ_STDMETHODCALLTYPE ReservedOperation() override;
  HRESULT QZ_STDMETHODCALLTYPE UnsupportedOperation1() override;
  HRESULT QZ_STDMETHODCALLTYPE UnsupportedOperation2() override;
  void QZ_STDMETHODCALLTYPE RemoveAllDataSources() override;
  void QZ_STDMETHODCALLTYPE ClearAllStreamData() override;
  bool QZ_STDMETHODCALLTYPE ResetAllStreams(std::int64_t t) override;
  void QZ_STDMETHODCALLTYPE SetAllStreamsOption(std::int64_t value) override;
  void QZ_STDMETHODCALLTYPE SetStartTime(std::int64_t t) override;
  std::int64_t QZ_STDMETHODCALLTYPE GetStartTime() override;
  bool QZ_STDMETHODCALLTYPE MergeXML(IXMLDOMNode* node, std::int64_t option, const std::wstring& query) override;
  bool QZ_STDMETHODCALLTYPE ApplyModifier(const DataSourceModifier& modifier, std::int64_t option) override;

  // ISupportErrorInfo
  HRESULT QZ_STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override;

  // What SaveXMLChecked did.
  struct SaveOutcome {
    bool written = false;     // what SaveXML answers
    bool unitFailed = false;  // a unit's save failed (a value the document cannot carry)
    std::wstring failedId;    // the first such unit's id
  };
  // SaveXML that also looks at what every unit answers. The document file
  // save uses it so that a save that lost a unit never replaces a good file.
  [[nodiscard]] SaveOutcome SaveXMLChecked(IXMLDOMNode* node, const std::wstring& basePath);

 private:
  using UnitPtr = qz_com::ComPtr<IDataSourceUnitCtrl>;

  ~DataSourceUnitMgr() = default;

  // REQUIRES: m_lock held. The first unit whose id equals id; end() for an
  // empty id or none.
  std::vector<UnitPtr>::iterator FindById(const std::wstring& id);
  // The list as it is now, each entry with its own reference, so that a
  // broadcast can call the units without the manager's lock.
  std::vector<UnitPtr> Snapshot();
  // An internal or external unit made from decoder and described (so that
  // it answers its id); null when the decoder does not make one.
  static UnitPtr CreateUnitFromDecoder(const DataSourceUnitDecoder& decoder);

  std::atomic<ULONG> m_refCount{1};
  std::vector<UnitPtr> m_units;
  std::atomic<std::int64_t> m_startTime{0};
  std::recursive_mutex m_lock;
};

}  // namespace qz_dsc
