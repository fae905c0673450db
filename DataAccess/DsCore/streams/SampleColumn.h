// One column of a sample store (the keys, or the values): a growable array
// with just the operations the store needs.
//
// TrivialColumn holds trivially copyable elements in raw blocks. A block of
// at least kMappedColumnBytes is a memory mapping of its own that grows in
// place (mremap on Linux), so a long recording never copies its samples to
// grow and each page is touched only once; such blocks ask for huge pages,
// which makes the first touch of fresh memory much cheaper. Smaller blocks
// come from malloc and realloc. ObjectColumn holds any other type in a
// std::vector.
//
// Both throw std::bad_alloc when memory is exhausted or a block would
// exceed the store's byte limit (SetSampleStoreByteLimit), and leave the
// column as it was. Not synchronised.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace qz_dsc {

// The largest block, in bytes, that one column of any sample store may
// hold; a larger growth fails with std::bad_alloc as exhausted memory does.
// 0 (the default) means no limit. Process-wide.
void SetSampleStoreByteLimit(std::size_t bytes) noexcept;
// Throws std::bad_alloc when bytes exceed the limit.
void CheckSampleStoreBytes(std::size_t bytes);

// Bytes of the raw blocks that all TrivialColumns hold now (what the
// process's operator new does not see).
std::size_t SampleColumnBlockBytes() noexcept;

// Blocks at least this large are separate mappings.
inline constexpr std::size_t kMappedColumnBytes = std::size_t{1} << 20;

// Raw blocks for TrivialColumn. Each returns the block and stores in
// *usable the bytes it may use (at least the bytes asked for). Reallocate
// keeps the first keep bytes; on failure it throws and leaves the old block.
void* AllocateColumnBlock(std::size_t bytes, std::size_t* usable);
void* ReallocateColumnBlock(void* block, std::size_t oldBytes, std::size_t keep, std::size_t bytes,
                            std::size_t* usable);
void FreeColumnBlock(void* block, std::size_t bytes) noexcept;

template <class E>
class TrivialColumn {
  static_assert(std::is_trivially_copyable_v<E>);

 public:
  TrivialColumn() = default;
  // A copy of [first, last) with no spare room.
  TrivialColumn(const E* first, const E* last) {
    const auto n = static_cast<std::size_t>(last - first);
    if (n == 0) return;
    Reallocate(n);
    std::memcpy(m_data, first, n * sizeof(E));
    m_size = n;
  }
  TrivialColumn(const TrivialColumn&) = delete;
  TrivialColumn& operator=(const TrivialColumn&) = delete;
  TrivialColumn(TrivialColumn&& other) noexcept { swap(other); }
  TrivialColumn& operator=(TrivialColumn&& other) noexcept {
    TrivialColumn moved(std::move(other));
    swap(moved);
    return *this;
  }
  ~TrivialColumn() { FreeColumnBlock(m_data, m_capacity * sizeof(E)); }

  void swap(TrivialColumn& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    std::swap(m_capacity, other.m_capacity);
  }

  std::size_t size() const noexcept { return m_size; }
  std::size_t capacity() const noexcept { return m_capacity; }
  const E* data() const noexcept { return m_data; }
  E& operator[](std::size_t i) noexcept { return m_data[i]; }
  const E& operator[](std::size_t i) const noexcept { return m_data[i]; }
  const E& back() const noexcept { return m_data[m_size - 1]; }

  void push_back(const E& e) {
    if (m_size == m_capacity) Reallocate(Grown(m_size + 1));
    m_data[m_size++] = e;
  }
  void pop_back() noexcept { --m_size; }
  // The free slots after the last element, and the count of those written
  // that now belong to the column. REQUIRES: size() + n <= capacity()
  E* spare() noexcept { return m_data + m_size; }
  void commit(std::size_t n) noexcept { m_size += n; }
  // Appends make(0) .. make(count-1).
  template <class Make>
  void append(std::size_t count, Make make) {
    reserve(m_size + count);
    E* out = m_data + m_size;
    for (std::size_t i = 0; i < count; ++i) out[i] = make(i);
    m_size += count;
  }
  // Room for n elements in all.
  void reserve(std::size_t n) {
    if (n > m_capacity) Reallocate(n);
  }
  // Keeps the first n elements; REQUIRES: n <= size()
  void truncate(std::size_t n) noexcept { m_size = n; }
  // REQUIRES: i <= size()
  void insert(std::size_t i, const E& e) {
    if (m_size == m_capacity) Reallocate(Grown(m_size + 1));
    std::memmove(m_data + i + 1, m_data + i, (m_size - i) * sizeof(E));
    m_data[i] = e;
    ++m_size;
  }
  // Removes element i; REQUIRES: i < size()
  void erase(std::size_t i) noexcept {
    std::memmove(m_data + i, m_data + i + 1, (m_size - i - 1) * sizeof(E));
    --m_size;
  }
  // Removes the first n elements; REQUIRES: n <= size()
  void erase_front(std::size_t n) noexcept {
    std::memmove(m_data, m_data + n, (m_size - n) * sizeof(E));
    m_size -= n;
  }
  // Moves elements [from, from + n) down to to; REQUIRES: to < from
  void move_down(std::size_t from, std::size_t n, std::size_t to) noexcept {
    std::memmove(m_data + to, m_data + from, n * sizeof(E));
  }
  void clear() noexcept { m_size = 0; }
  void shrink_to_fit() {
    if (m_size == m_capacity) return;
    if (m_size == 0) {
      FreeColumnBlock(m_data, m_capacity * sizeof(E));
      m_data = nullptr;
      m_capacity = 0;
      return;
    }
    Reallocate(m_size);
  }

 private:
  // Mapped blocks grow without copying, so they grow in small steps and
  // keep little spare room; heap blocks grow by half.
  std::size_t Grown(std::size_t need) const noexcept {
    const std::size_t step = m_capacity * sizeof(E) >= kMappedColumnBytes ? m_capacity / 8 : m_capacity / 2 + 8;
    return std::max(need, m_capacity + step);
  }

  void Reallocate(std::size_t n) {
    if (n > static_cast<std::size_t>(-1) / sizeof(E)) throw std::bad_alloc();
    std::size_t usable = 0;
    void* block = m_data == nullptr
                      ? AllocateColumnBlock(n * sizeof(E), &usable)
                      : ReallocateColumnBlock(m_data, m_capacity * sizeof(E), m_size * sizeof(E), n * sizeof(E), &usable);
    m_data = static_cast<E*>(block);
    m_capacity = usable / sizeof(E);
  }

  E* m_data = nullptr;
  std::size_t m_size = 0;
  std::size_t m_capacity = 0;
};

// The standard allocator with the store's byte limit in front of it.
template <class E>
struct LimitedAllocator {
  using value_type = E;
  LimitedAllocator() = default;
  template <class U>
  LimitedAllocator(const LimitedAllocator<U>&) noexcept {}
  E* allocate(std::size_t n) {
    CheckSampleStoreBytes(n * sizeof(E));
    return std::allocator<E>().allocate(n);
  }
  void deallocate(E* p, std::size_t n) noexcept { std::allocator<E>().deallocate(p, n); }
  template <class U>
  friend bool operator==(const LimitedAllocator&, const LimitedAllocator<U>&) noexcept {
    return true;
  }
};

template <class E>
class ObjectColumn {
 public:
  ObjectColumn() = default;
  ObjectColumn(const E* first, const E* last) : m_items(first, last) {}

  void swap(ObjectColumn& other) noexcept { m_items.swap(other.m_items); }

  std::size_t size() const noexcept { return m_items.size(); }
  std::size_t capacity() const noexcept { return m_items.capacity(); }
  const E* data() const noexcept { return m_items.data(); }
  E& operator[](std::size_t i) noexcept { return m_items[i]; }
  const E& operator[](std::size_t i) const noexcept { return m_items[i]; }
  const E& back() const noexcept { return m_items.back(); }

  template <class V>
  void push_back(V&& v) {
    m_items.push_back(std::forward<V>(v));
  }
  void pop_back() noexcept { m_items.pop_back(); }
  // Appends make(0) .. make(count-1); when make throws, the elements
  // appended before stay.
  template <class Make>
  void append(std::size_t count, Make make) {
    m_items.reserve(m_items.size() + count);
    for (std::size_t i = 0; i < count; ++i) m_items.push_back(make(i));
  }
  void reserve(std::size_t n) { m_items.reserve(n); }
  void truncate(std::size_t n) noexcept { m_items.erase(m_items.begin() + Offset(n), m_items.end()); }
  template <class V>
  void insert(std::size_t i, V&& v) {
    m_items.insert(m_items.begin() + Offset(i), std::forward<V>(v));
  }
  void erase(std::size_t i) noexcept { m_items.erase(m_items.begin() + Offset(i)); }
  void erase_front(std::size_t n) noexcept { m_items.erase(m_items.begin(), m_items.begin() + Offset(n)); }
  void move_down(std::size_t from, std::size_t n, std::size_t to) noexcept {
    std::move(m_items.begin() + Offset(from), m_items.begin() + Offset(from + n), m_items.begin() + Offset(to));
  }
  void clear() noexcept { m_items.clear(); }
  void shrink_to_fit() { m_items.shrink_to_fit(); }

 private:
  static std::ptrdiff_t Offset(std::size_t i) noexcept { return static_cast<std::ptrdiff_t>(i); }

  std::vector<E, LimitedAllocator<E>> m_items;
};

template <class E>
using SampleColumn = std::conditional_t<std::is_trivially_copyable_v<E>, TrivialColumn<E>, ObjectColumn<E>>;

}  // namespace qz_dsc
