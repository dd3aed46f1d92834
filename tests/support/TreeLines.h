// The lines that Tree_Node and Tree_NodePtrVec write, one function per text.
//
//   EXPECT_LOG(log, lines::AddStart(), lines::InsertStart(0, -1), lines::InsertEnd());

#ifndef TREE_TESTS_SUPPORT_TREELINES_H
#define TREE_TESTS_SUPPORT_TREELINES_H

#include <string>
#include <vector>

#include "support/LogCapture.h"

namespace lines {

using Lines = std::vector<LogLine>;

// --- Construction -----------------------------------------------------------

inline LogLine NameFixed(const std::string& from, const std::string& to) {
  return TreeLine(4, "Tree_Node::Init",
                  "Tree_Node::Init key name fixed: from <" + from + "> to <" + to + ">\n");
}

inline LogLine NameMade(const std::string& name) {
  return TreeLine(4, "Tree_Node::Init",
                  "A tree with a NULL name has been set, tree was renamed to <" + name + ">\n");
}

inline LogLine NoValue() {
  return TreeLine(7, "Tree_Node::GetTreeValue", "GetTreeValue(): return NULL\n");
}

// --- Insert and Add ---------------------------------------------------------

inline LogLine InsertStart(int child_index, int capacity_hint) {
  return TreeLine(7, "Tree_Node::Insert",
                  "Start Insert(Tree_NodePtr& new_child = " + std::to_string(child_index) +
                      ", int child_index = " + std::to_string(capacity_hint) + ")\n");
}

inline LogLine InsertEnd() {
  return TreeLine(7, "Tree_Node::Insert", "End Insert(Tree_NodePtr& new_child, int child_index)\n");
}

inline LogLine InsertIntoLeaf(const std::string& name) {
  return TreeLine(3, "Tree_Node::Insert",
                  "Insert(Tree_NodePtr & new_child, int child_index) : this node does not "
                  "allowed children, return FALSE " +
                      name + "\n");
}

inline LogLine InsertNull(const std::string& path) {
  return TreeLine(3, "Tree_Node::Insert",
                  "Insert(Tree_NodePtr & new_child, int child_index) :under <" + path +
                      "> new_child is NULL , return FALSE\n");
}

inline LogLine AddStart() {
  return TreeLine(7, "Tree_Node::Add", "Start Add(Tree_NodePtr & new_child)\n");
}

inline LogLine AddNull(const std::string& path) {
  return TreeLine(3, "Tree_Node::Add",
                  "Add(Tree_NodePtr & new_child) : add under <" + path +
                      "> new_child is null , return FALSE\n");
}

// --- Remove -----------------------------------------------------------------

inline LogLine RemoveWithoutVector() {
  return TreeLine(7, "Tree_Node::Remove",
                  "Remove(int child_index) : children vec is null, return FALSE\n");
}

inline LogLine RemoveNull() {
  return TreeLine(3, "Tree_Node::Remove", "Remove(Tree_NodePtr & a_child): a_child is NULL\n");
}

inline LogLine RemoveEmptyName(const std::string& path) {
  return TreeLine(3, "Tree_Node::Remove",
                  "Remove(RWCString & path)under <" + path + "> : path is null, return FALSE\n");
}

// --- Asking about children ----------------------------------------------------

inline LogLine ChildIndexBelowZero(const std::string& path, int index) {
  return TreeLine(3, "Tree_Node::GetChildAt",
                  "GetChildAt : under <" + path + "> index <" + std::to_string(index) +
                      "> index is less then 0,return null Tree_NodePtr\n");
}

inline LogLine ChildIndexTooHigh() {
  return TreeLine(3, "Tree_Node::GetChildAt",
                  "GetChildAt : index >= GetChildCount(),return null Tree_NodePtr\n");
}

inline LogLine IndexWithoutVector() {
  return TreeLine(3, "Tree_Node::GetIndex",
                  "GetIndex(Tree_NodePtr & a_child) : children vec is null, return -1\n");
}

inline LogLine IsChildNull() {
  return TreeLine(3, "Tree_Node::IsNodeChild",
                  "IsNodeChild(  Tree_NodePtr & node): node is NULL, return FALSE\n");
}

inline LogLine AncestorStart() {
  return TreeLine(7, "Tree_Node::IsNodeAncestor",
                  "Start IsNodeAncestor(Tree_NodePtr & another_node)\n");
}

inline LogLine AncestorNull() {
  return TreeLine(3, "Tree_Node::IsNodeAncestor",
                  "IsNodeAncestor(Tree_NodePtr & another_node) : another_node is NULL\n");
}

inline LogLine AncestorEnd(bool found) {
  return TreeLine(7, "Tree_Node::IsNodeAncestor",
                  std::string("END IsNodeAncestor(Tree_NodePtr & another_node), return ") +
                      (found ? "TRUE" : "FALSE") + "\n");
}

// --- Merge ------------------------------------------------------------------

inline LogLine ChunkFound() {
  return TreeLine(6, "Tree_Node::Merge",
                  "Found chunk area that should be kept united Modifying it accordingly");
}

// --- Sequences --------------------------------------------------------------

// What Add() writes for a child that it takes as number `index`.
inline std::vector<LogLine> Added(int index) {
  return {AddStart(), InsertStart(index, -1), InsertEnd()};
}

}  // namespace lines

#endif  // TREE_TESTS_SUPPORT_TREELINES_H
