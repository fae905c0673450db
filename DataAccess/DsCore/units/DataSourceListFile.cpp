// The document file functions: parse a file into the DOM and hand it to the
// manager; let the manager write a DOM and put it on disk without ever
// leaving a half-written file in place of a good one. Each step is its own
// small function so that the DOM path can be replaced by a streaming one.
#include "qz_dsc/DataSourceListFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "Utf8Text.h"
#include "module/Check.h"
#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceEncDecCommon.h"
#include "qz_dsc/IDSPersistXML.h"
#include "qz_dsc/IDataSourceUnitCtrl.h"
#include "qz_dsc/IDataSourceUnitExternal.h"
#include "qz_dsc/IDataSourceUnitMgrPrivate.h"
#include "units/DataSourceUnitMgr.h"
#include "xml/DataSourceUnitMgrDecoder.h"
#include "xml/DataSourceUnitMgrEncoder.h"

namespace qz_dsc {
namespace {

namespace fs = std::filesystem;

// The platform's "file not found" and "write fault" as HRESULTs.
constexpr HRESULT kFileNotFound = static_cast<HRESULT>(0x80070002u);
constexpr HRESULT kWriteFault = static_cast<HRESULT>(0x8007001Du);

DataSourceListFileResult Failed(HRESULT status, std::wstring message) {
  DataSourceListFileResult result;
  result.status = status;
  result.message = std::move(message);
  return result;
}

fs::path ToPath(const std::wstring& path) { return fs::path(utf8text::ToUtf8(path)); }

std::wstring ToWide(const fs::path& path) { return utf8text::ToWide(path.string()); }

std::wstring ErrnoText(int error) { return utf8text::ToWide(std::strerror(error)); }

// ---- load steps ------------------------------------------------------------------

// The document in file, or a failure naming the file and, for a document that
// does not parse, the parser's message with line and column.
DataSourceListFileResult ParseDocumentFile(const fs::path& file, qz_com::ComPtr<IXMLDOMDocument>& doc) {
  std::error_code ec;
  if (!fs::exists(file, ec)) return Failed(kFileNotFound, ToWide(file) + L": no such file");
  if (fs::is_directory(file, ec)) return Failed(E_INVALIDARG, ToWide(file) + L": is a folder, not a document");
  HRESULT hr = DataSourceEncDecCommon::CreateDocument(doc.ReleaseAndGetAddressOf());
  if (FAILED(hr)) return Failed(hr, L"cannot create an XML document");
  VARIANT_BOOL parsed = VARIANT_FALSE;
  hr = doc->load(utf8text::ToWide(file.string()), &parsed);
  if (FAILED(hr)) return Failed(hr, ToWide(file) + L": cannot be read");
  if (parsed != VARIANT_TRUE) {
    qz_com::ComPtr<IXMLDOMParseError> error;
    std::wstring reason = L"the document does not parse";
    LONG line = 0;
    LONG column = 0;
    if (SUCCEEDED(doc->get_parseError(error.GetAddressOf())) && error) {
      static_cast<void>(error->get_reason(&reason));
      static_cast<void>(error->get_line(&line));
      static_cast<void>(error->get_linepos(&column));
    }
    return Failed(E_FAIL, ToWide(file) + L":" + std::to_wstring(line) + L":" + std::to_wstring(column) + L": " + reason);
  }
  return {};
}

// Element children of the description unit below root: the data source
// elements a whole load turns into units.
std::int32_t CountDataSourceElements(IXMLDOMNode* root) {
  DataSourceUnitMgrDecoder decoder;
  std::vector<DataSourceUnitDecoder> decoders;
  if (!decoder.Locate(root) || !decoder.GetUnitDecoders(decoders)) return 0;
  std::int32_t count = 0;
  for (const DataSourceUnitDecoder& d : decoders) count += d.GetNode().GetElement() != nullptr ? 1 : 0;
  return count;
}

// What the loaded units had to leave out.
void CountSkipped(IDataSourceUnitMgrCtrl* manager, DataSourceListFileResult& result) {
  const std::int32_t count = manager->GetDataSourceCount();
  for (std::int32_t i = 0; i < count; ++i) {
    qz_com::ComPtr<IDataSourceUnitLoadReport> report;
    if (SUCCEEDED(manager->GetDataSourceByIndex(i, uuidof<IDataSourceUnitLoadReport>(),
                                                reinterpret_cast<void**>(report.GetAddressOf())))) {
      result.skippedStreams += report->GetSkippedStreamCount();
    }
    qz_com::ComPtr<IDataSourceUnitExternal> external;
    if (SUCCEEDED(manager->GetDataSourceByIndex(i, uuidof<IDataSourceUnitExternal>(),
                                                reinterpret_cast<void**>(external.GetAddressOf()))) &&
        external->HasLoadFailed()) {
      ++result.failedImports;
    }
  }
}

// Replaces manager's list with the document's; data file names resolve
// against folder.
DataSourceListFileResult ApplyDocument(IDataSourceUnitMgrCtrl* manager, IXMLDOMDocument* doc, const fs::path& file) {
  qz_com::ComPtr<IDSPersistXML> persist;
  HRESULT hr = manager->QueryInterface(uuidof<IDSPersistXML>(), reinterpret_cast<void**>(persist.GetAddressOf()));
  if (FAILED(hr)) return Failed(hr, L"the manager cannot load documents");
  qz_com::ComPtr<IXMLDOMElement> root;
  if (FAILED(doc->get_documentElement(root.GetAddressOf())) || !root) {
    return Failed(E_FAIL, ToWide(file) + L": the document has no root element");
  }
  if (!persist->LoadXML(root.Get(), ToWide(file.parent_path()))) {
    return Failed(E_FAIL, ToWide(file) + L": no data source list (an mpeg7:DescriptionUnit of type DataSourceListType)");
  }
  DataSourceListFileResult result;
  result.skippedUnits = CountDataSourceElements(root.Get()) - manager->GetDataSourceCount();
  CountSkipped(manager, result);
  return result;
}

void EmptyList(IDataSourceUnitMgrCtrl* manager) {
  qz_com::ComPtr<IDataSourceUnitMgrPrivate> control;
  if (SUCCEEDED(manager->QueryInterface(uuidof<IDataSourceUnitMgrPrivate>(),
                                        reinterpret_cast<void**>(control.GetAddressOf())))) {
    control->RemoveAllDataSources();
  }
}

// ---- save steps ------------------------------------------------------------------

// A document holding manager's list, data file names relative to file's
// folder. An empty list still gets its description unit, so that the file
// loads back as an empty list.
DataSourceListFileResult BuildDocument(IDataSourceUnitMgrCtrl* manager, const fs::path& file,
                                       qz_com::ComPtr<IXMLDOMDocument>& doc) {
  HRESULT hr = DataSourceEncDecCommon::CreateDocument(doc.ReleaseAndGetAddressOf());
  if (FAILED(hr)) return Failed(hr, L"cannot create an XML document");
  const std::wstring basePath = ToWide(file);
  if (auto* own = dynamic_cast<DataSourceUnitMgr*>(manager)) {
    const DataSourceUnitMgr::SaveOutcome outcome = own->SaveXMLChecked(doc.Get(), basePath);
    if (!outcome.written) return Failed(E_FAIL, L"the data source list could not be written");
    if (outcome.unitFailed) {
      return Failed(E_INVALIDARG, L"data source \"" + outcome.failedId +
                                      L"\" holds a value the document cannot carry (see the log); " +
                                      basePath + L" was left as it was");
    }
  } else {
    qz_com::ComPtr<IDSPersistXML> persist;
    hr = manager->QueryInterface(uuidof<IDSPersistXML>(), reinterpret_cast<void**>(persist.GetAddressOf()));
    if (FAILED(hr)) return Failed(hr, L"the manager cannot save documents");
    if (!persist->SaveXML(doc.Get(), basePath)) return Failed(E_FAIL, L"the data source list could not be written");
  }
  qz_com::ComPtr<IXMLDOMElement> root;
  if (FAILED(doc->get_documentElement(root.GetAddressOf())) || !root) {
    DataSourceUnitMgrEncoder head(doc.Get());
    if (!head.CreateDescriptionUnit()) return Failed(E_FAIL, L"the data source list could not be written");
  }
  return {};
}

#if !defined(_WIN32)
// Flushes the file's or folder's content to the disk.
bool SyncPath(const fs::path& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC);
  if (fd < 0) return false;
  const bool synced = ::fsync(fd) == 0;
  return ::close(fd) == 0 && synced;
}
#endif

// Writes doc to a new file beside file, flushes it and renames it over
// file; on any failure the temporary file is removed and file is untouched.
DataSourceListFileResult WriteDocumentAtomically(IXMLDOMDocument* doc, const fs::path& file) {
  const fs::path folder = file.parent_path();
  std::error_code ec;
  if (!fs::is_directory(folder, ec)) return Failed(kFileNotFound, ToWide(folder) + L": no such folder");
#if !defined(_WIN32)
  std::string pattern = (folder / ("." + file.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(pattern.data());
  if (fd < 0) {
    return Failed(kWriteFault, ToWide(folder) + L": cannot create a file beside the document: " + ErrnoText(errno));
  }
  // mkstemp makes the file private; give it the previous file's permissions,
  // or the usual ones of a new document.
  struct stat previous {};
  const mode_t mode = ::stat(file.c_str(), &previous) == 0 ? (previous.st_mode & 07777) : 0644;
  static_cast<void>(::fchmod(fd, mode));
  ::close(fd);
  const fs::path temp(pattern);
  auto fail = [&](const std::wstring& why) {
    fs::remove(temp, ec);
    return Failed(kWriteFault, ToWide(file) + L": " + why + L"; the previous file was left as it was");
  };
  if (FAILED(doc->save(utf8text::ToWide(pattern)))) return fail(L"writing failed (disk full or not writable)");
  if (!SyncPath(temp, O_RDONLY)) return fail(L"flushing failed: " + ErrnoText(errno));
  if (::rename(temp.c_str(), file.c_str()) != 0) return fail(L"renaming over it failed: " + ErrnoText(errno));
  static_cast<void>(SyncPath(folder, O_RDONLY | O_DIRECTORY));  // the rename itself; best effort
#else
  const fs::path temp = fs::path(file).concat(".tmp");
  if (FAILED(doc->save(temp.wstring()))) {
    fs::remove(temp, ec);
    return Failed(kWriteFault, file.wstring() + L": writing failed; the previous file was left as it was");
  }
  fs::rename(temp, file, ec);
  if (ec) {
    fs::remove(temp, ec);
    return Failed(kWriteFault, file.wstring() + L": renaming over it failed; the previous file was left as it was");
  }
#endif
  return {};
}

fs::path AbsolutePath(const std::wstring& path) {
  std::error_code ec;
  fs::path absolute = fs::absolute(ToPath(path), ec);
  return ec ? ToPath(path) : absolute.lexically_normal();
}

}  // namespace

DataSourceListFileResult LoadDataSourceListFile(IDataSourceUnitMgrCtrl* manager, const std::wstring& path) {
  if (!QZ_CHECK_CONDITION(manager != nullptr)) return Failed(E_POINTER, L"no manager to load into");
  try {
    const fs::path file = AbsolutePath(path);
    qz_com::ComPtr<IXMLDOMDocument> doc;
    DataSourceListFileResult result = ParseDocumentFile(file, doc);
    if (result) result = ApplyDocument(manager, doc.Get(), file);
    if (!result) EmptyList(manager);
    return result;
  } catch (const std::bad_alloc&) {
    EmptyList(manager);
    return Failed(E_OUTOFMEMORY, L"out of memory while loading " + path);
  }
}

DataSourceListFileResult SaveDataSourceListFile(IDataSourceUnitMgrCtrl* manager, const std::wstring& path) {
  if (!QZ_CHECK_CONDITION(manager != nullptr)) return Failed(E_POINTER, L"no manager to save");
  try {
    const fs::path file = AbsolutePath(path);
    qz_com::ComPtr<IXMLDOMDocument> doc;
    DataSourceListFileResult result = BuildDocument(manager, file, doc);
    if (result) result = WriteDocumentAtomically(doc.Get(), file);
    return result;
  } catch (const std::bad_alloc&) {
    return Failed(E_OUTOFMEMORY, L"out of memory while saving " + path);
  }
}

}  // namespace qz_dsc
