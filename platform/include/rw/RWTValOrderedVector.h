#ifndef RW_RWTVALORDEREDVECTOR_H
#define RW_RWTVALORDEREDVECTOR_H

#include <cstddef>
#include <utility>
#include <vector>

#include "rw/RWBoundsErr.h"

// An ordered vector of values: entries keep the order in which they were
// appended.
//
// Ownership: the vector holds copies of what was appended.  Growing moves
// them, so a reference to an entry is good until the next append.
// Threads: like a standard container; concurrent readers are fine.
// Errors: a bad index throws RWBoundsErr, growth may throw std::bad_alloc.
template <class T>
class RWTValOrderedVector {
 public:
  RWTValOrderedVector() = default;
  // Room for `capacity` entries; there are none yet.
  explicit RWTValOrderedVector(std::size_t capacity) { m_entries.reserve(capacity); }

  std::size_t entries() const noexcept { return m_entries.size(); }
  bool isEmpty() const noexcept { return m_entries.empty(); }

  // The entry at `i`; both forms test the index.
  T& at(std::size_t i) { return m_entries[Checked(i)]; }
  const T& at(std::size_t i) const { return m_entries[Checked(i)]; }
  T& operator[](std::size_t i) { return m_entries[Checked(i)]; }
  const T& operator[](std::size_t i) const { return m_entries[Checked(i)]; }

  // Both put a copy of `entry` behind the last one; `entry` may be one of the
  // vector's own.
  void append(const T& entry) { m_entries.push_back(entry); }
  void append(T&& entry) { m_entries.push_back(std::move(entry)); }
  void insert(const T& entry) { m_entries.push_back(entry); }
  void insert(T&& entry) { m_entries.push_back(std::move(entry)); }

  void clear() noexcept { m_entries.clear(); }

  // Reserves room for `n` entries; never shrinks, never changes entries().
  void resize(std::size_t n) { m_entries.reserve(n); }

 private:
  std::size_t Checked(std::size_t i) const {
    if (i >= m_entries.size()) RWBoundsErr::Raise(static_cast<long long>(i), m_entries.size());
    return i;
  }

  std::vector<T> m_entries;
};

#endif  // RW_RWTVALORDEREDVECTOR_H
