#include "qz_dsc/BasicBinaryDeserializer.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "qz_dsc/FatalError.h"
#include "snapshot/Coding.h"
#include "snapshot/Utf16Codec.h"

namespace qz_dsc {
namespace {

static_assert(sizeof(int) == 4 && sizeof(unsigned int) == 4, "the wire's int is 32 bits");

constexpr int kInvalidArgument = 22;  // EINVAL
constexpr int kRangeError = 34;       // ERANGE

// The largest string count that a wide string may hold (as an unsigned 64-bit value).
constexpr std::uint64_t kMaxStringCount = 0x7FFFFFFFFFFFFFFEull;

constexpr const char* kConstructorCopy = "BasicBinaryDeserializer::BasicBinaryDeserializer: bounded copy (memcpy_s)";
constexpr const char* kAttachCopy = "BasicBinaryDeserializer::AttachBuffer: bounded copy (memcpy_s)";

struct FreeDeleter {
  void operator()(unsigned char* p) const noexcept { coding::FreeBuffer(p); }
};

// A bounded copy in the manner of memcpy_s: copies count bytes of
// src to dest when bound >= count. Otherwise, or for a null pointer, it
// zero-fills dest (destSize bytes), reports the fault through the fatal-error
// hook (22 for a null pointer, 34 for a bound below count) and copies nothing.
void BoundedCopy(unsigned char* dest, std::uint64_t destSize, std::uint64_t bound, const unsigned char* src,
                 std::uint64_t count, const char* what) {
  if (count == 0) {
    return;
  }
  if (dest == nullptr) {
    ReportFatalError(what, kInvalidArgument);
    return;
  }
  if (src == nullptr || bound < count) {
    std::memset(dest, 0, static_cast<std::size_t>(destSize));
    ReportFatalError(what, src == nullptr ? kInvalidArgument : kRangeError);
    return;
  }
  std::memmove(dest, src, static_cast<std::size_t>(count));  // src may lie in dest's old buffer
}

}  // namespace

BasicBinaryDeserializer::BasicBinaryDeserializer() noexcept
    : m_buffer(nullptr), m_position(0), m_length(0), m_capacity(0), m_failed(false), m_ownsBuffer(false) {}

BasicBinaryDeserializer::BasicBinaryDeserializer(unsigned char* data, std::int64_t size, bool takeCopy)
    : m_buffer(nullptr), m_position(0), m_length(0), m_capacity(0), m_failed(false), m_ownsBuffer(takeCopy) {
  const std::uint64_t bytes = static_cast<std::uint64_t>(size);
  if (!takeCopy) {
    m_buffer = data;
    m_capacity = bytes;
    m_length = m_capacity;
    return;
  }
  // The state is complete before the copy, so a hook that throws leaks nothing.
  m_buffer = coding::AllocateBuffer(bytes);
  if (m_buffer != nullptr) {
    m_capacity = bytes;
  }
  m_length = m_capacity;
  if (m_buffer != nullptr) {
    // The bound is the capacity field as it stood before it was set: 0.
    BoundedCopy(m_buffer, bytes, 0, data, bytes, kConstructorCopy);
  }
}

BasicBinaryDeserializer::~BasicBinaryDeserializer() {
  if (m_ownsBuffer && m_buffer != nullptr) {
    coding::FreeBuffer(m_buffer);
  }
}

void BasicBinaryDeserializer::AttachBuffer(unsigned char* data, std::uint64_t size, bool takeCopy) {
  const std::uint64_t oldCapacity = m_capacity;
  std::unique_ptr<unsigned char, FreeDeleter> oldOwned;
  if (m_ownsBuffer) {
    if (takeCopy && m_capacity >= size) {
      // Keep the current buffer (and its capacity).
      m_length = size;
      m_ownsBuffer = true;
      m_failed = false;
      m_position = 0;
      BoundedCopy(m_buffer, m_capacity, m_capacity, data, size, kAttachCopy);
      return;
    }
    oldOwned.reset(m_buffer);  // freed on return, after data (which may lie in it) is copied
  }
  m_buffer = nullptr;
  if (takeCopy) {
    m_buffer = coding::AllocateBuffer(size);
    m_capacity = m_buffer != nullptr ? size : 0;
    m_length = m_capacity;
  } else {
    m_buffer = data;
    m_capacity = size;
    m_length = size;
  }
  m_ownsBuffer = takeCopy;
  m_failed = false;
  m_position = 0;
  if (takeCopy && m_buffer != nullptr) {
    BoundedCopy(m_buffer, size, oldCapacity, data, size, kAttachCopy);
  }
}

bool BasicBinaryDeserializer::CreateDeserializer(BasicBinaryDeserializer& target, std::uint64_t offset,
                                                 std::uint64_t size, bool takeCopy) {
  const std::uint64_t position = static_cast<std::uint64_t>(m_position);
  const std::uint64_t unread = position <= m_length ? m_length - position : 0;
  if (offset > m_length || size > unread) {
    return false;
  }
  // The bytes from the current read position; offset is only checked.
  unsigned char* start = m_buffer != nullptr ? m_buffer + position : nullptr;
  target.AttachBuffer(start, size != 0 ? size : unread, takeCopy);
  return true;
}

void BasicBinaryDeserializer::Clear() noexcept { m_position = static_cast<std::int64_t>(m_length); }

void BasicBinaryDeserializer::Reset() noexcept { m_failed = false; }

bool BasicBinaryDeserializer::SeekTo(std::uint64_t pos) noexcept {
  if (pos > m_length) {
    return false;
  }
  m_position = static_cast<std::int64_t>(pos);
  return true;
}

bool BasicBinaryDeserializer::Resize(std::uint64_t newCapacity) noexcept {
  const std::uint64_t position = static_cast<std::uint64_t>(m_position);
  const std::uint64_t unread = position <= m_length ? m_length - position : 0;
  if (!m_ownsBuffer || m_buffer == nullptr || newCapacity < unread) {
    return false;
  }
  if (newCapacity == unread) {
    return true;
  }
  unsigned char* compacted = coding::AllocateBuffer(newCapacity);
  if (compacted == nullptr) {
    return false;
  }
  if (unread != 0) {
    std::memcpy(compacted, m_buffer + position, static_cast<std::size_t>(unread));
  }
  coding::FreeBuffer(m_buffer);
  m_buffer = compacted;
  m_length = unread;
  m_capacity = newCapacity;
  m_position = 0;
  return true;
}

bool BasicBinaryDeserializer::PeekInt(int& out) const noexcept {
  if (m_failed || !Fits(4)) {
    return false;
  }
  out = coding::DecodeInt32(m_buffer + m_position);
  return true;
}

bool BasicBinaryDeserializer::IsEnd() const noexcept { return static_cast<std::uint64_t>(m_position) >= m_length; }

std::int64_t BasicBinaryDeserializer::GetPosition() const noexcept { return m_position; }

bool BasicBinaryDeserializer::operator!() const noexcept { return m_failed; }

bool BasicBinaryDeserializer::Fits(std::uint64_t width) const noexcept {
  // position + width <= length, without wrapping around.
  const std::uint64_t position = static_cast<std::uint64_t>(m_position);
  return position <= m_length && width <= m_length - position;
}

bool BasicBinaryDeserializer::ReadFixed(std::uint32_t& bits) noexcept {
  if (m_failed || !Fits(4)) {
    m_failed = true;
    return false;
  }
  bits = coding::DecodeFixed32(m_buffer + m_position);
  m_position += 4;
  return true;
}

bool BasicBinaryDeserializer::ReadFixed(std::uint64_t& bits) noexcept {
  if (m_failed || !Fits(8)) {
    m_failed = true;
    return false;
  }
  bits = coding::DecodeFixed64(m_buffer + m_position);
  m_position += 8;
  return true;
}

BasicBinaryDeserializer& BasicBinaryDeserializer::operator>>(std::wstring& value) {
  if (m_failed) {
    return *this;
  }
  if (!Fits(4)) {
    m_failed = true;
    return *this;
  }
  const std::uint64_t position = static_cast<std::uint64_t>(m_position);
  const std::uint64_t remaining = m_length - position;
  const std::int32_t count = coding::DecodeInt32(m_buffer + position);
  // The byte size is 2·n as a signed 32-bit product (wrapped), widened with
  // its sign; 4 + size is compared as an unsigned value.
  const std::int32_t byteSize32 = static_cast<std::int32_t>(static_cast<std::uint32_t>(count) * 2u);
  const std::int64_t needed = 4 + static_cast<std::int64_t>(byteSize32);
  if (static_cast<std::uint64_t>(needed) > remaining) {
    m_failed = true;
    return *this;
  }
  const std::uint64_t units = static_cast<std::uint64_t>(static_cast<std::int64_t>(count));
  if (units > kMaxStringCount) {
    throw std::length_error("string too long");  // a negative count (-1, -2) that passed the size check
  }
  // Counts near 2^31 wrap the product to a small negative size and pass the
  // check above without their bytes being there: those fail too.
  if (4 + 2 * units > remaining) {
    m_failed = true;
    return *this;
  }
  value = Utf16Codec::DecodeLE(m_buffer + position + 4, static_cast<std::size_t>(units));
  m_position = static_cast<std::int64_t>(position + 4 + 2 * units);
  return *this;
}

BasicBinaryDeserializer& BasicBinaryDeserializer::ReadTimeValue(qz_std::TimeValue& value) noexcept {
  const std::int64_t start = m_position;
  std::int32_t seconds = 0;
  std::int32_t microseconds = 0;
  bool complete = false;
  if (!m_failed && Fits(4)) {
    seconds = coding::DecodeInt32(m_buffer + m_position);
    m_position = static_cast<std::int64_t>(static_cast<std::uint64_t>(m_position) + 4);
    if (Fits(4)) {
      microseconds = coding::DecodeInt32(m_buffer + m_position);
      m_position = static_cast<std::int64_t>(static_cast<std::uint64_t>(m_position) + 4);
      complete = true;
    }
  }
  if (!complete) {
    m_failed = true;
    m_position = start;
  }
  value = qz_std::TimeValue(seconds, microseconds);  // always assigned, normalised
  return *this;
}

BasicBinaryDeserializer& BasicBinaryDeserializer::operator>>(qz_math::Vector2& value) noexcept {
  if (!m_failed && Fits(coding::kVector2Bytes)) {
    coding::DecodeVector2(m_buffer + m_position, value);
    m_position += static_cast<std::int64_t>(coding::kVector2Bytes);
    return *this;
  }
  // Component by component, so that a failure leaves the leading ones stored.
  const std::int64_t start = m_position;
  *this >> value[0] >> value[1];
  if (m_failed) {
    m_position = start;
  }
  return *this;
}

BasicBinaryDeserializer& BasicBinaryDeserializer::operator>>(qz_math::VectorN<6>& value) noexcept {
  if (!m_failed && Fits(coding::kVector6Bytes)) {
    coding::DecodeVector6(m_buffer + m_position, value);
    m_position += static_cast<std::int64_t>(coding::kVector6Bytes);
    return *this;
  }
  const std::int64_t start = m_position;
  for (int i = 0; i < 6; ++i) {
    *this >> value[i];
  }
  if (m_failed) {
    m_position = start;
  }
  return *this;
}

}  // namespace qz_dsc
