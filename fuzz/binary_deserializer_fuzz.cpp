// Fuzz target for the binary deserializer: a script in the input drives four
// readers through every read, sub-reader, seek, attach, resize and
// construction, while a model of each reader (bytes, position, length,
// capacity, failure flag, ownership) predicts every result: sticky failure,
// reads that fit exactly, composites that put the position back, the
// TimeValue read that always assigns, string counts that fail or throw, and
// the bounded-copy faults of the copying paths. Any difference aborts.
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "binary_deserializer_ops.h"
#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/FatalError.h"
#include "qz_math/Vector.h"
#include "qz_std/TimeValue.h"

namespace {

using qz_dsc::BasicBinaryDeserializer;
using Bytes = std::vector<unsigned char>;

[[noreturn]] void Fail(const char* what, int op) {
  std::fprintf(stderr, "%s (operation %d)\n", what, op);
  std::abort();
}

// Faults reported through the fatal-error hook since the last look.
int g_faults = 0;
int g_lastFaultCode = 0;
void CountFault(const char*, int code) {
  ++g_faults;
  g_lastFaultCode = code;
}

// What a reader should be.
struct Model {
  Bytes bytes;  // the readable bytes, [0, length)
  std::uint64_t length = 0;
  std::uint64_t capacity = 0;
  std::int64_t position = 0;
  bool failed = false;
  bool owns = false;
  int viewOf = -1;  // the slot whose owned buffer this reader reads in place, or -1

  std::uint64_t Unread() const { return length - static_cast<std::uint64_t>(position); }
  bool Fits(std::uint64_t width) const { return !failed && width <= Unread(); }
  std::uint64_t Load(std::uint64_t at, unsigned width) const {
    std::uint64_t bits = 0;
    for (unsigned i = 0; i < width; ++i) bits |= static_cast<std::uint64_t>(bytes[at + i]) << (8 * i);
    return bits;
  }
  // The scalar rule: loads and moves, or fails with the target untouched.
  bool ReadScalar(std::uint64_t& bits, unsigned width) {
    if (!Fits(width)) {
      failed = true;
      return false;
    }
    bits = Load(static_cast<std::uint64_t>(position), width);
    position += width;
    return true;
  }
};

// The input script: bytes read in order, zero past the end.
struct Script {
  const std::uint8_t* data;
  std::size_t size;
  std::size_t at = 0;

  bool More() const { return at < size; }
  std::uint8_t Byte() { return at < size ? data[at++] : 0; }
  std::uint16_t U16() {
    const std::uint16_t low = Byte();
    return static_cast<std::uint16_t>(low | (Byte() << 8));
  }
};

// Wide text of UTF-16 code units: a valid surrogate pair is one character
// where wchar_t has 32 bits; any other unit is kept as it is.
std::wstring FromUtf16(const Bytes& bytes, std::uint64_t at, std::uint64_t units) {
  std::wstring text;
  for (std::uint64_t i = 0; i < units; ++i) {
    const unsigned unit = bytes[at + 2 * i] | (bytes[at + 2 * i + 1] << 8);
    if constexpr (sizeof(wchar_t) == 4) {
      if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < units) {
        const unsigned next = bytes[at + 2 * i + 2] | (bytes[at + 2 * i + 3] << 8);
        if (next >= 0xDC00 && next <= 0xDFFF) {
          text.push_back(static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00)));
          ++i;
          continue;
        }
      }
    }
    text.push_back(static_cast<wchar_t>(unit));
  }
  return text;
}

class Harness {
 public:
  explicit Harness(Bytes input) : m_input(std::move(input)) {
    for (auto& reader : m_readers) reader = std::make_unique<BasicBinaryDeserializer>();
    m_readers[0] = std::make_unique<BasicBinaryDeserializer>(m_input.data(), static_cast<std::int64_t>(m_input.size()),
                                                             false);
    m_models[0].bytes = m_input;
    m_models[0].length = m_models[0].capacity = m_input.size();
  }

  void Run(Script& script) {
    for (int steps = 0; script.More() && steps < 4096; ++steps) {
      const std::uint8_t code = script.Byte();
      const int op = (code & 0x1F) % fuzz::kOpCount;
      const int slot = (code >> 5) % fuzz::kSlotCount;
      m_op = op;
      const int faults = g_faults;
      Step(static_cast<fuzz::Op>(op), slot, script);
      if (g_faults != faults + m_expectedFaults) Fail("unexpected count of bounded-copy faults", op);
      if (m_expectedFaults != 0 && g_lastFaultCode != m_expectedFaultCode) Fail("wrong bounded-copy fault", op);
      m_expectedFaults = 0;
      for (int i = 0; i < fuzz::kSlotCount; ++i) Check(i);
    }
  }

 private:
  void Check(int slot) const {
    const BasicBinaryDeserializer& r = *m_readers[slot];
    const Model& m = m_models[slot];
    if (r.GetPosition() != m.position) Fail("position differs", m_op);
    if (!r != m.failed) Fail("failure flag differs", m_op);
    if (r.IsEnd() != (static_cast<std::uint64_t>(m.position) >= m.length)) Fail("IsEnd differs", m_op);
  }

  void ExpectFault(int code) {
    m_expectedFaults = 1;
    m_expectedFaultCode = code;
  }

  // A reader that read another's owned buffer in place is re-attached to
  // nothing once that buffer is freed or overwritten (reading it further is
  // the caller's error, not the reader's).
  void DropViewsOf(int owner) {
    for (int i = 0; i < fuzz::kSlotCount; ++i) {
      if (m_models[i].viewOf != owner) continue;
      m_readers[i]->AttachBuffer(nullptr, 0, false);
      m_models[i] = Model{};
    }
  }

  // AttachBuffer(data, src.size(), takeCopy) on the model of slot.
  void ModelAttach(int slot, const Bytes& src, bool dataNull, bool takeCopy, int viewOf) {
    Model& m = m_models[slot];
    const std::uint64_t size = src.size();
    Bytes content = src;
    if (m.owns && takeCopy && m.capacity >= size) {
      if (size != 0 && dataNull) {
        ExpectFault(22);
        content.assign(size, 0);
      }
    } else if (takeCopy) {
      if (size != 0 && (dataNull || m.capacity < size)) {
        ExpectFault(dataNull ? 22 : 34);
        content.assign(size, 0);
      }
      m.capacity = size;
    } else {
      m.capacity = size;
    }
    m.bytes = std::move(content);
    m.length = size;
    m.owns = takeCopy;
    m.failed = false;
    m.position = 0;
    m.viewOf = takeCopy ? -1 : viewOf;
  }

  template <typename T>
  void ReadScalar(int slot, unsigned width, T sentinel) {
    T value = sentinel;
    *m_readers[slot] >> value;
    std::uint64_t bits = 0;
    T expected = sentinel;
    if (m_models[slot].ReadScalar(bits, width)) {
      if constexpr (sizeof(T) == 4) {
        expected = std::bit_cast<T>(static_cast<std::uint32_t>(bits));
      } else {
        expected = std::bit_cast<T>(bits);
      }
    }
    if (std::memcmp(&value, &expected, sizeof(T)) != 0) Fail("scalar value differs", m_op);
  }

  template <typename V>
  void ReadComposite(int slot, int components) {
    V value;
    V expected;
    for (int i = 0; i < components; ++i) value[i] = expected[i] = -1.0 - i;
    *m_readers[slot] >> value;
    Model& m = m_models[slot];
    const std::int64_t start = m.position;
    for (int i = 0; i < components; ++i) {
      std::uint64_t bits = 0;
      if (m.ReadScalar(bits, 8)) expected[i] = std::bit_cast<double>(bits);
    }
    if (m.failed) m.position = start;
    if (std::memcmp(&value[0], &expected[0], sizeof(double) * components) != 0) Fail("vector differs", m_op);
  }

  void ReadString(int slot) {
    const std::wstring sentinel = L"untouched";
    std::wstring value = sentinel;
    bool threw = false;
    try {
      *m_readers[slot] >> value;
    } catch (const std::length_error&) {
      threw = true;
    }
    Model& m = m_models[slot];
    std::wstring expected = sentinel;
    bool shouldThrow = false;
    if (!m.failed) {
      if (m.Unread() < 4) {
        m.failed = true;
      } else {
        const auto count = static_cast<std::int32_t>(m.Load(static_cast<std::uint64_t>(m.position), 4));
        const auto byteSize = static_cast<std::int32_t>(static_cast<std::uint32_t>(count) * 2u);
        const auto needed = static_cast<std::uint64_t>(4 + static_cast<std::int64_t>(byteSize));
        if (needed > m.Unread()) {
          m.failed = true;
        } else if (count < 0) {
          shouldThrow = true;
        } else if (4 + 2 * static_cast<std::uint64_t>(count) > m.Unread()) {
          m.failed = true;  // a count whose doubled size wrapped below the bytes there
        } else {
          expected = FromUtf16(m.bytes, static_cast<std::uint64_t>(m.position) + 4, static_cast<std::uint64_t>(count));
          m.position += 4 + 2 * static_cast<std::int64_t>(count);
        }
      }
    }
    if (threw != shouldThrow) Fail("string length error differs", m_op);
    if (value != expected) Fail("string differs", m_op);
  }

  void ReadTime(int slot) {
    qz_std::TimeValue value(123, 456);
    *m_readers[slot] >> value;
    Model& m = m_models[slot];
    const std::int64_t start = m.position;
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
    bool complete = false;
    if (m.Fits(4)) {
      seconds = static_cast<std::int32_t>(m.Load(static_cast<std::uint64_t>(m.position), 4));
      m.position += 4;
      if (m.Fits(4)) {
        microseconds = static_cast<std::int32_t>(m.Load(static_cast<std::uint64_t>(m.position), 4));
        m.position += 4;
        complete = true;
      }
    }
    if (!complete) {
      m.failed = true;
      m.position = start;
    }
    if (!(value == qz_std::TimeValue(seconds, microseconds))) Fail("time value differs", m_op);
  }

  void Step(fuzz::Op op, int slot, Script& script) {
    BasicBinaryDeserializer& r = *m_readers[slot];
    Model& m = m_models[slot];
    switch (op) {
      case fuzz::kReadInt: return ReadScalar<int>(slot, 4, 0x5A5A5A5A);
      case fuzz::kReadUInt: return ReadScalar<unsigned int>(slot, 4, 0xA5A5A5A5u);
      case fuzz::kReadInt64: return ReadScalar<std::int64_t>(slot, 8, 0x5A5A5A5A5A5A5A5A);
      case fuzz::kReadUInt64: return ReadScalar<std::uint64_t>(slot, 8, 0xA5A5A5A5A5A5A5A5u);
      case fuzz::kReadFloat: return ReadScalar<float>(slot, 4, -3.5f);
      case fuzz::kReadDouble: return ReadScalar<double>(slot, 8, -7.25);
      case fuzz::kReadString: return ReadString(slot);
      case fuzz::kReadTime: return ReadTime(slot);
      case fuzz::kReadVector2: return ReadComposite<qz_math::Vector2>(slot, 2);
      case fuzz::kReadVector6: return ReadComposite<qz_math::VectorN<6>>(slot, 6);
      case fuzz::kSeekTo: {
        const std::uint16_t arg = script.U16();
        const std::uint64_t pos = arg == 0xFFFF ? m.length + 1 : arg;
        const bool ok = r.SeekTo(pos);
        if (ok != (pos <= m.length)) Fail("SeekTo result differs", m_op);
        if (ok) m.position = static_cast<std::int64_t>(pos);
        return;
      }
      case fuzz::kClear:
        r.Clear();
        m.position = static_cast<std::int64_t>(m.length);
        return;
      case fuzz::kReset:
        r.Reset();
        m.failed = false;
        return;
      case fuzz::kPeekInt: {
        int value = 0x5A5A5A5A;
        const bool ok = r.PeekInt(value);
        if (ok != m.Fits(4)) Fail("PeekInt result differs", m_op);
        const int expected = ok ? static_cast<int>(m.Load(static_cast<std::uint64_t>(m.position), 4)) : 0x5A5A5A5A;
        if (value != expected) Fail("PeekInt value differs", m_op);
        return;
      }
      case fuzz::kResize: {
        const std::int64_t wanted = static_cast<std::int64_t>(m.Unread()) + script.U16() - 8;
        const std::uint64_t capacity = wanted < 0 ? 0 : static_cast<std::uint64_t>(wanted);
        const bool ok = r.Resize(capacity);
        if (ok != (m.owns && capacity >= m.Unread())) Fail("Resize result differs", m_op);
        if (ok && capacity != m.Unread()) {
          m.bytes.erase(m.bytes.begin(), m.bytes.begin() + m.position);
          m.length = m.bytes.size();
          m.capacity = capacity;
          m.position = 0;
          DropViewsOf(slot);
        }
        return;
      }
      case fuzz::kCreateDeserializer: {
        const int target = script.Byte() % fuzz::kSlotCount;
        const std::uint64_t offset = script.U16();
        const std::uint64_t size = script.U16();
        const bool takeCopy = (script.Byte() & 1) != 0;
        const int root = m.owns ? slot : m.viewOf;
        // The target must not be the source, nor attach in place to bytes it owns.
        if (target == slot || (!takeCopy && root == target)) return;
        const bool ok = r.CreateDeserializer(*m_readers[target], offset, size, takeCopy);
        if (ok != (offset <= m.length && size <= m.Unread())) Fail("CreateDeserializer result differs", m_op);
        if (!ok) return;
        const std::uint64_t count = size != 0 ? size : m.Unread();
        const auto first = m.bytes.begin() + m.position;
        const Bytes src(first, first + static_cast<std::ptrdiff_t>(count));
        const bool targetOwned = m_models[target].owns;
        ModelAttach(target, src, false, takeCopy, root);
        if (targetOwned) DropViewsOf(target);
        return;
      }
      case fuzz::kAttachInput:
      case fuzz::kConstruct: {
        const std::uint64_t start = m_input.empty() ? 0 : script.U16() % (m_input.size() + 1);
        const std::uint64_t size = script.U16() % (m_input.size() - start + 1);
        const bool takeCopy = (script.Byte() & 1) != 0;
        unsigned char* data = m_input.data() + start;
        const Bytes src(m_input.begin() + static_cast<std::ptrdiff_t>(start),
                        m_input.begin() + static_cast<std::ptrdiff_t>(start + size));
        const bool owned = m.owns;
        if (op == fuzz::kAttachInput) {
          r.AttachBuffer(data, size, takeCopy);
          ModelAttach(slot, src, data == nullptr, takeCopy, -1);
        } else {
          // A new reader in the slot; the copying constructor bounds its copy
          // by a capacity of 0, so any bytes fault and it holds zeros.
          m_readers[slot] = std::make_unique<BasicBinaryDeserializer>(data, static_cast<std::int64_t>(size), takeCopy);
          m = Model{};
          m.owns = takeCopy;
          m.bytes = src;
          m.length = m.capacity = size;
          if (takeCopy && size != 0) {
            ExpectFault(34);
            m.bytes.assign(size, 0);
          }
        }
        if (owned) DropViewsOf(slot);
        return;
      }
      case fuzz::kOpCount:
        break;
    }
  }

  Bytes m_input;
  std::unique_ptr<BasicBinaryDeserializer> m_readers[fuzz::kSlotCount];
  Model m_models[fuzz::kSlotCount];
  int m_op = -1;
  int m_expectedFaults = 0;
  int m_expectedFaultCode = 0;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qz_dsc::SetFatalErrorHook(&CountFault);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Script script{data, size};
  const std::size_t length = script.U16();
  const std::size_t available = size - script.at;
  const std::size_t taken = length < available ? length : available;
  Bytes input(data + script.at, data + script.at + taken);
  script.at += taken;
  Harness harness(std::move(input));
  harness.Run(script);
  return 0;
}
