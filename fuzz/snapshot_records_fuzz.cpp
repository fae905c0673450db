// Fuzz target for the snapshot records: the first byte chooses a data source
// record or a single stream record, the rest is read as that record. A record
// that reads is written, read again and written again: the second read must
// succeed and the second write must equal the first, except that sample
// times go through the snapshot time conversion, which is deliberately not
// its own inverse. Where every time survives it, the writes are byte-equal.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/StreamModifierRawBuffer.h"
#include "qz_dsc/Ticks.h"
#include "qz_math/Vector.h"
#include "qz_std/TimeValue.h"

namespace {

using Bytes = std::vector<unsigned char>;

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

// 0 and the bytes read, -1 on a refused record. A length error of the
// reader (a negative string count) is a refusal too: it is documented to
// pass through the records.
template <typename Record>
int Read(Record& record, const unsigned char* data, std::size_t size) {
  Bytes copy(data, data + size);  // the reader wants writable bytes
  qz_dsc::BasicBinaryDeserializer d(copy.data(), static_cast<std::int64_t>(copy.size()), false);
  try {
    return record.DeserializeFrom(d);
  } catch (const std::length_error&) {
    return -1;
  }
}

template <typename Record>
Bytes Write(const Record& record, std::size_t capacity) {
  qz_dsc::BasicBinarySerializer s(capacity);
  if (record.SerializeTo(s) != 0 || !s) Fail("a record that was read does not write");
  return Bytes(s.GetBuffer(), s.GetBuffer() + s.GetLength());
}

// A sample time after a write and a read: written as whole seconds and
// whole milliseconds (both cut to 32 bits, then normalised as a time value),
// normalised again by the reader, and read as (seconds * 1000 + second
// field) milliseconds.
std::int64_t AfterWriteAndRead(std::int64_t ticks) {
  const qz_std::TimeValue written(static_cast<std::int32_t>(ticks / qz_dsc::kTicksPerSecond),
                                  static_cast<std::int32_t>(ticks / qz_dsc::kTicksPerMillisecond));
  const qz_std::TimeValue read(written.GetSeconds(), written.GetMicroseconds());
  return (static_cast<std::int64_t>(read.GetSeconds()) * 1000 + read.GetMicroseconds()) *
         qz_dsc::kTicksPerMillisecond;
}

// The wire bytes of one value.
template <typename T>
Bytes ValueBytes(const T& value) {
  const std::size_t capacity = 64 + (sizeof(T) * 8);
  qz_dsc::BasicBinarySerializer s(capacity + [&] {
    if constexpr (std::is_same_v<T, std::wstring>) return 4 * value.size();
    return std::size_t{0};
  }());
  s << value;
  if (!s) Fail("a value does not write");
  return Bytes(s.GetBuffer(), s.GetBuffer() + s.GetLength());
}

// Compares two typed sample buffers: the second is the first after a write
// and a read. Returns false when the buffers are not of type T. Sets
// timesKept to false when some time changed (as it should) on the way.
template <typename T>
bool CompareBuffers(const qz_dsc::IStreamModifierRawBufferRoot* a, const qz_dsc::IStreamModifierRawBufferRoot* b,
                    bool& timesKept) {
  const auto* first = dynamic_cast<const qz_dsc::StreamModifierRawBuffer<T>*>(a);
  if (first == nullptr) return false;
  const auto* second = dynamic_cast<const qz_dsc::StreamModifierRawBuffer<T>*>(b);
  if (second == nullptr) Fail("a buffer changed its type");
  if (first->GetFlags() != second->GetFlags()) Fail("the flags changed");
  const int flags = first->GetFlags();
  if ((flags & qz_dsc::StreamModifierRawBuffer<T>::kDefaultValuePresent) && ValueBytes(first->GetDefaultValue()) != ValueBytes(second->GetDefaultValue())) {
    Fail("the default value changed");
  }
  if ((flags & qz_dsc::StreamModifierRawBuffer<T>::kLowRangePresent) && ValueBytes(first->GetLowRange()) != ValueBytes(second->GetLowRange())) {
    Fail("the low range changed");
  }
  if ((flags & qz_dsc::StreamModifierRawBuffer<T>::kHighRangePresent) && ValueBytes(first->GetHighRange()) != ValueBytes(second->GetHighRange())) {
    Fail("the high range changed");
  }
  const auto& before = first->GetSamples();
  const auto& after = second->GetSamples();
  if (before.size() != after.size()) Fail("the sample count changed");
  for (std::size_t i = 0; i < before.size(); ++i) {
    const std::int64_t expected = AfterWriteAndRead(before[i].first);
    if (after[i].first != expected) Fail("a sample time does not follow the snapshot conversion");
    if (expected != before[i].first) timesKept = false;
    if (ValueBytes(before[i].second) != ValueBytes(after[i].second)) Fail("a sample value changed");
  }
  return true;
}

void CompareStreams(const qz_dsc::DataSourceStreamModifier& a, const qz_dsc::DataSourceStreamModifier& b,
                    bool& timesKept) {
  if (a.GetId().substr(0, a.GetId().find(L'\0')) != b.GetId() || a.GetType() != b.GetType() ||
      a.GetFlowType() != b.GetFlowType() || a.GetLimitCount() != b.GetLimitCount() ||
      a.GetFreezeDelay() != b.GetFreezeDelay() || a.GetInterpolationType() != b.GetInterpolationType() ||
      a.GetTrailingAttribute() != b.GetTrailingAttribute() ||
      a.GetValueUnit().substr(0, a.GetValueUnit().find(L'\0')) != b.GetValueUnit()) {
    Fail("a stream attribute changed");
  }
  const auto* x = a.GetInternalBuffer().get();
  const auto* y = b.GetInternalBuffer().get();
  if (x == nullptr || y == nullptr) Fail("a stream that was read has no buffer");
  if (!CompareBuffers<int>(x, y, timesKept) && !CompareBuffers<double>(x, y, timesKept) &&
      !CompareBuffers<std::wstring>(x, y, timesKept) && !CompareBuffers<qz_math::Vector2>(x, y, timesKept) &&
      !CompareBuffers<qz_math::VectorN<6>>(x, y, timesKept)) {
    Fail("a buffer of no known type");
  }
}

void Compare(const qz_dsc::DataSourceStreamModifier& a, const qz_dsc::DataSourceStreamModifier& b, bool& timesKept) {
  CompareStreams(a, b, timesKept);
}

void Compare(const qz_dsc::DataSourceModifier& a, const qz_dsc::DataSourceModifier& b, bool& timesKept) {
  if (a.GetId().substr(0, a.GetId().find(L'\0')) != b.GetId()) Fail("the data source id changed");
  if (a.GetStreamModifierCount() != b.GetStreamModifierCount()) Fail("the stream count changed");
  for (int i = 0; i < a.GetStreamModifierCount(); ++i) {
    CompareStreams(*a.GetStreamModifier(i), *b.GetStreamModifier(i), timesKept);
  }
}

template <typename Record>
void RoundTrip(const unsigned char* data, std::size_t size) {
  Record first;
  if (Read(first, data, size) != 0) return;
  // Written records never outgrow what they were read from by much: strings
  // and samples keep their sizes. The slack covers empty defaults.
  const std::size_t capacity = 2 * size + 4096;
  const Bytes written = Write(first, capacity);

  Record second;
  if (Read(second, written.data(), written.size()) != 0) Fail("a written record does not read back");
  bool timesKept = true;
  Compare(first, second, timesKept);
  const Bytes rewritten = Write(second, capacity);
  if (rewritten.size() != written.size()) Fail("the second write has another length");
  if (timesKept && rewritten != written) Fail("the second write differs from the first");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  if ((data[0] & 1) == 0) {
    RoundTrip<qz_dsc::DataSourceModifier>(data + 1, size - 1);
  } else {
    RoundTrip<qz_dsc::DataSourceStreamModifier>(data + 1, size - 1);
  }
  return 0;
}
