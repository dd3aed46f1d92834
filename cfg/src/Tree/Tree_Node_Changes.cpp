// Tree_Node: the leaves that have changed.

#include <memory>
#include <utility>
#include <vector>

#include "Tree/Tree_Log.h"
#include "Tree/Tree_Node.h"

Tree_NodePtr Tree_Node::GetChangesTreeNode(Tree_NodePtr& node) {
  struct Level {
    Tree_Node* source;
    int next;   // position of the next child
    int count;  // of its children
    Tree_NodePtr changes;
    void Append(Tree_NodePtr&& child) {
      if (changes.isNull()) changes = Tree_NodePtr(new Tree_Node(source->m_key_name));
      changes->InsertNew(std::move(child), changes->GetChildCount(), -1);
    }
  };
  if (node.isNull() || node->GetChildCount() == 0) return Tree_NodePtr();
  std::vector<Level> way;
  const auto enter = [&way](Tree_Node* source) {
    way.push_back({source, 0, source->GetChildCount(), Tree_NodePtr()});
  };
  enter(node.get());
  for (;;) {
    Level& level = way.back();
    if (level.next < level.count) {
      Tree_Node* const child = level.source->m_children->HandleAt(level.next++).get();
      if (child == nullptr) continue;
      if (!child->IsLeaf()) {
        if (child->GetChildCount() != 0) enter(child);
        continue;
      }
      const Tree_Value* const value = child->GetTreeValue();
      if (value == nullptr || value->m_is_change == 0) continue;
      std::unique_ptr<Tree_Value> copy(new Tree_Value(value->m_value, 1));
      Tree_Node* const leaf = new Tree_Node(child->m_key_name, copy.get());
      // The node owns the value from here on, and the handle the node.
      static_cast<void>(copy.release());
      level.Append(Tree_NodePtr(leaf));
      continue;
    }
    Tree_NodePtr changes = std::move(level.changes);
    way.pop_back();
    if (way.empty()) return changes;
    if (!changes.isNull()) way.back().Append(std::move(changes));
  }
}
