// Throughput of the snapshot byte format: the primitives a sample buffer
// writes per sample (a time and a value) and the strings of stream records.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"

namespace {

constexpr int kSamples = 100'000;

void BM_WriteTimeAndDouble(benchmark::State& state) {
  qz_dsc::BasicBinarySerializer s(static_cast<std::uint64_t>(kSamples) * 16, false);
  for (auto _ : state) {
    s.Clear();
    for (int i = 0; i < kSamples; ++i) s << qz_std::TimeValue(i / 1000, (i % 1000) * 1000) << i * 0.5;
    benchmark::DoNotOptimize(s.GetBuffer());
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
  state.SetBytesProcessed(state.iterations() * kSamples * 16);
}
BENCHMARK(BM_WriteTimeAndDouble);

void BM_ReadTimeAndDouble(benchmark::State& state) {
  qz_dsc::BasicBinarySerializer s(static_cast<std::uint64_t>(kSamples) * 16, false);
  for (int i = 0; i < kSamples; ++i) s << qz_std::TimeValue(i / 1000, (i % 1000) * 1000) << i * 0.5;
  for (auto _ : state) {
    qz_dsc::BasicBinaryDeserializer d(s.GetBuffer(), static_cast<std::int64_t>(s.GetLength()), false);
    qz_std::TimeValue t;
    double v = 0;
    for (int i = 0; i < kSamples; ++i) d >> t >> v;
    benchmark::DoNotOptimize(v);
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}
BENCHMARK(BM_ReadTimeAndDouble);

void BM_StringRoundTrip(benchmark::State& state) {
  const std::wstring text(static_cast<std::size_t>(state.range(0)), L'x');
  qz_dsc::BasicBinarySerializer s(4 + 2 * text.size(), false);
  std::wstring back;
  for (auto _ : state) {
    s.Clear();
    s << text;
    qz_dsc::BasicBinaryDeserializer d(s.GetBuffer(), static_cast<std::int64_t>(s.GetLength()), false);
    d >> back;
    benchmark::DoNotOptimize(back.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(s.GetLength()));
}
BENCHMARK(BM_StringRoundTrip)->Arg(8)->Arg(256)->Arg(65536);

}  // namespace
