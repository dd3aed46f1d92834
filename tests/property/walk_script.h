// What a walk over a sub-tree does to the nodes that it meets: a list of actions that both
// sides read, each from its start.

#ifndef TREE_TESTS_PROPERTY_WALK_SCRIPT_H
#define TREE_TESTS_PROPERTY_WALK_SCRIPT_H

#include <cstddef>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "property/naive_tree.h"
#include "property/sides.h"

namespace property {

// The actions of one walk.  Both sides read the same list, each from its start.
struct Script {
  struct Action {
    unsigned number;
    std::string name;
  };
  std::vector<Action> actions;
  std::size_t next = 0;
  std::string visited;
};
inline Script* g_script = nullptr;

inline Handle NewChild(naive::Node* at, const std::string& name, bool leaf) {
  naive::World& world = at->world;
  return naive::Node::Make(world, name, leaf ? new naive::Value(world, "new", 1) : nullptr);
}
inline Tree_NodePtr NewChild(Tree_Node*, const std::string& name, bool leaf) {
  if (leaf) return new Tree_Node(Bytes(name), new Tree_Value("new", 1));
  return new Tree_Node(Bytes(name));
}
inline std::string NameAsText(naive::Node* node) {
  return node->GetKeyName();
}
inline std::string NameAsText(Tree_Node* node) {
  return Text(node->GetKeyName());
}
inline void Rename(naive::Node* node, const std::string& name) {
  node->SetKeyName(name);
}
inline void Rename(Tree_Node* node, const std::string& name) {
  node->SetKeyName(Bytes(name));
}

// The node's place among its parent's children, -1 when it has none.
template <class Node>
int OwnIndex(Node* node) {
  Node* parent = node->GetParent();
  for (int i = 0; parent != nullptr && i < parent->GetChildCount(); ++i) {
    if (&*parent->GetChildAt(i) == node) return i;
  }
  return -1;
}

template <class Node>
inline void Visit(Node* node) {
  Script& script = *g_script;
  script.visited += "<" + NameAsText(node) + ">";
  if (script.next == script.actions.size()) return;
  const Script::Action& action = script.actions[script.next++];
  const std::string& name = action.name;
  switch (action.number) {
    case 0:
      Rename(node, name);
      break;
    case 1:
      if (node->GetChildCount() > 0) node->Remove(0);
      break;
    case 2:
      if (node->GetChildCount() > 0) node->Remove(node->GetChildCount() - 1);
      break;
    case 3:
    case 4: {
      auto child = NewChild(node, name, action.number == 3);
      node->Add(child);
      break;
    }
    case 5: {
      auto child = NewChild(node, name, false);
      node->Insert(child, 0, 3);
      break;
    }
    case 6:
      // The first child goes to the end and is met again.
      if (node->GetChildCount() > 1) {
        node->Insert(node->GetChildAt(0), node->GetChildCount() - 1, -1);
      }
      break;
    case 7: {
      const int index = OwnIndex(node);
      if (index >= 0) node->GetParent()->Remove(index);
      break;
    }
    case 8:
      node->SetId(node->GetId() + 1);
      break;
    case 9:
      node->Destroy();
      break;
    case 10:
      node->RemoveEmptyBranches();
      break;
    case 11: {
      // A sibling behind it is still met, one before it makes this node be met again.
      auto sibling = NewChild(node, name, false);
      if (OwnIndex(node) >= 0) node->GetParent()->Add(sibling);
      break;
    }
    case 12: {
      auto sibling = NewChild(node, name, true);
      if (OwnIndex(node) >= 0) node->GetParent()->Insert(sibling, 0, -1);
      break;
    }
    case 13: {
      const int index = OwnIndex(node);
      if (index < 0) break;
      Node* parent = node->GetParent();
      parent->Insert(parent->GetChildAt(index), parent->GetChildCount() - 1, -1);
      break;
    }
    default:
      break;
  }
}

}  // namespace property

#endif  // TREE_TESTS_PROPERTY_WALK_SCRIPT_H
