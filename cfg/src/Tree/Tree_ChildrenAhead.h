#ifndef TREE_TREE_CHILDRENAHEAD_H
#define TREE_TREE_CHILDRENAHEAD_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "Tree/Tree_Node.h"
#include "Tree/Tree_Prefetch.h"

// The children of a node, one after the other, for walks through whole trees.  The node's
// children must not change meanwhile.
//
// It prefetches children before they are visited.  A chain of four addresses leads from a
// child's handle to the text of its value, each of which must have been read before the next
// one is known.  Trees that were built in another order than they are walked in have each of
// them somewhere else; the walk then waits for one after the other, unless the chains of
// several children are followed side by side.
class Tree_Node::ChildrenAhead {
 public:
  // No children.
  ChildrenAhead() = default;
  explicit ChildrenAhead(const Tree_Node* node) {
    if (node->m_children == nullptr) return;
    const Tree_ElementArray& handles = node->m_children->m_elements;
    m_next = m_prefetched = handles.begin();
    m_end = handles.end();
  }

  bool IsDone() const { return m_next == m_end; }

  // The next child's handle, and the child, null for a null handle.  To be called unless it
  // IsDone().
  Tree_NodePtr& NextHandle() {
    if (m_next == m_prefetched) m_prefetched = Prefetch(m_next, m_end);
    return **m_next++;
  }
  Tree_Node* Next() { return NextHandle().get(); }

 private:
  using Iterator = Tree_ElementArray::const_iterator;

  static constexpr std::ptrdiff_t kAtATime = 16;

  // The result is where to go on when the walk gets there.
  static Iterator Prefetch(Iterator begin, Iterator end) {
    end = begin + std::min<std::ptrdiff_t>(end - begin, kAtATime);
    if (StandInOrder(begin, end)) return end;
    for (Iterator at = begin; at != end; ++at) {
      const Tree_Node* const node = (*at)->get();
      if (node == nullptr) continue;
      Tree_Prefetch(node->m_value);
      if (node->m_children != nullptr) PrefetchVector(node->m_children);
    }
    for (Iterator at = begin; at != end; ++at) {
      const Tree_Node* const node = (*at)->get();
      if (node == nullptr) continue;
      if (node->m_value != nullptr) Tree_Prefetch(node->m_value->m_value);
      if (node->m_children != nullptr) PrefetchHandles(node->m_children->m_elements);
    }
    return end;
  }

  // Children that were made one after the other, each with what is below it, do not stand far
  // from each other, and the processor itself prefetches what comes next.  The first two are
  // taken to speak for all.
  static bool StandInOrder(Iterator begin, Iterator end) {
    if (end - begin < 2) return true;
    const auto address = [begin](int i) {
      return reinterpret_cast<std::uintptr_t>(begin[i]->get());
    };
    constexpr std::uintptr_t kNear = std::uintptr_t{64} * 1024;
    return address(1) - address(0) + kNear < 2 * kNear;
  }

  static void PrefetchVector(const Tree_NodePtrVec* children) {
    const auto* const bytes = reinterpret_cast<const char*>(children);
    for (const int line : {0, 64, 128}) Tree_Prefetch(bytes + line);
  }

  static void PrefetchHandles(const Tree_ElementArray& handles) {
    const std::size_t count = std::min(handles.size(), std::size_t{kAtATime});
    for (std::size_t i = 0; i < count; ++i) Tree_Prefetch(handles[i]);
  }

  Iterator m_next = nullptr;
  Iterator m_end = nullptr;
  Iterator m_prefetched = nullptr;  // where the children that were prefetched end
};

#endif  // TREE_TREE_CHILDRENAHEAD_H
