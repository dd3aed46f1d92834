// GetChangesTreeNode: which leaves come out, below which nodes, with which flags and
// lines; beside the same operation put together recursively from public calls; on very
// wide and very deep trees; and when pools and heap yield nothing.

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "property/settings.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/SmallStackThread.h"
#include "support/TreeLines.h"
#include "support/TreeText.h"

namespace {

std::string Changes(Tree_NodePtr& node) {
  return Draw(Tree_Node::GetChangesTreeNode(node));
}

// --- What comes out -----------------------------------------------------------------

struct ChangeCase {
  const char* heading;
  const char* tree;
  const char* changes;
};

const ChangeCase kChanges[] = {
    // Nothing changed.
    {"a top node alone", "t", "null"},
    {"no flag", "t(a=1,b(c=2,d),e)", "null"},
    {"a node without children is not looked at, changed or not", "t=1*", "null"},
    {"nor is an unchanged leaf", "t=1", "null"},
    // A changed leaf comes below copies of the nodes above it.
    {"a leaf below the top", "t(a=1*)", "t(a=1*)"},
    {"beside leaves and nodes that did not change", "t(z=0,a=1*,b=2,c(d=3),e)", "t(a=1*)"},
    {"three levels down", "t(a(b=1*,c=2),d=3)", "t(a(b=1*))"},
    {"far down", "t(a(b(c(d(e=1*)))))", "t(a(b(c(d(e=1*)))))"},
    {"an empty value", "t(a=*)", "t(a=*)"},
    {"the only leaf of its branch", "t(a(b,c(d=1*),e),f(g=2))", "t(a(c(d=1*)))"},
    // Children keep their order.
    {"leaves", "t(c=1*,a=2*,b=3*)", "t(c=1*,a=2*,b=3*)"},
    {"leaves and sub-trees", "t(c=1*,a(x=1*,y=2,z=3*),q=1,b=3*,d(e(f=4*)))",
     "t(c=1*,a(x=1*,z=3*),b=3*,d(e(f=4*)))"},
    {"a sub-tree first", "t(a(x=1*),b=2*)", "t(a(x=1*),b=2*)"},
    // Siblings of one name are nodes of their own.
    {"leaves of one name", "t(a=1*,a=2,a=3*)", "t(a=1*,a=3*)"},
    {"sub-trees of one name", "t(a(x=1*),a(y=2),a(x=3*))", "t(a(x=1*),a(x=3*))"},
    {"a leaf and a sub-tree of one name", "t(a(x=1*),a=2*)", "t(a(x=1*),a=2*)"},
};

TEST(Changes, AreTheFlaggedLeavesBelowCopiesOfTheNodesAboveThem) {
  for (const ChangeCase& c : kChanges) {
    SCOPED_TRACE(c.heading);
    Tree_NodePtr tree = Plant(c.tree);
    LogCapture log(6);
    EXPECT_EQ(c.changes, Changes(tree));
    EXPECT_NO_LOG(log);
    EXPECT_EQ(c.tree, Draw(tree));
  }
}

TEST(Changes, AreNoneForANullHandle) {
  Tree_NodePtr without_record;
  Tree_NodePtr with_record(static_cast<Tree_Node*>(nullptr));
  LogCapture log;
  for (Tree_NodePtr* null : {&without_record, &with_record, &Tree_Node::NULL_TREE_NODE_PTR}) {
    EXPECT_TRUE(Tree_Node::GetChangesTreeNode(*null).isNull());
  }
  EXPECT_NO_LOG(log);
}

TEST(Changes, AreANullHandleThatTakesNothingWhenThereAreNone) {
  Tree_NodePtr tree = Plant("t(a=1,b(c=2))");
  Tree_NodePtr childless = Plant("t");
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr none = Tree_Node::GetChangesTreeNode(tree);
  Tree_NodePtr none_either = Tree_Node::GetChangesTreeNode(childless);
  EXPECT_EQ(Tree_Node::NULL_TREE_NODE_PTR, none);
  EXPECT_EQ(Tree_Node::NULL_TREE_NODE_PTR, none_either);
  EXPECT_TRUE(none.isNull());
  EXPECT_TRUE(none_either.isNull());
  EXPECT_EQ(before, PoolFigures::Now());
}

TEST(Changes, ComeFromTheNodeThatIsAskedAndNotFromAbove) {
  Tree_NodePtr tree = Plant("t(a=1*,b(c=2*,d(e=3*)))");
  EXPECT_EQ("b(c=2*,d(e=3*))", Changes(tree->GetChildAt(1)));
  EXPECT_EQ("d(e=3*)", Changes(tree->GetChildAt(1)->GetChildAt(1)));
  EXPECT_EQ("null", Changes(tree->GetChildAt(0)));
}

TEST(Changes, ReadAnyFlagButZeroAndWriteOne) {
  for (const int flag : {1, -1, 2, 7, INT_MAX, INT_MIN}) {
    SCOPED_TRACE(flag);
    Tree_NodePtr tree = Inner("t");
    Tree_NodePtr leaf = Leaf("a", "1", flag);
    tree->Add(leaf);
    Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(tree);
    ASSERT_FALSE(changes.isNull());
    ASSERT_EQ(1, changes->GetChildCount());
    EXPECT_EQ(1, changes->GetChildAt(0)->GetTreeValue()->IsChange());
    EXPECT_EQ(flag, leaf->GetTreeValue()->IsChange());

    leaf->GetTreeValue()->SetIsChange(0);
    EXPECT_TRUE(Tree_Node::GetChangesTreeNode(tree).isNull());
  }
}

TEST(Changes, AreNewNodesThatStandByThemselves) {
  Tree_NodePtr tree = Plant("t(a(b=1*),c=2)");
  RWCString above("sys\\main");
  tree->SetVirtualParentPath(above);
  tree->SetId(1);
  tree->GetChildAt(0)->SetId(2);
  tree->GetChildAt(0)->GetChildAt(0)->SetId(3);
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(tree);
  EXPECT_EQ((PoolFigures{3, 2, 2, 1, 3}), PoolFigures::Now() - before);
  EXPECT_EQ(1u, changes.UseCount());
  EXPECT_EQ(nullptr, changes->GetParent());
  EXPECT_EQ(RWCString(), changes->GetVirtualParentPath());
  Tree_Node* const a = changes->GetChildAt(0).get();
  Tree_Node* const b = a->GetChildAt(0).get();
  EXPECT_EQ(RWCString("t\\a\\b"), b->GetPath());
  EXPECT_EQ(1u, changes->GetChildAt(0).UseCount());
  EXPECT_EQ(1u, a->GetChildAt(0).UseCount());
  EXPECT_EQ(changes.get(), a->GetParent());
  EXPECT_EQ(a, b->GetParent());
  EXPECT_TRUE(b->IsLeaf());
  EXPECT_FALSE(a->IsLeaf());
  EXPECT_EQ(nullptr, a->GetTreeValue());
  EXPECT_EQ(0, changes->GetId());
  EXPECT_EQ(0, a->GetId());
  EXPECT_EQ(0, b->GetId());
  // Strings are shared, values are not.
  EXPECT_EQ(&tree->GetChildAt(0)->GetKeyName(), &a->GetKeyName());
  b->GetTreeValue()->SetValue(RWCString("changed"));
  changes->Destroy();
  EXPECT_EQ("t(a(b=1*),c=2)", Draw(tree));
}

TEST(Changes, TakeNoNoticeOfInnerNodesWithAValue) {
  Tree_NodePtr tree = Plant("t(a(b=1),c,d(e=2*))");
  tree->SetTreeValue(new Tree_Value("top", 1));
  tree->GetChildAt(0)->SetTreeValue(new Tree_Value("inner", 1));
  tree->GetChildAt(1)->SetTreeValue(new Tree_Value("empty", 1));
  tree->GetChildAt(2)->SetTreeValue(new Tree_Value("above", 1));
  Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(tree);
  EXPECT_EQ("t(d(e=2*))", Draw(changes));
  EXPECT_EQ(nullptr, changes->GetTreeValue());
  EXPECT_EQ(nullptr, changes->GetChildAt(0)->GetTreeValue());
}

TEST(Changes, TakeNamesAndValuesAsTheyAre) {
  const std::string kNames[] = {
      "", " ", " a ", "\t", std::string("a\0b", 3), "a\\b", "\x80\xff", std::string("\0", 1)};
  const std::string value("v\0 w ", 5);
  for (const std::string& name : kNames) {
    SCOPED_TRACE(testing::PrintToString(name));
    Tree_NodePtr tree = Plant("t(x(y=1*))");
    Tree_NodePtr inner = tree->GetChildAt(0);
    Tree_NodePtr leaf = inner->GetChildAt(0);
    for (Tree_NodePtr* node : {&tree, &inner, &leaf}) (*node)->SetKeyName(Bytes(name));
    leaf->GetTreeValue()->SetValue(Bytes(value));
    LogCapture log(6);
    Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(tree);
    EXPECT_NO_LOG(log);
    EXPECT_EQ(name + "(" + name + "(" + name + "=" + value + "*))", Draw(changes));
  }
}

// --- Lines --------------------------------------------------------------------------

TEST(Changes, WriteTheLinesOfTheirInsertions) {
  Tree_NodePtr tree = Plant("t(a=1*,q=0,b(c=2*,d=3*,e(f=4)),g=5*)");
  LogCapture log;
  Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(tree);
  EXPECT_LOG(log, lines::InsertStart(0, -1), lines::InsertEnd(),  // a
             lines::InsertStart(0, -1), lines::InsertEnd(),       // c
             lines::InsertStart(1, -1), lines::InsertEnd(),       // d
             lines::InsertStart(1, -1), lines::InsertEnd(),       // b
             lines::InsertStart(2, -1), lines::InsertEnd());      // g
}

TEST(Changes, WriteALineForALeafWithoutAValueAndPassItBy) {
  Tree_NodePtr tree = Plant("t(a=1*,b=2*,c(d=3*))");
  tree->GetChildAt(0)->Destroy();
  tree->GetChildAt(2)->GetChildAt(0)->Destroy();
  LogCapture log;
  Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(tree);
  EXPECT_LOG(log, lines::NoValue(), lines::InsertStart(0, -1), lines::InsertEnd(),
             lines::NoValue());
  EXPECT_EQ("t(b=2*)", Draw(changes));
}

TEST(Changes, WriteNothingWhereThereAreNone) {
  Tree_NodePtr tree = Plant("t(a=1,b(c=2,d),e)");
  Tree_NodePtr leaf = Plant("t=1*");
  LogCapture log;
  Tree_Node::GetChangesTreeNode(tree);
  Tree_Node::GetChangesTreeNode(leaf);
  EXPECT_NO_LOG(log);
}

// --- Beside the same, step by step -----------------------------------------------------

Tree_NodePtr LiteralChanges(Tree_NodePtr& node) {
  Tree_NodePtr result;
  bool changed = false;
  if (node->GetChildCount() == 0) return Tree_Node::NULL_TREE_NODE_PTR;
  const int count = node->GetChildCount();
  for (int i = 0; i < count; ++i) {
    Tree_NodePtr child = node->GetChildAt(i);
    Tree_NodePtr below;
    if (child->IsLeaf()) {
      Tree_Value* const value = child->GetTreeValue();
      if (value == nullptr || value->IsChange() == 0) continue;
      below = Tree_NodePtr(new Tree_Node("leaf", new Tree_Value(value->GetValue(), 1)));
      below->SetKeyName(child->GetKeyName());
    } else {
      below = LiteralChanges(child);
      if (below.isNull()) continue;
    }
    changed = true;
    if (result.isNull()) {
      result = Tree_NodePtr(new Tree_Node("inner"));
      result->SetKeyName(node->GetKeyName());
    }
    result->Insert(below, result->GetChildCount(), -1);
  }
  return changed ? result : Tree_Node::NULL_TREE_NODE_PTR;
}

int Below(std::mt19937& random, int n) {
  return static_cast<int>(random() % static_cast<std::uint32_t>(n));
}

Tree_NodePtr RandomNode(std::mt19937& random) {
  static const char* const kNames[] = {"a", "b", "c", "d", "", " ", "\x80"};
  const std::string name = kNames[Below(random, 7)];
  Tree_NodePtr node;
  if (Below(random, 2) == 0) {
    node = Inner("inner");
    if (Below(random, 10) == 0) node->SetTreeValue(new Tree_Value("of an inner node", 1));
  } else {
    node = Leaf("leaf", Bytes(std::to_string(Below(random, 20))), Below(random, 4) - 2);
    if (Below(random, 12) == 0) node->Destroy();
  }
  node->SetKeyName(Bytes(Below(random, 20) == 0 ? std::string("a\0b", 3) : name));
  return node;
}

Tree_NodePtr RandomTree(std::mt19937& random) {
  Tree_NodePtr top = RandomNode(random);
  std::vector<Tree_NodePtr> inner;
  if (!top->IsLeaf()) inner.push_back(top);
  const int size = inner.empty() ? 0 : Below(random, 60);
  // Some trees hold next to no flag.
  const bool quiet = Below(random, 3) == 0;
  for (int i = 0; i < size; ++i) {
    Tree_NodePtr node = RandomNode(random);
    if (quiet && node->GetTreeValue() != nullptr && Below(random, 20) != 0) {
      node->GetTreeValue()->SetIsChange(0);
    }
    Tree_NodePtr parent =
        inner[static_cast<std::size_t>(Below(random, static_cast<int>(inner.size())))];
    parent->Insert(node, Below(random, parent->GetChildCount() + 1), -1);
    if (!node->IsLeaf()) inner.push_back(node);
    // Who a child names as its parent does not matter here.
    if (Below(random, 15) == 0) node->SetParent(Below(random, 2) == 0 ? nullptr : top.get());
  }
  return top;
}

TEST(LiteralChanges, AgreesWithTheLibraryOnRandomTrees) {
  const std::uint64_t rounds = settings::Rounds(3000);
  const auto seed = static_cast<std::uint32_t>(settings::Seed());
  std::cout << "seed " << seed << ", " << rounds << " rounds" << std::endl;
  int found = 0;
  for (std::uint32_t round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE(testing::Message() << "TREE_TEST_SEED=" << seed + round << " TREE_TEST_ROUNDS=1");
    std::mt19937 random(seed + round);
    Tree_NodePtr tree = RandomTree(random);
    const std::string before = Draw(tree);
    SCOPED_TRACE(before);
    Tree_NodePtr expected;
    Tree_NodePtr changes;
    lines::Lines expected_lines;
    lines::Lines lines;
    {
      LogCapture log(Below(random, 2) == 0 ? 7 : 3 + Below(random, 4));
      expected = LiteralChanges(tree);
      expected_lines = log.Take();
      changes = Tree_Node::GetChangesTreeNode(tree);
      lines = log.Take();
    }
    EXPECT_EQ(Draw(expected), Draw(changes));
    EXPECT_EQ(expected_lines, lines);
    EXPECT_EQ(before, Draw(tree));
    if (!changes.isNull()) ++found;
  }
  if (rounds > 100) {
    EXPECT_GT(found, 10);
  }
}

// --- Memory ---------------------------------------------------------------------------

class ChangesInShortage : public testing::Test {
 protected:
  ~ChangesInShortage() override { Starve(0); }
  void Starve(int allocations) {
    for (Zel_PoolAllocator* pool : m_pools) pool->FailNextAllocations(allocations);
  }
  const std::vector<Zel_PoolAllocator*> m_pools = {&NodesPool(), &VectorsPool(), &ElementsPool(),
                                                   &ValuesPool(), &RecordsPool()};
  Tree_NodePtr m_tree = Plant("t(a=1*,b(c=2*,d=3,e(f=4*)),g(h=5),i=6*)");
  const std::string m_changes = "t(a=1*,b(c=2*,e(f=4*)),i=6*)";
};

TEST_F(ChangesInShortage, TakeFromTheHeapWhatThePoolsDoNotYield) {
  const PoolFigures before = PoolFigures::Now();
  for (Zel_PoolAllocator* pool : m_pools) {
    pool->FailNextAllocations(1000000);
    Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(m_tree);
    pool->FailNextAllocations(0);
    EXPECT_EQ(m_changes, Draw(changes));
  }
  Starve(1000000);
  Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(m_tree);
  Starve(0);
  EXPECT_EQ(before, PoolFigures::Now());
  EXPECT_EQ(m_changes, Draw(changes));
}

TEST_F(ChangesInShortage, LetTheFailureThroughAndLoseNothing) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  const PoolFigures before = PoolFigures::Now();
  int failures = 0;
  for (bool done = false; !done;) {
    Starve(1000000);
    const std::int64_t heap_before = HeapLiveBlocks();
    try {
      const HeapDenied denied(failures);
      Tree_Node::GetChangesTreeNode(m_tree);
      done = true;
    } catch (const std::bad_alloc&) {
      ++failures;
    }
    Starve(0);
    ASSERT_EQ(heap_before, HeapLiveBlocks()) << failures;
    ASSERT_EQ(before, PoolFigures::Now()) << failures;
    ASSERT_LT(failures, 10000);
  }
  // Seven nodes with a record each, four of them leaves.
  EXPECT_GE(failures, 18);
  EXPECT_EQ("t(a=1*,b(c=2*,d=3,e(f=4*)),g(h=5),i=6*)", Draw(m_tree));
}

// --- Width and depth --------------------------------------------------------------------

constexpr int kWidth = 100'000;
constexpr int kDepth = 1'000'000;

TEST(WideChanges, AreAllOrSomeOrNoneOfTheChildren) {
  RunOnSmallStack([] {
    for (const int every : {1, 2, 1000, kWidth * 2}) {
      SCOPED_TRACE(every);
      Tree_NodePtr top = Inner("top");
      for (int i = 0; i < kWidth; ++i) {
        // Leaves and sub-trees in turn.
        const int flag = i % every == every - 1 ? 1 : 0;
        Tree_NodePtr leaf = Leaf(Bytes("n" + std::to_string(i)), "v", flag);
        if (i / 2 % 2 == 0) {
          top->Insert(leaf, i, kWidth);
        } else {
          Tree_NodePtr above = Inner(Bytes("s" + std::to_string(i)));
          above->Insert(leaf, 0, 1);
          top->Insert(above, i, kWidth);
        }
      }
      Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(top);
      ASSERT_EQ(every > kWidth, changes.isNull());
      if (changes.isNull()) continue;
      ASSERT_EQ(kWidth / every, changes->GetChildCount());
      for (int i = 0; i < changes->GetChildCount(); ++i) {
        const int source = (i + 1) * every - 1;
        const std::string name = Text(changes->GetChildAt(i)->GetKeyName());
        ASSERT_EQ((source / 2 % 2 == 0 ? "n" : "s") + std::to_string(source), name);
      }
    }
  });
}

// A chain of a million nodes above a leaf.
Tree_NodePtr Chain(int flag) {
  Tree_NodePtr at = Leaf("end", "1", flag);
  for (int i = 0; i < kDepth; ++i) {
    Tree_NodePtr above = Inner("x");
    above->Insert(at, 0, 1);
    at = above;
  }
  return at;
}

TEST(DeepChanges, BringTheWholeChainAlong) {
  RunOnSmallStack([] {
    Tree_NodePtr chain = Chain(1);
    Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(chain);
    ASSERT_FALSE(changes.isNull());
    Tree_Node* at = changes.get();
    int depth = 0;
    for (; at->GetChildCount() > 0; ++depth) {
      ASSERT_EQ(1, at->GetChildCount());
      ASSERT_EQ(at, at->GetChildAt(0)->GetParent());
      at = at->GetChildAt(0).get();
    }
    EXPECT_EQ(kDepth, depth);
    EXPECT_TRUE(at->IsLeaf());
  });
}

TEST(DeepChanges, AreNoneWithoutAFlagAtTheBottom) {
  RunOnSmallStack([] {
    Tree_NodePtr chain = Chain(0);
    const PoolFigures before = PoolFigures::Now();
    EXPECT_TRUE(Tree_Node::GetChangesTreeNode(chain).isNull());
    EXPECT_EQ(before, PoolFigures::Now());
  });
}

TEST(DeepChanges, ComeFromEveryLevelInOrder) {
  RunOnSmallStack([] {
    constexpr int kLevels = kDepth / 2;
    Tree_NodePtr at = Inner("x");
    for (int i = 1; i < kLevels; ++i) {
      Tree_NodePtr above = Inner("x");
      Tree_NodePtr before = Leaf("before", "1", 1);
      Tree_NodePtr quiet = Leaf("quiet", "1", 0);
      Tree_NodePtr behind = Leaf("behind", "1", 1);
      above->Insert(before, 0, 4);
      above->Insert(quiet, 1, 4);
      above->Insert(at, 2, 4);
      above->Insert(behind, 3, 4);
      at = above;
    }
    Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(at);
    Tree_Node* level = changes.get();
    for (int i = 1; i < kLevels - 1; ++i) {
      ASSERT_EQ(3, level->GetChildCount());
      ASSERT_EQ("before", Text(level->GetChildAt(0)->GetKeyName()));
      ASSERT_EQ("behind", Text(level->GetChildAt(2)->GetKeyName()));
      level = level->GetChildAt(1).get();
    }
    // The last node has no leaf, so that it does not come.
    EXPECT_EQ(2, level->GetChildCount());
  });
}

}  // namespace
