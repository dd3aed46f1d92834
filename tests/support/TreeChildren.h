// What tests of the children of one node have in common: the child at an index, handles
// that hold no node, and the error of a bad index.
//
//   ExpectBoundsErr(2, 2, [&] { top->Insert(child, 3, -1); });

#ifndef TREE_TESTS_SUPPORT_TREECHILDREN_H
#define TREE_TESTS_SUPPORT_TREECHILDREN_H

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"

// Runs `fn`, which has to throw the bounds error of `index` and `count`.
inline void ExpectBoundsErr(long long index, std::size_t count, const std::function<void()>& fn) {
  try {
    fn();
    ADD_FAILURE() << "no bounds error";
  } catch (const RWBoundsErr& error) {
    EXPECT_EQ(index, error.index());
    EXPECT_EQ(count, error.count());
    EXPECT_NE(std::string::npos, std::string(error.what()).find(std::to_string(index)));
    EXPECT_NE(std::string::npos, std::string(error.what()).find(std::to_string(count)));
  }
}

inline Tree_NodePtr Child(const Tree_NodePtr& node, int index) {
  return node->GetChildAt(index);
}

// A handle without a control record and one with: both are null.
inline std::vector<Tree_NodePtr> NullHandles() {
  return {Tree_NodePtr(), Tree_NodePtr(static_cast<Tree_Node*>(nullptr)),
          Tree_Node::NULL_TREE_NODE_PTR};
}

#endif  // TREE_TESTS_SUPPORT_TREECHILDREN_H
