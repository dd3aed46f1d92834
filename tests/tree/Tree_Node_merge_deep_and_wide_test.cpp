// Merge and MergeOneLevel of very wide and of very deep trees, on a thread with a stack of
// 1 MiB.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/SmallStackThread.h"
#include "support/TreeLines.h"
#include "support/TreeMerging.h"
#include "support/TreeText.h"

namespace {

using lines::ChunkFound;
using namespace merging;

// --- Width ----------------------------------------------------------------------------
// No clock in here: what is not linear takes minutes and more.

constexpr int kWidth = 100'000;

enum class Kind { kLeaf, kInner };

std::string Number(const char* prefix, int number) {
  return prefix + std::to_string(number);
}

// "top" with children n0, n1, ... (or `prefix` alone for all of them), inner ones with one
// leaf called `below` each.
Tree_NodePtr Wide(Kind kind, const char* below, bool same_name = false, const char* prefix = "n") {
  Tree_NodePtr top = Inner("top");
  for (int i = 0; i < kWidth; ++i) {
    const RWCString name = same_name ? RWCString(prefix) : Bytes(Number(prefix, i));
    Tree_NodePtr child = kind == Kind::kLeaf ? Leaf(name, below) : Inner(name);
    if (kind == Kind::kInner) {
      Tree_NodePtr leaf = Leaf(below, "1");
      child->Insert(leaf, 0, 1);
    }
    top->Insert(child, i, kWidth);
  }
  return top;
}

TEST(WideMerge, OfSiblingsThatAreAllMatchedAndInner) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kInner, "b");
    Tree_NodePtr override = Wide(Kind::kInner, "o");
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    ASSERT_EQ(kWidth, result->GetChildCount());
    for (int i = 0; i < kWidth; ++i) {
      Tree_NodePtr& child = result->GetChildAt(i);
      ASSERT_EQ(Number("n", i), Text(child->GetKeyName()));
      ASSERT_EQ(2, child->GetChildCount());
      ASSERT_EQ("o", Text(child->GetChildAt(0)->GetKeyName()));
      ASSERT_EQ("b", Text(child->GetChildAt(1)->GetKeyName()));
      ASSERT_EQ(result.get(), child->GetParent());
    }
    Tree_Path path("n4711\\b");
    EXPECT_FALSE(result->GetRelativeNode(path, result).isNull());

    result = Tree_Node::MergeOneLevel(base, override);
    ASSERT_EQ(kWidth, result->GetChildCount());
    EXPECT_EQ(1, result->GetChildAt(kWidth - 1)->GetChildCount());
  });
}

TEST(WideMerge, OfSiblingsThatAreAllMatchedInTheOtherOrder) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kInner, "b");
    Tree_NodePtr override = Inner("top");
    for (int i = kWidth - 1; i >= 0; --i) {
      Tree_NodePtr child = Inner(Bytes(Number("n", i)));
      override->Insert(child, override->GetChildCount(), kWidth);
    }
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    ASSERT_EQ(kWidth, result->GetChildCount());
    for (int i = 0; i < kWidth; ++i) {
      ASSERT_EQ(Number("n", i), Text(result->GetChildAt(i)->GetKeyName()));
      ASSERT_EQ(1, result->GetChildAt(i)->GetChildCount());
    }
  });
}

TEST(WideMerge, OfSiblingsThatAreAllMatchedAndLeaves) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kLeaf, "b");
    Tree_NodePtr override = Wide(Kind::kLeaf, "o");
    for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
      Tree_NodePtr result = operation(base, override);
      ASSERT_EQ(kWidth, result->GetChildCount());
      for (int i = 0; i < kWidth; ++i) {
        ASSERT_EQ(Number("n", i), Text(result->GetChildAt(i)->GetKeyName()));
        ASSERT_EQ("o", Text(result->GetChildAt(i)->GetTreeValue()->GetValue()));
      }
    }
  });
}

TEST(WideMerge, OfSiblingsOfWhichNoneIsMatched) {
  RunOnSmallStack([] {
    for (const Kind kind : {Kind::kLeaf, Kind::kInner}) {
      Tree_NodePtr base = Wide(kind, "b");
      Tree_NodePtr override = Wide(kind, "o", false, "m");
      for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
        Tree_NodePtr result = operation(base, override);
        ASSERT_EQ(2 * kWidth, result->GetChildCount());
        for (int i = 0; i < kWidth; ++i) {
          ASSERT_EQ(Number("m", i), Text(result->GetChildAt(i)->GetKeyName()));
          ASSERT_EQ(Number("n", i), Text(result->GetChildAt(kWidth + i)->GetKeyName()));
        }
      }
    }
  });
}

// Each meets the first of the many, which then is the last.
TEST(WideMerge, OfSiblingsThatAllShareOneName) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kInner, "b", true);
    Tree_NodePtr override = Wide(Kind::kInner, "o", true);
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    ASSERT_EQ(kWidth, result->GetChildCount());
    for (int i = 0; i < kWidth; ++i) ASSERT_EQ(2, result->GetChildAt(i)->GetChildCount());
    EXPECT_EQ(result->GetChildAt(0).get(), result->Get("n", result).get());

    // Alone, all of them melt into the first.
    Tree_NodePtr empty = Inner("top");
    result = Tree_Node::Merge(base, empty);
    ASSERT_EQ(1, result->GetChildCount());
    EXPECT_EQ("top(n(b=1))", Draw(result));

    Tree_NodePtr leaves = Wide(Kind::kLeaf, "b", true);
    result = Tree_Node::Merge(leaves, override);
    EXPECT_EQ(kWidth, result->GetChildCount());
    result = Tree_Node::MergeOneLevel(leaves, empty);
    EXPECT_EQ(1, result->GetChildCount());
  });
}

// Of two pairs in the override, the first of each is merged and moved.
TEST(WideMerge, LeavesTheOtherOfTwoToBeFoundFirst) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kInner, "b");
    Tree_NodePtr override = Wide(Kind::kInner, "o");
    for (int i = 0; i < kWidth; i += 2) {
      Tree_NodePtr second = Leaf(Bytes(Number("n", i)), "second");
      override->Insert(second, override->GetChildCount(), -1);
    }
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    ASSERT_EQ(kWidth + kWidth / 2, result->GetChildCount());
    for (int i = 0; i < kWidth; ++i) {
      const std::string name = Number("n", i);
      Tree_NodePtr found = result->Get(Bytes(name), result);
      ASSERT_EQ(i % 2 == 0, found->IsLeaf()) << name;
      ASSERT_EQ(found.get(), result->Get(Bytes(name), result.get()));
    }
    // What was moved is found once the other is gone.  A few of them: to rename one of two
    // of a name costs a scan.
    for (int i = 0; i < 100; ++i) {
      ASSERT_TRUE(result->GetChildAt(i)->IsLeaf());
      const RWCString name = result->GetChildAt(i)->GetKeyName();
      result->GetChildAt(i)->SetKeyName("away");
      ASSERT_EQ(2, result->Get(name, result)->GetChildCount());
    }
  });
}

TEST(WideMerge, OfGrandchildrenThatALeafRefuses) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kLeaf, "b");
    base->SetKeyName("v");
    Tree_NodePtr above = Inner("t");
    above->Add(base);
    Tree_NodePtr override = Plant("t(v=2,w=2)");
    LogCapture log(6);
    Tree_NodePtr result = Tree_Node::Merge(above, override);
    const Lines written = log.Take();
    ASSERT_EQ(static_cast<std::size_t>(kWidth), written.size());
    for (const LogLine& line : written) ASSERT_EQ(lines::InsertIntoLeaf("v"), line);
    EXPECT_EQ("t(w=2,v=2)", Draw(result));
  });
}

TEST(WideMerge, OfAWideChunkArea) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kLeaf, "b");
    Tree_NodePtr override = Wide(Kind::kLeaf, "o");
    Tree_NodePtr encoding = Leaf("blobencoding", "z");
    Tree_NodePtr chunk = Leaf("chunk0000", "9");
    override->Add(encoding);
    override->Add(chunk);
    EXPECT_EQ(override, Tree_Node::Merge(base, override));
    Tree_NodePtr above_base = Inner("t");
    Tree_NodePtr above_override = Inner("t");
    above_base->Add(base);
    above_override->Add(override);
    Tree_NodePtr result = Tree_Node::Merge(above_base, above_override);
    EXPECT_EQ(kWidth + 2, result->GetChildAt(0)->GetChildCount());
  });
}

// --- Depth ----------------------------------------------------------------------------

constexpr int kDepth = 1'000'000;

// `depth` nodes called "x", each the only inner child of the one before, the last of
// them with `last` as its child (when there is one), and on every level a leaf `leaf`
// before or behind the inner child (when it has a name).
Tree_NodePtr Deep(int depth, Tree_NodePtr last, const char* leaf = "", bool before = false) {
  Tree_NodePtr at = last;
  for (int i = 0; i < depth; ++i) {
    Tree_NodePtr above = Inner("x");
    Tree_NodePtr beside = *leaf == '\0' ? Tree_NodePtr() : Leaf(leaf, "1");
    if (!beside.isNull() && before) above->Insert(beside, 0, 2);
    if (!at.isNull()) above->Insert(at, above->GetChildCount(), 2);
    if (!beside.isNull() && !before) above->Insert(beside, above->GetChildCount(), 2);
    at = above;
  }
  return at;
}

TEST(DeepMerge, OfTwoChains) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Deep(kDepth, Leaf("base", "1"));
    Tree_NodePtr override = Deep(kDepth, Leaf("override", "2"));
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    Tree_Node* at = result.get();
    for (int i = 1; i < kDepth; ++i) {
      ASSERT_EQ(1, at->GetChildCount());
      Tree_Node* const below = at->GetChildAt(0).get();
      ASSERT_EQ(at, below->GetParent());
      at = below;
    }
    ASSERT_EQ(2, at->GetChildCount());
    EXPECT_EQ("override", Text(at->GetChildAt(0)->GetKeyName()));
    EXPECT_EQ("base", Text(at->GetChildAt(1)->GetKeyName()));
    EXPECT_EQ(kDepth + 1, base->GetNodeNum());
    EXPECT_EQ(kDepth + 1, override->GetNodeNum());
  });
}

TEST(DeepMerge, OfTwoCombs) {
  RunOnSmallStack([] {
    constexpr int kLevels = kDepth / 2;
    Tree_NodePtr base = Deep(kLevels, Tree_NodePtr(), "b", true);
    Tree_NodePtr override = Deep(kLevels, Tree_NodePtr(), "o", false);
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    // The override's leaf, the base's copy of its own, and the merged node: it is the
    // turn of "b" before that of "x" in the base.
    Tree_Node* at = result.get();
    for (int i = 1; i < kLevels; ++i) {
      ASSERT_EQ(3, at->GetChildCount());
      ASSERT_EQ("o", Text(at->GetChildAt(0)->GetKeyName()));
      ASSERT_EQ("b", Text(at->GetChildAt(1)->GetKeyName()));
      ASSERT_EQ("x", Text(at->GetChildAt(2)->GetKeyName()));
      at = at->GetChildAt(2).get();
    }
    EXPECT_EQ(2, at->GetChildCount());
  });
}

TEST(DeepMerge, OfAChainThatTheOtherSideLacks) {
  RunOnSmallStack([] {
    Tree_NodePtr chain = Deep(kDepth, Leaf("end", "1"));
    Tree_NodePtr other = Plant("x(y=1)");
    for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
      Tree_NodePtr result = operation(chain, other);
      EXPECT_EQ(kDepth + 2, result->GetNodeNum());
      EXPECT_EQ("y", Text(result->GetChildAt(0)->GetKeyName()));
      result = operation(other, chain);
      EXPECT_EQ(kDepth + 2, result->GetNodeNum());
      EXPECT_EQ("y", Text(result->GetChildAt(1)->GetKeyName()));
    }
  });
}

TEST(DeepMerge, OfAChainThatALeafRefuses) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Deep(kDepth, Leaf("end", "1"));
    Tree_NodePtr override = Plant("x(x=2)");
    LogCapture log(6);
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    EXPECT_LOG(log, lines::InsertIntoLeaf("x"));
    EXPECT_EQ("x(x=2)", Draw(result));
  });
}

TEST(DeepMerge, OfAChunkAreaAtTheBottom) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Deep(kDepth, Plant("v(blobencoding=b,chunk0000=1,chunk0001=2)"));
    Tree_NodePtr override = Deep(kDepth, Plant("v(blobencoding=z,chunk0000=9)"));
    LogCapture log(6);
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    EXPECT_LOG(log, ChunkFound());
    EXPECT_EQ(kDepth + 3, result->GetNodeNum());
  });
}

TEST(DeepMerge, OfAChainWithItself) {
  RunOnSmallStack([] {
    Tree_NodePtr chain = Deep(kDepth, Leaf("end", "1"));
    Tree_NodePtr result = Tree_Node::Merge(chain, chain);
    EXPECT_EQ(kDepth + 1, result->GetNodeNum());
    EXPECT_EQ(kDepth + 1, chain->GetNodeNum());
  });
}

}  // namespace
