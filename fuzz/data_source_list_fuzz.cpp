// Fuzz target for the data source list document: the input is the document's
// text (UTF-8; invalid bytes become U+FFFD), loaded through the DOM and, when
// it parses, walked the way the manager loads it: the description unit, each
// data source and each stream, through every getter. A document that does
// not parse has its error read out. Getters may refuse; they must not crash,
// and their documented guarantees are checked.
#include <cstdint>
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
#include "xml/DataSourceUnitMgrDecoder.h"

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
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
  if (doc->get_documentElement(root.GetAddressOf()) == S_OK && root) Walk(root.Get());
  return 0;
}
