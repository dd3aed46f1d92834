#include "commands/Marks.h"

#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Walk.h"
#include "commands/ChunkArea.h"
#include "commands/TreeDiff.h"

namespace cfgtree {
namespace {

void SetFlag(Tree_Node& leaf, int flag) {
  if (Tree_Value* const value = leaf.GetTreeValue()) value->SetIsChange(flag);
}

bool IsFlagged(Tree_Node& leaf) {
  Tree_Value* const value = leaf.GetTreeValue();
  return value != nullptr && value->IsChange() != 0;
}

bool HasLeaf(Tree_Node* node) {
  std::vector<Tree_Node*> open = {node};
  while (!open.empty()) {
    Tree_Node* const next = open.back();
    open.pop_back();
    if (next->IsLeaf()) return true;
    for (int i = 0; i < next->GetChildCount(); ++i) open.push_back(next->GetChildAt(i).get());
  }
  return false;
}

class Marker {
 public:
  Marks Run(Tree_NodePtr& old_top, Tree_NodePtr& new_top) {
    Walk(new_top, [](Tree_NodePtr& node, std::size_t) {
      if (node->IsLeaf()) SetFlag(*node, 0);
    });
    CompareTrees(*old_top, *new_top, [this](const Difference& difference) { Take(difference); });
    CompleteChunkAreas(new_top);
    for (const auto& [parent, count] : m_removed_below) m_marks.removed += count;
    m_marks.empty = m_empty.size();
    return m_marks;
  }

 private:
  void Take(const Difference& difference) {
    if (difference.change == Change::kRemoved) {
      Tree_Node* const replacement = difference.replacement;
      if (replacement != nullptr && HasLeaf(replacement)) return;
      ++m_removed_below[difference.new_parent];
      return;
    }
    Tree_Node* const node = difference.new_node;
    if (!node->IsLeaf()) {
      m_empty.insert(node);
      return;
    }
    SetFlag(*node, 1);
    ++(difference.change == Change::kChanged ? m_marks.changed : m_marks.added);
    if (difference.repeated) ++m_marks.repeated;
  }

  // Goes through the outermost chunk areas one by one.
  void CompleteChunkAreas(Tree_NodePtr& new_top) {
    std::vector<Tree_Node*> area;  // the nodes of the one that was entered last
    std::size_t area_depth = 0;
    Walk(new_top, [&](Tree_NodePtr& node, std::size_t depth) {
      if (!area.empty() && depth <= area_depth) {
        CompleteChunkArea(area);
        area.clear();
      }
      if (!area.empty()) {
        area.push_back(node.get());
      } else if (IsChunkArea(*node)) {
        area.push_back(node.get());
        area_depth = depth;
      }
    });
    CompleteChunkArea(area);
  }

  void CompleteChunkArea(const std::vector<Tree_Node*>& area) {
    bool touched = false;
    for (Tree_Node* const node : area) {
      if (node->IsLeaf() ? IsFlagged(*node) : m_removed_below.count(node) > 0) touched = true;
    }
    if (!touched) return;
    for (Tree_Node* const node : area) {
      if (!node->IsLeaf()) {
        // The whole area takes the place of the old one, and what that had goes with it.
        m_removed_below.erase(node);
        if (node->GetChildCount() == 0) m_empty.insert(node);
      } else if (!IsFlagged(*node)) {
        SetFlag(*node, 1);
        ++m_marks.kept_whole;
      }
    }
  }

  Marks m_marks;
  // What was removed below inner nodes of the new tree; null: the top itself.
  std::unordered_map<Tree_Node*, std::uint64_t> m_removed_below;
  std::unordered_set<Tree_Node*> m_empty;
};

}  // namespace

Marks MarkChanges(Tree_NodePtr& old_top, Tree_NodePtr& new_top) {
  return Marker().Run(old_top, new_top);
}

}  // namespace cfgtree
