// Where the value or sub-tree at a path of merged layers comes from, and what became of
// what the other layers have there.

#ifndef CFGTREE_COMMANDS_EXPLANATION_H
#define CFGTREE_COMMANDS_EXPLANATION_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Tree/Tree_Node.h"
#include "commands/TracedMerge.h"

namespace cfgtree {

// What a layer has to do with the path.
enum class LayerState {
  kSupplies,    // the value, or something in the sub-tree, is this layer's
  kOverridden,  // it has the same sort of node there; other layers supply everything
  kHidden,      // it has something there that the merge leaves out, see HiddenBy
  kNothing,     // it has nothing there
};

// Why the merge leaves a layer's node out.
enum class HiddenBy {
  kNobody,
  kValue,         // a higher layer has a value there, or at a node above
  kSubTree,       // a higher layer has a sub-tree in the place of this value
  kChunkArea,     // a higher layer's chunk area stands as it is
  kOneLevel,      // a child of the top is taken whole from a higher layer
  kRepeatedName,  // siblings share a name, of which the merge pairs the first
};

struct LayerPart {
  LayerState state = LayerState::kNothing;

  // What the layer has: the node from which the merged one was made, else the one at the
  // path.  Its path is the one that was asked for unless siblings of one name moved.
  Tree_Node* node = nullptr;
  std::string path;

  // How many of the merged sub-tree's leaves are this layer's; of a merged leaf, 1 or 0.
  std::uint64_t supplied = 0;

  // When hidden: by what of which layer, at which path (empty: the top).
  HiddenBy reason = HiddenBy::kNobody;
  std::size_t by = 0;
  std::string at;
};

struct Explanation {
  std::string path;               // without what stands behind an empty name, which ends every path
  Tree_Node* merged = nullptr;    // null when the merged tree has nothing there
  std::uint64_t leaves = 0;       // from `merged` down
  std::vector<LayerPart> layers;  // lowest first

  // Whether neither the merged tree nor any layer has something there.
  bool Nothing() const;
};

// The explanation of `path`, which is one of the merged tree or of a layer.
//
// Cost: linear in the merged sub-tree and in the number of children of the nodes on the way.
Explanation Explain(TracedMerge& merge, std::string_view path, bool one_level);

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDS_EXPLANATION_H
