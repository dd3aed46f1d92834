// Makes small trees in one expression, and a few odd ones:
//
//   Tree_NodePtr top = Inner("cfg", {Leaf("a", "1"), Inner("net", {Leaf("port", "80")})});
//
// Names are taken as they are, empty ones and outer blanks included.  Nothing here
// writes a log line at the default level.

#ifndef TREE_TESTS_SUPPORT_TREEMAKING_H
#define TREE_TESTS_SUPPORT_TREEMAKING_H

#include <new>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/StringText.h"

inline Tree_NodePtr Leaf(const RWCString& name, const RWCString& value, int is_change = 0) {
  Tree_NodePtr node(new Tree_Node("leaf", new Tree_Value(value, is_change)));
  node->SetKeyName(name);
  return node;
}

inline Tree_NodePtr Inner(const RWCString& name, std::vector<Tree_NodePtr> children = {}) {
  Tree_NodePtr node(new Tree_Node("inner"));
  node->SetKeyName(name);
  for (Tree_NodePtr& child : children) node->Insert(child, node->GetChildCount(), -1);
  return node;
}

// A leaf whose value is gone.
inline Tree_NodePtr LeafWithoutValue(const RWCString& name) {
  Tree_NodePtr node = Leaf(name, "gone");
  node->Destroy();
  return node;
}

// `count` nodes called `name`, each the only child of the one before; the first is
// returned, the last one handed out through `bottom`.
inline Tree_NodePtr Chain(int count, const RWCString& name, Tree_NodePtr& bottom) {
  Tree_NodePtr top = Inner(name);
  bottom = top;
  for (int i = 1; i < count; ++i) {
    Tree_NodePtr above = Inner(name);
    above->Insert(top, 0, -1);
    top = above;
  }
  return top;
}

// Interns every name that a nameless node may get, so that a test which makes such
// nodes leaves no string behind that was not known before.
inline void InternNamesMadeAfterTheClock() {
  Tree_NodePtr node(new Tree_Node("clock"));
  for (int number = 0; number < 100000; ++number) {
    node->SetKeyName(RWCString(("undefined_tree" + std::to_string(number)).c_str()));
  }
}

// Calls `operation` with the heap denied after 0, 1, 2, ... allocations until it comes
// through, and calls `check` after every failure.  The result is the number of
// failures; 0 where the heap is not counted, so that it cannot be denied.
template <class Operation, class Check>
int FailEveryAllocation(Operation operation, Check check) {
  for (int failures = 0;; ++failures) {
    try {
      HeapDenied denied(failures);
      operation();
      return failures;
    } catch (const std::bad_alloc&) {
    }
    check();
  }
}

// Joins paths with something else than a backslash while it lives.
class SeparatorGuard {
 public:
  explicit SeparatorGuard(const RWCString& separator) : m_saved(Tree_Node::separator) {
    Tree_Node::separator = separator;
  }
  ~SeparatorGuard() { Tree_Node::separator = m_saved; }
  SeparatorGuard(const SeparatorGuard&) = delete;
  SeparatorGuard& operator=(const SeparatorGuard&) = delete;

 private:
  RWCString m_saved;
};

#endif  // TREE_TESTS_SUPPORT_TREEMAKING_H
