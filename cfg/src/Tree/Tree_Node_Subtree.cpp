// Tree_Node: operations on everything from a node down.
//
// A chain of a million nodes is a tree like any other.  Whatever goes down a tree
// therefore keeps its way back in a vector, or in nodes that are about to go, and never
// in the call stack.

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include "Tree/Tree_ChildrenAhead.h"
#include "Tree/Tree_Log.h"
#include "Tree/Tree_Node.h"
#include "Tree/Tree_NodeMaker.h"
#include "Tree/Tree_Prefetch.h"
#include "Zel/Zel_PoolReturns.h"

// What a tree that is torn down gives back to the pools.
class Tree_Node::Releases {
 public:
  // Deletes a node without children.
  void Delete(Tree_Node* node) noexcept {
    if (Tree_Value* const value = std::exchange(node->m_value, nullptr)) {
      value->~Tree_Value();
      Free(m_values, value);
    }
    node->~Tree_Node();
    Free(m_nodes, node);
  }

  void DeleteChildren(Tree_Node* node) noexcept {
    Tree_NodePtrVec* const children = std::exchange(node->m_children, nullptr);
    children->~Tree_NodePtrVec();
    Free(m_vectors, children);
  }

  bool DropNext(Tree_NodePtrVec& children, Tree_Node*& dead) noexcept {
    return children.DropNext(dead, m_handles, m_records);
  }

 private:
  static void Free(Zel_PoolReturns& returns, void* block) noexcept {
    if (!returns.Add(block)) ::operator delete(block);
  }

  Zel_PoolReturns m_nodes{m_NodesPool};
  Zel_PoolReturns m_values{Tree_Value::m_sValuesPool};
  Zel_PoolReturns m_vectors{m_sChildTreeNodeVec};
  Zel_PoolReturns m_handles{Tree_NodePtrVec::m_pPrivatePool};
  Zel_PoolReturns m_records{autoptrthreadsafe_internal_data::Pool()};
};

void Tree_Node::Destroy() {
  if (!BeginDestroy()) return;

  // A child's last handle may be ours, and a grandchild's last handle the child's.
  // Nodes that are let go for good stay until their own children are gone, and their
  // parent pointers, which nobody can ask for any more, are the way back up.
  Releases releases;
  Tree_Node* node = this;
  for (;;) {
    Tree_Node* dead = nullptr;
    if (releases.DropNext(*node->m_children, dead)) {
      if (dead == nullptr) continue;
      if (dead->m_children != nullptr) {
        dead->BeginDestroy();
        dead->m_parent = node;
        node = dead;
      } else {
        releases.Delete(dead);
      }
      continue;
    }
    const void* const children = node->m_children;
    releases.DeleteChildren(node);
    if (node == this) {
      if (Tree_NodePtrVec* const siblings = ListedIn()) siblings->ChildLostChildren(this, children);
      return;
    }
    dead = node;
    node = node->m_parent;
    releases.Delete(dead);
  }
}

// Everything that goes before the children do.  False when there are none to go.
bool Tree_Node::BeginDestroy() {
  // Whoever still holds a child must not reach this node through it any more.
  if (m_children != nullptr) {
    for (const Tree_NodePtr* child : m_children->m_elements) {
      if (child->isNull()) continue;
      Orphan(**child);
      Tree_Prefetch((*child)->m_value);
    }
  }
  delete std::exchange(m_value, nullptr);
  if (m_children == nullptr) return false;
  m_children->BeginDrop();
  return true;
}

Tree_NodePtr Tree_Node::DuplicateFromHereDown(bool /*unused*/) {
  Maker maker;
  return Duplicate(maker);
}

Tree_NodePtr Tree_Node::Duplicate(Maker& maker) const {
  struct Level {
    const Tree_Node* source;
    Tree_NodePtr copy;
    ChildrenAhead children;  // those to come
    int copied = 0;          // children that are not null handles
  };
  const auto insert = [&maker](Level& level, Tree_NodePtr&& copy) {
    Tree_Node& parent = *level.copy;
    const int count = level.source->m_children->entries();
    if (maker.IsTraced() || !parent.m_allows_children) {
      parent.InsertNew(std::move(copy), level.copied++, count);
    } else {
      maker.Append(parent, std::move(copy), count);
    }
  };
  std::vector<Level> way;
  const auto enter = [&way, &maker](const Tree_Node* source) {
    way.push_back({source, maker.CopyAlone(*source), ChildrenAhead(source)});
  };
  enter(this);
  for (;;) {
    Level& level = way.back();
    const Tree_Node* inner = nullptr;
    while (!level.children.IsDone() && inner == nullptr) {
      const Tree_Node* const child = level.children.Next();
      if (child == nullptr) continue;
      if (child->m_children != nullptr) {
        inner = child;
      } else if (!maker.AddLeafCopy(*level.copy, *child)) {
        insert(level, maker.CopyAlone(*child));
      }
    }
    if (inner != nullptr) {
      enter(inner);
      continue;
    }
    // A copy is complete before it is given to its parent's copy.
    Tree_NodePtr copy = std::move(level.copy);
    way.pop_back();
    if (way.empty()) return copy;
    insert(way.back(), std::move(copy));
  }
}

void Tree_Node::ExecuteOnEntireSubtree(void (*fn)(Tree_Node*)) {
  struct Level {
    Tree_NodePtr held;  // `fn` may remove the node that it is called for
    Tree_Node* node;
    int next = 0;
  };
  fn(this);
  std::vector<Level> way;
  way.push_back({Tree_NodePtr(), this});
  while (!way.empty()) {
    Level& level = way.back();
    // The count is read anew each time, for `fn` may have changed it.
    if (level.next >= level.node->GetChildCount()) {
      way.pop_back();
      continue;
    }
    Tree_NodePtr child(level.node->m_children->HandleAt(level.next++));
    Tree_Node* const node = child.get();
    if (node == nullptr) continue;
    fn(node);
    way.push_back({std::move(child), node});
  }
}

bool Tree_Node::RemoveEmptyBranches() {
  // Children are removed from the last to the first.  Moving the others up each time
  // would take quadratic time in a wide node, so that places stay empty until all
  // children of a node have been looked at.  Not while there is something to trace:
  // whoever reads the lines may look at the tree.
  struct Level {
    Tree_Node* node;
    int index;      // children from here on have been looked at
    int remaining;  // children that are left
    void Close() const {
      if (remaining < node->GetChildCount()) node->m_children->CloseGaps();
    }
    void Remove() {
      node->Orphan(*node->m_children->HandleAt(index));
      if (ZelGLog.GetLevel() >= tree_log::kTrace) {
        Close();
        node->m_children->removeAt(index);
      } else {
        node->m_children->TakeOut(index);
      }
      --remaining;
    }
  };
  std::vector<Level> way;
  const auto enter = [&way](Tree_Node* node) {
    way.push_back({node, node->GetChildCount(), node->GetChildCount()});
  };
  try {
    enter(this);
    for (;;) {
      Level& level = way.back();
      if (level.index > 0) {
        Tree_Node* const child = level.node->m_children->HandleAt(--level.index).get();
        if (child == nullptr || child->IsLeaf()) continue;
        if (child->GetChildCount() > 0) {
          enter(child);
        } else {
          level.Remove();
        }
        continue;
      }
      level.Close();
      const bool has_children = level.remaining != 0;
      const bool lives = has_children || level.node->GetTreeValue() != nullptr;
      way.pop_back();
      if (way.empty()) return lives;
      if (!has_children) way.back().Remove();
    }
  } catch (...) {
    for (const Level& level : way) level.Close();
    throw;
  }
}

// Calls `visit` for a node and everything below it, in no particular order.
template <class Visit>
void Tree_Node::VisitAll(Tree_Node* top, Visit visit) {
  if (top == nullptr) return;
  std::vector<Tree_Node*> pending{top};
  while (!pending.empty()) {
    Tree_Node* const node = pending.back();
    pending.pop_back();
    visit(node);
    if (node->m_children == nullptr) continue;
    for (const Tree_NodePtr* child : node->m_children->m_elements) {
      if (child->isNull()) continue;
      if ((*child)->m_children == nullptr) {
        visit(child->get());
      } else {
        pending.push_back(child->get());
      }
    }
  }
}

int Tree_Node::GetNodeNum() {
  int count = 0;
  VisitAll(this, [&count](const Tree_Node*) { ++count; });
  return count;
}

void Tree_Node::GetRecursiveChildCount(Tree_NodePtr& node, int& count) {
  VisitAll(node.get(), [&count](Tree_Node* visited) { count += visited->GetChildCount(); });
}

std::size_t Tree_Node::GetTotalSize() {
  std::size_t size = 0;
  VisitAll(this, [&size](const Tree_Node* node) {
    size += node->m_key_name->length();
    if (node->m_value != nullptr) size += node->m_value->m_value->length();
  });
  return size;
}
