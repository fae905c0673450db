// Cost per sample of a snapshot of one double sample buffer (save, then load
// into a fresh buffer), beside two baselines over the same bytes in the same
// run: one memcpy of the whole block, and a hand loop that writes and reads
// the same layout with no checks. Sizes 10^4 to 10^6 show whether the cost
// per sample stays flat.
#include <benchmark/benchmark.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/StreamModifierRawBuffer.h"
#include "qz_dsc/Ticks.h"
#include "qz_std/TimeValue.h"

namespace {

using DoubleBuffer = qz_dsc::StreamModifierRawBuffer<double>;
using Sample = DoubleBuffer::Sample;

constexpr std::int64_t kFrameTicks = qz_dsc::kTicksPerSecond / 30;  // samples at 30 per second
constexpr std::uint64_t kSampleBytes = 16;                          // time (8) + double (8)
constexpr std::uint64_t kHeaderBytes = 8;                           // flags + count

std::vector<Sample> MakeSamples(std::int64_t n) {
  std::vector<Sample> samples;
  samples.reserve(static_cast<std::size_t>(n));
  for (std::int64_t i = 0; i < n; ++i) samples.emplace_back(i * kFrameTicks, static_cast<double>(i) * 0.25);
  return samples;
}

void SetPerSample(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(state.iterations() * state.range(0) * static_cast<std::int64_t>(kSampleBytes));
}

void BM_SnapshotDoubleBuffer(benchmark::State& state) {
  DoubleBuffer buffer;
  for (const Sample& sample : MakeSamples(state.range(0))) {
    if (buffer.AddSample(sample.first, qz_dsc::DataSourceStreamVariantDerived<double>(sample.second)) != 0) {
      state.SkipWithError("AddSample failed");
      return;
    }
  }
  qz_dsc::BasicBinarySerializer s(kHeaderBytes + kSampleBytes * static_cast<std::uint64_t>(state.range(0)));
  for (auto _ : state) {
    s.Clear();
    if (buffer.SerializeTo(s) != 0) {
      state.SkipWithError("SerializeTo failed");
      return;
    }
    qz_dsc::BasicBinaryDeserializer d(s.GetBuffer(), static_cast<std::int64_t>(s.GetLength()), false);
    DoubleBuffer back;
    if (back.DeserializeFrom(d) != 0) {
      state.SkipWithError("DeserializeFrom failed");
      return;
    }
    benchmark::DoNotOptimize(back.GetSamples().data());
  }
  SetPerSample(state);
}
BENCHMARK(BM_SnapshotDoubleBuffer)->RangeMultiplier(10)->Range(10'000, 1'000'000)->Unit(benchmark::kMicrosecond);

// The two halves of the snapshot above, each on its own.
void BM_SnapshotDoubleBufferSaveOnly(benchmark::State& state) {
  DoubleBuffer buffer;
  for (const Sample& sample : MakeSamples(state.range(0))) {
    if (buffer.AddSample(sample.first, qz_dsc::DataSourceStreamVariantDerived<double>(sample.second)) != 0) {
      state.SkipWithError("AddSample failed");
      return;
    }
  }
  qz_dsc::BasicBinarySerializer s(kHeaderBytes + kSampleBytes * static_cast<std::uint64_t>(state.range(0)));
  for (auto _ : state) {
    s.Clear();
    if (buffer.SerializeTo(s) != 0) {
      state.SkipWithError("SerializeTo failed");
      return;
    }
    benchmark::DoNotOptimize(s.GetBuffer());
    benchmark::ClobberMemory();
  }
  SetPerSample(state);
}
BENCHMARK(BM_SnapshotDoubleBufferSaveOnly)->RangeMultiplier(10)->Range(10'000, 1'000'000)->Unit(benchmark::kMicrosecond);

void BM_SnapshotDoubleBufferLoadOnly(benchmark::State& state) {
  DoubleBuffer buffer;
  for (const Sample& sample : MakeSamples(state.range(0))) {
    if (buffer.AddSample(sample.first, qz_dsc::DataSourceStreamVariantDerived<double>(sample.second)) != 0) {
      state.SkipWithError("AddSample failed");
      return;
    }
  }
  qz_dsc::BasicBinarySerializer s(kHeaderBytes + kSampleBytes * static_cast<std::uint64_t>(state.range(0)));
  if (buffer.SerializeTo(s) != 0) {
    state.SkipWithError("SerializeTo failed");
    return;
  }
  for (auto _ : state) {
    qz_dsc::BasicBinaryDeserializer d(s.GetBuffer(), static_cast<std::int64_t>(s.GetLength()), false);
    DoubleBuffer back;
    if (back.DeserializeFrom(d) != 0) {
      state.SkipWithError("DeserializeFrom failed");
      return;
    }
    benchmark::DoNotOptimize(back.GetSamples().data());
  }
  SetPerSample(state);
}
BENCHMARK(BM_SnapshotDoubleBufferLoadOnly)->RangeMultiplier(10)->Range(10'000, 1'000'000)->Unit(benchmark::kMicrosecond);

// Baseline: one copy of the same number of bytes out and one back in.
void BM_SnapshotBaselineMemcpy(benchmark::State& state) {
  const std::vector<Sample> samples = MakeSamples(state.range(0));
  const std::size_t bytes = samples.size() * sizeof(Sample);
  std::vector<unsigned char> wire(kHeaderBytes + bytes);
  for (auto _ : state) {
    std::memcpy(wire.data() + kHeaderBytes, samples.data(), bytes);
    std::vector<Sample> back(samples.size());
    std::memcpy(static_cast<void*>(back.data()), wire.data() + kHeaderBytes, bytes);
    benchmark::DoNotOptimize(back.data());
  }
  SetPerSample(state);
}
BENCHMARK(BM_SnapshotBaselineMemcpy)->RangeMultiplier(10)->Range(10'000, 1'000'000)->Unit(benchmark::kMicrosecond);

// Baseline: a hand loop writing the same bytes (seconds, whole milliseconds,
// value) and reading them back, without any bounds or failure checks.
void BM_SnapshotBaselineHandLoop(benchmark::State& state) {
  const std::vector<Sample> samples = MakeSamples(state.range(0));
  std::vector<unsigned char> wire(kHeaderBytes + kSampleBytes * samples.size());
  for (auto _ : state) {
    unsigned char* out = wire.data() + kHeaderBytes;
    for (const Sample& sample : samples) {
      const qz_std::TimeValue time(static_cast<std::int32_t>(sample.first / qz_dsc::kTicksPerSecond),
                                   static_cast<std::int32_t>(sample.first / qz_dsc::kTicksPerMillisecond));
      const std::int32_t fields[2] = {time.GetSeconds(), time.GetMicroseconds()};
      std::memcpy(out, fields, 8);
      std::memcpy(out + 8, &sample.second, 8);
      out += kSampleBytes;
    }
    std::vector<Sample> back(samples.size());
    const unsigned char* in = wire.data() + kHeaderBytes;
    for (Sample& sample : back) {
      std::int32_t fields[2];
      std::memcpy(fields, in, 8);
      const qz_std::TimeValue time(fields[0], fields[1]);
      sample.first = (static_cast<std::int64_t>(time.GetSeconds()) * 1000 + time.GetMicroseconds()) *
                     qz_dsc::kTicksPerMillisecond;
      std::memcpy(&sample.second, in + 8, 8);
      in += kSampleBytes;
    }
    benchmark::DoNotOptimize(back.data());
  }
  SetPerSample(state);
}
BENCHMARK(BM_SnapshotBaselineHandLoop)->RangeMultiplier(10)->Range(10'000, 1'000'000)->Unit(benchmark::kMicrosecond);

}  // namespace
