#ifndef TREE_TREE_IDNODEINFO_H
#define TREE_TREE_IDNODEINFO_H

#include "Tree/Tree_Api.h"
#include "rw/RWCString.h"

// A Tree_IdNodeInfo is one node of a flattened tree: its key name, its value if it
// has one, and the number of its parent's record.
//
// A flattened tree is a list of records in which a parent stands before its children;
// Tree_Node::GetIdNodeVecFromTree makes such lists and GetSerializeIdNodeInfoVec writes
// them into one buffer.  Each record names its node by key name only ("path" is the name
// of the field for historical reasons).
//
// Ownership: a record owns nothing.  Both strings are interned, stay until the process
// ends, and are shared by copies of the record.  Who made a record frees it the way it
// was made: with delete, or back to the pool that it came from.
//
// Threads: one thread uses a record at a time; interning is safe from any thread.
class TREE_API Tree_IdNodeInfo {
 public:
  // No path, no value, parent id -1, id 0, not changed.
  Tree_IdNodeInfo();

  Tree_IdNodeInfo(const Tree_IdNodeInfo& other) = default;
  Tree_IdNodeInfo& operator=(const Tree_IdNodeInfo& other) = default;
  ~Tree_IdNodeInfo() = default;

  // Number of this record, and of the parent's; the top record's parent id is -1.
  int GetId() const;
  void SetId(int id);
  int GetParentId() const;
  void SetParentId(int parent_id);

  // The change flag of the value, non-zero for changed.
  int IsChange() const;
  void SetIsChange(int is_change);

  // The texts, up to their first zero byte where they hold one; empty_string when there
  // is none.
  const char* GetPath() const;
  const char* GetValue() const;

  // The interned strings; null when there is none.
  const RWCString* GetRWPath() const;
  const RWCString* GetRWValue() const;

  // These intern the text as it is.  The second form of each takes exactly `length`
  // bytes, zero bytes included.
  //
  // Intended: blanks at the ends stay, unlike those of the names given to nodes.
  void SetPath(RWCString& path);
  void SetPath(char* text, int length);
  void SetValue(RWCString& value);
  void SetValue(char* text, int length);

  // Intended: do nothing.  Clients built against older versions call them.
  void StripPath();
  void StripValue();

  // By path only: byte by byte, unsigned, the shorter first where one begins the other.
  // A record that never was given a path compares like one with an empty path.
  bool operator==(const Tree_IdNodeInfo& other) const;
  bool operator<(const Tree_IdNodeInfo& other) const;

  // Writes the record to the standard output stream, on three lines.
  void PrintMe() const;

  // What the getters of texts yield where there is none.
  static const char* empty_string;

 private:
  friend class Tree_Node;

  const RWCString* m_value;
  const RWCString* m_path;
  int m_parent_id;
  int m_id;
  int m_is_change;
};

#endif  // TREE_TREE_IDNODEINFO_H
