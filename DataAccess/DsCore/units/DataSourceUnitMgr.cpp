#include "units/DataSourceUnitMgr.h"

#include <new>

#include "module/Check.h"
#include "qz_dsc/DataSourceUnitDecoder.h"
#include "qz_dsc/DataSourceUnitEncoder.h"
#include "qz_dsc/DataSourceModifier.h"
#include "units/DataSourceUnit.h"
#include "units/DataSourceUnitExternal.h"
#include "units/DataSourceUnitMgrPxy.h"
#include "xml/DataSourceUnitMgrDecoder.h"
#include "xml/DataSourceUnitMgrEncoder.h"

namespace qz_dsc {

using Lock = std::lock_guard<std::recursive_mutex>;

// ---- IUnknown ----------------------------------------------------------------

HRESULT DataSourceUnitMgr::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DataSourceUnitMgr, IDataSourceUnitMgrPrivate, IDataSourceUnitMgrCtrl,
                                     IDataSourceUnitMgr, IDSPersistXML, ISupportErrorInfo>(this, riid, ppv);
}

ULONG DataSourceUnitMgr::AddRef() { return m_refCount.fetch_add(1, std::memory_order_relaxed) + 1; }

ULONG DataSourceUnitMgr::Release() {
  const ULONG left = m_refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) delete this;
  return left;
}

HRESULT DataSourceUnitMgr::InterfaceSupportsErrorInfo(REFIID riid) {
  return riid == kErrorInfoInterface ? S_OK : S_FALSE;
}

// ---- finding -------------------------------------------------------------------

std::vector<DataSourceUnitMgr::UnitPtr>::iterator DataSourceUnitMgr::FindById(const std::wstring& id) {
  if (id.empty()) return m_units.end();
  for (auto it = m_units.begin(); it != m_units.end(); ++it) {
    if ((*it)->GetId() == id) return it;
  }
  return m_units.end();
}

std::vector<DataSourceUnitMgr::UnitPtr> DataSourceUnitMgr::Snapshot() {
  Lock lock(m_lock);
  return m_units;
}

std::int32_t DataSourceUnitMgr::GetDataSourceCount() {
  Lock lock(m_lock);
  return static_cast<std::int32_t>(m_units.size());
}

HRESULT DataSourceUnitMgr::GetDataSourceById(const std::wstring& id, REFIID riid, void** ppv) {
  if (!QZ_CHECK_CONDITION(ppv != nullptr)) return E_POINTER;
  Lock lock(m_lock);
  auto it = FindById(id);
  if (it == m_units.end()) return E_FAIL;
  return (*it)->QueryInterface(riid, ppv);
}

HRESULT DataSourceUnitMgr::GetDataSourceByIndex(std::int32_t index, REFIID riid, void** ppv) {
  if (!QZ_CHECK_CONDITION(ppv != nullptr)) return E_POINTER;
  Lock lock(m_lock);
  // REQUIRES: 0 <= index < count; the caller's contract, not checked.
  return m_units[static_cast<std::size_t>(index)]->QueryInterface(riid, ppv);
}

bool DataSourceUnitMgr::IsEmpty() {
  Lock lock(m_lock);
  return m_units.empty();
}

std::shared_ptr<qz_ovlib::IDataSourceManager> DataSourceUnitMgr::CreateOverlayManager() {
  try {
    return std::make_shared<DataSourceUnitMgrPxy>(this);
  } catch (const std::bad_alloc&) {
    return {};
  }
}

std::vector<qz_ds::DataSourceInfo> DataSourceUnitMgr::GetDataSourceInfos() {
  Lock lock(m_lock);
  std::vector<qz_ds::DataSourceInfo> infos;
  infos.reserve(m_units.size());
  for (const UnitPtr& unit : m_units) infos.push_back(unit->GetDataSourceInfo());
  return infos;
}

// ---- adding, replacing, removing -------------------------------------------------

HRESULT DataSourceUnitMgr::AddDataSource(IUnknown* newDsExt) {
  if (!QZ_CHECK_CONDITION(newDsExt != nullptr)) return E_INVALIDARG;
  UnitPtr replaced;  // released after the lock is let go
  Lock lock(m_lock);
  IDataSourceUnitCtrl* newDataSource = nullptr;
  if (FAILED(newDsExt->QueryInterface(uuidof<IDataSourceUnitCtrl>(), reinterpret_cast<void**>(&newDataSource)))) {
    newDataSource = nullptr;
  }
  if (!QZ_CHECK_CONDITION(newDataSource != nullptr)) return E_NOINTERFACE;
  UnitPtr held;
  held.Attach(newDataSource);  // the temporary reference
  auto it = FindById(held->GetId());
  if (it == m_units.end()) {
    m_units.push_back(std::move(held));
  } else if (it->Get() != held.Get()) {
    replaced = std::move(*it);
    *it = std::move(held);  // takes the old one's place
  }
  return S_OK;
}

HRESULT DataSourceUnitMgr::RemoveDataSource(const std::wstring& id) {
  UnitPtr removed;  // released after the lock is let go
  Lock lock(m_lock);
  auto it = FindById(id);
  if (it == m_units.end()) return E_INVALIDARG;
  removed = std::move(*it);
  m_units.erase(it);
  return S_OK;
}

void DataSourceUnitMgr::RemoveAllDataSources() {
  std::vector<UnitPtr> removed;
  Lock lock(m_lock);
  removed.swap(m_units);
}

// ---- copies --------------------------------------------------------------------

HRESULT DataSourceUnitMgr::Clone(IDataSourceUnitMgrCtrl** outval) {
  if (!QZ_CHECK_CONDITION(outval != nullptr)) return E_POINTER;
  Lock lock(m_lock);
  qz_com::ComPtr<DataSourceUnitMgr> copy;
  copy.Attach(new (std::nothrow) DataSourceUnitMgr());
  if (!copy) return E_OUTOFMEMORY;
  copy->m_units.reserve(m_units.size());
  for (const UnitPtr& unit : m_units) {
    qz_com::ComPtr<IDataSourceUnit> cloned;
    const HRESULT hr = unit->Clone(cloned.GetAddressOf());
    if (!QZ_CHECK_HRESULT(hr)) return hr;  // the partial copy goes with `copy`
    UnitPtr control;
    const HRESULT qi = cloned.As(&control);
    if (!QZ_CHECK_HRESULT(qi)) return qi;
    // A clone answers "" until it is described; describe it so that it can
    // be found by id.
    static_cast<void>(control->GetDataSourceInfo());
    copy->m_units.push_back(std::move(control));
  }
  copy->m_startTime.store(m_startTime.load());
  *outval = copy.Detach();
  return S_OK;
}

// ---- broadcasts ------------------------------------------------------------------

void DataSourceUnitMgr::RebaseAll(std::int64_t t) {
  if (t <= 0) return;
  for (const UnitPtr& unit : Snapshot()) unit->RebaseStreams(t);
}

void DataSourceUnitMgr::TrimAll(std::int64_t t) {
  for (const UnitPtr& unit : Snapshot()) {
    if (t > 0) {
      unit->TrimStreams(t);
    } else {
      unit->ClearStreamData();
    }
  }
}

HRESULT DataSourceUnitMgr::AlignFirstSampleTimes(std::int64_t videoFirstSampleTime) {
  for (const UnitPtr& unit : Snapshot()) unit->AlignFirstSampleTimes(videoFirstSampleTime);
  return S_OK;
}

HRESULT DataSourceUnitMgr::ResetVideoOffsets() {
  for (const UnitPtr& unit : Snapshot()) unit->ResetVideoOffsets();
  return S_OK;
}

std::int64_t DataSourceUnitMgr::GetDataSourceVideoOffset(const std::wstring& id) {
  UnitPtr found;
  {
    Lock lock(m_lock);
    auto it = FindById(id);
    if (it == m_units.end()) return 0;
    found = *it;
  }
  return found->GetVideoOffset();
}

void DataSourceUnitMgr::ClearAllStreamData() {
  Lock lock(m_lock);
  for (const UnitPtr& unit : m_units) unit->ClearStreamData();
}

bool DataSourceUnitMgr::ResetAllStreams(std::int64_t t) {
  bool all = true;
  for (const UnitPtr& unit : Snapshot()) all = unit->ResetStreams(t) && all;
  return all;
}

void DataSourceUnitMgr::SetAllStreamsOption(std::int64_t value) {
  Lock lock(m_lock);
  for (const UnitPtr& unit : m_units) unit->SetStreamsOption(value);
}

void DataSourceUnitMgr::SetStartTime(std::int64_t t) {
  for (const UnitPtr& unit : Snapshot()) unit->SetStartTime(t);
  m_startTime.store(t);
}

std::int64_t DataSourceUnitMgr::GetStartTime() { return m_startTime.load(); }

void DataSourceUnitMgr::ReservedOperation() {}

HRESULT DataSourceUnitMgr::UnsupportedOperation1() { return E_FAIL; }

HRESULT DataSourceUnitMgr::UnsupportedOperation2() { return E_FAIL; }

// ---- the list document -------------------------------------------------------------

DataSourceUnitMgr::UnitPtr DataSourceUnitMgr::CreateUnitFromDecoder(const DataSourceUnitDecoder& decoder) {
  UnitPtr unit;
  const HRESULT hr = decoder.IsDataSourceExternal()
                         ? CreateExternalDataSourceUnitFromDecoder(decoder, unit.GetAddressOf())
                         : CreateDataSourceUnitFromDecoder(decoder, unit.GetAddressOf());
  if (FAILED(hr) || !unit) return {};
  // A loaded unit answers "" until it is described.
  static_cast<void>(unit->GetDataSourceInfo());
  return unit;
}

bool DataSourceUnitMgr::LoadXML(IXMLDOMNode* node, const std::wstring& basePath) {
  std::vector<UnitPtr> previous;  // released after the lock is let go
  Lock lock(m_lock);
  previous.swap(m_units);
  DataSourceUnitMgrDecoder decoder(basePath);
  if (!decoder.Locate(node)) return false;
  std::vector<DataSourceUnitDecoder> unitDecoders;
  if (!decoder.GetUnitDecoders(unitDecoders)) return false;
  m_units.reserve(unitDecoders.size());
  for (const DataSourceUnitDecoder& unitDecoder : unitDecoders) {
    if (UnitPtr unit = CreateUnitFromDecoder(unitDecoder)) m_units.push_back(std::move(unit));
  }
  return true;
}

DataSourceUnitMgr::SaveOutcome DataSourceUnitMgr::SaveXMLChecked(IXMLDOMNode* node, const std::wstring& basePath) {
  SaveOutcome outcome;
  if (node == nullptr) return outcome;
  Lock lock(m_lock);
  outcome.written = true;
  if (m_units.empty()) return outcome;
  DataSourceUnitMgrEncoder encoder(node);
  if (!encoder.CreateDescriptionUnit()) {
    outcome.written = false;
    return outcome;
  }
  for (const UnitPtr& unit : m_units) {
    DataSourceUnitEncoder unitEncoder(encoder.GetDescriptionUnit());
    unitEncoder.SetBasePath(basePath);
    if (!unit->SaveToEncoder(unitEncoder) && !outcome.unitFailed) {
      outcome.unitFailed = true;
      outcome.failedId = unit->GetId();
    }
  }
  return outcome;
}

bool DataSourceUnitMgr::SaveXML(IXMLDOMNode* node, const std::wstring& basePath) {
  // What each unit answers is not this save's concern; SaveXMLChecked reports it.
  return SaveXMLChecked(node, basePath).written;
}

bool DataSourceUnitMgr::MergeXML(IXMLDOMNode* node, std::int64_t option, const std::wstring& query) {
  Lock lock(m_lock);
  DataSourceUnitMgrDecoder decoder;
  if (!decoder.Locate(node)) return false;
  std::vector<DataSourceUnitDecoder> unitDecoders;
  if (query.empty()) {
    if (!decoder.GetUnitDecoders(unitDecoders)) return false;
  } else {
    qz_com::ComPtr<IXMLDOMNodeList> selected;
    if (FAILED(decoder.GetNode().GetElement()->selectNodes(query, selected.GetAddressOf())) || !selected) return false;
    qz_com::ComPtr<IXMLDOMNode> item;
    while (selected->nextNode(item.ReleaseAndGetAddressOf()) == S_OK) unitDecoders.emplace_back(item.Get(), L"");
  }
  for (const DataSourceUnitDecoder& unitDecoder : unitDecoders) {
    std::wstring id;
    if (!unitDecoder.GetId(id)) continue;
    auto it = FindById(id);
    IDataSourceUnitCtrl* target = nullptr;
    if (it != m_units.end()) {
      target = it->Get();
    } else {
      UnitPtr created = CreateUnitFromDecoder(unitDecoder);
      if (!created) continue;
      created->SetStartTime(m_startTime.load());
      target = created.Get();
      m_units.push_back(std::move(created));
    }
    static_cast<void>(target->LoadFromDecoderEx(unitDecoder, option));
  }
  return true;
}

// ---- snapshots -----------------------------------------------------------------

bool DataSourceUnitMgr::ApplyModifier(const DataSourceModifier& modifier, std::int64_t option) {
  Lock lock(m_lock);
  for (const UnitPtr& unit : m_units) {
    const std::int32_t answer = unit->ApplyModifier(modifier, option);
    if (answer == IDataSourceUnitCtrl::kModifierApplied) return true;
    if (answer == IDataSourceUnitCtrl::kModifierFailed) return false;
  }
  UnitPtr created;
  if (FAILED(CreateDataSourceUnit(modifier.GetId(), created.GetAddressOf())) || !created) return false;
  created->SetStartTime(m_startTime.load());
  if (created->ApplyModifier(modifier, option) == IDataSourceUnitCtrl::kModifierFailed) return false;
  static_cast<void>(created->GetDataSourceInfo());
  m_units.push_back(std::move(created));
  return true;
}

// ---- factory ---------------------------------------------------------------------

HRESULT CreateDataSourceUnitMgr(IDataSourceUnitMgrCtrl** ppInstance) {
  if (!QZ_CHECK_CONDITION(ppInstance != nullptr)) return E_POINTER;
  DataSourceUnitMgr* manager = new (std::nothrow) DataSourceUnitMgr();
  *ppInstance = manager;  // null without memory
  return manager != nullptr ? S_OK : E_OUTOFMEMORY;
}

}  // namespace qz_dsc
