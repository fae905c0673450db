// Internal storage of a DOM document over libxml2, shared by the document
// object and every node wrapper taken from it. libxml2 nodes are never freed
// while this state lives: nodes that are unlinked or never attached are kept
// in a list and freed with it, so wrappers and ElementRefs cannot dangle.
// Not synchronised: one thread at a time per document.
#pragma once

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qz_com/OleAuto.h"

namespace qz_dom::detail {

struct ParseErrorInfo {
  LONG code = 0;
  std::wstring reason;
  LONG line = 0;
  LONG column = 0;
};

class DocState {
 public:
  DocState();
  ~DocState();
  DocState(const DocState&) = delete;
  DocState& operator=(const DocState&) = delete;

  xmlDocPtr Doc() const noexcept { return m_doc; }
  // Installs a freshly parsed (or new empty) document; the old one is kept
  // until the state dies because wrappers may still point into it.
  void Replace(xmlDocPtr doc);

  // Nodes that may end up without a parent: freed with the state when so.
  void KeepLoose(xmlNodePtr node) { m_loose.push_back(node); }
  void KeepLooseNs(xmlNsPtr ns) { m_looseNs.push_back(ns); }

  // Selection namespaces, as declared text and as prefix/URI pairs (UTF-8).
  const std::wstring& SelectionText() const noexcept { return m_selectionText; }
  void SetSelection(std::wstring text, std::vector<std::pair<std::string, std::string>> pairs);

  // An XPath context for doc with the selection namespaces registered.
  // Owned by the state (cached for the current document).
  xmlXPathContextPtr XPathFor(xmlDocPtr doc);

  ParseErrorInfo& LastError() noexcept { return m_lastError; }

 private:
  xmlDocPtr m_doc = nullptr;
  std::vector<xmlDocPtr> m_retired;
  std::vector<xmlNodePtr> m_loose;
  std::vector<xmlNsPtr> m_looseNs;
  std::wstring m_selectionText;
  std::vector<std::pair<std::string, std::string>> m_selection;
  xmlXPathContextPtr m_xpath = nullptr;
  xmlDocPtr m_xpathDoc = nullptr;
  bool m_xpathStale = true;
  ParseErrorInfo m_lastError;
};

using StatePtr = std::shared_ptr<DocState>;

// A new empty document with its own name dictionary; null when out of memory.
xmlDocPtr NewEmptyDocument();

// Text conversions through the one UTF-8 converter (invalid input becomes
// U+FFFD). ToUtf8 refuses text holding NUL (false), which libxml2 would cut.
bool ToUtf8(std::wstring_view text, std::string& out);
std::wstring FromUtf8(const xmlChar* text);
std::wstring FromUtf8(std::string_view text);
// FromUtf8 into out, reusing its storage.
void AssignUtf8(std::string_view text, std::wstring& out);

// Text of a VARIANT as the DOM stores it; false for a type it cannot hold.
bool VariantText(const VARIANT& value, std::wstring& out);
// Fills value with a VT_BSTR of text (VariantClear first). E_OUTOFMEMORY.
HRESULT MakeBstrVariant(const std::wstring& text, VARIANT* value);

// Attribute of element whose qualified name is qname (prefix:local or local).
xmlAttrPtr FindAttribute(xmlNodePtr element, std::string_view qname);
// True when the node's qualified name is qname.
bool QNameEquals(const xmlChar* prefix, const xmlChar* local, std::string_view qname);

// Sets the single text child of an attribute, without entity parsing.
void SetAttributeText(xmlAttrPtr attr, const std::string& value);
// Links child as the last child of parent (no text merging, no freeing).
void LinkLastChild(xmlNodePtr parent, xmlNodePtr child);
// After linking: make every namespace used in the subtree resolvable in
// scope, and drop declarations on root that its new ancestors already make.
void FixNamespaces(DocState& state, xmlNodePtr root);

}  // namespace qz_dom::detail
