// Looking names up where children do not name the node that lists them as their parent: callers
// have put them into handles, have set their parents by hand, or have assigned nodes.
//
// The trees here are read by name only, unless a test is about a handle that was given away.

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/TreeMaking.h"

namespace {

Tree_Node* Find(const Tree_NodePtr& node, const char* name) {
  return node->Get(RWCString(name), node.get());
}

// Each lets go of the child in the first handle of a node.
using LetGo = void (*)(Tree_NodePtr&);
const std::vector<LetGo> kWaysToLetGo = {
    [](Tree_NodePtr& node) { node->Remove(0); },
    [](Tree_NodePtr& node) { node->Destroy(); },
    [](Tree_NodePtr& node) { node = Tree_NodePtr(); },
};

TEST(Strays, AreFoundByTheirNewNamesOnceAnotherNodeHasLetGoOfThem) {
  for (const LetGo let_go : kWaysToLetGo) {
    Tree_NodePtr child = Inner("x");
    Tree_NodePtr replaced = Inner("a");
    Tree_NodePtr parent = Inner("parent", {child});
    Tree_NodePtr other = Inner("other", {replaced});
    other->GetChildAt(0) = child;
    replaced->SetParent(nullptr);
    let_go(other);
    ASSERT_EQ(nullptr, child->GetParent());
    child->SetKeyName("y");
    EXPECT_EQ(child.get(), Find(parent, "y"));
    EXPECT_EQ(nullptr, Find(parent, "x"));
    Tree_Path path("y");
    EXPECT_EQ(child, parent->GetOrCreateRelativeNode(path, parent));
  }
}

// Indexes of the same group cannot tell their marks apart; of so many, some are of one group.
TEST(Strays, AreFoundAmongManySiblingsToo) {
  constexpr int kChildren = 1500;
  constexpr int kWide = 24;
  Tree_NodePtr parent = Inner("parent");
  std::vector<Tree_NodePtr> children;
  for (int i = 0; i < kChildren; ++i) {
    children.push_back(Inner(Bytes("x" + std::to_string(i))));
    parent->Add(children.back());
  }
  ASSERT_EQ(children[0].get(), Find(parent, "x0"));
  std::vector<Tree_NodePtr> others;
  for (int i = 0; i < kChildren; ++i) {
    Tree_NodePtr replaced = Inner(children[static_cast<std::size_t>(i)]->GetKeyName());
    others.push_back(Inner("other", {replaced}));
    for (int k = 1; k < kWide; ++k) {
      Tree_NodePtr sibling = Inner(Bytes("a" + std::to_string(k)));
      others.back()->Add(sibling);
    }
    ASSERT_NE(nullptr, Find(others.back(), "a1"));
    others.back()->GetChildAt(0) = children[static_cast<std::size_t>(i)];
    replaced->SetParent(nullptr);
    others.back()->Remove(0);
    const std::string name = "y" + std::to_string(i);
    children[static_cast<std::size_t>(i)]->SetKeyName(Bytes(name));
    ASSERT_EQ(children[static_cast<std::size_t>(i)].get(), Find(parent, name.c_str())) << name;
  }
}

TEST(Strays, AreFoundWhereAnotherHandleOfTheirParentHasLetGoOfThem) {
  Tree_NodePtr a = Inner("a");
  Tree_NodePtr b = Inner("b");
  Tree_NodePtr c = Inner("c");
  Tree_NodePtr parent = Inner("parent", {a, b, c});
  parent->GetChildAt(0) = b;
  parent->Remove(0);
  b->SetKeyName("c");
  EXPECT_EQ(b.get(), Find(parent, "c"));
  a->SetParent(nullptr);
}

TEST(Strays, AreFoundByEveryNewName) {
  Tree_NodePtr child = Inner("x");
  Tree_NodePtr parent = Inner("parent", {Inner("a"), child, Inner("b")});
  Tree_NodePtr untouched = Inner("untouched", {Inner("y"), Inner("z")});
  child->SetParent(untouched.get());
  for (const char* name : {"y", "z", "x", "a"}) {
    child->SetKeyName(name);
    const bool is_first = std::string(name) != "a";
    EXPECT_EQ(is_first ? child.get() : parent->GetChildAt(0).get(), Find(parent, name));
    EXPECT_EQ(untouched->GetChildAt(0).get(), Find(untouched, "y"));
    EXPECT_EQ(nullptr, Find(untouched, "x"));
  }
  child->SetParent(parent.get());
}

// The parent that a replaced node names may be gone, or another thread's.
TEST(Strays, LeaveTheParentAloneWhenAnotherOneIsSetByHand) {
  Tree_NodePtr replaced = Inner("a");
  {
    Tree_NodePtr parent = Inner("parent", {replaced});
    parent->GetChildAt(0) = Inner("b");
  }
  replaced->SetParent(nullptr);
  replaced->SetKeyName("c");
  Tree_NodePtr top = Inner("top", {replaced});
  EXPECT_EQ(replaced.get(), Find(top, "c"));
}

TEST(Strays, OfNodesThatSwapWhatTheyHoldAreFound) {
  Tree_NodePtr child = Inner("x");
  Tree_NodePtr a = Inner("a", {child});
  Tree_NodePtr b = Inner("b", {Inner("z")});
  auto* const between = new Tree_Node("between");
  *between = *a;
  *a = *b;
  *b = *between;
  ASSERT_EQ(child.get(), Find(b, "x"));
  child->SetKeyName("y");
  EXPECT_EQ(child.get(), Find(b, "y"));
  EXPECT_EQ(nullptr, Find(b, "x"));
  // What it holds is that of `b` now.
  Tree_Node::operator delete(between);
}

TEST(Strays, OfANodeFromTheHeapThatSharesItsChildrenAreFound) {
  Tree_NodePtr a = Inner("a", {Inner("x")});
  Tree_Node::m_NodesPool.FailNextAllocations(1);
  auto* const from_heap = new Tree_Node("heap");
  *from_heap = *a;
  Tree_NodePtr child = Inner("w");
  from_heap->Add(child);
  child->SetKeyName("v");
  EXPECT_EQ(child.get(), Find(a, "v"));
  child->SetParent(a.get());
  Tree_Node::operator delete(from_heap);
}

// A sibling's shortcut may lead to memory that has become something else: what was there is
// gone, and the sibling confirms no shortcut that is out of date.
TEST(Strays, AreNotMadeOfSiblingsWhoseValuesWereReplaced) {
  void* const memory = ::operator new(sizeof(Tree_NodePtrVec));
  Tree_NodePtr y = Inner("y");
  Tree_NodePtr x(new Tree_Node("x", ::new (memory) Tree_Value("1", 0)));
  Tree_NodePtr parent = Inner("parent", {y, x});
  Tree_Value* const former = x->GetTreeValue();
  x->SetTreeValue(new Tree_Value("2", 0));
  delete former;  // to the heap, which may use it for the vector that comes now
  Tree_Node::m_sChildTreeNodeVec.FailNextAllocations(1);
  Tree_NodePtr below = Inner("below");
  y->Add(below);
  y->Destroy();
  EXPECT_EQ(x.get(), Find(parent, "x"));
  RWCString path("x");
  EXPECT_EQ("2", parent->GetValue(path, parent));
}

}  // namespace
