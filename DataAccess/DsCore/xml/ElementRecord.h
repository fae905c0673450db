// One element of the data source list document as the streaming reader keeps
// it: what the decoders read from a DOM element, without the DOM. A
// "DataSourceStream" record holds its "Value" samples compactly (the texts
// in one buffer); a "DataSource" record read whole holds its child elements
// and the serialised content of its "PersistencyData".
// Immutable once handed to a decoder; safe to share between threads then.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qz_dsc {

struct ElementRecord {
  std::string tag;  // the qualified name as written
  std::vector<std::pair<std::string, std::string>> attributes;  // qualified name as written, value (UTF-8)

  // The "Value" children (no namespace), in document order: the text of
  // each (its first text child) and its "TimeStamp" read as a time pair,
  // when present and valid.
  std::string texts;
  std::vector<std::size_t> textEnds;
  std::vector<std::int64_t> times;
  std::vector<bool> timed;

  // Whole "DataSource" records only.
  bool hasSettings = false;
  std::string settingsXml;  // the XML of what the first "PersistencyData" holds
  std::vector<std::shared_ptr<const ElementRecord>> children;

  // The value of the attribute with this qualified name, or null.
  const std::string* Find(std::string_view qname) const noexcept {
    for (const auto& [name, value] : attributes) {
      if (name == qname) return &value;
    }
    return nullptr;
  }
  std::size_t SampleCount() const noexcept { return textEnds.size(); }
  std::string_view SampleText(std::size_t i) const noexcept {
    const std::size_t start = i == 0 ? 0 : textEnds[i - 1];
    return std::string_view(texts).substr(start, textEnds[i] - start);
  }
};

}  // namespace qz_dsc
