// Reads one stream of a data source from the data source list document: the
// attributes of a "DataSourceStream" element and its "Value" samples. Every
// getter reports false when its element or attribute is missing or does not
// parse; the caller decides what that means.
// Not synchronised: belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "qz_ds/qz_ds.h"
#include "qz_dsc/DataSourceEncDecCommon.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

class QZ_DSC_API DataSourceStreamDecoder : public DataSourceEncDecCommon {
 public:
  DataSourceStreamDecoder() = default;
  // node: one child node of a "DataSource" element (maybe not an element).
  DataSourceStreamDecoder(IXMLDOMNode* node, const std::wstring& baseFolder)
      : DataSourceEncDecCommon(node, baseFolder) {}

  // "name"; false unless the tag is exactly "DataSourceStream".
  [[nodiscard]] bool GetName(std::wstring& name) const;
  // True when "xsi:type" equals the XML name of type exactly.
  [[nodiscard]] bool IsOfType(qz_ds::StreamBasicType type) const;
  [[nodiscard]] bool GetType(std::wstring& typeName) const;
  [[nodiscard]] bool GetStreamClassId(std::int32_t& id) const;
  // "limitCount" and "freezeDelay" (time pair); both must be there and parse.
  [[nodiscard]] bool GetFreeze(std::int32_t& limitCount, std::int64_t& freezeDelay) const;
  [[nodiscard]] bool GetDataVideoOffset(std::int64_t& offset) const;
  [[nodiscard]] bool GetDefaultValue(std::wstring& text) const;
  // False when absent (the stream keeps 0).
  [[nodiscard]] bool GetFirstSampleTime(std::int64_t& time) const;
  // False unless the value is 1 or 2.
  [[nodiscard]] bool GetFlowType(std::int32_t& flowType) const;
  // False when "lowRange" is absent (then "highRange" is not read); else
  // true only when "highRange" is there too.
  [[nodiscard]] bool GetRange(std::wstring& low, std::wstring& high) const;
  [[nodiscard]] bool GetValueUnit(std::wstring& text) const;
  // Number of "Value" children; always true.
  [[nodiscard]] bool GetSampleCount(std::int32_t& count) const;
  // Text and "TimeStamp" of "Value" child index (text empty when it has
  // none); false when the item or its time is missing or does not parse.
  // The list of "Value" children is gathered once, on first use.
  [[nodiscard]] bool GetSample(std::int32_t index, std::wstring& text, std::int64_t& time) const;
  // GetSample with the text in UTF-8, viewing the decoder's own copy; only
  // for a decoder over an element the streaming reader kept (false for a
  // DOM node).
  [[nodiscard]] bool GetSampleUtf8(std::int32_t index, std::string_view& text, std::int64_t& time) const;

 private:
  // The "Value" children of the current node, gathered on first use; copies
  // of a decoder share it (it never changes once made).
  struct SampleIndex;
  const SampleIndex& Samples() const;

  mutable std::shared_ptr<const SampleIndex> m_samples;
};

}  // namespace qz_dsc
