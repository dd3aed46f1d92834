// Operations on whole sub-trees: destroying, copying, walking, pruning, counting.

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeLines.h"
#include "support/TreeText.h"

namespace {

Tree_NodePtr Child(const Tree_NodePtr& node, int index) {
  return node->GetChildAt(index);
}

// A random tree of `nodes` nodes; about a third of them are leaves.
Tree_NodePtr RandomTree(std::mt19937& random, int nodes) {
  const auto below = [&](std::size_t n) {
    return std::uniform_int_distribution<std::size_t>(0, n - 1)(random);
  };
  Tree_NodePtr top = Inner("top");
  std::vector<Tree_NodePtr> inner = {top};
  for (int i = 1; i < nodes; ++i) {
    const Tree_NodePtr& parent = inner[below(inner.size())];
    const RWCString name = Bytes(std::string(1, static_cast<char>('a' + below(6))));
    Tree_NodePtr node =
        below(3) == 0 ? Leaf(name, Bytes(std::to_string(below(10))), static_cast<int>(below(2)))
                      : Inner(name);
    parent->Insert(
        node, static_cast<int>(below(static_cast<std::size_t>(parent->GetChildCount()) + 1)), -1);
    if (!node->IsLeaf()) inner.push_back(node);
  }
  return top;
}

// --- Destroy --------------------------------------------------------------------

TEST(TreeNodeDestroy, GivesUpValueAndChildren) {
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr top = Plant("top(a(b=1),c)");
  Tree_NodePtr leaf = Leaf("leaf", "v");
  LogCapture log;
  top->Destroy();
  EXPECT_LOG(log, VecLine(2), VecLine(1));
  leaf->Destroy();
  EXPECT_NO_LOG(log);
  EXPECT_EQ((PoolFigures{2, 0, 0, 0, 2}), PoolFigures::Now() - before);

  EXPECT_EQ(0, top->GetChildCount());
  EXPECT_EQ("top", Text(top->GetKeyName()));
  EXPECT_TRUE(leaf->IsLeaf());
  EXPECT_EQ(nullptr, leaf->GetTreeValue());
  EXPECT_LOG(log, lines::NoValue());
}

TEST(TreeNodeDestroy, MayBeCalledAgain) {
  Tree_NodePtr top = Plant("top(a,b)");
  Tree_NodePtr leaf = Leaf("leaf", "v");
  top->Destroy();
  leaf->Destroy();
  LogCapture log;
  top->Destroy();
  leaf->Destroy();
  EXPECT_NO_LOG(log);
}

TEST(TreeNodeDestroy, LeavesANodeThatCanBeUsedOn) {
  Tree_NodePtr top = Plant("top(a,b)");
  top->Destroy();
  Tree_NodePtr child = Inner("c");
  EXPECT_EQ(1, top->Add(child));
  EXPECT_EQ("top(c)", Draw(top));
  Tree_NodePtr leaf = Leaf("leaf", "v");
  leaf->Destroy();
  EXPECT_EQ(0, leaf->Add(child));
  leaf->SetTreeValue(new Tree_Value("w", 0));
  EXPECT_EQ("leaf=w", Draw(leaf));
}

TEST(TreeNodeDestroy, TellsNoParent) {
  Tree_NodePtr top = Plant("top(a(b))");
  Tree_NodePtr a = Child(top, 0);
  a->Destroy();
  EXPECT_EQ(top.get(), a->GetParent());
  EXPECT_EQ("top(a)", Draw(top));
}

TEST(TreeNodeDestroy, LetsHeldChildrenLiveWithoutAParent) {
  Tree_NodePtr top = Plant("top(a(deep=1),b,c=2)");
  Tree_NodePtr a = Child(top, 0);
  Tree_NodePtr c = Child(top, 2);
  LogCapture log;
  top->Destroy();
  EXPECT_LOG(log, VecLine(3));
  EXPECT_EQ(nullptr, a->GetParent());
  EXPECT_EQ(nullptr, c->GetParent());
  EXPECT_EQ(1u, a.UseCount());
  EXPECT_EQ("a(deep=1)", Draw(a));
  EXPECT_EQ("c=2", Draw(c));
  EXPECT_EQ("a\\deep", Text(Child(a, 0)->GetPath()));
}

TEST(TreeNodeDestroy, HappensWhenTheLastHandleGoes) {
  Tree_NodePtr top = Plant("top(a(x,y=1),b(z),c)");
  Tree_NodePtr second = top;
  Tree_NodePtr b = Child(top, 1);
  LogCapture log;
  top = Tree_NodePtr();
  EXPECT_NO_LOG(log);
  EXPECT_EQ(second.get(), b->GetParent());
  second = Tree_NodePtr();
  // `b` is still held and keeps what it has.
  EXPECT_LOG(log, VecLine(3), VecLine(2));
  EXPECT_EQ(nullptr, b->GetParent());
  EXPECT_EQ("b(z)", Draw(b));
  b = Tree_NodePtr();
  EXPECT_LOG(log, VecLine(1));
}

struct DestroyLinesCase {
  const char* tree;
  std::vector<int> counts;  // of the "Clearing vec" lines
};

const DestroyLinesCase kDestroyLines[] = {
    {"top", {}},
    {"top=v", {}},
    {"top(a)", {1}},
    {"top(a,b=1,c)", {3}},
    {"top(a(b(c(d))))", {1, 1, 1, 1}},
    // A vector says so before those below it, and siblings go in their order.
    {"top(a(x,y),b,c(z(p,q,r)))", {3, 2, 1, 3}},
    {"top(a(b(c,d),e(f)),g(h,i,j,k))", {2, 2, 2, 1, 4}},
};

TEST(TreeNodeDestroy, WritesTheLinesOfVectorsFromTheTopDown) {
  for (const DestroyLinesCase& c : kDestroyLines) {
    SCOPED_TRACE(c.tree);
    Tree_NodePtr top = Plant(c.tree);
    std::vector<LogLine> expected;
    for (const int count : c.counts) expected.push_back(VecLine(count));
    LogCapture log;
    top = Tree_NodePtr();
    EXPECT_EQ(expected, log.Take());
  }
}

TEST(TreeNodeDestroy, WritesALineForAnEmptiedVector) {
  Tree_NodePtr top = Plant("top(a(b))");
  Child(top, 0)->Remove(0);
  LogCapture log;
  top = Tree_NodePtr();
  EXPECT_LOG(log, VecLine(1), VecLine(0));
}

// Counts of the lines that a release of `top` writes, read off the tree; every node
// with children owns a vector, and nobody else holds a node.
std::vector<LogLine> LinesOfDestruction(const Tree_NodePtr& top) {
  std::vector<LogLine> lines;
  std::vector<Tree_Node*> open = {top.get()};
  while (!open.empty()) {
    Tree_Node* const node = open.back();
    open.pop_back();
    const int count = node->GetChildCount();
    if (count > 0) lines.push_back(VecLine(count));
    for (int i = count - 1; i >= 0; --i) open.push_back(node->GetChildAt(i).get());
  }
  return lines;
}

TEST(TreeNodeDestroy, WritesThoseLinesForRandomTreesToo) {
  std::mt19937 random(20240517);
  for (int round = 0; round < 50; ++round) {
    SCOPED_TRACE(round);
    Tree_NodePtr top = RandomTree(random, 60);
    const std::vector<LogLine> expected = LinesOfDestruction(top);
    LogCapture log;
    top = Tree_NodePtr();
    EXPECT_EQ(expected, log.Take());
  }
}

TEST(TreeNodeDestroy, NeitherAllocatesNorThrows) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr held;
  {
    std::mt19937 random(5);
    Tree_NodePtr top = RandomTree(random, 3000);
    for (int i = 0; i < 200; ++i) {
      Tree_NodePtr child = Inner(Bytes("wide " + std::to_string(i)));
      top->Add(child);
    }
    held = Child(top, 3);
    const std::int64_t made = HeapBlocksMade();
    HeapDenied denied;
    top = Tree_NodePtr();
    EXPECT_EQ(made, HeapBlocksMade());
  }
  EXPECT_EQ(nullptr, held->GetParent());
}

TEST(TreeNodeDestroy, DestroysANodeThatIsListedTwiceOnce) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr twice = Plant("twice(x)");
  top->Add(twice);
  twice->SetParent(nullptr);
  top->Add(twice);
  twice = Tree_NodePtr();
  LogCapture log;
  top = Tree_NodePtr();
  EXPECT_LOG(log, VecLine(2), VecLine(1));
}

TEST(TreeNodeDestroy, DestroysANodeOfTwoParentsWithTheLastOfThem) {
  Tree_NodePtr first = Inner("first");
  Tree_NodePtr second = Inner("second");
  Tree_NodePtr shared = Plant("shared(x)");
  first->Add(shared);
  shared->SetParent(nullptr);
  second->Add(shared);
  shared = Tree_NodePtr();
  LogCapture log;
  first = Tree_NodePtr();
  EXPECT_LOG(log, VecLine(1));
  EXPECT_EQ(nullptr, Child(second, 0)->GetParent());
  EXPECT_EQ("second(shared(x))", Draw(second));
  second = Tree_NodePtr();
  EXPECT_LOG(log, VecLine(1), VecLine(1));
}

// --- DuplicateFromHereDown --------------------------------------------------------

// The same operation, put together from public calls: what the lines must be.
// Only for trees of little depth and without values on inner nodes.
Tree_NodePtr DuplicateLiterally(Tree_Node& node) {
  struct Open {
    Tree_Node* from;
    Tree_NodePtr to;
    int next;
  };
  const auto copy = [](Tree_Node& from) {
    Tree_NodePtr to(from.IsLeaf() ? new Tree_Node("x", new Tree_Value(*from.GetTreeValue()))
                                  : new Tree_Node("x"));
    to->SetKeyName(from.GetKeyName());
    return to;
  };
  Tree_NodePtr result = copy(node);
  std::vector<Open> open = {{&node, result, 0}};
  while (!open.empty()) {
    Open& last = open.back();
    const int count = last.from->GetChildCount();
    if (last.next < count) {
      Tree_Node* const child = last.from->GetChildAt(last.next++).get();
      open.push_back({child, copy(*child), 0});
      continue;
    }
    Tree_NodePtr done = last.to;
    open.pop_back();
    if (!open.empty()) {
      Open& parent = open.back();
      parent.to->Insert(done, parent.next - 1, parent.from->GetChildCount());
    }
  }
  return result;
}

TEST(TreeNodeDuplicate, CopiesStructureNamesAndValues) {
  const char* const kTrees[] = {
      "top",
      "top=v",
      "top=v*",
      "top=",
      "top(a)",
      "top(a,a,a=1,a=2*)",
      "top(a(b(c=1,d),e=),f=2*,g(h))",
  };
  for (const char* tree : kTrees) {
    for (const bool unused : {false, true}) {
      SCOPED_TRACE(tree);
      Tree_NodePtr top = Plant(tree);
      Tree_NodePtr copy = top->DuplicateFromHereDown(unused);
      EXPECT_EQ(tree, Draw(copy));
      EXPECT_EQ(tree, Draw(top));
      EXPECT_NE(top, copy);
      EXPECT_EQ(1u, copy.UseCount());
      EXPECT_EQ(nullptr, copy->GetParent());
      EXPECT_EQ(&top->GetKeyName(), &copy->GetKeyName());
    }
  }
}

TEST(TreeNodeDuplicate, WritesTheLinesOfInsertForEveryChild) {
  Tree_NodePtr top = Plant("top(a(x=1,y),b)");
  LogCapture log;
  Tree_NodePtr copy = top->DuplicateFromHereDown(true);
  EXPECT_LOG(log,                                            //
             lines::InsertStart(0, 2), lines::InsertEnd(),   // x below a
             lines::InsertStart(1, 2), lines::InsertEnd(),   // y below a
             lines::InsertStart(0, 2), lines::InsertEnd(),   // a below top
             lines::InsertStart(1, 2), lines::InsertEnd());  // b below top
}

TEST(TreeNodeDuplicate, WritesWhatTheLiteralCallsWrite) {
  std::mt19937 random(7);
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    Tree_NodePtr top = RandomTree(random, 1 + round * 3);
    LogCapture log;
    Tree_NodePtr expected = DuplicateLiterally(*top);
    const std::vector<LogLine> expected_lines = log.Take();
    Tree_NodePtr copy = top->DuplicateFromHereDown(false);
    EXPECT_EQ(expected_lines, log.Take());
    EXPECT_EQ(Draw(expected), Draw(copy));
  }
}

TEST(TreeNodeDuplicate, CopiesAChildWithItsSubtreeOnly) {
  Tree_NodePtr top = Plant("top(a(b=1),c)");
  Tree_NodePtr copy = Child(top, 0)->DuplicateFromHereDown(false);
  EXPECT_EQ("a(b=1)", Draw(copy));
  EXPECT_EQ(nullptr, copy->GetParent());
  EXPECT_EQ("a\\b", Text(Child(copy, 0)->GetPath()));
  EXPECT_EQ(copy.get(), Child(copy, 0)->GetParent());
}

TEST(TreeNodeDuplicate, SharesTextsAndNothingElse) {
  Tree_NodePtr top = Plant("top(a=1*)");
  Tree_NodePtr copy = top->DuplicateFromHereDown(false);
  Tree_NodePtr a = Child(top, 0);
  Tree_NodePtr copied = Child(copy, 0);
  EXPECT_NE(a, copied);
  EXPECT_NE(a->GetTreeValue(), copied->GetTreeValue());
  EXPECT_EQ(a->GetTreeValue()->GetValue().data(), copied->GetTreeValue()->GetValue().data());
  copied->GetTreeValue()->SetValue("2");
  copied->SetKeyName("b");
  Tree_NodePtr more = Inner("more");
  copy->Add(more);
  EXPECT_EQ("top(a=1*)", Draw(top));
  EXPECT_EQ("top(b=2*,more)", Draw(copy));
}

TEST(TreeNodeDuplicate, CopiesAnyChangeFlag) {
  for (const int flag : {0, 1, 2, -1, 2147483647}) {
    Tree_NodePtr leaf = Leaf("l", "v", flag);
    EXPECT_EQ(flag, leaf->DuplicateFromHereDown(false)->GetTreeValue()->IsChange());
  }
}

TEST(TreeNodeDuplicate, CopiesNeitherIdsNorVirtualParentPaths) {
  Tree_NodePtr top = Plant("top(a)");
  RWCString path("sys");
  top->SetVirtualParentPath(path);
  top->SetId(3);
  Child(top, 0)->SetId(4);
  Tree_NodePtr copy = top->DuplicateFromHereDown(false);
  EXPECT_EQ(0, copy->GetId());
  EXPECT_EQ(0, Child(copy, 0)->GetId());
  EXPECT_TRUE(copy->GetVirtualParentPath().isNull());
  EXPECT_EQ("top\\a", Text(Child(copy, 0)->GetPath()));
}

TEST(TreeNodeDuplicate, TakesNamesAsTheyAre) {
  Tree_NodePtr top = Plant("top(a)");
  top->SetKeyName("");
  Child(top, 0)->SetKeyName("  b ");
  LogCapture log(6);
  Tree_NodePtr copy = top->DuplicateFromHereDown(false);
  EXPECT_NO_LOG(log);
  EXPECT_EQ("(  b )", Draw(copy));
}

TEST(TreeNodeDuplicate, DropsTheValueOfAnInnerNode) {
  Tree_NodePtr top = Plant("top(a)");
  top->SetTreeValue(new Tree_Value("v", 0));
  Child(top, 0)->SetTreeValue(new Tree_Value("w", 0));
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr copy = top->DuplicateFromHereDown(false);
  EXPECT_EQ((PoolFigures{2, 1, 1, 0, 2}), PoolFigures::Now() - before);
  EXPECT_EQ(nullptr, copy->GetTreeValue());
  EXPECT_EQ(nullptr, Child(copy, 0)->GetTreeValue());
  EXPECT_FALSE(copy->IsLeaf());
}

TEST(TreeNodeDuplicate, MakesAnInnerNodeOfALeafWhoseValueIsGone) {
  Tree_NodePtr top = Plant("top(leaf=v,other=w)");
  Child(top, 0)->Destroy();
  LogCapture log;
  Tree_NodePtr copy = top->DuplicateFromHereDown(false);
  EXPECT_LOG(log, lines::InsertStart(0, 2), lines::InsertEnd(), lines::InsertStart(1, 2),
             lines::InsertEnd());
  EXPECT_TRUE(Child(copy, 0)->IsAllowsChildren());
  EXPECT_EQ("top(leaf,other=w)", Draw(copy));
}

TEST(TreeNodeDuplicate, TakesExactlyWhatTheCopyNeeds) {
  Tree_NodePtr top = Plant("top(a(b=1,c=2),d,e(f))");
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr copy = top->DuplicateFromHereDown(false);
  EXPECT_EQ((PoolFigures{7, 3, 6, 2, 7}), PoolFigures::Now() - before);
}

TEST(TreeNodeDuplicate, HasRoomForItsChildrenAndNoMore) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  struct RoomCase {
    int children;
    int arrays;  // blocks of the heap for the children vector
  };
  // Few children need no array of their own.
  const RoomCase cases[] = {{9, 0}, {10, 0}, {11, 1}, {20, 1}};
  for (const RoomCase& c : cases) {
    SCOPED_TRACE(c.children);
    Tree_NodePtr top = Inner("top");
    for (int i = 0; i < c.children; ++i) {
      Tree_NodePtr child = Inner("c");
      top->Add(child);
    }
    top->DuplicateFromHereDown(false);  // afterwards the pools have whatever it takes
    const std::int64_t before = HeapLiveBlocks();
    const std::int64_t made = HeapBlocksMade();
    Tree_NodePtr copy = top->DuplicateFromHereDown(false);
    EXPECT_EQ(c.arrays, HeapLiveBlocks() - before);
    EXPECT_LE(HeapBlocksMade() - made, c.arrays + 1);  // one for the walk
  }
}

TEST(TreeNodeDuplicate, CopiesAnEmptiedNodeWithoutAVector) {
  Tree_NodePtr top = Plant("top(a)");
  top->Remove(0);
  Tree_NodePtr copy = top->DuplicateFromHereDown(false);
  LogCapture log;
  copy = Tree_NodePtr();
  EXPECT_NO_LOG(log);
}

TEST(TreeNodeDuplicate, IsSilentAtLevelSix) {
  Tree_NodePtr top = Plant("top(a(b=1,c),d=2)");
  LogCapture log(6);
  Tree_NodePtr copy = top->DuplicateFromHereDown(false);
  copy = Tree_NodePtr();
  EXPECT_NO_LOG(log);
}

// --- ExecuteOnEntireSubtree ---------------------------------------------------------

std::vector<std::string> visited;
std::function<void(Tree_Node*)> on_visit;

void Visit(Tree_Node* node) {
  visited.push_back(Text(node->GetPath()));
  if (on_visit) on_visit(node);
}

std::vector<std::string> Visited(const Tree_NodePtr& top,
                                 std::function<void(Tree_Node*)> then = {}) {
  visited.clear();
  on_visit = std::move(then);
  top->ExecuteOnEntireSubtree(&Visit);
  on_visit = nullptr;
  return std::exchange(visited, {});
}

using Paths = std::vector<std::string>;

TEST(TreeNodeExecute, VisitsANodeBeforeItsChildren) {
  Tree_NodePtr top = Plant("t(a(x=1,y(p)),b,c=2)");
  LogCapture log;
  EXPECT_EQ((Paths{"t", "t\\a", "t\\a\\x", "t\\a\\y", "t\\a\\y\\p", "t\\b", "t\\c"}), Visited(top));
  EXPECT_EQ((Paths{"t\\a\\y", "t\\a\\y\\p"}), Visited(Child(Child(top, 0), 1)));
  EXPECT_EQ((Paths{"t\\c"}), Visited(Child(top, 2)));
  EXPECT_NO_LOG(log);
}

TEST(TreeNodeExecute, VisitsChildrenThatTheFunctionAdds) {
  Tree_NodePtr top = Plant("t(a,b)");
  EXPECT_EQ((Paths{"t", "t\\a", "t\\a\\new", "t\\b", "t\\b\\new"}),
            Visited(top, [](Tree_Node* node) {
              if (Text(node->GetPath()).size() != 3) return;
              Tree_NodePtr child = Inner("new");
              node->Add(child);
            }));
}

TEST(TreeNodeExecute, VisitsNoChildrenThatTheFunctionRemoves) {
  Tree_NodePtr top = Plant("t(a(x,y),b(z))");
  EXPECT_EQ((Paths{"t", "t\\a", "t\\b"}), Visited(top, [](Tree_Node* node) {
              if (node->GetParent() == nullptr) return;
              while (node->GetChildCount() > 0) node->Remove(0);
            }));
  EXPECT_EQ("t(a,b)", Draw(top));
}

TEST(TreeNodeExecute, ReadsTheNumberOfChildrenBeforeEveryStep) {
  // `a` removes the sibling behind it, so `c` is the second child when its turn comes.
  Tree_NodePtr top = Plant("t(a,b,c)");
  EXPECT_EQ((Paths{"t", "t\\a", "t\\c"}), Visited(top, [](Tree_Node* node) {
              if (Text(node->GetKeyName()) == "a") node->GetParent()->Remove(1);
            }));
  // `c` appends a sibling.
  EXPECT_EQ((Paths{"t", "t\\a", "t\\c", "t\\late"}), Visited(top, [](Tree_Node* node) {
              if (Text(node->GetKeyName()) != "c") return;
              Tree_NodePtr late = Inner("late");
              node->GetParent()->Add(late);
            }));
}

TEST(TreeNodeExecute, KeepsAChildAliveWhileItIsVisited) {
  // `a` removes itself, which nobody else holds; its children are visited all the same,
  // and the walk goes on with the child that took its place among the rest.
  Tree_NodePtr top = Plant("t(a(x),b,c)");
  std::vector<std::string> names;
  visited.clear();
  on_visit = [&](Tree_Node* node) {
    names.push_back(Text(node->GetKeyName()));
    if (names.back() == "a") node->GetParent()->Remove(0);
  };
  top->ExecuteOnEntireSubtree(&Visit);
  on_visit = nullptr;
  visited = std::vector<std::string>();
  EXPECT_EQ((std::vector<std::string>{"t", "a", "x", "c"}), names);
  EXPECT_EQ("t(b,c)", Draw(top));
}

// --- RemoveEmptyBranches --------------------------------------------------------------

struct PruneCase {
  const char* tree;
  bool remains;
  const char* rest;
};

const PruneCase kPruneCases[] = {
    {"top", false, "top"},
    {"top=v", true, "top=v"},
    {"top=", true, "top="},
    {"top(a)", false, "top"},
    {"top(a,b,c)", false, "top"},
    {"top(a(b(c(d))))", false, "top"},
    {"top(a(b),c(d(e),f))", false, "top"},
    // A leaf keeps everything above it.
    {"top(a=1)", true, "top(a=1)"},
    {"top(a=)", true, "top(a=)"},
    {"top(a(b(c(d=1))))", true, "top(a(b(c(d=1))))"},
    {"top(a(b),c(d(e),f=1),g)", true, "top(c(f=1))"},
    {"top(a,b=1,c,d=2,e)", true, "top(b=1,d=2)"},
    {"top(x(a,b=1,c(d),e(f,g=2)),y(z))", true, "top(x(b=1,e(g=2)))"},
};

TEST(TreeNodePrune, RemovesBranchesWithoutALeaf) {
  for (const PruneCase& c : kPruneCases) {
    SCOPED_TRACE(c.tree);
    Tree_NodePtr top = Plant(c.tree);
    EXPECT_EQ(c.remains, top->RemoveEmptyBranches());
    EXPECT_EQ(c.rest, Draw(top));
    EXPECT_EQ(c.remains, top->RemoveEmptyBranches());
    EXPECT_EQ(c.rest, Draw(top));
  }
}

TEST(TreeNodePrune, WritesALineWhereItAsksForAValueAndWhereAVectorGoes) {
  Tree_NodePtr top = Plant("top(a,b(c,d(e)),f=1)");
  LogCapture log;
  EXPECT_TRUE(top->RemoveEmptyBranches());
  EXPECT_LOG(log,
             lines::NoValue(),  // d has lost e
             VecLine(0),        // d goes
             lines::NoValue(),  // b has lost d and c
             VecLine(0));       // b goes; a never had a vector
  EXPECT_EQ("top(f=1)", Draw(top));
}

TEST(TreeNodePrune, WritesALineForTheTopToo) {
  Tree_NodePtr top = Plant("top(a)");
  LogCapture log;
  EXPECT_FALSE(top->RemoveEmptyBranches());
  EXPECT_LOG(log, lines::NoValue());
  EXPECT_FALSE(top->RemoveEmptyBranches());
  EXPECT_LOG(log, lines::NoValue());
}

TEST(TreeNodePrune, RemovesAnInnerNodeWithAValueButNoChildren) {
  Tree_NodePtr top = Plant("top(a,b(c))");
  Child(top, 0)->SetTreeValue(new Tree_Value("v", 0));
  Child(top, 1)->SetTreeValue(new Tree_Value("w", 0));
  LogCapture log;
  EXPECT_FALSE(top->RemoveEmptyBranches());
  // `b` has a value when it is asked, so only the top's question is answered by a line.
  EXPECT_LOG(log, VecLine(0), lines::NoValue());
  EXPECT_EQ("top", Draw(top));
}

TEST(TreeNodePrune, ReportsTheValueOfAnInnerTop) {
  Tree_NodePtr top = Plant("top(a)");
  top->SetTreeValue(new Tree_Value("v", 0));
  LogCapture log;
  EXPECT_TRUE(top->RemoveEmptyBranches());
  EXPECT_NO_LOG(log);
  EXPECT_EQ(0, top->GetChildCount());
}

TEST(TreeNodePrune, KeepsALeafWhoseValueIsGone) {
  Tree_NodePtr top = Plant("top(leaf=v)");
  Child(top, 0)->Destroy();
  LogCapture log;
  EXPECT_TRUE(top->RemoveEmptyBranches());
  EXPECT_NO_LOG(log);
  EXPECT_FALSE(Child(top, 0)->RemoveEmptyBranches());
  EXPECT_LOG(log, lines::NoValue());
}

TEST(TreeNodePrune, DetachesNodesThatSomebodyElseHolds) {
  Tree_NodePtr top = Plant("top(a(b),c=1)");
  Tree_NodePtr a = Child(top, 0);
  Tree_NodePtr b = Child(a, 0);
  LogCapture log;
  EXPECT_TRUE(top->RemoveEmptyBranches());
  EXPECT_LOG(log, lines::NoValue());
  EXPECT_EQ(nullptr, a->GetParent());
  EXPECT_EQ(nullptr, b->GetParent());
  EXPECT_EQ("a", Draw(a));
}

// The same operation, put together from public calls.  Recurses, so for flat trees only.
bool PruneLiterally(Tree_Node& node) {
  int n = node.GetChildCount();
  for (int i = n - 1; i >= 0; --i) {
    Tree_Node* const child = node.GetChildAt(i).get();
    if (child->IsLeaf()) continue;
    if (child->GetChildCount() > 0) PruneLiterally(*child);
    if (child->GetChildCount() == 0) {
      node.Remove(i);
      --n;
    }
  }
  return n != 0 || node.GetTreeValue() != nullptr;
}

TEST(TreeNodePrune, DoesAndWritesWhatTheLiteralCallsDo) {
  std::mt19937 random(99);
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    Tree_NodePtr top = RandomTree(random, 1 + round);
    Tree_NodePtr other = top->DuplicateFromHereDown(false);
    // Values on some inner nodes of both.
    for (Tree_NodePtr* tree : {&top, &other}) {
      Visited(*tree, [](Tree_Node* node) {
        if (!node->IsLeaf() && node->GetChildCount() % 3 == 1) {
          node->SetTreeValue(new Tree_Value("v", 0));
        }
      });
    }
    LogCapture log;
    const bool expected = PruneLiterally(*other);
    const std::vector<LogLine> expected_lines = log.Take();
    EXPECT_EQ(expected, top->RemoveEmptyBranches());
    EXPECT_EQ(expected_lines, log.Take());
    EXPECT_EQ(Draw(other), Draw(top));
  }
}

// --- Counts and sizes -----------------------------------------------------------------

struct CountCase {
  const char* tree;
  int nodes;
  std::size_t bytes;
};

const CountCase kCounts[] = {
    {"t", 1, 1},
    {"top=", 1, 3},
    {"top=value", 1, 8},
    {"top(a,b)", 3, 5},
    {"top(a(bb=ccc,d),e=ffff)", 5, 3 + 1 + 2 + 3 + 1 + 1 + 4},
    {"t(a(b(c(d(e(f))))))", 7, 7},
};

TEST(TreeNodeCounts, CountNodesAndBytesFromHereDown) {
  for (const CountCase& c : kCounts) {
    SCOPED_TRACE(c.tree);
    Tree_NodePtr top = Plant(c.tree);
    LogCapture log;
    EXPECT_EQ(c.nodes, top->GetNodeNum());
    EXPECT_EQ(c.bytes, top->GetTotalSize());
    int count = 0;
    Tree_Node::GetRecursiveChildCount(top, count);
    EXPECT_EQ(c.nodes - 1, count);
    EXPECT_NO_LOG(log);
  }
}

TEST(TreeNodeCounts, CountASubtreeByItself) {
  Tree_NodePtr top = Plant("top(a(bb=ccc,d),e=ffff)");
  Tree_NodePtr a = Child(top, 0);
  EXPECT_EQ(3, a->GetNodeNum());
  EXPECT_EQ(7u, a->GetTotalSize());
  int count = 0;
  Tree_Node::GetRecursiveChildCount(a, count);
  EXPECT_EQ(2, count);
}

TEST(TreeNodeCounts, AddToTheCallersCounter) {
  Tree_NodePtr top = Plant("top(a(b),c)");
  int count = 0;
  Tree_Node::GetRecursiveChildCount(top, count);
  EXPECT_EQ(3, count);
  Tree_Node::GetRecursiveChildCount(top, count);
  EXPECT_EQ(6, count);
  count = -10;
  Tree_Node::GetRecursiveChildCount(top, count);
  EXPECT_EQ(-7, count);
}

TEST(TreeNodeCounts, TakeANullHandleForNothing) {
  Tree_NodePtr without_record;
  Tree_NodePtr with_record(static_cast<Tree_Node*>(nullptr));
  int count = 5;
  Tree_Node::GetRecursiveChildCount(without_record, count);
  Tree_Node::GetRecursiveChildCount(with_record, count);
  Tree_Node::GetRecursiveChildCount(Tree_Node::NULL_TREE_NODE_PTR, count);
  EXPECT_EQ(5, count);
}

TEST(TreeNodeCounts, CountAllBytesOfNamesAndValues) {
  Tree_NodePtr top = Inner(Bytes("a\0b"));
  Tree_NodePtr leaf = Leaf(Bytes("\0"), Bytes("\0\0\0\0"));
  top->Add(leaf);
  EXPECT_EQ(8u, top->GetTotalSize());
  top->SetKeyName("");
  EXPECT_EQ(5u, top->GetTotalSize());
}

TEST(TreeNodeCounts, CountTheValueOfAnInnerNodeAndNotOneThatIsGone) {
  Tree_NodePtr top = Plant("top(leaf=value)");
  top->SetTreeValue(new Tree_Value("12", 0));
  EXPECT_EQ(3u + 2u + 4u + 5u, top->GetTotalSize());
  Child(top, 0)->Destroy();
  LogCapture log;
  EXPECT_EQ(3u + 2u + 4u, top->GetTotalSize());
  EXPECT_NO_LOG(log);
}

TEST(TreeNodeCounts, AgreeOnRandomTrees) {
  std::mt19937 random(31);
  for (const int nodes : {1, 2, 10, 100, 1000}) {
    Tree_NodePtr top = RandomTree(random, nodes);
    EXPECT_EQ(nodes, top->GetNodeNum());
    int count = 0;
    Tree_Node::GetRecursiveChildCount(top, count);
    EXPECT_EQ(nodes - 1, count);
    EXPECT_EQ(static_cast<std::size_t>(nodes), Visited(top).size());
  }
}

}  // namespace
