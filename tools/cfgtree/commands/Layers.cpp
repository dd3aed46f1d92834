#include "commands/Layers.h"

#include <unordered_set>

#include "Walk.h"

namespace cfgtree {

Tree_NodePtr MergeLayers(const std::vector<Tree_NodePtr>& layers, bool one_level) {
  Tree_NodePtr merged = layers[0];
  for (std::size_t i = 1; i < layers.size(); ++i) {
    Tree_NodePtr layer = layers[i];
    merged = one_level ? Tree_Node::MergeOneLevel(merged, layer) : Tree_Node::Merge(merged, layer);
  }
  return merged;
}

std::uint64_t CountRepeatedNames(Tree_NodePtr& top) {
  std::uint64_t repeated = 0;
  Walk(top, [&repeated](Tree_NodePtr& node, std::size_t) {
    const int count = node->GetChildCount();
    if (count < 2) return;
    // Equal names are one interned string, so its address stands for it.  A set for each
    // node: emptying one that was large once costs as much as it was large.
    std::unordered_set<const RWCString*> seen;
    for (int i = 0; i < count; ++i) {
      if (!seen.insert(&node->GetChildAt(i)->GetKeyName()).second) ++repeated;
    }
  });
  return repeated;
}

}  // namespace cfgtree
