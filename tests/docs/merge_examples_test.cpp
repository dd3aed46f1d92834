// The examples of docs/merge.md: every tree that is shown there, and the code, which stands
// here word for word.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "docs/MarkdownExamples.h"
#include "support/LogCapture.h"
#include "support/TreeText.h"

namespace {

using docs::Block;
using docs::Column;
using docs::Columns;
using docs::Lines;
using docs::Picture;
using docs::TreeOf;

std::string MergedText(const std::string& base_text, const std::string& override_text) {
  Tree_NodePtr base = Plant(base_text);
  Tree_NodePtr override_tree = Plant(override_text);
  return Draw(Tree_Node::Merge(base, override_tree));
}

struct MergePicture {
  const char* block;
  Tree_NodePtr (*operation)(Tree_NodePtr& base, Tree_NodePtr& override);
};

TEST(MergeInTheDocs, MakesTheTreesOfThePictures) {
  const MergePicture kPictures[] = {
      {"text merge", &Tree_Node::Merge},
      {"text merge with itself", &Tree_Node::Merge},
      {"text merge shared names of the base", &Tree_Node::Merge},
      {"text merge shared names on both sides", &Tree_Node::Merge},
      {"text merge chunk areas", &Tree_Node::Merge},
      {"text merge half a chunk area", &Tree_Node::Merge},
      {"text merge one level", &Tree_Node::MergeOneLevel},
  };
  for (const MergePicture& p : kPictures) {
    SCOPED_TRACE(p.block);
    const std::vector<Column> columns = Columns(Block("merge.md", p.block));
    ASSERT_EQ(3u, columns.size());
    EXPECT_EQ("base", columns[0].title);
    EXPECT_EQ("override", columns[1].title);
    Tree_NodePtr base = TreeOf(columns[0].picture);
    Tree_NodePtr override_tree = TreeOf(columns[1].picture);
    EXPECT_EQ(columns[2].picture, Picture(p.operation(base, override_tree)));
    // Neither argument has changed.
    EXPECT_EQ(columns[0].picture, Picture(base));
    EXPECT_EQ(columns[1].picture, Picture(override_tree));
  }
}

TEST(MergeInTheDocs, KeepsTheChecksumOfATreeThatIsMergedWithItself) {
  const std::vector<Column> columns = Columns(Block("merge.md", "text merge with itself"));
  ASSERT_EQ(3u, columns.size());
  EXPECT_EQ(TreeOf(columns[0].picture)->GetChecksumIgnoreOrder(),
            TreeOf(columns[2].picture)->GetChecksumIgnoreOrder());
}

TEST(MergeInTheDocs, LetsWinWhoTheTableSays) {
  struct Case {
    const char* base;
    const char* override_tree;
    const char* result;
  };
  // The child in question is k; o stands in the override to tell places apart.
  const Case kCases[] = {
      {"r", "r(k=1,o=0)", "r(k=1,o=0)"},
      {"r", "r(k(a=1),o=0)", "r(k(a=1),o=0)"},
      {"r(k=1)", "r(o=0)", "r(o=0,k=1)"},
      {"r(k(a=1))", "r(o=0)", "r(o=0,k(a=1))"},
      {"r(k=1)", "r(k=2*,o=0)", "r(k=2*,o=0)"},
      {"r(k=1*)", "r(k=2,o=0)", "r(k=2,o=0)"},
      {"r(k=1)", "r(k(a=2),o=0)", "r(k(a=2),o=0)"},
      {"r(k(a=1))", "r(k=2,o=0)", "r(o=0,k=2)"},
      {"r(k(a=1,b=1))", "r(k(a=2,c=2),o=0)", "r(o=0,k(a=2,c=2,b=1))"},
      {"r(k(a=1))", "r(k(blobencoding=b,chunk0000=c),o=0)", "r(o=0,k(blobencoding=b,chunk0000=c))"},
      // Empty ones.
      {"r(k=1)", "r(k=,o=0)", "r(k=,o=0)"},
      {"r(k=1)", "r(k,o=0)", "r(k,o=0)"},
      {"r(k(a=1))", "r(k,o=0)", "r(o=0,k(a=1))"},
      // The tops.
      {"x(k=1)", "y(o=0)", "y(o=0,k=1)"},
      // No chunk area: one of the two values is missing or empty.
      {"r(k(a=1))", "r(k(blobencoding=b,chunk0000=))", "r(k(blobencoding=b,chunk0000=,a=1))"},
      {"r(k(a=1))", "r(k(blobencoding=,chunk0000=c))", "r(k(blobencoding=,chunk0000=c,a=1))"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(std::string(c.base) + " and " + c.override_tree);
    EXPECT_EQ(c.result, MergedText(c.base, c.override_tree));
  }
}

TEST(MergeInTheDocs, WritesALineForEachChildThatALeafRefuses) {
  LogCapture log;
  EXPECT_EQ("r(k=2)", MergedText("r(k(a=1,b(x=1),c=1))", "r(k=2)"));
  EXPECT_EQ(3, LinesOfLevel(log.Take(), 3));
}

TEST(MergeInTheDocs, WritesTwoLinesForAChunkArea) {
  LogCapture log;
  MergedText("r(k(a=1))", "r(k(blobencoding=b,chunk0000=c))");
  EXPECT_EQ(1, LinesOfLevel(log.Take(), 6));
  Tree_NodePtr base = Plant("r(k(a=1))");
  Tree_NodePtr override_tree = Plant("r(k(blobencoding=b,chunk0000=c))");
  log.Take();
  Tree_Node::MergeOneLevel(base, override_tree);
  EXPECT_EQ(0, LinesOfLevel(log.Take(), 6));
}

TEST(MergeInTheDocs, ReturnsAnArgumentInThreeCases) {
  Tree_NodePtr none;
  Tree_NodePtr tree = Plant("r(a=1)");
  Tree_NodePtr chunks = Plant("r(blobencoding=b,chunk0000=c)");
  EXPECT_TRUE(Tree_Node::Merge(tree, none) == tree);
  EXPECT_TRUE(Tree_Node::Merge(none, tree) == tree);
  EXPECT_TRUE(Tree_Node::Merge(none, none).isNull());
  EXPECT_TRUE(Tree_Node::Merge(tree, chunks) == chunks);
  EXPECT_FALSE(Tree_Node::Merge(chunks, tree) == chunks);
  EXPECT_TRUE(Tree_Node::MergeOneLevel(tree, none) == tree);
  EXPECT_TRUE(Tree_Node::MergeOneLevel(none, tree) == tree);
  EXPECT_FALSE(Tree_Node::MergeOneLevel(tree, chunks) == chunks);
}

TEST(MergeInTheDocs, IsATreeOfOnesOwnAfterACopy) {
  Tree_NodePtr base = Plant("r(a=1)");
  Tree_NodePtr override_tree;
  {
    Tree_NodePtr merged = Tree_Node::Merge(base, override_tree);
    if (!merged.isNull() && (merged == base || merged == override_tree)) {
      merged = merged->DuplicateFromHereDown(true);
    }
    EXPECT_EQ("r(a=1)", Draw(merged));
    EXPECT_FALSE(merged == base);
    EXPECT_FALSE(merged->GetChildAt(0) == base->GetChildAt(0));
  }
  override_tree = Plant("r(b=2)");
  Tree_NodePtr merged = Tree_Node::Merge(base, override_tree);
  EXPECT_FALSE(merged->GetChildAt(0) == override_tree->GetChildAt(0));
  EXPECT_FALSE(merged->GetChildAt(1) == base->GetChildAt(0));
}

TEST(MergeInTheDocs, LaysLayersOverEachOtherFromTheBottomUp) {
  const std::vector<Column> columns = Columns(Block("merge.md", "text three layers"));
  ASSERT_EQ(5u, columns.size());
  Tree_NodePtr defaults = TreeOf(columns[0].picture);
  Tree_NodePtr site = TreeOf(columns[1].picture);
  Tree_NodePtr host = TreeOf(columns[2].picture);
  Tree_NodePtr merged = Tree_Node::Merge(defaults, site);
  merged = Tree_Node::Merge(merged, host);
  EXPECT_EQ(columns[3].picture, Picture(merged));
  Tree_NodePtr upper = Tree_Node::Merge(site, host);
  EXPECT_EQ(columns[4].picture, Picture(Tree_Node::Merge(defaults, upper)));
}

// The steps of the first picture: names of the result's children after each child of the
// base, found by merging a base that ends there.
TEST(MergeInTheDocs, MovesChildrenStepByStep) {
  const std::vector<Column> columns = Columns(Block("merge.md", "text merge"));
  ASSERT_EQ(3u, columns.size());
  const Lines steps = Block("merge.md", "text");
  Tree_NodePtr base = TreeOf(columns[0].picture);
  Tree_NodePtr override_tree = TreeOf(columns[1].picture);
  ASSERT_EQ(static_cast<std::size_t>(base->GetChildCount()) + 1, steps.size());
  for (std::size_t step = 0; step < steps.size(); ++step) {
    Tree_NodePtr part = base->DuplicateFromHereDown(true);
    while (part->GetChildCount() > static_cast<int>(step)) part->Remove(part->GetChildCount() - 1);
    Tree_NodePtr merged = Tree_Node::Merge(part, override_tree);
    std::string names;
    for (int i = 0; i < merged->GetChildCount(); ++i) {
      names += (i == 0 ? "" : "  ") + Text(merged->GetChildAt(i)->GetKeyName());
    }
    const std::string shown = steps[step].substr(std::strlen("copy of the override    "));
    EXPECT_EQ(names, shown.substr(0, shown.find("   "))) << steps[step];
    if (step > 0) {
      EXPECT_EQ(0u,
                steps[step].find("base has " +
                                 Text(base->GetChildAt(static_cast<int>(step) - 1)->GetKeyName())));
    }
  }
}

}  // namespace
