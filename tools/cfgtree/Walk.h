// Walking a tree without recursion.

#ifndef CFGTREE_WALK_H
#define CFGTREE_WALK_H

#include <cstddef>
#include <vector>

#include "Tree/Tree_Node.h"

namespace cfgtree {

// Calls `visit(handle, depth)` for `top` (depth 0) and everything below it, a node before
// its children and children in their order.
template <typename Visit>
void Walk(Tree_NodePtr& top, Visit visit) {
  struct Place {
    Tree_Node* node;
    int next;  // index of the child to visit next
    int count;
  };
  std::vector<Place> way;
  visit(top, std::size_t{0});
  way.push_back({top.get(), 0, top->GetChildCount()});
  while (!way.empty()) {
    Place& place = way.back();
    if (place.next == place.count) {
      way.pop_back();
      continue;
    }
    Tree_NodePtr& child = place.node->GetChildAt(place.next++);
    visit(child, way.size());
    const int children = child->GetChildCount();
    if (children > 0) way.push_back({child.get(), 0, children});
  }
}

}  // namespace cfgtree

#endif  // CFGTREE_WALK_H
