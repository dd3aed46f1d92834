// Tree_Node: values, counts and listings.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "Tree/Tree_Log.h"
#include "Tree/Tree_Node.h"

// --- Values ------------------------------------------------------------------

// Intended: success writes nothing, and the first text is that of the index form.
RWCString Tree_Node::GetValue(RWCString& path, Tree_NodePtr& this_ptr) {
  const Place place = PlaceAt(path.data(), path.length(), this_ptr);
  if (place.value != nullptr) return *place.value->m_value;
  const Tree_NodePtr* const node = place.handle;
  if (node == nullptr || node->isNull()) {
    TREE_LOG("GetValue", tree_log::kTrace,
             "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): path %s does not "
             "exist, return \n",
             path.data());
    return RWCString();
  }
  if (!(*node)->IsLeaf()) {
    TREE_LOG("GetValue", tree_log::kTrace,
             "GetValue(RWCString & path,Tree_NodePtr & this_ptr) : path represent a sub "
             "tree,return empty string\n");
    return RWCString();
  }
  Tree_Value* const value = (*node)->GetTreeValue();
  if (value == nullptr) {
    TREE_LOG("GetValue", tree_log::kTrace,
             "GetValue(RWCString & path,Tree_NodePtr & this_ptr) : path tree value is NULL,return "
             "empty string\n");
    return RWCString();
  }
  return value->GetValue();
}

RWCString Tree_Node::GetValue(RWCString& path, int index, Tree_NodePtr& this_ptr) {
  TREE_LOG("GetValue", tree_log::kTrace,
           "Start GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr) %s\n", path.data());
  if (index < 0) {
    TREE_LOG("GetValue", tree_log::kTrace,
             "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): index is less then 0, "
             "return empty string\n");
    return RWCString();
  }
  const Tree_NodePtr* const node = NodeAt(path, this_ptr);
  if (node == nullptr || node->isNull()) {
    TREE_LOG("GetValue", tree_log::kTrace,
             "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): path %s does not "
             "exist, return \n",
             path.data());
    return RWCString();
  }
  // Intended: the bound is the number of all children, though only leaves count.
  if (index >= (*node)->GetChildCount()) {
    TREE_LOG("GetValue", tree_log::kTrace,
             "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): index is more then "
             "child num, return empty string\n");
    return RWCString();
  }
  const Tree_NodePtr* const leaf = (*node)->NthChild(Kind::kLeaf, index);
  if (leaf == nullptr) {
    TREE_LOG("GetValue", tree_log::kTrace,
             "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): index %d does not "
             "exist, return \n",
             index);
    return RWCString();
  }
  return (*leaf)->ValueText();
}

RWCString Tree_Node::GetValueName(RWCString& path, int index, Tree_NodePtr& this_ptr) {
  TREE_LOG("GetValueName", tree_log::kTrace,
           "Start GetValueName(RWCString & path,int index,Tree_NodePtr & this_ptr)\n");
  if (index < 0) {
    TREE_LOG("GetValueName", tree_log::kTrace,
             "GetValueName(RWCString & path,int index,Tree_NodePtr & this_ptr): index is less then "
             "0, return empty string\n");
    return RWCString();
  }
  const Tree_NodePtr* const node = NodeAt(path, this_ptr);
  if (node == nullptr || node->isNull()) {
    TREE_LOG("GetValueName", tree_log::kTrace,
             "GetValueName(RWCString & path,int index,Tree_NodePtr & this_ptr): path %s does not "
             "exist, return \n",
             path.data());
    return RWCString();
  }
  if (index >= (*node)->GetChildCount()) {
    TREE_LOG("GetValueName", tree_log::kTrace,
             "GetValueName(RWCString & path,int index,Tree_NodePtr & this_ptr): index is more then "
             "child num, return empty string\n");
    return RWCString();
  }
  const Tree_NodePtr* const leaf = (*node)->NthChild(Kind::kLeaf, index);
  if (leaf == nullptr) {
    TREE_LOG("GetValueName", tree_log::kTrace,
             "GetValueName(RWCString & path,int index,Tree_NodePtr & this_ptr): index %d does not "
             "exist, return \n",
             index);
    return RWCString();
  }
  return (*leaf)->GetKeyName();
}

RWCString Tree_Node::ValueText() {
  Tree_Value* const value = GetTreeValue();
  return value == nullptr ? RWCString() : value->GetValue();
}

// --- Counts ------------------------------------------------------------------

// Intended: the text says -1 where the result is 0, here and in GetSubTreeNum.
int Tree_Node::GetValueNum(RWCString path, Tree_NodePtr& this_ptr) {
  TREE_LOG("GetValueNum", tree_log::kTrace,
           "Start GetValueNum(RWCString path,Tree_NodePtr& this_ptr\n");
  const Tree_NodePtr* const node = NodeAt(path, this_ptr);
  if (node == nullptr || node->isNull()) {
    TREE_LOG("GetValueNum", tree_log::kTrace,
             "GetValueNum(RWCString path,Tree_NodePtr& this_ptr) : path not exist, return -1: %s\n",
             path.data());
    return 0;
  }
  const int count = (*node)->CountChildren(Kind::kLeaf);
  TREE_LOG("GetValueNum", tree_log::kTrace,
           "End GetValueNum(RWCString path,Tree_NodePtr& this_ptr) return %d\n", count);
  return count;
}

int Tree_Node::GetSubTreeNum(RWCString path, Tree_NodePtr& this_node) {
  TREE_LOG("GetSubTreeNum", tree_log::kTrace,
           "Start GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node)\n");
  const Tree_NodePtr* const node = NodeAt(path, this_node);
  if (node == nullptr || node->isNull()) {
    TREE_LOG("GetSubTreeNum", tree_log::kTrace,
             "GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) path not exist : %s , return "
             "-1\n",
             path.data());
    return 0;
  }
  const int count = (*node)->CountChildren(Kind::kSubTree);
  TREE_LOG("GetSubTreeNum", tree_log::kTrace,
           "End GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) return %d\n", count);
  return count;
}

// Intended: both entry counts end with the text of GetSubTreeNum.
int Tree_Node::GetTreeNodeEntriesCount(Tree_NodePtr& tree_node) {
  struct Level {
    Tree_Node* node;
    std::size_t next;
    int total;
  };
  std::vector<Level> way;
  const auto start = [] {
    TREE_LOG("GetTreeNodeEntriesCount", tree_log::kTrace,
             "Start GetTreeNodeEntriesCount(Tree_NodePtr & tree_node)\n");
  };
  const auto end = [](int total) {
    TREE_LOG("GetTreeNodeEntriesCount", tree_log::kTrace,
             "End GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) return %d\n", total);
  };

  start();
  if (tree_node.isNull()) {
    TREE_LOG("GetTreeNodeEntriesCount", tree_log::kTrace,
             "GetTreeNodeEntriesCount(RWCString  path,Tree_NodePtr & this_node) empty node: return "
             "0\n");
    return 0;
  }
  way.push_back({tree_node.get(), 0, tree_node->GetChildCount()});
  for (;;) {
    Level& level = way.back();
    Tree_Node* entered = nullptr;
    if (level.node->m_children != nullptr) {
      const Tree_ElementArray& children = level.node->m_children->m_elements;
      while (level.next < children.size() && entered == nullptr) {
        Tree_Node* const child = children[level.next++]->get();
        if (child != nullptr && !child->IsLeaf()) entered = child;
      }
    }
    if (entered != nullptr) {
      start();
      way.push_back({entered, 0, entered->GetChildCount()});
      continue;
    }
    const int total = level.total;
    end(total);
    way.pop_back();
    if (way.empty()) return total;
    way.back().total += total;
  }
}

int Tree_Node::GetSubTreeEntriesCount(RWCString path, Tree_NodePtr& this_node) {
  TREE_LOG("GetSubTreeEntriesCount", tree_log::kTrace,
           "Start GetSubTreeEntriesCount(RWCString  path,Tree_NodePtr & this_node)\n");
  Tree_NodePtr* const node = NodeAt(path, this_node);
  if (node == nullptr || node->isNull()) {
    TREE_LOG("GetSubTreeEntriesCount", tree_log::kTrace,
             "GetTreeNodeEntriesCount(RWCString  path,Tree_NodePtr & this_node) path not exist : "
             "%s , return 0\n",
             path.data());
    return 0;
  }
  const int total = GetTreeNodeEntriesCount(*node);
  TREE_LOG("GetSubTreeEntriesCount", tree_log::kTrace,
           "End GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) return %d\n", total);
  return total;
}

// --- Listings ----------------------------------------------------------------

namespace {

// Fills a field of an empty pair as Tree_ValueAndPath does, which is zero behind the text
// already.
template <std::size_t width>
void FillEmpty(char (&field)[width], const RWCString& text) {
  const std::size_t most = std::min(text.length(), width);
  const void* const end = std::memchr(text.data(), '\0', most);
  const std::size_t length =
      end == nullptr ? most : static_cast<std::size_t>(static_cast<const char*>(end) - text.data());
  std::memcpy(field, text.data(), length);
}

}  // namespace

String_Arr* Tree_Node::GetSubTreePaths(const RWCString& path, Tree_NodePtr& this_ptr) {
  TREE_LOG("GetSubTreePaths", tree_log::kTrace,
           "Start GetSubTreePaths(RWCString & path,Tree_NodePtr & this_ptr)\n");
  Tree_NodePtr* const found = NodeAt(path, this_ptr);
  if (found == nullptr || found->isNull()) {
    TREE_LOG("GetSubTreePaths", tree_log::kNotable,
             "GetSubTreePaths(RWCString & path,Tree_NodePtr & this_ptr) : under <%s> path <%s> "
             "tree_node  is null, return NULL\n",
             GetPath().data(), path.data());
    return nullptr;
  }
  // Whoever reads the lines may remove the node.
  Tree_NodePtr node(*found);
  const int count = node->GetSubTreeNum(RWCString(), node);
  if (count == 0) {
    TREE_LOG("GetSubTreePaths", tree_log::kTrace,
             "GetSubTreePaths(RWCString & path,Tree_NodePtr & this_ptr) : no sub trees in path "
             "<%s><%s> under this node, return NULL\n",
             GetPath().data(), path.data());
    return nullptr;
  }
  auto names = std::make_unique<String_Arr>(count);
  int place = 0;
  for (const Tree_NodePtr* child : node->m_children->m_elements) {
    if (child->isNull() || (*child)->IsLeaf()) continue;
    names->SetStr(place++, (*child)->GetKeyName().data(), -1);
  }
  TREE_LOG("GetSubTreePaths", tree_log::kTrace,
           "End GetSubTreePaths(RWCString & path,Tree_NodePtr & this_ptr)\n");
  return names.release();
}

Tree_PathAndValueArray* Tree_Node::GetSubTreeValues(const RWCString& path, Tree_NodePtr& this_ptr) {
  TREE_LOG("GetSubTreeValues", tree_log::kTrace,
           "Start GetSubTreeValues(RWCString & path,Tree_NodePtr & this_ptr)\n");
  Tree_NodePtr* const node = NodeAt(path, this_ptr);
  if (node == nullptr || node->isNull()) {
    TREE_LOG("GetSubTreeValues", tree_log::kNotable,
             "GetSubTreeValues(RWCString & path,Tree_NodePtr & this_ptr) :under <%s> path <%s> "
             "tree_node is null, return NULL\n",
             GetPath().data(), path.data());
    return nullptr;
  }
  const int count = (*node)->GetValueNum(RWCString(), *node);
  if (count == 0) {
    TREE_LOG("GetSubTreeValues", tree_log::kTrace,
             "GetSubTreeValues(RWCString & path,Tree_NodePtr & this_ptr) : no values under thos "
             "node, return NULL\n");
    return nullptr;
  }
  auto values = std::make_unique<Tree_PathAndValueArray>(count);
  int place = 0;
  for (const Tree_NodePtr* child : (*node)->m_children->m_elements) {
    if (child->isNull() || !(*child)->IsLeaf()) continue;
    Tree_ValueAndPath& pair = *values->GetPV(place++);
    FillEmpty(pair.m_path, (*child)->GetKeyName());
    const Tree_Value* const value = (*child)->GetTreeValue();
    if (value != nullptr) FillEmpty(pair.m_value, *value->m_value);
  }
  TREE_LOG("GetSubTreeValues", tree_log::kTrace,
           "End GetSubTreeValues(RWCString & path,Tree_NodePtr & this_ptr)\n");
  return values.release();
}
