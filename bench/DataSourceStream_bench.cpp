// The internal double stream with one million samples, each measurement beside
// a baseline built on std::map (a balanced tree, one node per sample) doing
// the same work: appending one call per sample (lock and last-modified stamp
// included) and in one batch, value lookups in playback order and at random
// times, reading the whole range, cloning, and the bytes held per sample as
// counted by a global allocation counter.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <random>
#include <vector>

#include "streams/DataSourceStreamTempl.h"
#include "streams/SampleColumn.h"

// ---- allocation counter ------------------------------------------------------
// Every allocation carries a 16-byte header with its size, so that the bytes
// currently held are known exactly. The sample store's columns of plain
// values take their blocks from malloc and mmap, and count those themselves.
namespace {
std::atomic<std::int64_t> g_heldBytes{0};
constexpr std::size_t kHeader = 16;

void* CountedAlloc(std::size_t n) {
  void* p = std::malloc(n + kHeader);
  if (p == nullptr) throw std::bad_alloc();
  *static_cast<std::size_t*>(p) = n;
  g_heldBytes.fetch_add(static_cast<std::int64_t>(n), std::memory_order_relaxed);
  return static_cast<char*>(p) + kHeader;
}

void CountedFree(void* q) noexcept {
  if (q == nullptr) return;
  void* p = static_cast<char*>(q) - kHeader;
  g_heldBytes.fetch_sub(static_cast<std::int64_t>(*static_cast<std::size_t*>(p)), std::memory_order_relaxed);
  std::free(p);
}
std::int64_t HeldBytes() {
  return g_heldBytes.load() + static_cast<std::int64_t>(qz_dsc::SampleColumnBlockBytes());
}
}  // namespace

void* operator new(std::size_t n) { return CountedAlloc(n); }
void* operator new[](std::size_t n) { return CountedAlloc(n); }
void operator delete(void* p) noexcept { CountedFree(p); }
void operator delete[](void* p) noexcept { CountedFree(p); }
void operator delete(void* p, std::size_t) noexcept { CountedFree(p); }
void operator delete[](void* p, std::size_t) noexcept { CountedFree(p); }

namespace {

using Stream = qz_dsc::DataSourceStreamTempl<double>;
using Sample = Stream::Sample;
constexpr std::int64_t kSamples = 1'000'000;
constexpr std::int64_t kStep = 100'000;  // 10 ms between samples

double ValueOf(std::int64_t i) { return static_cast<double>(i) * 0.5; }

// The naive design the stream replaces: a tree, a recursive lock and a
// steady_clock stamp per change.
struct MapStream {
  std::recursive_mutex lock;
  std::map<std::int64_t, double> samples;
  std::int64_t lastModified = 0;

  void Add(std::int64_t t, double v) {
    std::lock_guard<std::recursive_mutex> g(lock);
    samples.insert_or_assign(samples.end(), t, v);
    lastModified = std::chrono::steady_clock::now().time_since_epoch().count();
  }
  double ValueAt(std::int64_t t) {
    std::lock_guard<std::recursive_mutex> g(lock);
    auto it = samples.upper_bound(t);
    return it == samples.begin() ? 0.0 : std::prev(it)->second;
  }
};

std::unique_ptr<Stream> NewStream() {
  auto s = std::make_unique<Stream>();
  s->Initialize(L"bench", false);
  (void)s->StartRecording(0);  // unbounded, origin 0
  return s;
}

const std::vector<Sample>& AllSamples() {
  static const std::vector<Sample> samples = [] {
    std::vector<Sample> v;
    v.reserve(kSamples);
    for (std::int64_t i = 0; i < kSamples; ++i) v.emplace_back(i * kStep, ValueOf(i));
    return v;
  }();
  return samples;
}

Stream& FilledStream() {
  static const std::unique_ptr<Stream> s = [] {
    auto p = NewStream();
    p->AddSamples(AllSamples());
    return p;
  }();
  return *s;
}

MapStream& FilledMap() {
  static const std::unique_ptr<MapStream> m = [] {
    auto p = std::make_unique<MapStream>();
    for (const auto& [t, v] : AllSamples()) p->Add(t, v);
    return p;
  }();
  return *m;
}

const std::vector<std::int64_t>& RandomTimes() {
  static const std::vector<std::int64_t> times = [] {
    std::mt19937_64 rng(42);
    std::vector<std::int64_t> v(1 << 16);
    for (auto& t : v) t = static_cast<std::int64_t>(rng() % static_cast<std::uint64_t>(kSamples * kStep));
    return v;
  }();
  return times;
}

void PerSample(benchmark::State& state, std::int64_t samplesPerIteration) {
  // CPU seconds per sample (shown with an SI prefix: 5.1n is 5.1 ns).
  state.counters["time/sample"] = benchmark::Counter(static_cast<double>(samplesPerIteration),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

// ---- append ----------------------------------------------------------------

void BM_AppendOneByOne_Stream(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto s = NewStream();
    state.ResumeTiming();
    for (std::int64_t i = 0; i < kSamples; ++i) s->AddSample(i * kStep, ValueOf(i));
    benchmark::DoNotOptimize(s.get());
    state.PauseTiming();
    s.reset();
    state.ResumeTiming();
  }
  PerSample(state, kSamples);
}

void BM_AppendOneByOne_Map(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto m = std::make_unique<MapStream>();
    state.ResumeTiming();
    for (std::int64_t i = 0; i < kSamples; ++i) m->Add(i * kStep, ValueOf(i));
    benchmark::DoNotOptimize(m.get());
    state.PauseTiming();
    m.reset();
    state.ResumeTiming();
  }
  PerSample(state, kSamples);
}

void BM_AppendBatch_Stream(benchmark::State& state) {
  const auto& samples = AllSamples();
  for (auto _ : state) {
    state.PauseTiming();
    auto s = NewStream();
    state.ResumeTiming();
    s->AddSamples(samples);
    benchmark::DoNotOptimize(s.get());
    state.PauseTiming();
    s.reset();
    state.ResumeTiming();
  }
  PerSample(state, kSamples);
}

void BM_AppendBatch_Map(benchmark::State& state) {
  const auto& samples = AllSamples();
  for (auto _ : state) {
    state.PauseTiming();
    auto m = std::make_unique<MapStream>();
    state.ResumeTiming();
    {
      std::lock_guard<std::recursive_mutex> g(m->lock);
      for (const auto& [t, v] : samples) m->samples.insert_or_assign(m->samples.end(), t, v);
      m->lastModified = std::chrono::steady_clock::now().time_since_epoch().count();
    }
    benchmark::DoNotOptimize(m.get());
    state.PauseTiming();
    m.reset();
    state.ResumeTiming();
  }
  PerSample(state, kSamples);
}

// ---- lookup ----------------------------------------------------------------

// Playback: a video at 60 frames a second asks at each frame's time.
constexpr std::int64_t kFrame = 166'667;

void BM_ValueAtPlayback_Stream(benchmark::State& state) {
  Stream& s = FilledStream();
  std::int64_t t = 0;
  double v = 0;
  for (auto _ : state) {
    s.GetValueAt(t, 0, v);
    benchmark::DoNotOptimize(v);
    t += kFrame;
    if (t >= kSamples * kStep) t = 0;
  }
  PerSample(state, 1);
}

void BM_ValueAtPlayback_Map(benchmark::State& state) {
  MapStream& m = FilledMap();
  std::int64_t t = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(m.ValueAt(t));
    t += kFrame;
    if (t >= kSamples * kStep) t = 0;
  }
  PerSample(state, 1);
}

void BM_ValueAtRandom_Stream(benchmark::State& state) {
  Stream& s = FilledStream();
  const auto& times = RandomTimes();
  std::size_t i = 0;
  double v = 0;
  for (auto _ : state) {
    s.GetValueAt(times[i++ & (times.size() - 1)], 0, v);
    benchmark::DoNotOptimize(v);
  }
  PerSample(state, 1);
}

void BM_ValueAtRandom_Map(benchmark::State& state) {
  MapStream& m = FilledMap();
  const auto& times = RandomTimes();
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(m.ValueAt(times[i++ & (times.size() - 1)]));
  PerSample(state, 1);
}

// ---- whole range, clone, memory ----------------------------------------------

void BM_GetSamplesAll_Stream(benchmark::State& state) {
  Stream& s = FilledStream();
  for (auto _ : state) {
    std::vector<Sample> out;
    s.GetSamples(INT64_MIN, INT64_MAX, out);
    benchmark::DoNotOptimize(out.data());
  }
  PerSample(state, kSamples);
}

void BM_GetSamplesAll_Map(benchmark::State& state) {
  MapStream& m = FilledMap();
  for (auto _ : state) {
    std::vector<Sample> out;
    {
      std::lock_guard<std::recursive_mutex> g(m.lock);
      out.reserve(m.samples.size());
      for (const auto& [t, v] : m.samples) out.emplace_back(t, v);
    }
    benchmark::DoNotOptimize(out.data());
  }
  PerSample(state, kSamples);
}

void BM_Clone_Stream(benchmark::State& state) {
  Stream& s = FilledStream();
  for (auto _ : state) {
    auto copy = s.Clone();
    benchmark::DoNotOptimize(copy.get());
  }
  PerSample(state, kSamples);
}

void BM_Clone_Map(benchmark::State& state) {
  MapStream& m = FilledMap();
  for (auto _ : state) {
    std::lock_guard<std::recursive_mutex> g(m.lock);
    auto copy = std::make_unique<std::map<std::int64_t, double>>(m.samples);
    benchmark::DoNotOptimize(copy.get());
  }
  PerSample(state, kSamples);
}

// Bytes held per sample after appending one call per sample (what recording
// leaves behind) and after one batch.
void BM_BytesPerSample_Stream(benchmark::State& state) {
  double oneByOne = 0, batch = 0;
  for (auto _ : state) {
    const std::int64_t before = HeldBytes();
    auto s = NewStream();
    for (std::int64_t i = 0; i < kSamples; ++i) s->AddSample(i * kStep, ValueOf(i));
    oneByOne = static_cast<double>(HeldBytes() - before) / kSamples;
    s.reset();
    const std::int64_t before2 = HeldBytes();
    auto b = NewStream();
    b->AddSamples(AllSamples());
    batch = static_cast<double>(HeldBytes() - before2) / kSamples;
  }
  state.counters["bytes/sample"] = oneByOne;
  state.counters["bytes/sample(batch)"] = batch;
}

void BM_BytesPerSample_Map(benchmark::State& state) {
  double bytes = 0;
  for (auto _ : state) {
    const std::int64_t before = HeldBytes();
    auto m = std::make_unique<MapStream>();
    for (const auto& [t, v] : AllSamples()) m->Add(t, v);
    bytes = static_cast<double>(HeldBytes() - before) / kSamples;
  }
  state.counters["bytes/sample"] = bytes;
}

}  // namespace

BENCHMARK(BM_AppendOneByOne_Stream)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AppendOneByOne_Map)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AppendBatch_Stream)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AppendBatch_Map)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ValueAtPlayback_Stream);
BENCHMARK(BM_ValueAtPlayback_Map);
BENCHMARK(BM_ValueAtRandom_Stream);
BENCHMARK(BM_ValueAtRandom_Map);
BENCHMARK(BM_GetSamplesAll_Stream)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetSamplesAll_Map)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Clone_Stream)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Clone_Map)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BytesPerSample_Stream)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BytesPerSample_Map)->Iterations(1)->Unit(benchmark::kMillisecond);
