// Writes one stream of a data source into the data source list document: the
// "DataSourceStream" element with its attributes in their fixed order, then
// one "Value" element per sample. A typed stream's save calls the operations
// in the order they are declared here.
// Not synchronised: belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "qz_ds/qz_ds.h"
#include "qz_dsc/DataSourceEncDecCommon.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

class QZ_DSC_API DataSourceStreamEncoder : public DataSourceEncDecCommon {
 public:
  DataSourceStreamEncoder() = default;
  // dataSource: the "DataSource" element to write under.
  DataSourceStreamEncoder(IXMLDOMNode* dataSource, const std::wstring& baseFolder)
      : DataSourceEncDecCommon(dataSource, baseFolder) {}

  // Creates "DataSourceStream" under the held element with "xsi:type",
  // "name" and "StreamClassID", and holds it from then on. False for a type
  // without an XML name.
  [[nodiscard]] bool CreateStream(std::int32_t streamClassId, qz_ds::StreamBasicType type, const std::wstring& name);
  // "limitCount", and only when that was written, "freezeDelay" (time pair).
  [[nodiscard]] bool SetFreeze(std::int32_t limitCount, std::int64_t freezeDelay);
  // "dataVideoOffset64" in 100-ns ticks.
  [[nodiscard]] bool SetDataVideoOffset(std::int64_t offset);
  [[nodiscard]] bool SetDefaultValue(const std::wstring& text);
  // "firstSampleTime" in 100-ns ticks; nothing (and false) for 0.
  [[nodiscard]] bool SetFirstSampleTime(std::int64_t time);
  [[nodiscard]] bool SetFlowType(std::int32_t flowType);
  // "lowRange" / "highRange" for each non-empty text (either may be null);
  // true when nothing had to be written.
  [[nodiscard]] bool SetRange(const wchar_t* low, const wchar_t* high);
  [[nodiscard]] bool SetValueUnit(const std::wstring& text);
  // One "Value" child holding text, with "TimeStamp" as a time pair.
  [[nodiscard]] bool AddSample(const std::wstring& text, std::int64_t time);
  // The same with UTF-8 text, such as a number written by std::to_chars.
  [[nodiscard]] bool AddSampleUtf8(std::string_view text, std::int64_t time);
  // "interpolationType"; part of the vocabulary, not written by stream saves.
  [[nodiscard]] bool SetInterpolationType(const std::wstring& text);

 private:
  // A decimal integer attribute through the streaming writer.
  template <class Int>
  bool WriteAttribute(const wchar_t* name, std::size_t depth, Int value);
};

}  // namespace qz_dsc
