// Fuzz target for the data source list document: the input is the document's
// text (UTF-8; invalid bytes become U+FFFD), loaded through the DOM and, when
// it parses, walked the way the manager loads it: the description unit, each
// data source and each stream, through every getter. A document that does
// not parse has its error read out. Getters may refuse; they must not crash,
// and their documented guarantees are checked. Then the manager loads the
// document, saves what it loaded and loads that again: the same units,
// streams and values must come back (values of internal units only), with
// sample times as the time pair text reads them back. The same bytes loaded from a file by the streaming
// file load and by the DOM file load must give the same result.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <type_traits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Utf8Text.h"
#include "qz_com/ComPtr.h"
#include "qz_dom/qz_dom.h"
#include "qz_ds/qz_ds.h"
#include "qz_dsc/DataSourceEncDecCommon.h"
#include "qz_dsc/DataSourceStreamDecoder.h"
#include "qz_dsc/DataSourceUnitDecoder.h"
#include "qz_dsc/IDSPersistXML.h"
#include "qz_dsc/IDataSourceUnitCtrl.h"
#include "qz_dsc/IDataSourceUnitExternal.h"
#include "qz_dsc/IDataSourceUnitMgrCtrl.h"
#include "qz_math/Vector.h"
#include "qz_dsc/DataSourceListFile.h"
#include "units/DataSourceListFileDom.h"
#include "units/DataSourceUnitMgr.h"
#include "xml/DataSourceUnitMgrDecoder.h"
#include "xml/TimePairText.h"

namespace {

using qz_com::ComPtr;

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

std::wstring DecodeInput(const std::uint8_t* data, std::size_t size) {
  std::wstring text = utf8text::ToWide(std::string_view(reinterpret_cast<const char*>(data), size));
  std::erase(text, L'\0');  // a document holds no NUL
  return text;
}

void ReadParseError(IXMLDOMDocument* doc) {
  ComPtr<IXMLDOMParseError> error;
  if (doc->get_parseError(error.GetAddressOf()) != S_OK || !error) Fail("a failed load has no parse error");
  LONG code = 0;
  LONG line = 0;
  LONG column = 0;
  std::wstring reason;
  error->get_errorCode(&code);
  error->get_reason(&reason);
  error->get_line(&line);
  error->get_linepos(&column);
  if (code == 0) Fail("a failed load reports error code 0");
}

void WalkStream(const qz_dsc::DataSourceStreamDecoder& stream) {
  std::wstring text;
  std::wstring other;
  std::int32_t i32 = 0;
  std::int64_t i64 = 0;
  (void)stream.GetName(text);
  for (int type = qz_ds::StreamBasicType_None; type <= qz_ds::StreamBasicType_PersonSkeleton + 1; ++type) {
    (void)stream.IsOfType(static_cast<qz_ds::StreamBasicType>(type));
  }
  (void)stream.GetType(text);
  (void)stream.GetStreamClassId(i32);
  (void)stream.GetFreeze(i32, i64);
  (void)stream.GetDataVideoOffset(i64);
  (void)stream.GetDefaultValue(text);
  (void)stream.GetFirstSampleTime(i64);
  std::int32_t flow = -7;
  if (stream.GetFlowType(flow) && flow != 1 && flow != 2) Fail("a flow type other than 1 or 2 was accepted");
  (void)stream.GetRange(text, other);
  (void)stream.GetValueUnit(text);
  std::int32_t count = -1;
  if (!stream.GetSampleCount(count) || count < 0) Fail("the sample count is not a count");
  if (stream.GetSample(-1, text, i64) || stream.GetSample(count, text, i64)) Fail("a sample outside the list");
  for (std::int32_t i = 0; i < count && i < 20000; ++i) (void)stream.GetSample(i, text, i64);
}

void Walk(IXMLDOMElement* root) {
  qz_dsc::DataSourceUnitMgrDecoder manager(L"base");
  if (!manager.Locate(root)) return;
  std::vector<qz_dsc::DataSourceUnitDecoder> units;
  if (!manager.GetUnitDecoders(units)) Fail("a located description unit gives no decoders");
  for (const auto& unit : units) {
    std::wstring id;
    (void)unit.GetId(id);
    const bool external = unit.IsDataSourceExternal();
    std::wstring file;
    std::wstring converter;
    std::wstring persistency;
    bool json = false;
    if (unit.GetExternalDataSourceAttributes(file, converter, persistency, json) && !external) {
      Fail("external attributes of a data source that is not external");
    }
    for (const auto& stream : unit.GetDataSourceStreamDecoders()) WalkStream(stream);
  }
}

// ---- load, save, load ------------------------------------------------------------

ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> LoadedManager(IXMLDOMElement* root) {
  ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> manager;
  if (qz_dsc::CreateDataSourceUnitMgr(manager.GetAddressOf()) != S_OK) Fail("no manager");
  ComPtr<qz_dsc::IDSPersistXML> persist;
  manager->QueryInterface(uuidof<qz_dsc::IDSPersistXML>(), reinterpret_cast<void**>(persist.GetAddressOf()));
  if (!persist->LoadXML(root, L"")) return {};
  return manager;
}

// A saved time as it reads back.
std::int64_t ThroughTimePair(std::int64_t t) {
  std::int64_t back = 0;
  if (!qz_dsc::TimePairText::Parse(qz_dsc::TimePairText::Format(t), back)) Fail("a written time pair does not read");
  return back;
}

// Equal, or both not equal to themselves (NaN anywhere in them).
template <class T>
bool Same(const T& a, const T& b) {
  return a == b || (!(a == a) && !(b == b));
}

// The stream's samples by key, read through the overlay adapter.
template <class T>
bool StoredSamples(qz_ds::DataSource& source, qz_dsc::IDataSourceUnit* unit, const std::wstring& name,
                   std::vector<std::pair<std::int64_t, T>>& out) {
  auto stream = std::dynamic_pointer_cast<qz_ds::DataSourceStream<T>>(source.GetStream(name));
  if (!stream) return false;
  std::int64_t offset = 0;
  if (unit->GetStreamVideoOffset(name, &offset) != S_OK) Fail("a listed stream has no video offset");
  stream->GetSamples(INT64_MIN, INT64_MAX, out);
  for (auto& sample : out) sample.first = static_cast<std::int64_t>(static_cast<std::uint64_t>(sample.first) -
                                                                    static_cast<std::uint64_t>(offset));
  return true;
}

template <class T>
bool CompareStream(qz_ds::DataSource& a, qz_dsc::IDataSourceUnit* unitA, qz_ds::DataSource& b,
                   qz_dsc::IDataSourceUnit* unitB, const std::wstring& name) {
  std::vector<std::pair<std::int64_t, T>> before;
  std::vector<std::pair<std::int64_t, T>> after;
  if (!StoredSamples(a, unitA, name, before)) return false;
  if (!StoredSamples(b, unitB, name, after)) Fail("a stream changed its type through a save and load");
  std::map<std::int64_t, T> expected;
  for (const auto& [t, v] : before) {
    // Times that fold onto one another (negative times lose their sign) keep
    // only one sample; such streams are compared by count alone.
    if (!expected.emplace(ThroughTimePair(t), v).second) {
      if (after.size() > before.size()) Fail("a save and load added samples");
      return true;
    }
  }
  if (after.size() != expected.size()) Fail("a save and load changed a stream's sample count");
  std::sort(after.begin(), after.end(), [](const auto& x, const auto& y) { return x.first < y.first; });
  auto it = expected.begin();
  for (const auto& [t, v] : after) {
    if (t != it->first || !Same(v, it->second)) Fail("a save and load changed a sample");
    ++it;
  }
  return true;
}

void CompareUnits(qz_dsc::IDataSourceUnitMgrCtrl* first, qz_dsc::IDataSourceUnitMgrCtrl* second) {
  if (first->GetDataSourceCount() != second->GetDataSourceCount()) Fail("a save and load changed the unit count");
  const auto infosA = first->GetDataSourceInfos();
  const auto infosB = second->GetDataSourceInfos();
  for (std::size_t i = 0; i < infosA.size(); ++i) {
    if (infosA[i].GetId() != infosB[i].GetId()) Fail("a save and load changed an id");
    const auto& streamsA = infosA[i].GetStreams();
    const auto& streamsB = infosB[i].GetStreams();
    if (streamsA.size() != streamsB.size()) Fail("a save and load changed a unit's streams");
    ComPtr<qz_dsc::IDataSourceUnit> unitA;
    ComPtr<qz_dsc::IDataSourceUnit> unitB;
    first->GetDataSourceByIndex(static_cast<std::int32_t>(i), uuidof<qz_dsc::IDataSourceUnit>(),
                                reinterpret_cast<void**>(unitA.GetAddressOf()));
    second->GetDataSourceByIndex(static_cast<std::int32_t>(i), uuidof<qz_dsc::IDataSourceUnit>(),
                                 reinterpret_cast<void**>(unitB.GetAddressOf()));
    // An external unit saves its stream definitions only: samples it read
    // from Value elements of the loaded document do not come back.
    ComPtr<qz_dsc::IDataSourceUnitExternal> external;
    const bool samplesSaved = unitA->QueryInterface(uuidof<qz_dsc::IDataSourceUnitExternal>(),
                                                    reinterpret_cast<void**>(external.GetAddressOf())) != S_OK;
    auto a = unitA->CreateOverlayDataSource();
    auto b = unitB->CreateOverlayDataSource();
    for (std::size_t s = 0; s < streamsA.size(); ++s) {
      const std::wstring& name = streamsA[s].GetName();
      if (name != streamsB[s].GetName() || streamsA[s].GetType() != streamsB[s].GetType()) {
        Fail("a save and load changed a stream's name or type");
      }
      if (!samplesSaved) continue;
      static_cast<void>(CompareStream<int>(*a, unitA.Get(), *b, unitB.Get(), name) ||
                        CompareStream<double>(*a, unitA.Get(), *b, unitB.Get(), name) ||
                        CompareStream<std::wstring>(*a, unitA.Get(), *b, unitB.Get(), name) ||
                        CompareStream<qz_math::Vector2>(*a, unitA.Get(), *b, unitB.Get(), name) ||
                        CompareStream<qz_math::VectorN<6>>(*a, unitA.Get(), *b, unitB.Get(), name));
    }
  }
}

void RoundTrip(IXMLDOMElement* root) {
  auto first = LoadedManager(root);
  if (!first) return;
  ComPtr<IXMLDOMDocument> saved;
  if (qz_dsc::DataSourceEncDecCommon::CreateDocument(saved.GetAddressOf()) != S_OK) Fail("no document");
  auto* own = dynamic_cast<qz_dsc::DataSourceUnitMgr*>(first.Get());
  const auto outcome = own->SaveXMLChecked(saved.Get(), L"");
  if (!outcome.written) Fail("a loaded list could not be saved");
  if (outcome.unitFailed || first->IsEmpty()) return;  // refused values are the save's to report
  std::wstring text;
  if (saved->get_xml(&text) != S_OK) Fail("a saved document has no text");
  ComPtr<IXMLDOMDocument> again;
  VARIANT_BOOL ok = VARIANT_FALSE;
  if (qz_dsc::DataSourceEncDecCommon::CreateDocument(again.GetAddressOf()) != S_OK ||
      again->loadXML(text, &ok) != S_OK || ok != VARIANT_TRUE) {
    Fail("a saved document does not parse");
  }
  ComPtr<IXMLDOMElement> savedRoot;
  again->get_documentElement(savedRoot.GetAddressOf());
  auto second = LoadedManager(savedRoot.Get());
  if (!second) Fail("a saved document does not load");
  CompareUnits(first.Get(), second.Get());
}

// The list as the DOM save writes it; empty for an empty list.
std::wstring ListText(qz_dsc::IDataSourceUnitMgrCtrl* manager) {
  ComPtr<IXMLDOMDocument> doc;
  if (qz_dsc::DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()) != S_OK) Fail("no document");
  static_cast<void>(dynamic_cast<qz_dsc::DataSourceUnitMgr*>(manager)->SaveXMLChecked(doc.Get(), L""));
  std::wstring text;
  if (doc->get_xml(&text) != S_OK) Fail("a saved document has no text");
  return text;
}

// The input bytes as a file, loaded by the streaming file load and by the
// DOM file load: the same result, counts and list must come out.
void CompareFileLoads(const std::uint8_t* data, std::size_t size) {
  static const std::string path =
      (std::filesystem::temp_directory_path() / ("dscore_fuzz_list_" + std::to_string(::getpid()) + ".xml")).string();
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) Fail("no temporary file");
  const bool written = std::fwrite(data, 1, size, f) == size;
  if (std::fclose(f) != 0 || !written) Fail("the temporary file could not be written");
  ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> streamed;
  ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> dom;
  if (qz_dsc::CreateDataSourceUnitMgr(streamed.GetAddressOf()) != S_OK ||
      qz_dsc::CreateDataSourceUnitMgr(dom.GetAddressOf()) != S_OK) {
    Fail("no manager");
  }
  const std::wstring file = utf8text::ToWide(path);
  const auto a = qz_dsc::LoadDataSourceListFile(streamed.Get(), file);
  const auto b = qz_dsc::LoadDataSourceListFileThroughDom(dom.Get(), file);
  if (a.status != b.status || a.message != b.message) Fail("the streaming load reports otherwise than the DOM load");
  if (a.skippedUnits != b.skippedUnits || a.skippedStreams != b.skippedStreams || a.failedImports != b.failedImports) {
    Fail("the streaming load counts otherwise than the DOM load");
  }
  if (streamed->GetDataSourceCount() != dom->GetDataSourceCount() || ListText(streamed.Get()) != ListText(dom.Get())) {
    Fail("the streaming load loads otherwise than the DOM load");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CompareFileLoads(data, size);
  const std::wstring text = DecodeInput(data, size);
  ComPtr<IXMLDOMDocument> doc;
  if (qz_dsc::DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()) != S_OK) Fail("no document");
  VARIANT_BOOL ok = VARIANT_FALSE;
  const HRESULT hr = doc->loadXML(text, &ok);
  if (hr != S_OK || ok != VARIANT_TRUE) {
    if (hr == S_FALSE) ReadParseError(doc.Get());
    return 0;
  }
  ComPtr<IXMLDOMElement> root;
  if (doc->get_documentElement(root.GetAddressOf()) == S_OK && root) {
    Walk(root.Get());
    RoundTrip(root.Get());
  }
  return 0;
}
