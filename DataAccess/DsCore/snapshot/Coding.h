// The byte coding of the snapshot format, in one place: fixed-width numbers
// and the fixed-size values built from them, each store beside its load.
// Byte order: every number is little-endian (least-significant byte first) on
// every host; on a little-endian host a store or load is one copy of the
// scalar. Also the one allocation of owned snapshot buffers.
// Stateless: safe to call from any thread.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "qz_math/Vector.h"
#include "qz_std/TimeValue.h"

namespace qz_dsc::coding {

static_assert(sizeof(float) == 4 && sizeof(double) == 8 && std::numeric_limits<double>::is_iec559 &&
                  std::numeric_limits<float>::is_iec559,
              "float and double must be IEEE-754 binary32 and binary64");

constexpr bool kLittleEndianHost = std::endian::native == std::endian::little;

// Bytes of each fixed-size value on the wire.
constexpr std::uint64_t kTimeValueBytes = 8;
constexpr std::uint64_t kVector2Bytes = 16;
constexpr std::uint64_t kVector6Bytes = 48;

// REQUIRES for every Encode: dst has room for the value's bytes; for every
// Decode: src holds them.

inline void EncodeFixed16(unsigned char* dst, std::uint16_t value) noexcept {
  dst[0] = static_cast<unsigned char>(value & 0xFF);
  dst[1] = static_cast<unsigned char>(value >> 8);
}

inline std::uint16_t DecodeFixed16(const unsigned char* src) noexcept {
  return static_cast<std::uint16_t>(src[0] | (src[1] << 8));
}

inline void EncodeFixed32(unsigned char* dst, std::uint32_t value) noexcept {
  if constexpr (kLittleEndianHost) {
    std::memcpy(dst, &value, 4);
  } else {
    for (int i = 0; i < 4; ++i) dst[i] = static_cast<unsigned char>((value >> (8 * i)) & 0xFF);
  }
}

inline std::uint32_t DecodeFixed32(const unsigned char* src) noexcept {
  std::uint32_t value = 0;
  if constexpr (kLittleEndianHost) {
    std::memcpy(&value, src, 4);
  } else {
    for (int i = 0; i < 4; ++i) value |= static_cast<std::uint32_t>(src[i]) << (8 * i);
  }
  return value;
}

inline void EncodeFixed64(unsigned char* dst, std::uint64_t value) noexcept {
  if constexpr (kLittleEndianHost) {
    std::memcpy(dst, &value, 8);
  } else {
    for (int i = 0; i < 8; ++i) dst[i] = static_cast<unsigned char>((value >> (8 * i)) & 0xFF);
  }
}

inline std::uint64_t DecodeFixed64(const unsigned char* src) noexcept {
  std::uint64_t value = 0;
  if constexpr (kLittleEndianHost) {
    std::memcpy(&value, src, 8);
  } else {
    for (int i = 0; i < 8; ++i) value |= static_cast<std::uint64_t>(src[i]) << (8 * i);
  }
  return value;
}

inline void EncodeInt32(unsigned char* dst, std::int32_t value) noexcept {
  EncodeFixed32(dst, static_cast<std::uint32_t>(value));
}
inline std::int32_t DecodeInt32(const unsigned char* src) noexcept {
  return static_cast<std::int32_t>(DecodeFixed32(src));
}

inline void EncodeDouble(unsigned char* dst, double value) noexcept {
  EncodeFixed64(dst, std::bit_cast<std::uint64_t>(value));
}
inline double DecodeDouble(const unsigned char* src) noexcept { return std::bit_cast<double>(DecodeFixed64(src)); }

// A time value: seconds, then microseconds, 4 bytes each. The decoded pair
// goes through the normalising TimeValue constructor.
inline void EncodeTimeValue(unsigned char* dst, const qz_std::TimeValue& value) noexcept {
  EncodeInt32(dst, value.GetSeconds());
  EncodeInt32(dst + 4, value.GetMicroseconds());
}
inline qz_std::TimeValue DecodeTimeValue(const unsigned char* src) noexcept {
  return qz_std::TimeValue(DecodeInt32(src), DecodeInt32(src + 4));
}

// Vectors: their components in index order, a binary64 each.
inline void EncodeVector2(unsigned char* dst, const qz_math::Vector2& value) noexcept {
  EncodeDouble(dst, value[0]);
  EncodeDouble(dst + 8, value[1]);
}
inline void DecodeVector2(const unsigned char* src, qz_math::Vector2& value) noexcept {
  value[0] = DecodeDouble(src);
  value[1] = DecodeDouble(src + 8);
}
// REQUIRES: value.GetDimension() == 6
inline void EncodeVector6(unsigned char* dst, const qz_math::VectorN<6>& value) noexcept {
  for (int i = 0; i < 6; ++i) EncodeDouble(dst + 8 * i, value[i]);
}
// REQUIRES: value.GetDimension() == 6
inline void DecodeVector6(const unsigned char* src, qz_math::VectorN<6>& value) noexcept {
  for (int i = 0; i < 6; ++i) value[i] = DecodeDouble(src + 8 * i);
}

// An owned snapshot buffer of size bytes (at least one, so that a zero size
// still gives a buffer), or null when the allocation fails or size is beyond
// any object's size; never throws. Released with FreeBuffer.
inline unsigned char* AllocateBuffer(std::uint64_t size) noexcept {
  if (size > static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max())) return nullptr;
  return static_cast<unsigned char*>(std::malloc(size == 0 ? 1 : static_cast<std::size_t>(size)));
}

inline void FreeBuffer(unsigned char* buffer) noexcept { std::free(buffer); }

}  // namespace qz_dsc::coding
