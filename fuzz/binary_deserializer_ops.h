// The script language of the binary deserializer fuzz target, shared with
// the seed writer. An input is: data length (2 bytes, little-endian), the
// data, then operations. Each operation is one byte: the low five bits pick
// the operation (modulo kOpCount), the high three bits the reader slot
// (modulo kSlotCount); the arguments listed below follow it. Missing bytes
// read as zero.
#pragma once

#include <cstdint>

namespace fuzz {

constexpr int kSlotCount = 4;

enum Op : std::uint8_t {
  kReadInt,
  kReadUInt,
  kReadInt64,
  kReadUInt64,
  kReadFloat,
  kReadDouble,
  kReadString,
  kReadTime,
  kReadVector2,
  kReadVector6,
  kSeekTo,             // position: 2 bytes; 0xFFFF means length + 1
  kClear,
  kReset,
  kPeekInt,
  kResize,             // new capacity: 2 bytes, counted from the unread bytes minus 8
  kCreateDeserializer, // target slot: 1 byte; offset, size: 2 bytes each; takeCopy: 1 byte
  kAttachInput,        // start, size: 2 bytes each (within the data); takeCopy: 1 byte
  kConstruct,          // start, size: 2 bytes each (within the data); takeCopy: 1 byte
  kOpCount
};

constexpr std::uint8_t Code(Op op, int slot = 0) { return static_cast<std::uint8_t>(op | (slot << 5)); }

}  // namespace fuzz
