#ifndef RW_RWTPTRORDEREDVECTOR_H
#define RW_RWTPTRORDEREDVECTOR_H

#include <cstddef>
#include <vector>

#include "rw/RWBoundsErr.h"

// An ordered vector of pointers: entries keep the order in which they were
// appended.
//
// Ownership: the vector never owns what its pointers point at.  Null pointers
// and the same pointer twice are legal entries.
// Threads: like a standard container; concurrent readers are fine.
// Errors: a bad index throws RWBoundsErr, growth may throw std::bad_alloc.
template <class T>
class RWTPtrOrderedVector {
 public:
  RWTPtrOrderedVector() = default;
  // Room for `capacity` entries; there are none yet.
  explicit RWTPtrOrderedVector(std::size_t capacity) { m_entries.reserve(capacity); }

  std::size_t entries() const noexcept { return m_entries.size(); }
  bool isEmpty() const noexcept { return m_entries.empty(); }

  // The entry at `i`; both forms test the index.
  T*& at(std::size_t i) { return m_entries[Checked(i)]; }
  T* const& at(std::size_t i) const { return m_entries[Checked(i)]; }
  T*& operator[](std::size_t i) { return m_entries[Checked(i)]; }
  T* const& operator[](std::size_t i) const { return m_entries[Checked(i)]; }

  // Both put `entry` behind the last one.
  void append(T* entry) { m_entries.push_back(entry); }
  void insert(T* entry) { m_entries.push_back(entry); }

  // Forgets the pointers and frees nothing that they point at.
  void clear() noexcept { m_entries.clear(); }

  // Reserves room for `n` entries; never shrinks, never changes entries().
  void resize(std::size_t n) { m_entries.reserve(n); }

 private:
  std::size_t Checked(std::size_t i) const {
    if (i >= m_entries.size()) RWBoundsErr::Raise(static_cast<long long>(i), m_entries.size());
    return i;
  }

  std::vector<T*> m_entries;
};

#endif  // RW_RWTPTRORDEREDVECTOR_H
