// BasicBinarySerializer writes values into a flat byte buffer: the byte
// format of the binary snapshots (modifier records, sample buffers). The
// format has no tags, type codes, version or alignment; a reader must know
// the sequence of values the writer put down (BasicBinaryDeserializer).
//
// Byte order: every multi-byte value is little-endian (least-significant byte
// first) on every host, written at the current position with no padding:
//   int, unsigned int          4 bytes, 32-bit two's complement / unsigned
//   std::int64_t, uint64_t     8 bytes
//   float, double              4 / 8 bytes, IEEE-754 bit pattern as stored
//   wide string                4-byte signed count n of UTF-16 code units,
//                              then n code units of 2 bytes each; no NUL.
//                              Written up to the first NUL; a character above
//                              U+FFFF is two code units (a surrogate pair).
//   qz_std::TimeValue          4-byte seconds, then 4-byte microseconds
//   qz_math::Vector2           component 0, component 1 (binary64 each)
//   qz_math::VectorN<6>        components 0..5 (binary64 each)
//
// Errors are sticky: the first write that does not fit the capacity sets the
// failure flag (operator!), and every later write does nothing until Clear or
// AttachBuffer. Writes never enlarge the buffer, whatever the growable flag
// says: size the buffer beforehand. Allocation never throws; a failed
// allocation leaves no buffer and capacity 0, so every write fails.
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

class QZ_DSC_API BasicBinarySerializer {
 public:
  // No buffer; every field zero or false (every write fails).
  BasicBinarySerializer() noexcept;
  // Owns a new buffer of initialSize bytes (capacity 0 and no buffer if the
  // allocation fails). initialSize 0: no buffer, not owning, not growable.
  explicit BasicBinarySerializer(std::uint64_t initialSize, bool growable = false) noexcept;
  // Zero every field, then AttachBuffer(data, capacity, length, takeCopy, growable).
  BasicBinarySerializer(unsigned char* data, std::uint64_t capacity, std::uint64_t length, bool takeCopy,
                        bool growable) noexcept;
  // Frees the buffer if this object owns it.
  ~BasicBinarySerializer();

  // Copying copies every field as it stands, buffer pointer and ownership flag
  // included; no bytes are duplicated.
  // REQUIRES: at most one of the copies owns the buffer when both are destroyed
  // (otherwise the buffer is freed twice).
  BasicBinarySerializer(const BasicBinarySerializer&) noexcept = default;
  BasicBinarySerializer& operator=(const BasicBinarySerializer&) noexcept = default;

  // Uses data as the buffer (takeCopy false: the caller's memory, never freed
  // here) or a copy of it (takeCopy true: an owned buffer of capacity bytes,
  // or the current owned buffer when it is at least length bytes big, in which
  // case its capacity stays as it was). Writes then append after the length
  // bytes already there. Clears the failure flag. False, with nothing changed,
  // if length > capacity or data is null.
  // REQUIRES: data holds capacity bytes (takeCopy false) or length bytes (takeCopy true).
  // REQUIRES: with takeCopy false, data does not point into a buffer this object owns.
  [[nodiscard]] bool AttachBuffer(unsigned char* data, std::uint64_t capacity, std::uint64_t length, bool takeCopy,
                    bool growable) noexcept;

  // Position 0 and failure flag cleared; the buffer stays.
  void Clear() noexcept;
  // Moves the write position (and so the length); false if pos > capacity.
  [[nodiscard]] bool SeekTo(std::uint64_t pos) noexcept;

  [[nodiscard]] unsigned char* GetBuffer() const noexcept;
  // The write position, which is also the length of the written data.
  [[nodiscard]] std::uint64_t GetLength() const noexcept;
  [[nodiscard]] std::uint64_t GetPosition() const noexcept;

  // The sticky failure flag.
  [[nodiscard]] bool operator!() const noexcept;

  // Scalar writes: inline when the value fits (on a little-endian host the
  // wire order is the host order, so the store is one copy); the out-of-line
  // path handles a full buffer, the failure flag and other hosts.
  BasicBinarySerializer& operator<<(int value) noexcept { return Put(static_cast<std::uint32_t>(value)); }
  BasicBinarySerializer& operator<<(unsigned int value) noexcept { return Put(static_cast<std::uint32_t>(value)); }
  BasicBinarySerializer& operator<<(std::int64_t value) noexcept { return Put(static_cast<std::uint64_t>(value)); }
  BasicBinarySerializer& operator<<(std::uint64_t value) noexcept { return Put(value); }
  BasicBinarySerializer& operator<<(float value) noexcept { return Put(std::bit_cast<std::uint32_t>(value)); }
  BasicBinarySerializer& operator<<(double value) noexcept { return Put(std::bit_cast<std::uint64_t>(value)); }
  // Writes value.c_str(): the string up to its first NUL.
  BasicBinarySerializer& operator<<(const std::wstring& value) noexcept;
  // Writes the string up to its terminating NUL; nullptr is written as "".
  BasicBinarySerializer& operator<<(const wchar_t* value) noexcept;
  // Composite writes: on failure the position goes back to where it was,
  // although the leading parts may already have been stored.
  BasicBinarySerializer& operator<<(const qz_std::TimeValue& value) noexcept {
    if constexpr (kHostIsWireOrder) {
      if (!m_failed && m_capacity - m_position >= 8) {
        const std::int32_t fields[2] = {value.GetSeconds(), value.GetMicroseconds()};
        std::memcpy(m_buffer + m_position, fields, 8);
        m_position += 8;
        return *this;
      }
    }
    return WriteTimeValue(value);
  }
  BasicBinarySerializer& operator<<(const qz_math::Vector2& value) noexcept;
  // REQUIRES: value.GetDimension() == 6
  BasicBinarySerializer& operator<<(const qz_math::VectorN<6>& value) noexcept;

  // A run of writes into a serializer that keeps the position and the flag in
  // locals, so that a loop of writes compiles to plain stores instead of
  // reloading the serializer's fields after every byte stored. The writes
  // follow the serializer's rules exactly (sticky failure, exact capacity,
  // roll-back of composites, strings up to their first NUL): whatever does not
  // take the plain path is handed to the serializer itself. The position and
  // the flag go back to the serializer on Commit and on destruction.
  // REQUIRES: the serializer is not used otherwise while the writer lives.
  class BlockWriter {
   public:
    explicit BlockWriter(BasicBinarySerializer& target) noexcept : m_target(target) { Load(); }
    ~BlockWriter() { Commit(); }
    BlockWriter(const BlockWriter&) = delete;
    BlockWriter& operator=(const BlockWriter&) = delete;

    // Gives the position and the failure flag back to the serializer now.
    void Commit() noexcept {
      m_target.m_position = m_position;
      m_target.m_failed = m_failed;
    }
    [[nodiscard]] bool operator!() const noexcept { return m_failed; }
    [[nodiscard]] std::uint64_t GetPosition() const noexcept { return m_position; }

    BlockWriter& operator<<(int value) noexcept { return Put(static_cast<std::uint32_t>(value), value); }
    BlockWriter& operator<<(unsigned int value) noexcept { return Put(static_cast<std::uint32_t>(value), value); }
    BlockWriter& operator<<(std::int64_t value) noexcept { return Put(static_cast<std::uint64_t>(value), value); }
    BlockWriter& operator<<(std::uint64_t value) noexcept { return Put(value, value); }
    BlockWriter& operator<<(float value) noexcept { return Put(std::bit_cast<std::uint32_t>(value), value); }
    BlockWriter& operator<<(double value) noexcept { return Put(std::bit_cast<std::uint64_t>(value), value); }
    BlockWriter& operator<<(const qz_std::TimeValue& value) noexcept {
      if constexpr (kHostIsWireOrder) {
        if (Room(8)) {
          const std::int32_t fields[2] = {value.GetSeconds(), value.GetMicroseconds()};
          return Store(fields, 8);
        }
      }
      return Delegate(value);
    }
    BlockWriter& operator<<(const qz_math::Vector2& value) noexcept {
      if constexpr (kHostIsWireOrder) {
        if (Room(16)) {
          const double components[2] = {value[0], value[1]};
          return Store(components, 16);
        }
      }
      return Delegate(value);
    }
    // REQUIRES: value.GetDimension() == 6
    BlockWriter& operator<<(const qz_math::VectorN<6>& value) noexcept {
      if constexpr (kHostIsWireOrder) {
        if (Room(48)) {
          double components[6];
          for (int i = 0; i < 6; ++i) components[i] = value[i];
          return Store(components, 48);
        }
      }
      return Delegate(value);
    }
    BlockWriter& operator<<(const std::wstring& value) noexcept { return Delegate(value); }
    BlockWriter& operator<<(const wchar_t* value) noexcept { return Delegate(value); }

   private:
    void Load() noexcept {
      m_buffer = m_target.m_buffer;
      m_position = m_target.m_position;
      m_capacity = m_target.m_capacity;
      m_failed = m_target.m_failed;
    }
    [[nodiscard]] bool Room(std::uint64_t width) const noexcept { return !m_failed && m_capacity - m_position >= width; }
    BlockWriter& Store(const void* bytes, std::uint64_t width) noexcept {
      std::memcpy(m_buffer + m_position, bytes, width);
      m_position += width;
      return *this;
    }
    template <class Bits, class Value>
    BlockWriter& Put(Bits bits, Value value) noexcept {
      if constexpr (kHostIsWireOrder) {
        if (Room(sizeof(Bits))) return Store(&bits, sizeof(Bits));
      }
      return Delegate(value);
    }
    // The serializer's own operator, for the full rules.
    template <class Value>
    BlockWriter& Delegate(const Value& value) noexcept {
      Commit();
      m_target << value;
      Load();
      return *this;
    }

    BasicBinarySerializer& m_target;
    unsigned char* m_buffer;
    std::uint64_t m_position;
    std::uint64_t m_capacity;
    bool m_failed;
  };

 private:
  friend struct BasicBinarySerializerTestAccess;  // unit tests of InternalGrow

  // The growth policy, kept but never called: writes never grow the buffer,
  // and this does not update the capacity field.
  [[nodiscard]] bool InternalGrow(std::uint64_t needed) noexcept;

  friend struct BlockAccess;  // bulk writes of the sample buffers

  static constexpr bool kHostIsWireOrder = std::endian::native == std::endian::little;

  // Invariant: m_position <= m_capacity, so m_capacity - m_position is the
  // room left and never wraps.
  template <class Bits>
  BasicBinarySerializer& Put(Bits bits) noexcept {
    if constexpr (kHostIsWireOrder) {
      if (!m_failed && m_capacity - m_position >= sizeof(Bits)) {
        std::memcpy(m_buffer + m_position, &bits, sizeof(Bits));
        m_position += sizeof(Bits);
        return *this;
      }
    }
    return WriteFixed(bits);
  }

  // The scalar rule in full: sets the flag and writes nothing when failed or
  // when the value does not fit; else stores it little-endian.
  BasicBinarySerializer& WriteFixed(std::uint32_t bits) noexcept;
  BasicBinarySerializer& WriteFixed(std::uint64_t bits) noexcept;
  // The composite rule for a time value: both fields, or the position back.
  BasicBinarySerializer& WriteTimeValue(const qz_std::TimeValue& value) noexcept;
  // True when width more bytes fit after the position.
  [[nodiscard]] bool Fits(std::uint64_t width) const noexcept;

  unsigned char* m_buffer;
  std::uint64_t m_position;
  std::uint64_t m_capacity;
  bool m_failed;
  bool m_ownsBuffer;
  bool m_growable;
};

}  // namespace qz_dsc
