// Direct access to the bytes under the position of a serializer or
// deserializer, for code that writes or reads many values of one fixed layout
// in one step (the sample buffers): one capacity check for a whole run of
// values instead of one per value. The failure rules stay with the caller:
// it takes only whole blocks that fit and leaves the rest to the operators.
// Not synchronised, like the objects it reaches.
#pragma once

#include <cstdint>

#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/BasicBinarySerializer.h"

namespace qz_dsc {

struct BlockAccess {
  // Whole blocks of blockBytes (> 0) that still fit the capacity; 0 once failed.
  static std::uint64_t WritableBlocks(const BasicBinarySerializer& s, std::uint64_t blockBytes) noexcept {
    return s.m_failed ? 0 : (s.m_capacity - s.m_position) / blockBytes;
  }
  // Moves the position over bytes and returns where they start.
  // REQUIRES: bytes <= the room WritableBlocks measured.
  static unsigned char* Take(BasicBinarySerializer& s, std::uint64_t bytes) noexcept {
    unsigned char* start = s.m_buffer + s.m_position;
    s.m_position += bytes;
    return start;
  }

  // Whole blocks of blockBytes (> 0) left before the length; 0 once failed.
  static std::uint64_t ReadableBlocks(const BasicBinaryDeserializer& d, std::uint64_t blockBytes) noexcept {
    return d.m_failed ? 0 : (d.m_length - static_cast<std::uint64_t>(d.m_position)) / blockBytes;
  }
  // Bytes left before the length, whatever the failure flag.
  static std::uint64_t Unread(const BasicBinaryDeserializer& d) noexcept {
    return d.m_length - static_cast<std::uint64_t>(d.m_position);
  }
  // Moves the position over bytes and returns where they start.
  // REQUIRES: bytes <= the unread bytes.
  static const unsigned char* Take(BasicBinaryDeserializer& d, std::uint64_t bytes) noexcept {
    const unsigned char* start = d.m_buffer + d.m_position;
    d.m_position += static_cast<std::int64_t>(bytes);
    return start;
  }
};

}  // namespace qz_dsc
