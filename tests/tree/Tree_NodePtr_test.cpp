// The counted handle to a node.

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeText.h"

namespace {

static_assert(std::is_same_v<Tree_NodePtr, ThreadAPI_AutoPtrThreadSafe<Tree_Node>>);
static_assert(sizeof(Tree_NodePtr) == 2 * sizeof(void*));
static_assert(std::is_convertible_v<Tree_Node*, Tree_NodePtr>);
static_assert(!std::is_convertible_v<Tree_NodePtr, bool>);
static_assert(std::is_nothrow_move_constructible_v<Tree_NodePtr>);
static_assert(std::is_nothrow_move_assignable_v<Tree_NodePtr>);

PoolFigures Used(const PoolFigures& before) {
  return PoolFigures::Now() - before;
}

constexpr PoolFigures kNothing = {0, 0, 0, 0, 0};
constexpr PoolFigures kOneRecord = {0, 0, 0, 0, 1};
constexpr PoolFigures kOneNode = {1, 0, 0, 0, 1};

TEST(TreeNodePtr, HasNeitherNodeNorRecordByDefault) {
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr null;
  EXPECT_TRUE(null.isNull());
  EXPECT_EQ(nullptr, null.get());
  EXPECT_FALSE(static_cast<bool>(null));
  EXPECT_TRUE(!null);
  Tree_NodePtr copy(null);
  EXPECT_TRUE(copy.isNull());
  EXPECT_EQ(kNothing, Used(before));
}

TEST(TreeNodePtr, MakesARecordForANullNodeToo) {
  const PoolFigures before = PoolFigures::Now();
  {
    Tree_NodePtr null(static_cast<Tree_Node*>(nullptr));
    EXPECT_TRUE(null.isNull());
    EXPECT_EQ(1u, null.UseCount());
    EXPECT_EQ(kOneRecord, Used(before));
    Tree_NodePtr copy(null);
    EXPECT_EQ(2u, null.UseCount());
    EXPECT_EQ(kOneRecord, Used(before));
  }
  EXPECT_EQ(kNothing, Used(before));
}

TEST(TreeNodePtr, TakesANodeFromARawPointer) {
  const PoolFigures before = PoolFigures::Now();
  {
    auto* node = new Tree_Node("n");
    Tree_NodePtr handle = node;
    EXPECT_EQ(node, handle.get());
    EXPECT_EQ(node, handle.operator->());
    EXPECT_EQ(node, &*handle);
    EXPECT_FALSE(handle.isNull());
    EXPECT_TRUE(static_cast<bool>(handle));
    EXPECT_FALSE(!handle);
    EXPECT_EQ(1u, handle.UseCount());
    EXPECT_EQ(kOneNode, Used(before));
  }
  EXPECT_EQ(kNothing, Used(before));
}

TEST(TreeNodePtr, CountsItsCopies) {
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr a = Inner("a");
  {
    Tree_NodePtr b(a);
    Tree_NodePtr c;
    c = b;
    EXPECT_EQ(3u, a.UseCount());
    EXPECT_EQ(a.get(), c.get());
    EXPECT_EQ(kOneNode, Used(before));
  }
  EXPECT_EQ(1u, a.UseCount());
  EXPECT_EQ(kOneNode, Used(before));
  a = Tree_NodePtr();
  EXPECT_EQ(kNothing, Used(before));
}

TEST(TreeNodePtr, ReleasesWhatItHeldWhenItIsAssigned) {
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr a = Inner("a");
  Tree_NodePtr b = Inner("b");
  a = b;
  EXPECT_EQ(kOneNode, Used(before));
  EXPECT_EQ("b", Text(a->GetKeyName()));
  EXPECT_EQ(2u, b.UseCount());
}

TEST(TreeNodePtr, DoesNothingWhenBothPointAtTheSameNode) {
  Tree_NodePtr a = Inner("a");
  Tree_NodePtr b = a;
  Tree_NodePtr& self = a;
  a = self;
  a = b;
  EXPECT_EQ(2u, a.UseCount());

  // Nulls are the same node, whether they have a record or not.
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr with_record(static_cast<Tree_Node*>(nullptr));
  Tree_NodePtr without_record;
  without_record = with_record;
  EXPECT_EQ(0u, without_record.UseCount());
  with_record = Tree_NodePtr(without_record);
  Tree_NodePtr other(static_cast<Tree_Node*>(nullptr));
  const Tree_NodePtr& other_ref = other;
  Tree_NodePtr third(static_cast<Tree_Node*>(nullptr));
  third = other_ref;
  EXPECT_EQ(1u, other.UseCount());
  EXPECT_EQ(1u, third.UseCount());
  EXPECT_EQ(2, Used(before).records);
}

TEST(TreeNodePtr, CountsTheNewNodeBeforeItReleasesTheOld) {
  // The handle that is assigned from stands inside the tree that goes away.
  Tree_NodePtr handle = Plant("top(a(b(c=1)),d)");
  handle = handle->GetChildAt(0);
  EXPECT_EQ("a(b(c=1))", Draw(handle));
  EXPECT_EQ(nullptr, handle->GetParent());
  handle = handle->GetChildAt(0)->GetChildAt(0);
  EXPECT_EQ("c=1", Draw(handle));
  EXPECT_EQ(1u, handle.UseCount());
}

TEST(TreeNodePtr, IsNullOnceItWasMovedFrom) {
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr a = Inner("a");
  Tree_NodePtr b(std::move(a));
  EXPECT_TRUE(a.isNull());
  EXPECT_EQ(0u, a.UseCount());
  EXPECT_EQ(1u, b.UseCount());
  Tree_NodePtr c = Inner("c");
  c = std::move(b);
  EXPECT_TRUE(b.isNull());
  EXPECT_EQ("a", Text(c->GetKeyName()));
  EXPECT_EQ(1u, c.UseCount());
  EXPECT_EQ(kOneNode, Used(before));
  // A moved-from handle can be used again.
  a = c;
  EXPECT_EQ(2u, c.UseCount());
}

TEST(TreeNodePtr, SurvivesBeingMovedOutOfTheTreeThatItReplaces) {
  Tree_NodePtr handle = Plant("top(a(x),b)");
  handle = Tree_NodePtr(handle->GetChildAt(0));
  EXPECT_EQ("a(x)", Draw(handle));
  EXPECT_EQ(1u, handle.UseCount());
}

TEST(TreeNodePtr, IsComparedByItsNode) {
  Tree_NodePtr a = Inner("a");
  Tree_NodePtr same = a;
  Tree_NodePtr other = Inner("a");
  Tree_NodePtr null;
  Tree_NodePtr null_with_record(static_cast<Tree_Node*>(nullptr));
  EXPECT_TRUE(a == same);
  EXPECT_FALSE(a != same);
  EXPECT_TRUE(a != other);
  EXPECT_FALSE(a == other);
  EXPECT_TRUE(null == null_with_record);
  EXPECT_FALSE(null != null_with_record);
  EXPECT_TRUE(null == Tree_Node::NULL_TREE_NODE_PTR);
  EXPECT_TRUE(a != null);
}

TEST(TreeNodePtr, DestroysTheTreeWithTheLastHandle) {
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr top = Plant("top(a(b=1),c)");
  Tree_NodePtr second(top);
  top = Tree_NodePtr();
  EXPECT_EQ((PoolFigures{4, 2, 3, 1, 4}), Used(before));
  second = Tree_Node::NULL_TREE_NODE_PTR;
  EXPECT_EQ(kNothing, Used(before));
}

TEST(TreeNodePtr, KeepsAChildWhenTheTreeGoes) {
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr child;
  {
    Tree_NodePtr top = Plant("top(a(b=1),c)");
    child = top->GetChildAt(0);
  }
  EXPECT_EQ((PoolFigures{2, 1, 1, 1, 2}), Used(before));
  EXPECT_EQ(nullptr, child->GetParent());
  EXPECT_EQ("a(b=1)", Draw(child));
}

TEST(TreeNodePtr, ReachesTheSharedNullHandleThroughFailedLookUps) {
  const std::uint32_t count = Tree_Node::NULL_TREE_NODE_PTR.UseCount();
  EXPECT_LE(1u, count);
  Tree_NodePtr top = Inner("top");
  {
    Tree_NodePtr missing = top->Get("missing", top);
    EXPECT_TRUE(missing.isNull());
    EXPECT_EQ(missing, Tree_Node::NULL_TREE_NODE_PTR);
  }
  EXPECT_EQ(count, Tree_Node::NULL_TREE_NODE_PTR.UseCount());
}

TEST(TreeNodePtr, CanBeCopiedAndReleasedFromSeveralThreads) {
  Tree_NodePtr top = Plant("top(a(b=1),c)");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([handle = top]() {
      for (int i = 0; i < 10000; ++i) {
        Tree_NodePtr copy(handle);
        Tree_NodePtr child = copy->GetChildAt(i % 2);
        Tree_NodePtr again;
        again = child;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  threads.clear();
  EXPECT_EQ(1u, top.UseCount());
  EXPECT_EQ(1u, top->GetChildAt(0).UseCount());
}

TEST(TreeNodePtr, MayReleaseItsTreeOnAnotherThread) {
  const PoolFigures before = PoolFigures::Now();
  {
    Tree_NodePtr top = Plant("top(a(b=1,c),d)");
    std::thread([handle = std::move(top)]() mutable { handle = Tree_NodePtr(); }).join();
  }
  EXPECT_EQ(kNothing, Used(before));
}

TEST(TreeNodePtr, WritesNoLineOfItsOwn) {
  Tree_NodePtr leaf = Leaf("leaf", "v");
  LogCapture log;
  {
    Tree_NodePtr copy(leaf);
    Tree_NodePtr moved(std::move(copy));
    Tree_NodePtr null(static_cast<Tree_Node*>(nullptr));
    moved = null;
    leaf = Tree_NodePtr();
  }
  EXPECT_NO_LOG(log);
}

}  // namespace
