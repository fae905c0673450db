// Saving and loading a data source list of 10 double streams through the
// manager's document file functions, beside libxml2 itself on the same
// content in the same run: xmlReadFile with a plain walk over every node and
// attribute, and xmlTextWriter writing the same elements. Sizes from 10^3 to
// 10^5 samples per stream, so that the time per sample (items/s) shows
// whether anything grows faster than the document. Peak heap is counted
// through operator new and libxml2's allocator hooks (malloc_usable_size).
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlwriter.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <string>

#include "qz_com/ComPtr.h"
#include "qz_dsc/DataSourceListFile.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/IDataSourceUnitMgrPrivate.h"
#include "qz_dsc/StreamModifierRawBuffer.h"
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

void Report(benchmark::State& state, int samples, std::int64_t base) {
  state.SetItemsProcessed(state.iterations() * kStreams * samples);
  state.counters["peak_MiB"] = PeakMiB(base);
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
  static_cast<void>(qz_dsc::SaveDataSourceListFile(Manager(samples).Get(), FilePath("dscore_bench_list.xml")));
  const std::int64_t base = g_held.load();
  ResetPeak();
  for (auto _ : state) {
    qz_com::ComPtr<qz_dsc::IDataSourceUnitMgrCtrl> manager;
    static_cast<void>(qz_dsc::CreateDataSourceUnitMgr(manager.GetAddressOf()));
    if (!qz_dsc::LoadDataSourceListFile(manager.Get(), FilePath("dscore_bench_list.xml"))) state.SkipWithError("load");
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
  static_cast<void>(qz_dsc::SaveDataSourceListFile(Manager(samples).Get(), FilePath("dscore_bench_list.xml")));
  const std::string path = fs::path(FilePath("dscore_bench_list.xml")).string();
  const std::int64_t base = g_held.load();
  ResetPeak();
  for (auto _ : state) {
    xmlDocPtr doc = xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET);
    benchmark::DoNotOptimize(Walk(xmlDocGetRootElement(doc)));
    xmlFreeDoc(doc);
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
BENCHMARK(BM_Libxml2TextWriter)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ManagerLoad)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Libxml2ReadAndWalk)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
