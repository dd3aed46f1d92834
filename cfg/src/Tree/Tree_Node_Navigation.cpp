// Tree_Node: from names and paths to nodes.

#include <cstddef>
#include <cstring>

#include "Tree/Tree_Interning.h"
#include "Tree/Tree_Log.h"
#include "Tree/Tree_Node.h"
#include "Tree/Tree_PathSegments.h"

// --- One level ---------------------------------------------------------------

// The first child whose name equals a text without zero bytes, both taken up to the
// first zero byte.
Tree_NodePtr* Tree_Node::FindChild(const char* name, std::size_t length) const {
  return m_children == nullptr ? nullptr : m_children->FindZeroTerminated(name, length).handle;
}

// The first child with exactly that name.
Tree_NodePtr* Tree_Node::FindChild(const RWCString& name) const {
  if (m_children == nullptr) return nullptr;
  return m_children->Find(tree_interning::Find(name));
}

Tree_NodePtr Tree_Node::Get(const char* name, Tree_NodePtr& this_ptr) {
  if (*name == '\0') return this_ptr;
  const Tree_NodePtr* const child = FindChild(name, std::strlen(name));
  // A null handle of its own leaves the shared one, and its counter, alone.
  return child == nullptr ? Tree_NodePtr() : *child;
}

Tree_NodePtr Tree_Node::Get(const RWCString& name, Tree_NodePtr& this_ptr) {
  return Get(name.data(), this_ptr);
}

Tree_Node* Tree_Node::Get(const RWCString& name, Tree_Node* this_node) {
  if (name.isNull()) return this_node;
  const Tree_NodePtr* const child = FindChild(name);
  return child == nullptr ? nullptr : child->get();
}

Tree_NodePtr& Tree_Node::GetByRef(RWCString& name, Tree_NodePtr& this_ptr) {
  if (name.isNull()) return this_ptr;
  Tree_NodePtr* const child = FindChild(name);
  if (child == nullptr) return NULL_TREE_NODE_PTR;
  m_children->GiveAway();
  return *child;
}

// --- Paths -------------------------------------------------------------------

template <class Segments>
Tree_Node::Place Tree_Node::Walk(Segments& segments, Tree_NodePtr& this_ptr) {
  Tree_NodePtrVec::Found found{&this_ptr, 0};
  const Tree_NodePtrVec* list = nullptr;
  for (const Tree_NodePtrVec* below = m_children;; below = found.Below()) {
    const Tree_PathSegment segment = segments.Next();
    if (segment.length == 0) break;
    if (below == nullptr) return {};
    list = below;
    found = list->FindZeroTerminated(segment.text, segment.length);
    if (found.handle == nullptr || segments.WasLast()) break;
  }
  return {found.handle, list, found.Value()};
}

Tree_NodePtr* Tree_Node::NodeAt(const RWCString& path, Tree_NodePtr& this_ptr) {
  return NodeAt(path.data(), path.length(), this_ptr);
}

Tree_NodePtr* Tree_Node::NodeAt(const char* path, std::size_t length, Tree_NodePtr& this_ptr) {
  return PlaceAt(path, length, this_ptr).handle;
}

Tree_Node::Place Tree_Node::PlaceAt(const char* path, std::size_t length, Tree_NodePtr& this_ptr) {
  Tree_PathSegments segments(path, length);
  return Walk(segments, this_ptr);
}

Tree_NodePtr Tree_Node::GetRelativeNode(Tree_Path& path, Tree_NodePtr& this_ptr) {
  Tree_PathReader segments(path);
  const Tree_NodePtr* const node = Walk(segments, this_ptr).handle;
  return node == nullptr ? Tree_NodePtr() : *node;
}

Tree_NodePtr& Tree_Node::GetRelativeNodeByRef(Tree_Path& path, Tree_NodePtr& this_ptr) {
  Tree_PathReader segments(path);
  const Place place = Walk(segments, this_ptr);
  if (place.handle == nullptr) return NULL_TREE_NODE_PTR;
  if (place.list != nullptr) place.list->GiveAway();
  return *place.handle;
}

Tree_NodePtr Tree_Node::GetOrCreateRelativeNode(Tree_Path& path, Tree_NodePtr& this_ptr) {
  Tree_PathReader segments(path);
  const auto create = [&segments](Tree_Node* parent, Tree_PathSegment segment) {
    // Intended: a leaf on the way refuses the node that is made for the next segment.
    // That node stands in no tree; it and what is made below it live until the end of
    // this call, and only the result beyond.
    Tree_NodePtr refused;
    for (;;) {
      Tree_NodePtr made(NewNode(segment.text, segment.length, nullptr));
      if (parent->Insert(made, parent->GetChildCount(), -1) == 0) refused = made;
      if (segments.WasLast()) return made;
      segment = segments.Next();
      if (segment.length == 0) return made;
      parent = made.get();
    }
  };

  Tree_NodePtr* handle = nullptr;  // null for this node, which may have another one
  const Tree_NodePtrVec* children = m_children;
  // Whoever makes nodes in order comes to the last child at every step: its name need not be
  // looked up.  Nobody else does, which shows at the first step where there is a choice.
  bool in_order = !tree_interning::AnyNameHasZeroByte();
  for (;;) {
    const Tree_PathSegment segment = segments.Next();
    if (segment.length == 0) return handle == nullptr ? this_ptr : *handle;
    Tree_NodePtrVec::Found found;
    if (children != nullptr) {
      if (in_order) found = children->FindIfLast(segment.text, segment.length);
      in_order = found.handle != nullptr;
      if (!in_order) found = children->FindZeroTerminated(segment.text, segment.length);
    }
    if (found.handle == nullptr) {
      return create(handle == nullptr ? this : handle->get(), segment);
    }
    handle = found.handle;
    if (segments.WasLast()) return *handle;
    children = found.Below();
  }
}

Tree_NodePtr Tree_Node::GetOrCreateUnProtectedRelativeNode(Tree_Path& path,
                                                           Tree_NodePtr& this_ptr) {
  return GetOrCreateRelativeNode(path, this_ptr);
}

// A name that is stored already and needs no mending, which is the usual case, needs no
// string.  Only the lines that interning may trace would be missed.
Tree_Node* Tree_Node::NewNode(const char* name, std::size_t length, Tree_Value* value) {
  const bool plain =
      name[0] != ' ' && name[length - 1] != ' ' && std::memchr(name, '\0', length) == nullptr;
  if (plain && ZelGLog.GetLevel() < tree_log::kTrace) {
    if (const RWCString* const interned = tree_interning::Find(name, length)) {
      return new Tree_Node(interned, value);
    }
  }
  return new Tree_Node(RWCString(name, length), value);
}

// --- Sub-trees ---------------------------------------------------------------

Tree_NodePtr Tree_Node::GetRelativeSubTree(Tree_Path& path, Tree_NodePtr& this_ptr) {
  Tree_NodePtr& node = GetRelativeSubTreeByRef(path, this_ptr);
  return node.isNull() ? Tree_NodePtr() : node;
}

Tree_NodePtr& Tree_Node::GetRelativeSubTreeByRef(Tree_Path& path, Tree_NodePtr& this_ptr) {
  if (this_ptr.isNull()) return NULL_TREE_NODE_PTR;
  Tree_NodePtr& node = this_ptr->GetRelativeNodeByRef(path, this_ptr);
  return node.isNull() || node->IsLeaf() ? NULL_TREE_NODE_PTR : node;
}

// The texts of both index forms name the plain one.
Tree_NodePtr Tree_Node::GetRelativeSubTree(RWCString& path, int index, Tree_NodePtr& this_ptr) {
  TREE_LOG("GetRelativeSubTree", tree_log::kTrace,
           "Start GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr)\n");
  if (index < 0) {
    TREE_LOG("GetRelativeSubTree", tree_log::kTrace,
             "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : index less "
             "then 0 , return null Tree_NodePtr\n");
    return Tree_NodePtr();
  }
  const Tree_NodePtr* const found = NodeAt(path, this_ptr);
  if (found == nullptr || found->isNull()) {
    TREE_LOG("GetRelativeSubTree", tree_log::kTrace,
             "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : path does "
             "not exist : %s , return null Tree_NodePtr\n",
             path.data());
    return Tree_NodePtr();
  }
  const Tree_NodePtr node(*found);
  // Intended: the bound is the number of all children, though only sub-trees count.
  if (index >= node->GetChildCount()) {
    TREE_LOG("GetRelativeSubTree", tree_log::kTrace,
             "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : index must "
             "be less then child count , return null Tree_NodePtr\n");
    return Tree_NodePtr();
  }
  const Tree_NodePtr* const child = node->NthChild(Kind::kSubTree, index);
  if (child == nullptr) {
    TREE_LOG("GetRelativeSubTree", tree_log::kTrace,
             "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : index not "
             "exist : %d , return null Tree_NodePtr\n",
             index);
    return Tree_NodePtr();
  }
  TREE_LOG("GetRelativeSubTree", tree_log::kTrace,
           "End GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr)\n");
  return *child;
}

Tree_NodePtr& Tree_Node::GetRelativeSubTreeByRef(RWCString& path, int index,
                                                 Tree_NodePtr& this_ptr) {
  TREE_LOG("GetRelativeSubTreeByRef", tree_log::kTrace,
           "Start GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr)\n");
  if (index < 0) {
    TREE_LOG("GetRelativeSubTreeByRef", tree_log::kTrace,
             "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : index less "
             "then 0 , return null Tree_NodePtr\n");
    return NULL_TREE_NODE_PTR;
  }
  const Tree_NodePtr* const node = NodeAt(path, this_ptr);
  if (node == nullptr || node->isNull()) {
    TREE_LOG("GetRelativeSubTreeByRef", tree_log::kTrace,
             "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : path does "
             "not exist : %s , return null Tree_NodePtr\n",
             path.data());
    return NULL_TREE_NODE_PTR;
  }
  if (index >= (*node)->GetChildCount()) {
    // Intended: an error here, a trace in the plain form.
    TREE_LOG("GetRelativeSubTreeByRef", tree_log::kError,
             "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) under <%s> "
             "path <%s> index <%d>: index must be less then child count , return null "
             "Tree_NodePtr\n",
             GetPath().data(), path.data(), index);
    return NULL_TREE_NODE_PTR;
  }
  Tree_NodePtr* const child = (*node)->NthChild(Kind::kSubTree, index);
  if (child == nullptr) {
    TREE_LOG("GetRelativeSubTreeByRef", tree_log::kTrace,
             "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : index not "
             "exist : %d , return null Tree_NodePtr\n",
             index);
    return NULL_TREE_NODE_PTR;
  }
  (*node)->m_children->GiveAway();
  return *child;
}

Tree_NodePtr* Tree_Node::NthChild(Kind kind, int index) const {
  if (m_children == nullptr) return nullptr;
  for (Tree_NodePtr* child : m_children->m_elements) {
    if (child->isNull() || (*child)->IsLeaf() != (kind == Kind::kLeaf)) continue;
    if (index-- == 0) return child;
  }
  return nullptr;
}

int Tree_Node::CountChildren(Kind kind) const {
  int count = 0;
  if (m_children == nullptr) return count;
  for (const Tree_NodePtr* child : m_children->m_elements) {
    if (!child->isNull() && (*child)->IsLeaf() == (kind == Kind::kLeaf)) ++count;
  }
  return count;
}
