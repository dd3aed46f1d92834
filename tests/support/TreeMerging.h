// Merges two trees and checks on the way what holds whatever they are: both are left as
// they were, and the result shares nothing with them.
//
//   using namespace merging;
//   EXPECT_EQ("t(b=2,a=1)", Merged(Tree_Node::Merge, base, override));
//   Check(Tree_Node::Merge, {{"nothing to add", "t", "t(a=1)", "t(a=1)"}});

#ifndef TREE_TESTS_SUPPORT_TREEMERGING_H
#define TREE_TESTS_SUPPORT_TREEMERGING_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeLines.h"
#include "support/TreeText.h"

namespace merging {

using lines::Lines;

// Every node below `top` with its parent, so that a tree can be compared node for node.
struct Place {
  const Tree_Node* node;
  const Tree_Node* parent;
  const Tree_Value* value;

  friend bool operator==(const Place& a, const Place& b) {
    return a.node == b.node && a.parent == b.parent && a.value == b.value;
  }
};

inline std::vector<Place> Places(const Tree_NodePtr& top) {
  std::vector<Place> places;
  std::vector<Tree_Node*> open = {top.get()};
  while (!open.empty()) {
    Tree_Node* const node = open.back();
    open.pop_back();
    if (node == nullptr) continue;
    places.push_back({node, node->GetParent(), node->GetTreeValue()});
    for (int i = node->GetChildCount() - 1; i >= 0; --i) open.push_back(node->GetChildAt(i).get());
  }
  return places;
}

// Whether two trees have a node in common.
inline bool Share(const Tree_NodePtr& a, const Tree_NodePtr& b) {
  for (const Place& x : Places(a)) {
    for (const Place& y : Places(b)) {
      if (x.node == y.node || (x.value != nullptr && x.value == y.value)) return true;
    }
  }
  return false;
}

using Operation = Tree_NodePtr (*)(Tree_NodePtr&, Tree_NodePtr&);

// Runs `operation` on two trees and checks that both are left as they were, node for
// node, and that the result shares nothing with them and is a tree in good order.
inline std::string Merged(Operation operation, Tree_NodePtr& base, Tree_NodePtr& override) {
  const std::string base_before = Draw(base);
  const std::string override_before = Draw(override);
  const std::vector<Place> base_places = Places(base);
  const std::vector<Place> override_places = Places(override);
  Tree_Node* const base_node = base.get();
  Tree_Node* const override_node = override.get();

  Tree_NodePtr result = operation(base, override);
  EXPECT_FALSE(Share(result, base));
  EXPECT_FALSE(Share(result, override));
  const std::string text = Draw(result);
  for (const Place& place : Places(result)) {
    EXPECT_EQ(place.node == result.get(), place.parent == nullptr);
  }
  std::vector<Tree_Node*> open = {result.get()};
  while (!open.empty()) {
    Tree_Node* const node = open.back();
    open.pop_back();
    EXPECT_EQ(0, node->GetId());
    for (int i = 0; i < node->GetChildCount(); ++i) {
      EXPECT_EQ(node, node->GetChildAt(i)->GetParent());
      EXPECT_EQ(1u, node->GetChildAt(i).UseCount());
      open.push_back(node->GetChildAt(i).get());
    }
  }
  EXPECT_EQ(1u, result.UseCount());

  // What becomes of the result is nothing to the two.
  result->SetKeyName("changed");
  result->Destroy();
  EXPECT_EQ(base_node, base.get());
  EXPECT_EQ(override_node, override.get());
  EXPECT_EQ(base_before, Draw(base));
  EXPECT_EQ(override_before, Draw(override));
  EXPECT_EQ(base_places, Places(base));
  EXPECT_EQ(override_places, Places(override));
  return text;
}

struct MergeCase {
  const char* heading;
  const char* base;
  const char* override;
  const char* result;
  Lines lines = {};  // of levels 3 to 6
};

inline void Check(Operation operation, const std::vector<MergeCase>& cases) {
  for (const MergeCase& c : cases) {
    SCOPED_TRACE(c.heading);
    Tree_NodePtr base = Plant(c.base);
    Tree_NodePtr override = Plant(c.override);
    LogCapture log(6);
    EXPECT_EQ(c.result, Merged(operation, base, override));
    EXPECT_EQ(c.lines, log.Take());
  }
}

}  // namespace merging

#endif  // TREE_TESTS_SUPPORT_TREEMERGING_H
