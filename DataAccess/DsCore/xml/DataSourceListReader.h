// Reads the data source list document from a file as a stream (libxml2's
// SAX2 parser), without keeping a DOM: the file load's path for large lists.
// Plain samples are read straight from the parser's events; every other
// element is made by libxml2's own tree builder, so that every node (blank
// text included) is what the DOM would hold, and each finished element is
// taken into a record and freed at once. It finds the
// description unit the way the DOM query does (namespaces resolved by URI,
// then "xsi:type" read by its written name) and hands every data source to a
// sink through the same decoders the DOM path uses, backed by records of the
// elements instead of DOM nodes. An internal data source's streams arrive
// one at a time, each with its samples, so that only one stream's texts are
// held at once; anything else arrives whole.
// Not synchronised: belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <string>

#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/DataSourceUnitDecoder.h"

namespace qz_dsc {

class DataSourceListReader {
 public:
  // What the reader finds, in document order.
  class Sink {
   public:
    virtual ~Sink() = default;
    // An internal data source with a name begins; head holds its element
    // without children.
    virtual void BeginDataSource(const DataSourceUnitDecoder& head) = 0;
    // One child element of it (comments and text are not handed on).
    virtual void DataSourceChild(const DataSourceStreamDecoder& child) = 0;
    virtual void EndDataSource() = 0;
    // Any other child element of the description unit, read whole.
    virtual void WholeElement(const DataSourceUnitDecoder& element) = 0;
  };

  struct Outcome {
    bool parsed = false;   // the whole document is well-formed
    bool located = false;  // the description unit was found with the right "xsi:type"
    // Element children of the description unit.
    std::int32_t elements = 0;
    // For a document that does not parse: libxml2's first error.
    std::wstring reason;
    int line = 0;
    int column = 0;
  };

  // baseFolder: the document's folder, handed to every decoder.
  explicit DataSourceListReader(std::wstring baseFolder) : m_baseFolder(std::move(baseFolder)) {}

  // Reads file (a UTF-8 path) to its end, feeding sink. The sink may have
  // been fed even when the document turns out not to parse. Parse errors
  // are the DOM's (same parser, same options, its first error).
  Outcome Read(const std::string& file, Sink& sink);

 private:
  std::wstring m_baseFolder;
};

}  // namespace qz_dsc
