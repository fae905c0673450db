#include "units/DataSourceUnit.h"

#include <limits>
#include <new>
#include <utility>
#include <vector>

#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "qz_dsc/DataSourceUnitEncoder.h"
#include "qz_dsc/StreamTypes.h"
#include "streams/InternalStreamFactory.h"
#include "units/DataSourceUnitProxy.h"

namespace qz_dsc {

DataSourceUnit::DataSourceUnit(std::wstring id) : DataSourceUnitBase(std::move(id)) {}

DataSourceUnit::~DataSourceUnit() = default;

HRESULT DataSourceUnit::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DataSourceUnit, IDataSourceUnitCtrl, IDataSourceUnit, IQZPropertySet,
                                     IDataSourceUnitLoadReport>(this, riid, ppv);
}

std::shared_ptr<qz_ds::DataSource> DataSourceUnit::CreateOverlayDataSource() {
  try {
    return std::make_shared<DataSourceUnitProxy>(this);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

DataSourceUnit::StreamPtr DataSourceUnit::FindStream(const std::wstring& name) {
  const auto it = m_streamMap.lower_bound(name);
  if (it == m_streamMap.end() || it->first != name) return nullptr;
  return it->second;
}

bool DataSourceUnit::AddStream(StreamPtr stream) {
  const auto* base = dynamic_cast<const qz_ds::DataSourceStreamBase*>(stream.get());
  if (base == nullptr) return false;
  Lock lock(m_lock);
  return m_streamMap.emplace(base->GetName(), std::move(stream)).second;
}

DataSourceUnit::StreamPtr DataSourceUnit::GetStream(const std::wstring& name) {
  Lock lock(m_lock);
  return FindStream(name);
}

HRESULT DataSourceUnit::RemoveStream(const std::wstring& name) {
  Lock lock(m_lock);
  m_streamMap.erase(name);
  return S_OK;
}

void DataSourceUnit::RemoveAllStreams() {
  Lock lock(m_lock);
  m_streamMap.clear();
  ForgetIdLocked();
}

bool DataSourceUnit::SaveLocked(DataSourceUnitEncoder& encoder, const std::wstring& id) {
  if (!encoder.CreateDataSource(id, false, std::wstring(), std::wstring(), std::wstring(), false)) return false;
  for (const auto& [name, stream] : m_streamMap) {
    DataSourceStreamEncoder streamEncoder;
    if (!encoder.CreateStreamEncoder(streamEncoder) || !stream->Save(streamEncoder)) return false;
  }
  return true;
}

DataSourceUnit::StreamPtr DataSourceUnit::LoadStream(const DataSourceStreamDecoder& decoder) {
  std::wstring typeName;
  qz_ds::StreamBasicType type = qz_ds::StreamBasicType_None;
  if (!decoder.GetType(typeName) || !FindStreamTypeByXmlName(typeName, type)) return nullptr;
  StreamPtr stream = CreateInternalStream(type);
  if (!stream || !stream->Load(decoder)) return nullptr;
  return stream;
}

bool DataSourceUnit::BeginLoadLocked(const DataSourceUnitDecoder& decoder) {
  m_streamMap.clear();
  ForgetIdLocked();
  m_skippedStreams.store(0);
  m_streamedTally = StreamElementTally();
  std::wstring id;
  if (!decoder.GetId(id)) return false;
  m_id = std::move(id);
  return true;
}

bool DataSourceUnit::LoadAndKeep(const DataSourceStreamDecoder& element) {
  StreamPtr stream = LoadStream(element);
  if (!stream) return false;
  const auto& name = dynamic_cast<const qz_ds::DataSourceStreamBase&>(*stream).GetName();
  return m_streamMap.emplace(name, std::move(stream)).second;  // a repeated name is not loaded twice
}

bool DataSourceUnit::LoadFromDecoder(const DataSourceUnitDecoder& decoder) {
  Lock lock(m_lock);
  if (!BeginLoadLocked(decoder)) return false;
  LoadStreamElements(decoder, [this](const DataSourceStreamDecoder& element) { return LoadAndKeep(element); });
  return true;
}

bool DataSourceUnit::BeginStreamedLoad(const DataSourceUnitDecoder& head) {
  Lock lock(m_lock);
  return BeginLoadLocked(head);
}

void DataSourceUnit::LoadStreamedElement(const DataSourceStreamDecoder& element) {
  Lock lock(m_lock);
  LoadStreamElement(element, m_streamedTally,
                    [this](const DataSourceStreamDecoder& candidate) { return LoadAndKeep(candidate); });
  m_skippedStreams.store(m_streamedTally.skipped);
}

bool DataSourceUnit::LoadFromDecoderEx(const DataSourceUnitDecoder& decoder, std::int64_t option) {
  Lock lock(m_lock);
  LoadStreamElements(decoder, [&](const DataSourceStreamDecoder& element) {
    std::wstring name;
    if (!element.GetName(name)) return false;
    if (const StreamPtr held = FindStream(name)) {
      return held->LoadContent(element, static_cast<std::int32_t>(option));
    }
    StreamPtr stream = LoadStream(element);
    return stream && m_streamMap.emplace(name, std::move(stream)).second;
  });
  return true;
}

std::int32_t DataSourceUnit::ApplyModifier(const DataSourceModifier& modifier, std::int64_t option) {
  Lock lock(m_lock);
  if (modifier.GetId() != m_id) return kModifierOtherUnit;

  // Everything that could refuse is checked first, and the new streams are
  // made before any is inserted, so that a refused snapshot changes nothing.
  const int count = modifier.GetStreamModifierCount();
  std::vector<std::shared_ptr<DataSourceStreamModifier>> records;
  std::map<std::wstring, StreamPtr> created;
  records.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    auto record = modifier.GetStreamModifier(i);
    if (!record || !HasInternalStreamClass(record->GetType()) || !record->GetInternalBuffer()) {
      return kModifierFailed;
    }
    const std::wstring& name = record->GetId();
    StreamPtr stream = FindStream(name);
    if (!stream) {
      const auto it = created.find(name);
      stream = it != created.end() ? it->second : nullptr;
    }
    if (stream) {
      const auto* base = dynamic_cast<const qz_ds::DataSourceStreamBase*>(stream.get());
      if (base == nullptr || base->GetBasicType() != record->GetType()) return kModifierFailed;
    } else {
      stream = CreateInternalStream(record->GetType());
      if (!stream) return kModifierFailed;
      // Recording and unbounded, so that the snapshot's samples are not cut
      // to the default count limit.
      stream->Initialize(name, false);
      stream->StartRecording(m_startTime);
      created.emplace(name, std::move(stream));
    }
    records.push_back(std::move(record));
  }

  m_streamMap.merge(created);
  for (const auto& record : records) {
    const StreamPtr stream = FindStream(record->GetId());
    if (stream->ApplyModifier(*record, option) != DataSourceStreamRoot::kModifierApplied) {
      QZ_REPORT(1, L"Data source %s: snapshot of stream %s not applied.", m_id.c_str(), record->GetId().c_str());
      return kModifierFailed;
    }
  }
  m_description.SetId(m_id);
  return kModifierApplied;
}

void DataSourceUnit::CopyLocked(DataSourceUnit& copy) {
  copy.m_startTime = m_startTime;
  for (const auto& [name, stream] : m_streamMap) copy.m_streamMap.emplace(name, stream->Clone());
}

bool DataSourceUnit::ResetStreams(std::int64_t t) {
  Lock lock(m_lock);
  bool all = true;
  for (const auto& [name, stream] : m_streamMap) {
    stream->Clear();
    // A new recording is not stopped by the last one's stop time.
    stream->SetStopTime(std::numeric_limits<std::int64_t>::max());
    all = stream->StartRecording(t) && all;
  }
  return all;
}

void DataSourceUnit::AlignFirstSampleTimes(std::int64_t videoFirstSampleTime) {
  Lock lock(m_lock);
  for (const auto& [name, stream] : m_streamMap) {
    stream->SetVideoOffset(videoFirstSampleTime - stream->GetFirstSampleTime());
  }
}

HRESULT CreateDataSourceUnit(const std::wstring& id, IDataSourceUnitCtrl** out) {
  if (out == nullptr) return E_POINTER;
  try {
    *out = new DataSourceUnit(id);
    return S_OK;
  } catch (const std::bad_alloc&) {
    *out = nullptr;
    return E_OUTOFMEMORY;
  }
}

HRESULT CreateDataSourceUnitFromDecoder(const DataSourceUnitDecoder& decoder, IDataSourceUnitCtrl** out) {
  return CreateLoadedUnit<DataSourceUnit>(
      [&decoder](DataSourceUnit& unit) { return unit.LoadFromDecoder(decoder); }, out);
}

}  // namespace qz_dsc
