#ifndef TREE_TREE_ELEMENTARRAY_H
#define TREE_TREE_ELEMENTARRAY_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <stdexcept>

#include "Tree/Tree_NodePtr.h"

// A Tree_ElementArray holds the pointers to the handles of a children vector, in order.
// It owns none of them.
//
// Most nodes have few children, so that the pointers to few stand in the object itself:
// making and copying such a node takes no block from the heap, and a walk that comes to
// the vector finds them in the same cache lines.
//
// It offers what is needed of std::vector, under the same names.
class Tree_ElementArray {
 public:
  using value_type = Tree_NodePtr*;
  using iterator = value_type*;
  using const_iterator = const value_type*;

  Tree_ElementArray() noexcept : m_begin(m_few), m_size(0), m_capacity(kFew) {}
  Tree_ElementArray(const Tree_ElementArray& other) : Tree_ElementArray() {
    assign(other.begin(), other.end());
  }
  Tree_ElementArray& operator=(const Tree_ElementArray& other) {
    if (this != &other) assign(other.begin(), other.end());
    return *this;
  }
  ~Tree_ElementArray() {
    if (m_begin != m_few) delete[] m_begin;
  }

  iterator begin() noexcept { return m_begin; }
  iterator end() noexcept { return m_begin + m_size; }
  const_iterator begin() const noexcept { return m_begin; }
  const_iterator end() const noexcept { return m_begin + m_size; }
  std::size_t size() const noexcept { return m_size; }
  value_type& operator[](std::size_t i) noexcept { return m_begin[i]; }
  value_type operator[](std::size_t i) const noexcept { return m_begin[i]; }

  // Makes room for `n`; never shrinks.  Throws std::length_error when no memory could
  // hold so many.
  void reserve(std::size_t n) {
    if (n <= m_capacity) return;
    // The parentheses keep a macro of that name out.
    if (n > (std::numeric_limits<std::uint32_t>::max)()) {
      throw std::length_error("Tree_NodePtrVec: no room for so many children");
    }
    value_type* const larger = new value_type[n];
    std::copy(begin(), end(), larger);
    if (m_begin != m_few) delete[] m_begin;
    m_begin = larger;
    m_capacity = static_cast<std::uint32_t>(n);
  }

  void push_back(value_type element) {
    if (m_size == m_capacity) reserve(2 * std::size_t{m_capacity});
    m_begin[m_size++] = element;
  }

  void insert(iterator position, value_type element) {
    const std::ptrdiff_t index = position - m_begin;
    push_back(element);
    std::rotate(m_begin + index, end() - 1, end());
  }

  void erase(iterator position) noexcept { erase(position, position + 1); }
  void erase(iterator first, iterator last) noexcept {
    m_size = static_cast<std::uint32_t>(std::copy(last, end(), first) - m_begin);
  }

  template <class Iterator>
  void assign(Iterator first, Iterator last) {
    reserve(static_cast<std::size_t>(last - first));
    m_size = static_cast<std::uint32_t>(std::copy(first, last, m_begin) - m_begin);
  }

 private:
  // With the rest of a children vector so many fill two cache lines.
  static constexpr std::uint32_t kFew = 12;

  iterator m_begin;  // m_few, or an array of its own
  std::uint32_t m_size;
  std::uint32_t m_capacity;
  value_type m_few[kFew];
};

#endif  // TREE_TREE_ELEMENTARRAY_H
