// Tree_Node: attaching, detaching and finding children by position.

#include <cstddef>
#include <new>
#include <utility>

#include "Tree/Tree_Log.h"
#include "Tree/Tree_Node.h"
#include "Tree/Tree_Prefetch.h"

int Tree_Node::Add(Tree_NodePtr& new_child) {
  TREE_LOG("Add", tree_log::kTrace, "Start Add(Tree_NodePtr & new_child)\n");
  if (new_child.isNull()) {
    TREE_LOG("Add", tree_log::kError,
             "Add(Tree_NodePtr & new_child) : add under <%s> new_child is null , return FALSE\n",
             GetPath().data());
    return 0;
  }
  // Intended: the position is taken before the child leaves its old parent.  When that
  // is this node, the position is one too high and Insert throws.
  return Insert(new_child, GetChildCount(), -1);
}

int Tree_Node::Insert(Tree_NodePtr& new_child, int child_index, int capacity_hint) {
  // Intended: the second label names another number than it shows.
  TREE_LOG("Insert", tree_log::kTrace,
           "Start Insert(Tree_NodePtr& new_child = %d, int child_index = %d)\n", child_index,
           capacity_hint);
  if (!IsAllowsChildren()) {
    TREE_LOG("Insert", tree_log::kError,
             "Insert(Tree_NodePtr & new_child, int child_index) : this node does not allowed "
             "children, return FALSE %s\n",
             GetKeyName().data());
    return 0;
  }
  if (new_child.isNull()) {
    TREE_LOG("Insert", tree_log::kError,
             "Insert(Tree_NodePtr & new_child, int child_index) :under <%s> new_child is NULL , "
             "return FALSE\n",
             GetPath().data());
    return 0;
  }

  if (new_child->m_parent == nullptr) {
    InsertOrphan(new_child, child_index, capacity_hint);
  } else {
    // The argument may be the very handle that the old parent is about to drop.
    Tree_NodePtr child(new_child);
    child->m_parent->Remove(child);
    InsertOrphan(child, child_index, capacity_hint);
  }
  TREE_LOG("Insert", tree_log::kTrace, "End Insert(Tree_NodePtr& new_child, int child_index)\n");
  return 1;
}

inline void Tree_Node::InsertOrphan(Tree_NodePtr& child, int child_index, int capacity_hint) {
  // Intended: from here on the child names this node as its parent, whether or not its
  // position is a good one.
  child->m_parent = this;
  child->m_is_listed = false;
  if (m_children == nullptr) MakeChildren(capacity_hint);
  if (child_index == m_children->entries()) {
    m_children->Append(Tree_NodePtr(child));
  } else {
    m_children->insertAt(child_index, child);
  }
  child->m_is_listed = true;
}

void Tree_Node::InsertNew(Tree_NodePtr&& child, int child_index, int capacity_hint) {
  const bool at_the_end = m_allows_children && child_index == GetChildCount();
  if (!at_the_end) {
    Insert(child, child_index, capacity_hint);
    return;
  }
  TREE_LOG("Insert", tree_log::kTrace,
           "Start Insert(Tree_NodePtr& new_child = %d, int child_index = %d)\n", child_index,
           capacity_hint);
  AppendNew(std::move(child), capacity_hint);
  TREE_LOG("Insert", tree_log::kTrace, "End Insert(Tree_NodePtr& new_child, int child_index)\n");
}

void Tree_Node::AppendNew(Tree_NodePtr&& child, int capacity_hint) {
  child->m_parent = this;
  child->m_is_listed = true;
  if (m_children == nullptr) MakeChildren(capacity_hint);
  m_children->Append(std::move(child));
}

bool Tree_Node::AddNew(Tree_NodePtr&& child) {
  TREE_LOG("Add", tree_log::kTrace, "Start Add(Tree_NodePtr & new_child)\n");
  InsertNew(std::move(child), GetChildCount(), -1);
  return m_allows_children;
}

void Tree_Node::MakeChildren(int capacity) {
  void* memory = m_sChildTreeNodeVec.Allocate();
  if (memory == nullptr) memory = ::operator new(sizeof(Tree_NodePtrVec));
  m_children = ::new (memory) Tree_NodePtrVec;
  // A child that is renamed finds only a parent that comes from the pool.
  if (!m_NodesPool.Exist(this)) m_children->DropShortcuts();
  if (Tree_NodePtrVec* const siblings = ListedIn()) siblings->ChildGotChildren(this);
  if (capacity > 0) m_children->resize(capacity);
}

int Tree_Node::Remove(Tree_NodePtr& a_child) {
  if (a_child.isNull()) {
    TREE_LOG("Remove", tree_log::kError, "Remove(Tree_NodePtr & a_child): a_child is NULL\n");
    return 0;
  }
  return Remove(GetIndex(a_child));
}

int Tree_Node::Remove(int child_index) {
  if (m_children == nullptr) {
    // Intended: of all refusals only this one is a trace; nodes that never had children
    // are asked to drop one all the time.
    TREE_LOG("Remove", tree_log::kTrace,
             "Remove(int child_index) : children vec is null, return FALSE\n");
    return 0;
  }
  const Tree_NodePtr child(m_children->HandleAt(child_index));
  if (!child.isNull()) Orphan(*child);
  m_children->removeAt(child_index);
  if (!child.isNull() && m_children->MayListTwice(child)) child->m_is_stray = true;
  return 1;
}

// A child that names another parent stands here because a caller has put it into a handle, and
// may be listed by that parent still.
void Tree_Node::Orphan(Tree_Node& child) {
  if (child.m_parent != this) child.m_is_stray = true;
  child.m_parent = nullptr;
}

int Tree_Node::Remove(const RWCString& name) {
  if (name.isNull()) {
    TREE_LOG("Remove", tree_log::kError,
             "Remove(RWCString & path)under <%s> : path is null, return FALSE\n", GetPath().data());
    return 0;
  }
  const Tree_NodePtr* const child = FindChild(name);
  return child == nullptr ? 0 : Remove(m_children->PositionOf(child));
}

Tree_NodePtr& Tree_Node::GetChildAt(int index) {
  const auto position = static_cast<std::size_t>(index);
  if (m_children != nullptr && position < m_children->m_elements.size()) {
    // Callers mostly go on to the next children: the node that comes soon is asked for now.
    constexpr std::size_t kAhead = 4;
    const Tree_ElementArray& elements = m_children->m_elements;
    if (position + kAhead < elements.size()) Tree_Prefetch(elements[position + kAhead]->get());
    m_children->GiveAway();
    return *elements[position];
  }
  if (index < 0) {
    TREE_LOG("GetChildAt", tree_log::kError,
             "GetChildAt : under <%s> index <%d> index is less then 0,return null Tree_NodePtr\n",
             GetPath().data(), index);
    return NULL_TREE_NODE_PTR;
  }
  // Without children no index gets here that is below their number.
  TREE_LOG("GetChildAt", tree_log::kError,
           "GetChildAt : index >= GetChildCount(),return null Tree_NodePtr\n");
  return NULL_TREE_NODE_PTR;
}

int Tree_Node::GetIndex(Tree_NodePtr& a_child) {
  if (m_children == nullptr) {
    TREE_LOG("GetIndex", tree_log::kError,
             "GetIndex(Tree_NodePtr & a_child) : children vec is null, return -1\n");
    return -1;
  }
  return m_children->index(a_child);
}

int Tree_Node::IsNodeChild(Tree_NodePtr& node) {
  if (node.isNull()) {
    TREE_LOG("IsNodeChild", tree_log::kError,
             "IsNodeChild(  Tree_NodePtr & node): node is NULL, return FALSE\n");
    return 0;
  }
  return GetChildCount() > 0 && node->m_parent == this ? 1 : 0;
}

int Tree_Node::IsNodeAncestor(Tree_NodePtr& another_node) {
  TREE_LOG("IsNodeAncestor", tree_log::kTrace,
           "Start IsNodeAncestor(Tree_NodePtr & another_node)\n");
  if (another_node.isNull()) {
    TREE_LOG("IsNodeAncestor", tree_log::kError,
             "IsNodeAncestor(Tree_NodePtr & another_node) : another_node is NULL\n");
    return 0;
  }
  for (const Tree_Node* node = this; node != nullptr; node = node->m_parent) {
    if (another_node == node) {
      TREE_LOG("IsNodeAncestor", tree_log::kTrace,
               "END IsNodeAncestor(Tree_NodePtr & another_node), return TRUE\n");
      return 1;
    }
  }
  TREE_LOG("IsNodeAncestor", tree_log::kTrace,
           "END IsNodeAncestor(Tree_NodePtr & another_node), return FALSE\n");
  return 0;
}
