// What the internal and the external data source unit have in common: the
// reference count, the one-row "Name" property set, the lazily rebuilt
// description, the timing broadcasts to every stream, the by-name stream
// operations, the stream count and properties, and the load report. The two
// units differ in how they store their streams (ordered map, vector), how
// they load, save, clone and apply snapshots, and in the sign of
// AlignFirstSampleTimes; each supplies its storage to this template.
//
// Threads: one re-entrant lock per unit (m_lock) guards the id, the
// description, the start time and the unit's stream container; every stream
// operation is called with it held, so the lock order is unit, then stream.
// The reference count and the skipped-stream count are atomic. The
// operations that take no lock for long (GetVideoOffset) copy the stream
// pointer under the lock and call the stream after releasing it.
//
// Derived must provide, all called with m_lock held:
//   template <class F> void ForEachStream(F&& f);   // f(const StreamPtr&), in index order
//   StreamPtr FindStream(const std::wstring& name);  // empty when absent
//   std::size_t StreamCountLocked() const;
//   static constexpr const wchar_t* kMissingStreamCheck;  // the logged lookup check
//   void CopyLocked(Derived& copy);                  // Clone: all but the id, into a new unit
#pragma once

#include <atomic>
#include <cstdint>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "module/Check.h"
#include "module/LiveObjects.h"
#include "module/StringTable.h"
#include "qz_com/ComPtr.h"
#include "qz_com/OleAuto.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceStreamRoot.h"
#include "qz_dsc/DataSourceUnitDecoder.h"
#include "qz_dsc/IDataSourceUnitCtrl.h"
#include "qz_dsc/IQZPropertySet.h"
#include "streams/DataSourceStreamProperties.h"
#include "xml/ExternalSourceNames.h"

namespace qz_dsc {

// The unit's one property and the string that labels it.
inline constexpr PropertyLabel DSSTREAM_PROPERTY_TABLE[] = {{L"Name", IDS_NAME}};

template <class Derived>
class DataSourceUnitBase : public IDataSourceUnitCtrl, public IQZPropertySet, public IDataSourceUnitLoadReport {
 public:
  using StreamPtr = std::shared_ptr<DataSourceStreamRoot>;

  // IUnknown (QueryInterface is the derived unit's: its table differs)
  ULONG QZ_STDMETHODCALLTYPE AddRef() override { return ++m_refCount; }
  ULONG QZ_STDMETHODCALLTYPE Release() override {
    const ULONG count = --m_refCount;
    if (count == 0) delete static_cast<Derived*>(this);
    return count;
  }

  // IDataSourceUnit
  const std::wstring& QZ_STDMETHODCALLTYPE GetId() override {
    Lock lock(m_lock);
    return m_description.GetId();
  }
  HRESULT QZ_STDMETHODCALLTYPE SetVideoOffset(std::int64_t offset) override {
    Lock lock(m_lock);
    Self().ForEachStream([&](const StreamPtr& s) { s->SetVideoOffset(offset); });
    return S_OK;
  }
  HRESULT QZ_STDMETHODCALLTYPE SetStreamVideoOffset(const std::wstring& name, std::int64_t offset) override {
    Lock lock(m_lock);
    const StreamPtr stream = FindChecked(name);
    if (!stream) return E_INVALIDARG;
    stream->SetVideoOffset(offset);
    return S_OK;
  }
  HRESULT QZ_STDMETHODCALLTYPE ShiftVideoOffset(std::int64_t delta) override {
    Lock lock(m_lock);
    Self().ForEachStream([&](const StreamPtr& s) { s->SetVideoOffset(s->GetVideoOffset() + delta); });
    return S_OK;
  }
  HRESULT QZ_STDMETHODCALLTYPE GetStreamVideoOffset(const std::wstring& name, std::int64_t* offset) override {
    Lock lock(m_lock);
    const StreamPtr stream = FindChecked(name);
    if (!stream) return E_INVALIDARG;
    *offset = stream->GetVideoOffset();
    return S_OK;
  }
  std::int64_t QZ_STDMETHODCALLTYPE GetVideoOffset() override {
    StreamPtr first;
    {
      Lock lock(m_lock);
      Self().ForEachStream([&](const StreamPtr& s) {
        if (!first) first = s;
      });
    }
    return first ? first->GetVideoOffset() : 0;
  }
  void QZ_STDMETHODCALLTYPE SetFirstSampleTime(std::int64_t time) override {
    Lock lock(m_lock);
    Self().ForEachStream([&](const StreamPtr& s) { s->SetFirstSampleTime(time); });
  }
  void QZ_STDMETHODCALLTYPE SetStreamFirstSampleTime(const std::wstring& name, std::int64_t time) override {
    Lock lock(m_lock);
    if (const StreamPtr stream = Self().FindStream(name)) stream->SetFirstSampleTime(time);
  }
  std::int64_t QZ_STDMETHODCALLTYPE GetStreamFirstSampleTime(const std::wstring& name) override {
    Lock lock(m_lock);
    const StreamPtr stream = FindChecked(name);
    // The HRESULT itself as the time: callers tell it apart only by the name.
    if (!stream) return E_INVALIDARG;
    return stream->GetFirstSampleTime();
  }
  std::int32_t QZ_STDMETHODCALLTYPE GetStreamCount() override {
    Lock lock(m_lock);
    return static_cast<std::int32_t>(Self().StreamCountLocked());
  }
  HRESULT QZ_STDMETHODCALLTYPE GetStreamProperties(std::int32_t index, IQZPropertySet** propset) override {
    if (!QZ_CHECK_CONDITION(propset != nullptr)) return E_POINTER;
    Lock lock(m_lock);
    if (index < 0 || static_cast<std::size_t>(index) >= Self().StreamCountLocked()) return E_INVALIDARG;
    StreamPtr stream;
    std::int32_t i = 0;
    Self().ForEachStream([&](const StreamPtr& s) {
      if (i++ == index) stream = s;
    });
    const HRESULT hr = stream->GetProperties(propset);
    QZ_CHECK_HRESULT(hr);
    return hr;
  }
  // Rebuilt only when its id differs from the unit's: loads, RemoveAllStreams
  // and AddStream of an external unit empty the description's id for that.
  const qz_ds::DataSourceInfo& QZ_STDMETHODCALLTYPE GetDataSourceInfo() override {
    Lock lock(m_lock);
    if (m_description.GetId() == m_id) return m_description;
    m_description.Clear();
    m_description.SetId(m_id);
    Self().ForEachStream([&](const StreamPtr& s) {
      if (const auto* base = dynamic_cast<const qz_ds::DataSourceStreamBase*>(s.get())) {
        m_description.AddStream(qz_ds::StreamInfo(base->GetName(), base->GetBasicType()));
      }
    });
    return m_description;
  }

  // A deep copy with the same id and one reference in *outval; a unit
  // already in *outval is released first.
  HRESULT QZ_STDMETHODCALLTYPE Clone(IDataSourceUnit** outval) override {
    if (!QZ_CHECK_CONDITION(outval != nullptr)) return E_POINTER;
    Lock lock(m_lock);
    if (*outval != nullptr) {
      (*outval)->Release();
      *outval = nullptr;
    }
    Derived* dsu = new (std::nothrow) Derived(m_id);
    if (!QZ_CHECK_CONDITION(dsu != nullptr)) return E_OUTOFMEMORY;
    qz_com::ComPtr<Derived> copy;
    copy.Attach(dsu);  // released if a stream copy throws
    Self().CopyLocked(*dsu);
    *outval = static_cast<IDataSourceUnitCtrl*>(copy.Detach());
    return S_OK;
  }

  // IDataSourceUnitCtrl: the broadcasts both units share
  void QZ_STDMETHODCALLTYPE ClearStreamData() override {
    Lock lock(m_lock);
    Self().ForEachStream([](const StreamPtr& s) { s->Clear(); });
  }
  [[nodiscard]] bool QZ_STDMETHODCALLTYPE SaveToEncoder(DataSourceUnitEncoder& encoder) override {
    Lock lock(m_lock);
    return Self().SaveLocked(encoder, m_id);
  }
  [[nodiscard]] bool QZ_STDMETHODCALLTYPE SaveDescriptionToEncoder(DataSourceUnitEncoder& encoder) override {
    Lock lock(m_lock);
    const std::wstring id = m_description.GetId();
    return Self().SaveLocked(encoder, id);
  }
  void QZ_STDMETHODCALLTYPE SetStreamsOption(std::int64_t value) override {
    Lock lock(m_lock);
    Self().ForEachStream([&](const StreamPtr& s) { s->SetStopTime(value); });
  }
  void QZ_STDMETHODCALLTYPE SetStartTime(std::int64_t t) override {
    Lock lock(m_lock);
    Self().ForEachStream([&](const StreamPtr& s) { s->SetTimeOrigin(t); });
    m_startTime = t;
  }
  void QZ_STDMETHODCALLTYPE RebaseStreams(std::int64_t t) override {
    Lock lock(m_lock);
    Self().ForEachStream([&](const StreamPtr& s) { s->Rebase(t); });
  }
  void QZ_STDMETHODCALLTYPE TrimStreams(std::int64_t t) override {
    Lock lock(m_lock);
    Self().ForEachStream([&](const StreamPtr& s) { s->TruncateAfter(t); });
  }
  bool QZ_STDMETHODCALLTYPE ReservedQuery() override { return false; }
  bool QZ_STDMETHODCALLTYPE SerializeHeader(BasicBinarySerializer& serializer) override {
    Lock lock(m_lock);
    serializer << 1 << static_cast<int>(Self().StreamCountLocked());
    return false;
  }
  void QZ_STDMETHODCALLTYPE ResetVideoOffsets() override {
    Lock lock(m_lock);
    Self().ForEachStream([](const StreamPtr& s) { s->SetVideoOffset(0); });
  }

  // IQZPropertySet: one row, "Name", whose value is the unit's id.
  HRESULT QZ_STDMETHODCALLTYPE GetProperty(const wchar_t* pszPropName, VARIANT* value) override {
    if (!QZ_CHECK_CONDITION(value != nullptr)) return E_POINTER;
    if (!QZ_CHECK_CONDITION(pszPropName != nullptr)) return E_INVALIDARG;
    const int propIndex = FindProperty(pszPropName);
    if (!QZ_CHECK_CONDITION(propIndex >= 0)) return E_INVALIDARG;
    BSTR text = nullptr;
    {
      Lock lock(m_lock);
      text = SysAllocStringLen(m_id.c_str(), static_cast<UINT>(m_id.size()));
    }
    if (text == nullptr) return E_OUTOFMEMORY;
    VariantClear(value);
    value->vt = VT_BSTR;
    value->bstrVal = text;
    return S_OK;
  }
  HRESULT QZ_STDMETHODCALLTYPE SetProperty(const wchar_t*, const VARIANT*) override { return E_FAIL; }
  HRESULT QZ_STDMETHODCALLTYPE GetPropertyCount(UINT* count) override {
    if (count == nullptr) return E_POINTER;
    *count = static_cast<UINT>(std::size(DSSTREAM_PROPERTY_TABLE));
    return S_OK;
  }
  HRESULT QZ_STDMETHODCALLTYPE GetPropertyText(const wchar_t* key, BSTR* text) override {
    if (key == nullptr || text == nullptr) return E_INVALIDARG;
    const int row = FindProperty(key);
    const wchar_t* label = row < 0 ? nullptr : StringTable::Load(DSSTREAM_PROPERTY_TABLE[row].stringId);
    if (label == nullptr) return E_FAIL;
    *text = SysAllocString(label);
    return *text != nullptr ? S_OK : E_OUTOFMEMORY;
  }
  HRESULT QZ_STDMETHODCALLTYPE SetPropertyText(const wchar_t*, const wchar_t*) override { return E_FAIL; }
  HRESULT QZ_STDMETHODCALLTYPE GetPropertyName(UINT index, BSTR* propertyName) override {
    if (!QZ_CHECK_CONDITION(propertyName != nullptr)) return E_POINTER;
    // The check text as the table's element count macro spells it out.
    if (!check::Condition(index < std::size(DSSTREAM_PROPERTY_TABLE),
                          L"index < (sizeof(*__countof_helper(DSSTREAM_PROPERTY_TABLE)) + 0)", __FILE__, __LINE__)) {
      return E_INVALIDARG;
    }
    *propertyName = SysAllocString(DSSTREAM_PROPERTY_TABLE[index].key);
    return *propertyName != nullptr ? S_OK : E_OUTOFMEMORY;
  }

  // IDataSourceUnitLoadReport
  std::int32_t QZ_STDMETHODCALLTYPE GetSkippedStreamCount() override { return m_skippedStreams.load(); }

  // For the library's own code: copies made under the unit's lock, safe to
  // keep while other threads load or re-describe the unit.
  std::wstring CopyId() {
    Lock lock(m_lock);
    return GetId();
  }
  qz_ds::DataSourceInfo CopyDataSourceInfo() {
    Lock lock(m_lock);
    return GetDataSourceInfo();
  }
  // The first stream, in index order, whose own name is name (the overlay
  // adapters' lookup); it shares ownership with the unit's entry.
  std::shared_ptr<qz_ds::DataSourceStreamBase> FindOverlayStream(const std::wstring& name) {
    Lock lock(m_lock);
    std::shared_ptr<qz_ds::DataSourceStreamBase> found;
    Self().ForEachStream([&](const StreamPtr& s) {
      if (found) return;
      auto base = std::dynamic_pointer_cast<qz_ds::DataSourceStreamBase>(s);
      if (base && base->GetName() == name) found = std::move(base);
    });
    return found;
  }

 protected:
  using Lock = std::lock_guard<std::recursive_mutex>;

  DataSourceUnitBase() = default;
  explicit DataSourceUnitBase(std::wstring id) : m_id(std::move(id)) {}
  virtual ~DataSourceUnitBase() = default;
  DataSourceUnitBase(const DataSourceUnitBase&) = delete;
  DataSourceUnitBase& operator=(const DataSourceUnitBase&) = delete;

  // The stream of that name; absent, logs the derived unit's lookup check.
  StreamPtr FindChecked(const std::wstring& name) {
    StreamPtr stream = Self().FindStream(name);
    check::Condition(stream != nullptr, Derived::kMissingStreamCheck, __FILE__, __LINE__);
    return stream;
  }

  // Where a load of stream elements stands: candidates seen and skipped.
  struct StreamElementTally {
    std::int32_t position = 0;
    std::int32_t skipped = 0;
  };

  // Runs load on every "DataSourceStream" candidate of decoder: its element
  // children other than the external settings element (text and comments
  // between them are no streams). load answers whether the element was
  // loaded and kept; the others are logged and counted as skipped.
  // REQUIRES: m_lock held.
  template <class Load>
  void LoadStreamElements(const DataSourceUnitDecoder& decoder, Load&& load) {
    StreamElementTally tally;
    for (const DataSourceStreamDecoder& element : decoder.GetDataSourceStreamDecoders()) {
      LoadStreamElement(element, tally, load);
    }
    m_skippedStreams.store(tally.skipped);
  }

  // One step of LoadStreamElements, for loads that get the elements one at
  // a time. REQUIRES: m_lock held.
  template <class Load>
  void LoadStreamElement(const DataSourceStreamDecoder& element, StreamElementTally& tally, Load&& load) {
    if (!element.IsElement() || element.HasTagName(kPersistencyElement)) return;
    ++tally.position;
    if (load(element)) return;
    ++tally.skipped;
    std::wstring name;
    if (element.GetName(name)) {
      QZ_REPORT(1, L"Data source %s: stream %s did not load and was skipped.", m_id.c_str(), name.c_str());
    } else {
      QZ_REPORT(1, L"Data source %s: stream element %d did not load and was skipped.", m_id.c_str(), tally.position);
    }
  }

  // Empties the id and the description's id (the next GetDataSourceInfo
  // rebuilds). REQUIRES: m_lock held.
  void ForgetIdLocked() {
    m_id.clear();
    m_description.SetId(std::wstring());
  }

  mutable std::recursive_mutex m_lock;
  std::wstring m_id;
  qz_ds::DataSourceInfo m_description;
  std::int64_t m_startTime = 0;
  std::atomic<std::int32_t> m_skippedStreams{0};

 private:
  Derived& Self() { return static_cast<Derived&>(*this); }

  static int FindProperty(const wchar_t* key) {
    for (std::size_t i = 0; i < std::size(DSSTREAM_PROPERTY_TABLE); ++i) {
      if (std::wstring_view(key) == DSSTREAM_PROPERTY_TABLE[i].key) return static_cast<int>(i);
    }
    return -1;
  }

  std::atomic<ULONG> m_refCount{1};
  live_objects::Counted m_counted;
};

// Makes a Unit with an empty id, lets load(unit) fill it, and hands it out
// with its one reference. E_OUTOFMEMORY without memory, E_FAIL (nothing
// stored) when load answers false.
template <class Unit, class Load>
HRESULT CreateLoadedUnit(Load&& load, IDataSourceUnitCtrl** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  qz_com::ComPtr<Unit> unit;
  unit.Attach(new (std::nothrow) Unit(std::wstring()));
  if (!unit) return E_OUTOFMEMORY;
  if (!load(*unit.Get())) return E_FAIL;
  *out = unit.Detach();
  return S_OK;
}

}  // namespace qz_dsc
