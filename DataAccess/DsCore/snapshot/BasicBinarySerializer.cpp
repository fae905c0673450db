#include "qz_dsc/BasicBinarySerializer.h"

#include <cstddef>
#include <cstring>
#include <limits>
#include <string_view>

#include "snapshot/Coding.h"
#include "snapshot/Utf16Codec.h"

namespace qz_dsc {
namespace {

static_assert(sizeof(int) == 4 && sizeof(unsigned int) == 4, "the wire's int is 32 bits");

constexpr std::uint64_t kMaxU64 = std::numeric_limits<std::uint64_t>::max();

// Copies count bytes (the ranges may overlap); nothing for zero bytes, so a
// null pointer is never handed to the C library.
void CopyBytes(unsigned char* dst, const unsigned char* src, std::uint64_t count) noexcept {
  if (count != 0) {
    std::memmove(dst, src, static_cast<std::size_t>(count));
  }
}

}  // namespace

BasicBinarySerializer::BasicBinarySerializer() noexcept
    : m_buffer(nullptr), m_position(0), m_capacity(0), m_failed(false), m_ownsBuffer(false), m_growable(false) {}

BasicBinarySerializer::BasicBinarySerializer(std::uint64_t initialSize, bool growable) noexcept
    : m_buffer(nullptr), m_position(0), m_capacity(0), m_failed(false), m_ownsBuffer(true), m_growable(growable) {
  if (initialSize == 0) {
    m_ownsBuffer = false;
    m_growable = false;
    return;
  }
  m_buffer = coding::AllocateBuffer(initialSize);
  if (m_buffer != nullptr) {
    m_capacity = initialSize;
  }
}

BasicBinarySerializer::BasicBinarySerializer(unsigned char* data, std::uint64_t capacity, std::uint64_t length,
                                             bool takeCopy, bool growable) noexcept
    : BasicBinarySerializer() {
  // A refused attach (null data, length above capacity) leaves the empty
  // state, in which every write fails: nothing more to do here.
  static_cast<void>(AttachBuffer(data, capacity, length, takeCopy, growable));
}

BasicBinarySerializer::~BasicBinarySerializer() {
  if (m_ownsBuffer && m_buffer != nullptr) {
    coding::FreeBuffer(m_buffer);
  }
}

bool BasicBinarySerializer::AttachBuffer(unsigned char* data, std::uint64_t capacity, std::uint64_t length,
                                         bool takeCopy, bool growable) noexcept {
  if (length > capacity || data == nullptr) {
    return false;
  }
  m_position = 0;
  unsigned char* oldOwned = nullptr;
  if (m_ownsBuffer) {
    if (takeCopy && m_capacity >= length) {
      // Keep the current buffer; its capacity field stays as it was.
      CopyBytes(m_buffer, data, length);
      m_position = length;
      m_ownsBuffer = true;
      m_growable = growable;
      m_failed = false;
      return true;
    }
    oldOwned = m_buffer;  // freed below, after data (which may lie in it) is copied
  }
  m_buffer = nullptr;
  m_capacity = capacity;
  if (!takeCopy) {
    coding::FreeBuffer(oldOwned);
    m_buffer = data;
    m_position = length;
    m_ownsBuffer = false;
    m_growable = false;
    m_failed = false;
    return true;
  }
  m_buffer = coding::AllocateBuffer(capacity);
  if (m_buffer == nullptr) {
    m_capacity = 0;
  } else {
    CopyBytes(m_buffer, data, length);
    m_position = length;
  }
  coding::FreeBuffer(oldOwned);
  m_ownsBuffer = true;
  m_growable = growable;
  m_failed = false;
  return true;
}

void BasicBinarySerializer::Clear() noexcept {
  m_position = 0;
  m_failed = false;
}

bool BasicBinarySerializer::SeekTo(std::uint64_t pos) noexcept {
  if (pos > m_capacity) {
    return false;
  }
  m_position = pos;
  return true;
}

unsigned char* BasicBinarySerializer::GetBuffer() const noexcept { return m_buffer; }

std::uint64_t BasicBinarySerializer::GetLength() const noexcept { return m_position; }

std::uint64_t BasicBinarySerializer::GetPosition() const noexcept { return m_position; }

bool BasicBinarySerializer::operator!() const noexcept { return m_failed; }

bool BasicBinarySerializer::Fits(std::uint64_t width) const noexcept {
  // position + width <= capacity, without wrapping around.
  return m_position <= m_capacity && width <= m_capacity - m_position;
}

BasicBinarySerializer& BasicBinarySerializer::WriteFixed(std::uint32_t bits) noexcept {
  if (m_failed || !Fits(4)) {
    m_failed = true;
    return *this;
  }
  coding::EncodeFixed32(m_buffer + m_position, bits);
  m_position += 4;
  return *this;
}

BasicBinarySerializer& BasicBinarySerializer::WriteFixed(std::uint64_t bits) noexcept {
  if (m_failed || !Fits(8)) {
    m_failed = true;
    return *this;
  }
  coding::EncodeFixed64(m_buffer + m_position, bits);
  m_position += 8;
  return *this;
}

BasicBinarySerializer& BasicBinarySerializer::operator<<(const std::wstring& value) noexcept {
  return *this << value.c_str();
}

BasicBinarySerializer& BasicBinarySerializer::operator<<(const wchar_t* value) noexcept {
  const std::wstring_view text = value != nullptr ? std::wstring_view(value) : std::wstring_view();
  const std::uint64_t units = Utf16Codec::CountUnits(text);
  const std::uint32_t count = static_cast<std::uint32_t>(units);
  // The format's check: 2·n as a signed 32-bit product (wrapped), widened
  // with its sign, added with unsigned wrap-around.
  const std::int32_t byteSize32 = static_cast<std::int32_t>(count * 2u);
  const std::uint64_t byteSize = static_cast<std::uint64_t>(static_cast<std::int64_t>(byteSize32));
  const bool formatCheckFails = m_position + 4 + byteSize > m_capacity;
  // A count that wrapped could pass that check without the bytes fitting;
  // such a string (2^30 code units or more) fails as well.
  const bool reallyFits = units <= static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max()) &&
                          Fits(4 + 2 * units);
  if (m_failed || formatCheckFails || !reallyFits) {
    m_failed = true;
    return *this;
  }
  coding::EncodeFixed32(m_buffer + m_position, count);
  m_position += 4;
  m_position += Utf16Codec::EncodeLE(text, m_buffer + m_position);
  return *this;
}

BasicBinarySerializer& BasicBinarySerializer::WriteTimeValue(const qz_std::TimeValue& value) noexcept {
  const std::uint64_t start = m_position;
  *this << static_cast<int>(value.GetSeconds()) << static_cast<int>(value.GetMicroseconds());
  if (m_failed) {
    m_position = start;
  }
  return *this;
}

BasicBinarySerializer& BasicBinarySerializer::operator<<(const qz_math::Vector2& value) noexcept {
  if (!m_failed && Fits(coding::kVector2Bytes)) {
    coding::EncodeVector2(m_buffer + m_position, value);
    m_position += coding::kVector2Bytes;
    return *this;
  }
  // Part by part, so that a failure leaves the leading parts stored.
  const std::uint64_t start = m_position;
  *this << value[0] << value[1];
  if (m_failed) {
    m_position = start;
  }
  return *this;
}

BasicBinarySerializer& BasicBinarySerializer::operator<<(const qz_math::VectorN<6>& value) noexcept {
  if (!m_failed && Fits(coding::kVector6Bytes)) {
    coding::EncodeVector6(m_buffer + m_position, value);
    m_position += coding::kVector6Bytes;
    return *this;
  }
  const std::uint64_t start = m_position;
  for (int i = 0; i < 6; ++i) {
    *this << value[i];
  }
  if (m_failed) {
    m_position = start;
  }
  return *this;
}

bool BasicBinarySerializer::InternalGrow(std::uint64_t needed) noexcept {
  if (!m_ownsBuffer || !m_growable || needed <= m_capacity) {
    return false;
  }
  const std::uint64_t capacity = m_capacity;
  std::uint64_t newSize = 0;
  // Sizes that do not fit 64 bits cannot be allocated: false.
  if (capacity > kMaxU64 / 2) {
    return false;
  }
  if (needed < 2 * capacity) {
    newSize = 2 * capacity;
  } else if (capacity > kMaxU64 / 3) {
    return false;
  } else if (needed < 3 * capacity) {
    newSize = 3 * capacity;
  } else if (needed / 2 > kMaxU64 - needed) {
    return false;
  } else {
    newSize = needed + needed / 2;
  }
  unsigned char* grown = coding::AllocateBuffer(newSize);
  if (grown == nullptr) {
    return false;
  }
  CopyBytes(grown, m_buffer, m_position);
  coding::FreeBuffer(m_buffer);
  m_buffer = grown;
  return true;  // the capacity field is left as it was
}

}  // namespace qz_dsc
