#include "xml/DataSourceListReader.h"

#include <libxml/xmlreader.h>
#include <libxml/xmlsave.h>

#include <memory>
#include <string_view>

#include "Utf8Text.h"
#include "qz_dom/DomFast.h"
#include "qz_dsc/DataSourceVocabulary.h"
#include "xml/ElementRecord.h"
#include "xml/ExternalSourceNames.h"
#include "xml/TagUtf8.h"
#include "xml/TimePairText.h"

namespace qz_dsc {
namespace {

std::string_view View(const xmlChar* text) {
  return text != nullptr ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
}

// The part of a qualified name after its prefix.
std::string_view LocalPart(std::string_view qname) {
  const auto colon = qname.find(':');
  return colon == std::string_view::npos ? qname : qname.substr(colon + 1);
}

// Names of the vocabulary in UTF-8, made once.
struct Names {
  std::string uri = TagUtf8(DSUM_TAG_NAMESPACE_URI);
  std::string unitLocal = std::string(LocalPart(utf8text::ToUtf8(DSUM_MAIN_TAG)));
  std::string typeName = utf8text::ToUtf8(DSUM_TYPE_TAG_NAME);
  std::string typeLocal = std::string(LocalPart(typeName));
  std::string listType = utf8text::ToUtf8(DSUM_TYPE_TYPE_NAME);
  std::string dataSource = TagUtf8(DSUM_TAG_DATA_SOURCE);
  std::string sourceName = TagUtf8(DSUM_TAG_DATA_SOURCE_NAME);
  std::string isExternal = TagUtf8(DSUM_TAG_IS_EXTERNAL);
  std::string value = TagUtf8(DSUM_TAG_VALUE);
  std::string timeStamp = TagUtf8(DSUM_TAG_TIME_STAMP);
  std::string yes = utf8text::ToUtf8(kExternalYes);
  std::string settings = utf8text::ToUtf8(kPersistencyElement);
};

const Names& N() {
  static const Names names;
  return names;
}

struct ReaderFree {
  void operator()(xmlTextReaderPtr reader) const noexcept { xmlFreeTextReader(reader); }
};

// The parser's first error, as the DOM reports it.
void RecordFirstError(void* arg, xmlErrorPtr error) {
  auto* outcome = static_cast<DataSourceListReader::Outcome*>(arg);
  if (outcome == nullptr || error == nullptr || error->level < XML_ERR_ERROR || !outcome->reason.empty()) return;
  std::string message = error->message != nullptr ? error->message : "unknown parse error";
  while (!message.empty() && (message.back() == '\n' || message.back() == '\r' || message.back() == ' ')) {
    message.pop_back();
  }
  outcome->reason = utf8text::ToWide(message);
  outcome->line = error->line;
  outcome->column = error->int2;
}

// Walks the document node by node. Every Read* function starts on an
// element and leaves the reader on that element's last node (the element
// itself when it is empty); the result is libxml2's: 1 read on, 0 end of
// input, -1 error.
class Walk {
 public:
  Walk(xmlTextReaderPtr reader, DataSourceListReader::Sink& sink, const std::wstring& baseFolder,
       DataSourceListReader::Outcome& outcome)
      : m_reader(reader), m_sink(sink), m_baseFolder(baseFolder), m_outcome(outcome) {}

  int Document() {
    int ret = 1;
    bool decided = false;
    while ((ret = xmlTextReaderRead(m_reader)) == 1) {
      if (xmlTextReaderNodeType(m_reader) != XML_READER_TYPE_ELEMENT || xmlTextReaderDepth(m_reader) != 1) continue;
      // What selecting the description unit below the root finds: the first
      // child matching by namespace URI; then its type by written name.
      std::string writtenType;
      if (decided || !IsDescriptionUnit(writtenType)) continue;
      decided = true;
      m_outcome.located = writtenType == N().listType;
      if (m_outcome.located && (ret = ReadDescriptionUnit()) != 1) break;
    }
    return ret;
  }

 private:
  bool Empty() const { return xmlTextReaderIsEmptyElement(m_reader) == 1; }
  int Depth() const { return xmlTextReaderDepth(m_reader); }
  int Type() const { return xmlTextReaderNodeType(m_reader); }

  // Runs child for every node directly inside the current element.
  template <class Child>
  int Children(Child&& child) {
    if (Empty()) return 1;
    const int depth = Depth();
    int ret = 1;
    while ((ret = xmlTextReaderRead(m_reader)) == 1) {
      const int at = Depth();
      if (at <= depth) return 1;  // the element's end
      if (at == depth + 1 && (ret = child()) != 1) return ret;
    }
    return ret;
  }

  // Reads past the current element; what lies deeper is never looked at.
  int Skip() {
    return Children([] { return 1; });
  }

  bool IsDescriptionUnit(std::string& writtenType) {
    if (View(xmlTextReaderConstNamespaceUri(m_reader)) != N().uri ||
        View(xmlTextReaderConstLocalName(m_reader)) != N().unitLocal) {
      return false;
    }
    bool matches = false;
    for (int ok = xmlTextReaderMoveToFirstAttribute(m_reader); ok == 1; ok = xmlTextReaderMoveToNextAttribute(m_reader)) {
      const std::string_view value = View(xmlTextReaderConstValue(m_reader));
      if (View(xmlTextReaderConstNamespaceUri(m_reader)) == N().uri &&
          View(xmlTextReaderConstLocalName(m_reader)) == N().typeLocal && value == N().listType) {
        matches = true;
      }
      if (View(xmlTextReaderConstName(m_reader)) == N().typeName) writtenType = value;
    }
    xmlTextReaderMoveToElement(m_reader);
    return matches;
  }

  std::shared_ptr<ElementRecord> Head() {
    auto record = std::make_shared<ElementRecord>();
    record->tag = View(xmlTextReaderConstName(m_reader));
    for (int ok = xmlTextReaderMoveToFirstAttribute(m_reader); ok == 1; ok = xmlTextReaderMoveToNextAttribute(m_reader)) {
      if (xmlTextReaderIsNamespaceDecl(m_reader) == 1) continue;
      record->attributes.emplace_back(View(xmlTextReaderConstName(m_reader)), View(xmlTextReaderConstValue(m_reader)));
    }
    xmlTextReaderMoveToElement(m_reader);
    return record;
  }

  int ReadDescriptionUnit() {
    return Children([this] {
      if (Type() != XML_READER_TYPE_ELEMENT) return 1;
      ++m_outcome.elements;
      return ReadDataSource();
    });
  }

  int ReadDataSource() {
    std::shared_ptr<ElementRecord> record = Head();
    const std::string* external = record->Find(N().isExternal);
    const bool streamed = record->tag == N().dataSource && record->Find(N().sourceName) != nullptr &&
                          (external == nullptr || *external != N().yes);
    if (!streamed) {
      const int ret = Children([&] {
        if (Type() != XML_READER_TYPE_ELEMENT) return 1;
        if (record->tag != N().dataSource) return Skip();  // no data source: nothing below is read
        if (IsSettingsElement()) {
          if (!record->hasSettings) {
            record->hasSettings = true;
            record->settingsXml = ExpandedContent();
          }
          return Skip();
        }
        if (View(xmlTextReaderConstName(m_reader)) == N().settings) return Skip();
        std::shared_ptr<ElementRecord> child;
        const int childRet = ReadChild(child);
        record->children.push_back(std::move(child));
        return childRet;
      });
      if (ret == 1) m_sink.WholeElement(MakeDecoder<DataSourceUnitDecoder>(std::move(record)));
      return ret;
    }
    m_sink.BeginDataSource(MakeDecoder<DataSourceUnitDecoder>(std::move(record)));
    const int ret = Children([this] {
      if (Type() != XML_READER_TYPE_ELEMENT) return 1;
      if (View(xmlTextReaderConstName(m_reader)) == N().settings) return Skip();
      std::shared_ptr<ElementRecord> child;
      const int childRet = ReadChild(child);
      if (childRet == 1) m_sink.DataSourceChild(MakeDecoder<DataSourceStreamDecoder>(std::move(child)));
      return childRet;
    });
    if (ret == 1) m_sink.EndDataSource();
    return ret;
  }

  // What the DOM's query "PersistencyData" selects: no namespace.
  bool IsSettingsElement() const {
    return xmlTextReaderConstNamespaceUri(m_reader) == nullptr &&
           View(xmlTextReaderConstLocalName(m_reader)) == N().settings;
  }

  // The XML of every child of the current element, each as the DOM writes
  // a node.
  std::string ExpandedContent() {
    std::string out;
    std::string xml;
    xmlNodePtr element = xmlTextReaderExpand(m_reader);
    for (xmlNodePtr child = element != nullptr ? element->children : nullptr; child != nullptr; child = child->next) {
      if (FAILED(qz_dom::NodeXml(child, xml))) return std::string();  // as the DOM: no settings then
      out += xml;
    }
    return out;
  }

  // A child element of a data source: its head and its "Value" children.
  int ReadChild(std::shared_ptr<ElementRecord>& out) {
    out = Head();
    ElementRecord& record = *out;
    return Children([&] {
      if (Type() != XML_READER_TYPE_ELEMENT) return 1;
      if (xmlTextReaderConstNamespaceUri(m_reader) != nullptr ||
          View(xmlTextReaderConstLocalName(m_reader)) != N().value) {
        return Skip();
      }
      std::int64_t time = 0;
      bool timed = false;
      if (xmlTextReaderMoveToAttribute(m_reader, reinterpret_cast<const xmlChar*>(N().timeStamp.c_str())) == 1) {
        timed = TimePairText::ParseUtf8(View(xmlTextReaderConstValue(m_reader)), time);
        xmlTextReaderMoveToElement(m_reader);
      }
      // The text is the element's first text child, as in the DOM.
      bool haveText = false;
      const int ret = Children([&] {
        const int type = Type();
        if (type == XML_READER_TYPE_ELEMENT) return Skip();
        if (!haveText && (type == XML_READER_TYPE_TEXT || type == XML_READER_TYPE_WHITESPACE ||
                          type == XML_READER_TYPE_SIGNIFICANT_WHITESPACE)) {
          record.texts += View(xmlTextReaderConstValue(m_reader));
          haveText = true;
        }
        return 1;
      });
      record.textEnds.push_back(record.texts.size());
      record.times.push_back(time);
      record.timed.push_back(timed);
      return ret;
    });
  }

  template <class Decoder>
  Decoder MakeDecoder(std::shared_ptr<ElementRecord> record) const {
    Decoder decoder(nullptr, m_baseFolder);
    decoder.SetRecord(std::move(record));
    return decoder;
  }

  xmlTextReaderPtr m_reader;
  DataSourceListReader::Sink& m_sink;
  const std::wstring& m_baseFolder;
  DataSourceListReader::Outcome& m_outcome;
};

// Where the parse below records its first error (libxml2 hands its own
// context to the callback).
thread_local DataSourceListReader::Outcome* t_reparse = nullptr;

void RecordReparseError(void*, xmlErrorPtr error) { RecordFirstError(t_reparse, error); }

struct ContextFree {
  void operator()(xmlParserCtxtPtr ctxt) const noexcept { xmlFreeParserCtxt(ctxt); }
};

// The DOM's report for a document that does not parse. The streaming reader
// feeds the parser in chunks and words some errors at the end of the input
// differently, so the file is parsed once more the DOM's way for its first
// error, with the content callbacks off so that no tree is built.
void ReportAsTheDom(const std::string& file, DataSourceListReader::Outcome& outcome) {
  std::unique_ptr<xmlParserCtxt, ContextFree> ctxt(xmlNewParserCtxt());
  if (!ctxt) return;
  xmlSAXHandlerPtr sax = ctxt->sax;
  sax->serror = RecordReparseError;
  sax->startElementNs = nullptr;
  sax->endElementNs = nullptr;
  sax->characters = nullptr;
  sax->cdataBlock = nullptr;
  sax->comment = nullptr;
  sax->processingInstruction = nullptr;
  sax->reference = nullptr;
  DataSourceListReader::Outcome first;
  t_reparse = &first;
  xmlDocPtr doc = xmlCtxtReadFile(ctxt.get(), file.c_str(), nullptr, qz_dom::ParseOptions());
  t_reparse = nullptr;
  if (doc != nullptr) xmlFreeDoc(doc);
  if (!first.reason.empty()) {
    outcome.reason = std::move(first.reason);
    outcome.line = first.line;
    outcome.column = first.column;
  }
}

}  // namespace

DataSourceListReader::Outcome DataSourceListReader::Read(const std::string& file, Sink& sink) {
  Outcome outcome;
  std::unique_ptr<xmlTextReader, ReaderFree> reader(xmlReaderForFile(file.c_str(), nullptr, qz_dom::ParseOptions()));
  if (!reader) {
    outcome.reason = L"the file cannot be read";
    return outcome;
  }
  xmlTextReaderSetStructuredErrorHandler(reader.get(), RecordFirstError, &outcome);
  Walk walk(reader.get(), sink, m_baseFolder, outcome);
  int ret = walk.Document();
  // Everything after the list is still read: a document that does not
  // parse to its end does not load, as with the DOM.
  while (ret == 1) ret = xmlTextReaderRead(reader.get());
  outcome.parsed = ret == 0;
  if (!outcome.parsed) {
    outcome.located = false;
    ReportAsTheDom(file, outcome);
    if (outcome.reason.empty()) outcome.reason = L"the document does not parse";
  } else {
    // Errors that do not stop libxml2 (namespace errors) do not stop the DOM either.
    outcome.reason.clear();
    outcome.line = outcome.column = 0;
  }
  return outcome;
}

}  // namespace qz_dsc
