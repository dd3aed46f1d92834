// Kinds in trees that the library has copied.

#ifndef CFGTREE_KINDS_H
#define CFGTREE_KINDS_H

#include <vector>

#include "NodeKind.h"
#include "Tree/Tree_Node.h"

namespace cfgtree {

// Gives the nodes of `result`, which the library made from `layers` (a merge, from base to
// last override; an extraction of changes, from one), the kinds that copying lost.  A node
// takes its kind from the last layer in which it has a counterpart of the same sort, leaf
// or inner: the child of the counterpart of its parent that bears its name, the n-th of a
// name for the n-th where the layer has as many, else the first.
//
// A leaf takes no kind from a leaf with another value, so a text never becomes a number by
// its place alone.  A registry key that has a section of its own in any layer has one.
//
// Cost: linear in `result` and the parts of the layers that correspond to it.
void CarryKinds(Tree_NodePtr& result, const std::vector<Tree_NodePtr>& layers);

}  // namespace cfgtree

#endif  // CFGTREE_KINDS_H
