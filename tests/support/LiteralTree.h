// The operations of Tree_Node that take a path, the search, the counts and the listings,
// put together step by step from one-level calls: children by index, names, leaf or
// not.  They write the lines that the operations write, through the same log.
//
// They recurse as deep as the tree is and scan all siblings; use them on small trees.

#ifndef TREE_TESTS_SUPPORT_LITERALTREE_H
#define TREE_TESTS_SUPPORT_LITERALTREE_H

#include <cstring>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_LogFile.h"
#include "support/TreeMaking.h"

namespace literal {

#define TREE_TESTS_WRITE(level, function, ...)                                                    \
  do {                                                                                            \
    if (ZelGLog.StoreParams("Tree/Tree_Node", "Tree_Node::" function, __LINE__, level, 501, 1)) { \
      ZelGLog.Log(__VA_ARGS__);                                                                   \
    }                                                                                             \
  } while (false)

inline Tree_NodePtr& Null() {
  return Tree_Node::NULL_TREE_NODE_PTR;
}

inline bool SameBytes(const RWCString& a, const RWCString& b) {
  return a.length() == b.length() && std::memcmp(a.data(), b.data(), a.length()) == 0;
}

inline RWCString GetPath(Tree_Node& node) {
  RWCString prefix;
  if (node.GetParent() != nullptr) {
    prefix.append(GetPath(*node.GetParent()));
    prefix.append(Tree_Node::separator);
  } else if (node.GetVirtualParentPath().length() != 0) {
    // Only a top node has a virtual parent path that counts.
    prefix.append(node.GetVirtualParentPath());
    prefix.append(Tree_Node::separator);
  }
  prefix.append(node.GetKeyName());
  return prefix;
}

// --- Navigation

inline Tree_NodePtr Get(Tree_Node& node, const char* name, Tree_NodePtr& this_ptr) {
  if (name[0] == '\0') return this_ptr;
  for (int i = 0; i < node.GetChildCount(); ++i) {
    if (std::strcmp(node.GetChildAt(i)->GetKeyName().data(), name) == 0) return node.GetChildAt(i);
  }
  return Null();
}

inline Tree_NodePtr Get(Tree_Node& node, const RWCString& name, Tree_NodePtr& this_ptr) {
  return Get(node, name.data(), this_ptr);
}

inline Tree_Node* Get(Tree_Node& node, const RWCString& name, Tree_Node* this_node) {
  if (name.length() == 0) return this_node;
  for (int i = 0; i < node.GetChildCount(); ++i) {
    if (SameBytes(node.GetChildAt(i)->GetKeyName(), name)) return node.GetChildAt(i).get();
  }
  return nullptr;
}

inline Tree_NodePtr& GetByRef(Tree_Node& node, RWCString& name, Tree_NodePtr& this_ptr) {
  if (name.length() == 0) return this_ptr;
  for (int i = 0; i < node.GetChildCount(); ++i) {
    if (SameBytes(node.GetChildAt(i)->GetKeyName(), name)) return node.GetChildAt(i);
  }
  return Null();
}

inline Tree_NodePtr GetRelativeNode(Tree_Node& node, Tree_Path& path, Tree_NodePtr& this_ptr) {
  const char* const segment = path.GetRootAsCharPtr();
  if (segment[0] == '\0') return this_ptr;
  Tree_NodePtr child = Get(node, segment, this_ptr);
  if (child.isNull()) return Null();
  if (path.IsOnlyRoot() == 1) return child;
  return GetRelativeNode(*child, path, child);
}

inline Tree_NodePtr& GetRelativeNodeByRef(Tree_Node& node, Tree_Path& path,
                                          Tree_NodePtr& this_ptr) {
  const char* const segment = path.GetRootAsCharPtr();
  if (segment[0] == '\0') return this_ptr;
  for (int i = 0; i < node.GetChildCount(); ++i) {
    Tree_NodePtr& child = node.GetChildAt(i);
    if (std::strcmp(child->GetKeyName().data(), segment) != 0) continue;
    if (path.IsOnlyRoot() == 1) return child;
    return GetRelativeNodeByRef(*child, path, child);
  }
  return Null();
}

inline Tree_NodePtr GetOrCreateRelativeNode(Tree_Node& node, Tree_Path& path,
                                            Tree_NodePtr& this_ptr) {
  const char* const segment = path.GetRootAsCharPtr();
  if (segment[0] == '\0') return this_ptr;
  Tree_NodePtr child = Get(node, segment, this_ptr);
  if (child.isNull()) {
    child = Tree_NodePtr(new Tree_Node(RWCString(segment)));
    node.Insert(child, node.GetChildCount(), -1);
  }
  if (path.IsOnlyRoot() == 1) return child;
  return GetOrCreateRelativeNode(*child, path, child);
}

inline Tree_NodePtr GetRelativeSubTree(Tree_Node&, Tree_Path& path, Tree_NodePtr& this_ptr) {
  Tree_NodePtr found = GetRelativeNode(*this_ptr, path, this_ptr);
  return found.isNull() || found->IsLeaf() ? Null() : found;
}

inline Tree_NodePtr& GetRelativeSubTreeByRef(Tree_Node&, Tree_Path& path, Tree_NodePtr& this_ptr) {
  Tree_NodePtr& found = GetRelativeNodeByRef(*this_ptr, path, this_ptr);
  return found.isNull() || found->IsLeaf() ? Null() : found;
}

inline Tree_NodePtr GetRelativeSubTree(Tree_Node& node, RWCString& path, int index,
                                       Tree_NodePtr& this_ptr) {
  TREE_TESTS_WRITE(
      7, "GetRelativeSubTree",
      "Start GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr)\n");
  if (index < 0) {
    TREE_TESTS_WRITE(
        7, "GetRelativeSubTree",
        "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : index less "
        "then 0 , return null Tree_NodePtr\n");
    return Null();
  }
  Tree_Path reader(path);
  Tree_NodePtr found = GetRelativeNode(node, reader, this_ptr);
  if (found.isNull()) {
    TREE_TESTS_WRITE(
        7, "GetRelativeSubTree",
        "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : path does not "
        "exist : %s , return null Tree_NodePtr\n",
        path.data());
    return Null();
  }
  if (index >= found->GetChildCount()) {
    TREE_TESTS_WRITE(
        7, "GetRelativeSubTree",
        "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : index must be "
        "less then child count , return null Tree_NodePtr\n");
    return Null();
  }
  int count = 0;
  for (int i = 0; i < found->GetChildCount(); ++i) {
    Tree_NodePtr child = found->GetChildAt(i);
    if (child->IsLeaf()) continue;
    if (count == index) {
      TREE_TESTS_WRITE(
          7, "GetRelativeSubTree",
          "End GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr)\n");
      return child;
    }
    ++count;
  }
  TREE_TESTS_WRITE(
      7, "GetRelativeSubTree",
      "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : index not exist "
      ": %d , return null Tree_NodePtr\n",
      index);
  return Null();
}

inline Tree_NodePtr& GetRelativeSubTreeByRef(Tree_Node& node, RWCString& path, int index,
                                             Tree_NodePtr& this_ptr) {
  TREE_TESTS_WRITE(
      7, "GetRelativeSubTreeByRef",
      "Start GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr)\n");
  if (index < 0) {
    TREE_TESTS_WRITE(
        7, "GetRelativeSubTreeByRef",
        "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : index less "
        "then 0 , return null Tree_NodePtr\n");
    return Null();
  }
  Tree_Path reader(path);
  Tree_NodePtr& found = GetRelativeNodeByRef(node, reader, this_ptr);
  if (found.isNull()) {
    TREE_TESTS_WRITE(
        7, "GetRelativeSubTreeByRef",
        "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : path does not "
        "exist : %s , return null Tree_NodePtr\n",
        path.data());
    return Null();
  }
  if (index >= found->GetChildCount()) {
    TREE_TESTS_WRITE(
        3, "GetRelativeSubTreeByRef",
        "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) under <%s> path "
        "<%s> index <%d>: index must be less then child count , return null Tree_NodePtr\n",
        GetPath(node).data(), path.data(), index);
    return Null();
  }
  int count = 0;
  for (int i = 0; i < found->GetChildCount(); ++i) {
    Tree_NodePtr& child = found->GetChildAt(i);
    if (child->IsLeaf()) continue;
    if (count == index) return child;
    ++count;
  }
  TREE_TESTS_WRITE(
      7, "GetRelativeSubTreeByRef",
      "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr) : index not exist "
      ": %d , return null Tree_NodePtr\n",
      index);
  return Null();
}

inline void Collect(Tree_Node& node, const RWCString& path, Tree_NodePtr& this_ptr,
                    std::vector<std::string>& results) {
  Tree_Path reader(path);
  Tree_NodePtr found = GetRelativeNode(node, reader, this_ptr);
  if (!found.isNull()) results.push_back(Text(GetPath(*found)));
  for (int i = 0; i < node.GetChildCount(); ++i) {
    Tree_NodePtr& child = node.GetChildAt(i);
    Collect(*child, path, child, results);
  }
}

inline String_Arr* Search(Tree_Node& node, const RWCString& path, Tree_NodePtr& this_ptr,
                          int strip_top) {
  TREE_TESTS_WRITE(7, "Search", "Start Search(RWCString & path,Tree_NodePtr & this_ptr)\n");
  if (path.length() == 0) {
    TREE_TESTS_WRITE(
        3, "Search",
        "Search(RWCString & path,Tree_NodePtr & this_ptr): path is NULL, return NULL\n");
    return nullptr;
  }
  std::vector<std::string> results;
  Collect(node, path, this_ptr, results);
  if (results.empty()) {
    TREE_TESTS_WRITE(
        7, "Search",
        "Search(RWCString & path,Tree_NodePtr & this_ptr): Search(path,this_ptr,ret) return "
        "empty vec (empty search result), return NULL\n");
    return nullptr;
  }
  String_Arr* const array = new String_Arr(static_cast<int>(results.size()));
  for (std::size_t i = 0; i < results.size(); ++i) {
    const std::string separator = Text(Tree_Node::separator);
    const std::size_t at = results[i].find(separator);
    if (strip_top != 0 && at != std::string::npos) results[i].erase(0, at + separator.size());
    array->SetStr(static_cast<int>(i), results[i].c_str(), -1);
  }
  TREE_TESTS_WRITE(7, "Search", "End Search(RWCString & path,Tree_NodePtr & this_ptr)\n");
  return array;
}

// --- Values, counts and listings

inline RWCString ValueOf(Tree_Node& leaf) {
  Tree_Value* const value = leaf.GetTreeValue();
  return value == nullptr ? RWCString() : value->GetValue();
}

inline RWCString GetValue(Tree_Node& node, RWCString& path, Tree_NodePtr& this_ptr) {
  Tree_Path reader(path);
  Tree_NodePtr& found = GetRelativeNodeByRef(node, reader, this_ptr);
  if (found.isNull()) {
    TREE_TESTS_WRITE(
        7, "GetValue",
        "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): path %s does not exist, "
        "return \n",
        path.data());
    return RWCString();
  }
  if (!found->IsLeaf()) {
    TREE_TESTS_WRITE(
        7, "GetValue",
        "GetValue(RWCString & path,Tree_NodePtr & this_ptr) : path represent a sub tree,return "
        "empty string\n");
    return RWCString();
  }
  Tree_Value* const value = found->GetTreeValue();
  if (value == nullptr) {
    TREE_TESTS_WRITE(
        7, "GetValue",
        "GetValue(RWCString & path,Tree_NodePtr & this_ptr) : path tree value is NULL,return "
        "empty string\n");
    return RWCString();
  }
  return value->GetValue();
}

inline RWCString GetValue(Tree_Node& node, RWCString& path, int index, Tree_NodePtr& this_ptr) {
  TREE_TESTS_WRITE(7, "GetValue",
                   "Start GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr) %s\n",
                   path.data());
  if (index < 0) {
    TREE_TESTS_WRITE(
        7, "GetValue",
        "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): index is less then 0, "
        "return empty string\n");
    return RWCString();
  }
  Tree_Path reader(path);
  Tree_NodePtr found = GetRelativeNode(node, reader, this_ptr);
  if (found.isNull()) {
    TREE_TESTS_WRITE(
        7, "GetValue",
        "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): path %s does not exist, "
        "return \n",
        path.data());
    return RWCString();
  }
  if (index >= found->GetChildCount()) {
    TREE_TESTS_WRITE(
        7, "GetValue",
        "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): index is more then child "
        "num, return empty string\n");
    return RWCString();
  }
  int count = 0;
  for (int i = 0; i < found->GetChildCount(); ++i) {
    Tree_NodePtr& child = found->GetChildAt(i);
    if (child->IsLeaf() && count++ == index) return ValueOf(*child);
  }
  TREE_TESTS_WRITE(
      7, "GetValue",
      "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): index %d does not exist, "
      "return \n",
      index);
  return RWCString();
}

inline RWCString GetValueName(Tree_Node& node, RWCString& path, int index, Tree_NodePtr& this_ptr) {
  TREE_TESTS_WRITE(7, "GetValueName",
                   "Start GetValueName(RWCString & path,int index,Tree_NodePtr & this_ptr)\n");
  if (index < 0) {
    TREE_TESTS_WRITE(
        7, "GetValueName",
        "GetValueName(RWCString & path,int index,Tree_NodePtr & this_ptr): index is less then "
        "0, return empty string\n");
    return RWCString();
  }
  Tree_Path reader(path);
  Tree_NodePtr found = GetRelativeNode(node, reader, this_ptr);
  if (found.isNull()) {
    TREE_TESTS_WRITE(
        7, "GetValueName",
        "GetValueName(RWCString & path,int index,Tree_NodePtr & this_ptr): path %s does not "
        "exist, return \n",
        path.data());
    return RWCString();
  }
  if (index >= found->GetChildCount()) {
    TREE_TESTS_WRITE(
        7, "GetValueName",
        "GetValueName(RWCString & path,int index,Tree_NodePtr & this_ptr): index is more then "
        "child num, return empty string\n");
    return RWCString();
  }
  int count = 0;
  for (int i = 0; i < found->GetChildCount(); ++i) {
    Tree_NodePtr& child = found->GetChildAt(i);
    if (child->IsLeaf() && count++ == index) return child->GetKeyName();
  }
  TREE_TESTS_WRITE(
      7, "GetValueName",
      "GetValueName(RWCString & path,int index,Tree_NodePtr & this_ptr): index %d does not "
      "exist, return \n",
      index);
  return RWCString();
}

inline int CountChildren(Tree_Node& node, bool leaves) {
  int count = 0;
  for (int i = 0; i < node.GetChildCount(); ++i) {
    if (node.GetChildAt(i)->IsLeaf() == leaves) ++count;
  }
  return count;
}

inline int GetValueNum(Tree_Node& node, const RWCString& path, Tree_NodePtr& this_ptr) {
  TREE_TESTS_WRITE(7, "GetValueNum", "Start GetValueNum(RWCString path,Tree_NodePtr& this_ptr\n");
  Tree_Path reader(path);
  Tree_NodePtr found = GetRelativeNode(node, reader, this_ptr);
  if (found.isNull()) {
    TREE_TESTS_WRITE(
        7, "GetValueNum",
        "GetValueNum(RWCString path,Tree_NodePtr& this_ptr) : path not exist, return -1: %s\n",
        path.data());
    return 0;
  }
  const int count = CountChildren(*found, true);
  TREE_TESTS_WRITE(7, "GetValueNum",
                   "End GetValueNum(RWCString path,Tree_NodePtr& this_ptr) return %d\n", count);
  return count;
}

inline int GetSubTreeNum(Tree_Node& node, const RWCString& path, Tree_NodePtr& this_node) {
  TREE_TESTS_WRITE(7, "GetSubTreeNum",
                   "Start GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node)\n");
  Tree_Path reader(path);
  Tree_NodePtr found = GetRelativeNode(node, reader, this_node);
  if (found.isNull()) {
    TREE_TESTS_WRITE(
        7, "GetSubTreeNum",
        "GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) path not exist : %s , return "
        "-1\n",
        path.data());
    return 0;
  }
  const int count = CountChildren(*found, false);
  TREE_TESTS_WRITE(7, "GetSubTreeNum",
                   "End GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) return %d\n",
                   count);
  return count;
}

inline int GetTreeNodeEntriesCount(Tree_NodePtr& tree_node) {
  TREE_TESTS_WRITE(7, "GetTreeNodeEntriesCount",
                   "Start GetTreeNodeEntriesCount(Tree_NodePtr & tree_node)\n");
  if (tree_node.isNull()) {
    TREE_TESTS_WRITE(
        7, "GetTreeNodeEntriesCount",
        "GetTreeNodeEntriesCount(RWCString  path,Tree_NodePtr & this_node) empty node: return "
        "0\n");
    return 0;
  }
  int count = tree_node->GetChildCount();
  for (int i = 0; i < tree_node->GetChildCount(); ++i) {
    Tree_NodePtr& child = tree_node->GetChildAt(i);
    if (!child->IsLeaf()) count += GetTreeNodeEntriesCount(child);
  }
  TREE_TESTS_WRITE(7, "GetTreeNodeEntriesCount",
                   "End GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) return %d\n",
                   count);
  return count;
}

inline int GetSubTreeEntriesCount(Tree_Node& node, const RWCString& path, Tree_NodePtr& this_node) {
  TREE_TESTS_WRITE(7, "GetSubTreeEntriesCount",
                   "Start GetSubTreeEntriesCount(RWCString  path,Tree_NodePtr & this_node)\n");
  Tree_Path reader(path);
  Tree_NodePtr found = GetRelativeNode(node, reader, this_node);
  if (found.isNull()) {
    TREE_TESTS_WRITE(
        7, "GetSubTreeEntriesCount",
        "GetTreeNodeEntriesCount(RWCString  path,Tree_NodePtr & this_node) path not exist : %s "
        ", return 0\n",
        path.data());
    return 0;
  }
  const int count = GetTreeNodeEntriesCount(found);
  TREE_TESTS_WRITE(7, "GetSubTreeEntriesCount",
                   "End GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) return %d\n",
                   count);
  return count;
}

inline String_Arr* GetSubTreePaths(Tree_Node& node, const RWCString& path, Tree_NodePtr& this_ptr) {
  TREE_TESTS_WRITE(7, "GetSubTreePaths",
                   "Start GetSubTreePaths(RWCString & path,Tree_NodePtr & this_ptr)\n");
  Tree_Path reader(path);
  Tree_NodePtr found = GetRelativeNode(node, reader, this_ptr);
  if (found.isNull()) {
    TREE_TESTS_WRITE(
        5, "GetSubTreePaths",
        "GetSubTreePaths(RWCString & path,Tree_NodePtr & this_ptr) : under <%s> path <%s> "
        "tree_node  is null, return NULL\n",
        GetPath(node).data(), path.data());
    return nullptr;
  }
  const int count = GetSubTreeNum(*found, RWCString(), found);
  if (count == 0) {
    TREE_TESTS_WRITE(
        7, "GetSubTreePaths",
        "GetSubTreePaths(RWCString & path,Tree_NodePtr & this_ptr) : no sub trees in path "
        "<%s><%s> under this node, return NULL\n",
        GetPath(node).data(), path.data());
    return nullptr;
  }
  String_Arr* const array = new String_Arr(count);
  int place = 0;
  for (int i = 0; i < found->GetChildCount(); ++i) {
    Tree_NodePtr& child = found->GetChildAt(i);
    if (!child->IsLeaf()) array->SetStr(place++, child->GetKeyName().data(), -1);
  }
  TREE_TESTS_WRITE(7, "GetSubTreePaths",
                   "End GetSubTreePaths(RWCString & path,Tree_NodePtr & this_ptr)\n");
  return array;
}

inline Tree_PathAndValueArray* GetSubTreeValues(Tree_Node& node, const RWCString& path,
                                                Tree_NodePtr& this_ptr) {
  TREE_TESTS_WRITE(7, "GetSubTreeValues",
                   "Start GetSubTreeValues(RWCString & path,Tree_NodePtr & this_ptr)\n");
  Tree_Path reader(path);
  Tree_NodePtr found = GetRelativeNode(node, reader, this_ptr);
  if (found.isNull()) {
    TREE_TESTS_WRITE(
        5, "GetSubTreeValues",
        "GetSubTreeValues(RWCString & path,Tree_NodePtr & this_ptr) :under <%s> path <%s> "
        "tree_node is null, return NULL\n",
        GetPath(node).data(), path.data());
    return nullptr;
  }
  const int count = GetValueNum(*found, RWCString(), found);
  if (count == 0) {
    TREE_TESTS_WRITE(
        7, "GetSubTreeValues",
        "GetSubTreeValues(RWCString & path,Tree_NodePtr & this_ptr) : no values under thos "
        "node, return NULL\n");
    return nullptr;
  }
  Tree_PathAndValueArray* const array = new Tree_PathAndValueArray(count);
  int place = 0;
  for (int i = 0; i < found->GetChildCount(); ++i) {
    Tree_NodePtr& child = found->GetChildAt(i);
    if (child->IsLeaf()) array->SetPV(place++, child->GetKeyName(), ValueOf(*child));
  }
  TREE_TESTS_WRITE(7, "GetSubTreeValues",
                   "End GetSubTreeValues(RWCString & path,Tree_NodePtr & this_ptr)\n");
  return array;
}

#undef TREE_TESTS_WRITE

}  // namespace literal

#endif  // TREE_TESTS_SUPPORT_LITERALTREE_H
