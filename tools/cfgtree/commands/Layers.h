// Layers of configuration: a base and what lies over it, lowest first.

#ifndef CFGTREE_COMMANDS_LAYERS_H
#define CFGTREE_COMMANDS_LAYERS_H

#include <cstdint>
#include <vector>

#include "Tree/Tree_Node.h"

namespace cfgtree {

// The layers folded from the lowest up with Tree_Node::Merge, or with MergeOneLevel.  There
// is at least one.
//
// The result may share nodes with a layer, and is then one (when its top is a chunk area,
// or when there is one layer).  It bears the top name of the highest layer.
Tree_NodePtr MergeLayers(const std::vector<Tree_NodePtr>& layers, bool one_level);

// How many nodes of `top` bear the name of an earlier sibling.
std::uint64_t CountRepeatedNames(Tree_NodePtr& top);

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDS_LAYERS_H
