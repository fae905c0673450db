// Throughput of the snapshot byte format: one int or one double written (and
// read) per loop step through the serializer pair and through their block
// writer and reader, beside a raw little-endian store (load) of the same bytes
// in the same run; then the primitives a sample buffer writes per sample (a
// time and a value) and the strings of stream records. Sizes 10^4 to 10^6
// values.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"

namespace {

constexpr int kSamples = 100'000;

template <class T>
T ValueAt(std::int64_t i) {
  return static_cast<T>(i) * static_cast<T>(3);
}

void SetPerValue(benchmark::State& state, std::size_t width) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(state.iterations() * state.range(0) * static_cast<std::int64_t>(width));
}

template <class T>
void BM_Write(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  qz_dsc::BasicBinarySerializer s(static_cast<std::uint64_t>(n) * sizeof(T));
  for (auto _ : state) {
    s.Clear();
    for (std::int64_t i = 0; i < n; ++i) s << ValueAt<T>(i);
    benchmark::DoNotOptimize(s.GetBuffer());
    benchmark::ClobberMemory();
  }
  if (!s) state.SkipWithError("write failed");
  SetPerValue(state, sizeof(T));
}

// The same writes through a block writer, which keeps the position in a
// register for the loop.
template <class T>
void BM_WriteBlock(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  qz_dsc::BasicBinarySerializer s(static_cast<std::uint64_t>(n) * sizeof(T));
  for (auto _ : state) {
    s.Clear();
    {
      qz_dsc::BasicBinarySerializer::BlockWriter w(s);
      for (std::int64_t i = 0; i < n; ++i) w << ValueAt<T>(i);
    }
    benchmark::DoNotOptimize(s.GetBuffer());
    benchmark::ClobberMemory();
  }
  if (!s) state.SkipWithError("write failed");
  SetPerValue(state, sizeof(T));
}

// Baseline: the same bytes stored with memcpy (the wire order is the host
// order on the machines this runs on), no checks.
template <class T>
void BM_WriteBaselineRawStore(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  std::vector<unsigned char> out(static_cast<std::size_t>(n) * sizeof(T));
  for (auto _ : state) {
    unsigned char* p = out.data();
    for (std::int64_t i = 0; i < n; ++i) {
      const T value = ValueAt<T>(i);
      std::memcpy(p, &value, sizeof(T));
      p += sizeof(T);
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  SetPerValue(state, sizeof(T));
}

template <class T>
void BM_Read(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  qz_dsc::BasicBinarySerializer s(static_cast<std::uint64_t>(n) * sizeof(T));
  for (std::int64_t i = 0; i < n; ++i) s << ValueAt<T>(i);
  for (auto _ : state) {
    qz_dsc::BasicBinaryDeserializer d(s.GetBuffer(), static_cast<std::int64_t>(s.GetLength()), false);
    T sum{};
    T value{};
    for (std::int64_t i = 0; i < n; ++i) {
      d >> value;
      sum += value;
    }
    benchmark::DoNotOptimize(sum);
  }
  SetPerValue(state, sizeof(T));
}

template <class T>
void BM_ReadBlock(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  qz_dsc::BasicBinarySerializer s(static_cast<std::uint64_t>(n) * sizeof(T));
  for (std::int64_t i = 0; i < n; ++i) s << ValueAt<T>(i);
  for (auto _ : state) {
    qz_dsc::BasicBinaryDeserializer d(s.GetBuffer(), static_cast<std::int64_t>(s.GetLength()), false);
    qz_dsc::BasicBinaryDeserializer::BlockReader r(d);
    T sum{};
    T value{};
    for (std::int64_t i = 0; i < n; ++i) {
      r >> value;
      sum += value;
    }
    benchmark::DoNotOptimize(sum);
  }
  SetPerValue(state, sizeof(T));
}

template <class T>
void BM_ReadBaselineRawLoad(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  std::vector<unsigned char> in(static_cast<std::size_t>(n) * sizeof(T));
  for (std::int64_t i = 0; i < n; ++i) {
    const T value = ValueAt<T>(i);
    std::memcpy(in.data() + static_cast<std::size_t>(i) * sizeof(T), &value, sizeof(T));
  }
  for (auto _ : state) {
    const unsigned char* p = in.data();
    T sum{};
    for (std::int64_t i = 0; i < n; ++i) {
      T value;
      std::memcpy(&value, p, sizeof(T));
      p += sizeof(T);
      sum += value;
    }
    benchmark::DoNotOptimize(sum);
  }
  SetPerValue(state, sizeof(T));
}

#define DSCORE_SIZES RangeMultiplier(10)->Range(10'000, 1'000'000)
BENCHMARK(BM_Write<int>)->DSCORE_SIZES;
BENCHMARK(BM_WriteBlock<int>)->DSCORE_SIZES;
BENCHMARK(BM_WriteBaselineRawStore<int>)->DSCORE_SIZES;
BENCHMARK(BM_Write<double>)->DSCORE_SIZES;
BENCHMARK(BM_WriteBlock<double>)->DSCORE_SIZES;
BENCHMARK(BM_WriteBaselineRawStore<double>)->DSCORE_SIZES;
BENCHMARK(BM_Read<int>)->DSCORE_SIZES;
BENCHMARK(BM_ReadBlock<int>)->DSCORE_SIZES;
BENCHMARK(BM_ReadBaselineRawLoad<int>)->DSCORE_SIZES;
BENCHMARK(BM_Read<double>)->DSCORE_SIZES;
BENCHMARK(BM_ReadBlock<double>)->DSCORE_SIZES;
BENCHMARK(BM_ReadBaselineRawLoad<double>)->DSCORE_SIZES;
#undef DSCORE_SIZES

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
