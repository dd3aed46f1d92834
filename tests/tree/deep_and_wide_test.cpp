// A chain of a million nodes and a node with a hundred thousand children, on a thread
// with a stack of 1 MiB.
//
// Both are legal trees, and every operation on them takes time in proportion to their
// size: no recursion over the depth, no scan of all siblings per look-up.  There is no
// clock in here; a body that is not linear takes hours.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/SmallStackThread.h"
#include "support/TreeMaking.h"

namespace {

constexpr int kDepth = 1'000'000;
constexpr int kWidth = 100'000;

// Levels of a test that writes several lines per level.
constexpr int kTracedDepth = 100'000;

// For whatever costs a scan or a shift of all siblings each time, by its nature.
constexpr int kSomeOfThem = 300;

RWCString Number(const char* prefix, int number) {
  return RWCString((prefix + std::to_string(number)).c_str());
}

// "x\x\...\x", as many segments as `segments`.
std::string RepeatedPath(char name, int segments) {
  std::string path;
  path.reserve(static_cast<std::size_t>(segments) * 2);
  for (int i = 0; i < segments; ++i) {
    if (i > 0) path += '\\';
    path += name;
  }
  return path;
}

// --- Depth ------------------------------------------------------------------------

// A million nodes called "x", counted from 0 at the top, and below the last of them the
// leaf "end".
class DeepChain : public testing::Test {
 protected:
  static constexpr int kMiddle = kDepth / 2;

  void Build() {
    top = Tree_NodePtr(new Tree_Node("x"));
    bottom = top;
    for (int i = 1; i < kDepth; ++i) {
      if (i == kMiddle) above_middle = bottom;
      Tree_NodePtr node(new Tree_Node("x"));
      ASSERT_EQ(1, bottom->Add(node));
      bottom = node;
      if (i == kMiddle) middle = bottom;
    }
    end = Leaf("end", "reached");
    ASSERT_EQ(1, bottom->Add(end));
  }

  // Lets go of everything while still on the small stack.
  void LetGo() {
    end = bottom = above_middle = middle = Tree_NodePtr();
    top = Tree_NodePtr();
  }

  // Counts the nodes from `node` down along first children, without the library's own
  // counting.
  static int Walk(const Tree_NodePtr& node) {
    int count = 0;
    for (Tree_Node* at = node.get(); at != nullptr;) {
      ++count;
      at = at->GetChildCount() > 0 ? at->GetChildAt(0).get() : nullptr;
    }
    return count;
  }

  void OnSmallStack(const std::function<void()>& function) {
    RunOnSmallStack([&] {
      Build();
      if (!HasFatalFailure()) function();
      LetGo();
    });
  }

  Tree_NodePtr top, above_middle, middle, bottom, end;
};

TEST_F(DeepChain, IsBuiltAndDestroyedFromTheTop) {
  const PoolFigures before = PoolFigures::Now();
  OnSmallStack([&] {
    const PoolFigures built = PoolFigures::Now() - before;
    EXPECT_EQ((PoolFigures{kDepth + 1, kDepth, kDepth, 1, kDepth + 1}), built);
    LetGo();
    EXPECT_EQ(before, PoolFigures::Now());
  });
}

TEST_F(DeepChain, IsBuiltFromTheBottomUp) {
  RunOnSmallStack([&] {
    Tree_NodePtr at = Leaf("end", "reached");
    for (int i = 0; i < kDepth; ++i) {
      Tree_NodePtr above(new Tree_Node("x"));
      ASSERT_EQ(1, above->Insert(at, 0, 1));
      at = above;
    }
    EXPECT_EQ(kDepth + 1, Walk(at));
    EXPECT_EQ(kDepth + 1, at->GetNodeNum());
    at->Destroy();
    EXPECT_EQ(1, at->GetNodeNum());
  });
}

TEST_F(DeepChain, IsCounted) {
  OnSmallStack([&] {
    EXPECT_EQ(kDepth + 1, Walk(top));
    EXPECT_EQ(kDepth + 1, top->GetNodeNum());
    EXPECT_EQ(kDepth - kMiddle + 1, middle->GetNodeNum());
    int count = 10;
    Tree_Node::GetRecursiveChildCount(top, count);
    EXPECT_EQ(kDepth + 10, count);
    EXPECT_EQ(std::size_t{kDepth} + std::strlen("end") + std::strlen("reached"),
              top->GetTotalSize());
    EXPECT_EQ(kDepth, top->GetTreeNodeEntriesCount(top));
    EXPECT_EQ(kDepth - 1, top->GetSubTreeEntriesCount("x", top));
  });
}

int g_visited = 0;

TEST_F(DeepChain, IsWalked) {
  OnSmallStack([&] {
    g_visited = 0;
    top->ExecuteOnEntireSubtree([](Tree_Node* node) { node->SetId(++g_visited); });
    EXPECT_EQ(kDepth + 1, g_visited);
    EXPECT_EQ(1, top->GetId());
    EXPECT_EQ(kMiddle + 1, middle->GetId());
    EXPECT_EQ(kDepth + 1, end->GetId());

    EXPECT_EQ(1, end->IsNodeAncestor(top));
    EXPECT_EQ(0, top->IsNodeAncestor(end));

    // All of it comes off while it is walked: each node loses its child before the
    // walk gets there.
    g_visited = 0;
    middle->ExecuteOnEntireSubtree([](Tree_Node* node) {
      ++g_visited;
      node->Destroy();
    });
    EXPECT_EQ(1, g_visited);
    EXPECT_EQ(kMiddle + 1, top->GetNodeNum());
  });
}

TEST_F(DeepChain, IsFollowedByPath) {
  OnSmallStack([&] {
    const std::string to_bottom = RepeatedPath('x', kDepth - 1);
    Tree_Path path(Bytes(to_bottom));
    EXPECT_EQ(bottom, top->GetRelativeNode(path, top));
    Tree_Path again(Bytes(to_bottom));
    EXPECT_EQ(&bottom->GetParent()->GetChildAt(0), &top->GetRelativeNodeByRef(again, top));
    Tree_Path sub_tree(Bytes(to_bottom));
    EXPECT_EQ(bottom, top->GetRelativeSubTree(sub_tree, top));

    Tree_Path missing(Bytes(to_bottom + "\\x"));
    EXPECT_TRUE(top->GetRelativeNode(missing, top).isNull());

    RWCString path_text = Bytes(to_bottom);
    RWCString leaf_text = Bytes(to_bottom + "\\end");
    EXPECT_EQ(RWCString("reached"), top->GetValue(leaf_text, top));
    EXPECT_EQ(RWCString("reached"), top->GetValue(path_text, 0, top));
    EXPECT_EQ(RWCString("end"), top->GetValueName(path_text, 0, top));
    EXPECT_EQ(1, top->GetValueNum(path_text, top));
    EXPECT_EQ(0, top->GetSubTreeNum(path_text, top));
    EXPECT_EQ(1, top->GetSubTreeEntriesCount(path_text, top));
    EXPECT_EQ(nullptr, top->GetSubTreePaths(path_text, top));
    const std::unique_ptr<Tree_PathAndValueArray> values(top->GetSubTreeValues(path_text, top));
    ASSERT_NE(nullptr, values);
    EXPECT_EQ(1, values->GetArrLen());
    EXPECT_STREQ("reached", values->GetPV(0)->GetValue());
  });
}

TEST_F(DeepChain, IsCreatedByPath) {
  RunOnSmallStack([&] {
    const std::string path_text = RepeatedPath('x', kDepth);
    Tree_NodePtr start(new Tree_Node("start"));
    Tree_Path path(Bytes(path_text));
    Tree_NodePtr last = start->GetOrCreateRelativeNode(path, start);
    EXPECT_EQ(kDepth + 1, Walk(start));
    EXPECT_EQ(0, last->GetChildCount());
    Tree_Path again(Bytes(path_text));
    EXPECT_EQ(last, start->GetOrCreateRelativeNode(again, start));
    EXPECT_EQ(kDepth + 1, start->GetNodeNum());
  });
}

// What is made below a leaf stands nowhere, and goes with the end of the call but for
// the last node.
TEST_F(DeepChain, IsCreatedBelowALeafAndLetGo) {
  RunOnSmallStack([&] {
    Tree_NodePtr leaf = Leaf("leaf", "1");
    const PoolFigures before = PoolFigures::Now();
    Tree_Path path(Bytes(RepeatedPath('x', kDepth)));
    ZelGLog.SetLevel(0);  // the refusal writes a line
    Tree_NodePtr last = leaf->GetOrCreateRelativeNode(path, leaf);
    ZelGLog.SetLevel(5);
    EXPECT_EQ(0, leaf->GetChildCount());
    EXPECT_EQ(nullptr, last->GetParent());
    EXPECT_EQ((PoolFigures{1, 0, 0, 0, 1}), PoolFigures::Now() - before);
  });
}

TEST_F(DeepChain, TellsItsPath) {
  OnSmallStack([&] {
    const std::string expected = RepeatedPath('x', kDepth) + "\\end";
    EXPECT_TRUE(Bytes(expected) == end->GetPath());
    RWCString above("above");
    top->SetVirtualParentPath(above);
    EXPECT_TRUE(Bytes("above\\" + expected) == end->GetPath());
  });
}

TEST_F(DeepChain, IsSearched) {
  OnSmallStack([&] {
    const std::unique_ptr<String_Arr> found(top->Search("x\\end", top, 1));
    ASSERT_NE(nullptr, found);
    ASSERT_EQ(1, found->GetInsertedNum());
    // A slot of the array holds 255 bytes.
    EXPECT_EQ(RepeatedPath('x', kDepth).substr(0, 255), std::string(found->GetStr(0)));
    EXPECT_EQ(nullptr, top->Search("x\\nowhere", top, 0));
  });
}

TEST_F(DeepChain, IsDuplicated) {
  OnSmallStack([&] {
    const PoolFigures before = PoolFigures::Now();
    Tree_NodePtr copy = top->DuplicateFromHereDown(false);
    EXPECT_EQ((PoolFigures{kDepth + 1, kDepth, kDepth, 1, kDepth + 1}),
              PoolFigures::Now() - before);
    EXPECT_EQ(kDepth + 1, Walk(copy));
    RWCString path = Bytes(RepeatedPath('x', kDepth - 1) + "\\end");
    EXPECT_EQ(RWCString("reached"), copy->GetValue(path, copy));
    LetGo();
    EXPECT_EQ(kDepth + 1, copy->GetNodeNum());
  });
}

TEST_F(DeepChain, IsPruned) {
  OnSmallStack([&] {
    EXPECT_TRUE(top->RemoveEmptyBranches());
    EXPECT_EQ(kDepth + 1, top->GetNodeNum());
    EXPECT_EQ(1, bottom->Remove("end"));
    EXPECT_FALSE(top->RemoveEmptyBranches());
    EXPECT_EQ(1, top->GetNodeNum());
  });
}

// Whoever holds a node keeps everything below it, and nothing above it.
TEST_F(DeepChain, IsReleasedFromTheMiddle) {
  OnSmallStack([&] {
    const PoolFigures with_all = PoolFigures::Now();
    above_middle = bottom = end = Tree_NodePtr();
    top = Tree_NodePtr();
    EXPECT_EQ((PoolFigures{kMiddle, kMiddle, kMiddle, 0, kMiddle}), with_all - PoolFigures::Now());
    EXPECT_EQ(nullptr, middle->GetParent());
    EXPECT_EQ(1u, middle.UseCount());
    EXPECT_EQ(kDepth - kMiddle + 1, Walk(middle));
    middle = Tree_NodePtr();
  });
}

TEST_F(DeepChain, IsMovedAndRemoved) {
  OnSmallStack([&] {
    // The lower half goes below another tree.
    Tree_NodePtr other(new Tree_Node("other"));
    EXPECT_EQ(1, other->Add(middle));
    EXPECT_EQ(kMiddle, top->GetNodeNum());
    EXPECT_EQ(kDepth - kMiddle + 2, other->GetNodeNum());
    EXPECT_TRUE(Bytes("other\\" + RepeatedPath('x', kDepth - kMiddle) + "\\end") == end->GetPath());

    middle->SetKeyName("renamed");
    EXPECT_EQ(middle, other->Get("renamed", other));

    // Nobody else holds what hangs on it.
    middle = bottom = end = Tree_NodePtr();
    EXPECT_EQ(1, other->Remove("renamed"));
    EXPECT_EQ(1, other->GetNodeNum());
  });
}

// The lines of nested calls come in the order of the calls, at any depth.
TEST_F(DeepChain, WritesTheLinesOfEveryLevel) {
  RunOnSmallStack([&] {
    Tree_NodePtr last;
    Tree_NodePtr chain = Chain(kTracedDepth, "x", last);
    LogCapture log;

    EXPECT_EQ(kTracedDepth - 1, chain->GetTreeNodeEntriesCount(chain));
    std::vector<LogLine> lines = log.Take();
    ASSERT_EQ(std::size_t{kTracedDepth} * 2, lines.size());
    for (int i = 0; i < kTracedDepth; ++i) {
      const std::string start = "Start GetTreeNodeEntriesCount(Tree_NodePtr & tree_node)\n";
      const std::string end_of_it =
          "End GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) return " +
          std::to_string(i) + "\n";
      const auto at = static_cast<std::size_t>(i);
      ASSERT_EQ(TreeLine(7, "Tree_Node::GetTreeNodeEntriesCount", start), lines[at]);
      ASSERT_EQ(TreeLine(7, "Tree_Node::GetTreeNodeEntriesCount", end_of_it),
                lines[kTracedDepth + at]);
    }

    Tree_NodePtr copy = chain->DuplicateFromHereDown(true);
    lines = log.Take();
    ASSERT_EQ(std::size_t{kTracedDepth - 1} * 2, lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
      ASSERT_EQ(TreeLine(7, "Tree_Node::Insert",
                         i % 2 == 0 ? "Start Insert(Tree_NodePtr& new_child = 0, int child_index "
                                      "= 1)\n"
                                    : "End Insert(Tree_NodePtr& new_child, int child_index)\n"),
                lines[i]);
    }

    copy = Tree_NodePtr();
    lines = log.Take();
    ASSERT_EQ(std::size_t{kTracedDepth - 1}, lines.size());
    for (const LogLine& line : lines) ASSERT_EQ(VecLine(1), line);

    EXPECT_FALSE(chain->RemoveEmptyBranches());
    lines = log.Take();
    // From the bottom up: nothing is left below, then the child is removed, whose
    // vector is empty by then.  The last node never had a vector.
    std::vector<LogLine> expected;
    for (int i = 0; i < kTracedDepth - 1; ++i) {
      if (i > 0) expected.push_back(VecLine(0));
      expected.push_back(TreeLine(7, "Tree_Node::GetTreeValue", "GetTreeValue(): return NULL\n"));
    }
    ASSERT_EQ(expected.size(), lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) ASSERT_EQ(expected[i], lines[i]) << i;
  });
}

// Half a million levels with a leaf on each, above and below the way down.
TEST(DeepComb, IsBuiltWalkedPrunedAndDestroyed) {
  RunOnSmallStack([] {
    constexpr int kLevels = kDepth / 2;
    Tree_NodePtr top(new Tree_Node("x"));
    Tree_NodePtr at = top;
    for (int i = 1; i < kLevels; ++i) {
      Tree_NodePtr leaf = Leaf("leaf", "1");
      Tree_NodePtr empty = Inner("empty");
      Tree_NodePtr next = Inner("x");
      if (i % 2 == 0) at->Add(leaf);
      at->Add(empty);
      at->Add(next);
      if (i % 2 == 1) at->Add(leaf);
      at = next;
    }
    EXPECT_EQ(3 * kLevels - 2, top->GetNodeNum());
    Tree_NodePtr copy = top->DuplicateFromHereDown(true);
    EXPECT_EQ(3 * kLevels - 2, copy->GetNodeNum());

    // The last node has no leaf, every other one has.
    EXPECT_TRUE(copy->RemoveEmptyBranches());
    EXPECT_EQ(2 * (kLevels - 1), copy->GetNodeNum());
    EXPECT_EQ(copy->GetNodeNum() - 1, copy->GetTreeNodeEntriesCount(copy));

    RWCString path = Bytes(RepeatedPath('x', kLevels - 2) + "\\leaf");
    EXPECT_EQ(RWCString("1"), copy->GetValue(path, copy));
    EXPECT_EQ(3 * kLevels - 2, top->GetNodeNum());
  });
}

// --- Width ------------------------------------------------------------------------

enum class Children { kLeaves, kSubTrees };

Tree_NodePtr Wide(Children children, int count = kWidth) {
  Tree_NodePtr top(new Tree_Node("top"));
  for (int i = 0; i < count; ++i) {
    const RWCString name = Number("n", i);
    Tree_NodePtr child = children == Children::kLeaves ? Leaf(name, Number("v", i)) : Inner(name);
    EXPECT_EQ(1, top->Add(child));
  }
  return top;
}

// Every form of look-up must find `child` under its name, or nothing when it is null.
void ExpectFound(Tree_NodePtr& top, const RWCString& name, Tree_Node* child) {
  RWCString text = name;
  ASSERT_EQ(child, top->Get(name.data(), top).get());
  ASSERT_EQ(child, top->Get(name, top).get());
  ASSERT_EQ(child, top->Get(name, top.get()));
  ASSERT_EQ(child, top->GetByRef(text, top).get());
  Tree_Path path(name);
  ASSERT_EQ(child, top->GetRelativeNode(path, top).get());
  Tree_Path by_ref(name);
  ASSERT_EQ(child, top->GetRelativeNodeByRef(by_ref, top).get());
}

TEST(WideNode, FindsEveryChildByNameAndPath) {
  RunOnSmallStack([] {
    for (const Children children : {Children::kLeaves, Children::kSubTrees}) {
      Tree_NodePtr top = Wide(children);
      for (int i = 0; i < kWidth; ++i) {
        ASSERT_NO_FATAL_FAILURE(ExpectFound(top, Number("n", i), top->GetChildAt(i).get()));
        ASSERT_NO_FATAL_FAILURE(ExpectFound(top, Number("v", i), nullptr));
      }
    }
  });
}

TEST(WideNode, IsAskedForValuesCountsAndLists) {
  RunOnSmallStack([] {
    Tree_NodePtr leaves = Wide(Children::kLeaves);
    Tree_NodePtr top = Wide(Children::kSubTrees);
    ASSERT_EQ(1, top->Insert(leaves, kWidth / 2, -1));
    leaves->SetKeyName("leaves");
    RWCString path("leaves");
    RWCString nothing;

    for (int i = 0; i < kWidth; ++i) {
      RWCString value_path = RWCString("leaves\\") + Number("n", i);
      ASSERT_EQ(Number("v", i), top->GetValue(value_path, top));
    }
    for (const int i : {0, 1, kWidth / 2, kWidth - 1}) {
      EXPECT_EQ(Number("v", i), top->GetValue(path, i, top));
      EXPECT_EQ(Number("n", i), top->GetValueName(path, i, top));
      const int at = i < kWidth / 2 ? i : i + 1;  // the node of leaves stands between
      EXPECT_EQ(top->GetChildAt(at), top->GetRelativeSubTree(nothing, at, top));
    }
    EXPECT_EQ(kWidth, top->GetValueNum(path, top));
    EXPECT_EQ(0, top->GetSubTreeNum(path, top));
    EXPECT_EQ(kWidth + 1, top->GetSubTreeNum(nothing, top));
    EXPECT_EQ(2 * kWidth + 1, top->GetTreeNodeEntriesCount(top));
    EXPECT_EQ(2 * kWidth + 2, top->GetNodeNum());

    const std::unique_ptr<String_Arr> names(top->GetSubTreePaths(nothing, top));
    ASSERT_NE(nullptr, names);
    ASSERT_EQ(kWidth + 1, names->GetInsertedNum());
    for (int i = 0; i <= kWidth; ++i) {
      ASSERT_STREQ(top->GetChildAt(i)->GetKeyName().data(), names->GetStr(i));
    }

    const std::unique_ptr<String_Arr> found(top->Search(Number("n", 7), top, 1));
    ASSERT_NE(nullptr, found);
    ASSERT_EQ(2, found->GetInsertedNum());
    EXPECT_STREQ("n7", found->GetStr(0));
    EXPECT_STREQ("leaves\\n7", found->GetStr(1));
  });
}

TEST(WideNode, ListsItsValues) {
  RunOnSmallStack([] {
    constexpr int kLeaves = 10'000;  // a pair takes 3,672 bytes
    Tree_NodePtr top = Wide(Children::kLeaves, kLeaves);
    const std::unique_ptr<Tree_PathAndValueArray> values(top->GetSubTreeValues("", top));
    ASSERT_NE(nullptr, values);
    ASSERT_EQ(kLeaves, values->GetArrLen());
    for (int i = 0; i < kLeaves; ++i) {
      ASSERT_STREQ(Number("n", i).data(), values->GetPV(i)->GetPath());
      ASSERT_STREQ(Number("v", i).data(), values->GetPV(i)->GetValue());
    }
  });
}

TEST(WideNode, IsFilledByPath) {
  RunOnSmallStack([] {
    Tree_NodePtr top(new Tree_Node("top"));
    for (int round = 0; round < 2; ++round) {
      for (int i = 0; i < kWidth; ++i) {
        Tree_Path path(Number("n", i) + RWCString("\\below"));
        const Tree_NodePtr node = top->GetOrCreateRelativeNode(path, top);
        ASSERT_EQ(top->GetChildAt(i).get(), node->GetParent());
      }
      ASSERT_EQ(kWidth, top->GetChildCount());
    }
    EXPECT_EQ(2 * kWidth + 1, top->GetNodeNum());
  });
}

TEST(WideNode, FindsChildrenUnderTheirNewNames) {
  RunOnSmallStack([] {
    Tree_NodePtr top = Wide(Children::kSubTrees);
    for (int i = 0; i < kWidth; ++i) {
      Tree_Node* child = top->GetChildAt(i).get();
      child->SetKeyName(Number("renamed", i));
      ASSERT_EQ(child, top->Get(Number("renamed", i), top).get());
      ASSERT_TRUE(top->Get(Number("n", i), top).isNull());
    }
    for (int i = 0; i < kWidth; ++i) {
      ASSERT_NO_FATAL_FAILURE(ExpectFound(top, Number("renamed", i), top->GetChildAt(i).get()));
    }
  });
}

// Children that all bear one name: the first of them is found, whichever that is.
TEST(WideNode, FindsTheFirstOfManyDuplicates) {
  RunOnSmallStack([] {
    Tree_NodePtr top(new Tree_Node("top"));
    for (int i = 0; i < kWidth; ++i) {
      Tree_NodePtr child(new Tree_Node("same"));
      ASSERT_EQ(1, top->Add(child));
      ASSERT_EQ(top->GetChildAt(0), top->Get("same", top));
    }
    ASSERT_NO_FATAL_FAILURE(ExpectFound(top, "same", top->GetChildAt(0).get()));

    // From the front: the next one takes over.
    for (int i = 0; i < kSomeOfThem; ++i) {
      Tree_Node* next = top->GetChildAt(1).get();
      ASSERT_EQ(1, top->Remove("same"));
      ASSERT_NO_FATAL_FAILURE(ExpectFound(top, "same", next));
    }
    // From the end: the first stays.
    Tree_Node* first = top->GetChildAt(0).get();
    while (top->GetChildCount() > 1) {
      ASSERT_EQ(1, top->Remove(top->GetChildCount() - 1));
      ASSERT_EQ(first, top->Get("same", top).get());
    }
    ASSERT_EQ(1, top->Remove("same"));
    EXPECT_TRUE(top->Get("same", top).isNull());
  });
}

// Each renamed duplicate hands the old name on to the next in child order.
TEST(WideNode, FindsTheNextDuplicateWhenTheFirstIsRenamed) {
  RunOnSmallStack([] {
    Tree_NodePtr top(new Tree_Node("top"));
    constexpr int kDuplicates = 10'000;
    for (int i = 0; i < kDuplicates; ++i) {
      Tree_NodePtr child(new Tree_Node("same"));
      ASSERT_EQ(1, top->Add(child));
    }
    for (int i = 0; i < kDuplicates; ++i) {
      ASSERT_EQ(top->GetChildAt(i), top->Get("same", top));
      top->GetChildAt(i)->SetKeyName(Number("n", i));
    }
    EXPECT_TRUE(top->Get("same", top).isNull());
    // And back, from the end: the renamed one is the first again.
    for (int i = kDuplicates - 1; i >= 0; --i) {
      top->GetChildAt(i)->SetKeyName("same");
      ASSERT_EQ(top->GetChildAt(i), top->Get("same", top));
    }
  });
}

TEST(WideNode, IsDuplicated) {
  RunOnSmallStack([] {
    Tree_NodePtr top = Wide(Children::kLeaves);
    Tree_NodePtr copy = top->DuplicateFromHereDown(true);
    top = Tree_NodePtr();
    ASSERT_EQ(kWidth, copy->GetChildCount());
    for (int i = 0; i < kWidth; ++i) {
      RWCString path = Number("n", i);
      ASSERT_EQ(Number("v", i), copy->GetValue(path, copy));
      ASSERT_EQ(copy.get(), copy->GetChildAt(i)->GetParent());
    }
  });
}

// Every other child stays, so that what goes stands between what stays.
TEST(WideNode, IsPruned) {
  RunOnSmallStack([] {
    Tree_NodePtr top(new Tree_Node("top"));
    for (int i = 0; i < kWidth; ++i) {
      Tree_NodePtr child(new Tree_Node(Number("n", i)));
      Tree_NodePtr below = i % 2 == 0 ? Leaf("leaf", "1") : Inner("empty");
      child->Add(below);
      ASSERT_EQ(1, top->Add(child));
    }
    EXPECT_TRUE(top->RemoveEmptyBranches());
    ASSERT_EQ(kWidth / 2, top->GetChildCount());
    for (int i = 0; i < kWidth; ++i) {
      Tree_Node* child = i % 2 == 0 ? top->GetChildAt(i / 2).get() : nullptr;
      ASSERT_NO_FATAL_FAILURE(ExpectFound(top, Number("n", i), child));
    }
    EXPECT_EQ(kWidth + 1, top->GetNodeNum());

    Tree_NodePtr empty = Wide(Children::kSubTrees);
    EXPECT_FALSE(empty->RemoveEmptyBranches());
    EXPECT_EQ(0, empty->GetChildCount());
    EXPECT_TRUE(empty->Get("n1", empty).isNull());
  });
}

TEST(WideNode, MovesItsChildren) {
  RunOnSmallStack([] {
    Tree_NodePtr from = Wide(Children::kSubTrees);
    Tree_NodePtr to = Wide(Children::kLeaves);
    Tree_NodePtr third(new Tree_Node("third"));
    for (int i = 0; i < kSomeOfThem; ++i) {
      // To the middle of another wide node, where leaves bear the same names.
      Tree_NodePtr child = from->GetChildAt(kWidth / 2);
      const RWCString name = child->GetKeyName();
      ASSERT_EQ(1, to->Insert(child, i, -1));
      ASSERT_NO_FATAL_FAILURE(ExpectFound(from, name, nullptr));
      ASSERT_NO_FATAL_FAILURE(ExpectFound(to, name, child.get()));

      // Inside its parent, before its namesake and behind it.
      ASSERT_EQ(1, to->Insert(child, to->GetChildCount() - 1, -1));
      ASSERT_NE(child, to->Get(name, to));
      ASSERT_EQ(1, to->Insert(child, 0, -1));
      ASSERT_EQ(child, to->Get(name, to));

      // Away from a wide node, slot and all.
      ASSERT_EQ(1, third->Add(to->GetChildAt(0)));
      ASSERT_EQ(third.get(), child->GetParent());
      ASSERT_NE(child, to->Get(name, to));
    }
    ASSERT_EQ(kSomeOfThem, third->GetChildCount());
    EXPECT_EQ(kWidth - kSomeOfThem, from->GetChildCount());
    EXPECT_EQ(kWidth, to->GetChildCount());
  });
}

TEST(WideNode, GivesEveryThingBack) {
  const PoolFigures before = PoolFigures::Now();
  RunOnSmallStack([&] {
    Tree_NodePtr top = Wide(Children::kLeaves);
    EXPECT_EQ((PoolFigures{kWidth + 1, 1, kWidth, kWidth, kWidth + 1}),
              PoolFigures::Now() - before);
    Tree_NodePtr kept = top->GetChildAt(kWidth / 2);
    top->Destroy();
    EXPECT_EQ((PoolFigures{2, 0, 0, 1, 2}), PoolFigures::Now() - before);
    EXPECT_EQ(nullptr, kept->GetParent());
    EXPECT_TRUE(top->Get("n1", top).isNull());
  });
  EXPECT_EQ(before, PoolFigures::Now());
}

}  // namespace
