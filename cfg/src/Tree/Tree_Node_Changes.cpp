// Tree_Node: the leaves that have changed.

#include <cstddef>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Tree/Tree_NodeMaker.h"

Tree_NodePtr Tree_Node::GetChangesTreeNode(Tree_NodePtr& node) {
  struct Level {
    Tree_Node* source;
    std::size_t next;  // position of the next child
    Tree_NodePtr changes;
    void Append(Maker& maker, Tree_NodePtr&& child) {
      if (changes.isNull()) changes = maker.MakeInner(source->m_key_name);
      if (maker.IsTraced()) {
        changes->InsertNew(std::move(child), changes->GetChildCount(), -1);
      } else {
        maker.Append(*changes, std::move(child), -1);
      }
    }
  };
  if (node.isNull() || node->GetChildCount() == 0) return Tree_NodePtr();
  Maker maker;
  std::vector<Level> way;
  const auto enter = [&way](Tree_Node* source) { way.push_back({source, 0, Tree_NodePtr()}); };
  enter(node.get());
  for (;;) {
    Level& level = way.back();
    const Tree_ElementArray& children = level.source->m_children->m_elements;
    Tree_Node* inner = nullptr;
    while (level.next < children.size() && inner == nullptr) {
      Tree_Node* const child = children[level.next++]->get();
      if (child == nullptr) continue;
      if (child->m_allows_children) {
        if (child->GetChildCount() != 0) inner = child;
        continue;
      }
      const Tree_Value* const value = child->GetTreeValue();
      if (value == nullptr || value->m_is_change == 0) continue;
      level.Append(maker, maker.MakeLeaf(child->m_key_name, value->m_value, 1));
    }
    if (inner != nullptr) {
      enter(inner);
      continue;
    }
    Tree_NodePtr changes = std::move(level.changes);
    way.pop_back();
    if (way.empty()) return changes;
    if (!changes.isNull()) way.back().Append(maker, std::move(changes));
  }
}
