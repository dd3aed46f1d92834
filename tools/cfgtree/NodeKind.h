// What a node was in its file, where its name and value do not say it.
//
// The readers keep the kind in the node's id, which the library leaves to its clients.
// It costs no memory and no look-up sees it.  Copies of a node do not have it.

#ifndef CFGTREE_NODEKIND_H
#define CFGTREE_NODEKIND_H

#include "Tree/Tree_Node.h"

namespace cfgtree {

enum class NodeKind : int {
  kPlain = 0,       // a text, or a sub-tree
  kArray = 1,       // a JSON array; its children are named 0, 1, 2, ...
  kNumber = 2,      // a JSON number
  kBoolean = 3,     // JSON true or false
  kNull = 4,        // JSON null
  kBareKey = 5,     // an INI key without =
  kImpliedKey = 6,  // a registry key that has no [section] of its own
};

inline NodeKind KindOf(Tree_Node& node) {
  return static_cast<NodeKind>(node.GetId());
}

// The word that listings show: text, number, boolean, null, tree or array.
inline const char* KindName(Tree_Node& node) {
  if (!node.IsLeaf()) return KindOf(node) == NodeKind::kArray ? "array" : "tree";
  switch (KindOf(node)) {
    case NodeKind::kNumber:
      return "number";
    case NodeKind::kBoolean:
      return "boolean";
    case NodeKind::kNull:
      return "null";
    default:
      return "text";
  }
}

// A leaf's value; empty when it has none.
inline RWCString ValueOf(Tree_Node& leaf) {
  Tree_Value* const value = leaf.GetTreeValue();
  return value == nullptr ? RWCString() : value->GetValue();
}

// A leaf's change flag, 0 when it has no value.
inline int ChangeOf(Tree_Node& leaf) {
  Tree_Value* const value = leaf.GetTreeValue();
  return value == nullptr ? 0 : value->IsChange();
}

}  // namespace cfgtree

#endif  // CFGTREE_NODEKIND_H
