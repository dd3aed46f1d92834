#include "commands/ChunkArea.h"

namespace cfgtree {
namespace {

bool HasValueAt(Tree_Node& node, const char* name) {
  Tree_Node* const child = node.Get(RWCString(name), &node);
  if (child == nullptr || !child->IsLeaf()) return false;
  Tree_Value* const value = child->GetTreeValue();
  return value != nullptr && !value->GetValue().isNull();
}

}  // namespace

bool IsChunkArea(Tree_Node& node) {
  return !node.IsLeaf() && HasValueAt(node, "blobencoding") && HasValueAt(node, "chunk0000");
}

}  // namespace cfgtree
