#include "units/DataSourceUnitExternal.h"

#include <algorithm>
#include <new>
#include <utility>

#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "qz_dsc/DataSourceStreamExternal.h"
#include "qz_dsc/DataSourceUnitEncoder.h"
#include "qz_dsc/IExternalDataSourceImporter.h"
#include "qz_dsc/StreamTypes.h"
#include "qz_dsc/TimeValueText.h"
#include "units/DataSourceUnitExternalProxy.h"

namespace qz_dsc {
namespace {

constexpr wchar_t kCsvConverter[] = L"QZ.CSV";
// The level of the stream synchronisation trace.
constexpr int kTraceLevel = 3;

const std::wstring& NameOf(const DataSourceStreamRoot& stream) {
  static const std::wstring kNoName;
  const auto* base = dynamic_cast<const qz_ds::DataSourceStreamBase*>(&stream);
  return base != nullptr ? base->GetName() : kNoName;
}

}  // namespace

DataSourceUnitExternal::DataSourceUnitExternal(std::wstring id) : Base(std::move(id)) {}

DataSourceUnitExternal::~DataSourceUnitExternal() = default;

HRESULT DataSourceUnitExternal::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DataSourceUnitExternal, IDataSourceUnitCtrl, IDataSourceUnit, IQZPropertySet,
                                     IDataSourceUnitExternal, IDataSourceUnitLoadReport>(this, riid, ppv);
}

std::shared_ptr<qz_ds::DataSource> DataSourceUnitExternal::CreateOverlayDataSource() {
  try {
    return std::make_shared<DataSourceUnitExternalProxy>(this);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

std::vector<DataSourceUnitExternal::StreamPtr>::iterator DataSourceUnitExternal::FindIt(const std::wstring& name) {
  return std::find_if(m_streams.begin(), m_streams.end(),
                      [&](const StreamPtr& s) { return dynamic_cast<const qz_ds::DataSourceStreamBase*>(s.get()) &&
                                                       NameOf(*s) == name; });
}

DataSourceUnitExternal::StreamPtr DataSourceUnitExternal::FindStream(const std::wstring& name) {
  const auto it = FindIt(name);
  return it != m_streams.end() ? *it : nullptr;
}

HRESULT DataSourceUnitExternal::RemoveStream(const std::wstring& name) {
  Lock lock(m_lock);
  std::erase_if(m_streams, [&](const StreamPtr& s) { return NameOf(*s) == name; });
  return S_OK;
}

void DataSourceUnitExternal::RemoveAllStreams() {
  Lock lock(m_lock);
  m_streams.clear();
  ForgetIdLocked();
}

bool DataSourceUnitExternal::SaveLocked(DataSourceUnitEncoder& encoder, const std::wstring& id) {
  if (!encoder.CreateDataSource(id, true, m_dataFilename, GetConverterName(), m_persistency, m_persistencyIsJSON)) {
    return false;
  }
  for (const StreamPtr& stream : m_streams) {
    DataSourceStreamEncoder streamEncoder;
    if (!encoder.CreateStreamEncoder(streamEncoder) || !stream->Save(streamEncoder)) return false;
  }
  return true;
}

bool DataSourceUnitExternal::ResetAndReadId(const DataSourceUnitDecoder& decoder, bool requireExternal) {
  m_streams.clear();
  ForgetIdLocked();
  m_skippedStreams.store(0);
  std::wstring id;
  if (!decoder.GetId(id)) return false;
  if (requireExternal && !decoder.IsDataSourceExternal()) {
    QZ_REPORT(1, L"data source is not external.");
    return false;
  }
  m_id = std::move(id);
  m_description.SetId(std::wstring());
  return true;
}

DataSourceUnitExternal::StreamPtr DataSourceUnitExternal::LoadStream(const DataSourceStreamDecoder& decoder) {
  std::wstring typeName, name;
  qz_ds::StreamBasicType type = qz_ds::StreamBasicType_None;
  if (!decoder.GetType(typeName) || !FindStreamTypeByXmlName(typeName, type) || !decoder.GetName(name)) {
    return nullptr;
  }
  StreamPtr stream = CreateDataSourceStreamExternal(type, name);
  if (!stream || !stream->Load(decoder)) return nullptr;
  return stream;
}

void DataSourceUnitExternal::LoadStreamDefinitions(const DataSourceUnitDecoder& decoder) {
  // No duplicate check here: the document is taken as it was written.
  LoadStreamElements(decoder, [this](const DataSourceStreamDecoder& element) {
    StreamPtr stream = LoadStream(element);
    if (!stream) return false;
    m_streams.push_back(std::move(stream));
    return true;
  });
}

bool DataSourceUnitExternal::LoadFromDecoder(const DataSourceUnitDecoder& decoder) {
  Lock lock(m_lock);
  if (!ResetAndReadId(decoder, false)) return false;
  LoadStreamDefinitions(decoder);
  return true;
}

bool DataSourceUnitExternal::LoadFromDecoderEx(const DataSourceUnitDecoder& decoder, std::int64_t option) {
  Lock lock(m_lock);
  LoadStreamElements(decoder, [&](const DataSourceStreamDecoder& element) {
    std::wstring name;
    if (!element.GetName(name)) return false;
    if (const StreamPtr held = FindStream(name)) {
      return held->LoadContent(element, static_cast<std::int32_t>(option));
    }
    StreamPtr stream = LoadStream(element);
    if (!stream) return false;
    m_streams.push_back(std::move(stream));
    return true;
  });
  return true;
}

bool DataSourceUnitExternal::Load(const DataSourceUnitDecoder& decoder) {
  Lock lock(m_lock);
  if (!ResetAndReadId(decoder, true)) return false;
  bool persistencyIsJSON = false;
  std::wstring converterName;
  if (!decoder.GetExternalDataSourceAttributes(m_dataFilename, converterName, m_persistency, persistencyIsJSON)) {
    return false;
  }
  m_persistencyIsJSON = persistencyIsJSON;
  SetConverterName(converterName);
  LoadStreamDefinitions(decoder);
  Import();
  return true;
}

void DataSourceUnitExternal::Import() {
  const std::wstring converterName = GetConverterName();
  HRESULT hr = S_OK;
  // Whatever an importer (or its factory) throws is a failed import: the
  // unit's lock is held by a guard and is released as the stack unwinds.
  try {
    const std::shared_ptr<IExternalDataSourceImporter> importer = CreateExternalDataSourceImporter(converterName);
    if (!importer) {
      QZ_REPORT(1, L"Missing external data source importer., %s", converterName.c_str());
      m_loadFailed.store(true);
      return;
    }
    hr = importer->Import(m_dataFilename, m_persistency, this);
  } catch (...) {
    hr = E_FAIL;
  }
  if (FAILED(hr)) {
    QZ_REPORT(1, L"Failed to load the data streams's data, %s, 0x%08x", converterName.c_str(), hr);
    m_loadFailed.store(true);
  }
}

std::int32_t DataSourceUnitExternal::ApplyModifier(const DataSourceModifier& /*modifier*/, std::int64_t /*option*/) {
  return kModifierApplied;
}

void DataSourceUnitExternal::CopyLocked(DataSourceUnitExternal& copy) {
  copy.m_startTime = m_startTime;
  copy.m_dataFilename = m_dataFilename;
  copy.SetConverterName(GetConverterName());
  copy.m_persistency = m_persistency;
  copy.m_persistencyIsJSON = m_persistencyIsJSON;
  copy.m_loadFailed.store(m_loadFailed.load());
  copy.m_streams.reserve(m_streams.size());
  for (const StreamPtr& stream : m_streams) copy.m_streams.push_back(stream->Clone());
}

bool DataSourceUnitExternal::ResetStreams(std::int64_t t) {
  Lock lock(m_lock);
  bool all = true;
  for (const StreamPtr& stream : m_streams) all = stream->StartRecording(t) && all;
  return all;
}

void DataSourceUnitExternal::AlignFirstSampleTimes(std::int64_t videoFirstSampleTime) {
  Lock lock(m_lock);
  for (const StreamPtr& stream : m_streams) {
    const std::int64_t first = stream->GetFirstSampleTime();
    const std::int64_t offset = first - videoFirstSampleTime;
    if (qz_log::get_report_level(0) >= kTraceLevel) {
      QZ_REPORT(kTraceLevel,
                L"Synchronizing stream %s: video first sample time: %s, data first sample time: %s, offset: %s",
                NameOf(*stream).c_str(), FormatTimeValue(videoFirstSampleTime, TimeFormat_NanoSeconds).c_str(),
                FormatTimeValue(first, TimeFormat_NanoSeconds).c_str(),
                FormatTimeValue(offset, TimeFormat_NanoSeconds).c_str());
    }
    stream->SetVideoOffset(offset);
  }
}

HRESULT DataSourceUnitExternal::AddStream(std::shared_ptr<DataSourceStreamRoot> stream) {
  Lock lock(m_lock);
  const auto* base = dynamic_cast<const qz_ds::DataSourceStreamBase*>(stream.get());
  if (base == nullptr) return S_OK;
  const auto it = FindIt(base->GetName());
  if (!QZ_CHECK_CONDITION(it == m_streams.end())) return E_UNEXPECTED;
  m_streams.push_back(std::move(stream));
  m_description.SetId(std::wstring());
  return S_OK;
}

std::shared_ptr<DataSourceStreamRoot> DataSourceUnitExternal::GetStream(const wchar_t* name) {
  if (name == nullptr) return nullptr;
  Lock lock(m_lock);
  return FindStream(name);
}

std::wstring DataSourceUnitExternal::GetDataFilename() {
  Lock lock(m_lock);
  return m_dataFilename;
}

void DataSourceUnitExternal::SetDataFilename(const std::wstring& filename) {
  Lock lock(m_lock);
  m_dataFilename = filename;
}

std::wstring DataSourceUnitExternal::GetConverterName() {
  std::lock_guard<std::mutex> lock(m_converterLock);
  return m_converterName;
}

void DataSourceUnitExternal::SetConverterName(const std::wstring& name) {
  std::lock_guard<std::mutex> lock(m_converterLock);
  m_converterName = name;
}

std::wstring DataSourceUnitExternal::GetPersistencyData() {
  Lock lock(m_lock);
  return m_persistency;
}

void DataSourceUnitExternal::SetPersistencyData(const std::wstring& data) {
  Lock lock(m_lock);
  m_persistency = data;
  m_persistencyIsJSON = false;
}

std::wstring DataSourceUnitExternal::GetPersistencyDataJSON() { return GetPersistencyData(); }

void DataSourceUnitExternal::SetPersistencyDataJSON(const std::wstring& data) {
  Lock lock(m_lock);
  m_persistency = data;
  m_persistencyIsJSON = true;
}

bool DataSourceUnitExternal::IsCsvConverter() { return GetConverterName() == kCsvConverter; }

HRESULT CreateExternalDataSourceUnit(std::wstring id, IDataSourceUnitExternal** out) {
  try {
    *out = new DataSourceUnitExternal(std::move(id));
    return S_OK;
  } catch (const std::bad_alloc&) {
    *out = nullptr;
    return E_OUTOFMEMORY;
  }
}

HRESULT CreateExternalDataSourceUnitFromDecoder(const DataSourceUnitDecoder& decoder, IDataSourceUnitCtrl** out) {
  return CreateLoadedUnit<DataSourceUnitExternal>([&decoder](DataSourceUnitExternal& unit) { return unit.Load(decoder); }, out);
}

}  // namespace qz_dsc
