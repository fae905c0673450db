// The sample store of a stream: one value per 64-bit time key, kept in
// ascending key order, built for samples that arrive in time order. Keys and
// values live in two parallel columns (SampleColumn.h) with a head offset,
// so that appending a newer key is a push to the back, dropping the smallest
// key only moves the head (the dead prefix is reclaimed once it outgrows the
// live part), and a double sample costs 16 bytes plus spare capacity.
// Out-of-order keys are inserted in place and stay correct, at the cost of
// moving the shorter side.
//
// Memory: every operation that can allocate throws std::bad_alloc when
// memory is exhausted and then leaves the store as it was (AppendAscending
// included); Reserve makes the following inserts allocation-free.
// Not synchronised: the owning stream holds its lock around every call.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <type_traits>
#include <utility>

#include "streams/SampleColumn.h"

namespace qz_dsc {

template <class T>
class SampleStore {
 public:
  using Key = std::int64_t;

  SampleStore() = default;
  // Copies only the live samples, with no spare capacity.
  SampleStore(const SampleStore& other)
      : m_keys(other.m_keys.data() + other.m_head, other.m_keys.data() + other.m_keys.size()),
        m_values(other.m_values.data() + other.m_head, other.m_values.data() + other.m_values.size()) {}
  SampleStore& operator=(const SampleStore& other) {
    if (this != &other) {
      SampleStore copy(other);
      swap(copy);
    }
    return *this;
  }
  SampleStore(SampleStore&& other) noexcept { swap(other); }
  SampleStore& operator=(SampleStore&& other) noexcept {
    if (this != &other) {
      SampleStore moved;
      moved.swap(other);
      swap(moved);
    }
    return *this;
  }
  ~SampleStore() = default;

  void swap(SampleStore& other) noexcept {
    m_keys.swap(other.m_keys);
    m_values.swap(other.m_values);
    std::swap(m_head, other.m_head);
  }

  std::size_t size() const noexcept { return m_keys.size() - m_head; }
  bool empty() const noexcept { return m_keys.size() == m_head; }

  // REQUIRES: i < size()
  Key KeyAt(std::size_t i) const { return m_keys[m_head + i]; }
  const T& ValueAt(std::size_t i) const { return m_values[m_head + i]; }
  T& ValueAt(std::size_t i) { return m_values[m_head + i]; }
  // REQUIRES: !empty()
  Key FrontKey() const { return m_keys[m_head]; }
  Key BackKey() const { return m_keys.back(); }

  // First index whose key is >= k (size() if none).
  std::size_t LowerBound(Key k) const {
    const Key* first = m_keys.data() + m_head;
    return static_cast<std::size_t>(std::lower_bound(first, first + size(), k) - first);
  }
  // First index whose key is > k (size() if none). Sample times are nearly
  // evenly spaced, so the search starts where interpolation between the
  // first and last key puts k and gallops from there: a few probes in one
  // or two cache lines instead of a cache miss per halving of the range. The
  // galloping keeps the worst case logarithmic for any spacing.
  std::size_t UpperBound(Key k) const {
    const std::size_t n = size();
    if (n == 0) return 0;
    const Key* keys = m_keys.data() + m_head;
    const Key first = keys[0];
    const Key last = keys[n - 1];
    if (k < first) return 0;
    if (k >= last) return n;
    // first <= k < last, so the fraction lies in [0, 1).
    const double fraction = (static_cast<double>(k) - static_cast<double>(first)) /
                            (static_cast<double>(last) - static_cast<double>(first));
    std::size_t guess = static_cast<std::size_t>(fraction * static_cast<double>(n - 1));
    if (guess > n - 1) guess = n - 1;
    return Gallop(keys, n, k, guess);
  }
  // UpperBound, trying the neighbourhood of a previous answer first: lookups
  // in playback order land on the same or the next index and skip the search.
  std::size_t UpperBound(Key k, std::size_t hint) const {
    const std::size_t n = size();
    if (hint <= n) {
      const Key* keys = m_keys.data() + m_head;
      if (hint == 0 || keys[hint - 1] <= k) {
        // keys[i-1] <= k holds for each i tried; the answer is the first i
        // with k < keys[i].
        for (std::size_t i = hint; i <= n && i < hint + 3; ++i) {
          if (i == n || k < keys[i]) return i;
        }
      }
    }
    return UpperBound(k);
  }
  // Index of key k, or size() when it is not stored.
  std::size_t Find(Key k) const {
    const std::size_t i = LowerBound(k);
    return (i < size() && KeyAt(i) == k) ? i : size();
  }

  // Stores v under k, replacing a value already there. True when a new key
  // was added, false when an existing value was replaced.
  bool InsertOrAssign(Key k, const T& v) { return Put(k, v); }
  bool InsertOrAssign(Key k, T&& v) { return Put(k, std::move(v)); }

  // Removes the smallest key and stores v under k, which is not stored yet,
  // so that the size stays: a key older than every other one still goes in.
  // REQUIRES: !empty(), Find(k) == size()
  template <class V>
  void InsertDroppingFront(Key k, V&& v) {
    if (k < FrontKey()) {
      // The new key takes the dropped one's place at the front.
      m_values[m_head] = std::forward<V>(v);
      m_keys[m_head] = k;
      return;
    }
    // Inserted first, so that a failed allocation drops nothing.
    Put(k, std::forward<V>(v));
    EraseFront(1);
  }

  // Removes the n smallest keys (all when n >= size()).
  void EraseFront(std::size_t n) noexcept {
    if (n >= size()) {
      Clear();
      return;
    }
    // The dead slots are reclaimed once the dead prefix outgrows the live
    // part, so they never hold more than the live samples do.
    m_head += n;
    if (m_head > size()) Compact();
  }
  // Removes indexes i .. size()-1.
  void EraseFrom(std::size_t i) noexcept {
    if (i >= size()) return;
    m_keys.truncate(m_head + i);
    m_values.truncate(m_head + i);
    if (empty()) Clear();
  }
  void Clear() noexcept {
    m_keys.clear();
    m_values.clear();
    m_head = 0;
  }
  // Gives back spare capacity.
  void ShrinkToFit() {
    Compact();
    m_keys.shrink_to_fit();
    m_values.shrink_to_fit();
  }
  // Makes room for more samples, so that as many inserts of new keys need
  // no allocation; capacity grows at least geometrically so that many small
  // reservations stay amortised O(1) per sample.
  void Reserve(std::size_t more) {
    if (m_keys.size() + more <= m_keys.capacity() && m_values.size() + more <= m_values.capacity()) return;
    if (m_head > 0) {
      Compact();
      if (size() + more <= m_keys.capacity() && size() + more <= m_values.capacity()) return;
    }
    const std::size_t target = std::max(size() + more, m_keys.capacity() + m_keys.capacity() / 2);
    m_keys.reserve(target);
    m_values.reserve(target);
  }

  // Appends count samples read through key(i) and value(i); the caller
  // guarantees that their keys ascend strictly and exceed every stored key.
  template <class KeyOf, class ValueOf>
  void AppendAscending(std::size_t count, KeyOf key, ValueOf value) {
    Reserve(count);
    const std::size_t before = m_keys.size();
    try {
      m_keys.append(count, key);
      m_values.append(count, value);
    } catch (...) {
      m_keys.truncate(before);
      m_values.truncate(before);
      throw;
    }
  }

  // Appends the leading run of samples (pairs of key and value) whose keys
  // ascend strictly above every stored key and pass accept(key); returns
  // its length. One pass over the samples for plain values.
  template <class Pair, class Accept>
  std::size_t AppendRun(const Pair* samples, std::size_t count, Accept accept) {
    bool haveLast = !empty();
    Key last = haveLast ? BackKey() : 0;
    const auto inRun = [&](Key k) { return (!haveLast || k > last) && accept(k); };
    if constexpr (std::is_trivially_copyable_v<T>) {
      Reserve(count);
      Key* keys = m_keys.spare();
      T* values = m_values.spare();
      std::size_t n = 0;
      for (; n < count && inRun(samples[n].first); ++n) {
        keys[n] = samples[n].first;
        values[n] = samples[n].second;
        last = samples[n].first;
        haveLast = true;
      }
      m_keys.commit(n);
      m_values.commit(n);
      return n;
    } else {
      std::size_t n = 0;
      for (; n < count && inRun(samples[n].first); ++n) {
        last = samples[n].first;
        haveLast = true;
      }
      AppendAscending(
          n, [samples](std::size_t i) { return samples[i].first; },
          [samples](std::size_t i) -> const T& { return samples[i].second; });
      return n;
    }
  }

  // Replaces the whole content by samples (already in ascending order) and
  // leaves samples empty. On a failed allocation both stay as they were.
  void Assign(std::map<Key, T>&& samples) {
    SampleStore fresh;
    fresh.m_keys.reserve(samples.size());
    fresh.m_values.reserve(samples.size());
    for (auto& [k, v] : samples) fresh.m_keys.push_back(k);
    if constexpr (std::is_nothrow_move_constructible_v<T>) {
      for (auto& entry : samples) fresh.m_values.push_back(std::move(entry.second));
    } else {
      for (const auto& entry : samples) fresh.m_values.push_back(entry.second);
    }
    swap(fresh);
    samples.clear();
  }

  // Bytes of key and value slots currently allocated (spare capacity
  // included; memory owned by the values themselves not counted).
  std::size_t CapacityBytes() const noexcept {
    return m_keys.capacity() * sizeof(Key) + m_values.capacity() * sizeof(T);
  }

 private:
  // First index i with keys[i] > k, searching outwards from guess in steps
  // that double, then binary search in the bracket found.
  // REQUIRES: guess < n
  static std::size_t Gallop(const Key* keys, std::size_t n, Key k, std::size_t guess) {
    std::size_t lo = 0, hi = n;  // the answer lies in [lo, hi]
    if (keys[guess] <= k) {
      lo = guess + 1;
      for (std::size_t step = 1;; step *= 2) {
        const std::size_t probe = lo + step - 1;
        if (probe >= n) break;
        if (keys[probe] > k) {
          hi = probe;
          break;
        }
        lo = probe + 1;
      }
    } else {
      hi = guess;
      for (std::size_t step = 1;; step *= 2) {
        if (step > hi) break;
        const std::size_t probe = hi - step;
        if (keys[probe] <= k) {
          lo = probe + 1;
          break;
        }
        hi = probe;
      }
    }
    return static_cast<std::size_t>(std::upper_bound(keys + lo, keys + hi, k) - keys);
  }

  template <class V>
  bool Put(Key k, V&& v) {
    if (empty() || k > m_keys.back()) {
      if (m_keys.size() == m_keys.capacity() && m_head > 0) Compact();
      m_keys.push_back(k);
      try {
        m_values.push_back(std::forward<V>(v));
      } catch (...) {
        m_keys.pop_back();  // keep the two columns in step
        throw;
      }
      return true;
    }
    const std::size_t i = LowerBound(k);
    if (KeyAt(i) == k) {
      ValueAt(i) = std::forward<V>(v);
      return false;
    }
    InsertAt(i, k, std::forward<V>(v));
    return true;
  }

  // REQUIRES: i < size(), KeyAt(i-1) < k < KeyAt(i)
  template <class V>
  void InsertAt(std::size_t i, Key k, V&& v) {
    if (m_head > 0 && i <= size() / 2) {
      // Room in the dead prefix and the front part is the shorter one: slide
      // it one slot down. The value is made first, so that nothing has moved
      // when making it fails.
      T value(std::forward<V>(v));
      const std::size_t h = m_head;
      m_keys.move_down(h, i, h - 1);
      m_values.move_down(h, i, h - 1);
      m_head = h - 1;
      m_keys[m_head + i] = k;
      m_values[m_head + i] = std::move(value);
      return;
    }
    const std::size_t at = m_head + i;
    m_keys.insert(at, k);
    try {
      m_values.insert(at, std::forward<V>(v));
    } catch (...) {
      m_keys.erase(at);  // keep the two columns in step
      throw;
    }
  }

  // Moves the live samples to the start of the columns.
  void Compact() noexcept {
    if (m_head == 0) return;
    m_keys.erase_front(m_head);
    m_values.erase_front(m_head);
    m_head = 0;
  }

  SampleColumn<Key> m_keys;    // [m_head, end) are live, ascending
  SampleColumn<T> m_values;    // parallel to m_keys
  std::size_t m_head = 0;      // slots before it are dead
};

}  // namespace qz_dsc
