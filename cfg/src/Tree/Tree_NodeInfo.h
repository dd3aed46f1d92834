#ifndef TREE_TREE_NODEINFO_H
#define TREE_TREE_NODEINFO_H

#include <cstddef>

#include "Tree/Tree_Api.h"
#include "rw/RWCString.h"

// A Tree_NodeInfo is one node of a tree by its full path, with its value if it has one.
//
// Lists of records say what a tree holds in any order and from any source:
// Tree_Node::ConvertTreeNodeToVec and ConvertTreeToSimpleVec make them of a tree,
// Tree_Node::BuildSubTree makes a tree of them.
//
// The path is split in two by the parent path index: so many bytes are the parent's
// path; what follows them and one separator is the node's own name.
//
// Ownership: a record owns its path.  The value is interned and stays until the process
// ends.
//
// Threads: one thread uses a record at a time; interning is safe from any thread.
class TREE_API Tree_NodeInfo {
 public:
  // No value, an empty path, parent path index 0, not changed.
  Tree_NodeInfo();

  Tree_NodeInfo(const Tree_NodeInfo& other) = default;
  Tree_NodeInfo& operator=(const Tree_NodeInfo& other) = default;
  ~Tree_NodeInfo() = default;

  RWCString GetPath() const;
  void SetPath(RWCString& path);

  // The leading part of the path that is the parent's; the whole path when the index
  // lies behind its end, nothing when the index is negative.
  RWCString GetParentPath() const;

  // Intended: keeps only the length of `parent_path`, which must be the beginning of
  // this record's path.
  void SetParentPath(RWCString& parent_path);
  void SetParentPathIndex(int index);

  // The value, empty when there is none.  Setting interns it as it is.
  RWCString GetValue() const;
  void SetValue(RWCString& value);

  // The change flag of the value, non-zero for changed.
  int IsChange() const;
  void SetIsChange(int is_change);

  // By path only: byte by byte, unsigned, the shorter first where one begins the other.
  bool operator==(const Tree_NodeInfo& other) const;
  bool operator<(const Tree_NodeInfo& other) const;

 private:
  friend class Tree_Node;

  // The parent path index, within the path.
  std::size_t ParentLength() const;

  const RWCString* m_value;
  RWCString m_path;
  int m_parent_path_index;
  int m_is_change;
};

#endif  // TREE_TREE_NODEINFO_H
