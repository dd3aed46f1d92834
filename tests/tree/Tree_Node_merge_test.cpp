// Merge and MergeOneLevel: what the result holds and in which order, what is shared and
// what is copied.

#include <gtest/gtest.h>

#include <string>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeLines.h"
#include "support/TreeMerging.h"
#include "support/TreeText.h"

namespace {

using namespace merging;

// --- Merge: content and order -----------------------------------------------------

TEST(Merge, LetsTheOverrideWinAndTheBaseFillIn) {
  Check(Tree_Node::Merge,
        {
            {"two top nodes alone", "t", "t", "t"},
            {"the top name is the override's", "base(a=1)", "over(b=2)", "over(b=2,a=1)"},
            {"leaf over leaf", "t(b=1)", "t(b=2)", "t(b=2)"},
            {"leaf over leaf further down", "t(a(b=1))", "t(a(b=2))", "t(a(b=2))"},
            {"an empty value wins too", "t(b=1)", "t(b=)", "t(b=)"},
            {"a leaf that the override lacks", "t(a(x=1))", "t(a)", "t(a(x=1))"},
            {"nothing to add", "t", "t(a=1,b(c=2))", "t(a=1,b(c=2))"},
            {"everything to add", "t(a=1,b(c=2),d)", "t", "t(a=1,b(c=2),d)"},
            {"names are case-sensitive", "t(A=1)", "t(a=2)", "t(a=2,A=1)"},
            {"names are compared whole", "t(ab=1,a=1)", "t(abc=2)", "t(abc=2,ab=1,a=1)"},
            {"change flags come along", "t(a=1*,c=1)", "t(b=2*,d=2)", "t(b=2*,d=2,a=1*,c=1)"},
            {"a flag of the base is dropped with its value", "t(a=1*)", "t(a=2)", "t(a=2)"},
        });
}

TEST(Merge, MovesNodesThatBothHaveBehindTheirSiblingsInTheOrderOfTheBase) {
  Check(Tree_Node::Merge,
        {
            {"what the base adds comes behind", "t(x=1,y(p=1),z)", "t(a=2,b(q=2))",
             "t(a=2,b(q=2),x=1,y(p=1),z)"},
            {"a leaf of the base moves nothing", "t(a=1,b=1)", "t(b=2,c=2,a=2)", "t(b=2,c=2,a=2)"},
            {"an inner node does", "t(a(x=1))", "t(a(y=2),b=2)", "t(b=2,a(y=2,x=1))"},
            {"an empty inner node does", "t(a)", "t(a(x=2),b=2)", "t(b=2,a(x=2))"},
            {"at every level", "t(a(p(x=1)))", "t(a(p(y=2),q=2),b=2)", "t(b=2,a(q=2,p(y=2,x=1)))"},
            {"the last one stays last", "t(b(x=1))", "t(a=2,b(y=2))", "t(a=2,b(y=2,x=1))"},
            {"all of them, in the order of the base", "t(c(1=1),a(1=1),b(1=1))",
             "t(a(2=2),b(2=2),c(2=2))", "t(c(2=2,1=1),a(2=2,1=1),b(2=2,1=1))"},
            {"copies come in between, in their turn", "t(p(1=1),q=1,r(3=1),s=1)",
             "t(r(z=2),k=2,p(y=2))", "t(k=2,p(y=2,1=1),q=1,r(z=2,3=1),s=1)"},
        });
}

TEST(Merge, LetsTheOverrideWinOverANodeOfTheOtherKind) {
  Check(
      Tree_Node::Merge,
      {
          {"a sub-tree over a leaf stays in its place", "t(a=1)", "t(a(x=2),b=2)", "t(a(x=2),b=2)"},
          {"an empty sub-tree over a leaf", "t(a=1)", "t(a,b=2)", "t(a,b=2)"},
          {"a leaf over an empty sub-tree moves", "t(a)", "t(a=2,b=2)", "t(b=2,a=2)"},
          {"a leaf over a sub-tree refuses each grandchild",
           "t(a(x=1,y(z=1,zz=1)),b=1)",
           "t(a=2,c=2)",
           "t(c=2,a=2,b=1)",
           {lines::InsertIntoLeaf("a"), lines::InsertIntoLeaf("a")}},
          {"further down",
           "t(a(b(x=1),c(y=1)))",
           "t(a(b=2,c=2))",
           "t(a(b=2,c=2))",
           {lines::InsertIntoLeaf("b"), lines::InsertIntoLeaf("c")}},
          {"at the top",
           "t(a=1,b(c=1))",
           "u=2",
           "u=2",
           {lines::InsertIntoLeaf("u"), lines::InsertIntoLeaf("u")}},
          {"a sub-tree over a leaf at the top", "t=1", "u(a=2)", "u(a=2)"},
          {"a leaf over a leaf at the top", "t=1", "t=2", "t=2"},
      });
}

TEST(Merge, TakesTheFirstOfSeveralNodesOfOneName) {
  Check(Tree_Node::Merge,
        {
            {"leaves of the base: the first counts", "t(a=1,a=2)", "t", "t(a=1)"},
            {"sub-trees of the base are merged, the first one wins", "t(a(x=1,k=1),a(y=2,k=2))",
             "t", "t(a(x=1,k=1,y=2))"},
            {"three of them", "t(a(x=1),a(y=2),a(z=3))", "t(b=9)", "t(b=9,a(x=1,y=2,z=3))"},
            {"they move behind what was added since", "t(a(x=1),b=1,a(y=2))", "t",
             "t(b=1,a(x=1,y=2))"},
            {"a sub-tree and then a leaf", "t(a(x=1),a=2)", "t", "t(a(x=1))"},
            {"a leaf and then a sub-tree",
             "t(a=1,a(x=2))",
             "t",
             "t(a=1)",
             {lines::InsertIntoLeaf("a")}},
            {"leaves of the override all stay", "t(a=1)", "t(a=2,a=3)", "t(a=2,a=3)"},
            {"only the first of the override is merged", "t(a(x=1))", "t(a(y=2),a(z=2))",
             "t(a(z=2),a(y=2,x=1))"},
            {"the next one is the first then", "t(a(x=1),a(w=1))", "t(a(y=2),a(z=2))",
             "t(a(y=2,x=1),a(z=2,w=1))"},
            {"and so on in turn", "t(a(1=1),a(2=1),a(3=1))", "t(a(y=2),a(z=2))",
             "t(a(z=2,2=1),a(y=2,1=1,3=1))"},
            {"a leaf of the override before a sub-tree",
             "t(a(x=1))",
             "t(a=2,a(y=2))",
             "t(a(y=2),a=2)",
             {lines::InsertIntoLeaf("a")}},
            {"inside a copy nothing is merged", "t(b(a=1,a=2))", "t", "t(b(a=1,a=2))"},
        });
}

TEST(Merge, MergesATreeWithItself) {
  Tree_NodePtr tree = Plant("t(a=1*,b(c=2,g(h=1)),d=3,e(f))");
  EXPECT_EQ("t(a=1*,d=3,b(c=2,g(h=1)),e(f))", Merged(Tree_Node::Merge, tree, tree));
  EXPECT_EQ("t(a=1*,b(c=2,g(h=1)),d=3,e(f))", Merged(Tree_Node::MergeOneLevel, tree, tree));
}

TEST(Merge, MergesATreeWithAPartOfIt) {
  Tree_NodePtr tree = Plant("t(a=1,b(c=2,a=3))");
  // The slot of the child is handed in; nothing is written into it.
  Tree_NodePtr& slot = tree->GetChildAt(1);
  Tree_NodePtr over = Tree_Node::Merge(tree, slot);
  EXPECT_EQ("b(c=2,a=3,b(c=2,a=3))", Draw(over));
  Tree_NodePtr under = Tree_Node::Merge(slot, tree);
  EXPECT_EQ("t(a=1,b(c=2,a=3),c=2)", Draw(under));
  EXPECT_EQ("t(a=1,b(c=2,a=3))", Draw(tree));
  EXPECT_EQ(tree.get(), slot->GetParent());
  EXPECT_FALSE(Share(over, tree));
  EXPECT_FALSE(Share(under, tree));
}

TEST(Merge, ComparesNamesByteForByte) {
  const std::string zero_b("a\0b", 3);
  const std::string zero_c("a\0c", 3);
  Tree_NodePtr base = Plant("t(a=1)");
  Tree_NodePtr first = Leaf("x", "zero b of the base");
  first->SetKeyName(Bytes(zero_b));
  base->Add(first);
  Tree_NodePtr second = Leaf("x", "zero c of the base");
  second->SetKeyName(Bytes(zero_c));
  base->Add(second);
  Tree_NodePtr override = Plant("t");
  Tree_NodePtr third = Leaf("x", "zero c of the override");
  third->SetKeyName(Bytes(zero_c));
  override->Add(third);

  Tree_NodePtr result = Tree_Node::Merge(base, override);
  EXPECT_EQ("t(" + zero_c + "=zero c of the override,a=1," + zero_b + "=zero b of the base)",
            Draw(result));
  EXPECT_EQ(Draw(result), Draw(Tree_Node::MergeOneLevel(base, override)));
}

TEST(Merge, TakesEmptyNamesAndNamesWithBlanksAsTheyAre) {
  Tree_NodePtr base = Plant("t(x(a=1),y=1)");
  base->GetChildAt(0)->SetKeyName("");
  base->GetChildAt(1)->SetKeyName(" y ");
  Tree_NodePtr override = Plant("t(x(b=2),y=2)");
  override->GetChildAt(0)->SetKeyName("");
  EXPECT_EQ("t(y=2,(b=2,a=1), y =1)", Merged(Tree_Node::Merge, base, override));
  EXPECT_EQ("t((b=2),y=2, y =1)", Merged(Tree_Node::MergeOneLevel, base, override));
}

TEST(Merge, CopiesNeitherIdsNorVirtualParentPaths) {
  Tree_NodePtr base = Plant("t(a(x=1),b=1)");
  Tree_NodePtr override = Plant("u(a(y=2))");
  RWCString above("sys\\main");
  for (Tree_NodePtr* tree : {&base, &override}) {
    (*tree)->SetVirtualParentPath(above);
    (*tree)->SetId(7);
    (*tree)->GetChildAt(0)->SetId(8);
    (*tree)->GetChildAt(0)->GetChildAt(0)->SetId(9);
  }
  for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
    Tree_NodePtr result = operation(base, override);
    EXPECT_EQ(RWCString(), result->GetVirtualParentPath());
    EXPECT_EQ(RWCString("u\\a\\y"), result->Get("a", result)->GetChildAt(0)->GetPath());
    Merged(operation, base, override);  // which looks at the ids
  }
}

TEST(Merge, DropsValuesOfInnerNodes) {
  Tree_NodePtr base = Plant("t(a(x=1),b)");
  Tree_NodePtr override = Plant("t(a(y=2))");
  base->GetChildAt(1)->SetTreeValue(new Tree_Value("inner", 1));
  override->GetChildAt(0)->SetTreeValue(new Tree_Value("inner", 1));
  override->SetTreeValue(new Tree_Value("top", 1));
  Tree_NodePtr result = Tree_Node::Merge(base, override);
  EXPECT_EQ("t(a(y=2,x=1),b)", Draw(result));
  for (const Place& place : Places(result)) {
    Tree_Node* const node = const_cast<Tree_Node*>(place.node);
    EXPECT_EQ(node->IsLeaf(), place.value != nullptr);
  }
}

// A leaf that has lost its value is a leaf as long as it stands in an input; its copy is
// an inner node.
TEST(Merge, MakesInnerNodesOfLeavesWithoutAValue) {
  Tree_NodePtr gone = LeafWithoutValue("a");
  Tree_NodePtr with_gone = Plant("t(z=1)");
  with_gone->Add(gone);
  Tree_NodePtr inner = Plant("t(a(x=1),b=2)");
  Tree_NodePtr leaf = Plant("t(a=2,b=2)");
  EXPECT_EQ("t(z=1,a(x=1),b=2)", Merged(Tree_Node::Merge, inner, with_gone));
  EXPECT_EQ("t(a(x=1),b=2,z=1)", Merged(Tree_Node::Merge, with_gone, inner));
  EXPECT_EQ("t(z=1,a,b=2)", Merged(Tree_Node::Merge, leaf, with_gone));
  EXPECT_EQ("t(a=2,b=2,z=1)", Merged(Tree_Node::Merge, with_gone, leaf));
  Tree_NodePtr empty = Plant("t");
  EXPECT_EQ("t(z=1,a)", Merged(Tree_Node::Merge, with_gone, empty));

  Tree_NodePtr top = LeafWithoutValue("top");
  EXPECT_EQ("top(a=2,b=2)", Merged(Tree_Node::Merge, leaf, top));
  EXPECT_EQ("top(a=2,b=2)", Merged(Tree_Node::MergeOneLevel, leaf, top));
}

// --- Short cuts -------------------------------------------------------------------

TEST(Merge, ReturnsTheOtherNodeItselfWhenOneIsMissing) {
  for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
    Tree_NodePtr without_record;
    Tree_NodePtr with_record(static_cast<Tree_Node*>(nullptr));
    for (Tree_NodePtr* null : {&without_record, &with_record, &Tree_Node::NULL_TREE_NODE_PTR}) {
      Tree_NodePtr tree = Plant("t(a=1,blobencoding=b,chunk0000=c)");
      LogCapture log;
      const PoolFigures before = PoolFigures::Now();
      {
        Tree_NodePtr result = operation(tree, *null);
        EXPECT_EQ(tree, result);
        EXPECT_EQ(2u, tree.UseCount());
      }
      EXPECT_EQ(1u, tree.UseCount());
      {
        Tree_NodePtr result = operation(*null, tree);
        EXPECT_EQ(tree, result);
        EXPECT_EQ(2u, tree.UseCount());
        EXPECT_EQ(before, PoolFigures::Now());
      }
      EXPECT_EQ(1u, tree.UseCount());
      for (Tree_NodePtr* other : {&without_record, &with_record, &Tree_Node::NULL_TREE_NODE_PTR}) {
        EXPECT_TRUE(operation(*null, *other).isNull());
      }
      EXPECT_EQ(before, PoolFigures::Now());
      EXPECT_NO_LOG(log);
      EXPECT_EQ("t(a=1,blobencoding=b,chunk0000=c)", Draw(tree));
    }
  }
}

TEST(Merge, KeepsTheSharedTreeAliveThroughTheResult) {
  Tree_NodePtr null;
  Tree_NodePtr base = Plant("t(a=1)");
  Tree_NodePtr result = Tree_Node::Merge(base, null);
  base = Tree_NodePtr();
  EXPECT_EQ("t(a=1)", Draw(result));
  EXPECT_EQ(1u, result.UseCount());
}

// --- MergeOneLevel ----------------------------------------------------------------

TEST(MergeOneLevel, CopiesWhatTheOverrideLacksBehindItsChildren) {
  Check(Tree_Node::MergeOneLevel,
        {
            {"two top nodes alone", "t", "u", "u"},
            {"the top name is the override's", "base(a=1)", "over(b=2)", "over(b=2,a=1)"},
            {"leaf over leaf", "t(b=1)", "t(b=2)", "t(b=2)"},
            {"a sub-tree of the override stays whole", "a(x(p=1))", "a(x(q=2))", "a(x(q=2))"},
            {"and in its place", "t(x(p=1),y=1)", "t(x(q=2),z=2)", "t(x(q=2),z=2,y=1)"},
            {"an empty one too", "t(x(p=1))", "t(x,z=2)", "t(x,z=2)"},
            {"copies come in the order of the base", "t(c=1,a(b=1),b)", "t(z=2)",
             "t(z=2,c=1,a(b=1),b)"},
            {"a leaf over a sub-tree", "t(a(x=1),b=1)", "t(a=2,c=2)", "t(a=2,c=2,b=1)"},
            {"a sub-tree over a leaf", "t(a=1)", "t(a(x=2))", "t(a(x=2))"},
            {"of several in the base the first", "t(a=1,a=2,a(x=3))", "t", "t(a=1)"},
            {"several in the override stay", "t(a=1)", "t(a=2,a(x=2),a)", "t(a=2,a(x=2),a)"},
            {"names are case-sensitive", "t(A=1)", "t(a=2)", "t(a=2,A=1)"},
            {"flags come along", "t(a=1*)", "t(b=2*)", "t(b=2*,a=1*)"},
            {"a leaf at the top refuses each child",
             "t(a=1,b(c=1))",
             "u=2",
             "u=2",
             {lines::InsertIntoLeaf("u"), lines::InsertIntoLeaf("u")}},
            {"a sub-tree over a leaf at the top", "t=1", "u(a=2)", "u(a=2)"},
            // There are no chunk areas here.
            {"a chunk area at the top", "v(blobencoding=b,chunk0000=1,chunk0001=2)",
             "v(blobencoding=z,chunk0000=9)", "v(blobencoding=z,chunk0000=9,chunk0001=2)"},
            {"a chunk area below", "t(v(blobencoding=b,chunk0000=1,chunk0001=2))",
             "t(v(blobencoding=z,chunk0000=9),m=2)", "t(v(blobencoding=z,chunk0000=9),m=2)"},
        });
}

TEST(MergeOneLevel, WritesNoLineOfItsOwn) {
  Tree_NodePtr base = Plant("v(a=1,blobencoding=b)");
  Tree_NodePtr override = Plant("v");
  LogCapture log;
  Tree_NodePtr result = Tree_Node::MergeOneLevel(base, override);
  EXPECT_LOG(log, lines::AddStart(), lines::InsertStart(0, -1), lines::InsertEnd(),
             lines::AddStart(), lines::InsertStart(1, -1), lines::InsertEnd());
  EXPECT_EQ("v(a=1,blobencoding=b)", Draw(result));

  Tree_NodePtr nothing = Plant("w");
  result = Tree_Node::MergeOneLevel(nothing, override);
  log.Take();  // of the result that was let go
  result = Tree_Node::MergeOneLevel(nothing, override);
  EXPECT_NO_LOG(log);
}

}  // namespace
