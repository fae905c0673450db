#include <libxml/parser.h>
#include <libxml/xmlsave.h>

#include <atomic>
#include <cwctype>
#include <memory>
#include <new>

#include "DomNodes.h"
#include "qz_com/ComPtr.h"

namespace qz_dom::detail {
namespace {

// No network, no DTD loading or validation, no entity expansion; shared
// name dictionary and compact text storage; blank-only text between
// elements dropped. Errors are collected, not printed.
constexpr int kParseOptions =
    XML_PARSE_NONET | XML_PARSE_COMPACT | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

class DomParseError final : public IXMLDOMParseError {
 public:
  explicit DomParseError(ParseErrorInfo info) : m_info(std::move(info)) {}
  HRESULT QZ_STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    return qz_com::QueryInterfaceTable<DomParseError, IXMLDOMParseError>(this, riid, ppv);
  }
  ULONG QZ_STDMETHODCALLTYPE AddRef() override { return ++m_refs; }
  ULONG QZ_STDMETHODCALLTYPE Release() override {
    const ULONG left = --m_refs;
    if (left == 0) delete this;
    return left;
  }
  HRESULT get_errorCode(LONG* code) override { return Give(code, m_info.code); }
  HRESULT get_reason(std::wstring* reason) override {
    if (reason == nullptr) return E_POINTER;
    *reason = m_info.reason;
    return S_OK;
  }
  HRESULT get_line(LONG* line) override { return Give(line, m_info.line); }
  HRESULT get_linepos(LONG* column) override { return Give(column, m_info.column); }

 private:
  ~DomParseError() = default;
  static HRESULT Give(LONG* out, LONG v) {
    if (out == nullptr) return E_POINTER;
    *out = v;
    return S_OK;
  }
  ParseErrorInfo m_info;
  std::atomic<ULONG> m_refs{1};
};

template <class T>
HRESULT HandAs(IXMLDOMNode* node, T** out) {
  if (node == nullptr) return E_OUTOFMEMORY;
  HRESULT hr = node->QueryInterface(uuidof<T>(), reinterpret_cast<void**>(out));
  node->Release();
  return hr;
}

// A node without a namespace from doc.createNode, handed out as interface T.
template <class Doc, class T>
HRESULT CreateAs(Doc& doc, DOMNodeType type, const std::wstring& text, T** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  IXMLDOMNode* node = nullptr;
  HRESULT hr = doc.createNode(type, text, std::wstring(), &node);
  if (FAILED(hr)) return hr;
  return HandAs(node, out);
}

// Parses "xmlns:p='uri' xmlns:q=\"uri\"" into prefix/URI pairs.
bool ParseSelectionNamespaces(const std::wstring& text, std::vector<std::pair<std::string, std::string>>& pairs) {
  std::size_t i = 0;
  const std::size_t n = text.size();
  auto skipBlanks = [&] {
    while (i < n && std::iswspace(static_cast<wint_t>(text[i]))) ++i;
  };
  skipBlanks();
  while (i < n) {
    if (text.compare(i, 5, L"xmlns") != 0) return false;
    i += 5;
    std::wstring prefix;
    if (i < n && text[i] == L':') {
      ++i;
      while (i < n && text[i] != L'=' && !std::iswspace(static_cast<wint_t>(text[i]))) prefix.push_back(text[i++]);
      if (prefix.empty()) return false;
    }
    skipBlanks();
    if (i >= n || text[i] != L'=') return false;
    ++i;
    skipBlanks();
    if (i >= n || (text[i] != L'\'' && text[i] != L'"')) return false;
    const wchar_t quote = text[i++];
    const std::size_t end = text.find(quote, i);
    if (end == std::wstring::npos) return false;
    std::string p;
    std::string uri;
    if (!ToUtf8(prefix, p) || !ToUtf8(std::wstring_view(text).substr(i, end - i), uri)) return false;
    // Only prefixed declarations mean anything to XPath 1.0.
    if (!p.empty()) pairs.emplace_back(std::move(p), std::move(uri));
    i = end + 1;
    if (i < n && !std::iswspace(static_cast<wint_t>(text[i]))) return false;
    skipBlanks();
  }
  return true;
}

std::string TrimMessage(const char* message) {
  std::string m = message != nullptr ? message : "unknown parse error";
  while (!m.empty() && (m.back() == '\n' || m.back() == '\r' || m.back() == ' ')) m.pop_back();
  return m;
}

// Owns a parser context: freed in one place, on every path out of a parse.
struct ParserContextFree {
  void operator()(xmlParserCtxtPtr ctxt) const noexcept { xmlFreeParserCtxt(ctxt); }
};
using ParserContext = std::unique_ptr<xmlParserCtxt, ParserContextFree>;

// The first error of a parse (the parser may report follow-up errors).
thread_local ParseErrorInfo* t_firstError = nullptr;

void RecordFirstError(void*, xmlErrorPtr error) {
  ParseErrorInfo* info = t_firstError;
  if (info == nullptr || error == nullptr || info->code != 0 || error->level < XML_ERR_ERROR) return;
  info->code = E_FAIL;
  info->reason = FromUtf8(TrimMessage(error->message));
  info->line = error->line;
  info->column = error->int2;
}

// Keeps libxml2's process-wide (per-thread) error output quiet while the
// DOM works; errors are reported through results instead.
class QuietErrors {
 public:
  QuietErrors() : m_handler(xmlStructuredError), m_context(xmlStructuredErrorContext) {
    xmlSetStructuredErrorFunc(nullptr, Ignore);
  }
  ~QuietErrors() { xmlSetStructuredErrorFunc(m_context, m_handler); }
  QuietErrors(const QuietErrors&) = delete;
  QuietErrors& operator=(const QuietErrors&) = delete;

 private:
  static void Ignore(void*, xmlErrorPtr) {}
  xmlStructuredErrorFunc m_handler;
  void* m_context;
};

}  // namespace

HRESULT DomDocument::QueryInterface(REFIID riid, void** ppv) {
  return qz_com::QueryInterfaceTable<DomDocument, IXMLDOMDocument2, IXMLDOMDocument, IXMLDOMNode>(this, riid, ppv);
}

HRESULT DomDocument::get_documentElement(IXMLDOMElement** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  xmlNodePtr root = xmlDocGetRootElement(m_state->Doc());
  if (root == nullptr) return S_FALSE;
  return HandAs(Wrap(m_state, root), out);
}

HRESULT DomDocument::createElement(const std::wstring& name, IXMLDOMElement** out) {
  return CreateAs(*this, NODE_ELEMENT, name, out);
}

HRESULT DomDocument::createTextNode(const std::wstring& data, IXMLDOMText** out) {
  return CreateAs(*this, NODE_TEXT, data, out);
}

HRESULT DomDocument::createComment(const std::wstring& data, IXMLDOMComment** out) {
  return CreateAs(*this, NODE_COMMENT, data, out);
}

HRESULT DomDocument::createAttribute(const std::wstring& name, IXMLDOMAttribute** out) {
  return CreateAs(*this, NODE_ATTRIBUTE, name, out);
}

HRESULT DomDocument::createNode(DOMNodeType type, const std::wstring& name, const std::wstring& uri,
                                IXMLDOMNode** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  xmlDocPtr doc = m_state->Doc();
  std::string text;
  if (!ToUtf8(name, text)) return E_INVALIDARG;
  if (type == NODE_TEXT || type == NODE_COMMENT) {
    xmlNodePtr n = type == NODE_TEXT ? xmlNewDocText(doc, BAD_CAST text.c_str())
                                     : xmlNewDocComment(doc, BAD_CAST text.c_str());
    if (n == nullptr) return E_OUTOFMEMORY;
    m_state->KeepLoose(n);
    *out = Wrap(m_state, n);
    return S_OK;
  }
  if (type != NODE_ELEMENT && type != NODE_ATTRIBUTE) return E_INVALIDARG;
  std::string href;
  if (xmlValidateQName(BAD_CAST text.c_str(), 0) != 0 || !ToUtf8(uri, href)) return E_FAIL;
  const auto colon = text.find(':');
  std::string prefix;
  std::string local = text;
  if (colon != std::string::npos) {
    prefix = text.substr(0, colon);
    local = text.substr(colon + 1);
    if (href.empty()) return E_FAIL;  // a prefix needs a namespace
  }
  if (type == NODE_ELEMENT) {
    xmlNodePtr n = xmlNewDocNode(doc, nullptr, BAD_CAST local.c_str(), nullptr);
    if (n == nullptr) return E_OUTOFMEMORY;
    m_state->KeepLoose(n);
    if (!href.empty()) {
      xmlNsPtr ns = xmlNewNs(n, BAD_CAST href.c_str(), prefix.empty() ? nullptr : BAD_CAST prefix.c_str());
      if (ns == nullptr) return E_FAIL;  // out of memory or the reserved prefix "xml"
      n->ns = ns;
    }
    *out = Wrap(m_state, n);
    return S_OK;
  }
  xmlAttrPtr a = xmlNewDocProp(doc, BAD_CAST local.c_str(), nullptr);
  if (a == nullptr) return E_OUTOFMEMORY;
  m_state->KeepLoose(reinterpret_cast<xmlNodePtr>(a));
  if (!href.empty()) {
    // Held by the state until the attribute is attached and declared there.
    xmlNsPtr ns = xmlNewNs(nullptr, BAD_CAST href.c_str(), prefix.empty() ? nullptr : BAD_CAST prefix.c_str());
    if (ns == nullptr) return E_FAIL;  // out of memory or the reserved prefix "xml"
    m_state->KeepLooseNs(ns);
    a->ns = ns;
  }
  *out = Wrap(m_state, reinterpret_cast<xmlNodePtr>(a));
  return S_OK;
}

HRESULT DomDocument::Parse(const std::string* text, const std::string* path, VARIANT_BOOL* ok) {
  if (ok != nullptr) *ok = VARIANT_FALSE;
  if (text != nullptr && text->size() > static_cast<std::size_t>(INT32_MAX)) return E_INVALIDARG;
  ParserContext ctxt(xmlNewParserCtxt());
  if (ctxt == nullptr) return E_OUTOFMEMORY;
  ctxt->sax->serror = RecordFirstError;
  QuietErrors quiet;
  ParseErrorInfo first;
  t_firstError = &first;
  xmlDocPtr doc = text != nullptr ? xmlCtxtReadMemory(ctxt.get(), text->data(), static_cast<int>(text->size()), nullptr,
                                                      "UTF-8", kParseOptions)
                                  : xmlCtxtReadFile(ctxt.get(), path->c_str(), nullptr, kParseOptions);
  t_firstError = nullptr;
  ParseErrorInfo& err = m_state->LastError();
  err = ParseErrorInfo();
  if (doc != nullptr && (!ctxt->wellFormed || xmlDocGetRootElement(doc) == nullptr)) {
    if (ctxt->wellFormed) {
      err.reason = L"The document has no root element.";
    }
    xmlFreeDoc(doc);
    doc = nullptr;
  }
  if (doc == nullptr) {
    if (err.reason.empty()) {
      const xmlError* e = &ctxt->lastError;
      if (first.code != 0) {
        err = first;
      } else {
        err.reason = FromUtf8(TrimMessage(e->code != 0 ? e->message : nullptr));
        err.line = e->line;
        err.column = e->int2;
      }
    }
    err.code = E_FAIL;
    xmlDocPtr empty = NewEmptyDocument();
    if (empty == nullptr) return E_OUTOFMEMORY;
    m_state->Replace(empty);
    return S_FALSE;
  }
  m_state->Replace(doc);
  if (ok != nullptr) *ok = VARIANT_TRUE;
  return S_OK;
}

HRESULT DomDocument::load(const std::wstring& path, VARIANT_BOOL* ok) {
  if (ok != nullptr) *ok = VARIANT_FALSE;
  std::string p;
  if (!ToUtf8(path, p)) return E_INVALIDARG;
  return Parse(nullptr, &p, ok);
}

HRESULT DomDocument::loadXML(const std::wstring& xml, VARIANT_BOOL* ok) {
  if (ok != nullptr) *ok = VARIANT_FALSE;
  std::string text;
  if (!ToUtf8(xml, text)) return E_INVALIDARG;
  return Parse(&text, nullptr, ok);
}

HRESULT DomDocument::save(const std::wstring& path) {
  std::string p;
  if (!ToUtf8(path, p)) return E_INVALIDARG;
  QuietErrors quiet;
  xmlSaveCtxtPtr save = xmlSaveToFilename(p.c_str(), "UTF-8", XML_SAVE_AS_XML);
  if (save == nullptr) return E_FAIL;
  const long written = xmlSaveDoc(save, m_state->Doc());
  const int closed = xmlSaveClose(save);
  return written < 0 || closed < 0 ? E_FAIL : S_OK;
}

HRESULT DomDocument::get_parseError(IXMLDOMParseError** out) {
  if (out == nullptr) return E_POINTER;
  *out = new DomParseError(m_state->LastError());
  return S_OK;
}

HRESULT DomDocument::setProperty(const std::wstring& name, const VARIANT& value) {
  if (name == L"SelectionNamespaces") {
    if (value.vt != VT_BSTR) return E_INVALIDARG;
    std::wstring text(value.bstrVal == nullptr ? L"" : value.bstrVal, SysStringLen(value.bstrVal));
    std::vector<std::pair<std::string, std::string>> pairs;
    if (!ParseSelectionNamespaces(text, pairs)) return E_FAIL;
    m_state->SetSelection(std::move(text), std::move(pairs));
    return S_OK;
  }
  if (name == L"SelectionLanguage") {
    if (value.vt != VT_BSTR || value.bstrVal == nullptr || std::wstring(value.bstrVal) != L"XPath") return E_FAIL;
    return S_OK;
  }
  return E_INVALIDARG;
}

HRESULT DomDocument::getProperty(const std::wstring& name, VARIANT* value) {
  if (value == nullptr) return E_POINTER;
  if (name == L"SelectionNamespaces") return MakeBstrVariant(m_state->SelectionText(), value);
  if (name == L"SelectionLanguage") return MakeBstrVariant(L"XPath", value);
  return E_INVALIDARG;
}

}  // namespace qz_dom::detail

namespace qz_dom {

int ParseOptions() noexcept { return detail::kParseOptions; }

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  if (clsid != CLSID_DOMDocument60 || (context & CLSCTX_ALL) == 0) return REGDB_E_CLASSNOTREG;
  detail::DomDocument* doc = nullptr;
  try {
    doc = new detail::DomDocument(std::make_shared<detail::DocState>());
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  HRESULT hr = doc->QueryInterface(riid, ppv);
  doc->Release();
  return hr;
}

}  // namespace qz_dom
