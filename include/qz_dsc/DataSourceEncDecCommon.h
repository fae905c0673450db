// Common base of the data source list encoders and decoders: the node being
// written or read, the base path for relative file names, and static
// operations creating the document, elements and attributes with namespaces.
// Not synchronised: an encoder or decoder belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "qz_com/ComVariant.h"
#include "qz_dom/qz_dom.h"
#include "qz_dsc/XMLElementExt.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

class DataSourceListWriter;
struct ElementRecord;

class QZ_DSC_API DataSourceEncDecCommon {
 public:
  DataSourceEncDecCommon() = default;
  // baseFolder is stored as given (a folder, as GetBasePath returns it).
  DataSourceEncDecCommon(IXMLDOMNode* node, const std::wstring& baseFolder);
  DataSourceEncDecCommon(const DataSourceEncDecCommon&) = default;
  DataSourceEncDecCommon(DataSourceEncDecCommon&&) noexcept = default;
  DataSourceEncDecCommon& operator=(const DataSourceEncDecCommon&) = default;
  DataSourceEncDecCommon& operator=(DataSourceEncDecCommon&&) noexcept = default;
  virtual ~DataSourceEncDecCommon();

  // A new document (async, validateOnParse, resolveExternals off; selection
  // namespaces set). E_POINTER when out is null or *out already set.
  [[nodiscard]] static HRESULT CreateDocument(IXMLDOMDocument** out);
  // An unattached element in the document of node (or node itself when it
  // is a document). The prefix of name must be in the prefix table ("mpeg7",
  // "xsi"), else E_INVALIDARG and nothing is created.
  [[nodiscard]] static HRESULT CreateElement(IXMLDOMNode* node, const wchar_t* name, IXMLDOMElement** out);
  // Appends "mpeg7:Mpeg7" to node; E_POINTER for null arguments or a set *out.
  [[nodiscard]] static HRESULT CreateRootNode(IXMLDOMNode* node, IXMLDOMElement** out);
  // Sets attribute name (namespace from the prefix table) to value as it is.
  [[nodiscard]] static HRESULT SetAttribute(IXMLDOMElement* element, const wchar_t* name, const qz_com::ComVariant& value);
  // Sets the selection namespaces on the document of node: both "mpeg7" and
  // "xsi" deliberately bound to the MPEG-7 namespace.
  [[nodiscard]] static HRESULT SetQueryNamespace(IXMLDOMNode* node);
  // Always false; touches nothing.
  [[nodiscard]] static bool CheckRootNode(IXMLDOMElement* root, IXMLDOMElement** out);

  // path is the document's file name; its folder becomes the base path. An
  // empty path clears it.
  void SetBasePath(const std::wstring& path);
  const std::wstring& GetBasePath() const noexcept { return m_basePath; }
  // Stores folder as the base path as it is.
  void SetBaseFolder(const std::wstring& folder) { m_basePath = folder; }

  // The node worked on.
  void SetNode(IXMLDOMNode* node) { m_node = XMLElementExt(node); }
  const XMLElementExt& GetNode() const noexcept { return m_node; }
  XMLElementExt& GetNode() noexcept { return m_node; }

  // Encoders only: write through writer instead of into a DOM, holding the
  // element open at depth there (the file save's streaming path).
  void SetWriter(DataSourceListWriter* writer, std::size_t depth) noexcept {
    m_writer = writer;
    m_writerDepth = depth;
  }
  DataSourceListWriter* GetWriter() const noexcept { return m_writer; }
  std::size_t GetWriterDepth() const noexcept { return m_writerDepth; }

  // Decoders only: read an element the streaming reader kept instead of a
  // DOM node (the file load's path); the getters answer alike for both.
  void SetRecord(std::shared_ptr<const ElementRecord> record) noexcept { m_record = std::move(record); }
  const std::shared_ptr<const ElementRecord>& GetRecord() const noexcept { return m_record; }
  // True for an element (false for a comment, text or nothing at all).
  bool IsElement() const noexcept { return m_record != nullptr || m_node.GetElement() != nullptr; }
  // True when the element's qualified name is exactly name.
  [[nodiscard]] bool HasTagName(const wchar_t* name) const;

 protected:
  // The attribute with this qualified name, as text or parsed as a decimal
  // integer; false when it is missing or does not parse.
  [[nodiscard]] bool ReadAttribute(const wchar_t* name, std::wstring& out) const;
  [[nodiscard]] bool ReadAttribute(const wchar_t* name, std::int32_t& out) const;
  [[nodiscard]] bool ReadAttribute(const wchar_t* name, std::int64_t& out) const;

  std::wstring m_basePath;
  XMLElementExt m_node;
  DataSourceListWriter* m_writer = nullptr;
  std::size_t m_writerDepth = 0;
  std::shared_ptr<const ElementRecord> m_record;
};

}  // namespace qz_dsc
