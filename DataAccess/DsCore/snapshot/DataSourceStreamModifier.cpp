#include "qz_dsc/DataSourceStreamModifier.h"

#include <cstdint>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/StreamModifierRawBuffer.h"

namespace qz_dsc {
namespace {

// The int a variant carries, or nullptr when it carries something else.
const int* IntOf(const DataSourceStreamVariant& value) {
  const auto* typed = dynamic_cast<const DataSourceStreamVariantDerived<int>*>(&value);
  return typed != nullptr ? &typed->GetValue() : nullptr;
}

// Flow and interpolation types take only 0 and 1; compared unsigned so that
// negative values are refused too.
bool IsZeroOrOne(int value) {
  return static_cast<std::uint32_t>(value) <= 1u;
}

}  // namespace

DataSourceStreamModifier::DataSourceStreamModifier() = default;

DataSourceStreamModifier::~DataSourceStreamModifier() = default;

void DataSourceStreamModifier::InternalCleanup() {
  m_buffer.reset();
  m_id.clear();
  m_type = qz_ds::StreamBasicType_None;
}

bool DataSourceStreamModifier::Create(const std::wstring& id, const qz_ds::StreamBasicType& type) {
  // Copied first: id may be this modifier's own id, which the cleanup empties.
  const std::wstring newId = id;
  const qz_ds::StreamBasicType newType = type;
  InternalCleanup();
  m_buffer = CreateStreamModifierRawBuffer(newType);
  if (!m_buffer) return false;
  m_type = newType;
  m_id = newId;
  return true;
}

int DataSourceStreamModifier::SetAttribute(StreamAttributeId id, const DataSourceStreamVariant& value) {
  switch (id) {
    case FlowType:
    case InterpolationType: {
      const int* number = IntOf(value);
      if (number == nullptr) return kAttributeWrongType;
      if (!IsZeroOrOne(*number)) return kAttributeBadValue;
      if (id == FlowType) {
        m_flowType = static_cast<StreamFlowType>(*number);
      } else {
        m_interpolationType = static_cast<StreamInterpolationType>(*number);
      }
      return kAttributeSet;
    }
    case LimitCount:
    case FreezeDelay:
    case TrailingAttribute: {
      const int* number = IntOf(value);
      if (number == nullptr) return kAttributeWrongType;
      if (id == LimitCount) {
        m_limitCount = *number;
      } else if (id == FreezeDelay) {
        m_freezeDelay = *number;
      } else {
        m_trailingAttribute = *number;
      }
      return kAttributeSet;
    }
    case DefaultValue:
    case LowRange:
    case HighRange: {
      if (!m_buffer) return kAttributeUnknown;
      int result = 0;
      if (id == DefaultValue) {
        result = m_buffer->SetDefaultValue(value);
      } else if (id == LowRange) {
        result = m_buffer->SetLowRange(value);
      } else {
        result = m_buffer->SetHighRange(value);
      }
      return result != 0 ? kAttributeWrongType : kAttributeSet;
    }
    case ValueUnit: {
      const auto* text = dynamic_cast<const DataSourceStreamVariantDerived<std::wstring>*>(&value);
      if (text == nullptr) return kAttributeWrongType;
      m_valueUnit = text->GetValue();
      return kAttributeSet;
    }
  }
  return kAttributeUnknown;
}

void DataSourceStreamModifier::ClearData() {
  if (m_buffer) m_buffer->ClearData();
}

int DataSourceStreamModifier::SerializeTo(BasicBinarySerializer& s) const {
  if (!m_buffer || !s) return -1;
  s << m_id << 0;
  if (!s) return -1;
  s << static_cast<int>(m_type);
  if (!s) return -1;
  s << static_cast<int>(m_flowType) << static_cast<int>(m_limitCount) << static_cast<int>(m_freezeDelay)
    << static_cast<int>(m_interpolationType) << m_valueUnit << static_cast<int>(m_trailingAttribute);
  if (!s) return -1;
  return m_buffer->SerializeTo(s);
}

int DataSourceStreamModifier::DeserializeFrom(BasicBinaryDeserializer& d) {
  std::wstring id;
  int reserved = 0;
  int type = 0;
  d >> id >> reserved >> type;
  if (!d) return -1;
  m_id = std::move(id);
  m_type = static_cast<qz_ds::StreamBasicType>(type);

  // Stored as read, without the range checks of SetAttribute; a failed read
  // leaves its field as it was.
  int flowType = m_flowType;
  int limitCount = m_limitCount;
  int freezeDelay = m_freezeDelay;
  int interpolationType = m_interpolationType;
  int trailingAttribute = m_trailingAttribute;
  d >> flowType >> limitCount >> freezeDelay >> interpolationType >> m_valueUnit >> trailingAttribute;
  m_flowType = static_cast<StreamFlowType>(flowType);
  m_limitCount = limitCount;
  m_freezeDelay = freezeDelay;
  m_interpolationType = static_cast<StreamInterpolationType>(interpolationType);
  m_trailingAttribute = trailingAttribute;
  if (!d) return -1;

  m_buffer = CreateStreamModifierRawBuffer(m_type);
  if (!m_buffer) return -1;
  return m_buffer->DeserializeFrom(d);
}

}  // namespace qz_dsc
