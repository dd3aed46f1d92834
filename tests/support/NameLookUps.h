// Every kind of look-up by name among the children of one node, beside a scan of them from
// the first to the last, which is what each must yield.
//
//   using namespace name_look_ups;
//   Tree_NodePtr top = Wide(60);
//   CheckName(top, "n30");
//   CheckAll(top);

#ifndef TREE_TESTS_SUPPORT_NAMELOOKUPS_H
#define TREE_TESTS_SUPPORT_NAMELOOKUPS_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/TreeText.h"

namespace name_look_ups {

inline std::string Name(int number) {
  return "n" + std::to_string(number);
}

inline Tree_NodePtr Wide(int children) {
  Tree_NodePtr top = Inner("top");
  for (int i = 0; i < children; ++i) {
    Tree_NodePtr child = Inner(Bytes(Name(i)));
    top->Add(child);
  }
  return top;
}

inline bool SameUpToZero(const std::string& a, const std::string& b) {
  return std::strcmp(a.c_str(), b.c_str()) == 0;
}

// The position that a scan finds, -1 for none.
inline int Scan(const Tree_NodePtr& node, const std::string& name, bool whole) {
  const int count = node->GetChildCount();
  for (int i = 0; i < count; ++i) {
    const RWCString& child = node->GetChildAt(i)->GetKeyName();
    if (whole ? Text(child) == name : SameUpToZero(Text(child), name)) return i;
  }
  return -1;
}

// Compares every kind of look-up for `name` with a scan.
inline void CheckName(Tree_NodePtr& node, const std::string& name) {
  SCOPED_TRACE(testing::PrintToString(name));
  const int whole = Scan(node, name, true);
  const int up_to_zero = Scan(node, name, false);
  Tree_NodePtr& null = Tree_Node::NULL_TREE_NODE_PTR;
  Tree_NodePtr& whole_slot = whole < 0 ? null : node->GetChildAt(whole);
  Tree_NodePtr& zero_slot = up_to_zero < 0 ? null : node->GetChildAt(up_to_zero);
  RWCString text = Bytes(name);

  const Tree_NodePtr& by_text = *name.c_str() == 0 ? node : zero_slot;
  ASSERT_EQ(by_text, node->Get(name.c_str(), node));
  ASSERT_EQ(by_text, node->Get(text, node));
  ASSERT_EQ(name.empty() ? node.get() : whole_slot.get(), node->Get(text, node.get()));
  ASSERT_EQ(name.empty() ? &node : &whole_slot, &node->GetByRef(text, node));

  if (name.find('\\') != std::string::npos) return;
  Tree_Path path(text);
  ASSERT_EQ(by_text, node->GetRelativeNode(path, node));
  Tree_Path path_for_ref(text);
  ASSERT_EQ(&by_text, &node->GetRelativeNodeByRef(path_for_ref, node));
}

inline void CheckNames(Tree_NodePtr& node, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    CheckName(node, name);
    if (testing::Test::HasFatalFailure()) return;
  }
}

// All names below `node`, and some that are not there.
inline void CheckAll(Tree_NodePtr& node) {
  std::vector<std::string> names = {"", "missing", "n", "N0", "n0 ", " n0"};
  for (int i = 0; i < node->GetChildCount(); ++i) {
    names.push_back(Text(node->GetChildAt(i)->GetKeyName()));
  }
  CheckNames(node, names);
}

}  // namespace name_look_ups

#endif  // TREE_TESTS_SUPPORT_NAMELOOKUPS_H
