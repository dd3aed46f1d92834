#ifndef TREE_TREE_ELEMENTARRAY_H
#define TREE_TREE_ELEMENTARRAY_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <stdexcept>

#include "Tree/Tree_NodePtr.h"

// A Tree_ElementArray holds the pointers to the handles of a children vector, in order, and
// for each a word of the vector's own.  It owns no handle.
//
// Most nodes have few children, so that what is kept for few stands in the object itself:
// making and copying such a node takes no block from the heap, and a walk that comes to
// the vector finds it in the same cache lines.
//
// Words are kept while there is room for no more than kMostWithWords handles: a look-up
// among more asks an index.  They may be written while others read them.
//
// It offers what is needed of std::vector, under the same names.
class Tree_ElementArray {
 public:
  using value_type = Tree_NodePtr*;
  using iterator = value_type*;
  using const_iterator = const value_type*;
  using Word = std::uint64_t;

  static constexpr std::uint32_t kMostWithWords = 23;

  Tree_ElementArray() noexcept
      : m_begin(m_few.elements), m_size(0), m_capacity(kFew), m_has_words(true) {}
  Tree_ElementArray(const Tree_ElementArray& other) : Tree_ElementArray() {
    assign(other.begin(), other.end());
  }
  Tree_ElementArray& operator=(const Tree_ElementArray& other) {
    if (this != &other) assign(other.begin(), other.end());
    return *this;
  }
  ~Tree_ElementArray() { Free(); }

  iterator begin() noexcept { return m_begin; }
  iterator end() noexcept { return m_begin + m_size; }
  const_iterator begin() const noexcept { return m_begin; }
  const_iterator end() const noexcept { return m_begin + m_size; }
  std::size_t size() const noexcept { return m_size; }
  value_type& operator[](std::size_t i) noexcept { return m_begin[i]; }
  value_type operator[](std::size_t i) const noexcept { return m_begin[i]; }

  bool HasRoom() const noexcept { return m_size < m_capacity; }

  // False for good once words were lost.
  bool HasWords() const noexcept { return m_has_words; }
  void DropWords() noexcept { m_has_words = false; }
  // Only while there are words.
  const std::atomic<Word>* Words() const noexcept {
    // They stand in front of the elements, with room for as many.
    return reinterpret_cast<const std::atomic<Word>*>(m_begin) - m_capacity;
  }
  Word WordAt(std::size_t i) const noexcept { return Words()[i].load(std::memory_order_relaxed); }
  void SetWord(std::size_t i, Word word) noexcept {
    const_cast<AtomicWord*>(Words())[i].store(word, std::memory_order_relaxed);
  }

  // Makes room for `n`; never shrinks.  Throws std::length_error when no memory could
  // hold so many.
  void reserve(std::size_t n) {
    if (n <= m_capacity) return;
    if (n > kMost) throw std::length_error("Tree_NodePtrVec: no room for so many children");
    const std::size_t words = n <= kMostWithWords ? n : 0;
    auto* const block = static_cast<AtomicWord*>(::operator new((words + n) * sizeof(AtomicWord)));
    if (words == 0) DropWords();
    for (std::size_t i = 0; m_has_words && i < m_size; ++i) ::new (block + i) AtomicWord(WordAt(i));
    auto* const elements = reinterpret_cast<iterator>(block + words);
    std::copy(begin(), end(), elements);
    Free();
    m_begin = elements;
    m_capacity = static_cast<std::uint32_t>(n) & kMost;
  }

  void push_back(value_type element, Word word) {
    if (m_size == m_capacity) {
      const std::uint32_t full = m_capacity;
      // Words are kept as long as they can be.
      reserve(full < kMostWithWords ? std::min(2 * full, kMostWithWords) : 2 * std::size_t{full});
    }
    if (m_has_words) SetWord(m_size, word);
    m_begin[m_size++] = element;
  }

  // The same where there is room for it, and words are kept, or are not.
  void AppendInRoom(value_type element, Word word) noexcept {
    SetWord(m_size, word);
    m_begin[m_size++] = element;
  }
  void AppendInRoom(value_type element) noexcept { m_begin[m_size++] = element; }

  void insert(iterator position, value_type element, Word word) {
    const std::ptrdiff_t index = position - m_begin;
    push_back(element, word);
    std::rotate(m_begin + index, end() - 1, end());
    if (!m_has_words) return;
    for (std::size_t i = m_size - 1; i > static_cast<std::size_t>(index); --i) {
      SetWord(i, WordAt(i - 1));
    }
    SetWord(static_cast<std::size_t>(index), word);
  }

  void erase(iterator position) noexcept {
    if (m_has_words) {
      for (auto i = static_cast<std::size_t>(position - m_begin); i + 1 < m_size; ++i) {
        SetWord(i, WordAt(i + 1));
      }
    }
    std::copy(position + 1, end(), position);
    --m_size;
  }

  // Closes the gaps that null pointers leave.
  void EraseNulls() noexcept {
    std::uint32_t kept = 0;
    for (std::uint32_t i = 0; i < m_size; ++i) {
      if (m_begin[i] == nullptr) continue;
      if (m_has_words) SetWord(kept, WordAt(i));
      m_begin[kept++] = m_begin[i];
    }
    m_size = kept;
  }

  // Words are lost.
  template <class Iterator>
  void assign(Iterator first, Iterator last) {
    reserve(static_cast<std::size_t>(last - first));
    DropWords();
    m_size = static_cast<std::uint32_t>(std::copy(first, last, m_begin) - m_begin);
  }

 private:
  using AtomicWord = std::atomic<Word>;

  // With the rest of a children vector so many fill three cache lines.
  static constexpr std::uint32_t kFew = 10;
  static constexpr std::uint32_t kMost = (std::uint32_t{1} << 31) - 1;

  struct Few {
    AtomicWord words[kFew];
    value_type elements[kFew];
  };
  static_assert(sizeof(AtomicWord) == sizeof(value_type));

  void Free() noexcept {
    if (m_begin == m_few.elements) return;
    // A block with room for more elements than have words has none in front.
    void* const words = const_cast<AtomicWord*>(Words());
    ::operator delete(m_capacity > kMostWithWords ? m_begin : words);
  }

  iterator m_begin;  // of m_few, or in a block of its own
  std::uint32_t m_size;
  std::uint32_t m_capacity : 31;
  std::uint32_t m_has_words : 1;
  Few m_few;
};

#endif  // TREE_TREE_ELEMENTARRAY_H
