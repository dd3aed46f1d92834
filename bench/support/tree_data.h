// What the measurements of trees share: building one from paths, in the natural way.

#ifndef BENCH_SUPPORT_TREE_DATA_H
#define BENCH_SUPPORT_TREE_DATA_H

#include <cstddef>
#include <vector>

#include "Tree/Tree_Node.h"
#include "rw/RWCString.h"

namespace bench {

inline Tree_NodePtr NewTop() {
  return Tree_NodePtr(new Tree_Node("top"));
}

// Makes the leaf at `path` below `top`, and the inner nodes that lead there.  The path must
// not be there yet.
inline void PutLeaf(Tree_NodePtr& top, const RWCString& path, const RWCString& value) {
  const std::size_t cut = path.last('\\');
  Tree_Path parent_path(path(0, cut));
  Tree_NodePtr parent = top->GetOrCreateRelativeNode(parent_path, top);
  Tree_NodePtr leaf(new Tree_Node(path(cut + 1, RW_NPOS), new Tree_Value(value, 0)));
  parent->Add(leaf);
}

inline void PutLeaves(Tree_NodePtr& top, const std::vector<RWCString>& paths,
                      const std::vector<RWCString>& values) {
  for (std::size_t i = 0; i < paths.size(); ++i) PutLeaf(top, paths[i], values[i]);
}

}  // namespace bench

#endif  // BENCH_SUPPORT_TREE_DATA_H
