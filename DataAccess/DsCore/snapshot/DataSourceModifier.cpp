#include "qz_dsc/DataSourceModifier.h"

#include <cstdint>
#include <ostream>
#include <utility>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"

namespace qz_dsc {

DataSourceModifier::DataSourceModifier() = default;

DataSourceModifier::~DataSourceModifier() = default;

bool DataSourceModifier::AddStream(std::shared_ptr<DataSourceStreamModifier> stream) {
  if (!stream) return false;
  m_streams.push_back(std::move(stream));
  return true;
}

void DataSourceModifier::Clear() {
  m_streams.clear();
}

void DataSourceModifier::ClearData() {
  for (const auto& stream : m_streams) stream->ClearData();
}

int DataSourceModifier::GetStreamModifierCount() const noexcept {
  return static_cast<int>(m_streams.size());
}

std::shared_ptr<DataSourceStreamModifier> DataSourceModifier::GetStreamModifier(const std::wstring& id) const {
  for (const auto& stream : m_streams) {
    if (stream->GetId() == id) return stream;
  }
  return nullptr;
}

std::shared_ptr<DataSourceStreamModifier> DataSourceModifier::GetStreamModifier(int index) const {
  if (index < 0 || index >= GetStreamModifierCount()) return nullptr;
  return m_streams[static_cast<std::size_t>(index)];
}

void DataSourceModifier::Dump(std::wostream& /*out*/) {}

int DataSourceModifier::SerializeTo(BasicBinarySerializer& s) const {
  s << m_id << 0 << GetStreamModifierCount();
  if (!s) return -1;
  for (const auto& stream : m_streams) {
    // Only -1 stops the walk; a stream has no other failure to report.
    if (stream->SerializeTo(s) == -1) return -1;
  }
  return 0;
}

int DataSourceModifier::DeserializeFrom(BasicBinaryDeserializer& d) {
  m_streams.clear();
  std::wstring id;
  int reserved = 0;
  int count = 0;
  d >> id >> reserved >> count;
  if (!d) return -1;
  m_id = std::move(id);

  // The count is taken as unsigned; a damaged one fails at the first record
  // that the input cannot hold, so nothing is reserved for it.
  std::vector<std::shared_ptr<DataSourceStreamModifier>> streams;
  const auto total = static_cast<std::uint32_t>(count);
  for (std::uint32_t i = 0; i < total; ++i) {
    auto stream = std::make_shared<DataSourceStreamModifier>();
    if (stream->DeserializeFrom(d) != 0) return -1;
    streams.push_back(std::move(stream));
  }
  m_streams = std::move(streams);
  return 0;
}

}  // namespace qz_dsc
