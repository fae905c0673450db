#include "xml/DataSourceListReader.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <exception>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

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

// The parser's first error, as the DOM reports it.
void RecordFirstError(DataSourceListReader::Outcome& outcome, const char* message, int line, int column) {
  std::string text = message != nullptr ? message : "unknown parse error";
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) text.pop_back();
  outcome.reason = utf8text::ToWide(text);
  outcome.line = line;
  outcome.column = column;
}

struct ContextFree {
  void operator()(xmlParserCtxtPtr ctxt) const noexcept { xmlFreeParserCtxt(ctxt); }
};

// The qualified name of an element or attribute as written.
std::string QualifiedName(const xmlChar* name, xmlNsPtr ns) {
  std::string qname;
  if (ns != nullptr && ns->prefix != nullptr) {
    qname = View(ns->prefix);
    qname += ':';
  }
  qname += View(name);
  return qname;
}

bool InNamespace(xmlNodePtr node, std::string_view uri) { return node->ns != nullptr && View(node->ns->href) == uri; }

// Parses with libxml2's own tree builder, as the DOM does, so that every
// node (blank text included) is what the DOM would hold; the handlers below
// take what a load needs from each finished element and free it at once, so
// the tree never holds more than the element being read.
class Walk {
 public:
  Walk(DataSourceListReader::Sink& sink, const std::wstring& baseFolder, DataSourceListReader::Outcome& outcome)
      : m_sink(sink), m_baseFolder(baseFolder), m_outcome(outcome) {}

  void Parse(const std::string& file) {
    std::unique_ptr<xmlParserCtxt, ContextFree> ctxt(xmlNewParserCtxt());
    if (!ctxt) {
      m_outcome.reason = L"out of memory";
      return;
    }
    // The tree builder's handlers, wrapped; the handler's context is the
    // parser's, so the walk is found through a thread-local pointer.
    xmlSAXHandler& sax = *ctxt->sax;
    m_startElement = std::exchange(sax.startElementNs, StartElement);
    m_endElement = std::exchange(sax.endElementNs, EndElement);
    m_characters = std::exchange(sax.characters, Characters);
    m_comment = std::exchange(sax.comment, Comment);
    m_instruction = std::exchange(sax.processingInstruction, Instruction);
    m_cdata = std::exchange(sax.cdataBlock, Cdata);
    m_reference = std::exchange(sax.reference, Reference);
    sax.serror = Error;
    // A load started from inside this one (an importer's) restores it after.
    Walk* const outer = std::exchange(t_walk, this);
    xmlDocPtr doc = xmlCtxtReadFile(ctxt.get(), file.c_str(), nullptr, qz_dom::ParseOptions());
    t_walk = outer;
    if (m_exception) {
      if (doc != nullptr) xmlFreeDoc(doc);
      std::rethrow_exception(m_exception);
    }
    const bool wellFormed = doc != nullptr && ctxt->wellFormed && xmlDocGetRootElement(doc) != nullptr;
    m_outcome.parsed = wellFormed;
    if (!wellFormed) {
      m_outcome.located = false;
      if (doc != nullptr && ctxt->wellFormed) {
        m_outcome.reason = L"The document has no root element.";
      } else if (!m_haveError) {
        const xmlError* e = &ctxt->lastError;
        RecordFirstError(m_outcome, e->code != 0 ? e->message : nullptr, e->line, e->int2);
      }
    } else {
      // Errors that do not stop libxml2 (namespace errors) do not stop the DOM either.
      m_outcome.reason.clear();
      m_outcome.line = m_outcome.column = 0;
    }
    if (doc != nullptr) xmlFreeDoc(doc);
  }

 private:
  static void StartElement(void* ctx, const xmlChar* localname, const xmlChar* prefix, const xmlChar* uri,
                           int nbNamespaces, const xmlChar** namespaces, int nbAttributes, int nbDefaulted,
                           const xmlChar** attributes) {
    Walk& walk = *t_walk;
    auto* ctxt = static_cast<xmlParserCtxtPtr>(ctx);
    if (walk.m_fast) {
      walk.Materialize(ctxt);
    } else if (walk.m_depth == 0) {
      // Parser options are applied once the read has begun, so blank text is
      // wrapped here, at the root. Kept blanks stay with the text handler.
      xmlSAXHandler& sax = *ctxt->sax;
      walk.m_ignorable = sax.ignorableWhitespace;
      if (ctxt->dictNames != 0 && ctxt->dict != nullptr) {
        walk.m_valueName = xmlDictLookup(ctxt->dict, reinterpret_cast<const xmlChar*>(N().value.c_str()), -1);
        walk.m_timeStampName = xmlDictLookup(ctxt->dict, reinterpret_cast<const xmlChar*>(N().timeStamp.c_str()), -1);
      }
      sax.ignorableWhitespace = walk.m_ignorable == walk.m_characters ? Characters : IgnorableWhitespace;
    }
    bool fast = false;
    try {
      fast = walk.StartFast(ctxt, localname, prefix, uri, nbNamespaces, nbAttributes, nbDefaulted, attributes);
    } catch (...) {
      walk.Stop(ctxt);
    }
    if (fast) {
      ++walk.m_depth;
      return;
    }
    walk.m_startElement(ctx, localname, prefix, uri, nbNamespaces, namespaces, nbAttributes, nbDefaulted, attributes);
    ++walk.m_depth;
    if (ctxt->node == nullptr || ctxt->node->type != XML_ELEMENT_NODE || walk.m_exception) return;
    try {
      walk.Started(ctxt->node);
    } catch (...) {
      walk.Stop(ctxt);
    }
  }

  // Exceptions must not cross libxml2's frames: the parse is stopped and the
  // exception thrown again once it has returned.
  void Stop(xmlParserCtxtPtr ctxt) {
    m_exception = std::current_exception();
    xmlStopParser(ctxt);
  }

  static void EndElement(void* ctx, const xmlChar* localname, const xmlChar* prefix, const xmlChar* uri) {
    Walk& walk = *t_walk;
    auto* ctxt = static_cast<xmlParserCtxtPtr>(ctx);
    if (walk.m_fast) {
      // A sample read without a node: nothing for the tree builder to close.
      walk.m_fast = false;
      --walk.m_depth;
      if (!walk.m_exception) {
        try {
          walk.AddSample(walk.m_fastTime, walk.m_fastTimed, walk.m_fastText);
        } catch (...) {
          walk.Stop(ctxt);
        }
      }
      return;
    }
    xmlNodePtr node = ctxt->node;
    bool drop = false;
    if (node != nullptr && !walk.m_exception) {
      try {
        drop = walk.Ended(node);
      } catch (...) {
        walk.Stop(ctxt);
      }
    }
    walk.m_endElement(ctx, localname, prefix, uri);
    --walk.m_depth;
    if (drop) {
      xmlUnlinkNode(node);
      Recycle(ctxt, node);
      // The tree builder appends the next characters to the parent's last
      // text node through a cached length that belonged to another node;
      // with the element gone, that node may now be last. A zero cache
      // makes it append by the text's own length instead.
      ctxt->nodelen = 0;
      ctxt->nodemem = 0;
    }
  }

  // ---- samples without nodes ------------------------------------------------
  // A plain sample (<Value TimeStamp="...">text</Value> directly in a stream,
  // no namespace, no DTD in the document) is read from the parser's events
  // without the tree builder, which is most of a load's cost. Its text is
  // what the node's first text child would hold. As soon as anything but
  // text arrives inside it (a child element, a comment, a CDATA section),
  // the node is built after all, from copies of the start tag and the text
  // so far, and the sample is read from the node as any other.
  //
  // Blank text is decided by the parser from the current node: here the
  // stream element, which must then have no children, as the sample's node
  // would have none at its start; the one difference (blank text after text
  // was seen, which the node would keep) is undone in IgnorableWhitespace.

  bool StartFast(xmlParserCtxtPtr ctxt, const xmlChar* localname, const xmlChar* prefix, const xmlChar* uri,
                 int nbNamespaces, int nbAttributes, int nbDefaulted, const xmlChar** attributes) {
    if (m_depth != 4 || m_child == nullptr || ctxt->node != m_child || m_child->children != nullptr ||
        m_exception || prefix != nullptr || uri != nullptr || nbNamespaces != 0 || nbDefaulted != 0 ||
        ctxt->myDoc == nullptr || ctxt->myDoc->intSubset != nullptr || ctxt->myDoc->extSubset != nullptr ||
        !IsName(localname, m_valueName, N().value) || View(m_child->name) == N().settings) {
      return false;
    }
    // The start tag, kept for Materialize: names belong to the parser's
    // dictionary; values point into its input, which may move, so are copied.
    m_fastTime = 0;
    m_fastTimed = false;
    m_fastValues.clear();
    m_fastBounds.clear();
    for (int i = 0; i < nbAttributes; ++i) {
      const xmlChar** a = attributes + 5 * i;
      const std::string_view value(reinterpret_cast<const char*>(a[3]), static_cast<std::size_t>(a[4] - a[3]));
      if (a[1] == nullptr && IsName(a[0], m_timeStampName, N().timeStamp)) {
        // An entity or character reference leaves the parser's escape in
        // the value; the tree builder decodes it.
        if (value.find('&') != std::string_view::npos) return false;
        m_fastTimed = TimePairText::ParseUtf8(value, m_fastTime);
      }
      m_fastBounds.push_back(m_fastValues.size());
      m_fastValues += value;
    }
    m_fastBounds.push_back(m_fastValues.size());
    m_fastName = localname;
    m_fastAttributes.assign(attributes, attributes + 5 * nbAttributes);
    m_fastText.clear();
    m_fast = true;
    return true;
  }

  // Whether a parser name is the vocabulary's name, by address when the
  // parser keeps its names in its dictionary (interned is that name there).
  static bool IsName(const xmlChar* name, const xmlChar* interned, const std::string& text) {
    return interned != nullptr ? name == interned : View(name) == text;
  }

  // Builds the node of the sample being read without one, with the text
  // seen so far, and goes on as for any other element.
  void Materialize(xmlParserCtxtPtr ctxt) {
    m_fast = false;
    const auto* values = reinterpret_cast<const xmlChar*>(m_fastValues.data());
    const int count = static_cast<int>(m_fastAttributes.size() / 5);
    for (int i = 0; i < count; ++i) {
      m_fastAttributes[5 * i + 3] = values + m_fastBounds[i];
      m_fastAttributes[5 * i + 4] = values + m_fastBounds[i + 1];
    }
    m_startElement(ctxt, m_fastName, nullptr, nullptr, 0, nullptr, count, 0,
                   count != 0 ? m_fastAttributes.data() : nullptr);
    if (!m_fastText.empty()) {
      m_characters(ctxt, reinterpret_cast<const xmlChar*>(m_fastText.data()), static_cast<int>(m_fastText.size()));
    }
  }

  static void Characters(void* ctx, const xmlChar* text, int length) {
    Walk& walk = *t_walk;
    if (walk.m_fast) {
      walk.AppendFastText(static_cast<xmlParserCtxtPtr>(ctx), text, length);
      return;
    }
    walk.m_characters(ctx, text, length);
  }

  void AppendFastText(xmlParserCtxtPtr ctxt, const xmlChar* text, int length) {
    try {
      m_fastText.append(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
    } catch (...) {
      Stop(ctxt);
    }
  }

  static void IgnorableWhitespace(void* ctx, const xmlChar* text, int length) {
    Walk& walk = *t_walk;
    // After text the node would have a text child, and blanks would be kept.
    if (walk.m_fast && !walk.m_fastText.empty()) {
      walk.AppendFastText(static_cast<xmlParserCtxtPtr>(ctx), text, length);
      return;
    }
    if (walk.m_ignorable != nullptr) walk.m_ignorable(ctx, text, length);
  }

  static void Comment(void* ctx, const xmlChar* text) {
    Walk& walk = *t_walk;
    if (walk.m_fast) walk.Materialize(static_cast<xmlParserCtxtPtr>(ctx));
    if (walk.m_comment != nullptr) walk.m_comment(ctx, text);
  }

  static void Instruction(void* ctx, const xmlChar* target, const xmlChar* data) {
    Walk& walk = *t_walk;
    if (walk.m_fast) walk.Materialize(static_cast<xmlParserCtxtPtr>(ctx));
    if (walk.m_instruction != nullptr) walk.m_instruction(ctx, target, data);
  }

  static void Cdata(void* ctx, const xmlChar* text, int length) {
    Walk& walk = *t_walk;
    if (walk.m_fast) walk.Materialize(static_cast<xmlParserCtxtPtr>(ctx));
    if (walk.m_cdata != nullptr) walk.m_cdata(ctx, text, length);
  }

  static void Reference(void* ctx, const xmlChar* name) {
    Walk& walk = *t_walk;
    if (walk.m_fast) walk.Materialize(static_cast<xmlParserCtxtPtr>(ctx));
    if (walk.m_reference != nullptr) walk.m_reference(ctx, name);
  }

  // Frees an unlinked element, handing a plain one (the usual sample) and
  // its attributes back to the parser's free lists, which the tree builder
  // takes its next nodes from, as libxml2's own streaming reader does.
  static void Recycle(xmlParserCtxtPtr ctxt, xmlNodePtr node) {
    constexpr int kMaxFree = 100;
    bool plain = node->type == XML_ELEMENT_NODE && node->nsDef == nullptr && ctxt->freeElemsNr < kMaxFree &&
                 ctxt->dict != nullptr && xmlDictOwns(ctxt->dict, node->name) == 1;
    for (xmlAttrPtr a = node->properties; plain && a != nullptr; a = a->next) {
      plain = a->atype != XML_ATTRIBUTE_ID && xmlDictOwns(ctxt->dict, a->name) == 1;
    }
    if (!plain) {
      xmlFreeNode(node);
      return;
    }
    xmlFreeNodeList(node->children);
    for (xmlAttrPtr a = node->properties; a != nullptr;) {
      xmlAttrPtr next = a->next;
      xmlFreeNodeList(a->children);
      if (ctxt->freeAttrsNr < kMaxFree) {
        a->next = ctxt->freeAttrs;
        ctxt->freeAttrs = a;
        ++ctxt->freeAttrsNr;
      } else {
        a->children = nullptr;
        xmlFreeProp(a);
      }
      a = next;
    }
    node->children = node->last = nullptr;
    node->properties = nullptr;
    node->next = ctxt->freeElems;
    ctxt->freeElems = node;
    ++ctxt->freeElemsNr;
  }

  static void Error(void*, xmlErrorPtr error) {
    Walk* walk = t_walk;
    if (walk == nullptr || error == nullptr || error->level < XML_ERR_ERROR || walk->m_haveError) return;
    walk->m_haveError = true;
    RecordFirstError(walk->m_outcome, error->message, error->line, error->int2);
  }

  // Depths: 1 the root, 2 the description unit, 3 a data source, 4 its
  // streams, 5 their samples.
  void Started(xmlNodePtr node) {
    if (m_depth == 2 && !m_decided && IsDescriptionUnit(node)) {
      // What selecting the description unit below the root finds: the first
      // child matching by namespace URI; then its type by written name.
      m_decided = true;
      std::string scratch;
      std::string_view type;
      m_outcome.located = qz_dom::GetAttributeUtf8(qz_dom::ElementRef::FromRaw(node), N().typeName, scratch, type) &&
                          type == N().listType;
      if (m_outcome.located) m_unit = node;
    } else if (m_depth == 3 && m_unit != nullptr && node->parent == m_unit) {
      ++m_outcome.elements;
      m_source = node;
      m_sourceRecord = Head(node);
      const std::string* external = m_sourceRecord->Find(N().isExternal);
      m_streamed = m_sourceRecord->tag == N().dataSource && m_sourceRecord->Find(N().sourceName) != nullptr &&
                   (external == nullptr || *external != N().yes);
      if (m_streamed) m_sink.BeginDataSource(MakeDecoder<DataSourceUnitDecoder>(std::move(m_sourceRecord)));
    } else if (m_depth == 4 && m_source != nullptr && node->parent == m_source) {
      m_child = node;
      m_childRecord = std::make_shared<ElementRecord>();
    }
  }

  // Takes what the load needs from node; true when node can go (its
  // subtree is never read again). Nodes deeper than a sample stay until their
  // ancestor ends: what the DOM keeps as blank text depends on them.
  bool Ended(xmlNodePtr node) {
    if (m_depth == 5 && m_child != nullptr && node->parent == m_child) {
      if (View(m_child->name) == N().settings) return false;  // read whole when it ends
      if (node->ns == nullptr && View(node->name) == N().value) AddSample(node);
      // Blank text and comments between samples go too.
      while (m_child->children != node) {
        xmlNodePtr c = m_child->children;
        xmlUnlinkNode(c);
        xmlFreeNode(c);
      }
      return true;
    }
    if (m_depth == 4 && node == m_child) {
      ChildEnded(node);
      m_child = nullptr;
      m_childRecord.reset();
      return true;
    }
    if (m_depth == 3 && node == m_source) {
      if (m_streamed) {
        m_sink.EndDataSource();
      } else if (m_sourceRecord) {
        m_sink.WholeElement(MakeDecoder<DataSourceUnitDecoder>(std::move(m_sourceRecord)));
      }
      m_source = nullptr;
      m_sourceRecord.reset();
      return true;
    }
    if (m_depth == 2 && node == m_unit) m_unit = nullptr;
    return m_depth >= 2 && m_depth <= 5;
  }

  static bool IsDescriptionUnit(xmlNodePtr node) {
    if (!InNamespace(node, N().uri) || View(node->name) != N().unitLocal) return false;
    std::string scratch;
    for (xmlAttrPtr a = node->properties; a != nullptr; a = a->next) {
      if (a->ns == nullptr || View(a->ns->href) != N().uri || View(a->name) != N().typeLocal) continue;
      std::string_view value;
      const std::string qname = QualifiedName(a->name, a->ns);
      if (qz_dom::GetAttributeUtf8(qz_dom::ElementRef::FromRaw(node), qname, scratch, value) && value == N().listType) {
        return true;
      }
    }
    return false;
  }

  // An element's name and attributes as the DOM's getters see them.
  static std::shared_ptr<ElementRecord> Head(xmlNodePtr node) {
    auto record = std::make_shared<ElementRecord>();
    record->tag = QualifiedName(node->name, node->ns);
    std::string scratch;
    for (xmlAttrPtr a = node->properties; a != nullptr; a = a->next) {
      std::string qname = QualifiedName(a->name, a->ns);
      std::string_view value;
      if (!qz_dom::GetAttributeUtf8(qz_dom::ElementRef::FromRaw(node), qname, scratch, value)) continue;
      record->attributes.emplace_back(std::move(qname), std::string(value));
    }
    return record;
  }

  void AddSample(xmlNodePtr value) {
    std::string scratch;
    std::string_view stamp;
    std::int64_t time = 0;
    const bool timed = qz_dom::GetAttributeUtf8(qz_dom::ElementRef::FromRaw(value), N().timeStamp, scratch, stamp) &&
                       TimePairText::ParseUtf8(stamp, time);
    // The text is the element's first text child, as in the DOM.
    std::string_view text;
    for (xmlNodePtr c = value->children; c != nullptr; c = c->next) {
      if (c->type == XML_TEXT_NODE) {
        text = View(c->content);
        break;
      }
    }
    AddSample(time, timed, text);
  }

  void AddSample(std::int64_t time, bool timed, std::string_view text) {
    ElementRecord& record = *m_childRecord;
    record.texts += text;
    record.textEnds.push_back(record.texts.size());
    record.times.push_back(time);
    record.timed.push_back(timed);
  }

  void ChildEnded(xmlNodePtr node) {
    if (!m_streamed) {
      if (!m_sourceRecord || m_sourceRecord->tag != N().dataSource) return;  // no data source: nothing below is read
      // What the DOM's query "PersistencyData" selects: no namespace, the first one.
      if (node->ns == nullptr && View(node->name) == N().settings && !m_sourceRecord->hasSettings) {
        m_sourceRecord->hasSettings = true;
        m_sourceRecord->settingsXml = ContentXml(node);
      }
    }
    std::shared_ptr<ElementRecord> head = Head(node);
    if (head->tag == N().settings) return;  // never a stream
    head->texts = std::move(m_childRecord->texts);
    head->textEnds = std::move(m_childRecord->textEnds);
    head->times = std::move(m_childRecord->times);
    head->timed = std::move(m_childRecord->timed);
    if (m_streamed) {
      m_sink.DataSourceChild(MakeDecoder<DataSourceStreamDecoder>(std::move(head)));
    } else {
      m_sourceRecord->children.push_back(std::move(head));
    }
  }

  // The XML of every child of node, each as the DOM writes a node; empty
  // when one cannot be written, as with the DOM.
  static std::string ContentXml(xmlNodePtr node) {
    std::string out;
    std::string xml;
    for (xmlNodePtr c = node->children; c != nullptr; c = c->next) {
      if (FAILED(qz_dom::NodeXml(c, xml))) return std::string();
      out += xml;
    }
    return out;
  }

  template <class Decoder>
  Decoder MakeDecoder(std::shared_ptr<ElementRecord> record) const {
    Decoder decoder(nullptr, m_baseFolder);
    decoder.SetRecord(std::move(record));
    return decoder;
  }

  static thread_local Walk* t_walk;

  DataSourceListReader::Sink& m_sink;
  const std::wstring& m_baseFolder;
  DataSourceListReader::Outcome& m_outcome;
  startElementNsSAX2Func m_startElement = nullptr;
  endElementNsSAX2Func m_endElement = nullptr;
  charactersSAXFunc m_characters = nullptr;
  ignorableWhitespaceSAXFunc m_ignorable = nullptr;
  commentSAXFunc m_comment = nullptr;
  processingInstructionSAXFunc m_instruction = nullptr;
  cdataBlockSAXFunc m_cdata = nullptr;
  referenceSAXFunc m_reference = nullptr;
  const xmlChar* m_valueName = nullptr;
  const xmlChar* m_timeStampName = nullptr;
  // The sample being read without a node (see StartFast).
  bool m_fast = false;
  std::int64_t m_fastTime = 0;
  bool m_fastTimed = false;
  std::string m_fastText;
  const xmlChar* m_fastName = nullptr;
  std::vector<const xmlChar*> m_fastAttributes;
  std::string m_fastValues;
  std::vector<std::size_t> m_fastBounds;
  bool m_haveError = false;
  std::exception_ptr m_exception;
  int m_depth = 0;
  bool m_decided = false;
  xmlNodePtr m_unit = nullptr;
  xmlNodePtr m_source = nullptr;
  std::shared_ptr<ElementRecord> m_sourceRecord;
  bool m_streamed = false;
  xmlNodePtr m_child = nullptr;
  std::shared_ptr<ElementRecord> m_childRecord;
};

thread_local Walk* Walk::t_walk = nullptr;

}  // namespace

DataSourceListReader::Outcome DataSourceListReader::Read(const std::string& file, Sink& sink) {
  Outcome outcome;
  Walk walk(sink, m_baseFolder, outcome);
  walk.Parse(file);
  return outcome;
}

}  // namespace qz_dsc
