#ifndef CFGTREE_COMMANDS_CHUNKAREA_H
#define CFGTREE_COMMANDS_CHUNKAREA_H

#include "Tree/Tree_Node.h"

namespace cfgtree {

// Whether a node is a long value that is stored in chunks: it has values that are not
// empty under "blobencoding" and "chunk0000".  The library's merge never mixes such a node
// with another.
bool IsChunkArea(Tree_Node& node);

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDS_CHUNKAREA_H
