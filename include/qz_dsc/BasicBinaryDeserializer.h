// BasicBinaryDeserializer reads back the values that BasicBinarySerializer
// wrote: the byte format of the binary snapshots, little-endian
// (least-significant byte first) on every host; see BasicBinarySerializer.h
// for the encoding of each type. Wide strings arrive as UTF-16 code units; on
// a platform with 32-bit wchar_t a valid surrogate pair becomes one character
// and a lone surrogate is kept as that code unit.
//
// Errors are sticky: the first read that runs past the length sets the failure
// flag (operator!), and every later read fails at once until Reset or
// AttachBuffer. After a failed scalar or string read the target keeps its old
// value; after a failed Vector2 / VectorN<6> read the position is restored but
// leading components may have been stored; a TimeValue read always assigns
// its target (see operator>>(qz_std::TimeValue&)). A negative string count
// whose byte size passes the size check throws std::length_error("string too
// long"): see operator>>(std::wstring&).
//
// The copying paths (constructor with takeCopy and size > 0; AttachBuffer
// with takeCopy into a smaller old capacity; a null data pointer with
// size > 0) go through a bounded copy in the manner of memcpy_s, bounded by
// the capacity held before the call. A fault is reported through
// qz_dsc::ReportFatalError (FatalError.h) with 34 (range) or 22 (invalid
// argument); then nothing is copied and the new buffer is zero-filled.
// Allocation never throws: a failed allocation leaves no buffer, capacity 0
// and length 0, and no copy is attempted.
//
// Not synchronised: an object belongs to one thread at a time; distinct
// objects may be used from different threads.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

#include "qz_dsc/export.h"
#include "qz_math/Vector.h"
#include "qz_std/TimeValue.h"

namespace qz_dsc {

class QZ_DSC_API BasicBinaryDeserializer {
 public:
  // No buffer; every field zero or false.
  BasicBinaryDeserializer() noexcept;
  // takeCopy false: reads the caller's size bytes at data (never freed here).
  // takeCopy true: an owned buffer of size bytes; the copy into it always
  // faults for size > 0 (bound 0; see the file comment), so it holds zeros.
  // REQUIRES: with takeCopy false, data holds size bytes (size >= 0).
  BasicBinaryDeserializer(unsigned char* data, std::int64_t size, bool takeCopy);
  // Frees the buffer if this object owns it.
  ~BasicBinaryDeserializer();

  // Copying copies every field as it stands, buffer pointer and ownership flag
  // included; no bytes are duplicated.
  // REQUIRES: at most one of the copies owns the buffer when both are destroyed.
  BasicBinaryDeserializer(const BasicBinaryDeserializer&) noexcept = default;
  BasicBinaryDeserializer& operator=(const BasicBinaryDeserializer&) noexcept = default;

  // Reads size bytes at data from position 0 (a copy when takeCopy is set:
  // into the current owned buffer when its capacity is at least size, else
  // into a new one, bounded by the capacity held before the call). Clears
  // the failure flag.
  // REQUIRES: data holds size bytes.
  // REQUIRES: with takeCopy false, data does not point into a buffer this object owns.
  void AttachBuffer(unsigned char* data, std::uint64_t size, bool takeCopy);
  // Attaches target to the bytes from the current read position: size bytes,
  // or all the unread ones when size is 0. offset is only checked (false if
  // offset > length), never added. False if size exceeds the unread bytes.
  // This object's position does not move.
  // REQUIRES: &target != this.
  [[nodiscard]] bool CreateDeserializer(BasicBinaryDeserializer& target, std::uint64_t offset, std::uint64_t size,
                          bool takeCopy);

  // Position = length: everything counts as consumed. The flag stays.
  void Clear() noexcept;
  // Clears the failure flag; the position stays.
  void Reset() noexcept;
  // Moves the read position; false if pos > length. The flag stays.
  [[nodiscard]] bool SeekTo(std::uint64_t pos) noexcept;
  // Compacts an owned buffer: moves the unread bytes to a new buffer of
  // newCapacity bytes and reads them from position 0. False if not owning, no
  // buffer, newCapacity below the unread byte count, or the allocation fails;
  // true and no change when newCapacity equals the unread byte count.
  [[nodiscard]] bool Resize(std::uint64_t newCapacity) noexcept;
  // The int at the position, without moving; false (out and flag untouched)
  // when failed or fewer than 4 bytes remain.
  [[nodiscard]] bool PeekInt(int& out) const noexcept;
  // Position >= length.
  [[nodiscard]] bool IsEnd() const noexcept;
  [[nodiscard]] std::int64_t GetPosition() const noexcept;

  // The sticky failure flag.
  [[nodiscard]] bool operator!() const noexcept;

  // Scalar reads: inline when the bytes are there (on a little-endian host
  // the wire order is the host order, so the load is one copy); the
  // out-of-line path handles a short input, the failure flag and other hosts.
  BasicBinaryDeserializer& operator>>(int& value) noexcept {
    std::uint32_t bits;
    if (Take(bits)) value = static_cast<int>(bits);
    return *this;
  }
  BasicBinaryDeserializer& operator>>(unsigned int& value) noexcept {
    std::uint32_t bits;
    if (Take(bits)) value = bits;
    return *this;
  }
  BasicBinaryDeserializer& operator>>(std::int64_t& value) noexcept {
    std::uint64_t bits;
    if (Take(bits)) value = static_cast<std::int64_t>(bits);
    return *this;
  }
  BasicBinaryDeserializer& operator>>(std::uint64_t& value) noexcept {
    std::uint64_t bits;
    if (Take(bits)) value = bits;
    return *this;
  }
  BasicBinaryDeserializer& operator>>(float& value) noexcept {
    std::uint32_t bits;
    if (Take(bits)) value = std::bit_cast<float>(bits);
    return *this;
  }
  BasicBinaryDeserializer& operator>>(double& value) noexcept {
    std::uint64_t bits;
    if (Take(bits)) value = std::bit_cast<double>(bits);
    return *this;
  }
  // Fails (flag set, nothing moved) when 4 + 2·n bytes are not there, with
  // 2·n taken as a wrapped signed 32-bit product. A negative count that passes
  // that check (-1, -2, and INT_MIN + k for 4 + 2·k within the remaining
  // bytes) throws std::length_error("string too long") with nothing moved.
  // std::bad_alloc may escape from the string.
  BasicBinaryDeserializer& operator>>(std::wstring& value);
  // Always assigns value: on failure (position restored) it holds the seconds
  // already read, or 0, and 0 microseconds; the pair read is normalised by the
  // TimeValue constructor.
  BasicBinaryDeserializer& operator>>(qz_std::TimeValue& value) noexcept {
    if constexpr (kHostIsWireOrder) {
      if (!m_failed && Unread() >= 8) {
        std::int32_t fields[2];
        std::memcpy(fields, m_buffer + m_position, 8);
        m_position += 8;
        value = qz_std::TimeValue(fields[0], fields[1]);
        return *this;
      }
    }
    return ReadTimeValue(value);
  }
  BasicBinaryDeserializer& operator>>(qz_math::Vector2& value) noexcept;
  // REQUIRES: value.GetDimension() == 6
  BasicBinaryDeserializer& operator>>(qz_math::VectorN<6>& value) noexcept;

  // A run of reads from a deserializer that keeps the position and the flag
  // in locals, so that a loop of reads compiles to plain loads. The reads
  // follow the deserializer's rules exactly (sticky failure, targets kept on
  // failure, roll-back of vectors, the time value always assigned, the string
  // checks and exceptions): whatever does not take the plain path is handed to
  // the deserializer itself. The position and the flag go back to the
  // deserializer on Commit and on destruction.
  // REQUIRES: the deserializer is not used otherwise while the reader lives.
  class BlockReader {
   public:
    explicit BlockReader(BasicBinaryDeserializer& source) noexcept : m_source(source) { Load(); }
    ~BlockReader() { Commit(); }
    BlockReader(const BlockReader&) = delete;
    BlockReader& operator=(const BlockReader&) = delete;

    // Gives the position and the failure flag back to the deserializer now.
    void Commit() noexcept {
      m_source.m_position = static_cast<std::int64_t>(m_position);
      m_source.m_failed = m_failed;
    }
    [[nodiscard]] bool operator!() const noexcept { return m_failed; }
    [[nodiscard]] bool IsEnd() const noexcept { return m_position >= m_length; }

    BlockReader& operator>>(int& value) noexcept { return Get<std::uint32_t>(value); }
    BlockReader& operator>>(unsigned int& value) noexcept { return Get<std::uint32_t>(value); }
    BlockReader& operator>>(std::int64_t& value) noexcept { return Get<std::uint64_t>(value); }
    BlockReader& operator>>(std::uint64_t& value) noexcept { return Get<std::uint64_t>(value); }
    BlockReader& operator>>(float& value) noexcept { return Get<std::uint32_t>(value); }
    BlockReader& operator>>(double& value) noexcept { return Get<std::uint64_t>(value); }
    BlockReader& operator>>(qz_std::TimeValue& value) noexcept {
      if constexpr (kHostIsWireOrder) {
        if (Room(8)) {
          std::int32_t fields[2];
          Load(fields, 8);
          value = qz_std::TimeValue(fields[0], fields[1]);
          return *this;
        }
      }
      return Delegate(value);
    }
    BlockReader& operator>>(qz_math::Vector2& value) noexcept {
      if constexpr (kHostIsWireOrder) {
        if (Room(16)) {
          double components[2];
          Load(components, 16);
          value[0] = components[0];
          value[1] = components[1];
          return *this;
        }
      }
      return Delegate(value);
    }
    // REQUIRES: value.GetDimension() == 6
    BlockReader& operator>>(qz_math::VectorN<6>& value) noexcept {
      if constexpr (kHostIsWireOrder) {
        if (Room(48)) {
          double components[6];
          Load(components, 48);
          for (int i = 0; i < 6; ++i) value[i] = components[i];
          return *this;
        }
      }
      return Delegate(value);
    }
    // Throws as the deserializer's string read does; the position and flag
    // are then those of the deserializer, where nothing moved.
    BlockReader& operator>>(std::wstring& value) { return Delegate(value); }

   private:
    void Load() noexcept {
      m_buffer = m_source.m_buffer;
      m_position = static_cast<std::uint64_t>(m_source.m_position);
      m_length = m_source.m_length;
      m_failed = m_source.m_failed;
    }
    [[nodiscard]] bool Room(std::uint64_t width) const noexcept { return !m_failed && m_length - m_position >= width; }
    void Load(void* bytes, std::uint64_t width) noexcept {
      std::memcpy(bytes, m_buffer + m_position, width);
      m_position += width;
    }
    template <class Bits, class Value>
    BlockReader& Get(Value& value) noexcept {
      if constexpr (kHostIsWireOrder) {
        if (Room(sizeof(Bits))) {
          Bits bits;
          Load(&bits, sizeof(Bits));
          value = std::bit_cast<Value>(bits);
          return *this;
        }
      }
      return Delegate(value);
    }
    // The deserializer's own operator, for the full rules.
    template <class Value>
    BlockReader& Delegate(Value& value) {
      Commit();
      m_source >> value;  // a throw leaves the source as committed: nothing moved
      Load();
      return *this;
    }

    BasicBinaryDeserializer& m_source;
    const unsigned char* m_buffer;
    std::uint64_t m_position;
    std::uint64_t m_length;
    bool m_failed;
  };

 private:
  friend struct BlockAccess;  // bulk reads of the sample buffers

  static constexpr bool kHostIsWireOrder = std::endian::native == std::endian::little;

  // Invariant: 0 <= m_position <= m_length, so this never wraps.
  [[nodiscard]] std::uint64_t Unread() const noexcept { return m_length - static_cast<std::uint64_t>(m_position); }

  template <class Bits>
  [[nodiscard]] bool Take(Bits& bits) noexcept {
    if constexpr (kHostIsWireOrder) {
      if (!m_failed && Unread() >= sizeof(Bits)) {
        std::memcpy(&bits, m_buffer + m_position, sizeof(Bits));
        m_position += static_cast<std::int64_t>(sizeof(Bits));
        return true;
      }
    }
    return ReadFixed(bits);
  }

  // The scalar rule in full: false with the flag set and nothing moved when
  // failed or short; else loads the value little-endian.
  [[nodiscard]] bool ReadFixed(std::uint32_t& bits) noexcept;
  [[nodiscard]] bool ReadFixed(std::uint64_t& bits) noexcept;
  // The time value rule in full (always assigns value).
  BasicBinaryDeserializer& ReadTimeValue(qz_std::TimeValue& value) noexcept;
  // True when width more bytes remain after the position.
  [[nodiscard]] bool Fits(std::uint64_t width) const noexcept;

  unsigned char* m_buffer;
  std::int64_t m_position;
  std::uint64_t m_length;
  std::uint64_t m_capacity;
  bool m_failed;
  bool m_ownsBuffer;
};

}  // namespace qz_dsc
