#include "qz_dsc/DataSourceStreamDecoder.h"

#include <memory>
#include <vector>

#include "qz_dom/DomFast.h"

#include "Utf8Text.h"
#include "qz_dsc/DataSourceVocabulary.h"
#include "qz_dsc/StreamTypes.h"
#include "xml/ElementRecord.h"
#include "xml/NumberText.h"
#include "xml/TagUtf8.h"
#include "xml/TimePairText.h"

namespace qz_dsc {

bool DataSourceStreamDecoder::GetName(std::wstring& name) const {
  return HasTagName(DSUM_TAG_TABLE[DSUM_TAG_STREAM]) &&
         ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_STREAM_NAME], name);
}

bool DataSourceStreamDecoder::IsOfType(qz_ds::StreamBasicType type) const {
  const wchar_t* expected = GetStreamTypeXmlName(type);
  std::wstring actual;
  return expected != nullptr && GetType(actual) && actual == expected;
}

bool DataSourceStreamDecoder::GetType(std::wstring& typeName) const {
  return ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_STREAM_TYPE], typeName);
}

bool DataSourceStreamDecoder::GetStreamClassId(std::int32_t& id) const {
  return ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_STREAM_CLASS_ID], id);
}

bool DataSourceStreamDecoder::GetFreeze(std::int32_t& limitCount, std::int64_t& freezeDelay) const {
  std::int32_t count = 0;
  std::wstring delayText;
  std::int64_t delay = 0;
  if (!ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_LIMIT_COUNT], count) ||
      !ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_FREEZE_DELAY], delayText) ||
      !TimePairText::Parse(delayText, delay)) {
    return false;
  }
  limitCount = count;
  freezeDelay = delay;
  return true;
}

bool DataSourceStreamDecoder::GetDataVideoOffset(std::int64_t& offset) const {
  return ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_DATA_VIDEO_OFFSET], offset);
}

bool DataSourceStreamDecoder::GetDefaultValue(std::wstring& text) const {
  return ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_DEFAULT_VALUE], text);
}

bool DataSourceStreamDecoder::GetFirstSampleTime(std::int64_t& time) const {
  return ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_FIRST_SAMPLE_TIME], time);
}

bool DataSourceStreamDecoder::GetFlowType(std::int32_t& flowType) const {
  std::int32_t value = 0;
  if (!ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_FLOW_TYPE], value) || value < 1 || value > 2) return false;
  flowType = value;
  return true;
}

bool DataSourceStreamDecoder::GetRange(std::wstring& low, std::wstring& high) const {
  if (!ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_LOW_RANGE], low)) return false;
  return ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_HIGH_RANGE], high);
}

bool DataSourceStreamDecoder::GetValueUnit(std::wstring& text) const {
  return ReadAttribute(DSUM_TAG_TABLE[DSUM_TAG_VALUE_UNIT], text);
}

struct DataSourceStreamDecoder::SampleIndex {
  // Holding the element keeps its document, and so every reference below, alive.
  qz_com::ComPtr<IXMLDOMElement> element;
  std::vector<qz_dom::ElementRef> values;
};

const DataSourceStreamDecoder::SampleIndex& DataSourceStreamDecoder::Samples() const {
  IXMLDOMElement* element = m_node.GetElement();
  if (!m_samples || m_samples->element.Get() != element) {
    auto index = std::make_shared<SampleIndex>();
    index->element = qz_com::ComPtr<IXMLDOMElement>(element);
    // What the XPath "Value" selects: child elements without a namespace.
    if (element != nullptr && FAILED(qz_dom::CollectChildElements(element, TagUtf8(DSUM_TAG_VALUE), index->values))) {
      index->values.clear();
    }
    m_samples = std::move(index);
  }
  return *m_samples;
}

bool DataSourceStreamDecoder::GetSampleCount(std::int32_t& count) const {
  count = static_cast<std::int32_t>(m_record ? m_record->SampleCount() : Samples().values.size());
  return true;
}

bool DataSourceStreamDecoder::GetSampleUtf8(std::int32_t index, std::string_view& text, std::int64_t& time) const {
  const auto i = static_cast<std::size_t>(index);
  if (!m_record || index < 0 || i >= m_record->SampleCount() || !m_record->timed[i]) return false;
  text = m_record->SampleText(i);
  time = m_record->times[i];
  return true;
}

bool DataSourceStreamDecoder::GetSample(std::int32_t index, std::wstring& text, std::int64_t& time) const {
  if (m_record) {
    std::string_view utf8;
    if (!GetSampleUtf8(index, utf8, time)) return false;
    utf8text::AssignWide(utf8, text);
    return true;
  }
  const auto& values = Samples().values;
  if (index < 0 || static_cast<std::size_t>(index) >= values.size()) return false;
  // The element reference stays valid: the index holds its element.
  const qz_dom::ElementRef value = values[static_cast<std::size_t>(index)];
  std::string scratch;
  std::string_view stamp;
  std::int64_t ticks = 0;
  if (!qz_dom::GetAttributeUtf8(value, TagUtf8(DSUM_TAG_TIME_STAMP), scratch, stamp) || !TimePairText::ParseUtf8(stamp, ticks)) {
    return false;
  }
  if (!qz_dom::GetFirstTextChild(value, text)) text.clear();
  time = ticks;
  return true;
}

}  // namespace qz_dsc
