// The sample store of a stream: one value per 64-bit time key, kept in
// ascending key order, built for samples that arrive in time order. Keys and
// values live in two parallel arrays with a head offset, so that appending a
// newer key is a push to the back, dropping the smallest key only moves the
// head (the dead prefix is reclaimed once it outgrows the live part), and a
// double sample costs 16 bytes plus spare capacity. Out-of-order keys are
// inserted in place and stay correct, at the cost of moving the shorter side.
// Not synchronised: the owning stream holds its lock around every call.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace qz_dsc {

template <class T>
class SampleStore {
 public:
  using Key = std::int64_t;

  SampleStore() = default;
  // Copies only the live samples, with no spare capacity.
  SampleStore(const SampleStore& other)
      : m_keys(other.m_keys.begin() + static_cast<std::ptrdiff_t>(other.m_head), other.m_keys.end()),
        m_values(other.m_values.begin() + static_cast<std::ptrdiff_t>(other.m_head), other.m_values.end()) {}
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
      Clear();
      ShrinkToFit();
      swap(other);
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
    const auto first = m_keys.begin() + static_cast<std::ptrdiff_t>(m_head);
    return static_cast<std::size_t>(std::lower_bound(first, m_keys.end(), k) - first);
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

  // Removes the n smallest keys (all when n >= size()).
  void EraseFront(std::size_t n) {
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
  void EraseFrom(std::size_t i) {
    if (i >= size()) return;
    m_keys.resize(m_head + i);
    m_values.erase(m_values.begin() + static_cast<std::ptrdiff_t>(m_head + i), m_values.end());
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
  // Makes room for n more samples; capacity grows at least geometrically so
  // that many small reservations stay amortised O(1) per sample.
  void Reserve(std::size_t more) {
    const std::size_t need = m_keys.size() + more;
    if (need <= m_keys.capacity()) return;
    if (m_head > 0) {
      Compact();
      if (size() + more <= m_keys.capacity()) return;
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
    for (std::size_t i = 0; i < count; ++i) m_keys.push_back(key(i));
    try {
      for (std::size_t i = 0; i < count; ++i) m_values.push_back(value(i));
    } catch (...) {
      m_keys.resize(m_values.size());  // keep the two arrays in step
      throw;
    }
  }

  // Replaces the whole content by samples (already in ascending order) and
  // leaves samples empty.
  void Assign(std::map<Key, T>&& samples) {
    Clear();
    m_keys.reserve(samples.size());
    m_values.reserve(samples.size());
    for (auto& [k, v] : samples) {
      m_keys.push_back(k);
      m_values.push_back(std::move(v));
    }
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
        m_keys.pop_back();  // keep the two arrays in step
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
      // it one slot down.
      const std::size_t h = m_head;
      std::move(m_keys.begin() + static_cast<std::ptrdiff_t>(h), m_keys.begin() + static_cast<std::ptrdiff_t>(h + i),
                m_keys.begin() + static_cast<std::ptrdiff_t>(h - 1));
      std::move(m_values.begin() + static_cast<std::ptrdiff_t>(h),
                m_values.begin() + static_cast<std::ptrdiff_t>(h + i),
                m_values.begin() + static_cast<std::ptrdiff_t>(h - 1));
      m_head = h - 1;
      m_keys[m_head + i] = k;
      m_values[m_head + i] = std::forward<V>(v);
      return;
    }
    const auto at = static_cast<std::ptrdiff_t>(m_head + i);
    m_keys.insert(m_keys.begin() + at, k);
    try {
      m_values.insert(m_values.begin() + at, std::forward<V>(v));
    } catch (...) {
      m_keys.erase(m_keys.begin() + at);  // keep the two arrays in step
      throw;
    }
  }

  // Moves the live samples to the start of the arrays.
  void Compact() {
    if (m_head == 0) return;
    const auto h = static_cast<std::ptrdiff_t>(m_head);
    m_keys.erase(m_keys.begin(), m_keys.begin() + h);
    m_values.erase(m_values.begin(), m_values.begin() + h);
    m_head = 0;
  }

  std::vector<Key> m_keys;   // [m_head, end) are live, ascending
  std::vector<T> m_values;   // parallel to m_keys
  std::size_t m_head = 0;    // slots before it are dead
};

}  // namespace qz_dsc
