// What two trees differ in.
//
// Two nodes correspond when their parents do and they bear the same name; of several
// siblings of one name the n-th corresponds to the n-th.  The top nodes correspond
// whatever they are called, since they are called after their files.  The order of
// siblings of different names does not count, nor do kinds (NodeKind.h): what is compared
// is what the library's checksum sees.
//
//   old            new            differences
//   a = 1          a = 2          ~ a
//   b              b              + b\y
//     x = 1          x = 1        - c
//   c (0)            y = 1        - d, + d\z: a sub-tree in the place of a value
//   d = 1          d
//                    z = 1
//
// An inner node is a difference of its own only when it has no children and the other
// tree has no inner node there.

#ifndef CFGTREE_COMMANDS_TREEDIFF_H
#define CFGTREE_COMMANDS_TREEDIFF_H

#include <functional>
#include <string>

#include "Tree/Tree_Node.h"

namespace cfgtree {

enum class Change { kChanged, kAdded, kRemoved };

// One leaf, or one inner node without children, that came, went or has another value.
struct Difference {
  Change change;
  Tree_Node* old_node;  // null when it was added
  Tree_Node* new_node;  // null when it was removed

  // Relative to the top, with numbers where names repeat (Places.h).
  const std::string& path;

  // Whether the way there leads through names that repeat among siblings, in either tree.
  bool repeated;

  // Of what was removed: the nearest inner node above it that both trees have, in the new
  // tree; and the node of the other sort, leaf or inner, that stands in its place or in
  // that of a node above it.  Null when there is none.
  Tree_Node* new_parent;
  Tree_Node* replacement;
};

// Calls `report` for each difference in the order of the paths: siblings by name, byte for
// byte, and by number, and a node before what is below it.
//
// Cost: siblings are sorted; apart from that, linear in both trees, whatever their depth.
void CompareTrees(Tree_Node& old_top, Tree_Node& new_top,
                  const std::function<void(const Difference&)>& report);

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDS_TREEDIFF_H
