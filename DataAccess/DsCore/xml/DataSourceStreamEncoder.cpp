#include "qz_dsc/DataSourceStreamEncoder.h"

#include <charconv>

#include "Utf8Text.h"
#include "qz_dom/DomFast.h"
#include "qz_dsc/DataSourceVocabulary.h"
#include "qz_dsc/StreamTypes.h"
#include "xml/DataSourceListWriter.h"
#include "xml/TagUtf8.h"
#include "xml/TimePairText.h"

namespace qz_dsc {

bool DataSourceStreamEncoder::CreateStream(std::int32_t streamClassId, qz_ds::StreamBasicType type,
                                           const std::wstring& name) {
  const wchar_t* typeName = GetStreamTypeXmlName(type);
  if (typeName == nullptr) return false;
  if (m_writer != nullptr) {
    // Ends the previous stream of the data source, if one is open.
    const std::size_t depth = m_writerDepth + 1;
    if (!m_writer->StartElement(m_writerDepth, DSUM_TAG_TABLE[DSUM_TAG_STREAM]) ||
        !m_writer->Attribute(depth, DSUM_TAG_TABLE[DSUM_TAG_STREAM_TYPE], typeName) ||
        !m_writer->Attribute(depth, DSUM_TAG_TABLE[DSUM_TAG_STREAM_NAME], name) ||
        !WriteAttribute(DSUM_TAG_TABLE[DSUM_TAG_STREAM_CLASS_ID], depth, streamClassId)) {
      return false;
    }
    m_writerDepth = depth;
    return true;
  }
  qz_com::ComPtr<IXMLDOMElement> stream;
  if (!m_node.CreateElementChildNode(DSUM_TAG_TABLE[DSUM_TAG_STREAM], stream.GetAddressOf())) return false;
  XMLElementExt element(stream.Get());
  if (!element.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_STREAM_TYPE], typeName) ||
      !element.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_STREAM_NAME], name) ||
      !element.SetIntAttribute(DSUM_TAG_TABLE[DSUM_TAG_STREAM_CLASS_ID], streamClassId)) {
    return false;
  }
  m_node = std::move(element);
  return true;
}

bool DataSourceStreamEncoder::SetFreeze(std::int32_t limitCount, std::int64_t freezeDelay) {
  if (m_writer != nullptr) {
    return WriteAttribute(DSUM_TAG_TABLE[DSUM_TAG_LIMIT_COUNT], m_writerDepth, limitCount) &&
           m_writer->AttributeUtf8(m_writerDepth, DSUM_TAG_TABLE[DSUM_TAG_FREEZE_DELAY],
                                   TimePairText::FormatUtf8(freezeDelay));
  }
  if (!m_node.SetIntAttribute(DSUM_TAG_TABLE[DSUM_TAG_LIMIT_COUNT], limitCount)) return false;
  return m_node.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_FREEZE_DELAY], TimePairText::Format(freezeDelay));
}

bool DataSourceStreamEncoder::SetDataVideoOffset(std::int64_t offset) {
  if (m_writer != nullptr) return WriteAttribute(DSUM_TAG_TABLE[DSUM_TAG_DATA_VIDEO_OFFSET], m_writerDepth, offset);
  return m_node.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_DATA_VIDEO_OFFSET], std::to_wstring(offset));
}

bool DataSourceStreamEncoder::SetDefaultValue(const std::wstring& text) {
  if (m_writer != nullptr) return m_writer->Attribute(m_writerDepth, DSUM_TAG_TABLE[DSUM_TAG_DEFAULT_VALUE], text);
  return m_node.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_DEFAULT_VALUE], text);
}

bool DataSourceStreamEncoder::SetFirstSampleTime(std::int64_t time) {
  if (time == 0) return false;
  if (m_writer != nullptr) return WriteAttribute(DSUM_TAG_TABLE[DSUM_TAG_FIRST_SAMPLE_TIME], m_writerDepth, time);
  return m_node.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_FIRST_SAMPLE_TIME], std::to_wstring(time));
}

bool DataSourceStreamEncoder::SetFlowType(std::int32_t flowType) {
  if (m_writer != nullptr) return WriteAttribute(DSUM_TAG_TABLE[DSUM_TAG_FLOW_TYPE], m_writerDepth, flowType);
  return m_node.SetIntAttribute(DSUM_TAG_TABLE[DSUM_TAG_FLOW_TYPE], flowType);
}

bool DataSourceStreamEncoder::SetRange(const wchar_t* low, const wchar_t* high) {
  auto set = [this](const wchar_t* name, const wchar_t* text) {
    return m_writer != nullptr ? m_writer->Attribute(m_writerDepth, name, text) : m_node.SetStringAttribute(name, text);
  };
  bool done = true;
  if (low != nullptr && *low != L'\0') done = set(DSUM_TAG_TABLE[DSUM_TAG_LOW_RANGE], low);
  if (high != nullptr && *high != L'\0') done = set(DSUM_TAG_TABLE[DSUM_TAG_HIGH_RANGE], high) && done;
  return done;
}

bool DataSourceStreamEncoder::SetValueUnit(const std::wstring& text) {
  if (m_writer != nullptr) return m_writer->Attribute(m_writerDepth, DSUM_TAG_TABLE[DSUM_TAG_VALUE_UNIT], text);
  return m_node.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_VALUE_UNIT], text);
}

bool DataSourceStreamEncoder::AddSample(const std::wstring& text, std::int64_t time) {
  if (m_writer != nullptr) {
    static const std::string& value = TagUtf8(DSUM_TAG_VALUE);
    static const std::string& timeStamp = TagUtf8(DSUM_TAG_TIME_STAMP);
    char pair[TimePairText::kMaxUtf8Size];
    return m_writer->TextElement(m_writerDepth, value, timeStamp, TimePairText::FormatUtf8To(time, pair), text);
  }
  // The bulk writer builds <Value TimeStamp="S M">text</Value> directly: one
  // element per sample, no wrapper objects.
  IXMLDOMElement* stream = m_node.GetElement();
  if (stream == nullptr) return false;
  return SUCCEEDED(qz_dom::AppendTextElement(stream, TagUtf8(DSUM_TAG_VALUE), text, TagUtf8(DSUM_TAG_TIME_STAMP),
                                             TimePairText::FormatUtf8(time)));
}

bool DataSourceStreamEncoder::AddSampleUtf8(std::string_view text, std::int64_t time) {
  if (m_writer == nullptr) return AddSample(utf8text::ToWide(text), time);
  static const std::string& value = TagUtf8(DSUM_TAG_VALUE);
  static const std::string& timeStamp = TagUtf8(DSUM_TAG_TIME_STAMP);
  char pair[TimePairText::kMaxUtf8Size];
  return m_writer->TextElementUtf8(m_writerDepth, value, timeStamp, TimePairText::FormatUtf8To(time, pair), text);
}

bool DataSourceStreamEncoder::SetInterpolationType(const std::wstring& text) {
  if (m_writer != nullptr) return m_writer->Attribute(m_writerDepth, DSUM_TAG_TABLE[DSUM_TAG_INTERPOLATION_TYPE], text);
  return m_node.SetStringAttribute(DSUM_TAG_TABLE[DSUM_TAG_INTERPOLATION_TYPE], text);
}

template <class Int>
bool DataSourceStreamEncoder::WriteAttribute(const wchar_t* name, std::size_t depth, Int value) {
  char digits[24];
  const auto [end, ec] = std::to_chars(digits, digits + sizeof digits, value);
  return ec == std::errc() && m_writer->AttributeUtf8(depth, name, std::string_view(digits, static_cast<std::size_t>(end - digits)));
}

}  // namespace qz_dsc
