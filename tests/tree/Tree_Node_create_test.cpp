// Tree_Node::GetOrCreateRelativeNode, and the same operation under its other name.

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeLines.h"
#include "support/TreeMaking.h"

namespace {

using Create = Tree_NodePtr (Tree_Node::*)(Tree_Path&, Tree_NodePtr&);

// Every test runs under both names of the operation.
class NodeCreate : public testing::TestWithParam<Create> {
 protected:
  // Names are interned beforehand, so that a captured log holds lines of the tree
  // alone.
  void SetUp() override {
    for (const char* name : {"x", "y", "z", "q", "a", "b", "c", " q ", "  "}) Inner(name);
  }

  Tree_NodePtr At(Tree_NodePtr& start, const RWCString& text) { return At(start, text, start); }

  Tree_NodePtr At(Tree_NodePtr& start, const RWCString& text, Tree_NodePtr& this_ptr) {
    Tree_Path path(text);
    return (*start.*GetParam())(path, this_ptr);
  }
};

// "name(child,child)", a leaf as "name=".
std::string Shape(const Tree_NodePtr& node) {
  std::string text = Text(node->GetKeyName()) + (node->IsLeaf() ? "=" : "");
  for (int i = 0; i < node->GetChildCount(); ++i) {
    text += (i == 0 ? "(" : ",") + Shape(node->GetChildAt(i));
  }
  return text + (node->GetChildCount() > 0 ? ")" : "");
}

bool IsMadeUpName(const std::string& name) {
  const std::string prefix = "undefined_tree";
  if (name.compare(0, prefix.size(), prefix) != 0) return false;
  const std::string digits = name.substr(prefix.size());
  for (char c : digits) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  }
  return !digits.empty() && digits.size() <= 5;
}

TEST_P(NodeCreate, MakesWhatIsMissingAndFindsItAgain) {
  Tree_NodePtr top = Inner("cfg");
  Tree_NodePtr z = At(top, "x\\y\\z");
  EXPECT_EQ("cfg(x(y(z)))", Shape(top));
  EXPECT_EQ("cfg\\x\\y\\z", Text(z->GetPath()));
  EXPECT_EQ(z.get(), At(top, "x\\y\\z").get());
  EXPECT_EQ(z->GetParent(), At(top, "x\\y").get());
  EXPECT_EQ("cfg(x(y(z)))", Shape(top));
}

TEST_P(NodeCreate, MakesInnerNodesWithoutValueOrId) {
  Tree_NodePtr top = Inner("cfg");
  Tree_NodePtr y = At(top, "x\\y");
  for (Tree_Node* node = y.get(); node != top.get(); node = node->GetParent()) {
    EXPECT_TRUE(node->IsAllowsChildren());
    EXPECT_FALSE(node->IsLeaf());
    EXPECT_EQ(nullptr, node->GetTreeValue());
    EXPECT_EQ(0, node->GetId());
    EXPECT_EQ("", Text(node->GetVirtualParentPath()));
  }
  EXPECT_EQ(0, y->GetChildCount());
}

TEST_P(NodeCreate, AppendsBehindTheSiblingsAndKeepsWhatIsThere) {
  Tree_NodePtr top = Inner("cfg", {Leaf("v", "1"), Inner("a", {Inner("b")})});
  At(top, "c");
  At(top, "a\\d\\e");
  At(top, "a\\b");
  At(top, "A");
  EXPECT_EQ("cfg(v=,a(b,d(e)),c,A)", Shape(top));
}

TEST_P(NodeCreate, UsesTheFirstOfEqualNames) {
  Tree_NodePtr top = Inner("cfg", {Inner("a"), Inner("a", {Inner("b")})});
  Tree_NodePtr b = At(top, "a\\b");
  EXPECT_EQ("cfg(a(b),a(b))", Shape(top));
  EXPECT_EQ(top->GetChildAt(0).get(), b->GetParent());
}

TEST_P(NodeCreate, StopsAtAnEmptySegment) {
  Tree_NodePtr top = Inner("cfg");
  EXPECT_EQ(top.get(), At(top, "").get());
  EXPECT_EQ(top.get(), At(top, "\\a\\b").get());
  EXPECT_EQ("cfg", Shape(top));
  Tree_NodePtr a = At(top, "a\\\\b");
  EXPECT_EQ("cfg(a)", Shape(top));
  EXPECT_EQ(a.get(), top->GetChildAt(0).get());
  EXPECT_EQ("b", Text(At(top, "a\\b\\")->GetKeyName()));
  EXPECT_EQ("cfg(a(b))", Shape(top));
}

TEST_P(NodeCreate, StartsAtTheNodeAskedWhateverThisPtrIs) {
  Tree_NodePtr top = Inner("cfg");
  Tree_NodePtr elsewhere = Inner("elsewhere");
  Tree_NodePtr null;
  EXPECT_EQ(top.get(), At(top, "a", elsewhere)->GetParent());
  EXPECT_EQ(top.get(), At(top, "b", null)->GetParent());
  EXPECT_EQ("cfg(a,b)", Shape(top));
  EXPECT_EQ("elsewhere", Shape(elsewhere));
  EXPECT_EQ(elsewhere.get(), At(top, "\\c", elsewhere).get());
  EXPECT_EQ(nullptr, At(top, "", null).get());
  EXPECT_EQ(top->GetChildAt(0).get(), At(top, "a\\", elsewhere).get());
  EXPECT_EQ("cfg(a,b)", Shape(top));
}

TEST_P(NodeCreate, GoesOnWhereAUsedPathStopped) {
  Tree_NodePtr top = Inner("cfg");
  Tree_Path path("x\\y\\z");
  path.GetRootAsCharPtr();
  Tree_NodePtr z = (*top.*GetParam())(path, top);
  EXPECT_EQ("cfg(y(z))", Shape(top));
  // The exhausted path repeats its last segment.
  Tree_NodePtr other_z = (*top.*GetParam())(path, top);
  EXPECT_EQ("cfg(y(z),z)", Shape(top));
  EXPECT_NE(z.get(), other_z.get());

  // An empty segment ends one walk and the next one begins behind it.
  Tree_Path broken("a\\\\b");
  EXPECT_EQ("a", Text((*top.*GetParam())(broken, top)->GetKeyName()));
  EXPECT_EQ("b", Text((*top.*GetParam())(broken, top)->GetKeyName()));
  EXPECT_EQ("cfg(y(z),z,a,b)", Shape(top));
}

// Look-ups do not strip, construction does: the second look-up misses as well.
TEST_P(NodeCreate, MakesANodePerCallForANameWithOuterBlanks) {
  Tree_NodePtr top = Inner("cfg");
  LogCapture log;
  Tree_NodePtr first = At(top, " q ");
  EXPECT_LOG(log, lines::NameFixed(" q ", "q"), lines::InsertStart(0, -1), lines::InsertEnd());
  Tree_NodePtr second = At(top, " q ");
  EXPECT_LOG(log, lines::NameFixed(" q ", "q"), lines::InsertStart(1, -1), lines::InsertEnd());
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ("cfg(q,q)", Shape(top));
  EXPECT_EQ(first.get(), At(top, "q").get());
  EXPECT_NO_LOG(log);

  // On the way of a path it is no different, and a node called " q " is found.
  At(top, " q \\x");
  EXPECT_EQ("cfg(q,q,q(x))", Shape(top));
  Tree_NodePtr exact = Inner(" q ");
  top->Add(exact);
  EXPECT_EQ(exact.get(), At(top, " q ").get());
}

TEST_P(NodeCreate, NamesANodeOfBlanksAfterTheClock) {
  Tree_NodePtr top = Inner("cfg");
  InternNamesMadeAfterTheClock();
  LogCapture log;
  Tree_NodePtr node = At(top, "  ");
  const std::string name = Text(node->GetKeyName());
  EXPECT_TRUE(IsMadeUpName(name)) << name;
  EXPECT_LOG(log, lines::NameMade(name), lines::InsertStart(0, -1), lines::InsertEnd());
  EXPECT_NE(node.get(), At(top, "  ").get());
  EXPECT_EQ(2, top->GetChildCount());
}

TEST_P(NodeCreate, KeepsTabsAndInnerBlanks) {
  Tree_NodePtr top = Inner("cfg");
  EXPECT_EQ("\ta b\t", Text(At(top, "\ta b\t")->GetKeyName()));
  EXPECT_EQ(At(top, "\ta b\t").get(), top->GetChildAt(0).get());
  EXPECT_EQ(1, top->GetChildCount());
}

TEST_P(NodeCreate, WritesTheLinesOfEachInsertInOrder) {
  Tree_NodePtr top = Inner("cfg", {Leaf("v", "1"), Leaf("w", "2")});
  LogCapture log;
  At(top, "x\\y\\z");
  EXPECT_LOG(log, lines::InsertStart(2, -1), lines::InsertEnd(), lines::InsertStart(0, -1),
             lines::InsertEnd(), lines::InsertStart(0, -1), lines::InsertEnd());
  At(top, "x\\y\\z");
  At(top, "");
  At(top, "v");
  EXPECT_NO_LOG(log);
  At(top, "x\\y\\b");
  EXPECT_LOG(log, lines::InsertStart(1, -1), lines::InsertEnd());
}

TEST_P(NodeCreate, BelowALeafMakesANodeThatStandsNowhere) {
  Tree_NodePtr leaf = Leaf("v", "1");
  Tree_NodePtr top = Inner("cfg", {leaf});
  LogCapture log;
  Tree_NodePtr x = At(top, "v\\x");
  EXPECT_LOG(log, lines::InsertStart(0, -1), lines::InsertIntoLeaf("v"));
  EXPECT_EQ("x", Shape(x));
  EXPECT_EQ(nullptr, x->GetParent());
  EXPECT_EQ("cfg(v=)", Shape(top));

  // Nothing was kept, so the next call makes another one.
  EXPECT_NE(x.get(), At(top, "v\\x").get());
  EXPECT_EQ(0, leaf->GetChildCount());
  EXPECT_EQ("1", Text(leaf->GetTreeValue()->GetValue()));
}

// What was made on the way is let go at the end of the call, top down, and the node
// that is returned loses its parent with it.
TEST_P(NodeCreate, BelowALeafLetsGoOfTheNodesOnTheWay) {
  Tree_NodePtr top = Inner("cfg", {Leaf("v", "1")});
  const auto before = Tree_Node::m_NodesPool.GetStats().elements_in_use;
  LogCapture log;
  Tree_NodePtr y = At(top, "v\\x\\y");
  EXPECT_LOG(log, lines::InsertStart(0, -1), lines::InsertIntoLeaf("v"), lines::InsertStart(0, -1),
             lines::InsertEnd(), VecLine(1));
  EXPECT_EQ("y", Shape(y));
  EXPECT_EQ(nullptr, y->GetParent());

  Tree_NodePtr z = At(top, "v\\x\\y\\z");
  EXPECT_LOG(log, lines::InsertStart(0, -1), lines::InsertIntoLeaf("v"), lines::InsertStart(0, -1),
             lines::InsertEnd(), lines::InsertStart(0, -1), lines::InsertEnd(), VecLine(1),
             VecLine(1));
  EXPECT_EQ("z", Shape(z));
  EXPECT_EQ(nullptr, z->GetParent());
  EXPECT_EQ(before + 2, Tree_Node::m_NodesPool.GetStats().elements_in_use);
  EXPECT_EQ("cfg(v=)", Shape(top));
}

TEST_P(NodeCreate, BelowALeafStopsAtAnEmptySegmentAsWell) {
  LogCapture quiet(2);
  Tree_NodePtr top = Inner("cfg", {Leaf("v", "1")});
  EXPECT_EQ(top->GetChildAt(0).get(), At(top, "v\\\\x").get());
  Tree_NodePtr x = At(top, "v\\x\\\\y");
  EXPECT_EQ("x", Shape(x));
  EXPECT_EQ(nullptr, x->GetParent());
}

TEST_P(NodeCreate, OnALeafItselfIsRefusedLikewise) {
  Tree_NodePtr leaf = Leaf("v", "1");
  LogCapture log(3);
  Tree_NodePtr x = At(leaf, "x\\y");
  EXPECT_LOG(log, lines::InsertIntoLeaf("v"));
  EXPECT_EQ("y", Shape(x));
  EXPECT_EQ(nullptr, x->GetParent());
  EXPECT_EQ(0, leaf->GetChildCount());
  EXPECT_EQ(leaf.get(), At(leaf, "").get());
}

TEST_P(NodeCreate, CanBuildOnANodeThatStandsNowhere) {
  LogCapture quiet(2);
  Tree_NodePtr top = Inner("cfg", {Leaf("v", "1")});
  Tree_NodePtr y = At(top, "v\\x\\y");
  EXPECT_EQ(1, top->Add(y));
  EXPECT_EQ("cfg(v=,y)", Shape(top));
  EXPECT_EQ("cfg\\y", Text(y->GetPath()));
}

TEST_P(NodeCreate, TakesNodesFromTheHeapWhenThePoolYieldsNothing) {
  Tree_NodePtr top = Inner("cfg");
  Tree_Node::m_NodesPool.FailNextAllocations(1);
  Tree_NodePtr y = At(top, "x\\y");
  EXPECT_FALSE(Tree_Node::m_NodesPool.Exist(top->GetChildAt(0).get()));
  EXPECT_TRUE(Tree_Node::m_NodesPool.Exist(y.get()));
  EXPECT_EQ("cfg(x(y))", Shape(top));
  EXPECT_EQ(y.get(), At(top, "x\\y").get());
}

// Names in paths end at a zero byte and are compared that far.
TEST_P(NodeCreate, ReadsNamesUpToAZeroByte) {
  Tree_NodePtr zero = Inner(Bytes("a\0b"));
  Tree_NodePtr top = Inner("cfg", {zero});
  EXPECT_EQ(zero.get(), At(top, "a").get());
  EXPECT_EQ(1u, At(top, Bytes("b\0c"))->GetKeyName().length());
  EXPECT_EQ(2, top->GetChildCount());
}

TEST_P(NodeCreate, FindsAndAppendsAmongManySiblings) {
  Tree_NodePtr top = Inner("cfg");
  std::vector<Tree_NodePtr> made;
  for (int i = 0; i < 200; ++i) {
    made.push_back(At(top, RWCString(("n" + std::to_string(i)).c_str())));
    ASSERT_EQ(i + 1, top->GetChildCount());
    ASSERT_EQ(made.back().get(), top->GetChildAt(i).get());
  }
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(made[static_cast<std::size_t>(i)].get(),
              At(top, RWCString(("n" + std::to_string(i)).c_str())).get());
  }
  EXPECT_EQ(200, top->GetChildCount());
}

TEST_P(NodeCreate, MakesAMillionNodesBelowOneAnother) {
  constexpr int kNodes = 1000000;
  std::string text("n");
  for (int i = 1; i < kNodes; ++i) text += "\\n";
  const RWCString path(text.data(), text.size());
  Tree_NodePtr top = Inner("cfg");
  Tree_NodePtr bottom = At(top, path);
  EXPECT_EQ(kNodes + 1, top->GetNodeNum());
  EXPECT_EQ(bottom.get(), At(top, path).get());

  // As many below a leaf: all but the last one go at the end of the call.
  Tree_NodePtr leaf = Leaf("v", "1");
  LogCapture log(3);
  const auto before = Tree_Node::m_NodesPool.GetStats().elements_in_use;
  Tree_NodePtr nowhere = At(leaf, path);
  EXPECT_EQ(before + 1, Tree_Node::m_NodesPool.GetStats().elements_in_use);
  EXPECT_EQ(nullptr, nowhere->GetParent());
}

// Also where the last one bears the name as well, few or many.
TEST_P(NodeCreate, TakesTheFirstOfSeveralThatBearTheName) {
  for (int between : {0, 3, 9, 30}) {
    SCOPED_TRACE(between);
    Tree_NodePtr top = Inner("cfg", {Inner("x"), Inner("y")});
    for (int i = 0; i < between; ++i) {
      Tree_NodePtr other = Inner(RWCString(("n" + std::to_string(i)).c_str()));
      top->Add(other);
    }
    for (const char* name : {"x", "z", "y"}) {
      Tree_NodePtr again = Inner(name);
      top->Add(again);
      Tree_Node* const first = top->Get(RWCString(name), top.get());
      EXPECT_EQ(first, At(top, name).get());
      EXPECT_EQ(first, At(top, RWCString(name) + "\\q")->GetParent());
      EXPECT_EQ(name == std::string("z"), first == again.get());
    }
  }
}

// A caller has put another node into the last handle, which was found by its name before.
TEST_P(NodeCreate, FindsWhatStandsInTheLastHandle) {
  Tree_NodePtr top = Inner("cfg", {Inner("x"), Inner("y")});
  Tree_NodePtr y = At(top, "y");
  Tree_NodePtr z = Inner("z");
  top->GetChildAt(1) = z;
  EXPECT_EQ(z.get(), At(top, "z").get());
  EXPECT_EQ("cfg(x,z)", Shape(top));
  EXPECT_EQ(z.get(), At(top, "z\\q")->GetParent());
  At(top, "y");
  EXPECT_EQ("cfg(x,z(q),y)", Shape(top));
  y->SetParent(nullptr);
}

TEST_P(NodeCreate, LeavesASoundTreeWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  for (const char* start : {"cfg", "leaf"}) {
    SCOPED_TRACE(start);
    const bool below_leaf = start == std::string("leaf");
    Tree_NodePtr top = below_leaf ? Leaf("leaf", "1") : Inner("cfg");
    const RWCString text("x\\y\\z");
    LogCapture quiet(2);
    const int failures = FailEveryAllocation(
        [&] {
          // Only the heap is left, and that gives out as well.
          Tree_Node::m_NodesPool.FailNextAllocations(100);
          Tree_Node::m_sChildTreeNodeVec.FailNextAllocations(100);
          At(top, text);
        },
        [&] {
          const std::string shape = Shape(top);
          EXPECT_TRUE(below_leaf ? shape == "leaf="
                                 : shape == "cfg" || shape == "cfg(x)" || shape == "cfg(x(y))" ||
                                       shape == "cfg(x(y(z)))")
              << shape;
        });
    Tree_Node::m_NodesPool.FailNextAllocations(0);
    Tree_Node::m_sChildTreeNodeVec.FailNextAllocations(0);
    EXPECT_LT(0, failures);
    EXPECT_EQ(below_leaf ? "leaf=" : "cfg(x(y(z)))", Shape(top));
  }
}

INSTANTIATE_TEST_SUITE_P(BothNames, NodeCreate,
                         testing::Values(&Tree_Node::GetOrCreateRelativeNode,
                                         &Tree_Node::GetOrCreateUnProtectedRelativeNode),
                         [](const auto& name) {
                           return name.index == 0 ? "RelativeNode" : "UnProtectedRelativeNode";
                         });

}  // namespace
