// Saving and loading a data source list of 10 double streams through the
// manager's document file functions (streaming) and the DOM path they
// replaced, beside libxml2 itself on the same content in the same run:
// xmlReadFile with a plain walk over every node and attribute, its streaming
// reader and SAX2 parser, xmlTextWriter writing the same elements, and a
// to_chars + fwrite writer. Sizes from 10^3 to 10^5 samples per stream
// (10^4 to 10^6 in all), so that the time per sample (items/s) shows
// whether anything grows faster than the document; then one save and load
// of 10^7 samples for the memory a large list needs. Peak heap is counted
// through operator new and libxml2's allocator hooks (malloc_usable_size).
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlreader.h>
#include <libxml/xmlwriter.h>
#include <malloc.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <string>

#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceEncDecCommon.h"
#include "qz_dsc/DataSourceListFile.h"
#include "qz_dsc/IDSPersistXML.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/IDataSourceUnitMgrPrivate.h"
#include "qz_dsc/StreamModifierRawBuffer.h"
#include "units/DataSourceListFileDom.h"
#include "xml/TimePairText.h"

// ---- heap counter ------------------------------------------------------------------
namespace {
std::atomic<std::int64_t> g_held{0};
std::atomic<std::int64_t> g_peak{0};

void Held(std::int64_t delta) {
  const std::int64_t now = g_held.fetch_add(delta, std::memory_order_relaxed) + delta;
  std::int64_t peak = g_peak.load(std::memory_order_relaxed);
  while (now > peak && !g_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
  }
}
void* CountedMalloc(std::size_t n) {
  void* p = std::malloc(n);
  if (p != nullptr) Held(static_cast<std::int64_t>(malloc_usable_size(p)));
  return p;
}
void CountedFree(void* p) {
  if (p == nullptr) return;
  Held(-static_cast<std::int64_t>(malloc_usable_size(p)));
  std::free(p);
}
void* CountedRealloc(void* p, std::size_t n) {
  const auto before = p != nullptr ? static_cast<std::int64_t>(malloc_usable_size(p)) : 0;
  void* q = std::realloc(p, n);
  if (q != nullptr) Held(static_cast<std::int64_t>(malloc_usable_size(q)) - before);
  return q;
}
char* CountedStrdup(const char* s) {
  const std::size_t n = std::strlen(s) + 1;
  auto* p = static_cast<char*>(CountedMalloc(n));
  if (p != nullptr) std::memcpy(p, s, n);
  return p;
}
const bool g_xmlHooks = xmlMemSetup(CountedFree, CountedMalloc, CountedRealloc, CountedStrdup) == 0;

void ResetPeak() { g_peak.store(g_held.load()); }
double PeakMiB(std::int64_t base) { return static_cast<double>(g_peak.load() - base) / (1024.0 * 1024.0); }
}  // namespace

void* operator new(std::size_t n) {
  if (void* p = CountedMalloc(n == 0 ? 1 : n)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { CountedFree(p); }
void operator delete(void* p, std::size_t) noexcept { CountedFree(p); }

// ---- content -----------------------------------------------------------------------
namespace {

constexpr int kStreams = 10;
namespace fs = std::filesystem;

std::wstring FilePath(const char* name) { return (fs::temp_directory_path() / name).wstring(); }

qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> Manager(int samples) {
  qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> manager;
  static_cast<void>(qz_dsc::CreateDataSourceUnitMgr(manager.GetAddressOf()));
  qz_dsc::DataSourceModifier modifier;
  modifier.SetId(L"Bench");
  for (int s = 0; s < kStreams; ++s) {
    auto record = std::make_shared<qz_dsc::DataSourceStreamModifier>();
    static_cast<void>(record->Create(L"stream" + std::to_wstring(s), qz_ds::StreamBasicType_Float));
    for (int i = 0; i < samples; ++i) {
      static_cast<void>(record->GetInternalBuffer()->AddSample(
          i * 400'000LL, qz_dsc::DataSourceStreamVariantDerived<double>(i * 0.25 + s)));
    }
    static_cast<void>(modifier.AddStream(record));
  }
  qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrPrivate> priv;
  manager->QueryInterface(uuidof<qz_dsc::IDataSourceUnitMgrPrivate>(), reinterpret_cast<void**>(priv.GetAddressOf()));
  static_cast<void>(priv->ApplyModifier(modifier, 0));
  return manager;
}

// The list of samples × 10 saved once as the loads' input; its path.
std::wstring ListFileOf(int samples) {
  const std::wstring path = FilePath("dscore_bench_list.xml");
  static_cast<void>(qz_dsc::SaveDataSourceListFile(Manager(samples).Get(), path));
  return path;
}

// The heap held now, from which the loop's peak is counted.
std::int64_t HeapBeforeTheLoop() {
  const std::int64_t base = g_held.load();
  ResetPeak();
  return base;
}

void Report(benchmark::State& state, int samples, std::int64_t base) {
  state.SetItemsProcessed(state.iterations() * kStreams * samples);
  state.counters["peak_MiB"] = PeakMiB(base);
  state.counters["peak_B_per_sample"] = PeakMiB(base) * 1024.0 * 1024.0 / (static_cast<double>(kStreams) * samples);
}

// The file save as it was: the whole list built as a DOM, then saved.
void BM_DomSave(benchmark::State& state) {
  const int samples = static_cast<int>(state.range(0));
  auto manager = Manager(samples);
  const std::wstring path = FilePath("dscore_bench_dom.xml");
  const std::int64_t base = g_held.load();
  ResetPeak();
  for (auto _ : state) {
    qz_com::ComPtr<IXMLDOMDocument> doc;
    qz_com::ComPtr<qz_dsc::IDSPersistXML> persist;
    manager->QueryInterface(uuidof<qz_dsc::IDSPersistXML>(), reinterpret_cast<void**>(persist.GetAddressOf()));
    if (FAILED(qz_dsc::DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf())) || !persist->SaveXML(doc.Get(), path) ||
        FAILED(doc->save(path))) {
      state.SkipWithError("save");
    }
  }
  Report(state, samples, base);
}

// The file load as it was: the whole file parsed into a DOM, then loaded.
void BM_DomLoad(benchmark::State& state) {
  const int samples = static_cast<int>(state.range(0));
  const std::wstring path = ListFileOf(samples);
  const std::int64_t base = HeapBeforeTheLoop();
  for (auto _ : state) {
    qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> manager;
    static_cast<void>(qz_dsc::CreateDataSourceUnitMgr(manager.GetAddressOf()));
    if (!qz_dsc::LoadDataSourceListFileThroughDom(manager.Get(), path)) {
      state.SkipWithError("load");
    }
  }
  Report(state, samples, base);
}

// The same layout written with to_chars and fwrite alone: the floor of any
// document writer.
void BM_ToCharsFwrite(benchmark::State& state) {
  const int samples = static_cast<int>(state.range(0));
  const std::string path = fs::path(FilePath("dscore_bench_tochars.xml")).string();
  const std::int64_t base = g_held.load();
  ResetPeak();
  for (auto _ : state) {
    std::FILE* out = std::fopen(path.c_str(), "wb");
    std::string buffer;
    buffer.reserve(1 << 18);
    char digits[32];
    buffer += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<mpeg7:Mpeg7><mpeg7:DescriptionUnit><DataSource name=\"Bench\">";
    for (int s = 0; s < kStreams; ++s) {
      buffer += "<DataSourceStream name=\"stream" + std::to_string(s) + "\">";
      for (int i = 0; i < samples; ++i) {
        char pair[qz_dsc::TimePairText::kMaxUtf8Size];
        buffer += "<Value TimeStamp=\"";
        buffer += qz_dsc::TimePairText::FormatUtf8To(i * 400'000LL, pair);
        buffer += "\">";
        buffer.append(digits, std::to_chars(digits, digits + sizeof digits, i * 0.25 + s).ptr);
        buffer += "</Value>";
        if (buffer.size() > (1 << 18)) {
          std::fwrite(buffer.data(), 1, buffer.size(), out);
          buffer.clear();
        }
      }
      buffer += "</DataSourceStream>";
    }
    buffer += "</DataSource></mpeg7:DescriptionUnit></mpeg7:Mpeg7>\n";
    std::fwrite(buffer.data(), 1, buffer.size(), out);
    std::fclose(out);
  }
  Report(state, samples, base);
}

// 10 streams of 1,000,000 samples saved and loaded back: the peak of each
// step, beyond what the list itself holds, stays far below the DOM's
// (about 500 B a sample).
void BM_TenMillionSaveAndLoad(benchmark::State& state) {
  constexpr int kSamples = 1'000'000;
  const std::wstring path = FilePath("dscore_bench_10m.xml");
  double savePeak = 0;
  double loadPeak = 0;
  for (auto _ : state) {
    {
      auto manager = Manager(kSamples);
      const std::int64_t base = g_held.load();
      ResetPeak();
      if (!qz_dsc::SaveDataSourceListFile(manager.Get(), path)) state.SkipWithError("save");
      savePeak = PeakMiB(base);
    }
    const std::int64_t base = g_held.load();
    ResetPeak();
    qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> manager;
    static_cast<void>(qz_dsc::CreateDataSourceUnitMgr(manager.GetAddressOf()));
    if (!qz_dsc::LoadDataSourceListFile(manager.Get(), path) ||
        manager->GetDataSourceCount() != 1) {
      state.SkipWithError("load");
    }
    loadPeak = PeakMiB(base);
  }
  state.SetItemsProcessed(state.iterations() * kStreams * kSamples);
  state.counters["save_peak_MiB"] = savePeak;
  state.counters["load_peak_MiB"] = loadPeak;
  state.counters["load_peak_B_per_sample"] = loadPeak * 1024.0 * 1024.0 / (kStreams * static_cast<double>(kSamples));
  std::error_code ec;
  fs::remove(fs::path(path), ec);
}

void BM_ManagerSave(benchmark::State& state) {
  const int samples = static_cast<int>(state.range(0));
  auto manager = Manager(samples);
  const std::int64_t base = g_held.load();
  ResetPeak();
  for (auto _ : state) {
    if (!qz_dsc::SaveDataSourceListFile(manager.Get(), FilePath("dscore_bench_list.xml"))) state.SkipWithError("save");
  }
  Report(state, samples, base);
}

void BM_ManagerLoad(benchmark::State& state) {
  const int samples = static_cast<int>(state.range(0));
  const std::wstring path = ListFileOf(samples);
  const std::int64_t base = HeapBeforeTheLoop();
  for (auto _ : state) {
    qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> manager;
    static_cast<void>(qz_dsc::CreateDataSourceUnitMgr(manager.GetAddressOf()));
    if (!qz_dsc::LoadDataSourceListFile(manager.Get(), path)) state.SkipWithError("load");
  }
  Report(state, samples, base);
}

// Every element, attribute and text node visited, their contents touched.
std::size_t Walk(xmlNode* node) {
  std::size_t bytes = 0;
  for (; node != nullptr; node = node->next) {
    for (xmlAttr* a = node->properties; a != nullptr; a = a->next) {
      if (a->children != nullptr && a->children->content != nullptr) bytes += std::strlen(reinterpret_cast<char*>(a->children->content));
    }
    if (node->type == XML_TEXT_NODE && node->content != nullptr) bytes += std::strlen(reinterpret_cast<char*>(node->content));
    bytes += Walk(node->children);
  }
  return bytes;
}

void BM_Libxml2ReadAndWalk(benchmark::State& state) {
  const int samples = static_cast<int>(state.range(0));
  const std::string path = fs::path(ListFileOf(samples)).string();
  const std::int64_t base = HeapBeforeTheLoop();
  for (auto _ : state) {
    xmlDocPtr doc = xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET);
    benchmark::DoNotOptimize(Walk(xmlDocGetRootElement(doc)));
    xmlFreeDoc(doc);
  }
  Report(state, samples, base);
}

// libxml2's streaming reader over the same file, every node visited: the
// floor of a load through xmlTextReader.
void BM_Libxml2TextReader(benchmark::State& state) {
  const int samples = static_cast<int>(state.range(0));
  const std::string path = fs::path(ListFileOf(samples)).string();
  const std::int64_t base = HeapBeforeTheLoop();
  for (auto _ : state) {
    xmlTextReaderPtr reader = xmlReaderForFile(path.c_str(), nullptr, XML_PARSE_NONET);
    std::size_t nodes = 0;
    while (xmlTextReaderRead(reader) == 1) nodes += static_cast<std::size_t>(xmlTextReaderNodeType(reader));
    benchmark::DoNotOptimize(nodes);
    xmlFreeTextReader(reader);
  }
  Report(state, samples, base);
}

// libxml2's SAX2 parser over the same file, callbacks counting elements and
// text: the floor of a load without any tree.
void BM_Libxml2Sax2(benchmark::State& state) {
  const int samples = static_cast<int>(state.range(0));
  const std::string path = fs::path(ListFileOf(samples)).string();
  const std::int64_t base = HeapBeforeTheLoop();
  for (auto _ : state) {
    std::size_t count = 0;
    xmlSAXHandler sax{};
    sax.initialized = XML_SAX2_MAGIC;
    sax.startElementNs = [](void* ctx, const xmlChar*, const xmlChar*, const xmlChar*, int, const xmlChar**, int n,
                            int, const xmlChar**) { *static_cast<std::size_t*>(ctx) += static_cast<std::size_t>(n) + 1; };
    sax.characters = [](void* ctx, const xmlChar*, int len) { *static_cast<std::size_t*>(ctx) += static_cast<std::size_t>(len); };
    static_cast<void>(xmlSAXUserParseFile(&sax, &count, path.c_str()));
    benchmark::DoNotOptimize(count);
  }
  Report(state, samples, base);
}

// The same elements and attributes as the manager writes.
void BM_Libxml2TextWriter(benchmark::State& state) {
  const int samples = static_cast<int>(state.range(0));
  const std::string path = fs::path(FilePath("dscore_bench_writer.xml")).string();
  const std::int64_t base = g_held.load();
  ResetPeak();
  for (auto _ : state) {
    xmlTextWriterPtr w = xmlNewTextWriterFilename(path.c_str(), 0);
    xmlTextWriterStartDocument(w, nullptr, "UTF-8", nullptr);
    xmlTextWriterStartElement(w, BAD_CAST "mpeg7:Mpeg7");
    xmlTextWriterWriteAttribute(w, BAD_CAST "xmlns:mpeg7", BAD_CAST "urn:mpeg:mpeg7:schema:2001");
    xmlTextWriterStartElement(w, BAD_CAST "mpeg7:DescriptionUnit");
    xmlTextWriterWriteAttribute(w, BAD_CAST "xsi:type", BAD_CAST "DataSourceListType");
    xmlTextWriterWriteAttribute(w, BAD_CAST "versionNbr", BAD_CAST "1 0");
    xmlTextWriterStartElement(w, BAD_CAST "DataSource");
    xmlTextWriterWriteAttribute(w, BAD_CAST "name", BAD_CAST "Bench");
    char value[32];
    for (int s = 0; s < kStreams; ++s) {
      xmlTextWriterStartElement(w, BAD_CAST "DataSourceStream");
      xmlTextWriterWriteAttribute(w, BAD_CAST "xsi:type", BAD_CAST "DataSourceFloatStreamType");
      xmlTextWriterWriteAttribute(w, BAD_CAST "name", BAD_CAST("stream" + std::to_string(s)).c_str());
      for (int i = 0; i < samples; ++i) {
        xmlTextWriterStartElement(w, BAD_CAST "Value");
        xmlTextWriterWriteAttribute(w, BAD_CAST "TimeStamp", BAD_CAST qz_dsc::TimePairText::FormatUtf8(i * 400'000LL).c_str());
        std::snprintf(value, sizeof value, "%.17g", i * 0.25 + s);
        xmlTextWriterWriteString(w, BAD_CAST value);
        xmlTextWriterEndElement(w);
      }
      xmlTextWriterEndElement(w);
    }
    xmlTextWriterEndDocument(w);
    xmlFreeTextWriter(w);
  }
  Report(state, samples, base);
}

}  // namespace

BENCHMARK(BM_ManagerSave)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DomSave)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ToCharsFwrite)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Libxml2TextWriter)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ManagerLoad)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DomLoad)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Libxml2ReadAndWalk)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Libxml2TextReader)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Libxml2Sax2)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TenMillionSaveAndLoad)->Iterations(1)->Unit(benchmark::kMillisecond);
