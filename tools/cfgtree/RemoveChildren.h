#ifndef CFGTREE_REMOVECHILDREN_H
#define CFGTREE_REMOVECHILDREN_H

#include <vector>

#include "Tree/Tree_Node.h"

namespace cfgtree {

// Takes the children that `is_removed` names out of `parent`, all at once, and hands them
// out, so that the caller decides when they are released.
template <typename Predicate>
std::vector<Tree_NodePtr> RemoveChildren(Tree_Node& parent, Predicate is_removed) {
  std::vector<Tree_NodePtr> removed;
  int first = 0;
  while (first < parent.GetChildCount() && !is_removed(*parent.GetChildAt(first))) ++first;
  // One by one, each would shift those behind it.
  std::vector<Tree_NodePtr> behind;
  for (int i = parent.GetChildCount() - 1; i >= first; --i) {
    behind.push_back(parent.GetChildAt(i));
    parent.Remove(i);
  }
  for (auto child = behind.rbegin(); child != behind.rend(); ++child) {
    if (is_removed(**child)) {
      removed.push_back(*child);
    } else {
      parent.Add(*child);
    }
  }
  return removed;
}

}  // namespace cfgtree

#endif  // CFGTREE_REMOVECHILDREN_H
